#include "host/Properties.h"

#include "host/NoDestructor.h"
#include "platform/Properties.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <map>
#include <mutex>

namespace {

using tykhost::NoDestructor;

constexpr size_t kMaxLength = kPropertyValueSize - 1;

std::mutex propertiesMutex;

std::map<std::string, std::string>& properties() {
    static NoDestructor<std::map<std::string, std::string>> values;
    return *values;
}

// Stores the text in a property buffer, cut at the system's limit; returns its length. The text may
// be the buffer itself.
int store(const char* text, char* value) {
    const size_t length = strnlen(text, kMaxLength);
    std::memmove(value, text, length);
    value[length] = '\0';
    return static_cast<int>(length);
}

const char* environmentValue(const std::string& name) {
    std::string variable = "TYKSIM_PROPERTY_" + name;
    std::replace_if(
        variable.begin(), variable.end(), [](char c) { return c == '.' || c == '-'; }, '_');
    return std::getenv(variable.c_str());
}

// Stores the property's value if it has one; returns its length, or 0.
int find(const std::string& name, char* value) {
    {
        const std::lock_guard<std::mutex> lock(propertiesMutex);
        const auto found = properties().find(name);
        if (found != properties().end()) return store(found->second.c_str(), value);
    }
    const char* text = environmentValue(name);
    return text != nullptr && *text != '\0' ? store(text, value) : 0;
}

}  // namespace

namespace tykhost {

void setProperty(const std::string& name, const std::string& value) {
    const std::lock_guard<std::mutex> lock(propertiesMutex);
    properties()[name] = value.substr(0, kMaxLength);
}

void clearProperties() {
    const std::lock_guard<std::mutex> lock(propertiesMutex);
    properties().clear();
}

}  // namespace tykhost

extern "C" int property_get(const char* key, char* value, const char* default_value) {
    char found[kPropertyValueSize] = "";
    try {
        if (key != nullptr && find(key, found) > 0) return store(found, value);
    } catch (const std::exception&) {
        // Without memory to look the property up, the default is the answer.
    }
    return store(default_value != nullptr ? default_value : "", value);
}
