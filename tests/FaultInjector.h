// Lets the C library's calls fail on purpose: an executable's own definitions come before those of
// every shared library, so this reaches whatever the library under test is linked to.
//
// Only calls made inside count: between arm() and disarm(), and not while an Outside lives, which
// the test's own platform uses. The device's folders lie below the folder given to setRoot(). One
// thread.
#pragma once

#include <cstddef>
#include <string>

namespace fault {

enum class Call { none, access, close, fstat, list, mkdir, open, read, write, allocate };

constexpr int kShort = -1;       ///< no error: reads and writes transfer half of what they should
constexpr int kEnd = -2;         ///< no error: they transfer nothing, as at the end of a file
constexpr int kAllocations = 0;  ///< instead of files' calls: they give null or std::bad_alloc

/// Which calls fail: the `at`-th (from 1) of its kind and, where `onwards`, every one after it.
struct Plan {
    int error;  ///< an errno or one of the above; EINTR too is for reads and writes only
    bool onwards;
    long at;
};

/// What has failed.
struct Outcome {
    long hits;       ///< calls that failed
    Call call;       ///< the first of them; `none` when the plan met no call
    size_t bytes;    ///< of an allocation
    char path[512];  ///< where there is one
};

void setRoot(const std::string& folder);
void arm(const Plan& plan);
Outcome disarm();

extern bool isCounting;

/// Keeps what the thread calls from counting.
class Outside {
public:
    Outside() { isCounting = false; }
    ~Outside() { isCounting = before_; }
    Outside(const Outside&) = delete;
    Outside& operator=(const Outside&) = delete;

private:
    const bool before_ = isCounting;
};

/// Whether malloc() and its kin are counted and fail. Under AddressSanitizer, whose own they are,
/// only operator new fails; under ThreadSanitizer no allocation does.
extern const bool ownsMalloc;

/// Allocations of the process that were not freed yet; freed memory is overwritten, so that what
/// still looks at it notices. 0 where !ownsMalloc.
extern long liveAllocations;

}  // namespace fault
