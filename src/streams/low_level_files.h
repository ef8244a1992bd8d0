// Existence and attributes of a file, the current folder and drives, and errno as a
// pair of routines. A failure returns the value stated, and sets errno only where a
// comment says so. State: errno and the process's current folder. Any thread.
#pragma once

#include "platform/abi.h"

namespace tarn {

// Exported as set_errno and get_errno, which process/process_state.h has in line for
// the library's own use.
TARNAPI void store_errno(std::int32_t value);
TARNAPI std::int32_t load_errno();

// The current folder in `buffer`, with a NUL. Null for a null buffer or a size
// of 0; null and errno -1001 if it does not fit or is unknown.
TARNAPI char* getcwd(char* buffer, std::int32_t size);

// Makes `path` the current folder: 0, or -1.
TARNAPI std::int32_t _chdir(const char* path);
// The current drive: 1 is A, 26 is Z. 0, or -1.
TARNAPI std::int32_t _chdrive(std::int32_t drive);
// The highest drive there is, from 0 for A, whether or not it is current; 0 if
// there is none.
TARNAPI std::int32_t getdrive();

// 1 if `path` names something that is not a folder, else 0.
TARNAPI std::int32_t FileExists(const char* path);
// 1 if the path can be opened for reading now, else 0, as for a folder or a file
// that is open somewhere.
TARNAPI std::int32_t exists(const char* path);
// In bytes; -1 if the file cannot be opened, also because it is open somewhere.
TARNAPI std::int64_t get_file_size(const char* path);

// 0 if the attributes of `path` allow the mode: 0 existing, 2 writing, 4
// reading, 6 both; a folder allows every mode. Else -1.
TARNAPI std::int32_t _access(const char* path, std::int32_t mode);

// Deletes a file: 0, or -1.
TARNAPI std::int32_t _unlink(const char* path);

// There are no file descriptors: each raises 29, "Call to missing routine - %1",
// with the name "__read", "__write", or "lseek" for the last two.
TARNAPI std::int32_t _read(std::int32_t descriptor, void* buffer, std::uint32_t length);
TARNAPI std::int32_t _write(std::int32_t descriptor, const void* buffer, std::uint32_t length);
TARNAPI std::int32_t _lseek(std::int32_t descriptor, std::int32_t offset, std::int32_t whence);
TARNAPI std::int32_t _chsize(std::int32_t descriptor, std::int32_t size);

}  // namespace tarn
