// The versions of the kernels that this build holds.
#pragma once

#include "module/feature_selection/vector_kernels.h"

namespace vlmfsl {

const VectorKernels& Sse2Kernels();

// GCC for 64-bit Windows does not align the stack for vectors wider than the base ones, so a spilled one faults
// unless the assembler is told to move all of them unaligned; without that the base version is the only one.
#if !defined(_WIN32) || defined(__clang__) || defined(VELMORA_UNALIGNED_VECTOR_MOVES)
#define VLMFSL_WIDE_VECTORS 1
const VectorKernels& Avx2Kernels();
const VectorKernels& Avx512Kernels();
#endif

}  // namespace vlmfsl
