// The type of JSON values for headers that only name it; its definition takes long to compile.
#pragma once

#include <nlohmann/json_fwd.hpp>

namespace tyksim {

using Json = nlohmann::ordered_json;

}  // namespace tyksim
