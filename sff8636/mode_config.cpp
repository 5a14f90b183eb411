// The mode check: an SFF-8636 module runs at its one rate, so a mode is only
// checked against what that rate allows; nothing is written to the module.
#include <algorithm>
#include <span>

#include "framework/trace.h"
#include "sff8636/driver.h"

namespace qsfp::sff8636 {

namespace {

constexpr std::uint32_t kModes40G[] = {0, 8};
constexpr std::uint32_t kModes100G[] = {0, 10, 11};

bool allowed(std::span<const std::uint32_t> modes, std::uint32_t mode) {
    return std::find(modes.begin(), modes.end(), mode) != modes.end();
}

}  // namespace

std::uint32_t mode_config(qsfp_port_ctx *port, std::uint32_t mode) {
    if (port == nullptr) {
        return QSFP_ERR_INVALID;
    }
    if (port->rate == 40) {
        if (allowed(kModes40G, mode)) {
            trace_evt(port, "40G with mode %d", mode);
            return QSFP_OK;
        }
        trace_err(port, "40G with unsupported mode %d", mode);
        return QSFP_ERR_EMPTY_SLOT;
    }
    if (port->rate == 100) {
        if (allowed(kModes100G, mode)) {
            trace_evt(port, "100G with mode %d", mode);
            return QSFP_OK;
        }
        trace_err(port, "100G with unsupported mode %d", mode);
        return QSFP_ERR_EMPTY_SLOT;
    }
    trace_err(port, "Unsupported port rate %d, mode %d", port->rate, mode);
    return QSFP_ERR_EMPTY_SLOT;
}

}  // namespace qsfp::sff8636
