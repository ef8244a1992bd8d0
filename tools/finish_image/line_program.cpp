#include "line_program.h"

#include <algorithm>

namespace finisher {
namespace {

constexpr unsigned kOldestVersion = 2, kNewestVersion = 5;
// Hostile tables could name one long string as often as they like.
constexpr std::size_t kLongestPath = 4096;
constexpr std::size_t kMostPathBytes = std::size_t{256} << 20;

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
enum EntryContent : std::uint64_t { kPath = 1, kDirectory = 2 };

struct UnitHeader {
  unsigned version;
  std::size_t offset_size;
  std::uint8_t instruction_size, line_range, opcode_base;
  std::int8_t line_base;
  std::uint8_t operand_counts[256];
};

UnitHeader read_header(DwarfReader& header, unsigned version, std::size_t offset_size) {
  UnitHeader unit{};
  unit.version = version;
  unit.offset_size = offset_size;
  unit.instruction_size = header.byte();
  if (version >= 4) header.byte();  // operations of one long instruction: 1
  header.byte();                    // whether rows begin statements
  unit.line_base = static_cast<std::int8_t>(header.byte());
  unit.line_range = header.byte();
  unit.opcode_base = header.byte();
  if (unit.line_range == 0 || unit.opcode_base == 0) {
    refuse("the debug data (%s) are damaged", header.section);
  }
  for (unsigned i = 1; i < unit.opcode_base; i++) unit.operand_counts[i] = header.byte();
  return unit;
}

// ---- Files -------------------------------------------------------------------

struct Entry {
  std::string_view path;
  std::uint64_t directory = 0;
};

// A string at an offset of a section of strings, or a number.
void read_value(DwarfReader& header, const DebugSections& sections, const UnitHeader& unit,
                std::uint64_t form, std::string_view* text, std::uint64_t* number) {
  switch (form) {
    case kFormText:
      *text = header.text();
      return;
    case kFormLineTextOffset:
    case kFormTextOffset: {
      const bool of_lines = form == kFormLineTextOffset;
      DwarfReader texts{of_lines ? sections.line_texts : sections.texts,
                        of_lines ? ".debug_line_str" : ".debug_str"};
      texts.go_to(header.fixed(unit.offset_size));
      *text = texts.text();
      return;
    }
    case kFormUnsigned:
      *number = header.unsigned_leb();
      return;
    case kFormBlock:
      return header.skip(header.unsigned_leb());
    case kFormData1:
      *number = header.fixed(1);
      return;
    case kFormData2:
      *number = header.fixed(2);
      return;
    case kFormData4:
      *number = header.fixed(4);
      return;
    case kFormData8:
      *number = header.fixed(8);
      return;
    case kFormData16:
      return header.skip(16);
    default:
      refuse("the debug data (%s) name files in a form that is not known", header.section);
  }
}

// Directories or files, as version 5 has them.
std::vector<Entry> read_entries(DwarfReader& header, const DebugSections& sections,
                                const UnitHeader& unit) {
  std::vector<std::pair<std::uint64_t, std::uint64_t>> format(header.byte());
  for (auto& [content, form] : format) {
    content = header.unsigned_leb();
    form = header.unsigned_leb();
  }
  const std::uint64_t count = header.unsigned_leb();
  if (format.empty()) return {};  // entries without bytes
  std::vector<Entry> entries;
  for (std::uint64_t i = 0; i < count; i++) {
    header.need(1);
    Entry entry;
    for (const auto& [content, form] : format) {
      std::string_view text;
      std::uint64_t number = 0;
      read_value(header, sections, unit, form, &text, &number);
      if (content == kPath) entry.path = text;
      if (content == kDirectory) entry.directory = number;
    }
    entries.push_back(entry);
  }
  return entries;
}

// Before version 5 the first of either is not written.
std::vector<Entry> read_old_entries(DwarfReader& header, bool files) {
  std::vector<Entry> entries(1);
  for (;;) {
    Entry entry;
    entry.path = header.text();
    if (entry.path.empty()) return entries;
    if (files) {
      entry.directory = header.unsigned_leb();
      header.unsigned_leb();  // when it was changed
      header.unsigned_leb();  // its size
    }
    entries.push_back(entry);
  }
}

bool is_absolute(std::string_view path) {
  return path.starts_with('/') || path.starts_with('\\') || (path.size() > 1 && path[1] == ':');
}

void put_below(std::string_view folder, std::string& path) {
  if (folder.size() > kLongestPath) refuse("the debug data have a path that is too long");
  if (!folder.empty() && !is_absolute(path)) path.insert(0, "/").insert(0, folder);
}

// A file may be in the table twice, by itself and below its directory: its
// whole path shows that it is one.
struct FileIndex {
  LineTable& table;
  std::map<std::string, std::uint32_t> known = {};
  std::size_t path_bytes = 0;

  std::uint32_t index_of(const std::string& path) {
    const auto [at, is_new] = known.try_emplace(path, table.files.size());
    if (is_new) {
      path_bytes += path.size();
      if (path_bytes > kMostPathBytes) refuse("the debug data name too many files");
      table.files.push_back(path);
    }
    return at->second;
  }

  std::vector<std::uint32_t> read(DwarfReader& header, const DebugSections& sections,
                                  const UnitHeader& unit) {
    const bool old = unit.version < 5;
    const auto directories =
        old ? read_old_entries(header, false) : read_entries(header, sections, unit);
    const auto files = old ? read_old_entries(header, true) : read_entries(header, sections, unit);
    std::vector<std::uint32_t> indices;
    for (const Entry& file : files) {
      if (file.path.size() > kLongestPath) refuse("the debug data have a path that is too long");
      std::string path(file.path);
      if (file.directory < directories.size()) {
        put_below(directories[file.directory].path, path);
        put_below(directories[0].path, path);
      }
      indices.push_back(old && indices.empty() ? 0 : index_of(path));
    }
    return indices;
  }
};

// ---- Rows --------------------------------------------------------------------

void run(DwarfReader program, const UnitHeader& unit, const std::vector<std::uint32_t>& files,
         std::vector<LineRow>& rows) {
  struct {
    std::uint64_t address = 0, file = 1;
    std::uint32_t line = 1;
  } state;
  const auto start = state;
  const auto advance = [&](std::uint64_t steps) { state.address += steps * unit.instruction_size; };
  const auto add_row = [&] {
    rows.push_back({state.address, state.file < files.size() ? files[state.file] : 0, state.line});
  };
  while (!program.done()) {
    const std::uint8_t opcode = program.byte();
    if (opcode >= unit.opcode_base) {
      const unsigned step = opcode - unit.opcode_base;
      advance(step / unit.line_range);
      state.line +=
          static_cast<std::uint32_t>(unit.line_base + static_cast<int>(step % unit.line_range));
      add_row();
      continue;
    }
    switch (opcode) {
      case kExtended: {
        DwarfReader operands = program.part(program.unsigned_leb());
        if (operands.done()) break;
        const std::uint8_t extended = operands.byte();
        if (extended == kEndSequence) state = start;
        if (extended == kSetAddress) state.address = operands.fixed(8);
        break;
      }
      case kCopy:
        add_row();
        break;
      case kAdvancePc:
        advance(program.unsigned_leb());
        break;
      case kAdvanceLine:
        state.line += static_cast<std::uint32_t>(program.signed_leb());
        break;
      case kSetFile:
        state.file = program.unsigned_leb();
        break;
      case kConstAddPc:
        advance((255u - unit.opcode_base) / unit.line_range);
        break;
      case kFixedAdvancePc:
        state.address += program.fixed(2);
        break;
      default:
        for (unsigned i = 0; i < unit.operand_counts[opcode]; i++) program.unsigned_leb();
    }
  }
}

}  // namespace

LineTable read_line_table(const DebugSections& sections) {
  LineTable table;
  table.files.emplace_back();
  FileIndex files{table};
  DwarfReader reader{sections.line, ".debug_line"};
  while (!reader.done()) {
    const std::size_t offset = reader.at;
    std::size_t offset_size = 0;
    const std::uint64_t length = reader.unit_length(&offset_size);
    if (length == 0) continue;  // padding
    DwarfReader unit = reader.part(length);
    const auto version = static_cast<unsigned>(unit.fixed(2));
    if (version < kOldestVersion || version > kNewestVersion) continue;
    if (version >= 5) unit.fixed(2);  // sizes of an address and of a segment
    DwarfReader header_bytes = unit.part(unit.fixed(offset_size));
    const UnitHeader header = read_header(header_bytes, version, offset_size);
    std::vector<std::uint32_t>& numbers = table.units[offset];
    numbers = files.read(header_bytes, sections, header);
    run(unit.part(unit.bytes.size() - unit.at), header, numbers, table.rows);
  }
  std::stable_sort(table.rows.begin(), table.rows.end(),
                   [](const LineRow& a, const LineRow& b) { return a.address < b.address; });
  return table;
}

}  // namespace finisher
