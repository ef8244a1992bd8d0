// The C string family: what compiled C code calls by name on byte strings. The
// contract is include/string.h.
//
// There is no strchr, memcpy, memset or memchr: compilers expand those inline.
//
// State: the saved pointer of strtok, shared by all threads. Storage: strdup and
// memmove, from malloc.
#pragma once

#include "include/string.h"
#include "platform/abi.h"
