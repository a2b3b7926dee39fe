// The border at which a failed allocation, and whatever else is thrown, stops being the camera
// process's problem.
#pragma once

#include "core/LogLine.h"

#include <exception>

/// Runs `step(function)`, one step of a frame, in the name of `function`. What it throws, a
/// std::exception or anything else that the platform throws, ends the step, is reported at level 1
/// and goes no further: the camera process would not survive it, a frame is only a frame.
template <typename Step>
void guardFrame(const char* function, Step step) noexcept {
    const auto report = [function](const char* reason) noexcept {
        try {
            TYK_LOG_AS(kFailure, function, "given up: %s", reason);
        } catch (...) {  // The log was what threw: nobody is left to be told.
        }
    };
    try {
        step(function);
    } catch (const std::exception& error) {
        report(error.what());
    } catch (...) {
        report("unknown exception");
    }
}
