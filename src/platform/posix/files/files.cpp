// Operations on the handles of files, pipes and terminals.

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <stdio.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "platform/image_imports.h"
#include "platform/posix/base/base.h"
#include "platform/posix/files/file_claims.h"
#include "platform/posix/files/files.h"
#include "platform/posix/terminal/terminal.h"

namespace tarn::platform {
namespace {

// ---- Opening ----------------------------------------------------------------

constexpr std::uint32_t kGenericAll = 0x10000000;
constexpr std::uint32_t kReadData = 0x0001;
constexpr std::uint32_t kWriteData = 0x0002;
constexpr std::uint32_t kAppendData = 0x0004;
constexpr std::uint32_t kWritesAnywhere = kGenericWrite | kGenericAll | kWriteData;
constexpr std::uint32_t kShareDelete = 4;
constexpr std::uint32_t kFlagOverlapped = 0x40000000;
constexpr std::uint32_t kFlagDeleteOnClose = 0x04000000;

struct Request {
  bool reads, writes;
  std::uint32_t share, creation, attributes;
  bool appends = false;  // whatever the position: it may write at the end alone

  // Of a link at the end of the path.
  int no_follow() const { return (attributes & kOpenReparsePoint) != 0 ? O_NOFOLLOW : 0; }
};

int open_descriptor(const char* path, int flags) {
  constexpr mode_t kNewFile = 0666;  // less the umask
  int descriptor;
  do {
    descriptor = open(path, flags | O_CLOEXEC | O_NOCTTY, kNewFile);
  } while (descriptor < 0 && errno == EINTR);
  return keep_off_standard(descriptor);
}

Handle refuse(std::uint32_t code) {
  SetLastError(code);
  return invalid_handle();
}

Handle close_and_refuse(int descriptor, std::uint32_t code) {
  close(descriptor);
  return refuse(code);
}

Handle keep(int descriptor, const Request& request, bool screen, bool code_page = false) {
  const Handle handle = add_handle(
      {HandleKind::kFile, descriptor, request.reads, request.writes, screen, nullptr, code_page});
  if (handle != nullptr) return handle;
  close(descriptor);
  return invalid_handle();
}

bool truncates(std::uint32_t creation) {
  return creation == kCreateAlways || creation == kTruncateExisting;
}

bool creates(std::uint32_t creation) {
  return creation == kCreateNew || creation == kCreateAlways || creation == kOpenAlways;
}

bool changes(const Request& request) { return request.writes || truncates(request.creation); }

// Access to anything but the data claims nothing.
FileUse use_of(const Request& request) {
  if (!request.reads && !changes(request)) return {};
  return {request.reads, request.writes, (request.share & kShareRead) == 0,
          (request.share & kShareWrite) == 0, (request.share & kShareDelete) == 0};
}

struct Opened {
  int descriptor;  // below 0, with errno, if it failed
  bool existed, claimed;
};

// Renames a file with a private name, unless the new name exists.
bool rename_new(const char* from, const char* to) {
  if (link(from, to) == 0) {
    unlink(from);
    return true;
  }
  return errno != EEXIST && renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0;
}

// Makes a file that is claimed before it gets its name, so that nobody can open
// it in between: without a name at first or, where the file system has no such
// files, under a private one.
int make_claimed(const char* path, int access, const FileUse& use) {
  char folder[kPathSize], name[kPathSize + 64];
  const char* const slash = strrchr(path, '/');
  const std::size_t length = slash == nullptr ? 0 : static_cast<std::size_t>(slash + 1 - path);
  memcpy(folder, path, length);
  strcpy(folder + length, ".");
  int descriptor = open_descriptor(folder, access | O_TMPFILE);
  bool named;
  if (descriptor >= 0) {
    snprintf(name, sizeof name, "/proc/self/fd/%d", descriptor);
    claim_file(descriptor, use);
    named = linkat(AT_FDCWD, name, AT_FDCWD, path, AT_SYMLINK_FOLLOW) == 0;
  } else {
    std::uint64_t random = 0;
    SystemFunction036(&random, sizeof random);
    snprintf(name, sizeof name, "%.*s.new-%016llx", static_cast<int>(length), path,
             static_cast<unsigned long long>(random));
    descriptor = open_descriptor(name, access | O_CREAT | O_EXCL);
    if (descriptor < 0) return -1;
    claim_file(descriptor, use);
    named = rename_new(name, path);
    const int failure = errno;
    if (!named) unlink(name);
    errno = failure;
  }
  if (named) return descriptor;
  const int failure = errno;
  close(descriptor);
  errno = failure;
  return -1;
}

// Opens the existing file or makes it, as `creation` asks.
Opened open_or_create(const char* path, const Request& request) {
  const bool host_writes = changes(request);
  const int access = (!host_writes    ? O_RDONLY
                      : request.reads ? O_RDWR
                                      : O_WRONLY) |
                     (request.appends ? O_APPEND : 0);
  constexpr int kAttempts = 16;  // somebody else may make and delete it meanwhile
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    if (request.creation != kCreateNew) {
      const int descriptor = open_descriptor(path, access | request.no_follow());
      if (descriptor >= 0 || errno != ENOENT || !creates(request.creation)) {
        return {descriptor, true, false};
      }
    }
    int descriptor = make_claimed(path, host_writes ? access : O_RDWR, use_of(request));
    if (descriptor >= 0) return {descriptor, false, true};
    // A file system may support none of the ways.
    if (errno != EEXIST) descriptor = open_descriptor(path, access | O_CREAT | O_EXCL);
    if (descriptor >= 0 || errno != EEXIST || request.creation == kCreateNew) {
      return {descriptor, false, false};
    }
  }
  return {-1, false, false};
}

// With the file held, does what creation still requires; 0 or a Windows code.
std::uint32_t settle(int descriptor, const Request& request, bool existed) {
  if (existed) {
    return truncates(request.creation) && ftruncate(descriptor, 0) != 0 ? windows_code(errno) : 0;
  }
  if ((request.attributes & kAttributeReadOnly) == 0) return 0;
  struct stat facts;
  constexpr mode_t kWriters = S_IWUSR | S_IWGRP | S_IWOTH;
  return fstat(descriptor, &facts) == 0 &&
                 fchmod(descriptor, facts.st_mode & ~kWriters & 07777) == 0
             ? 0
             : windows_code(errno);
}

Handle open_path(const char* path, const Request& request) {
  const auto [descriptor, existed, claimed] = open_or_create(path, request);
  if (descriptor < 0) {
    if (errno == EEXIST) return refuse(kErrorFileExists);
    if (errno == ELOOP && request.no_follow()) return refuse(kErrorStoppedOnLink);
    fail_on_path(path);
    return invalid_handle();
  }
  struct stat facts;
  if (fstat(descriptor, &facts) != 0) return close_and_refuse(descriptor, windows_code(errno));
  if (S_ISDIR(facts.st_mode) && (request.attributes & kOpenFolders) == 0) {
    return close_and_refuse(descriptor, kErrorAccessDenied);
  }
  if (!S_ISREG(facts.st_mode)) {
    return keep(descriptor, request, isatty(descriptor) == 1 && !request.reads);
  }
  // The attribute also applies to a user to whom permissions don't.
  if (existed && changes(request) && (attributes_of(facts.st_mode) & kAttributeReadOnly) != 0) {
    return close_and_refuse(descriptor, kErrorAccessDenied);
  }
  if (!claimed && !claim_file(descriptor, use_of(request))) {
    return close_and_refuse(descriptor, kErrorSharingViolation);
  }
  // Deleted since it was opened: Windows calls that a pending deletion.
  if (fstat(descriptor, &facts) == 0 && facts.st_nlink == 0) {
    return close_and_refuse(descriptor, kErrorAccessDenied);
  }
  const std::uint32_t failure = settle(descriptor, request, existed);
  if (failure != 0) return close_and_refuse(descriptor, failure);
  // The name goes at once, so that no file is left however the process ends.
  if ((request.attributes & kFlagDeleteOnClose) != 0 && unlink(path) != 0) {
    return close_and_refuse(descriptor, windows_code(errno));
  }
  const Handle handle = keep(descriptor, request, false);
  const bool tells_existing = request.creation == kCreateAlways || request.creation == kOpenAlways;
  if (handle != invalid_handle()) {
    SetLastError(existed && tells_existing ? kErrorAlreadyExists : 0);
  }
  return handle;
}

Handle open_device(const Device& device, const Request& request) {
  const int descriptor = device.host != nullptr ? open_descriptor(device.host, O_RDWR) : -1;
  if (descriptor < 0)
    return refuse(device.host != nullptr ? windows_code(errno) : kErrorFileNotFound);
  return keep(descriptor, request,
              device.side == DeviceSide::kScreen ||
                  (device.side == DeviceSide::kByAccess && request.writes && !request.reads),
              device.side == DeviceSide::kScreen);
}

// ---- Transfer ---------------------------------------------------------------

// Waits for a descriptor that was inherited as non-blocking.
bool wait_for(int descriptor, short events) {
  pollfd wanted{descriptor, events, 0};
  return poll(&wanted, 1, -1) >= 0 || errno == EINTR;
}

// Some shells use sockets as pipes.
bool is_pipe(int descriptor) {
  struct stat facts;
  return fstat(descriptor, &facts) == 0 && (S_ISFIFO(facts.st_mode) || S_ISSOCK(facts.st_mode));
}

// Copies bytes that wait in a pipe or socket: those of a pipe go into another one as well.
ssize_t look_into(int descriptor, void* buffer, std::size_t size) {
  const ssize_t received = recv(descriptor, buffer, size, MSG_PEEK | MSG_DONTWAIT);
  if (received >= 0 || errno != ENOTSOCK) return received;
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return -1;
  ssize_t copied = tee(descriptor, ends[1], size, SPLICE_F_NONBLOCK);
  if (copied > 0) copied = read(ends[0], buffer, static_cast<std::size_t>(copied));
  const int failure = errno;
  close(ends[0]);
  close(ends[1]);
  errno = failure;
  return copied < 0 && failure == EAGAIN ? 0 : copied;
}

// Where a transfer begins: at the offset of `place`, or where the file is.
constexpr std::int64_t kHere = -1;

std::int64_t start_of(const Overlapped* place) {
  return place == nullptr ? kHere : static_cast<std::int64_t>(place->offset);
}

// What has no positions is read from where it is.
ssize_t read_from(int descriptor, void* buffer, std::size_t size, std::int64_t start) {
  if (start == kHere) settle_position(descriptor);
  const ssize_t taken = start == kHere ? -1 : pread(descriptor, buffer, size, start);
  return start == kHere || (taken < 0 && errno == ESPIPE) ? read(descriptor, buffer, size) : taken;
}

ssize_t write_at(int descriptor, const void* bytes, std::size_t size, std::int64_t start) {
  const ssize_t put = start == kHere ? -1 : pwrite(descriptor, bytes, size, start);
  return start == kHere || (put < 0 && errno == ESPIPE) ? write(descriptor, bytes, size) : put;
}

// The file goes on after what was transferred, and the record says how much that was.
void finish_transfer(int descriptor, Overlapped* place, std::uint32_t count) {
  if (place == nullptr) return;
  go_on_at(descriptor, start_of(place) + count);
  place->status = 0;
  place->count = count;
  if (place->event != nullptr) SetEvent(place->event);
}

// Writes all of the bytes, or returns false with the count of those that were
// written.
bool write_all(int descriptor, const void* buffer, std::uint32_t size, std::uint32_t* done,
               std::int64_t start = kHere) {
  *done = 0;
  if (start == kHere) settle_position(descriptor);
  do {
    const ssize_t put = write_at(descriptor, static_cast<const char*>(buffer) + *done, size - *done,
                                 start == kHere ? kHere : start + *done);
    if (put >= 0) {
      *done += static_cast<std::uint32_t>(put);
    } else if (errno != EINTR && !(errno == EAGAIN && wait_for(descriptor, POLLOUT))) {
      return false;
    }
  } while (*done < size);
  return true;
}

// Writes characters of the console's code page in the terminal's encoding. A
// piece of them counts once it is written whole.
bool write_glyphs(int descriptor, const void* buffer, std::uint32_t size, std::uint32_t* done) {
  constexpr std::uint32_t kPiece = 512;
  const auto* const bytes = static_cast<const std::uint8_t*>(buffer);
  char text[kPiece * kGlyphBytes];
  for (*done = 0; *done < size;) {
    const std::uint32_t taken = size - *done < kPiece ? size - *done : kPiece;
    const std::size_t length = to_terminal_text(bytes + *done, taken, text);
    std::uint32_t put;
    if (!write_all(descriptor, text, static_cast<std::uint32_t>(length), &put)) return false;
    follow_output(descriptor, text, length);
    *done += taken;
  }
  return true;
}

const OpenObject* find_for_transfer(Handle file, bool OpenObject::*right) {
  const OpenObject* const object = find_handle(file, HandleKind::kFile);
  if (object == nullptr) return nullptr;
  if (object->*right) return object;
  SetLastError(kErrorAccessDenied);
  return nullptr;
}

// A stamp for futimens; null leaves the file's stamp as it is.
timespec host_time(const FileTime* time) {
  if (time == nullptr) return {0, UTIME_OMIT};
  const std::int64_t units = units_of(*time);
  return {units / kUnitsPerSecond - kSecondsFrom1601To1970, units % kUnitsPerSecond * 100};
}

// A standard handle's descriptor may lack the right although the object has it.
Bool fail_transfer() { return fail(errno == EBADF ? kErrorAccessDenied : windows_code(errno)); }

// Writes to a file, where it is, by one call of the system; this is most writes. Calls no routine
// in the convention of the host, before which it would have to save ten registers. Result: how much
// was written; 0 for all other writes, and if it failed.
inline std::uint32_t write_plainly(Handle file, const void* buffer, std::uint32_t size) {
  const OpenObject* const object = find_handle(file, HandleKind::kFile);
  if (object == nullptr || !object->writable || object->screen || object->code_page ||
      !survives_refused_writes() || !is_settled(object->descriptor)) {
    return 0;
  }
  long put;
  asm volatile("syscall"
               : "=a"(put)
               : "0"(SYS_write), "D"(object->descriptor), "S"(buffer), "d"(std::size_t{size})
               : "rcx", "r11", "memory");
  return put > 0 ? static_cast<std::uint32_t>(put) : 0;
}

// In the same convention as WriteFile, which only goes on to it.
[[gnu::noinline]] TARNAPI Bool write_file(Handle file, const void* buffer, std::uint32_t size,
                                          std::uint32_t* written, void* overlapped, bool is_utf8) {
  if (written != nullptr) *written = 0;
  const OpenObject* const object = find_for_transfer(file, &OpenObject::writable);
  if (object == nullptr) return 0;
  auto* const place = static_cast<Overlapped*>(overlapped);
  survive_refused_writes();
  if (object->screen) send_held_output();
  std::uint32_t done;
  const bool glyphs = object->code_page && !is_utf8;
  const bool all = glyphs ? write_glyphs(object->descriptor, buffer, size, &done)
                          : write_all(object->descriptor, buffer, size, &done, start_of(place));
  if (written != nullptr) *written = done;
  if (!all) return fail_transfer();
  finish_transfer(object->descriptor, place, done);
  if (object->screen && !glyphs) follow_output(object->descriptor, buffer, done);
  return 1;
}

}  // namespace

// An open for access to anything but the data makes no claim, as the sharing
// rules say. Handles are not inherited by children.
Handle CreateFileA(const char* path, std::uint32_t access, std::uint32_t share, void*,
                   std::uint32_t creation, std::uint32_t attributes, Handle) {
  if (creation < kCreateNew || creation > kTruncateExisting) return refuse(kErrorInvalidParameter);
  if ((attributes & kFlagOverlapped) != 0) return refuse(kErrorNotSupported);
  const Request request{(access & (kGenericRead | kGenericAll | kReadData)) != 0,
                        (access & (kWritesAnywhere | kAppendData)) != 0,
                        share,
                        creation,
                        attributes,
                        (access & kAppendData) != 0 && (access & kWritesAnywhere) == 0};
  if (const Device* const device = find_device(path)) return open_device(*device, request);
  char host[kPathSize];
  return to_host_path(path, host) ? open_path(host, request) : invalid_handle();
}

Bool close_file(Handle handle) {
  const OpenObject object = remove_handle(handle, HandleKind::kFile);
  if (object.kind == HandleKind::kFree) return 0;
  unlock_file(handle, object.descriptor);
  forget_descriptor(object.descriptor);
  close_position(object.descriptor);
  close(object.descriptor);
  return 1;
}

Handle duplicate_file(Handle handle) {
  const OpenObject* const object = find_handle(handle, HandleKind::kFile);
  if (object == nullptr) return nullptr;
  OpenObject copy = *object;
  copy.descriptor = fcntl(object->descriptor, F_DUPFD_CLOEXEC, static_cast<int>(kStandardHandles));
  if (copy.descriptor < 0) {
    fail_by_errno();
    return nullptr;
  }
  share_position(object->descriptor);
  const Handle added = add_handle(copy);
  if (added != nullptr) {
    share_position(copy.descriptor);
  } else {
    close(copy.descriptor);
  }
  return added;
}

Bool CreatePipe(Handle* read_end, Handle* write_end, const SecurityAttributes*, std::uint32_t) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return fail_by_errno();
  const int reading = keep_off_standard(ends[0]), writing = keep_off_standard(ends[1]);
  if (reading < 0 || writing < 0) {
    const int failure = errno;
    if (reading >= 0) close(reading);
    if (writing >= 0) close(writing);
    errno = failure;
    return fail_by_errno();
  }
  *read_end = add_handle({HandleKind::kFile, reading, true, false, false, nullptr});
  *write_end = add_handle({HandleKind::kFile, writing, false, true, false, nullptr});
  if (*read_end != nullptr && *write_end != nullptr) return 1;
  if (*read_end != nullptr) remove_handle(*read_end, HandleKind::kFile);
  if (*write_end != nullptr) remove_handle(*write_end, HandleKind::kFile);
  close(reading);
  close(writing);
  return fail(kErrorTooManyOpenFiles);
}

Bool PeekNamedPipe(Handle read_end, void* buffer, std::uint32_t size, std::uint32_t* copied,
                   std::uint32_t* waiting, std::uint32_t* left) {
  const OpenObject* const object = find_handle(read_end, HandleKind::kFile);
  if (object == nullptr) return 0;
  if (!is_pipe(object->descriptor)) return fail(kErrorNotSupported);
  if (!object->readable) return fail(kErrorAccessDenied);
  pollfd state = {object->descriptor, POLLIN, 0};
  if (poll(&state, 1, 0) < 0) return fail_by_errno();
  int available = 0;
  if (ioctl(object->descriptor, FIONREAD, &available) != 0) return fail_by_errno();
  if (available == 0 && (state.revents & POLLHUP) != 0) return fail(kErrorBrokenPipe);
  const ssize_t taken = available > 0 && size > 0 ? look_into(object->descriptor, buffer, size) : 0;
  if (taken < 0) return fail_by_errno();
  if (copied != nullptr) *copied = static_cast<std::uint32_t>(taken);
  if (waiting != nullptr) *waiting = static_cast<std::uint32_t>(available);
  if (left != nullptr) *left = 0;
  return 1;
}

Bool SetEndOfFile(Handle file) {
  const OpenObject* const object = find_handle(file, HandleKind::kFile);
  if (object == nullptr) return 0;
  if (!object->writable) return fail(kErrorAccessDenied);
  survive_refused_writes();
  settle_position(object->descriptor);
  const off_t here = lseek(object->descriptor, 0, SEEK_CUR);
  if (here >= 0 && is_mapped_beyond(object->descriptor, here)) return fail(kErrorUserMappedFile);
  return here >= 0 && ftruncate(object->descriptor, here) == 0 ? 1 : fail_by_errno();
}

// At the end of a pipe, whose writers are gone, a read fails, and so does one with a place
// of its own at the end of a file.
Bool ReadFile(Handle file, void* buffer, std::uint32_t size, std::uint32_t* delivered,
              void* overlapped) {
  if (delivered != nullptr) *delivered = 0;
  const OpenObject* const object = find_for_transfer(file, &OpenObject::readable);
  if (object == nullptr) return 0;
  auto* const place = static_cast<Overlapped*>(overlapped);
  std::size_t count = 0;
  auto* const bytes = static_cast<char*>(buffer);
  const TerminalRead ours = read_terminal(object->descriptor, bytes, size, &count);
  if (ours == TerminalRead::kFailed) return fail_transfer();
  if (ours == TerminalRead::kDone) {
    if (delivered != nullptr) *delivered = static_cast<std::uint32_t>(count);
    return 1;
  }
  ssize_t taken;
  do {
    taken = read_from(object->descriptor, bytes, size, start_of(place));
  } while (taken < 0 &&
           (errno == EINTR || (errno == EAGAIN && wait_for(object->descriptor, POLLIN))));
  if (taken < 0) return fail_transfer();
  if (taken == 0 && size > 0 && is_pipe(object->descriptor)) return fail(kErrorBrokenPipe);
  if (taken == 0 && size > 0 && place != nullptr) return fail(kErrorHandleEof);
  count = take_terminal_bytes(object->descriptor, bytes, static_cast<std::size_t>(taken), size);
  if (delivered != nullptr) *delivered = static_cast<std::uint32_t>(count);
  finish_transfer(object->descriptor, place, static_cast<std::uint32_t>(count));
  return 1;
}

// Writes all of the bytes, or fails with the count of those that were written.
Bool WriteFile(Handle file, const void* buffer, std::uint32_t size, std::uint32_t* written,
               void* overlapped) {
  const std::uint32_t done = overlapped == nullptr ? write_plainly(file, buffer, size) : 0;
  if (done == size && done > 0) {
    if (written != nullptr) *written = size;
    return 1;
  }
  const Bool good = write_file(file, static_cast<const char*>(buffer) + done, size - done, written,
                               overlapped, false);
  if (written != nullptr) *written += done;
  return good;
}

// Whatever code page the handle has for bytes.
Bool WriteConsoleW(Handle handle, const void* text, std::uint32_t length, std::uint32_t* written,
                   void*) {
  constexpr std::uint32_t kPart = 1024, kLongest = 3;  // bytes of one char16_t
  const auto* const from = static_cast<const char16_t*>(text);
  std::uint32_t done = 0, mode;
  if (!GetConsoleMode(handle, &mode)) return 0;
  while (done < length) {
    char bytes[kPart * kLongest];
    std::uint32_t part = length - done < kPart ? length - done : kPart;
    const bool splits = part == kPart && part > 1 && (from[done + part - 1] & 0xFC00) == 0xD800;
    if (splits) --part;
    const std::int32_t size =
        WideCharToMultiByte(kUtf8, 0, from + done, static_cast<std::int32_t>(part), bytes,
                            sizeof bytes, nullptr, nullptr);
    if (!write_file(handle, bytes, static_cast<std::uint32_t>(size), nullptr, nullptr, true)) {
      return 0;
    }
    done += part;
  }
  if (written != nullptr) *written = done;
  return 1;
}

Bool SetFilePointerEx(Handle file, std::int64_t distance, std::int64_t* position,
                      std::uint32_t origin) {
  constexpr int kOrigins[] = {SEEK_SET, SEEK_CUR, SEEK_END}, kFromHere = 1;
  const OpenObject* const object = find_handle(file, HandleKind::kFile);
  if (object == nullptr) return 0;
  if (origin >= sizeof kOrigins / sizeof kOrigins[0]) return fail(kErrorInvalidParameter);
  if (origin == kFromHere) settle_position(object->descriptor);
  const off_t reached = lseek(object->descriptor, distance, kOrigins[origin]);
  if (reached < 0) return errno == EINVAL ? fail(kErrorNegativeSeek) : fail_by_errno();
  forget_position(object->descriptor);
  if (position != nullptr) *position = reached;
  return 1;
}

// The low half of a position may be all bits set: then the last error is 0.
std::uint32_t SetFilePointer(Handle file, std::int32_t distance, std::int32_t* high,
                             std::uint32_t origin) {
  constexpr std::uint32_t kFailed = 0xFFFFFFFF;
  std::int64_t whole = distance, reached = 0;
  if (high != nullptr) {
    whole = static_cast<std::int64_t>(std::uint64_t{static_cast<std::uint32_t>(*high)} << 32 |
                                      static_cast<std::uint32_t>(distance));
  }
  if (!SetFilePointerEx(file, whole, &reached, origin)) return kFailed;
  SetLastError(0);
  if (high != nullptr) *high = static_cast<std::int32_t>(reached >> 32);
  return static_cast<std::uint32_t>(reached);
}

std::uint32_t GetFileSize(Handle file, std::uint32_t* high) {
  constexpr std::uint32_t kFailed = 0xFFFFFFFF;
  std::int64_t size = 0;
  if (!GetFileSizeEx(file, &size)) return kFailed;
  SetLastError(0);
  if (high != nullptr) *high = static_cast<std::uint32_t>(size >> 32);
  return static_cast<std::uint32_t>(size);
}

Bool GetFileSizeEx(Handle file, std::int64_t* size) {
  const OpenObject* const object = find_handle(file, HandleKind::kFile);
  if (object == nullptr) return 0;
  struct stat facts;
  if (fstat(object->descriptor, &facts) != 0) return fail_by_errno();
  // A device without a size reports 0.
  if (!S_ISREG(facts.st_mode) && !S_ISCHR(facts.st_mode)) return fail(kErrorInvalidFunction);
  *size = facts.st_size;
  return 1;
}

// The host has no stamp of creation that could be set: `created` is ignored.
Bool SetFileTime(Handle file, const FileTime*, const FileTime* accessed, const FileTime* written) {
  const OpenObject* const object = find_handle(file, HandleKind::kFile);
  if (object == nullptr) return 0;
  if (!object->writable) return fail(kErrorAccessDenied);
  const timespec stamps[] = {host_time(accessed), host_time(written)};
  return futimens(object->descriptor, stamps) == 0 ? 1 : fail_by_errno();
}

// A terminal refuses it, as a console does. The system buffers nothing for a
// pipe or a device, so nothing can fail there.
Bool FlushFileBuffers(Handle file) {
  const OpenObject* const object = find_handle(file, HandleKind::kFile);
  if (object == nullptr) return 0;
  if (!object->writable) return fail(kErrorAccessDenied);
  if (isatty(object->descriptor) == 1) return fail(kErrorInvalidHandle);
  const int flags = fcntl(object->descriptor, F_GETFL);
  if (flags < 0 || (flags & O_ACCMODE) == O_RDONLY) return fail(kErrorAccessDenied);
  int result;
  do {
    result = fsync(object->descriptor);
  } while (result != 0 && errno == EINTR);
  return result == 0 || errno == EINVAL || errno == EROFS ? 1 : fail_by_errno();
}

}  // namespace tarn::platform
