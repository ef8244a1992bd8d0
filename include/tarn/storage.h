/* Storage besides C's heap: Fortran's allocation, and the secondary stack for
 * temporaries. All routines use the Microsoft x64 convention. Names that C
 * cannot spell are given by their link names. */
#ifndef TARN_STORAGE_H
#define TARN_STORAGE_H

#include <stddef.h>
#include <stdint.h>

#include "api.h"

TARN_API_BEGIN

/* ---- The heap ------------------------------------------------------------
 * Any thread. These blocks and those of malloc are interchangeable: free and
 * UnlockStorage accept both, and raise the same errors for a pointer that is not a
 * block. */

/* malloc and free under further names. */
TARNAPI void* LockStorage(size_t size);
TARNAPI void* LockStorageChar(size_t size);
TARNAPI void UnlockStorage(void* block);

/* Like malloc, but raises the run-time error "Run out of heap space" (199) instead
 * of returning null, and for a negative size. */
TARNAPI void* vmalloc(int size);

/* The ALLOCATE statement: returns a block of `size` bytes, all zero. A negative size
 * counts as 0, which also makes a block. A non-zero `already` means that the object
 * is allocated. On failure it returns null and sets *status to 1 (no storage) or 2
 * (already allocated); on success *status is unchanged. With a null `status`
 * failures are raised: 408 and 432. */
TARNAPI void* ALLOCATE(int64_t size, int* status, int64_t already) TARN_LINK_NAME("ALLOCATE$");

/* Sets the routine that operator new calls once, before it tries again, when there
 * is no storage; null, as at the start, for none. Returns the previous one. */
typedef void(TARNAPI* tarn_new_handler)(void);
TARNAPI tarn_new_handler set_new_handler(tarn_new_handler handler);

/* ---- Arrays of objects with destructors ----------------------------------
 * One list for the process, not locked. */

/* Records that the array at `address` has total_bytes / element_size elements, and
 * replaces an earlier record for that address. Raises 311 for an element size of 0,
 * and 199 without storage. */
TARNAPI void __add_array_destruct_info(int element_size, int total_bytes, void* address);

/* Forgets the array and returns the address after its last element. For code that
 * reads registers: rcx is the number of elements, rdx their size. Raises 311 if
 * nothing is recorded for the address. */
TARNAPI void* __get_destruct_array_info(void* address) TARN_SYMBOL("__get_destruct_array_info");

/* ---- The secondary stack -------------------------------------------------
 * Address space for temporaries, used from both ends; memory is committed when
 * first needed and never released. Sizes are in bytes and rounded up to 16, so
 * blocks are aligned to 16. The contents of a block are undefined unless the
 * routine says otherwise. If the ends would meet, the run-time error
 * "Insufficient virtual stack (MERLE /VSTACK <MB-value>)" (444) is raised and the
 * stack is unchanged; a page that the system cannot supply faults when it is
 * first used. One thread at a time. */

/* The pseudo stack, last in, first out: a routine saves the pointer when it
 * begins, allocates, and restores the pointer when it ends. Only a pointer from
 * the current one up to the top is accepted; any other changes nothing, and the next
 * allocation raises 444 unless a valid one is set first. */
TARNAPI void* __return_pseudo_stack_ptr(void);
TARNAPI void __set_pseudo_stack_ptr(void* pointer);
/* A size of 0 or less returns the pointer unchanged. */
TARNAPI void* __alloc_pseudo_stack(int64_t size);
/* The same, with the `size` bytes set to 0x80, the mark of undefined data. */
TARNAPI void* __alloc_pseudo_stack1(int64_t size);

/* The quasi stack, released all at once. A size of 0 or less counts as 16. */
TARNAPI void* __alloc_quasi_stack(int64_t size);
/* The same, with the `size` bytes set to spaces. */
TARNAPI void* __alloc_quasi_stack_str(int64_t size);
TARNAPI void __free_quasi_stack(void);

/* Sets the size of the secondary stack: `bytes`, rounded down to a multiple of
 * 4,096, and at most the reserved size, which is 8 GiB, or less if the system
 * refused that; a negative size counts as 0. The contents of the pseudo stack are
 * discarded. At the start the size is the reserved size or half of the physical
 * memory, whichever is less, minus the size of the program's own common blocks. */
TARNAPI void __set_stack_size(int64_t bytes);

/* Prints to standard output, in bytes in hexadecimal, how much was ever committed
 * at each end, and the size. */
TARNAPI void PRINT_SECONDARY_STACK_STATISTICS(void);

TARN_API_END

#endif
