// The tables that turn the names in configurations and file names into numbers. Threads: no locks;
// one thread alone uses a table while it is built. Errors: std::bad_alloc while a table is built.
#pragma once

#include "platform/ParamSet.h"

#include <map>
#include <string>

/// Stores the names of core/PipeTypes.h with their values. Logs: level 4, every entry.
void buildPipeNameMap(std::map<std::string, int>& names);

/// Stores the id of every tag under its name. When two ids have the same name, the higher id stays.
/// Logs: level 4, every tag.
void buildTagNameMap(const std::map<unsigned int, tyk::tag_info_t>& tags,
                     std::map<std::string, int>& names);

/// The value stored for `name`, or 0.
int lookUpName(const std::map<std::string, int>& names, const std::string& name);
