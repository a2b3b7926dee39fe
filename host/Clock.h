// The clock that names the folders of a dump tree.
//
// A program that links tykhost defines gettimeofday() itself, so that it may stand still.
#pragma once

#include <sys/time.h>

namespace tykhost {

/// From now on gettimeofday() returns `time`, and each call advances it by `stepMicroseconds`,
/// which may be negative. Times beyond 292,000 years from 1970 wrap. Threads: any; a reading that
/// comes meanwhile may still be of the clock before.
void setClock(const timeval& time, long stepMicroseconds = 0);

/// gettimeofday() returns the system's time again. Threads: any.
void resetClock();

}  // namespace tykhost
