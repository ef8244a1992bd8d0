#include "platform/windows/system.h"

#include <tlhelp32.h>

namespace tarn::platform {

static_assert(sizeof(ProcessInformation) == sizeof(PROCESS_INFORMATION));
static_assert(sizeof(ProcessEntry) == sizeof(PROCESSENTRY32));
static_assert(offsetof(ProcessEntry, file_name) == offsetof(PROCESSENTRY32, szExeFile));
static_assert(sizeof(LogicalProcessorRecord) == sizeof(SYSTEM_LOGICAL_PROCESSOR_INFORMATION));

Bool CreateProcessA(const char* application, char* command_line,
                    const SecurityAttributes* process_security,
                    const SecurityAttributes* thread_security, Bool inherit_handles,
                    std::uint32_t flags, void* environment, const char* directory,
                    const StartupInfo* startup, ProcessInformation* information) {
  return ::CreateProcessA(application, command_line, native(process_security),
                          native(thread_security), inherit_handles, flags, environment, directory,
                          const_cast<STARTUPINFOA*>(reinterpret_cast<const STARTUPINFOA*>(startup)),
                          reinterpret_cast<PROCESS_INFORMATION*>(information));
}

Bool GetExitCodeProcess(Handle process, std::uint32_t* code) {
  return ::GetExitCodeProcess(process, reinterpret_cast<DWORD*>(code));
}

std::uint32_t WaitForMultipleObjects(std::uint32_t count, const Handle* handles, Bool all,
                                     std::uint32_t milliseconds) {
  return ::WaitForMultipleObjects(count, handles, all, milliseconds);
}

Handle OpenProcess(std::uint32_t access, Bool inherit, std::uint32_t id) {
  return ::OpenProcess(access, inherit, id);
}

Bool TerminateProcess(Handle process, std::uint32_t code) {
  return ::TerminateProcess(process, code);
}

Handle CreateToolhelp32Snapshot(std::uint32_t flags, std::uint32_t process) {
  return ::CreateToolhelp32Snapshot(flags, process);
}

Bool Process32First(Handle snapshot, ProcessEntry* entry) {
  return ::Process32First(snapshot, reinterpret_cast<PROCESSENTRY32*>(entry));
}

Bool Process32Next(Handle snapshot, ProcessEntry* entry) {
  return ::Process32Next(snapshot, reinterpret_cast<PROCESSENTRY32*>(entry));
}

Bool GetLogicalProcessorInformation(LogicalProcessorRecord* records, std::uint32_t* length) {
  return ::GetLogicalProcessorInformation(
      reinterpret_cast<SYSTEM_LOGICAL_PROCESSOR_INFORMATION*>(records),
      reinterpret_cast<DWORD*>(length));
}

}  // namespace tarn::platform
