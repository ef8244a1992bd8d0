// What code calls that was compiled with -fsanitize=undefined, where an operation has no
// meaning: a line "FILE:LINE:COLUMN: runtime error: WHAT" on the standard error, each place once,
// and the program goes on; with -fno-sanitize-recover it ends by the library's report. The names,
// records and texts are those that GCC and Clang share, so that tools which read them know them.
// The check of C++ classes (vptr) is not here. Any thread.
#include <inttypes.h>
#include <stdio.h>
#include <string.h>

#include "../crt.h"

extern "C" {
[[noreturn]] void suite_text_error(const char* format, ...) __asm__("tarn_suite_text_error");
// The header's are inline.
int iso_snprintf(char*, size_t, const char*, ...) __asm__("snprintf");
int iso_vsnprintf(char*, size_t, const char*, va_list) __asm__("vsnprintf");
}

namespace {

// ---- The compiler's records -----------------------------------------------------------

struct Place {
  const char* file;  // null: not known
  uint32_t line, column;
};

struct Type {
  uint16_t kind;  // kInteger, kFloat, or another
  uint16_t form;  // of an integer: bit 0 it is signed, the rest the logarithm of its bits;
                  // of a floating-point number its bits
  char name[1];   // as the source has it, between '
};
constexpr uint16_t kInteger = 0, kFloat = 1;

// The value itself, where it has at most the bits of a pointer, else its address.
using Value = uintptr_t;
constexpr unsigned kValueBits = 8 * sizeof(Value);

struct Overflow {
  Place place;
  const Type* type;
};
struct Shift {
  Place place;
  const Type *left, *right;
};
struct Bounds {
  Place place;
  const Type *array, *index;
};
struct Cast {
  Place place;
  const Type *from, *to;
};
struct Mismatch {
  Place place;
  const Type* type;
  uint8_t alignment;  // its logarithm
  uint8_t access;     // an index into kAccesses
};
struct Argument {
  Place place, attribute;
  int number;
};
struct Attribute {
  Place place;
};
struct Builtin {
  Place place;
  uint8_t kind;  // 0: ctz, else clz
};

constexpr const char* kAccesses[] = {"load of",
                                     "store to",
                                     "reference binding to",
                                     "member access within",
                                     "member call on",
                                     "constructor call on",
                                     "downcast of",
                                     "downcast of",
                                     "upcast of",
                                     "cast to virtual base of",
                                     "_Nonnull binding to",
                                     "dynamic operation on"};

// ---- Values in words --------------------------------------------------------------------

using Wide = __int128;
using WideBits = unsigned __int128;

bool is_signed(const Type& type) { return type.kind == kInteger && (type.form & 1) != 0; }

unsigned bits_of(const Type& type) {
  return type.kind == kInteger ? 1u << (type.form >> 1) : type.form;
}

Wide integer(const Type& type, Value value) {
  const unsigned bits = bits_of(type);
  if (bits > kValueBits) return *reinterpret_cast<const Wide*>(value);
  const unsigned unused = kValueBits - bits;
  if (is_signed(type)) return static_cast<intptr_t>(value << unused) >> unused;
  return static_cast<Wide>(value << unused >> unused);
}

bool is_negative(const Type& type, Value value) {
  return is_signed(type) && integer(type, value) < 0;
}

struct Words {
  char text[64];
};

Words in_words(const Type& type, Value value) {
  Words words;
  if (type.kind == kInteger) {
    const Wide number = integer(type, value);
    const auto low = static_cast<uint64_t>(number);
    const auto high = static_cast<uint64_t>(static_cast<WideBits>(number) >> 64);
    if (number >= INT64_MIN && number <= INT64_MAX) {
      iso_snprintf(words.text, sizeof words.text, "%" PRId64, static_cast<int64_t>(number));
    } else if (high == 0) {
      iso_snprintf(words.text, sizeof words.text, "%" PRIu64, low);
    } else {
      iso_snprintf(words.text, sizeof words.text, "0x%016" PRIx64 "%016" PRIx64, high, low);
    }
  } else if (type.kind == kFloat) {
    long double number = 0;
    switch (bits_of(type)) {
      case 32: {
        const auto low = static_cast<uint32_t>(value);
        float single;
        memcpy(&single, &low, sizeof single);
        number = single;
        break;
      }
      case 64: {
        double twice;
        memcpy(&twice, &value, sizeof twice);
        number = twice;
        break;
      }
      default:
        memcpy(&number, reinterpret_cast<const void*>(value), sizeof number);
        break;
    }
    iso_snprintf(words.text, sizeof words.text, "%g", static_cast<double>(number));
  } else {
    strcpy(words.text, "<unknown>");
  }
  return words;
}

// ---- What is said -------------------------------------------------------------------------

enum class Then { kGoOn, kEnd };

// With kEnd it does not return.
[[gnu::format(printf, 3, 4)]] void say(Place* place, Then then, const char* format, ...) {
  // A column of all ones: it was said.
  constexpr uint32_t kSaid = UINT32_MAX;
  const uint32_t column = __atomic_exchange_n(&place->column, kSaid, __ATOMIC_RELAXED);
  if (column == kSaid && then == Then::kGoOn) return;
  char what[512], where[512] = "";
  va_list arguments;
  va_start(arguments, format);
  iso_vsnprintf(what, sizeof what, format, arguments);
  va_end(arguments);
  if (place->file) {
    iso_snprintf(where, sizeof where, "%s:%" PRIu32 ":%" PRIu32 ": ", place->file, place->line,
                 column);
  }
  fprintf(stderr, "%sruntime error: %s\n", where, what);
  fflush(stderr);
  if (then == Then::kEnd) suite_text_error("Undefined behaviour: %s", what);
}

void overflow(Overflow* data, Value left, const char* sign, Value right, Then then) {
  const Type& type = *data->type;
  say(&data->place, then, "%s integer overflow: %s %s %s cannot be represented in type %s",
      is_signed(type) ? "signed" : "unsigned", in_words(type, left).text, sign,
      in_words(type, right).text, type.name);
}

void negate(Overflow* data, Value value, Then then) {
  const Type& type = *data->type;
  const Words words = in_words(type, value);
  if (is_signed(type)) {
    say(&data->place, then,
        "negation of %s cannot be represented in type %s; cast to an unsigned type to negate this "
        "value to itself",
        words.text, type.name);
  } else {
    say(&data->place, then, "negation of %s cannot be represented in type %s", words.text,
        type.name);
  }
}

void divide(Overflow* data, Value left, Value right, Then then) {
  const Type& type = *data->type;
  if (is_signed(type) && integer(type, right) == -1) {
    say(&data->place, then, "division of %s by -1 cannot be represented in type %s",
        in_words(type, left).text, type.name);
  } else {
    say(&data->place, then, "division by zero");
  }
}

void shift(Shift* data, Value left, Value right, Then then) {
  const Type& type = *data->left;
  const Words value = in_words(type, left), places = in_words(*data->right, right);
  if (is_negative(*data->right, right)) {
    say(&data->place, then, "shift exponent %s is negative", places.text);
  } else if (static_cast<WideBits>(integer(*data->right, right)) >= bits_of(type)) {
    say(&data->place, then, "shift exponent %s is too large for %u-bit type %s", places.text,
        bits_of(type), type.name);
  } else if (is_negative(type, left)) {
    say(&data->place, then, "left shift of negative value %s", value.text);
  } else {
    say(&data->place, then, "left shift of %s by %s places cannot be represented in type %s",
        value.text, places.text, type.name);
  }
}

void index(Bounds* data, Value value, Then then) {
  say(&data->place, then, "index %s out of bounds for type %s", in_words(*data->index, value).text,
      data->array->name);
}

void bound(Overflow* data, Value value, Then then) {
  say(&data->place, then, "variable length array bound evaluates to non-positive value %s",
      in_words(*data->type, value).text);
}

void cast(Cast* data, Value value, Then then) {
  say(&data->place, then, "%s is outside the range of representable values of type %s",
      in_words(*data->from, value).text, data->to->name);
}

void load(Overflow* data, Value value, Then then) {
  say(&data->place, then, "load of value %s, which is not a valid value for type %s",
      in_words(*data->type, value).text, data->type->name);
}

void mismatch(Mismatch* data, Value address, Then then) {
  const char* const access =
      kAccesses[data->access < sizeof kAccesses / sizeof kAccesses[0] ? data->access : 0];
  const Value alignment = Value{1} << data->alignment;
  if (address == 0) {
    say(&data->place, then, "%s null pointer of type %s", access, data->type->name);
  } else if (address & (alignment - 1)) {
    say(&data->place, then,
        "%s misaligned address 0x%012" PRIxPTR " for type %s, which requires %" PRIuPTR
        " byte alignment",
        access, address, data->type->name, alignment);
  } else {
    say(&data->place, then,
        "%s address 0x%012" PRIxPTR " with insufficient space for an object of type %s", access,
        address, data->type->name);
  }
}

void argument(Argument* data, Then then) {
  say(&data->place, then, "null pointer passed as argument %d, which is declared to never be null",
      data->number);
}

void result(Place* place, Then then) {
  say(place, then, "null pointer returned from function declared to never return null");
}

void pointer(Attribute* data, Value base, Value result, Then then) {
  Place* const place = &data->place;
  if (base == 0 && result == 0) {
    say(place, then, "applying zero offset to null pointer");
  } else if (base == 0) {
    say(place, then, "applying non-zero offset %" PRIuPTR " to null pointer", result);
  } else if (result == 0) {
    say(place, then,
        "applying non-zero offset to non-null pointer 0x%012" PRIxPTR " produced null pointer",
        base);
  } else if ((static_cast<intptr_t>(base) >= 0) != (static_cast<intptr_t>(result) >= 0)) {
    say(place, then,
        "pointer index expression with base 0x%012" PRIxPTR " overflowed to 0x%012" PRIxPTR, base,
        result);
  } else {
    say(place, then, "%s of unsigned offset %s 0x%012" PRIxPTR " overflowed to 0x%012" PRIxPTR,
        base > result ? "addition" : "subtraction", base > result ? "to" : "from", base, result);
  }
}

void builtin(Builtin* data, Then then) {
  say(&data->place, then, "passing zero to %s, which is not a valid argument",
      data->kind == 0 ? "ctz()" : "clz()");
}

}  // namespace

// ---- By the compiler's names ------------------------------------------------------------------

// Each is there twice: to go on, and to end.
#define CHECK(name, parameters, act, ...)                                          \
  CRT_API void __ubsan_handle_##name parameters { act(__VA_ARGS__, Then::kGoOn); } \
  CRT_API void __ubsan_handle_##name##_abort parameters { act(__VA_ARGS__, Then::kEnd); }

CHECK(add_overflow, (Overflow * data, Value left, Value right), overflow, data, left, "+", right)
CHECK(sub_overflow, (Overflow * data, Value left, Value right), overflow, data, left, "-", right)
CHECK(mul_overflow, (Overflow * data, Value left, Value right), overflow, data, left, "*", right)
CHECK(negate_overflow, (Overflow * data, Value value), negate, data, value)
CHECK(divrem_overflow, (Overflow * data, Value left, Value right), divide, data, left, right)
CHECK(shift_out_of_bounds, (Shift * data, Value left, Value right), shift, data, left, right)
CHECK(out_of_bounds, (Bounds * data, Value value), index, data, value)
CHECK(vla_bound_not_positive, (Overflow * data, Value value), bound, data, value)
CHECK(float_cast_overflow, (Cast * data, Value value), cast, data, value)
CHECK(load_invalid_value, (Overflow * data, Value value), load, data, value)
CHECK(type_mismatch_v1, (Mismatch * data, Value address), mismatch, data, address)
CHECK(nonnull_arg, (Argument * data), argument, data)
CHECK(nonnull_return_v1, (Attribute*, Place* place), result, place)
CHECK(pointer_overflow, (Attribute * data, Value base, Value result), pointer, data, base, result)
CHECK(invalid_builtin, (Builtin * data), builtin, data)

// After these there is no way on.
CRT_API [[noreturn]] void __ubsan_handle_builtin_unreachable(Attribute* data) {
  say(&data->place, Then::kEnd, "execution reached an unreachable program point");
  __builtin_unreachable();
}

CRT_API [[noreturn]] void __ubsan_handle_missing_return(Attribute* data) {
  say(&data->place, Then::kEnd,
      "execution reached the end of a value-returning function without returning a value");
  __builtin_unreachable();
}
