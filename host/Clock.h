// The clock whose time the names of a dump tree's folders contain.
//
// A program that links tykhost defines gettimeofday() itself, so that it can stop or set this
// clock.
#pragma once

#include <sys/time.h>

namespace tykhost {

/// From now on gettimeofday() returns `time`, and each call advances it by `stepMicroseconds`,
/// which may be negative. Times beyond 292,000 years from 1970 wrap. Threads: any; a concurrent
/// reading may still show the previous clock.
void setClock(const timeval& time, long stepMicroseconds = 0);

/// gettimeofday() returns the system's time again. Threads: any.
void resetClock();

}  // namespace tykhost
