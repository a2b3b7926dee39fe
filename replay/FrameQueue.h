// The queue of replayed frames: how a frame leaves it.
#pragma once

class PipelineSimulation;

/// Retires the oldest queued frame: releases its blocks, last to first, returns its image to the
/// pool and removes it. The queue must not be empty. Logs in the name of `function`: level 4.
void retireFrontFrame(PipelineSimulation& simulation, const char* function);
