#include "tests/cases/literals.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace tarn::cases {
namespace {

constexpr Type kTypes[] = {{"i32", 4, true, false},  {"i8", 1, true, false},
                           {"i16", 2, true, false},  {"i64", 8, true, false},
                           {"u8", 1, false, false},  {"u16", 2, false, false},
                           {"u32", 4, false, false}, {"u64", 8, false, false},
                           {"f64", 8, false, true},  {"f32", 4, false, true}};

bool is_word(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
         c == '$' || c == '@';
}

bool looks_real(const std::string& digits) {
  const bool hexadecimal = digits.find("0x") != std::string::npos;
  return digits.find_first_of(hexadecimal ? "p" : ".epn") != std::string::npos;
}

double real_at(const std::string& bytes, std::size_t offset, std::size_t size) {
  if (size == 4) {
    float value;
    std::memcpy(&value, &bytes[offset], 4);
    return static_cast<double>(value);
  }
  double value;
  std::memcpy(&value, &bytes[offset], 8);
  return value;
}

std::string number_text(const std::string& bytes, std::size_t offset, const Notation& notation) {
  char text[64];
  const Type& type = *notation.type;
  if (type.is_real) {
    const double value = real_at(bytes, offset, type.size);
    std::snprintf(text, sizeof text, "%.*g", type.size == 4 ? 9 : 17, value);
    // Without a point it would be an integer.
    if (std::isfinite(value) && !std::strpbrk(text, ".e")) std::strcat(text, ".0");
    return text;
  }
  std::uint64_t value = 0;
  std::memcpy(&value, &bytes[offset], type.size);
  if (notation.hexadecimal) {
    std::snprintf(text, sizeof text, "0x%llX", static_cast<unsigned long long>(value));
  } else if (type.is_signed) {
    const int shift = static_cast<int>(64 - 8 * type.size);
    std::snprintf(text, sizeof text, "%lld",
                  static_cast<long long>(static_cast<std::int64_t>(value << shift) >> shift));
  } else {
    std::snprintf(text, sizeof text, "%llu", static_cast<unsigned long long>(value));
  }
  return text;
}

std::string quoted_text(const std::string& bytes, char quote) {
  std::string text(1, quote);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const char c = bytes[i];
    std::size_t run = 1;
    while (i + run < bytes.size() && bytes[i + run] == c) ++run;
    if (run > 40) {  // "x"*1000
      if (text.size() == 1) {
        text.clear();
      } else {
        text += std::string(1, quote) + " + ";
      }
      text += quoted_text(std::string(1, c), quote) + "*" + std::to_string(run);
      i += run - 1;
      if (i + 1 < bytes.size()) text += " + " + quoted_text(bytes.substr(i + 1), quote);
      return text;
    }
    char hex[8];
    if (c == '\n') {
      text += "\\n";
    } else if (c == '\r') {
      text += "\\r";
    } else if (c == '\t') {
      text += "\\t";
    } else if (c == quote || c == '\\') {
      text += std::string("\\") + c;
    } else if (c < ' ' || c > '~') {
      std::snprintf(hex, sizeof hex, "\\x%02X", static_cast<unsigned char>(c));
      text += hex;
    } else {
      text += c;
    }
  }
  return text + quote;
}

}  // namespace

Text text_of(const std::string& file, std::size_t begin, std::size_t end) {
  Text text;
  for (std::size_t i = begin; i < end; ++i) text.push_back({file[i], i});
  return text;
}

std::string string_of(const Text& text) {
  std::string result;
  for (const Char& c : text) result += c.c;
  return result;
}

const Type* find_type(const std::string& name) {
  for (const Type& type : kTypes) {
    if (name == type.name) return &type;
  }
  return nullptr;
}

bool matches(const Data& wanted, const std::string& bytes) {
  std::string exact = wanted.bytes;
  for (const Tolerance& real : wanted.reals) {
    const double want = real_at(exact, real.offset, real.size);
    const double got = real_at(bytes, real.offset, real.size);
    if (real.relative < 0 ? !std::isnan(want) || !std::isnan(got)
                          : !(std::fabs(got - want) <= std::fabs(want) * real.relative)) {
      continue;
    }
    exact.replace(real.offset, real.size, bytes, real.offset, real.size);
  }
  return exact == bytes.substr(0, exact.size());
}

std::string written(const std::string& bytes, const Notation& notation) {
  switch (notation.form) {
    case Notation::kString:
      return quoted_text(bytes.substr(0, bytes.find('\0')), '"');
    case Notation::kBytes:
      return quoted_text(bytes, '\'');
    default:
      break;
  }
  std::string text = notation.named_type ? notation.type->name : "";
  if (notation.list) text += "[";
  if (notation.named_type && !notation.list) text += " ";
  for (std::size_t i = 0; i + notation.type->size <= bytes.size(); i += notation.type->size) {
    if (i > 0) text += " ";
    text += number_text(bytes, i, notation);
  }
  return notation.list ? text + "]" : text;
}

void Cursor::expect(char c) {
  if (!accept(c)) syntax_error(std::string("'") + c + "' is missing");
}

bool Cursor::accept_word(const char* wanted) {
  const std::size_t before = position();
  if (word() == wanted) return true;
  i_ = before;
  return false;
}

std::string Cursor::word() {
  std::string result;
  for (skip_spaces(); i_ < text_.size() && is_word(text_[i_].c); ++i_) result += text_[i_].c;
  return result;
}

std::string Cursor::routine_name() {
  if (quote_comes()) return quoted();
  const std::string name = word();
  if (name.empty()) syntax_error("the name of a routine is missing");
  return name;
}

std::string Cursor::token() {
  std::string result;
  for (skip_spaces(); i_ < text_.size(); ++i_) {
    const char c = text_[i_].c;
    const char last = result.empty() ? '\0' : result.back();
    const bool sign = c == '-' || c == '+';
    const bool exponent = (last == 'e' || last == 'E') && result.compare(0, 2, "0x") != 0;
    if (sign ? !(result.empty() || exponent || last == 'p') : !is_word(c) && c != '.') break;
    result += c;
  }
  return result;
}

bool Cursor::number_comes() {
  const std::size_t before = position();
  const std::string next = token();
  i_ = before;
  const std::size_t digit = next.find_first_not_of("+-");
  return digit != std::string::npos &&
         ((next[digit] >= '0' && next[digit] <= '9') || next[digit] == '.' ||
          next.substr(digit) == "inf" || next.substr(digit) == "nan");
}

bool Cursor::real_comes() {
  const std::size_t before = position();
  const std::string next = token();
  i_ = before;
  return looks_real(next);
}

std::uint64_t Cursor::integer() {
  const std::string digits = token();
  char* end = nullptr;
  const std::uint64_t value = std::strtoull(digits.c_str(), &end, 0);
  if (digits.empty() || *end) syntax_error("an integer is missing");
  return value;
}

std::string Cursor::quoted() {
  const char quote = peek();
  if (!quote_comes()) syntax_error("a string is missing");
  std::string result;
  for (++i_;; ++i_) {
    if (i_ >= text_.size()) syntax_error("a string has no end");
    char c = text_[i_].c;
    if (c == quote) break;
    if (c == '\\') {
      const char code = ++i_ < text_.size() ? text_[i_].c : '\0';
      const char* const names = "n\nr\rt\tv\vf\f\\\\\"\"''0\0";
      const char* const name = code ? std::strchr(names, code) : nullptr;
      if (code == 'x' && i_ + 2 < text_.size()) {
        const char hex[] = {text_[i_ + 1].c, text_[i_ + 2].c, '\0'};
        c = static_cast<char>(std::strtoul(hex, nullptr, 16));
        i_ += 2;
      } else if (code == '0') {
        c = '\0';
      } else if (name) {
        c = name[1];
      } else {
        syntax_error(std::string("unknown escape \\") + code);
      }
    }
    result += c;
  }
  ++i_;
  return result;
}

void Cursor::number(const Type* type, Data* data) {
  const std::string digits = token();
  const bool hex = digits.find("0x") != std::string::npos && digits.find('p') == std::string::npos;
  const bool bits = type && type->is_real && !digits.empty() && digits[0] == 'x';
  if (!type) type = find_type(looks_real(digits) ? "f64" : "i32");
  char* end = nullptr;
  char bytes[8] = {};
  if (bits || !type->is_real) {
    const std::uint64_t value =
        bits ? std::strtoull(digits.c_str() + 1, &end, 16) : std::strtoull(digits.c_str(), &end, 0);
    std::memcpy(bytes, &value, sizeof bytes);
    const auto small = static_cast<std::int64_t>(value);
    const int width = static_cast<int>(8 * type->size);
    if (!bits && width < 64 && small >> width != 0 && small >> (width - 1) != -1) {
      syntax_error(digits + " has no place in " + type->name);
    }
  } else if (type->size == 4) {
    const float value = std::strtof(digits.c_str(), &end);
    std::memcpy(bytes, &value, sizeof value);
  } else {
    const double value = std::strtod(digits.c_str(), &end);
    std::memcpy(bytes, &value, sizeof value);
  }
  if (digits.empty() || *end) syntax_error("'" + digits + "' is no number of type " + type->name);
  if (type->is_real && !bits) {
    data->reals.push_back({data->bytes.size(), type->size, -1.0});
    if (accept('~')) data->reals.back().relative = std::strtod(token().c_str(), nullptr);
  }
  data->bytes.append(bytes, type->size);
  data->notation.type = type;
  data->notation.hexadecimal = hex;
}

bool Cursor::source(std::size_t begin, std::size_t* from, std::size_t* to) const {
  std::size_t end = i_;
  while (end > begin && text_[end - 1].c == ' ') --end;
  if (begin == end) return false;
  *from = text_[begin].at;
  *to = text_[end - 1].at + 1;
  return *to - *from == end - begin;
}

}  // namespace tarn::cases
