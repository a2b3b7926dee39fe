// Removes frames from the queue of replayed frames. Threads: the one that uses the object.
#pragma once

#include <cstddef>

/// If this many frames or more are queued, the loader of a frame with an image first retires the
/// oldest. It retires exactly one: a queue that the other loaders made longer keeps its length,
/// because the pipeline may still use the blocks of all queued frames.
constexpr std::size_t kFramesInUse = 11;

class PipelineSimulation;

/// Retires the oldest queued frame: releases its blocks, last to first, returns its image to the
/// pool and removes it. The queue must not be empty. Logs in the name of `function`: level 4.
void retireFrontFrame(PipelineSimulation& simulation, const char* function);
