// The module's alarm and warning thresholds (upper page 03h bytes 128-199),
// kept in the port context in engineering units.
#include <qsfp/qsfp_sff8636.h>

#include "sff8636/sff8636_regs.h"
#include "framework/units.h"

using namespace qsfp::sff8636;
using namespace qsfp::units;

namespace {

struct Quad {
    float high_alarm, low_alarm, high_warning, low_warning;
};

template <typename Convert>
Quad quad(const std::uint8_t *page03, std::uint32_t reg, Convert convert) {
    const std::uint8_t *w = page03 + (reg - kHalfPage);
    return {convert(word_at(w)), convert(word_at(w + 2)), convert(word_at(w + 4)), convert(word_at(w + 6))};
}

float power_dbm(std::uint16_t raw) { return dbm(power_mw(raw)); }

}  // namespace

extern "C" uint32_t qsfp_port_save_threshold_data(qsfp_port_ctx *port, const uint8_t *page03) {
    if (port == nullptr || page03 == nullptr) {
        return 0;
    }
    const Quad rx = quad(page03, kRxPowerThresholds, power_dbm);
    const Quad tx = quad(page03, kTxPowerThresholds, power_dbm);
    const Quad bias = quad(page03, kTxBiasThresholds, bias_ma);
    const Quad vcc = quad(page03, kVccThresholds, vcc_v);
    const Quad temp = quad(page03, kTempThresholds, temperature_c);
    port->thresholds = qsfp_threshold_data{
        rx.high_alarm,   rx.low_alarm,   tx.high_alarm,   tx.low_alarm,   bias.high_alarm,   bias.low_alarm,
        vcc.high_alarm,  vcc.low_alarm,  temp.high_alarm, temp.low_alarm, rx.high_warning,   rx.low_warning,
        tx.high_warning, tx.low_warning, bias.high_warning, bias.low_warning, vcc.high_warning, vcc.low_warning,
        temp.high_warning, temp.low_warning,
    };
    return word_at(page03 + (kVccThresholds + 6 - kHalfPage));
}
