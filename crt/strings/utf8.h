// UTF-8 and UTF-16, whatever the locale is. The bytes that the system takes are UTF-8, as images
// say in their manifest.
#pragma once

#include "../crt.h"

namespace crt {

// UTF-8 of a wide string, and back. Result: whether the whole, with its NUL, went into
// `size` elements and was well formed; if not, EILSEQ or ENAMETOOLONG.
bool to_utf8(const wchar_t* wide, char* bytes, size_t size);
bool to_wide(const char* bytes, wchar_t* wide, size_t size);

constexpr size_t kPathSize = 4096;

// A path in wide characters, as the bytes that the system takes.
class NarrowPath {
 public:
  explicit NarrowPath(const wchar_t* wide) : valid_(wide && to_utf8(wide, bytes_, sizeof bytes_)) {}
  operator const char*() const { return bytes_; }
  bool valid() const { return valid_; }

 private:
  char bytes_[kPathSize];
  bool valid_;
};

}  // namespace crt
