// Files, folders and searches by name, and the share modes of open files. The
// operations themselves are declared in platform/platform.h. State: none but
// the handles; a share mode is a set of the system's file locks.
#pragma once

#include <time.h>

#include "platform/platform.h"

namespace tarn::platform {

inline constexpr std::uint32_t kAttributeArchive = 0x20;  // of a plain file, and of a device

// The attributes of a file with this st_mode: read-only if nobody may write it.
std::uint32_t attributes_of(std::uint32_t mode);

// True if an opener of the file in this or another process denies its deletion.
bool is_held(const char* host_path);

FileTime file_time_of(const timespec& time);

// GetTempFileNameA and GetTempFileNameW for a prefix that is cut already.
inline constexpr std::int32_t kTempNameSize = 260, kLongestTempFolder = 246, kTempNameRoom = 32;
std::uint32_t make_temp_name(const char* folder, const char* prefix, std::uint32_t unique,
                             char* buffer, std::size_t size);

// What CloseHandle and DuplicateHandle do for a file.
Bool close_file(Handle handle);
Handle duplicate_file(Handle handle);
Bool close_mapping(Handle handle);

// Takes off what LockFile has locked by this handle.
void unlock_file(Handle file, int descriptor);

// Whether a view of the file goes beyond this position.
bool is_mapped_beyond(int descriptor, std::int64_t end);

}  // namespace tarn::platform
