// Keeps exceptions, failed allocations above all, away from the camera process.
#pragma once

#include "core/LogLine.h"

#include <exception>

/// Runs `step(function)`, one step of a frame, in the name of `function`. An exception of any type
/// ends the step, is logged at level 1 and does not leave this function: the camera process would
/// not survive it, but it survives the loss of a frame.
template <typename Step>
void guardFrame(const char* function, Step step) noexcept {
    const auto report = [function](const char* reason) noexcept {
        try {
            TYK_LOG_AS(kFailure, function, "given up: %s", reason);
        } catch (...) {  // The log itself threw, so the failure cannot be reported.
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
