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
    /// For an id other than -1, makes the dump root and the pipe's folder first; createFolder()
    /// logs the results. Id -1 is the default object, which works on the dump root itself and makes
    /// no folder. The manager owns the object. init() is not called.
    ///
    /// Threads: any, but only the making of the manager is locked. The first call for each pipe id
    /// must not run at the same time as any other call. Errors: std::bad_alloc when an allocation
    /// fails. Logs: level 3 when the manager is made.
    static PipelineSimulation* getPipeSimInstance(int pipeId);

    PipelineSimMgr() = default;
    PipelineSimMgr(const PipelineSimMgr&) = delete;
    PipelineSimMgr& operator=(const PipelineSimMgr&) = delete;

    /// Releases the storage of the objects in `instances` with free(). It runs no destructor of
    /// theirs, returns no buffer and keeps `defaultInstance`, because the services that a full
    /// teardown would call may be gone at unload. A client that wants its buffers back calls
    /// deinit() before.
    ~PipelineSimMgr();

    PipelineSimulation* defaultInstance = nullptr;  ///< the object of pipe id -1, or null
    std::map<int, PipelineSimulation*> instances;   ///< the other objects, by pipe id
};
