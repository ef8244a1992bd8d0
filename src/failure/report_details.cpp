#include "failure/report_details.h"

#include "failure/error_message.h"
#include "failure/image_tables.h"
#include "failure/safe_memory.h"
#include "platform/output.h"
#include "platform/pe_format.h"
#include "streams/format.h"
#include "strings/c_string.h"

namespace tarn {
namespace {

constexpr std::uint32_t kMostModules = 256;
constexpr std::uint64_t kModulesWidth = 96;  // columns, of a dialog's, too
constexpr std::uint64_t kItemSize = kImageNameSize + 64;
constexpr char kCut[] = "...";

// ---- Text ----------------------------------------------------------------------

struct Text {
  char* at;
  std::uint64_t room;  // the NUL's included
  std::uint64_t width;
  std::uint64_t column = 0;

  Text(char* text, std::uint64_t size, std::uint64_t longest_line)
      : at(text), room(size), width(longest_line) {
    *at = '\0';
  }

  void put(char c) {
    if (room < 2) return;
    *at++ = c;
    *at = '\0';
    --room;
  }

  // Whether more of the line than the mark of its cut is still to be shown.
  void put_in_line(char c) {
    const std::uint64_t cut = sizeof kCut - 1;
    if (width != 0 && column + cut == width) {
      for (const char* mark = kCut; *mark; ++mark) put(*mark);
    }
    if (width == 0 || column + cut < width) put(c);
    ++column;
  }

  // Line ends in `text` are the report's own.
  void add(const char* text) {
    for (char before = '\0'; *text; before = *text++) {
      if (*text == '\n') {
        column = 0;
        put('\n');
      } else {
        put_in_line(platform::is_terminal_control(before, *text) ? '?' : *text);
      }
    }
  }
};

// ---- Access ---------------------------------------------------------------------

constexpr struct {
  std::uint64_t kind;
  const char* name;
} kAccesses[] = {{0, "reading from"}, {1, "writing to"}, {8, "executing at"}};

void add_access(const platform::ExceptionRecord& record, Text* text) {
  constexpr std::uint64_t kUnknownAddress = ~std::uint64_t{0};
  const bool has_address = record.code == platform::kExceptionAccessViolation ||
                           record.code == platform::kExceptionInPageError;
  if (!has_address || record.parameter_count < 2) return;
  char line[64] = "to an address that the system does not tell";
  for (const auto& access : kAccesses) {
    if (access.kind == record.parameters[0] && record.parameters[1] != kUnknownAddress) {
      sprintf(line, "%s %llx", access.name, record.parameters[1]);
    }
  }
  text->add("\nAccess: ");
  text->add(line);
  text->add("\n");
}

// ---- Sources --------------------------------------------------------------------

// One line for each level at the place that is not a frame of its own.
void add_sources(const ShownFrame& frame, const char** heading, Text* text) {
  static RoutinePlace routine;
  static char path[kLongestSourcePath];
  FramePlace place = frame.place;
  place.is_in_detail = true;
  do {
    if (!find_routine(frame.image, frame.address, place, &routine)) return;
    if (routine.file && routine.line && read_file_path(routine.file, path, sizeof path)) {
      char line[32];
      sprintf(line, ":%u: in ", routine.line);
      text->add(*heading);
      *heading = "";
      text->add(path);
      text->add(line);
      text->add(routine.name);
      text->add(routine.is_inlined ? ", inlined\n" : "\n");
    }
    ++place.level;
  } while (routine.is_inlined && !routine.levels_are_frames && place.level < kMostInlinedLevels);
}

void add_sources(const Failure& failure, Text* text) {
  const char* heading = "\nSources:\n";
  for (int i = 0; i < failure.frame_count; ++i) add_sources(failure.frames[i], &heading, text);
}

// ---- Modules --------------------------------------------------------------------

struct FixedVersion {
  std::uint32_t signature, structure, file_high, file_low;
};

// The offset in the resource section of the first entry of a directory, or of the one
// with this id. False if there is none.
bool find_entry(std::uint64_t section, std::uint32_t directory, std::uint32_t id,
                std::uint32_t* offset) {
  constexpr std::uint32_t kMostEntries = 4096;
  pe::ResourceDirectory header;
  safe_memory_read(section + directory, &header, sizeof header);
  const std::uint32_t count = std::uint32_t{header.named_count} + header.numbered_count;
  for (std::uint32_t i = 0; i < count && i < kMostEntries; ++i) {
    pe::ResourceEntry entry;
    safe_memory_read(section + directory + sizeof header + i * sizeof entry, &entry, sizeof entry);
    if (id != 0 && entry.id != id) continue;
    *offset = entry.target & ~pe::kResourceHighBit;
    return true;
  }
  return false;
}

// Of the version resource: its fixed record follows the length fields and the name.
bool find_version(std::uint64_t base, FixedVersion* version) {
  constexpr std::uint32_t kVersionType = 16;
  constexpr std::uint32_t kFixedRecord = 40;
  constexpr std::uint32_t kSignature = 0xFEEF04BD;
  pe::DosHeader dos;
  pe::NtHeaders headers;
  safe_memory_read(base, &dos, sizeof dos);
  if (dos.magic != pe::kDosMagic) return false;
  safe_memory_read(base + dos.pe_offset, &headers, sizeof headers);
  const pe::DataDirectory& resources = headers.optional.directories[pe::kResourceDirectory];
  if (headers.magic != pe::kPeMagic || resources.size == 0) return false;
  const std::uint64_t section = base + resources.offset;
  std::uint32_t at = 0;
  pe::ResourceData data;
  if (!find_entry(section, at, kVersionType, &at) || !find_entry(section, at, 0, &at) ||
      !find_entry(section, at, 0, &at)) {
    return false;
  }
  safe_memory_read(section + at, &data, sizeof data);
  safe_memory_read(base + data.image_offset + kFixedRecord, version, sizeof *version);
  return version->signature == kSignature;
}

void describe_module(platform::Module module, char (&item)[kItemSize]) {
  const auto base = reinterpret_cast<std::uint64_t>(module);
  char* end = item;
  if (image_name(base, item)) {
    end += strlen(item);
  } else {
    end = stpcpy(item, "(unnamed)");
  }
  FixedVersion version;
  if (find_version(base, &version)) {
    end += sprintf(end, " %u.%u.%u.%u", version.file_high >> 16, version.file_high & 0xFFFF,
                   version.file_low >> 16, version.file_low & 0xFFFF);
  }
  sprintf(end, " at %llx", base);
}

void add_modules(Text* text) {
  static platform::Module modules[kMostModules];  // the report has one thread
  std::uint32_t needed = 0;
  if (!platform::EnumProcessModules(platform::GetCurrentProcess(), modules, sizeof modules,
                                    &needed)) {
    return;
  }
  auto count = static_cast<std::uint32_t>(needed / sizeof modules[0]);
  if (count > kMostModules) count = kMostModules;
  text->add("\nModules:");
  for (std::uint32_t i = 0; i < count; ++i) {
    char item[kItemSize];
    describe_module(modules[i], item);
    const bool fits = text->column + strlen(item) + 2 <= kModulesWidth;
    text->add(fits ? " " : "\n  ");
    text->add(item);
    if (i + 1 < count) text->add(",");
  }
  text->add("\n");
}

// ---- The command line -------------------------------------------------------------

void add_command_line(Text* text) {
  constexpr std::uint64_t kPageSize = 4096;  // memory is readable or not by pages
  static char line[kShownCommandLine];
  auto from = reinterpret_cast<std::uint64_t>(platform::GetCommandLineA());
  std::uint64_t length = 0;
  while (length < sizeof line - 1) {
    std::uint64_t piece = kPageSize - from % kPageSize;
    if (piece > sizeof line - 1 - length) piece = sizeof line - 1 - length;
    std::uint64_t copied = 0;
    if (!platform::ReadProcessMemory(platform::GetCurrentProcess(),
                                     reinterpret_cast<const void*>(from), line + length, piece,
                                     &copied)) {
      break;
    }
    from += piece;
    length += piece;
  }
  line[length] = '\0';
  text->add("\nCommand line: ");
  text->add(line);
}

}  // namespace

void describe_details(const Failure& failure, std::uint64_t width, char* text, std::uint64_t size) {
  Text details(text, size, width);
  if (!failure.is_raised_number) add_access(*failure.record, &details);
  add_sources(failure, &details);
  add_modules(&details);
  add_command_line(&details);
  details.add("\nLibrary: TARNLIBC64.DLL " TARN_VERSION "\n");
}

}  // namespace tarn
