#include "tools/console/Jobs.h"

#include <algorithm>
#include <sched.h>
#include <thread>

namespace tyksim {

int availableJobs() {
    cpu_set_t allowed;
    CPU_ZERO(&allowed);
    if (sched_getaffinity(0, sizeof(allowed), &allowed) == 0) return CPU_COUNT(&allowed);
    return static_cast<int>(std::max(1U, std::thread::hardware_concurrency()));
}

tyktree::Execution executionOn(int jobs) {
    return {jobs, [] { return interruption() != 0; }};
}

}  // namespace tyksim
