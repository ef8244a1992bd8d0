#include "platform/windows/system.h"

namespace tarn::platform {

static_assert(sizeof(ExceptionRecord) == sizeof(EXCEPTION_RECORD));
static_assert(sizeof(AMD_CONTEXT) == sizeof(CONTEXT));
static_assert(sizeof(ExceptionPointers) == sizeof(EXCEPTION_POINTERS));

// Some systems report a denormal operand as an underflow. The MXCSR, whose
// masks are 7 bits above the flags, shows which of the two it was.
static LONG CALLBACK correct_code(EXCEPTION_POINTERS* exception) {
  constexpr std::uint32_t kDenormalFlag = 0x02;
  constexpr std::uint32_t kUnderflowFlag = 0x10;
  DWORD& code = exception->ExceptionRecord->ExceptionCode;
  const std::uint32_t mxcsr = exception->ContextRecord->MxCsr;
  const std::uint32_t raised = mxcsr & ~(mxcsr >> 7);
  if (code == kExceptionFloatUnderflow && (raised & kDenormalFlag) != 0 &&
      (raised & kUnderflowFlag) == 0) {
    code = kExceptionDenormalOperand;
  }
  return kContinueSearch;
}

// The correction runs directly before the handler.
void* AddVectoredExceptionHandler(std::uint32_t first, VectoredHandler handler) {
  if (first == 0) ::AddVectoredExceptionHandler(first, &correct_code);
  void* const added =
      ::AddVectoredExceptionHandler(first, reinterpret_cast<PVECTORED_EXCEPTION_HANDLER>(handler));
  if (first != 0) ::AddVectoredExceptionHandler(first, &correct_code);
  return added;
}

// Some systems return zeros for pages that are reserved or closed.
static bool is_readable(const void* source, std::uint64_t size) {
  const auto begin = reinterpret_cast<std::uint64_t>(source);
  std::uint64_t done = 0;
  while (done < size) {
    MEMORY_BASIC_INFORMATION region;
    if (!::VirtualQuery(reinterpret_cast<const void*>(begin + done), &region, sizeof region) ||
        region.State != MEM_COMMIT || (region.Protect & (PAGE_NOACCESS | PAGE_GUARD))) {
      return false;
    }
    done = reinterpret_cast<std::uint64_t>(region.BaseAddress) + region.RegionSize - begin;
  }
  return true;
}

Bool ReadProcessMemory(Handle process, const void* source, void* destination, std::uint64_t size,
                       std::uint64_t* copied) {
  const bool own = process == ::GetCurrentProcess();  // the handle with all bits set
  if (own && !is_readable(source, size)) {
    if (copied) *copied = 0;
    ::SetLastError(ERROR_PARTIAL_COPY);
    return 0;
  }
  return ::ReadProcessMemory(process, source, destination, size, copied);
}

}  // namespace tarn::platform
