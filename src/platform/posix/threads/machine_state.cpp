#include <string.h>

#include "platform/posix/threads/threads.h"

namespace tarn::platform {
namespace {

// Control, integer, segment and floating-point parts are valid.
constexpr std::uint32_t kContextFlags = 0x0010000F;
constexpr std::size_t kFxSaveSize = 512;
constexpr std::size_t kFxSaveMxcsr = 24;

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

// Of ContextFlags.
constexpr std::uint32_t kControlPart = 1, kIntegerPart = 2, kSegmentPart = 4, kFloatPart = 8;

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

void copy_context_parts(const AMD_CONTEXT& from, std::uint32_t parts, AMD_CONTEXT* to) {
  if ((parts & kControlPart) != 0) {
    to->Rip = from.Rip;
    to->Rsp = from.Rsp;
    to->EFlags = from.EFlags;
    to->SegCs = from.SegCs;
    to->SegSs = from.SegSs;
  }
  if ((parts & kIntegerPart) != 0) {
    for (const auto& [number, cell] : kRegisters) {
      if (number != REG_RIP && number != REG_RSP) to->*cell = from.*cell;
    }
  }
  if ((parts & kSegmentPart) != 0) {
    to->SegDs = from.SegDs;
    to->SegEs = from.SegEs;
    to->SegFs = from.SegFs;
    to->SegGs = from.SegGs;
  }
  if ((parts & kFloatPart) != 0) {
    to->MxCsr = from.MxCsr;
    memcpy(to->FxSaveArea, from.FxSaveArea, kFxSaveSize);
  }
}

}  // namespace tarn::platform
