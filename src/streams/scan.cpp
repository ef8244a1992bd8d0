#include "streams/scan.h"

#include "failure/runtime_error.h"
#include "streams/format.h"
#include "streams/number_parse.h"
#include "strings/c_string.h"
#include "strings/character_class.h"

namespace tarn {
namespace {

constexpr std::int32_t kArgumentsExhausted = 291;
constexpr std::int32_t kInvalidFile = 296;
constexpr std::int32_t kNullStream = 343;
constexpr std::int32_t kNothingRead = 373;  // "No characters read by scanf"

constexpr std::int32_t kArgumentBudget = 100'000;
constexpr std::int32_t kArgumentCost = 4;
constexpr std::int32_t kDefaultWidth = 80;
constexpr std::int32_t kMaxWidth = 4299;
constexpr std::int32_t kFieldSize = kMaxWidth + 5;  // a character read ahead, a suffix, a NUL
constexpr std::int32_t kPlainSet = 175;

constexpr char kWhiteSet[] = " \n\r\t\f\v";
constexpr std::int32_t kByte0xFF = 0xFF;

// The source. Only this file touches it.
bool peeked;
std::int32_t peeked_char;
std::int32_t chars_read;
bool from_stream;
FILE* scan_stream;
const char* scan_cursor;
const char* text_end;  // the NUL of the source text, once it was met

std::int32_t read_text() {
  const char* const position = scan_cursor++;
  if (text_end && position > text_end) return 0;
  if (*position == '\0') text_end = position;
  return *position;
}

void put_back(std::int32_t c) {
  if (from_stream) {
    ungetc(c, scan_stream);
  } else {
    --scan_cursor;
  }
}

bool is_class(std::int32_t c, CharacterClass wanted) {
  return (character_classes(c) & wanted) != 0;
}

bool is_digit(std::int32_t c) { return is_class(c, kDecimalDigit); }

// What stops a %c or %s: the end of a text, or of a stream.
bool is_end(std::int32_t c) { return c == 0 || (c & kByte0xFF) == kByte0xFF; }

bool contains(const char* set, std::int32_t c) {
  for (; *set; ++set) {
    if (*set == static_cast<char>(c)) return true;
  }
  return false;
}

bool accepts(std::int32_t c, std::int32_t radix) {
  if (c < '0') return false;
  switch (radix) {
    case 10:
      return is_digit(c);
    case 16:
      return is_class(c, kHexadecimalDigit);
    case 8:
      return c <= '7';
    default:
      return true;  // radix 0: the parser finds the end
  }
}

// The text of a real number being read. text[at] is the character looked at.
struct RealText {
  char* text;
  std::int32_t at;
  std::int32_t width;

  std::int32_t here() const { return static_cast<signed char>(text[at]); }
  void read() { text[at] = static_cast<char>(_next()); }
  void step() {
    ++at;
    --width;
    read();
  }
  bool is_sign() const { return text[at] == '-' || text[at] == '+'; }
  void step_over_digits() {
    while (is_digit(here()) && width > 0) step();
  }
};

// Result: false if there is no text at all.
bool read_real(char* buffer, std::int32_t width) {
  RealText real = {buffer, 0, width};
  real.read();
  if (real.is_sign()) real.step();
  real.step_over_digits();
  if (real.here() == '.' && real.width > 0) {
    real.step();
    real.step_over_digits();
  }
  if ((real.here() == 'e' || real.here() == 'E') && real.width > 0) {
    real.step();
    if (real.is_sign() && real.width > 0) real.step();
    real.step_over_digits();
  }
  if (contains("lLfF", real.here())) {
    ++real.at;  // a suffix: belongs to the text
  } else {
    put_back(real.here());
    --chars_read;
  }
  buffer[real.at] = '\0';
  return real.at > 0;
}

// How a directive ended: the scan goes on, or it ends with or without this
// directive's value in the count. kNoByte takes one off the count even where
// the directive assigns nothing.
enum class Outcome { kStored, kNoMatch, kNoByte, kEnd };

// One directive as it was read.
struct Directive {
  bool suppress = false;
  bool no_width = false;
  bool long_flag = false;
  bool short_flag = false;
  bool long_long = false;
  std::int32_t width = kDefaultWidth;
};

const char* read_directive(const char* format, Directive& directive) {
  if (*format == '*') {
    directive.suppress = true;
    ++format;
  }
  if (is_digit(*format)) {
    directive.width = _getnum(&format);
    if (directive.width > kMaxWidth) directive.width = kMaxWidth;
  } else {
    directive.no_width = true;
  }
  switch (*format) {
    case 'l':
      directive.long_flag = true;
      return format + 1;
    case 'h':
      directive.short_flag = true;
      return format + 1;
    case 'L':
      directive.long_long = true;
      return format + 1;
    default:
      return format;
  }
}

Outcome scan_integer(char* buffer, const Directive& directive, std::int32_t radix, bool is_signed,
                     const Slot*& slots) {
  _getn(buffer, radix, 0, directive.width);
  if (!*buffer) return Outcome::kNoMatch;
  if (directive.suppress) return Outcome::kStored;
  void* const destination = reinterpret_cast<void*>(*slots++);
  if (!directive.long_long) {
    _set(buffer, directive.short_flag, 0, destination, radix, !is_signed, 0);
  } else if (is_signed) {
    *static_cast<std::int64_t*>(destination) = strtol64(buffer, nullptr, radix);
  } else {
    *static_cast<std::uint64_t*>(destination) = strtoul64(buffer, nullptr, radix);
  }
  return Outcome::kStored;
}

Outcome scan_real(char* buffer, const Directive& directive, const Slot*& slots) {
  if (!read_real(buffer, directive.width)) return Outcome::kNoMatch;
  if (directive.suppress) return Outcome::kStored;
  void* const destination = reinterpret_cast<void*>(*slots++);
  const double value = strtod(buffer, nullptr);
  if (directive.long_flag || directive.long_long) {
    *static_cast<double*>(destination) = value;
  } else {
    *static_cast<float*>(destination) = static_cast<float>(value);
  }
  return Outcome::kStored;
}

Outcome scan_bytes(const Directive& directive, const Slot*& slots) {
  const std::int32_t width = directive.no_width ? 1 : directive.width;
  char* const destination = directive.suppress ? nullptr : reinterpret_cast<char*>(*slots++);
  for (std::int32_t i = 0; i < width; ++i) {
    const std::int32_t c = _next();
    if (destination) destination[i] = static_cast<char>(c);
    if (is_end(c)) return i == 0 ? Outcome::kNoByte : Outcome::kEnd;
  }
  return Outcome::kStored;
}

Outcome scan_text(char* buffer, const Directive& directive, const char* set, bool stop_in_set,
                  bool may_be_empty, const Slot*& slots) {
  const std::int32_t status =
      _getstr(directive.suppress, buffer, set, stop_in_set, directive.width);
  if (status != 0 && !may_be_empty) return Outcome::kNoMatch;
  if (!directive.suppress) strcpy(reinterpret_cast<char*>(*slots++), buffer);
  return Outcome::kStored;
}

Outcome scan_set(char* buffer, const Directive& directive, const char*& format,
                 const Slot*& slots) {
  char set[kSetSize];
  const bool stop_in_set = *format == '^';
  if (stop_in_set) ++format;
  const char* const behind = _getdels(set, format);
  if (!behind) return Outcome::kNoMatch;
  format = behind;
  return scan_text(buffer, directive, set, stop_in_set, true, slots);
}

void store_count(const Directive& directive, const Slot*& slots) {
  const Slot destination = *slots++;
  const std::int32_t count = chars_read - peeked;
  if (directive.short_flag) {
    *reinterpret_cast<std::int16_t*>(destination) = static_cast<std::int16_t>(count);
  } else {
    *reinterpret_cast<std::int32_t*>(destination) = count;
  }
}

// `format` stands at the conversion character and is moved behind it.
Outcome scan_field(const Directive& directive, const char*& format, const Slot*& slots) {
  char buffer[kFieldSize];
  switch (*format++) {
    case 'd':
      return scan_integer(buffer, directive, 10, true, slots);
    case 'i':
      return scan_integer(buffer, directive, 0, true, slots);
    case 'u':
      return scan_integer(buffer, directive, 10, false, slots);
    case 'o':
      return scan_integer(buffer, directive, 8, false, slots);
    case 'x':
    case 'X':
    case 'p':
      return scan_integer(buffer, directive, 16, false, slots);
    case 'e':
    case 'f':
    case 'g':
      return scan_real(buffer, directive, slots);
    case 'c':
      return scan_bytes(directive, slots);
    case 's':
      return scan_text(buffer, directive, kWhiteSet, true, false, slots);
    case '[':
      return scan_set(buffer, directive, format, slots);
    default:
      return Outcome::kStored;
  }
}

// A literal: whether the input has it, or -1 at the end of the input.
std::int32_t scan_literal(char wanted) {
  const std::int32_t c = _skipwhite();
  if (c == kEndOfFile) return kEndOfFile;
  if (c == wanted) return 1;
  put_back(c);
  return 0;
}

// The engine's loop. What it leaves peeked is given back by _scanf.
std::int32_t scan(const char* format, const Slot* slots) {
  std::int32_t count = 0;
  std::int32_t budget = kArgumentBudget;
  while (*format) {
    if (is_class(*format, kWhiteSpace)) {
      ++format;
      peeked = _skipwhite() != kEndOfFile;
      continue;
    }
    if (*format != '%' || format[1] == '%') {
      const std::int32_t found = scan_literal(*format);
      if (found == kEndOfFile) return kEndOfFile;
      if (found == 0) return count;
      format += *format == '%' ? 2 : 1;
      continue;
    }
    Directive directive;
    format = read_directive(format + 1, directive);
    if (*format != 'n' && *format != 'c') {
      if (_skipwhite() == kEndOfFile) return kEndOfFile;
      peeked = true;
    }
    if (!*format) return count;
    budget -= kArgumentCost;
    if (budget < 0) {
      if (directive.suppress) return count;
      __RuntimeError(kArgumentsExhausted);
    }
    if (*format == 'n') {
      if (!directive.suppress) store_count(directive, slots);
      ++format;
      continue;
    }
    const Outcome outcome = scan_field(directive, format, slots);
    if (!directive.suppress) ++count;
    if (outcome == Outcome::kNoByte || (outcome == Outcome::kNoMatch && !directive.suppress))
      --count;
    if (outcome != Outcome::kStored) return count;
  }
  return count;
}

std::int32_t finished(std::int32_t result) {
  return result != 0 ? result : check_exception(64, 0, kNothingRead);
}

std::int32_t scan_from(FILE* stream, const char* format, const Slot* slots) {
  from_stream = true;
  scan_stream = stream;
  return finished(_scanf(format, slots));
}

}  // namespace

std::int32_t sscanf(const char* text, const char* format, ...) {
  TARN_SLOTS_BEHIND(slots, format);
  from_stream = false;
  const char* first = text;
  while (*first == ' ') ++first;
  if (!*first) return kEndOfFile;
  scan_cursor = text;
  text_end = nullptr;
  return finished(_scanf(format, slots));
}

std::int32_t scanf(const char* format, ...) {
  TARN_SLOTS_BEHIND(slots, format);
  return scan_from(standard_stream(kCellStdin), format, slots);
}

std::int32_t fscanf(FILE* stream, const char* format, ...) {
  TARN_SLOTS_BEHIND(slots, format);
  if (!stream) return check_exception(0, 0, kNullStream);
  if (stream->magic != kFileMagic) __RuntimeError(kInvalidFile);
  if (feof(stream)) return kEndOfFile;
  return scan_from(stream, format, slots);
}

std::int32_t _scanf(const char* format, const Slot* slots) {
  peeked = false;
  peeked_char = 0;
  chars_read = 0;
  const std::int32_t result = scan(format, slots);
  if (peeked) put_back(peeked_char);
  return result;
}

std::int32_t _next() {
  if (peeked) {
    peeked = false;
    return peeked_char;
  }
  ++chars_read;
  peeked_char = from_stream ? getc(scan_stream) : read_text();
  return peeked_char;
}

std::int32_t _peek_next() {
  if (!peeked) _next();
  peeked = true;
  return peeked_char;
}

std::int32_t _skipwhite() {
  std::int32_t c = _next();
  while (is_class(c, kWhiteSpace)) c = _next();
  return c;
}

const char* _getdels(char* set, const char* format) {
  std::int32_t length = 0;
  set[0] = '\0';
  for (const char* at = format; *at; ++at) {
    if (*at == ']' && at != format) return at + 1;
    if (length >= kPlainSet && contains(set, *at)) continue;
    set[length++] = *at;
    set[length] = '\0';
  }
  return nullptr;
}

std::int32_t _getstr(std::int32_t suppress, char* buffer, const char* set, std::int32_t stop_in_set,
                     std::int32_t width) {
  _skipwhite();
  peeked = true;
  char* next = buffer;
  bool any = false;
  for (; width > 0; --width) {
    const std::int32_t c = _next();
    if (is_end(c) || contains(set, c) == (stop_in_set != 0)) {
      peeked = true;
      break;
    }
    any = true;
    if (!suppress) *next++ = static_cast<char>(c);
  }
  *next = '\0';
  return any ? 0 : -1;
}

std::int32_t _getn(char* buffer, std::int32_t radix, std::int32_t no_sign, std::int32_t width) {
  std::int32_t c = _next();
  if (!no_sign && (c == '-' || c == '+')) {
    *buffer++ = static_cast<char>(c);
    --width;
    c = _next();
  }
  if (radix == 16 && c == '0') {
    const std::int32_t mark = _peek_next();
    if (mark == 'x' || mark == 'X') {
      _next();
      c = _next();
      width -= 2;
    }
  }
  for (; width > 0 && accepts(c, radix); --width) {
    *buffer++ = static_cast<char>(c);
    c = _next();
  }
  --chars_read;
  put_back(c);
  *buffer = '\0';
  return c;
}

void _set(const char* text, std::int32_t short_flag, std::int32_t suppress, void* destination,
          std::int32_t radix, std::int32_t unsigned_flag, std::int32_t) {
  if (suppress) return;
  const std::uint32_t value = unsigned_flag
                                  ? strtoul(text, nullptr, radix)
                                  : static_cast<std::uint32_t>(strtol(text, nullptr, radix));
  if (short_flag) {
    *static_cast<std::uint16_t*>(destination) = static_cast<std::uint16_t>(value);
  } else {
    *static_cast<std::uint32_t*>(destination) = value;
  }
}

}  // namespace tarn
