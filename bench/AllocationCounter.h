#pragma once
// Counts the bytes the process holds on the heap, so that a benchmark can report
// the peak memory of one stage of the work rather than of the whole process.

#include <cstddef>

namespace quillane::bench {

std::size_t heapBytesNow();
std::size_t heapBytesPeak();
// Starts a new peak from the bytes held now.
void resetHeapPeak();

} // namespace quillane::bench
