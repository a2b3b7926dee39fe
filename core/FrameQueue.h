// The queue of replayed frames: how a frame leaves it.
#pragma once

#include <cstddef>

/// From this many queued frames on, a frame with an image first retires the oldest. Exactly one: a
/// queue that the other loaders made longer keeps its length, since the pipeline may still be using
/// the blocks of everything in it.
constexpr std::size_t kFramesInUse = 11;

class PipelineSimulation;

/// Retires the oldest queued frame: releases its blocks, last to first, returns its image to the
/// pool and removes it. The queue must not be empty. Logs in the name of `function`: level 4.
void retireFrontFrame(PipelineSimulation& simulation, const char* function);
