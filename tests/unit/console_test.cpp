// The console without a screen: on files. console_model_test.cpp has the screen.
#include "console/console_state.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "console/colour.h"
#include "console/console_input.h"
#include "console/formatted_output.h"
#include "console/line_output.h"
#include "console/text_writers.h"
#include "tests/support/captured.h"
#include "tests/support/raised.h"

namespace {

namespace platform = tarn::platform;
using tarn::test::output_of;
using tarn::test::with_crlf;

constexpr char kPath[] = "console_test.tmp";

std::int64_t open_file(std::uint32_t access, std::uint32_t creation) {
  return reinterpret_cast<std::int64_t>(
      platform::CreateFileA(kPath, access, 3, nullptr, creation, 0, nullptr));
}

void close_file(std::int64_t handle) { platform::CloseHandle(tarn::system_handle(handle)); }

// Gives the console's input a file with these bytes for a while.
template <class F>
void with_input(const std::string& bytes, F&& read) {
  tarn::test::initialise();
  tarn::test::make_file(kPath, bytes);
  const std::int64_t file = open_file(platform::kGenericRead, platform::kOpenExisting);
  tarn::RedirectConsoleInput(file);
  tarn::console.read_pos = -1;
  tarn::console.read_len = 0;
  tarn::console.read_end = 0;
  tarn::console.read_error = 0;
  read();
  tarn::RedirectConsoleInput(tarn::kNoHandle);
  close_file(file);
  platform::DeleteFileA(kPath);
}

TEST(ConsoleRedirected, HandlesThatTakeNothing) {
  tarn::test::initialise();
  const std::int64_t before = tarn::console.output_handle;
  const std::int64_t closed = open_file(platform::kGenericWrite, platform::kCreateAlways);
  close_file(closed);
  platform::DeleteFileA(kPath);
  for (const std::int64_t handle : {closed, tarn::kNoHandle, std::int64_t{0}}) {
    tarn::RedirectConsoleOutput(handle);
    tarn::ConsoleWrite("lost\n");
    EXPECT_EQ(tarn::ConsolePrintf("%d", 1234), 4);
    EXPECT_EQ(tarn::__HandlePrintf(handle, "%d", 1234), 0);
    tarn::RedirectConsoleInput(handle);
    tarn::console.read_pos = -1;
    tarn::console.read_end = 0;
    tarn::console.read_error = 0;
    std::int32_t count = 0;
    char buffer[8];
    EXPECT_EQ(tarn::ConsoleRead(buffer, sizeof buffer, &count), 0);
    EXPECT_EQ(count, -1);
    EXPECT_EQ(tarn::console.read_error, 1);
    std::int32_t key = 4711;
    tarn::get_key(&key);
    EXPECT_EQ(key, handle == tarn::kNoHandle ? -1 : 4711);
  }
  tarn::RedirectConsoleInput(tarn::kNoHandle);
  tarn::RedirectConsoleOutput(before);
}

// What ConsoleRead gives of at most `size` bytes; "(end)" at the end.
std::string read_console(std::int32_t size) {
  static char buffer[5000];
  std::int32_t count = 0;
  EXPECT_EQ(tarn::ConsoleRead(buffer, size, &count), 0);
  if (count == -1) return "(end)";
  EXPECT_GE(count, 0);
  return std::string(buffer, static_cast<std::size_t>(count));
}

TEST(ConsoleInput, LinesOfAFile) {
  const std::string block(4096, 'x');
  const std::string almost(4095, 'x'), end = "\x1A";
  const struct {
    const char* name;
    std::string bytes;
    std::vector<std::string> lines;  // then the end, for good
  } cases[] = {
      {"LF", "abc\nde\n", {"abc", "de"}},
      {"CR", "abc\rde\r", {"abc", "de"}},
      {"CR LF", "abc\r\nde\r\n", {"abc", "de"}},
      {"one more line end is swallowed",
       "abc\n\nde\r\rf\n\rg\n\n\nh\n",
       {"abc", "de", "f", "g", "", "h"}},
      {"empty lines", "\r\n\r\n", {"", ""}},
      {"nothing", "", {}},
      {"a last line without an end is lost", "abc\nde", {"abc"}},
      {"Ctrl-Z keeps it", "abc\nde" + end + "f\n", {"abc", "de"}},
      {"Ctrl-Z first", end + "abc\n", {}},
      {"Ctrl-Z behind a line", "abc\n" + end + "de\n", {"abc"}},
      {"NULs are characters", std::string("a\0b\n", 4), {std::string("a\0b", 3)}},
      {"a line end across the block", almost + "\r\nab\n", {almost, "ab"}},
      {"a line end behind the block", block + "\nab\n", {block, "ab"}},
      {"a line across the block", block + "ab\ncd\n", {block + "ab", "cd"}},
      {"Ctrl-Z at the start of a block", almost + "\n" + end + "ab\n", {almost}},
      {"a text lost for a Ctrl-Z behind its block", block + end + "ab\n", {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    with_input(c.bytes, [&] {
      for (const std::string& line : c.lines) EXPECT_EQ(read_console(5000), line);
      for (int i = 0; i < 2; ++i) EXPECT_EQ(read_console(5000), "(end)");
    });
  }
}

TEST(ConsoleInput, WhatDoesNotFitComesWithTheNextCall) {
  with_input("abcdefg\nh\n", [] {
    char buffer[] = "####";
    std::int32_t count;
    for (const char* const piece : {"abc", "def", "g", "h"}) {
      EXPECT_EQ(read_console(0), "");
      EXPECT_EQ(read_console(-5), "");
      EXPECT_EQ(tarn::ConsoleRead(buffer, 3, &count), 0);
      EXPECT_EQ(std::string(buffer, static_cast<std::size_t>(count)), piece);
      EXPECT_EQ(buffer[3], '#');
    }
  });
}

TEST(ConsoleColours, OptionsAreALetterWithItsMarks) {
  const struct {
    const char* text;
    std::uint32_t colour;
    int behind;
  } cases[] = {
      {"R", 4, 1}, {"-r;", 12, 3}, {"x;", 99, 2}, {"", 99, 0},   {"-", 99, 1},   {"-;", 99, 2},
      {"k", 0, 1}, {"-W9", 15, 2}, {";R", 99, 1}, {"y;;", 6, 2}, {"--R", 99, 2},
  };
  for (const auto& c : cases) {
    const char* cursor = c.text;
    std::uint32_t colour = 99;
    tarn::ProcessColourOption(&cursor, &colour);
    EXPECT_EQ(colour, c.colour) << c.text;
    EXPECT_EQ(cursor - c.text, c.behind) << c.text;
  }
  std::string known;
  for (int c = -128; c < 128; ++c) {
    const std::int32_t colour = tarn::colour_from_code(static_cast<char>(c));
    if (colour >= 0) known += static_cast<char>(c) + std::to_string(colour);
  }
  EXPECT_EQ(known, "B1C3G2K0M5R4W7Y6b1c3g2k0m5r4w7y6");
}

TEST(ConsoleFormatted, LongTextsAreShownWhole) {
  const std::string longer(5000, 'x');
  std::int64_t handle;
  const std::string text = output_of([&] {
    EXPECT_EQ(tarn::ConsolePrintf("%s|", longer.c_str()), 5001);
    EXPECT_EQ(tarn::ConsolePrintfC("%s\n", longer.c_str()), 5000);
    EXPECT_EQ(tarn::ConsolePrintf("%2000000d", 1), 1023);
    handle = tarn::console.output_handle;
    EXPECT_EQ(tarn::__HandlePrintf(handle, "%s\n", longer.c_str()), 5001);
    EXPECT_EQ(tarn::__HandlePrintf(tarn::kNoHandle, "%d", 1), 0);
  });
  EXPECT_EQ(text, longer + "|" + longer + "\r\n" + std::string(1023, ' ') + longer + "\n");
}

TEST(ConsoleFormatted, BoxesAreFramedAndShadowed) {
  const struct {
    std::int32_t style, shadow;
    const char* text;
    std::int32_t width;
    std::string box;
  } cases[] = {
      {1, 0, "ab", 2,
       "\xDA\xC4\xC4\xC4\xC4\xBF\n\xB3 ab \xB3#\n\xC0\xC4\xC4\xC4\xC4\xD9#\n######\n"},
      {0, 15, "", 0, "    \n    #\n    #\n####\n"},
      {6, -1, "x", 1, "\xDA\xC4\xC4\xC4\xBF\n\xB3 x \xB3\n\xC0\xC4\xC4\xC4\xD9\n"},
  };
  const char character = tarn::SetBoxChar('#');
  EXPECT_EQ(static_cast<std::uint8_t>(character), 0xDB);
  for (const auto& c : cases) {
    tarn::SetBoxShadow(c.shadow);
    const std::string text =
        output_of([&] { EXPECT_EQ(tarn::ConsoleBoxPrint(c.style, 1, 2, "%s", c.text), c.width); });
    EXPECT_EQ(text, with_crlf(c.box)) << c.text;
  }
  tarn::SetBoxShadow(0);
  EXPECT_EQ(tarn::SetBoxChar(character), '#');

  const std::string line(100, 'x');
  const std::string cut =
      output_of([&] { EXPECT_EQ(tarn::ConsoleBoxPrint(5, 16, 16, "%s\nb", line.c_str()), 74); });
  EXPECT_NE(cut.find("\xDB " + line.substr(0, 74) + " \xDB\xDB\r\n"), std::string::npos);
}

}  // namespace
