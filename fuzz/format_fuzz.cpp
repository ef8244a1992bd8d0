// Formats of any bytes. What is cut must be the beginning of the whole, and
// nothing may be written outside the buffer. Values that would raise an error
// are replaced: the unit tests have those.

#include "fuzz/fuzz.h"
#include "streams/conversion/float_text.h"
#include "streams/format.h"

namespace {

constexpr std::size_t kWholeSize = 20'000;
constexpr std::size_t kFormatLimit = 4096;
constexpr std::size_t kSlots = 3 * kFormatLimit;  // a directive takes up to three

char target[] = "a text for every %s, and room for every %n";

// Directives that take addresses get nothing but addresses.
void fill(std::vector<tarn::Slot>& slots, const std::string& format, const std::string& values) {
  if (format.find_first_of("sn") != std::string::npos) {
    std::fill(slots.begin(), slots.end(), reinterpret_cast<tarn::Slot>(target));
  } else {
    std::fill(slots.begin(), slots.end(), 0);
    std::memcpy(slots.data(), values.data(), std::min(values.size(), kFormatLimit));
  }
  if (format.find_first_of("feEgG") == std::string::npos) return;
  const double replacement = 1234.5;
  for (tarn::Slot& slot : slots) {
    double value;
    std::memcpy(&value, &slot, sizeof value);
    if (tarn::invalid_double(value)) std::memcpy(&slot, &replacement, sizeof slot);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static std::vector<tarn::Slot> slots(kSlots);
  const std::string input(reinterpret_cast<const char*>(data), size);
  const std::string format = input.c_str();
  if (format.size() > kFormatLimit) return 0;
  const bool addresses = format.find_first_of("sn") != std::string::npos;
  if (addresses && format.find_first_of("feEgG") != std::string::npos) return 0;
  fill(slots, format, input.substr(std::min(format.size() + 1, size)));

  std::vector<char> whole(kWholeSize);
  const std::int32_t length =
      tarn::format_bounded(whole.data(), whole.size(), format.c_str(), slots.data());
  for (const std::size_t cut : {0u, 1u, 7u, 200u}) {
    std::vector<char> part(cut);
    tarn::format_bounded(part.data(), cut, format.c_str(), slots.data());
    if (cut == 0 || addresses) continue;  // %n changes the text of %s
    const std::size_t kept = std::strlen(part.data());
    fuzz::require(std::memcmp(part.data(), whole.data(), kept) == 0);
    fuzz::require(length < 0 ||
                  kept == std::min<std::size_t>(cut - 1, static_cast<std::size_t>(length)));
  }
  return 0;
}
