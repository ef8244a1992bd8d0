/* Small operations on files: packed dates and times, whole files, a log, a
 * checksum, remote disks, quoted names, files in folders that may be missing.
 * All use the Microsoft x64 convention and may be called on any thread. Nothing
 * is raised and errno is left alone.
 *
 * A packed date is (year - 1980) << 9 | month << 5 | day, a packed time
 * hours << 11 | minutes << 5 | seconds / 2, months and days from 1. As texts
 * they are "25-12-2024", the day first, and "13:33:20": 11 and 9 bytes with the
 * NUL.
 *
 * Stamps are read as local time, with the difference from universal time that is
 * in force now, whatever the season of the stamp; but they are written unchanged,
 * as universal time. So a stamp that is read and written back shifts by that
 * difference. */
#ifndef TARN_FILES_H
#define TARN_FILES_H

#include "api.h"
#ifndef __TARN_HOSTED__
#include "../stdio.h"
#endif

TARN_API_BEGIN

/* ---- Dates and times ---------------------------------------------------- */

/* Stores when the file or folder was last written, and returns 1, or 0 if it does
 * not exist. With '*' and '?' the first name that matches is meant. Outside 1980 to
 * 2107 both values are 0. */
TARNAPI int get_file_date_time(const char* path, int* date, int* time);
/* The same as texts; on failure neither is written. */
TARNAPI int get_file_date_time_text(const char* path, char* date, char* time);

/* Sets a file's stamp. Returns 1, or 0 if the file does not exist, is open
 * somewhere or may not be written, or the values are not a date and time. */
TARNAPI int set_file_date_time(const char* path, int date, int time);
/* The same from texts, whose numbers begin at characters 0, 3 and 6. A year is 1980
 * to 2107, or two digits: 80 to 99 mean 1980 to 1999, 0 to 79 mean 2000 to 2079. */
TARNAPI int set_file_date_time_text(const char* path, const char* date, const char* time);

/* Converts a packed date and time to texts; returns 1. */
TARNAPI int dos_date_time_to_text(int date, int time, char* date_text, char* time_text);

/* The local time now, as numbers (the year with all digits) and packed. */
TARNAPI void get_time(int* year, int* month, int* day, int* hour, int* minute, int* second);
TARNAPI void get_now_file_date_time(int* date, int* time);

/* ---- Contents ----------------------------------------------------------- */

/* Returns the whole file, unchanged and without a NUL, in a block that the caller
 * frees with free(); get_file_size of <io.h> returns its size. Null if the file
 * cannot be read completely or has 2 GiB or more. */
TARNAPI void* __read_file(const char* path);

/* Appends the text as a line to a text file, which is created if necessary; a line
 * feed is added if the text does not end in one. Returns 1 if all was written, else
 * 0. Several processes may log to one file: while another one has it open, this
 * retries for up to a second. */
TARNAPI int log_event(const char* text, const char* path);

/* Computes two sums of the file's little-endian 32-bit words, the last padded with
 * zeros: sums[0] is their sum; sums[1] is the result of s = (s << 1) ^ word for
 * each, times the length in bytes. Both are 0 for an empty file and for one that
 * cannot be opened. */
TARNAPI void file_checksum(const char* path, unsigned int* sums);

/* ---- Disks and paths ---------------------------------------------------- */

/* 1 if the drive is a network drive, a CD or a RAM disk, else 0. On Linux the
 * root of the file system is drive Z, and there is no other. */
TARNAPI int disk_is_remote(char letter);

/* The first puts double quotes around a text that does not begin with one, the
 * second extracts the text between them; other texts are copied unchanged. The
 * result goes to `destination`, or replaces `source` if that is null; to be quoted
 * in place, a text needs room for two more characters. */
TARNAPI void __dquote_string(char* source, char* destination);
TARNAPI void __dunquote_string(char* source, char* destination);

/* fopen; if that fails, creates the missing folders of the path and tries
 * again. Null if that fails too. Only '\' separates folders, and the part before
 * the first one is assumed to exist. A path without '\', or of 260 characters or
 * more, is tried only once. Not available in hosted programs, whose streams are
 * different. */
#ifndef __TARN_HOSTED__
TARNAPI FILE* open_file_path(const char* path, const char* mode);
#endif

TARN_API_END

#endif
