// Put before the compiled SLATEC routines (assembly text): their link
// names, and what replaces the functions that the compiler calls for
// Fortran's intrinsics (slatec_support.cpp). Nothing of the C library's names is
// used or defined.

#define d9b0mp_ D9B0MP
#define d9b1mp_ D9B1MP
#define d9lgmc_ D9LGMC
#define dasyjy_ DASYJY
#define dbesj0_ DBESJ0
#define dbesj1_ DBESJ1
#define dbesj_ DBESJ
#define dbesy0_ DBESY0
#define dbesy1_ DBESY1
#define dbesy_ DBESY
#define dbsynu_ DBSYNU
#define dcsevl_ DCSEVL
#define dgamlm_ DGAMLM
#define dgamma_ DGAMMA
#define djairy_ DJAIRY
#define dlngam_ DLNGAM
#define dyairy_ DYAIRY
#define initds_ INITDS

#define d1mach_ D1MACH
#define i1mach_ I1MACH
#define xermsg_ XERMSG

#define atan tarn_slatec_atan
#define cos tarn_slatec_cos
#define cosh tarn_slatec_cosh
#define exp tarn_slatec_exp
#define log tarn_slatec_log
#define pow tarn_slatec_pow
#define sin tarn_slatec_sin
#define sincos tarn_slatec_sincos
#define sinh tarn_slatec_sinh
