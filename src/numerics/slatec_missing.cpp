// In the place of the SLATEC routines where their sources could not be had:
// each raises 29, "Call to missing routine", with its name.

#include "numerics/special_functions.h"
#include "process/raising.h"

namespace tarn {

#define TARN_MISSING(result, name, ...) \
  extern "C" result name(__VA_ARGS__) { __MissingRoutine(#name); }

using Real = const double*;
using Integer = const std::int32_t*;

double slatec_DGAMMA(Real) { __MissingRoutine("DGAMMA"); }
TARN_MISSING(double, DLNGAM, Real)
TARN_MISSING(double, DBESJ0, Real)
TARN_MISSING(double, DBESJ1, Real)
TARN_MISSING(double, DBESY0, Real)
TARN_MISSING(double, DBESY1, Real)
TARN_MISSING(void, DBESJ, Real, Real, Integer, double*, std::int32_t*)
TARN_MISSING(void, DBESY, Real, Real, Integer, double*)
TARN_MISSING(double, DCSEVL, Real, Real, Integer)
TARN_MISSING(std::int32_t, INITDS, Real, Integer, const float*)
TARN_MISSING(void, DGAMLM, double*, double*)
TARN_MISSING(double, D9LGMC, Real)
TARN_MISSING(void, D9B0MP, Real, double*, double*)
TARN_MISSING(void, D9B1MP, Real, double*, double*)
TARN_MISSING(void, DBSYNU, Real, Real, Integer, double*)
TARN_MISSING(void, DASYJY, AiryRoutine, Real, Real, Real, Integer, double*, double*, std::int32_t*)
TARN_MISSING(void, DJAIRY, Real, Real, Real, double*, double*)
TARN_MISSING(void, DYAIRY, Real, Real, Real, double*, double*)

}  // namespace tarn
