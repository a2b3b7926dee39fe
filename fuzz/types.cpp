// The types of debug information: the input is an ELF file. The target lists all types and reads
// the layouts of the first ones. Every field must have the form that a tag table takes.
#include "fuzz/Target.h"
#include "tags/dwarf/DebugTypes.h"

#include <cstdio>
#include <cstdlib>
#include <set>
#include <sys/mman.h>
#include <unistd.h>

namespace {

using tyktags::DebugType;
using tyktags::DebugTypes;
using tyktags::TypeLayout;

constexpr size_t kMostTypes = 8;  // whose layouts are read

void expect(bool holds, const char* what, const std::string& about) {
    if (holds) return;
    std::fprintf(stderr, "does not hold: %s: %s\n", what, about.c_str());
    std::abort();
}

void checkLayout(const TypeLayout& layout) {
    std::set<std::string> names;
    expect(layout.fields.size() <= tyktags::kMostFields, "a limit of fields", layout.type.name);
    for (const tyktags::TagField& field : layout.fields) {
        expect(tyktags::isFieldName(field.name), "a field's name", field.name);
        expect(names.insert(field.name).second, "a unique name", field.name);
        expect(field.count() > 0, "elements", field.name);
        expect(field.dimensions.size() <= tyktags::kMostDimensions, "dimensions", field.name);
        expect(field.offset + field.bytes() <= layout.type.size, "within the type", field.name);
    }
}

void run(std::string_view input) {
    const int file = ::memfd_create("types", MFD_CLOEXEC);
    expect(file >= 0 &&
               ::write(file, input.data(), input.size()) == static_cast<ssize_t>(input.size()),
           "a file in memory", "");
    const auto types = DebugTypes::open("/proc/self/fd/" + std::to_string(file));
    if (types.ok()) {
        const auto all = types.value().list([](const DebugType&) { return true; });
        for (size_t i = 0; all.ok() && i < all.value().size() && i < kMostTypes; ++i) {
            const auto layouts = types.value().layouts({all.value()[i].name});
            if (layouts.ok()) checkLayout(layouts.value()[0]);
        }
        // The list omits types in functions.
        const auto inFunction = types.value().layouts({"Local"});
        if (inFunction.ok()) checkLayout(inFunction.value()[0]);
    }
    ::close(file);
}

void finish() {}

const fuzz::Known known({"types", run, finish});

}  // namespace
