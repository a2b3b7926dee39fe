#include "tools/tyksim/FramesWhere.h"

#include "tools/console/Jobs.h"
#include "tree/read/Escape.h"
#include "tree/read/FrameValues.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <fmt/format.h>
#include <optional>
#include <utility>
#include <variant>

namespace tyksim {

namespace {

using tyktree::Condition;
using tyktree::ConditionProblem;
using tyktree::FrameRef;
using tyktree::FrameValue;
using tyktree::ValueName;

bool continuesCharacter(char c) {
    return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U;
}

/// Columns that a text takes, a character each.
size_t columnsOf(const std::string& text) {
    const std::string shown = tyktree::escaped(text);
    return static_cast<size_t>(
        std::count_if(shown.begin(), shown.end(), [](char c) { return !continuesCharacter(c); }));
}

/// Throws `Usage` for a place of the expression: a sentence with the column, then the expression
/// and a mark under the place.
template <typename Usage>
[[noreturn]] void refuse(const std::string& prefix, const std::string& expression,
                         const ConditionProblem& problem) {
    const size_t column = columnsOf(expression.substr(0, problem.at));
    throw Usage(fmt::format("{}--where: column {}: {}", prefix, column + 1, problem.message),
                {"  " + expression, std::string(column + 2, ' ') + "^"});
}

/// Whether the condition holds in one frame after the other. One thread at a time uses an object.
class WhereReader {
public:
    /// The condition is bound and outlives the object.
    explicit WhereReader(const Condition& condition)
        : condition_(condition),
          places_{placesOf(condition, false), placesOf(condition, true)},
          readers_{tyktree::FrameValueReader(namesAt(condition, places_[0])),
                   tyktree::FrameValueReader(namesAt(condition, places_[1]))},
          values_(condition.names().size()) {}

    /// Values that cannot be read are added to `problems`.
    bool holds(const FrameRef& frame, std::vector<std::string>& problems) {
        std::vector<const FrameValue*> known(values_.size());
        std::optional<bool> held;
        for (size_t i = 0; i < readers_.size() && !held; ++i) {
            read(i, frame, known, problems);
            held = condition_.holds([&known](size_t place) { return known[place]; });
        }
        return held.value_or(false);
    }

private:
    /// The places of the names that a source brings, which cost more, or of the others.
    static std::vector<size_t> placesOf(const Condition& condition, bool sourced) {
        std::vector<size_t> places;
        for (size_t i = 0; i < condition.names().size(); ++i) {
            if ((condition.names()[i].source != nullptr) == sourced) places.push_back(i);
        }
        return places;
    }

    static std::vector<ValueName> namesAt(const Condition& condition,
                                          const std::vector<size_t>& places) {
        std::vector<ValueName> names;
        names.reserve(places.size());
        for (const size_t place : places) names.push_back(condition.names()[place]);
        return names;
    }

    void read(size_t reader, const FrameRef& frame, std::vector<const FrameValue*>& known,
              std::vector<std::string>& problems) {
        const std::vector<size_t>& places = places_[reader];
        if (places.empty()) return;
        std::vector<FrameValue> values = readers_[reader].read(frame);
        for (size_t i = 0; i < places.size(); ++i) {
            FrameValue& value = values_[places[i]];
            value = std::move(values[i]);
            known[places[i]] = &value;
            if (value.problem.empty()) continue;
            problems.push_back(fmt::format("{}: {}: {}", tyktree::escaped(frame.path()),
                                           tyktree::escaped(condition_.names()[places[i]].name),
                                           tyktree::escaped(value.problem)));
        }
    }

    const Condition& condition_;
    std::array<std::vector<size_t>, 2> places_;
    std::array<tyktree::FrameValueReader, 2> readers_;
    std::vector<FrameValue> values_;
};

struct Answer {
    bool holds = false;
    std::vector<std::string> problems;
};

}  // namespace

Condition parseWhere(const std::string& expression) {
    std::variant<Condition, ConditionProblem> parsed = Condition::parse(expression);
    const auto* const problem = std::get_if<ConditionProblem>(&parsed);
    if (problem) refuse<WrongUsage>("", expression, *problem);
    return std::get<Condition>(std::move(parsed));
}

std::vector<FrameRef> framesWhere(const OpenedTree& tree, const std::string& expression,
                                  Condition condition, int jobs, Reading& reading) {
    const std::vector<std::string> tagNames = tagNamesOf(tree);
    const auto problem = condition.bind([&](std::string_view name) {
        return resolveName(name, tree.catalog, tagNames, &tree.measures);
    });
    if (problem) {
        const std::string prefix = tyktree::escaped(tree.index.path().given) + ": ";
        refuse<PicksNothing>(prefix, expression, *problem);
    }
    std::vector<FrameRef> held;
    Progress progress;
    forEachOnJobs<Answer>(
        tree.frames.size(), jobs, [&condition] { return WhereReader(condition); },
        [&tree](WhereReader& reader, Answer& answer, size_t index) {
            answer = {};
            answer.holds = reader.holds(tree.frames[index], answer.problems);
        },
        [&](const Answer& answer, size_t index) {
            for (const std::string& line : answer.problems) reading.problem(line);
            if (answer.holds) held.push_back(tree.frames[index]);
            progress.count("looked at", index + 1, tree.frames.size(), "frames");
        });
    return held;
}

}  // namespace tyksim
