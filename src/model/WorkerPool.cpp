#include "model/WorkerPool.h"

#include <algorithm>
#include <cstdlib>
#include <exception>

namespace quillane {

WorkerPool::WorkerPool(int threads) {
    const int count = std::clamp(threads, 1, kMaxThreads);
    workers_.reserve(static_cast<std::size_t>(count - 1));
    for (int t = 1; t < count; ++t) {
        workers_.emplace_back([this, t] { work(t); });
    }
}

WorkerPool::~WorkerPool() {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_all();
    for (std::thread& worker : workers_) {
        worker.join();
    }
}

void WorkerPool::run(const std::function<void(int)>& job) {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        job_ = &job;
        running_ = static_cast<int>(workers_.size());
        ++generation_;
    }
    wake_.notify_all();
    std::exception_ptr fault;
    try {
        job(0);
    } catch (...) {
        fault = std::current_exception();
    }
    std::unique_lock<std::mutex> lock(mutex_);
    done_.wait(lock, [this] { return running_ == 0; });
    job_ = nullptr;
    lock.unlock();
    if (fault) {
        std::rethrow_exception(fault);
    }
}

void WorkerPool::work(int index) {
    std::uint64_t seen = 0;
    for (;;) {
        const std::function<void(int)>* job = nullptr;
        {
            std::unique_lock<std::mutex> lock(mutex_);
            wake_.wait(lock, [&] { return stopping_ || generation_ != seen; });
            if (stopping_) {
                return;
            }
            seen = generation_;
            job = job_;
        }
        (*job)(index);
        bool last = false;
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            last = --running_ == 0;
        }
        if (last) {
            done_.notify_one();
        }
    }
}

int ParseThreadCount(const std::string& text) {
    if (text.empty() || text.size() > 3 ||
        !std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; })) {
        return 0;
    }
    const int value = std::stoi(text);
    return value >= 1 && value <= kMaxThreads ? value : 0;
}

int DefaultThreadCount(std::string* warning) {
    // Read once per setting made; nothing in the program writes the environment.
    const char* text = std::getenv("QUILLANE_THREADS"); // NOLINT(concurrency-mt-unsafe)
    if (text != nullptr) {
        const int parsed = ParseThreadCount(text);
        if (parsed > 0) {
            return parsed;
        }
        if (warning != nullptr) {
            *warning = "QUILLANE_THREADS=\"" + std::string(text) +
                       "\" is not a thread count from 1 to " + std::to_string(kMaxThreads) +
                       "; it is ignored and the hardware's count is used.";
        }
    }
    const unsigned hardware = std::thread::hardware_concurrency();
    return std::clamp(static_cast<int>(hardware), 1, kMaxThreads);
}

void ThreadSetting::set(int count) {
    const int clamped = std::clamp(count, 1, kMaxThreads);
    if (clamped != count_) {
        pool_.reset();
    }
    count_ = clamped;
}

WorkerPool& ThreadSetting::pool() {
    if (!pool_ || pool_->size() != count_) {
        pool_ = std::make_unique<WorkerPool>(count_);
    }
    return *pool_;
}

} // namespace quillane
