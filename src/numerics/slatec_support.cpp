// What the compiled SLATEC routines call for Fortran's intrinsics: the kernels
// of the sibling library, and the x87 unit where it has none. The link names
// are those of slatec_names.h.

#include "numerics/intrinsics.h"
#include "paneview/paneview.h"

namespace tarn {

extern "C" {
TARNAPI double tarn_slatec_atan(double x) { return DATAN(&x); }
TARNAPI double tarn_slatec_cos(double x) { return DCOS(&x); }
TARNAPI double tarn_slatec_cosh(double x) { return paneview::DCOSH$$(x); }
TARNAPI double tarn_slatec_exp(double x) { return paneview::DEXP$$(x); }
TARNAPI double tarn_slatec_log(double x) { return paneview::DALOG$$(x); }
TARNAPI double tarn_slatec_pow(double x, double y) { return paneview::XX$DD(x, y); }
TARNAPI double tarn_slatec_sin(double x) { return DSIN(&x); }
TARNAPI double tarn_slatec_sinh(double x) { return paneview::DSINH$$(x); }
TARNAPI void tarn_slatec_sincos(double x, double* sine, double* cosine) {
  *sine = DSIN(&x);
  *cosine = DCOS(&x);
}
}

}  // namespace tarn
