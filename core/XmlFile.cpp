#include "core/XmlFile.h"

#include "core/File.h"

#include <cstdlib>
#include <memory>

namespace {

pugi::xml_parse_result failed(pugi::xml_parse_status status) {
    pugi::xml_parse_result result;
    result.status = status;
    return result;
}

}  // namespace

pugi::xml_parse_result parseXmlFile(pugi::xml_document& document, const char* path) {
    document.reset();
    InputFile file(path);
    if (!file.isOpen()) return failed(pugi::status_file_not_found);
    if (file.size() > kMaxXmlBytes) return failed(pugi::status_out_of_memory);
    const auto size = static_cast<size_t>(file.size());
    // One extra byte gives even an empty file a buffer.
    const std::unique_ptr<char, decltype(&std::free)> text(
        static_cast<char*>(std::malloc(size + 1)), &std::free);
    if (!text) return failed(pugi::status_out_of_memory);
    if (file.read(text.get(), size) != size) return failed(pugi::status_io_error);
    return document.load_buffer(text.get(), size);
}
