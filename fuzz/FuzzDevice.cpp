// The platform: log, properties, parameter-set service and buffer pool.
#include "fuzz/FuzzDevice.h"

#include "platform/Log.h"
#include "platform/Properties.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sanitizer/asan_interface.h>
#include <sanitizer/lsan_interface.h>

/// Freed memory is kept from use for some runs rather than for thousands: it stays in the cache.
extern "C" const char* __asan_default_options() {
    return "quarantine_size_mb=4:malloc_context_size=4";
}

namespace fuzz {

const std::vector<Tag> kTags = {
    {100, "FIX_16", 16, false},
    {101, "FIX_0", 0, false},
    {102, "FIX_LARGEST", 512000, false},
    {103, "FIX_TOO_LARGE", 512001, false},
    {104, "FIX_NEGATIVE", -4, false},
    {105, "BLOCK_40", 40, true},
    {106, "BLOCK_a_b", 9, true},
    {2118, "KELV_TAG_ISCENE_INFO", 8512, false},
    {8198, "BYTE", 1, false},
    {8208, "PAIR", 8, false},
    {65622, "MFNR_NAMES", 4096, false},
};

const Tag* findTag(unsigned int id) {
    const auto found =
        std::find_if(kTags.begin(), kTags.end(), [id](const Tag& tag) { return tag.id == id; });
    return found == kTags.end() ? nullptr : &*found;
}

void fail(const char* condition, const char* file, int line) {
    std::fprintf(stderr, "%s:%d: does not hold: %s\n", file, line, condition);
    std::abort();
}

Device& device() {
    static Device theDevice;
    return theDevice;
}

PipelineSimulation& simulation(int mode) {
    static PipelineSimulation& made = [mode]() -> PipelineSimulation& {
        restart();
        PipelineSimulation& object = *PipelineSimMgr::getPipeSimInstance(1);
        object.init(mode);
        // At the end of the process the manager drops its objects as storage, with what they hold:
        // the leak check has to come before that.
        std::atexit([] { __lsan_do_leak_check(); });
        return object;
    }();
    return made;
}

bool poolOffers(int width, int height) {
    return width >= 0 && height >= 0 && int64_t{width} * height <= (1 << 20) * 2 / 3;
}

std::string takeLine(std::string& text) {
    const size_t end = text.find('\n');
    const std::string line = text.substr(0, end);
    text.erase(0, end == std::string::npos ? end : end + 1);
    return line;
}

namespace {

/// Of a longer value only this much is kept; all of it is tested for being there.
constexpr size_t kHeadBytes = 8512;

/// Block tags point here.
unsigned char gBlock[64];

const Tag* carriedTag(unsigned int id) {
    const Tag* const tag = findTag(id);
    return tag && (tag->block || (tag->size >= 0 && tag->size <= 512000)) ? tag : nullptr;
}

int publish(const Published& call, const void* data) {
    device().published.push_back(call);
    const Tag* const tag = carriedTag(call.tag);
    if (!tag) return -1;
    Published& kept = device().published.back();
    if (tag->block) {
        std::memcpy(&kept.block, data, sizeof(kept.block));
        return 0;
    }
    const auto size = static_cast<size_t>(tag->size);
    FUZZ_EXPECT(!__asan_region_is_poisoned(const_cast<void*>(data), size));
    kept.bytes.assign(static_cast<const char*>(data), std::min(size, kHeadBytes));
    return 0;
}

}  // namespace
}  // namespace fuzz

namespace tyk {

ParamSet* ParamSet::getInstance() {
    static ParamSet service;
    return &service;
}

ParamSet* ParamSet::createInstance() {
    return getInstance();
}

void ParamSet::getTagInfo(std::map<unsigned int, tag_info_t>& table) {
    for (const fuzz::Tag& tag : fuzz::kTags) table[tag.id].name = tag.name;
}

int ParamSet::getSize(unsigned int id) {
    const fuzz::Tag* const tag = fuzz::findTag(id);
    return tag ? tag->size : 0;
}

int ParamSet::getParam(unsigned int, int, unsigned int, unsigned int id, void* dst) {
    const fuzz::Tag* const tag = fuzz::carriedTag(id);
    if (!tag) return -1;
    if (tag->block) {
        std::memset(fuzz::gBlock, fuzz::device().fill, sizeof(fuzz::gBlock));
        const BlockParamDesc block{fuzz::gBlock, static_cast<uint32_t>(tag->size)};
        std::memcpy(dst, &block, sizeof(block));
    } else {
        std::memset(dst, fuzz::device().fill, static_cast<size_t>(tag->size));
        fuzz::noteWrite(dst, static_cast<size_t>(tag->size));
    }
    return 0;
}

int ParamSet::setParam(unsigned int camId, int pipe, unsigned int sofId, unsigned int tag,
                       void* data) {
    return fuzz::publish({camId, pipe, sofId, tag, false, {}, {}}, data);
}

BufferManager* BufferManager::createInstance() {
    static BufferManager pool;
    return &pool;
}

int BufferManager::getBuffer(buffer_usage_t usage, int width, int height, Buffer*& buffer,
                             bool flag) {
    FUZZ_EXPECT(usage == kReplayBufferUsage && !flag);
    auto& out = fuzz::device().out;
    if (!fuzz::poolOffers(width, height) || out.size() >= fuzz::device().poolLimit) return -1;
    const auto bytes = static_cast<size_t>(int64_t{width} * height * 3 / 2);
    auto made = std::make_unique<fuzz::PoolBuffer>();
    made->pixels.reset(new unsigned char[bytes]);
    made->image.data = made->pixels.get();
    made->buffer.image = &made->image;
    buffer = &made->buffer;
    out.push_back(std::move(made));
    return 0;
}

int BufferManager::returnBuffer(Buffer* buffer, buffer_usage_t usage, bool flag) {
    FUZZ_EXPECT(usage == kReplayBufferUsage && !flag);
    auto& out = fuzz::device().out;
    const auto found = std::find_if(out.begin(), out.end(),
                                    [buffer](const auto& held) { return &held->buffer == buffer; });
    FUZZ_EXPECT(found != out.end());
    out.erase(found);
    return 0;
}

}  // namespace tyk

void registerPsTag() {}

int setPsParam(unsigned int camId, int pipe, unsigned int sofId, unsigned int tag, void* data) {
    return fuzz::publish({camId, pipe, sofId, tag, true, {}, {}}, data);
}

int property_get(const char* key, char* value, const char* default_value) {
    const std::string& set = fuzz::device().mfnrVersion;
    const bool isSet = !set.empty() && std::strcmp(key, "persist.vendor.cam.mfnr.version") == 0;
    const std::string result = (isSet ? set.c_str() : default_value);
    const size_t length = result.copy(value, kPropertyValueSize - 1);
    value[length] = '\0';
    return static_cast<int>(length);
}

LogMessage::LogMessage(const char*, int) {}

LogMessage::~LogMessage() = default;

// Fetches what the format asks for and reads every string to its end.
void LogMessage::__print_log_(const char* format, int, const char* function, ...) {
    FUZZ_EXPECT(std::strncmp(format, "%d, %s: ", 8) == 0);
    va_list arguments;
    va_start(arguments, function);
    for (const char* at = std::strchr(format + 8, '%'); at; at = std::strchr(at + 2, '%')) {
        switch (at[1]) {
            case 'd':
            case 'u':
                static_cast<void>(va_arg(arguments, int));
                break;
            case 'f':
                static_cast<void>(va_arg(arguments, double));
                break;
            case 'p':
                static_cast<void>(va_arg(arguments, void*));
                break;
            default:
                FUZZ_EXPECT(at[1] == 's');
                FUZZ_EXPECT(std::strlen(va_arg(arguments, const char*)) < (64U << 20));
        }
    }
    va_end(arguments);
}

LogMessage _log(const char* tag, int level) {
    return LogMessage(tag, level);
}
