#include "core/NameTables.h"

#include "core/LogLine.h"
#include "core/PipeTypes.h"
#include "core/PipelineSimulation.h"

void buildPipeNameMap(std::map<std::string, int>& names) {
    for (const PipeType& type : kPipeTypes) names[type.name] = type.value;
    for (const auto& entry : names) {
        TYK_LOG(kDetail, "pipe %d %s", entry.second, entry.first.c_str());
    }
}

void buildTagNameMap(const std::map<unsigned int, tyk::tag_info_t>& tags,
                     std::map<std::string, int>& names) {
    for (const auto& entry : tags) {
        names[entry.second.name] = static_cast<int>(entry.first);
        TYK_LOG(kDetail, "tag %u %s", entry.first, entry.second.name.c_str());
    }
}

int lookUpName(const std::map<std::string, int>& names, const std::string& name) {
    const auto found = names.find(name);
    return found == names.end() ? 0 : found->second;
}

int PipelineSimulation::getEnumByTagName(std::string name) {
    return lookUpName(tagNameMap, name);
}

int PipelineSimulation::getEnumByPipeName(std::string name) {
    return lookUpName(pipeNameMap, name);
}
