// Looks at the running program: its common blocks, the resource section of its
// main image, and a window. The contract is include/tarn/introspection.h. Of a
// section that the headers put beyond the image or into memory that is not
// there, the part that can be read is shown.
#pragma once

#include "include/tarn/introspection.h"
#include "platform/abi.h"
