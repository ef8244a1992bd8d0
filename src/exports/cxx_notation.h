// Names for C++ callers: the routine's name with its argument list in the
// suite's notation, made from the routine's type while compiling.
//
//   strcpy(<ptr>char,<ptr>constÄchar)
//
// The rules, where Ä is the single byte 0xC4, which stands for a space:
//   - the name, then the argument types in parentheses, separated by commas;
//     without arguments "()"; a variable argument list adds "...";
//   - a pointer is "<ptr>" and what it points to; "const" is before it;
//   - types carry their C names, words joined by the byte 0xC4: "int" and
//     "unsignedÄint" have 32 bits, "longÄlong" and "unsignedÄlongÄlong" 64;
//   - a routine pointer is "<ptr>", its result and its arguments in
//     parentheses; a record has its tag name;
//   - the result type is not part of the name.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "platform/abi.h"

namespace tarn::notation {

inline constexpr std::size_t kMaxName = 160;
inline constexpr char kBlank = static_cast<char>(0xC4);

struct Name {
  char text[kMaxName] = {};
  std::size_t length = 0;

  // Too long a name is an index outside the array: a compile-time error.
  constexpr void add(const char* words) {
    for (; *words; ++words) text[length++] = *words == ' ' ? kBlank : *words;
    text[length] = '\0';
  }
};

// The C name of a record type, for each record that an exported routine takes:
// export_headers.h has them.
template <class T>
inline constexpr const char* record_name = nullptr;

template <class T>
struct Type;

template <class... Arguments>
constexpr void add_list(Name& name, bool variadic) {
  bool first = true;
  name.add("(");
  ((first ? void() : name.add(","), first = false, Type<Arguments>::add(name)), ...);
  if (variadic) name.add(first ? "..." : ",...");
  name.add(")");
}

template <class T>
struct Type {
  static constexpr void add(Name& name) {
    if constexpr (std::is_const_v<T>) {
      name.add("const ");
      Type<std::remove_const_t<T>>::add(name);
    } else if constexpr (std::is_pointer_v<T>) {
      name.add("<ptr>");
      Type<std::remove_pointer_t<T>>::add(name);
    } else if constexpr (std::is_void_v<T>) {
      name.add("void");
    } else if constexpr (std::is_same_v<T, bool>) {
      name.add("bool");
    } else if constexpr (std::is_same_v<T, char>) {
      name.add("char");
    } else if constexpr (std::is_same_v<T, float>) {
      name.add("float");
    } else if constexpr (std::is_same_v<T, double>) {
      name.add("double");
    } else if constexpr (std::is_integral_v<T>) {
      if (std::is_unsigned_v<T>) name.add("unsigned ");
      if (std::is_signed_v<T> && sizeof(T) == 1) name.add("signed ");
      name.add(sizeof(T) == 1   ? "char"
               : sizeof(T) == 2 ? "short"
               : sizeof(T) == 4 ? "int"
                                : "long long");
    } else {
      static_assert(record_name<T> != nullptr, "give this record its C name");
      name.add(record_name<T>);
    }
  }
};

template <class Result, class... Arguments>
struct Type<Result TARNAPI(Arguments...)> {
  static constexpr void add(Name& name) {
    Type<Result>::add(name);
    add_list<Arguments...>(name, false);
  }
};

template <class T>
struct Routine;

template <class Result, class... Arguments>
struct Routine<Result(TARNAPI*)(Arguments...)> {
  static constexpr void add(Name& name) { add_list<Arguments...>(name, false); }
};

template <class Result, class... Arguments>
struct Routine<Result(TARNAPI*)(Arguments..., ...)> {
  static constexpr void add(Name& name) { add_list<Arguments...>(name, true); }
};

template <class Pointer>
constexpr Name make(const char* plain) {
  Name name;
  name.add(plain);
  Routine<Pointer>::add(name);
  return name;
}

}  // namespace tarn::notation
