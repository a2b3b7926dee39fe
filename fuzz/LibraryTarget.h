// Common code of the targets that run the library: the device in memory, and an object.
#pragma once

#include "fuzz/Target.h"
#include "tests/support/FakeDevice.h"

namespace fuzz {

/// The object of pipe 1, initialised for `mode`.
inline PipelineSimulation& simulation(int mode) {
    static PipelineSimulation& object = *PipelineSimMgr::getPipeSimInstance(1);
    if (!object.initialised || object.mode != mode) object.init(mode);
    object.camId = 3;
    return object;
}

/// A target that gives every input a new device, and checks that nothing stays open.
template <void (*kRun)(std::string_view)>
Target libraryTarget(const char* name) {
    return {name,
            [](std::string_view input) {
                fake::restart();
                kRun(input);
                FAKE_EXPECT(fake::device().openHandles == 0);
            },
            [] {
                PipelineSimMgr::getPipeSimInstance(1)->deinit();
                fake::checkLeaks();
            }};
}

}  // namespace fuzz
