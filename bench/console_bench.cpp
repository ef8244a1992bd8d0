// Rows of the console: lines of 80 columns on a terminal against fputs and
// ncurses, boxes and whole screens against ncurses, and 100 MB of short lines in a
// file against a buffered stream.
//
// The terminals are pseudo terminals that a thread each empties, as fast as it
// can. ncurses refreshes after each line, since the console shows each line as
// it ends; but after a whole box or screen, as its programs do.
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

#include "bench/rows.h"
#include "console/console_state.h"
#include "console/line_output.h"
#include "startup/initialise.h"
#include "tests/support/pseudo_terminal.h"

#ifdef TARN_NCURSES
#include <curses.h>
#endif

namespace {

using tarn::test::BlindTerminal;

constexpr int kColumns = 80;
constexpr int kRows = 25;

// Lines that differ, so that nobody may leave one out.
std::string line(unsigned number) {
  std::string text(kColumns - 1, ' ');
  for (std::size_t i = 0; i < text.size(); ++i) {
    text[i] = static_cast<char>('!' + (i * 7 + number) % 90);
  }
  return text + "\n";
}

const std::vector<std::string>& lines() {
  static const std::vector<std::string> made = [] {
    std::vector<std::string> all;
    for (unsigned i = 0; i < 64; ++i) all.push_back(line(i));
    return all;
  }();
  return made;
}

template <class F>
void write_lines(benchmark::State& state, F&& write_line) {
  std::size_t number = 0;
  for (auto _ : state) write_line(lines()[number++ % lines().size()]);
}

// The console as it is after a start on such a terminal.
void use_console() {
  static const BlindTerminal terminal(kColumns, kRows);
  static std::int64_t screen;
  static const bool begun = [] {
    tarn::__initialise_cpplib();
    const auto open = [](std::uint32_t access) {
      return reinterpret_cast<std::int64_t>(tarn::platform::CreateFileA(
          terminal.path().c_str(), access, 3, nullptr, tarn::platform::kOpenExisting, 0, nullptr));
    };
    screen = open(tarn::platform::kGenericWrite);
    tarn::console.input_handle = open(tarn::platform::kGenericRead);
    tarn::console.screen_width = kColumns;
    tarn::console.buffer_height = kRows;
    tarn::console.text_attribute = 7;
    return true;
  }();
  (void)begun;
  tarn::console.output_handle = screen;
  tarn::console.redirected = 0;
  tarn::console.wrap_mode = 1;
}

void console_lines(benchmark::State& state) {
  use_console();
  write_lines(state, [](const std::string& text) {
    tarn::output_win32_line(text.data(), static_cast<std::int32_t>(text.size()));
  });
}

constexpr int kBoxWidth = 40;  // of the text

// Each below the last one, at the end of the screen.
void console_boxes(benchmark::State& state) {
  use_console();
  tarn::SetBoxShadow(-1);
  tarn::SetConsoleCursorPos(0, kRows - 1);
  write_lines(state, [](const std::string& text) {
    tarn::ConsoleBoxPrint(1, 16, 16, "%.*s", kBoxWidth, text.c_str());
  });
}

void console_boxes_again(benchmark::State& state) {
  use_console();
  tarn::SetBoxShadow(-1);
  write_lines(state, [](const std::string& text) {
    tarn::SetConsoleCursorPos(0, 10);
    tarn::ConsoleBoxPrint(1, 16, 16, "%.*s", kBoxWidth, text.c_str());
  });
}

// All rows but the last, whose end would scroll.
void console_screens(benchmark::State& state) {
  use_console();
  std::size_t number = 0;
  for (auto _ : state) {
    tarn::SetConsoleCursorPos(0, 0);
    for (int row = 0; row + 1 < kRows; ++row) {
      const std::string& text = lines()[number++ % lines().size()];
      tarn::output_win32_line(text.data(), static_cast<std::int32_t>(text.size()));
    }
  }
}

void fputs_lines(benchmark::State& state) {
  static const BlindTerminal terminal(kColumns, kRows);
  static std::FILE* const stream = [] {
    std::FILE* const opened = std::fopen(terminal.path().c_str(), "w");
    std::setvbuf(opened, nullptr, _IOLBF, 4096);
    return opened;
  }();
  write_lines(state, [](const std::string& text) { std::fputs(text.c_str(), stream); });
}

#ifdef TARN_NCURSES
void use_ncurses() {
  static const BlindTerminal terminal(kColumns, kRows);
  static SCREEN* const screen = [] {
    SCREEN* const made = newterm("xterm-256color", std::fopen(terminal.path().c_str(), "w"),
                                 std::fopen(terminal.path().c_str(), "r"));
    scrollok(stdscr, TRUE);
    idlok(stdscr, TRUE);
    return made;
  }();
  set_term(screen);
}

void ncurses_lines(benchmark::State& state) {
  use_ncurses();
  write_lines(state, [](const std::string& text) {
    addnstr(text.data(), static_cast<int>(text.size()));
    refresh();
  });
}

void draw_box(int top, const std::string& text) {
  constexpr int kInside = kBoxWidth + 2, kLeft = (kColumns - kInside) / 2 - 1;
  const auto edge = [](int row, chtype left, chtype right) {
    mvaddch(row, kLeft, left);
    hline(ACS_HLINE, kInside);
    mvaddch(row, kLeft + 1 + kInside, right);
  };
  edge(top, ACS_ULCORNER, ACS_URCORNER);
  mvaddch(top + 1, kLeft, ACS_VLINE);
  mvaddnstr(top + 1, kLeft + 2, text.data(), kBoxWidth);
  mvaddch(top + 1, kLeft + 1 + kInside, ACS_VLINE);
  edge(top + 2, ACS_LLCORNER, ACS_LRCORNER);
  move(top + 3, 0);
  refresh();
}

void ncurses_boxes(benchmark::State& state) {
  use_ncurses();
  write_lines(state, [](const std::string& text) {
    scrl(3);
    draw_box(kRows - 4, text);
  });
}

void ncurses_boxes_again(benchmark::State& state) {
  use_ncurses();
  write_lines(state, [](const std::string& text) { draw_box(10, text); });
}

void ncurses_screens(benchmark::State& state) {
  use_ncurses();
  std::size_t number = 0;
  for (auto _ : state) {
    for (int row = 0; row + 1 < kRows; ++row) {
      const std::string& text = lines()[number++ % lines().size()];
      mvaddnstr(row, 0, text.data(), static_cast<int>(text.size()) - 1);
    }
    refresh();
  }
}
#endif

// ---- 100 MB in a file ---------------------------------------------------------

constexpr std::size_t kFileSize = 100'000'000;
constexpr std::size_t kPieceSize = 65'536;

// A path for a file that nobody has yet.
std::string scratch_path() {
  char path[] = "console_bench_XXXXXX";
  const int file = mkstemp(path);
  if (file < 0) std::abort();
  close(file);
  return path;
}

// Lines of 5 to 40 characters, with `line_end` after each.
std::string short_lines(std::size_t size, const char* line_end) {
  std::string text;
  for (std::size_t i = 0; text.size() < size; ++i) {
    text.append(5 + i * 7 % 36, static_cast<char>('a' + i % 26)).append(line_end);
  }
  return text;
}

template <class F>
void each_line(const std::string& text, F&& write_line) {
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = text.find('\n', at) + 1;
    write_line(text.data() + at, end - at);
    at = end;
  }
}

// What `write` writes, again and again over the same bytes of a file.
template <class F>
void redirected(benchmark::State& state, F&& write) {
  tarn::__initialise_cpplib();
  const std::string path = scratch_path();
  const tarn::platform::Handle file =
      tarn::platform::CreateFileA(path.c_str(), tarn::platform::kGenericWrite, 0, nullptr,
                                  tarn::platform::kOpenExisting, 0, nullptr);
  if (file == tarn::platform::invalid_handle()) std::abort();
  unlink(path.c_str());
  const std::int64_t before = tarn::console.output_handle;
  tarn::RedirectConsoleOutput(reinterpret_cast<std::int64_t>(file));
  const std::string text = short_lines(kPieceSize, "\n");
  for (auto _ : state) {
    tarn::platform::SetFilePointerEx(file, 0, nullptr, 0);
    write(text);
  }
  tarn::RedirectConsoleOutput(before);
  tarn::platform::CloseHandle(file);
}

void streamed(benchmark::State& state, int buffering, std::size_t size) {
  const std::string path = scratch_path();
  std::FILE* const stream = std::fopen(path.c_str(), "w");
  unlink(path.c_str());
  std::setvbuf(stream, nullptr, buffering, 4096);
  const std::string text = short_lines(kPieceSize, "\r\n");
  for (auto _ : state) {
    std::rewind(stream);
    for (std::size_t done = 0; done < size; done += kPieceSize) {
      each_line(text,
                [&](const char* at, std::size_t length) { std::fwrite(at, 1, length, stream); });
    }
    std::fflush(stream);
  }
  std::fclose(stream);
}

void console_blocks(benchmark::State& state) {
  redirected(state, [](const std::string& text) {
    for (std::size_t done = 0; done < kFileSize; done += kPieceSize) {
      tarn::output_win32_line(text.data(), static_cast<std::int32_t>(text.size()));
    }
  });
}
void stream_blocks(benchmark::State& state) { streamed(state, _IOFBF, kFileSize); }

void console_single_lines(benchmark::State& state) {
  redirected(state, [](const std::string& text) {
    each_line(text, [](const char* at, std::size_t length) {
      tarn::output_win32_line(at, static_cast<std::int32_t>(length));
    });
  });
}
void stream_single_lines(benchmark::State& state) { streamed(state, _IOLBF, kPieceSize); }

constexpr bench::Row kOnATerminal[] = {
    {"console, line of 80 columns", "fputs, line buffer", console_lines, fputs_lines, 0},
#ifdef TARN_NCURSES
    {"console, same line, cells kept", "ncurses, refreshed", console_lines, ncurses_lines, 1.0},
    {"console, a box", "ncurses, refreshed", console_boxes, ncurses_boxes, 1.0},
    {"console, the same box rewritten", "ncurses, refreshed", console_boxes_again,
     ncurses_boxes_again, 1.0},
    {"console, 24 lines rewritten", "ncurses, refreshed once", console_screens, ncurses_screens,
     1.0},
#endif
};
constexpr bench::Row kRedirected[] = {
    {"console, 100 MB by calls of 64 kB", "fwrite, 4 KiB buffer", console_blocks, stream_blocks,
     1.2},
    {"console, 64 kB by calls of a line", "fwrite, line buffer", console_single_lines,
     stream_single_lines, 1.2},
};

}  // namespace

int main(int argc, char** argv) {
  bench::initialise(argc, argv);
  // Whether the reader of a terminal sleeps at a write or not changes a row's time for a while.
  constexpr int kOftenEnough = 200;
  bench::run_rows(kOnATerminal, kOftenEnough);
  bench::run_rows(kRedirected);
  return 0;
}
