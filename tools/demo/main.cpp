// Demonstration of the library on the built-in emulated line card: every cage
// holds a catalogue module (or nothing); each port is created with hardware
// initialisation, brought up, and shown with its inventory, live status and
// the bus traffic it cost. QSFP-DD cages hold CMIS modules: brought up,
// configured for their default mode and enabled; a ZR module is handed to the
// coherent table. Time is virtual: settle periods take no wall time.
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <unistd.h>
#include <vector>

#include <qsfp/platform_ref.h>
#include <qsfp/qsfp.h>
#include <qsfp/qsfp_port_ops.h>
#include <qsfp/sim/line_card.h>
#include <qsfp/sim/virtual_clock.h>

namespace {

using qsfp::sim::LineCard;

constexpr const char *kCages[] = {
    "100G-SR4",       "KORVA-100G-LR4-TEC", "100G-PSM4",  "100G-CR4-FLAT", "100G-DWDM2",
    "40G-SR4",        "KORVA-40G-LR4",      "40G-CR4-FLAT", "100G-AOC",     nullptr,
    // QSFP-DD cages: CMIS modules.
    "400G-FR4",       "KORVA-400G-DR4",     "400G-CR8-FLAT", "400G-ZR",
};

// The table a port runs on; a CMIS 4.0 module's port has the 4.0 enable and
// disable slots in its copy of the CMIS table.
const char *table_name(const qsfp_port_ctx *port) {
    if (std::memcmp(&port->fvt, &qsfp_fvt, sizeof qsfp_fvt) == 0) return "qsfp_fvt";
    if (port->fvt.device_init == qsfp_dd_fvt.device_init) return "qsfp_dd_fvt";
    if (std::memcmp(&port->fvt, &qsfp_dd_coh_dsp_fvt, sizeof qsfp_dd_coh_dsp_fvt) == 0) return "qsfp_dd_coh_dsp_fvt";
    return "none";
}

// A QSFP-DD port: what bring-up found, the application it programmed, and
// the datapath state of each host lane (page 11h) after the port was enabled.
void print_cmis_port(qsfp_port_ctx *port) {
    std::uint32_t type = 0;
    char description[QSFP_TYPE_STR_LEN + 1] = {};
    std::uint32_t qualified = 0;
    const std::uint32_t rc = qsfp_port_type(port, &type, description, sizeof description, &qualified);
    if (rc != QSFP_OK) {
        std::printf("         no type (rc 0x%x)\n", rc);
        return;
    }
    const qsfp_hw_info &info = port->hw_info;
    std::printf("         type 0x%02x %-28s vendor %-16s pn %-16s sn %-16s pid %s%s\n", type, description,
                info.vendor_name, info.vendor_pn, info.serial_number, info.pid, qualified ? " (qualified)" : "");
    std::uint8_t states[4] = {};
    std::uint8_t active[8] = {};
    if (port->flat_mem != 0) {
        std::printf("         flat-memory cable: nothing to configure\n");
    } else if (qsfp_port_read(port, 128, 0x11, sizeof states, states) == QSFP_OK &&
               qsfp_port_read(port, 206, 0x11, sizeof active, active) == QSFP_OK) {
        std::uint32_t mode = port->port_mode;
        const bool by_default = mode == QSFP_DD_OPER_MODE_DEFAULT && qsfp_dd_port_get_default_oper_mode(port, &mode) == QSFP_OK;
        std::printf("         oper mode %u%s, application %u active; datapath states", mode, by_default ? " (default)" : "",
                    active[0] >> 4);
        for (int lane = 0; lane < 8; ++lane) std::printf(" %u", (states[lane / 2] >> (4 * (lane % 2))) & 0x0F);
        std::printf(" (4 = activated)\n");
    }
}

void print_port(qsfp_port_ctx *port, const char *cage, std::uint32_t create_rc) {
    std::printf("port %2u  %-20s create rc 0x%-8x table %-11s rate %3u\n", port->port, cage, create_rc,
                table_name(port), port->rate);
    if (port->rate == 400 || port->rate == 200) {
        print_cmis_port(port);
        return;
    }
    qsfp_hw_info info{};
    qsfp_hw_status status{};
    const std::uint32_t info_rc = qsfp_port_hw_info(port, &info);
    const std::uint32_t status_rc = qsfp_port_hw_status(port, &status);
    if (info_rc != QSFP_OK) {
        std::printf("         no inventory (rc 0x%x)\n", info_rc);
        return;
    }
    std::printf("         type %3u %-34s vendor %-16s pn %-16s sn %-16s pid %s\n", info.qsfp_type, info.qsfp_type_str,
                info.vendor_name, info.vendor_pn, info.serial_number, info.pid);
    if (status_rc == QSFP_OK && port->flat_mem != 0) {
        std::printf("         no monitors (flat-memory cable)\n");
    } else if (status_rc == QSFP_OK) {
        std::printf("         %.2f C  %.3f V  rx", status.temperature, status.vcc);
        for (int lane = 0; lane < 4; ++lane) std::printf(" %.2f", status.rx_power_dbm[lane]);
        std::printf(" dBm  bias");
        for (int lane = 0; lane < 4; ++lane) std::printf(" %.1f", status.tx_bias_ma[lane]);
        std::printf(" mA%s\n", status.vdm_present ? "  (versatile diagnostics)" : "");
    } else {
        std::printf("         no live status (rc 0x%x)\n", status_rc);
    }
}

}  // namespace

int main() {
    void *evm = qsfp_ref_event_manager_new(QSFP_REF_VIRTUAL_TIME);
    auto &clock = qsfp::sim::VirtualClock::instance();
    clock.drive(event_manager_levm_get(evm));

    LineCard card(std::size(kCages));
    std::vector<qsfp_port_ctx *> ports;
    std::vector<std::uint32_t> rcs;
    for (std::size_t i = 0; i < card.size(); ++i) {
        if (kCages[i] != nullptr && !card.insert(i, kCages[i])) {
            std::fprintf(stderr, "no catalogue module %s\n", kCages[i]);
            return 1;
        }
        qsfp_port_create_params params = card.params(i, evm);
        params.init_arg = 1;  // bring the module up
        qsfp_port_create_result result{};
        rcs.push_back(qsfp_port_create(&params, &result));
        ports.push_back(result.handle);
        if (result.handle != nullptr) {
            qsfp_port_admin_state(result.handle, 0, 1, 0x0F);
        }
    }
    const std::uint64_t start = clock.now_ns();
    usleep(11000000);  // past every settle period (virtual time)

    std::printf("Emulated line card, %zu cages, settled after %.1f s of virtual time\n\n", card.size(),
                (clock.now_ns() - start) / 1e9);
    for (std::size_t i = 0; i < ports.size(); ++i) {
        if (ports[i] == nullptr) continue;
        print_port(ports[i], kCages[i] != nullptr ? kCages[i] : "(empty cage)", rcs[i]);
        const qsfp::sim::BusStats bus = card.cage(i).stats();
        std::printf("         bus: %llu transactions, %llu bytes, %llu page selects, %.1f ms at 400 kHz\n\n",
                    static_cast<unsigned long long>(bus.transactions),
                    static_cast<unsigned long long>(bus.bytes_read + bus.bytes_written),
                    static_cast<unsigned long long>(bus.page_select_writes), bus.seconds_at(qsfp::sim::kBus400kHz) * 1e3);
    }
    for (qsfp_port_ctx *port : ports) {
        if (port != nullptr) qsfp_port_delete(port);
    }
    std::printf("error trace \"qsfp_err\":\n");
    ztrace_ref_dump(ztrace_ref_find("qsfp_err"), stdout);
    return 0;
}
