/* Storage beside C's heap: Fortran's allocation, and the secondary stack for
 * temporaries. All routines use the Microsoft x64 convention. Names that C
 * cannot spell are given by their link names. */
#ifndef TARN_STORAGE_H
#define TARN_STORAGE_H

#ifdef __cplusplus
extern "C" {
#endif

/* ---- The heap ------------------------------------------------------------
 * Any thread. These blocks and those of malloc are interchangeable: free and
 * UnlockStorage give back either, and raise the same errors for what is none. */

void* LockStorage(unsigned long long size);
void* LockStorageChar(unsigned long long size);
void UnlockStorage(void* block);

/* malloc that raises the run-time error "Run out of heap space" (199) instead
 * of giving null; for a negative size too. */
void* vmalloc(int size);

/* The ALLOCATE statement: `size` bytes, all zero. A negative size counts as 0,
 * and 0 bytes give a block too. `already` not 0: the object is allocated.
 * Failures give null with *status 1 (no storage) or 2 (already allocated);
 * success leaves *status alone. With a null `status` failures are raised: 408
 * and 432. */
void* ALLOCATE(long long size, int* status, long long already) __asm__("ALLOCATE$");

/* What operator new calls once before it tries again, when storage is short.
 * Result: the handler before, or null. */
typedef void (*tarn_new_handler)(void);
tarn_new_handler set_new_handler(tarn_new_handler handler);

/* ---- Arrays of objects with destructors ----------------------------------
 * One list for the process, unlocked. */

/* Remembers that the array at `address` has total_bytes / element_size
 * elements, in place of what was known of that address. An element size of 0
 * raises 311. */
void __add_array_destruct_info(int element_size, int total_bytes, void* address);

/* Forgets the array and gives the address behind its last element. For code
 * that reads registers: rcx is the number of elements, rdx their size. Raises
 * 311 if nothing is known of the address. */
void* __get_destruct_array_info(void* address);

/* ---- The secondary stack -------------------------------------------------
 * Address space for temporaries, used from both ends; memory is taken when
 * first touched and never given back. Sizes are bytes and rounded up to 16, so
 * blocks are aligned to 16. What a block holds is not defined unless it says
 * otherwise. Where both ends would meet: the run-time error "Insufficient
 * virtual stack" (444). One thread at a time. */

/* The pseudo stack, last in, first out: take the pointer, allocate at will, put
 * the pointer back. Only a pointer from the present one up to the top is
 * accepted; another changes nothing, and the next allocation raises 444. */
void* __return_pseudo_stack_ptr(void);
void __set_pseudo_stack_ptr(void* pointer);
/* A size of 0 or less gives the pointer as it is. */
void* __alloc_pseudo_stack(long long size);
/* The same with the bytes asked for set to 0x80. */
void* __alloc_pseudo_stack1(long long size);

/* The quasi stack, released all at once. A size of 0 or less counts as 16. */
void* __alloc_quasi_stack(long long size);
/* The same with the bytes asked for set to blanks. */
void* __alloc_quasi_stack_str(long long size);
void __free_quasi_stack(void);

/* Makes `bytes`, rounded down to 4,096 and at most 8 GiB, the size of the
 * whole. What the pseudo stack holds is discarded. At the start the size is
 * half of the physical memory, if that is less than 8 GiB, without the
 * program's own common blocks. */
void __set_stack_size(long long bytes);

/* Prints how much of both ends was ever in use, and the size. */
void PRINT_SECONDARY_STACK_STATISTICS(void);

#ifdef __cplusplus
}
#endif

#endif
