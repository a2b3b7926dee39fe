// The texts that `tyksim record` reads: the header of a video if the input begins like one, the
// line before a frame if it begins with FRAME, else a table of values. The target writes what it
// has read in another form; reading that must give the same.
#include "fuzz/Target.h"
#include "tools/camera/TextTable.h"
#include "tools/camera/Y4mHeader.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

using tyksim::TableCell;
using tyksim::TextTable;
using tyksim::Y4mHeader;

void expect(bool holds, const char* what, std::string_view about) {
    if (holds) return;
    std::fprintf(stderr, "does not hold: %s: %.*s\n", what, static_cast<int>(about.size()),
                 about.data());
    std::abort();
}

std::string written(const Y4mHeader& header) {
    std::string line = "YUV4MPEG2 H" + std::to_string(header.height);
    if (header.range) {
        const bool isFull = *header.range == tyksim::SampleRange::kFull;
        line += isFull ? " XCOLORRANGE=FULL" : " XCOLORRANGE=LIMITED";
    }
    if (!header.chroma.empty()) line += " C" + header.chroma;
    if (!header.aspect.empty()) line += " A" + header.aspect;
    if (header.rate) {
        line +=
            " F" + std::to_string(header.rate->frames) + ":" + std::to_string(header.rate->seconds);
    }
    return line + " Ip W" + std::to_string(header.width);
}

bool isSame(const Y4mHeader& a, const Y4mHeader& b) {
    const bool sameRate =
        a.rate.has_value() == b.rate.has_value() &&
        (!a.rate || (a.rate->frames == b.rate->frames && a.rate->seconds == b.rate->seconds));
    return a.width == b.width && a.height == b.height && sameRate && a.range == b.range &&
           a.chroma == b.chroma && a.aspect == b.aspect;
}

void runHeader(std::string_view line) {
    const auto header = tyksim::parseY4mHeader(line);
    if (!header.ok()) {
        expect(header.problem().where == "header", "a problem has its place", line);
        return;
    }
    const Y4mHeader& found = header.value();
    expect(found.width >= 1 && found.width <= tyksim::kMaxWidth, "a width", line);
    expect(found.height >= 1 && found.height <= tyksim::kMaxHeight, "a height", line);
    if (found.rate) {
        const tyksim::FrameRate& rate = *found.rate;
        expect(frameMicroseconds(rate, 1) >= 1000, "a millisecond for each frame", line);
        const int64_t last = frameMicroseconds(rate, 99999999);
        expect(last > 0 && last <= int64_t{99999999} * 1000000 * tyksim::kLongestFrame,
               "times do not overflow", line);
    }
    const auto again = tyksim::parseY4mHeader(written(found));
    expect(again.ok() && isSame(again.value(), found), "a header comes back", line);
}

/// The cell in quotes.
std::string quoted(const std::string& text) {
    std::string cell = "\"";
    for (const char c : text) cell += c == '"' ? std::string("\"\"") : std::string(1, c);
    return cell + "\"";
}

/// A cell of CSV, which has no lists: a list is left out.
std::string written(const TableCell& cell) {
    return cell.kind == TableCell::Kind::kText ? quoted(cell.elements.front()) : "";
}

std::string rowOf(const std::vector<std::string>& cells) {
    std::string row;
    for (size_t i = 0; i < cells.size(); ++i) row += (i > 0 ? "," : "") + cells[i];
    return row + "\r\n";
}

std::string written(const TextTable& table) {
    std::vector<std::string> cells;
    for (const std::string& name : table.columns()) cells.push_back(quoted(name));
    std::string text = rowOf(cells);
    for (size_t i = 0; i < table.rowCount(); ++i) {
        cells.clear();
        for (const TableCell& cell : table.row(i).cells) cells.push_back(written(cell));
        text += rowOf(cells);
    }
    return text;
}

void runTable(std::string_view input) {
    const auto table = TextTable::parse(std::string(input));
    if (!table.ok() || table.value().columns().empty()) return;
    const size_t columns = table.value().columns().size();
    for (size_t i = 0; i < table.value().rowCount(); ++i) {
        expect(table.value().row(i).cells.size() == columns, "a cell for each column", input);
    }
    const auto again = TextTable::parse(written(table.value()));
    expect(again.ok() && again.value().columns() == table.value().columns() &&
               again.value().rowCount() == table.value().rowCount(),
           "a table comes back", input);
    for (size_t i = 0; i < table.value().rowCount(); ++i) {
        const std::vector<TableCell> given = table.value().row(i).cells;
        const std::vector<TableCell> found = again.value().row(i).cells;
        const bool isSame =
            std::equal(given.begin(), given.end(), found.begin(), found.end(),
                       [](const TableCell& one, const TableCell& other) {
                           return one.kind == TableCell::Kind::kList || one == other;
                       });
        expect(isSame, "a row comes back", input);
    }
}

void run(std::string_view input) {
    if (input.substr(0, 9) == "YUV4MPEG2") {
        runHeader(input);
    } else if (input.substr(0, 5) == "FRAME") {
        const bool isBare = input.find_first_not_of("FRAMEX ") == std::string_view::npos;
        const bool ok = tyksim::checkY4mFrameLine(input).ok();
        expect(!ok || isBare || input.find('X') != std::string_view::npos, "FRAME alone", input);
    } else {
        runTable(input);
    }
}

const fuzz::Known known({"record_input", run, [] {}});

}  // namespace
