// printf's formats, also with the places of their arguments ("%2$s"): the common conversions here,
// straight into the buffer; every other one is passed to libmingwex. Both write the same, except
// where libmingwex errs: it forgets the width of a %g that writes an integer, the 0 of "%#.0o", and
// that a space means nothing to %u.
#pragma once

#include <limits.h>
#include <stdarg.h>

#include "../strings/short_copy.h"
#include "stream.h"

namespace crt {

// Where the characters go: into a block, with what is more only counted, or through
// a block of one's own to a stream.
class Output {
 public:
  Output(char* block, size_t size, Stream* stream)
      : begin_(block), next_(block), end_(block + size), stream_(stream) {}

  void put(char character) {
    if (next_ == end_) {
      append(&character, 1);
      return;
    }
    *next_++ = character;
  }
  void append(const char* bytes, size_t size) {
    if (size > kShortCopy || size > static_cast<size_t>(end_ - next_)) {
      append_long(bytes, size);
      return;
    }
    copy_short(reinterpret_cast<unsigned char*>(next_),
               reinterpret_cast<const unsigned char*>(bytes), size);
    next_ += size;
  }
  void fill(char character, long long count);
  // A conversion that libmingwex does.
  void pass(const char* conversion, va_list arguments);
  // Writes to the stream what is left. Result: false if something could not be written.
  bool finish();
  // More than any result can say.
  void count_too_many() { passed_ += INT_MAX + 1ull; }
  // The characters so far; for a block also those that it had no room for.
  unsigned long long count() const {
    return passed_ + static_cast<unsigned long long>(next_ - begin_);
  }
  char* next() const { return next_; }

 private:
  void append_long(const char* bytes, size_t size);

  char* begin_;
  char* next_;
  char* end_;
  Stream* stream_;
  unsigned long long passed_ = 0;  // written to the stream already, or without room
  bool failed_ = false;
};

void format(Output& output, const char* format, va_list arguments);

}  // namespace crt
