// The exception handler's order, and failures that end a process: those run in
// child processes, whose standard output is sent to standard error for the test
// to see.

#include "failure/report.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "failure/debugger_stubs.h"
#include "failure/divide_error.h"
#include "failure/exception_handler.h"
#include "failure/exception_table.h"
#include "failure/runtime_error.h"
#include "failure/trap_routines.h"
#include "process/process_state.h"
#include "process/raising.h"
#include "storage/expanding_region.h"
#include "streams/file_stream.h"
#include "tests/support/captured.h"
#include "tests/support/raised.h"

namespace {

namespace platform = tarn::platform;
using tarn::test::output_of;

using Bytes = std::vector<std::uint8_t>;

constexpr std::int32_t kDeclined = 0;

std::uint64_t address_of(const void* p) { return reinterpret_cast<std::uint64_t>(p); }

void read_null() {
  const volatile char* volatile nowhere = reinterpret_cast<const char*>(8);
  static_cast<void>(*nowhere);
}

// In the child: output to standard error, and the report as one line.
void prepare(bool dialog) {
  tarn::test::initialise();
  tarn::standard_stream(tarn::kCellStdout)->handle = platform::GetStdHandle(-12);
  tarn::kill_dialogbox = !dialog;
}

std::int32_t handle(std::uint32_t code, platform::AMD_CONTEXT* context) {
  platform::ExceptionRecord record{};
  record.code = code;
  platform::ExceptionPointers exception{&record, context};
  return tarn::__system_exception_handler(&exception);
}

class Handler : public ::testing::Test {
 protected:
  void SetUp() override { tarn::test::initialise(); }
  platform::AMD_CONTEXT context_{};
};

TEST_F(Handler, PassesOnWhatIsNotItsOwn) {
  tarn::report_busy = 1;
  EXPECT_EQ(handle(0x406D1388, &context_), tarn::TARN_NOT_AN_ERROR);  // a thread's name
  EXPECT_EQ(tarn::report_busy, 0);
  EXPECT_EQ(handle(0xE06D7363, &context_), tarn::TARN_NOT_AN_ERROR);  // other code's C++
  tarn::dump_busy = 1;
  EXPECT_EQ(handle(0xC0000005, &context_), kDeclined);
  tarn::dump_busy = 0;
}

TEST_F(Handler, HasTheContextReadyForATrapRoutine) {
  static char text[tarn::kRegisterDetailsSize];
  const std::int32_t integer_divide = 14;
  const tarn::TrapRoutine before = tarn::TRAP_EXCEPTION(
      &integer_divide,
      [](platform::AMD_CONTEXT*, platform::ExceptionRecord*, std::int32_t) TARNAPI -> std::int32_t {
        tarn::prepare_register_details(text);
        return tarn::TARN_PASS_ON;
      });
  context_.Rax = 0x4711;
  EXPECT_EQ(handle(0xC0000094, &context_), tarn::TARN_PASS_ON);
  EXPECT_EQ(std::string(text, 22), "RAX = 0000000000004711");
  tarn::TRAP_EXCEPTION(&integer_divide, before);
}

TEST_F(Handler, ThreadsGrowARegionAtOnce) {
  constexpr int kThreads = 4, kPages = 4000;
  char* const region = static_cast<char*>(tarn::setup_expanding_region("r", kPages * 4096));
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([=] {
      for (int page = 0; page < kPages; ++page) region[4096 * page + t] = 'r';
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (int page = 0; page < kPages; ++page) {
    ASSERT_EQ(std::string(region + 4096 * page, kThreads + 1), std::string("rrrr\0", 5)) << page;
  }
  EXPECT_NE(tarn::remove_virtual_region(region, 0x8000), 0);
}

TEST_F(Handler, TellsADivisionWithoutRoomFromOneByZero) {
  static const std::uint32_t divisors[] = {0, 7, 0, 0};
  const struct {
    std::uint8_t code[16];
    bool overflow;
  } cases[] = {
      {{0xF7, 0xF9}, true},                             // idiv ecx
      {{0x48, 0xF7, 0xFA}, false},                      // idiv rdx
      {{0x49, 0xF7, 0xF2}, true},                       // div r10
      {{0x66, 0x41, 0xF7, 0xF0}, false},                // div r8w
      {{0xF6, 0xF7}, true},                             // div bh
      {{0x40, 0xF6, 0xF7}, false},                      // div dil
      {{0xF7, 0x7E, 0x04}, true},                       // idiv dword [rsi+4]
      {{0xF7, 0x3E}, false},                            // idiv dword [rsi]
      {{0x4A, 0xF7, 0x7C, 0x2E, 0x08}, false},          // idiv [rsi+r13+8]
      {{0xF7, 0x3D, 4, 0, 0, 0, 0, 0, 0, 0, 1}, true},  // idiv dword [rip+4]
      {{0x90}, false},
  };
  for (const auto& c : cases) {
    context_ = {};
    context_.Rip = reinterpret_cast<std::uint64_t>(c.code);
    context_.Rcx = 1;
    context_.R10 = 1;
    context_.Rbx = 0x100;
    context_.R8 = 0x10000;
    context_.Rsi = reinterpret_cast<std::uint64_t>(divisors);
    EXPECT_EQ(tarn::is_divide_overflow(context_), c.overflow) << int(c.code[0]) << int(c.code[1]);
  }
}

TEST_F(Handler, StubsStopWithTheirAnswerInTheAccumulator) {
  static std::uint64_t answer;
  const std::int32_t breakpoint = 9;
  const tarn::TrapRoutine before = tarn::TRAP_EXCEPTION(
      &breakpoint,
      [](platform::AMD_CONTEXT* context, platform::ExceptionRecord*, std::int32_t)
          TARNAPI -> std::int32_t {
            answer = context->Rax;
            return tarn::TARN_RESUME;
          });
  platform::SetLastError(4711);
  tarn::__debugger_stub_get_last_error();
  EXPECT_EQ(static_cast<std::uint32_t>(answer), 4711u);
  tarn::__debugger_stub_get_focus();
  EXPECT_EQ(static_cast<std::uint32_t>(answer), 0u);
  tarn::TRAP_EXCEPTION(&breakpoint, before);
}

TEST_F(Handler, MatchesInstructionsWithARexPrefix) {
  const tarn::instruction_head sqrtss = {{0xF3, 0x0F, 0x51}, 3, 1};
  const tarn::instruction_head sqrtsd = {{0xF2, 0x0F, 0x51}, 3, 1};
  const tarn::instruction_head strict = {{0xF2, 0x0F, 0x51}, 3, 0};
  const struct {
    const tarn::instruction_head* head;
    Bytes code;
    int matches;
  } cases[] = {
      {&sqrtsd, {0xF2, 0x0F, 0x51, 0xC0}, 1},       {&sqrtsd, {0x48, 0xF2, 0x0F, 0x51}, 1},
      {&sqrtsd, {0xF2, 0x44, 0x0F, 0x51, 0xC0}, 1}, {&sqrtss, {0xF3, 0x0F, 0x51, 0xC0}, 1},
      {&sqrtss, {0xF3, 0x44, 0x0F, 0x51, 0xC0}, 0}, {&sqrtsd, {0xF3, 0x0F, 0x51}, 0},
      {&strict, {0xF2, 0x44, 0x0F, 0x51}, 0},       {&strict, {0xF2, 0x0F, 0x51}, 1},
  };
  int number = 0;
  for (const auto& c : cases) {
    Bytes code = c.code;
    code.resize(32, 0x90);
    EXPECT_EQ(tarn::match_instruction(c.head, address_of(code.data())), c.matches) << number++;
  }
  EXPECT_EQ(tarn::match_instruction(&sqrtsd, 16), 0);
}

TEST_F(Handler, DumpsMemoryInRowsAndInWords) {
  alignas(16) static const char bytes[] = "ABCDEFGHIJKLMNOP\x01\xE9 tail of it.";
  const std::string rows = output_of([] { tarn::dump_local_memory(bytes + 3, 14, 1); });
  EXPECT_NE(rows.find(") " + std::string(9, ' ') +
                      "44 45 46 47 48 - 49 4A 4B 4C 4D 4E 4F 50      DEFGHIJKLMNOP\r\n"),
            std::string::npos)
      << rows;
  // The second row is completed, past the count.
  EXPECT_NE(rows.find(") 01 E9 20 74 61 69 6C 20 - 6F 66 20 69 74 2E 00 "), std::string::npos)
      << rows;
  EXPECT_NE(rows.find("  ?\xE9 tail of it.?"), std::string::npos) << rows;
  const std::string words = output_of([] { tarn::dump_local_memory(bytes, 2, 4); });
  EXPECT_NE(words.find(")   0x44434241\r\n"), std::string::npos) << words;
  EXPECT_NE(words.find(")   0x48474645\r\n"), std::string::npos) << words;
  EXPECT_EQ(output_of([] { tarn::dump_local_memory(bytes, 4, 2); }), "");
  EXPECT_EQ(output_of([] { tarn::dump_local_memory(reinterpret_cast<void*>(64), 1, 4); }),
            "0:00000040)   0xf0f0f0f0\r\n");
}

TEST_F(Handler, TheRegisterDumpEndsInAMissingRoutine) {
  const tarn::test::Raised raised = tarn::test::raised_by([] {
    asm volatile("fldpi; fld1");
    tarn::AmdDumpRegisters();
  });
  asm volatile("fninit");
  EXPECT_EQ(raised.number, 29);
  EXPECT_EQ(raised.text[0], "printfx");
}

class FatalFailure : public ::testing::Test {
 protected:
  void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_F(FatalFailure, InASecondThreadIsReported) {
  EXPECT_EXIT(
      {
        prepare(false);
        std::thread(read_null).join();
      },
      ::testing::ExitedWithCode(1), "Access violation \\(c0000005\\)");
}

std::int32_t call_by_handler(tarn::TrapRoutine routine) {
  platform::AMD_CONTEXT context{};
  context.Rsp = address_of(&context);  // the fault's frame is the caller's
  platform::ExceptionRecord record{};
  platform::ExceptionPointers exception{&record, &context};
  return tarn::call_trap_routine(routine, &exception);
}

TARNAPI std::int32_t end_thread(platform::AMD_CONTEXT*, platform::ExceptionRecord*, std::int32_t) {
  tarn::__close_thread();
  return 0;
}

TARNAPI std::int32_t fail_again(platform::AMD_CONTEXT*, platform::ExceptionRecord*, std::int32_t) {
  static int depth;
  return ++depth > 1 ? depth : call_by_handler(&fail_again);
}

// In a child, for such a thread tells nobody that it ends.
TEST_F(FatalFailure, InARoutineIsReportedAfterManyThreadsEndedInOne) {
  EXPECT_EXIT(
      {
        for (int more_than_the_table_has = 65; more_than_the_table_has > 0;
             --more_than_the_table_has) {
          const platform::Handle thread = platform::CreateThread(
              nullptr, 0,
              [](void*) TARNAPI -> std::uint32_t { return call_by_handler(&end_thread) == 0; },
              nullptr, 0, nullptr);
          platform::WaitForSingleObject(thread, platform::kWaitForever);
          platform::CloseHandle(thread);
        }
        platform::ExitProcess(static_cast<std::uint32_t>(call_by_handler(&fail_again)));
      },
      ::testing::ExitedWithCode(tarn::TARN_REPORT), "");
}

TEST_F(FatalFailure, InsideTheReportEndsTheProcess) {
  EXPECT_EXIT(
      {
        prepare(true);
        tarn::report_busy = 1;
        read_null();
      },
      ::testing::ExitedWithCode(1),
      "Exception \\w+  c0000005\\s+Fatal error!: Brackenmoor exception handler has failed");
}

TEST_F(FatalFailure, OfAnUnknownKindHasItsCode) {
  EXPECT_EXIT(
      {
        prepare(false);
        static platform::AMD_CONTEXT context;
        handle(0xC0001234, &context);
      },
      ::testing::ExitedWithCode(1), "Unknown exception \\(c0001234\\)");
}

TEST_F(FatalFailure, IsToldWithoutAStreamToo) {
  EXPECT_EXIT(
      {
        prepare(false);
        tarn::fclose(tarn::standard_stream(tarn::kCellStdout));
        tarn::runtime_cell(tarn::kCellOutputHandle) =
            reinterpret_cast<tarn::Slot>(platform::GetStdHandle(-12));
        read_null();
      },
      ::testing::ExitedWithCode(1), "Access violation \\(c0000005\\)");
}

}  // namespace
