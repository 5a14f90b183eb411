// Classification of a CMIS module: a qualifying maker's extended identifier,
// else the first advertised application that a row of the application table
// recognises; then the type's description, PID and flags.
#include <cstdio>
#include <cstring>
#include <string_view>

#include "cmis/driver.h"
#include "cmis/identity.h"
#include "cmis/type_tables.h"
#include "framework/trace.h"

namespace qsfp::cmis {

namespace {

// Maker's extended identifiers 5-15 name types 0xC1-0xCB in order.
constexpr std::uint8_t kFirstExtendedId = 5;
constexpr std::uint8_t kLastExtendedId = 15;
constexpr std::uint32_t kMultiplierShift = 6;
constexpr std::uint8_t kLengthBase = 0x3F;
constexpr std::size_t kLengthTextRoom = 7;  // at most 6 characters

void clear_type(qsfp_port_ctx *port) {
    port->hw_info.qsfp_type = 0;
    port->hw_info.qsfp_type_str[0] = '\0';
}

void type_from_extended_id(qsfp_port_ctx *port, const std::uint8_t *id) {
    const std::uint8_t ext = id[kMakerExtendedId];
    trace_evt(port, "Korva HDX: Extended Id (0x%x)\n", ext);
    if (ext >= kFirstExtendedId && ext <= kLastExtendedId) {
        port->hw_info.qsfp_type = QSFP_DD_TYPE_400G_COPPER + (ext - kFirstExtendedId);
    } else {
        trace_evt(port, "Korva HDX, with an unknown extended Id (0x%x)\n", ext);
    }
}

bool row_matches(const AppRow &row, std::uint8_t media_type, const std::uint8_t *app) {
    return row.media_type == media_type && row.host_interface == app[kAppHostInterface] &&
           row.lane_counts == app[kAppLaneCounts] &&
           (row.media_interface == 0 || row.media_interface == app[kAppMediaInterface]);
}

// A DR4 whose single-mode reach byte says 2 km is the DR4 variant.
void check_dr4_reach(qsfp_port_ctx *port) {
    std::uint8_t length = 0;
    if (qsfp_access(port, kSmfLength, 1, kPage01, &length, QSFP_ACCESS_READ) != QSFP_OK) {
        trace_err(port, "QSFP-DD length read error. Optics Type:%d. Optics will be considered as 400G-DR4 type.\n",
                  port->hw_info.qsfp_type);
        return;
    }
    if (length == kDr4LongReach) {
        port->hw_info.qsfp_type = QSFP_DD_TYPE_400G_DR4_2KM;
    }
    trace_evt(port, "QSFP-DD length %d, type %d vendor_pn %s\n", length, port->hw_info.qsfp_type,
              port->hw_info.vendor_pn);
}

void take_row_type(qsfp_port_ctx *port, const AppRow &row) {
    port->hw_info.qsfp_type = row.type;
    if (row.type == QSFP_DD_TYPE_400G_ZR) {
        trace_evt(port, "check and update ZR module type \n");
        qsfp_dd_port_update_coherent_moudle_type(port);
        if (port->hw_info.qsfp_type == QSFP_DD_TYPE_400G_ZRP) {
            trace_evt(port, "ZR module updated to ZRPlus \n");
        }
    } else if (row.type == QSFP_DD_TYPE_400G_DR4) {
        check_dr4_reach(port);
    }
}

// Walks the advertised applications; the first one a row recognises decides.
void type_from_applications(qsfp_port_ctx *port) {
    const State &s = state(port);
    trace_evt(port, "Matching the App Advertisements\n");
    for (std::uint32_t i = 0; i < kApplications; ++i) {
        const std::uint8_t *app = s.apps[i];
        if (s.revision != kRevision20 && app[kAppLaneCounts] == 0) {
            trace_evt(port, "App Advert Entry %d: Exhausted all valid app entries\n", i + 1);
            return;
        }
        for (const AppRow &row : kApplicationTypes) {
            if (row_matches(row, s.media_type, app)) {
                take_row_type(port, row);
                trace_evt(port, "Found our type! 0x%x\n", port->hw_info.qsfp_type);
                return;
            }
        }
        trace_evt(port, "AppCode %d: Module Type 0x%x Host Elect Intf 0x%x\n", i + 1, s.media_type,
                  app[kAppHostInterface]);
        trace_evt(port, "Module Media Intf 0x%x Host Media lane 0x%x", app[kAppMediaInterface],
                  app[kAppLaneCounts]);
    }
}

// Upper byte 202: before revision 2.8 a plain length in metres; from 2.8 a
// base (bits 5-0) times 0.1, 1, 10 or 100 (bits 7-6).
void cable_length_text(const qsfp_port_ctx *port, std::uint8_t raw, char (&text)[kLengthTextRoom]) {
    if (state(port).revision < kRevision28) {
        std::snprintf(text, sizeof text, "%dM", raw);
        return;
    }
    const int base = raw & kLengthBase;
    switch (raw >> kMultiplierShift) {
    case 0: std::snprintf(text, sizeof text, "%.1fM", base * 0.1); break;
    case 1: std::snprintf(text, sizeof text, "%dM", base); break;
    case 2: std::snprintf(text, sizeof text, "%dM", base * 10); break;
    default: std::snprintf(text, sizeof text, "%dM", base * 100); break;
    }
}

// The PID of a module of another maker: the row's, with the cable length in
// place of "%s".
void basic_pid(qsfp_port_ctx *port, const TypeRow *row, const std::uint8_t *id) {
    char *pid = port->hw_info.pid;
    if (row == nullptr) {
        std::snprintf(pid, sizeof port->hw_info.pid, "%s", kUnknownPid);
        return;
    }
    const std::string_view pattern = row->pid;
    if (!pattern.ends_with("%s")) {
        std::snprintf(pid, sizeof port->hw_info.pid, "%s", row->pid);
        return;
    }
    char length[kLengthTextRoom];
    cable_length_text(port, id[kCableLength], length);
    std::snprintf(pid, sizeof port->hw_info.pid, "%.*s%s", static_cast<int>(pattern.size() - 2), row->pid, length);
}

// Our own modules carry their VID and PID in page 03h, or in lower memory
// when the memory is flat.
void qualified_pid(qsfp_port_ctx *port, const std::uint8_t *id) {
    qsfp_hw_info &info = port->hw_info;
    if (port->flat_mem == 0) {
        std::uint8_t vid[QSFP_VID_LEN] = {};
        std::uint8_t pid[QSFP_PID_LEN] = {};
        if (qsfp_access(port, kMakerVid, sizeof vid, kPage03, vid, QSFP_ACCESS_READ) != QSFP_OK) {
            trace_err(port, "QSFP Upper Page 3 Korva VID (bytes 0x%x) Read error\n", kMakerVid);
        } else {
            copy_text(info.vid, vid, sizeof vid);
        }
        if (qsfp_access(port, kMakerPid, sizeof pid, kPage03, pid, QSFP_ACCESS_READ) != QSFP_OK) {
            trace_err(port, "QSFP Upper Page 3 Korva PID (bytes 0x%x) Read error\n", kMakerVid);
        } else {
            copy_text(info.pid, pid, sizeof pid);
        }
    } else {
        copy_text(info.vid, id + kFlatMakerVid, QSFP_VID_LEN);
        copy_text(info.pid, id + kFlatMakerPid, QSFP_PID_LEN);
    }
    trace_evt(port, "Flat: %d VID: %s. PID: %s\n", port->flat_mem, info.vid, info.pid);
}

void describe_type(qsfp_port_ctx *port, const std::uint8_t *id) {
    State &s = state(port);
    const std::uint32_t type = port->hw_info.qsfp_type;
    const TypeRow *row = find_type(type);
    if (row == nullptr) {
        trace_evt(port, "Found our type (0x%x), but can't find our entry in type table\n", type);
        set_description(port, kUnknownDescription);
    } else {
        port->is_copper = row->flat ? 1 : 0;
        port->flat_mem = row->flat ? 1 : 0;
        s.passive = row->passive ? 1 : 0;
        set_description(port, row->description);
    }
    if (s.qualified == 0) {
        basic_pid(port, row, id);
    } else {
        qualified_pid(port, id);
    }
    if (type >= QSFP_DD_TYPE_2X100G_SR4 && type <= QSFP_DD_TYPE_2X100G_LR4) {
        port->rate = 200;
    }
}

}  // namespace

}  // namespace qsfp::cmis

using namespace qsfp::cmis;

extern "C" void qsfp_dd_port_identify_type(qsfp_port_ctx *port, const uint8_t *id) {
    if (port == nullptr || id == nullptr) {
        return;
    }
    State &s = state(port);
    clear_type(port);
    if (s.qualified != 0) {
        type_from_extended_id(port, id);
    }
    s.media_type = id[kMediaType];
    std::memcpy(s.apps, id + kAppDescriptors, sizeof s.apps);
    if (port->hw_info.qsfp_type == 0) {
        type_from_applications(port);
    } else {
        trace_evt(port, "Korva HDX. Type 0x%x\n", port->hw_info.qsfp_type);
    }
    if (port->hw_info.qsfp_type != 0) {
        describe_type(port, id);
    } else {
        set_description(port, kUnknownDescription);
    }
    trace_evt(port, "QSFP qsfp_type = 0x%x, qsfp_type_str = %s\n", port->hw_info.qsfp_type,
              port->hw_info.qsfp_type_str);
}

extern "C" void qsfp_dd_port_update_coherent_moudle_type(qsfp_port_ctx *port) {
    if (port == nullptr) {
        return;
    }
    const State &s = state(port);
    for (const auto &app : s.apps) {
        for (const AppRow &row : kApplicationTypes) {
            if (row.type == QSFP_DD_TYPE_400G_ZRP && row.media_type == s.media_type &&
                row.host_interface == app[kAppHostInterface] && row.media_interface == app[kAppMediaInterface] &&
                row.lane_counts == app[kAppLaneCounts]) {
                if (port->hw_info.qsfp_type != QSFP_DD_TYPE_400G_ZRP) {
                    trace_evt(port, "change coherent module type as ZRP, in-type %d, out-type %d \n",
                              port->hw_info.qsfp_type, QSFP_DD_TYPE_400G_ZRP);
                }
                port->hw_info.qsfp_type = QSFP_DD_TYPE_400G_ZRP;
                return;
            }
        }
    }
}
