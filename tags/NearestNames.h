// What somebody may have meant who gave a name that there is none of.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tyktags {

/// The names among `among` that `name` may have been meant for, best first, at most `count`: those
/// that have it as a word ("gain": "total_gain"), those that have it in them, those that are a few
/// letters away from it, as a whole or in one word. Case does not matter; punctuation separates
/// words. Empty where nothing is near: then a suggestion would mislead.
std::vector<std::string> nearestNames(std::string_view name, const std::vector<std::string>& among,
                                      size_t count = 3);

/// "A, B or C".
std::string joinedByOr(const std::vector<std::string>& words);

}  // namespace tyktags
