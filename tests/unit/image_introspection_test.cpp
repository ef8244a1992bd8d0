#include "services/image_introspection.h"
#include "process/process_state.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "services/resource_directory.h"
#include "tests/support/captured.h"
#include "tests/support/raised.h"

namespace {

using tarn::test::fault_by;
using tarn::test::output_of;
using tarn::test::with_crlf;

// Puts a list of blocks in place of the process's own.
struct BlockList {
  tarn::tarn_block_record* const head = tarn::common_block_list;
  const std::int32_t count = tarn::common_block_count;
  explicit BlockList(std::vector<tarn::tarn_block_record>& blocks) {
    for (std::size_t i = 0; i + 1 < blocks.size(); ++i) blocks[i].next = &blocks[i + 1];
    tarn::common_block_list = blocks.empty() ? nullptr : blocks.data();
    tarn::common_block_count = static_cast<std::int32_t>(blocks.size());
  }
  ~BlockList() {
    tarn::common_block_list = head;
    tarn::common_block_count = count;
  }
};

constexpr char kHeading[] =
    "Block name                 Address                        Size     Module\n\n";

TEST(CommonBlocks, AreSortedByNameWhateverTheirOrder) {
  std::vector<tarn::tarn_block_record> none;
  {
    const BlockList list(none);
    EXPECT_EQ(output_of([] { tarn::__display_common_info(); }), with_crlf(kHeading));
    EXPECT_EQ(tarn::__get_common_info(), nullptr);
  }
  const auto address = [](std::uint64_t value) { return reinterpret_cast<void*>(value); };
  std::vector<tarn::tarn_block_record> blocks = {
      {nullptr, "zebra", address(0x140001000), 0x10, "b.dll"},
      {nullptr, "A_NAME_OF_MORE_THAN_25_CHARACTERS", address(0xFEDCBA9876543210), 0x123456789,
       "a.exe"},
      {nullptr, "Apple", address(0), 0, nullptr},
  };
  const BlockList list(blocks);
  EXPECT_EQ(tarn::__get_common_info(), blocks.data());
  EXPECT_EQ(output_of([] { tarn::__display_common_info(); }),
            with_crlf(std::string(kHeading) +
                      "A_NAME_OF_MORE_THAN_25_CHARACTERS  fedcba9876543210         123456789     "
                      "a.exe\n"
                      "Apple                      0000000000000000                 0     \n"
                      "zebra                      0000000140001000                10     b.dll\n"));
  EXPECT_EQ(fault_by([] { tarn::__dbgget_common_info(); }).code, 0x80000003u);
}

TEST(Resources, AnImageWithoutThemMakesNoFile) {
  const std::string printed = output_of([] { tarn::__dump_resource_section(); });
  EXPECT_EQ(printed.rfind("image_base=", 0), 0u) << printed;
  EXPECT_NE(printed.find(" resource_section_length=0\r\nNo resource data to dump\r\n"),
            std::string::npos)
      << printed;
}

// ---- Trees -------------------------------------------------------------------

constexpr std::uint32_t kHigh = 0x80000000;
constexpr std::uint32_t kImageOffset = 0x5000;

struct Section {
  std::vector<std::uint8_t> bytes;

  std::uint32_t here() const { return static_cast<std::uint32_t>(bytes.size()); }
  Section& u16(std::uint32_t value) { return raw(&value, 2); }
  Section& u32(std::uint32_t value) { return raw(&value, 4); }
  Section& raw(const void* from, std::size_t count) {
    const auto* const start = static_cast<const std::uint8_t*>(from);
    bytes.insert(bytes.end(), start, start + count);
    return *this;
  }
  Section& directory(std::uint32_t named, std::uint32_t numbered) {
    return u32(0).u32(0).u32(0).u16(named).u16(numbered);
  }
  Section& name(const std::string& text) {
    u16(static_cast<std::uint32_t>(text.size()));
    for (const char c : text) u16(static_cast<std::uint8_t>(c));
    return *this;
  }
  std::string printed(const char* label = "Root") const {
    // Ends with the block, so that a sanitizer sees what is read behind it.
    std::vector<std::uint8_t> exact(bytes);
    std::string text = output_of([&] {
      tarn::display_resource_tree(
          {exact.data(), static_cast<std::uint32_t>(exact.size()), kImageOffset}, label);
    });
    std::erase(text, '\r');
    return text;
  }
};

TEST(Resources, ATreeOfNamesNumbersAndData) {
  Section s;
  s.directory(2, 2);  // at 0
  s.u32(kHigh | 0x60)
      .u32(kHigh | 0x30)  // a name, a directory
      .u32(77)
      .u32(0x50)  // a number where a name should be, data
      .u32(5)
      .u32(0x50)  // a number, data
      .u32(kHigh | 0x70)
      .u32(0x50);                        // a name where a number should be
  s.u32(1).u32(0).u32(0).u16(0).u16(1);  // at 0x30, corrupt
  s.u32(0x409).u32(0x50);
  s.u32(0).u32(0);
  ASSERT_EQ(s.here(), 0x50u);
  s.u32(kImageOffset + 0x80).u32(0x123).u32(0).u32(0);
  s.name("MAIN");
  s.bytes.resize(0x70);
  s.name("\xE4x");
  EXPECT_EQ(s.printed(),
            "Directory Root at 00\n"
            "Name pointer(MAIN) from 0 to Directory sub at 030\n"
            "Probable corruption - zero directory fields contain data\n"
            "ID 0409 pointer from 0x30 to actual resource at rel position 0x80, length 0x123\n"
            "Unexpected ID 04d pointer from 0x0 to actual resource at rel position 0x80, length "
            "0x123\n"
            "ID 05 pointer from 0x0 to actual resource at rel position 0x80, length 0x123\n"
            "Unexpected name pointer(\xE4x) from 0x0 to actual resource at rel position 0x80, "
            "length 0x123\n");
}

}  // namespace
