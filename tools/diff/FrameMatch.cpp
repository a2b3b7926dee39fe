#include "tools/diff/FrameMatch.h"

#include <algorithm>
#include <fmt/format.h>
#include <map>
#include <string>

namespace tyksim {

namespace {

using tyktree::FrameRef;

/// The selected frames of one task.
struct Task {
    const tyktree::PipeEntry* pipe;
    const tyktree::TaskEntry* task;
    std::vector<FrameRef> frames;
};

std::vector<Task> tasksOf(const std::vector<FrameRef>& frames) {
    std::vector<Task> tasks;
    for (const FrameRef& frame : frames) {
        if (tasks.empty() || tasks.back().task != frame.task) {
            tasks.push_back({frame.pipe, frame.task, {}});
        }
        tasks.back().frames.push_back(frame);
    }
    return tasks;
}

bool severalPipes(const std::vector<Task>& tasks) {
    return std::any_of(tasks.begin(), tasks.end(),
                       [&](const Task& task) { return task.pipe != tasks.front().pipe; });
}

/// The key of every task; tasks with the same key belong together.
std::vector<std::string> taskKeys(const std::vector<Task>& tasks, bool byName, bool byPipe) {
    std::vector<std::string> keys;
    std::map<std::string, int> counts;
    for (const Task& task : tasks) {
        const std::string pipe = byPipe ? fmt::to_string(task.pipe->id.value_or(-1)) : "";
        keys.push_back(pipe + "/" + (byName ? task.task->name : fmt::to_string(counts[pipe]++)));
    }
    return keys;
}

std::vector<std::string> frameKeys(const std::vector<FrameRef>& frames, MatchBy by) {
    std::vector<std::string> keys;
    std::map<std::string, int> counts;
    for (size_t i = 0; i < frames.size(); ++i) {
        const tyktree::FrameEntry& entry = *frames[i].frame;
        std::string key = fmt::to_string(i);
        if (by == MatchBy::kRequest) {
            key = entry.wellNamed ? fmt::to_string(entry.parsed.requestId) : "/" + entry.name;
            key += "/" + fmt::to_string(counts[key]++);
        }
        keys.push_back(key);
    }
    return keys;
}

constexpr size_t kNone = static_cast<size_t>(-1);

/// For every key of `a` the position of the same key in `b`, and the unmatched positions in `b`.
struct Places {
    Places(const std::vector<std::string>& a, const std::vector<std::string>& b) {
        std::map<std::string, size_t> at;
        for (size_t i = 0; i < b.size(); ++i) at.emplace(b[i], i);
        for (const std::string& key : a) {
            const auto found = at.find(key);
            ofA.push_back(found == at.end() ? kNone : found->second);
            if (found != at.end()) at.erase(found);
        }
        for (const auto& [key, place] : at) left.push_back(place);
        std::sort(left.begin(), left.end());
    }

    size_t matched() const {
        return ofA.size() - static_cast<size_t>(std::count(ofA.begin(), ofA.end(), kNone));
    }

    std::vector<size_t> ofA;
    std::vector<size_t> left;
};

void matchTask(const std::vector<FrameRef>& a, const std::vector<FrameRef>& b, MatchBy by,
               std::vector<FramePair>& pairs) {
    const Places places(frameKeys(a, by), frameKeys(b, by));
    size_t last = kNone;  // the frame of A so far with the last counterpart
    for (size_t i = 0; i < a.size(); ++i) {
        FramePair pair{a[i], std::nullopt, std::nullopt};
        const size_t place = places.ofA[i];
        if (place != kNone) {
            pair.b = b[place];
            if (last == kNone || places.ofA[last] < place) {
                last = i;
            } else {
                pair.overtaken = a[last];
            }
        }
        pairs.push_back(pair);
    }
    for (const size_t place : places.left) pairs.push_back({std::nullopt, b[place], std::nullopt});
}

Places matchTasks(const std::vector<Task>& a, const std::vector<Task>& b) {
    const bool byPipe = severalPipes(a) || severalPipes(b);
    Places byName(taskKeys(a, true, byPipe), taskKeys(b, true, byPipe));
    if (byName.matched() > 0) return byName;
    return {taskKeys(a, false, byPipe), taskKeys(b, false, byPipe)};
}

}  // namespace

std::vector<FramePair> matchFrames(const MatchSide& a, const MatchSide& b, MatchBy by) {
    using Kind = tyktree::TreePath::Kind;
    if (a.path->kind == Kind::kFrame && b.path->kind == Kind::kFrame && a.frames->size() == 1 &&
        b.frames->size() == 1) {
        return {{a.frames->front(), b.frames->front(), std::nullopt}};
    }
    const std::vector<Task> tasksA = tasksOf(*a.frames);
    const std::vector<Task> tasksB = tasksOf(*b.frames);
    const bool one = tasksA.size() == 1 && tasksB.size() == 1;
    const Places places = one ? Places({""}, {""}) : matchTasks(tasksA, tasksB);
    std::vector<FramePair> pairs;
    for (size_t i = 0; i < tasksA.size(); ++i) {
        const size_t place = places.ofA[i];
        const std::vector<FrameRef> none;
        matchTask(tasksA[i].frames, place == kNone ? none : tasksB[place].frames, by, pairs);
    }
    for (const size_t place : places.left) matchTask({}, tasksB[place].frames, by, pairs);
    return pairs;
}

}  // namespace tyksim
