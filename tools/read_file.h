// Whole files, whatever they are: a device or a pipe could be without end, hence the limit.
#pragma once

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

inline constexpr std::size_t kNoLimit = SIZE_MAX;

// Appends what the stream still has; it stops soon after more than `limit` bytes. Null, or why
// that failed.
template <class Bytes>
const char* read_stream(std::FILE* stream, Bytes* bytes, std::size_t limit = kNoLimit) {
  typename Bytes::value_type part[65536];
  std::size_t got;
  while (bytes->size() <= limit && (got = std::fread(part, 1, sizeof part, stream)) > 0) {
    bytes->insert(bytes->end(), part, part + got);
  }
  return std::ferror(stream) ? std::strerror(errno) : nullptr;
}

template <class Bytes>
const char* read_file(const std::string& name, Bytes* bytes, std::size_t limit = kNoLimit) {
  std::FILE* const file = std::fopen(name.c_str(), "rb");
  if (file == nullptr) return std::strerror(errno);
  const char* const failure = read_stream(file, bytes, limit);
  std::fclose(file);
  return failure;
}
