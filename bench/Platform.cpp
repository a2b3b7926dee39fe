#include "bench/Platform.h"

#include "platform/BufferManager.h"
#include "platform/Log.h"
#include "platform/ParamSet.h"
#include "platform/Properties.h"

#include <cstring>

namespace {

Tag& tagOf(unsigned int id) {
    return framework().tags[id - kFirstTag];
}

}  // namespace

Framework& framework() {
    static Framework instance;
    return instance;
}

LogMessage::LogMessage(const char*, int) {}
LogMessage::~LogMessage() {}
void LogMessage::__print_log_(const char*, int, const char*, ...) {}

LogMessage _log(const char* tag, int level) {
    return {tag, level};
}

/// Every frame is wanted.
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
    for (const Tag& tag : framework().tags) table[id++].name = tag.name;
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
    image.data = framework().pixels.data();
    buffer = &only;
    return 0;
}

int BufferManager::returnBuffer(Buffer*, buffer_usage_t, bool) {
    return 0;
}

}  // namespace tyk
