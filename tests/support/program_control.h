// The floating-point control of a running program while an object of this
// class lives: DAZ and FTZ; invalid operation, zero divide and overflow trap.
#pragma once

#include <cstdint>

namespace tarn::test {

class ProgramControl {
 public:
  explicit ProgramControl(std::uint16_t x87 = 0x037F) {
    constexpr std::uint32_t kProgramMxcsr = 0x9940;
    asm volatile("stmxcsr %0" : "=m"(mxcsr_));
    asm volatile("fnstcw %0" : "=m"(x87_));
    asm volatile("ldmxcsr %0" : : "m"(kProgramMxcsr));
    asm volatile("fldcw %0" : : "m"(x87));
  }
  ~ProgramControl() {
    asm volatile("fninit\n\tfldcw %0" : : "m"(x87_));
    asm volatile("ldmxcsr %0" : : "m"(mxcsr_));
  }

 private:
  std::uint32_t mxcsr_;
  std::uint16_t x87_;
};

}  // namespace tarn::test
