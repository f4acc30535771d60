#include "module/feature_selection/vector_kernels.h"

#include "base/vector_dispatch.h"
#include "module/feature_selection/vector_units.h"

namespace vlmfsl {

namespace {

VectorUnit WidestUnit() {
  switch (vlm::WidestVector()) {
    case vlm::VectorWidth::kAvx512:
      return VectorUnit::kAvx512;
    case vlm::VectorWidth::kAvx2:
      return VectorUnit::kAvx2;
    default:
      return VectorUnit::kSse2;
  }
}

bool Has(VectorUnit unit) { return unit == VectorUnit::kBest || unit <= WidestUnit(); }

const VectorKernels* Find(VectorUnit unit) {
  if (unit == VectorUnit::kBest) unit = WidestUnit();
#if VELMORA_VECTOR_DISPATCH
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
