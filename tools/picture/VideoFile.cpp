#include "tools/picture/VideoFile.h"

#include "tools/console/Console.h"

#include <charconv>
#include <fmt/format.h>
#include <utility>

namespace tyksim {

namespace {

constexpr unsigned kMostRate = 1000000;

/// Reads digits from the front of `text`; returns false if there are none or too many.
bool takeNumber(std::string_view& text, unsigned& number) {
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || number > kMostRate) return false;
    text.remove_prefix(static_cast<size_t>(stop - text.data()));
    return true;
}

/// Adds decimals to a fraction: after 29, "97" gives 2997 of 100.
bool takeDecimals(std::string_view& text, unsigned& top, unsigned& bottom) {
    const size_t digits = text.size();
    unsigned decimals = 0;
    if (digits > 3 || !takeNumber(text, decimals)) return false;
    for (size_t i = 0; i < digits; ++i) bottom *= 10;
    top = top * bottom + decimals;
    return true;
}

}  // namespace

std::string rateOf(const std::string& given) {
    std::string_view rest = given;
    unsigned top = 0;
    unsigned bottom = 1;
    bool good = takeNumber(rest, top);
    if (good && !rest.empty()) {
        const char sign = rest.front();
        rest.remove_prefix(1);
        good = (sign == '/' || sign == ':') ? takeNumber(rest, bottom)
                                            : sign == '.' && takeDecimals(rest, top, bottom);
    }
    if (!good || !rest.empty() || top == 0 || bottom == 0) {
        throw WrongUsage(
            fmt::format("--fps: expected a rate such as 30, 29.97 or 30000/1001, found {}", given));
    }
    return fmt::format("{}:{}", top, bottom);
}

VideoFile::VideoFile(const OutputRequest& output, std::string rate, const PictureStyle& style)
    : file_(output), rate_(std::move(rate)), style_(style) {}

bool VideoFile::add(std::string_view frame, const PictureSize& size) {
    if (!size_) {
        size_ = size;
        file_.write(
            y4mHeader(size.width, size.height, rate_, style_.rule.range, style_.plane != 0));
    }
    if (size.width != size_->width || size.height != size_->height) return false;
    file_.write(frame);
    return true;
}

}  // namespace tyksim
