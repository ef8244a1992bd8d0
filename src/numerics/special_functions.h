// Error, gamma and Bessel functions in double precision, as compiled Fortran
// calls them: arguments by reference, a double by value. The contract is
// include/tarn/fortran_math.h.
//
// The gamma and Bessel functions are the published SLATEC routines, compiled
// from their own sources (cmake/TarnSlatec.cmake); the error functions are
// written here from the published approximations (error_functions.cpp). A
// library that was built without the SLATEC sources raises 29, "Call to
// missing routine", for each routine that needs them.
//
// Errors: everything that the routines report, a warning too, raises 357,
// "Invalid argument to numeric intrinsic function", and so does a NaN. There
// are no infinities among the results: overflow raises 357 as well. Measured
// accuracy: docs/accuracy.md.
//
// State: each routine works its limits out on its first call and keeps them.
// Nothing is locked; threads that meet there write the same values.
#pragma once

#include "include/tarn/fortran_math.h"
#include "platform/abi.h"

namespace tarn {

extern "C" {
// Raises 357. The arguments are not read: texts of library, routine and
// message, number, level, and the texts' lengths by value.
[[noreturn]] TARNAPI void XERMSG(const char* library, const char* routine, const char* message,
                                 const std::int32_t* number, const std::int32_t* level,
                                 std::int64_t library_length, std::int64_t routine_length,
                                 std::int64_t message_length);

TARNAPI double DERFCX(const double* x);  // CALERF with selector 2
}

// ---- SLATEC routines, in their published argument order -------------------------
// For code that knows them: apart from their own checks arguments are not
// looked at, and a NaN is the processor's affair (its invalid-operation trap in
// a running program). Arrays have the lengths that their publication states.
// Beside the DGAMMA of programs, which is exported as DGAMMA@.
TARNAPI double slatec_DGAMMA(const double* x) asm("DGAMMA");

extern "C" {
TARNAPI double DLNGAM(const double* x);
TARNAPI double DBESJ0(const double* x);
TARNAPI double DBESJ1(const double* x);
TARNAPI double DBESY0(const double* x);
TARNAPI double DBESY1(const double* x);
// y(1) to y(n): orders alpha to alpha + n - 1; *nz of them underflowed.
TARNAPI void DBESJ(const double* x, const double* alpha, const std::int32_t* n, double* y,
                   std::int32_t* nz);
TARNAPI void DBESY(const double* x, const double* order, const std::int32_t* n, double* y);
// The series of n Chebyshev coefficients at x.
TARNAPI double DCSEVL(const double* x, const double* coefficients, const std::int32_t* n);
// How many of n coefficients achieve the accuracy eta, a single.
TARNAPI std::int32_t INITDS(const double* coefficients, const std::int32_t* n, const float* eta);
// The limits of the gamma function's argument.
TARNAPI void DGAMLM(double* minimum, double* maximum);
TARNAPI double D9LGMC(const double* x);
TARNAPI void D9B0MP(const double* x, double* amplitude, double* phase);
TARNAPI void D9B1MP(const double* x, double* amplitude, double* phase);
TARNAPI void DBSYNU(const double* x, const double* order, const std::int32_t* n, double* y);
using AiryRoutine = void(TARNAPI*)(const double* x, const double* root, const double* c,
                                   double* value, double* derivative);
TARNAPI void DASYJY(AiryRoutine airy, const double* x, const double* order, const double* sign,
                    const std::int32_t* count, double* y, double* work, std::int32_t* overflow);
TARNAPI void DJAIRY(const double* x, const double* root, const double* c, double* value,
                    double* derivative);
TARNAPI void DYAIRY(const double* x, const double* root, const double* c, double* value,
                    double* derivative);
}

}  // namespace tarn
