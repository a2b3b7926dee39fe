#include "tools/tyksim/ExportReport.h"

#include "tools/console/Console.h"
#include "tools/console/Units.h"
#include "tools/files/OutputPlace.h"
#include "tools/json/TreeJson.h"
#include "tree/read/Escape.h"

#include <fmt/format.h>

namespace tyksim {

namespace {

using tyktree::Finding;
using tyktree::FrameRef;

class TextExport : public ExportReport {
public:
    explicit TextExport(bool toStandardOutput)
        : print_(toStandardOutput ? printNote : printResult) {}

    void begin(const AssumedPicture& assumed) override { print_(assumed.toText()); }

    void add(const FrameRef& /*frame*/, const FrameResult& result) override {
        for (const Finding& finding : result.findings) {
            print_(fmt::format("{}: {}", ruleOf(finding.rule).name, toLine(finding)));
        }
    }

    void end(const ExportTotals& totals, const std::string& place) override {
        print_(fmt::format("{} of {}, {}, in {}", counted(totals.images, "image", "images"),
                           counted(totals.frames, "frame", "frames"), humanBytes(totals.bytes),
                           place == kStandardOutput ? "standard output" : tyktree::escaped(place)));
        if (totals.findings > 0) print_(counted(totals.findings, "finding", "findings"));
    }

private:
    void (*print_)(const std::string&);
};

class JsonExport : public ExportReport {
public:
    explicit JsonExport(JsonDocument& json) : json_(json) {}

    void begin(const AssumedPicture& assumed) override {
        json_.member("assumed", assumed.toJson());
        json_.beginList("frames");
    }

    void add(const FrameRef& frame, const FrameResult& result) override {
        Json item = identityOf(frame);
        addText(item, "path", frame.path());
        item["files"] = Json::array();
        for (const Exported& image : result.images) {
            item["files"].push_back({{"name", image.name},
                                     {"camera", image.camera},
                                     {"width", image.size.width},
                                     {"height", image.size.height},
                                     {"bytes", image.bytes}});
        }
        item["findings"] = Json::array();
        for (const Finding& finding : result.findings) item["findings"].push_back(toJson(finding));
        json_.item(item);
    }

    void end(const ExportTotals& /*totals*/, const std::string& /*place*/) override {}

private:
    JsonDocument& json_;
};

}  // namespace

std::unique_ptr<ExportReport> makeExportReport(JsonDocument* json, bool toStandardOutput) {
    if (json) return std::make_unique<JsonExport>(*json);
    return std::make_unique<TextExport>(toStandardOutput);
}

}  // namespace tyksim
