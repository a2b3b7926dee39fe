// Hidden files and folders beside an output's place, for outputs that are not complete yet.
#pragma once

#include "tools/files/OutputPlace.h"

#include <string>

namespace tyksim {

/// A hidden name beside `path`, for mkstemp() and mkdtemp().
std::string unfinishedTemplate(const std::string& path);

/// The name to which the earlier output moves while the output at `unfinished` takes its place.
std::string asideOf(const std::string& unfinished);

/// Locks an unfinished output, so that other runs can tell it from the leftovers of a killed run.
/// The lock ends with the descriptor. A file system without locks is not an error.
void lockUnfinished(int descriptor);

/// Reports leftovers of killed runs beside the place; removes nothing.
void noteLeftovers(const OutputPlace& place);

/// Removes the entry at `path` with its content; reports a failure.
void removeUnfinished(const std::string& path);

/// From now on shownPath() shows paths below `folder` as paths below `place`.
void showAs(const std::string& folder, const std::string& place);

/// `path` for a message: escaped, and with the final name of an unfinished folder. Threads: any.
std::string shownPath(const std::string& path);

}  // namespace tyksim
