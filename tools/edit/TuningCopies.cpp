#include "tools/edit/TuningCopies.h"

#include "core/TreeNames.h"
#include "host/Properties.h"
#include "records/MfnrTuning.h"
#include "tools/console/Console.h"
#include "tools/files/CloneFile.h"
#include "tools/files/Files.h"
#include "tree/read/Escape.h"
#include "tree/read/FolderReader.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fmt/format.h>
#include <string_view>
#include <utility>

namespace tyksim {

namespace {

[[noreturn]] void throwUnlisted(const std::string& folder, const std::string& reason) {
    throw Failure(
        fmt::format("{}: expected a folder with tuning copies, found one that cannot be listed: {}",
                    tyktree::escaped(folder), reason));
}

/// The regular files with names of tuning copies.
std::vector<std::string> listCopies(const std::string& folder) {
    std::vector<std::string> names;
    tyktree::FolderReader reader(folder);
    std::string_view name;
    unsigned char type = 0;
    while (reader.next(name, type)) {
        if (!isMfnrCopyName(name)) continue;
        tyktree::FileEntry entry;
        const bool known = reader.examine(name.data(), type, entry).ok();
        if (known && entry.regular()) names.emplace_back(name);
    }
    if (!reader.status().ok()) throwUnlisted(folder, reader.status().problem().reason);
    return names;
}

/// Removes the copies that the library made.
void removeCopies(const std::string& folder) {
    for (const std::string& name : listCopies(folder)) {
        std::error_code error;
        std::filesystem::remove(std::filesystem::path(folder) / name, error);
        if (error)
            throw Failure(fmt::format("{}/{}: cannot be replaced: {}", tyktree::escaped(folder),
                                      tyktree::escaped(name), error.message()));
    }
}

}  // namespace

TuningCopies::TuningCopies(std::string from, std::string root)
    : from_(std::move(from)), root_(std::move(root)), names_(listCopies(from_)) {
    const auto has = [this](const MfnrVersion& version) {
        return std::find(names_.begin(), names_.end(), version.copyName) != names_.end();
    };
    // The newest if there are several: the version of a device with an unset property.
    for (const MfnrVersion& version : kMfnrVersions) {
        if (has(version)) {
            tykhost::setProperty(kMfnrVersionProperty, fmt::to_string(version.number));
        }
    }
}

void TuningCopies::install(const void* table, size_t size) const {
    const auto* const entries = static_cast<const char*>(table);
    for (size_t at = 0; at + kMfnrNameBytes <= size; at += kMfnrNameBytes) {
        const std::string name(entries + at, strnlen(entries + at, kMfnrNameBytes));
        if (name.empty()) return;
        if (name.find('/') == std::string::npos) installAs(name);
    }
}

/// Installs the copy of the version with file `name`, if there is one.
void TuningCopies::installAs(const std::string& name) const {
    const std::string target = root_ + kFirmwareFolder + name;
    for (const MfnrVersion& version : kMfnrVersions) {
        const bool wanted =
            name.find(version.key) != std::string::npos && !isThere(target) &&
            std::find(names_.begin(), names_.end(), version.copyName) != names_.end();
        if (!wanted) continue;
        makeFolders(root_ + kFirmwareFolder);
        cloneFile(from_ + "/" + version.copyName, target);
    }
}

void TuningCopies::finish() const {
    const std::string folder = pipeFolderPath((root_ + kDumpRoot).c_str(), kMfnrCopyPipe);
    removeCopies(folder);
    for (const std::string& name : names_) {
        cloneFile(fmt::format("{}/{}", from_, name), fmt::format("{}/{}", folder, name));
    }
}

}  // namespace tyksim
