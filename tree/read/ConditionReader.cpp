#include "tree/read/ConditionReader.h"

#include <optional>
#include <utility>

namespace tyktree {

namespace {

/// The places of the names that belong to a source, or of all other names.
std::vector<size_t> placesOf(const Condition& condition, bool sourced) {
    std::vector<size_t> places;
    for (size_t i = 0; i < condition.names().size(); ++i) {
        if ((condition.names()[i].source != nullptr) == sourced) places.push_back(i);
    }
    return places;
}

std::vector<ValueName> namesAt(const Condition& condition, const std::vector<size_t>& places) {
    std::vector<ValueName> names;
    names.reserve(places.size());
    for (const size_t place : places) names.push_back(condition.names()[place]);
    return names;
}

}  // namespace

ConditionReader::ConditionReader(const Condition& condition)
    : condition_(condition),
      places_{placesOf(condition, false), placesOf(condition, true)},
      readers_{FrameValueReader(namesAt(condition, places_[0])),
               FrameValueReader(namesAt(condition, places_[1]))},
      values_(condition.names().size()),
      known_(condition.names().size()) {}

bool ConditionReader::holds(const FrameRef& frame, std::vector<tyktags::Problem>& problems) {
    known_.assign(known_.size(), nullptr);
    std::optional<bool> held;
    for (size_t i = 0; i < readers_.size() && !held; ++i) {
        read(i, frame, problems);
        held = condition_.holds([this](size_t place) { return known_[place]; });
    }
    return held.value_or(false);
}

void ConditionReader::read(size_t reader, const FrameRef& frame,
                           std::vector<tyktags::Problem>& problems) {
    const std::vector<size_t>& places = places_[reader];
    if (places.empty()) return;
    std::vector<FrameValue> values = readers_[reader].read(frame);
    for (size_t i = 0; i < places.size(); ++i) {
        FrameValue& value = values_[places[i]];
        value = std::move(values[i]);
        known_[places[i]] = &value;
        if (value.problem.empty()) continue;
        problems.push_back(
            {frame.path(), "", "", value.problem, condition_.names()[places[i]].name});
    }
}

}  // namespace tyktree
