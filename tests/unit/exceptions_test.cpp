// The platform's exceptions: what handlers are told, in which order they are
// asked, and that the context they change takes effect.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>

#include "platform/platform.h"
#include "process/raising.h"
#include "tests/support/raised.h"

namespace {

using namespace tarn::platform;
using tarn::test::Fault;
using tarn::test::fault_by;
using tarn::test::raised_by;

void set_mxcsr(std::uint32_t value) { asm volatile("ldmxcsr %0" : : "m"(value)); }

std::uint32_t mxcsr() {
  std::uint32_t value;
  asm volatile("stmxcsr %0" : "=m"(value));
  return value;
}

// All traps of the SSE unit masked but those of `unmasked`, bits 0 to 5.
void unmask(std::uint32_t unmasked) { set_mxcsr(0x1F80 & ~(unmasked << 7)); }

void divide(double x, double y) { asm volatile("divsd %1, %0" : "+x"(x) : "x"(y)); }

TEST(Exception, EachFaultHasItsCode) {
  const struct {
    const char* name;
    std::uint32_t code;
    void (*fault)();
  } cases[] = {
      {"int 9", 0xC0000005, [] { asm volatile("int $9"); }},
      {"division by zero", 0xC0000094,
       [] {
         asm volatile("xor %%edx, %%edx; xor %%ecx, %%ecx; idiv %%ecx" ::
                          : "rax", "rcx", "rdx", "cc");
       }},
      {"undefined instruction", 0xC000001D, [] { asm volatile("ud2"); }},
      {"privileged instruction", 0xC0000096, [] { asm volatile("hlt"); }},
      {"the same with a prefix", 0xC0000096,
       [] {
         asm volatile("out %%ax, %%dx" : : "a"(0), "d"(0));
       }},
      {"breakpoint", 0x80000003, [] { asm volatile("int3"); }},
      {"single step", 0x80000004,
       [] {
         asm volatile("pushfq; orl $0x100, (%%rsp); popfq; nop; nop" ::: "memory", "cc");
       }},
      {"SSE divide by zero", 0xC000008E,
       [] {
         unmask(0x04);
         divide(1, 0);
       }},
      {"SSE invalid operation", 0xC0000090,
       [] {
         unmask(0x01);
         divide(0, 0);
       }},
      {"SSE overflow", 0xC0000091,
       [] {
         unmask(0x08);
         divide(1e300, 1e-300);
       }},
      {"SSE underflow", 0xC0000093,
       [] {
         unmask(0x10);
         divide(1e-300, 1e300);
       }},
      {"SSE loss of precision", 0xC000008F,
       [] {
         unmask(0x20);
         divide(1, 3);
       }},
  };
  for (const auto& c : cases) {
    const Fault fault = fault_by([&] { c.fault(); });
    EXPECT_TRUE(fault.faulted) << c.name;
    EXPECT_EQ(fault.code, c.code) << c.name;
    EXPECT_EQ(mxcsr() & 0x1F80u, 0x1F80u) << c.name;
  }
  EXPECT_FALSE(fault_by([] {}).faulted);
}

TEST(Exception, StandsOnTheInstruction) {
  const std::uint8_t trap[] = {0xCD, 0x09}, breakpoint[] = {0xCC};
  const Fault raised = fault_by([] { asm volatile("int $9"); });
  EXPECT_EQ(std::memcmp(reinterpret_cast<void*>(raised.instruction), trap, sizeof trap), 0);
  const Fault stopped = fault_by([] { asm volatile("int3"); });
  EXPECT_EQ(std::memcmp(reinterpret_cast<void*>(stopped.instruction), breakpoint, 1), 0);
}

TEST(Exception, AccessViolationsTellKindAndAddress) {
  auto* const page =
      static_cast<volatile char*>(VirtualAlloc(nullptr, 4096, kMemReserve, kPageNoAccess));
  const auto address = reinterpret_cast<std::uint64_t>(page);
  const struct {
    const char* name;
    Fault fault;
    std::uint64_t access, address;
  } cases[] = {
      {"read", fault_by([&] { (void)page[7]; }), 0, address + 7},
      {"write", fault_by([&] { page[9] = 1; }), 1, address + 9},
      {"outside the address space", fault_by([] {
         asm volatile("mov (%0), %%eax" : : "r"(0x8000000000000000) : "rax");
       }),
       0, ~std::uint64_t{0}},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.fault.code, kExceptionAccessViolation) << c.name;
    EXPECT_EQ(c.fault.access, c.access) << c.name;
    EXPECT_EQ(c.fault.address, c.address) << c.name;
  }
  VirtualFree(const_cast<char*>(page), 0, kMemRelease);
}

TEST(Exception, RaisingWorksNestedRepeatedlyAndOnOtherThreads) {
  for (int round = 0; round < 100; ++round) {
    const auto outer = raised_by([&] {
      EXPECT_EQ(raised_by([&] { tarn::__RuntimeError(round); }).number, round);
      tarn::ReportErrorString_at(std::to_string(round).c_str());
    });
    ASSERT_EQ(outer.text[0], std::to_string(round));
  }
  std::thread([] { EXPECT_EQ(raised_by([] { tarn::__RuntimeError(7); }).number, 7); }).join();
}

std::string calls;   // one letter a handler called
bool ordered_fault;  // the one that these handlers look at: they stay installed

template <char letter>
TARNAPI std::int32_t note(ExceptionPointers*) {
  if (ordered_fault) calls += letter;
  return kContinueSearch;
}

// Behind a ud2, with other values in a register, an SSE register and the MXCSR.
TARNAPI std::int32_t repair(ExceptionPointers* exception) {
  if (!ordered_fault) return kContinueSearch;
  EXPECT_EQ(exception->record->code, 0xC000001D);
  ordered_fault = false;
  calls += 'R';
  AMD_CONTEXT& context = *exception->context;
  EXPECT_EQ(context.Rbx, 1234u);
  EXPECT_EQ(exception->record->address, reinterpret_cast<void*>(context.Rip));
  const double value = 2.5;
  double old;
  std::memcpy(&old, context.FxSaveArea + 160 + 16 * 9, sizeof old);  // xmm9
  EXPECT_EQ(old, 1.5);
  std::memcpy(context.FxSaveArea + 160 + 16 * 9, &value, sizeof value);
  EXPECT_EQ(context.MxCsr & 0xFFC0, 0x1F80u);
  context.MxCsr = 0x3F80;  // round down
  std::memcpy(context.FxSaveArea + 24, &context.MxCsr, sizeof context.MxCsr);
  context.Rbx = 4321;
  context.Rip += 2;
  return kContinueExecution;
}

TEST(Exception, HandlersAreAskedInOrderAndMayRepair) {
  const struct {
    std::uint32_t first;
    VectoredHandler handler;
  } handlers[] = {
      {0, &note<'c'>}, {0, &repair}, {0, &note<'x'>}, {1, &note<'b'>}, {1, &note<'a'>},
  };
  for (const auto& h : handlers) {
    ASSERT_NE(AddVectoredExceptionHandler(h.first, h.handler), nullptr);
  }
  std::uint64_t rbx = 1234;
  double value = 1.5;
  ordered_fault = true;
  asm volatile("movsd %1, %%xmm9; ud2; movsd %%xmm9, %1"
               : "+b"(rbx), "+m"(value)
               :
               : "xmm9", "memory");
  EXPECT_EQ(rbx, 4321u);
  EXPECT_EQ(value, 2.5);
  EXPECT_EQ(mxcsr() & 0xFFC0, 0x3F80u);
  set_mxcsr(0x1F80);
  EXPECT_EQ(calls, "abcR");
}

TEST(ReadProcessMemory, CopiesWhatIsReadableAndNeverFaults) {
  const char text[] = "readable";
  char copy[sizeof text] = "";
  std::uint64_t copied = 0;
  EXPECT_NE(ReadProcessMemory(GetCurrentProcess(), text, copy, sizeof text, &copied), 0);
  EXPECT_EQ(copied, sizeof text);
  EXPECT_STREQ(copy, text);
  EXPECT_NE(ReadProcessMemory(invalid_handle(), text, copy, sizeof text, nullptr), 0);
  auto* const pages = static_cast<char*>(VirtualAlloc(nullptr, 8192, kMemReserve, kPageNoAccess));
  VirtualAlloc(pages, 4096, kMemCommit, kPageReadWrite);
  for (const void* source :
       {static_cast<const void*>(nullptr), static_cast<const void*>(pages + 4096),
        static_cast<const void*>(pages + 4093),
        reinterpret_cast<const void*>(~std::uint64_t{0} - 2)}) {
    EXPECT_EQ(ReadProcessMemory(GetCurrentProcess(), source, copy, 8, &copied), 0) << source;
    EXPECT_LT(copied, 8u) << source;
  }
  VirtualFree(pages, 0, kMemRelease);
}

}  // namespace
