// The hosted images of a process: the program and its DLLs. Each has a run-time of its own. When
// the program ends, the DLLs that were loaded by name end too.
//
// Threads: images are loaded, freed and ended one after the other.
#pragma once

extern "C" {
// Of the program's support library: destructors and atexit, without and with those of the
// DLLs that this image is linked to. Both call tarn_before_end first, once, if it is set.
extern void (*tarn_before_end)();
void tarn_end_of_objects();
void tarn_end_of_image();
}

namespace crt {

// Called once in each image, before its constructors. `end` is what ends the program, if this
// image is the program.
void join_images(void (*end)());

// Called in a DLL that is being freed: the program's end then leaves it out. False if it has not
// joined.
bool leave_images();

// Whether the program ends the DLLs; true as well before the image has joined.
bool has_hosted_program();

// The routine with which the program joined; null if the program is not hosted, or this image has
// not joined.
void (*end_of_program())();

// Ends the DLLs that were loaded by name, the last one first.
void end_loaded();

}  // namespace crt
