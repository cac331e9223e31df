#pragma once
// A fixed set of worker threads that run one job at a time, and the thread setting of
// a session that owns such a set.
//
// The threads are started when the pool is made and wait (asleep) between jobs, so a
// job costs a wake-up instead of a thread start. A job is run by every thread of the
// pool at once, the calling thread being number 0.

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace quillane {

// The largest thread count a setting accepts.
inline constexpr int kMaxThreads = 64;

// Systems with fewer equations are solved on one thread: on the 2-core machine
// measured (docs/architecture.md), handing rows between the cores cost more than the
// second core gained at every size, by 2x at 4 000 equations; only the largest grids
// are left to the threads, where their share of the work is biggest.
inline constexpr int kParallelFromEquations = 16384;

class WorkerPool {
  public:
    explicit WorkerPool(int threads);
    ~WorkerPool();
    WorkerPool(const WorkerPool&) = delete;
    WorkerPool& operator=(const WorkerPool&) = delete;

    int size() const noexcept { return static_cast<int>(workers_.size()) + 1; }

    // Runs job(t) for t = 0..size() - 1 and returns when all have returned. The job
    // of a worker must not throw; an exception of job(0) is passed on once the
    // workers are done.
    void run(const std::function<void(int)>& job);

  private:
    void work(int index);

    std::mutex mutex_;
    std::condition_variable wake_;
    std::condition_variable done_;
    const std::function<void(int)>* job_ = nullptr;
    std::uint64_t generation_ = 0;
    int running_ = 0;
    bool stopping_ = false;
    std::vector<std::thread> workers_;
};

// Parses a thread count (1..kMaxThreads, digits only); 0 when the text is not one.
int ParseThreadCount(const std::string& text);

// The default thread count: QUILLANE_THREADS when it holds a valid count, else the
// hardware's (at least 1). An invalid QUILLANE_THREADS is ignored; `warning`, when
// given, then receives a sentence saying so.
int DefaultThreadCount(std::string* warning = nullptr);

// The number of threads the analysis may use, and the pool that runs them, made when
// first asked for. A copy takes the count but not the pool: two models never share
// their threads.
class ThreadSetting {
  public:
    ThreadSetting() : count_(DefaultThreadCount()) {}
    ThreadSetting(const ThreadSetting& other)
        : count_(other.count_), parallelFrom_(other.parallelFrom_) {}
    ThreadSetting& operator=(const ThreadSetting& other) {
        if (this != &other) {
            set(other.count_);
            parallelFrom_ = other.parallelFrom_;
        }
        return *this;
    }
    ThreadSetting(ThreadSetting&&) noexcept = default;
    ThreadSetting& operator=(ThreadSetting&&) noexcept = default;
    ~ThreadSetting() = default;

    int count() const noexcept { return count_; }
    // Sets the count (clamped to 1..kMaxThreads); a pool of another size is dropped.
    void set(int count);
    // The smallest system solved on more than one thread.
    int parallelFrom() const noexcept { return parallelFrom_; }
    void setParallelFrom(int equations) noexcept { parallelFrom_ = equations; }
    // The pool of count() threads.
    WorkerPool& pool();

  private:
    int count_;
    int parallelFrom_ = kParallelFromEquations;
    std::unique_ptr<WorkerPool> pool_;
};

} // namespace quillane
