#include "module_identity.h"

#include "memory_family.h"

#include <array>
#include <cstdio>
#include <string_view>

#include <qsfp/qsfp_port_ops.h>

namespace qsfpctl {

namespace {

struct FormFactor {
    std::uint8_t identifier;
    std::string_view name;
};

// Identifier codes (lower byte 0) of the modules this library drives (SFF-8024).
constexpr std::array kFormFactors = {
    FormFactor{0x0C, "QSFP"},          FormFactor{0x0D, "QSFP+"},       FormFactor{0x11, "QSFP28"},
    FormFactor{0x18, "QSFP-DD"},       FormFactor{0x19, "OSFP"},        FormFactor{0x1E, "QSFP+ (CMIS)"},
};

struct TextField {
    std::uint8_t reg;
    std::uint8_t len;
};

// Page 00h text fields: vendor name, part number and serial number.
struct TextFields {
    TextField vendor, part, serial;
};
constexpr TextFields kSff8636Fields{{148, 16}, {168, 16}, {196, 16}};
constexpr TextFields kCmisFields{{129, 16}, {148, 16}, {166, 16}};
constexpr std::uint8_t kIdentifierReg = 0;

std::string trimmed(const char *text, std::size_t len) {
    std::string s(text, len);
    s.erase(s.find_first_of('\0') == std::string::npos ? s.size() : s.find_first_of('\0'));
    s.erase(s.find_last_not_of(' ') + 1);
    for (char &c : s) {
        if (static_cast<unsigned char>(c) < 0x20 || static_cast<unsigned char>(c) > 0x7E) c = '?';
    }
    return s;
}

std::uint32_t read_text(qsfp_port_ctx *port, TextField field, std::string &out) {
    char text[16] = {};
    const std::uint32_t rc = qsfp_port_read(port, field.reg, 0, field.len, text);
    if (rc == QSFP_OK) {
        out = trimmed(text, field.len);
    }
    return rc;
}

void from_registers(const OpenPort &port, ModuleIdentity &id) {
    const TextFields &fields = memory_family(id.identifier) == MemoryFamily::cmis ? kCmisFields : kSff8636Fields;
    id.type = id.form_factor;
    // A driver without an inventory operation may still name the type.
    std::uint32_t type = 0;
    char description[QSFP_TYPE_STR_LEN + 1] = {};
    if (port.create_rc == QSFP_OK &&
        qsfp_port_type(port.handle, &type, description, sizeof description, nullptr) == QSFP_OK && type != 0) {
        id.type_code = type;
        id.type = description;
    }
    std::uint32_t rc = read_text(port.handle, fields.vendor, id.vendor);
    rc = rc != QSFP_OK ? rc : read_text(port.handle, fields.part, id.part_number);
    rc = rc != QSFP_OK ? rc : read_text(port.handle, fields.serial, id.serial);
    id.rc = rc;
}

// The driver's inventory when it has one; the module's own text fields when
// the driver has none or its bring-up stopped before the inventory.
void from_inventory(const OpenPort &port, ModuleIdentity &id) {
    qsfp_hw_info info{};
    if (port.create_rc != QSFP_OK || qsfp_port_hw_info(port.handle, &info) != QSFP_OK) {
        from_registers(port, id);
        return;
    }
    id.type_code = info.qsfp_type;
    id.type = info.qsfp_type_str;
    id.vendor = info.vendor_name;
    id.part_number = info.vendor_pn;
    id.serial = info.serial_number;
}

}  // namespace

std::string form_factor_name(std::uint8_t identifier) {
    for (const FormFactor &f : kFormFactors) {
        if (f.identifier == identifier) return std::string(f.name);
    }
    char text[24];
    std::snprintf(text, sizeof text, "unknown (0x%02x)", identifier);
    return text;
}

ModuleIdentity identify(const OpenPort &port) {
    ModuleIdentity id;
    id.rc = qsfp_port_read(port.handle, kIdentifierReg, 0, 1, &id.identifier);
    if (id.rc != QSFP_OK) {
        return id;
    }
    id.form_factor = form_factor_name(id.identifier);
    std::uint32_t rate = 0;
    if (qsfp_port_rate(port.handle, &rate) == QSFP_OK) {
        id.rate_gbps = rate;
    }
    if (port.driver == DriverKind::sff8636) {
        from_inventory(port, id);
    } else {
        from_registers(port, id);
    }
    return id;
}

}  // namespace qsfpctl
