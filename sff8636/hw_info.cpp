// The module's inventory: vendor strings, maker data and the checksum result,
// saved at bring-up and handed out whole.
#include <cctype>
#include <cstdio>
#include <cstring>

#include <qsfp/qsfp_compliance.h>

#include "framework/trace.h"
#include "sff8636/basic_pid.h"
#include "sff8636/driver.h"
#include "sff8636/sff8636_regs.h"
#include "sff8636/type_tables.h"

namespace qsfp::sff8636 {

namespace {

const std::uint8_t *field(const std::uint8_t *image, std::uint32_t page, std::uint32_t addr) {
    return image + image_offset(page, addr);
}

// Copies `length` bytes of a fixed-width text field (it may run to its end
// without a NUL).
template <std::size_t N>
void copy_text(char (&out)[N], const std::uint8_t *from, int length) {
    std::snprintf(out, N, "%.*s", length, reinterpret_cast<const char *>(from));
}

bool begins_with(const std::uint8_t *text, const char *prefix) {
    return std::strncmp(reinterpret_cast<const char *>(text), prefix, std::strlen(prefix)) == 0;
}

std::uint32_t set_basic_pid(qsfp_port_ctx *port, std::uint32_t type, char *pid, std::uint32_t length) {
    if (port == nullptr) {
        trace_lib_err("QSFP get non-korva pid : NULL Qsfp Port");
        return QSFP_ERR_INVALID;
    }
    if (pid == nullptr) {
        trace_err(port, "QSFP Non-Korva pid : Null parameters");
        return QSFP_ERR_INVALID;
    }
    std::snprintf(pid, length, "%s", basic_pid(type));
    trace_evt(port, "Qsfp Port Type = 0x%x, PID = %s ", type, pid);
    return QSFP_OK;
}

void trim_fields(qsfp_hw_info &info) {
    trim_trailing_spaces(info.vendor_name, QSFP_VENDOR_NAME_LEN);
    trim_trailing_spaces(info.serial_number, QSFP_SERIAL_LEN);
    trim_trailing_spaces(info.vid, QSFP_VID_LEN);
    trim_trailing_spaces(info.pid, QSFP_PID_LEN);
    trim_trailing_spaces(info.module_pid, QSFP_PID_LEN);
    trim_trailing_spaces(info.clei, QSFP_CLEI_LEN);
    trim_trailing_spaces(info.vendor_pn, QSFP_VENDOR_PN_LEN);
    trim_trailing_spaces(info.vendor_rev, QSFP_VENDOR_REV_LEN);
    trim_trailing_spaces(info.date_code, QSFP_DATE_CODE_LEN);
}

// The image again, for an inventory that was never saved.
std::uint32_t reread_image(qsfp_port_ctx *port, std::uint8_t *image) {
    if (!whole_image_read(port)) {
        return read_image(port, image);
    }
    std::uint32_t rc;
    if (port->flat_mem != 0) {
        rc = qsfp_access(port, 0, kFlatImageBytes, kPage00, image, QSFP_ACCESS_READ);
        if (rc != QSFP_OK) {
            trace_err(port, "errno: qsfp flat mem all page read failed. rc: 0x%x", rc);
        }
        return rc;
    }
    rc = qsfp_access(port, kHalfPage, kHalfPage, kPage00, image + image_offset(kPage00, kHalfPage), QSFP_ACCESS_READ);
    if (rc == QSFP_OK) {
        rc = qsfp_access(port, kHalfPage, kHalfPage, kPage02, image + image_offset(kPage02, kHalfPage), QSFP_ACCESS_READ);
    }
    if (rc != QSFP_OK) {
        trace_err(port, "errno: qsfp paged mem all page read failed. rc: 0x%x", rc);
    }
    return rc;
}

}  // namespace

}  // namespace qsfp::sff8636

using namespace qsfp::sff8636;

extern "C" void trim_trailing_spaces(char *text, int length) {
    if (text == nullptr || length < 1) {
        return;
    }
    int i = length - 1;
    while (i >= 0 && std::isspace(static_cast<unsigned char>(text[i])) != 0) {
        --i;
    }
    text[i + 1] = '\0';
}

extern "C" uint32_t qsfp_port_save_hw_info(qsfp_port_ctx *port, const uint8_t *image) {
    if (port == nullptr || image == nullptr) {
        return QSFP_ERR_INVALID;
    }
    trace_evt(port, "Saving HW Info");
    std::uint32_t type = 0;
    std::uint32_t korva = 0;
    if (const std::uint32_t rc = qsfp_port_get_type(port, &type, nullptr, 0, &korva); rc != QSFP_OK) {
        trace_err(port, "errno: Qsfp HW Info qsfp type read failed. rc: 0x%x", rc);
        return rc;
    }
    const bool flat = port->flat_mem != 0;
    trace_lib_evt(" is flat memory optics : %s ", flat ? "YES" : "NO");
    qsfp_hw_info &info = port->hw_info;
    const std::uint8_t *vendor = field(image, kPage00, kVendorName);
    copy_text(info.vendor_name, vendor, QSFP_VENDOR_NAME_LEN);
    copy_text(info.serial_number, field(image, kPage00, kVendorSerial), QSFP_SERIAL_LEN);
    copy_text(info.vid, flat ? field(image, kPage00, kFlatVid) : field(image, kPage02, kMakerVid), QSFP_VID_LEN);

    const std::uint8_t *own_pid = flat ? field(image, kPage00, kFlatPid) : field(image, kPage02, kMakerPid);
    if (!begins_with(vendor, "KORVA")) {
        if (const std::uint32_t rc = set_basic_pid(port, type, info.pid, sizeof info.pid); rc != QSFP_OK) {
            trace_err(port, "errno: Qsfp hw infonon-korva pid failed. rc: 0x%x", rc);
            return rc;
        }
        copy_text(info.module_pid, own_pid, QSFP_PID_LEN);
    } else {
        copy_text(info.pid, own_pid, QSFP_PID_LEN);
    }

    if (flat) {
        copy_text(info.clei, field(image, kPage00, kFlatClei), QSFP_CLEI_LEN);
    } else if ((image[kExtIdentifier] & kCleiPresent) != 0) {
        copy_text(info.clei, field(image, kPage02, kMakerClei), QSFP_CLEI_LEN);
    }
    copy_text(info.vendor_pn, field(image, kPage00, kVendorPart), QSFP_VENDOR_PN_LEN);
    copy_text(info.vendor_rev, field(image, kPage00, kVendorRev), QSFP_VENDOR_REV_LEN);
    std::memcpy(info.vendor_oui, field(image, kPage00, kVendorOui), sizeof info.vendor_oui);
    info.rev_present = (image[kVendorRev] != 0 || image[kVendorRev + 1] != 0) ? 1 : 0;
    copy_text(info.date_code, field(image, kPage00, kDateCode), QSFP_DATE_CODE_LEN);
    if (!flat) {
        info.any_page = port->any_page;
        info.caller_byte = port->cfg_byte_b;
        if (port->any_page != 0) {
            info.dwdm_channel = image[kDwdmChannel];
        }
    }
    // This module needs its flags read byte by byte, spaced out.
    if (begins_with(vendor, "KORVA-LUMENTUM") && type == kType40GSr4) {
        state(port).bit_bang = 1;
        trace_evt(port, "Byte by byte i2c reads with delay of %u between reads enabled for port %d", kBitBangDelay,
                  port->port);
    }
    std::uint32_t compliance = 0;
    qsfp_xcvr_check_compliance(image, &compliance);
    info.compliance = compliance;
    trim_fields(info);
    state(port).hw_info_saved = compliance == 0 ? 1 : 0;
    return compliance;
}

extern "C" uint32_t qsfp_port_get_hw_info(qsfp_port_ctx *port, qsfp_hw_info *info) {
    if (port == nullptr) {
        return QSFP_ERR_INVALID;
    }
    if (state(port).hw_info_saved == 0) {
        Image image{};
        std::uint32_t rc = reread_image(port, image.data());
        if (rc == QSFP_OK) {
            rc = qsfp_port_save_hw_info(port, image.data());
        }
        if (rc != QSFP_OK) {
            trace_err(port, "Error in saving HW info. rc 0x%x", rc);
            qsfp_port_unlock(port);
            return rc;
        }
    }
    if (info != nullptr) {
        *info = port->hw_info;
    }
    qsfp_port_unlock(port);
    return info != nullptr ? QSFP_OK : QSFP_ERR_INVALID;
}
