#include "tools/sheet/SheetOrder.h"

#include <algorithm>

namespace tyksim {

namespace {

using tyktree::TaskEntry;

/// The pairs of one task: first those with a frame of A, then the others.
struct Group {
    const TaskEntry* a = nullptr;
    const TaskEntry* b = nullptr;
    std::vector<FramePair> pairs;
    std::vector<FramePair> onlyB;

    bool takes(const FramePair& pair) const {
        if (pair.a) return pair.a->task == a;
        const TaskEntry* const task = pair.b->task;
        return b ? b == task : a && a->name == task->name;
    }

    void add(const FramePair& pair) {
        if (pair.a) a = pair.a->task;
        if (pair.b) b = pair.b->task;
        (pair.a ? pairs : onlyB).push_back(pair);
    }
};

std::vector<Group> groupsOf(const std::vector<FramePair>& pairs) {
    std::vector<Group> groups;
    for (const FramePair& pair : pairs) {
        if (groups.empty() || !groups.back().takes(pair)) groups.emplace_back();
        groups.back().add(pair);
    }
    return groups;
}

void thin(std::vector<FramePair>& pairs, uint32_t every) {
    size_t kept = 0;
    for (size_t i = 0; i < pairs.size(); i += every) pairs[kept++] = pairs[i];
    pairs.resize(kept);
}

/// Merges both lists.
std::vector<FramePair> merged(const Group& group) {
    std::vector<FramePair> result;
    auto only = group.onlyB.begin();
    for (const FramePair& pair : group.pairs) {
        while (pair.b && only != group.onlyB.end() &&
               only->b->frame->position < pair.b->frame->position) {
            result.push_back(*only++);
        }
        result.push_back(pair);
    }
    result.insert(result.end(), only, group.onlyB.end());
    return result;
}

}  // namespace

std::vector<PlacedPair> inTheirPlaces(const std::vector<FramePair>& pairs, uint32_t every) {
    std::vector<PlacedPair> result;
    size_t task = 0;
    for (Group& group : groupsOf(pairs)) {
        const tyktree::FrameRef home =
            group.pairs.empty() ? *group.onlyB.front().b : *group.pairs.front().a;
        thin(group.pairs, every);
        thin(group.onlyB, every);
        for (const FramePair& pair : merged(group)) {
            result.push_back({pair, task, home, group.b});
        }
        ++task;
    }
    return result;
}

}  // namespace tyksim
