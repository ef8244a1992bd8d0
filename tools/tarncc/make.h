// The steps from sources to a finished image.
#pragma once

#include "places.h"
#include "request.h"

// kDone, or the status after a message.
int make(const Request& request, const Places& places);
