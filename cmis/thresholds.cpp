// A CMIS module's alarm and warning thresholds (page 02h), kept in the port
// context in engineering units. Each group is four big-endian words: high
// alarm, low alarm, high warning, low warning.
#include "cmis/bring_up.h"
#include "framework/units.h"

namespace qsfp::cmis {

namespace {

using namespace units;

struct Quad {
    float high_alarm, low_alarm, high_warning, low_warning;
};

template <typename Convert>
Quad quad(const std::uint8_t *words, Convert convert) {
    return {convert(word_at(words)), convert(word_at(words + 2)), convert(word_at(words + 4)),
            convert(word_at(words + 6))};
}

// 0 mW gives minus infinity, as the module says nothing better.
float power_dbm(std::uint16_t raw) { return dbm(power_mw(raw)); }

// Where a quad goes in the threshold record.
using Field = float qsfp_threshold_data::*;
struct QuadFields {
    Field high_alarm, low_alarm, high_warning, low_warning;
};
using T = qsfp_threshold_data;
constexpr QuadFields kTemperature = {&T::temp_high_alarm, &T::temp_low_alarm, &T::temp_high_warning,
                                     &T::temp_low_warning};
constexpr QuadFields kVcc = {&T::vcc_high_alarm, &T::vcc_low_alarm, &T::vcc_high_warning, &T::vcc_low_warning};
constexpr QuadFields kTxPower = {&T::tx_power_high_alarm, &T::tx_power_low_alarm, &T::tx_power_high_warning,
                                 &T::tx_power_low_warning};
constexpr QuadFields kRxPower = {&T::rx_power_high_alarm, &T::rx_power_low_alarm, &T::rx_power_high_warning,
                                 &T::rx_power_low_warning};
constexpr QuadFields kTxBias = {&T::bias_high_alarm, &T::bias_low_alarm, &T::bias_high_warning,
                                &T::bias_low_warning};

void store(qsfp_threshold_data &t, const QuadFields &f, const Quad &q) {
    t.*f.high_alarm = q.high_alarm;
    t.*f.low_alarm = q.low_alarm;
    t.*f.high_warning = q.high_warning;
    t.*f.low_warning = q.low_warning;
}

}  // namespace

void save_temperature_thresholds(qsfp_port_ctx *port, const std::uint8_t *temperature) {
    store(port->thresholds, kTemperature, quad(temperature, temperature_c));
}

void save_thresholds(qsfp_port_ctx *port, const std::uint8_t *module, const std::uint8_t *lane,
                     std::uint8_t dom_support) {
    qsfp_threshold_data &t = port->thresholds;
    save_temperature_thresholds(port, module + (kTempThresholds - kModuleThresholds));
    if ((dom_support & kDomVcc) != 0) {
        store(t, kVcc, quad(module + (kVccThresholds - kModuleThresholds), vcc_v));
    }
    if ((dom_support & kDomTxPower) != 0) {
        store(t, kTxPower, quad(lane + (kTxPowerThresholds - kLaneThresholds), power_dbm));
    }
    if ((dom_support & kDomRxPower) != 0) {
        store(t, kRxPower, quad(lane + (kRxPowerThresholds - kLaneThresholds), power_dbm));
    }
    if ((dom_support & kDomTxBias) != 0) {
        store(t, kTxBias, quad(lane + (kTxBiasThresholds - kLaneThresholds), bias_ma));
    }
}

}  // namespace qsfp::cmis
