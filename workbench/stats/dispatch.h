// Run-time choice of the vector width. A kernel is written once as an always-inlined body and compiled three
// times; the widest version that the processor has is taken. Nothing is contracted or reordered, so every
// version gives the same bits.
#pragma once

#if (defined(__GNUC__) || defined(__clang__)) && defined(__x86_64__) && \
    (!defined(_WIN32) || defined(VELMORA_UNALIGNED_VECTOR_MOVES))
#define VELMORA_VECTOR_DISPATCH 1
#define VELMORA_INLINE inline __attribute__((always_inline))
#else
#define VELMORA_VECTOR_DISPATCH 0
#define VELMORA_INLINE inline
#endif

namespace velmora::stats {

enum class VectorWidth { kBase, kAvx2, kAvx512 };

// The widest version that this processor runs.
inline VectorWidth DetectVectorWidth() {
#if VELMORA_VECTOR_DISPATCH
  __builtin_cpu_init();
  if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512dq") &&
      __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512bw"))
    return VectorWidth::kAvx512;
  if (__builtin_cpu_supports("avx2")) return VectorWidth::kAvx2;
#endif
  return VectorWidth::kBase;
}

}  // namespace velmora::stats

// GCC takes 256 bits where 512 are to be had, unless it is told; clang 14 has no such attribute.
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
    static const ::velmora::stats::VectorWidth kWidth = ::velmora::stats::DetectVectorWidth();             \
    if (kWidth == ::velmora::stats::VectorWidth::kAvx512) return name##Avx512 arguments;                   \
    if (kWidth == ::velmora::stats::VectorWidth::kAvx2) return name##Avx2 arguments;                       \
    return name##Base arguments;                                                                           \
  }
#else
#define VELMORA_DISPATCH(result, name, parameters, body, arguments) \
  result name parameters { return body arguments; }
#endif
