#include "platform/windows/system.h"

namespace tarn::platform {

static_assert(sizeof(StartupInfo) == sizeof(STARTUPINFOA));
static_assert(sizeof(VersionInfo) == sizeof(OSVERSIONINFOA));

std::uint32_t GetLastError() { return ::GetLastError(); }

void SetLastError(std::uint32_t code) { ::SetLastError(code); }

std::uint32_t FormatMessageA(std::uint32_t flags, const void* source, std::uint32_t code,
                             std::uint32_t language, char* buffer, std::uint32_t size,
                             void* arguments) {
  return ::FormatMessageA(flags, source, code, language, buffer, size,
                          static_cast<va_list*>(arguments));
}

void ExitProcess(std::uint32_t code) { ::ExitProcess(code); }

Handle GetCurrentProcess() { return ::GetCurrentProcess(); }

std::uint32_t GetCurrentProcessId() { return ::GetCurrentProcessId(); }

char* GetCommandLineA() { return ::GetCommandLineA(); }

void GetStartupInfoA(StartupInfo* info) {
  ::GetStartupInfoA(reinterpret_cast<STARTUPINFOA*>(info));
}

Handle GetStdHandle(std::int32_t which) { return ::GetStdHandle(static_cast<DWORD>(which)); }

std::uint32_t GetEnvironmentVariableA(const char* name, char* buffer, std::uint32_t size) {
  return ::GetEnvironmentVariableA(name, buffer, size);
}

Bool SetEnvironmentVariableA(const char* name, const char* value) {
  return ::SetEnvironmentVariableA(name, value);
}

Bool GetVersionExA(VersionInfo* info) {
  return ::GetVersionExA(reinterpret_cast<OSVERSIONINFOA*>(info));
}

}  // namespace tarn::platform
