#include "platform/posix/faults/kept_vectors.h"

#include <string.h>

namespace tarn::platform {
namespace {

constexpr int kRegisters = 16;
constexpr std::uint64_t kFirstColumn = 17;  // of xmm0

// The numbers and operations of the published call-frame information, in this
// executable: it is taken as the compiler wrote it.
struct Bytes {
  const std::uint8_t* at;

  template <class Number>
  Number take() {
    Number number;
    memcpy(&number, at, sizeof number);
    at += sizeof number;
    return number;
  }
  std::uint64_t take_unsigned() {
    std::uint64_t value = 0;
    int shift = 0;
    do {
      value |= std::uint64_t{*at & 0x7Fu} << shift;
      shift += 7;
    } while (*at++ & 0x80);
    return value;
  }
  std::int64_t take_signed() {
    const std::uint8_t* const begin = at;
    const std::uint64_t value = take_unsigned();
    const auto bits = static_cast<int>(7 * (at - begin));
    const bool negative = (at[-1] & 0x40) != 0 && bits < 64;
    return static_cast<std::int64_t>(negative ? value | ~std::uint64_t{0} << bits : value);
  }
  void skip_block() {
    const std::uint64_t length = take_unsigned();
    at += length;
  }
};

struct Rows {
  std::int64_t offsets[kRegisters];  // 0: it is not saved; else from the frame's end
};

struct Program {
  Rows now, initial, remembered[8];
  int depth;
  std::uint64_t code_unit, place, wanted;
  std::int64_t data_unit;

  void set(std::uint64_t column, std::int64_t offset) {
    if (column - kFirstColumn < kRegisters) now.offsets[column - kFirstColumn] = offset;
  }
  void restore(std::uint64_t column) {
    if (column - kFirstColumn < kRegisters)
      now.offsets[column - kFirstColumn] = initial.offsets[column - kFirstColumn];
  }
  // False once the operations are those of a later place.
  bool advance(std::uint64_t units) {
    place += units * code_unit;
    return place <= wanted;
  }
  void run(Bytes code, const std::uint8_t* end);
  bool step(Bytes* code);
};

bool Program::step(Bytes* code) {
  const auto operation = code->take<std::uint8_t>();
  const std::uint8_t low = operation & 0x3F;
  switch (operation & 0xC0) {
    case 0x40:
      return advance(low);
    case 0x80:
      set(low, static_cast<std::int64_t>(code->take_unsigned()) * data_unit);
      return true;
    case 0xC0:
      restore(low);
      return true;
    default:
      break;
  }
  switch (operation) {
    case 0x01:  // set_loc; this executable's encoding of it is 4 bytes
      code->at += 4;
      return true;
    case 0x02:
      return advance(code->take<std::uint8_t>());
    case 0x03:
      return advance(code->take<std::uint16_t>());
    case 0x04:
      return advance(code->take<std::uint32_t>());
    case 0x05: {  // offset
      const std::uint64_t column = code->take_unsigned();
      set(column, static_cast<std::int64_t>(code->take_unsigned()) * data_unit);
      return true;
    }
    case 0x11: {
      const std::uint64_t column = code->take_unsigned();
      set(column, code->take_signed() * data_unit);
      return true;
    }
    case 0x06:
      restore(code->take_unsigned());
      return true;
    case 0x0A:
      if (depth < 8) remembered[depth++] = now;
      return true;
    case 0x0B:
      if (depth > 0) now = remembered[--depth];
      return true;
    case 0x09:  // of two numbers
    case 0x0C:
    case 0x12:
    case 0x14:
    case 0x15:
      code->take_unsigned();
      code->take_unsigned();
      return true;
    case 0x07:  // of one
    case 0x08:
    case 0x0D:
    case 0x0E:
    case 0x13:
    case 0x2E:
      code->take_unsigned();
      return true;
    case 0x10:  // of a number and a block
    case 0x16:
      code->take_unsigned();
      [[fallthrough]];
    case 0x0F:
      code->skip_block();
      return true;
    default:
      return operation == 0;
  }
}

void Program::run(Bytes code, const std::uint8_t* end) {
  while (code.at < end && step(&code)) {
  }
}

// A damaged stack may lead to what a sanitizer has marked.
[[gnu::no_sanitize_address]] void load_vector(void* to, std::uint64_t address) {
  __builtin_memcpy(to, reinterpret_cast<const void*>(address), sizeof(Xmm));
}

}  // namespace

void restore_kept_vectors(const void* entry, std::uint64_t start, std::uint64_t address,
                          std::uint64_t frame_end, AMD_CONTEXT* context) {
  Bytes own{static_cast<const std::uint8_t*>(entry)};
  const auto own_length = own.take<std::uint32_t>();
  const std::uint8_t* const own_end = own.at + own_length;
  const std::uint8_t* const link = own.at;
  const auto back = own.take<std::int32_t>();
  Bytes common{link - back};
  const auto common_length = common.take<std::uint32_t>();
  const std::uint8_t* const common_end = common.at + common_length;
  common.at += sizeof(std::uint32_t) + 1;  // its own link, the version
  const auto* const augmentation = reinterpret_cast<const char*>(common.at);
  common.at += strlen(augmentation) + 1;
  if (augmentation[0] != 'z') return;  // the compiler's entries all are of that form
  Program program{};
  program.wanted = ~std::uint64_t{0};
  program.code_unit = common.take_unsigned();
  program.data_unit = common.take_signed();
  common.take_unsigned();  // the column of the return address
  common.skip_block();
  program.run(common, common_end);
  program.initial = program.now;
  program.place = start;
  program.wanted = address;
  own.at += 2 * sizeof(std::uint32_t);  // where it begins, and its length
  own.skip_block();
  program.run(own, own_end);
  constexpr std::size_t kFxSaveXmm = 160;
  for (int i = 0; i < kRegisters; ++i) {
    if (program.now.offsets[i] == 0) continue;
    load_vector(context->FxSaveArea + kFxSaveXmm + sizeof(Xmm) * static_cast<std::size_t>(i),
                frame_end + static_cast<std::uint64_t>(program.now.offsets[i]));
  }
}

}  // namespace tarn::platform
