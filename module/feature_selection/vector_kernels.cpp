#include "module/feature_selection/vector_kernels.h"

#include "module/feature_selection/vector_units.h"

namespace vlmfsl {

namespace {

bool Has(VectorUnit unit) {
  switch (unit) {
#ifdef VLMFSL_WIDE_VECTORS
    case VectorUnit::kAvx512:
      return __builtin_cpu_supports("avx512f") != 0 && Has(VectorUnit::kAvx2);
    case VectorUnit::kAvx2:
      return __builtin_cpu_supports("avx2") != 0 && __builtin_cpu_supports("fma") != 0;
#endif
    case VectorUnit::kBest:
    case VectorUnit::kSse2:
      return true;
    default:
      return false;
  }
}

const VectorKernels* Find(VectorUnit unit) {
#ifdef VLMFSL_WIDE_VECTORS
  if (unit == VectorUnit::kBest) {
    unit = Has(VectorUnit::kAvx512) ? VectorUnit::kAvx512
           : Has(VectorUnit::kAvx2) ? VectorUnit::kAvx2
                                    : VectorUnit::kSse2;
  }
  if (unit == VectorUnit::kAvx512) return &Avx512Kernels();
  if (unit == VectorUnit::kAvx2) return &Avx2Kernels();
#endif
  return &Sse2Kernels();
}

const VectorKernels*& Current() {
  static const VectorKernels* current = Find(VectorUnit::kBest);
  return current;
}

}  // namespace

const VectorKernels& Kernels() { return *Current(); }

bool ForceVectorUnit(VectorUnit unit) {
  if (!Has(unit)) return false;
  Current() = Find(unit);
  return true;
}

}  // namespace vlmfsl
