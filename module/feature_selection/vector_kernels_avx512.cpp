// The kernels for vectors of eight doubles. Entered only on a machine that has AVX-512 (its F
// part).
#include <immintrin.h>

#include "module/feature_selection/vector_kernels.h"
#include "module/feature_selection/vector_units.h"

#if VELMORA_VECTOR_DISPATCH

#if defined(__clang__)
#pragma clang attribute push(__attribute__((target("avx512f,avx2,fma"))), apply_to = function)
#else
#pragma GCC push_options
#pragma GCC target("avx512f,avx2,fma")
// GCC 12 warns about the undefined source operand of its own conversion intrinsics.
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#pragma GCC diagnostic ignored "-Wuninitialized"
#endif

namespace vlmfsl {

namespace {

#include "module/feature_selection/vector_avx2_body.h"

struct Avx512 {
  using Rows = Avx2;  // four rows fit; transposing eight takes longer than it saves
  static constexpr int kWidth = 8;
  using D = __m512d;
  using M = __mmask8;
  using I = __m512i;

  static D Load(const double* p) { return _mm512_loadu_pd(p); }
  static void Store(double* p, D v) { _mm512_storeu_pd(p, v); }
  static D Set(double v) { return _mm512_set1_pd(v); }
  static D Add(D a, D b) { return _mm512_add_pd(a, b); }
  static D Sub(D a, D b) { return _mm512_sub_pd(a, b); }
  static D Mul(D a, D b) { return _mm512_mul_pd(a, b); }
  static D Div(D a, D b) { return _mm512_div_pd(a, b); }
  static constexpr bool kDividesByWhole = true;
  // See Avx2::DivideByWhole.
  static D DivideByWhole(D a, D whole, D reciprocal) {
    const D estimate = _mm512_mul_pd(a, reciprocal);
    return _mm512_fmadd_pd(_mm512_fnmadd_pd(estimate, whole, a), reciprocal, estimate);
  }
  static D Min(D a, D b) { return _mm512_min_pd(a, b); }  // a < b ? a : b
  static D Max(D a, D b) { return _mm512_max_pd(a, b); }  // a > b ? a : b
  static M Greater(D a, D b) { return _mm512_cmp_pd_mask(a, b, _CMP_GT_OQ); }
  static M GreaterEqual(D a, D b) { return _mm512_cmp_pd_mask(a, b, _CMP_GE_OQ); }
  static M And(M a, M b) { return static_cast<M>(a & b); }
  static M Or(M a, M b) { return static_cast<M>(a | b); }
  static unsigned Bits(M m) { return m; }
  static M FromBits(unsigned bits) { return static_cast<M>(bits); }
  static D Select(M m, D a, D b) { return _mm512_mask_mov_pd(b, m, a); }
  static I SetCount(int n) { return _mm512_set1_epi64(n); }
  static I Add(I a, I b) { return _mm512_add_epi64(a, b); }
  static I AddWhere(I counter, M m) { return _mm512_mask_add_epi64(counter, m, counter, SetCount(1)); }
  static I Keep(M m, I v) { return _mm512_maskz_mov_epi64(m, v); }
  static void StoreLow(std::uint32_t* p, I v) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), _mm512_cvtepi64_epi32(v));
  }
  static D Truncated(D v) { return _mm512_cvtepi32_pd(_mm512_cvttpd_epi32(v)); }
  static I CodePlusOne(D v) {
    return _mm512_add_epi64(_mm512_cvtepu32_epi64(_mm512_cvttpd_epi32(v)), SetCount(1));
  }
  static void FindRows(GroupMoments* const* tables, const std::uint32_t* slots, GroupMoments** rows) {
    const __m512i slot = _mm512_cvtepu32_epi64(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(slots)));
    _mm512_storeu_si512(rows,
                        _mm512_add_epi64(_mm512_loadu_si512(tables), _mm512_slli_epi64(slot, kRowShift)));
  }
};

#include "module/feature_selection/vector_kernels_body.h"

}  // namespace

const VectorKernels& Avx512Kernels() {
  static constexpr VectorKernels kernels = KernelsOf<Avx512>("avx512");
  return kernels;
}

}  // namespace vlmfsl

#if defined(__clang__)
#pragma clang attribute pop
#else
#pragma GCC pop_options
#endif

#endif
