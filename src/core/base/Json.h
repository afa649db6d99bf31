#pragma once

#include <nlohmann/json.hpp>

namespace quillon {

// The one JSON type of the program: ordered keys keep messages readable in logs and tests.
using Json = nlohmann::ordered_json;

}  // namespace quillon
