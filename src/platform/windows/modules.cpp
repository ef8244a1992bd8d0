#include "platform/windows/system.h"

// Lives in KERNEL32 since Windows 7, so PSAPI need not be loaded.
extern "C" __declspec(dllimport) DWORD WINAPI K32GetModuleBaseNameA(HANDLE, HMODULE, LPSTR, DWORD);
extern "C" __declspec(dllimport) BOOL WINAPI K32EnumProcessModules(HANDLE, HMODULE*, DWORD, DWORD*);

namespace tarn::platform {

Module GetModuleHandleA(const char* name) { return ::GetModuleHandleA(name); }

Bool GetModuleHandleExW(std::uint32_t flags, const void* name, Module* module) {
  return ::GetModuleHandleExW(flags, static_cast<const wchar_t*>(name),
                              reinterpret_cast<HMODULE*>(module));
}

Bool GetModuleHandleExA(std::uint32_t flags, const void* name, Module* module) {
  return ::GetModuleHandleExA(flags, static_cast<const char*>(name),
                              reinterpret_cast<HMODULE*>(module));
}

Module LoadLibraryA(const char* name) { return ::LoadLibraryA(name); }

Bool FreeLibrary(Module module) { return ::FreeLibrary(static_cast<HMODULE>(module)); }

void* GetProcAddress(Module module, const char* name) {
  return reinterpret_cast<void*>(::GetProcAddress(static_cast<HMODULE>(module), name));
}

std::uint32_t GetModuleFileNameA(Module module, char* buffer, std::uint32_t size) {
  constexpr DWORD kLongestPathOnStack = 1024;
  // By way of the wide form, which needs no heap: the caller may be the report
  // of a heap that the program has damaged.
  WCHAR path[kLongestPathOnStack];
  const DWORD length =
      ::GetModuleFileNameW(static_cast<HMODULE>(module), path, kLongestPathOnStack);
  const int bytes = length == 0 || length == kLongestPathOnStack
                        ? 0
                        : ::WideCharToMultiByte(CP_ACP, 0, path, static_cast<int>(length) + 1,
                                                buffer, static_cast<int>(size), nullptr, nullptr);
  if (bytes > 0) return static_cast<std::uint32_t>(bytes - 1);
  return ::GetModuleFileNameA(static_cast<HMODULE>(module), buffer, size);
}

Bool EnumProcessModules(Handle process, Module* modules, std::uint32_t size,
                        std::uint32_t* needed) {
  return K32EnumProcessModules(process, reinterpret_cast<HMODULE*>(modules), size,
                               reinterpret_cast<DWORD*>(needed));
}

std::uint32_t GetModuleBaseNameA(Handle process, Module module, char* buffer, std::uint32_t size) {
  return K32GetModuleBaseNameA(process, static_cast<HMODULE>(module), buffer, size);
}

std::uint32_t SearchPathA(const char* path, const char* name, const char* extension,
                          std::uint32_t size, char* buffer, char** file_part) {
  return ::SearchPathA(path, name, extension, size, buffer, file_part);
}

}  // namespace tarn::platform
