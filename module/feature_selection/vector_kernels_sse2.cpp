// The kernels for vectors of two doubles, which every 64-bit x86 machine has.
#include <emmintrin.h>

#include "module/feature_selection/vector_kernels.h"
#include "module/feature_selection/vector_units.h"

namespace vlmfsl {

namespace {

struct Sse2 {
  using Rows = Sse2;
  static constexpr int kWidth = 2;
  using D = __m128d;
  using M = __m128d;
  using I = __m128i;

  static D Load(const double* p) { return _mm_loadu_pd(p); }
  static void Store(double* p, D v) { _mm_storeu_pd(p, v); }
  static D Set(double v) { return _mm_set1_pd(v); }
  static D Add(D a, D b) { return _mm_add_pd(a, b); }
  static D Sub(D a, D b) { return _mm_sub_pd(a, b); }
  static D Mul(D a, D b) { return _mm_mul_pd(a, b); }
  static D Div(D a, D b) { return _mm_div_pd(a, b); }
  static constexpr bool kDividesByWhole = false;
  static D Min(D a, D b) { return _mm_min_pd(a, b); }  // a < b ? a : b
  static D Max(D a, D b) { return _mm_max_pd(a, b); }  // a > b ? a : b
  static M Equal(D a, D b) { return _mm_cmpeq_pd(a, b); }
  static M Greater(D a, D b) { return _mm_cmpgt_pd(a, b); }
  static M GreaterEqual(D a, D b) { return _mm_cmpge_pd(a, b); }
  static M And(M a, M b) { return _mm_and_pd(a, b); }
  static M Or(M a, M b) { return _mm_or_pd(a, b); }
  static unsigned Bits(M m) { return static_cast<unsigned>(_mm_movemask_pd(m)); }
  static M FromBits(unsigned bits) {
    return _mm_castsi128_pd(_mm_set_epi64x((bits & 2) != 0 ? -1 : 0, (bits & 1) != 0 ? -1 : 0));
  }
  static D Select(M m, D a, D b) { return _mm_or_pd(_mm_and_pd(m, a), _mm_andnot_pd(m, b)); }
  static I SetCount(int n) { return _mm_set1_epi64x(n); }
  static I Add(I a, I b) { return _mm_add_epi64(a, b); }
  static I AddWhere(I counter, M m) { return _mm_sub_epi64(counter, _mm_castpd_si128(m)); }
  static I Keep(M m, I v) { return _mm_and_si128(_mm_castpd_si128(m), v); }
  static void StoreLow(std::uint32_t* p, I v) {
    _mm_storel_epi64(reinterpret_cast<__m128i*>(p), _mm_shuffle_epi32(v, 0x08));
  }
  static D Truncated(D v) { return _mm_cvtepi32_pd(_mm_cvttpd_epi32(v)); }
  static I CodePlusOne(D v) {
    return _mm_unpacklo_epi32(_mm_add_epi32(_mm_cvttpd_epi32(v), _mm_set1_epi32(1)), _mm_setzero_si128());
  }
  static void TransposeTwo(const double* const* columns, int i, double* first, double* second) {
    const D a = _mm_loadu_pd(columns[0] + i), b = _mm_loadu_pd(columns[1] + i);
    _mm_storeu_pd(first, _mm_unpacklo_pd(a, b));
    _mm_storeu_pd(second, _mm_unpackhi_pd(a, b));
  }
  static void LoadRows(const GroupMoments* const* rows, D* weight, D* mean, D* sum, D* count) {
    const D first0 = _mm_load_pd(&rows[0]->weight), first1 = _mm_load_pd(&rows[1]->weight);
    const D second0 = _mm_load_pd(&rows[0]->sumOfSquares), second1 = _mm_load_pd(&rows[1]->sumOfSquares);
    *weight = _mm_unpacklo_pd(first0, first1);
    *mean = _mm_unpackhi_pd(first0, first1);
    *sum = _mm_unpacklo_pd(second0, second1);
    *count = _mm_unpackhi_pd(second0, second1);
  }
  static void LoadRows(const GroupMoments* const* rows, D* weight, D* mean, D* sum) {
    const D first0 = _mm_load_pd(&rows[0]->weight), first1 = _mm_load_pd(&rows[1]->weight);
    *weight = _mm_unpacklo_pd(first0, first1);
    *mean = _mm_unpackhi_pd(first0, first1);
    *sum = _mm_loadh_pd(_mm_load_sd(&rows[0]->sumOfSquares), &rows[1]->sumOfSquares);
  }
  static void StoreRows(GroupMoments* const* rows, D weight, D mean, D sum, D count) {
    _mm_store_pd(&rows[0]->weight, _mm_unpacklo_pd(weight, mean));
    _mm_store_pd(&rows[0]->sumOfSquares, _mm_unpacklo_pd(sum, count));
    _mm_store_pd(&rows[1]->weight, _mm_unpackhi_pd(weight, mean));
    _mm_store_pd(&rows[1]->sumOfSquares, _mm_unpackhi_pd(sum, count));
  }
  static void StoreRows(GroupMoments* const* rows, D weight, D mean, D sum) {
    _mm_store_pd(&rows[0]->weight, _mm_unpacklo_pd(weight, mean));
    _mm_storel_pd(&rows[0]->sumOfSquares, sum);
    _mm_store_pd(&rows[1]->weight, _mm_unpackhi_pd(weight, mean));
    _mm_storeh_pd(&rows[1]->sumOfSquares, sum);
  }
  static void FindRows(GroupMoments* const* tables, const std::uint32_t* slots, GroupMoments** rows) {
    for (int k = 0; k < kWidth; ++k) rows[k] = tables[k] + slots[k];
  }
};

#include "module/feature_selection/vector_kernels_body.h"

}  // namespace

const VectorKernels& Sse2Kernels() {
  static constexpr VectorKernels kernels = KernelsOf<Sse2>("sse2");
  return kernels;
}

}  // namespace vlmfsl
