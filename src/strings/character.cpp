#include "strings/character.h"

#include "paneview/paneview.h"
#include "strings/c_string.h"

namespace tarn {

void ADJUSTL(char* result, std::int64_t result_length, const char* source, std::int64_t length) {
  std::int64_t from = 0;
  while (from < length && source[from] == ' ') ++from;
  std::int64_t to = 0;
  while (to < result_length && from < length) result[to++] = source[from++];
  while (to < result_length) result[to++] = ' ';
}

void ADJUSTR(char* result, std::int64_t result_length, const char* source, std::int64_t length) {
  while (length > 0 && source[length - 1] == ' ') --length;
  while (result_length > 0 && length > 0) result[--result_length] = source[--length];
  while (result_length > 0) result[--result_length] = ' ';
}

void TRIM(char* text, std::int64_t length) {
  if (length > 0 && *text == ' ') ADJUSTL(text, length, text, length);
}

void TRIMR(char* text, std::int64_t length) { ADJUSTR(text, length, text, length); }

void LCASE(char* text, std::int64_t length) {
  const auto count = static_cast<std::int32_t>(length);
  for (std::int32_t i = 0; i < count; ++i) {
    if (text[i] >= 'A' && text[i] <= 'Z') {
      text[i] = static_cast<char>(paneview::ICHAR$(text + i) + 0x20);
    }
  }
}

// What CENTRE does. The arithmetic of the width has 16 bits.
extern "C" TARNAPI void tarn_centre(char* result, std::int64_t result_length, const char* source,
                                    const std::int16_t* width, std::int64_t length) {
  paneview::CCOPY$(" ", result, 1, result_length);
  const auto used = static_cast<std::int16_t>(paneview::LENG8$(source, length));
  const auto room = static_cast<std::int16_t>(*width - used);
  const std::int64_t offset = room / 2 < 1 ? 0 : room / 2 - 1;
  if (offset >= result_length) return;
  paneview::CCOPY$(source, result + offset, length, result_length - offset);
}

void MAKE_CSTRING(const char* source, char* destination, const std::int32_t* length) {
  std::int32_t count = *length > 0 ? *length : 0;
  while (count > 1 && source[count - 1] == ' ') --count;
  for (std::int32_t i = 0; i < count; ++i) destination[i] = source[i];
  destination[count] = '\0';
}

void MAKE_CSTRING$(const char* source, char* destination, const std::int32_t* length) {
  MAKE_CSTRING(source, destination, length);
}

void GET_CSTRING(char* destination, const char* source, const std::int32_t* length) {
  const std::int32_t count = *length;
  std::int32_t i = 0;
  for (; i < count && source[i]; ++i) destination[i] = source[i];
  for (; i < count; ++i) destination[i] = ' ';
}

char* string_replace(char* text, const char* old_text, const char* new_text) {
  char* const place = strstr(text, old_text);
  if (!place) return nullptr;
  // The tail moves in place: it needs no buffer, so no tail is too long.
  const std::uint64_t old_length = strlen(old_text);
  const std::uint64_t new_length = strlen(new_text);
  const std::uint64_t tail_size = strlen(place + old_length) + 1;
  if (new_length <= old_length) {
    for (std::uint64_t i = 0; i < tail_size; ++i) place[new_length + i] = place[old_length + i];
  } else {
    for (std::uint64_t i = tail_size; i-- > 0;) place[new_length + i] = place[old_length + i];
  }
  for (std::uint64_t i = 0; i < new_length; ++i) place[i] = new_text[i];
  return place;
}

}  // namespace tarn
