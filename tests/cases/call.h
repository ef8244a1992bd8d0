// One call of a routine with every register stated.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/abi.h"

namespace tarn::cases {

// What a routine preserves.
struct Preserved {
  std::uint64_t general[8];  // rbx, rbp, rsi, rdi, r12 to r15
  std::uint64_t xmm[10][2];  // xmm6 to xmm15
};

struct Call {
  std::uint64_t routine;
  std::uint64_t frame;  // of the thunk
  std::uint64_t stack_count;
  const std::uint64_t* stack;
  std::uint64_t rsp_before;
  std::uint64_t rcx_in, rdx_in, r8_in;
  std::uint64_t xmm_in[4][2];
  Preserved before;
  std::uint64_t r9_in;
  std::uint32_t mxcsr_in, control_in;
  std::uint64_t rax_in;
  // What the routine leaves.
  std::uint64_t rax, flags, rcx, rdx, rsp_after;
  std::uint32_t mxcsr;
  std::uint8_t x87[108];  // FSAVE's image
  std::uint64_t xmm0[2];
  Preserved after;
};
static_assert(offsetof(Call, before) == 128 && offsetof(Call, r9_in) == 352);
static_assert(offsetof(Call, rax) == 376 && offsetof(Call, mxcsr) == 416);
static_assert(offsetof(Call, x87) == 420 && offsetof(Call, xmm0) == 528);
static_assert(offsetof(Call, after) == 544);

extern "C" TARNAPI void call_routine(Call* call);
// Where a fault within the routine goes on: call_routine returns.
extern "C" void leave_routine();

}  // namespace tarn::cases
