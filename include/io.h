/* Paths, folders and drives. All routines use the Microsoft x64 convention and
 * may be called on any thread; the current folder is the process's. errno is
 * set only where a comment says so. */
#ifndef TARN_IO_H
#define TARN_IO_H

#ifdef __cplusplus
extern "C" {
#endif

/* The current folder in `buffer`, with a NUL. Null for a null buffer or a size
 * of 0; null and errno -1001 if it does not fit. */
char* getcwd(char* buffer, int size);

/* 0, or -1. */
int _chdir(const char* path);
/* The current drive: 1 is A, 26 is Z. 0, or -1. */
int _chdrive(int drive);
/* The highest drive there is, from 0 for A. On Linux Z, the root, alone. */
int getdrive(void);

/* 1 if the file can be opened for reading now, else 0; a folder, or a file that
 * is open somewhere, gives 0. */
int exists(const char* path);
/* In bytes; -1 if the file cannot be opened, or is open somewhere. */
long long get_file_size(const char* path);

/* 0 if there is such a file and it allows the mode: 0 nothing more, 2 writing,
 * 4 reading, 6 both. A folder allows every mode. Else -1. */
int _access(const char* path, int mode);
/* Deletes a file: 0, or -1. */
int _unlink(const char* path);

/* There are no file descriptors: each of these raises the run-time error "Call
 * to missing routine" (29). */
int _read(int descriptor, void* buffer, unsigned int length);
int _write(int descriptor, const void* buffer, unsigned int length);
long _lseek(int descriptor, long offset, int whence);
int _chsize(int descriptor, long size);

#ifdef __cplusplus
}
#endif

#endif
