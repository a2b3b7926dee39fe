// The system property that asks for frames to be dumped (see PipelineSimulation::dumpIfneed()).
#pragma once

constexpr const char* kDumpProperty = "persist.vendor.cam.isstest";
