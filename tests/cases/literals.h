// What stands in a table: characters that know where they come from, and the
// data that they write down.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace tarn::cases {

struct Char {
  char c;
  std::size_t at;  // in the file
};
using Text = std::vector<Char>;

Text text_of(const std::string& file, std::size_t begin, std::size_t end);
std::string string_of(const Text& text);

// Tells where the row is that cannot be read, and ends the run.
[[noreturn]] void syntax_error(const std::string& what);

struct Type {
  const char* name;
  std::size_t size;
  bool is_signed, is_real;
};
const Type* find_type(const std::string& name);

// How data were written, so that others can be written alike.
struct Notation {
  enum Form { kString, kBytes, kNumbers, kAddress } form = kNumbers;
  const Type* type = nullptr;
  bool named_type = false, list = false, hexadecimal = false;
};

struct Tolerance {
  std::size_t offset, size;
  double relative;  // negative: the same bits, or any NaN for a NaN
};

struct Data {
  std::string bytes;
  std::vector<Tolerance> reals;
  Notation notation;
};

// Whether the bytes begin with the data.
bool matches(const Data& wanted, const std::string& bytes);
// The bytes as a person would write them. A string ends at its NUL.
std::string written(const std::string& bytes, const Notation& notation);

// Reads a row from left to right.
class Cursor {
 public:
  explicit Cursor(const Text& text) : text_(text) {}

  bool at_end() { return skip_spaces(), i_ == text_.size(); }
  char peek() { return at_end() ? '\0' : text_[i_].c; }
  bool accept(char c) { return peek() == c && (++i_, true); }
  void expect(char c);
  // The next word, if it is this one.
  bool accept_word(const char* word);
  // Letters, digits, _ $ and @; empty if none comes.
  std::string word();
  std::string routine_name();
  bool number_comes();
  bool real_comes();
  bool quote_comes() { return peek() == '"' || peek() == '\''; }
  std::uint64_t integer();
  // The characters of a quoted literal.
  std::string quoted();
  // A number of the type, or of the type that it looks like.
  void number(const Type* type, Data* data);

  std::size_t position() { return skip_spaces(), i_; }
  void go_to(std::size_t position) { i_ = position; }
  // What was read since `begin`, as a part of the file; false if it is none.
  bool source(std::size_t begin, std::size_t* from, std::size_t* to) const;

 private:
  void skip_spaces() {
    while (i_ < text_.size() && (text_[i_].c == ' ' || text_[i_].c == '\n')) ++i_;
  }
  std::string token();

  const Text& text_;
  std::size_t i_ = 0;
};

}  // namespace tarn::cases
