#pragma once
// A toolkit's drawing code may run AVX instructions and leave the upper halves of
// the vector registers dirty. The analysis is compiled for SSE; on many x86-64 cores
// every SSE instruction then pays for merging the upper state, and a solve takes
// about three times as long. Clearing the state before the analysis costs one
// instruction; the results do not depend on it, only the speed does.

namespace quillane {

#if defined(__x86_64__) && (defined(__GNUC__) || defined(__clang__))
__attribute__((target("avx"))) inline void ZeroUpperVectorHalves() {
    __builtin_ia32_vzeroupper();
}
inline void ClearUpperVectorState() {
    if (__builtin_cpu_supports("avx")) {
        ZeroUpperVectorHalves();
    }
}
#else
inline void ClearUpperVectorState() {}
#endif

} // namespace quillane
