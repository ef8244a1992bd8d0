#include "platform/windows/system.h"

namespace tarn::platform {

static_assert(sizeof(FindData) == sizeof(WIN32_FIND_DATAA));

Handle CreateFileA(const char* path, std::uint32_t access, std::uint32_t share, void* security,
                   std::uint32_t creation, std::uint32_t attributes, Handle template_file) {
  return ::CreateFileA(path, access, share, static_cast<SECURITY_ATTRIBUTES*>(security), creation,
                       attributes, template_file);
}

Bool CloseHandle(Handle handle) { return ::CloseHandle(handle); }

Bool ReadFile(Handle file, void* buffer, std::uint32_t size, std::uint32_t* delivered,
              void* overlapped) {
  if (!::ReadFile(file, buffer, size, reinterpret_cast<DWORD*>(delivered),
                  static_cast<OVERLAPPED*>(overlapped))) {
    return 0;
  }
  // Wine's read at the end of a pipe of its host succeeds.
  if (overlapped == nullptr && size > 0 && *delivered == 0 &&
      ::GetFileType(file) == FILE_TYPE_PIPE) {
    ::SetLastError(ERROR_BROKEN_PIPE);
    return 0;
  }
  return 1;
}

Bool WriteFile(Handle file, const void* buffer, std::uint32_t size, std::uint32_t* written,
               void* overlapped) {
  return ::WriteFile(file, buffer, size, reinterpret_cast<DWORD*>(written),
                     static_cast<OVERLAPPED*>(overlapped));
}

Bool SetFilePointerEx(Handle file, std::int64_t distance, std::int64_t* position,
                      std::uint32_t origin) {
  LARGE_INTEGER by;
  by.QuadPart = distance;
  return ::SetFilePointerEx(file, by, reinterpret_cast<LARGE_INTEGER*>(position), origin);
}

std::uint32_t GetFileType(Handle file) { return ::GetFileType(file); }

Bool GetFileSizeEx(Handle file, std::int64_t* size) {
  return ::GetFileSizeEx(file, reinterpret_cast<LARGE_INTEGER*>(size));
}

Bool FlushFileBuffers(Handle file) { return ::FlushFileBuffers(file); }

std::uint32_t GetFileAttributesA(const char* path) { return ::GetFileAttributesA(path); }

Bool DeleteFileA(const char* path) { return ::DeleteFileA(path); }

Bool CreateDirectoryA(const char* path, void* security) {
  return ::CreateDirectoryA(path, static_cast<SECURITY_ATTRIBUTES*>(security));
}

Bool SetCurrentDirectoryA(const char* path) { return ::SetCurrentDirectoryA(path); }

std::uint32_t GetCurrentDirectoryA(std::uint32_t size, char* buffer) {
  return ::GetCurrentDirectoryA(size, buffer);
}

std::uint32_t GetLogicalDrives() { return ::GetLogicalDrives(); }

std::uint32_t GetDriveTypeA(const char* root) { return ::GetDriveTypeA(root); }

Handle FindFirstFileA(const char* pattern, FindData* data) {
  return ::FindFirstFileA(pattern, reinterpret_cast<WIN32_FIND_DATAA*>(data));
}

Bool FindNextFileA(Handle find, FindData* data) {
  return ::FindNextFileA(find, reinterpret_cast<WIN32_FIND_DATAA*>(data));
}

Bool FindClose(Handle find) { return ::FindClose(find); }

Bool GetConsoleMode(Handle handle, std::uint32_t* mode) {
  return ::GetConsoleMode(handle, reinterpret_cast<DWORD*>(mode));
}

Bool SetConsoleMode(Handle handle, std::uint32_t mode) { return ::SetConsoleMode(handle, mode); }

}  // namespace tarn::platform
