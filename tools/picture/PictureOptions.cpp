#include "tools/picture/PictureOptions.h"

#include "tags/Digits.h"
#include "tools/console/Console.h"
#include "tools/console/OptionChecks.h"
#include "tools/json/Json.h"

#include <array>
#include <fmt/format.h>
#include <vector>

namespace tyksim {

namespace {

/// A word of the command line and its value.
template <typename Value>
struct Word {
    const char* word;
    Value value;
};

constexpr std::array<Word<PictureFormat>, 4> kFormats = {{{"jpeg", PictureFormat::kJpeg},
                                                          {"png", PictureFormat::kPng},
                                                          {"rgb", PictureFormat::kRgb},
                                                          {"nv21", PictureFormat::kNv21}}};
constexpr std::array<Word<ChromaOrder>, 2> kOrders = {
    {{"nv21", ChromaOrder::kNv21}, {"nv12", ChromaOrder::kNv12}}};
constexpr std::array<Word<ColourMatrix>, 2> kMatrices = {
    {{"bt601", ColourMatrix::kBt601}, {"bt709", ColourMatrix::kBt709}}};
constexpr std::array<Word<SampleRange>, 2> kRanges = {
    {{"full", SampleRange::kFull}, {"limited", SampleRange::kLimited}}};
constexpr std::array<Word<PlaneId>, 3> kPlanes = {
    {{"y", PlaneId::kY}, {"u", PlaneId::kU}, {"v", PlaneId::kV}}};
constexpr std::array<Word<int>, 4> kTurns = {{{"0", 0}, {"90", 90}, {"180", 180}, {"270", 270}}};

template <typename Value, size_t kCount>
const char* wordOf(const std::array<Word<Value>, kCount>& words, Value value) {
    for (const Word<Value>& word : words) {
        if (word.value == value) return word.word;
    }
    return "";
}

/// Adds an option that takes one of the words. `value` is a Value or an optional one.
template <typename Value, size_t kCount, typename Taker>
Option addChoice(VerbOptions& verb, const char* name, const char* help,
                 const std::array<Word<Value>, kCount>& words, Taker& value) {
    std::vector<std::string> allowed;
    allowed.reserve(words.size());
    for (const Word<Value>& word : words) allowed.emplace_back(word.word);
    return verb
        .optionFunction(
            name,
            [&words, &value](const std::string& given) {
                for (const Word<Value>& word : words) {
                    if (given == word.word) value = word.value;
                }
            },
            help)
        .takes(oneOf(std::move(allowed)));
}

/// The same, with the present value as the default.
template <typename Value, size_t kCount>
Option addWords(VerbOptions& verb, const char* name, const char* help,
                const std::array<Word<Value>, kCount>& words, Value& value) {
    const char* const initial = wordOf(words, value);
    return addChoice(verb, name, help, words, value).defaultText(initial);
}

constexpr int kMostDivisor = 1024;

/// The divisor in a text such as "1/4", or 0 for any other text.
int divisorOf(const std::string& given) {
    constexpr std::string_view start = "1/";
    if (given.compare(0, start.size(), start) != 0) return 0;
    const auto divisor = tyktags::parseDigits<int>(given.substr(start.size()));
    return divisor && *divisor <= kMostDivisor ? *divisor : 0;
}

/// The check of --scale.
ValueCheck reduction() {
    return {[](std::string& given) {
                if (divisorOf(given) >= 1) return std::string();
                return fmt::format("expected 1/1 to 1/{}, found {}", kMostDivisor, given);
            },
            ValueCheck::Shown::kNothing, ""};
}

}  // namespace

PictureLayout AssumedPicture::layoutOf(const ImageFileName& name) const {
    if (stride > 0 && stride < name.width) {
        throw WrongUsage(fmt::format("--stride: expected at least the {} bytes of a row, found {}",
                                     name.width, stride));
    }
    return {name.width, name.height, stride, order};
}

bool AssumedPicture::isUsual() const {
    return order == ChromaOrder::kNv21 && stride == 0 && rule.isJpegs();
}

std::string AssumedPicture::toText() const {
    const std::string gaps =
        stride > 0 ? fmt::format("rows {} bytes apart", stride) : std::string("rows without gaps");
    return fmt::format("assumed: {}, {}, {} range, {}",
                       order == ChromaOrder::kNv21 ? "NV21" : "NV12",
                       rule.matrix == ColourMatrix::kBt601 ? "BT.601" : "BT.709",
                       wordOf(kRanges, rule.range), gaps);
}

Json AssumedPicture::toJson() const {
    return {{"order", wordOf(kOrders, order)},
            {"matrix", wordOf(kMatrices, rule.matrix)},
            {"range", wordOf(kRanges, rule.range)},
            {"stride", stride > 0 ? Json(stride) : Json()}};
}

void addImageLayout(VerbOptions& verb, AssumedPicture& assumed) {
    addWords(verb, "--order", "Which chroma sample comes first", kOrders, assumed.order);
    verb.option("--stride", assumed.stride, "Bytes from one row to the next")
        .takes(wholeNumber(1, 1 << 20))
        .valueName("N")
        .defaultText("the width");
}

void addColourRule(VerbOptions& verb, AssumedPicture& assumed) {
    addWords(verb, "--matrix", "Matrix of the samples", kMatrices, assumed.rule.matrix);
    addWords(verb, "--range", "Range of the samples", kRanges, assumed.rule.range);
}

void addGivenSamples(VerbOptions& verb, ColourMatrix& matrix, std::optional<SampleRange>& range) {
    addWords(verb, "--matrix", "Matrix of the input's samples", kMatrices, matrix);
    addChoice(verb, "--range", "Range of the input's samples", kRanges, range)
        .defaultText("the video's, else limited; full for bare pictures");
}

void addPictureStyle(VerbOptions& verb, PictureStyle& style) {
    addWords(verb, "--format", "Format of the pictures", kFormats, style.format);
    verb.option("--quality", style.quality, "Quality of JPEG")
        .takes(wholeNumber(1, 100))
        .valueName("N")
        .showDefault();
    addChoice(verb, "--plane", "Only this plane, in grey", kPlanes, style.plane);
    verb.optionFunction(
            "--scale", [&style](const std::string& given) { style.divisor = divisorOf(given); },
            "Reduce pictures by a whole number")
        .takes(reduction())
        .valueName("1/N");
    addWords(verb, "--rotate", "Rotate clockwise by this many degrees", kTurns, style.degrees);
}

std::string fileEnding(const PictureStyle& style, const PictureSize& size) {
    const std::string sides = fmt::format("_{}x{}", size.width, size.height);
    switch (style.format) {
        case PictureFormat::kJpeg:
            return ".jpg";
        case PictureFormat::kPng:
            return ".png";
        case PictureFormat::kRgb:
            return sides + (style.plane ? ".gray" : ".rgb");
        case PictureFormat::kNv21:
            return sides + (style.plane ? ".gray" : ".nv21");
        case PictureFormat::kY4mFrame:
            break;
    }
    return ".y4m";
}

}  // namespace tyksim
