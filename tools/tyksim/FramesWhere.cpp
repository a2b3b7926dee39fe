#include "tools/tyksim/FramesWhere.h"

#include "tags/Words.h"
#include "tools/console/Failures.h"
#include "tools/console/Jobs.h"
#include "tree/read/ConditionReader.h"
#include "tree/read/Escape.h"

#include <algorithm>
#include <cstddef>
#include <fmt/format.h>
#include <utility>
#include <variant>

namespace tyksim {

namespace {

using tyktree::Condition;
using tyktree::ConditionProblem;
using tyktree::ConditionReader;
using tyktree::FrameRef;
using tyktree::FrameValue;

/// Columns that a text takes, a character each.
size_t columnsOf(const std::string& text) {
    const std::string shown = tyktree::escaped(text);
    return static_cast<size_t>(std::count_if(
        shown.begin(), shown.end(), [](char c) { return !tyktags::continuesCharacter(c); }));
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

/// The places of the measures among the condition's names.
std::vector<size_t> measuresIn(const Condition& condition) {
    std::vector<size_t> places;
    for (size_t i = 0; i < condition.names().size(); ++i) {
        if (condition.names()[i].source) places.push_back(i);
    }
    return places;
}

struct Answer {
    bool holds = false;
    std::vector<tyktags::Problem> problems;
    std::vector<FrameValue> measures;  ///< of a frame that holds; empty if they were not needed
};

/// Asks one frame.
void ask(ConditionReader& reader, const std::vector<size_t>& measures, const FrameRef& frame,
         Answer& answer) {
    answer = {};
    answer.holds = reader.holds(frame, answer.problems);
    for (const size_t place : measures) {
        const FrameValue* const value = reader.value(place);
        if (answer.holds && value) answer.measures.push_back(*value);
    }
}

}  // namespace

Condition parseWhere(const std::string& expression) {
    std::variant<Condition, ConditionProblem> parsed = Condition::parse(expression);
    const auto* const problem = std::get_if<ConditionProblem>(&parsed);
    if (problem) refuse<WrongUsage>("", expression, *problem);
    return std::get<Condition>(std::move(parsed));
}

FramesHeld framesWhere(const OpenedTree& tree, const std::string& expression, Condition condition,
                       int jobs, Reading& reading) {
    const std::vector<std::string> tagNames = tagNamesOf(tree);
    const auto problem = condition.bind([&](std::string_view name) {
        return resolveName(name, tree.catalog, tagNames, &tree.measures);
    });
    if (problem) {
        const std::string prefix = tyktree::escaped(tree.index.path().given) + ": ";
        refuse<PicksNothing>(prefix, expression, *problem);
    }
    FramesHeld held;
    const std::vector<size_t> measures = measuresIn(condition);
    for (const size_t place : measures) {
        held.measures.names.push_back(condition.names()[place].name);
    }
    Progress progress;
    forEachOnJobs<Answer>(
        tree.frames.size(), jobs, [&condition] { return ConditionReader(condition); },
        [&](ConditionReader& reader, Answer& answer, size_t index) {
            ask(reader, measures, tree.frames[index], answer);
        },
        [&](const Answer& answer, size_t index) {
            for (const tyktags::Problem& one : answer.problems) reading.problem(lineOf(one));
            const FrameRef& frame = tree.frames[index];
            if (answer.holds) held.frames.push_back(frame);
            if (!answer.measures.empty()) held.measures.byFrame[frame.path()] = answer.measures;
            progress.count("looked at", index + 1, tree.frames.size(), "frames");
        });
    return held;
}

}  // namespace tyksim
