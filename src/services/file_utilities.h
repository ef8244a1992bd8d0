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

#include "include/tarn/files.h"
#include "platform/abi.h"
#include "streams/file_stream.h"
