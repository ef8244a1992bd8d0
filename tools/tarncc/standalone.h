// Standalone programs: the runner, and what it carries, in one file.
#pragma once

#include "steps.h"

// Makes request.standalone of the finished image and the DLLs of the program's own that it
// needs, which it also puts beside the image. kDone, or the status after a message.
int make_standalone(const Job& job);
