// Work on several threads whose results are taken in order, with bounded memory.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

namespace tyktree {

/// Calls `work(slot, index)` for 0 to count - 1 on `jobs` threads and, on the calling thread,
/// `take(slot, index)` in order of index, until that returns false. A slot is used again after it
/// was taken. What either throws ends it and comes out here.
template <typename Slot, typename Work, typename Take>
class InOrder {
public:
    InOrder(size_t count, int jobs, Work work, Take take)
        : count_(count),
          jobs_(jobs < 1 ? 1 : static_cast<size_t>(jobs)),
          work_(work),
          take_(take) {}

    void run() {
        if (jobs_ == 1 || count_ < 2 || !start()) return runAlone();
        try {
            takeAll();
        } catch (...) {
            stop(std::current_exception());
        }
        stop(nullptr);
        for (std::thread& thread : threads_) thread.join();
        if (error_) std::rethrow_exception(error_);
    }

private:
    static constexpr size_t kSlotsPerJob = 4;

    void runAlone() {
        Slot slot;
        for (size_t i = 0; i < count_; ++i) {
            work_(slot, i);
            if (!take_(slot, i)) return;
        }
    }

    /// Whether there is at least one thread.
    bool start() {
        slots_.resize(jobs_ * kSlotsPerJob);
        ready_.resize(slots_.size());
        try {
            for (size_t i = 0; i < jobs_; ++i) threads_.emplace_back([this] { workAll(); });
        } catch (const std::system_error&) {
            return !threads_.empty();  // fewer will do
        }
        return true;
    }

    void workAll() {
        for (size_t index = 0; claim(index);) {
            try {
                work_(slots_[index % slots_.size()], index);
            } catch (...) {
                return stop(std::current_exception());
            }
            const std::lock_guard<std::mutex> lock(mutex_);
            ready_[index % slots_.size()] = true;
            changed_.notify_all();
        }
    }

    bool claim(size_t& index) {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(
            lock, [this] { return stopped_ || next_ == count_ || next_ < taken_ + slots_.size(); });
        if (stopped_ || next_ == count_) return false;
        index = next_++;
        return true;
    }

    void takeAll() {
        for (size_t i = 0; i < count_; ++i) {
            const size_t at = i % slots_.size();
            {
                std::unique_lock<std::mutex> lock(mutex_);
                changed_.wait(lock, [this, at] { return stopped_ || ready_[at]; });
                if (stopped_) return;
            }
            if (!take_(slots_[at], i)) return;
            const std::lock_guard<std::mutex> lock(mutex_);
            ready_[at] = false;
            taken_ = i + 1;
            changed_.notify_all();
        }
    }

    void stop(std::exception_ptr error) {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (error && !error_) error_ = error;
        stopped_ = true;
        changed_.notify_all();
    }

    size_t count_;
    size_t jobs_;
    Work work_;
    Take take_;
    std::vector<Slot> slots_;
    std::vector<std::thread> threads_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<bool> ready_;  ///< by slot
    size_t next_ = 0;
    size_t taken_ = 0;
    bool stopped_ = false;
    std::exception_ptr error_;
};

template <typename Slot, typename Work, typename Take>
void inOrder(size_t count, int jobs, Work work, Take take) {
    InOrder<Slot, Work, Take>(count, jobs, work, take).run();
}

}  // namespace tyktree
