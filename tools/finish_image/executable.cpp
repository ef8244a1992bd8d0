#include "executable.h"

namespace finisher {

void make_executable(const std::filesystem::path& file, std::error_code& error) {
  namespace fs = std::filesystem;
  using fs::perms;
  const perms now = fs::status(file, error).permissions();
  for (const auto& [read, run] : {std::pair(perms::owner_read, perms::owner_exec),
                                  {perms::group_read, perms::group_exec},
                                  {perms::others_read, perms::others_exec}}) {
    if (!error && (now & read) != perms::none) {
      fs::permissions(file, run, fs::perm_options::add, error);
    }
  }
}

}  // namespace finisher
