#pragma once

#include <filesystem>
#include <system_error>

namespace finisher {

// Whoever may read the file may run it.
void make_executable(const std::filesystem::path& file, std::error_code& error);

}  // namespace finisher
