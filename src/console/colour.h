// The colours of the cells written next, and a stack of them.
//
// A colour is a nibble: bit 0 blue, 1 green, 2 red, 3 bright. It is not tested:
// further bits of a foreground go into the attribute as they are, as far as its
// 16 bits reach. Text written before a change keeps its colours, except by
// SetTextAttribute. Where the console is redirected, nothing changes.
//
// The stack is limited by storage: 199, "Run out of heap space".
#pragma once

#include "platform/abi.h"

namespace tarn {

// Foreground. Result: the foreground before, 0 to 15.
TARNAPI std::int32_t SetConsoleColour(std::int32_t colour);
TARNAPI std::int32_t SET_CONSOLE_COLOUR_at(const std::int32_t* colour);

// Background. Result: the background before.
TARNAPI std::int32_t SetConsoleBackground(std::int32_t colour);
TARNAPI std::int32_t SET_CONSOLE_BACKGROUND_at(const std::int32_t* colour);

// Foreground, of its low four bits, and for text still collected too.
TARNAPI void SetTextAttribute(std::int32_t colour);

// Saves the colours and sets the foreground; restores the colours saved last, if
// there are any. The background of SetConsoleBackground is not saved: the next
// change of the foreground restores it.
TARNAPI void PushConsoleColour(std::int32_t colour);
TARNAPI void PUSH_CONSOLE_COLOUR_at(const std::int32_t* colour);
TARNAPI void PopConsoleColour();
TARNAPI void POP_CONSOLE_COLOUR_at();

// K black, B blue, G green, C cyan, R red, M magenta, Y yellow, W white, in
// either case: 0 to 7. Else -1.
TARNAPI std::int32_t colour_from_code(char code);

// Reads a colour from an option: a letter, after a '-' for bright; a ';'
// after that is skipped. *cursor moves past them; *colour is unchanged if the letter
// is not one of these.
TARNAPI void ProcessColourOption(const char** cursor, std::uint32_t* colour);

}  // namespace tarn
