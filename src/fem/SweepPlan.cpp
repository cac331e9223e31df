#include "fem/SweepPlan.h"

#include <thread>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace quillane {

namespace {

inline void pause() {
#if defined(__x86_64__)
    _mm_pause();
#endif
}

// Where an equation lies: its node row, its strip, and whether it belongs to the
// first or the last node column of its segment.
struct Place {
    int row = -1;
    int strip = -1;
    bool head = false;
    bool tail = false;
};

} // namespace

std::optional<SweepPlan> PlanSweeps(const Model& m, int strips, int stride, const int16* lowerCount,
                                    const int16* lowerColumn, const int16* upperCount,
                                    const int16* upperColumn) {
    const int columns = m.CellColumnCount + 1;
    const int rows = m.CellRowCount + 1;
    const int n = m.EquationCount;
    if (strips < 2 || strips > columns || rows < 1 || m.DofNumber.empty() ||
        m.DofNumber.hi1() < rows * columns) {
        return std::nullopt;
    }
    SweepPlan plan;
    plan.strips = strips;
    plan.rows = rows;
    plan.segments.resize(static_cast<std::size_t>(rows) * static_cast<std::size_t>(strips));
    std::vector<Place> place(static_cast<std::size_t>(n) + 1);
    int next = 1; // the segments must tile 1..n in order
    for (int k = 0; k < rows; ++k) {
        for (int t = 0; t < strips; ++t) {
            const int first = 1 + t * columns / strips;
            const int last = (t + 1) * columns / strips;
            Segment& s = plan.segments[static_cast<std::size_t>(k) * strips + t];
            s.begin = s.head = s.tail = next;
            for (int c = first; c <= last; ++c) {
                const int node = k * columns + c;
                if (c == last) {
                    s.tail = next;
                }
                for (int d = 1; d <= 2; ++d) {
                    const int e = m.DofNumber(node, d);
                    if (e == 0) {
                        continue;
                    }
                    if (e != next || e > n) {
                        return std::nullopt;
                    }
                    place[static_cast<std::size_t>(e)] = {k, t, c == first, c == last};
                    ++next;
                }
                if (c == first) {
                    s.head = next;
                }
            }
            s.end = next;
        }
    }
    if (next != n + 1) {
        return std::nullopt;
    }
    // Every coupling must be to an equation the pipeline has finished by then.
    for (int i = 1; i <= n; ++i) {
        const Place& a = place[static_cast<std::size_t>(i)];
        const std::ptrdiff_t base = static_cast<std::ptrdiff_t>(i) * stride;
        for (int slot = 1; slot <= lowerCount[i]; ++slot) {
            const Place& b = place[static_cast<std::size_t>(lowerColumn[base + slot])];
            // The right neighbour is waited for before the last node column only.
            const bool ready =
                (b.strip <= a.strip && b.row <= a.row) ||
                (b.strip == a.strip + 1 &&
                 (b.row <= a.row - 3 ||
                  (a.tail && (b.row == a.row - 2 || (b.row == a.row - 1 && b.head)))));
            if (!ready) {
                return std::nullopt;
            }
        }
        for (int slot = 1; slot <= upperCount[i]; ++slot) {
            const Place& b = place[static_cast<std::size_t>(upperColumn[base + slot])];
            // The left neighbour is waited for before the first node column only.
            const bool ready =
                (b.strip >= a.strip && b.row >= a.row) ||
                (b.strip == a.strip - 1 &&
                 (b.row >= a.row + 3 ||
                  (a.head && (b.row == a.row + 2 || (b.row == a.row + 1 && b.tail)))));
            if (!ready) {
                return std::nullopt;
            }
        }
    }
    return plan;
}

void WaitFor(const std::atomic<int>& counter, int target) {
    for (int spin = 0; counter.load(std::memory_order_acquire) < target; ++spin) {
        if (spin < 200) {
            pause();
        } else {
            std::this_thread::yield();
        }
    }
}

void SpinBarrier::wait() {
    const int generation = generation_.load(std::memory_order_acquire);
    if (arrived_.fetch_add(1, std::memory_order_acq_rel) == threads_ - 1) {
        arrived_.store(0, std::memory_order_relaxed);
        generation_.store(generation + 1, std::memory_order_release);
        return;
    }
    for (int spin = 0; generation_.load(std::memory_order_acquire) == generation; ++spin) {
        if (spin < 200) {
            pause();
        } else {
            std::this_thread::yield();
        }
    }
}

} // namespace quillane
