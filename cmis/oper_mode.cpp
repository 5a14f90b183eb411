// Operating modes: each type's default, and the advertised application that
// realises a mode on the module in the cage.
#include "cmis/driver.h"
#include "cmis/type_tables.h"
#include "framework/trace.h"

namespace qsfp::cmis {

namespace {

struct Layout {
    std::uint32_t speed_g;
    std::uint32_t media_lanes;
};

// 400G is tried over four media lanes, then eight, then one.
constexpr Layout k400GLayouts[] = {{400, 4}, {400, 8}, {400, 1}};

std::uint32_t find_400g_application(qsfp_port_ctx *port, std::uint32_t *app_code) {
    std::uint32_t rc = QSFP_OK;
    for (const Layout &l : k400GLayouts) {
        rc = find_application(port, l.speed_g, l.media_lanes, app_code);
        if (rc == QSFP_OK && *app_code < kNoApplication) {
            trace_evt(port, "Found app sel code for %dG, media lane cnt %d.  app code sel %d\n", l.speed_g,
                      l.media_lanes, *app_code);
            return QSFP_OK;
        }
        trace_evt(port, "Failed to find app sel code for %dG, media lane cnt %d\n", l.speed_g, l.media_lanes);
    }
    return rc;
}

}  // namespace

}  // namespace qsfp::cmis

using namespace qsfp::cmis;

extern "C" uint32_t qsfp_dd_port_get_default_oper_mode(qsfp_port_ctx *port, uint32_t *mode) {
    if (port == nullptr || mode == nullptr) {
        return QSFP_ERR_INVALID;
    }
    const TypeRow *row = find_type(port->hw_info.qsfp_type);
    if (row == nullptr) {
        return QSFP_ERR_INVALID;
    }
    *mode = row->default_mode;
    return QSFP_OK;
}

extern "C" uint32_t qsfp_dd_port_oper_mode_2_app_sel_code(qsfp_port_ctx *port, uint32_t oper_mode,
                                                          uint32_t *app_code) {
    if (port == nullptr || app_code == nullptr) {
        return QSFP_ERR_INVALID;
    }
    if (port->hw_info.qsfp_type == 0) {
        return QSFP_OK;
    }
    if (oper_mode == QSFP_DD_OPER_MODE_DEFAULT && qsfp_dd_port_get_default_oper_mode(port, &oper_mode) != QSFP_OK) {
        trace_err(port, "Can't find our type (0x%x) in the type table\n", port->hw_info.qsfp_type);
        return kRefused;
    }
    switch (oper_mode) {
    case QSFP_DD_OPER_MODE_8X50G: return find_application(port, 50, 1, app_code);
    case QSFP_DD_OPER_MODE_4X100G: return find_application(port, 100, 1, app_code);
    case QSFP_DD_OPER_MODE_2X100G: return find_application(port, 100, 4, app_code);
    case QSFP_DD_OPER_MODE_400G: return find_400g_application(port, app_code);
    default: return QSFP_OK;
    }
}
