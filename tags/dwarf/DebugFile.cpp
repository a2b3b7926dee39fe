#include "tags/dwarf/DebugFile.h"

#include "core/Descriptor.h"
#include "tags/dwarf/Die.h"

#include <algorithm>
#include <dwarf.h>
#include <elfutils/libdwelf.h>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <utility>

namespace tyktags {

namespace {

namespace fs = std::filesystem;

constexpr const char* kSystemFolder = "/usr/lib/debug";
constexpr size_t kLeastId = 3;  // fewest hexadecimal digits for a path

std::string pathOfId(const std::string& id) {
    return ".build-id/" + id.substr(0, 2) + "/" + id.substr(2) + ".debug";
}

bool isThere(const std::string& path) {
    std::error_code error;
    return fs::is_regular_file(path, error);
}

// The places of a build id below the folders.
std::vector<std::string> placesOfId(const std::string& id, const std::vector<fs::path>& roots) {
    std::vector<std::string> places;
    if (id.size() < kLeastId) return places;
    for (const fs::path& root : roots) places.push_back(root / pathOfId(id));
    return places;
}

// The possible places of a library's debug file, the most likely first.
std::vector<std::string> placesOf(const ElfFile& library, const std::string& folder) {
    std::error_code error;
    const fs::path beside = fs::absolute(library.path(), error).parent_path();
    std::vector<fs::path> roots{folder};
    if (folder.empty()) roots = {beside, beside / ".debug", kSystemFolder};
    std::vector<std::string> places = placesOfId(library.buildId(), roots);
    if (library.debugLink().empty()) return places;
    if (folder.empty()) roots.back() /= beside.relative_path();
    for (const fs::path& root : roots) places.push_back(root / library.debugLink());
    return places;
}

std::string idText(const ElfFile& file) {
    return file.buildId().empty() ? "no build id" : "the build id " + file.buildId();
}

// Whether `file` has the debug information of `library`'s build.
Status checkBuild(const ElfFile& library, const ElfFile& file) {
    const auto flaw = [&file](std::string expected, std::string found) {
        return Problem{file.path(), std::move(expected), std::move(found)};
    };
    if (!file.hasDebugInformation()) return flaw("debug information", "none");
    if (file.header().e_machine != library.header().e_machine ||
        file.header().e_ident[EI_CLASS] != library.header().e_ident[EI_CLASS]) {
        return flaw("debug information of the architecture of " + library.path(),
                    "that of another architecture");
    }
    if (file.buildId() != library.buildId()) {
        return flaw(idText(library) + ", that of " + library.path(), idText(file));
    }
    if (!library.buildId().empty() || library.debugLink().empty()) return {};
    if (file.checksum() == library.debugLinkSum()) return {};
    return flaw("the checksum that " + library.path() + " has for it", "another one");
}

using Check = std::function<Status(const ElfFile& file)>;

Result<ElfFile> openChecked(const std::string& path, const Check& check) {
    Result<ElfFile> file = ElfFile::open(path);
    if (!file.ok()) return file;
    const Status status = check(file.value());
    if (!status.ok()) return status.problem();
    return file;
}

// The file at the first of the places that passes the check. The problem has only a reason.
Result<ElfFile> openFirst(const std::vector<std::string>& places, const Check& check) {
    std::string tried;
    for (const std::string& place : places) {
        tried += (tried.empty() ? "no debug file at " : ", ") + place;
        if (!isThere(place)) continue;
        Result<ElfFile> file = openChecked(place, check);
        if (file.ok()) return file;
        tried += " (" + toLine(file.problem()) + ")";
    }
    return Problem{"", "", "", tried};
}

Check isBuildOf(const ElfFile& library) {
    return [&library](const ElfFile& file) { return checkBuild(library, file); };
}

// The debug file of the library, in the folder if one is given.
Result<ElfFile> openFound(const ElfFile& library, const std::string& folder) {
    Result<ElfFile> file = openFirst(placesOf(library, folder), isBuildOf(library));
    if (file.ok()) return file;
    std::string found = "none: the file was stripped or built without it";
    if (library.isSplitPart()) found = "that of one source file (.dwo); the library is needed";
    return Problem{library.path(), "debug information", found, file.problem().reason};
}

Result<ElfFile> findDebugInformation(const std::string& path, const std::string& given) {
    Result<ElfFile> library = ElfFile::open(path);
    if (!library.ok()) return library;
    std::error_code error;
    if (fs::is_directory(given, error)) return openFound(library.value(), given);
    if (!given.empty()) return openChecked(given, isBuildOf(library.value()));
    if (library.value().hasDebugInformation()) return library;
    return openFound(library.value(), "");
}

// The possible places of the file that has debug information of `file` and of others. A relative
// name begins at the folder of `file` itself, where links are followed. `given` may be a folder.
std::vector<std::string> placesOfShared(const ElfFile& file, const std::string& name,
                                        const std::string& id, const std::string& given) {
    std::error_code error;
    const fs::path beside = fs::weakly_canonical(file.path(), error).parent_path();
    std::vector<fs::path> roots{beside, beside / ".debug", kSystemFolder};
    if (fs::is_directory(given, error)) roots.insert(roots.begin(), given);
    std::vector<std::string> places = placesOfId(id, roots);
    places.push_back((beside / name).lexically_normal());
    return places;
}

const char* textOf(Dwarf_Die& unit, unsigned attribute) {
    Dwarf_Attribute value{};
    return dwarf_formstring(dwarf_attr(&unit, attribute, &value));
}

// The name of the .dwo file with a unit's debug information; "" if it is in no such file.
std::string splitFileOf(Dwarf_Die& unit) {
    for (const unsigned attribute : {DW_AT_dwo_name, DW_AT_GNU_dwo_name}) {
        if (!has(unit, attribute)) continue;
        const char* const name = textOf(unit, attribute);
        return name ? name : "a .dwo file";
    }
    return "";
}

// Refuses anything but a regular file where libdw looks for the unit's .dwo file: in the folder of
// `file` itself, where links are followed, and where it was compiled. libdw opens it by its path
// and would wait for the writer of a FIFO.
Status checkSplitPlaces(const ElfFile& file, Dwarf_Die& unit) {
    const std::string name = splitFileOf(unit);
    if (name.empty()) return {};
    std::error_code error;
    const fs::path beside = fs::weakly_canonical(file.path(), error).parent_path();
    const char* const compiledIn = textOf(unit, DW_AT_comp_dir);
    for (const fs::path& place : {beside / name, beside / (compiledIn ? compiledIn : "") / name}) {
        const fs::file_status status = fs::status(place, error);
        if (!fs::exists(status) || fs::is_regular_file(status)) continue;
        const char* found = fs::is_directory(status) ? "a folder" : "a device or a socket";
        if (fs::is_fifo(status)) found = "a FIFO";
        return Problem{place.lexically_normal(), "a regular file", found};
    }
    return {};
}

// The name of the file that has the debug information that `dwarf` and others have in common; ""
// if there is none.
std::string sharedFileOf(Dwarf* dwarf) {
    const char* name = nullptr;
    const void* id = nullptr;
    return dwelf_dwarf_gnu_debugaltlink(dwarf, &name, &id) > 0 ? name : "";
}

int findNothing(Dwfl_Module* /*module*/, void** /*data*/, const char* /*name*/, Dwarf_Addr /*base*/,
                const char* /*file*/, const char* /*link*/, GElf_Word /*sum*/, char** /*found*/) {
    return -1;
}

}  // namespace

Result<DebugFile> DebugFile::open(const std::string& library, const std::string& debugFile) {
    Result<ElfFile> elf = findDebugInformation(library, debugFile);
    if (!elf.ok()) return elf.problem();
    DebugFile file(std::move(elf.value()));
    const Status status = file.openDwarf(debugFile);
    if (!status.ok()) return status.problem();
    return file;
}

Status DebugFile::openDwarf(const std::string& given) {
    Dwarf* main = nullptr;
    if (elf_.header().e_type == ET_REL) {
        const Result<Dwarf*> relocated = openRelocated();
        if (!relocated.ok()) return relocated.problem();
        main = relocated.value();
    } else {
        dwarf_.reset(dwarf_begin_elf(elf_.elf(), DWARF_C_READ, nullptr));
        main = dwarf_.get();
        if (!main) return dwarfDamage(path());
    }
    if (Status status = openShared(main, given); !status.ok()) return status;
    if (Status status = findParts(main); !status.ok()) return status;
    if (sharedDwarf_) parts_.push_back(sharedDwarf_.get());
    for (Dwarf* const part : parts_) {
        const std::string name = part == main ? "" : sharedFileOf(part);
        if (name.empty()) continue;
        // libdw would open it by its path and wait for the writer of a FIFO.
        return Problem{path(), "a .dwo or shared file that refers to no further file",
                       "one that refers to " + name};
    }
    return {};
}

// Opens the file to which a tool moved the debug information that several files have.
Status DebugFile::openShared(Dwarf* main, const std::string& given) {
    const char* name = nullptr;
    const void* bytes = nullptr;
    const ssize_t count = dwelf_dwarf_gnu_debugaltlink(main, &name, &bytes);
    if (count < 0) return dwarfDamage(path());
    if (count == 0) return {};
    const std::string id =
        hexadecimal(static_cast<const uint8_t*>(bytes), static_cast<size_t>(count));
    const auto check = [&id](const ElfFile& file) -> Status {
        if (!file.hasDebugInformation()) return Problem{file.path(), "debug information", "none"};
        if (file.buildId() == id) return {};
        return Problem{file.path(), "the build id " + id, idText(file)};
    };
    Result<ElfFile> file = openFirst(placesOfShared(elf_, name, id, given), check);
    if (!file.ok()) {
        return Problem{path(),
                       std::string("the file ") + name +
                           ", which has the debug information that several libraries share",
                       "none", file.problem().reason};
    }
    shared_ = std::move(file.value());
    sharedDwarf_.reset(dwarf_begin_elf(shared_->elf(), DWARF_C_READ, nullptr));
    if (!sharedDwarf_) return dwarfDamage(shared_->path());
    dwarf_setalt(main, sharedDwarf_.get());
    return {};
}

// libdwfl relocates references between the sections of an object file that was not linked.
Result<Dwarf*> DebugFile::openRelocated() {
    static const Dwfl_Callbacks kCallbacks{dwfl_build_id_find_elf, findNothing,
                                           dwfl_offline_section_address, nullptr};
    session_.reset(dwfl_begin(&kCallbacks));
    tykcore::Descriptor copy(::fcntl(elf_.descriptor(), F_DUPFD_CLOEXEC, 0));
    Dwfl_Module* const module =
        session_ ? dwfl_report_offline(session_.get(), "", path().c_str(), copy.number()) : nullptr;
    if (module) static_cast<void>(copy.release());  // the session closes it
    Dwarf_Addr bias = 0;
    Dwarf* const dwarf = module ? dwfl_module_getdwarf(module, &bias) : nullptr;
    if (!dwarf) {
        // libdwfl does not have a message for every failure.
        const char* const reason = dwfl_errmsg(-1);
        return Problem{path(), "debug information", "damage", reason ? reason : ""};
    }
    return dwarf;
}

Status DebugFile::findParts(Dwarf* main) {
    parts_ = {main};
    std::string absent;
    size_t count = 0;
    Dwarf_CU* unit = nullptr;
    Dwarf_Die top{};
    int result = 0;
    while ((result = dwarf_get_units(main, unit, &unit, nullptr, nullptr, &top, nullptr)) == 0) {
        if (Status status = checkSplitPlaces(elf_, top); !status.ok()) return status;
        Dwarf_Die split{};
        // Opens the .dwo file.
        dwarf_cu_info(unit, nullptr, nullptr, nullptr, &split, nullptr, nullptr, nullptr);
        if (split.addr) {
            Dwarf* const part = dwarf_cu_getdwarf(split.cu);
            if (part != parts_.back()) parts_.push_back(part);
        } else if (const std::string file = splitFileOf(top); !file.empty() && ++count == 1) {
            absent = file;
        }
    }
    if (result < 0) return dwarfDamage(path());
    if (count == 0) return {};
    return Problem{path(), "debug information",
                   "only the names of .dwo files that have it, and " + absent +
                       (count > 1 ? " and " + std::to_string(count - 1) + " more are" : " is") +
                       " not there or of another kind",
                   "", ""};
}

}  // namespace tyktags
