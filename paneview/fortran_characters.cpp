#include "paneview/paneview.h"

namespace paneview {

std::int32_t ICHAR$(const char* character) { return static_cast<unsigned char>(*character); }

std::int64_t LENG8$(const char* text, std::int64_t length) {
  while (length > 0 && text[length - 1] == ' ') --length;
  return length > 0 ? length : 0;
}

void CCOPY$(const char* source, char* destination, std::int64_t source_length,
            std::int64_t destination_length) {
  const std::int64_t count =
      source_length < destination_length ? source_length : destination_length;
  if (destination <= source) {
    for (std::int64_t i = 0; i < count; ++i) destination[i] = source[i];
  } else {
    for (std::int64_t i = count; i-- > 0;) destination[i] = source[i];
  }
  for (std::int64_t i = count > 0 ? count : 0; i < destination_length; ++i) destination[i] = ' ';
}

}  // namespace paneview
