#include "streams/format.h"

#include "platform/byte_block.h"
#include "process/raising.h"
#include "streams/conversion/digits.h"
#include "streams/conversion/float_layout.h"
#include "streams/conversion/float_text.h"

namespace tarn {
namespace {

constexpr std::int32_t kArgumentBudget = 100'000;
constexpr std::int32_t kNarrowCost = 4;
constexpr std::int32_t kWideCost = 8;
constexpr std::int32_t kLocalSize = 4120;
constexpr std::int32_t kNoPrecision = -1;
constexpr std::int32_t kDefaultFloatPrecision = 6;

// ---- Where the text goes --------------------------------------------------

// One buffer, and what happens when it is full: with a stream it is written
// out and used again, without one the rest is counted and dropped.
struct Output {
  char* start;
  char* next;
  char* end;  // one byte after it is reserved for a NUL
  FILE* stream;
  std::int64_t gone;  // characters no longer in the buffer
};

std::uint64_t room(const Output& out) {
  return reinterpret_cast<std::uintptr_t>(out.end) - reinterpret_cast<std::uintptr_t>(out.next);
}

// For a buffer of unknown size, which the caller answers for.
Output unbounded(char* start) {
  return {start, start, reinterpret_cast<char*>(~std::uintptr_t{0}), nullptr, 0};
}

std::int64_t length_of(const Output& out) { return out.gone + (out.next - out.start); }

TARNAPI void write_out(Output& out) {
  *out.next = '\0';
  fputs(out.start, out.stream);
  out.gone += out.next - out.start;
  out.next = out.start;
}

// The bytes of `text`, or `size` times `byte` if it is null, through a buffer
// that is too small for them.
TARNAPI __attribute__((noinline)) void put_through(Output& out, const char* text, char byte,
                                                   std::uint64_t size) {
  for (;;) {
    const std::uint64_t part = size < room(out) ? size : room(out);
    out.next = text ? append_bytes(out.next, text, part) : append_fill(out.next, byte, part);
    size -= part;
    if (size == 0) return;
    if (text) text += part;
    if (!out.stream) break;
    write_out(out);
  }
  out.gone += static_cast<std::int64_t>(size);
}

inline void put_bytes(Output& out, const char* text, std::uint64_t size) {
  if (size <= room(out)) {
    out.next = append_bytes(out.next, text, size);
  } else {
    put_through(out, text, 0, size);
  }
}

inline void put_fill(Output& out, char byte, std::int64_t count) {
  if (count <= 0) return;
  const auto size = static_cast<std::uint64_t>(count);
  if (size <= room(out)) {
    out.next = append_fill(out.next, byte, size);
  } else {
    put_through(out, nullptr, byte, size);
  }
}

inline void put_byte(Output& out, char byte) {
  if (out.next != out.end) {
    *out.next++ = byte;
  } else {
    put_through(out, nullptr, byte, 1);
  }
}

// ---- Fields ---------------------------------------------------------------

// What surrounds the body of a field, in this order.
struct Frame {
  char lead[2];  // a sign or prefix before padding zeros
  std::int32_t lead_size;
  char pad;
  std::int64_t pad_before;
  char prefix[2];  // a sign or prefix after padding spaces
  std::int32_t prefix_size;
  std::int64_t zeros;
  std::int64_t pad_behind;  // spaces
};

inline void put_front(Output& out, const Frame& frame) {
  for (std::int32_t i = 0; i < frame.lead_size; ++i) put_byte(out, frame.lead[i]);
  put_fill(out, frame.pad, frame.pad_before);
  for (std::int32_t i = 0; i < frame.prefix_size; ++i) put_byte(out, frame.prefix[i]);
  put_fill(out, '0', frame.zeros);
}

inline void put_behind(Output& out, const Frame& frame) { put_fill(out, ' ', frame.pad_behind); }

inline std::int64_t above_zero(std::int64_t value) { return value > 0 ? value : 0; }

// Shares out the padding of a field of `length` characters, sign or prefix
// included, that shall have at least `wanted` ones.
inline Frame frame_for(std::int64_t length, std::int64_t wanted, std::int32_t width, bool left,
                       bool zero) {
  Frame frame;
  frame.lead_size = 0;
  frame.prefix_size = 0;
  frame.zeros = above_zero(wanted - length);
  const std::int64_t padding = above_zero(width - length - frame.zeros);
  frame.pad = zero ? '0' : ' ';
  frame.pad_before = left ? 0 : padding;
  frame.pad_behind = left ? padding : 0;
  return frame;
}

// One directive as it was read.
struct Directive {
  bool left, plus, space, alt, zero;
  bool precision_given;
  bool long_long, short_flag;
  char conversion;
  std::int32_t width;
  std::int32_t precision;
};

// A sign or prefix, before the body: after spaces, before zeros.
struct Prefix {
  char text[2];
  std::int32_t size;
};

inline Frame framed(const Directive& directive, const Prefix& prefix, std::int64_t body_size,
                    std::int64_t wanted) {
  Frame frame =
      frame_for(prefix.size + body_size, wanted, directive.width, directive.left, directive.zero);
  if (directive.zero) {
    __builtin_memcpy(frame.lead, prefix.text, sizeof frame.lead);
    frame.lead_size = prefix.size;
  } else {
    __builtin_memcpy(frame.prefix, prefix.text, sizeof frame.prefix);
    frame.prefix_size = prefix.size;
  }
  return frame;
}

TARNAPI void put_text(Output& out, const Directive& directive, const char* text,
                      std::int64_t size) {
  const Frame frame =
      frame_for(size, kNoPrecision, directive.width, directive.left, directive.zero);
  put_front(out, frame);
  put_bytes(out, text, static_cast<std::uint64_t>(size));
  put_behind(out, frame);
}

TARNAPI void put_zero_value(Output& out, std::int32_t width, bool left, bool signed_text) {
  const std::int64_t blanks = above_zero(width) - (signed_text && width > 0);
  if (!left) put_fill(out, ' ', blanks);
  if (signed_text) put_byte(out, '+');
  if (left) put_fill(out, ' ', blanks);
}

// ---- Integers -------------------------------------------------------------

// How a body of digits is written. Radix 10 has bits 0.
struct Radix {
  int bits;
  const char* characters;
};
constexpr Radix kDecimal = {0, nullptr};
constexpr Radix kOctal = {3, digits::kLower};
constexpr Radix kLowerHex = {4, digits::kLower};
constexpr Radix kUpperHex = {4, digits::kUpper};

inline void write_digits(char* end, std::uint64_t value, const Radix& radix) {
  if (radix.bits == 0) {
    digits::write_decimal(end, value);
  } else {
    digits::write_binary(end, value, radix.bits, radix.characters);
  }
}

TARNAPI void put_number(Output& out, const Directive& directive, const Prefix& prefix,
                        std::uint64_t value, const Radix& radix, std::int64_t wanted) {
  const auto count = static_cast<std::uint32_t>(
      radix.bits == 0 ? digits::count_decimal(value) : digits::count_binary(value, radix.bits));
  const Frame frame = framed(directive, prefix, count, wanted);
  put_front(out, frame);
  if (count <= room(out)) {
    write_digits(out.next + count, value, radix);
    out.next += count;
  } else {
    char text[digits::kMaxDigits];
    write_digits(text + count, value, radix);
    put_through(out, text, 0, count);
  }
  put_behind(out, frame);
}

TARNAPI void put_signed(Output& out, const Directive& directive, std::int64_t value) {
  Prefix prefix = {{0, 0}, 0};
  if (value < 0) {
    prefix = {{'-', 0}, 1};
  } else if (directive.plus) {
    prefix = {{'+', 0}, 1};
  } else if (directive.space && value > 0) {
    prefix = {{' ', 0}, 1};
  }
  if (value == 0 && directive.precision == 0) {
    put_zero_value(out, directive.width, directive.left, prefix.size != 0);
    return;
  }
  const auto bits = static_cast<std::uint64_t>(value);
  const std::int64_t wanted = std::int64_t{directive.precision} + prefix.size;
  put_number(out, directive, prefix, value < 0 ? 0 - bits : bits, kDecimal, wanted);
}

TARNAPI void put_unsigned(Output& out, const Directive& directive, std::uint64_t value) {
  if (value == 0 && directive.precision == 0) {
    put_fill(out, ' ', directive.width);
    return;
  }
  Prefix prefix = {{'0', directive.conversion}, 0};
  Radix radix = kDecimal;
  const bool alt = directive.alt && value != 0;
  switch (directive.conversion) {
    case 'o':
      radix = kOctal;
      prefix.size = alt;
      break;
    case 'x':
      radix = kLowerHex;
      prefix.size = alt * 2;
      break;
    case 'X':
    case 'p':
      radix = kUpperHex;
      prefix = {{'0', 'X'}, alt * 2};
      break;
    default:
      break;
  }
  put_number(out, directive, prefix, value, radix, directive.precision);
}

// ---- Floating point -------------------------------------------------------

inline void lay_out(FloatLayout& layout, const Directive& directive, double value) {
  const bool upper = directive.conversion == 'E' || directive.conversion == 'G';
  const std::int32_t precision =
      directive.precision_given ? directive.precision : kDefaultFloatPrecision;
  switch (directive.conversion) {
    case 'f':
      layout_fixed(layout, value, precision, directive.alt);
      break;
    case 'g':
    case 'G':
      layout_general(layout, value, precision <= 0 ? 1 : precision, upper);
      if (!directive.alt) strip_zeros(layout);
      break;
    default:
      layout_exponent(layout, value, precision, directive.alt, upper);
      break;
  }
}

// Through a buffer that may be too small. The sign is not written.
TARNAPI __attribute__((noinline)) void put_layout_through(Output& out, const FloatLayout& layout) {
  char head[kLongestHead];
  const char* const end = write_head(head, layout);
  put_bytes(out, head, static_cast<std::uint64_t>(end - head));
  put_fill(out, '0', layout.zeros);
  put_bytes(out, layout.exponent, static_cast<std::uint64_t>(layout.exponent_size));
}

TARNAPI __attribute__((noinline)) void put_float(Output& out, const Directive& directive,
                                                 double value) {
  if (invalid_double(value)) {
    ReportErrorNumber(directive.long_long ? TARN_ERROR_PRINTED_LONG_DOUBLE
                                          : TARN_ERROR_PRINTED_DOUBLE);
  }
  FloatLayout layout;
  lay_out(layout, directive, value);
  const std::int64_t size = layout_size(layout);
  const bool has_sign = layout.negative || directive.plus || directive.space;
  const char sign = layout.negative ? '-' : directive.plus ? '+' : ' ';
  if (size + has_sign >= directive.width &&
      static_cast<std::uint64_t>(size + has_sign) <= room(out)) {
    *out.next = sign;
    out.next = write_layout(out.next + has_sign, layout);
    return;
  }
  const Prefix prefix = {{sign, 0}, has_sign};
  const Frame frame = framed(directive, prefix, size, kNoPrecision);
  put_front(out, frame);
  put_layout_through(out, layout);
  put_behind(out, frame);
}

// ---- The engine -----------------------------------------------------------

struct Arguments {
  const Slot* next;
  std::int32_t budget;
};

// Then no more is taken: the engine ends with -1 once the error has been raised.
inline bool spent(const Arguments& arguments) { return arguments.budget < 0; }

inline Slot take(Arguments& arguments, std::int32_t cost) {
  arguments.budget -= cost;
  if (!spent(arguments)) return *arguments.next++;
  raise_resumable(TARN_ERROR_FORMAT_ARGUMENTS);
  return 0;
}

inline std::int32_t take_int(Arguments& arguments) {
  return static_cast<std::int32_t>(take(arguments, kNarrowCost));
}

inline std::int32_t number_at(const char*& text) {
  std::uint32_t number = 0;
  for (; digits::is_decimal(*text); ++text)
    number = number * 10 + static_cast<std::uint32_t>(*text - '0');
  return static_cast<std::int32_t>(number);
}

inline std::int64_t text_length(const char* text, std::int32_t limit) {
  std::int64_t length = 0;
  if (limit < 0) {
    while (text[length]) ++length;
  } else {
    while (length < limit && text[length]) ++length;
  }
  return length;
}

inline const char* read_flags(const char* format, Directive& directive) {
  for (;; ++format) {
    switch (*format) {
      case '-':
        directive.left = true;
        break;
      case '+':
        directive.plus = true;
        break;
      case ' ':
        directive.space = true;
        break;
      case '#':
        directive.alt = true;
        break;
      case '0':
        directive.zero = true;
        break;
      default:
        directive.zero &= !directive.left;
        directive.space &= !directive.plus;
        return format;
    }
  }
}

inline const char* read_width(const char* format, Directive& directive, Arguments& arguments) {
  if (*format != '*') {
    directive.width = number_at(format);
    return format;
  }
  directive.width = take_int(arguments);
  if (directive.width < 0) {
    directive.left = true;
    directive.zero = false;
    directive.width = static_cast<std::int32_t>(0 - static_cast<std::uint32_t>(directive.width));
  }
  return format + 1;
}

// `format` is after the point.
inline const char* read_precision(const char* format, Directive& directive, Arguments& arguments) {
  directive.precision_given = true;
  if (*format != '*') {
    directive.precision = number_at(format);
    return format;
  }
  const std::int32_t precision = take_int(arguments);
  directive.precision = precision < 0 ? 0 : precision;
  return format + 1;
}

inline const char* read_length(const char* format, Directive& directive) {
  switch (*format) {
    case 'l':
      ++format;
      if (*format != 'l') return format;
      directive.long_long = true;
      break;
    case 'L':
      directive.long_long = true;
      break;
    case 'h':
      directive.short_flag = true;
      break;
    default:
      return format;
  }
  return format + 1;
}

// Reads from after the "%" through the conversion character. Result: the
// position after it, or at the NUL that ended the format.
inline const char* read_directive(const char* format, Directive& directive, Arguments& arguments) {
  directive = {};
  directive.precision = kNoPrecision;
  // Most directives are one letter.
  if (*format < 'a') {
    format = read_flags(format, directive);
    format = read_width(format, directive, arguments);
    if (*format == '.') format = read_precision(format + 1, directive, arguments);
  }
  format = read_length(format, directive);
  directive.conversion = *format;
  return *format ? format + 1 : format;
}

inline std::int64_t take_signed(const Directive& directive, Arguments& arguments) {
  if (directive.long_long) return static_cast<std::int64_t>(take(arguments, kWideCost));
  const std::int32_t value = take_int(arguments);
  return directive.short_flag ? static_cast<std::int16_t>(value) : value;
}

inline std::uint64_t take_unsigned(const Directive& directive, Arguments& arguments) {
  if (directive.long_long) return take(arguments, kWideCost);
  const std::int32_t value = take_int(arguments);
  if (directive.short_flag && directive.conversion == 'u') return static_cast<std::uint16_t>(value);
  if (directive.short_flag && directive.conversion == 'o') {
    return static_cast<std::uint32_t>(static_cast<std::int16_t>(value));
  }
  return static_cast<std::uint32_t>(value);
}

void store_count(const Output& out, const Directive& directive, Arguments& arguments) {
  const Slot where = take(arguments, kNarrowCost);
  if (spent(arguments)) return;
  const std::int64_t count = length_of(out);
  if (directive.short_flag) {
    *reinterpret_cast<std::int16_t*>(where) = static_cast<std::int16_t>(count);
  } else {
    *reinterpret_cast<std::int32_t*>(where) = static_cast<std::int32_t>(count);
  }
}

inline void convert(Output& out, Directive& directive, Arguments& arguments) {
  switch (directive.conversion) {
    case 'd':
    case 'i':
      directive.zero &= !directive.precision_given;
      put_signed(out, directive, take_signed(directive, arguments));
      break;
    case 'u':
    case 'o':
    case 'x':
    case 'X':
      directive.zero &= !directive.precision_given;
      [[fallthrough]];
    case 'p':
      put_unsigned(out, directive, take_unsigned(directive, arguments));
      break;
    case 'c': {
      const char byte = static_cast<char>(take_int(arguments));
      put_text(out, directive, &byte, byte != '\0');
      break;
    }
    case 's': {
      const char* const text = reinterpret_cast<const char*>(take(arguments, kNarrowCost));
      if (spent(arguments)) break;
      put_text(out, directive, text, text_length(text, directive.precision));
      break;
    }
    case 'n':
      store_count(out, directive, arguments);
      break;
    case 'f':
    case 'e':
    case 'E':
    case 'g':
    case 'G':
      put_float(out, directive, __builtin_bit_cast(double, take(arguments, kWideCost)));
      break;
    case '%':
      put_byte(out, '%');
      break;
    default:
      break;
  }
}

// The text of the format, without a NUL. Result: its length, or -1 if a trap
// routine went on after the raise of 291.
TARNAPI std::int32_t run(Output& out, const char* format, const Slot* slots) {
  Arguments arguments = {slots, kArgumentBudget};
  for (;;) {
    const char* literal = format;
    while (*format && *format != '%') ++format;
    if (format != literal) put_bytes(out, literal, static_cast<std::uint64_t>(format - literal));
    if (!*format) break;
    Directive directive;
    format = read_directive(format + 1, directive, arguments);
    if (!spent(arguments)) convert(out, directive, arguments);
    if (spent(arguments)) return -1;
  }
  return static_cast<std::int32_t>(length_of(out));
}

TARNAPI std::int32_t print(FILE* stream, const char* format, const Slot* slots) {
  char local[kLocalSize];
  Output out = {local, local, local + kLocalSize - 1, stream, 0};
  const std::int32_t length = run(out, format, slots);
  write_out(out);
  return length;
}

}  // namespace

std::int32_t printf(const char* format, ...) {
  TARN_SLOTS_BEHIND(slots, format);
  return print(standard_stream(kCellStdout), format, slots);
}

std::int32_t fprintf(FILE* stream, const char* format, ...) {
  TARN_SLOTS_BEHIND(slots, format);
  return print(stream, format, slots);
}

std::int32_t sprintf(char* destination, const char* format, ...) {
  TARN_SLOTS_BEHIND(slots, format);
  return _sprintf(destination, format, slots);
}

std::int32_t vsprintf(char* destination, const char* format, const Slot* slots) {
  return _sprintf(destination, format, slots);
}

std::int32_t _sprintf(char* destination, const char* format, const Slot* slots) {
  Output out = unbounded(destination);
  const std::int32_t length = run(out, format, slots);
  *out.next = '\0';
  return length;
}

std::int32_t format_bounded(char* destination, std::uint64_t size, const char* format,
                            const Slot* slots) {
  char* const last = size ? destination + (size - 1) : destination;
  Output out = {destination, destination, last, nullptr, 0};
  const std::int32_t length = run(out, format, slots);
  if (size) *out.next = '\0';
  return length;
}

std::int32_t _getnum(const char** text) { return number_at(*text); }

char* _form(const char* text, char* out, std::int32_t width, std::int32_t left, std::int32_t zero,
            std::int32_t signed_text, std::int32_t precision) {
  Output output = unbounded(out);
  if (signed_text && zero && *text) {
    put_byte(output, *text++);
    --width;
  }
  const std::int64_t size = text_length(text, kNoPrecision);
  Frame frame = frame_for(size, precision, width, left != 0, zero != 0);
  if (*text == '+' || *text == '-' || (signed_text && *text == ' ')) {
    frame.prefix[0] = *text;
    frame.prefix_size = 1;
  }
  put_front(output, frame);
  put_bytes(output, text + frame.prefix_size, static_cast<std::uint64_t>(size - frame.prefix_size));
  put_behind(output, frame);
  if (frame.pad_behind == 0) *output.next = '\0';
  return output.next;
}

char* _formfixl(const char* text, char* out, std::int32_t width, std::int32_t left,
                std::int32_t zero, std::int32_t precision) {
  Output output = unbounded(out);
  Directive directive = {};
  directive.width = width;
  directive.left = left != 0;
  directive.zero = zero != 0;
  put_text(output, directive, text, text_length(text, precision < 0 ? 0 : precision));
  return output.next;
}

char* __form_zero_precandvalue(char* out, std::int32_t width, std::int32_t left,
                               std::int32_t signed_text) {
  Output output = unbounded(out);
  put_zero_value(output, width, left != 0, signed_text != 0);
  *output.next = '\0';
  return output.next;
}

}  // namespace tarn
