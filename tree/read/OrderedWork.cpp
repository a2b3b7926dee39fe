#include "tree/read/OrderedWork.h"

#include <condition_variable>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>

namespace tyktree {

namespace {

/// The calling thread takes results when it is their turn and works otherwise; the other threads
/// only work.
class Runner {
public:
    explicit Runner(const OrderedRun& run) : run_(run), done_(run.slots) {}

    ~Runner() {
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            stopped_ = true;
        }
        slotFree_.notify_all();
        for (std::thread& thread : others_) thread.join();
    }

    Runner(const Runner&) = delete;
    Runner& operator=(const Runner&) = delete;

    bool run() {
        startOthers();
        while (taken_ < run_.count) {
            std::unique_lock<std::mutex> lock(mutex_);
            nextDone_.wait(lock, [this] { return isNextDone() || canBegin(); });
            if (!isNextDone()) {
                workOnNext(0, lock);
            } else if (!takeNext(lock)) {
                return false;
            }
        }
        return true;
    }

private:
    /// The state of a slot's result: pending, done, or failed with an exception.
    struct Done {
        bool there = false;
        std::exception_ptr error;
    };

    void startOthers() {
        try {
            for (size_t i = 1; i < run_.threads; ++i) {
                others_.emplace_back([this, i] { workOn(i); });
            }
        } catch (const std::system_error&) {
            return;  // no more threads: the existing ones do the work
        }
    }

    void workOn(size_t thread) {
        while (true) {
            std::unique_lock<std::mutex> lock(mutex_);
            slotFree_.wait(lock, [this] { return stopped_ || begun_ == run_.count || canBegin(); });
            if (stopped_ || begun_ == run_.count) return;
            workOnNext(thread, lock);
        }
    }

    bool canBegin() const { return begun_ < run_.count && begun_ < taken_ + run_.slots; }
    bool isNextDone() const { return done_[taken_ % run_.slots].there; }

    /// Enters with the lock and leaves without.
    void workOnNext(size_t thread, std::unique_lock<std::mutex>& lock) {
        const size_t index = begun_++;
        const size_t slot = index % run_.slots;
        lock.unlock();
        std::exception_ptr error;
        try {
            run_.work(thread, slot, index);
        } catch (...) {
            error = std::current_exception();
        }
        lock.lock();
        done_[slot] = {true, error};
        const bool isNext = index == taken_;
        lock.unlock();
        if (isNext) nextDone_.notify_one();
    }

    /// Enters with the lock and leaves without.
    bool takeNext(std::unique_lock<std::mutex>& lock) {
        const size_t slot = taken_ % run_.slots;
        lock.unlock();
        if (done_[slot].error) std::rethrow_exception(done_[slot].error);
        const bool goOn = run_.take(slot, taken_);
        lock.lock();
        done_[slot].there = false;
        ++taken_;
        lock.unlock();
        slotFree_.notify_one();
        return goOn;
    }

    const OrderedRun& run_;
    std::vector<std::thread> others_;
    std::mutex mutex_;
    std::condition_variable nextDone_;  ///< the calling thread waits for a result
    std::condition_variable slotFree_;  ///< the others wait for a slot
    std::vector<Done> done_;            ///< by slot
    size_t begun_ = 0;                  ///< items that a thread has begun
    size_t taken_ = 0;                  ///< only the calling thread changes it
    bool stopped_ = false;
};

}  // namespace

bool runInOrder(const OrderedRun& run) {
    return Runner(run).run();
}

}  // namespace tyktree
