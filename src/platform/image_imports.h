// Routines of the system that program images import and the library itself does not
// call. Windows brings them; these are the host's, with Windows' names, meaning and
// errors. What else an image may import is in platform.h; the list of all is
// posix/system_library/system_exports.inc.
#pragma once

#include "platform/platform.h"
#include "platform/unwind_records.h"

namespace tarn::platform {

// AllocateBlock with flags: 0, or 0x40 for zero fill.
TARNAPI void* GlobalAlloc(std::uint32_t flags, std::uint64_t size);

// ---- Threads ------------------------------------------------------------------

// Slots in which each thread keeps a pointer of its own: null in every thread at
// first. TlsAlloc returns a new slot, or 0xFFFFFFFF if the system has no more.
TARNAPI std::uint32_t TlsAlloc();
TARNAPI Bool TlsFree(std::uint32_t slot);
TARNAPI void* TlsGetValue(std::uint32_t slot);
TARNAPI Bool TlsSetValue(std::uint32_t slot, void* value);

// A lock that its owner may enter again. Only `recursion` and `owner` are as on
// Windows; programs leave the members alone.
struct CriticalSection {
  void* debug;
  std::int32_t state;      // 0 free, 1 taken, 2 taken and waited for
  std::int32_t recursion;  // how often the owner has entered
  std::uint64_t owner;     // its thread's number, or 0
  void* semaphore;
  std::uint64_t spin;
};
static_assert(sizeof(CriticalSection) == 40);
TARNAPI void InitializeCriticalSection(CriticalSection* section);
TARNAPI Bool InitializeCriticalSectionAndSpinCount(CriticalSection* section, std::uint32_t spin);
TARNAPI Bool InitializeCriticalSectionEx(CriticalSection* section, std::uint32_t spin,
                                         std::uint32_t flags);
TARNAPI void EnterCriticalSection(CriticalSection* section);
TARNAPI Bool TryEnterCriticalSection(CriticalSection* section);
TARNAPI void LeaveCriticalSection(CriticalSection* section);
TARNAPI void DeleteCriticalSection(CriticalSection* section);

// A lock that one thread owns, or several share. Not to be entered again by who has it.
struct SharedLock {
  std::uint32_t state, unused;
};
TARNAPI void InitializeSRWLock(SharedLock* lock);
TARNAPI void AcquireSRWLockExclusive(SharedLock* lock);
TARNAPI void AcquireSRWLockShared(SharedLock* lock);
TARNAPI std::uint8_t TryAcquireSRWLockExclusive(SharedLock* lock);
TARNAPI std::uint8_t TryAcquireSRWLockShared(SharedLock* lock);
TARNAPI void ReleaseSRWLockExclusive(SharedLock* lock);
TARNAPI void ReleaseSRWLockShared(SharedLock* lock);

// The wait leaves the lock, and has it again when it returns: 0, with the error 1460, at the end
// of the time. It may also return without a wake. `flags` 1: the lock is shared.
struct ConditionVariable {
  std::uint32_t wakes, unused;
};
TARNAPI void InitializeConditionVariable(ConditionVariable* variable);
TARNAPI Bool SleepConditionVariableCS(ConditionVariable* variable, CriticalSection* section,
                                      std::uint32_t milliseconds);
TARNAPI Bool SleepConditionVariableSRW(ConditionVariable* variable, SharedLock* lock,
                                       std::uint32_t milliseconds, std::uint32_t flags);
TARNAPI void WakeConditionVariable(ConditionVariable* variable);
TARNAPI void WakeAllConditionVariable(ConditionVariable* variable);

// What is done once, and its context, a pointer with two low bits of 0. The others wait while
// one thread does it; with flag 2 each may do it, and the first to complete it wins. Flag 1
// of the beginning only asks; flag 4 of the completion: it has failed, and another does it.
struct SingleInitialisation {
  std::uint64_t word;
};
using OnceRoutine = Bool(TARNAPI*)(SingleInitialisation* once, void* parameter, void** context);
TARNAPI void InitOnceInitialize(SingleInitialisation* once);
TARNAPI Bool InitOnceBeginInitialize(SingleInitialisation* once, std::uint32_t flags, Bool* pending,
                                     void** context);
TARNAPI Bool InitOnceComplete(SingleInitialisation* once, std::uint32_t flags, void* context);
TARNAPI Bool InitOnceExecuteOnce(SingleInitialisation* once, OnceRoutine routine, void* parameter,
                                 void** context);

[[noreturn]] TARNAPI void ExitThread(std::uint32_t code);
// 259 while the thread runs.
TARNAPI Bool GetExitCodeThread(Handle thread, std::uint32_t* code);
// When it began and ended (0: not yet), and its time in the system and in programs.
TARNAPI Bool GetThreadTimes(Handle thread, FileTime* created, FileTime* ended, FileTime* kernel,
                            FileTime* user);
// As SetThreadPriority, of this process; at first 0x20, normal. 0 on failure.
TARNAPI Bool SetPriorityClass(Handle process, std::uint32_t priority);
TARNAPI std::uint32_t GetPriorityClass(Handle process);
// What SetThreadPriority has set, at first 0; kNoPriority on failure.
inline constexpr std::int32_t kNoPriority = 0x7FFFFFFF;
TARNAPI std::int32_t GetThreadPriority(Handle thread);

// Another handle of a running thread, with every access. The program's first thread is found
// by others once it has asked for a handle of itself.
TARNAPI Handle OpenThread(std::uint32_t access, Bool inherit, std::uint32_t id);

// Result: how often the thread was suspended before, or all bits set on failure. When
// it returns, the thread runs no more.
TARNAPI std::uint32_t SuspendThread(Handle thread);
// The registers of a thread, in the parts that ContextFlags names; of a thread that is
// not suspended, as they happen to be. A thread within a routine of the system or the
// library has the host's registers there, and those that are set for it while it waits
// for an object take effect as its wait ends.
TARNAPI Bool GetThreadContext(Handle thread, AMD_CONTEXT* context);
TARNAPI Bool SetThreadContext(Handle thread, const AMD_CONTEXT* context);

// ---- Events, semaphores, mutexes ----------------------------------------------------

TARNAPI Bool ResetEvent(Handle event);

// A count from 0 to `limit`, of which each wait takes 1. `name` is null.
TARNAPI Handle CreateSemaphoreA(const SecurityAttributes* security, std::int32_t count,
                                std::int32_t limit, const char* name);
// `before` may be null.
TARNAPI Bool ReleaseSemaphore(Handle semaphore, std::int32_t more, std::int32_t* before);

// A lock that its owner may take again, by waiting for it; who waits for one whose owner
// has ended gets it, with kWaitAbandoned added to the result. Without names: `name` is null.
TARNAPI Handle CreateMutexW(const SecurityAttributes* security, Bool owned, const char16_t* name);
TARNAPI Handle CreateMutexA(const SecurityAttributes* security, Bool owned, const char* name);
TARNAPI Handle CreateEventW(const SecurityAttributes* security, Bool manual_reset, Bool signalled,
                            const char16_t* name);
TARNAPI Bool ReleaseMutex(Handle mutex);
// The same with flags: of an event 1 for manual reset and 2 for signalled, of a mutex 1 for
// owned. `access` is every access whatever is asked.
TARNAPI Handle CreateEventExA(const SecurityAttributes* security, const char* name,
                              std::uint32_t flags, std::uint32_t access);
TARNAPI Handle CreateEventExW(const SecurityAttributes* security, const char16_t* name,
                              std::uint32_t flags, std::uint32_t access);
TARNAPI Handle CreateMutexExA(const SecurityAttributes* security, const char* name,
                              std::uint32_t flags, std::uint32_t access);
TARNAPI Handle CreateMutexExW(const SecurityAttributes* security, const char16_t* name,
                              std::uint32_t flags, std::uint32_t access);
TARNAPI Handle CreateSemaphoreW(const SecurityAttributes* security, std::int32_t count,
                                std::int32_t limit, const char16_t* name);
TARNAPI Handle CreateSemaphoreExA(const SecurityAttributes* security, std::int32_t count,
                                  std::int32_t limit, const char* name, std::uint32_t flags,
                                  std::uint32_t access);
TARNAPI Handle CreateSemaphoreExW(const SecurityAttributes* security, std::int32_t count,
                                  std::int32_t limit, const char16_t* name, std::uint32_t flags,
                                  std::uint32_t access);

// As WaitForSingleObject, WaitForMultipleObjects and Sleep. If `alertable`, calls that are
// queued for the calling thread, or come while it waits, run in their order unless what it
// waits for is there; they end the wait, with kWaitIoCompletion. SleepEx returns 0 at the end
// of the time.
inline constexpr std::uint32_t kWaitIoCompletion = 0xC0;
TARNAPI std::uint32_t WaitForSingleObjectEx(Handle object, std::uint32_t milliseconds,
                                            Bool alertable);
TARNAPI std::uint32_t WaitForMultipleObjectsEx(std::uint32_t count, const Handle* handles, Bool all,
                                               std::uint32_t milliseconds, Bool alertable);
TARNAPI std::uint32_t SleepEx(std::uint32_t milliseconds, Bool alertable);
// Whether another thread ran meanwhile.
TARNAPI Bool SwitchToThread();

// Queues a call for a thread: it runs in the thread's next alertable wait, or as the thread
// starts. 0 with kErrorGenFailure for a thread that has ended.
using QueuedRoutine = TARNAPI void (*)(std::uint64_t argument);
TARNAPI Bool QueueUserAPC(QueuedRoutine routine, Handle thread, std::uint64_t argument);

// The bounds of the calling thread's stack: its lowest byte, and the end.
TARNAPI void GetCurrentThreadStackLimits(std::uint64_t* low, std::uint64_t* high);

// ---- Libraries --------------------------------------------------------------------

// As LoadLibraryA. `file` is null; of the flags LOAD_WITH_ALTERED_SEARCH_PATH is known.
TARNAPI Module LoadLibraryExA(const char* name, Handle file, std::uint32_t flags);
TARNAPI Module LoadLibraryW(const char16_t* name);
TARNAPI Module LoadLibraryExW(const char16_t* name, Handle file, std::uint32_t flags);

// ---- The process ----------------------------------------------------------------

// What GetStdHandle returns from now on. `which` is a kStandard number.
TARNAPI Bool SetStdHandle(std::int32_t which, Handle handle);

// The environment as "NAME=value" strings, with an empty one at the end; null if
// there is no memory. FreeEnvironmentStringsA releases it.
TARNAPI char* GetEnvironmentStrings();
TARNAPI Bool FreeEnvironmentStringsA(char* strings);

// The processors that the process may use, and those that there are, one bit each.
TARNAPI Bool GetProcessAffinityMask(Handle process, std::uint64_t* usable, std::uint64_t* present);
TARNAPI Bool SetProcessAffinityMask(Handle process, std::uint64_t usable);

// The breakpoint instruction: without a debugger the program ends in a report.
TARNAPI void DebugBreak();
// Whether a debugger of the host traces the process. It does not take strings.
TARNAPI Bool IsDebuggerPresent();
TARNAPI void OutputDebugStringA(const char* string);
TARNAPI void OutputDebugStringW(const char16_t* string);
// Result: the mode before. No mode changes anything: there are no boxes of the system's.
TARNAPI std::uint32_t SetErrorMode(std::uint32_t mode);

// The first 56 bytes of a MemoryStatus, whose length it sets.
TARNAPI void GlobalMemoryStatus(void* status);

// Takes a handler of AddVectoredExceptionHandler out of the list; 0 if it is not there.
TARNAPI std::uint32_t RemoveVectoredExceptionHandler(void* handler);

// As those with an A at the end. The strings are for FreeEnvironmentStringsW.
TARNAPI std::uint32_t GetEnvironmentVariableW(const char16_t* name, char16_t* buffer,
                                              std::uint32_t size);
TARNAPI Bool SetEnvironmentVariableW(const char16_t* name, const char16_t* value);
TARNAPI char16_t* GetEnvironmentStringsW();
TARNAPI Bool FreeEnvironmentStringsW(char16_t* strings);
TARNAPI char16_t* GetCommandLineW();
// Of SHELL32.DLL: the arguments of a command line, in one block of LocalAlloc. Those of an empty
// line are the program's path. Null, with error 87, without a count.
TARNAPI char16_t** CommandLineToArgvW(const char16_t* line, std::int32_t* count);
// Of SHLWAPI.DLL: whether a path begins with neither a drive nor '\\'. One that begins with '/' is
// relative, as there.
TARNAPI Bool PathIsRelativeA(const char* path);
TARNAPI Bool PathIsRelativeW(const char16_t* path);
TARNAPI void GetStartupInfoW(StartupInfo* info);  // which has no texts
// CreateProcessA takes the flag 0x400, too: then `environment` is in UTF-16.
TARNAPI Bool CreateProcessW(const char16_t* application, char16_t* command_line,
                            const SecurityAttributes* process_security,
                            const SecurityAttributes* thread_security, Bool inherit_handles,
                            std::uint32_t flags, void* environment, const char16_t* directory,
                            const StartupInfo* startup, ProcessInformation* information);

// What GetVersionExA fills if `length` is 156.
struct ExtendedVersionInfo : VersionInfo {
  std::uint16_t service_pack_major, service_pack_minor, suites;
  std::uint8_t product, reserved;
};
static_assert(sizeof(ExtendedVersionInfo) == 156);

// As GetVersionExA: the major number in the low byte, the minor, and above them the build.
TARNAPI std::uint32_t GetVersion();

// As GetModuleHandleA, GetModuleFileNameA.
TARNAPI Module GetModuleHandleW(const char16_t* name);
TARNAPI std::uint32_t GetModuleFileNameW(Module module, char16_t* buffer, std::uint32_t size);

// As GetSystemInfo: images run on the machine's own processors.
TARNAPI void GetNativeSystemInfo(SystemInfo* info);
// The host has no such folders: 0, with the error 3.
TARNAPI std::uint32_t GetSystemDirectoryA(char* buffer, std::uint32_t size);
TARNAPI std::uint32_t GetSystemDirectoryW(char16_t* buffer, std::uint32_t size);
TARNAPI std::uint32_t GetWindowsDirectoryA(char* buffer, std::uint32_t size);
TARNAPI std::uint32_t GetWindowsDirectoryW(char16_t* buffer, std::uint32_t size);

// As FormatMessageA, which takes the flag 0x100 as well: then `buffer` is where the address
// of a new block goes, which LocalFree releases.
TARNAPI std::uint32_t FormatMessageW(std::uint32_t flags, const void* source, std::uint32_t code,
                                     std::uint32_t language, char16_t* buffer, std::uint32_t size,
                                     void* arguments);

// ---- Files ----------------------------------------------------------------------

// Another handle for the same open object: a file, an event, a semaphore, a thread, a
// process. Only within this process: both process handles are the current one's. `access` is that
// of the source whatever is asked.
inline constexpr std::uint32_t kDuplicateCloseSource = 1;
TARNAPI Bool DuplicateHandle(Handle from, Handle source, Handle to, Handle* copy,
                             std::uint32_t access, Bool inherits, std::uint32_t options);

// Whether it is an open handle; none is inherited or protected: 0.
TARNAPI Bool GetHandleInformation(Handle handle, std::uint32_t* flags);
// `mask` is 1, inheritance: a child has the handles that it is started with, in any case.
TARNAPI Bool SetHandleInformation(Handle handle, std::uint32_t mask, std::uint32_t flags);

// The file ends at its position.
TARNAPI Bool SetEndOfFile(Handle file);

// `level` is 0.
struct FileAttributeData {
  std::uint32_t attributes;
  FileTime created, accessed, written;
  std::uint32_t size_high, size_low;
};
static_assert(sizeof(FileAttributeData) == 36);
TARNAPI Bool GetFileAttributesExA(const char* path, std::uint32_t level, FileAttributeData* data);

struct FileInformation {
  std::uint32_t attributes;
  FileTime created, accessed, written;
  std::uint32_t volume, size_high, size_low, links, index_high, index_low;
};
static_assert(sizeof(FileInformation) == 52);
TARNAPI Bool GetFileInformationByHandle(Handle file, FileInformation* information);
// Each of the times may be null.
TARNAPI Bool GetFileTime(Handle file, FileTime* created, FileTime* accessed, FileTime* written);

// Of the requests to a file the host knows kControlSetSparse, which every file has there:
// what is skipped in writing takes no place on the disk.
inline constexpr std::uint32_t kControlSetSparse = 0x900C4;
TARNAPI Bool DeviceIoControl(Handle file, std::uint32_t control, void* in, std::uint32_t in_size,
                             void* out, std::uint32_t out_size, std::uint32_t* returned,
                             void* overlapped);

// Both ends of a new pipe. The others of the arguments are not read.
TARNAPI Bool CreatePipe(Handle* read_end, Handle* write_end, const SecurityAttributes* security,
                        std::uint32_t size);
// Copies at most `size` bytes that wait in the pipe, which stay there. `copied`, `waiting` and
// `left` may be null; `left` is 0, since pipes have no messages.
TARNAPI Bool PeekNamedPipe(Handle read_end, void* buffer, std::uint32_t size, std::uint32_t* copied,
                           std::uint32_t* waiting, std::uint32_t* left);

// Of the attributes the host keeps kAttributeReadOnly.
TARNAPI Bool SetFileAttributesA(const char* path, std::uint32_t attributes);

// `to` must not exist without kMoveReplaces; to another file system a file is moved
// with kMoveCopies only.
inline constexpr std::uint32_t kMoveReplaces = 1;
inline constexpr std::uint32_t kMoveCopies = 2;
TARNAPI Bool MoveFileExA(const char* from, const char* to, std::uint32_t flags);
// MoveFileExA with kMoveCopies.
TARNAPI Bool MoveFileA(const char* from, const char* to);
// With the times and the permissions; not onto a file that exists if `only_new`.
TARNAPI Bool CopyFileA(const char* from, const char* to, Bool only_new);
// `to`, which exists, becomes `from`; what it was becomes `backup`, if that is not null.
TARNAPI Bool ReplaceFileA(const char* to, const char* from, const char* backup, std::uint32_t flags,
                          void* exclude, void* reserved);
TARNAPI Bool ReplaceFileW(const char16_t* to, const char16_t* from, const char16_t* backup,
                          std::uint32_t flags, void* exclude, void* reserved);
TARNAPI Bool RemoveDirectoryA(const char* path);
// Another name for a file.
TARNAPI Bool CreateHardLinkA(const char* path, const char* existing, void* security);

// The absolute form of a path, which need not exist. Result: its length, or the size
// that is needed; 0 on failure. `*file_part`, if asked for, leads to its last name.
TARNAPI std::uint32_t GetFullPathNameA(const char* path, std::uint32_t size, char* buffer,
                                       char** file_part);
// The folder for temporary files, with a '\' at its end.
TARNAPI std::uint32_t GetTempPathA(std::uint32_t size, char* buffer);
// A name in the folder: three characters of the prefix, the low 16 bits of `unique` in
// hexadecimal, .tmp. With 0 it is the next that no file has, and an empty file has it then.
// Result: the number, or 0. The buffer has 260 bytes.
TARNAPI std::uint32_t GetTempFileNameA(const char* folder, const char* prefix, std::uint32_t unique,
                                       char* buffer);

// The size of the file system's unit in sectors, that of a sector in bytes, and how many
// units there are free and in all, no more than 2^31 - 1. Any of them may be null.
TARNAPI Bool GetDiskFreeSpaceA(const char* root, std::uint32_t* sectors, std::uint32_t* bytes,
                               std::uint32_t* free_clusters, std::uint32_t* clusters);
// The same in bytes, and without a limit.
TARNAPI Bool GetDiskFreeSpaceExA(const char* folder, std::uint64_t* free_to_caller,
                                 std::uint64_t* total, std::uint64_t* free);

// The size and the position in two halves; all bits set on failure, which is a right
// answer too if the last error is 0.
TARNAPI std::uint32_t GetFileSize(Handle file, std::uint32_t* high);
TARNAPI std::uint32_t SetFilePointer(Handle file, std::int32_t distance, std::int32_t* high,
                                     std::uint32_t origin);

// With such a record ReadFile and WriteFile begin at its offset, and leave the file's
// position after what they have transferred; at the end of the file a read fails.
struct Overlapped {
  std::uint64_t status, count;
  std::uint64_t offset;
  Handle event;  // set at the end, or null
};
static_assert(sizeof(Overlapped) == 32);

// Locks on parts of a file, which may lie beyond its end. Those of one handle exclude
// each other too; what is unlocked is exactly what was locked once. CloseHandle takes off
// the rest. LockFileEx waits unless bit 0 of `flags` is set; bit 1: exclusive. On the host
// they bind those who lock, not reads and writes, and for other processes an exclusive lock
// by a handle that cannot write is a shared one.
TARNAPI Bool LockFile(Handle file, std::uint32_t low, std::uint32_t high, std::uint32_t size_low,
                      std::uint32_t size_high);
TARNAPI Bool UnlockFile(Handle file, std::uint32_t low, std::uint32_t high, std::uint32_t size_low,
                        std::uint32_t size_high);
TARNAPI Bool LockFileEx(Handle file, std::uint32_t flags, std::uint32_t reserved,
                        std::uint32_t size_low, std::uint32_t size_high, Overlapped* place);
TARNAPI Bool UnlockFileEx(Handle file, std::uint32_t reserved, std::uint32_t size_low,
                          std::uint32_t size_high, Overlapped* place);

// A file in memory, or memory alone for invalid_handle(). A size of 0 is the file's; a
// greater one than the file's makes it longer. Without names: `name` is null. Views begin at
// multiples of 65,536, in the file and in memory; a file is not cut while a view of this
// process goes beyond.
TARNAPI Handle CreateFileMappingW(Handle file, const SecurityAttributes* security,
                                  std::uint32_t protection, std::uint32_t size_high,
                                  std::uint32_t size_low, const char16_t* name);
TARNAPI Handle CreateFileMappingA(Handle file, const SecurityAttributes* security,
                                  std::uint32_t protection, std::uint32_t size_high,
                                  std::uint32_t size_low, const char* name);
TARNAPI void* MapViewOfFile(Handle mapping, std::uint32_t access, std::uint32_t offset_high,
                            std::uint32_t offset_low, std::uint64_t size);
TARNAPI Bool UnmapViewOfFile(const void* address);
TARNAPI Bool FlushViewOfFile(const void* address, std::uint64_t size);

// With this attribute CreateFileA opens folders, too, for GetFileInformationByHandle.
inline constexpr std::uint32_t kOpenFolders = 0x02000000;  // FILE_FLAG_BACKUP_SEMANTICS

// As the routines with an A at the end, with names in UTF-16.
TARNAPI Handle CreateFileW(const char16_t* path, std::uint32_t access, std::uint32_t share,
                           void* security, std::uint32_t creation, std::uint32_t attributes,
                           Handle template_file);
TARNAPI Bool DeleteFileW(const char16_t* path);
TARNAPI Bool CreateDirectoryW(const char16_t* path, void* security);
TARNAPI Bool SetFileAttributesW(const char16_t* path, std::uint32_t attributes);
TARNAPI Bool CopyFileW(const char16_t* from, const char16_t* to, Bool only_new);
TARNAPI Bool MoveFileW(const char16_t* from, const char16_t* to);
TARNAPI Bool RemoveDirectoryW(const char16_t* path);
TARNAPI Bool MoveFileExW(const char16_t* from, const char16_t* to, std::uint32_t flags);
TARNAPI Bool CreateHardLinkW(const char16_t* path, const char16_t* existing, void* security);
TARNAPI std::uint32_t GetFileAttributesW(const char16_t* path);
TARNAPI Bool GetFileAttributesExW(const char16_t* path, std::uint32_t level,
                                  FileAttributeData* data);
TARNAPI Bool SetCurrentDirectoryW(const char16_t* path);
TARNAPI std::uint32_t GetFullPathNameW(const char16_t* path, std::uint32_t size, char16_t* buffer,
                                       char16_t** file_part);
TARNAPI std::uint32_t GetCurrentDirectoryW(std::uint32_t size, char16_t* buffer);
TARNAPI std::uint32_t GetTempPathW(std::uint32_t size, char16_t* buffer);
TARNAPI std::uint32_t GetTempFileNameW(const char16_t* folder, const char16_t* prefix,
                                       std::uint32_t unique, char16_t* buffer);
TARNAPI Bool GetDiskFreeSpaceW(const char16_t* root, std::uint32_t* sectors, std::uint32_t* bytes,
                               std::uint32_t* free_clusters, std::uint32_t* clusters);
TARNAPI Bool GetDiskFreeSpaceExW(const char16_t* folder, std::uint64_t* free_to_caller,
                                 std::uint64_t* total, std::uint64_t* free);
struct WideFindData {
  std::uint32_t attributes;
  FileTime created, accessed, written;
  std::uint32_t size_high, size_low, reserved0, reserved1;
  char16_t name[260];
  char16_t short_name[14];
};
static_assert(sizeof(WideFindData) == 592);
TARNAPI Handle FindFirstFileW(const char16_t* pattern, WideFindData* data);
TARNAPI Bool FindNextFileW(Handle find, WideFindData* data);

// ---- Characters -----------------------------------------------------------------

// Bytes of a code page, which is UTF-8, to and from UTF-16. `length` -1: up to the NUL,
// which is converted too. Result: units stored, or needed if `size` is 0; 0 on failure.
TARNAPI std::int32_t MultiByteToWideChar(std::uint32_t page, std::uint32_t flags, const char* bytes,
                                         std::int32_t length, char16_t* wide, std::int32_t size);
TARNAPI std::int32_t WideCharToMultiByte(std::uint32_t page, std::uint32_t flags,
                                         const char16_t* wide, std::int32_t length, char* bytes,
                                         std::int32_t size, const char* substitute,
                                         Bool* substituted);
// To a terminal, as UTF-8; another handle is refused.
TARNAPI Bool WriteConsoleW(Handle handle, const void* text, std::uint32_t length,
                           std::uint32_t* written, void* reserved);
// From a terminal, as ReadFile; another handle is refused. `size` and `*read` count characters.
TARNAPI Bool ReadConsoleA(Handle handle, void* text, std::uint32_t size, std::uint32_t* read,
                          void* control);
TARNAPI Bool ReadConsoleW(Handle handle, void* text, std::uint32_t size, std::uint32_t* read,
                          void* control);
TARNAPI std::uint32_t GetConsoleTitleW(char16_t* title, std::uint32_t size);
TARNAPI Bool SetConsoleTitleW(const char16_t* title);
// UTF-8 has no such bytes: 0.
TARNAPI Bool IsDBCSLeadByteEx(std::uint32_t page, std::uint8_t byte);
TARNAPI std::uint32_t GetACP();
// Of UTF-8, by its number or as the process's own; error 87 for another page.
struct CodePageFacts {
  std::uint32_t longest;  // bytes of a character
  std::uint8_t substitute[2], lead_bytes[12];
};
TARNAPI Bool GetCPInfo(std::uint32_t page, CodePageFacts* facts);
// Names of files are in that code page: 1.
TARNAPI Bool AreFileApisANSI();
// Strings up to their NUL; a null one has length 0. The others return `to`, and null
// if a string is null; lstrcpyn copies at most room - 1 characters and a NUL.
TARNAPI std::int32_t lstrlenA(const char* string);
TARNAPI std::int32_t lstrlenW(const char16_t* string);
TARNAPI char* lstrcpyA(char* to, const char* from);
TARNAPI char16_t* lstrcpyW(char16_t* to, const char16_t* from);
TARNAPI char* lstrcatA(char* to, const char* from);
TARNAPI char16_t* lstrcatW(char16_t* to, const char16_t* from);
TARNAPI char* lstrcpynA(char* to, const char* from, std::int32_t room);
TARNAPI char16_t* lstrcpynW(char16_t* to, const char16_t* from, std::int32_t room);

// ---- Console --------------------------------------------------------------------

// The first of the events that wait, without taking it. *count is 0 if there is none.
TARNAPI Bool PeekConsoleInputA(Handle input, InputRecord* records, std::uint32_t room,
                               std::uint32_t* count);
// As ReadConsoleInputA, with every character of UTF-16; one that is a pair yields two records.
TARNAPI Bool ReadConsoleInputW(Handle input, InputRecord* records, std::uint32_t room,
                               std::uint32_t* count);
// The code page of the bytes of ReadFile and WriteFile: UTF-8, and no other can be set.
TARNAPI std::uint32_t GetConsoleCP();
TARNAPI std::uint32_t GetConsoleOutputCP();
TARNAPI Bool SetConsoleCP(std::uint32_t page);
TARNAPI Bool SetConsoleOutputCP(std::uint32_t page);

// ---- Time -----------------------------------------------------------------------

TARNAPI void GetSystemTime(SystemTime* time);
TARNAPI Bool SystemTimeToFileTime(const SystemTime* broken, FileTime* time);
// A steady count of ten million a second.
TARNAPI Bool QueryPerformanceCounter(std::int64_t* count);
TARNAPI Bool QueryPerformanceFrequency(std::int64_t* per_second);
TARNAPI void GetSystemTimePreciseAsFileTime(FileTime* time);
// Sets the clock of the machine, as far as the user may.
TARNAPI Bool SetSystemTime(const SystemTime* time);
// In units of 100 ns what the clock gains in a step, and how long a step is. As the
// system that reports them by default, 15.625 ms and no adjustment.
TARNAPI Bool GetSystemTimeAdjustment(std::uint32_t* adjustment, std::uint32_t* step,
                                     Bool* disabled);
// Fills a TIME_ZONE_INFORMATION of 172 bytes: the zone's difference and names, and the days
// on which its clocks change in the year from now on. Result: 0 if they do not, 1 in
// standard time, 2 in summer time.
TARNAPI std::uint32_t GetTimeZoneInformation(void* zone);
TARNAPI std::uint32_t GetTickCount();
TARNAPI std::uint64_t GetTickCount64();
// Of the current process: when it began, and its time in the system and in programs.
TARNAPI Bool GetProcessTimes(Handle process, FileTime* created, FileTime* ended, FileTime* kernel,
                             FileTime* user);
struct MemoryCounters {
  std::uint32_t size, page_faults;
  std::uint64_t peak_working_set, working_set;  // bytes in memory
  std::uint64_t quotas[4];                      // 0
  std::uint64_t page_file, peak_page_file;      // private storage; the peak is not known
  std::uint64_t private_bytes;                  // set if the caller has room for it
};
static_assert(sizeof(MemoryCounters) == 80);
// Of the current process.
TARNAPI Bool K32GetProcessMemoryInfo(Handle process, MemoryCounters* counters, std::uint32_t size);
// Storage that stays in memory, as much as the system lets the process have.
TARNAPI Bool VirtualLock(void* address, std::uint64_t size);
TARNAPI Bool VirtualUnlock(void* address, std::uint64_t size);

// ---- Exceptions -------------------------------------------------------------------
// What compilers' run-times ask for to find handlers by the unwind data of images. A
// walk goes over the frames of images, of the library, and of handlers that run, up to
// the first frame of the thread; nothing of it faults, whatever the stack and the data
// hold.

struct DispatcherContext {
  std::uint64_t control_pc, image_base;
  FunctionRecord* function_entry;
  std::uint64_t establisher_frame, target_ip;
  AMD_CONTEXT* context;
  Routine language_handler;
  void* handler_data;
  void* history_table;
  std::uint32_t scope_index, fill;
};
static_assert(sizeof(DispatcherContext) == 80);
using LanguageHandler = std::int32_t(TARNAPI*)(ExceptionRecord*, std::uint64_t frame, AMD_CONTEXT*,
                                               DispatcherContext*);

// Calls the vectored handlers, then those of the frames from the caller's on, then the
// filter. Returns if one of them goes on; else the process ends with the code.
TARNAPI void RaiseException(std::uint32_t code, std::uint32_t flags, std::uint32_t count,
                            const std::uint64_t* parameters) asm("tarn_RaiseException");
// What an exception without a handler is passed to last; null: nothing. Result: what it
// was before.
TARNAPI VectoredHandler SetUnhandledExceptionFilter(VectoredHandler filter);

// Leaves the frames below `target_frame`, calling their handlers first, and goes on in that
// frame at `target_ip` with `result` in rax. `record` may be null; `original` and
// `history` are passed on to nobody.
TARNAPI void RtlUnwindEx(std::uint64_t target_frame, std::uint64_t target_ip,
                         ExceptionRecord* record, std::uint64_t result, AMD_CONTEXT* original,
                         void* history) asm("tarn_RtlUnwindEx");
// The registers as they are when the call returns.
TARNAPI void RtlCaptureContext(AMD_CONTEXT* context) asm("tarn_RtlCaptureContext");
// Goes on with them. `record` is not read.
[[noreturn]] TARNAPI void RtlRestoreContext(
    const AMD_CONTEXT* context, const ExceptionRecord* record) asm("tarn_RtlRestoreContext");

// The record of the routine that holds `address`, and the base of its image; null for
// code without a record. Code of the library has one and the same record.
TARNAPI FunctionRecord* RtlLookupFunctionEntry(std::uint64_t address, std::uint64_t* base,
                                               void* history);
// Makes `context` that of the caller. Result: the routine's handler if it has one of the
// `kinds`. A caller that is not found has an Rip of 0. `pointers` is not read.
TARNAPI Routine RtlVirtualUnwind(std::uint32_t kinds, std::uint64_t base, std::uint64_t address,
                                 FunctionRecord* entry, AMD_CONTEXT* context, void** handler_data,
                                 std::uint64_t* frame, void* pointers);
// The handler of routines with tables of filters and of blocks that run in any case.
TARNAPI std::int32_t __C_specific_handler(ExceptionRecord* record, std::uint64_t frame,
                                          AMD_CONTEXT* context, DispatcherContext* dispatcher);

// ---- Console ----------------------------------------------------------------------

// The attributes of the text that is printed from now on; at the end of the process they
// are as they were.
TARNAPI Bool SetConsoleTextAttribute(Handle screen, std::uint16_t attributes);

// ---- The locale -------------------------------------------------------------------

// English of the United States, 0x409, is the only one.
TARNAPI std::uint32_t GetThreadLocale();
// Its names and signs. Result: the bytes of the text, NUL included, which are not stored if
// `size` is 0; or 0, with error 87 for another locale, 1004 for another fact, 122 without room.
TARNAPI std::int32_t GetLocaleInfoA(std::uint32_t locale, std::uint32_t fact, char* text,
                                    std::int32_t size);
// Calls the routine with "00000409".
TARNAPI Bool EnumSystemLocalesA(Bool(TARNAPI* routine)(char* number), std::uint32_t flags);

// ---- The machine ------------------------------------------------------------------

// Random bytes, from BCRYPT.DLL. `algorithm` is null and `flags` 2, which stands for the system's
// preferred one. Result: 0 or an NTSTATUS.
TARNAPI std::uint32_t BCryptGenRandom(void* algorithm, void* buffer, std::uint32_t length,
                                      std::uint32_t flags);

// The same from ADVAPI32.DLL, in three steps. Contexts have no keys: `flags` contain 0xF0000000,
// CRYPT_VERIFYCONTEXT, or the error is 0x80090016.
TARNAPI Bool CryptAcquireContextA(std::uint64_t* context, const char* container,
                                  const char* provider, std::uint32_t type, std::uint32_t flags);
TARNAPI Bool CryptGenRandom(std::uint64_t context, std::uint32_t length, void* buffer);
TARNAPI Bool CryptReleaseContext(std::uint64_t context, std::uint32_t flags);

// The machine's name in capitals, at most 15 bytes of it. `*size`: that of the buffer,
// then the name's length, or with error 111 the size that is needed.
TARNAPI Bool GetComputerNameA(char* name, std::uint32_t* size);

// ---- Memory -----------------------------------------------------------------------

struct MemoryInformation {
  void* base;
  void* allocation_base;
  std::uint32_t allocation_protection;
  std::uint32_t partition;
  std::uint64_t size;
  std::uint32_t state, protection, type, padding;
};
static_assert(sizeof(MemoryInformation) == 48);
// The pages from `address` on that are alike. Result: bytes stored, or 0.
TARNAPI std::uint64_t VirtualQuery(const void* address, MemoryInformation* information,
                                   std::uint64_t size);

// Heaps of the program's own; GetProcessHeap's is one too. Of the flags of HeapCreate bit
// 0 is known; `most` bytes may be allocated, any number if it is 0. HeapSize is what was
// asked for, of the process's heap at least that. HeapReAlloc: with bit 4 in place or not
// at all. HeapCompact finds nothing to do.
TARNAPI Handle HeapCreate(std::uint32_t flags, std::uint64_t initial, std::uint64_t most);
TARNAPI Bool HeapDestroy(Handle heap);
TARNAPI Bool HeapFree(Handle heap, std::uint32_t flags, void* block);
TARNAPI void* HeapReAlloc(Handle heap, std::uint32_t flags, void* block, std::uint64_t size);
TARNAPI std::uint64_t HeapSize(Handle heap, std::uint32_t flags, void* block);
TARNAPI Bool HeapValidate(Handle heap, std::uint32_t flags, void* block);
TARNAPI std::uint64_t HeapCompact(Handle heap, std::uint32_t flags);
TARNAPI void* LocalAlloc(std::uint32_t flags, std::uint64_t size);
TARNAPI void* LocalFree(void* block);

}  // namespace tarn::platform
