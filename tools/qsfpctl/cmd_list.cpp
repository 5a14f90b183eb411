// `list`: one line per cage, as the library identifies its module.
#include <nlohmann/json.hpp>

#include <qsfp/qsfp.h>

#include "cmis_datapath.h"
#include "coherent_view.h"
#include "commands.h"
#include "exit_codes.h"
#include "json_value.h"
#include "library_answer.h"
#include "module_identity.h"
#include "status_summary.h"
#include "text_table.h"

namespace qsfpctl {

namespace {

struct CageLine {
    std::size_t cage;
    bool present = false;
    std::string driver = "none";
    std::uint32_t create_rc = 0;
    ModuleIdentity id;
    std::string state;
};

// The port's condition in a few words: ready and transmitting, or why not.
std::string sff8636_state(const OpenPort &port) {
    if (port.create_rc != QSFP_OK) {
        return "bring-up failed: " + rc_text(port.create_rc);
    }
    if (port.handle->flat_mem != 0) {
        return "ready (no monitors: flat memory)";
    }
    qsfp_hw_status status{};
    const std::uint32_t rc = qsfp_port_hw_status(port.handle, &status);
    if (rc != QSFP_OK) {
        return "ready, no live status: " + rc_text(rc);
    }
    const FlagSummary f = summarize(status);
    std::string state = "ready";
    if (f.tx_off == status_lanes(status)) state += ", Tx off";
    else if (f.tx_off != 0) state += ", Tx off on " + std::to_string(f.tx_off) + " lanes";
    if (f.alarm) state += ", ALARM";
    if (f.warning) state += ", warning";
    if (f.rx_los) state += ", Rx LOS";
    return state;
}

// A QSFP-DD port: the application bring-up left active and where its
// datapaths stand (page 11h), until the CMIS driver has a live status.
std::string cmis_state(const OpenPort &port) {
    if (port.create_rc != QSFP_OK) {
        return "bring-up failed: " + rc_text(port.create_rc);
    }
    if (port.handle->flat_mem != 0) {
        return "ready (passive cable: nothing to configure)";
    }
    const std::optional<DatapathCount> count = datapath_count(port);
    std::uint8_t active = 0;
    if (!count || qsfp_port_read(port.handle, 206, 0x11, 1, &active) != QSFP_OK) {
        return "ready, datapath state not readable";
    }
    const int activated = count->activated;
    const std::string lanes = activated == 8 ? "all datapaths activated"
                              : activated == 0 ? "datapaths deactivated"
                                               : std::to_string(activated) + " of 8 datapaths activated";
    return "application " + std::to_string(active >> 4) + ", " + lanes;
}

// A coherent port: the DSP's view from the coherent section of the status
// record (laser, signal lock, frame alignment, alarm words).
std::string coherent_state(const OpenPort &port) {
    if (port.create_rc != QSFP_OK) {
        return "bring-up failed: " + rc_text(port.create_rc);
    }
    qsfp_hw_status status{};
    const std::uint32_t rc = qsfp_port_hw_status(port.handle, &status);
    if (rc != QSFP_OK) {
        return "coherent DSP, no live status: " + rc_text(rc);
    }
    const DspState d = dsp_state(status);
    std::string state = std::string("coherent DSP, laser ") + (d.laser_on ? "on" : "off");
    state += d.signal_locked ? ", signal locked" : ", no signal";
    if (d.signal_locked) {
        state += d.frames_aligned ? ", frames aligned" : ", frames not aligned";
    }
    return d.alarm ? state + ", ALARM" : state;
}

CageLine describe(const OpenPort &port) {
    CageLine line;
    line.cage = port.cage;
    line.create_rc = port.create_rc;
    if (port.empty || port.handle == nullptr) {
        line.state = port.empty ? "empty" : "no port: " + rc_text(port.create_rc);
        return line;
    }
    line.present = true;
    line.driver = driver_name(port.driver);
    line.id = identify(port);
    if (line.id.rc != QSFP_OK) {
        line.state = "identity not readable: " + rc_text(line.id.rc);
    } else if (port.driver == DriverKind::sff8636) {
        line.state = sff8636_state(port);
    } else if (port.driver == DriverKind::cmis) {
        line.state = cmis_state(port);
    } else if (port.driver == DriverKind::coherent) {
        line.state = coherent_state(port);
    } else {
        line.state = "no driver for this module: " + rc_text(port.create_rc);
    }
    return line;
}

nlohmann::json to_json(const CageLine &l) {
    nlohmann::json j = {{"cage", l.cage}, {"present", l.present}, {"driver", l.driver},
                        {"create_rc", l.create_rc}, {"state", l.state}};
    if (l.present) {
        j["identifier"] = l.id.identifier;
        j["form_factor"] = l.id.form_factor;
        j["type_code"] = l.id.type_code;
        j["type"] = l.id.type;
        j["vendor"] = l.id.vendor;
        j["part_number"] = l.id.part_number;
        j["serial"] = l.id.serial;
        j["rate_gbps"] = l.id.rate_gbps;
    }
    return j;
}

std::string rate_text(std::uint32_t rate) { return rate == 0 ? "-" : std::to_string(rate) + "G"; }

}  // namespace

int cmd_list(Context &ctx, bool json) {
    ctx.session.open_all();
    std::vector<CageLine> lines;
    for (std::size_t cage = 1; cage <= ctx.session.cage_count(); ++cage) {
        lines.push_back(describe(ctx.session.port(cage)));
    }
    if (json) {
        nlohmann::json cages = nlohmann::json::array();
        for (const CageLine &l : lines) cages.push_back(to_json(l));
        ctx.out << json_text({{"cages", cages}}) << '\n';
        return kExitOk;
    }
    TextTable table({"CAGE", "TYPE", "VENDOR", "PART NUMBER", "SERIAL", "RATE", "STATE"});
    for (const CageLine &l : lines) {
        if (!l.present) {
            table.add({std::to_string(l.cage), "-", "-", "-", "-", "-", l.state});
            continue;
        }
        table.add({std::to_string(l.cage), l.id.type.empty() ? "-" : l.id.type, l.id.vendor, l.id.part_number,
                   l.id.serial, rate_text(l.id.rate_gbps), l.state});
    }
    table.print(ctx.out);
    return kExitOk;
}

}  // namespace qsfpctl
