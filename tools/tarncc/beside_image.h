// Files in the folder of an image.
#pragma once

#include <filesystem>

// Puts a copy of `file` into `folder`, unless one with the same bytes is there.
// It appears whole or not at all. kDone, or the status after a message.
int put_beside_image(const std::filesystem::path& file, const std::filesystem::path& folder);

// Likewise a program of this system's, of these bytes.
int write_program(const std::filesystem::path& file, const void* bytes, std::size_t size);
