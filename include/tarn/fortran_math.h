/* Fortran's mathematics: elementary intrinsics, kinds, special functions and
 * dot products, as compiled Fortran calls them. All use the Microsoft x64
 * convention; arguments are passed by address, results by value. A routine FOO here
 * has the link name "FOO@" unless its comment says otherwise. None of them sets
 * errno, and any thread may call them.
 *
 * Arguments outside a function's domain raise a run-time error (its number is
 * in parentheses), which ends the program with a report. */
#ifndef TARN_FORTRAN_MATH_H
#define TARN_FORTRAN_MATH_H

#include <stdint.h>

#include "api.h"

TARN_API_BEGIN

#define TARN_AT(name) TARN_LINK_NAME(name "@")

/* A complex result fills the whole first floating-point register. */
typedef float tarn_complex8 __attribute__((vector_size(16)));   /* {re, im, 0, 0} */
typedef double tarn_complex16 __attribute__((vector_size(16))); /* {re, im} */

/* ---- Elementary intrinsics --------------------------------------------------
 * For a NaN argument they return a quiet NaN. */

/* Logarithms, natural, base 10 and base 2 (34 for x <= 0); e to the power x
 * (25 on overflow). */
TARNAPI float ALOG(const float* x) TARN_AT("ALOG");
TARNAPI float ALOG1(const float* x) TARN_AT("ALOG1");
TARNAPI float ALOG2(const float* x) TARN_AT("ALOG2");
TARNAPI double DLOG(const double* x) TARN_AT("DLOG");
TARNAPI double DLOG1(const double* x) TARN_AT("DLOG1");
TARNAPI double DLOG2(const double* x) TARN_AT("DLOG2");
TARNAPI float EXP(const float* x) TARN_AT("EXP");
TARNAPI double DEXP(const double* x) TARN_AT("DEXP");

/* Angles are in radians. From 2^63 on the sine, cosine and tangent return the
 * argument itself, and for an infinity a NaN. */
TARNAPI float SIN(const float* x) TARN_AT("SIN");
TARNAPI float COS(const float* x) TARN_AT("COS");
TARNAPI float TAN(const float* x) TARN_AT("TAN");
TARNAPI float ATAN(const float* x) TARN_AT("ATAN");
TARNAPI double DSIN(const double* x) TARN_AT("DSIN");
TARNAPI double DCOS(const double* x) TARN_AT("DCOS");
TARNAPI double DTAN(const double* x) TARN_AT("DTAN");
TARNAPI double DATAN(const double* x) TARN_AT("DATAN");

/* Arc sine and cosine (26 for |x| > 1), angle of the point (x, y) (33 for both
 * 0), hyperbolic functions (20 where sine or cosine overflow). */
TARNAPI float ASIN(const float* x) TARN_AT("ASIN");
TARNAPI float ACOS(const float* x) TARN_AT("ACOS");
TARNAPI double DASIN(const double* x) TARN_AT("DASIN");
TARNAPI double DACOS(const double* x) TARN_AT("DACOS");
TARNAPI float ATAN2(const float* y, const float* x) TARN_AT("ATAN2");
TARNAPI double DATN2(const double* y, const double* x) TARN_AT("DATN2");
TARNAPI float SINH(const float* x) TARN_AT("SINH");
TARNAPI float COSH(const float* x) TARN_AT("COSH");
TARNAPI float TANH(const float* x) TARN_AT("TANH");
TARNAPI double DSINH(const double* x) TARN_AT("DSINH");
TARNAPI double DCOSH(const double* x) TARN_AT("DCOSH");
TARNAPI double DTANH(const double* x) TARN_AT("DTANH");

/* Square root: a negative argument is the processor's invalid operation. */
TARNAPI float SQRT(const float* x) TARN_AT("SQRT");
TARNAPI double DSQRT(const double* x) TARN_AT("DSQRT");

/* Remainder with the sign of x (32 for y = 0); truncation; the truncation of x
 * with 0.5 added away from zero. */
TARNAPI float AMOD(const float* x, const float* y) TARN_AT("AMOD");
TARNAPI double DMOD(const double* x, const double* y) TARN_AT("DMOD");
TARNAPI float AINT(const float* x) TARN_AT("AINT");
TARNAPI double DINT(const double* x) TARN_AT("DINT");
TARNAPI float ANINT(const float* x) TARN_AT("ANINT");
TARNAPI double DNINT(const double* x) TARN_AT("DNINT");

/* The nearest integer, halves away from zero: the low 16 or 32 bits of a 64-bit
 * result. Beyond 64 bits and for a NaN: the processor's invalid operation. */
TARNAPI short ININT(const float* x) TARN_AT("ININT");
TARNAPI short IDNIN(const double* x) TARN_AT("IDNIN");
TARNAPI int JNINT(const float* x) TARN_AT("JNINT");
TARNAPI int JDNIN(const double* x) TARN_AT("JDNIN");

/* Absolute values; the most negative integer is returned unchanged. CABS and CDABS
 * take {real, imaginary} (171 if finite parts overflow). */
TARNAPI signed char HABS(const signed char* x) TARN_AT("HABS");
TARNAPI short IABS(const short* x) TARN_AT("IABS");
TARNAPI int JABS(const int* x) TARN_AT("JABS");
TARNAPI float ABS(const float* x) TARN_AT("ABS");
TARNAPI double DABS(const double* x) TARN_AT("DABS");
TARNAPI float CABS(const float* z) TARN_AT("CABS");
TARNAPI double CDABS(const double* z) TARN_AT("CDABS");

/* Conjugate and imaginary part. */
TARNAPI tarn_complex8 CONJ(const float* z) TARN_AT("CONJ");
TARNAPI tarn_complex16 DCONJ(const double* z) TARN_AT("DCONJ");
TARNAPI float AIMAG(const float* z) TARN_AT("AIMAG");
TARNAPI double DIMAG(const double* z) TARN_AT("DIMAG");

/* ---- Kinds ----------------------------------------------------------------
 * The kind for a decimal range p of integers, or -1. The kinds of 1, 2, 4 and 8
 * bytes are numbered 1, 2, 3 and none by SELECTED_INT_KIND; 1, 2, 3, 4 with KIND1;
 * and by their bytes with KINDA. */
TARNAPI int SELECTED_INT_KIND(const int* p) TARN_AT("SELECTED_INT_KIND");
TARNAPI int SELECTED_INT_KIND1(const int* p) TARN_AT("SELECTED_INT_KIND1");
TARNAPI int SELECTED_INT_KINDA(const int* p) TARN_AT("SELECTED_INT_KINDA");

/* The kind for p decimal digits and exponent range r, or -1 (no such digits),
 * -2 (no such range), -3 (neither). Singles and doubles are 1 and 2, with
 * KIND2 extended precision 4; with KINDA 4 and 8. */
TARNAPI int SELECTED_REAL_KIND(const int* p, const int* r) TARN_AT("SELECTED_REAL_KIND");
TARNAPI int SELECTED_REAL_KIND2(const int* p, const int* r) TARN_AT("SELECTED_REAL_KIND2");
TARNAPI int SELECTED_REAL_KINDA(const int* p, const int* r) TARN_AT("SELECTED_REAL_KINDA");
TARNAPI int CLR_SELECTED_REAL_KIND(const int* p, const int* r) TARN_AT("CLR_SELECTED_REAL_KIND");

/* ---- Special functions ----------------------------------------------------
 * A call without a valid result raises 357: bad arguments, NaNs, overflow, and
 * results without precision. A library built without the SLATEC sources raises 29
 * for all but the error functions. */

/* Error function, its complement (0.0 from 26.543 on), exp(x * x) times the
 * complement (1.79e308 below -26.628, 0.0 from 2.53e307 on). */
TARNAPI double DERF(const double* x) TARN_AT("DERF");
TARNAPI double DERFC(const double* x) TARN_AT("DERFC");
TARNAPI double DERFC_SCALED(const double* x) TARN_AT("DERFC_SCALED");
/* Gamma function and the logarithm of its absolute value. Both raise 357 at 0, at
 * the negative integers and too near them; DGAMMA also above about 171.6, below
 * about -170.6 and for positive subnormals, DLOG_GAMMA also above about
 * 3.7e306. */
TARNAPI double DGAMMA(const double* x) TARN_AT("DGAMMA");
TARNAPI double DLOG_GAMMA(const double* x) TARN_AT("DLOG_GAMMA");
/* Bessel functions; the second kind needs x > 0, JN and YN need n >= 0 and JN
 * x >= 0. J1 and Y1 raise 357 for a non-zero |x| up to 4.4501478e-308, YN for x
 * below 2.2250739e-305; J0, JN and Y0 go down to the smallest normal number.
 * From about 4.5e15 on those of fixed order have no precision left: 357, as JN
 * and YN from 2^61 on. */
TARNAPI double DBESSEL_J0(const double* x) TARN_AT("DBESSEL_J0");
TARNAPI double DBESSEL_J1(const double* x) TARN_AT("DBESSEL_J1");
TARNAPI double DBESSEL_JN(const int* n, const double* x) TARN_AT("DBESSEL_JN");
TARNAPI double DBESSEL_Y0(const double* x) TARN_AT("DBESSEL_Y0");
TARNAPI double DBESSEL_Y1(const double* x) TARN_AT("DBESSEL_Y1");
TARNAPI double DBESSEL_YN(const int* n, const double* x) TARN_AT("DBESSEL_YN");

/* Machine constants of SLATEC, exported without "@". D1MACH: 1 the smallest
 * magnitude, 2 the largest, 3 and 4 the smallest and largest relative spacing, 5
 * log10 of 2, in the decimal values that its routines were tuned with; 0.0 for
 * another i. I1MACH: 1 to 4 unit numbers of input, output, punch and errors; 5
 * bits and 6 characters of an integer; 7 to 9 its base, digits and largest value;
 * 10 the floating-point base; 11 to 13 digits, smallest and largest exponent of a
 * single, 14 to 16 of a double; another i writes an error message and stops the
 * program. */
TARNAPI double D1MACH(const int* i) TARN_SYMBOL("D1MACH");
TARNAPI int I1MACH(const int* i) TARN_SYMBOL("I1MACH");
/* *result := one of the error functions, by *selector 0, 1 or 2 (else 357). */
TARNAPI void CALERF(const double* x, double* result, const int* selector) TARN_SYMBOL("CALERF");

#undef TARN_AT

/* ---- Dot products -----------------------------------------------------------
 * __dotp8, __dotp4 (contiguous) and __dotp8x, __dotp4x (strides in bytes, which
 * may be negative or 0). They take their arguments in other registers and preserve
 * fewer than the convention requires, so C calls them through these forms. For
 * n <= 0 the sum is 0. The sums are in the elements' precision; the contiguous forms
 * do not add in element order. */
#define TARN_DOT_PRODUCT(name, type, routine)                                                  \
  static __inline__ __attribute__((unused)) type name(const type* a, const type* b, int64_t n, \
                                                      int64_t a_stride, int64_t b_stride) {    \
    register const type* first __asm__("rcx") = a;                                             \
    register const type* second __asm__("rdx") = b;                                            \
    register int64_t count __asm__("r8") = n;                                                  \
    register int64_t first_stride __asm__("rsi") = a_stride;                                   \
    register int64_t second_stride __asm__("rdi") = b_stride;                                  \
    register type sum __asm__("xmm0");                                                         \
    __asm__ __volatile__("call *%[entry]"                                                      \
                         : "=x"(sum), "+r"(first), "+r"(second), "+r"(count)                   \
                         : "r"(first_stride), "r"(second_stride), [entry] "r"(routine)         \
                         : "r9", "xmm8", "xmm9", "cc", "memory");                              \
    return sum;                                                                                \
  }

TARNAPI double __dotp8(void) TARN_SYMBOL("__dotp8");
TARNAPI double __dotp8x(void) TARN_SYMBOL("__dotp8x");
TARNAPI float __dotp4(void) TARN_SYMBOL("__dotp4");
TARNAPI float __dotp4x(void) TARN_SYMBOL("__dotp4x");
TARN_DOT_PRODUCT(tarn_dot_product8_strided, double, &__dotp8x)
TARN_DOT_PRODUCT(tarn_dot_product4_strided, float, &__dotp4x)
TARN_DOT_PRODUCT(tarn_dot_product8_any, double, &__dotp8)
TARN_DOT_PRODUCT(tarn_dot_product4_any, float, &__dotp4)
#undef TARN_DOT_PRODUCT
#define tarn_dot_product8(a, b, n) tarn_dot_product8_any(a, b, n, 0, 0)
#define tarn_dot_product4(a, b, n) tarn_dot_product4_any(a, b, n, 0, 0)

TARN_API_END

#endif
