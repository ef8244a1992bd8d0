/* Paths, folders and drives. All routines use the Microsoft x64 convention and
 * may be called on any thread; the current folder is the process's. errno is
 * set only where a comment says so. */
#ifndef TARN_IO_H
#define TARN_IO_H

#include <stdint.h>

#include "tarn/api.h"

TARN_API_BEGIN

/* Stores the current folder in `buffer`, with a NUL, and returns the buffer. Null
 * for a null buffer or a size of 0; null and errno -1001 if it does not fit. */
TARNAPI char* getcwd(char* buffer, int size);

/* Changes the current folder. Returns 0, or -1. */
TARNAPI int _chdir(const char* path);
/* Changes the current drive: 1 is A, 26 is Z. Returns 0, or -1. */
TARNAPI int _chdrive(int drive);
/* The highest existing drive, from 0 for A. On Linux there is only Z, the root. */
TARNAPI int getdrive(void);

/* 1 if the file can be opened for reading now, else 0; 0 for a folder and for
 * a file that is open somewhere. */
TARNAPI int exists(const char* path);
/* The size in bytes; -1 if the file cannot be opened, or is open somewhere. */
TARNAPI int64_t get_file_size(const char* path);

/* Returns 0 if the file exists and allows the mode, else -1. Modes: 0 existence
 * only, 2 writing, 4 reading, 6 both. A folder allows every mode. */
TARNAPI int _access(const char* path, int mode);
/* Deletes a file. Returns 0, or -1. */
TARNAPI int _unlink(const char* path);

/* There are no file descriptors: each of these raises the run-time error "Call
 * to missing routine" (29). */
TARNAPI int _read(int descriptor, void* buffer, unsigned int length);
TARNAPI int _write(int descriptor, const void* buffer, unsigned int length);
TARNAPI TARN_LONG _lseek(int descriptor, TARN_LONG offset, int whence);
TARNAPI int _chsize(int descriptor, TARN_LONG size);

TARN_API_END

#endif
