// The variables in wide characters.
#pragma once

#include "../crt.h"

namespace crt {

// "NAME=value" as wide characters, the same string for the same entry; it stays until the process
// ends. Called with the table locked. Null without memory, and for what is not UTF-8.
wchar_t* wide_variable(const char* entry);

}  // namespace crt
