// What the files of this back end share: failures, paths, the table of
// handles, and the terminal's state. Nothing outside this folder includes it.
#pragma once

#include <setjmp.h>
#include <time.h>

#include <cstddef>

#include "platform/platform.h"

namespace tarn::platform {

// ---- Failures ---------------------------------------------------------------

// Windows codes of this back end alone, beside those of platform.h.
inline constexpr std::uint32_t kErrorInvalidFunction = 1;
inline constexpr std::uint32_t kErrorNotSupported = 50;
inline constexpr std::uint32_t kErrorInvalidName = 123;
inline constexpr std::uint32_t kErrorNegativeSeek = 131;
inline constexpr std::uint32_t kErrorFileNameTooLong = 206;
inline constexpr std::uint32_t kErrorDirectory = 267;
inline constexpr std::uint32_t kErrorMessageNotFound = 317;
inline constexpr std::uint32_t kErrorInvalidAddress = 487;
inline constexpr std::uint32_t kErrorIoDevice = 1117;

// The Windows code for a value of errno.
std::uint32_t windows_code(int error);

// Set the thread's last error and give 0.
Status fail(std::uint32_t code);
Status fail_by_errno();

// As fail_by_errno, for an operation on `host_path`: where the object is
// missing, tells a missing file from a missing folder on the way to it.
Status fail_on_path(const char* host_path);

// ---- Paths ------------------------------------------------------------------

// Room for the longest path of the host, NUL included.
inline constexpr std::size_t kPathSize = 4096;

// Turns a path of the caller's into one of the host's: drive "Z:" taken off,
// '/' between the names, "." and ".." resolved by name as Windows does it, a
// '/' at the end kept, blanks and dots at the end dropped (and one dot at the
// end of a folder's name) unless the path begins with "\\?\". A name that is not
// there is replaced by one that differs in case alone, if there is one. False,
// with the last error, for an empty path, another drive, a share of another
// machine, a device, a character that no name has ('*', '?', '<', '>', '|', '"',
// a second ':') and a path that is too long.
bool to_host_path(const char* path, char (&host)[kPathSize]);

// The same for a search pattern, whose last name may have '*' and '?' and is
// left as it is.
bool to_host_pattern(const char* pattern, char (&host)[kPathSize]);

// The text alone, for a path that will be looked for in several folders; then
// what looks for each name in any case.
bool translate_path(const char* path, char (&host)[kPathSize]);
void match_names(char (&host)[kPathSize]);

// A character of a name in UTF-8, as a capital; steps over it. A byte that
// belongs to none counts as one by itself.
std::uint32_t take_capital(const char** text);

// Below, at or above 0, by capitals.
int compare_in_any_case(const char* a, const char* b);

// A name that stands for a device in every folder that is there, whatever
// comes after a dot or colon in it.
enum class DeviceSide { kByAccess, kInput, kScreen };
struct Device {
  const char* name;
  const char* host;  // null: the host has none
  DeviceSide side;
};
// The device that the path names, or null.
const Device* find_device(const char* path);

// Turns an absolute path of the host's into "Z:\..." form. Result: its length
// without the NUL; `buffer` holds it whole, or is left alone if it is too small.
std::size_t from_host_path(const char* host, char* buffer, std::size_t size);

inline constexpr std::uint32_t kAttributeArchive = 0x20;  // of a plain file, and of a device

// The attributes of a file with this st_mode: read-only if nobody may write it.
std::uint32_t attributes_of(std::uint32_t mode);

// ---- Writing ------------------------------------------------------------------

// Before a write or a change of a file's size: a pipe without readers and the
// limit on file size then refuse it, and their signals don't end the process.
void survive_refused_writes();

// ---- Handles ----------------------------------------------------------------

enum class HandleKind : std::uint32_t {
  kFree,
  kFile,
  kFind,
  kKey,
  kEvent,
  kThread,
  kProcess,
  kSnapshot
};

// One open object. A file has its descriptor and what the opener asked for; a
// find has a descriptor, of its folder, and a record; the others have a record.
struct OpenObject {
  HandleKind kind;
  int descriptor;
  bool readable, writable;
  bool screen;  // of a terminal: its output side
  void* record;
  bool code_page = false;  // opened as the console's screen: its bytes are characters of that
};

// The first three objects are the standard handles on descriptors 0 to 2.
inline constexpr std::uint32_t kStandardHandles = 3;
inline constexpr std::uint32_t kMaxHandles = 8192;

Handle standard_handle(std::uint32_t descriptor);

// The descriptor, moved if it has the number of a standard handle: those stay
// theirs, also while they are closed. -1, with errno, on failure.
int keep_off_standard(int descriptor);

// Null, with the last error, if there are too many.
Handle add_handle(const OpenObject& object);

// The object behind a handle; null, with the last error, if it is not an open
// one of that kind. Takes no lock.
const OpenObject* find_handle(Handle handle, HandleKind kind);

// Takes the handle out of the table and gives what it stood for; kind kFree,
// with the last error, if it is not an open one of that kind.
OpenObject remove_handle(Handle handle, HandleKind kind);

// What CloseHandle and WaitForSingleObject do for a kind; its row in handles.cpp
// names its own. Each finds its object by the handle, which may have gone since
// the kind was looked at; `wait` gives the result of WaitForSingleObject. Null
// where the kind has no such operation: the handle is then no valid one for it.
struct KindOperations {
  Status (*close)(Handle handle);
  std::uint32_t (*wait)(Handle handle, std::uint32_t milliseconds);
};
Status close_file(Handle handle);
Status close_event(Handle handle);
std::uint32_t wait_for_event(Handle handle, std::uint32_t milliseconds);
Status close_thread(Handle handle);
std::uint32_t wait_for_thread(Handle handle, std::uint32_t milliseconds);
Status close_process(Handle handle);
std::uint32_t wait_for_process(Handle handle, std::uint32_t milliseconds);
Status close_snapshot(Handle handle);

// ---- Exit codes ---------------------------------------------------------------

// What the host keeps of an exit code: the low 8 bits, but never 0 for another
// code, which would hide a failure.
std::uint8_t host_status(std::uint32_t code);

// Sends the whole code to the process that started this one, if it is one of
// this back end.
void send_exit_code(std::uint32_t code);

// ---- Time -------------------------------------------------------------------

// So many milliseconds from now, by CLOCK_MONOTONIC.
timespec deadline_after(std::uint32_t milliseconds);

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

// ---- Terminal ---------------------------------------------------------------

// Puts a terminal whose mode was changed back as it was found, and finishes the
// screen kept of it. May be called in a signal handler, and more than once.
void restore_terminal();

// ---- Stack --------------------------------------------------------------------

// The lowest address of the stack on which the program runs: a fault in the
// guard below it is its overflow. By default that of the first thread.
void set_stack_low(const void* low);

// For the start of a thread that runs the program's code: what Windows begins one
// with, instead of what its maker has at that moment. SSE with all exceptions
// masked, x87 with 53 bits.
void set_initial_modes();

// ---- Faults ---------------------------------------------------------------------

// Until it is set back to null, a fault of this thread leads to this place
// (sigsetjmp without the mask) and to no handler.
void set_fault_escape(sigjmp_buf* escape);

}  // namespace tarn::platform
