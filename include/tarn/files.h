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
 * Stamps are read in local time, by the difference from universal time that is
 * in force now, whatever the season of the stamp; and written as they stand, as
 * universal time. So a stamp that is read and written back moves by that
 * difference. */
#ifndef TARN_FILES_H
#define TARN_FILES_H

#include "api.h"
#ifndef __TARN_HOSTED__
#include "../stdio.h"
#endif

TARN_API_BEGIN

/* ---- Dates and times ---------------------------------------------------- */

/* When the file or folder was last written: 1, or 0 if there is none. '*' and
 * '?' stand for the first name that matches. Outside 1980 to 2107: two zeros. */
TARNAPI int get_file_date_time(const char* path, int* date, int* time);
/* As texts; on failure neither is written. */
TARNAPI int get_file_date_time_text(const char* path, char* date, char* time);

/* Stamps a file: 1, or 0 if there is none, it is open somewhere or may not be
 * written, or the words are no date and time. */
TARNAPI int set_file_date_time(const char* path, int date, int time);
/* The same from texts, of which the numbers at characters 0, 3 and 6 are taken.
 * A year is 1980 to 2107, or two digits: 80 to 99 is of 19.., 0 to 79 of 20... */
TARNAPI int set_file_date_time_text(const char* path, const char* date, const char* time);

/* A packed date and time as texts; 1. */
TARNAPI int dos_date_time_to_text(int date, int time, char* date_text, char* time_text);

/* The local time now, as numbers (the year whole) and packed. */
TARNAPI void get_time(int* year, int* month, int* day, int* hour, int* minute, int* second);
TARNAPI void get_now_file_date_time(int* date, int* time);

/* ---- Contents ----------------------------------------------------------- */

/* The whole file in a block for free(), as its bytes stand and without a NUL;
 * get_file_size of <io.h> returns how many. Null if it cannot be read whole, and
 * for 2 GiB or more. */
TARNAPI void* __read_file(const char* path);

/* Adds the text as a line to a text file, which is made if need be; a line feed
 * is added if the text has none at its end. 1 if all was written, else 0. Several
 * processes may log to one file: while another one holds it, this tries again,
 * for up to a second. */
TARNAPI int log_event(const char* text, const char* path);

/* Over the file's little-endian 32-bit words, the last filled up with zeros:
 * sums[0] their sum; sums[1] the result of s = (s << 1) ^ word for each, times
 * the length in bytes. Both 0 for an empty file and for one that cannot be
 * opened. */
TARNAPI void file_checksum(const char* path, unsigned int* sums);

/* ---- Disks and paths ---------------------------------------------------- */

/* 1 if the drive is of another machine, a CD or in memory, else 0. On Linux the
 * root of the file system is drive Z, and there is no other. */
TARNAPI int disk_is_remote(char letter);

/* Puts double quotes around a text that does not begin with one, and takes what
 * stands between them out again; other texts are copied as they are. Into
 * `destination`, or in place if it is null: a text to be quoted then has room
 * for two more characters. */
TARNAPI void __dquote_string(char* source, char* destination);
TARNAPI void __dunquote_string(char* source, char* destination);

/* fopen; if that fails, makes the folders of the path that are missing and tries
 * again. Null if that fails too. Folders are separated by '\' alone, and what
 * comes before the first one is taken to exist. A path without '\', or of 260
 * characters or more, gets no second try. A hosted program, whose streams are others,
 * does not have it. */
#ifndef __TARN_HOSTED__
TARNAPI FILE* open_file_path(const char* path, const char* mode);
#endif

TARN_API_END

#endif
