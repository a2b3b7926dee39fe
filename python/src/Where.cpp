#include "python/src/Where.h"

#include "python/src/Errors.h"
#include "python/src/Text.h"
#include "python/src/Waiting.h"
#include "tree/read/ConditionReader.h"

#include <fmt/format.h>
#include <optional>
#include <utility>
#include <variant>

namespace py = pybind11;

namespace tykpython {

namespace {

using tyktree::Condition;
using tyktree::ConditionProblem;
using tyktree::FrameRef;

[[noreturn]] void refuse(const ConditionProblem& problem) {
    const std::string line = fmt::format("where: column {}: {}", problem.at + 1, problem.message);
    PyErr_SetObject(PyExc_ValueError, pythonText(line).ptr());
    throw py::error_already_set();
}

Condition boundCondition(const NameCatalog& names, const std::vector<std::string>& tagNames,
                         const std::string& expression) {
    std::variant<Condition, ConditionProblem> parsed = Condition::parse(expression);
    if (const auto* const problem = std::get_if<ConditionProblem>(&parsed)) refuse(*problem);
    auto condition = std::get<Condition>(std::move(parsed));
    std::string unknown;
    const auto problem = condition.bind([&](std::string_view name) {
        auto resolved = names.tryResolve(name, tagNames);
        if (!resolved.ok()) unknown = name;
        return resolved;
    });
    if (problem && !unknown.empty()) static_cast<void>(names.resolve(unknown, tagNames));
    if (problem) refuse(*problem);
    return condition;
}

struct Answer {
    bool holds = false;
};

}  // namespace

std::vector<FrameRef> framesWhere(const NameCatalog& names,
                                  const std::vector<std::string>& tagNames,
                                  const std::vector<FrameRef>& frames,
                                  const std::string& expression) {
    const Condition condition = boundCondition(names, tagNames, expression);
    std::vector<FrameRef> held;
    Waiting waiting(0, py::none());
    waiting.run([&] {
        tyktree::forEachInOrder<Answer>(
            frames.size(), waiting.execution(), [&] { return tyktree::ConditionReader(condition); },
            [&](tyktree::ConditionReader& reader, Answer& answer, size_t index) {
                std::vector<tyktags::Problem> problems;
                answer.holds = reader.holds(frames[index], problems);
                if (!problems.empty()) throw Damaged(std::move(problems.front()));
            },
            [&](const Answer& answer, size_t index) {
                if (answer.holds) held.push_back(frames[index]);
            });
    });
    return held;
}

}  // namespace tykpython
