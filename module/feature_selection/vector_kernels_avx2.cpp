// The kernels for vectors of four doubles. Entered only on a machine that has AVX2.
#include <immintrin.h>

#include "module/feature_selection/vector_kernels.h"
#include "module/feature_selection/vector_units.h"

#if VELMORA_VECTOR_DISPATCH

#if defined(__clang__)
#pragma clang attribute push(__attribute__((target("avx2,fma"))), apply_to = function)
#else
#pragma GCC push_options
#pragma GCC target("avx2,fma")
#endif

namespace vlmfsl {

namespace {

#include "module/feature_selection/vector_avx2_body.h"
#include "module/feature_selection/vector_kernels_body.h"

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
