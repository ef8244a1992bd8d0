// Small operations on files: packed dates and times, whole files, a log, a
// checksum, remote disks, quoted names, files in folders that may be missing.
//
// A packed date and time are the words of the FAT format, each in the low 16
// bits of an int:
//
//   date  9-15 year less 1980    5-8 month    0-4 day, both from 1
//   time  11-15 hours            5-10 minutes 0-4 seconds halved
//
// As strings they are "25-12-2024", the day first, and "13:33:20": 11 and 9 bytes
// with the NUL.
//
// Stamps are read in local time, by the difference from universal time that is
// in force now, whatever the season of the stamp; and written as they are, as
// universal time. So a stamp that is read and written back moves by that
// difference.
//
// Errors: the value stated; nothing is raised, errno is unchanged. State: none. Any
// thread. Files that are open elsewhere cannot be opened, as with fopen.
#pragma once

#include "platform/abi.h"
#include "streams/file_stream.h"

namespace tarn {

// ---- Dates and times ------------------------------------------------------

// When the file or folder was last written: 1, or 0 if there is none. In a path
// '*' and '?' mean the first that matches. For a stamp outside the years of a packed
// date both words are 0, and the result 1.
TARNAPI std::int32_t get_file_date_time(const char* path, std::int32_t* date, std::int32_t* time);
// As strings; on failure neither is written.
TARNAPI std::int32_t get_file_date_time_text(const char* path, char* date, char* time);

// Stamps a file: 1, or 0 if there is none, it may not be written, or the words
// are no date and time.
TARNAPI std::int32_t set_file_date_time(const char* path, std::int32_t date, std::int32_t time);
// From strings, of which the numbers at characters 0, 3 and 6 are taken. A year
// is 1980 to 2107, or two digits: 80 to 99 is of 19.., 0 to 79 of 20... An odd
// second is lowered. 0 if the strings are no date and time.
TARNAPI std::int32_t set_file_date_time_text(const char* path, const char* date, const char* time);

// Writes both strings; always 1.
TARNAPI std::int32_t dos_date_time_to_text(std::int32_t date, std::int32_t time, char* date_text,
                                           char* time_text);

// The local time now, the year whole, the month from 1.
TARNAPI void get_time(std::int32_t* year, std::int32_t* month, std::int32_t* day,
                      std::int32_t* hour, std::int32_t* minute, std::int32_t* second);
// The same, packed.
TARNAPI void get_now_file_date_time(std::int32_t* date, std::int32_t* time);

// ---- Contents -------------------------------------------------------------

// The whole file in a block from malloc, its bytes as they are, without a
// terminator; get_file_size returns how many. Null if it cannot be read whole,
// and for 2 GiB or more.
TARNAPI void* __read_file(const char* path);

// Adds a line to a text file, which is made if need be; a line feed is added
// where the text does not end in one, so an empty string is an empty line. 1 if
// all of it was written, else 0. While another process has the file open, tries
// again for up to a second.
TARNAPI std::int32_t log_event(const char* text, const char* path);

// Two sums over the file's little-endian 32-bit words, the last one filled up
// with zeros, in 32-bit arithmetic:
//   sums[0]  their sum
//   sums[1]  s = (s << 1) ^ word for each, then times the length in bytes
// Both 0 if it cannot be opened, as for an empty one.
TARNAPI void file_checksum(const char* path, std::uint32_t* sums);

// ---- Disks and paths --------------------------------------------------------

// 1 if the drive of this letter is on another machine, a CD or in memory; 0 if it is
// not, or does not exist.
TARNAPI std::int32_t disk_is_remote(char letter);

// Puts double quotes around a string, into `destination`, or in place if that is
// null: the string's storage must then have room for two more characters. A string that
// begins with a quote counts as quoted, and is copied as it is.
TARNAPI void __dquote_string(char* source, char* destination);
// The reverse: what is between the quote at the start and the next one or
// the end. A string without a quote at the start is copied as it is. Both
// take strings of any length; destination and source may be the same.
TARNAPI void __dunquote_string(char* source, char* destination);

// fopen(path, mode); if that fails, makes the folders of the path that are
// missing, from the top down, and tries again. Null if a folder cannot be made
// or the second try fails. Folders are separated by '\' alone, and what is
// before the first one is taken to exist; a path without one, or of 260
// characters or more, gets no second try.
TARNAPI FILE* open_file_path(const char* path, const char* mode);

}  // namespace tarn
