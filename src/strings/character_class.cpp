#include "strings/character_class.h"

namespace tarn {
namespace {

struct ClassRange {
  std::uint16_t classes;
  int first, last;
};

// Ranges may overlap; a byte has the classes of all that hold it.
constexpr ClassRange kRanges[] = {
    {kPrintable, 0x20, 0x7E},        {kPrintable, 0x80, 0xFF},
    {kWhiteSpace, 0x09, 0x0D},       {kWhiteSpace, 0x20, 0x20},
    {kUpperCase, 0x41, 0x5A},        {kLowerCase, 0x61, 0x7A},
    {kControl, 0x00, 0x1F},          {kControl, 0x7F, 0x7F},
    {kDecimalDigit, 0x30, 0x39},     {kHexadecimalDigit, 0x30, 0x39},
    {kHexadecimalDigit, 0x41, 0x46}, {kHexadecimalDigit, 0x61, 0x66},
    {kBeyondAscii, 0x80, 0xFF},      {kLetter, 0x41, 0x5A},
    {kLetter, 0x61, 0x7A},           {kPunctuation, 0x21, 0x2F},
    {kPunctuation, 0x3A, 0x40},      {kPunctuation, 0x5B, 0x60},
    {kPunctuation, 0x7B, 0x7E},      {kAlphanumeric, 0x30, 0x39},
    {kAlphanumeric, 0x41, 0x5A},     {kAlphanumeric, 0x61, 0x7A},
    {kGraphic, 0x21, 0x7E},          {kGraphic, 0x80, 0xFF},
};

constexpr ClassTable make_table() {
  ClassTable table{};
  for (const auto& range : kRanges) {
    for (int i = range.first; i <= range.last; ++i) table.of[i] |= range.classes;
  }
  return table;
}

}  // namespace

constinit const ClassTable kClassTable = make_table();

}  // namespace tarn
