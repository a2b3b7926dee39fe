#include "core/TreeNames.h"

#include <climits>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <ctime>

namespace {

/// `value` in decimal, with zeros in front to at least `width` digits.
std::string padded(long value, size_t width) {
    const std::string digits = std::to_string(value);
    return std::string(width - std::min(width, digits.size()), '0') + digits;
}

/// The local time from the month to the millisecond (13 digits), with the year in front if
/// `withYear`. Fixed widths with the largest unit first make the names sort by time.
std::string stamp(const timeval& now, bool withYear) {
    std::tm local{};
    localtime_r(&now.tv_sec, &local);
    std::string text = withYear ? padded(local.tm_year + 1900 + kStampYearsAhead, 4) : "";
    for (const int field :
         {local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec}) {
        text += padded(field, 2);
    }
    return text + padded(static_cast<long>(now.tv_usec) / 1000, 3);
}

/// Appends pieces to a ParamFilePath, cut to its length.
class PathWriter {
public:
    explicit PathWriter(ParamFilePath& path) : at_(path.data()), end_(&path.back()) {}
    PathWriter(const PathWriter&) = delete;
    PathWriter& operator=(const PathWriter&) = delete;
    ~PathWriter() { *at_ = '\0'; }

    PathWriter& add(std::string_view text) {
        const auto room = static_cast<size_t>(end_ - at_);
        at_ = std::copy_n(text.data(), std::min(text.size(), room), at_);
        return *this;
    }

    PathWriter& add(int number) {
        char digits[12];
        const char* const end = std::to_chars(digits, digits + sizeof(digits), number).ptr;
        return add({digits, static_cast<size_t>(end - digits)});
    }

private:
    char* at_;
    char* end_;
};

/// The pieces that the first five underscores of a name close, and what follows them.
struct Pieces {
    std::string_view piece[5];
    std::string_view rest;
};

bool splitAtFiveUnderscores(std::string_view name, Pieces& out) {
    for (std::string_view& piece : out.piece) {
        const size_t end = name.find('_');
        if (end == std::string_view::npos) return false;
        piece = name.substr(0, end);
        name.remove_prefix(end + 1);
    }
    out.rest = name;
    return true;
}

}  // namespace

std::string pipeFolderPath(const char* root, int pipeId) {
    return root + ("/pipe_" + std::to_string(pipeId));
}

std::string configFilePath(const char* root, int pipeId) {
    return root + ("/pipe" + std::to_string(pipeId)) + "_dumpConfig.xml";
}

std::string taskFolderPath(const std::string& pipeFolder, const timeval& now, int taskIndex) {
    return pipeFolder + "/" + stamp(now, true) + "_task_" + std::to_string(taskIndex);
}

std::string frameFolderPath(const std::string& taskFolder, const timeval& now, int reqId,
                            int sofId) {
    return taskFolder + "/" + stamp(now, false) + "_reqID_" + std::to_string(reqId) + "_sofID_" +
           std::to_string(sofId);
}

std::string imageFilePath(const std::string& frameFolder, int sofId, int camId, int width,
                          int height) {
    return frameFolder + "/FCWH_" + std::to_string(sofId) + "_" + std::to_string(camId) + "_" +
           std::to_string(width) + "_" + std::to_string(height) + "_nv21.yuv";
}

void makeParamFilePath(ParamFilePath& path, std::string_view frameFolder, int sofId, int camId,
                       int pipe, int dumpType, std::string_view tagName) {
    PathWriter writer(path);
    writer.add(frameFolder).add("/FCPDT_").add(sofId).add("_").add(camId).add("_").add(pipe);
    writer.add("_").add(dumpType).add("_").add(tagName).add(".bin");
}

bool readParamFileName(std::string_view name, ParamFileName& out) {
    Pieces pieces;
    if (name.substr(0, kParamFileStart.size()) != kParamFileStart ||
        !splitAtFiveUnderscores(name, pieces))
        return false;
    const size_t dot = pieces.rest.find('.');
    if (dot == std::string_view::npos) return false;
    out.sofId = readNumber(pieces.piece[1]);
    out.camId = readNumber(pieces.piece[2]);
    out.pipe = readNumber(pieces.piece[3]);
    out.dumpType = readNumber(pieces.piece[4]);
    out.tagName = pieces.rest.substr(0, dot);
    return true;
}

bool readImageFileName(std::string_view name, ImageFileName& out) {
    Pieces pieces;
    if (name.size() < 4 || name.substr(name.size() - 4) != ".yuv") return false;
    if (!splitAtFiveUnderscores(name, pieces)) return false;
    out.sofId = readNumber(pieces.piece[1]);
    out.camId = readNumber(pieces.piece[2]);
    out.width = readNumber(pieces.piece[3]);
    out.height = readNumber(pieces.piece[4]);
    return true;
}

int readNumber(std::string_view text) {
    size_t at = 0;
    while (at < text.size() && (text[at] == ' ' || (text[at] >= '\t' && text[at] <= '\r'))) ++at;
    const bool negative = at < text.size() && text[at] == '-';
    if (negative || (at < text.size() && text[at] == '+')) ++at;
    int64_t value = 0;
    for (; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at) {
        value = std::min<int64_t>(value * 10 + (text[at] - '0'), int64_t{INT_MAX} + 1);
    }
    if (negative) value = -value;
    return static_cast<int>(std::min<int64_t>(value, INT_MAX));
}

int nv21Bytes(int width, int height) {
    const auto product = static_cast<uint32_t>(width) * static_cast<uint32_t>(height) * 3U;
    return static_cast<int32_t>(product) / 2;
}
