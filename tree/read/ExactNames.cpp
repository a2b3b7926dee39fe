// Reads a name's numbers as a replay does, makes the name of these numbers, and compares.
#include "tree/read/ExactNames.h"

#include "core/TreeNames.h"

#include <string>

namespace tyktree {

namespace {

/// Whether `path`, made with an empty folder name, has the name `name`.
bool isPathOf(std::string_view name, std::string_view path) {
    return path.substr(1) == name;
}

/// The number after the `count`-th underscore of a name.
int numberBehind(int count, std::string_view name) {
    for (; count > 0; --count) {
        const size_t at = name.find('_');
        name = at == std::string_view::npos ? "" : name.substr(at + 1);
    }
    return readNumber(name);
}

/// Whether `path`, made with an empty folder name, has the name `name` apart from the time in its
/// stamp. Stores that time in `out`.
bool readStamp(std::string_view name, std::string_view path, Stamp& out) {
    path.remove_prefix(1);
    const size_t length = path.find('_');
    if (name.find_first_not_of("0123456789") != length) return false;
    if (name.substr(length) != path.substr(length)) return false;
    const auto cut = [&name](size_t width) {
        const int number = readNumber(name.substr(0, width));
        name.remove_prefix(width);
        return number;
    };
    constexpr size_t kDigitsFromTheMonth = 13;
    out.year = length > kDigitsFromTheMonth ? cut(4) - kStampYearsAhead : 0;
    for (int* const field : {&out.month, &out.day, &out.hour, &out.minute, &out.second}) {
        *field = cut(2);
    }
    out.millisecond = cut(3);
    return true;
}

template <typename Value>
bool store(bool isRead, const Value& value, Value& out) {
    if (isRead) out = value;
    return isRead;
}

}  // namespace

bool readPipeFolderName(std::string_view name, int& pipeId) {
    const int number = numberBehind(1, name);
    return store(isPathOf(name, pipeFolderPath("", number)), number, pipeId);
}

bool readConfigFileName(std::string_view name, int& pipeId) {
    const size_t at = name.find_first_of("-0123456789");
    const int number = at == std::string_view::npos ? 0 : readNumber(name.substr(at));
    return store(isPathOf(name, configFilePath("", number)), number, pipeId);
}

bool readTaskFolderName(std::string_view name, TaskFolderName& out) {
    TaskFolderName read{{}, numberBehind(2, name)};
    const std::string path = taskFolderPath("", {}, read.taskIndex);
    return store(readStamp(name, path, read.stamp), read, out);
}

bool readFrameFolderName(std::string_view name, FrameFolderName& out) {
    FrameFolderName read{{}, numberBehind(2, name), numberBehind(4, name)};
    const std::string path = frameFolderPath("", {}, read.requestId, read.sofId);
    return store(readStamp(name, path, read.stamp), read, out);
}

bool namesNv21(std::string_view name) {
    ImageFileName read{};
    return readImageFileName(name, read) &&
           isPathOf(name, imageFilePath("", read.sofId, read.camId, read.width, read.height));
}

}  // namespace tyktree
