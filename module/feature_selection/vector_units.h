// The versions of the kernels that this build holds.
#pragma once

#include "base/vector_dispatch.h"
#include "module/feature_selection/vector_kernels.h"

namespace vlmfsl {

const VectorKernels& Sse2Kernels();

#if VELMORA_VECTOR_DISPATCH
const VectorKernels& Avx2Kernels();
const VectorKernels& Avx512Kernels();
#endif

}  // namespace vlmfsl
