#include "failure/image_tables.h"

#include "failure/page_reader.h"
#include "failure/safe_memory.h"
#include "platform/paths.h"
#include "platform/pe_format.h"
#include "platform/platform.h"
#include "strings/c_string.h"

namespace tarn {
namespace {

constexpr std::uint32_t kModulePathSize = 3000;
constexpr std::uint64_t kEntrySize = 40;              // of a routine table, after the name
constexpr std::uint32_t kDebugMagic = 0x42554852;     // "RHUB"
constexpr std::uint32_t kCallLinesMark = 0x4C4C4143;  // "CALL"
constexpr std::uint32_t kFilesMark = 0x454C4946;      // "FILE"
constexpr std::uint32_t kOwnerShift = 30;             // in the line of an inlined call
constexpr std::uint32_t kCallLine = (1U << kOwnerShift) - 1;
constexpr std::uint64_t kStartRoutineSize = 0x28B;  // where the table does not say

PageReader reader;  // a table's pages; the report has one thread

// An offset that a table holds as the low 32 bits, signed.
std::uint64_t offset_at(const std::uint8_t* bytes) {
  std::int32_t value;
  __builtin_memcpy(&value, bytes, sizeof value);
  return static_cast<std::uint64_t>(static_cast<std::int64_t>(value));
}

// Reads the name at `*at`, and moves that after its NUL; what does not fit is skipped. False
// at the end of readable memory or of `limit`.
bool read_name(PageReader* pages, std::uint64_t* at, std::uint64_t limit, char* name,
               std::uint64_t longest = kLongestRoutineName) {
  const std::uint64_t from = *at;
  if (!pages->skip_string(at, limit)) return false;
  std::uint64_t length = *at - from - 1;
  if (length > longest) length = longest;
  name[length] = '\0';
  return pages->read(from, name, length);
}

// A table of records after their number, of which no more are read than there may be.
struct RecordTable {
  PageReader* pages;
  std::uint64_t at;  // of the first record
  std::uint32_t count = 0;

  RecordTable(PageReader* from, std::uint64_t table) : pages(from), at(table + sizeof count) {
    if (!pages->read(table, &count, sizeof count)) count = 0;
    if (count > kLineEntries) count = kLineEntries;
  }

  template <typename Record>
  bool read(std::uint32_t index, Record* record) const {
    return index < count && pages->read(at + sizeof(Record) * index, record, sizeof(Record));
  }

  template <typename Record>
  std::uint64_t end() const {
    return at + sizeof(Record) * std::uint64_t{count};
  }
};

struct LinePair {
  std::uint32_t line, offset;  // or an image offset of a file's path, and an offset
};

// Code of a routine that came from another; the records of what is within other such code
// come before that.
struct InlinedCode {
  std::uint32_t start, end;  // offsets in the routine
  std::int32_t name;         // image offset
  std::uint32_t line;        // of the call, below the owner
  std::int32_t file;         // of the call, image offset of its path
};

// The last pair whose offset is not above the routine's offset.
std::uint32_t find_line(const RecordTable& lines, std::uint32_t offset) {
  std::uint32_t line = 0;
  LinePair pair;
  for (std::uint32_t i = 0; lines.read(i, &pair); ++i) {
    if (pair.offset <= offset) line = pair.line;
  }
  return line;
}

std::uint64_t at_offset(std::uint64_t base, std::int32_t offset) {
  return base + static_cast<std::uint64_t>(std::int64_t{offset});
}

std::uint64_t path_at(std::uint64_t base, std::int32_t offset) {
  return offset == 0 ? 0 : at_offset(base, offset);
}

// Makes `routine` the one of the level: its name, and the line of its call.
void find_level(const RecordTable& inlined, std::uint64_t base, std::uint32_t offset,
                std::uint32_t level, RoutinePlace* routine) {
  InlinedCode code;
  std::uint32_t around = 0;
  for (std::uint32_t i = 0; inlined.read(i, &code); ++i) {
    if (offset < code.start || offset >= code.end) continue;
    if (around == level) {
      std::uint64_t at = at_offset(base, code.name);
      routine->is_inlined = true;
      routine->owner = static_cast<RoutineOwner>(code.line >> kOwnerShift);
      if (!read_name(inlined.pages, &at, at + sizeof routine->name, routine->name)) {
        strcpy(routine->name, "(unnamed)");
      }
      return;
    }
    routine->line = code.line & kCallLine;
    routine->file = path_at(base, code.file);
    ++around;
  }
}

void find_line_and_level(PageReader* pages, std::uint64_t base, std::uint64_t debug,
                         FramePlace place, RoutinePlace* routine) {
  struct {
    std::uint32_t mark, magic;
    std::int32_t lines;
  } record;
  if (!pages->read(debug, &record, sizeof record) || record.magic != kDebugMagic) return;
  routine->levels_are_frames = record.mark == kCallLinesMark;
  const bool in_detail =
      routine->levels_are_frames || (record.mark == kFilesMark && place.is_in_detail);
  const std::uint32_t before = place.at_call && in_detail && routine->offset > 0 ? 1 : 0;
  const std::uint32_t offset = routine->offset - before;
  RecordTable lines(pages, at_offset(debug + 8, record.lines) - 4);
  std::uint64_t next = lines.end<LinePair>();
  if (record.mark == kFilesMark && in_detail) {
    const RecordTable code_lines(pages, next);
    next = code_lines.end<LinePair>();
    if (code_lines.count > 0) lines = code_lines;
  }
  if (place.level == 0) routine->line = find_line(lines, offset);
  if (!in_detail) return;
  const RecordTable inlined(pages, next);
  const RecordTable files(pages, inlined.end<InlinedCode>());
  routine->file = path_at(base, static_cast<std::int32_t>(find_line(files, offset)));
  find_level(inlined, base, offset, place.level, routine);
}

}  // namespace

std::uint64_t image_at(std::uint64_t address) {
  platform::Module module = nullptr;
  if (!platform::GetModuleHandleExA(platform::kModuleFromAddress,
                                    reinterpret_cast<const void*>(address), &module)) {
    return 0;
  }
  return reinterpret_cast<std::uint64_t>(module);
}

bool image_name(std::uint64_t base, char* name) {
  char path[kModulePathSize];
  const std::uint32_t length =
      platform::GetModuleFileNameA(reinterpret_cast<platform::Module>(base), path, kModulePathSize);
  if (length == 0) return false;
  path[length < kModulePathSize ? length : kModulePathSize - 1] = '\0';
  strncpy(name, platform::base_name(path), kImageNameSize - 1);
  name[kImageNameSize - 1] = '\0';
  return true;
}

bool is_marked_image(std::uint64_t base) {
  char mark[pe::kImageMarkLength];
  safe_memory_read(base + pe::kImageMarkOffset, mark, sizeof mark);
  return memcmp(mark, pe::kImageMark, sizeof mark) == 0;
}

bool find_routine(std::uint64_t base, std::uint64_t rip, FramePlace place, RoutinePlace* routine) {
  reader.reset();
  std::uint8_t field[4];
  if (!reader.read(base + pe::kRoutineTableFieldOffset, field, sizeof field)) return false;
  std::uint64_t at = base + offset_at(field) + 8;
  const std::uint64_t limit = at + kTableBytes;
  // A name is read only where it matters: most of the time goes to passing them.
  for (std::uint64_t name = at; reader.skip_string(&at, limit) && at - name > 1; name = at) {
    std::uint8_t entry[kEntrySize];
    if (!reader.read(at, entry, sizeof entry)) return false;
    at += kEntrySize;
    routine->start = base + offset_at(entry + 8);
    std::uint64_t end = base + offset_at(entry + 16);
    if (rip < routine->start || (rip > end && end >= routine->start)) continue;
    if (!read_name(&reader, &name, limit, routine->name)) return false;
    if (end < routine->start && strcmpl(routine->name, kStartRoutine) == 0) {
      end = routine->start + kStartRoutineSize;
    }
    if (rip > end) continue;
    routine->offset = static_cast<std::uint32_t>(rip - routine->start);
    routine->line = 0;
    routine->file = 0;
    routine->is_inlined = routine->levels_are_frames = false;
    routine->owner = static_cast<RoutineOwner>(entry[36]);
    find_line_and_level(&reader, base, base + offset_at(entry + 24), place, routine);
    return true;
  }
  return false;
}

bool read_file_path(std::uint64_t file, char* path, std::uint64_t size) {
  reader.reset();
  return read_name(&reader, &file, file + size, path, size - 1);
}

}  // namespace tarn
