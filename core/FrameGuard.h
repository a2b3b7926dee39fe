// The border at which a failed allocation stops being the camera process's problem.
#pragma once

#include "core/LogLine.h"

#include <exception>

/// Runs `step(function)`, one step of a frame, in the name of `function`. An exception ends the
/// step, is reported at level 1 and goes no further: the camera process would not survive it, a
/// frame is only a frame. Returns whether the step came to its end.
template <typename Step>
bool guardFrame(const char* function, Step step) noexcept {
    try {
        step(function);
        return true;
    } catch (const std::exception& error) {
        TYK_LOG_AS(kFailure, function, "given up: %s", error.what());
        return false;
    }
}
