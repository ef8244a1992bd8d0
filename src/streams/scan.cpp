#include "streams/scan.h"

#include "platform/byte_block.h"
#include "process/raising.h"
#include "streams/conversion/number_parse.h"
#include "streams/format.h"
#include "strings/character_class.h"

namespace tarn {
namespace {

// A program may ask for a number at any address.
template <class Value>
void store(void* destination, Value value) {
  __builtin_memcpy(destination, &value, sizeof value);
}

constexpr std::int32_t kNothingRead = 373;  // "No characters read by scanf"

constexpr std::int32_t kArgumentBudget = 100'000;
constexpr std::int32_t kArgumentCost = 4;
constexpr std::int32_t kDefaultWidth = 80;
constexpr std::int32_t kMaxWidth = 4299;
constexpr std::int32_t kFieldSize = kMaxWidth + 5;  // a character read ahead, a suffix, a NUL
constexpr std::int32_t kPlainSet = 175;

constexpr std::int32_t kByte0xFF = 0xFF;

// The source. Only this file touches it.
bool peeked;
std::int32_t peeked_char;
std::int32_t chars_read;
bool from_stream;
FILE* scan_stream;
const char* scan_cursor;
const char* text_end;  // the NUL of the source text, once it was met

// The next character of a string. After its NUL there are only more of them.
inline std::int32_t read_text() {
  const char* const position = scan_cursor++;
  if (text_end && position > text_end) return 0;
  if (*position == '\0') text_end = position;
  return *position;
}

inline std::int32_t next_character() {
  if (peeked) {
    peeked = false;
    return peeked_char;
  }
  ++chars_read;
  peeked_char = from_stream ? getc(scan_stream) : read_text();
  return peeked_char;
}

TARNAPI void put_back(std::int32_t c) {
  if (from_stream) {
    ungetc(c, scan_stream);
  } else {
    --scan_cursor;
  }
}

// Whether a string can be read in place: `ahead` is then at what next_character()
// returns next. False for a stream, once the NUL was read, and if the character
// peeked at is not the one before the cursor (see _getn).
inline bool can_look_ahead(const char*& ahead) {
  if (from_stream || text_end) return false;
  ahead = scan_cursor - peeked;
  return !peeked || *ahead == peeked_char;
}

// Everything before `at` has been read. This may also push
// back a character that was only peeked at.
inline void read_up_to(const char* at) {
  chars_read += static_cast<std::int32_t>(at - scan_cursor);
  scan_cursor = at;
  peeked = false;
}

inline bool is_class(std::int32_t c, CharacterClass wanted) {
  return (character_classes(c) & wanted) != 0;
}

// Skips white space. The character after it remains to be read, unless it is
// the end of the input.
inline std::int32_t skip_to_field() {
  if (const char* ahead; can_look_ahead(ahead)) {
    while (is_class(*ahead, kWhiteSpace)) ++ahead;
    read_up_to(ahead);
    if (*ahead != kEndOfFile) return *ahead;
  }
  const std::int32_t c = _skipwhite();
  peeked = c != kEndOfFile;
  return c;
}

inline bool is_digit(std::int32_t c) { return is_class(c, kDecimalDigit); }

// What ends a %c or %s: the end of a string, or of a stream.
inline bool is_end(std::int32_t c) { return c == 0 || (c & kByte0xFF) == kByte0xFF; }

struct CharacterSet {
  std::uint64_t bits[4] = {};
  constexpr void add(char c) {
    const auto byte = static_cast<std::uint8_t>(c);
    bits[byte / 64] |= std::uint64_t{1} << byte % 64;
  }
  constexpr bool has(std::int32_t c) const {
    const auto byte = static_cast<std::uint8_t>(c);
    return (bits[byte / 64] >> byte % 64 & 1) != 0;
  }
};

constexpr CharacterSet set_of(const char* characters) {
  CharacterSet set;
  for (; *characters; ++characters) set.add(*characters);
  return set;
}

constexpr CharacterSet kWhiteSet = set_of(" \n\r\t\f\v");
constexpr CharacterSet kRealSuffixes = set_of("lLfF");

// ---- Fields of numbers ----------------------------------------------------

// The two ways to read a field. here() is the character looked at; the field
// ends by pushing it back or taking it.
class OneByOne {
 public:
  std::int32_t here() const { return here_; }
  void step() { here_ = next_character(); }
  std::int32_t ahead() { return _peek_next(); }
  void give_back() {
    --chars_read;
    put_back(here_);
  }
  void take() {}

 private:
  std::int32_t here_ = next_character();
};

class InPlace {
 public:
  explicit InPlace(const char* at) : at_(at) {}
  std::int32_t here() const { return *at_; }
  void step() { ++at_; }
  std::int32_t ahead() const { return at_[1]; }
  void give_back() { read_up_to(at_); }
  void take() { read_up_to(at_ + 1); }

 private:
  const char* at_;
};

inline bool accepts(std::int32_t c, std::int32_t radix) {
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

// Result: the character after the field.
template <class Source>
inline std::int32_t integer_text(Source source, char* buffer, std::int32_t radix, bool no_sign,
                                 std::int32_t width) {
  if (!no_sign && (source.here() == '-' || source.here() == '+')) {
    *buffer++ = static_cast<char>(source.here());
    --width;
    source.step();
  }
  if (radix == 16 && source.here() == '0' && (source.ahead() == 'x' || source.ahead() == 'X')) {
    source.step();
    source.step();
    width -= 2;
  }
  for (; width > 0 && accepts(source.here(), radix); --width) {
    *buffer++ = static_cast<char>(source.here());
    source.step();
  }
  source.give_back();
  *buffer = '\0';
  return source.here();
}

// Result: false if there is no text at all.
template <class Source>
inline bool real_text(Source source, char* buffer, std::int32_t width) {
  char* next = buffer;
  const auto step = [&] {
    *next++ = static_cast<char>(source.here());
    --width;
    source.step();
  };
  const auto is_sign = [&] { return source.here() == '-' || source.here() == '+'; };
  const auto step_over_digits = [&] {
    while (is_digit(source.here()) && width > 0) step();
  };
  if (is_sign()) step();
  step_over_digits();
  if (source.here() == '.' && width > 0) {
    step();
    step_over_digits();
  }
  if ((source.here() == 'e' || source.here() == 'E') && width > 0) {
    step();
    if (is_sign() && width > 0) step();
    step_over_digits();
  }
  if (kRealSuffixes.has(source.here())) {
    *next++ = static_cast<char>(source.here());  // belongs to the text
    source.take();
  } else {
    source.give_back();
  }
  *next = '\0';
  return next != buffer;
}

TARNAPI bool read_real(char* buffer, std::int32_t width) {
  const char* ahead;
  return can_look_ahead(ahead) ? real_text(InPlace(ahead), buffer, width)
                               : real_text(OneByOne(), buffer, width);
}

// ---- Words ----------------------------------------------------------------

// Skips white space, then reads what is in the set, or outside of it with
// `stop_in_set`. Result: how many characters.
TARNAPI std::int32_t read_word(bool suppress, char* buffer, const CharacterSet& set,
                               bool stop_in_set, std::int32_t width) {
  const auto stops = [&](std::int32_t c) { return is_end(c) || set.has(c) == stop_in_set; };
  std::int32_t size = 0;
  if (skip_to_field() == kEndOfFile) peeked = true;
  if (const char* ahead; can_look_ahead(ahead)) {
    for (; size < width && !stops(ahead[size]); ++size) {
      if (!suppress) buffer[size] = ahead[size];
    }
    read_up_to(ahead + size);
  } else {
    for (; size < width; ++size) {
      const std::int32_t c = next_character();
      if (stops(c)) {
        peeked = true;
        break;
      }
      if (!suppress) buffer[size] = static_cast<char>(c);
    }
  }
  buffer[suppress ? 0 : size] = '\0';
  return size;
}

// ---- Directives -----------------------------------------------------------

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

TARNAPI const char* read_directive(const char* format, Directive& directive) {
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

TARNAPI Outcome scan_integer(char* buffer, const Directive& directive, std::int32_t radix,
                             bool is_signed, const Slot*& slots) {
  _getn(buffer, radix, 0, directive.width);
  if (!*buffer) return Outcome::kNoMatch;
  if (directive.suppress) return Outcome::kStored;
  void* const destination = reinterpret_cast<void*>(*slots++);
  if (!directive.long_long) {
    _set(buffer, directive.short_flag, 0, destination, radix, !is_signed, 0);
  } else if (is_signed) {
    store(destination, strtol64(buffer, nullptr, radix));
  } else {
    store(destination, strtoul64(buffer, nullptr, radix));
  }
  return Outcome::kStored;
}

TARNAPI Outcome scan_real(char* buffer, const Directive& directive, const Slot*& slots) {
  if (!read_real(buffer, directive.width)) return Outcome::kNoMatch;
  if (directive.suppress) return Outcome::kStored;
  void* const destination = reinterpret_cast<void*>(*slots++);
  const double value = strtod(buffer, nullptr);
  if (directive.long_flag || directive.long_long) {
    store(destination, value);
  } else {
    store(destination, single_of(value));
  }
  return Outcome::kStored;
}

TARNAPI Outcome scan_bytes(const Directive& directive, const Slot*& slots) {
  const std::int32_t width = directive.no_width ? 1 : directive.width;
  char* const destination = directive.suppress ? nullptr : reinterpret_cast<char*>(*slots++);
  for (std::int32_t i = 0; i < width; ++i) {
    const std::int32_t c = next_character();
    if (destination) destination[i] = static_cast<char>(c);
    if (is_end(c)) return i == 0 ? Outcome::kNoByte : Outcome::kEnd;
  }
  return Outcome::kStored;
}

TARNAPI Outcome scan_text(char* buffer, const Directive& directive, const CharacterSet& set,
                          bool stop_in_set, bool may_be_empty, const Slot*& slots) {
  const std::int32_t size =
      read_word(directive.suppress, buffer, set, stop_in_set, directive.width);
  if (size == 0 && !may_be_empty) return Outcome::kNoMatch;
  if (!directive.suppress) {
    append_bytes(reinterpret_cast<char*>(*slots++), buffer, static_cast<std::uint64_t>(size) + 1);
  }
  return Outcome::kStored;
}

TARNAPI Outcome scan_set(char* buffer, const Directive& directive, const char*& format,
                         const Slot*& slots) {
  char set[kSetSize];
  const bool stop_in_set = *format == '^';
  if (stop_in_set) ++format;
  const char* const behind = _getdels(set, format);
  if (!behind) return Outcome::kNoMatch;
  format = behind;
  return scan_text(buffer, directive, set_of(set), stop_in_set, true, slots);
}

TARNAPI void store_count(const Directive& directive, const Slot*& slots) {
  void* const destination = reinterpret_cast<void*>(*slots++);
  const std::int32_t count = chars_read - peeked;
  if (directive.short_flag) {
    store(destination, static_cast<std::int16_t>(count));
  } else {
    store(destination, count);
  }
}

// `format` is at the conversion character and is moved past it.
TARNAPI Outcome scan_field(const Directive& directive, const char*& format, const Slot*& slots) {
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
TARNAPI std::int32_t scan_literal(char wanted) {
  const std::int32_t c = _skipwhite();
  if (c == kEndOfFile) return kEndOfFile;
  if (c == wanted) return 1;
  put_back(c);
  return 0;
}

// The engine's loop. What it leaves peeked is pushed back by _scanf.
std::int32_t scan(const char* format, const Slot* slots) {
  std::int32_t count = 0;
  std::int32_t budget = kArgumentBudget;
  while (*format) {
    if (is_class(*format, kWhiteSpace)) {
      ++format;
      skip_to_field();
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
      if (skip_to_field() == kEndOfFile) return kEndOfFile;
    }
    if (!*format) return count;
    budget -= kArgumentCost;
    if (budget < 0) {
      if (directive.suppress) return count;
      raise_resumable(TARN_ERROR_FORMAT_ARGUMENTS);
      return kEndOfFile;
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

TARNAPI std::int32_t finished(std::int32_t result) {
  return result != 0 ? result : check_exception(64, 0, kNothingRead);
}

TARNAPI std::int32_t scan_from(FILE* stream, const char* format, const Slot* slots) {
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
  if (!stream) return check_exception(0, 0, TARN_ERROR_STREAM_POINTER);
  if (stream->magic != kFileMagic) __RuntimeError(TARN_ERROR_FILE_STRUCTURE);
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

std::int32_t _next() { return next_character(); }

std::int32_t _peek_next() {
  if (!peeked) next_character();
  peeked = true;
  return peeked_char;
}

std::int32_t _skipwhite() {
  std::int32_t c = next_character();
  while (is_class(c, kWhiteSpace)) c = next_character();
  return c;
}

const char* _getdels(char* set, const char* format) {
  std::int32_t length = 0;
  set[0] = '\0';
  CharacterSet members;
  for (const char* at = format; *at; ++at) {
    if (*at == ']' && at != format) return at + 1;
    if (length >= kPlainSet && members.has(*at)) continue;
    members.add(*at);
    set[length++] = *at;
    set[length] = '\0';
  }
  return nullptr;
}

std::int32_t _getstr(std::int32_t suppress, char* buffer, const char* set, std::int32_t stop_in_set,
                     std::int32_t width) {
  return read_word(suppress != 0, buffer, set_of(set), stop_in_set != 0, width) > 0 ? 0 : -1;
}

std::int32_t _getn(char* buffer, std::int32_t radix, std::int32_t no_sign, std::int32_t width) {
  // With a width of 1 a "0" after a sign is pushed back while the character
  // after it is still peeked at, so that the two change places.
  const bool may_change_places = radix == 16 && width < 2;
  const char* ahead;
  return !may_change_places && can_look_ahead(ahead)
             ? integer_text(InPlace(ahead), buffer, radix, no_sign != 0, width)
             : integer_text(OneByOne(), buffer, radix, no_sign != 0, width);
}

void _set(const char* text, std::int32_t short_flag, std::int32_t suppress, void* destination,
          std::int32_t radix, std::int32_t unsigned_flag, std::int32_t) {
  if (suppress) return;
  const std::uint32_t value = unsigned_flag
                                  ? strtoul(text, nullptr, radix)
                                  : static_cast<std::uint32_t>(strtol(text, nullptr, radix));
  if (short_flag) {
    store(destination, static_cast<std::uint16_t>(value));
  } else {
    store(destination, value);
  }
}

std::int32_t check_exception(std::int32_t, std::int32_t result, std::int32_t) { return result; }

}  // namespace tarn
