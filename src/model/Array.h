#pragma once
// Bounds-checked arrays with explicit index ranges.
//
// Every array of the model has its own lower bound (0 or 1) in each dimension.
// Indexing outside the range raises the subscript fault, and so does sizing an
// array with an upper bound below its lower bound: that is why a model with no
// cell rows cannot be opened. Sizing always starts from zeros; old contents are
// dropped. Two-dimensional arrays keep their first index fastest, so that the
// slots of one equation in the solver's stores lie side by side in memory.
//
// Kernels that loop over many entries check their ranges once and then work on
// plain pointers (data(), column()).

#include <string>
#include <vector>

#include "model/Faults.h"

namespace quillane {

namespace detail {
[[noreturn]] void raiseIndex(const char* name, long long i, int lo, int hi);
[[noreturn]] void raiseIndex2(const char* name, long long i, long long j, int lo1, int hi1, int lo2,
                              int hi2);
[[noreturn]] void raiseBounds(const char* name, int lo, int hi);
} // namespace detail

template <class T> class Array1 {
  public:
    explicit Array1(const char* name = "array") : name_(name) {}
    Array1(const char* name, int lo, int hi) : name_(name) { redim(lo, hi); }

    void redim(int lo, int hi) {
        if (hi < lo) {
            detail::raiseBounds(name_, lo, hi);
        }
        lo_ = lo;
        hi_ = hi;
        data_.assign(static_cast<std::size_t>(hi - lo) + 1, T{});
    }
    void clear() {
        data_.clear();
        lo_ = 0;
        hi_ = -1;
    }

    T& operator()(long long i) { return data_[offset(i)]; }
    const T& operator()(long long i) const { return data_[offset(i)]; }

    int lo() const noexcept { return lo_; }
    int hi() const noexcept { return hi_; }
    bool empty() const noexcept { return data_.empty(); }
    bool contains(long long i) const noexcept { return !data_.empty() && i >= lo_ && i <= hi_; }
    std::size_t size() const noexcept { return data_.size(); }
    const char* name() const noexcept { return name_; }
    // Raises the subscript fault unless lo..hi lies inside the array's range.
    void requireRange(long long lo, long long hi) const {
        if (hi >= lo && (!contains(lo) || !contains(hi))) {
            detail::raiseIndex(name_, contains(lo) ? hi : lo, lo_, hi_);
        }
    }

    // Pointer to the element with index lo().
    T* data() noexcept { return data_.data(); }
    const T* data() const noexcept { return data_.data(); }

    friend bool operator==(const Array1& a, const Array1& b) {
        return a.lo_ == b.lo_ && a.hi_ == b.hi_ && a.data_ == b.data_;
    }

  private:
    std::size_t offset(long long i) const {
        if (data_.empty() || i < lo_ || i > hi_) {
            detail::raiseIndex(name_, i, lo_, hi_);
        }
        return static_cast<std::size_t>(i - lo_);
    }

    const char* name_;
    int lo_ = 0;
    int hi_ = -1;
    std::vector<T> data_;
};

template <class T> class Array2 {
  public:
    explicit Array2(const char* name = "array") : name_(name) {}
    Array2(const char* name, int lo1, int hi1, int lo2, int hi2) : name_(name) {
        redim(lo1, hi1, lo2, hi2);
    }

    void redim(int lo1, int hi1, int lo2, int hi2) {
        if (hi1 < lo1) {
            detail::raiseBounds(name_, lo1, hi1);
        }
        if (hi2 < lo2) {
            detail::raiseBounds(name_, lo2, hi2);
        }
        lo1_ = lo1;
        hi1_ = hi1;
        lo2_ = lo2;
        hi2_ = hi2;
        n1_ = hi1 - lo1 + 1;
        data_.assign(static_cast<std::size_t>(n1_) * (static_cast<std::size_t>(hi2 - lo2) + 1),
                     T{});
    }
    void clear() {
        data_.clear();
        lo1_ = lo2_ = 0;
        hi1_ = hi2_ = -1;
        n1_ = 0;
    }

    T& operator()(long long i, long long j) { return data_[offset(i, j)]; }
    const T& operator()(long long i, long long j) const { return data_[offset(i, j)]; }

    int lo1() const noexcept { return lo1_; }
    int hi1() const noexcept { return hi1_; }
    int lo2() const noexcept { return lo2_; }
    int hi2() const noexcept { return hi2_; }
    bool empty() const noexcept { return data_.empty(); }
    std::size_t size() const noexcept { return data_.size(); }
    const char* name() const noexcept { return name_; }
    bool contains(long long i, long long j) const noexcept {
        return !data_.empty() && i >= lo1_ && i <= hi1_ && j >= lo2_ && j <= hi2_;
    }
    // Raises the subscript fault unless the block i1..i2 by j1..j2 lies inside the array.
    void requireRange(long long i1, long long i2, long long j1, long long j2) const {
        if (i2 < i1 || j2 < j1) {
            return;
        }
        if (!contains(i1, j1)) {
            detail::raiseIndex2(name_, i1, j1, lo1_, hi1_, lo2_, hi2_);
        }
        if (!contains(i2, j2)) {
            detail::raiseIndex2(name_, i2, j2, lo1_, hi1_, lo2_, hi2_);
        }
    }

    // Distance in elements between (i, j) and (i, j + 1).
    int stride() const noexcept { return n1_; }
    T* data() noexcept { return data_.data(); }
    const T* data() const noexcept { return data_.data(); }
    // Pointer to element (lo1(), j): the j-th column, first index running along it.
    T* column(long long j) { return data_.data() + offset(lo1_, j); }
    const T* column(long long j) const { return data_.data() + offset(lo1_, j); }

    friend bool operator==(const Array2& a, const Array2& b) {
        return a.lo1_ == b.lo1_ && a.hi1_ == b.hi1_ && a.lo2_ == b.lo2_ && a.hi2_ == b.hi2_ &&
               a.data_ == b.data_;
    }

  private:
    std::size_t offset(long long i, long long j) const {
        if (data_.empty() || i < lo1_ || i > hi1_ || j < lo2_ || j > hi2_) {
            detail::raiseIndex2(name_, i, j, lo1_, hi1_, lo2_, hi2_);
        }
        return static_cast<std::size_t>(j - lo2_) * static_cast<std::size_t>(n1_) +
               static_cast<std::size_t>(i - lo1_);
    }

    const char* name_;
    int lo1_ = 0;
    int hi1_ = -1;
    int lo2_ = 0;
    int hi2_ = -1;
    int n1_ = 0;
    std::vector<T> data_;
};

} // namespace quillane
