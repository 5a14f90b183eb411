// JSON numbers from the library's floats: a value the record cannot hold as
// a number (NaN, infinity) is null rather than a made-up number.
#pragma once

#include <cmath>

#include <nlohmann/json.hpp>

namespace qsfpctl {

inline nlohmann::json json_number(double value) {
    return std::isfinite(value) ? nlohmann::json(value) : nlohmann::json(nullptr);
}

}  // namespace qsfpctl
