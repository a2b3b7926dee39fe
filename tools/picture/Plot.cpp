#include "tools/picture/Plot.h"

#include "tags/FieldCodec.h"
#include "tree/read/Escape.h"

#include <algorithm>
#include <fmt/format.h>
#include <utility>

namespace tyksim {

namespace {

constexpr double kWidth = 960;
constexpr double kPanelHeight = 140;
constexpr double kLeft = 90;
constexpr double kRight = 20;
constexpr double kTop = 24;
constexpr double kBottom = 16;

std::string markup(const std::string& name) {
    std::string text;
    for (const char c : tyktree::escaped(name)) {
        switch (c) {
            case '&':
                text += "&amp;";
                break;
            case '<':
                text += "&lt;";
                break;
            case '>':
                text += "&gt;";
                break;
            default:
                text += c;
        }
    }
    return text;
}

}  // namespace

void Plot::addLine(std::string name) {
    lines_.push_back({std::move(name), {}});
}

void Plot::addPoint(uint32_t task, const std::vector<std::optional<double>>& values) {
    tasks_.push_back(task);
    for (size_t i = 0; i < lines_.size(); ++i) lines_[i].values.push_back(values[i]);
}

std::string Plot::panel(const Line& line, double top) const {
    double least = 0, most = 0;
    bool any = false;
    for (const auto& value : line.values) {
        if (!value) continue;
        least = any ? std::min(least, *value) : *value;
        most = any ? std::max(most, *value) : *value;
        any = true;
    }
    const double inner = kPanelHeight - kTop - kBottom;
    const double room = most > least ? most - least : 1;
    const auto x = [this](size_t i) {
        const auto steps = static_cast<double>(std::max<size_t>(tasks_.size(), 2) - 1);
        return kLeft + static_cast<double>(i) / steps * (kWidth - kLeft - kRight);
    };
    const auto y = [&](double value) { return top + kTop + (most - value) / room * inner; };
    std::string svg = fmt::format("<text x=\"{}\" y=\"{}\" class=\"name\">{}</text>\n", kLeft,
                                  top + kTop - 8, markup(line.name));
    if (!any)
        return svg + fmt::format("<text x=\"{}\" y=\"{}\">no values</text>\n", kLeft,
                                 top + kTop + inner / 2);
    for (const double value : {most, least}) {
        svg += fmt::format("<text x=\"{}\" y=\"{:.1f}\" class=\"scale\">{}</text>\n", kLeft - 8,
                           y(value) + 4, tyktags::toText(tyktags::Value(value)));
        svg += fmt::format("<path class=\"rule\" d=\"M{} {:.1f}H{}\"/>\n", kLeft, y(value),
                           kWidth - kRight);
        if (most == least) break;
    }
    std::string path;
    bool drawing = false;
    for (size_t i = 0; i < line.values.size(); ++i) {
        const bool newTask = i > 0 && tasks_[i] != tasks_[i - 1];
        if (newTask) {
            svg += fmt::format("<path class=\"rule\" d=\"M{:.2f} {}V{}\"/>\n",
                               (x(i - 1) + x(i)) / 2, top + kTop, top + kTop + inner);
        }
        drawing = drawing && !newTask;
        if (line.values[i]) {
            path += fmt::format("{}{:.2f} {:.2f}", drawing ? "L" : "M", x(i), y(*line.values[i]));
            // A single point shows as the line's round cap.
            if (!drawing) path += "h0";
        }
        drawing = line.values[i].has_value();
    }
    return svg + fmt::format("<path class=\"line\" d=\"{}\"/>\n", path);
}

void Plot::write(ResultFile& file) const {
    const double height = kPanelHeight * static_cast<double>(std::max<size_t>(lines_.size(), 1));
    file.write(fmt::format(
        "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 {0} {1}\" width=\"{0}\" "
        "height=\"{1}\" role=\"img\">\n"
        "<style>text{{font:12px sans-serif;fill:#333}}.name{{font-weight:bold}}"
        ".scale{{text-anchor:end}}.rule{{stroke:#ccc;fill:none}}"
        ".line{{stroke:#0b62c4;stroke-width:1.5;stroke-linecap:round;stroke-linejoin:round;"
        "fill:none}}</style>\n<rect width=\"100%\" height=\"100%\" fill=\"#fff\"/>\n",
        kWidth, height));
    double top = 0;
    for (const Line& line : lines_) {
        file.write(panel(line, top));
        top += kPanelHeight;
    }
    file.write("</svg>\n");
}

}  // namespace tyksim
