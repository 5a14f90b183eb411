// Demonstration of the library on the built-in emulated line card: every cage
// holds a catalogue module (or nothing); each port is created with hardware
// initialisation, brought up, and shown with its inventory, live status and
// the bus traffic it cost. QSFP-DD cages hold CMIS modules, which are only
// identified until the CMIS driver exists. Time is virtual: settle periods
// take no wall time.
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

const char *table_name(const qsfp_port_ctx *port) {
    if (std::memcmp(&port->fvt, &qsfp_fvt, sizeof qsfp_fvt) == 0) return "qsfp_fvt";
    if (std::memcmp(&port->fvt, &qsfp_dd_fvt, sizeof qsfp_dd_fvt) == 0) return "qsfp_dd_fvt";
    return "none";
}

// What a port whose driver table has no bring-up yet can show: the identity
// read from the module through the library's register access.
void print_identity(qsfp_port_ctx *port) {
    std::uint8_t lower[3] = {};
    char vendor[17] = {};
    char part[17] = {};
    if (qsfp_check_and_lock_hdl(port, __LINE__) != QSFP_OK) {
        std::printf("         port not available\n");
        return;
    }
    const std::uint32_t rc = qsfp_access(port, 0, sizeof lower, 0, lower, QSFP_ACCESS_READ) |
                             qsfp_access(port, 129, 16, 0, vendor, QSFP_ACCESS_READ) |
                             qsfp_access(port, 148, 16, 0, part, QSFP_ACCESS_READ);
    qsfp_port_unlock(port);
    if (rc != QSFP_OK) {
        std::printf("         identity not readable (rc 0x%x)\n", rc);
        return;
    }
    std::printf("         identifier 0x%02x  CMIS %u.%u  %s memory  vendor %s pn %s\n", lower[0], lower[1] >> 4,
                lower[1] & 0x0F, (lower[2] & 0x80) ? "flat" : "paged", vendor, part);
    std::printf("         no CMIS driver yet: identified only, not brought up\n");
}

void print_port(qsfp_port_ctx *port, const char *cage, std::uint32_t create_rc) {
    std::printf("port %2u  %-20s create rc 0x%-8x table %-11s rate %3u\n", port->port, cage, create_rc,
                table_name(port), port->rate);
    if (std::memcmp(&port->fvt, &qsfp_dd_fvt, sizeof qsfp_dd_fvt) == 0) {
        print_identity(port);
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
