// SI, equaliser, mode and lane operations with random arguments (bitmaps,
// values, modes, null value arrays) on ports of catalogue modules of both
// drivers: nothing may crash, read or write out of bounds, or leave the port
// locked. Input: a module selector, then operations of five bytes each (kind,
// then arguments), until the input ends.
#include <cstdlib>
#include <memory>

#include <qsfp/platform_ref.h>
#include <qsfp/qsfp.h>
#include <qsfp/qsfp_port_ops.h>
#include <qsfp/sim/line_card.h>
#include <qsfp/sim/virtual_clock.h>

#include "fuzz/fuzz_input.h"

#include "fuzz/fuzz_port.h"

namespace {

using qsfp::fuzz::evm;
using qsfp::fuzz::lock_free;

struct Kind {
    const char *module;
    std::uint32_t init_arg;
};
constexpr Kind kKinds[] = {{"400G-DR4", QSFP_DD_INIT_FULL}, {"400G-FR4", QSFP_DD_INIT_FULL},
                           {"100G-SR4", 0},                 {"100G-CR4", 0}};

// Eight values, or none when the selector's top bit says so.
std::uint8_t *values_or_null(std::uint8_t selector, std::uint8_t (&values)[8]) { return (selector & 0x80) ? nullptr : values; }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    qsfp::fuzz::FuzzInput in(data, size);
    const Kind &kind = kKinds[in.u8() % std::size(kKinds)];
    qsfp::sim::LineCard card(1);
    card.insert(0, kind.module);
    qsfp_port_create_params p = card.params(0, evm());
    p.init_arg = kind.init_arg;
    qsfp_port_create_result r{};
    qsfp_port_create(&p, &r);
    qsfp_port_ctx *port = r.handle;
    if (port == nullptr) std::abort();  // a catalogue module always comes up
    for (int op = 0; op < 16 && size > 1 + 5u * op; ++op) {
        const std::uint8_t what = in.u8();
        const std::uint8_t a = in.u8();
        const std::uint8_t b = in.u8();
        const std::uint16_t c = in.u16();
        std::uint8_t tx[8], pre[8], post[8], amp[8];
        for (int i = 0; i < 8; ++i) {
            tx[i] = static_cast<std::uint8_t>(c >> i);
            pre[i] = static_cast<std::uint8_t>(b + i);
            post[i] = static_cast<std::uint8_t>(c * i);
            amp[i] = static_cast<std::uint8_t>(a ^ i);
        }
        switch (what % 7) {
        case 0:
            qsfp_modify_si_values(port, a, values_or_null(what, tx), b, values_or_null(b, pre), c & 0xFF,
                                  values_or_null(static_cast<std::uint8_t>(c), post), c >> 8,
                                  values_or_null(static_cast<std::uint8_t>(c >> 8), amp));
            break;
        case 1: qsfp_port_mode_config(port, static_cast<std::uint32_t>(a) | static_cast<std::uint32_t>(c) << 8); break;
        case 2: qsfp_modify_eq(port, a, values_or_null(b, tx)); break;
        case 3: qsfp_modify_deemphasis(port, a, values_or_null(b, pre)); break;
        case 4: qsfp_modify_amp(port, a, values_or_null(b, amp)); break;
        case 5: qsfp_port_admin_state(port, b & 1, a & 1, static_cast<std::uint32_t>(c) << 8 | b); break;
        default: qsfp_port_tx_disable(port, b & 1, a & 1, c); break;
        }
        if (!lock_free(port)) std::abort();
    }
    qsfp_port_delete(port);
    return 0;
}
