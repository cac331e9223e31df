#pragma once
// Qt's drawing code runs AVX instructions and may leave the upper halves of the
// vector registers dirty. The analysis is compiled for SSE; on many x86-64 cores
// every SSE instruction then pays for merging the upper state, and a solve takes
// about three times as long. Clearing the state before the engine's work costs one
// instruction. The results do not depend on it: only the speed does.

namespace quillane {

#if defined(__x86_64__) && (defined(__GNUC__) || defined(__clang__))
__attribute__((target("avx"))) inline void ZeroUpperVectorHalves() {
    __builtin_ia32_vzeroupper();
}
inline void CleanVectorState() {
    if (__builtin_cpu_supports("avx")) {
        ZeroUpperVectorHalves();
    }
}
#else
inline void CleanVectorState() {}
#endif

} // namespace quillane
