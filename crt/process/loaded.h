// The hosted images of a process, which end with the program, or with FreeLibrary.
#pragma once

namespace crt {

// Called once in each image, before its constructors.
void join_images();

// Ends the DLLs that were loaded by name, the last one first.
void end_loaded();

// What exit does in the program, whichever image calls it: of an image whose program is not
// hosted, its own part.
void end_program();

}  // namespace crt
