// Bytes to cells of the screen or to a file; scrolling; the pause at a screenful.
//
// Text goes through two stages. The front stage collects it until its line ends
// (13 or 10) or there are 255 bytes; the back stage turns what it receives
// into cells or into bytes for a file. Text without a line end is not
// visible until FlushConsole or one of its callers, and is lost at the
// program's end without it. The length of a string is in bytes; below 0 it means
// up to the NUL.
//
// On the screen 10 begins a new row, 13 goes back to column 0, 9 fills with
// spaces up to the next multiple of 8 (in the last eight columns it begins a new
// row), 0 ends the text, whatever its length; every other byte is a character of
// the console's code page. A row that becomes full begins a new one, or with
// wrapping off ends in 0xAF and the rest of the text is dropped. A new row below
// the last one of the buffer scrolls the screen. The screen's own cursor moves
// only at the end of a string, and its position decides whether the
// screen scrolls.
//
// On a file 10 becomes 13, 10 and NULs are left out; nothing else happens.
//
// Limits: a row is put together in pieces of at most 256 cells, so screens may be
// wider. What is beyond the columns and rows that 16 bits can name is not shown.
//
// Errors: failed writes are not reported. A first pause or clearing without
// storage raises 199, "Run out of heap space".
#pragma once

#include "include/tarn/console.h"
#include "platform/abi.h"
