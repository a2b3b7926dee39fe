// The process-wide owner of the simulation objects, one per camera pipe.
#pragma once

#include "core/Export.h"

#include <map>

class PipelineSimulation;

/// Keeps one PipelineSimulation per pipe id for the life of the process.
class TYK_EXPORT PipelineSimMgr {
public:
    /// The object of pipe `pipeId`, made on first use; never null.
    ///
    /// For an id other than -1 the dump root and the pipe's folder are made first; whether that
    /// worked is only logged (createFolder). Id -1 is the default object, which works on the dump
    /// root itself and makes no folder. The object stays the manager's. init() is not called.
    ///
    /// Threads: any, but only the making of the manager is locked. Each pipe id must first be asked
    /// for by one thread while no other thread calls.
    /// Errors: a failed allocation leaves as std::bad_alloc.
    /// Logs: level 3 when the manager is made.
    static PipelineSimulation* getPipeSimInstance(int pipeId);

    PipelineSimMgr() = default;
    PipelineSimMgr(const PipelineSimMgr&) = delete;
    PipelineSimMgr& operator=(const PipelineSimMgr&) = delete;

    /// Releases the storage of the objects in `instances` with free() and nothing more: no
    /// destructor of theirs runs, no buffer is returned, and `defaultInstance` is left alone. At
    /// unload the services that a proper teardown would call may be gone already; a client that
    /// wants its buffers back calls deinit() before.
    ~PipelineSimMgr();

    PipelineSimulation* defaultInstance = nullptr;  ///< the object of pipe id -1, or null
    std::map<int, PipelineSimulation*> instances;   ///< the other objects, by pipe id
};
