// A test picture that moves from frame to frame.
#pragma once

#include "tools/picture/Nv21.h"

namespace tyksim {

/// Draws frame `number` (from 0): colour bars that wander to the left, above a gray ramp that
/// wanders with them.
Nv21Image drawTestPattern(int width, int height, int number);

}  // namespace tyksim
