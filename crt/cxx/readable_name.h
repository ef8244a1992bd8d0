// C++ names as the user writes them, and short enough for a line of a report. Plain code
// without a library: the finisher of images and the run-time use it.
#pragma once

#include <stddef.h>
#include <string.h>

namespace crt {

inline constexpr size_t kLongestReadableName = 120;

namespace readable {

// Without allocators and other arguments that the user leaves to the library.
inline constexpr const char* kDefaults[] = {
    ", std::allocator<", ", std::char_traits<", ", std::less<",
    ", std::hash<",      ", std::equal_to<",    ", std::default_delete<",
};

inline constexpr const char* kShorter[][2] = {
    {"__cxx11::", ""},
    {"[abi:cxx11]", ""},
    {" >", ">"},
    {"std::basic_string<char>", "std::string"},
    {"std::basic_string<wchar_t>", "std::wstring"},
    {"std::basic_string_view<char>", "std::string_view"},
    {"std::basic_istream<char>", "std::istream"},
    {"std::basic_ostream<char>", "std::ostream"},
};

inline void replace(char* at, size_t length, const char* text) {
  const size_t shorter = strlen(text);
  memcpy(at, text, shorter);
  memmove(at + shorter, at + length, strlen(at + length) + 1);
}

// The end of the template arguments that begin at `open`, a '<'; null if there is none.
inline char* end_of_arguments(char* open) {
  int depth = 0;
  for (char* at = open; *at; ++at) {
    if (*at == '<') ++depth;
    if (*at == '>' && at[-1] != '-' && --depth == 0) return at + 1;
  }
  return nullptr;
}

inline bool is_operator(const char* name, const char* at) {
  constexpr char kOperator[] = "operator";
  constexpr size_t kLength = sizeof kOperator - 1;
  while (at > name && (at[-1] == '<' || at[-1] == '=')) --at;
  return static_cast<size_t>(at - name) >= kLength && memcmp(at - kLength, kOperator, kLength) == 0;
}

// Writes "..." for the template arguments below the first `kept` levels.
inline void drop_arguments(char* name, int kept) {
  int depth = 0;
  for (char* at = name; *at; ++at) {
    if (*at == '>' && depth > 0 && at[-1] != '-') --depth;
    if (*at != '<' || is_operator(name, at)) continue;
    char* const end = end_of_arguments(at);
    if (!end) return;
    constexpr ptrdiff_t kDots = 5;  // with the brackets
    if (++depth <= kept || end - at <= kDots) continue;
    replace(at, static_cast<size_t>(end - at), "<...>");
    at += kDots - 1;
    --depth;
  }
}

}  // namespace readable

// Makes a name that the demangler wrote readable, in place; it never grows.
inline void make_readable(char* name) {
  using namespace readable;
  for (int pass = 0; pass < 2; ++pass) {
    for (const auto& [longer, shorter] : kShorter) {
      for (char* at = name; (at = strstr(at, longer)) != nullptr; at += strlen(shorter)) {
        replace(at, strlen(longer), shorter);
      }
    }
    for (const char* const text : kDefaults) {
      for (char* at = name; (at = strstr(at, text)) != nullptr;) {
        char* const end = end_of_arguments(at + strlen(text) - 1);
        if (!end) break;
        replace(at, static_cast<size_t>(end - at), "");
      }
    }
  }
  for (int kept = 2; kept >= 0 && strlen(name) > kLongestReadableName; --kept) {
    drop_arguments(name, kept);
  }
  char* const parameters = strchr(name, '(');
  if (strlen(name) > kLongestReadableName && parameters && parameters > name) {
    strcpy(parameters, "()");
  }
  if (strlen(name) > kLongestReadableName) strcpy(name + kLongestReadableName - 3, "...");
}

}  // namespace crt
