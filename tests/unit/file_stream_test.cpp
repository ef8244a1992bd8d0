#include "streams/file_stream.h"

#include <gtest/gtest.h>

#include "tests/support/raised.h"

namespace {

using tarn::FILE;
using tarn::test::raised_by;

TEST(Stream, AClosedStandardStreamIsGoneAndItsHandleStays) {
  tarn::test::initialise();
  FILE* const stream = tarn::standard_stream(tarn::kCellStderr);
  ASSERT_NE(stream, nullptr);
  EXPECT_EQ(stream->flags, tarn::kFileWriteMark | tarn::kFileStandardStream);
  const tarn::platform::Handle handle = stream->handle;
  EXPECT_EQ(tarn::fclose(stream), 0);
  EXPECT_EQ(tarn::standard_stream(tarn::kCellStderr), nullptr);
  std::uint32_t written = 0;
  EXPECT_NE(tarn::platform::WriteFile(handle, "", 0, &written, nullptr), 0);
  EXPECT_EQ(raised_by([] { tarn::fputc('x', tarn::standard_stream(tarn::kCellStderr)); }).number,
            296);
}

}  // namespace
