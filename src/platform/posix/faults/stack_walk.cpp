// The stack walker and the symbol service: the compiler's own unwinder steps
// over host frames, started from a context record (unwind_from.S); the
// library's export names, then the dynamic linker, name them.

#include <dlfcn.h>
#include <link.h>
#include <setjmp.h>
#include <unwind.h>

#include "platform/posix/faults/exceptions.h"
#include "platform/posix/faults/fault_records.h"
#include "platform/posix/faults/kept_vectors.h"
#include "platform/posix/loader/loader.h"

extern "C" {
// The unwinder's own look-up, which its header does not declare.
struct dwarf_eh_bases {
  void *tbase, *dbase, *func;
};
const void* _Unwind_Find_FDE(void* address, dwarf_eh_bases* bases);

using FrameCallback = _Unwind_Reason_Code (*)(_Unwind_Context*, void*);
void tarn_unwind_from_return(tarn::platform::AMD_CONTEXT* context, FrameCallback, void* argument);
void tarn_unwind_from_instruction(tarn::platform::AMD_CONTEXT* context, FrameCallback,
                                  void* argument);
}

namespace tarn::platform {
namespace {

// The registers that a routine keeps for its caller in either convention, by
// their numbers in unwind data.
constexpr struct {
  int number;
  std::uint64_t AMD_CONTEXT::*cell;
} kKeptRegisters[] = {
    {3, &AMD_CONTEXT::Rbx},  {4, &AMD_CONTEXT::Rsi},  {5, &AMD_CONTEXT::Rdi},
    {6, &AMD_CONTEXT::Rbp},  {12, &AMD_CONTEXT::R12}, {13, &AMD_CONTEXT::R13},
    {14, &AMD_CONTEXT::R14}, {15, &AMD_CONTEXT::R15},
};

bool readable(std::uint64_t address, void* destination, std::uint64_t size) {
  std::uint64_t copied = 0;
  return ReadProcessMemory(GetCurrentProcess(), reinterpret_cast<const void*>(address), destination,
                           size, &copied) != 0;
}

// A call that does not return may be its routine's last instruction: the
// return address then belongs to the routine before.
bool follows_call(std::uint64_t address) {
  constexpr std::uint64_t kRelativeCall = 5;
  std::uint8_t code[kRelativeCall];
  if (!readable(address - kRelativeCall, code, sizeof code)) return false;
  return code[0] == 0xE8 || (code[3] == 0xFF && (code[4] & 0x38) == 0x10) ||
         (code[2] == 0xFF && (code[3] & 0x38) == 0x10);
}

struct HostRoutine {
  const void* entry;  // of the unwind data
  std::uint64_t start;
  bool after_call;  // the address may lie after the routine's last call
};

// The host routine that `address` belongs to, by the unwind data.
bool find_host_routine(std::uint64_t address, HostRoutine* routine) {
  const auto find = [routine](std::uint64_t place, bool after_call) {
    dwarf_eh_bases bases{};
    routine->entry = _Unwind_Find_FDE(reinterpret_cast<void*>(place), &bases);
    routine->start = routine->entry ? reinterpret_cast<std::uint64_t>(bases.func) : 0;
    routine->after_call = after_call;
    return routine->entry != nullptr;
  };
  if (find(address, false) && routine->start < address) return true;
  if (!follows_call(address)) return routine->entry != nullptr;
  return find(address - 1, true);
}

struct Walk {
  AMD_CONTEXT* context;
  int frame;  // 0: unwind_from.S, 1: the context's own, 2: its caller
};

_Unwind_Reason_Code take_frame(_Unwind_Context* frame, void* argument) {
  auto* const walk = static_cast<Walk*>(argument);
  constexpr int kCaller = 2;
  if (walk->frame++ < kCaller) return _URC_NO_REASON;
  for (const auto& [number, cell] : kKeptRegisters) {
    walk->context->*cell = _Unwind_GetGR(frame, number);
  }
  walk->context->Rip = _Unwind_GetIP(frame);
  walk->context->Rsp = _Unwind_GetCFA(frame);
  return _URC_END_OF_STACK;
}

void describe(const AMD_CONTEXT& context, StackFrame64* frame) {
  frame->pc.offset = context.Rip;
  frame->stack.offset = context.Rsp;
  frame->frame.offset = context.Rbp;
}

struct Index {
  std::uint64_t address;
  void* found;
};

int find_index(dl_phdr_info* module, std::size_t, void* argument) {
  auto* const index = static_cast<Index*>(argument);
  bool inside = false;
  std::uint64_t table = 0;
  for (int i = 0; i < module->dlpi_phnum; ++i) {
    const ElfW(Phdr)& header = module->dlpi_phdr[i];
    const std::uint64_t start = module->dlpi_addr + header.p_vaddr;
    if (header.p_type == PT_LOAD) {
      inside |= index->address >= start && index->address - start < header.p_memsz;
    } else if (header.p_type == PT_GNU_EH_FRAME) {
      table = start;
    }
  }
  if (!inside) return 0;
  index->found = reinterpret_cast<void*>(table);
  return 1;
}

}  // namespace

bool is_host_code(std::uint64_t address) {
  HostRoutine routine;
  return find_host_routine(address, &routine);
}

// The unwinder trusts the stack; its fault on a damaged one jumps back here.
bool step_over_host_frame(AMD_CONTEXT* context) {
  HostRoutine routine;
  if (!find_host_routine(context->Rip, &routine)) return false;
  AMD_CONTEXT before = *context;
  Walk walk{context, 0};
  sigjmp_buf point;
  if (sigsetjmp(point, 0) != 0) {
    set_recovery_point(nullptr);
    return false;
  }
  set_recovery_point(&point);
  (routine.after_call ? tarn_unwind_from_return : tarn_unwind_from_instruction)(&before,
                                                                                &take_frame, &walk);
  constexpr int kWholeWalk = 3;
  const bool stepped = walk.frame >= kWholeWalk && context->Rip != 0;
  if (stepped) {
    restore_kept_vectors(routine.entry, routine.start, before.Rip - (routine.after_call ? 1 : 0),
                         context->Rsp, context);
  }
  set_recovery_point(nullptr);
  return stepped;
}

Bool SymInitialize(Handle process, const char*, Bool) {
  if (process == GetCurrentProcess()) return 1;
  SetLastError(kErrorInvalidHandle);
  return 0;
}

Bool StackWalk64(std::uint32_t machine, Handle, Handle, StackFrame64* frame, AMD_CONTEXT* context,
                 void*, FunctionTableAccess, ModuleBaseAccess, void*) {
  if (machine != kMachineAmd64) return 0;
  if (!frame->is_virtual) {
    frame->is_virtual = 1;
    describe(*context, frame);
    return 1;
  }
  if (!step_over_host_frame(context)) return 0;
  describe(*context, frame);
  return 1;
}

// The library's own routines have the names under which programs call them;
// those that it does not export have none.
Bool SymGetSymFromAddr64(Handle, std::uint64_t address, std::uint64_t* displacement,
                         Symbol64* symbol) {
  const char* name = nullptr;
  HostRoutine routine;
  if (find_host_routine(address, &routine)) {
    name = native_routine_name(reinterpret_cast<const void*>(routine.start));
    symbol->address = routine.start;
  }
  Dl_info info{};
  if (!name && dladdr(reinterpret_cast<void*>(address), &info) != 0 && info.dli_sname) {
    name = info.dli_sname;
    symbol->address = reinterpret_cast<std::uint64_t>(info.dli_saddr);
  }
  if (!name) {
    SetLastError(kErrorProcedureNotFound);
    return 0;
  }
  *displacement = address - symbol->address;
  std::uint32_t length = 0;
  for (; name[length] && length + 1 < symbol->longest_name; ++length) {
    symbol->name[length] = name[length];
  }
  symbol->name[length] = '\0';
  return 1;
}

std::uint64_t SymGetModuleBase64(Handle, std::uint64_t address) {
  Module module = nullptr;
  GetModuleHandleExA(kModuleFromAddress, reinterpret_cast<const void*>(address), &module);
  return reinterpret_cast<std::uint64_t>(module);
}

void* SymFunctionTableAccess64(Handle, std::uint64_t address) {
  Index index{address, nullptr};
  dl_iterate_phdr(&find_index, &index);
  return index.found;
}

}  // namespace tarn::platform
