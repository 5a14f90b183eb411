#include "port_session.h"

#include <cstring>
#include <stdexcept>
#include <unistd.h>

#include <qsfp/platform_ref.h>
#include <qsfp/qsfp.h>
#include <qsfp/sim/virtual_clock.h>

#include "cmis_datapath.h"

namespace qsfpctl {

namespace {

// Lanes a port manager puts in service at insertion: the four of an
// SFF-8636 module, the eight media lanes of a QSFP-DD.
constexpr std::uint32_t kSff8636Lanes = 0x0F;
constexpr std::uint32_t kCmisLanes = 0xFF;
// Past every settle period a bring-up hands to the cool timer: the longest is
// a cooled transmitter without a usable TEC-ready flag (10 s).
constexpr useconds_t kSettleWaitUs = 11000000;
// What every backend answers when no module acknowledges (ENXIO).
constexpr std::uint32_t kNoModule = 6;

// One event manager for the process: the library keeps the one it was given
// at its first port creation for as long as the process lives. Virtual time:
// settle timers only run on the emulated card, whose time is virtual.
void *event_manager() {
    static void *evm = [] {
        void *made = qsfp_ref_event_manager_new(QSFP_REF_VIRTUAL_TIME);
        qsfp::sim::VirtualClock::instance().drive(event_manager_levm_get(made));
        return made;
    }();
    return evm;
}

DriverKind bound_driver(const qsfp_port_ctx *port) {
    if (std::memcmp(&port->fvt, &qsfp_fvt, sizeof qsfp_fvt) == 0) return DriverKind::sff8636;
    // A CMIS 4.0 module's port carries other enable and disable slots in its
    // copy of the CMIS table: its bring-up slot tells the table.
    if (port->fvt.device_init != nullptr && port->fvt.device_init == qsfp_dd_fvt.device_init) return DriverKind::cmis;
    if (std::memcmp(&port->fvt, &qsfp_dd_coh_dsp_fvt, sizeof qsfp_dd_coh_dsp_fvt) == 0) return DriverKind::coherent;
    return DriverKind::none;
}

}  // namespace

const char *driver_name(DriverKind kind) {
    switch (kind) {
    case DriverKind::sff8636: return "sff8636";
    case DriverKind::cmis: return "cmis";
    case DriverKind::coherent: return "coherent";
    case DriverKind::none: break;
    }
    return "none";
}

PortSession::PortSession(CageList &cages, bool virtual_time, AccessLog *log) : cages_(cages), ports_(cages.size()) {
    bool real = false;
    for (std::size_t i = 0; i < cages_.size(); ++i) {
        const CageAccess access = cages_[i]->access();
        real = real || access.real_time;
        taps_.push_back(std::make_unique<CageTap>(i + 1, access, log));
        if (log != nullptr) {
            log->cage({i + 1, cages_[i]->describe(), access.direct_page, access.writable, access.bring_up});
        }
    }
    qsfp::sim::VirtualClock::instance().set_real_time(real && !virtual_time);
}

PortSession::~PortSession() {
    for (const auto &port : ports_) {
        if (port && port->handle != nullptr) {
            qsfp_port_delete(port->handle);
        }
    }
}

OpenPort PortSession::create(std::size_t cage) {
    OpenPort port;
    port.cage = cage;
    port.access = taps_.at(cage - 1)->tapped();
    qsfp_port_create_params params{};
    params.opaque = port.access.opaque;
    params.port = static_cast<std::uint32_t>(cage);
    params.evm = event_manager();
    params.read = port.access.read;
    params.write = port.access.write;
    params.bit_bang_read = port.access.bit_bang_read;
    params.init_arg = port.access.bring_up ? 1 : 0;
    params.is_direct_page_rd_support = port.access.direct_page ? 1 : 0;
    params.is_direct_page_wr_support = port.access.direct_page ? 1 : 0;
    qsfp_port_create_result result{};
    port.create_rc = qsfp_port_create(&params, &result);
    port.handle = result.handle;
    if (port.handle != nullptr) {
        port.driver = bound_driver(port.handle);
    }
    if (port.driver == DriverKind::coherent && port.create_rc == QSFP_OK) {
        // The DSP keeps performance statistics only while monitoring runs; a
        // port manager starts it with the port, and so does the tool, so that
        // `status` and `metrics` have the DSP's readings to show.
        qsfp_coh_perf_mon_config monitoring{};
        monitoring.config[1] = 1;
        qsfp_module_config_perf_mon(port.handle, &monitoring);
    }
    if (port.driver == DriverKind::none) {
        // Creation failed before a driver was bound: find out whether anything
        // answers in the cage at all.
        std::uint8_t identifier = 0;
        port.empty = port.create_rc == kNoModule ||
                     (port.handle != nullptr && qsfp_port_read(port.handle, 0, 0, 1, &identifier) == kNoModule);
    }
    return port;
}

namespace {

// Puts a newly created port in service as a port manager does at insertion;
// true when its lanes need the settle period that open() waits out for all.
bool bring_into_service(const OpenPort &port) {
    if (!port.access.bring_up || port.create_rc != QSFP_OK) return false;
    switch (port.driver) {
    case DriverKind::sff8636:
        qsfp_port_admin_state(port.handle, 0, 1, kSff8636Lanes);
        return true;
    case DriverKind::cmis:
        // Every media lane; a passive cable has no datapath to enable.
        if (port.handle->flat_mem == 0) qsfp_port_admin_state(port.handle, 0, 1, kCmisLanes);
        return false;
    case DriverKind::coherent:
        // Admin-up is laser on; the datapath then initialises, which takes a
        // ZR tens of seconds.
        qsfp_port_admin_state(port.handle, 0, 1, kCmisLanes);
        wait_datapaths_activated(port);
        return false;
    case DriverKind::none: break;
    }
    return false;
}

}  // namespace

void PortSession::open(const std::vector<std::size_t> &cages) {
    bool settle = false;
    for (const std::size_t cage : cages) {
        if (ports_.at(cage - 1)) {
            continue;
        }
        OpenPort port = create(cage);
        settle = bring_into_service(port) || settle;
        ports_[cage - 1] = port;
    }
    if (settle) {
        usleep(kSettleWaitUs);
    }
}

void PortSession::open_all() {
    std::vector<std::size_t> all;
    for (std::size_t cage = 1; cage <= cages_.size(); ++cage) {
        all.push_back(cage);
    }
    open(all);
}

const OpenPort &PortSession::port(std::size_t cage) const {
    const auto &port = ports_.at(cage - 1);
    if (!port) {
        throw std::logic_error("port of a cage that was not opened");
    }
    return *port;
}

}  // namespace qsfpctl
