// State and constants that several parts of the library share.
#pragma once

#include "platform/ParamSet.h"

#include <cstdint>
#include <map>

/// The parameter-set service's tags by id; filled again by every PipelineSimulation::init().
/// Defined with the manager. It has no lock; see the threads in PipelineSimulation.h.
extern std::map<unsigned int, tyk::tag_info_t> gTagInfoTable;

/// In a dump list: the camera or sof id of the frame being dumped.
constexpr uint32_t kOfTheFrame = UINT32_MAX;
