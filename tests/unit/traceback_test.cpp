#include "failure/traceback.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "failure/image_tables.h"
#include "failure/report.h"
#include "failure/safe_memory.h"
#include "failure/unwind_data.h"
#include "platform/pe_format.h"
#include "platform/unwind_records.h"
#include "strings/c_string.h"
#include "tests/support/guarded_pages.h"
#include "tests/support/raised.h"

namespace {

namespace platform = tarn::platform;
namespace pe = tarn::pe;
using Bytes = std::vector<std::uint8_t>;
using tarn::test::GuardedPages;

std::uint64_t address_of(const void* p) { return reinterpret_cast<std::uint64_t>(p); }

template <class T>
void add(Bytes* bytes, T value) {
  const auto* const raw = reinterpret_cast<const std::uint8_t*>(&value);
  bytes->insert(bytes->end(), raw, raw + sizeof value);
}

TEST(Traceback, StepsOverBothPrologues) {
  alignas(16) std::uint64_t stack[64];
  for (int i = 0; i < 64; ++i) stack[i] = 0x1000u + static_cast<std::uint64_t>(i);
  const struct {
    const char* name;
    Bytes code;
    std::uint64_t offset;  // of Rip
    int return_slot;       // in the stack; -1: the context stays
  } cases[] = {
      {"before the subtraction", {0x48, 0x83, 0xEC, 0x38}, 0, 0},
      {"behind a small frame", {0x48, 0x83, 0xEC, 0x38}, 4, 7},
      {"a frame of 32 bits", {0x48, 0x81, 0xEC, 0x98, 0, 0, 0}, 20, 19},
      {"large, before the call",
       {0xC7, 0xC0, 0x40, 0, 0, 0, 0xE8, 0, 0, 0, 0, 0x48, 0x29, 0xC4},
       6,
       0},
      {"large, on the subtraction",
       {0xC7, 0xC0, 0x40, 0, 0, 0, 0xE8, 0, 0, 0, 0, 0x48, 0x29, 0xC4},
       11,
       0},
      {"large, behind it", {0xC7, 0xC0, 0x40, 0, 0, 0, 0xE8, 0, 0, 0, 0, 0x48, 0x29, 0xC4}, 14, 8},
      {"large with REX.W",
       {0x48, 0xC7, 0xC0, 0x40, 0, 0, 0, 0xE8, 0, 0, 0, 0, 0x48, 0x29, 0xC4},
       15,
       8},
      {"large, short move", {0xB8, 0x40, 0, 0, 0, 0xE8, 0, 0, 0, 0, 0x48, 0x29, 0xC4}, 13, 8},
      {"a push first", {0x53, 0x48, 0x83, 0xEC, 0x38}, 5, -1},
      {"a move without a call", {0xC7, 0xC0, 0x40, 0, 0, 0, 0xC3}, 6, -1},
  };
  for (const auto& c : cases) {
    Bytes code = c.code;
    code.resize(64, 0x90);
    platform::AMD_CONTEXT context{};
    context.Rip = address_of(code.data()) + c.offset;
    context.Rsp = address_of(stack);
    const std::uint64_t rip = context.Rip;
    tarn::find_previous_frame(&context, address_of(code.data()));
    if (c.return_slot < 0) {
      EXPECT_EQ(context.Rip, rip) << c.name;
      EXPECT_EQ(context.Rsp, address_of(stack)) << c.name;
    } else {
      EXPECT_EQ(context.Rip, stack[c.return_slot]) << c.name;
      EXPECT_EQ(context.Rsp, address_of(stack + c.return_slot + 1)) << c.name;
    }
  }
}

TEST(Traceback, EndsForAnAddressOfNoImageAndAStackOfNoMemory) {
  char text[tarn::kTraceStepSize];
  for (const std::uint64_t rip : {0ull, 0x10ull, 0x7123456789A0ull, ~0ull, 0xF0F0F0F0F0F0F0F0ull}) {
    platform::AMD_CONTEXT context{};
    context.Rip = rip;
    EXPECT_EQ(tarn::trace_back_once(platform::GetCurrentProcess(), text, &context), 0) << rip;
    EXPECT_STREQ(text, "");
  }
  // Through this program's own frames with a stack pointer that leads nowhere.
  platform::AMD_CONTEXT context{};
  context.Rip = address_of(reinterpret_cast<const void*>(&tarn::strlen));
  int steps = 0;
  while (steps < 100 && tarn::trace_back_once(platform::GetCurrentProcess(), text, &context)) {
    ++steps;
  }
  EXPECT_LT(steps, 100);
}

TEST(Traceback, KnowsItsOwnMachinery) {
  for (const auto callback :
       {&tarn::write_exception, &tarn::details_box, &tarn::process_quit, &tarn::start_window}) {
    EXPECT_EQ(tarn::is_system_callback(address_of(reinterpret_cast<const void*>(callback))), 1);
  }
  EXPECT_EQ(tarn::is_system_callback(tarn::first_address()), 1);
  EXPECT_EQ(tarn::is_system_callback(tarn::last_address()), 1);
  EXPECT_EQ(tarn::is_system_callback(address_of(reinterpret_cast<const void*>(&tarn::strlen))), 0);
  EXPECT_EQ(tarn::is_system_callback(0), 0);
}

// A routine at 0x1000 of a made image, with the codes of its prologue.
class UnwindData : public ::testing::Test {
 protected:
  void SetUp() override {
    pe::DosHeader dos{};
    dos.magic = pe::kDosMagic;
    dos.pe_offset = 0x80;
    std::memcpy(pages_.data(), &dos, sizeof dos);
    pe::NtHeaders headers{};
    headers.magic = pe::kPeMagic;
    headers.optional.magic = pe::kOptionalMagic64;
    headers.optional.directory_count = pe::kDirectoryCount;
    headers.optional.directories[pe::kExceptionDirectory] = {0x400, 24};
    std::memcpy(pages_.data() + 0x80, &headers, sizeof headers);
    const std::uint32_t records[] = {0x1000, 0x1100, 0x500, 0x1100, 0x1180, 0x600};
    std::memcpy(pages_.data() + 0x400, records, sizeof records);
    for (int i = 0; i < 64; ++i) stack_[i] = 0x2000u + static_cast<std::uint64_t>(i);
  }
  void record(std::uint64_t at, std::uint8_t flags, std::uint8_t frame,
              const std::vector<std::uint16_t>& codes) {
    Bytes bytes = {static_cast<std::uint8_t>(1 | flags << 3), 32,
                   static_cast<std::uint8_t>(codes.size()), frame};
    for (const std::uint16_t code : codes) add(&bytes, code);
    std::memcpy(pages_.data() + at, bytes.data(), bytes.size());
  }
  bool step(std::uint64_t offset) {
    context_ = {};
    context_.Rip = address_of(pages_.data()) + offset;
    context_.Rsp = address_of(stack_);
    context_.Rbp = address_of(stack_ + 8);
    return tarn::unwind_by_image_data(address_of(pages_.data()), &context_) ==
           tarn::UnwindStep::kStepped;
  }

  GuardedPages pages_{2 * GuardedPages::kPage};  // the records' and the code's
  std::uint64_t stack_[64];
  platform::AMD_CONTEXT context_;
};

TEST_F(UnwindData, UndoesWhatThePrologueHasDone) {
  // push rbx (at 1), push rsi (at 2), sub rsp,0x20 (at 6), mov [rsp+0x18],rdi (at 11)
  record(0x500, 0, 0, {0x740B, 3, 0x3206, 0x6002, 0x3001});
  ASSERT_TRUE(step(0x1000));
  EXPECT_EQ(context_.Rip, 0x2000u);
  ASSERT_TRUE(step(0x1002));
  EXPECT_EQ(context_.Rsi, 0x2000u);
  EXPECT_EQ(context_.Rbx, 0x2001u);
  EXPECT_EQ(context_.Rip, 0x2002u);
  ASSERT_TRUE(step(0x1080));
  EXPECT_EQ(context_.Rdi, 0x2003u);
  EXPECT_EQ(context_.Rsi, 0x2004u);
  EXPECT_EQ(context_.Rbx, 0x2005u);
  EXPECT_EQ(context_.Rip, 0x2006u);
  EXPECT_EQ(context_.Rsp, address_of(stack_ + 7));
}

TEST_F(UnwindData, FollowsAFrameRegisterALargeFrameAndAChain) {
  // push rbp, sub rsp, lea rbp,[rsp+0x10]: rbp holds stack + 8, the frame is 0x20.
  record(0x500, 0, 0x15, {0x0308, 0x3204, 0x5001});
  ASSERT_TRUE(step(0x1080));
  EXPECT_EQ(context_.Rbp, 0x200Au);
  EXPECT_EQ(context_.Rip, 0x200Bu);
  // A part of a routine that goes on elsewhere: 0x40 bytes here, 0x20 there.
  record(0x600, 4, 0, {0x0104, 8});
  const std::uint32_t chain[] = {0x1000, 0x1100, 0x700};
  std::memcpy(pages_.data() + 0x608, chain, sizeof chain);
  record(0x700, 0, 0, {0x3204});
  ASSERT_TRUE(step(0x1120));
  EXPECT_EQ(context_.Rip, 0x200Cu);
}

TEST_F(UnwindData, TakesCodeWithoutARecordForALeaf) {
  ASSERT_TRUE(step(0x1300));
  EXPECT_EQ(context_.Rip, 0x2000u);
  EXPECT_EQ(context_.Rsp, address_of(stack_ + 1));
}

TEST_F(UnwindData, CarriesOutWhatIsLeftOfAnEpilogue) {
  record(0x500, 0, 0x15, {0x0308, 0x3204, 0x5001});            // by rbp, which is gone
  std::memcpy(pages_.data() + 0x1040, "\x41\x5C\x5D\xC3", 4);  // pop r12, pop rbp, ret
  ASSERT_TRUE(step(0x1040));
  EXPECT_EQ(context_.R12, 0x2000u);
  EXPECT_EQ(context_.Rbp, 0x2001u);
  EXPECT_EQ(context_.Rip, 0x2002u);
  ASSERT_TRUE(step(0x1043));
  EXPECT_EQ(context_.Rip, 0x2000u);
  EXPECT_EQ(context_.Rsp, address_of(stack_ + 1));
}

TEST_F(UnwindData, FindsTheHandlerPastThePrologueAndRestoresXmm) {
  // sub rsp,0x28 (at 4), movaps [rsp+0x10],xmm7 (at 9); two handlers after an odd count.
  record(0x500, 3, 0, {0x7809, 1, 0x4204});
  const std::uint32_t handler = 0x1080;
  std::memcpy(pages_.data() + 0x500 + 4 + 2 * 4, &handler, sizeof handler);
  const platform::MemoryReader reader{[](void*, std::uint64_t from, void* to, std::uint64_t count) {
                                        std::memcpy(to, reinterpret_cast<void*>(from), count);
                                        return true;
                                      },
                                      nullptr};
  for (const std::uint64_t offset : {0x1004, 0x1040}) {
    const platform::FunctionRecord routine{0x1000, 0x1100, 0x500};
    platform::FrameFacts facts;
    context_ = {};
    context_.Rip = address_of(pages_.data()) + offset;
    context_.Rsp = address_of(stack_);
    ASSERT_TRUE(
        platform::unwind_frame(reader, address_of(pages_.data()), &routine, &context_, &facts));
    EXPECT_EQ(context_.Rip, 0x2005u);
    EXPECT_EQ(facts.handler_kinds, offset == 0x1040 ? 3u : 0u);
    EXPECT_EQ(facts.frame, address_of(stack_));
  }
  std::uint64_t xmm7 = 0;
  std::memcpy(&xmm7, context_.FxSaveArea + 160 + 7 * 16, sizeof xmm7);
  EXPECT_EQ(xmm7, 0x2002u);
}

TEST(SafeMemory, UnreadableBytesAreF0) {
  const GuardedPages pages(1);
  std::uint8_t* const last = pages.end() - 4;
  std::memcpy(last, "\x11\x22\x33\x44", 4);
  EXPECT_EQ(tarn::safe_core4(address_of(last)), 0x44332211u);
  EXPECT_EQ(tarn::safe_core1(address_of(last)), 0x11u);
  EXPECT_EQ(tarn::safe_core8(address_of(last)), 0xF0F0F0F0F0F0F0F0u);
  EXPECT_EQ(tarn::safe_core4(0), 0xF0F0F0F0u);
  EXPECT_EQ(tarn::safe_core1(~0ull), 0xF0u);
}

}  // namespace
