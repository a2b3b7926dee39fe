// Suggests similar names for an unknown one. Threads: any. Errors: std::bad_alloc.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tyktags {

/// The names in `among` that are similar to `name`, the most similar first, at most `count`: names
/// with the same words ("gain": "total_gain"), names that contain it, and names of which it is a
/// misspelling, as a whole or of one word. Ignores case; punctuation separates words. Empty if no
/// name is similar, because a suggestion would mislead.
std::vector<std::string> nearestNames(std::string_view name, const std::vector<std::string>& among,
                                      size_t count = 3);

/// "A, B or C".
std::string joinedByOr(const std::vector<std::string>& words);

}  // namespace tyktags
