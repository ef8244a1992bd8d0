// What a routine writes to standard output through the library's streams and
// console, and whole files, for tests of what prints and writes.
#pragma once

#include <string>

namespace tarn::test {

// Puts a file in place of standard output and the console while `f` runs. Line ends as they
// stand, CR LF.
std::string output_of(void (*call)(void* argument), void* argument);

template <class F>
std::string output_of(F&& f) {
  return output_of([](void* argument) { (*static_cast<F*>(argument))(); }, &f);
}

// The bytes of a file; "(none)" if it cannot be opened.
std::string contents(const char* path);
void make_file(const char* path, const std::string& bytes);

// "a\n" becomes "a\r\n".
std::string with_crlf(const std::string& text);

}  // namespace tarn::test
