// JSON output: numbers from the library's floats, where a value the record
// cannot hold as a number (NaN, infinity) is null rather than a made-up
// number, and the text of a JSON value.
#pragma once

#include <cmath>
#include <string>

#include <nlohmann/json.hpp>

#include "float_reading.h"

namespace qsfpctl {

inline nlohmann::json json_number(float value) {
    return std::isfinite(value) ? nlohmann::json(reading(value)) : nlohmann::json(nullptr);
}

// JSON output as indented text. Module texts are bytes, not always UTF-8: an
// invalid sequence becomes U+FFFD instead of stopping the output.
inline std::string json_text(const nlohmann::json &value) {
    return value.dump(2, ' ', false, nlohmann::json::error_handler_t::replace);
}

}  // namespace qsfpctl
