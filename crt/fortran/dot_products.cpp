// The library's dot products for compiled Fortran: by its convention, which keeps registers
// that the entries do not.
#include <tarn/fortran_math.h>

extern "C" {

double tarn_dotp8(const double* a, const double* b, int64_t n) {
  return tarn_dot_product8(a, b, n);
}

float tarn_dotp4(const float* a, const float* b, int64_t n) { return tarn_dot_product4(a, b, n); }

double tarn_dotp8x(const double* a, const double* b, int64_t n, int64_t a_stride,
                   int64_t b_stride) {
  return tarn_dot_product8_strided(a, b, n, a_stride, b_stride);
}

float tarn_dotp4x(const float* a, const float* b, int64_t n, int64_t a_stride, int64_t b_stride) {
  return tarn_dot_product4_strided(a, b, n, a_stride, b_stride);
}
}
