#include "platform/posix/faults/fault_records.h"

#include <string.h>

#include <initializer_list>

#include "platform/exception_codes.h"
#include "platform/posix/threads/threads.h"

namespace tarn::platform {
namespace {

// ---- Context record ---------------------------------------------------------

// Control, integer, segment and floating-point parts are valid.
constexpr std::uint32_t kContextFlags = 0x0010000F;
constexpr std::size_t kFxSaveSize = 512;
constexpr std::size_t kFxSaveMxcsr = 24;
constexpr std::uint32_t kTrapFlag = 0x100;

constexpr struct {
  int linux_register;
  std::uint64_t AMD_CONTEXT::*cell;
} kRegisters[] = {
    {REG_RAX, &AMD_CONTEXT::Rax}, {REG_RCX, &AMD_CONTEXT::Rcx}, {REG_RDX, &AMD_CONTEXT::Rdx},
    {REG_RBX, &AMD_CONTEXT::Rbx}, {REG_RSP, &AMD_CONTEXT::Rsp}, {REG_RBP, &AMD_CONTEXT::Rbp},
    {REG_RSI, &AMD_CONTEXT::Rsi}, {REG_RDI, &AMD_CONTEXT::Rdi}, {REG_R8, &AMD_CONTEXT::R8},
    {REG_R9, &AMD_CONTEXT::R9},   {REG_R10, &AMD_CONTEXT::R10}, {REG_R11, &AMD_CONTEXT::R11},
    {REG_R12, &AMD_CONTEXT::R12}, {REG_R13, &AMD_CONTEXT::R13}, {REG_R14, &AMD_CONTEXT::R14},
    {REG_R15, &AMD_CONTEXT::R15}, {REG_RIP, &AMD_CONTEXT::Rip},
};

// What a user-mode program may set of the flags: the arithmetic flags, trap,
// direction and alignment check.
constexpr std::uint32_t kSettableFlags = 0x00240DD5;
constexpr std::uint32_t kSettableMxcsr = 0x0000FFFF;
// The kernel's own words at the end of the floating-point image stay.
constexpr std::size_t kFxSaveUserSize = 416;

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

void take_context(const ucontext_t& from, AMD_CONTEXT* to) {
  const greg_t* const registers = from.uc_mcontext.gregs;
  to->ContextFlags = kContextFlags;
  for (const auto& [linux_register, cell] : kRegisters) {
    to->*cell = static_cast<std::uint64_t>(registers[linux_register]);
  }
  to->EFlags = static_cast<std::uint32_t>(registers[REG_EFL]);
  // cs, gs, fs and ss share one word, 16 bits each.
  const auto segments = static_cast<std::uint64_t>(registers[REG_CSGSFS]);
  to->SegCs = static_cast<std::uint16_t>(segments);
  to->SegGs = static_cast<std::uint16_t>(segments >> 16);
  to->SegFs = static_cast<std::uint16_t>(segments >> 32);
  to->SegSs = static_cast<std::uint16_t>(segments >> 48);
  asm("mov %%ds, %0" : "=r"(to->SegDs));
  asm("mov %%es, %0" : "=r"(to->SegEs));
  if (from.uc_mcontext.fpregs) {
    memcpy(to->FxSaveArea, from.uc_mcontext.fpregs, kFxSaveSize);
    memcpy(&to->MxCsr, to->FxSaveArea + kFxSaveMxcsr, sizeof to->MxCsr);
  }
}

void put_context(const AMD_CONTEXT& from, ucontext_t* to) {
  greg_t* const registers = to->uc_mcontext.gregs;
  for (const auto& [linux_register, cell] : kRegisters) {
    registers[linux_register] = static_cast<greg_t>(from.*cell);
  }
  const auto old_flags = static_cast<std::uint32_t>(registers[REG_EFL]);
  registers[REG_EFL] = (from.EFlags & kSettableFlags) | (old_flags & ~kSettableFlags);
  if (to->uc_mcontext.fpregs) {
    auto* const image = reinterpret_cast<std::uint8_t*>(to->uc_mcontext.fpregs);
    memcpy(image, from.FxSaveArea, kFxSaveUserSize);
    // The record has MxCsr twice; the system takes the first.
    const std::uint32_t mxcsr = from.MxCsr & kSettableMxcsr;
    memcpy(image + kFxSaveMxcsr, &mxcsr, sizeof mxcsr);
  }
}

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
