#include "strings/c_string.h"

#include "platform/byte_block.h"
#include "storage/heap.h"

namespace tarn {
namespace {

constexpr int kCaseStep = 'a' - 'A';

struct CaseTable {
  char to[256];
};

// The identity but for the 26 letters from `first` on, which move by `step`.
constexpr CaseTable case_table(int first, int step) {
  CaseTable table{};
  for (int i = 0; i < 256; ++i) {
    table.to[i] = static_cast<char>(i >= first && i < first + 26 ? i + step : i);
  }
  return table;
}

constexpr CaseTable kLowered = case_table('A', kCaseStep);
constexpr CaseTable kRaised = case_table('a', -kCaseStep);

char* saved_token;

char* map_case(char* text, const CaseTable& table) {
  for (char* p = text; *p; ++p) *p = table.to[static_cast<unsigned char>(*p)];
  return text;
}

char folded(char byte) {
  return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte + kCaseStep) : byte;
}

// The order of two bytes, as signed ones.
std::int32_t order(char left, char right) {
  const auto a = static_cast<signed char>(left);
  const auto b = static_cast<signed char>(right);
  return (a > b) - (a < b);
}

bool holds(const char* set, char byte) {
  for (; *set; ++set) {
    if (*set == byte) return true;
  }
  return false;
}

// Length of the leading run of bytes whose membership of the set is `inside`.
std::uint64_t run_length(const char* text, const char* set, bool inside) {
  std::uint64_t length = 0;
  while (text[length] && holds(set, text[length]) == inside) ++length;
  return length;
}

}  // namespace

// The loops over whole strings are unrolled: without that their branches, not
// their bytes, would set the pace.

// By aligned pieces of sixteen bytes. A piece lies in one page, so that bytes beyond the
// string are read only where the string itself may be.
[[gnu::no_sanitize_address]] std::uint64_t strlen(const char* text) {
  constexpr std::uint64_t kPiece = 16;
  using Bytes [[gnu::vector_size(kPiece), gnu::may_alias]] = char;
  const std::uint64_t skipped = reinterpret_cast<std::uint64_t>(text) % kPiece;
  const auto* piece = reinterpret_cast<const Bytes*>(text - skipped);
  const auto ends = [](Bytes bytes) {
    return static_cast<std::uint32_t>(__builtin_ia32_pmovmskb128(bytes == 0));
  };
  std::uint32_t found = ends(*piece) >> skipped;
  if (found != 0) return static_cast<std::uint32_t>(__builtin_ctz(found));
  do {
    found = ends(*++piece);
  } while (found == 0);
  const char* const last = reinterpret_cast<const char*>(piece) + __builtin_ctz(found);
  return static_cast<std::uint64_t>(last - text);
}

char* strend(const char* text) { return const_cast<char*>(text + strlen(text)); }

char* stpcpy(char* destination, const char* source) {
#pragma GCC unroll 8
  while ((*destination = *source)) {
    ++destination;
    ++source;
  }
  return destination;
}

char* strcpy(char* destination, const char* source) {
  stpcpy(destination, source);
  return destination;
}

char* strcat(char* destination, const char* source) {
  stpcpy(strend(destination), source);
  return destination;
}

char* strdup(const char* text) {
  const std::uint64_t size = strlen(text) + 1;
  void* const copy = malloc(size);
  if (copy) copy_bytes(copy, text, size);
  return static_cast<char*>(copy);
}

char* strncpy(char* destination, const char* source, std::uint64_t count) {
  std::uint64_t i = 0;
  for (; i < count && source[i]; ++i) destination[i] = source[i];
  for (; i < count; ++i) destination[i] = '\0';
  return destination;
}

void* memmove(void* destination, const void* source, std::uint64_t length) {
  if (void* const block = malloc(length)) {
    copy_bytes(block, source, length);
    copy_bytes(destination, block, length);
    free(block);
  } else if (destination <= source) {
    copy_bytes(destination, source, length);
  } else {
    auto* const to = static_cast<char*>(destination);
    const auto* const from = static_cast<const char*>(source);
    while (length-- > 0) to[length] = from[length];
  }
  return destination;
}

std::int32_t strcmp(const char* left, const char* right) {
  constexpr int kStep = 8;
  for (;; left += kStep, right += kStep) {
#pragma GCC unroll 8
    for (int i = 0; i < kStep; ++i) {
      if (left[i] != right[i]) return order(left[i], right[i]);
      if (!left[i]) return 0;
    }
  }
}

std::int32_t strncmp(const char* left, const char* right, std::uint64_t count) {
  for (; count > 0; --count, ++left, ++right) {
    if (*left != *right) return order(*left, *right);
    if (!*left) break;
  }
  return 0;
}

std::int32_t strcmpl(const char* left, const char* right) {
  for (;; ++left, ++right) {
    const char a = folded(*left);
    const char b = folded(*right);
    if (a != b) return order(a, b);
    if (!a) return 0;
  }
}

std::int32_t stricmp(const char* left, const char* right) { return strcmpl(left, right); }

std::int32_t strcmpi(const char* left, const char* right) { return strcmpl(left, right); }

std::int32_t string_match(const char* left, const char* right, std::int32_t with_case) {
  return (with_case ? strcmp(left, right) : strcmpl(left, right)) == 0;
}

std::int32_t memcmp(const void* left, const void* right, std::uint64_t length) {
  const auto* const a = static_cast<const unsigned char*>(left);
  const auto* const b = static_cast<const unsigned char*>(right);
  for (std::uint64_t i = 0; i < length; ++i) {
    if (a[i] != b[i]) return a[i] - b[i];
  }
  return 0;
}

char* strlwr(char* text) { return map_case(text, kLowered); }

char* strupr(char* text) { return map_case(text, kRaised); }

char* strrchr(const char* text, std::int32_t character) {
  const char wanted = static_cast<char>(character);
  const char* last = nullptr;
  for (;; ++text) {
    if (*text == wanted) last = text;
    if (!*text) return const_cast<char*>(last);
  }
}

char* rindex(const char* text, std::int32_t character) { return strrchr(text, character); }

std::uint64_t strspn(const char* text, const char* set) { return run_length(text, set, true); }

std::uint64_t strcspn(const char* text, const char* set) { return run_length(text, set, false); }

char* strpbrk(const char* text, const char* set) {
  text += strcspn(text, set);
  return *text ? const_cast<char*>(text) : nullptr;
}

char* strstr(const char* text, const char* pattern) {
  const std::uint64_t length = strlen(text);
  const std::uint64_t wanted = strlen(pattern);
  if (wanted > length) return nullptr;
  // The first byte of an empty pattern is its NUL, which only the text's own
  // NUL, the last position tried, agrees with.
  for (const char* const last = text + (length - wanted); text <= last; ++text) {
    if (*text == *pattern && memcmp(text, pattern, wanted) == 0) return const_cast<char*>(text);
  }
  return nullptr;
}

char* strtok(char* text, const char* delimiters) {
  if (text) saved_token = text;
  if (!saved_token) return nullptr;
  char* const token = saved_token + strspn(saved_token, delimiters);
  saved_token = strpbrk(token, delimiters);
  if (saved_token) *saved_token++ = '\0';
  return *token ? token : nullptr;
}

}  // namespace tarn
