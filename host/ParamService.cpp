#include "host/ParamService.h"

#include "core/Limits.h"
#include "host/NoDestructor.h"
#include "platform/ParamSet.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <limits>
#include <list>
#include <map>
#include <mutex>
#include <optional>
#include <tuple>
#include <utility>

namespace tykhost {
namespace {

constexpr size_t kInitialHistoryLimit = 16;

// A camera's value of one tag.
struct LiveValue {
    std::vector<uint8_t> bytes;  // the value, or the service's own copy of a block
    BlockParamDesc block;
};

struct Tag {
    tyktags::TagEntry declared;
    std::map<std::pair<uint32_t, std::optional<int>>, LiveValue> live;  // by camera and pipe type
    std::list<PublishedValue> history;                                  // oldest first
};

// Copies bytes; for a size of 0 the pointers need not be valid.
void copyBytes(void* to, const void* from, size_t size) {
    if (size > 0) std::memcpy(to, from, size);
}

// The service's state. Callers hold the lock.
class Service {
public:
    void setTable(std::vector<tyktags::TagEntry> entries);
    std::vector<tyktags::TagEntry> table() const;
    const Tag* find(uint32_t tag) const;

    bool setLive(uint32_t camId, uint32_t tag, const void* data, size_t size,
                 std::optional<int> pipe);
    bool setLiveBlock(uint32_t camId, uint32_t tag, const BlockParamDesc& block);
    bool get(uint32_t camId, int pipe, uint32_t tag, void* to) const;

    bool publish(const ParamKey& key, const void* data);
    std::vector<PublishedValue> published(uint64_t newerThan) const;
    const PublishedValue* newest(const ParamKey& key) const;
    void setHistoryLimit(size_t limit);
    void forgetPublished();

    bool created = false;
    bool registered = false;
    ParamServiceCounts counts{};

private:
    Tag* findTag(uint32_t tag);

    std::map<uint32_t, Tag> tags_;
    size_t historyLimit_ = kInitialHistoryLimit;
    uint64_t lastSerial_ = 0;
};

void Service::setTable(std::vector<tyktags::TagEntry> entries) {
    std::map<uint32_t, Tag> tags;
    for (tyktags::TagEntry& declared : entries) {
        const uint32_t id = declared.id;
        tags[id].declared = std::move(declared);
    }
    tags_ = std::move(tags);
}

std::vector<tyktags::TagEntry> Service::table() const {
    std::vector<tyktags::TagEntry> entries;
    entries.reserve(tags_.size());
    for (const auto& [id, tag] : tags_) entries.push_back(tag.declared);
    return entries;
}

const Tag* Service::find(uint32_t tag) const {
    const auto found = tags_.find(tag);
    return found != tags_.end() ? &found->second : nullptr;
}

Tag* Service::findTag(uint32_t tag) {
    const auto found = tags_.find(tag);
    return found != tags_.end() ? &found->second : nullptr;
}

bool Service::setLive(uint32_t camId, uint32_t tag, const void* data, size_t size,
                      std::optional<int> pipe) {
    Tag* target = findTag(tag);
    if (target == nullptr || (data == nullptr && size > 0)) return false;
    const bool isFixed = target->declared.kind == tyktags::TagKind::fixed;
    if (isFixed && target->declared.size < 0) return false;
    if (!isFixed && size > std::numeric_limits<uint32_t>::max()) return false;

    LiveValue value{};
    value.bytes.resize(isFixed ? static_cast<size_t>(target->declared.size) : size);
    copyBytes(value.bytes.data(), data, std::min(size, value.bytes.size()));
    if (!isFixed) value.block = {value.bytes.data(), static_cast<uint32_t>(size)};
    target->live[{camId, pipe}] = std::move(value);
    return true;
}

bool Service::setLiveBlock(uint32_t camId, uint32_t tag, const BlockParamDesc& block) {
    Tag* target = findTag(tag);
    if (target == nullptr || target->declared.kind != tyktags::TagKind::block) return false;
    target->live[{camId, std::nullopt}] = {{}, block};
    return true;
}

bool Service::get(uint32_t camId, int pipe, uint32_t tag, void* to) const {
    const Tag* source = find(tag);
    if (source == nullptr || to == nullptr) return false;
    auto found = source->live.find({camId, pipe});
    if (found == source->live.end()) found = source->live.find({camId, std::nullopt});
    if (found == source->live.end()) return false;
    const LiveValue& value = found->second;
    if (source->declared.kind == tyktags::TagKind::fixed) {
        copyBytes(to, value.bytes.data(), value.bytes.size());
    } else {
        std::memcpy(to, &value.block, sizeof(value.block));
    }
    return true;
}

bool Service::publish(const ParamKey& key, const void* data) {
    Tag* target = findTag(key.tag);
    if (target == nullptr || data == nullptr) return false;
    const bool isFixed = target->declared.kind == tyktags::TagKind::fixed;
    if (isFixed && (target->declared.size < 0 || target->declared.size > kMaxFixedBytes))
        return false;

    std::list<PublishedValue>& history = target->history;
    if (historyLimit_ > 0) {
        // When the history is full, the oldest entry is reused, which needs no memory.
        std::list<PublishedValue> entry;
        if (history.size() >= historyLimit_) {
            entry.splice(entry.begin(), history, history.begin());
        } else {
            entry.emplace_back();
        }
        PublishedValue& value = entry.front();
        if (isFixed) {
            value.bytes.resize(static_cast<size_t>(target->declared.size));
            copyBytes(value.bytes.data(), data, value.bytes.size());
        } else {
            std::memcpy(&value.block, data, sizeof(value.block));
        }
        value.key = key;
        value.kind = target->declared.kind;
        value.serial = lastSerial_ + 1;
        history.splice(history.end(), entry);
    }
    ++lastSerial_;
    return true;
}

std::vector<PublishedValue> Service::published(uint64_t newerThan) const {
    std::vector<const PublishedValue*> chosen;
    for (const auto& [id, tag] : tags_) {
        for (auto value = tag.history.rbegin(); value != tag.history.rend(); ++value) {
            if (value->serial <= newerThan) break;
            chosen.push_back(&*value);
        }
    }
    std::sort(chosen.begin(), chosen.end(),
              [](const auto* a, const auto* b) { return a->serial < b->serial; });
    std::vector<PublishedValue> values;
    values.reserve(chosen.size());
    for (const PublishedValue* value : chosen) values.push_back(*value);
    return values;
}

const PublishedValue* Service::newest(const ParamKey& key) const {
    const Tag* tag = find(key.tag);
    if (tag == nullptr) return nullptr;
    const auto found =
        std::find_if(tag->history.rbegin(), tag->history.rend(),
                     [&key](const PublishedValue& value) { return value.key == key; });
    return found != tag->history.rend() ? &*found : nullptr;
}

void Service::setHistoryLimit(size_t limit) {
    historyLimit_ = limit;
    for (auto& [id, tag] : tags_) {
        while (tag.history.size() > limit) tag.history.pop_front();
    }
}

void Service::forgetPublished() {
    for (auto& [id, tag] : tags_) tag.history.clear();
    counts = {};
}

std::mutex serviceMutex;

Service& service() {
    static NoDestructor<Service> instance;
    return *instance;
}

// Runs `action` on the service under its lock.
template <typename Action>
auto locked(Action action) {
    const std::lock_guard<std::mutex> lock(serviceMutex);
    return action(service());
}

// Runs a set or get under the lock, counts its outcome and converts it to the platform's result.
// Throws nothing: lack of memory is a refusal.
template <typename Action>
int counted(uint64_t ParamServiceCounts::*done, uint64_t ParamServiceCounts::*refused,
            Action action) {
    return locked([&](Service& state) {
        bool succeeded = false;
        try {
            succeeded = action(state);
        } catch (const std::exception&) {
            succeeded = false;
        }
        ++(state.counts.*(succeeded ? done : refused));
        return succeeded ? 0 : -1;
    });
}

}  // namespace

bool ParamKey::operator<(const ParamKey& other) const {
    return std::tie(camId, pipe, sofId, tag) <
           std::tie(other.camId, other.pipe, other.sofId, other.tag);
}

bool ParamKey::operator==(const ParamKey& other) const {
    return std::tie(camId, pipe, sofId, tag) ==
           std::tie(other.camId, other.pipe, other.sofId, other.tag);
}

void setTagTable(std::vector<tyktags::TagEntry> tags) {
    locked([&](Service& state) { state.setTable(std::move(tags)); });
}

std::vector<tyktags::TagEntry> tagTable() {
    return locked([](Service& state) { return state.table(); });
}

bool setLiveValue(uint32_t camId, uint32_t tag, const void* data, size_t size,
                  std::optional<int> pipe) {
    return locked([&](Service& state) { return state.setLive(camId, tag, data, size, pipe); });
}

bool setLiveBlock(uint32_t camId, uint32_t tag, const BlockParamDesc& block) {
    return locked([&](Service& state) { return state.setLiveBlock(camId, tag, block); });
}

std::vector<PublishedValue> publishedValues(uint64_t newerThan) {
    return locked([&](Service& state) { return state.published(newerThan); });
}

bool publishedValue(const ParamKey& key, PublishedValue& out) {
    return locked([&](Service& state) {
        const PublishedValue* value = state.newest(key);
        if (value != nullptr) out = *value;
        return value != nullptr;
    });
}

void setHistoryLimit(size_t valuesPerTag) {
    locked([&](Service& state) { state.setHistoryLimit(valuesPerTag); });
}

void clearPublished() {
    locked([](Service& state) { state.forgetPublished(); });
}

ParamServiceCounts paramServiceCounts() {
    return locked([](Service& state) { return state.counts; });
}

void resetParamService() {
    locked([](Service& state) { state = Service(); });
}

}  // namespace tykhost

namespace tyk {

using tykhost::ParamServiceCounts;
using tykhost::Service;

// The object has no state of its own; the state belongs to the process.
static ParamSet* theInstance() {
    static ParamSet instance;
    return &instance;
}

ParamSet* ParamSet::getInstance() {
    const bool exists = tykhost::locked([](Service& state) { return state.created; });
    return exists ? theInstance() : nullptr;
}

ParamSet* ParamSet::createInstance() {
    tykhost::locked([](Service& state) { state.created = true; });
    return theInstance();
}

void ParamSet::getTagInfo(std::map<unsigned int, tag_info_t>& table) {
    tykhost::locked([&](Service& state) {
        if (!state.registered) return;
        for (tyktags::TagEntry& declared : state.table())
            table[declared.id].name = std::move(declared.name);
    });
}

int ParamSet::getSize(unsigned int tag) {
    return tykhost::locked([&](Service& state) {
        const auto* found = state.find(tag);
        if (found == nullptr) return -1;
        const bool isFixed = found->declared.kind == tyktags::TagKind::fixed;
        return isFixed ? found->declared.size : static_cast<int32_t>(sizeof(BlockParamDesc));
    });
}

int ParamSet::getParam(unsigned int camId, int pipe, unsigned int, unsigned int tag, void* dst) {
    return tykhost::counted(&ParamServiceCounts::got, &ParamServiceCounts::refusedGet,
                            [&](Service& state) { return state.get(camId, pipe, tag, dst); });
}

int ParamSet::setParam(unsigned int camId, int pipe, unsigned int sofId, unsigned int tag,
                       void* data) {
    const tykhost::ParamKey key{camId, pipe, sofId, tag};
    return tykhost::counted(&ParamServiceCounts::set, &ParamServiceCounts::refusedSet,
                            [&](Service& state) { return state.publish(key, data); });
}

}  // namespace tyk

void registerPsTag() {
    tykhost::locked([](tykhost::Service& state) {
        state.registered = true;
        ++state.counts.registrations;
    });
}

int setPsParam(unsigned int camId, int pipe, unsigned int sofId, unsigned int tag, void* data) {
    return tyk::ParamSet::setParam(camId, pipe, sofId, tag, data);
}
