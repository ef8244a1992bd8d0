// UTF-8 and UTF-16, whatever the locale is. The bytes that the system takes are UTF-8, as images
// say in their manifest.
#pragma once

#include <stdlib.h>
#include <wchar.h>

#include "../crt.h"

namespace crt {

// The code point at the beginning of `size` bytes, of which it reads no more than it needs.
// Result: how many those are; 0 if they are cut short, -1 if they are not well formed.
int decode_utf8(const unsigned char* bytes, size_t size, unsigned* code);
// Writes 1 to 4 bytes. Result: how many.
int encode_utf8(unsigned code, char* to);

// UTF-8 of a wide string, and back. Result: whether the whole, with its NUL, went into
// `size` elements and was well formed; if not, EILSEQ or ENAMETOOLONG, or EINVAL for null.
bool to_utf8(const wchar_t* wide, char* bytes, size_t size);
bool to_wide(const char* bytes, wchar_t* wide, size_t size);

constexpr size_t kPathSize = 4096;

// A path in wide characters, as the bytes that the system takes. Not valid, with errno, as to_utf8
// has it.
class NarrowPath {
 public:
  explicit NarrowPath(const wchar_t* wide) : valid_(to_utf8(wide, bytes_, sizeof bytes_)) {}
  operator const char*() const { return bytes_; }
  bool valid() const { return valid_; }

 private:
  char bytes_[kPathSize];
  bool valid_;
};

// The same of any length, for what is no path.
class NarrowText {
 public:
  explicit NarrowText(const wchar_t* wide) {
    const size_t size = wide ? 3 * wcslen(wide) + 1 : 1;
    bytes_ = static_cast<char*>(malloc(size));
    valid_ = bytes_ && to_utf8(wide, bytes_, size);
  }
  ~NarrowText() { free(bytes_); }
  NarrowText(const NarrowText&) = delete;
  NarrowText& operator=(const NarrowText&) = delete;
  operator const char*() const { return bytes_; }
  bool valid() const { return valid_; }

 private:
  char* bytes_;
  bool valid_;
};

}  // namespace crt
