#include "platform/windows/system.h"

#include <dbghelp.h>

namespace tarn::platform {
namespace {

static_assert(sizeof(StackFrame64) == sizeof(STACKFRAME64));
static_assert(sizeof(Symbol64) == sizeof(IMAGEHLP_SYMBOL64));

// Loaded by the first report that needs it.
constexpr char kDebugHelp[] = "DBGHELP.DLL";

}  // namespace

Bool SymInitialize(Handle process, const char* search_path, Bool invade) {
  const auto service = late_service<decltype(&::SymInitialize)>(kDebugHelp, "SymInitialize");
  return service && service(process, search_path, invade);
}

Bool StackWalk64(std::uint32_t machine, Handle process, Handle thread, StackFrame64* frame,
                 AMD_CONTEXT* context, void* read_memory, FunctionTableAccess function_table,
                 ModuleBaseAccess module_base, void* translate) {
  const auto service = late_service<decltype(&::StackWalk64)>(kDebugHelp, "StackWalk64");
  return service && service(machine, process, thread, reinterpret_cast<STACKFRAME64*>(frame),
                            context, reinterpret_cast<PREAD_PROCESS_MEMORY_ROUTINE64>(read_memory),
                            reinterpret_cast<PFUNCTION_TABLE_ACCESS_ROUTINE64>(function_table),
                            reinterpret_cast<PGET_MODULE_BASE_ROUTINE64>(module_base),
                            reinterpret_cast<PTRANSLATE_ADDRESS_ROUTINE64>(translate));
}

Bool SymGetSymFromAddr64(Handle process, std::uint64_t address, std::uint64_t* displacement,
                         Symbol64* symbol) {
  const auto service =
      late_service<decltype(&::SymGetSymFromAddr64)>(kDebugHelp, "SymGetSymFromAddr64");
  return service && service(process, address, reinterpret_cast<DWORD64*>(displacement),
                            reinterpret_cast<IMAGEHLP_SYMBOL64*>(symbol));
}

std::uint64_t SymGetModuleBase64(Handle process, std::uint64_t address) {
  const auto service =
      late_service<decltype(&::SymGetModuleBase64)>(kDebugHelp, "SymGetModuleBase64");
  return service ? service(process, address) : 0;
}

void* SymFunctionTableAccess64(Handle process, std::uint64_t address) {
  const auto service =
      late_service<decltype(&::SymFunctionTableAccess64)>(kDebugHelp, "SymFunctionTableAccess64");
  return service ? service(process, address) : nullptr;
}

}  // namespace tarn::platform
