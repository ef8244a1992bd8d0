// The hosted images of a process, which end with the program, or with FreeLibrary.
#pragma once

extern "C" {
// Of the program's support library: destructors and atexit, without and with those of the
// DLLs that this image is linked to. Both call tarn_before_end first, once, if it is set.
extern void (*tarn_before_end)();
void tarn_end_of_objects();
void tarn_end_of_image();
}

namespace crt {

// Called once in each image, before its constructors.
void join_images();

// Whether the program ends the DLLs; true as well before the image has joined.
bool has_hosted_program();

// Ends the DLLs that were loaded by name, the last one first.
void end_loaded();

// What exit does in the program, whichever image calls it: of an image whose program is not
// hosted, its own part.
void end_program();

}  // namespace crt
