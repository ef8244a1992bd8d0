// KERNEL32.DLL, BCRYPT.DLL, ADVAPI32.DLL, SHELL32.DLL and SHLWAPI.DLL as images see them on the
// host: the routines that they may import, by name.
// An import that is not in the table is refused when the image is loaded.
#pragma once

namespace tarn::platform {

// The routine of exactly that name, or null.
void* find_system_routine(const char* name);
void* find_bcrypt_routine(const char* name);
void* find_advapi_routine(const char* name);
void* find_shell_routine(const char* name);
void* find_path_routine(const char* name);

}  // namespace tarn::platform
