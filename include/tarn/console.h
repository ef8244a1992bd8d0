/* The console: cells, colours, boxes, a pause at a screenful, lines and keys.
 *
 * The library writes the cells of the screen by itself, on a Windows console
 * and on a Linux terminal alike. Where standard output is not a screen, or where
 * TARNLEY_CONSOLE_ENABLED (registry value or environment variable, as
 * read_config_key finds it) begins with "0", the console is redirected: its text
 * goes to the handle as bytes, each "\n" as "\r\n", NULs left out, without
 * colours, wrapping, centring or pause.
 *
 * This is another way to the screen than printf and puts. A program that uses
 * both calls FlushConsole before it goes from the console to the other.
 *
 * Characters are bytes of the console's code page (437 on Linux); columns and
 * rows count from 0. A colour is a number from 0 to 15: 1 blue, 2 green, 4 red,
 * added, and 8 for bright. Other numbers are not refused: what a colour has beyond
 * its four bits goes into the cell's attribute, on whose 16 bits the system
 * decides.
 *
 * One thread at a time. What a screen refuses is not shown, and no routine reports
 * it; a screen that goes away while the program runs is such a case. The only error
 * is 199, "Run out of heap space", where a row or a node has no storage.
 *
 * All routines use the Microsoft x64 convention. A comment ends with the name
 * under which compiled Fortran calls the routine, if there is one: with its
 * arguments by reference, declared here with a name that C can spell. */
#ifndef TARN_CONSOLE_H
#define TARN_CONSOLE_H

#include <stdint.h>

#include "api.h"

TARN_API_BEGIN

/* A handle of the system as a number; -1 is none. */
typedef int64_t tarn_handle;

enum tarn_colour {
  TARN_BLACK = 0,
  TARN_BLUE = 1,
  TARN_GREEN = 2,
  TARN_CYAN = 3,
  TARN_RED = 4,
  TARN_MAGENTA = 5,
  TARN_YELLOW = 6,
  TARN_WHITE = 7,
  TARN_BRIGHT = 8 /* added to one of the others */
};

/* ---- Text ----------------------------------------------------------------
 * Text is collected until its line ends ("\n" or "\r") or 255 bytes have come
 * together. What has no line end is not visible until FlushConsole, or a routine
 * that says that it flushes, and is lost when the program ends without it.
 *
 * On the screen "\n" begins a row, "\r" goes back to column 0, and "\t" goes on to
 * the next multiple of 8, or begins a row from one of the last eight columns. A
 * NUL ends what is written. Any other byte is a character. A row that is full
 * begins a new one (CursorWrapMode); one below the last row of the screen's
 * buffer scrolls. */

/* `length` bytes, or below 0 up to the NUL. */
TARNAPI void output_win32_line(const char* text, int length);
TARNAPI void output_win32_char(char character);

/* The same for a NUL-terminated text and a character. CONSOLE_WRITE@ has the
 * length by value; CONSOLE_WRITE_CHAR@. */
TARNAPI void ConsoleWrite(const char* text);
TARNAPI void ConsoleWriteChar(char character);
TARNAPI void tarn_console_write(const char* text, int64_t length) TARN_LINK_NAME("CONSOLE_WRITE@");
TARNAPI void tarn_console_write_char(const char* character) TARN_LINK_NAME("CONSOLE_WRITE_CHAR@");

/* Writes at once. What was collected before stays collected. */
TARNAPI void output_unbuffered_win32_line(const char* text, int length);

/* Writes what was collected. FLUSH_CONSOLE@. */
TARNAPI void FlushConsole(void);
TARNAPI void tarn_flush_console(void) TARN_LINK_NAME("FLUSH_CONSOLE@");

/* 0: nothing is collected any more, after a flush. Not 0, as at the start: it is.
 * SET_CONSOLE_BUFFER_MODE@. */
TARNAPI void ConsoleBufferMode(int mode);
TARNAPI void tarn_set_console_buffer_mode(const int* mode)
    TARN_LINK_NAME("SET_CONSOLE_BUFFER_MODE@");

/* At the right edge: not 0, as at the start on a screen, begins a new row; 0
 * shows the byte 0xAF in the last column, begins a new row, and drops the rest of
 * what is written together: a line, or 255 bytes. SET_CONSOLE_WRAP_MODE@. */
TARNAPI void CursorWrapMode(int mode);
TARNAPI void tarn_set_console_wrap_mode(const int* mode) TARN_LINK_NAME("SET_CONSOLE_WRAP_MODE@");

/* ---- Formatted text ------------------------------------------------------
 * Formats are those of printf. Text of up to 1,048,576 bytes is shown whole; what
 * is longer, or has no storage, is cut to 1,023 bytes. All of these flush first,
 * and nothing of theirs is collected. */

/* Result: the length of the text. */
TARNAPI int ConsolePrintf(const char* format, ...);

/* The text in the middle of the cursor's row, cut at the right edge as without
 * wrapping. Line ends after it are written, and do not count. Result: the length
 * that counts; 1 for a text that is a line end alone. */
TARNAPI int ConsolePrintfC(const char* format, ...);

/* Not 0: ConsolePrintfC clears its row first, and a text that ends in "\r" leaves
 * the cursor at the start of the same row, so that the next text rewrites it.
 * 0 at the start. */
TARNAPI void ClearPrintfCLine(int on);

/* A box in the middle of the screen with the text in it, a line for each "\n",
 * each in the middle. The box is as wide as the longest line, up to ScreenWidth
 * less 6, where longer lines of several are cut; a single line is cut by the edge
 * of the screen alone, and so are the rows of the box on a screen narrower than
 * its frame. Styles: 0 spaces, 1 a single and 2 a double line, 3 to 5 a light,
 * middle and full block; another number counts as 1. A colour of 16 or more keeps
 * the one that is set; both are afterwards what they were. Result: the width of
 * the text in the box. */
TARNAPI int ConsoleBoxPrint(int style, int background, int foreground, const char* format, ...);

/* Colour of the box's shadow, 0 to 15, -1 for none; others are ignored. Black at
 * the start. Result: the one before. */
TARNAPI int SetBoxShadow(int colour);
/* The shadow's character; 0xDB, the full block, at the start. Result: the one
 * before. */
TARNAPI char SetBoxChar(char character);

/* Spaces that put `length` characters into the middle of `width` columns, then the
 * text up to its NUL, into a destination that has room for them. */
TARNAPI void centre_line(const char* source, char* destination, int length, int width);

/* Formatted text to a handle, or to the screen whatever is redirected, past the
 * console: bytes as they are, nothing collected. Result: the bytes written; 0
 * where there is no handle or no screen. */
TARNAPI int __HandlePrintf(tarn_handle handle, const char* format, ...);
TARNAPI int __ConsolePrintf(const char* format, ...);

/* ---- Colours -------------------------------------------------------------
 * Of the text written from now on; all but SetTextAttribute flush. Redirected,
 * nothing changes. */

/* Foreground. Nothing happens if it is set already. Result: the one before.
 * SET_CONSOLE_COLOUR@. */
TARNAPI int SetConsoleColour(int colour);
TARNAPI int tarn_set_console_colour(const int* colour) TARN_LINK_NAME("SET_CONSOLE_COLOUR@");

/* Background. Result: the one before. SET_CONSOLE_BACKGROUND@. */
TARNAPI int SetConsoleBackground(int colour);
TARNAPI int tarn_set_console_background(const int* colour)
    TARN_LINK_NAME("SET_CONSOLE_BACKGROUND@");

/* Foreground, by its four bits; text that is still collected has it too. */
TARNAPI void SetTextAttribute(int colour);

/* Remembers both colours and sets the foreground; goes back to the colours
 * remembered last, if any. As many as there is storage for. PUSH_CONSOLE_COLOUR@,
 * POP_CONSOLE_COLOUR@. */
TARNAPI void PushConsoleColour(int colour);
TARNAPI void PopConsoleColour(void);
TARNAPI void tarn_push_console_colour(const int* colour) TARN_LINK_NAME("PUSH_CONSOLE_COLOUR@");
TARNAPI void tarn_pop_console_colour(void) TARN_LINK_NAME("POP_CONSOLE_COLOUR@");

/* K black, B blue, G green, C cyan, R red, M magenta, Y yellow, W white, in
 * either case; -1 for another letter. */
TARNAPI int colour_from_code(char code);

/* Reads such a letter with a '-' before it for bright and a ';' after it, both
 * optional, and moves *text past them. *colour stays for another letter. */
TARNAPI void ProcessColourOption(const char** text, unsigned int* colour);

/* ---- Clearing ------------------------------------------------------------
 * Spaces in the row of the console's cursor, in the colours of the first clearing.
 * What was collected is dropped; the screen's cursor does not move. Redirected,
 * nothing happens. */
TARNAPI void ClearCurrentLine(void);
TARNAPI void ClearToCursorPos(void); /* left of the cursor */
TARNAPI void ClearToEOL(void);       /* at the cursor and right of it */

/* Flushes; the rows of spaces and of the pause are made anew when next wanted, in
 * the colours of then. */
TARNAPI void FreeConsoleInstance(void);

/* ---- Pause ---------------------------------------------------------------
 * Not 0: when the screen has scrolled by as many rows as it has, less 2 (from the
 * second pause on less 5), the last row asks for a key before the output goes on.
 * ESC ends the program with code 0. Below 0: it pauses once, and again after each
 * further negative mode. 0, as at the start: never. A screen narrower than the
 * message shows its beginning; if there are no keys to read, the output goes on.
 * SET_PAUSE_MODE@. */
TARNAPI void ConsolePauseMode(int mode);
TARNAPI void tarn_set_pause_mode(const int* mode) TARN_LINK_NAME("SET_PAUSE_MODE@");
/* Not 0 while it asks. */
TARNAPI int ConsolePaused(void);
/* Takes the question away. CLEAR_PAUSE_LINE@. */
TARNAPI void ClearPauseLine(void);
TARNAPI void tarn_clear_pause_line(void) TARN_LINK_NAME("CLEAR_PAUSE_LINE@");

/* ---- Input ---------------------------------------------------------------*/

/* Waits for a key. *key is its character as a signed byte, 0 for a key without
 * one, -1 at once if there is no input handle; it stays if no key can be read. */
TARNAPI void get_key(int* key);

/* Flushes, and reads a line of at most `size` bytes without its line end; no NUL is
 * added. The rest of a longer line comes with the next calls. *count is the
 * length, or -1 at the end of the input, which is a Ctrl-Z (26) or a read that
 * returns nothing; for the latter "^Z" is shown. A line end is 13 or 10 and may have
 * one more of them after it, so an empty line after a single "\n" is not seen.
 * Text without a line end before the end is lost. Result: 1 if a read failed while
 * the line was read, which ends the input for good; else 0. */
TARNAPI int ConsoleRead(char* buffer, int size, int* count);

/* ---- Size and cursor -----------------------------------------------------*/

/* The window's columns and rows, as the user has it now; 80 and 0 where redirected.
 * Wrapping, centred lines and boxes go by the columns. */
TARNAPI int ScreenWidth(void);
TARNAPI int ScreenHeight(void);

/* Stored, and moves the cursor of the screen; 16 bits of each count.
 * SET_CONSOLE_CURSOR_POS@, GET_CONSOLE_CURSOR_POS@. */
TARNAPI void SetConsoleCursorPos(int x, int y);
TARNAPI void tarn_set_console_cursor_pos(const int* x, const int* y)
    TARN_LINK_NAME("SET_CONSOLE_CURSOR_POS@");
/* 0, 0 where redirected. */
TARNAPI void GetCursorPos(int* x, int* y);
TARNAPI void tarn_get_console_cursor_pos(int* x, int* y) TARN_LINK_NAME("GET_CONSOLE_CURSOR_POS@");

/* Height of the cursor in percent of its cell, 1 to 100; what else the system
 * refuses. Result: the one before, 0 where there is none. SET_CURSOR_SIZE@. */
TARNAPI int SetConsoleCursorSize(int size);
TARNAPI int tarn_set_cursor_size(const int* size) TARN_LINK_NAME("SET_CURSOR_SIZE@");

/* 0 hides the cursor, not 0 shows it again as it was; the same twice does nothing.
 * CURSOR_CONTROL@; and the two halves of it, HIDE_CURSOR@ and RESTORE_CURSOR@,
 * neither of which does anything twice in a row. */
TARNAPI void CursorControl(int on);
TARNAPI void tarn_cursor_control(const int* on) TARN_LINK_NAME("CURSOR_CONTROL@");
TARNAPI void tarn_hide_cursor(void) TARN_LINK_NAME("HIDE_CURSOR@");
TARNAPI void tarn_restore_cursor(void) TARN_LINK_NAME("RESTORE_CURSOR@");

/* ---- Redirection ---------------------------------------------------------*/

/* 1 if output goes to a handle as bytes. CONSOLE_REDIRECTED@. */
TARNAPI int ConsoleRedirected(void);
TARNAPI int tarn_console_redirected(void) TARN_LINK_NAME("CONSOLE_REDIRECTED@");

/* From now on output goes to the handle, what is still collected included; there
 * is no way back to the screen. Input comes from the handle, but for what was read
 * before. On a closed handle output is lost and input ends.
 * REDIRECT_CONSOLE_OUTPUT@, REDIRECT_CONSOLE_INPUT@. */
TARNAPI void RedirectConsoleOutput(tarn_handle handle);
TARNAPI void RedirectConsoleInput(tarn_handle handle);
TARNAPI void tarn_redirect_console_output(const tarn_handle* handle)
    TARN_LINK_NAME("REDIRECT_CONSOLE_OUTPUT@");
TARNAPI void tarn_redirect_console_input(const tarn_handle* handle)
    TARN_LINK_NAME("REDIRECT_CONSOLE_INPUT@");

/* Low 32 bits of the standard input (0), output (1) or error (2) handle; -1 for
 * another number. */
TARNAPI int _get_console_handle(int which);

/* ---- Plain text ----------------------------------------------------------
 * To standard output, or with "err" to standard error, at once and past the
 * console: a text or `length` bytes, with "\r\n" after it, or without it where the
 * name has "coua". Result: the bytes of the last write, or -1. Any thread. */
TARNAPI int __newline(void);
TARNAPI int __errnewline(void);
TARNAPI int __cou(const char* text);
TARNAPI int __cou1(const char* text, int length);
TARNAPI int __errcou(const char* text);
TARNAPI int __errcou1(const char* text, int length);
TARNAPI int __coua(const char* text);
TARNAPI int _coua1(const char* text, int length);
TARNAPI int __errcoua(const char* text);
TARNAPI int __errcoua1(const char* text, int length);

/* ---- Parts of the above --------------------------------------------------
 * For code that puts rows together by itself. */

typedef struct tarn_cell {
  unsigned char character, unused; /* `unused` is 0 */
  unsigned short attribute;        /* foreground in bits 0 to 3, background 4 to 7 */
} tarn_cell;

/* Writes cells at the console's cursor, which stays; null: of the row being put
 * together, at most 256. */
TARNAPI void write_linebuff(int count, const tarn_cell* cells);
/* Writes the first *columns cells of that row and goes to the next; *columns = 0. */
TARNAPI void PrintNewLine(int* columns);
/* A newline at the screen's cursor, and a pause if it is time for one. */
TARNAPI void ScrollScreen(void);
/* The pause itself; nothing where redirected. */
TARNAPI void OutputPauseMessage(void);
/* Makes the row of spaces, if there is none. */
TARNAPI void setup_clear_buff(void);

/* A node, one returned before or a new one; the second returns a node, or null. */
typedef struct tarn_int_stack {
  int value;
  struct tarn_int_stack* next;
} tarn_int_stack;
TARNAPI tarn_int_stack* new_int_stack(void);
TARNAPI void discard_int_stack(tarn_int_stack* node);

/* Brings the console up. Initialisation does it; again it does nothing. */
TARNAPI void __InitialiseConsole(void);

TARN_API_END

#endif
