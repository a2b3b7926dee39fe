// The platform (log, properties, parameter-set service and buffer pool) and memory.
#include "platform/Log.h"
#include "platform/Properties.h"
#include "tests/support/FakeDevice.h"

#include <pugixml.hpp>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <locale.h>  // NOLINT(modernize-deprecated-headers): newlocale() is not in <clocale>
#include <malloc.h>
#include <new>

extern "C" {
[[gnu::weak]] void __lsan_do_leak_check();
[[gnu::weak]] void* __asan_region_is_poisoned(void* begin, size_t size);
[[gnu::weak]] void __asan_poison_memory_region(const volatile void* begin, size_t size);
[[gnu::weak]] void __asan_unpoison_memory_region(const volatile void* begin, size_t size);
void* __real_malloc(size_t size);
void* __real_calloc(size_t count, size_t size);
void __real_free(void* memory);
locale_t __real_newlocale(int mask, const char* name, locale_t base);

/// Freed memory is quarantined for some runs and not for thousands, which keeps the cache
/// effective. The operators below coexist with the sanitizer's own for arrays.
const char* __asan_default_options() {
    return "quarantine_size_mb=4:malloc_context_size=4:alloc_dealloc_mismatch=0";
}
}

namespace fake {

const std::vector<Tag> kTags = {
    {100, "FIX_16", 16, false},
    {101, "FIX_0", 0, false},
    {102, "FIX_LARGEST", 512000, false},
    {103, "FIX_TOO_LARGE", 512001, false},
    {104, "FIX_NEGATIVE", -4, false},
    {105, "BLOCK_40", 40, true},
    {106, "BLOCK_a_b", 9, true},
    {107, "FIX_9000", 9000, false},
    {108, "BLOCK_7777", 7777, true},
    {109, "BLOCK_7778", 7778, true},
    {2118, "KELV_TAG_ISCENE_INFO", 8512, false},
    {8198, "BYTE", 1, false},
    {8208, "PAIR", 8, false},
    {65622, "MFNR_NAMES", 4096, false},
};

long liveAllocations = 0;

const Tag* findTag(uint32_t id) {
    const auto found =
        std::find_if(kTags.begin(), kTags.end(), [id](const Tag& tag) { return tag.id == id; });
    return found == kTags.end() ? nullptr : &*found;
}

File valueOf(const Tag& tag, uint32_t sofId) {
    if (tag.id == 65622) return {kTuning.substr(kTuning.rfind('/') + 1).append(4096, '\0'), 4096};
    File value;
    value.size = tag.size;
    value.bytes.resize(static_cast<size_t>(std::clamp(tag.size, 0, 4093)));
    uint32_t i = sofId * 13 + tag.id;
    for (char& byte : value.bytes) byte = static_cast<char>(++i * 7 % 0x3f + 1);
    return value;
}

void fail(const char* condition, const char* file, int line) {
    std::fprintf(stderr, "%s:%d: does not hold: %s\n", file, line, condition);
    std::abort();
}

bool poolOffers(int width, int height) {
    return width >= 0 && height >= 0 && int64_t{width} * height <= (1 << 20) * 2 / 3;
}

void checkLeaks() {
    if (&__lsan_do_leak_check) __lsan_do_leak_check();
}

bool isPoisoned(const void* data, size_t size) {
    return &__asan_region_is_poisoned && __asan_region_is_poisoned(const_cast<void*>(data), size);
}

namespace {

/// Only this much of a value is kept, but all of it is tested for validity.
constexpr size_t kHeadBytes = 8512;

/// The storage of blocks, two at a time.
unsigned char gBlocks[2][8000];

const Tag* carriedTag(uint32_t id) {
    const Tag* const tag = findTag(id);
    return tag && (tag->block || (tag->size >= 0 && tag->size <= 512000)) ? tag : nullptr;
}

int publish(Published call, const void* data) {
    const Outside outside;
    if (device().service == Service::throws) throw 5;
    const Tag* const tag = carriedTag(call.tag);
    if (tag && tag->block) {
        std::memcpy(&call.block, data, sizeof(call.block));
    } else if (tag) {
        const auto size = static_cast<size_t>(tag->size);
        FAKE_EXPECT(!isPoisoned(data, size));
        call.bytes.assign(static_cast<const char*>(data), std::min(size, kHeadBytes));
    }
    device().published.push_back(std::move(call));
    return tag ? 0 : -1;
}

/// The library's scratch buffer, zero for each frame. Under a sanitizer an allocation of that size
/// costs more than the rest of a run, so one block is reused: it is poisoned while it is free, and
/// only the bytes written through the device are cleared.
constexpr size_t kScratchBytes = 512000;
constexpr size_t kClearedBytes = 4096;  // always, because the library itself writes there
char* gScratch = nullptr;
bool gLent = false;
size_t gWritten = kClearedBytes;

void* lendScratch() {
    gLent = true;
    if (!gScratch) gScratch = static_cast<char*>(__real_calloc(1, kScratchBytes));
    __asan_unpoison_memory_region(gScratch, kScratchBytes);
    std::memset(gScratch, 0, gWritten);
    gWritten = kClearedBytes;
    return gScratch;
}

constexpr size_t kLargestAllocation = 1 << 30;

/// Overwrites new and freed memory, so that its use shows as with a sanitizer.
void* spoil(void* memory) {
    if (!memory || &__asan_region_is_poisoned) return memory;
    return std::memset(memory, 0xdd, std::min(malloc_usable_size(memory), kClearedBytes));
}

}  // namespace

void noteWrite(const void* data, size_t size) {
    const auto offset = reinterpret_cast<uintptr_t>(data) - reinterpret_cast<uintptr_t>(gScratch);
    if (offset < kScratchBytes) gWritten = std::max(gWritten, offset + size);
}

}  // namespace fake

using namespace fake;

extern "C" {

void* __wrap_malloc(size_t size) {
    const bool isRefused = size > kLargestAllocation || fails(Call::allocate, "", size);
    void* const memory = isRefused ? nullptr : __real_malloc(size);
    liveAllocations += memory ? 1 : 0;
    return spoil(memory);
}

void* __wrap_calloc(size_t count, size_t size) {
    if (fails(Call::allocate, "", count * size)) return nullptr;
    if (&__asan_unpoison_memory_region && count * size == kScratchBytes && !gLent) {
        return lendScratch();
    }
    void* const memory = __real_calloc(count, size);
    liveAllocations += memory ? 1 : 0;
    return memory;
}

void __wrap_free(void* memory) {
    if (memory && memory == gScratch) {
        FAKE_EXPECT(gLent);
        gLent = false;
        __asan_poison_memory_region(gScratch, kScratchBytes);
        return;
    }
    liveAllocations -= memory ? 1 : 0;
    __real_free(spoil(memory));
}

locale_t __wrap_newlocale(int mask, const char* name, locale_t base) {
    return fails(Call::allocate, "") ? nullptr : __real_newlocale(mask, name, base);
}

}  // extern "C"

void* operator new(size_t size) {
    void* const memory = __wrap_malloc(size);
    if (!memory) throw std::bad_alloc();
    return memory;
}
void operator delete(void* memory) noexcept {
    __wrap_free(memory);
}
void operator delete(void* memory, size_t) noexcept {
    __wrap_free(memory);
}

namespace {
// The linker does not redirect the XML library's calls.
const bool gXmlMemory = (pugi::set_memory_management_functions(__wrap_malloc, __wrap_free), true);
}  // namespace

namespace tyk {

ParamSet* ParamSet::getInstance() {
    static ParamSet service;
    return &service;
}

ParamSet* ParamSet::createInstance() {
    return getInstance();
}

void ParamSet::getTagInfo(std::map<unsigned int, tag_info_t>& table) {
    const Outside outside;
    for (const Tag& tag : kTags) table[tag.id].name = tag.name;
}

int ParamSet::getSize(unsigned int id) {
    const Tag* const tag = findTag(id);
    return tag ? tag->size : 0;
}

int ParamSet::getParam(unsigned int, int, unsigned int sofId, unsigned int id, void* dst) {
    const Outside outside;
    if (device().service == Service::throws) throw 5;
    const Tag* const tag = carriedTag(id);
    if (!tag || device().service == Service::refuses) return -1;
    const auto size = static_cast<size_t>(tag->size);
    unsigned char* const block = gBlocks[id % 2];
    valueOf(*tag, sofId).copy(0, tag->block ? block : dst, size);
    const BlockParamDesc desc{block, static_cast<uint32_t>(tag->size)};
    if (tag->block) std::memcpy(dst, &desc, sizeof(desc));
    noteWrite(dst, tag->block ? sizeof(desc) : size);
    return 0;
}

int ParamSet::setParam(unsigned int camId, int pipe, unsigned int sofId, unsigned int tag,
                       void* data) {
    return publish({camId, pipe, sofId, tag, false, {}, {}}, data);
}

BufferManager* BufferManager::createInstance() {
    static BufferManager pool;
    return &pool;
}

int BufferManager::getBuffer(buffer_usage_t usage, int width, int height, Buffer*& buffer,
                             bool flag) {
    FAKE_EXPECT(usage == kReplayBufferUsage && !flag);
    const Outside outside;
    auto& out = device().out;
    device().asked = &buffer;
    if (!poolOffers(width, height) || out.size() >= device().poolLimit) return -1;
    const auto bytes = static_cast<size_t>(int64_t{width} * height * 3 / 2);
    auto made = std::make_shared<PoolBuffer>();
    made->pixels.reset(new unsigned char[bytes]);
    made->image.data = made->pixels.get();
    made->buffer.image = &made->image;
    buffer = &made->buffer;
    out.push_back(std::move(made));
    return 0;
}

int BufferManager::returnBuffer(Buffer* buffer, buffer_usage_t usage, bool flag) {
    FAKE_EXPECT(usage == kReplayBufferUsage && !flag);
    auto& out = device().out;
    const auto found = std::find_if(out.begin(), out.end(),
                                    [buffer](const auto& held) { return &held->buffer == buffer; });
    FAKE_EXPECT(found != out.end());
    out.erase(found);
    return 0;
}

}  // namespace tyk

void registerPsTag() {}

int setPsParam(unsigned int camId, int pipe, unsigned int sofId, unsigned int tag, void* data) {
    return publish({camId, pipe, sofId, tag, true, {}, {}}, data);
}

int property_get(const char* key, char* value, const char* default_value) {
    const Outside outside;
    const auto found = device().properties.find(key);
    const bool isSet = found != device().properties.end();
    return std::snprintf(value, kPropertyValueSize, "%s",
                         isSet ? found->second.c_str() : default_value);
}

static int gLevel = 0;

LogMessage::LogMessage(const char*, int level) {
    gLevel = level;
}

LogMessage::~LogMessage() = default;

// Keeps failures; formats other lines too, which reads every string to its end.
void LogMessage::__print_log_(const char* format, int, const char* function, ...) {
    FAKE_EXPECT(std::strncmp(format, "%d, %s: ", 8) == 0);
    const Outside outside;
    if (gLevel == 1 && device().logThrows) throw 5;
    format += 8;
    va_list arguments;
    va_start(arguments, function);
    if (gLevel == 1 || device().story) {
        char text[512];
        const auto print = &std::vsnprintf;  // the format is not a literal
        print(text, sizeof(text), format, arguments);
        if (gLevel == 1) device().failures.emplace_back(text);
        const std::string head = std::to_string(gLevel) + " " + function + ": ";
        if (device().story) device().story->push_back(head + text);
    } else {
        for (; (format = std::strchr(format, '%')); format += 2) {
            if (format[1] == 's') {
                FAKE_EXPECT(std::strlen(va_arg(arguments, const char*)) < (64U << 20));
            } else if (format[1] == 'f') {
                static_cast<void>(va_arg(arguments, double));
            } else if (format[1] == 'p') {
                static_cast<void>(va_arg(arguments, void*));
            } else {
                FAKE_EXPECT(format[1] == 'd' || format[1] == 'u');
                static_cast<void>(va_arg(arguments, int));
            }
        }
    }
    va_end(arguments);
}

LogMessage _log(const char* tag, int level) {
    return {tag, level};
}
