// Overview of the start-up module: how an image starts. Each image, program or
// DLL, begins in the interpreter of its own start-up script (startup_script.S,
// which also describes the script's form); this header has the interpreter and
// what scripts and compiled code call.
//
//   initialise.h    bringing the library up, once per process
//   command_line.h  argc and argv, the program's identity
//
// State: the interpreter's, in each image, so that one image has one walk at a
// time; what start-up finds out is kept in process/process_state.h. Nothing is
// locked: a program's script runs on the first thread before main, a DLL's
// within the system's own serialised calls of its entry.
#pragma once

#include "include/tarn/runtime.h"
#include "process/process_state.h"

namespace tarn {

extern "C" {
// Initialises the library once per process and builds argv. Assembly:
// rax = &__runtime_block, rcx = argc, rdx = argv.
TARNAPI void __main_setup();

// Adds `bytes` to the total of program storage.
TARNAPI void __record_program_storage(std::int64_t bytes);

// Names the record's module and links it in at the head of the list. `name`,
// `address` and `size` are filled by the caller.
TARNAPI void append_common_spec(tarn_block_record* record);

// Stores the profile block's address.
TARNAPI void __record_profile_address(void* address);

// Binds `slot` to a routine of a library. `texts`: the library's name and the
// routine's name, each NUL-terminated. If the routine cannot be bound the slot
// gets rlo_error, which fails only when called. Result: the address after the
// second name.
TARNAPI const char* __attempt_rlo_load(Routine* slot, const char* texts);

// Compares the processor's AVX support with 1 and leaves the outcome in the
// flags: equal if supported. Valid once the library is loaded.
TARNAPI void __test_avx();

// Stack probe. rax has the size of the frame that the caller is about to take;
// reads the stack in steps of 4,000 bytes, so that a growing stack meets its
// guard page in order. Changes no register but the flags.
TARNAPI void __stack_adjust();
}

// Raises error 345, "Attempt to call a function in an rlo library failed".
TARNAPI void rlo_error();

}  // namespace tarn
