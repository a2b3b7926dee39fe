#include "python/src/Where.h"

#include "python/src/Errors.h"
#include "python/src/Text.h"
#include "python/src/Waiting.h"
#include "tree/read/Condition.h"

#include <optional>
#include <utility>
#include <variant>

namespace py = pybind11;

namespace tykpython {

namespace {

using tyktree::Condition;
using tyktree::ConditionProblem;
using tyktree::FrameRef;
using tyktree::FrameValue;

[[noreturn]] void refuse(const ConditionProblem& problem) {
    const std::string line =
        "where: column " + std::to_string(problem.at + 1) + ": " + problem.message;
    PyErr_SetObject(PyExc_ValueError, pythonText(line).ptr());
    throw py::error_already_set();
}

Condition boundCondition(const Table& table, const std::vector<std::string>& tagNames,
                         const std::string& expression) {
    std::variant<Condition, ConditionProblem> parsed = Condition::parse(expression);
    if (const auto* const problem = std::get_if<ConditionProblem>(&parsed)) refuse(*problem);
    auto condition = std::get<Condition>(std::move(parsed));
    std::string unknown;
    const auto problem = condition.bind([&](std::string_view name) {
        auto resolved = table.tryResolve(name, tagNames);
        if (!resolved.ok()) unknown = name;
        return resolved;
    });
    if (problem && !unknown.empty()) static_cast<void>(table.resolve(unknown, tagNames));
    if (problem) refuse(*problem);
    return condition;
}

/// Whether the condition holds in a frame.
bool holdsIn(const Condition& condition, tyktree::FrameValueReader& reader, const FrameRef& frame) {
    const std::vector<FrameValue> values = reader.read(frame);
    for (size_t i = 0; i < values.size(); ++i) {
        if (values[i].problem.empty()) continue;
        throw Damaged({frame.path(), "", "", values[i].problem, condition.names()[i].name});
    }
    return condition.holds([&values](size_t place) { return &values[place]; }).value_or(false);
}

struct Answer {
    bool holds = false;
};

}  // namespace

std::vector<FrameRef> framesWhere(const Table& table, const std::vector<std::string>& tagNames,
                                  const std::vector<FrameRef>& frames,
                                  const std::string& expression) {
    const Condition condition = boundCondition(table, tagNames, expression);
    std::vector<FrameRef> held;
    Waiting waiting(0, py::none());
    waiting.run([&] {
        tyktree::forEachInOrder<Answer>(
            frames.size(), waiting.execution(),
            [&] { return tyktree::FrameValueReader(condition.names()); },
            [&](tyktree::FrameValueReader& reader, Answer& answer, size_t index) {
                answer.holds = holdsIn(condition, reader, frames[index]);
            },
            [&](const Answer& answer, size_t index) {
                if (answer.holds) held.push_back(frames[index]);
            });
    });
    return held;
}

}  // namespace tykpython
