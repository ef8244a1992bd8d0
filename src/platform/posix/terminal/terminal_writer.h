// Composes the bytes that make a terminal show cells. They are collected and
// sent in one piece; if the buffer fills up, they are split between two cells.
#pragma once

#include <cstddef>

#include "platform/platform.h"

namespace tarn::platform {

// What a terminal understands, by the name in TERM.
enum class CursorShapes { kNone, kSequence, kLinux };
struct TerminalKind {
  bool cells;  // it moves its cursor on request
  bool colours;
  bool titles;
  CursorShapes shapes;
};

// `term` is the value of TERM; null, empty, "dumb" and "unknown" name a
// terminal that can do nothing.
TerminalKind terminal_kind(const char* term, bool no_colour);

inline constexpr std::uint16_t kPlainAttribute = 7;

class TerminalWriter {
 public:
  // `milliseconds`: how long to wait for a terminal that accepts nothing;
  // negative: without end.
  void begin(int terminal, bool colours, int milliseconds);
  void put(const char* text);
  void put(const char* bytes, std::size_t count);
  // "ESC [ a final" and "ESC [ a ; b final".
  void put_sequence(unsigned a, char final);
  void put_sequence(unsigned a, unsigned b, char final);
  // Places count from 0.
  void move_to(int column, int row);
  void put_cell(CharInfo cell);
  // What another writer has collected.
  void put_waiting(const TerminalWriter& other) { put(other.bytes_, other.count_); }
  // Returns to the attributes in which others print, and chooses them.
  void plain();
  void set_text_attributes(std::uint16_t attributes) { text_attributes_ = attributes; }
  // False, with errno, if bytes did not arrive since the last call.
  bool flush();

 private:
  void put_number(unsigned value);
  void set_attributes(std::uint16_t attributes);

  static constexpr std::size_t kRoom = 16384;
  static constexpr std::size_t kLongestPiece = 64;
  int terminal_ = -1;
  int failure_ = 0;
  int milliseconds_ = -1;
  bool colours_ = true;
  std::uint16_t attributes_ = kPlainAttribute;  // that the terminal has now
  std::uint16_t text_attributes_ = kPlainAttribute;
  std::size_t count_ = 0;
  char bytes_[kRoom]{};  // so that the compiler makes a static one, not each start
};

}  // namespace tarn::platform
