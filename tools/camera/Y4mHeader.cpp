#include "tools/camera/Y4mHeader.h"

#include "tags/Digits.h"
#include "tags/Words.h"

#include <algorithm>
#include <fmt/format.h>
#include <set>
#include <utility>

namespace tyksim {

namespace {

using tyktags::Problem;
using tyktags::Status;

constexpr std::string_view kSignature = "YUV4MPEG2";
constexpr std::string_view kFrame = "FRAME";
constexpr uint32_t kMaxRateNumber = 1000000;
constexpr const char* kConvertPixels = "convert it with ffmpeg -pix_fmt yuv420p";
constexpr const char* kConvertFields = "convert it with ffmpeg -vf yadif";

/// The supported chroma samplings.
struct Chroma {
    std::string_view name;     ///< in C
    std::string_view oldName;  ///< in XYSCSS, which counts if there is no C
    const char* siting;
};

constexpr Chroma kChromas[] = {
    {"420jpeg", "420JPEG", "in the middle of its pixels"},
    {"420mpeg2", "420MPEG2", "at the left of its pixels"},
    {"420paldv", "420PALDV", "at the top left of its pixels"},
    {"420", "420", ""},
};

/// Removes the next piece, up to a space, from `line` and returns it.
std::string_view takePiece(std::string_view& line) {
    const size_t end = std::min(line.find(' '), line.size());
    const std::string_view piece = line.substr(0, end);
    line.remove_prefix(std::min(end + 1, line.size()));
    return piece;
}

/// Both numbers of "30000:1001".
std::optional<std::pair<uint32_t, uint32_t>> ratioOf(std::string_view text) {
    const size_t colon = text.find(':');
    if (colon == std::string_view::npos) return std::nullopt;
    const auto first = tyktags::parseDigits<uint32_t>(text.substr(0, colon));
    const auto second = tyktags::parseDigits<uint32_t>(text.substr(colon + 1));
    if (!first || !second) return std::nullopt;
    return std::pair(*first, *second);
}

/// Reads the parameters of a header one after the other.
class HeaderReader {
public:
    Status read(std::string_view parameters) {
        while (!parameters.empty()) {
            const std::string_view piece = takePiece(parameters);
            if (piece.empty()) continue;
            const char kind = piece.front();
            if (kind != 'X' && !seen_.insert(kind).second) {
                return refuse("every parameter once", fmt::format("a second {}: {}", kind, piece));
            }
            Status status = take(kind, piece.substr(1), piece);
            if (!status.ok()) return status;
        }
        return finish();
    }

    const Y4mHeader& header() const { return header_; }

private:
    static Status refuse(std::string expected, std::string_view piece, std::string reason = "") {
        return Problem{"", std::move(expected), tyktags::shortened(piece), std::move(reason),
                       "header"};
    }

    Status take(char kind, std::string_view value, std::string_view piece) {
        switch (kind) {
            case 'W':
                return takeSide(value, piece, kMaxWidth, header_.width);
            case 'H':
                return takeSide(value, piece, kMaxHeight, header_.height);
            case 'F':
                return takeRate(value, piece);
            case 'I':
                return takeFields(value, piece);
            case 'A':
                return takeAspect(value, piece);
            case 'C':
                return takeChroma(value, piece);
            case 'X':
                return takeExtension(value, piece);
            default:
                return refuse("the parameters W, H, F, I, A, C and X", piece);
        }
    }

    static Status takeSide(std::string_view value, std::string_view piece, int most, int& side) {
        const auto number = tyktags::parseDigits<int>(value);
        if (!number || *number < 1 || *number > most) {
            return refuse(fmt::format("{0}1 to {0}{1}", piece[0], most), piece);
        }
        side = *number;
        return {};
    }

    Status takeRate(std::string_view value, std::string_view piece) {
        const auto ratio = ratioOf(value);
        if (ratio && ratio->first == 0 && ratio->second == 0) return {};
        const bool good = ratio && ratio->first >= 1 && ratio->first <= kMaxRateNumber &&
                          ratio->second >= 1 && ratio->second <= kMaxRateNumber;
        if (!good) {
            return refuse(fmt::format("F<frames>:<seconds>, each from 1 to {}", kMaxRateNumber),
                          piece);
        }
        header_.rate = FrameRate{ratio->first, ratio->second};
        if (ratio->second > uint64_t{kLongestFrame} * ratio->first) {
            return refuse("at least one frame a day", piece);
        }
        if (isOneAMillisecond(*header_.rate)) return {};
        return refuse("at most 1000 frames a second, because a folder's name tells milliseconds",
                      piece, "drop frames with ffmpeg -r 1000, or give the rate with --fps");
    }

    static Status takeFields(std::string_view value, std::string_view piece) {
        if (value == "p" || value == "?") return {};
        return refuse("progressive frames (Ip)", piece, kConvertFields);
    }

    Status takeAspect(std::string_view value, std::string_view piece) {
        const auto ratio = ratioOf(value);
        if (!ratio) return refuse("A<width>:<height> of a pixel", piece);
        if (ratio->first != ratio->second) header_.aspect = value;
        return {};
    }

    Status takeChroma(std::string_view value, std::string_view piece) {
        for (const Chroma& chroma : kChromas) {
            if (value != chroma.name && value != chroma.oldName) continue;
            header_.chroma = chroma.name;
            header_.siting = chroma.siting;
            return {};
        }
        return refuse("4:2:0 with 8 bits (C420jpeg, C420mpeg2, C420paldv or C420)", piece,
                      kConvertPixels);
    }

    Status takeExtension(std::string_view value, std::string_view piece) {
        constexpr std::string_view kRange = "COLORRANGE=";
        constexpr std::string_view kOldChroma = "YSCSS=";
        if (value.substr(0, kOldChroma.size()) == kOldChroma) oldChroma_ = piece;
        if (value.substr(0, kRange.size()) != kRange) return {};
        value.remove_prefix(kRange.size());
        if (value != "FULL" && value != "LIMITED") {
            return refuse("XCOLORRANGE=FULL or XCOLORRANGE=LIMITED", piece);
        }
        const SampleRange range = value == "FULL" ? SampleRange::kFull : SampleRange::kLimited;
        if (header_.range.value_or(range) != range) return refuse("one range", piece);
        header_.range = range;
        return {};
    }

    Status finish() {
        if (header_.width == 0) return refuse("a width (W)", "none");
        if (header_.height == 0) return refuse("a height (H)", "none");
        if (seen_.count('C') > 0 || oldChroma_.empty()) return {};
        return takeChroma(oldChroma_.substr(oldChroma_.find('=') + 1), oldChroma_);
    }

    Y4mHeader header_;
    std::set<char> seen_;
    std::string_view oldChroma_;  ///< the parameter XYSCSS
};

}  // namespace

tyktags::Result<Y4mHeader> parseY4mHeader(std::string_view line) {
    if (takePiece(line) != kSignature) {
        return Problem{"", fmt::format("{} and its parameters", kSignature), "something else",
                       "convert it with ffmpeg -f yuv4mpegpipe", "header"};
    }
    HeaderReader reader;
    const Status status = reader.read(line);
    if (!status.ok()) return status.problem();
    return reader.header();
}

Status checkY4mFrameLine(std::string_view line) {
    const std::string_view first = takePiece(line);
    if (first != kFrame) return Problem{"", std::string(kFrame), "something else"};
    while (!line.empty()) {
        const std::string_view piece = takePiece(line);
        if (piece.empty() || piece.front() == 'X') continue;
        const char* const reason = piece.front() == 'I' ? kConvertFields : "";
        return Problem{"", fmt::format("{} with no parameters but X", kFrame),
                       tyktags::shortened(piece), reason};
    }
    return {};
}

}  // namespace tyksim
