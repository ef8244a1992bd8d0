// Inner products of two vectors of reals, for code that a compiler generates.
//
// Registers: rcx and rdx the vectors, r8 the number of elements (64 bits, 0 and
// below return 0.0), the sum in xmm0. The strided forms also read rsi and rdi,
// the strides in bytes of the vector in rcx and that in rdx; they may be
// negative or 0. Changed besides xmm0: xmm8, xmm9, rcx, rdx, r8, r9 and the
// flags, and nothing is saved. The platform's convention has xmm8 and xmm9
// preserved, so C++ must not call these through their declarations: see
// tarn_dot_product8 in include/tarn/fortran_math.h.
//
// Vectors need no alignment. All arithmetic is in the elements' precision and
// in a fixed order:
//
//   __dotp8   an odd count takes one element first, into the first of two
//             sums; then pairs, one element into each sum; then both together
//   __dotp4   single elements into the first of four sums until the count is
//             a multiple of 4; then fours, one into each; then (1st + 2nd) +
//             (3rd + 4th)
//   strided   one sum, in the order of the elements
//
// No state, no errors of their own: an invalid operation or overflow is the
// processor's. Any thread.
#pragma once

#include "include/tarn/fortran_math.h"
#include "platform/abi.h"
