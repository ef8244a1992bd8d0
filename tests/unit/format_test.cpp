#include "streams/format.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "failure/exception_table.h"
#include "tests/support/raised.h"

namespace {

using tarn::Slot;

TEST(Format, ATrapRoutineThatGoesOnAfterTheRaiseGetsTheFailureFromTheEngine) {
  tarn::test::initialise();
  const std::vector<Slot> slots(12'501, 1);
  std::vector<char> buffer(60'000);
  std::string many;
  for (int i = 0; i < 12'500; ++i) many += "%lld";
  const std::int32_t access = 0;
  const tarn::TrapRoutine before = tarn::TRAP_EXCEPTION(
      &access,
      [](tarn::platform::AMD_CONTEXT* context, tarn::platform::ExceptionRecord*, std::int32_t)
          TARNAPI -> std::int32_t {
            context->Rip += 2;
            return tarn::TARN_RESUME;
          });
  for (const char* last : {"%d", "%s"}) {
    EXPECT_EQ(tarn::vsprintf(buffer.data(), (many + last).c_str(), slots.data()), -1);
  }
  tarn::TRAP_EXCEPTION(&access, before);
}

TEST(Format, BoundedTextIsTheBeginningOfTheWholeText) {
  const double number = -12.75;
  Slot slots[] = {42, reinterpret_cast<Slot>("some text"), 0, 255, ~Slot{0}};
  std::memcpy(&slots[2], &number, sizeof number);
  const char format[] = "<%10d|%-12s|%+012.3f|%#x|%llu>";
  char whole[200];
  const std::int32_t length = tarn::vsprintf(whole, format, slots);
  for (std::size_t size = 0; size < 100; ++size) {
    std::vector<char> cut(size + 1, '#');
    EXPECT_EQ(tarn::format_bounded(cut.data(), size, format, slots), length);
    EXPECT_EQ(cut[size], '#');
    if (size == 0) continue;
    EXPECT_EQ(std::string(cut.data()), std::string(whole).substr(0, size - 1));
  }
}

}  // namespace
