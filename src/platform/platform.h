// The operations the library may ask of a system, and nothing else.
//
// Each has the name, the arguments and the meaning of the Windows service of
// that name; the comments state what the callers here rely on. There are two
// back ends: platform/windows forwards to the system, platform/posix gives the
// same meaning on Linux. Nothing outside platform/ asks which system it is on.
//
// Rules for both back ends: records have the Windows layout; a failure leaves
// its Windows code for GetLastError of the calling thread; texts are bytes and
// NUL-terminated; every operation may be called on any thread unless its
// comment says otherwise.
//
// Paths: a path may use '\' or '/', and begin with a drive. On the host the
// drive "Z:" is the root of the file system (as Wine maps it), paths handed
// out have the form "Z:\dir\file", and names are matched exactly as written.
#pragma once

#include "platform/abi.h"

namespace tarn::platform {

using Handle = void*;         // kernel object
using Module = void*;         // load address of an image
using Status = std::int32_t;  // truth value: 0 false

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
inline constexpr std::uint32_t kErrorDiskFull = 112;
inline constexpr std::uint32_t kErrorInsufficientBuffer = 122;
inline constexpr std::uint32_t kErrorModuleNotFound = 126;
inline constexpr std::uint32_t kErrorProcedureNotFound = 127;
inline constexpr std::uint32_t kErrorDirNotEmpty = 145;
inline constexpr std::uint32_t kErrorAlreadyExists = 183;
inline constexpr std::uint32_t kErrorBadExeFormat = 193;
inline constexpr std::uint32_t kErrorEnvironmentVariableNotFound = 203;
inline constexpr std::uint32_t kErrorMoreData = 234;
inline constexpr std::uint32_t kErrorNoAccess = 998;

// The calling thread's last failure.
TARNAPI std::uint32_t GetLastError();
TARNAPI void SetLastError(std::uint32_t code);

// System message text for `code`; `flags` 0x1200 (from the system, ignore
// inserts). Result: characters stored without the NUL, 0 on failure. The
// wording is the system's own.
TARNAPI std::uint32_t FormatMessageA(std::uint32_t flags, const void* source, std::uint32_t code,
                                     std::uint32_t language, char* buffer, std::uint32_t size,
                                     void* arguments);

// ---- Memory ---------------------------------------------------------------
// Fixed memory, aligned to 16 bytes; flags 0, or 0x40 for zero fill. Null on
// failure. A size of 0 gives a valid block.
TARNAPI void* GlobalAlloc(std::uint32_t flags, std::uint64_t size);
// Null on success.
TARNAPI void* GlobalFree(void* block);
// Usable size of the block in bytes, at least what was asked for.
TARNAPI std::uint64_t GlobalSize(void* block);

TARNAPI Handle GetProcessHeap();
inline constexpr std::uint32_t kHeapZeroMemory = 8;
TARNAPI void* HeapAlloc(Handle heap, std::uint32_t flags, std::uint64_t size);
TARNAPI Status HeapFree(Handle heap, std::uint32_t flags, void* block);

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
// Decommits pages (their contents are lost) or, with size 0, releases the
// whole reservation that begins at `address`.
TARNAPI Status VirtualFree(void* address, std::uint64_t size, std::uint32_t type);
TARNAPI Status VirtualProtect(void* address, std::uint64_t size, std::uint32_t protection,
                              std::uint32_t* old_protection);

struct MemoryStatus {
  std::uint32_t length;  // set to 64 by the caller
  std::uint32_t load_percent;
  std::uint64_t total_physical, available_physical;
  std::uint64_t total_page_file, available_page_file;
  std::uint64_t total_virtual, available_virtual, available_extended_virtual;
};
static_assert(sizeof(MemoryStatus) == 64);
TARNAPI Status GlobalMemoryStatusEx(MemoryStatus* status);

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

// Copies `size` bytes of a process's memory; 0 when not all are readable.
// Never faults. `process` is GetCurrentProcess() or all bits set.
TARNAPI Status ReadProcessMemory(Handle process, const void* source, void* destination,
                                 std::uint64_t size, std::uint64_t* copied);

// Memory of at least `size` bytes that all processes of one run see: this
// process, and those that inherit its environment after the first call (an
// environment variable names the run). Zero when new; given back by the system
// when the last of them ends, however it ends. One name, one address in a
// process; the first size, in whole pages, stands. Null on failure: a name not
// of 1 to 63 bytes or with a '\', a size not of 1 to 2^30, more than 32 names,
// or more than the memory had when it was made. For one thread at a time.
inline constexpr std::uint32_t kRunMemoryNames = 32;
inline constexpr std::uint32_t kRunMemoryNameSize = 64;
inline constexpr std::uint64_t kRunMemoryLimit = std::uint64_t{1} << 30;
TARNAPI void* OpenRunSharedMemory(const char* name, std::uint64_t size);

// ---- Process --------------------------------------------------------------
// Ends the process at once; nothing is flushed.
[[noreturn]] TARNAPI void ExitProcess(std::uint32_t code);
TARNAPI Handle GetCurrentProcess();
TARNAPI std::uint32_t GetCurrentProcessId();
// The whole command line, program name first. Lives as long as the process.
TARNAPI char* GetCommandLineA();

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

// which: -10 input, -11 output, -12 error.
TARNAPI Handle GetStdHandle(std::int32_t which);

// Characters without the NUL; 0 if absent; the size needed, NUL included, if
// the buffer is too small (the buffer is then left alone).
TARNAPI std::uint32_t GetEnvironmentVariableA(const char* name, char* buffer, std::uint32_t size);
// A null value removes the variable. Children inherit the change.
TARNAPI Status SetEnvironmentVariableA(const char* name, const char* value);

struct VersionInfo {
  std::uint32_t length;  // set to 148 by the caller
  std::uint32_t major, minor, build, platform_id;
  char service_pack[128];
};
static_assert(sizeof(VersionInfo) == 148);
// The host reports the version of Windows whose behaviour it follows.
TARNAPI Status GetVersionExA(VersionInfo* info);

// ---- Modules --------------------------------------------------------------
// Null name: the process's main image. Names are matched without case, by
// base name; ".DLL" is added to a name without an extension.
TARNAPI Module GetModuleHandleA(const char* name);
// Flag 4: `name` is an address inside the module wanted.
inline constexpr std::uint32_t kModuleFromAddress = 4;
TARNAPI Status GetModuleHandleExW(std::uint32_t flags, const void* name, Module* module);
TARNAPI Status GetModuleHandleExA(std::uint32_t flags, const void* name, Module* module);
TARNAPI Module LoadLibraryA(const char* name);
TARNAPI Status FreeLibrary(Module module);
TARNAPI void* GetProcAddress(Module module, const char* name);
// Full path; null module: the main image. Characters stored without the NUL;
// `size` if the path was cut.
TARNAPI std::uint32_t GetModuleFileNameA(Module module, char* buffer, std::uint32_t size);
TARNAPI std::uint32_t GetModuleBaseNameA(Handle process, Module module, char* buffer,
                                         std::uint32_t size);
// Looks a file up as the system does for programs: the program's folder, the
// current folder, the system's folders, PATH. Result: characters stored
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
// invalid_handle() on failure. Share mode 0 holds the file for this opener
// alone: a second opener fails with kErrorSharingViolation, in this process or
// another. A refused open changes nothing: create-always truncates only after
// the file is held.
TARNAPI Handle CreateFileA(const char* path, std::uint32_t access, std::uint32_t share,
                           void* security, std::uint32_t creation, std::uint32_t attributes,
                           Handle template_file);
TARNAPI Status CloseHandle(Handle handle);
// Delivers what is there, up to `size`; 0 bytes and true at end of file.
TARNAPI Status ReadFile(Handle file, void* buffer, std::uint32_t size, std::uint32_t* delivered,
                        void* overlapped);
TARNAPI Status WriteFile(Handle file, const void* buffer, std::uint32_t size,
                         std::uint32_t* written, void* overlapped);
// origin: 0 begin, 1 current, 2 end. A position before the start is refused.
TARNAPI Status SetFilePointerEx(Handle file, std::int64_t distance, std::int64_t* position,
                                std::uint32_t origin);
TARNAPI Status GetFileSizeEx(Handle file, std::int64_t* size);
TARNAPI Status FlushFileBuffers(Handle file);
inline constexpr std::uint32_t kInvalidAttributes = 0xFFFFFFFF;
inline constexpr std::uint32_t kAttributeReadOnly = 0x01;
inline constexpr std::uint32_t kAttributeDirectory = 0x10;
inline constexpr std::uint32_t kAttributeNormal = 0x80;
TARNAPI std::uint32_t GetFileAttributesA(const char* path);
TARNAPI Status DeleteFileA(const char* path);
TARNAPI Status RemoveDirectoryA(const char* path);
TARNAPI Status CreateDirectoryA(const char* path, void* security);
TARNAPI Status SetCurrentDirectoryA(const char* path);
// Characters without the NUL, or the size needed if the buffer is too small.
TARNAPI std::uint32_t GetCurrentDirectoryA(std::uint32_t size, char* buffer);
// The drives there are: bit 0 is A. The host has drive Z alone.
TARNAPI std::uint32_t GetLogicalDrives();

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
TARNAPI Status FindNextFileA(Handle find, FindData* data);
TARNAPI Status FindClose(Handle find);

// Success tells that `handle` is a console or terminal. The mode bits are
// those of Windows: input 1 processed, 2 line, 4 echo.
TARNAPI Status GetConsoleMode(Handle handle, std::uint32_t* mode);
TARNAPI Status SetConsoleMode(Handle handle, std::uint32_t mode);

// ---- Registry -------------------------------------------------------------
inline constexpr std::uint64_t kCurrentUserKey = 0x80000001;
inline constexpr std::uint32_t kKeyRead = 0x20019;
// Each gives 0 or an error code. On the host the keys are a plain file of the
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
TARNAPI Status FileTimeToSystemTime(const FileTime* time, SystemTime* broken);
// Universal to local time by the rules in force at that date; `zone` null.
TARNAPI Status SystemTimeToTzSpecificLocalTime(const void* zone, const SystemTime* universal,
                                               SystemTime* local);
TARNAPI void Sleep(std::uint32_t milliseconds);

// ---- Exceptions -----------------------------------------------------------
inline constexpr std::uint32_t kExceptionAccessViolation = 0xC0000005;

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

// The platform's x86-64 CONTEXT record. The MXCSR stands in it twice, in MxCsr
// and at offset 24 of FxSaveArea: a handler changes both, as systems differ in
// which of them takes effect.
struct alignas(16) AMD_CONTEXT {
  std::uint64_t P1Home, P2Home, P3Home, P4Home, P5Home, P6Home;
  std::uint32_t ContextFlags, MxCsr;
  std::uint16_t SegCs, SegDs, SegEs, SegFs, SegGs, SegSs;
  std::uint32_t EFlags;
  std::uint64_t Dr0, Dr1, Dr2, Dr3, Dr6, Dr7;
  std::uint64_t Rax, Rcx, Rdx, Rbx, Rsp, Rbp, Rsi, Rdi, R8, R9, R10, R11, R12, R13, R14, R15;
  std::uint64_t Rip;
  std::uint8_t FxSaveArea[512];  // the FXSAVE image; its Xmm0 stands at offset 160
  Xmm VectorRegister[26];
  std::uint64_t VectorControl, DebugControl, LastBranchToRip, LastBranchFromRip, LastExceptionToRip,
      LastExceptionFromRip;
};
static_assert(sizeof(AMD_CONTEXT) == 1232);
static_assert(offsetof(AMD_CONTEXT, Rip) == 0xF8);

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
TARNAPI std::uint32_t RemoveVectoredExceptionHandler(void* registration);

// ---- Threads, console events, messages ------------------------------------
TARNAPI Handle GetCurrentThread();
// Ends the calling thread at once, nothing is unwound. Only the calling thread
// may be named.
TARNAPI Status TerminateThread(Handle thread, std::uint32_t code);

// Room that a stack keeps back for the handler of its own overflow, for the
// calling thread, in bytes. On the host the handlers of the first thread have a
// stack of their own.
TARNAPI Status SetThreadStackGuarantee(std::uint32_t* size);

inline constexpr std::uint32_t kConsoleCtrlC = 0;
inline constexpr std::uint32_t kConsoleCtrlBreak = 1;
inline constexpr std::uint32_t kControlCExit = 0xC000013A;
using ConsoleHandler = std::int32_t(TARNAPI*)(std::uint32_t event);
// `add` non-zero adds, else removes one earlier registration. Handlers run on a
// thread of the system's own, the newest first, until one gives non-zero; if
// none does, the process ends as if it had no handler. On the host the events
// are SIGINT and SIGQUIT.
TARNAPI Status SetConsoleCtrlHandler(ConsoleHandler handler, std::int32_t add);

// Shows a message and waits for the user; `owner` null, `type` 0. Where there
// is no desktop it goes to standard error as one line, and nobody waits.
TARNAPI std::int32_t MessageBoxA(Handle owner, const char* text, const char* caption,
                                 std::uint32_t type);
// Null or 0 where there are no windows.
TARNAPI std::int64_t SendMessageA(Handle window, std::uint32_t message, std::uint64_t w,
                                  std::int64_t l);
TARNAPI Handle GetFocus();
struct Point {
  std::int32_t x, y;
};
TARNAPI Status GetCursorPos(Point* point);
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
  char name[4];  // as long as the storage behind it
};
static_assert(sizeof(Symbol64) == 32);
inline constexpr std::uint32_t kMachineAmd64 = 0x8664;
using FunctionTableAccess = void*(TARNAPI*)(Handle process, std::uint64_t address);
using ModuleBaseAccess = std::uint64_t(TARNAPI*)(Handle process, std::uint64_t address);

TARNAPI Status SymInitialize(Handle process, const char* search_path, Status invade);
// One step. With a zeroed record whose pc, frame and stack are set, the first
// step describes that very frame; each further one with the same record
// describes the caller's, and the context holds the caller's registers. False
// at the end of the stack. Never faults on a damaged stack.
TARNAPI Status StackWalk64(std::uint32_t machine, Handle process, Handle thread,
                           StackFrame64* frame, AMD_CONTEXT* context, void* read_memory,
                           FunctionTableAccess function_table, ModuleBaseAccess module_base,
                           void* translate);
// The closest symbol at or before `address` in its module, and how far behind
// it `address` lies. False if the module has none.
TARNAPI Status SymGetSymFromAddr64(Handle process, std::uint64_t address,
                                   std::uint64_t* displacement, Symbol64* symbol);
// Base of the module that holds `address`, or 0.
TARNAPI std::uint64_t SymGetModuleBase64(Handle process, std::uint64_t address);
// Unwind entry of the routine at `address`, or null; the host's entries have a
// form of their own, and it gives the address of their index.
TARNAPI void* SymFunctionTableAccess64(Handle process, std::uint64_t address);

}  // namespace tarn::platform
