#include "platform/posix/faults/fault_records.h"

#include <initializer_list>

#include "platform/exception_codes.h"
#include "platform/posix/threads/threads.h"

namespace tarn::platform {
namespace {

constexpr std::uint32_t kTrapFlag = 0x100;

// ---- What a fault was -------------------------------------------------------

// In both the MXCSR and the x87 status word, bits 0 to 5, in the order in
// which the processor looks at them.
constexpr struct {
  std::uint32_t flag;
  std::uint32_t code;
} kFloatFlags[] = {
    {0x01, kExceptionInvalidOperation},  {0x02, kExceptionDenormalOperand},
    {0x04, kExceptionFloatDivideByZero}, {0x08, kExceptionFloatOverflow},
    {0x10, kExceptionFloatUnderflow},    {0x20, kExceptionInexactResult},
};
constexpr std::uint32_t kX87StackFault = 0x41;  // invalid operation by the register stack
constexpr int kMxcsrMaskShift = 7;

std::uint32_t float_code(std::uint32_t raised) {
  for (const auto& [flag, code] : kFloatFlags) {
    if (raised & flag) return code;
  }
  return kExceptionInvalidOperation;
}

bool byte_at(std::uint64_t address, std::uint8_t* byte) {
  std::uint64_t copied = 0;
  return ReadProcessMemory(GetCurrentProcess(), reinterpret_cast<const void*>(address), byte, 1,
                           &copied) != 0;
}

bool is_one_of(std::uint8_t byte, std::initializer_list<std::uint8_t> bytes) {
  for (const std::uint8_t one : bytes) {
    if (byte == one) return true;
  }
  return false;
}

// Instructions that user mode may not execute: hlt, cli, sti, in and out in all
// their forms, and of the two-byte ones lgdt..lmsw/invlpg, clts, wbinvd, mov to
// and from control and debug registers, wrmsr, rdmsr.
bool is_privileged(std::uint64_t address) {
  constexpr int kLongestInstruction = 15;
  std::uint8_t code = 0;
  for (int i = 0; i < kLongestInstruction && byte_at(address, &code); ++i, ++address) {
    const bool is_rex = (code & 0xF0) == 0x40;
    if (is_rex || is_one_of(code, {0x66, 0x67, 0xF2, 0xF3})) continue;  // size, repetition
    if (code == 0x0F) {
      return byte_at(address + 1, &code) &&
             is_one_of(code, {0x01, 0x06, 0x08, 0x09, 0x20, 0x21, 0x22, 0x23, 0x30, 0x32});
    }
    return is_one_of(code, {0xF4, 0xFA, 0xFB, 0x6C, 0x6D, 0x6E, 0x6F, 0xE4, 0xE5, 0xE6, 0xE7, 0xEC,
                            0xED, 0xEE, 0xEF});
  }
  return false;
}

void access_violation(ExceptionRecord* record, std::uint64_t kind, std::uint64_t address) {
  record->code = kExceptionAccessViolation;
  record->parameter_count = 2;
  record->parameters[0] = kind;
  record->parameters[1] = address;
}

// The pages below the stack: touching them is its overflow.
constexpr std::uint64_t kStackGuardSpan = std::uint64_t{1} << 20;  // the kernel's gap

void page_fault(const ucontext_t& signal, int number, ExceptionRecord* record) {
  const auto error = static_cast<std::uint64_t>(signal.uc_mcontext.gregs[REG_ERR]);
  const auto address = static_cast<std::uint64_t>(signal.uc_mcontext.gregs[REG_CR2]);
  const std::uint64_t kind = error & 0x10 ? 8 : error & 0x02 ? 1 : 0;  // execute, write, read
  access_violation(record, kind, address);
  if (number == SIGBUS) record->code = kExceptionInPageError;  // a mapped file ended
  if (address < stack_low() && stack_low() - address <= kStackGuardSpan) {
    record->code = kExceptionStackOverflow;
  }
}

// The system reports no address for a protection fault: recorded as a read at
// all bits set.
void protection_fault(const AMD_CONTEXT& context, ExceptionRecord* record) {
  if (is_privileged(context.Rip)) {
    record->code = kExceptionPrivilegedInstruction;
  } else {
    access_violation(record, 0, ~std::uint64_t{0});
  }
}

}  // namespace

bool describe_fault(int number, const siginfo_t& info, const ucontext_t& signal,
                    AMD_CONTEXT* context, ExceptionRecord* record) {
  if (info.si_code <= 0) return false;  // sent by kill and the like
  switch (signal.uc_mcontext.gregs[REG_TRAPNO]) {
    case kDivideError:
      record->code = kExceptionIntegerDivideByZero;
      break;
    case kDebug:
      record->code = kExceptionSingleStep;
      context->EFlags &= ~kTrapFlag;  // one step only, unless a handler asks for more
      break;
    case kBreakpoint:
      record->code = kExceptionBreakpoint;
      record->parameter_count = 1;
      context->Rip -= 1;  // on the instruction, as for faults
      break;
    case kOverflow:
      record->code = kExceptionIntegerOverflow;
      break;
    case kBoundRange:
      record->code = kExceptionArrayBounds;
      break;
    case kInvalidOpcode:
      record->code = kExceptionIllegalInstruction;
      break;
    case kStackSegment:
    case kGeneralProtection:
      protection_fault(*context, record);
      break;
    case kPageFault:
      page_fault(signal, number, record);
      break;
    case kX87Error: {
      const std::uint32_t control = context->FxSaveArea[0];
      const std::uint32_t status = context->FxSaveArea[2];
      record->code = (status & kX87StackFault) == kX87StackFault ? kExceptionFloatStackCheck
                                                                 : float_code(status & ~control);
      break;
    }
    case kSimdError:
      record->code = float_code(context->MxCsr & ~(context->MxCsr >> kMxcsrMaskShift));
      break;
    default:
      return false;
  }
  return true;
}

}  // namespace tarn::platform
