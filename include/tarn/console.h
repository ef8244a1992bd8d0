/* The console: cells, colours, boxes, a pause at a screenful, lines and keys.
 *
 * The library writes the cells of the screen by itself, on a Windows console
 * and on a Linux terminal alike. Where standard output is not a screen, or where
 * TARNLEY_CONSOLE_ENABLED (registry value or environment variable, as
 * read_config_key finds it) begins with "0", the console is redirected: its text
 * goes to the handle as bytes, each "\n" as "\r\n", without NULs, colours,
 * wrapping, centring or pause.
 *
 * The console bypasses printf and puts. A program that uses both must call
 * FlushConsole before it switches from the console to these.
 *
 * Characters are bytes of the console's code page (437 on Linux); columns and
 * rows count from 0. A colour is a number from 0 to 15: the sum of 1 for blue, 2
 * for green, 4 for red and 8 for bright. Other numbers are not refused: the bits
 * beyond the lowest four go into the cell's 16-bit attribute, and the system
 * decides what they do.
 *
 * One thread at a time. Output that a screen refuses is not shown, and no routine
 * reports it, even if the screen disappears while the program runs. The only error
 * is 199, "Run out of heap space", if there is no storage for a row or a node.
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
 * Text is buffered until its line ends ("\n" or "\r") or 255 bytes have been
 * collected. Text without a line end stays invisible until FlushConsole or a
 * routine that says that it flushes, and is lost if the program ends before that.
 *
 * On the screen "\n" begins a new row, "\r" goes back to column 0, and "\t" moves
 * to the next multiple of 8, or to a new row from one of the last eight columns. A
 * NUL ends the text. Any other byte is a character. When a row is full a new one
 * begins (CursorWrapMode); below the last row of its buffer the screen scrolls. */

/* Writes `length` bytes or, if `length` is negative, up to the NUL. */
TARNAPI void output_win32_line(const char* text, int length);
TARNAPI void output_win32_char(char character);

/* The same for a NUL-terminated text and a character. CONSOLE_WRITE@ has the
 * length by value; CONSOLE_WRITE_CHAR@. */
TARNAPI void ConsoleWrite(const char* text);
TARNAPI void ConsoleWriteChar(char character);
TARNAPI void tarn_console_write(const char* text, int64_t length) TARN_LINK_NAME("CONSOLE_WRITE@");
TARNAPI void tarn_console_write_char(const char* character) TARN_LINK_NAME("CONSOLE_WRITE_CHAR@");

/* Writes at once. Text that is still buffered stays in the buffer. */
TARNAPI void output_unbuffered_win32_line(const char* text, int length);

/* Writes the buffered text. FLUSH_CONSOLE@. */
TARNAPI void FlushConsole(void);
TARNAPI void tarn_flush_console(void) TARN_LINK_NAME("FLUSH_CONSOLE@");

/* 0 flushes and turns buffering off; any other mode turns it on, as it is at the
 * start. SET_CONSOLE_BUFFER_MODE@. */
TARNAPI void ConsoleBufferMode(int mode);
TARNAPI void tarn_set_console_buffer_mode(const int* mode)
    TARN_LINK_NAME("SET_CONSOLE_BUFFER_MODE@");

/* What happens at the right edge: a mode other than 0, which a screen has at the
 * start, continues in a new row; 0 shows the byte 0xAF in the last column, begins
 * a new row, and drops the rest of the text that is written together: a line, or
 * 255 bytes. SET_CONSOLE_WRAP_MODE@. */
TARNAPI void CursorWrapMode(int mode);
TARNAPI void tarn_set_console_wrap_mode(const int* mode) TARN_LINK_NAME("SET_CONSOLE_WRAP_MODE@");

/* ---- Formatted text ------------------------------------------------------
 * Formats are those of printf. Text of up to 1,048,576 bytes is shown whole; longer
 * text, or text without storage for it, is cut to 1,023 bytes. All of these flush
 * first, and their own text is not buffered. */

/* Result: the length of the text. */
TARNAPI int ConsolePrintf(const char* format, ...);

/* Writes the text in the middle of the cursor's row, cut at the right edge as
 * without wrapping. Line ends after it are written, but not counted. Result: the
 * length without them; 1 for a text that is only a line end. */
TARNAPI int ConsolePrintfC(const char* format, ...);

/* If `on` is not 0, ConsolePrintfC clears its row first, and a text that ends in
 * "\r" leaves the cursor at the start of the same row, so that the next text
 * overwrites it. 0 at the start. */
TARNAPI void ClearPrintfCLine(int on);

/* Draws a box in the middle of the screen with the text in it; "\n" separates
 * lines, each of which is centred. The box is as wide as the longest line, up to
 * ScreenWidth less 6; if there are several lines, longer ones are cut there. A
 * single line is cut only at the edge of the screen, and so are the rows of the box
 * on a screen narrower than its frame. Styles: 0 spaces, 1 a single and 2 a double
 * line, 3 to 5 a light, middle and full block; another number counts as 1. A colour
 * of 16 or more keeps the current one; both colours are restored afterwards.
 * Result: the width of the text in the box. */
TARNAPI int ConsoleBoxPrint(int style, int background, int foreground, const char* format, ...);

/* Sets the colour of the box's shadow, 0 to 15, or -1 for none; others are ignored.
 * Black at the start. Result: the previous one. */
TARNAPI int SetBoxShadow(int colour);
/* Sets the shadow's character; 0xDB, the full block, at the start. Result: the
 * previous one. */
TARNAPI char SetBoxChar(char character);

/* Stores the spaces that centre `length` characters in `width` columns, then the
 * text up to its NUL. The destination must have room for them. */
TARNAPI void centre_line(const char* source, char* destination, int length, int width);

/* Writes formatted text to a handle, or to the screen even if output is redirected.
 * Both bypass the console: the bytes are written unchanged and unbuffered. Result:
 * the bytes written; 0 if there is no handle or no screen. */
TARNAPI int __HandlePrintf(tarn_handle handle, const char* format, ...);
TARNAPI int __ConsolePrintf(const char* format, ...);

/* ---- Colours -------------------------------------------------------------
 * These apply to text written from now on; all but SetTextAttribute flush. When the
 * console is redirected they have no effect. */

/* Sets the foreground; does nothing if it is the current one. Result: the previous
 * one. SET_CONSOLE_COLOUR@. */
TARNAPI int SetConsoleColour(int colour);
TARNAPI int tarn_set_console_colour(const int* colour) TARN_LINK_NAME("SET_CONSOLE_COLOUR@");

/* Sets the background. Result: the previous one. SET_CONSOLE_BACKGROUND@. */
TARNAPI int SetConsoleBackground(int colour);
TARNAPI int tarn_set_console_background(const int* colour)
    TARN_LINK_NAME("SET_CONSOLE_BACKGROUND@");

/* Sets the foreground to the low four bits; it also applies to text that is still
 * buffered. */
TARNAPI void SetTextAttribute(int colour);

/* Push saves both colours and sets the foreground; pop restores the colours saved
 * last, if any. The depth is limited only by storage. PUSH_CONSOLE_COLOUR@,
 * POP_CONSOLE_COLOUR@. */
TARNAPI void PushConsoleColour(int colour);
TARNAPI void PopConsoleColour(void);
TARNAPI void tarn_push_console_colour(const int* colour) TARN_LINK_NAME("PUSH_CONSOLE_COLOUR@");
TARNAPI void tarn_pop_console_colour(void) TARN_LINK_NAME("POP_CONSOLE_COLOUR@");

/* The colour of a letter: K black, B blue, G green, C cyan, R red, M magenta,
 * Y yellow, W white, in either case; -1 for another letter. */
TARNAPI int colour_from_code(char code);

/* Reads such a letter with a '-' before it for bright and a ';' after it, both
 * optional, and moves *text past them. For another letter *colour is unchanged. */
TARNAPI void ProcessColourOption(const char** text, unsigned int* colour);

/* ---- Clearing ------------------------------------------------------------
 * These write spaces in the row of the console's cursor, in the colours that were
 * set at the first clearing. Buffered text is dropped; the screen's cursor does not
 * move. When the console is redirected nothing happens. */
TARNAPI void ClearCurrentLine(void);
TARNAPI void ClearToCursorPos(void); /* left of the cursor */
TARNAPI void ClearToEOL(void);       /* at the cursor and right of it */

/* Flushes, and discards the saved rows of spaces and of the pause, so that they
 * take the colours in force when they are next needed. */
TARNAPI void FreeConsoleInstance(void);

/* ---- Pause ---------------------------------------------------------------
 * A mode above 0 pauses after each screenful: when the screen has scrolled by its
 * number of rows less 2 (from the second pause on, less 5), the last row asks for a
 * key before output continues. ESC ends the program with code 0. A mode below 0
 * pauses once, and again after each further call with a negative mode. 0, as at the
 * start: never. A screen narrower than the message shows its beginning; if there
 * are no keys to read, output continues. SET_PAUSE_MODE@. */
TARNAPI void ConsolePauseMode(int mode);
TARNAPI void tarn_set_pause_mode(const int* mode) TARN_LINK_NAME("SET_PAUSE_MODE@");
/* Not 0 while it asks. */
TARNAPI int ConsolePaused(void);
/* Erases the question. CLEAR_PAUSE_LINE@. */
TARNAPI void ClearPauseLine(void);
TARNAPI void tarn_clear_pause_line(void) TARN_LINK_NAME("CLEAR_PAUSE_LINE@");

/* ---- Input ---------------------------------------------------------------*/

/* Waits for a key. *key is its character as a signed byte, or 0 for a key without
 * one; -1, without waiting, if there is no input handle; unchanged if no key can be
 * read. */
TARNAPI void get_key(int* key);

/* Flushes, and reads a line of at most `size` bytes without its line end; no NUL is
 * added. The next calls return the rest of a longer line. *count is the
 * length, or -1 at the end of the input, which is a Ctrl-Z (26) or a read that
 * returns nothing; for the latter "^Z" is shown. A line end is 13 or 10, and one
 * more of them after it belongs to it, so an empty line after a single "\n" is not
 * seen. Text between the last line end and the end of the input is lost. Result: 1
 * if a read failed while the line was read, which ends the input for good; else 0. */
TARNAPI int ConsoleRead(char* buffer, int size, int* count);

/* ---- Size and cursor -----------------------------------------------------*/

/* The current columns and rows of the window; 80 and 0 if redirected. Wrapping,
 * centred lines and boxes use the columns. */
TARNAPI int ScreenWidth(void);
TARNAPI int ScreenHeight(void);

/* Stores the position and moves the screen's cursor; the low 16 bits of each count.
 * SET_CONSOLE_CURSOR_POS@, GET_CONSOLE_CURSOR_POS@. */
TARNAPI void SetConsoleCursorPos(int x, int y);
TARNAPI void tarn_set_console_cursor_pos(const int* x, const int* y)
    TARN_LINK_NAME("SET_CONSOLE_CURSOR_POS@");
/* The position of the screen's cursor; 0, 0 if redirected. */
TARNAPI void GetCursorPos(int* x, int* y);
TARNAPI void tarn_get_console_cursor_pos(int* x, int* y) TARN_LINK_NAME("GET_CONSOLE_CURSOR_POS@");

/* Sets the height of the cursor in percent of its cell, 1 to 100; the system refuses
 * other values. Result: the previous one, 0 if there is none. SET_CURSOR_SIZE@. */
TARNAPI int SetConsoleCursorSize(int size);
TARNAPI int tarn_set_cursor_size(const int* size) TARN_LINK_NAME("SET_CURSOR_SIZE@");

/* 0 hides the cursor, any other value shows it again as it was; a repeated call
 * does nothing. CURSOR_CONTROL@. HIDE_CURSOR@ and RESTORE_CURSOR@ also hide and show
 * it, and do nothing when repeated; do not mix them with CursorControl, which does not
 * notice their calls. */
TARNAPI void CursorControl(int on);
TARNAPI void tarn_cursor_control(const int* on) TARN_LINK_NAME("CURSOR_CONTROL@");
TARNAPI void tarn_hide_cursor(void) TARN_LINK_NAME("HIDE_CURSOR@");
TARNAPI void tarn_restore_cursor(void) TARN_LINK_NAME("RESTORE_CURSOR@");

/* ---- Redirection ---------------------------------------------------------*/

/* 1 if output goes to a handle as bytes. CONSOLE_REDIRECTED@. */
TARNAPI int ConsoleRedirected(void);
TARNAPI int tarn_console_redirected(void) TARN_LINK_NAME("CONSOLE_REDIRECTED@");

/* From now on output, including text that is still buffered, goes to the handle;
 * it cannot be directed back to the screen. Input comes from the handle, after what
 * was read ahead. On a closed handle output is lost and input ends.
 * REDIRECT_CONSOLE_OUTPUT@, REDIRECT_CONSOLE_INPUT@. */
TARNAPI void RedirectConsoleOutput(tarn_handle handle);
TARNAPI void RedirectConsoleInput(tarn_handle handle);
TARNAPI void tarn_redirect_console_output(const tarn_handle* handle)
    TARN_LINK_NAME("REDIRECT_CONSOLE_OUTPUT@");
TARNAPI void tarn_redirect_console_input(const tarn_handle* handle)
    TARN_LINK_NAME("REDIRECT_CONSOLE_INPUT@");

/* The low 32 bits of the standard input (0), output (1) or error (2) handle; -1 for
 * another number. */
TARNAPI int _get_console_handle(int which);

/* ---- Plain text ----------------------------------------------------------
 * These write a text, or `length` bytes, to standard output or, if the name has
 * "err", to standard error, at once and bypassing the console. "\r\n" is added
 * unless the name has "coua". Result: the bytes of the last write, or -1. Any
 * thread. */
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
 * For code that assembles rows itself. */

typedef struct tarn_cell {
  unsigned char character, unused; /* `unused` is 0 */
  unsigned short attribute;        /* foreground in bits 0 to 3, background 4 to 7 */
} tarn_cell;

/* Writes cells at the console's cursor, which does not move; for null, those of the
 * row being assembled, at most 256. */
TARNAPI void write_linebuff(int count, const tarn_cell* cells);
/* Writes the first *columns cells of that row, goes to the next, and sets *columns
 * to 0. */
TARNAPI void PrintNewLine(int* columns);
/* Writes a newline at the screen's cursor, and pauses if it is time to. */
TARNAPI void ScrollScreen(void);
/* The pause itself; does nothing if redirected. */
TARNAPI void OutputPauseMessage(void);
/* Makes the row of spaces, if there is none. */
TARNAPI void setup_clear_buff(void);

/* The first routine returns a node, a discarded or a new one; the second discards a
 * node, or null. */
typedef struct tarn_int_stack {
  int value;
  struct tarn_int_stack* next;
} tarn_int_stack;
TARNAPI tarn_int_stack* new_int_stack(void);
TARNAPI void discard_int_stack(tarn_int_stack* node);

/* Initialises the console. The library's initialisation does this; a further call
 * does nothing. */
TARNAPI void __InitialiseConsole(void);

TARN_API_END

#endif
