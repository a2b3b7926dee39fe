// The benchmark's camera framework. Every call does only what its contract requires, so that the
// benchmark measures the library and the file system.
#include "bench/Frame.h"
#include "platform/BufferManager.h"
#include "platform/Log.h"
#include "platform/ParamSet.h"
#include "platform/Properties.h"

#include <cstring>

namespace {

Tag& tagOf(unsigned int id) {
    return Frame::newest->tags[id - kFirstTag];
}

}  // namespace

LogMessage::LogMessage(const char*, int) {}
LogMessage::~LogMessage() = default;
void LogMessage::__print_log_(const char*, int, const char*, ...) {}

LogMessage _log(const char* tag, int level) {
    return {tag, level};
}

/// Asks for every frame.
int property_get(const char*, char* value, const char*) {
    std::strcpy(value, "1");
    return 1;
}

void registerPsTag() {}

int setPsParam(unsigned int camId, int pipe, unsigned int sofId, unsigned int tag, void* data) {
    return tyk::ParamSet::setParam(camId, pipe, sofId, tag, data);
}

namespace tyk {

ParamSet* ParamSet::getInstance() {
    static ParamSet instance;
    return &instance;
}

ParamSet* ParamSet::createInstance() {
    return getInstance();
}

void ParamSet::getTagInfo(std::map<unsigned int, tag_info_t>& table) {
    table.clear();
    unsigned int id = kFirstTag;
    for (const Tag& tag : Frame::newest->tags) table[id++].name = tag.name;
}

int ParamSet::getSize(unsigned int tag) {
    return static_cast<int>(tagOf(tag).value.size());
}

int ParamSet::getParam(unsigned int, int, unsigned int, unsigned int id, void* dst) {
    Tag& tag = tagOf(id);
    if (tag.isBlock) {
        *static_cast<BlockParamDesc*>(dst) = {tag.value.data(),
                                              static_cast<uint32_t>(tag.value.size())};
    } else {
        std::memcpy(dst, tag.value.data(), tag.value.size());
    }
    return 0;
}

int ParamSet::setParam(unsigned int, int, unsigned int, unsigned int id, void* data) {
    Tag& tag = tagOf(id);
    if (tag.isBlock) {
        tag.publishedBlock = *static_cast<const BlockParamDesc*>(data);
    } else {
        std::memcpy(tag.published.data(), data, tag.published.size());
    }
    return 0;
}

BufferManager* BufferManager::createInstance() {
    static BufferManager instance;
    return &instance;
}

int BufferManager::getBuffer(buffer_usage_t, int, int, Buffer*& buffer, bool) {
    static ImageDescriptor image;
    static Buffer only{&image};
    image.data = Frame::newest->pixels.data();
    buffer = &only;
    return 0;
}

int BufferManager::returnBuffer(Buffer*, buffer_usage_t, bool) {
    return 0;
}

}  // namespace tyk
