// What every other folder of this back end is built on: failures as Windows
// error codes, paths, the table of handles, and time.
//
// The folders are layered in the order that scripts/check_modules.py checks; a
// file includes headers of its own folder, and of a lower folder only the
// overview header, which has the folder's name. What a folder does for programs
// is declared in platform/platform.h. State: the last error of each thread, whether
// it may be suspended, the table of handles. Every routine may be called on any thread.
#pragma once

#include <pthread.h>
#include <signal.h>
#include <time.h>

#include <cstddef>

#include "platform/paths.h"
#include "platform/platform.h"

namespace tarn::platform {

// ---- Failures ---------------------------------------------------------------

// Windows codes of this back end alone, in addition to those of platform.h.
inline constexpr std::uint32_t kErrorInvalidFunction = 1;
inline constexpr std::uint32_t kErrorNotSameDevice = 17;
inline constexpr std::uint32_t kErrorBadLength = 24;
inline constexpr std::uint32_t kErrorGenFailure = 31;
inline constexpr std::uint32_t kErrorLockViolation = 33;
inline constexpr std::uint32_t kErrorHandleEof = 38;
inline constexpr std::uint32_t kErrorNotSupported = 50;
inline constexpr std::uint32_t kErrorBufferOverflow = 111;
inline constexpr std::uint32_t kErrorInvalidName = 123;
inline constexpr std::uint32_t kErrorNegativeSeek = 131;
inline constexpr std::uint32_t kErrorDirectoryNotEmpty = 145;
inline constexpr std::uint32_t kErrorSignalRefused = 156;
inline constexpr std::uint32_t kErrorNotLocked = 158;
inline constexpr std::uint32_t kErrorFileNameTooLong = 206;
inline constexpr std::uint32_t kErrorNoMoreItems = 259;
inline constexpr std::uint32_t kErrorDirectory = 267;
inline constexpr std::uint32_t kErrorNotOwner = 288;
inline constexpr std::uint32_t kErrorTooManyPosts = 298;
inline constexpr std::uint32_t kErrorPartialCopy = 299;
inline constexpr std::uint32_t kErrorMessageNotFound = 317;
inline constexpr std::uint32_t kErrorTimeout = 1460;
inline constexpr std::uint32_t kErrorInvalidAddress = 487;
inline constexpr std::uint32_t kErrorInvalidFlags = 1004;
inline constexpr std::uint32_t kErrorFileInvalid = 1006;
inline constexpr std::uint32_t kErrorDllInitFailed = 1114;
inline constexpr std::uint32_t kErrorNoUnicodeTranslation = 1113;
inline constexpr std::uint32_t kErrorIoDevice = 1117;
inline constexpr std::uint32_t kErrorMappedAlignment = 1132;
inline constexpr std::uint32_t kErrorUserMappedFile = 1224;
inline constexpr std::uint32_t kErrorPrivilegeNotHeld = 1314;

// The Windows code for a value of errno.
std::uint32_t windows_code(int error);

// Set the thread's last error and return 0.
Bool fail(std::uint32_t code);
void* null_for(std::uint32_t code);
Bool fail_by_errno();

// As fail_by_errno, for an operation on `host_path`: where the object is
// missing, distinguishes a missing file from a missing folder on the way to it.
Bool fail_on_path(const char* host_path);

// ---- Paths ------------------------------------------------------------------

// Room for the longest path of the host, NUL included.
inline constexpr std::size_t kPathSize = 4096;

// Turns a program's path into one of the host's: drive "Z:" taken off, '/'
// between the names, "." and ".." resolved by name as Windows does it, a '/' at
// the end kept, spaces and dots at the end dropped (and one dot at the end of a
// folder's name) unless the path begins with "\\?\". A name that does not exist
// is replaced by one that differs in case alone, if there is one. False, with
// the last error, for an empty path, another drive, a share of another machine,
// a device, a character that no name has ('*', '?', '<', '>', '|', '"', a second
// ':') and a path that is too long.
bool to_host_path(const char* path, char (&host)[kPathSize]);

// The same for a search pattern, whose last name may have '*' and '?' and is
// left as it is.
bool to_host_pattern(const char* pattern, char (&host)[kPathSize]);

// The two halves of to_host_path, for a path that will be looked for in several
// folders: the translation alone, and the replacement of names that do not exist
// by those in another case.
bool translate_path(const char* path, char (&host)[kPathSize]);
void match_names(char (&host)[kPathSize]);

// Turns an absolute path of the host's into "Z:\..." form. Result: its length
// without the NUL; `buffer` holds it whole, or is left alone if it is too small.
std::size_t from_host_path(const char* host, char* buffer, std::size_t size);

// The form in which programs see any path of the host's: absolute, from "Z:", names as they are
// written. False, with the last error, if it has none or is too long.
bool to_program_path(const char* host_path, char* path, std::size_t size);

// The next character of a UTF-8 name, as a capital; steps over it. A byte that
// belongs to no character counts as one by itself.
std::uint32_t take_capital(const char** name);

// Less than, equal to or greater than 0, compared as capitals.
int compare_in_any_case(const char* a, const char* b);

// Length of the well-formed UTF-8 sequence of two or more bytes at `bytes`,
// whose code point is stored; 0 if it is ill-formed, -1 if the bytes end
// within a sequence that is well-formed so far.
int take_utf8(const std::uint8_t* bytes, std::size_t count, std::uint32_t* code_point);

// A name that stands for a device in every folder that exists, whatever comes
// after a dot or colon in it.
enum class DeviceSide { kByAccess, kInput, kScreen };
struct Device {
  const char* name;
  const char* host;  // null: the host has none
  DeviceSide side;
};
// The device that the path names, or null.
const Device* find_device(const char* path);

// ---- UTF-16 -------------------------------------------------------------------

// The one code page of byte strings: UTF-8.
inline constexpr std::uint32_t kUtf8 = 65001;

// A program's UTF-16 name in UTF-8; false, with the last error, if it is too long. A null
// pointer is an empty name.
bool to_narrow(const char16_t* wide, char (&bytes)[kPathSize]);

// The same for text of any length: to be freed. Null, with the last error, without memory, and
// for a null pointer, with the last error as it was.
char* narrow_copy(const char16_t* wide);

// Stores UTF-8 as UTF-16. Result: its units without the NUL, or the size needed if that
// is greater than `size`; 0, with the last error, on failure.
std::uint32_t put_wide(const char* bytes, char16_t* wide, std::uint32_t size);

// ---- Writing ------------------------------------------------------------------

// Called before a write or a change of a file's size. From then on a write to a
// pipe without readers, or past the limit on file size, fails instead of ending
// the process by a signal.
void survive_refused_writes();
// Whether it has been called.
TARNAPI bool survives_refused_writes();

// ---- Handles ----------------------------------------------------------------

enum class HandleKind : std::uint32_t {
  kFree,
  kFile,
  kFind,
  kKey,
  kEvent,
  kSemaphore,
  kThread,
  kProcess,
  kSnapshot,
  kMapping,
  kMutex
};

// One open object. A file has its descriptor and what the opener asked for; a
// find has the descriptor of its folder, and a record; the others have a record.
struct OpenObject {
  HandleKind kind;
  int descriptor;
  bool readable, writable;
  bool screen;  // of a terminal: its output side
  void* record;
  bool code_page = false;  // opened as the console's screen: its bytes are in that code page
};

// The first three objects are the standard handles on descriptors 0 to 2.
inline constexpr std::uint32_t kStandardHandles = 3;
inline constexpr std::uint32_t kMaxHandles = 8192;

Handle standard_handle(std::uint32_t descriptor);

// Returns the descriptor, moved if it has the number of a standard handle:
// those numbers stay the standard handles', even while they are closed. -1,
// with errno, on failure.
int keep_off_standard(int descriptor);

// Null, with the last error, if there are too many.
Handle add_handle(const OpenObject& object);

// The kind of the object that a handle stands for now; kFree if it is none.
HandleKind kind_of_handle(Handle handle);

// The object of a handle; null, with the last error, if it is not an open one of
// that kind. Takes no lock.
TARNAPI const OpenObject* find_handle(Handle handle, HandleKind kind);

// Takes the handle out of the table and returns what it stood for; kind kFree,
// with the last error, if it is not an open one of that kind.
OpenObject remove_handle(Handle handle, HandleKind kind);

// ---- Suspension -------------------------------------------------------------

// A thread is suspended by this signal, which is ignored where nobody handles it.
inline constexpr int kSuspendSignal = SIGURG;

// While the calling thread has one, it is not suspended; a suspension that comes
// meanwhile takes effect afterwards.
class Unsuspended {
 public:
  Unsuspended();
  ~Unsuspended();
  Unsuspended(const Unsuspended&) = delete;
  Unsuspended& operator=(const Unsuspended&) = delete;
};

// For the signal's handler: whether the calling thread has one. The signal then
// comes again afterwards.
bool put_off_suspension();

// How this back end holds its locks: others may need them while a thread is suspended.
// Not so the loader's, under which the entry points of modules run, and the keyboard's,
// under which a thread waits for keys.
class MutexLock {
 public:
  explicit MutexLock(pthread_mutex_t& mutex) : mutex_(mutex) { pthread_mutex_lock(&mutex_); }
  ~MutexLock() { pthread_mutex_unlock(&mutex_); }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

 private:
  Unsuspended unsuspended_;
  pthread_mutex_t& mutex_;
};

// Sleeps while the word has the value, at the longest until `end` by CLOCK_MONOTONIC
// (null: for ever); may wake without a reason. False at the end of the time.
bool sleep_on(const std::uint32_t* word, std::uint32_t value, const timespec* end);
void wake_one(const std::uint32_t* word);
void wake_all(const std::uint32_t* word);

// ---- Positions of files -------------------------------------------------------

// A transfer with a place of its own moves the file's position to its end, as on Windows. The
// system's position is set only before something uses it: programs that pass a place with every
// transfer never do.

// The descriptor's position is `position` from now on.
void go_on_at(int descriptor, std::int64_t position);

// Sets the system's position, before something uses it.
void settle_position(int descriptor);
// Whether it is set.
TARNAPI bool is_settled(int descriptor);

// The system's position has been set otherwise.
void forget_position(int descriptor);

// The descriptor is closed.
void close_position(int descriptor);

// Another descriptor or process has the same position: the system's is set at once from now on.
void share_position(int descriptor);

// ---- Time -------------------------------------------------------------------

// The time that many milliseconds from now, by CLOCK_MONOTONIC.
timespec deadline_after(std::uint32_t milliseconds);

// Milliseconds until then for poll, rounded up; 0 once the time has come.
int milliseconds_until(const timespec& deadline);

// A FileTime as one number, of 100 ns since 1601-01-01 UTC.
inline constexpr std::int64_t kUnitsPerSecond = 10'000'000;
inline constexpr std::int64_t kSecondsFrom1601To1970 = 11'644'473'600;

inline std::int64_t units_of(const FileTime& time) {
  return static_cast<std::int64_t>(std::uint64_t{time.high} << 32 | time.low);
}

inline FileTime file_time(std::int64_t units) {
  const auto bits = static_cast<std::uint64_t>(units);
  return {static_cast<std::uint32_t>(bits), static_cast<std::uint32_t>(bits >> 32)};
}

}  // namespace tarn::platform
