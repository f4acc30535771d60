// Vectors of four doubles, for the kernels of vector_kernels_body.h. Included inside the unnamed
// namespace and the target region of vector_kernels_avx2.cpp and of vector_kernels_avx512.cpp,
// which uses it for the groups' rows.
struct Avx2 {
  using Rows = Avx2;
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
  static constexpr bool kDividesByWhole = true;
  // a / whole, rounded to nearest, where whole is a whole number below 2^31 and reciprocal is 1 /
  // whole so rounded; zero comes back as +0. Wrong only where UNDERFLOW or INVALID is raised. The
  // estimate is off by less than two units of its last place; its remainder, a whole multiple of
  // that unit, is exact; the correction errs by 2^-51 of a unit, and no quotient lies nearer than
  // 2^-32 of one to the middle between two doubles. After P. W. Markstein, IBM Journal of Research
  // and Development 34 (1990), 111-119.
  static D DivideByWhole(D a, D whole, D reciprocal) {
    const D estimate = _mm256_mul_pd(a, reciprocal);
    return _mm256_fmadd_pd(_mm256_fnmadd_pd(estimate, whole, a), reciprocal, estimate);
  }
  static D Min(D a, D b) { return _mm256_min_pd(a, b); }  // a < b ? a : b
  static D Max(D a, D b) { return _mm256_max_pd(a, b); }  // a > b ? a : b
  static M Equal(D a, D b) { return _mm256_cmp_pd(a, b, _CMP_EQ_OQ); }
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

  // Cases i and i + 1 of four columns. A vector takes two cases of one column and two of the next
  // but one, which leaves a single exchange.
  static void TransposeTwo(const double* const* columns, int i, double* first, double* second) {
    const D even = _mm256_insertf128_pd(_mm256_castpd128_pd256(_mm_loadu_pd(columns[0] + i)),
                                        _mm_loadu_pd(columns[2] + i), 1);
    const D odd = _mm256_insertf128_pd(_mm256_castpd128_pd256(_mm_loadu_pd(columns[1] + i)),
                                       _mm_loadu_pd(columns[3] + i), 1);
    _mm256_storeu_pd(first, _mm256_unpacklo_pd(even, odd));
    _mm256_storeu_pd(second, _mm256_unpackhi_pd(even, odd));
  }

  // The rows of groups, transposed, four entries of each.
  static D TwoHalves(const double* low, const double* high) {
    return _mm256_insertf128_pd(_mm256_castpd128_pd256(_mm_load_pd(low)), _mm_load_pd(high), 1);
  }
  static void LoadRows(const GroupMoments* const* rows, D* weight, D* mean, D* sum, D* count) {
    const D first02 = TwoHalves(&rows[0]->weight, &rows[2]->weight);
    const D first13 = TwoHalves(&rows[1]->weight, &rows[3]->weight);
    const D second02 = TwoHalves(&rows[0]->sumOfSquares, &rows[2]->sumOfSquares);
    const D second13 = TwoHalves(&rows[1]->sumOfSquares, &rows[3]->sumOfSquares);
    *weight = _mm256_unpacklo_pd(first02, first13);
    *mean = _mm256_unpackhi_pd(first02, first13);
    *sum = _mm256_unpacklo_pd(second02, second13);
    *count = _mm256_unpackhi_pd(second02, second13);
  }
  // The same without the counts. The sums were stored as single doubles: loaded likewise, they come
  // straight from the store buffer.
  static void LoadRows(const GroupMoments* const* rows, D* weight, D* mean, D* sum) {
    const D first02 = TwoHalves(&rows[0]->weight, &rows[2]->weight);
    const D first13 = TwoHalves(&rows[1]->weight, &rows[3]->weight);
    *weight = _mm256_unpacklo_pd(first02, first13);
    *mean = _mm256_unpackhi_pd(first02, first13);
    const __m128d sum01 = _mm_loadh_pd(_mm_load_sd(&rows[0]->sumOfSquares), &rows[1]->sumOfSquares);
    const __m128d sum23 = _mm_loadh_pd(_mm_load_sd(&rows[2]->sumOfSquares), &rows[3]->sumOfSquares);
    *sum = _mm256_insertf128_pd(_mm256_castpd128_pd256(sum01), sum23, 1);
  }
  static void StoreHalves(double* low, double* high, D v) {
    _mm_store_pd(low, _mm256_castpd256_pd128(v));
    _mm_store_pd(high, _mm256_extractf128_pd(v, 1));
  }
  static void StoreRows(GroupMoments* const* rows, D weight, D mean, D sum, D count) {
    StoreHalves(&rows[0]->weight, &rows[2]->weight, _mm256_unpacklo_pd(weight, mean));
    StoreHalves(&rows[1]->weight, &rows[3]->weight, _mm256_unpackhi_pd(weight, mean));
    StoreHalves(&rows[0]->sumOfSquares, &rows[2]->sumOfSquares, _mm256_unpacklo_pd(sum, count));
    StoreHalves(&rows[1]->sumOfSquares, &rows[3]->sumOfSquares, _mm256_unpackhi_pd(sum, count));
  }
  // The counts stay as they are.
  static void StoreRows(GroupMoments* const* rows, D weight, D mean, D sum) {
    StoreHalves(&rows[0]->weight, &rows[2]->weight, _mm256_unpacklo_pd(weight, mean));
    StoreHalves(&rows[1]->weight, &rows[3]->weight, _mm256_unpackhi_pd(weight, mean));
    const __m128d sum01 = _mm256_castpd256_pd128(sum), sum23 = _mm256_extractf128_pd(sum, 1);
    _mm_storel_pd(&rows[0]->sumOfSquares, sum01);
    _mm_storeh_pd(&rows[1]->sumOfSquares, sum01);
    _mm_storel_pd(&rows[2]->sumOfSquares, sum23);
    _mm_storeh_pd(&rows[3]->sumOfSquares, sum23);
  }
  // rows[lane] = tables[lane] + slots[lane]
  static void FindRows(GroupMoments* const* tables, const std::uint32_t* slots, GroupMoments** rows) {
    const __m256i slot = _mm256_cvtepu32_epi64(_mm_loadu_si128(reinterpret_cast<const __m128i*>(slots)));
    const __m256i table = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(tables));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(rows),
                        _mm256_add_epi64(table, _mm256_slli_epi64(slot, kRowShift)));
  }
};
