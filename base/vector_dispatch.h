// Run-time choice of the vector width, for kernels that are compiled once per width. Nothing is
// contracted or reordered, so every version gives the same bits.
//
//   VELMORA_INLINE double SumBody(const double* x, int n) { ... }   // a plain loop
//   VELMORA_DISPATCH(double, Sum, (const double* x, int n), SumBody, (x, n))
//
// Kernels written with intrinsics have a function for each width and ask WidestVector() themselves.
#pragma once

// GCC for 64-bit Windows does not align the stack for vectors wider than the base ones, so a
// spilled one faults unless the assembler is told to move all of them unaligned.
#if (defined(__GNUC__) || defined(__clang__)) && defined(__x86_64__) && \
    (!defined(_WIN32) || defined(VELMORA_UNALIGNED_VECTOR_MOVES))
#define VELMORA_VECTOR_DISPATCH 1
#define VELMORA_INLINE inline __attribute__((always_inline))
#else
#define VELMORA_VECTOR_DISPATCH 0
#define VELMORA_INLINE inline
#endif

namespace vlm {

// kAvx2 includes fused multiplication and addition, kAvx512 the sets F, DQ, VL and BW.
enum class VectorWidth { kBase, kAvx2, kAvx512 };

// The widest version that this processor runs and this build has.
inline VectorWidth WidestVector() {
#if VELMORA_VECTOR_DISPATCH
  __builtin_cpu_init();
  const bool avx2 = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
  if (avx2 && __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512dq") &&
      __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512bw"))
    return VectorWidth::kAvx512;
  if (avx2) return VectorWidth::kAvx2;
#endif
  return VectorWidth::kBase;
}

}  // namespace vlm

// GCC takes 256 bits where 512 are possible unless told otherwise; clang 14 has no such attribute.
#if defined(__clang__)
#define VELMORA_AVX512_TARGET "avx512f,avx512dq,avx512vl,avx512bw"
#else
#define VELMORA_AVX512_TARGET "avx512f,avx512dq,avx512vl,avx512bw,prefer-vector-width=512"
#endif

// Defines `result name parameters`, which runs `body arguments` in the best of its compilations.
#if VELMORA_VECTOR_DISPATCH
#define VELMORA_DISPATCH(result, name, parameters, body, arguments)                                        \
  result name##Base parameters { return body arguments; }                                                  \
  __attribute__((target("avx2"))) result name##Avx2 parameters { return body arguments; }                  \
  __attribute__((target(VELMORA_AVX512_TARGET))) result name##Avx512 parameters { return body arguments; } \
  result name parameters {                                                                                 \
    static const ::vlm::VectorWidth kWidth = ::vlm::WidestVector();                                        \
    if (kWidth == ::vlm::VectorWidth::kAvx512) return name##Avx512 arguments;                              \
    if (kWidth == ::vlm::VectorWidth::kAvx2) return name##Avx2 arguments;                                  \
    return name##Base arguments;                                                                           \
  }
#else
#define VELMORA_DISPATCH(result, name, parameters, body, arguments) \
  result name parameters { return body arguments; }
#endif
