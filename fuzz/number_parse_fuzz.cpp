// Strings of any bytes through the number parsers. The end that they return is in
// the text, and nothing follows it that they would have taken.

#include "fuzz/fuzz.h"
#include "process/process_state.h"
#include "streams/conversion/number_parse.h"

namespace {

constexpr std::int32_t kUntouched = 4711;

void check_end(const std::vector<char>& text, const char* end) {
  fuzz::require(end >= text.data() && end < text.data() + text.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 1) return 0;
  const std::int32_t radix = static_cast<std::int8_t>(data[0]);
  const std::vector<char> text = fuzz::text_of({reinterpret_cast<const char*>(data + 1), size - 1});

  char* end = nullptr;
  tarn::strtoul(text.data(), &end, radix);
  check_end(text, end);
  tarn::strtol(text.data(), &end, radix);
  check_end(text, end);
  tarn::set_errno(kUntouched);
  const std::int64_t value = tarn::strtol64(text.data(), &end, radix);
  check_end(text, end);
  if (tarn::get_errno() == kUntouched && end != text.data()) {
    // What was read once is read again from its beginning alone.
    const std::string read(text.data(), static_cast<std::size_t>(end - text.data()));
    fuzz::require(tarn::strtol64(read.c_str(), nullptr, radix) == value);
  }
  tarn::strtod(text.data(), &end);
  check_end(text, end);
  return 0;
}
