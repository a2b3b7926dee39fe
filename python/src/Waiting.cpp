#include "python/src/Waiting.h"

#include "tools/console/Jobs.h"

namespace py = pybind11;

namespace tykpython {

namespace {

/// The user does not notice the delay, and the calls cost no measurable time.
constexpr std::chrono::milliseconds kBetweenLooks{50};

}  // namespace

Waiting::Waiting(int jobs, py::object progress) : progress_(std::move(progress)) {
    execution_.jobs = jobs > 0 ? jobs : tyksim::availableJobs();
    execution_.interrupted = [this] { return look(); };
}

void Waiting::count(uint64_t done, uint64_t of) {
    done_ = done;
    of_ = of;
    if (done == of) looked_ = {};
}

bool Waiting::look() {
    const Clock::time_point now = Clock::now();
    if (raised_ || now - looked_ < kBetweenLooks) return raised_;
    looked_ = now;
    unlocked_->lock();
    raised_ = PyErr_CheckSignals() != 0 || !tellProgress();
    unlocked_->unlock();
    return raised_;
}

bool Waiting::tellProgress() {
    if (progress_.is_none() || of_ == 0) return true;
    try {
        progress_(done_, of_);
    } catch (py::error_already_set& error) {
        error.restore();
        return false;
    }
    return true;
}

}  // namespace tykpython
