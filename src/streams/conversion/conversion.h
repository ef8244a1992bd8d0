// Overview of the conversion module: numbers to and from text. It knows
// nothing of streams; the formatting and scanning engines above it do.
//
//   number_text.h   integers to text in any radix
//   float_text.h    floating-point numbers to decimal text
//   number_parse.h  text to integers and floating-point numbers
//   float_layout.h  a floating-point number's text in pieces (library only)
//   digits.h        writing digits and moving bytes, inline (library only)
//
// State: errno, which the routines that can fail set. Threads: any.
#pragma once

#include "streams/conversion/float_text.h"
#include "streams/conversion/number_parse.h"
#include "streams/conversion/number_text.h"
