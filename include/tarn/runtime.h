/* Start-up, configuration and identity: the library's own entries, besides those
 * of the C headers. All use the Microsoft x64 convention. Names that C cannot spell
 * are given by their link names.
 *
 * Unless a comment says otherwise a routine may be called on any thread. */
#ifndef TARN_RUNTIME_H
#define TARN_RUNTIME_H

#include <stdint.h>

#include "api.h"

TARN_API_BEGIN

#ifndef TARN_LIBRARY
/* ---- Process-wide cells --------------------------------------------------
 * This image's pointers to the twelve cells that all images of a process
 * share. The start-up script sets them before main runs. In a DLL, which has
 * no such step, they stay null: use the routines instead. */
extern void* __runtime_slots[12];
#endif

/* ---- Configuration ---------------------------------------------------- */

/* A text value of HKEY_CURRENT_USER under `key`, or the environment variable
 * `value` if there is none; null if neither exists. A registry text is in
 * a static buffer (32,768 bytes; a longer text counts as missing), an environment
 * text is getenv's: each is valid until the next call of its kind, by any
 * thread. On Linux the registry is the file tarnley/registry in the user's
 * configuration folder: "[Key\Path]" lines, then "name=value". */
TARNAPI char* ReadRegAndEnv(const char* key, const char* value);

/* ReadRegAndEnv under the key "Software\Tarnley\Common". */
TARNAPI char* read_config_key(const char* value);

/* ---- The system ------------------------------------------------------- */

/* The version that a library's entry "DllGetVersion" reports: major in the high
 * 16 bits, minor in the low 16; 0 if the library cannot be loaded or has no such
 * entry. */
TARNAPI unsigned int GetDllVersion(const char* library);

/* Physical memory in bytes. */
TARNAPI uint64_t GetPhysicalMemorySize(void);

/* The system's platform identifier (2) and version numbers. */
TARNAPI void GetWinVer(unsigned int* platform_id, unsigned int* major, unsigned int* minor);

/* 1 if the program's image is marked for the graphical subsystem, else 0. */
TARNAPI int __GetNtWindowsMode(void);

/* The library's version that compiled code tests: 0x460E. */
TARNAPI int _ncx_lib_version(void);

/* ---- The program ------------------------------------------------------ */

/* Fills `name` with the full path of the program, padded with spaces or cut
 * at `length` bytes; no NUL is written. */
TARNAPI void GET_PROGRAM_NAME(char* name, int64_t length) TARN_LINK_NAME("GET_PROGRAM_NAME@");

/* Copies the base file name of this library's image, with its NUL, to `name`,
 * which needs room for 1,024 bytes. Uses a static buffer: one thread at a time. */
TARNAPI void THIS_MODULE_NAME(char* name);

/* The address of a routine in a library, which is loaded if necessary; null if
 * either cannot be found. */
TARNAPI void* ProcessDynt(const char* routine, const char* library);

/* Walks the calling image's start-up script. The system calls it; a second
 * walk only sets the thread's floating-point control. Every image has its own. */
TARNAPI int __BrackenStartup(void) TARN_SYMBOL("__BrackenStartup");

/* 1 if the processor and the system support AVX, else 0. */
TARNAPI int isAVXSupported(void);

TARN_API_END

#endif
