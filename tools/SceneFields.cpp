#include "tools/SceneFields.h"

#include "tools/Bytes.h"

#include <cstdio>

namespace tyksim {

std::string sceneValue(const SceneField& field, const std::vector<uint8_t>& record) {
    const uint64_t bits = loadBits(record, field.offset, field.bytes());
    if (field.type == SceneFieldType::kSigned) {
        return std::to_string(static_cast<int32_t>(static_cast<uint32_t>(bits)));
    }
    if (field.type != SceneFieldType::kFloat) return std::to_string(bits);
    const auto pattern = static_cast<uint32_t>(bits);
    float value = 0;
    std::memcpy(&value, &pattern, sizeof(value));
    char digits[32];
    static_cast<void>(std::snprintf(digits, sizeof(digits), "%.9g", static_cast<double>(value)));
    return digits;
}

void setSceneField(std::vector<uint8_t>& record, std::string_view path, uint64_t bits) {
    for (const SceneField& field : kSceneFields) {
        if (path == field.path) storeBits(record, field.offset, field.bytes(), bits);
    }
}

}  // namespace tyksim
