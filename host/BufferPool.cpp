#include "host/BufferPool.h"

#include "host/ImageBytes.h"
#include "host/NoDestructor.h"

#include <cstdlib>
#include <exception>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <utility>

namespace tykhost {
namespace {

constexpr size_t kInitialMaxBufferBytes = size_t{1} << 30;

struct FreePixels {
    void operator()(void* pixels) const { std::free(pixels); }
};

struct Entry {
    tyk::ImageDescriptor descriptor{};
    tyk::Buffer buffer{};
    std::unique_ptr<void, FreePixels> pixels;
    size_t capacity = 0;
    uint64_t turn = 0;  // the position in the order of hand-outs; 0 while the buffer is idle
};

class Pool {
public:
    // A buffer for the request, or null when a limit forbids it. Errors: std::bad_alloc.
    tyk::Buffer* get(int width, int height);
    bool put(const tyk::Buffer* buffer);
    void countRefusedGet() { ++counts_.refusedGet; }

    BufferPoolCounts counts() const;
    std::vector<tyk::Buffer*> out() const;
    size_t capacity(const tyk::Buffer* buffer) const;

    size_t maxBufferBytes = kInitialMaxBufferBytes;
    size_t maxBuffersOut = SIZE_MAX;

private:
    // Sorts idle buffers by capacity and buffers that are out by turn. Both use one type, so that
    // an entry's node moves from one to the other: returning a buffer needs no memory and cannot
    // fail.
    using Ranking = std::multimap<uint64_t, Entry*>;

    Ranking::node_type allocate(size_t bytes);

    std::map<const tyk::Buffer*, std::unique_ptr<Entry>> entries_;
    Ranking idle_;
    Ranking out_;
    BufferPoolCounts counts_{};
};

Pool::Ranking::node_type Pool::allocate(size_t bytes) {
    auto made = std::make_unique<Entry>();
    made->pixels.reset(std::calloc(bytes, 1));
    if (!made->pixels) throw std::bad_alloc();
    made->capacity = bytes;
    made->buffer.image = &made->descriptor;
    Entry* entry = made.get();

    Ranking ranking;
    const auto position = ranking.emplace(bytes, entry);
    entries_.emplace(&entry->buffer, std::move(made));
    ++counts_.allocated;
    return ranking.extract(position);
}

tyk::Buffer* Pool::get(int width, int height) {
    if (width < 0 || height < 0 || out_.size() >= maxBuffersOut) return nullptr;
    const uint64_t bytes = nv21FullBytes(width, height);
    if (bytes > maxBufferBytes) return nullptr;

    const auto fitting = idle_.lower_bound(bytes);
    // Even an empty image needs an address for its pixels.
    auto node = fitting != idle_.end() ? idle_.extract(fitting) : allocate(bytes > 0 ? bytes : 1);
    Entry& entry = *node.mapped();
    entry.descriptor = {entry.pixels.get(), 0, width, height, 0, 0};
    entry.buffer.image = &entry.descriptor;
    entry.turn = ++counts_.handedOut;
    node.key() = entry.turn;
    out_.insert(std::move(node));
    return &entry.buffer;
}

bool Pool::put(const tyk::Buffer* buffer) {
    const auto found = entries_.find(buffer);
    if (found == entries_.end() || found->second->turn == 0) {
        ++counts_.refusedReturn;
        return false;
    }
    Entry& entry = *found->second;
    auto node = out_.extract(entry.turn);
    entry.turn = 0;
    node.key() = entry.capacity;
    idle_.insert(std::move(node));
    ++counts_.returned;
    return true;
}

BufferPoolCounts Pool::counts() const {
    BufferPoolCounts counts = counts_;
    counts.out = out_.size();
    counts.idle = idle_.size();
    return counts;
}

std::vector<tyk::Buffer*> Pool::out() const {
    std::vector<tyk::Buffer*> buffers;
    buffers.reserve(out_.size());
    for (const auto& [turn, entry] : out_) buffers.push_back(&entry->buffer);
    return buffers;
}

size_t Pool::capacity(const tyk::Buffer* buffer) const {
    const auto found = entries_.find(buffer);
    return found != entries_.end() ? found->second->capacity : 0;
}

std::mutex poolMutex;

// The process's pool. A static object's destructor may still return a buffer to it.
Pool& pool() {
    static NoDestructor<Pool> instance;
    return *instance;
}

}  // namespace

BufferPoolCounts bufferPoolCounts() {
    const std::lock_guard<std::mutex> lock(poolMutex);
    return pool().counts();
}

std::vector<tyk::Buffer*> buffersOut() {
    const std::lock_guard<std::mutex> lock(poolMutex);
    return pool().out();
}

size_t bufferCapacity(const tyk::Buffer* buffer) {
    const std::lock_guard<std::mutex> lock(poolMutex);
    return pool().capacity(buffer);
}

void setMaxBufferBytes(size_t bytes) {
    const std::lock_guard<std::mutex> lock(poolMutex);
    pool().maxBufferBytes = bytes;
}

void setMaxBuffersOut(size_t buffers) {
    const std::lock_guard<std::mutex> lock(poolMutex);
    pool().maxBuffersOut = buffers;
}

void resetBufferPool() {
    const std::lock_guard<std::mutex> lock(poolMutex);
    pool() = Pool();
}

}  // namespace tykhost

namespace tyk {

BufferManager* BufferManager::createInstance() {
    // The handle has no state, so one serves all callers.
    static BufferManager handle;
    return &handle;
}

int BufferManager::getBuffer(buffer_usage_t, int width, int height, Buffer*& buffer, bool) {
    const std::lock_guard<std::mutex> lock(tykhost::poolMutex);
    tykhost::Pool& pool = tykhost::pool();
    Buffer* taken = nullptr;
    try {
        taken = pool.get(width, height);
    } catch (const std::exception&) {
        // Lack of memory is a refusal like any other.
    }
    if (taken == nullptr) {
        pool.countRefusedGet();
        return -1;
    }
    buffer = taken;
    return 0;
}

int BufferManager::returnBuffer(Buffer* buffer, buffer_usage_t, bool) {
    const std::lock_guard<std::mutex> lock(tykhost::poolMutex);
    return tykhost::pool().put(buffer) ? 0 : -1;
}

}  // namespace tyk
