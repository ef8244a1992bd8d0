#include "platform/posix/terminal/key_decoder.h"

#include "platform/posix/base/base.h"
#include "platform/posix/terminal/code_page.h"

namespace tarn::platform {
namespace {

constexpr std::uint8_t kEscape = 27;
constexpr std::uint8_t kErase = 127;
constexpr std::uint8_t kBell = 7;  // one of the two ends of a string sequence

// Bits of the control key state.
constexpr std::uint32_t kAlt = 0x0002;
constexpr std::uint32_t kControl = 0x0008;
constexpr std::uint32_t kShift = 0x0010;

// Virtual key codes.
constexpr std::uint16_t kBack = 0x08;
constexpr std::uint16_t kTab = 0x09;
constexpr std::uint16_t kReturn = 0x0D;
constexpr std::uint16_t kEscapeKey = 0x1B;
constexpr std::uint16_t kSpace = 0x20;

// Keys whose sequence ends in a letter, after "ESC [" or "ESC O".
constexpr struct {
  char final;
  std::uint16_t code;
} kLetterKeys[] = {
    {'A', 0x26}, {'B', 0x28}, {'C', 0x27}, {'D', 0x25},               // arrows
    {'E', 0x0C}, {'F', 0x23}, {'H', 0x24},                            // keypad 5, end, home
    {'P', 0x70}, {'Q', 0x71}, {'R', 0x72}, {'S', 0x73}, {'Z', kTab},  // F1 to F4; back tab
};

// Keys whose sequence is "ESC [ number ~".
constexpr struct {
  std::uint16_t number, code;
} kNumberKeys[] = {
    {1, 0x24},  {2, 0x2D},  {3, 0x2E},  {4, 0x23},   // home, insert, delete, end
    {5, 0x21},  {6, 0x22},  {7, 0x24},  {8, 0x23},   // page up, page down, home, end
    {11, 0x70}, {12, 0x71}, {13, 0x72}, {14, 0x73},  // F1 to F4
    {15, 0x74}, {17, 0x75}, {18, 0x76}, {19, 0x77},  // F5 to F8
    {20, 0x78}, {21, 0x79}, {23, 0x7A}, {24, 0x7B},  // F9 to F12
    {25, 0x7C}, {26, 0x7D}, {28, 0x7E}, {29, 0x7F},  // F13 to F16
    {31, 0x80}, {32, 0x81}, {33, 0x82}, {34, 0x83},  // F17 to F20
};

KeyResult give(InputRecord* record, std::uint16_t code, std::uint8_t character,
               std::uint32_t state) {
  *record = {};
  record->event_type = kKeyEvent;
  record->key_down = 1;
  record->repeat_count = 1;
  record->virtual_key_code = code;
  record->character = character;
  record->control_key_state = state;
  return KeyResult::kKey;
}

KeyResult give_character(std::uint8_t c, std::uint32_t state, InputRecord* record) {
  switch (c) {
    case 0:
      return give(record, kSpace, 0, state | kControl);
    case kBack:
    case kErase:
      return give(record, kBack, 8, state);
    case kTab:
      return give(record, kTab, c, state);
    case '\n':
    case '\r':
      return give(record, kReturn, '\r', state);
    case kEscape:
      return give(record, kEscapeKey, c, state);
    default:
      break;
  }
  if (c < 27) return give(record, static_cast<std::uint16_t>('A' + c - 1), c, state | kControl);
  if (c < 32) return give(record, 0, c, state | kControl);
  if (c >= 'a' && c <= 'z') {
    return give(record, static_cast<std::uint16_t>(c - 'a' + 'A'), c, state);
  }
  if (c >= 'A' && c <= 'Z') return give(record, c, c, state | kShift);
  const bool own_code = c == ' ' || (c >= '0' && c <= '9');
  return give(record, own_code ? c : 0, c, state);
}

// A byte that begins no escape sequence.
KeyResult take_character(const std::uint8_t* bytes, std::size_t count, bool complete,
                         std::uint32_t state, std::size_t* used, InputRecord* record) {
  *used = 1;
  if (bytes[0] < 0x80) return give_character(bytes[0], state, record);
  std::uint32_t code_point = 0;
  const int length = take_utf8(bytes, count, &code_point);
  if (length < 0 && !complete) return KeyResult::kMore;
  if (length < 0) *used = count;
  if (length > 0) *used = static_cast<std::size_t>(length);
  return give(record, 0, length > 0 ? to_code_page(code_point) : '?', state);
}

// A terminal sends the modifiers as 1 plus: 1 shift, 2 alt, 4 control.
std::uint32_t state_of(unsigned modifiers) {
  if (modifiers < 2 || modifiers > 16) return 0;
  const unsigned bits = modifiers - 1;
  return (bits & 1 ? kShift : 0) | (bits & 2 ? kAlt : 0) | (bits & 4 ? kControl : 0);
}

KeyResult give_letter_key(std::uint8_t final, std::uint32_t state, InputRecord* record) {
  if (final == 'Z') return give(record, kTab, '\t', state | kShift);
  for (const auto& [letter, code] : kLetterKeys) {
    if (final == static_cast<std::uint8_t>(letter)) return give(record, code, 0, state);
  }
  return KeyResult::kSkip;
}

// After "ESC [": parameter and intermediate bytes, then a final one.
KeyResult take_control_sequence(const std::uint8_t* bytes, std::size_t count, std::uint32_t state,
                                std::size_t* used, InputRecord* record) {
  if (count >= 3 && bytes[2] == '[') {  // F1 to F5 of the system's own console
    if (count < 4) return KeyResult::kMore;
    *used = 4;
    if (bytes[3] < 'A' || bytes[3] > 'E') return KeyResult::kSkip;
    return give(record, static_cast<std::uint16_t>(0x70 + bytes[3] - 'A'), 0, state);
  }
  unsigned numbers[2] = {0, 1};
  unsigned index = 0;
  std::size_t at = 2;
  bool plain = true;  // nothing but numbers and ';'
  for (; at < count && bytes[at] >= 0x20 && bytes[at] < 0x40; ++at) {
    const std::uint8_t c = bytes[at];
    if (c == ';') {
      if (++index < 2) numbers[index] = 0;
    } else if (c < '0' || c > '9') {
      plain = false;
    } else if (index < 2 && numbers[index] < 1000) {
      numbers[index] = numbers[index] * 10 + (c - '0');
    }
  }
  if (index == 0) numbers[1] = 1;
  if (at == count) return KeyResult::kMore;
  // Another control code, or a byte of a character, breaks the sequence off.
  *used = bytes[at] < 0x20 || bytes[at] >= 0x7F ? at : at + 1;
  if (!plain || *used == at || index > 1) return KeyResult::kSkip;
  if (bytes[at] != '~') return give_letter_key(bytes[at], state | state_of(numbers[1]), record);
  for (const auto& [number, code] : kNumberKeys) {
    if (numbers[0] == number) return give(record, code, 0, state | state_of(numbers[1]));
  }
  return KeyResult::kSkip;
}

// A string sequence, such as a reply: to BEL or ESC \.
KeyResult take_string(const std::uint8_t* bytes, std::size_t count, std::size_t* used) {
  for (std::size_t at = 2; at < count; ++at) {
    if (bytes[at] == kBell) {
      *used = at + 1;
      return KeyResult::kSkip;
    }
    if (bytes[at] != kEscape) continue;
    if (at + 1 == count) return KeyResult::kMore;
    *used = bytes[at + 1] == '\\' ? at + 2 : at;
    return KeyResult::kSkip;
  }
  return KeyResult::kMore;
}

KeyResult take_sequence(const std::uint8_t* bytes, std::size_t count, bool complete,
                        std::uint32_t state, std::size_t* used, InputRecord* record) {
  switch (bytes[1]) {
    case '[':
      return take_control_sequence(bytes, count, state, used, record);
    case 'O':
      if (count < 3) return KeyResult::kMore;
      *used = 3;
      return bytes[2] == 'M' ? give(record, kReturn, '\r', state)
                             : give_letter_key(bytes[2], state, record);
    case ']':
    case 'P':
    case '_':
    case '^':
      return take_string(bytes, count, used);
    default:
      break;
  }
  const KeyResult result =
      take_character(bytes + 1, count - 1, complete, state | kAlt, used, record);
  ++*used;
  return result;
}

}  // namespace

KeyResult take_key(const std::uint8_t* bytes, std::size_t count, bool complete, std::size_t* used,
                   InputRecord* record) {
  if (count > kLongestKey) count = kLongestKey;
  complete = complete || count == kLongestKey;
  if (bytes[0] != kEscape) return take_character(bytes, count, complete, 0, used, record);
  if (count == 1) {
    if (!complete) return KeyResult::kMore;
    *used = 1;
    return give_character(kEscape, 0, record);
  }
  if (bytes[1] == kEscape) {
    // Some terminals put one more ESC before a key's sequence to mean Alt.
    const bool sequence = count > 2 && (bytes[2] == '[' || bytes[2] == 'O');
    if (count == 2 && !complete) return KeyResult::kMore;
    if (!sequence) {
      *used = 1;
      return give_character(kEscape, 0, record);
    }
    const KeyResult result = take_sequence(bytes + 1, count - 1, complete, kAlt, used, record);
    ++*used;
    if (result != KeyResult::kMore || !complete) return result;
    *used = 1;
    return give_character(kEscape, 0, record);
  }
  const KeyResult result = take_sequence(bytes, count, complete, 0, used, record);
  if (result != KeyResult::kMore || !complete) return result;
  if (count == 2) {
    *used = 2;
    return give_character(bytes[1], kAlt, record);
  }
  *used = count;
  return KeyResult::kSkip;
}

}  // namespace tarn::platform
