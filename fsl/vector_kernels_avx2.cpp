// The kernels for vectors of four doubles. Entered only on a machine that has AVX2.
#include <immintrin.h>

#include "fsl/vector_kernels.h"
#include "fsl/vector_units.h"

#ifdef VLMFSL_WIDE_VECTORS

#if defined(__clang__)
#pragma clang attribute push(__attribute__((target("avx2"))), apply_to = function)
#else
#pragma GCC push_options
#pragma GCC target("avx2")
#endif

namespace vlmfsl {

namespace {

struct Avx2 {
  static constexpr int kWidth = 4;
  using D = __m256d;
  using M = __m256d;
  using I = __m256i;

  static D Load(const double* p) { return _mm256_loadu_pd(p); }
  static void Store(double* p, D v) { _mm256_storeu_pd(p, v); }
  static D Set(double v) { return _mm256_set1_pd(v); }
  static D Add(D a, D b) { return _mm256_add_pd(a, b); }
  static D Sub(D a, D b) { return _mm256_sub_pd(a, b); }
  static D Mul(D a, D b) { return _mm256_mul_pd(a, b); }
  static D Div(D a, D b) { return _mm256_div_pd(a, b); }
  static D Min(D a, D b) { return _mm256_min_pd(a, b); }  // a < b ? a : b
  static D Max(D a, D b) { return _mm256_max_pd(a, b); }  // a > b ? a : b
  static M Greater(D a, D b) { return _mm256_cmp_pd(a, b, _CMP_GT_OQ); }
  static M GreaterEqual(D a, D b) { return _mm256_cmp_pd(a, b, _CMP_GE_OQ); }
  static M And(M a, M b) { return _mm256_and_pd(a, b); }
  static M Or(M a, M b) { return _mm256_or_pd(a, b); }
  static unsigned Bits(M m) { return static_cast<unsigned>(_mm256_movemask_pd(m)); }
  static M FromBits(unsigned bits) {
    const __m256i lane = _mm256_set_epi64x(8, 4, 2, 1);
    const __m256i set = _mm256_and_si256(_mm256_set1_epi64x(static_cast<long long>(bits)), lane);
    return _mm256_castsi256_pd(_mm256_cmpeq_epi64(set, lane));
  }
  static D Select(M m, D a, D b) { return _mm256_blendv_pd(b, a, m); }
  static I SetCount(int n) { return _mm256_set1_epi64x(n); }
  static I Add(I a, I b) { return _mm256_add_epi64(a, b); }
  static I AddWhere(I counter, M m) { return _mm256_sub_epi64(counter, _mm256_castpd_si256(m)); }
  static I Keep(M m, I v) { return _mm256_and_si256(_mm256_castpd_si256(m), v); }
  static void StoreLow(std::uint32_t* p, I v) {
    const __m256i low = _mm256_permutevar8x32_epi32(v, _mm256_set_epi32(0, 0, 0, 0, 6, 4, 2, 0));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), _mm256_castsi256_si128(low));
  }
  static D Truncated(D v) { return _mm256_cvtepi32_pd(_mm256_cvttpd_epi32(v)); }
  static I CodePlusOne(D v) {
    return _mm256_cvtepu32_epi64(_mm_add_epi32(_mm256_cvttpd_epi32(v), _mm_set1_epi32(1)));
  }
};

#include "fsl/vector_kernels_body.h"

}  // namespace

const VectorKernels& Avx2Kernels() {
  static constexpr VectorKernels kernels = KernelsOf<Avx2>("avx2");
  return kernels;
}

}  // namespace vlmfsl

#if defined(__clang__)
#pragma clang attribute pop
#else
#pragma GCC pop_options
#endif

#endif
