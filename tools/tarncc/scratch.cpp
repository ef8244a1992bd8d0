#include "scratch.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#ifdef _WIN32
#include <random>
#endif

namespace fs = std::filesystem;

Scratch::Scratch() {
  std::error_code error;
  const fs::path parent = fs::temp_directory_path(error);
  if (error) {
    failure = error.message();
    return;
  }
#ifdef _WIN32
  // The parent folder is the user's own.
  std::random_device random;
  for (int i = 0; i < 100 && folder.empty(); ++i) {
    const fs::path wanted = parent / ("tarncc." + std::to_string(random()));
    if (fs::create_directory(wanted, error)) folder = wanted;
    if (error) failure = error.message();
  }
#else
  std::string name = (parent / "tarncc.XXXXXX").string();
  if (mkdtemp(name.data())) {
    folder = name;
  } else {
    failure = parent.string() + ": " + std::strerror(errno);
  }
#endif
}

Scratch::~Scratch() {
  std::error_code ignored;
  if (!folder.empty()) fs::remove_all(folder, ignored);
}
