// The files that this executable carries, if it is a standalone program.
#pragma once

#include "platform/posix/loader/image_loader.h"

namespace tarn::platform {

// Finds them and checks that they are whole; false with the reason. Called once, if
// carries_program(), before anything else here.
bool open_carried(LoadError* error);

// The program, or the carried DLL of that name in any case of letters. False if there is
// none. The bytes are the executable's, and stay.
bool carried_program(FileBytes* file);
bool carried_library(const char* name, FileBytes* file);

}  // namespace tarn::platform
