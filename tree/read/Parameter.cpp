#include "tree/read/Parameter.h"

namespace tyktree {

std::vector<DecodedField> Parameter::fields() const {
    std::vector<DecodedField> decoded;
    if (!tag) return decoded;
    for (const tyktags::TagField& field : tag->fields) {
        decoded.push_back({&field, tyktags::decodeField(field, bytes.data(), bytes.size()),
                           tyktags::shortfall(field, size)});
    }
    return decoded;
}

Parameter readParameter(const FrameListing& listing, const FileEntry& file,
                        const TagCatalog& catalog, uint64_t limit) {
    Parameter parameter;
    parameter.file = &file;
    parameter.tag = catalog.byName(file.parameter.tagName);
    const std::string path = listing.pathOf(file);
    const auto size = readSummedFile(path, limit, parameter.bytes, parameter.crc32);
    if (size.ok()) {
        parameter.size = size.value();
    } else {
        parameter.status = size.problem();
    }
    return parameter;
}

}  // namespace tyktree
