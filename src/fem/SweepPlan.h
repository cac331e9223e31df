#pragma once
// How the threads of the analysis share the equations: the grid's node rows, each
// cut into one strip of node columns per thread. A thread owns the same strip of
// every row in every phase of the iteration, so the vector elements it works on
// stay in its own core's cache.
//
// The preconditioner's sweeps run as a pipeline: in the forward sweep, strip t of
// node row k may start once strip t - 1 has finished row k (left neighbour) and
// strip t + 1 has finished the first node of row k - 1 (upper-left couplings); the
// backward sweep is the mirror image. Equations are numbered node by node, so each
// strip of a row is one run of equation numbers, and a no-fill factor couples an
// equation only to its own node row and the two next to it. PlanSweeps checks that
// against the actual stores and declines a layout that reaches further.

#include <atomic>
#include <optional>
#include <vector>

#include "model/Model.h"

namespace quillane {

// The equations [begin, end) of one strip of one node row: [begin, head) belong to
// its first node column, [tail, end) to its last.
struct Segment {
    int begin = 0;
    int head = 0;
    int tail = 0;
    int end = 0;
};

struct SweepPlan {
    int strips = 0;
    int rows = 0; // node rows
    std::vector<Segment> segments;

    const Segment& at(int row, int strip) const {
        return segments[static_cast<std::size_t>(row) * static_cast<std::size_t>(strips) +
                        static_cast<std::size_t>(strip)];
    }
};

// A plan of `strips` strips (at most one per node column) for the model's numbering
// and the given lower and upper row stores (slot k of row i at i * stride + k), or
// nothing when a row store couples an equation to one the pipeline does not wait for,
// or the numbering does not run node row by node row.
std::optional<SweepPlan> PlanSweeps(const Model& m, int strips, int stride, const int16* lowerCount,
                                    const int16* lowerColumn, const int16* upperCount,
                                    const int16* upperColumn);

// A counter on a cache line of its own, for handing finished rows from thread to
// thread.
struct alignas(64) Progress {
    std::atomic<int> value{0};
};

// Waits until `counter` reaches `target`: spins briefly, then yields the core, so that
// more threads than cores still make progress.
void WaitFor(const std::atomic<int>& counter, int target);

// All threads of a job wait here until every one has arrived.
class SpinBarrier {
  public:
    explicit SpinBarrier(int threads) : threads_(threads) {}
    void wait();

  private:
    int threads_;
    alignas(64) std::atomic<int> arrived_{0};
    alignas(64) std::atomic<int> generation_{0};
};

} // namespace quillane
