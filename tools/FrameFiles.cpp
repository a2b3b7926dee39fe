#include "tools/FrameFiles.h"

#include "tools/Files.h"
#include "tools/WellKnownTags.h"

namespace tyksim {

namespace {

bool beginsWith(const std::string& name, const char* prefix) {
    return name.rfind(prefix, 0) == 0;
}

bool isSceneFile(const FrameFile& file) {
    return file.name.find(kSceneTagName) != std::string::npos;
}

bool looksLikeImage(const std::string& name) {
    const bool yuv = name.size() >= 4 && name.compare(name.size() - 4, 4, ".yuv") == 0;
    return yuv || beginsWith(name, "FCWH_");
}

void inspectOther(const std::string& path, const std::string& name, Findings& findings) {
    if (beginsWith(name, "FCPDT")) {
        findings.add(text(path,
                          ": not a parameter file name; expected "
                          "FCPDT_<sof>_<camera>_<pipe>_<dump type>_<tag>.bin"));
    } else if (looksLikeImage(name)) {
        findings.add(text(path,
                          ": not an image file name; expected "
                          "FCWH_<sof>_<camera>_<width>_<height>_nv21.yuv"));
    }
}

}  // namespace

FrameFolder listFrameFolder(PipelineSimulation& simulation, const std::string& task,
                            const std::string& name) {
    FrameFolder frame{name, task + "/" + name, {}};
    std::vector<std::string> names;
    simulation.getSubFiles(frame.path.c_str(), names);
    for (std::string& fileName : names) {
        FrameFile file;
        file.size = fileSize(frame.path + "/" + fileName).value_or(0);
        file.image.spare = 1;  // becomes 0 when the name is an image's
        if (simulation.parseFileName(fileName, &file.tag) == 0) {
            file.kind = FrameFile::Kind::parameter;
        } else {
            simulation.parseImageName(fileName, &file.image);
            if (file.image.spare == 0) file.kind = FrameFile::Kind::image;
        }
        file.name = std::move(fileName);
        frame.files.push_back(std::move(file));
    }
    return frame;
}

uint64_t imageBytes(const PipelineSimulation::imageInfo& image) {
    if (image.width <= 0 || image.height <= 0) return 0;
    const uint64_t bytes =
        uint64_t{3} * static_cast<uint64_t>(image.width) * static_cast<uint64_t>(image.height);
    return bytes > INT32_MAX ? 0 : bytes / 2;
}

bool hasImpossibleSize(const FrameFile& file) {
    return file.size == 0 || file.size > INT32_MAX ||
           (file.tag.dumpType == 0 && file.size > kMaxFixedBytes);
}

bool isReplayed(const FrameFile& file, Entry entry) {
    if (file.kind != FrameFile::Kind::parameter) return false;
    if (entry == Entry::frame) return true;
    return !isSceneFile(file) && !hasImpossibleSize(file);
}

void inspectFrame(const FrameFolder& frame, Entry entry, bool images, Findings& findings) {
    if (frame.files.empty()) findings.add(frame.path + ": no files");
    for (const FrameFile& file : frame.files) {
        const std::string path = frame.path + "/" + file.name;
        if (file.kind == FrameFile::Kind::other) {
            inspectOther(path, file.name, findings);
        } else if (file.kind == FrameFile::Kind::image) {
            const uint64_t expected = imageBytes(file.image);
            if (!images || file.size == expected) continue;
            findings.add(text(path, ": expected ", expected, " bytes for ", file.image.width, "x",
                              file.image.height, ", found ", file.size));
        } else if (entry == Entry::folder && !isSceneFile(file) && hasImpossibleSize(file)) {
            findings.add(text(path, ": passed over: expected 1 to ",
                              file.tag.dumpType == 0 ? kMaxFixedBytes : uint64_t{INT32_MAX},
                              " bytes, found ", file.size));
        }
    }
}

}  // namespace tyksim
