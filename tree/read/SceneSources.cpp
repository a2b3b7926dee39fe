#include "tree/read/SceneSources.h"

#include "core/XmlFile.h"
#include "records/SceneXml.h"
#include "tree/read/SceneReading.h"

namespace tyktree {

const SceneRecord* SceneSources::record() const {
    const std::optional<SceneRecord>& source = xmlThere ? fromFiles : fromParameter;
    return source ? &*source : nullptr;
}

SceneSources readScene(const FrameListing& listing) {
    return readSceneFiles(listing).sources;
}

std::optional<SceneRecord> readSceneXml(const std::string& path) {
    pugi::xml_document document;
    SceneRecord record;
    if (!parseXmlFile(document, path.c_str())) return std::nullopt;
    if (!readSceneFields(document, record.bytes.data())) return std::nullopt;
    return record;
}

}  // namespace tyktree
