// TEMPORARY, test-only: the oper-mode to application-select step belongs to
// CMIS bring-up, which is written apart. Until it is in the library this
// stands in for it so the mode configuration can be linked and exercised;
// it goes when the library defines the function.
#include <initializer_list>

#include "cmis/driver.h"
#include "cmis/type_tables.h"
#include "framework/trace.h"

// Traces with a trace point of its own (this file is not a library source).
#define STAND_IN_TRACE(port, field, fmt, ...)                                                                  \
    do {                                                                                                      \
        if ((port)->field != nullptr) {                                                                       \
            ztrace_internal((port)->field, 0xFFFF0000U | static_cast<std::uint32_t>(__LINE__),                 \
                            ::qsfp::trace::signature_of((port)->controller, (port)->port, __VA_ARGS__),        \
                            "Controller %d Port %d: " fmt, (port)->controller, (port)->port, __VA_ARGS__);     \
        }                                                                                                     \
    } while (0)

namespace {

using namespace qsfp::cmis;

constexpr std::uint32_t k400G = 400;

std::uint32_t mode_400g(qsfp_port_ctx *port, std::uint32_t *app_code) {
    std::uint32_t rc = QSFP_OK;
    for (std::uint32_t lanes : {4U, 8U, 1U}) {
        rc = find_application(port, k400G, lanes, app_code);
        if (rc == QSFP_OK && *app_code < kNoApplication) {
            STAND_IN_TRACE(port, trace_evt, "Found app sel code for %dG, media lane cnt %d.  app code sel %d\n", k400G, lanes, *app_code);
            return rc;
        }
        STAND_IN_TRACE(port, trace_err, "Failed to find app sel code for %dG, media lane cnt %d\n", k400G, lanes);
    }
    return rc;
}

}  // namespace

extern "C" uint32_t qsfp_dd_port_oper_mode_2_app_sel_code(qsfp_port_ctx *port, uint32_t oper_mode, uint32_t *app_code) {
    const std::uint32_t type = port->hw_info.qsfp_type;
    if (type == 0) {
        return QSFP_OK;
    }
    if (oper_mode == QSFP_DD_OPER_MODE_DEFAULT) {
        const TypeRow *row = find_type(type);
        if (row == nullptr) {
            STAND_IN_TRACE(port, trace_err, "Can't find our type (0x%x) in the type table\n", type);
            return kRefused;
        }
        oper_mode = row->default_mode;
    }
    switch (oper_mode) {
    case QSFP_DD_OPER_MODE_8X50G:
        return find_application(port, 50, 1, app_code);
    case QSFP_DD_OPER_MODE_4X100G:
        return find_application(port, 100, 1, app_code);
    case QSFP_DD_OPER_MODE_2X100G:
        return find_application(port, 100, 4, app_code);
    case QSFP_DD_OPER_MODE_400G:
        return mode_400g(port, app_code);
    default:
        return QSFP_OK;
    }
}
