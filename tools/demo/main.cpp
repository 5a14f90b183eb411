// Demonstration of the library on the built-in emulated line card: creates a
// port for every cage, prints what each creation found, and deletes them.
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include <qsfp/platform_ref.h>
#include <qsfp/qsfp.h>
#include <qsfp/sim/basic_image.h>
#include <qsfp/sim/line_card.h>
#include <qsfp/sim/virtual_clock.h>

namespace {

using qsfp::sim::LineCard;
using qsfp::sim::Module;

const char *table_name(const qsfp_port_ctx *port) {
    if (port == nullptr) {
        return "-";
    }
    auto same = [&](const qsfp_drv_fvt &t) { return std::memcmp(&port->fvt, &t, sizeof t) == 0; };
    const qsfp_drv_fvt none{};
    if (port->rate == 0 && same(none)) {
        return "none";
    }
    if (port->rate == 400 && same(qsfp_dd_fvt)) {
        return "qsfp_dd_fvt";
    }
    if (same(qsfp_fvt)) {
        return "qsfp_fvt";
    }
    return "other";
}

}  // namespace

int main() {
    void *evm = qsfp_ref_event_manager_new(QSFP_REF_VIRTUAL_TIME);
    qsfp::sim::VirtualClock::instance().drive(event_manager_levm_get(evm));

    struct Slot {
        const char *what;
        int identifier;  // -1: empty cage
        bool flat;
    };
    const Slot slots[] = {
        {"QSFP28 module", 0x11, false}, {"QSFP+ module", 0x0D, false}, {"QSFP+ flat-memory cable", 0x0D, true},
        {"QSFP-DD module", 0x18, false}, {"unknown identifier 0x0C", 0x0C, false}, {"empty cage", -1, false},
    };
    LineCard card(std::size(slots));
    for (std::size_t i = 0; i < card.size(); ++i) {
        if (slots[i].identifier >= 0) {
            card.cage(i).insert(std::make_unique<Module>(
                qsfp::sim::basic_image(static_cast<std::uint8_t>(slots[i].identifier), slots[i].flat)));
        }
    }

    std::printf("%-4s %-26s %-10s %-5s %-10s %-12s %s\n", "port", "cage", "rc", "rate", "not_ready", "table",
                "bus (transactions, bytes, 400 kHz time)");
    std::vector<qsfp_port_ctx *> ports;
    for (std::size_t i = 0; i < card.size(); ++i) {
        qsfp_port_create_params params = card.params(i, evm);
        qsfp_port_create_result result{};
        const std::uint32_t rc = qsfp_port_create(&params, &result);
        const qsfp::sim::BusStats bus = card.cage(i).stats();
        std::printf("%-4u %-26s 0x%-8x %-5u %-10u %-12s %llu, %llu, %.1f us\n", params.port, slots[i].what, rc,
                    result.handle != nullptr ? result.handle->rate : 0, result.not_ready, table_name(result.handle),
                    static_cast<unsigned long long>(bus.transactions),
                    static_cast<unsigned long long>(bus.bytes_read + bus.bytes_written),
                    bus.seconds_at(qsfp::sim::kBus400kHz) * 1e6);
        ports.push_back(result.handle);
    }
    for (qsfp_port_ctx *port : ports) {
        if (port != nullptr) {
            qsfp_port_delete(port);
        }
    }
    std::printf("\nlibrary trace \"qsfp_evt\":\n");
    ztrace_ref_dump(ztrace_ref_find("qsfp_evt"), stdout);
    return 0;
}
