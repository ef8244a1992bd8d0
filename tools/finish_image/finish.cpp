#include "finish.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <set>

#include "notes.h"
#include "routine_names.h"
#include "routine_table.h"
#include "script.h"

namespace finisher {
namespace {

constexpr std::uint32_t kPageSize = 4096;
constexpr std::uint32_t kCellSize = 8;
constexpr std::uint64_t kListStart = ~std::uint64_t{0};  // of a constructor list
constexpr char kEndRoutine[] = "tarn_end_of_image";

std::uint32_t interpreter_symbol(const Image& image, const char* name) {
  const Symbol* symbol = find_symbol(image, name);
  if (symbol == nullptr) {
    refuse("no symbol %s: link with the start-up object first, and keep the symbols", name);
  }
  return symbol->offset;
}

// What finishing needs to know of the interpreter's part of the image.
struct Interpreter {
  std::uint32_t data_section, script_word, area, area_end;
};

Interpreter find_interpreter(Image& image) {
  Interpreter interpreter;
  const std::uint32_t first_cell = interpreter_symbol(image, "tarn_first_cell");
  interpreter.script_word = interpreter_symbol(image, "tarn_script_word");
  interpreter.area = interpreter_symbol(image, "tarn_script_area");
  interpreter.area_end = interpreter_symbol(image, "tarn_script_area_end");
  interpreter_symbol(image, "__runtime_slots");
  if (image.headers.optional.entry_point != interpreter_symbol(image, "__BrackenStartup")) {
    refuse(
        "the entry point is not __BrackenStartup: "
        "link with the start-up object first and -e __BrackenStartup");
  }
  interpreter.data_section = first_cell & ~(kPageSize - 1);
  const Section* section = section_at(image, first_cell);
  if (section == nullptr || section->start() != interpreter.data_section) {
    refuse(
        "the interpreter's cells do not lie in the first %u bytes of the data section: "
        "link with the start-up object first",
        kPageSize);
  }
  if (!section->is(pe::kSectionWrite)) refuse("the interpreter's data section is read-only");
  if (interpreter.area < section->start() || interpreter.area_end < interpreter.area ||
      interpreter.area_end > section->end()) {
    refuse("the room for the script is damaged");
  }
  return interpreter;
}

// Things that the system's loader or a C run-time would do with absolute
// addresses before the script has relocated anything.
void refuse_unsupported(const Image& image) {
  static constexpr struct {
    std::size_t directory;
    const char* what;
  } kUnsupported[] = {
      {pe::kTlsDirectory, "thread-local storage"},
      {pe::kLoadConfigDirectory, "a load configuration"},
      {pe::kDelayImportDirectory, "delayed imports"},
      {pe::kBoundImportDirectory, "bound imports"},
      {pe::kClrDirectory, "managed code"},
      {pe::kSecurityDirectory, "a signature"},
  };
  for (const auto& [directory, what] : kUnsupported) {
    if (image.headers.optional.directories[directory].size != 0) {
      refuse("the image has %s, which a finished image cannot have", what);
    }
  }
}

std::set<std::uint32_t> read_relocations(Image& image) {
  std::set<std::uint32_t> cells;
  const pe::DataDirectory directory = image.headers.optional.directories[pe::kRelocationDirectory];
  if (directory.size == 0) {
    if ((image.headers.file.characteristics & pe::kFileRelocsStripped) != 0) {
      refuse("the linker left out the relocations: link with --dynamicbase");
    }
    return cells;
  }
  const Section* section = section_at(image, directory.offset);
  const std::uint64_t start = section == nullptr ? 0 : directory.offset - section->start();
  if (section == nullptr || start > section->bytes.size() ||
      directory.size > section->bytes.size() - start) {
    refuse("the relocations lie outside the image");
  }
  const std::uint8_t* bytes = section->bytes.data() + start;
  for (std::uint32_t at = 0; at < directory.size;) {
    pe::RelocationBlock block{};
    if (directory.size - at >= sizeof block) std::memcpy(&block, bytes + at, sizeof block);
    if (block.size < sizeof block || block.size % 2 != 0 || block.size > directory.size - at) {
      refuse("the relocations are damaged");
    }
    for (std::uint32_t i = sizeof block; i < block.size; i += 2) {
      std::uint16_t entry;
      std::memcpy(&entry, bytes + at + i, sizeof entry);
      if (entry >> 12 == pe::kRelocAbsolute) continue;
      if (entry >> 12 != pe::kRelocDir64) refuse("relocation of kind %d", entry >> 12);
      const std::uint64_t cell = std::uint64_t{block.page} + (entry & 0xFFFu);
      if (section_at(image, cell) == nullptr) refuse("a relocation lies outside the image");
      const auto next = cells.lower_bound(static_cast<std::uint32_t>(cell));
      if ((next != cells.end() && *next < cell + kCellSize) ||
          (next != cells.begin() && *std::prev(next) + kCellSize > cell)) {
        refuse("two relocations overlap at 0x%llx", static_cast<unsigned long long>(cell));
      }
      cells.insert(static_cast<std::uint32_t>(cell));
    }
    at += block.size;
  }
  return cells;
}

// A list made by the linker: a start mark, routines, and a null. Its cells are not
// relocated.
struct ListedRoutine {
  std::uint32_t cell, routine;
};

std::vector<ListedRoutine> take_list(Image& image, std::set<std::uint32_t>& cells,
                                     const char* symbol, const char* what) {
  std::vector<ListedRoutine> result;
  const Symbol* list = find_symbol(image, symbol);
  if (list == nullptr) return result;
  if (read_u64(image, list->offset, what) != kListStart) refuse("%s is damaged", what);
  for (std::uint32_t at = list->offset + kCellSize;; at += kCellSize) {
    const std::uint64_t value = read_u64(image, at, what);
    if (value == 0) return result;
    const std::uint64_t routine = value - image.headers.optional.image_base;
    const Section* home = section_at(image, routine);
    if (cells.erase(at) == 0 || home == nullptr || !home->is(pe::kSectionExecute)) {
      refuse("%s is damaged", what);
    }
    result.push_back({at, static_cast<std::uint32_t>(routine)});
  }
}

// Run from the list's end by the script; nothing reads the list at run time.
void take_constructors(Image& image, std::set<std::uint32_t>& cells, Script& script) {
  constexpr char kWhat[] = "the constructor list";
  std::vector<std::uint32_t> routines;
  for (const ListedRoutine& each : take_list(image, cells, "__CTOR_LIST__", kWhat)) {
    routines.push_back(each.routine);
    write_u64(image, each.cell, 0, kWhat);
  }
  // Before the initialisers that the notes name.
  script.initialisers.insert(script.initialisers.begin(), routines.rbegin(), routines.rend());
}

// The section of a cell that the script will change. Its protection is unchanged:
// the interpreter makes every section writable for the time of its first walk that
// holds no code.
Section& home_of_cell(Image& image, std::uint32_t cell, const char* what) {
  Section* section = section_at(image, cell);
  if (section == nullptr || section->end() - cell < kCellSize) {
    refuse("%s at 0x%x lies outside the image", what, cell);
  }
  if (section->is(pe::kSectionExecute)) {
    refuse("%s %s lies in executable section %s", what, describe(image, cell).c_str(),
           section->name.c_str());
  }
  return *section;
}

// Data of DLLs that is not declared dllimport: the linker lists the cells where its address is
// wanted, for a routine of the C run-time that runs before all else.
void take_imported_data(Image& image, Script& script) {
  constexpr char kWhat[] = "the list of automatically imported data";
  constexpr std::uint32_t kHeadSize = 12, kRecordSize = 12, kVersion = 1;
  const Symbol* list = find_symbol(image, "__RUNTIME_PSEUDO_RELOC_LIST__");
  const Symbol* end = find_symbol(image, "__RUNTIME_PSEUDO_RELOC_LIST_END__");
  if (list == nullptr || end == nullptr || list->offset == end->offset) return;
  const Symbol* routine = find_symbol(image, "_pei386_runtime_relocator");
  if (routine == nullptr) refuse("the image imports data automatically: declare it dllimport");
  if (read_u64(image, list->offset, kWhat) != 0 ||
      read_u32(image, list->offset + 8, kWhat) != kVersion) {
    refuse("%s is damaged", kWhat);
  }
  for (std::uint32_t at = list->offset + kHeadSize; at < end->offset; at += kRecordSize) {
    const std::uint32_t cell = read_u32(image, at + 4, kWhat);
    if (read_u32(image, at + 8, kWhat) != kCellSize * 8) {
      refuse("the imported address in %s does not have 64 bits", describe(image, cell).c_str());
    }
    read_u64(image, read_u32(image, at, kWhat), kWhat);
    home_of_cell(image, cell, "the imported address in");
  }
  script.initialisers.insert(script.initialisers.begin(), routine->offset);
}

// Run by the image's end routine, if it was linked; it wants image offsets,
// since the list is among the code, where nothing is relocated.
void take_destructors(Image& image, std::set<std::uint32_t>& cells) {
  constexpr char kWhat[] = "the destructor list";
  const bool has_end = find_symbol(image, kEndRoutine) != nullptr;
  for (const ListedRoutine& each : take_list(image, cells, "__DTOR_LIST__", kWhat)) {
    if (!has_end) {
      refuse("destructor %s would never run: link with the program support library",
             describe(image, each.routine).c_str());
    }
    write_u64(image, each.cell, each.routine, kWhat);
  }
}

// Each cell's address becomes an image offset, and an instruction turns it
// back at start-up. What is in a removed section is never read again.
void take_relocations(Image& image, const std::set<std::uint32_t>& cells, Script& script) {
  const std::uint64_t base = image.headers.optional.image_base;
  for (const std::uint32_t cell : cells) {
    home_of_cell(image, cell, "the address in");
    write_u64(image, cell, read_u64(image, cell, "a relocation") - base, "a relocation");
    script.relocations.push_back(cell);
  }
  pe::DataDirectory& directory = image.headers.optional.directories[pe::kRelocationDirectory];
  if (Section* section = find_section(image, ".reloc")) section->removed = true;
  directory = {0, 0};
  image.headers.file.characteristics &= static_cast<std::uint16_t>(~pe::kFileRelocsStripped);
}

void check_targets(Image& image, const std::set<std::uint32_t>& relocations,
                   const Interpreter& interpreter, const Script& script) {
  std::set<std::uint32_t> cells;
  for (const CommonBlock& block : script.blocks) {
    if (!block.is_described) {
      refuse("the pointer %s leads into common block %s, which nothing in the image describes",
             describe(image, block.pointers.front()).c_str(), block.name.c_str());
    }
    for (const std::uint32_t cell : block.pointers) {
      home_of_cell(image, cell, "the block pointer");
      if (relocations.contains(cell) || !cells.insert(cell).second) {
        refuse("the pointer %s to common block %s holds another address too",
               describe(image, cell).c_str(), block.name.c_str());
      }
      const std::uint64_t offset = read_u64(image, cell, "a block pointer");
      if (offset != 0 && offset >= block.size) {
        refuse("the pointer %s lies %llu bytes into common block %s, which has %llu",
               describe(image, cell).c_str(), static_cast<unsigned long long>(offset),
               block.name.c_str(), static_cast<unsigned long long>(block.size));
      }
    }
  }
  for (const Binding& binding : script.bindings) {
    const Section& home = home_of_cell(image, binding.slot, "the bound routine's pointer");
    // Bound on every walk.
    if (!home.is(pe::kSectionWrite)) {
      refuse("the pointer %s to a bound routine lies in read-only section %s",
             describe(image, binding.slot).c_str(), home.name.c_str());
    }
    if (binding.slot < interpreter.data_section) {
      refuse("the pointer %s to a bound routine lies before the data section",
             describe(image, binding.slot).c_str());
    }
  }
  for (const std::uint32_t routine : script.initialisers) {
    const Section* section = section_at(image, routine);
    if (section == nullptr || !section->is(pe::kSectionExecute)) {
      refuse("the initialiser %s is not code", describe(image, routine).c_str());
    }
  }
}

// Into the room after the slots if the script fits there, else into a section
// of its own; a remark if there was room, but too little.
std::string place_script(Image& image, const Interpreter& interpreter, const Script& script) {
  std::uint32_t offset = interpreter.area;
  const std::uint32_t room = interpreter.area_end - interpreter.area;
  Bytes bytes = build_script(script, offset, interpreter.data_section);
  const std::size_t size = bytes.size();
  if (size <= room) {
    Section* section = section_at(image, offset);
    const std::size_t at = section == nullptr ? 0 : offset - section->start();
    if (section == nullptr || at + size > section->bytes.size()) {
      refuse("the room for the script has no bytes");
    }
    std::copy(bytes.begin(), bytes.end(), section->bytes.begin() + static_cast<std::ptrdiff_t>(at));
  } else {
    offset = next_section_offset(image);
    append_section(image, ".tarnscr", build_script(script, offset, interpreter.data_section),
                   pe::kSectionInitialised | pe::kSectionRead | pe::kSectionWrite);
  }
  write_u64(image, interpreter.script_word, offset, "the script word");
  if (size <= room || room == 0) return "";
  return "the script has " + std::to_string(size) + " bytes, more than the " +
         std::to_string(room) + " after the slots: it is in section .tarnscr";
}

void mark(Image& image, std::uint32_t table) {
  if (image.dos_part.size() < pe::kRoutineTableFieldOffset + 4) refuse("the DOS header is short");
  const std::uint32_t field = table - 8;
  std::memcpy(image.dos_part.data() + pe::kImageMarkOffset, pe::kImageMark, pe::kImageMarkLength);
  std::memcpy(image.dos_part.data() + pe::kRoutineTableFieldOffset, &field, sizeof field);
}

void add_tables(Image& image, const RoutineTable& table) {
  const std::uint32_t offset = next_section_offset(image);
  append_section(image, pe::kTableSection, build_routine_table(table, offset),
                 pe::kSectionInitialised | pe::kSectionRead);
  mark(image, offset);
}

// What writing the file anew would lose, or make wrong.
void refuse_what_follows(const Image& image, std::size_t file_size) {
  if (image.headers.optional.directories[pe::kSecurityDirectory].size != 0) {
    refuse("the image is signed: finish it first, then sign it");
  }
  std::uint64_t end = image.headers.file.symbol_table;
  end += image.symbol_records.size() + image.symbol_texts.size();
  for (const Section& section : image.sections) {
    end = std::max(end, std::uint64_t{section.header.raw_offset} + section.header.raw_size);
  }
  if (file_size > image.headers.optional.file_alignment + end) {
    refuse("data follow the image in its file: finish it first, then append them");
  }
}

// The run-time's routines before main: a traceback ends there.
bool is_start_of_run_time(const Image& image, const Routine& routine) {
  constexpr std::string_view kNames[] = {"__tmainCRTStartup", "mainCRTStartup", "WinMainCRTStartup",
                                         "DllMainCRTStartup"};
  return routine.start == image.headers.optional.entry_point ||
         std::find(std::begin(kNames), std::end(kNames), routine.name) != std::end(kNames);
}

// The compiler's libraries come without the names of their static routines, and a
// traceback ends at code without a name. The unwind data say where there is code; the
// section that it came from may have the name.
void add_unnamed_routines(Image& image, std::vector<Routine>& routines) {
  constexpr char kWhat[] = "the unwind data";
  constexpr std::uint32_t kEntrySize = 12;
  constexpr std::string_view kSection = ".text$";
  std::map<std::uint32_t, std::uint32_t> known;  // first bytes, last bytes
  for (const Routine& routine : routines) known[routine.start] = routine.end;
  std::map<std::uint32_t, std::string> sections;
  for (const Symbol& symbol : image.symbols) {
    if (symbol.is_section && symbol.name.starts_with(kSection)) {
      sections[symbol.offset] = symbol.name.substr(kSection.size());
    }
  }
  const pe::DataDirectory directory = image.headers.optional.directories[pe::kExceptionDirectory];
  for (std::uint32_t at = 0; at + kEntrySize <= directory.size; at += kEntrySize) {
    Routine routine;
    routine.start = read_u32(image, std::uint64_t{directory.offset} + at, kWhat);
    routine.end = read_u32(image, std::uint64_t{directory.offset} + at + 4, kWhat) - 1;
    const auto after = known.upper_bound(routine.start);
    if (routine.start == 0 || routine.end < routine.start ||
        (after != known.begin() && std::prev(after)->second >= routine.start)) {
      continue;
    }
    const auto section = sections.find(routine.start);
    routine.name = section == sections.end() ? "(unnamed)" : shown_name(section->second);
    routines.push_back(std::move(routine));
  }
}

Finished add_report(Image image, const Options& options, std::size_t file_size) {
  refuse_what_follows(image, file_size);
  if (image.symbols.empty()) {
    refuse("the image has no symbols: link without -s, and leave them out here with --strip");
  }
  RoutineTable table =
      options.public_routines ? collect_public_routines(image) : collect_routines(image, true);
  if (!options.public_routines) add_unnamed_routines(image, table.routines);
  for (Routine& routine : table.routines) {
    if (is_start_of_run_time(image, routine)) routine.name = kStartRoutineInTable;
  }
  if (options.strip) strip(image);
  add_tables(image, table);
  image.dos_part[pe::kOrdinaryImageOffset] = 1;
  return {write_image(std::move(image)), ""};
}

}  // namespace

Finished finish(const Bytes& linked, const Options& options) {
  Image image = read_image(linked);
  if (image.is_finished()) refuse("the image is already finished");
  if (options.must_be_dll && !image.is_dll()) refuse("not a DLL");
  if (options.report_only) return add_report(std::move(image), options, linked.size());
  const Interpreter interpreter = find_interpreter(image);
  refuse_unsupported(image);

  Script script;
  script.undefined_fill = options.undefined_fill;
  script.require_avx = options.require_avx;
  script.mark_image = options.note;
  if (!image.is_dll()) {
    const Symbol* main = find_symbol(image, "main");
    if (main == nullptr) refuse("a program needs a routine main");
    script.is_program = true;
    // Also ends the image, if it was linked.
    const Symbol* run = find_symbol(image, kRunRoutine);
    script.main = (run != nullptr ? run : main)->offset;
  }
  std::set<std::uint32_t> cells = read_relocations(image);
  read_notes(image, cells, script);
  take_constructors(image, cells, script);
  take_imported_data(image, script);
  take_destructors(image, cells);
  check_targets(image, cells, interpreter, script);
  take_relocations(image, cells, script);

  const RoutineTable table = options.public_routines ? collect_public_routines(image)
                                                     : collect_routines(image, options.call_lines);
  // It enters the interpreter, and ends the DLL when it is freed.
  if (const Symbol* entry = find_symbol(image, "tarn_library_entry"); entry && image.is_dll()) {
    image.headers.optional.entry_point = entry->offset;
  }
  if (options.strip) strip(image);
  Finished result;
  result.remark = place_script(image, interpreter, script);
  add_tables(image, table);
  result.file = write_image(std::move(image));
  return result;
}

}  // namespace finisher
