// A terminal for tests on the host, and what a user would see on it.
#pragma once

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

#include "tests/support/pseudo_terminal.h"

namespace tarn::test {

struct SeenCell {
  char32_t glyph = U' ';
  int foreground = -1, background = -1;  // 0 to 15 in the order of a terminal; -1: its own
  bool bold = false, reversed = false;
  bool operator==(const SeenCell&) const = default;
};

class Terminal : public PseudoTerminal {
 public:
  Terminal(int columns, int rows) : PseudoTerminal(columns, rows) {
    resize(columns, rows);
    watch([this](std::string_view bytes) {
      const std::lock_guard hold(lock_);
      for (const char c : bytes) take(static_cast<unsigned char>(c));
      seen_.notify_all();
    });
  }
  ~Terminal() { stop_watching(); }

  // What is seen; call settle first.
  std::vector<std::vector<SeenCell>> cells;
  int column = 0, row = 0;
  SeenCell pen;  // the attributes of what comes next
  bool cursor_visible = true;
  int cursor_shape = 0;
  std::string title;
  int saved_titles = 0;
  int questions = 0;
  std::string received;
  std::string unknown;  // sequences that this terminal does not understand

  std::string text_of(int y) const {
    std::string text;
    for (const SeenCell& cell : cells[static_cast<std::size_t>(y)]) {
      text += cell.glyph < 0x80 ? static_cast<char>(cell.glyph) : '?';
    }
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
  }

  // Whether it tells where its cursor is.
  void answer_questions(bool answers) {
    const std::lock_guard hold(lock_);
    answers_ = answers;
  }

  // The user's hands, at the moment of the next question and before the answer.
  void type_at_question(const std::string& bytes) {
    const std::lock_guard hold(lock_);
    typed_at_question_ = bytes;
  }

  // As the user pulls at the window's corner: rows that no longer fit go out at
  // the top if the cursor would be lost, and at the bottom otherwise.
  void resize(int columns, int rows) {
    const std::lock_guard hold(lock_);
    while (row >= rows) {
      cells.erase(cells.begin());
      --row;
    }
    column = std::min(column, columns - 1);
    cells.resize(static_cast<std::size_t>(rows));
    for (auto& line : cells) line.resize(static_cast<std::size_t>(columns));
    set_size(columns, rows);
  }

  // Waits until all that was written so far is seen: a string sequence behind
  // it, which shows nothing and is not kept, tells.
  void settle() {
    std::unique_lock hold(lock_);
    const int marker = ++markers_written_;
    hold.unlock();
    print(kMarker);
    hold.lock();
    seen_.wait(hold, [&] { return markers_seen_ >= marker; });
  }

 private:
  inline static const std::string kMarker = "\x1B]7777\a";

  int width() const { return static_cast<int>(cells[0].size()); }
  int height() const { return static_cast<int>(cells.size()); }

  void take(unsigned char c) {
    if (!pending_.empty()) return take_more(static_cast<char>(c));
    if (c == 27 || c >= 0x80) {
      pending_ = static_cast<char>(c);
      return;
    }
    received += static_cast<char>(c);
    switch (c) {
      case '\n':
        return line_feed();
      case '\r':
        column = 0;
        return;
      case '\b':
        column = std::max(0, std::min(column, width() - 1) - 1);
        return;
      case '\t':
        column = std::min((column | 7) + 1, width() - 1);
        return;
      case '\a':
        return;
      default:
        return c < 32 ? void(unknown += static_cast<char>(c)) : put(c);
    }
  }

  void take_more(char c) {
    pending_ += c;
    const std::string p = pending_;
    const auto lead = static_cast<unsigned char>(p[0]);
    if (lead >= 0x80) {
      const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
      if (p.size() < length) return;
      char32_t glyph = lead & (0x7Fu >> length);
      for (std::size_t i = 1; i < length; ++i) {
        glyph = glyph << 6 | (static_cast<unsigned char>(p[i]) & 0x3F);
      }
      put(glyph);
    } else if (p[1] == '[') {
      if (p.size() == 2 || c < 0x40) return;
      take_sequence(p.substr(2, p.size() - 3), c);
    } else if (p[1] == ']') {
      if (c != '\a') return;
      take_string(p.substr(2, p.size() - 3));
    } else {
      unknown += p;
    }
    if (p != kMarker) received += p;
    pending_.clear();
  }

  void take_sequence(const std::string& parameters, char final) {
    std::vector<int> numbers{0};
    for (const char c : parameters) {
      if (c == ';') numbers.push_back(0);
      if (c >= '0' && c <= '9') numbers.back() = numbers.back() * 10 + (c - '0');
    }
    if (final == 'H' && numbers.size() == 2) {
      row = std::clamp(numbers[0] - 1, 0, height() - 1);
      column = std::clamp(numbers[1] - 1, 0, width() - 1);
    } else if (final == 'm') {
      for (const int n : numbers) set_pen(n);
    } else if (final == 'n' && parameters == "6") {
      ++questions;
      type(typed_at_question_);
      typed_at_question_.clear();
      if (answers_) {
        type("\x1B[" + std::to_string(row + 1) + ";" +
             std::to_string(std::min(column, width() - 1) + 1) + "R");
      }
    } else if ((final == 'h' || final == 'l') && parameters == "?25") {
      cursor_visible = final == 'h';
    } else if (final == 'q' && parameters.back() == ' ') {
      cursor_shape = numbers[0];
    } else if (final == 't' && parameters == "22;2") {
      ++saved_titles;
    } else if (final == 't' && parameters == "23;2") {
      --saved_titles;
    } else {
      unknown += "[" + parameters + final;
    }
  }

  void set_pen(int n) {
    if (n == 0) pen = {};
    if (n == 1) pen.bold = true;
    if (n == 7) pen.reversed = true;
    if (n >= 30 && n <= 37) pen.foreground = n - 30;
    if (n >= 40 && n <= 47) pen.background = n - 40;
    if (n == 39) pen.foreground = -1;
    if (n == 49) pen.background = -1;
    if (n >= 90 && n <= 97) pen.foreground = n - 90 + 8;
    if (n >= 100 && n <= 107) pen.background = n - 100 + 8;
  }

  void take_string(const std::string& text) {
    if (text == "7777") {
      ++markers_seen_;
    } else if (text.starts_with("2;")) {
      title = text.substr(2);
    } else {
      unknown += "]" + text;
    }
  }

  // Behind the last column it waits for the next character before it wraps.
  void put(char32_t glyph) {
    if (column >= width()) {
      column = 0;
      line_feed();
    }
    SeenCell cell = pen;
    cell.glyph = glyph;
    cells[static_cast<std::size_t>(row)][static_cast<std::size_t>(column++)] = cell;
  }

  void line_feed() {
    if (++row < height()) return;
    --row;
    SeenCell blank = pen;
    blank.glyph = U' ';
    cells.erase(cells.begin());
    cells.emplace_back(static_cast<std::size_t>(width()), blank);
  }

  std::string typed_at_question_, pending_;
  bool answers_ = true;
  int markers_written_ = 0, markers_seen_ = 0;
  std::mutex lock_;
  std::condition_variable seen_;
};

}  // namespace tarn::test
