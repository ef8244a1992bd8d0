#include "streams/file_stream.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <random>
#include <string>

#include "streams/low_level_files.h"
#include "tests/support/raised.h"

namespace {

using tarn::FILE;
using tarn::test::raised_by;

constexpr char kPath[] = "file_stream_test.tmp";
constexpr std::int32_t kUntouched = 4711;

class Stream : public testing::Test {
 protected:
  void SetUp() override {
    tarn::test::initialise();
    tarn::set_errno(kUntouched);
    std::remove(kPath);
  }
  void TearDown() override { std::remove(kPath); }

  static FILE* open(const char* mode) {
    FILE* const stream = tarn::fopen(kPath, mode);
    EXPECT_NE(stream, nullptr) << mode;
    return stream;
  }
  static void store(const std::string& bytes) {
    FILE* const stream = open("wb");
    tarn::fwrite(bytes.data(), 1, bytes.size(), stream);
    tarn::fclose(stream);
  }
  static std::string stored() {
    FILE* const stream = open("rb");
    std::string bytes(100'000, '\0');
    bytes.resize(tarn::fread(bytes.data(), 1, bytes.size(), stream));
    tarn::fclose(stream);
    return bytes;
  }
};

TEST_F(Stream, ModesOpenWhatTheirLettersSay) {
  EXPECT_EQ(tarn::fopen(kPath, "r"), nullptr);
  EXPECT_EQ(tarn::get_errno(), kUntouched);
  EXPECT_EQ(tarn::fopen("no/such/folder/x", "a"), nullptr);
  EXPECT_EQ(tarn::fopen(kPath, ""), nullptr);
  EXPECT_EQ(tarn::fopen(kPath, "+b"), nullptr);
  EXPECT_EQ(tarn::FileExists(kPath), 0);
  EXPECT_EQ(tarn::FileExists("."), 0);
  constexpr int kMarks = tarn::kFileReadMark | tarn::kFileWriteMark;
  const struct {
    const char* mode;
    int flags;
  } cases[] = {
      {"a", tarn::kFileWriteMark},  // makes the file that the others find
      {"r", 0},
      {"rb", tarn::kFileBinary},
      {"br", 0},
      {"r+b", kMarks | tarn::kFileBinary},
      {"rb+", kMarks | tarn::kFileBinary},
      {"r+bt", 0},
      {"rxyb", tarn::kFileBinary},
      {"w", tarn::kFileWriteMark},
      {"wb", tarn::kFileWriteMark | tarn::kFileBinary},
      {"w+", kMarks},
      {"ab", tarn::kFileWriteMark | tarn::kFileBinary},
  };
  for (const auto& c : cases) {
    FILE* const stream = open(c.mode);
    EXPECT_EQ(stream->flags, c.flags) << c.mode;
    EXPECT_EQ(tarn::fopen(kPath, "r"), nullptr) << "a second opener";
    EXPECT_EQ(tarn::fclose(stream), 0);
  }
  EXPECT_EQ(tarn::FileExists(kPath), 1);
}

TEST_F(Stream, TextModeAddsAndDropsCarriageReturnsAndKeepsCtrlZ) {
  FILE* stream = open("w");
  EXPECT_EQ(tarn::fwrite("ab\n\r\n\x1A", 2, 3, stream), 3u);
  EXPECT_EQ(tarn::ferror(stream), 0);
  tarn::fclose(stream);
  EXPECT_EQ(stored(), "ab\r\n\r\r\n\x1A");
  store(
      "a\r\r\nb\x1A"
      "c");
  stream = open("r");
  char bytes[10] = "";
  EXPECT_EQ(tarn::fread(bytes, 1, 5, stream), 5u);  // the dropped ones are made up
  EXPECT_EQ(std::string(bytes, 5),
            "a\nb\x1A"
            "c");
  EXPECT_EQ(tarn::feof(stream), 0);
  tarn::fclose(stream);
}

TEST_F(Stream, BlocksOfEverySizePassWhole) {
  std::mt19937 random(9);
  for (const std::size_t size : {1u, 4095u, 4096u, 4097u, 8191u, 8192u, 8193u, 50'000u}) {
    std::string bytes(size, '\0');
    for (char& byte : bytes) byte = "\r\nabc\0\xFF\x1A"[random() % 8];
    store(bytes);
    EXPECT_EQ(stored(), bytes) << size;
    FILE* stream = open("w");
    EXPECT_EQ(tarn::fwrite(bytes.data(), 1, size, stream), size);
    tarn::fclose(stream);
    std::string wanted, dropped;
    for (const char byte : bytes) {
      if (byte == '\n') wanted += '\r';
      wanted += byte;
      if (byte != '\r') dropped += byte;
    }
    EXPECT_EQ(stored(), wanted) << size;
    stream = open("r");
    std::string read(size + 1, '\0');
    read.resize(tarn::fread(read.data(), 1, read.size(), stream));
    EXPECT_EQ(read, dropped) << size;
    tarn::fclose(stream);
  }
}

TEST_F(Stream, ShortReadsGiveWholeItemsAndSetTheIndicator) {
  store("123456789");
  FILE* const stream = open("rb");
  char bytes[40];
  EXPECT_EQ(tarn::fread(bytes, 4, 10, stream), 2u);
  EXPECT_EQ(tarn::feof(stream), 1);
  EXPECT_EQ(tarn::ferror(stream), 0);
  EXPECT_EQ(tarn::fread(bytes, 0, 7, stream), 7u);
  EXPECT_EQ(tarn::fwrite(bytes, 4, 0, stream), 0u);
  EXPECT_EQ(tarn::ferror(stream), 0);
  // More than 2 GiB is refused before a byte is touched.
  EXPECT_EQ(tarn::fread(nullptr, std::uint64_t{1} << 32, 1, stream), 0u);
  EXPECT_EQ(tarn::fwrite(nullptr, ~std::uint64_t{0}, 3, stream), 0u);
  EXPECT_EQ(tarn::ferror(stream), 1);
  tarn::fclose(stream);
}

TEST_F(Stream, AFailedWriteIsRememberedUntilItIsCleared) {
  store("x");
  FILE* const stream = open("rb");
  EXPECT_EQ(tarn::fwrite("a", 1, 1, stream), 0u);
  EXPECT_EQ(tarn::get_errno(), 307);
  EXPECT_EQ(tarn::ferror(stream), 1);
  EXPECT_EQ(tarn::fputc('a', stream), 'a');
  EXPECT_EQ(tarn::fputs("a", stream), -1);
  EXPECT_EQ(tarn::fgetc(stream), 'x');
  tarn::clearerr(stream);
  EXPECT_EQ(tarn::ferror(stream), 0);
  EXPECT_TRUE(stream->flags & tarn::kFileBinary);
  tarn::fclose(stream);
  FILE* const writer = open("w");
  EXPECT_EQ(tarn::fputs("", writer), -1);
  EXPECT_EQ(tarn::fputs("a", writer), 0);
  EXPECT_EQ(tarn::fgetc(writer), -1);  // cannot be read: looks like the end
  EXPECT_EQ(tarn::feof(writer), 1);
  EXPECT_EQ(tarn::fflush(writer), 0);
  tarn::fclose(writer);
}

TEST_F(Stream, CharactersAreSignedAndOneCanBeGivenBack) {
  store("\xE9\xFFz");
  FILE* const stream = open("rb");
  EXPECT_EQ(tarn::fgetc(stream), -23);
  EXPECT_EQ(tarn::getc(stream), -1);
  EXPECT_EQ(tarn::feof(stream), 0);
  EXPECT_EQ(tarn::ungetc('x', stream), 'x');
  char byte = 0;
  EXPECT_EQ(tarn::fread(&byte, 1, 1, stream), 1u);
  EXPECT_EQ(byte, 'z');
  EXPECT_EQ(tarn::fgetc(stream), 'x');
  tarn::ungetc(0x1E9, stream);
  EXPECT_EQ(tarn::fgetc(stream), -23);
  tarn::ungetc(0, stream);
  EXPECT_EQ(tarn::fgetc(stream), -1);
  EXPECT_EQ(tarn::feof(stream), 1);
  tarn::fclose(stream);
}

TEST_F(Stream, LinesEndAtLineFeedsSizesAndTheEnd) {
  store("one\r\n\r\ntwo\xFF\r\nlast");
  FILE* const stream = open("r");
  char line[10];
  const struct {
    std::int32_t size;
    const char* wanted;
  } cases[] = {{10, "one\n"}, {10, "\n"}, {1, ""}, {3, "tw"}, {10, "o\n"}, {10, "last"}};
  for (const auto& c : cases) {
    ASSERT_EQ(tarn::fgets(line, c.size, stream), line) << c.wanted;
    EXPECT_STREQ(line, c.wanted);
  }
  std::strcpy(line, "old");
  EXPECT_EQ(tarn::fgets(line, 10, stream), nullptr);
  EXPECT_EQ(tarn::ferror(stream), 1);
  EXPECT_STREQ(line, "old");
  tarn::clearerr(stream);
  EXPECT_EQ(tarn::fgets(line, 10, stream), nullptr);
  EXPECT_EQ(tarn::ferror(stream), 0);  // met the end just now
  tarn::rewind(stream);
  EXPECT_EQ(tarn::fgets(line, 10, stream), line);
  EXPECT_STREQ(line, "one\n");
  EXPECT_EQ(tarn::fgets(line, 0, stream), nullptr);
  tarn::fclose(stream);
}

TEST_F(Stream, PositionsAreFilePositions) {
  FILE* stream = open("w+b");
  tarn::fputs("0123456789", stream);
  EXPECT_EQ(tarn::ftell(stream), 10);
  EXPECT_EQ(tarn::fseek(stream, -3, 2), 0);
  EXPECT_EQ(tarn::fgetc(stream), '7');
  EXPECT_EQ(tarn::fseek(stream, 1, 1), 0);
  EXPECT_EQ(tarn::fgetc(stream), '9');
  EXPECT_EQ(tarn::fseek(stream, 0, 3), -1);
  EXPECT_EQ(tarn::fseek(stream, -1, 0), 1);
  EXPECT_EQ(tarn::ftell(stream), 10);
  std::uint64_t position = std::uint64_t{5} << 32;
  EXPECT_EQ(tarn::fsetpos(stream, &position), 0);
  position = 0;
  EXPECT_EQ(tarn::fgetpos(stream, &position), 0);
  EXPECT_EQ(position, std::uint64_t{5} << 32);
  EXPECT_EQ(tarn::ftell(stream), 0);
  const std::uint64_t negative = ~std::uint64_t{0};
  EXPECT_EQ(tarn::fsetpos(stream, &negative), 1);
  tarn::fclose(stream);

  stream = open("a");  // at the end once, not at each write
  tarn::fputs("A", stream);
  EXPECT_EQ(tarn::fseek(stream, 0, 0), 0);
  tarn::fputs("B", stream);
  tarn::fclose(stream);
  EXPECT_EQ(stored(), "B123456789A");
}

TEST_F(Stream, BadPointersRaiseTheirNumbers) {
  FILE dead{};
  char byte;
  std::uint64_t position;
  EXPECT_EQ(raised_by([] { tarn::fclose(nullptr); }).number, 296);
  EXPECT_EQ(raised_by([&] { tarn::fread(&byte, 1, 1, &dead); }).number, 296);
  EXPECT_EQ(raised_by([&] { tarn::fwrite("", 0, 0, &dead); }).number, 296);
  EXPECT_EQ(raised_by([&] { tarn::fputs("", nullptr); }).number, 296);
  EXPECT_EQ(raised_by([&] { tarn::fgetc(nullptr); }).number, 296);
  EXPECT_EQ(raised_by([&] { tarn::fgets(&byte, 1, &dead); }).number, 296);
  EXPECT_EQ(raised_by([&] { tarn::ferror(&dead); }).number, 296);
  EXPECT_EQ(raised_by([&] { tarn::feof(nullptr); }).number, 296);
  EXPECT_EQ(raised_by([&] { tarn::clearerr(&dead); }).number, 296);
  EXPECT_EQ(raised_by([&] { tarn::fgetpos(nullptr, &position); }).number, 343);
  EXPECT_EQ(raised_by([&] { tarn::fgetpos(&dead, &position); }).number, 296);
  EXPECT_EQ(raised_by([] { tarn::fseek(nullptr, 0, 0); }).number, 343);
  EXPECT_EQ(raised_by([] { tarn::ftell(nullptr); }).number, 343);
  EXPECT_EQ(raised_by([&] { tarn::rewind(&dead); }).number, 296);
}

TEST_F(Stream, AClosedStandardStreamIsGoneAndItsHandleStays) {
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
  // fgetpos leaves its pattern where the system refuses.
  FILE refused{tarn::kFileMagic, tarn::platform::invalid_handle(), 0, 0};
  std::uint64_t position = 0;
  EXPECT_EQ(tarn::fgetpos(&refused, &position), 0);
  EXPECT_EQ(position, 0xF0F0F0F0F0F0F0F0u);
  EXPECT_EQ(tarn::fflush(&refused), -1);
  EXPECT_EQ(tarn::get_errno(), static_cast<std::int32_t>(tarn::platform::kErrorInvalidHandle));
}

}  // namespace
