// The operations the library may ask of a system, and nothing else.
//
// Each has the name, the arguments and the meaning of the Windows service of
// that name; the comments state what the callers here rely on. There are two
// back ends: platform/windows forwards to the system, platform/posix does the
// same on Linux. Nothing outside platform/ asks which system it is on.
//
// Rules for both back ends: records have the Windows layout; a failure leaves
// its Windows code for GetLastError of the calling thread; strings are bytes
// and NUL-terminated; every operation may be called on any thread unless its
// comment says otherwise.
//
// Paths: a path may use '\' or '/', and begin with a drive. On the host the
// drive "Z:" is the root of the file system (as Wine maps it), paths are
// returned in the form "Z:\dir\file", and a name that does not exist as written
// is looked for in any case.
#pragma once

#include "platform/abi.h"
#include "platform/exception_codes.h"

namespace tarn::platform {

using Handle = void*;       // kernel object
using Module = void*;       // load address of an image
using Bool = std::int32_t;  // 0: false

inline Handle invalid_handle() { return reinterpret_cast<Handle>(~std::uintptr_t{0}); }

// ---- Error codes that callers compare or tests expect -------------------
inline constexpr std::uint32_t kErrorFileNotFound = 2;
inline constexpr std::uint32_t kErrorPathNotFound = 3;
inline constexpr std::uint32_t kErrorTooManyOpenFiles = 4;
inline constexpr std::uint32_t kErrorAccessDenied = 5;
inline constexpr std::uint32_t kErrorInvalidHandle = 6;
inline constexpr std::uint32_t kErrorNotEnoughMemory = 8;
inline constexpr std::uint32_t kErrorNoMoreFiles = 18;
inline constexpr std::uint32_t kErrorSharingViolation = 32;
inline constexpr std::uint32_t kErrorFileExists = 80;
inline constexpr std::uint32_t kErrorInvalidParameter = 87;
inline constexpr std::uint32_t kErrorBrokenPipe = 109;
inline constexpr std::uint32_t kErrorDiskFull = 112;
inline constexpr std::uint32_t kErrorInsufficientBuffer = 122;
inline constexpr std::uint32_t kErrorModuleNotFound = 126;
inline constexpr std::uint32_t kErrorProcedureNotFound = 127;
inline constexpr std::uint32_t kErrorAlreadyExists = 183;
inline constexpr std::uint32_t kErrorBadExeFormat = 193;
inline constexpr std::uint32_t kErrorEnvironmentVariableNotFound = 203;
inline constexpr std::uint32_t kErrorNoData = 232;  // a pipe whose reader is gone
inline constexpr std::uint32_t kErrorPipeNotConnected = 233;
inline constexpr std::uint32_t kErrorMoreData = 234;
inline constexpr std::uint32_t kErrorStoppedOnLink = 681;
inline constexpr std::uint32_t kErrorNoAccess = 998;

// The calling thread's last failure.
TARNAPI std::uint32_t GetLastError();
TARNAPI void SetLastError(std::uint32_t code);

// Stores the system's message for `code`; `flags` 0x1200 (from the system,
// ignore inserts). Result: the number of characters without the NUL, 0 on
// failure. The wording is the system's own.
TARNAPI std::uint32_t FormatMessageA(std::uint32_t flags, const void* source, std::uint32_t code,
                                     std::uint32_t language, char* buffer, std::uint32_t size,
                                     void* arguments);

// ---- Memory ---------------------------------------------------------------
// Fixed memory, aligned to 16 bytes. Null on failure. A size of 0 returns a valid
// block.
TARNAPI void* AllocateBlock(std::uint64_t size);
// Null on success. What is not a block, or no longer one, is returned, with
// kErrorInvalidHandle: always on the host, on Windows where its heap notices.
TARNAPI void* GlobalFree(void* block);
// Passes what GlobalFree would return to `refused`, which may not return.
using BlockRefusal = TARNAPI void(const void* block, std::int32_t error);
TARNAPI void FreeBlock(void* block, std::int32_t error, BlockRefusal* refused);
// Usable size of the block in bytes, at least what was asked for; 0 on the same
// failure.
TARNAPI std::uint64_t GlobalSize(void* block);
// Whether the address lies within an allocated block, after its beginning.
// Searches the heap: only for use after a failure.
TARNAPI bool IsInsideHeapBlock(const void* address);

TARNAPI Handle GetProcessHeap();
inline constexpr std::uint32_t kHeapZeroMemory = 8;
TARNAPI void* HeapAlloc(Handle heap, std::uint32_t flags, std::uint64_t size);

inline constexpr std::uint32_t kMemCommit = 0x1000;
inline constexpr std::uint32_t kMemReserve = 0x2000;
inline constexpr std::uint32_t kMemDecommit = 0x4000;
inline constexpr std::uint32_t kMemRelease = 0x8000;
inline constexpr std::uint32_t kPageNoAccess = 0x01;
inline constexpr std::uint32_t kPageReadOnly = 0x02;
inline constexpr std::uint32_t kPageReadWrite = 0x04;
inline constexpr std::uint32_t kPageExecuteRead = 0x20;
inline constexpr std::uint32_t kPageExecuteReadWrite = 0x40;
// Reserves and commits address space by pages of 4,096 bytes; reservations
// begin on 64 kB. Reserved pages fault, committed ones are zero at first.
TARNAPI void* VirtualAlloc(void* address, std::uint64_t size, std::uint32_t type,
                           std::uint32_t protection);
// Decommits pages (their contents are lost) or, with size 0, releases the whole
// reservation that begins at `address`.
TARNAPI Bool VirtualFree(void* address, std::uint64_t size, std::uint32_t type);
TARNAPI Bool VirtualProtect(void* address, std::uint64_t size, std::uint32_t protection,
                            std::uint32_t* old_protection);

struct MemoryStatus {
  std::uint32_t length;  // set to 64 by the caller
  std::uint32_t load_percent;
  std::uint64_t total_physical, available_physical;
  std::uint64_t total_page_file, available_page_file;
  std::uint64_t total_virtual, available_virtual, available_extended_virtual;
};
static_assert(sizeof(MemoryStatus) == 64);
TARNAPI Bool GlobalMemoryStatusEx(MemoryStatus* status);

struct SystemInfo {
  std::uint16_t architecture, reserved;
  std::uint32_t page_size;
  void* lowest_address;
  void* highest_address;
  std::uint64_t active_processors;
  std::uint32_t processor_count, processor_type, allocation_granularity;
  std::uint16_t processor_level, processor_revision;
};
static_assert(sizeof(SystemInfo) == 48);
TARNAPI void GetSystemInfo(SystemInfo* info);

// What the instruction CPUID says of its leaf 1 or 7 (subleaf 0). On Linux leaf 1 is asked once:
// the instruction is a trap where the machine is a virtual one.
struct ProcessorLeaf {
  std::uint32_t eax, ebx, ecx, edx;
};
ProcessorLeaf processor_leaf(std::uint32_t leaf);

// Copies `size` bytes of a process's memory; 0 when not all are readable.
// Never faults. `process` is GetCurrentProcess() or all bits set.
TARNAPI Bool ReadProcessMemory(Handle process, const void* source, void* destination,
                               std::uint64_t size, std::uint64_t* copied);

// Memory of at least `size` bytes that all processes of one run share: this
// process, and those that inherit its environment after the first call. An
// environment variable names the run; once it is removed, the next call begins
// another run, and memory of the earlier one stays where it is. The memory is
// zero when new, and the system frees it when the last process of the run ends,
// however it ends. A name has one address in a process, and keeps the size of
// its first call, in whole pages. Null on failure: a name that does not have 1
// to 63 bytes or has a '\', a size outside 1 to 2^30, more than 32 names, or a
// size beyond that of the first call. For one thread at a time. An access after
// the last page faults.
inline constexpr char kRunMemoryVariable[] = "tarn_run_memory";
inline constexpr std::uint32_t kRunMemoryNames = 32;
inline constexpr std::uint32_t kRunMemoryNameSize = 64;
inline constexpr std::uint64_t kRunMemoryLimit = std::uint64_t{1} << 30;
TARNAPI void* OpenRunSharedMemory(const char* name, std::uint64_t size);
// Whether two values of that variable name one run.
bool name_one_run(const char* value, const char* other);

// ---- Process --------------------------------------------------------------
// Ends the process at once; nothing is flushed.
[[noreturn]] TARNAPI void ExitProcess(std::uint32_t code);
TARNAPI Handle GetCurrentProcess();
TARNAPI std::uint32_t GetCurrentProcessId();
// The whole command line, program name first. Lives as long as the process.
TARNAPI char* GetCommandLineA();

inline constexpr std::uint32_t kStartUseShowWindow = 1;
inline constexpr std::uint32_t kStartUseStdHandles = 0x100;
struct StartupInfo {
  std::uint32_t length;
  char *reserved, *desktop, *title;
  std::uint32_t x, y, x_size, y_size, x_count_chars, y_count_chars, fill_attribute, flags;
  std::uint16_t show_window, reserved2_length;
  std::uint8_t* reserved2;
  Handle standard_input, standard_output, standard_error;
};
static_assert(sizeof(StartupInfo) == 104);
TARNAPI void GetStartupInfoA(StartupInfo* info);

// The published numbers of the standard handles.
inline constexpr std::int32_t kStandardInput = -10;
inline constexpr std::int32_t kStandardOutput = -11;
inline constexpr std::int32_t kStandardError = -12;
TARNAPI Handle GetStdHandle(std::int32_t which);

// Characters without the NUL; 0 if absent; the size needed, NUL included, if
// the buffer is too small (the buffer is then left alone).
TARNAPI std::uint32_t GetEnvironmentVariableA(const char* name, char* buffer, std::uint32_t size);
// A null value removes the variable. Children inherit the change.
TARNAPI Bool SetEnvironmentVariableA(const char* name, const char* value);

// Fills the buffer with random bytes that nobody can foretell. 0 if the system has none.
// Its published name is RtlGenRandom.
TARNAPI std::uint8_t SystemFunction036(void* buffer, std::uint32_t length);

struct VersionInfo {
  std::uint32_t length;  // set to 148 by the caller
  std::uint32_t major, minor, build, platform_id;
  char service_pack[128];
};
static_assert(sizeof(VersionInfo) == 148);
// The host reports the version of Windows whose behaviour it follows.
TARNAPI Bool GetVersionExA(VersionInfo* info);

// ---- Modules --------------------------------------------------------------
// Null name: the process's main image. Names are matched without case, by
// base name; ".DLL" is added to a name without an extension.
TARNAPI Module GetModuleHandleA(const char* name);
// Flag 4: `name` is an address inside the module wanted.
inline constexpr std::uint32_t kModuleFromAddress = 4;
TARNAPI Bool GetModuleHandleExW(std::uint32_t flags, const void* name, Module* module);
TARNAPI Bool GetModuleHandleExA(std::uint32_t flags, const void* name, Module* module);
TARNAPI Module LoadLibraryA(const char* name);
TARNAPI Bool FreeLibrary(Module module);
TARNAPI void* GetProcAddress(Module module, const char* name);
// Full path; null module: the main image. Characters stored without the NUL;
// `size` if the path was cut.
TARNAPI std::uint32_t GetModuleFileNameA(Module module, char* buffer, std::uint32_t size);
// Stores the load addresses of the process's modules, the main image's first, as many as
// `size` bytes have room for; `needed`: the bytes of all.
TARNAPI Bool EnumProcessModules(Handle process, Module* modules, std::uint32_t size,
                                std::uint32_t* needed);
TARNAPI std::uint32_t GetModuleBaseNameA(Handle process, Module module, char* buffer,
                                         std::uint32_t size);
// Searches for a file as the system does for programs: in the program's folder,
// the current folder, the system's folders, PATH. Result: characters stored
// without the NUL; 0 if not found; the size needed if the buffer is too small.
TARNAPI std::uint32_t SearchPathA(const char* path, const char* name, const char* extension,
                                  std::uint32_t size, char* buffer, char** file_part);

// ---- Files ----------------------------------------------------------------
inline constexpr std::uint32_t kGenericRead = 0x80000000;
inline constexpr std::uint32_t kGenericWrite = 0x40000000;
inline constexpr std::uint32_t kCreateNew = 1;
inline constexpr std::uint32_t kCreateAlways = 2;
inline constexpr std::uint32_t kOpenExisting = 3;
inline constexpr std::uint32_t kOpenAlways = 4;
inline constexpr std::uint32_t kTruncateExisting = 5;
inline constexpr std::uint32_t kShareRead = 1;
inline constexpr std::uint32_t kShareWrite = 2;
// In `attributes`: a link at the end of the path is not followed. The host then refuses it
// (kErrorStoppedOnLink); on Windows the link itself is opened.
inline constexpr std::uint32_t kOpenReparsePoint = 0x00200000;
// invalid_handle() on failure. Share mode 0 holds the file for this opener
// alone: a second opener fails with kErrorSharingViolation, in this process or
// another. On the host a reader can hold it only against programs of the same
// user. A refused open changes nothing: create-always truncates only after the
// file is held.
TARNAPI Handle CreateFileA(const char* path, std::uint32_t access, std::uint32_t share,
                           void* security, std::uint32_t creation, std::uint32_t attributes,
                           Handle template_file);
TARNAPI Bool CloseHandle(Handle handle);
// Reads what is there, up to `size`; 0 bytes and true at the end of a file. A
// line that a user typed ends in 13, 10.
TARNAPI Bool ReadFile(Handle file, void* buffer, std::uint32_t size, std::uint32_t* delivered,
                      void* overlapped);
TARNAPI Bool WriteFile(Handle file, const void* buffer, std::uint32_t size, std::uint32_t* written,
                       void* overlapped);
// origin: 0 begin, 1 current, 2 end. A position before the start is refused.
TARNAPI Bool SetFilePointerEx(Handle file, std::int64_t distance, std::int64_t* position,
                              std::uint32_t origin);
TARNAPI Bool GetFileSizeEx(Handle file, std::int64_t* size);
// What the handle is open for; kFileTypeUnknown with the last error for none.
enum FileType : std::uint32_t {
  kFileTypeUnknown,
  kFileTypeDisk,
  kFileTypeCharacter,
  kFileTypePipe
};
TARNAPI std::uint32_t GetFileType(Handle file);
TARNAPI Bool FlushFileBuffers(Handle file);
inline constexpr std::uint32_t kInvalidAttributes = 0xFFFFFFFF;
inline constexpr std::uint32_t kAttributeReadOnly = 0x01;
inline constexpr std::uint32_t kAttributeDirectory = 0x10;
inline constexpr std::uint32_t kAttributeNormal = 0x80;
TARNAPI std::uint32_t GetFileAttributesA(const char* path);
TARNAPI Bool DeleteFileA(const char* path);
TARNAPI Bool CreateDirectoryA(const char* path, void* security);
TARNAPI Bool SetCurrentDirectoryA(const char* path);
// Characters without the NUL, or the size needed if the buffer is too small.
TARNAPI std::uint32_t GetCurrentDirectoryA(std::uint32_t size, char* buffer);
// The drives that exist: bit 0 is A. The host has drive Z alone.
TARNAPI std::uint32_t GetLogicalDrives();
// 1 no such root, 2 removable, 3 fixed, 4 remote, 5 CD, 6 in memory.
TARNAPI std::uint32_t GetDriveTypeA(const char* root);

struct FileTime {  // units of 100 ns since 1601-01-01 UTC
  std::uint32_t low, high;
};
struct FindData {
  std::uint32_t attributes;
  FileTime created, accessed, written;
  std::uint32_t size_high, size_low, reserved0, reserved1;
  char name[260];
  char short_name[14];
  std::uint16_t padding;
};
static_assert(sizeof(FindData) == 320);
// The last component may hold '*' and '?'; matched without case.
TARNAPI Handle FindFirstFileA(const char* pattern, FindData* data);
TARNAPI Bool FindNextFileA(Handle find, FindData* data);
TARNAPI Bool FindClose(Handle find);

// Succeeds only if `handle` is a console or terminal. The mode bits are those
// of Windows: input 1 processed, 2 line, 4 echo.
TARNAPI Bool GetConsoleMode(Handle handle, std::uint32_t* mode);
TARNAPI Bool SetConsoleMode(Handle handle, std::uint32_t mode);

// ---- Console cells ----------------------------------------------------------
// A screen is a grid of cells. A cell's character is one byte of the console's
// OEM code page (437 on the host); its attribute has the foreground in bits 0
// to 3 and the background in bits 4 to 7. Coordinates count from 0.
//
// On the host a standard output or error that is a terminal, and "CONOUT$", is a
// screen: its buffer is kept here, as large as the terminal's window was when it
// was first looked at, and drawn with the terminal's own sequences; attribute 7
// and a black background are the terminal's own colours. A terminal that has no cells
// to address (TERM missing, "dumb" or "unknown", or a window of unknown size) is
// no console, and programs print plain text on it; with NO_COLOR set, cells are
// drawn without colours. At the end of the process the terminal is as it was,
// with the cursor on a fresh line below the output.
//
// There are cells for one terminal at a time. Text that WriteFile writes to it
// moves the kept cursor as it moves the terminal's. All operations return false
// if the handle is no console.
struct Coord {
  std::int16_t x, y;
};
struct SmallRect {
  std::int16_t left, top, right, bottom;  // all inclusive
};
struct ScreenBufferInfo {
  Coord size, cursor;
  std::uint16_t attributes;
  SmallRect window;
  Coord largest_window;
};
static_assert(sizeof(ScreenBufferInfo) == 22);
struct CharInfo {
  std::uint8_t character, unused;  // `unused` is 0
  std::uint16_t attributes;
};
static_assert(sizeof(CharInfo) == 4);
struct ConsoleCursorInfo {
  std::uint32_t size;  // of the cell's height, 1 to 100 percent
  Bool visible;
};
inline constexpr std::uint16_t kKeyEvent = 1;
struct InputRecord {
  std::uint16_t event_type, padding;
  Bool key_down;
  std::uint16_t repeat_count, virtual_key_code, virtual_scan_code;
  std::uint8_t character, character_high;
  std::uint32_t control_key_state;
};
static_assert(sizeof(InputRecord) == 20);

// On the host the first call for a terminal, which is that of start-up, leaves
// it alone and reports the cursor as (0, 0); from the second call on the
// terminal is asked where the cursor is, if necessary.
TARNAPI Bool GetConsoleScreenBufferInfo(Handle screen, ScreenBufferInfo* info);
// Columns and rows of the window as it is now; where the cursor is does not
// matter.
TARNAPI Bool GetConsoleWindowSize(Handle screen, Coord* size);
// With 1, drawing by the operations on cells may be put off; it is sent in one
// piece by a call with 0, before a wait for a key, or at the end of the
// process. Windows shows everything at once.
TARNAPI void HoldConsoleOutput(Bool hold);
TARNAPI Bool GetConsoleCursorInfo(Handle screen, ConsoleCursorInfo* info);
TARNAPI Bool SetConsoleCursorInfo(Handle screen, const ConsoleCursorInfo* info);
// False for a place outside the buffer.
TARNAPI Bool SetConsoleCursorPosition(Handle screen, Coord place);
// Copy between a buffer of `size` cells and the screen. `from` is the cell of
// the buffer that corresponds to the region's top left. The region is clipped
// at the edges of both; afterwards it is the part that was copied.
TARNAPI Bool ReadConsoleOutputA(Handle screen, CharInfo* cells, Coord size, Coord from,
                                SmallRect* region);
TARNAPI Bool WriteConsoleOutputA(Handle screen, const CharInfo* cells, Coord size, Coord from,
                                 SmallRect* region);
// Writes at the console's own cursor; a newline on the last row scrolls.
TARNAPI Bool WriteConsoleA(Handle screen, const void* text, std::uint32_t length,
                           std::uint32_t* written, void* reserved);
// Waits for one event of the keyboard. On the host every key yields one record,
// key down; a key without a character has character 0. Enter has character 13,
// the erase key 8, a character that code page 437 lacks '?'; ESC with a
// character directly after it is that character with Alt.
TARNAPI Bool ReadConsoleInputA(Handle input, InputRecord* records, std::uint32_t room,
                               std::uint32_t* count);
// Waits for a key with a character and stores the character in the encoding of
// file names, at most kKeyTextSize bytes without a NUL: Enter is 13, the erase
// key 8, Escape 27. ESC with a character right after it is two keys. Result:
// the number of bytes; 0 at the end of the input.
inline constexpr std::uint32_t kKeyTextSize = 64;
TARNAPI std::uint32_t ReadKeyText(Handle input, char* text);
// Converts what ReadFile read from a console to the code page of its cells, in
// place; a character that it lacks becomes '?'. Result: the new length. On
// Windows, and for other handles, there is nothing to do.
TARNAPI std::uint32_t ToConsoleText(Handle input, char* text, std::uint32_t length);
// Stores what fits of the title, with a NUL, and returns the title's length; 0
// on failure, and for an empty title, which leaves the last error as it was. On
// the host the title is what the process set last, at most 1023 characters, and
// at first the program's name; the terminal gets its own title back at the end.
TARNAPI std::uint32_t GetConsoleTitleA(char* title, std::uint32_t size);
TARNAPI Bool SetConsoleTitleA(const char* title);
// 0 where there are no windows.
TARNAPI std::int32_t GetSystemMetrics(std::int32_t metric);

// ---- Threads and events -------------------------------------------------------
inline constexpr std::uint32_t kWaitForever = 0xFFFFFFFF;
inline constexpr std::uint32_t kWaitObject = 0;
inline constexpr std::uint32_t kWaitAbandoned = 0x80;  // plus the index: its owner has ended
inline constexpr std::uint32_t kWaitTimeout = 258;
inline constexpr std::uint32_t kWaitFailed = 0xFFFFFFFF;
inline constexpr std::uint32_t kCreateSuspended = 4;
struct SecurityAttributes {
  std::uint32_t length;  // 24
  void* descriptor;      // null: the default
  Bool inherit_handle;
};
static_assert(sizeof(SecurityAttributes) == 24);
using ThreadRoutine = std::uint32_t(TARNAPI*)(void* argument);
// Stack size 0: the default. Null on failure. A thread begins with Windows'
// floating-point modes; on the host it takes no signals but those of its own
// faults.
TARNAPI Handle CreateThread(const SecurityAttributes* security, std::uint64_t stack_size,
                            ThreadRoutine routine, void* argument, std::uint32_t flags,
                            std::uint32_t* id);
// The previous suspend count, or all bits set on failure.
TARNAPI std::uint32_t ResumeThread(Handle thread);
// -15, -2 to 2 or 15; on the host all run alike.
TARNAPI Bool SetThreadPriority(Handle thread, std::int32_t priority);
// Names are not supported on the host: null there. Null on failure.
TARNAPI Handle CreateEventA(const SecurityAttributes* security, Bool manual_reset, Bool signalled,
                            const char* name);
TARNAPI Bool SetEvent(Handle event);
// Waits for an event, a semaphore, a mutex, a thread or a process: kWaitObject, kWaitTimeout
// or kWaitFailed. An auto-reset event is taken by the wait.
TARNAPI std::uint32_t WaitForSingleObject(Handle object, std::uint32_t milliseconds);

// ---- Child processes ------------------------------------------------------------
struct ProcessInformation {
  Handle process, thread;
  std::uint32_t process_id, thread_id;
};
static_assert(sizeof(ProcessInformation) == 24);
// Starts the program that the command line names. `command_line` may be changed
// by the call; at most 32,766 bytes. The child has this process's standard
// handles, and its environment if `environment` is null: else the strings there,
// which an empty one ends. `application`, if it is not null, is the program, whose path is whole or
// begins in the current folder; the child begins in `directory`. On the host `flags` are 0, or of
// those of windows, error modes and the normal priority, which change nothing. It splits the line
// by the published rules of quotes and backslashes; the program may be a host program, a script
// that the host can execute, or a finished program image, which runs under the runner of this
// process (kErrorFileNotFound if the process has none) and sees the line unchanged. "cmd /c TEXT"
// runs TEXT by /bin/sh.
TARNAPI Bool CreateProcessA(const char* application, char* command_line,
                            const SecurityAttributes* process_security,
                            const SecurityAttributes* thread_security, Bool inherit_handles,
                            std::uint32_t flags, void* environment, const char* directory,
                            const StartupInfo* startup, ProcessInformation* information);
// 259 while it runs. On the host the exit code of a program image is whole,
// also if it comes from a shell that ran nothing else; that of another program
// has the low 8 bits only, and is 128 plus the signal's number for a child that
// a signal ended. Denied for a process that was opened by its id.
TARNAPI Bool GetExitCodeProcess(Handle process, std::uint32_t* code);
// Waits for one of up to 64 such objects, the first that is there: kWaitObject plus
// its index, kWaitTimeout or kWaitFailed; or, if `all`, for all of them at the same
// time: kWaitObject.
inline constexpr std::uint32_t kMostWaits = 64;
TARNAPI std::uint32_t WaitForMultipleObjects(std::uint32_t count, const Handle* handles, Bool all,
                                             std::uint32_t milliseconds);
inline constexpr std::uint32_t kProcessTerminate = 1;
inline constexpr std::uint32_t kProcessWait = 0x100000;
TARNAPI Handle OpenProcess(std::uint32_t access, Bool inherit, std::uint32_t id);
TARNAPI Bool TerminateProcess(Handle process, std::uint32_t code);

struct ProcessEntry {
  std::uint32_t length;  // set to 304 by the caller
  std::uint32_t usage, process_id, padding;
  std::uint64_t default_heap;
  std::uint32_t module_id, thread_count, parent_id;
  std::int32_t base_priority;
  std::uint32_t flags;
  char file_name[260];  // without its folder; on the host a program image's own name
};
static_assert(sizeof(ProcessEntry) == 304);
// The host lists processes only, without those that have ended.
TARNAPI Handle CreateToolhelp32Snapshot(std::uint32_t flags, std::uint32_t process);
TARNAPI Bool Process32First(Handle snapshot, ProcessEntry* entry);
TARNAPI Bool Process32Next(Handle snapshot, ProcessEntry* entry);

struct LogicalProcessorRecord {
  std::uint64_t processor_mask;
  std::uint32_t relationship;  // 0: a core
  std::uint32_t padding;
  std::uint8_t flags;  // of a core: 1 if its logical processors share it
  std::uint8_t reserved[15];
};
static_assert(sizeof(LogicalProcessorRecord) == 32);
// `length`: the size of the buffer in bytes, then what was filled; if the
// buffer is too small, what is needed (false, kErrorInsufficientBuffer, nothing
// filled). The host has records of cores only, for the processors that the
// process may use.
TARNAPI Bool GetLogicalProcessorInformation(LogicalProcessorRecord* records, std::uint32_t* length);

// ---- Registry -------------------------------------------------------------
inline constexpr std::uint64_t kCurrentUserKey = 0x80000001;
inline constexpr std::uint32_t kKeyRead = 0x20019;
// Each returns 0 or an error code. On the host the keys are a plain file of the
// user's: "[Key\Path]" lines, then "name=value" lines; read only.
TARNAPI std::uint32_t RegOpenKeyExA(Handle root, const char* path, std::uint32_t options,
                                    std::uint32_t access, Handle* key);
TARNAPI std::uint32_t RegQueryValueExA(Handle key, const char* name, std::uint32_t* reserved,
                                       std::uint32_t* type, std::uint8_t* data,
                                       std::uint32_t* size);
TARNAPI std::uint32_t RegCloseKey(Handle key);

// ---- Time -----------------------------------------------------------------
struct SystemTime {
  std::uint16_t year, month, day_of_week, day, hour, minute, second, milliseconds;
};
TARNAPI void GetSystemTimeAsFileTime(FileTime* time);
TARNAPI Bool FileTimeToSystemTime(const FileTime* time, SystemTime* broken);
// Universal to local time by the rules in force at that date; `zone` null.
TARNAPI Bool SystemTimeToTzSpecificLocalTime(const void* zone, const SystemTime* universal,
                                             SystemTime* local);
TARNAPI void GetLocalTime(SystemTime* time);
// Uses the difference that is in force now, whatever the date.
TARNAPI Bool FileTimeToLocalFileTime(const FileTime* time, FileTime* local);
// Packed dates of 1980 to 2107, seconds in steps of two; false outside that
// range, and for words that are no date. A system may return something else
// there: callers check both before they call.
TARNAPI Bool FileTimeToDosDateTime(const FileTime* time, std::uint16_t* dos_date,
                                   std::uint16_t* dos_time);
TARNAPI Bool DosDateTimeToFileTime(std::uint16_t dos_date, std::uint16_t dos_time, FileTime* time);
// Null leaves that stamp alone.
TARNAPI Bool SetFileTime(Handle file, const FileTime* created, const FileTime* accessed,
                         const FileTime* written);
TARNAPI void Sleep(std::uint32_t milliseconds);

// ---- Exceptions -----------------------------------------------------------
struct ExceptionRecord {
  std::uint32_t code, flags;
  ExceptionRecord* next;
  void* address;
  std::uint32_t parameter_count, padding;
  std::uint64_t parameters[15];
};
static_assert(sizeof(ExceptionRecord) == 152);

struct alignas(16) Xmm {
  std::uint64_t low, high;
};

// The platform's x86-64 CONTEXT record. It has the MXCSR twice, in MxCsr and at
// offset 24 of FxSaveArea: a handler changes both, as systems differ in which
// of them takes effect.
struct alignas(16) AMD_CONTEXT {
  std::uint64_t P1Home, P2Home, P3Home, P4Home, P5Home, P6Home;
  std::uint32_t ContextFlags, MxCsr;
  std::uint16_t SegCs, SegDs, SegEs, SegFs, SegGs, SegSs;
  std::uint32_t EFlags;
  std::uint64_t Dr0, Dr1, Dr2, Dr3, Dr6, Dr7;
  std::uint64_t Rax, Rcx, Rdx, Rbx, Rsp, Rbp, Rsi, Rdi, R8, R9, R10, R11, R12, R13, R14, R15;
  std::uint64_t Rip;
  std::uint8_t FxSaveArea[512];  // the FXSAVE image; its Xmm0 is at offset 160
  Xmm VectorRegister[26];
  std::uint64_t VectorControl, DebugControl, LastBranchToRip, LastBranchFromRip, LastExceptionToRip,
      LastExceptionFromRip;
};
static_assert(sizeof(AMD_CONTEXT) == 1232);
static_assert(offsetof(AMD_CONTEXT, Rip) == 0xF8);
// In ContextFlags of a context that was unwound: Rip is the address after a call.
inline constexpr std::uint32_t kContextAtCall = 0x20000000;
// In the same, and in nobody else's use: how many of the inlined calls at Rip a walk has
// passed, times kContextOneLevel.
inline constexpr std::uint32_t kContextLevels = 0xFF00;
inline constexpr std::uint32_t kContextOneLevel = 0x100;

struct ExceptionPointers {
  ExceptionRecord* record;
  AMD_CONTEXT* context;
};
inline constexpr std::int32_t kContinueExecution = -1;
inline constexpr std::int32_t kContinueSearch = 0;
using VectoredHandler = std::int32_t(TARNAPI*)(ExceptionPointers*);
// `first` 0: call this handler last. The handler runs on the faulting thread;
// with kContinueExecution the changed context takes effect. Null on failure.
TARNAPI void* AddVectoredExceptionHandler(std::uint32_t first, VectoredHandler handler);

// ---- Threads, console events, messages ------------------------------------
TARNAPI Handle GetCurrentThread();
// Ends the calling thread at once; nothing is unwound. Only the calling thread
// may be named. The process ends with its last thread, with that one's code.
TARNAPI Bool TerminateThread(Handle thread, std::uint32_t code);

// A number that no other living thread has; never 0.
TARNAPI std::uint32_t GetCurrentThreadId();

// Bytes that the calling thread's stack keeps back for the handler of its own
// overflow. On the host the handlers have a stack of their own.
TARNAPI Bool SetThreadStackGuarantee(std::uint32_t* size);

// After an overflow of the calling thread's stack: makes the next one be
// reported again. Does nothing while the thread still runs in the space kept
// back, nor where an overflow uses nothing up, as on the host.
TARNAPI void RestoreStackGuard();

inline constexpr std::uint32_t kConsoleCtrlC = 0;
inline constexpr std::uint32_t kConsoleCtrlBreak = 1;
using ConsoleHandler = std::int32_t(TARNAPI*)(std::uint32_t event);
// Non-zero `add` adds a handler, 0 removes one earlier registration. Handlers
// run on a thread of the system's own, the newest first, until one returns
// non-zero; if none does, the process ends as if it had no handler. A null handler
// with non-zero `add` makes the process and its children ignore Ctrl+C, with 0 no
// longer. On the host the events are SIGINT and SIGQUIT.
TARNAPI Bool SetConsoleCtrlHandler(ConsoleHandler handler, std::int32_t add);

// Shows a message and waits for the user; `owner` null, `type` 0. Where there
// is no desktop it goes to standard error as one line, and nobody waits.
TARNAPI std::int32_t MessageBoxA(Handle owner, const char* text, const char* caption,
                                 std::uint32_t type);
// Null or 0 where there are no windows.
TARNAPI std::int64_t SendMessageA(Handle window, std::uint32_t message, std::uint64_t w,
                                  std::int64_t l);
TARNAPI Handle GetFocus();
TARNAPI Bool IsWindowEnabled(Handle window);
struct Point {
  std::int32_t x, y;
};
TARNAPI Bool GetCursorPos(Point* point);
TARNAPI Handle WindowFromPoint(Point point);

// ---- Debug help -------------------------------------------------------------
// The published records of the stack walker and the symbol service. The host
// walks by its own unwind data and names by its dynamic symbols.
struct Address64 {
  std::uint64_t offset;
  std::uint16_t segment;
  std::uint32_t mode;
};
inline constexpr std::uint32_t kFlatAddress = 3;
struct StackFrame64 {
  Address64 pc, return_address, frame, stack, backing_store;
  void* function_table_entry;
  std::uint64_t parameters[4];
  std::int32_t far_call, is_virtual;
  std::uint64_t reserved[3];
  std::uint8_t kernel_help[112];
};
static_assert(sizeof(StackFrame64) == 264);
struct Symbol64 {
  std::uint32_t size_of_struct;
  std::uint64_t address;
  std::uint32_t size, flags, longest_name;
  char name[4];  // as long as the storage after it
};
static_assert(sizeof(Symbol64) == 32);
inline constexpr std::uint32_t kMachineAmd64 = 0x8664;
using FunctionTableAccess = void*(TARNAPI*)(Handle process, std::uint64_t address);
using ModuleBaseAccess = std::uint64_t(TARNAPI*)(Handle process, std::uint64_t address);

TARNAPI Bool SymInitialize(Handle process, const char* search_path, Bool invade);
// One step. With a zeroed record whose pc, frame and stack are set, the first
// step describes that very frame; each further one with the same record
// describes the caller's, and the context holds the caller's registers. False
// at the end of the stack. Never faults on a damaged stack.
TARNAPI Bool StackWalk64(std::uint32_t machine, Handle process, Handle thread, StackFrame64* frame,
                         AMD_CONTEXT* context, void* read_memory,
                         FunctionTableAccess function_table, ModuleBaseAccess module_base,
                         void* translate);
// The closest symbol at or before `address` in its module, and how far after it
// `address` lies. False if the module has none.
TARNAPI Bool SymGetSymFromAddr64(Handle process, std::uint64_t address, std::uint64_t* displacement,
                                 Symbol64* symbol);
// Base of the module that holds `address`, or 0.
TARNAPI std::uint64_t SymGetModuleBase64(Handle process, std::uint64_t address);
// Unwind entry of the routine at `address`, or null; the host's entries have a
// format of their own, and the address of their index is returned.
TARNAPI void* SymFunctionTableAccess64(Handle process, std::uint64_t address);

}  // namespace tarn::platform
