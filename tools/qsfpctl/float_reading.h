// The library's readings and thresholds are floats. Widened to double as they
// are, 3.29f becomes 3.2899999618530273 and a 110 mA threshold stored as
// 110.0000076f becomes 110.00000762939453: digits the module never gave. In
// JSON and in the Prometheus text a reading is the double nearest the float's
// shortest decimal form (3.29, 110.00001), which reads back as the same float.
#pragma once

#include <charconv>
#include <cmath>

namespace qsfpctl {

inline double reading(float value) {
    if (!std::isfinite(value)) return value;
    char text[32];
    const auto written = std::to_chars(text, text + sizeof text, value);
    double widened = value;
    std::from_chars(text, written.ptr, widened);
    return widened;
}

}  // namespace qsfpctl
