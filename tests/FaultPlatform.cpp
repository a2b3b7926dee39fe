#include "tests/FaultPlatform.h"

#include "platform/Log.h"
#include "platform/ParamSet.h"
#include "platform/Properties.h"
#include "replay/BlockParamDesc.h"
#include "tests/FaultInjector.h"

#include <cstdio>
#include <cstring>
#include <sys/time.h>

namespace {

using device::Tag;

constexpr uint32_t kMostBytes = 9000;
unsigned char blocks[2][kMostBytes];
int level = 0;

struct PoolBuffer {
    tyk::Buffer buffer;
    tyk::ImageDescriptor descriptor;
    bool out;
    unsigned char pixels[64 * 64 * 3 / 2];
};
PoolBuffer pool[16];

const Tag& find(uint32_t id) {
    const Tag* tag = device::kTags;
    while (tag->id != id) ++tag;
    return *tag;
}

/// Bytes below 0x40 make unsigned numbers that fit signed ones and floats that are numbers.
void fill(void* to, const Tag& tag, uint32_t sofId) {
    auto* const bytes = static_cast<unsigned char*>(to);
    for (uint32_t i = 0; i < tag.bytes; ++i) {
        bytes[i] = static_cast<unsigned char>((i * 7 + i / 64 + sofId * 13 + tag.id) & 0x3f);
    }
    if (std::strcmp(tag.name, "mfnr") != 0) return;
    std::memset(bytes, 0, tag.bytes);
    std::strcpy(static_cast<char*>(to), std::strrchr(device::kTuning, '/') + 1);
}

/// Whether a parameter file brought the value that was dumped.
bool isDumped(const Tag& tag, const void* expected, const void* value) {
    if (!tag.isBlock) return std::memcmp(value, expected, tag.bytes) == 0;
    BlockParamDesc block{};
    std::memcpy(&block, value, sizeof(block));
    return block.size == tag.bytes && block.data &&
           std::memcmp(block.data, expected, tag.bytes) == 0;
}

/// Of the scene record a replay carries what its three files hold, and zeros.
bool isRebuilt(void* expected, const void* value) {
    constexpr int kKept[][2] = {{400, 412},   {464, 6192},  {7060, 7064}, {7132, 7136},
                                {7160, 7168}, {8452, 8468}, {8512, 0}};
    int at = 0;
    for (const auto& [begin, end] : kKept) {
        std::memset(static_cast<char*>(expected) + at, 0, static_cast<size_t>(begin - at));
        at = end;
    }
    return std::memcmp(value, expected, 8512) == 0;
}

int publish(bool isRight) {
    ++device::record.published;
    device::record.wrong += isRight ? 0 : 1;
    return 0;
}

}  // namespace

namespace device {

Record record;

std::string valueOf(const Tag& tag, uint32_t sofId) {
    std::string bytes(tag.bytes, '\0');
    fill(bytes.data(), tag, sofId);
    return bytes;
}

std::set<tyk::Buffer*> buffersOut() {
    std::set<tyk::Buffer*> out;
    for (PoolBuffer& entry : pool) {
        if (entry.out) out.insert(&entry.buffer);
    }
    return out;
}

}  // namespace device

namespace tyk {

ParamSet* ParamSet::getInstance() {
    static ParamSet service;
    return &service;
}

ParamSet* ParamSet::createInstance() {
    return getInstance();
}

void ParamSet::getTagInfo(std::map<unsigned int, tag_info_t>& table) {
    const fault::Outside outside;
    for (const Tag& tag : device::kTags) table[tag.id].name = tag.name;
}

int ParamSet::getSize(unsigned int tag) {
    return static_cast<int>(find(tag).bytes);
}

int ParamSet::getParam(unsigned int, int, unsigned int sofId, unsigned int id, void* dst) {
    const Tag& tag = find(id);
    BlockParamDesc block{blocks[id % 2], tag.bytes};
    fill(tag.isBlock ? block.data : dst, tag, sofId);
    if (tag.isBlock) std::memcpy(dst, &block, sizeof(block));
    return 0;
}

int ParamSet::setParam(unsigned int, int, unsigned int sofId, unsigned int id, void* data) {
    const uint32_t size[] = {320, 240};
    unsigned char expected[kMostBytes];
    if (id == 8208) return publish(std::memcmp(data, size, sizeof(size)) == 0);
    if (id == 8198) return publish(*static_cast<unsigned char*>(data) == 95);
    fill(expected, find(id), sofId);
    return publish(isDumped(find(id), expected, data));
}

BufferManager* BufferManager::createInstance() {
    static BufferManager handle;
    return &handle;
}

int BufferManager::getBuffer(buffer_usage_t, int, int, Buffer*& buffer, bool) {
    for (PoolBuffer& entry : pool) {
        if (entry.out) continue;
        std::memset(entry.pixels, 0xee, sizeof(entry.pixels));
        entry.descriptor = {entry.pixels, 0, 0, 0, 0, 0};
        entry.buffer.image = &entry.descriptor;
        entry.out = true;
        buffer = &entry.buffer;
        return 0;
    }
    return -1;
}

int BufferManager::returnBuffer(Buffer* buffer, buffer_usage_t, bool) {
    for (PoolBuffer& entry : pool) {
        if (&entry.buffer == buffer && entry.out) return entry.out = false, 0;
    }
    ++device::record.failures;
    device::record.failure = "a buffer came back that was not out";
    return -1;
}

}  // namespace tyk

void registerPsTag() {}

int setPsParam(unsigned int, int, unsigned int sofId, unsigned int id, void* data) {
    unsigned char expected[kMostBytes];
    fill(expected, find(id), sofId);
    if (id == 2118) return publish(isRebuilt(expected, data));
    return publish(std::strcmp(static_cast<char*>(data), "tyksimulation/mfnr5.2.xml") == 0);
}

LogMessage::LogMessage(const char*, int messageLevel) {
    level = messageLevel;
}

LogMessage::~LogMessage() = default;

void LogMessage::__print_log_(const char* format, int, const char*, ...) {
    if (level != 1) return;
    ++device::record.failures;
    device::record.failure = format;
}

LogMessage _log(const char* tag, int messageLevel) {
    return LogMessage(tag, messageLevel);
}

extern "C" int property_get(const char* key, char* value, const char* default_value) {
    const bool isTest = std::strcmp(key, "persist.vendor.cam.isstest") == 0;
    return std::snprintf(value, kPropertyValueSize, "%s", isTest ? "1" : default_value);
}

// A millisecond passes with every call: no two frames share a folder.
extern "C" int gettimeofday(timeval* now, void*) noexcept {
    static long milliseconds = 0;
    ++milliseconds;
    *now = {1772719629 + milliseconds / 1000, milliseconds % 1000 * 1000};
    return 0;
}
