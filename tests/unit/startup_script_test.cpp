// Raw scripts, walked by the interpreter of the test's own image.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "process/process_state.h"
#include "process/processor.h"
#include "startup/start_up.h"
#include "storage/secondary_stack.h"
#include "tests/support/raised.h"

#ifdef _WIN32
#define IMAGE_START __ImageBase
#else
#define IMAGE_START __executable_start
#endif

extern "C" {
extern char IMAGE_START[];
extern char tarn_first_cell[];
extern std::uint64_t tarn_script_word;
}

namespace {

using tarn::test::fault_by;
using tarn::test::raised_by;

std::uint64_t offset(const void* address) {
  return static_cast<std::uint64_t>(static_cast<const char*>(address) - IMAGE_START);
}

// A script under construction. Walking it leaves the thread's floating-point
// control and the image's own script as they were.
struct Script {
  unsigned char bytes[400];
  std::size_t size = 0;

  Script& op(unsigned opcode) {
    bytes[size++] = static_cast<unsigned char>(opcode);
    return *this;
  }
  Script& u64(std::uint64_t value) { return raw(&value, 8); }
  Script& u32(std::uint64_t value) { return raw(&value, 4); }
  Script& text(const char* value) { return raw(value, std::strlen(value) + 1); }
  Script& op(unsigned opcode, std::uint64_t operand) { return op(opcode).u64(operand); }
  Script& raw(const void* from, std::size_t count) {
    std::memcpy(bytes + size, from, count);
    size += count;
    return *this;
  }

  // The state of MXCSR that the walk left is stored in *control.
  std::int32_t walk(unsigned* control = nullptr);
};

Script script;  // in the image, since the script word is an image offset

std::int32_t Script::walk(unsigned* control) {
  const std::uint64_t own = tarn_script_word;
  unsigned before, after;
  asm volatile("stmxcsr %0" : "=m"(before));
  tarn_script_word = offset(bytes);
  const std::int32_t result = tarn::__BrackenStartup();
  asm volatile("stmxcsr %0" : "=m"(after));
  asm volatile("ldmxcsr %0" : : "m"(before));
  tarn_script_word = own;
  if (control) *control = after;
  return result;
}

Script& fresh() {
  script.size = 0;
  return script;
}

TEST(StartupScript, RelocatesOnceAndClearsItsOperand) {
  static std::uint64_t cell;
  cell = 0x1234;
  fresh().op(6, offset(&cell)).op(6, 0).op(5, 0);
  EXPECT_NE(script.walk(), 0);
  const auto base = reinterpret_cast<std::uint64_t>(IMAGE_START);
  EXPECT_EQ(cell, base + 0x1234);
  const unsigned char wanted[] = {6, 0, 0, 0, 0, 0, 0, 0, 0, 6, 0};
  EXPECT_EQ(std::memcmp(script.bytes, wanted, sizeof wanted), 0);
  EXPECT_NE(script.walk(), 0);
  EXPECT_EQ(cell, base + 0x1234);
}

TEST(StartupScript, BlocksAreAllocatedDeclaredFilledAndListed) {
  static char names[] = "ONE\0TWO\0THREE";
  static std::uint64_t object = 77, to_one, into_two, to_three;
  into_two = 8;
  const std::int32_t count = tarn::common_block_count;
  const std::int64_t storage = tarn::program_storage;
  fresh().op(12).u32(offset(names));
  script.op(7, 16).op(9, offset(&to_one)).op(7, 0).op(8, offset(&object)).u64(0).op(13);
  script.op(7, 5000).op(9, offset(&into_two));
  script.op(8, offset(&object)).u64(8).op(9, offset(&to_three)).op(5, 0);
  for (int walks = 0; walks < 2; ++walks) {  // the second changes nothing
    script.walk();
    EXPECT_EQ(tarn::common_block_count, count + 3);
    EXPECT_EQ(tarn::program_storage, storage + 5016);
    const tarn::BlockRecord* const three = tarn::common_block_list;
    const tarn::BlockRecord* const two = three->next;
    const tarn::BlockRecord* const one = two->next;
    EXPECT_EQ(std::string(one->name) + two->name + three->name, "ONETWOTHREE");
    EXPECT_EQ(one->size, 16u);
    EXPECT_EQ(two->size, 5000u);
    EXPECT_EQ(three->size, 8u);
    EXPECT_EQ(three->address, &object);
    EXPECT_EQ(to_one, reinterpret_cast<std::uint64_t>(one->address));
    EXPECT_EQ(into_two, reinterpret_cast<std::uint64_t>(two->address) + 8);
    EXPECT_EQ(to_three, reinterpret_cast<std::uint64_t>(&object));
    EXPECT_GT(std::strlen(one->module), 0u);
    EXPECT_EQ(std::string(static_cast<char*>(two->address), 5000), std::string(5000, '\x80'));
    EXPECT_EQ(object, 77u);
  }
}

int calls;
void TARNAPI count_call() {
  ++calls;
  asm volatile("" ::: "rax", "rcx", "rdx", "r8", "r9", "r10", "r11", "memory");
}

TEST(StartupScript, InitialisersRunOnce) {
  calls = 0;
  fresh().op(10, offset(reinterpret_cast<void*>(&count_call))).op(10, 0);
  script.op(10, offset(reinterpret_cast<void*>(&count_call))).op(5, 0);
  script.walk();
  EXPECT_EQ(calls, 2);
  script.walk();
  EXPECT_EQ(calls, 2);
}

TEST(StartupScript, RecordsTheProfileBlockOnEachWalk) {
  static std::uint64_t block;
  fresh().op(15, offset(&block)).op(5, 0);
  for (int walks = 0; walks < 2; ++walks) {
    tarn::profile_block = nullptr;
    script.walk();
    EXPECT_EQ(tarn::profile_block, &block);
  }
}

TEST(StartupScript, BindsRoutinesIntoSlotsOfTheDataSection) {
  // The fourth slot of the image: a cell without a user, behind the first one.
  auto* const slot = reinterpret_cast<tarn::Routine*>(&tarn::__runtime_slots[4]);
  const tarn::Routine before = *slot;
  const std::uint64_t section =
      reinterpret_cast<std::uint64_t>(tarn_first_cell) & ~std::uint64_t{4095};
  const std::uint64_t place = reinterpret_cast<std::uint64_t>(slot) - section;
  static std::uint64_t behind;
  const struct {
    const char *library, *routine;
    tarn::Routine wanted;
  } cases[] = {
      {"KERNEL32.DLL", "GlobalAlloc", tarn::ProcessDynt("GlobalAlloc", "KERNEL32.DLL")},
      {"KERNEL32.DLL", "NoSuchRoutine", tarn::rlo_error},
      {"no_such_library.dll", "Routine", tarn::rlo_error},
  };
  for (const auto& c : cases) {
    behind = 5;
    fresh().op(16).u32(place).text(c.library).text(c.routine).op(6, offset(&behind)).op(5, 0);
    EXPECT_NE(script.walk(), 0);
    EXPECT_EQ(*slot, c.wanted) << c.library << ' ' << c.routine;
    EXPECT_NE(behind, 5u) << "the walk goes on behind the texts";
  }
  *slot = before;
}

TEST(StartupScript, OtherOpcodesHaltTheProcessor) {
  constexpr std::uint32_t kPrivilegedInstruction = 0xC0000096;
  for (const unsigned opcode : {0u, 1u, 4u, 18u, 19u, 127u, 255u}) {
    fresh().op(opcode).op(5, 0);
    EXPECT_EQ(fault_by([] { script.walk(); }).code, kPrivilegedInstruction) << opcode;
  }
}

TEST(StartupScript, ClosingUnmasksThreeExceptionsAndFlushes) {
  unsigned control = 0;
  fresh().op(5, 0);
  EXPECT_NE(script.walk(&control), 0);
  EXPECT_EQ(control & 0xFFC0, 0x9940u);

  volatile double zero = 0, tiny = 1e-300, denormal = 5e-324, quotient, product, sum;
  const auto divided = fault_by([&] {
    asm volatile("ldmxcsr %0" : : "m"(control));
    quotient = 1 / zero;
  });
  EXPECT_EQ(divided.code, 0xC000008Eu);
  unsigned before;
  asm volatile("stmxcsr %0; ldmxcsr %1" : "=m"(before) : "m"(control));
  product = tiny * tiny;
  sum = denormal + zero;
  asm volatile("ldmxcsr %0" : : "m"(before));
  EXPECT_EQ(product, 0);
  EXPECT_EQ(sum, 0);
}

TEST(StartupScript, AnImageThatDemandsAvxIsRefusedWithoutIt) {
  const std::int32_t supported = tarn::tarn_avx_supported;
  fresh().op(14).op(5, 0);
  tarn::tarn_avx_supported = 1;
  EXPECT_NE(script.walk(), 0);
  tarn::tarn_avx_supported = 0;
  EXPECT_EQ(raised_by([] { script.walk(); }).number, 368);
  tarn::tarn_avx_supported = supported;
}

}  // namespace
