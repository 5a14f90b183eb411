// The identity texts of a CMIS module's inventory.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include <qsfp/qsfp_sff8636.h>

#include "cmis/identity.h"
#include "cmis/state.h"

namespace qsfp::cmis {

void copy_text(char *out, std::size_t room, const std::uint8_t *from, std::size_t length) {
    const std::size_t n = std::min(length, room - 1);
    std::memcpy(out, from, n);
    out[n] = '\0';
    trim_trailing_spaces(out, static_cast<int>(n));
}

void copy_identity(qsfp_port_ctx *port, const std::uint8_t *id, const IdentityLayout &layout) {
    qsfp_hw_info &info = port->hw_info;
    copy_text(info.vendor_name, id + layout.vendor_name, QSFP_VENDOR_NAME_LEN);
    std::memcpy(info.vendor_oui, id + layout.oui, sizeof info.vendor_oui);
    copy_text(info.vendor_pn, id + layout.part, QSFP_VENDOR_PN_LEN);
    copy_text(info.vendor_rev, id + layout.revision, QSFP_VENDOR_REV_LEN);
    copy_text(info.serial_number, id + layout.serial, QSFP_SERIAL_LEN);
    copy_text(info.date_code, id + layout.date_code, QSFP_DATE_CODE_LEN);
    state(port).hw_info_valid = 1;
}

void set_description(qsfp_port_ctx *port, const char *text) {
    std::snprintf(port->hw_info.qsfp_type_str, sizeof port->hw_info.qsfp_type_str, "%s", text);
}

void set_pid(qsfp_port_ctx *port, const char *text) {
    std::snprintf(port->hw_info.pid, sizeof port->hw_info.pid, "%s", text);
}

void set_revision_vid(qsfp_port_ctx *port, std::uint8_t revision) {
    char text[8];
    std::snprintf(text, sizeof text, "%d.%d", revision >> 4, revision & 0x0F);
    std::snprintf(port->hw_info.vid, sizeof port->hw_info.vid, "%.*s", QSFP_VID_LEN, text);
}

}  // namespace qsfp::cmis
