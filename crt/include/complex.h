// complex.h of the cross compiler, and what it lacks of ISO C.
#include_next <complex.h>

#if !defined(__cplusplus) && !defined(CMPLX)
#define CMPLX(real, imaginary) __builtin_complex((double)(real), (double)(imaginary))
#define CMPLXF(real, imaginary) __builtin_complex((float)(real), (float)(imaginary))
#define CMPLXL(real, imaginary) __builtin_complex((long double)(real), (long double)(imaginary))
#endif
