#include "streams/file_stream.h"

#include "platform/byte_block.h"
#include "platform/output.h"
#include "process/raising.h"
#include "storage/heap.h"
#include "streams/low_level_files.h"
#include "strings/c_string.h"

namespace tarn {
namespace {

constexpr std::int32_t kWriteFailed = 307;  // in errno

constexpr std::uint32_t kTransferSize = 8192;
constexpr std::uint32_t kTextTarget = 4096;
constexpr std::int64_t kTransferLimit = 0x7FFFFFFF;
constexpr std::int32_t kGetsSize = 256;
constexpr std::uint64_t kUnknownPosition = 0xF0F0F0F0F0F0F0F0;

constexpr char kCarriageReturn = 13;
constexpr char kLineFeed = 10;

constexpr std::uint32_t kFromStart = 0;
constexpr std::uint32_t kFromHere = 1;
constexpr std::uint32_t kFromEnd = 2;

constexpr RuntimeCell kStandardCells[] = {kCellStdin, kCellStdout, kCellStderr};

inline void check(const FILE* stream) {
  if (!stream || stream->magic != kFileMagic) __RuntimeError(TARN_ERROR_FILE_STRUCTURE);
}

inline void check_position(const FILE* stream) {
  if (!stream) __RuntimeError(TARN_ERROR_STREAM_POINTER);
  check(stream);
}

inline void set(FILE* stream, FileFlag flag) {
  stream->flags = static_cast<std::uint8_t>(stream->flags | flag);
}

inline void clear(FILE* stream, int flags) {
  stream->flags = static_cast<std::uint8_t>(stream->flags & ~flags);
}

// The bytes of a transfer, or -1 with the error indicator set if there are
// too many.
inline std::int64_t transfer_total(std::uint64_t size, std::uint64_t count, FILE* stream) {
  std::int64_t total;
  if (__builtin_mul_overflow(size, count, &total) || total > kTransferLimit) {
    set(stream, kFileError);
    return -1;
  }
  return total;
}

// The bytes of the next block, of at most `most`.
inline std::uint32_t block_of(std::int64_t left, std::uint32_t most) {
  return left < most ? static_cast<std::uint32_t>(left) : most;
}

// Ends a record. A standard stream is forgotten too.
TARNAPI void discard(FILE* stream) {
  for (const RuntimeCell cell : kStandardCells) {
    if (standard_stream(cell) == stream) runtime_cell(cell) = 0;
  }
  stream->magic = 0;
  operator_delete(stream);
}

// One block out. Result: whether all of it arrived.
TARNAPI bool write_block(FILE* stream, const char* block, std::uint32_t size) {
  std::uint32_t written = 0;
  if (platform::write_output(stream->handle, block, size, &written)) return true;
  set(stream, kFileError);
  set_errno(kWriteFailed);
  return false;
}

constexpr std::uintptr_t kPage = 4096;

bool begins_page(const char* byte) { return reinterpret_cast<std::uintptr_t>(byte) % kPage == 0; }

// One block into the program's buffer, or past `block` of our own where the system cannot
// write to the buffer, so that a bad one faults here, in the program, and a region that
// expands does so. The system ends a transfer before such a page as it does at the end of
// a file.
std::uint32_t read_directly(const FILE* stream, char* to, std::uint32_t size, char* block) {
  std::uint32_t delivered = 0, more = 0;
  const bool good = platform::ReadFile(stream->handle, to, size, &delivered, nullptr) != 0;
  if (delivered == size) return size;
  const bool stopped = good ? begins_page(to + delivered) &&
                                  platform::GetFileType(stream->handle) == platform::kFileTypeDisk
                            : platform::GetLastError() == platform::kErrorNoAccess;
  if (!stopped) return delivered;
  platform::ReadFile(stream->handle, block, size - delivered, &more, nullptr);
  append_bytes(to + delivered, block, more);
  return delivered + more;
}

// One block out of the program's buffer. Each page is read first: see above.
bool write_directly(FILE* stream, const char* from, std::uint32_t size) {
  const auto touch = [](const char* byte) { asm volatile("testb $0, %0" : : "m"(*byte) : "cc"); };
  touch(from);
  for (const char* page = from + kPage - reinterpret_cast<std::uintptr_t>(from) % kPage;
       page < from + size; page += kPage) {
    touch(page);
  }
  return write_block(stream, from, size);
}

constexpr std::uint32_t kStep = 16;

// Copies sixteen bytes. Result: a bit for each that is a line feed.
std::uint32_t copy_step(char* to, const char* from) {
  using Bytes [[gnu::vector_size(kStep)]] = char;
  Bytes bytes;
  __builtin_memcpy(&bytes, from, kStep);
  __builtin_memcpy(to, &bytes, kStep);
  return static_cast<std::uint32_t>(__builtin_ia32_pmovmskb128(bytes == kLineFeed));
}

// Copies text until a line feed, or until less than a step of `size` is left that does not
// end in one. Steps overlap at the end, so that no text is copied byte by byte. Result: how
// much.
std::uint32_t copy_before_line_feed(char* to, const char* from, std::uint32_t size) {
  std::uint32_t copied = 0;
  for (; size - copied >= kStep; copied += kStep) {
    const std::uint32_t found = copy_step(to + copied, from + copied);
    if (found) return copied + static_cast<std::uint32_t>(__builtin_ctz(found));
  }
  if (copied == 0 || copied == size) return copied;
  const std::uint32_t last = size - kStep;
  const std::uint32_t found = copy_step(to + last, from + last);
  return found ? last + static_cast<std::uint32_t>(__builtin_ctz(found)) : size;
}

struct OpenMode {
  std::uint32_t access = platform::kGenericRead;
  std::uint32_t creation = 0;  // none chosen yet
  std::uint8_t flags = 0;
  bool append = false;
};

// Whether there is no file of this name, for certain: where the system could not
// find out, one that "a" would empty may be there.
bool is_absent(const char* path) {
  if (FileExists(path)) return false;
  const std::uint32_t error = platform::GetLastError();
  return error == platform::kErrorFileNotFound || error == platform::kErrorPathNotFound;
}

OpenMode parse_mode(const char* letters, const char* path) {
  OpenMode mode;
  for (; *letters; ++letters) {
    switch (*letters) {
      case 'r':
        mode.access = platform::kGenericRead;
        mode.creation = platform::kOpenExisting;
        mode.flags = 0;
        break;
      case 'w':
        mode.access = platform::kGenericWrite;
        mode.creation = platform::kCreateAlways;
        mode.flags = kFileWriteMark;
        break;
      case 'a':
        mode.access = platform::kGenericWrite;
        mode.creation = is_absent(path) ? platform::kCreateAlways : platform::kOpenExisting;
        mode.flags = kFileWriteMark;
        mode.append = true;
        break;
      case '+':
        mode.access = platform::kGenericRead | platform::kGenericWrite;
        mode.flags |= kFileReadMark | kFileWriteMark;
        break;
      case 't':
        mode.flags = 0;
        break;
      case 'b':
        mode.flags |= kFileBinary;
        break;
      default:
        break;
    }
  }
  return mode;
}

std::int32_t move_to(FILE* stream, std::int64_t distance, std::uint32_t origin) {
  return platform::SetFilePointerEx(stream->handle, distance, nullptr, origin) ? 0 : 1;
}

}  // namespace

FILE* __new_file_struct() {
  auto* const stream = static_cast<FILE*>(operator_new(sizeof(FILE)));
  if (stream) *stream = FILE{kFileMagic, nullptr, 0, 0};
  return stream;
}

void __init_c_io() {
  constexpr struct {
    RuntimeCell stream, handle;
    FileFlag mark;
  } kStreams[] = {
      {kCellStdin, kCellInputHandle, kFileReadMark},
      {kCellStdout, kCellOutputHandle, kFileWriteMark},
      {kCellStderr, kCellErrorHandle, kFileWriteMark},
  };
  for (const auto& [cell, handle, mark] : kStreams) {
    FILE* const stream = __new_file_struct();
    if (stream) {
      stream->handle = reinterpret_cast<platform::Handle>(runtime_cell(handle));
      stream->flags = static_cast<std::uint8_t>(mark | kFileStandardStream);
    }
    runtime_cell(cell) = reinterpret_cast<Slot>(stream);
  }
}

FILE* fopen(const char* path, const char* mode) {
  FILE* const stream = __new_file_struct();
  if (!stream) return nullptr;
  const OpenMode open = parse_mode(mode, path);
  stream->flags = open.flags;
  stream->handle = open.creation ? platform::CreateFileA(path, open.access, 0, nullptr,
                                                         open.creation, 0, nullptr)
                                 : platform::invalid_handle();
  if (stream->handle == platform::invalid_handle()) {
    discard(stream);
    return nullptr;
  }
  // At the start of a file that has contents, writes would destroy them.
  std::int64_t size = 0;
  if (open.append && fseek(stream, 0, kFromEnd) != 0 &&
      platform::GetFileSizeEx(stream->handle, &size) && size > 0) {
    fclose(stream);
    return nullptr;
  }
  return stream;
}

std::int32_t fclose(FILE* stream) {
  check(stream);
  if (!(stream->flags & kFileStandardStream)) platform::CloseHandle(stream->handle);
  discard(stream);
  return 0;
}

std::int32_t fflush(FILE* stream) {
  if (platform::FlushFileBuffers(stream->handle)) return 0;
  set_errno(static_cast<std::int32_t>(platform::GetLastError()));
  return -1;
}

std::uint64_t fread(void* buffer, std::uint64_t size, std::uint64_t count, FILE* stream) {
  check(stream);
  const std::int64_t total = transfer_total(size, count, stream);
  if (total < 0) return 0;
  const bool text = !(stream->flags & kFileBinary);
  char* const first = static_cast<char*>(buffer);
  char* next = first;
  char* const end = first + total;
  char block[kTransferSize];
  while (next < end) {
    const std::uint32_t wanted = block_of(end - next, kTransferSize);
    std::uint32_t delivered = 0;
    if (text) {
      platform::ReadFile(stream->handle, block, wanted, &delivered, nullptr);
      for (std::uint32_t i = 0; i < delivered; ++i) {
        if (block[i] != kCarriageReturn) *next++ = block[i];
      }
    } else {
      delivered = read_directly(stream, next, wanted, block);
      next += delivered;
    }
    if (delivered < wanted) {
      set(stream, kFileEndOfFile);
      return static_cast<std::uint64_t>(next - first) / size;
    }
  }
  return count;
}

std::uint64_t fwrite(const void* buffer, std::uint64_t size, std::uint64_t count, FILE* stream) {
  check(stream);
  const std::int64_t total = transfer_total(size, count, stream);
  if (total <= 0) return 0;
  const char* next = static_cast<const char*>(buffer);
  const char* const end = next + total;
  bool good = true;
  char block[kTransferSize];
  if (stream->flags & kFileBinary) {
    while (next < end) {
      const std::uint32_t part = block_of(end - next, kTransferSize);
      good &= write_directly(stream, next, part);
      next += part;
    }
    return good ? count : 0;
  }
  while (next < end) {
    const std::uint32_t target = block_of(end - next, kTextTarget);
    std::uint32_t held = 0;  // at most target + 1, by a line feed at its end
    while (held < target) {
      const std::uint32_t plain = copy_before_line_feed(block + held, next, target - held);
      held += plain;
      next += plain;
      if (held == target) break;
      const char c = *next++;
      if (c == kLineFeed) block[held++] = kCarriageReturn;
      block[held++] = c;
    }
    good &= write_block(stream, block, held);
  }
  return good ? count : 0;
}

std::int32_t fputs(const char* text, FILE* stream) {
  if (fwrite(text, 1, strlen(text), stream) == 0 || (stream->flags & kFileError)) return -1;
  return 0;
}

std::int32_t puts(const char* text) { return fputs(text, standard_stream(kCellStdout)); }

std::int32_t fputc(std::int32_t character, FILE* stream) {
  const char byte = static_cast<char>(character);
  fwrite(&byte, 1, 1, stream);
  return character;
}

std::int32_t putc(std::int32_t character, FILE* stream) { return fputc(character, stream); }

std::int32_t putchar(std::int32_t character) {
  return fputc(character, standard_stream(kCellStdout));
}

std::int32_t fgetc(FILE* stream) {
  signed char byte = 0;
  if (stream && stream->pushback) {
    byte = static_cast<signed char>(stream->pushback);
    stream->pushback = 0;
    return byte;
  }
  return fread(&byte, 1, 1, stream) == 1 ? byte : kEndOfFile;
}

std::int32_t getc(FILE* stream) { return fgetc(stream); }

std::int32_t getchar() { return fgetc(standard_stream(kCellStdin)); }

std::int32_t ungetc(std::int32_t character, FILE* stream) {
  stream->pushback = character;
  return character;
}

char* fgets(char* buffer, std::int32_t size, FILE* stream) {
  check(stream);
  if (stream->flags & kFileEndOfFile) {
    if (stream != standard_stream(kCellStdin)) {
      set(stream, kFileError);
      return nullptr;
    }
    clear(stream, kFileEndOfFile);
  }
  if (size <= 0) return nullptr;

  char* next = buffer;
  std::int32_t pass = 1;
  for (; pass < size && !(stream->flags & (kFileEndOfFile | kFileError)); ++pass) {
    const std::int32_t c = fgetc(stream);
    if (c == kEndOfFile || (c == kCarriageReturn && !(stream->flags & kFileBinary))) continue;
    *next++ = static_cast<char>(c);
    if (c == kLineFeed) break;
  }
  // The first character already met the end.
  if ((stream->flags & kFileEndOfFile) && pass == 2) return nullptr;
  *next = '\0';
  return (stream->flags & kFileError) ? nullptr : buffer;
}

char* gets(char* buffer) {
  if (!fgets(buffer, kGetsSize, standard_stream(kCellStdin))) return nullptr;
  const std::uint64_t length = strlen(buffer);
  if (length > 0 && buffer[length - 1] == kLineFeed) buffer[length - 1] = '\0';
  return buffer;
}

std::int32_t ferror(FILE* stream) {
  check(stream);
  platform::heed_writes();
  return (stream->flags & kFileError) != 0;
}

std::int32_t feof(FILE* stream) {
  check(stream);
  return (stream->flags & kFileEndOfFile) != 0;
}

void clearerr(FILE* stream) {
  check(stream);
  platform::heed_writes();
  clear(stream, kFileError | kFileEndOfFile);
}

std::int32_t fgetpos(FILE* stream, std::uint64_t* position) {
  check_position(stream);
  *position = kUnknownPosition;
  platform::SetFilePointerEx(stream->handle, 0, reinterpret_cast<std::int64_t*>(position),
                             kFromHere);
  return 0;
}

std::int32_t fsetpos(FILE* stream, const std::uint64_t* position) {
  return move_to(stream, static_cast<std::int64_t>(*position), kFromStart);
}

std::int32_t fseek(FILE* stream, std::int32_t offset, std::int32_t whence) {
  check_position(stream);
  if (whence < 0 || whence > 2) return -1;
  return move_to(stream, offset, static_cast<std::uint32_t>(whence));
}

std::int32_t ftell(FILE* stream) {
  std::uint64_t position;
  fgetpos(stream, &position);
  return static_cast<std::int32_t>(position);
}

void rewind(FILE* stream) {
  fseek(stream, 0, kFromStart);
  clearerr(stream);
}

}  // namespace tarn
