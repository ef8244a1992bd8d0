#include "routine_table.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <filesystem>
#include <map>
#include <set>
#include <tuple>
#include <unordered_map>

#include "debug_info.h"
#include "routine_names.h"

namespace finisher {
namespace {

constexpr std::uint32_t kDebugMagic = 0x42554852;     // "RHUB"
constexpr std::uint32_t kCallLinesMark = 0x4C4C4143;  // "CALL"
constexpr std::uint32_t kFilesMark = 0x454C4946;      // "FILE"
constexpr std::uint32_t kDebugRecordSize = 12;
constexpr std::uint32_t kEntrySize = 40;  // after the name
constexpr std::uint32_t kInlinedCodeSize = 20;
constexpr std::uint32_t kOwnerShift = 30;  // in the line of an inlined call
// The offset field of a debug record is 4 bytes before the line table that
// follows the record, and the reader takes 4 off: so 8.
constexpr std::uint32_t kLineTableBehindRecord = 8;

constexpr char kThreadRoutine[] = "tarn_run_thread";
constexpr char kStartRoutine[] = "__BrackenStartup";

struct DebugData {
  LineTable lines;
  DebugEntries entries;
};

// The routine of a section of its own, .text$NAME or .text.unlikely.NAME: of an object
// that was stripped it is all that is left of the name. Empty if it is no such section.
std::string_view routine_of_section(std::string_view section) {
  for (const std::string_view beginning :
       {".text$", ".text.unlikely.", ".text.startup.", ".text.exit.", ".text.hot."}) {
    if (section.starts_with(beginning)) return section.substr(beginning.size());
  }
  return {};
}

std::string table_name(const Symbol& symbol, const DebugData& debug, std::uint64_t base) {
  const auto known = debug.entries.fortran_names.find(base + symbol.offset);
  if (known != debug.entries.fortran_names.end()) {
    return known->second == kProgramStart ? kStartRoutineInTable : known->second;
  }
  if (symbol.name == kStartRoutine || symbol.name == kRunRoutine || symbol.name == kThreadRoutine)
    return kStartRoutineInTable;
  return shown_name(symbol.is_section ? std::string(routine_of_section(symbol.name)) : symbol.name);
}

// The symbols of sections in libtarncrt.a and libprogram_support.a have names that begin so.
constexpr std::string_view kRunTimeSection = ".text.tarn";

// Knows by the symbols what the program is linked with: the table has them object by object,
// in the order in which these were linked, and libtarncrt.a comes after what is the user's and
// before the compiler's libraries.
class Owners {
 public:
  explicit Owners(const Image& image) : run_time_(image.symbols.data() + image.symbols.size()) {
    for (const Symbol& symbol : image.symbols) {
      const Section& home = image.sections[static_cast<std::size_t>(symbol.section)];
      if (!symbol.is_section || !home.is(pe::kSectionExecute)) continue;
      sections_[symbol.offset] = &symbol;
      if (symbol.name.starts_with(kRunTimeSection)) run_time_ = std::min(run_time_, &symbol);
    }
  }

  Owner of(const Symbol& symbol, std::string_view shown) const {
    const auto after = sections_.upper_bound(symbol.offset);
    if (after == sections_.begin() || std::prev(after)->second < run_time_) return Owner::kProgram;
    if (!symbol.is_external || is_reserved(shown)) return Owner::kInsideRunTime;
    for (const char* const inside :
         {"tarn_", "crt::", "_gfortrani_", "gomp_", "pthread_create_wrapper"}) {
      if (shown.starts_with(inside)) return Owner::kInsideRunTime;
    }
    return Owner::kRunTime;
  }

 private:
  std::map<std::uint32_t, const Symbol*> sections_;
  const Symbol* run_time_;  // where that begins
};

// Of a routine that a header of the compiler's has, or of the library's own.
Owner owner_by_file(std::string path, std::string_view shown) {
  std::replace(path.begin(), path.end(), '\\', '/');
  for (const char* const folder :
       {"/lib/gcc/x86_64-w64-mingw32/", "/include/c++/", "/x86_64-w64-mingw32/include/",
        "/share/mingw-w64/include/", "/include/tarnlib/"}) {
    if (path.find(folder) == path.npos) continue;
    return is_reserved(shown) ? Owner::kInsideRunTime : Owner::kRunTime;
  }
  return Owner::kProgram;
}

// The two prologues that the traceback steps over: one subtraction, or a size
// for the stack probe and then the subtraction.
std::uint32_t frame_size_of(const Section& section, std::uint32_t start) {
  const std::size_t at = start - section.start();
  if (section.bytes.size() < 8 || at > section.bytes.size() - 8) return 0;
  const std::uint8_t* code = section.bytes.data() + at;
  std::uint32_t immediate;
  if (code[0] == 0x48 && code[1] == 0x83 && code[2] == 0xEC) {
    return code[3] < 0x80 ? code[3] : 0;
  }
  if (code[0] == 0x48 && code[1] == 0x81 && code[2] == 0xEC) {
    std::memcpy(&immediate, code + 3, 4);
    return immediate;
  }
  if (code[0] == 0xB8 && code[5] == 0xE8) {
    std::memcpy(&immediate, code + 1, 4);
    return immediate;
  }
  return 0;
}

void add_pair(LinePairs& pairs, std::uint32_t value, std::uint64_t offset) {
  if (value == 0 || (!pairs.empty() && pairs.back().first == value)) return;
  pairs.emplace_back(value, static_cast<std::uint32_t>(offset));
}

std::vector<LineRow>::const_iterator first_row(const LineTable& lines, std::uint64_t from) {
  return std::lower_bound(
      lines.rows.begin(), lines.rows.end(), from,
      [](const LineRow& each, std::uint64_t address) { return each.address < address; });
}

std::vector<CodeRange>::const_iterator first_range(const DebugEntries& entries,
                                                   std::uint64_t from) {
  return std::lower_bound(
      entries.ranges.begin(), entries.ranges.end(), from,
      [](const CodeRange& each, std::uint64_t address) { return each.start < address; });
}

// The lines of all code, their files, and which of it was inlined; if they are to be `owned`,
// whose that is.
void add_code(Routine& routine, LinePairs& lines, const DebugData& debug, std::uint64_t base,
              bool owned) {
  const std::uint64_t first = base + routine.start, end = base + routine.end + 1;
  const bool is_of_library = routine.owner != Owner::kProgram;
  for (auto row = first_row(debug.lines, first);
       row != debug.lines.rows.end() && row->address < end; ++row) {
    const auto next = std::next(row);  // of rows of one address the last one counts
    if (next != debug.lines.rows.end() && next->address == row->address) continue;
    add_pair(lines, row->line, row->address - first);
    add_pair(routine.files, row->file, row->address - first);
  }
  std::vector<const CodeRange*> inlined;
  for (auto range = first_range(debug.entries, first);
       range != debug.entries.ranges.end() && range->start < end; ++range) {
    if (range->name != 0) inlined.push_back(&*range);
    if (owned && range->name == 0 && range->start == first && !is_of_library) {
      routine.owner = owner_by_file(debug.lines.files[range->origin], routine.name);
    }
  }
  std::stable_sort(inlined.begin(), inlined.end(),
                   [](const CodeRange* a, const CodeRange* b) { return a->depth > b->depth; });
  for (const CodeRange* const range : inlined) {
    const std::string_view name = debug.entries.names[range->name];
    const Owner owner = !owned          ? Owner::kProgram
                        : is_of_library ? Owner::kInsideRunTime
                                        : owner_by_file(debug.lines.files[range->origin], name);
    routine.inlined.push_back({static_cast<std::uint32_t>(range->start - first),
                               static_cast<std::uint32_t>(std::min(range->end, end) - first), name,
                               range->call_line, range->call_file, owner});
  }
}

// The innermost line of the routine's own file that the debug data have at each
// address, since a table cannot distinguish two files: of the code's own row, or of
// the call by which code of another file came to be there. One pair an address, only
// where the line changes. Code without such a line goes on with the one before it.
void add_lines(Routine& routine, const DebugData& debug, std::uint64_t base) {
  const std::uint64_t first = base + routine.start, end = base + routine.end + 1;
  auto row = first_row(debug.lines, first);
  const std::vector<CodeRange>& ranges = debug.entries.ranges;
  auto range = first_range(debug.entries, first);
  std::set<std::uint64_t> addresses;
  for (auto each = row; each != debug.lines.rows.end() && each->address < end; ++each) {
    addresses.insert(each->address);
  }
  for (auto each = range; each != ranges.end() && each->start < end; ++each) {
    addresses.insert({each->start, std::min(each->end, end)});
  }
  addresses.erase(end);

  const std::uint32_t first_file =
      addresses.empty() || row == debug.lines.rows.end() ? 0 : row->file;
  const LineRow* code = nullptr;
  std::set<std::pair<std::uint32_t, const CodeRange*>> around;  // by depth
  std::set<std::pair<std::uint64_t, const CodeRange*>> ends;
  for (const std::uint64_t address : addresses) {
    for (; row != debug.lines.rows.end() && row->address <= address; ++row) code = &*row;
    for (; range != ranges.end() && range->start <= address; ++range) {
      if (range->file == 0) continue;
      around.insert({range->depth, &*range});
      ends.insert({range->end, &*range});
    }
    while (!ends.empty() && ends.begin()->first <= address) {
      around.erase({ends.begin()->second->depth, ends.begin()->second});
      ends.erase(ends.begin());
    }
    const CodeRange* const innermost = around.empty() ? nullptr : around.rbegin()->second;
    const std::uint32_t file = innermost != nullptr ? innermost->file : first_file;
    std::uint32_t line = innermost != nullptr ? innermost->line : 0;
    if (code != nullptr && code->file == file && code->line != 0) line = code->line;
    add_pair(routine.lines, line, address - first);
  }
}

DebugData debug_data(Image& image) {
  const auto bytes = [&image](const char* name) -> std::span<const std::uint8_t> {
    const Section* section = find_section(image, name);
    if (section == nullptr) return {};
    return {section->bytes.data(),
            std::min<std::size_t>(section->memory_size(), section->bytes.size())};
  };
  const DebugSections sections = {
      .info = bytes(".debug_info"),
      .abbreviations = bytes(".debug_abbrev"),
      .line = bytes(".debug_line"),
      .line_texts = bytes(".debug_line_str"),
      .texts = bytes(".debug_str"),
      .addresses = bytes(".debug_addr"),
      .ranges = bytes(".debug_ranges"),
      .range_lists = bytes(".debug_rnglists"),
  };
  DebugData data;
  data.lines = read_line_table(sections);
  data.entries = read_debug_entries(sections, data.lines);
  return data;
}

}  // namespace

RoutineTable collect_routines(Image& image, bool call_lines) {
  std::set<std::string_view> imports;
  for (const Symbol& symbol : image.symbols) {
    if (symbol.name.starts_with("__imp_")) {
      imports.insert(std::string_view(symbol.name).substr(std::strlen("__imp_")));
    }
  }
  // Each routine ends before the next thing that begins in its section: a
  // routine, any external name, or another object's part of the section.
  std::vector<const Symbol*> routines;
  std::vector<std::uint32_t> bounds;
  for (const Symbol& symbol : image.symbols) {
    const Section& home = image.sections[static_cast<std::size_t>(symbol.section)];
    if (!home.is(pe::kSectionExecute) || symbol.offset >= home.end()) continue;
    if (symbol.is_routine || symbol.is_external || symbol.is_section) {
      bounds.push_back(symbol.offset);
    }
    if (symbol.is_routine || (symbol.is_external && imports.contains(symbol.name)) ||
        (symbol.is_section && !routine_of_section(symbol.name).empty())) {
      routines.push_back(&symbol);
    }
  }
  std::sort(bounds.begin(), bounds.end());
  std::stable_sort(routines.begin(), routines.end(), [](const Symbol* a, const Symbol* b) {
    return std::tuple(a->offset, a->is_section, !a->is_external) <
           std::tuple(b->offset, b->is_section, !b->is_external);
  });
  routines.erase(
      std::unique(routines.begin(), routines.end(),
                  [](const Symbol* a, const Symbol* b) { return a->offset == b->offset; }),
      routines.end());

  DebugData debug = debug_data(image);
  const Owners owners(image);
  RoutineTable result;
  result.call_lines = call_lines;
  for (const Symbol* symbol : routines) {
    const Section& home = image.sections[static_cast<std::size_t>(symbol->section)];
    const auto bound = std::upper_bound(bounds.begin(), bounds.end(), symbol->offset);
    Routine routine;
    routine.name = table_name(*symbol, debug, image.headers.optional.image_base);
    if (routine.name.empty()) continue;
    routine.start = symbol->offset;
    routine.end = (bound == bounds.end() ? home.end() : std::min(*bound, home.end())) - 1;
    routine.frame_size = frame_size_of(home, routine.start);
    if (call_lines) routine.owner = owners.of(*symbol, routine.name);
    const bool is_of_library = routine.owner != Owner::kProgram;
    const std::uint64_t base = image.headers.optional.image_base;
    add_code(routine, call_lines ? routine.lines : routine.code_lines, debug, base, call_lines);
    if (!call_lines) add_lines(routine, debug, base);
    if (routine.code_lines == routine.lines) routine.code_lines.clear();
    if (is_of_library) routine.files.clear();
    result.routines.push_back(std::move(routine));
  }
  result.names = std::move(debug.entries.names);  // the routines have views of them
  for (std::string& file : debug.lines.files) {   // "build/../src/main.c"
    result.files.push_back(std::filesystem::path(file).lexically_normal().generic_string());
  }
  return result;
}

RoutineTable collect_public_routines(Image& image) {
  constexpr char kWhat[] = "the export directory";
  const pe::DataDirectory directory = image.headers.optional.directories[pe::kExportDirectory];
  std::map<std::uint32_t, std::string> names;  // by image offset
  if (directory.size != 0) {
    const auto field = [&](std::size_t at) -> std::uint64_t {
      return read_u32(image, directory.offset + at, kWhat);
    };
    const std::uint64_t name_count = field(offsetof(pe::ExportDirectoryTable, name_count));
    const std::uint64_t addresses = field(offsetof(pe::ExportDirectoryTable, addresses));
    const std::uint64_t texts = field(offsetof(pe::ExportDirectoryTable, names));
    const std::uint64_t ordinals = field(offsetof(pe::ExportDirectoryTable, ordinals));
    for (std::uint64_t i = 0; i < name_count; i++) {
      const std::uint64_t ordinal = read_u16(image, ordinals + 2 * i, kWhat);
      std::string name =
          read_text(image, read_u32(image, texts + 4 * i, kWhat), "an exported name");
      std::string& known = names[read_u32(image, addresses + 4 * ordinal, kWhat)];
      if (known.empty() || name.size() < known.size()) known = std::move(name);
    }
  }
  RoutineTable result;
  for (Routine& routine : collect_routines(image, false).routines) {
    const auto found = names.find(routine.start);
    const bool is_start = routine.name == kStartRoutineInTable;
    if (found == names.end() && !is_start) continue;
    if (!is_start) routine.name = found->second;
    routine.lines.clear();
    result.routines.push_back(std::move(routine));
  }
  return result;
}

namespace {

// Of a debug record and what follows it.
std::size_t debug_size(const RoutineTable& table, const Routine& routine) {
  if (routine.lines.empty()) return 0;
  const std::size_t counts = table.call_lines ? 3 : 4;
  return kDebugRecordSize + 4 * counts + kInlinedCodeSize * routine.inlined.size() +
         8 * (routine.lines.size() + routine.code_lines.size() + routine.files.size());
}

void append_pairs(Bytes& bytes, const LinePairs& pairs) {
  append_u32(bytes, static_cast<std::uint32_t>(pairs.size()));
  for (const auto& [value, at] : pairs) {
    append_u32(bytes, value);
    append_u32(bytes, at);
  }
}

}  // namespace

Bytes build_routine_table(const RoutineTable& table, std::uint32_t offset) {
  std::size_t size = 1;
  for (const Routine& routine : table.routines) size += routine.name.size() + 1 + kEntrySize;
  size = (size + 3) & ~std::size_t{3};
  std::size_t debug = size;
  Bytes bytes;
  for (const Routine& routine : table.routines) {
    bytes.insert(bytes.end(), routine.name.begin(), routine.name.end());
    bytes.push_back(0);
    append_u64(bytes, 1);
    append_u64(bytes, routine.start);
    append_u64(bytes, routine.end);
    append_u64(bytes, routine.lines.empty() ? routine.end + 1 : offset + debug);
    append_u32(bytes, routine.frame_size);
    append_u32(bytes, static_cast<std::uint32_t>(routine.owner));
    debug += debug_size(table, routine);
  }
  bytes.resize(size);
  std::unordered_map<const char*, std::uint32_t> names;  // those that are in `texts`
  Bytes texts;
  const auto offset_of = [&](std::string_view name) {
    const auto [at, is_new] =
        names.try_emplace(name.data(), static_cast<std::uint32_t>(offset + debug + texts.size()));
    if (is_new) texts.insert(texts.end(), name.data(), name.data() + name.size() + 1);
    return at->second;
  };
  const auto offset_of_file = [&](std::uint32_t file) {
    return file == 0 ? 0 : offset_of(table.files[file]);
  };
  for (const Routine& routine : table.routines) {
    if (routine.lines.empty()) continue;
    append_u32(bytes, table.call_lines ? kCallLinesMark : kFilesMark);
    append_u32(bytes, kDebugMagic);
    append_u32(bytes, kLineTableBehindRecord);
    append_pairs(bytes, routine.lines);
    if (!table.call_lines) append_pairs(bytes, routine.code_lines);
    append_u32(bytes, static_cast<std::uint32_t>(routine.inlined.size()));
    for (const InlinedCode& code : routine.inlined) {
      append_u32(bytes, code.start);
      append_u32(bytes, code.end);
      append_u32(bytes, offset_of(code.name));
      append_u32(bytes, code.line | static_cast<std::uint32_t>(code.owner) << kOwnerShift);
      append_u32(bytes, routine.files.empty() ? 0 : offset_of_file(code.file));
    }
    LinePairs files = routine.files;
    for (auto& pair : files) pair.first = offset_of_file(pair.first);
    append_pairs(bytes, files);
  }
  bytes.insert(bytes.end(), texts.begin(), texts.end());
  return bytes;
}

std::vector<Routine> read_routine_table(Image& image) {
  std::uint32_t field;
  std::memcpy(&field, image.dos_part.data() + pe::kRoutineTableFieldOffset, sizeof field);
  std::uint64_t at = std::uint64_t{field} + 8;
  std::vector<Routine> routines;
  std::size_t lines_read = 0;
  for (;;) {
    Routine routine;
    routine.name = read_text(image, at, "a routine's name");
    if (routine.name.empty()) return routines;
    at += routine.name.size() + 1;
    routine.start = read_u32(image, at + 8, "a routine's start");
    routine.end = read_u32(image, at + 16, "a routine's end");
    const std::uint32_t debug = read_u32(image, at + 24, "a routine's debug record");
    routine.frame_size = read_u32(image, at + 32, "a routine's frame size");
    at += kEntrySize;
    if (debug != routine.end + 1 && read_u64(image, debug, "a debug record") >> 32 == kDebugMagic) {
      const std::uint64_t table = std::uint64_t{debug} + 8 +
                                  read_u32(image, std::uint64_t{debug} + 8, "a debug record") - 4;
      const std::uint32_t count = read_u32(image, table, "a line table");
      lines_read += count;  // of all tables, which share no bytes
      if (lines_read > section_at(image, table)->bytes.size() / 8) {
        refuse("a line table is damaged");
      }
      for (std::uint64_t i = 0; i < count; i++) {
        const std::uint64_t pair = read_u64(image, table + 4 + 8 * i, "a line table");
        routine.lines.emplace_back(static_cast<std::uint32_t>(pair),
                                   static_cast<std::uint32_t>(pair >> 32));
      }
    }
    routines.push_back(std::move(routine));
  }
}

}  // namespace finisher
