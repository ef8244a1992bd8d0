#include "strings/character_class.h"

#include <gtest/gtest.h>

#include <cctype>

#include "process/process_state.h"
#include "tests/support/raised.h"

namespace {

TEST(CharacterClass, AgreesWithTheCLocaleAndTakesHighBytesAsPrintable) {
  tarn::test::initialise();
  EXPECT_EQ(tarn::runtime_cell(tarn::kCellClassTable),
            reinterpret_cast<tarn::Slot>(&tarn::character_class_table));
  const struct {
    std::uint16_t bit;
    int (*member)(int);
    bool high;
  } classes[] = {
      {0x0001, std::isprint, true},   {0x0002, std::isspace, false}, {0x0004, std::isupper, false},
      {0x0008, std::islower, false},  {0x0010, std::iscntrl, false}, {0x0020, std::isdigit, false},
      {0x0040, std::isxdigit, false}, {0x0100, std::isalpha, false}, {0x0200, std::ispunct, false},
      {0x0400, std::isalnum, false},  {0x0800, std::isgraph, true},
  };
  for (int i = 0; i < 256; ++i) {
    unsigned wanted = i >= 0x80 ? 0x0080 : 0;
    for (const auto& c : classes) {
      if (i >= 0x80 ? c.high : c.member(i) != 0) wanted |= c.bit;
    }
    EXPECT_EQ(tarn::character_class_table[i], wanted) << i;
    EXPECT_EQ(tarn::character_classes(i), wanted) << i;
  }
  for (const int outside : {-1, -23, 256, -2'000'000'000}) {
    EXPECT_EQ(tarn::character_classes(outside), 0x0010) << outside;
  }
}

}  // namespace
