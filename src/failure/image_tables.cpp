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
constexpr std::uint64_t kStartRoutineSize = 0x28B;    // where the table does not say

// An offset that a table holds as the low 32 bits, signed.
std::uint64_t offset_at(const std::uint8_t* bytes) {
  std::int32_t value;
  __builtin_memcpy(&value, bytes, sizeof value);
  return static_cast<std::uint64_t>(static_cast<std::int64_t>(value));
}

// The last pair whose offset is not above the routine's offset.
std::uint32_t find_line(PageReader* reader, std::uint64_t debug, std::uint32_t offset,
                        bool at_call) {
  std::uint8_t record[12];
  std::uint32_t mark = 0;
  std::uint32_t magic = 0;
  if (!reader->read(debug, record, sizeof record)) return 0;
  __builtin_memcpy(&mark, record, sizeof mark);
  __builtin_memcpy(&magic, record + 4, sizeof magic);
  if (magic != kDebugMagic) return 0;
  if (at_call && mark == kCallLinesMark && offset > 0) --offset;
  const std::uint64_t table = debug + 8 + offset_at(record + 8) - 4;
  std::uint32_t count = 0;
  if (!reader->read(table, &count, sizeof count)) return 0;
  if (count > kLineEntries) count = kLineEntries;
  std::uint32_t line = 0;
  for (std::uint32_t i = 0; i < count; ++i) {
    std::uint32_t pair[2];
    if (!reader->read(table + 4 + 8 * std::uint64_t{i}, pair, sizeof pair)) break;
    if (pair[1] <= offset) line = pair[0];
  }
  return line;
}

// Reads a name up to its NUL; what does not fit is skipped. False at the end of
// readable memory or of `limit`.
bool read_name(PageReader* reader, std::uint64_t* at, std::uint64_t limit, char* name) {
  std::uint32_t length = 0;
  for (; *at < limit; ++*at) {
    char c;
    if (!reader->read(*at, &c, 1)) return false;
    if (length < kLongestRoutineName) name[length] = c;
    if (!c) {
      name[length < kLongestRoutineName ? length : kLongestRoutineName] = '\0';
      ++*at;
      return true;
    }
    ++length;
  }
  return false;
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

bool find_routine(std::uint64_t base, std::uint64_t rip, bool at_call, RoutinePlace* routine) {
  static PageReader reader;  // a table's pages; the report has one thread
  reader.reset();
  std::uint8_t field[4];
  if (!reader.read(base + pe::kRoutineTableFieldOffset, field, sizeof field)) return false;
  std::uint64_t at = base + offset_at(field) + 8;
  const std::uint64_t limit = at + kTableBytes;
  while (read_name(&reader, &at, limit, routine->name) && routine->name[0]) {
    std::uint8_t entry[kEntrySize];
    if (!reader.read(at, entry, sizeof entry)) return false;
    at += kEntrySize;
    routine->start = base + offset_at(entry + 8);
    std::uint64_t end = base + offset_at(entry + 16);
    if (end < routine->start && strcmpl(routine->name, kStartRoutine) == 0) {
      end = routine->start + kStartRoutineSize;
    }
    if (rip < routine->start || rip > end) continue;
    routine->offset = static_cast<std::uint32_t>(rip - routine->start);
    routine->line = find_line(&reader, base + offset_at(entry + 24), routine->offset, at_call);
    return true;
  }
  return false;
}

}  // namespace tarn
