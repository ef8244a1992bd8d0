/* Streams, and formatted input and output. All routines use the Microsoft x64
 * convention.
 *
 * A stream is a thin record around one file of the system. It has no buffer:
 * every read and write reaches the system at once, and nothing is ever left to
 * flush. A stream is a text stream unless it is opened with "b": output puts a
 * carriage return before each line feed, input drops every carriage return.
 * Reads and writes may be mixed freely.
 *
 * Errors: a pointer that is null or not an open stream raises the run-time error
 * "Invalid FILE structure" (296), in every routine that does not say
 * otherwise. Do not use a stream after closing it.
 *
 * There are no locks: if two threads use one stream, their blocks interleave. */
#ifndef TARN_STDIO_H
#define TARN_STDIO_H

#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>

#include "tarn/api.h"

TARN_API_BEGIN

#ifdef TARN_LIBRARY
struct FILE;
#else
typedef struct FILE FILE;
#endif
typedef uint64_t fpos_t;

#ifndef TARN_LIBRARY
extern void* __runtime_slots[12]; /* this image's pointers to the process's cells */

/* Only in a program; they do not work in a DLL. Null once closed. */
#define stdin (*(FILE**)__runtime_slots[1])
#define stdout (*(FILE**)__runtime_slots[2])
#define stderr (*(FILE**)__runtime_slots[3])

#define EOF (-1)
#define SEEK_SET 0
#define SEEK_CUR 1
#define SEEK_END 2
#endif

/* ---- Opening and closing ----------------------------------------------- */

/* Returns null on failure; errno is unchanged. The letters of the mode act from
 * left to right, later ones overriding earlier ones:
 *   r  read an existing file       w  write to a new or emptied file
 *   a  write at the end of a file that may exist or not
 *   +  read and write              t  text        b  binary
 * r, w, a and t make the stream a text stream again: "rb" and "r+b" are
 * binary, "br" is text. Other letters are skipped; a mode without r, w or a is
 * refused. The file is locked: until fclose nobody can open it again, not even the
 * same program. With "a" the position moves to the end once. */
TARNAPI FILE* fopen(const char* path, const char* mode);

/* Returns 0. A standard stream's file stays open. */
TARNAPI int fclose(FILE* stream);

/* Asks the system to write the file to its medium. Returns 0, or -1 with the
 * system's code in errno (a console refuses). The stream is not checked. */
TARNAPI int fflush(FILE* stream);

/* 1 if `path` names something that is not a folder, else 0. */
TARNAPI int FileExists(const char* path);

/* ---- Blocks ------------------------------------------------------------ */

/* Returns the number of whole items read. A read that fails or delivers less than
 * was requested counts as the end of the file: a pipe or a console delivers what it
 * has, and a further call continues after it. A character pushed back by ungetc is
 * not read. 2 GiB or more are refused: the result is 0, and the error indicator is
 * set. */
TARNAPI size_t fread(void* buffer, size_t size, size_t count, FILE* stream);

/* Returns `count`, or 0 if there was nothing to write or any part failed. A failure
 * sets the error indicator and makes errno 307. 2 GiB or more are refused. */
TARNAPI size_t fwrite(const void* buffer, size_t size, size_t count, FILE* stream);

/* ---- Characters and lines ---------------------------------------------- */

/* Returns 0, or -1 if the write failed, the string is empty, or the error indicator
 * is set. */
TARNAPI int fputs(const char* text, FILE* stream);
/* fputs to stdout. No line feed is added. */
TARNAPI int puts(const char* text);

/* Returns the character even if the write failed: see ferror. */
TARNAPI int fputc(int character, FILE* stream);
TARNAPI int putc(int character, FILE* stream);
TARNAPI int putchar(int character);

/* The character as a signed byte (0xE9 is -23), or EOF. A byte 0xFF returns -1
 * too: feof distinguishes them. */
TARNAPI int fgetc(FILE* stream);
TARNAPI int getc(FILE* stream);
TARNAPI int getchar(void);

/* Pushes one character back for fgetc; 0 means none. The stream is not checked. */
TARNAPI int ungetc(int character, FILE* stream);

/* Reads a line with its line feed, at most `size` bytes with the NUL. Bytes 0xFF are
 * dropped. At the end of the file it returns null, and the buffer is unchanged; a
 * further call also sets the error indicator (on stdin it reads again instead). For
 * a size of 0 or less it returns null. */
TARNAPI char* fgets(char* buffer, int size, FILE* stream);

/* Reads a line of stdin without its line feed, in 256 bytes; a longer line comes in
 * pieces of 255. Returns null as fgets does. */
TARNAPI char* gets(char* buffer);

/* ---- Indicators -------------------------------------------------------- */

/* 1 once a write failed, a block of 2 GiB was refused, or fgets was called after
 * the end of the file; else 0. */
TARNAPI int ferror(FILE* stream);
/* 1 once a read reached the end of the file or failed, else 0. */
TARNAPI int feof(FILE* stream);
/* Resets both indicators to 0. */
TARNAPI void clearerr(FILE* stream);

/* ---- Position ----------------------------------------------------------
 * Bytes of the file, in text mode too. A null stream raises 343, "Invalid
 * stream pointer (FILE*=NULL)". The indicators and a character pushed back are
 * unchanged. */

/* Returns 0, 1 on failure, -1 for an unknown whence. */
TARNAPI int fseek(FILE* stream, TARN_LONG offset, int whence);
/* The low 32 bits. */
TARNAPI TARN_LONG ftell(FILE* stream);
/* To the start; clears both indicators. */
TARNAPI void rewind(FILE* stream);
/* Always returns 0; a failure stores 0xF0F0F0F0F0F0F0F0 as the position. */
TARNAPI int fgetpos(FILE* stream, fpos_t* position);
/* Returns 0, or 1 on failure. The stream is not checked. */
TARNAPI int fsetpos(FILE* stream, const fpos_t* position);

/* ---- Formatted output ----------------------------------------------------
 * % [- + space # 0] [width or *] [.precision or *] [h l ll L] conversion, with
 * d i u o x X p c s n f e E g G %. Where it differs from standard C:
 *   long has 32 bits; 64 need ll or L. An L floating argument is a double.
 *   "% d" of 0 has no space; the precision of # o x counts the prefix
 *   negative precisions count as 0; %% has no width
 *   %p shows 32 bits, %llp 64, in capitals without leading zeros
 *   0 pads strings too; %c of 0 writes only the padding
 *   the precision of g counts digits after the point
 *   other conversion characters write nothing: %zu writes u
 *   a format that ends inside a directive ends there
 *   a NaN, an infinity or a subnormal value raises 297, "Invalid double passed
 *   to printf", with L 298
 *   arguments of more than 100,000 bytes raise 291
 * The pointers of %s and %n are not checked; widths and precisions have no limit.
 * Floating digits are not correctly rounded: docs/number-text.md. Result: the
 * number of characters formatted. Any thread. The compiler checks arguments
 * against the format, and warns about %Ld and %llp, which only work here. */

/* The result does not show whether the text was written: call ferror. */
TARNAPI int printf(const char* format, ...) TARN_FORMAT(ms_printf, 1, 2);
TARNAPI int fprintf(FILE* stream, const char* format, ...) TARN_FORMAT(ms_printf, 2, 3);

/* The destination must have space for the text and a NUL. */
TARNAPI int sprintf(char* destination, const char* format, ...) TARN_FORMAT(ms_printf, 2, 3);
TARNAPI int vsprintf(char* destination, const char* format, TARN_VA_LIST arguments)
    TARN_FORMAT(ms_printf, 2, 0);

/* ---- Formatted input -----------------------------------------------------
 * % [*] [width] [h l L] conversion, with d i u o x X p e f g s [set] c n %.
 * Where it differs from standard C:
 *   a field without width has at most 80 characters, none more than 4,299
 *   white space is skipped before literals and sets too
 *   a set has no ranges: [a-c] is "a", "-", "c"; it may match nothing
 *   %i takes all characters from "0" up; 64 bits need L, there is no ll
 *   %n is not counted; other conversion characters store nothing and are counted
 * Result: the number of values stored; EOF at the end of the stream before a
 * literal or directive, even if values were stored, and for a string of only white
 * space. More than 25,000 directives raise 291. One thread at a time for the whole
 * process. */

TARNAPI int scanf(const char* format, ...) TARN_FORMAT(gnu_scanf, 1, 2);
/* Returns 0 for a null stream. */
TARNAPI int fscanf(FILE* stream, const char* format, ...) TARN_FORMAT(gnu_scanf, 2, 3);
TARNAPI int sscanf(const char* text, const char* format, ...) TARN_FORMAT(gnu_scanf, 2, 3);

TARN_API_END

#endif
