#include "core/Globals.h"
#include "core/LogLine.h"
#include "core/PipelineSimulation.h"
#include "core/TreeNames.h"

#include <pugixml.hpp>

#include <cstdlib>
#include <memory>
#include <mutex>

// The globals are constructed in this order when the library is loaded and destroyed in reverse
// order when it is unloaded.
namespace {
// Not used otherwise: it ties the XML library's lifetime to this library's, from load to unload.
[[maybe_unused]] pugi::xpath_node_set gXPathNodeSet;
}  // namespace
std::map<unsigned int, tyk::tag_info_t> gTagInfoTable;
std::map<std::string, PipelineSimulation::tagInfo> gDumpList;
namespace {
std::shared_ptr<PipelineSimMgr> gSimMgr;
}  // namespace
tyk::ParamSet* pPs = nullptr;

namespace {

// Two threads that make the very first call at the same moment may both get here. The later manager
// then replaces the earlier one, which no caller has seen yet. A second test under the lock would
// not help the callers, because they must not race for the first object either.
void createManager() {
    static std::mutex gSimMgrMutex;
    const std::lock_guard<std::mutex> lock(gSimMgrMutex);
    gSimMgr.reset(new PipelineSimMgr);
    TYK_LOG_AS(kCreation, "getPipeSimInstance", "create %p", static_cast<void*>(gSimMgr.get()));
}

PipelineSimulation* defaultObject(PipelineSimMgr& manager) {
    if (!manager.defaultInstance) manager.defaultInstance = new PipelineSimulation(kDumpRoot);
    return manager.defaultInstance;
}

PipelineSimulation* makeObject(PipelineSimMgr& manager, int pipeId) {
    createFolder(kDumpRoot);
    const std::string folder = pipeFolderPath(kDumpRoot, pipeId);
    createFolder(folder.c_str());
    auto object = std::make_unique<PipelineSimulation>(folder.c_str(), pipeId);
    manager.instances.insert_or_assign(pipeId, object.get());
    static_cast<void>(object.release());
    // Another first call may have replaced the entry meanwhile.
    return manager.instances[pipeId];
}

}  // namespace

PipelineSimulation* PipelineSimMgr::getPipeSimInstance(int pipeId) {
    if (!gSimMgr) createManager();
    if (pipeId == -1) return defaultObject(*gSimMgr);
    const auto found = gSimMgr->instances.find(pipeId);
    if (found != gSimMgr->instances.end()) return found->second;
    return makeObject(*gSimMgr, pipeId);
}

PipelineSimMgr::~PipelineSimMgr() {
    for (const auto& entry : instances) {
        if (entry.second) std::free(entry.second);
    }
}
