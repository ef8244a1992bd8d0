#include "line_program.h"

#include <algorithm>

#include "image.h"

namespace finisher {
namespace {

constexpr std::uint32_t kLength64 = 0xFFFFFFFF;
constexpr unsigned kOldestVersion = 2, kNewestVersion = 5;

enum StandardOpcode : std::uint8_t {
  kExtended = 0,
  kCopy = 1,
  kAdvancePc = 2,
  kAdvanceLine = 3,
  kSetFile = 4,
  kConstAddPc = 8,
  kFixedAdvancePc = 9,
};
enum ExtendedOpcode : std::uint8_t { kEndSequence = 1, kSetAddress = 2 };

struct Reader {
  std::span<const std::uint8_t> bytes;
  std::size_t at = 0;

  bool done() const { return at >= bytes.size(); }
  std::uint64_t fixed(std::size_t size) {
    if (size > bytes.size() - at) refuse("the line numbers (.debug_line) are damaged");
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < size; i++) value |= std::uint64_t{bytes[at + i]} << (8 * i);
    at += size;
    return value;
  }
  std::uint8_t byte() { return static_cast<std::uint8_t>(fixed(1)); }
  std::uint64_t unsigned_leb() {
    std::uint64_t value = 0;
    for (unsigned shift = 0;; shift += 7) {
      const std::uint8_t next = byte();
      if (shift < 64) value |= std::uint64_t{next & 0x7Fu} << shift;
      if (next < 0x80) return value;
    }
  }
  std::int64_t signed_leb() {
    std::uint64_t value = 0;
    for (unsigned shift = 0;;) {
      const std::uint8_t next = byte();
      if (shift < 64) value |= std::uint64_t{next & 0x7Fu} << shift;
      shift += 7;
      if (next >= 0x80) continue;
      if (shift < 64 && (next & 0x40) != 0) value |= ~std::uint64_t{0} << shift;
      return static_cast<std::int64_t>(value);
    }
  }
  Reader part(std::uint64_t size) {
    if (size > bytes.size() - at) refuse("the line numbers (.debug_line) are damaged");
    const Reader inner{bytes.subspan(at, static_cast<std::size_t>(size))};
    at += static_cast<std::size_t>(size);
    return inner;
  }
};

struct UnitHeader {
  std::uint8_t instruction_size, line_range, opcode_base;
  std::int8_t line_base;
  std::uint8_t operand_counts[256];
};

UnitHeader read_header(Reader header, unsigned version) {
  UnitHeader unit{};
  unit.instruction_size = header.byte();
  if (version >= 4) header.byte();  // operations of one long instruction: 1
  header.byte();                    // whether rows begin statements
  unit.line_base = static_cast<std::int8_t>(header.byte());
  unit.line_range = header.byte();
  unit.opcode_base = header.byte();
  if (unit.line_range == 0 || unit.opcode_base == 0) {
    refuse("the line numbers (.debug_line) are damaged");
  }
  for (unsigned i = 1; i < unit.opcode_base; i++) unit.operand_counts[i] = header.byte();
  return unit;  // the directory and file names that follow are of no use here
}

void run(Reader program, const UnitHeader& unit, std::vector<LineRow>& rows) {
  constexpr LineRow kStart{0, 1, 1};
  LineRow row = kStart;
  const auto advance = [&](std::uint64_t steps) { row.address += steps * unit.instruction_size; };
  while (!program.done()) {
    const std::uint8_t opcode = program.byte();
    if (opcode >= unit.opcode_base) {
      const unsigned step = opcode - unit.opcode_base;
      advance(step / unit.line_range);
      row.line +=
          static_cast<std::uint32_t>(unit.line_base + static_cast<int>(step % unit.line_range));
      rows.push_back(row);
      continue;
    }
    switch (opcode) {
      case kExtended: {
        Reader operands = program.part(program.unsigned_leb());
        if (operands.done()) break;
        const std::uint8_t extended = operands.byte();
        if (extended == kEndSequence) row = kStart;
        if (extended == kSetAddress) row.address = operands.fixed(8);
        break;
      }
      case kCopy:
        rows.push_back(row);
        break;
      case kAdvancePc:
        advance(program.unsigned_leb());
        break;
      case kAdvanceLine:
        row.line += static_cast<std::uint32_t>(program.signed_leb());
        break;
      case kSetFile:
        row.file = static_cast<std::uint32_t>(program.unsigned_leb());
        break;
      case kConstAddPc:
        advance((255u - unit.opcode_base) / unit.line_range);
        break;
      case kFixedAdvancePc:
        row.address += program.fixed(2);
        break;
      default:
        for (unsigned i = 0; i < unit.operand_counts[opcode]; i++) program.unsigned_leb();
    }
  }
}

}  // namespace

std::vector<LineRow> read_line_rows(std::span<const std::uint8_t> section) {
  std::vector<LineRow> rows;
  Reader reader{section};
  while (!reader.done()) {
    std::uint64_t length = reader.fixed(4);
    const std::size_t offset_size = length == kLength64 ? 8 : 4;
    if (length == kLength64) length = reader.fixed(8);
    if (length == 0) continue;  // padding
    Reader unit = reader.part(length);
    const unsigned version = static_cast<unsigned>(unit.fixed(2));
    if (version < kOldestVersion || version > kNewestVersion) continue;
    if (version >= 5) unit.fixed(2);  // sizes of an address and of a segment
    const Reader header = unit.part(unit.fixed(offset_size));
    run(unit.part(unit.bytes.size() - unit.at), read_header(header, version), rows);
  }
  std::stable_sort(rows.begin(), rows.end(),
                   [](const LineRow& a, const LineRow& b) { return a.address < b.address; });
  return rows;
}

}  // namespace finisher
