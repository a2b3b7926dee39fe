// What an output is until it is complete: something hidden beside its place.
#pragma once

#include "tools/files/OutputPlace.h"

#include <string>

namespace tyksim {

/// A name beside `path`, hidden, for mkstemp() and mkdtemp().
std::string unfinishedTemplate(const std::string& path);

/// Where the earlier output steps aside to for the output that is being made at `unfinished`.
std::string asideOf(const std::string& unfinished);

/// Holds what is being made for this process, so that others can tell it from what a killed run
/// left behind. The lock ends with the descriptor. A file system without locks is no error.
void lockUnfinished(int descriptor);

/// Says what runs that were killed left beside the place; removes nothing.
void noteLeftovers(const OutputPlace& place);

/// Removes what is at `path`, with all that is in it; says so where that does not work.
void removeUnfinished(const std::string& path);

/// From now on shownPath() shows paths below `folder` as they will be below `place`.
void showAs(const std::string& folder, const std::string& place);

/// `path` for a message: escaped, and in a folder that is being made as it will be when it is
/// complete. Threads: any.
std::string shownPath(const std::string& path);

}  // namespace tyksim
