// The search for files where programs and libraries are looked for.
#pragma once

#include "platform/posix/base/base.h"

namespace tarn::platform {

// Looks for a library as images name it: in the program's folder, the current
// one, those on PATH, in any case of letters; an absolute name is looked for as
// it is. False, with the last error, if there is none. With the lock of the list of
// modules held.
bool find_library_file(const char* name, char (&found)[kPathSize]);

}  // namespace tarn::platform
