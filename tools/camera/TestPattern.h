// A test picture that moves from frame to frame. Threads: any.
#pragma once

#include "tools/picture/Nv21.h"

namespace tyksim {

/// Draws frame `number` (from 0): colour bars above a grey ramp; both move to the left.
Nv21Image drawTestPattern(int width, int height, int number);

}  // namespace tyksim
