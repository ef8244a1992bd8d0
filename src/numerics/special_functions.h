// Error, gamma and Bessel functions in double precision, as compiled Fortran
// calls them: arguments by reference, a double by value. A name NAME@ is
// NAME_at here.
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

#include "platform/abi.h"

namespace tarn {

// ---- What programs call --------------------------------------------------------

TARNAPI double DERF_at(const double* x);
TARNAPI double DERFC_at(const double* x);  // 0.0 from 26.543 on
// exp(x * x) * erfc(x). Below -26.628: 1.79e308; from 2.53e307 on: 0.0.
TARNAPI double DERFC_SCALED_at(const double* x);

// Raises 357 for 0, negative integers and what is too near them, above about
// 171.6, below about -170.6, for infinities and positive subnormals.
TARNAPI double DGAMMA_at(const double* x);
// log |gamma(x)|. Likewise at 0 and the negative integers; above about 3.7e306.
TARNAPI double DLOG_GAMMA_at(const double* x);

// Bessel functions of the first kind take any sign of x, of the second kind
// x > 0. From about 4.5e15 on there is no precision left: 357. So do the small
// numbers that the published routines, or those that they call, report: J1 and
// Y1 a non-zero |x| up to 4.4501478e-308, Yn x below 2.2250739e-305. The others
// return their value down to the smallest normal number; subnormals count as zero.
TARNAPI double DBESSEL_J0_at(const double* x);
TARNAPI double DBESSEL_J1_at(const double* x);
TARNAPI double DBESSEL_Y0_at(const double* x);
TARNAPI double DBESSEL_Y1_at(const double* x);
// Order n. 357 for n < 0, x < 0 (Yn: x = 0 too), an overflowing Yn, and x from
// 2^61 on. Jn that underflows is 0.0. Above 4.5e15 Jn has lost its digits.
TARNAPI double DBESSEL_JN_at(const std::int32_t* n, const double* x);
TARNAPI double DBESSEL_YN_at(const std::int32_t* n, const double* x);

// ---- Constants and the error exit of the SLATEC routines ---------------------
extern "C" {
// i = 1 smallest magnitude, 2 largest, 3 and 4 smallest and largest relative
// spacing, 5 log10 of 2: the decimal values that the routines were tuned with,
// not the exact limits of the format. Any other i: 0.0.
TARNAPI double D1MACH(const std::int32_t* i);
// i = 1 to 4 unit numbers of input, output, punch, errors; 5 bits and 6
// characters of an integer; 7 to 9 its base, digits, largest value; 10 the
// floating-point base; 11 to 13 digits, smallest and largest exponent of a
// single; 14 to 16 of a double. Any other i: writes "ERROR    1 IN I1MACH - I
// OUT OF BOUNDS" on a new page of standard output and stops the program.
TARNAPI std::int32_t I1MACH(const std::int32_t* i);
// Raises 357. The arguments are not read: strings of library, routine and
// message, number, level, and the strings' lengths by value.
[[noreturn]] TARNAPI void XERMSG(const char* library, const char* routine, const char* message,
                                 const std::int32_t* number, const std::int32_t* level,
                                 std::int64_t library_length, std::int64_t routine_length,
                                 std::int64_t message_length);
}

// ---- Error functions --------------------------------------------------------------
extern "C" {
// *result := erf(x), erfc(x) or exp(x * x) * erfc(x) for *selector 0, 1 or 2;
// another selector and a NaN raise 357.
TARNAPI void CALERF(const double* x, double* result, const std::int32_t* selector);
TARNAPI double DERFCX(const double* x);  // CALERF with selector 2
}

// ---- SLATEC routines, in their published argument order -------------------------
// For code that knows them: apart from their own checks arguments are not
// looked at, and a NaN is the processor's affair (its invalid-operation trap in
// a running program). Arrays have the lengths that their publication states.
extern "C" {
TARNAPI double DGAMMA(const double* x);
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
