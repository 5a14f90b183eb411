// Monitors, latched flags and the interrupt of the emulated CMIS module.
// Module flags live in lower bytes 8-11 (masked by 31-34), lane flags on page
// 11h 134-152 (masked by page 10h 213-231); every flag byte latches while its
// condition holds and clears when the host reads it.
#include <qsfp/sim/cmis_module.h>

#include <qsfp/sim/sff8636_units.h>

namespace qsfp::sim {

using namespace cmis;

namespace {

constexpr std::uint8_t kLaneMaskOffset = kLaneMasks - kFirstLaneFlag;
constexpr std::uint8_t kModuleMaskOffset = kModuleMasks - kFirstModuleFlag;

std::uint16_t page_word(const ModuleMemory &m, std::uint8_t page, std::uint8_t addr) {
    return static_cast<std::uint16_t>(m.get(page, addr) << 8 | m.get(page, static_cast<std::uint8_t>(addr + 1)));
}

void put_word(ModuleMemory &m, std::uint8_t page, std::uint8_t addr, std::uint16_t w) {
    m.set(page, addr, static_cast<std::uint8_t>(w >> 8));
    m.set(page, static_cast<std::uint8_t>(addr + 1), static_cast<std::uint8_t>(w & 0xFF));
}

// The four page 02h thresholds at `at` (high alarm, low alarm, high warning,
// low warning) against a value: which of them the value is strictly beyond.
// Bit k of the answer is threshold k.
template <typename Read>
std::uint8_t beyond(int value, Read threshold) {
    std::uint8_t n = 0;
    n |= value > threshold(kHighAlarm) ? 1u << kHighAlarm : 0u;
    n |= value < threshold(kLowAlarm) ? 1u << kLowAlarm : 0u;
    n |= value > threshold(kHighWarning) ? 1u << kHighWarning : 0u;
    n |= value < threshold(kLowWarning) ? 1u << kLowWarning : 0u;
    return n;
}

std::uint8_t beyond_unsigned(const ModuleMemory &m, std::uint8_t at, std::uint16_t value) {
    return beyond(value, [&](int k) { return static_cast<int>(page_word(m, kPage02, static_cast<std::uint8_t>(at + 2 * k))); });
}

std::uint8_t beyond_signed(const ModuleMemory &m, std::uint8_t at, std::uint16_t value) {
    return beyond(sff8636::as_signed(value), [&](int k) {
        return static_cast<int>(sff8636::as_signed(page_word(m, kPage02, static_cast<std::uint8_t>(at + 2 * k))));
    });
}

}  // namespace

bool CmisModule::transmitting_locked(int lane) const {
    return paged() && lane < media_lanes_ && state_ == ModuleState::ready && lanes_[lane].state == DataPathState::activated &&
           ((memory().get(kPage10, kTxDisable) >> lane) & 1) == 0;
}

// Lower 14-17 and page 11h 154-201. A flat-memory module's lower bytes hold
// the maker's data and are never written. A media lane reports Rx power while
// its data path is activated, Tx bias and power while it transmits, 0
// otherwise; lanes beyond the module's media lanes read 0.
void CmisModule::write_monitors() {
    ModuleMemory &m = memory();
    if (m.flat()) {
        return;
    }
    put_word(m, 0, kTemperature, temperature_);
    put_word(m, 0, kVcc, vcc_);
    if (!paged()) {
        return;
    }
    std::uint8_t rx_output = 0;
    std::uint8_t tx_output = 0;
    const std::uint8_t rx_disabled = m.get(kPage10, kRxOutputDisable);
    for (int lane = 0; lane < kLanes; ++lane) {
        const Lane &l = lanes_[lane];
        const bool rx_on = lane < media_lanes_ && state_ == ModuleState::ready && l.state == DataPathState::activated;
        const bool tx_on = transmitting_locked(lane);
        const auto at = static_cast<std::uint8_t>(2 * lane);
        put_word(m, kPage11, static_cast<std::uint8_t>(kTxPowerMonitors + at), tx_on ? l.tx_power : 0);
        put_word(m, kPage11, static_cast<std::uint8_t>(kTxBiasMonitors + at), tx_on ? l.tx_bias : 0);
        put_word(m, kPage11, static_cast<std::uint8_t>(kRxPowerMonitors + at), rx_on ? l.rx_power : 0);
        const bool los = l.rx_power < rx_los_threshold_;
        rx_output |= static_cast<std::uint8_t>((rx_on && !los && ((rx_disabled >> lane) & 1) == 0) << lane);
        tx_output |= static_cast<std::uint8_t>((tx_on && !l.tx_fault) << lane);
    }
    m.set(kPage11, kRxOutputStatus, rx_output);
    m.set(kPage11, kTxOutputStatus, tx_output);
}

// Lane conditions, one bit per lane in each flag byte, raised only for a
// media lane the module has while the lane's data path is activated; the threshold flags compare the values the
// module reports (so a disabled transmitter raises its low alarms).
CmisModule::LaneFlagBytes CmisModule::lane_conditions() const {
    LaneFlagBytes c{};
    if (!paged()) {
        return c;
    }
    const ModuleMemory &m = memory();
    const bool thresholds = m.has_page(kPage02);
    const auto set = [&](std::uint8_t flag, int lane) { c[flag - kFirstLaneFlag] |= static_cast<std::uint8_t>(1u << lane); };
    const auto set_four = [&](std::uint8_t first_flag, std::uint8_t nibble, int lane) {
        for (int k = 0; k < 4; ++k) {
            if ((nibble >> k) & 1) {
                set(static_cast<std::uint8_t>(first_flag + k), lane);
            }
        }
    };
    for (int lane = 0; lane < kLanes; ++lane) {
        const Lane &l = lanes_[lane];
        if (lane >= media_lanes_ || state_ != ModuleState::ready || l.state != DataPathState::activated) {
            continue;
        }
        if (l.tx_fault) set(kTxFault, lane);
        if (l.tx_los) set(kTxLos, lane);
        if (l.tx_lol) set(kTxCdrLol, lane);
        if (l.rx_lol) set(kRxCdrLol, lane);
        if (l.rx_power < rx_los_threshold_) set(kRxLos, lane);
        if (!thresholds) {
            continue;
        }
        const auto at = static_cast<std::uint8_t>(2 * lane);
        set_four(kTxPowerFlags, beyond_unsigned(m, kTxPowerThresholds, page_word(m, kPage11, static_cast<std::uint8_t>(kTxPowerMonitors + at))), lane);
        set_four(kTxBiasFlags, beyond_unsigned(m, kTxBiasThresholds, page_word(m, kPage11, static_cast<std::uint8_t>(kTxBiasMonitors + at))), lane);
        set_four(kRxPowerFlags, beyond_unsigned(m, kRxPowerThresholds, page_word(m, kPage11, static_cast<std::uint8_t>(kRxPowerMonitors + at))), lane);
    }
    return c;
}

// Lower byte 9: temperature high alarm, low alarm, high warning, low warning
// in bits 0-3, supply voltage the same in bits 4-7.
CmisModule::ModuleFlagBytes CmisModule::module_conditions() const {
    ModuleFlagBytes c{};
    const ModuleMemory &m = memory();
    if (m.flat() || !m.has_page(kPage02)) {
        return c;
    }
    const std::uint8_t temp = beyond_signed(m, kTempThresholds, temperature_);
    const std::uint8_t vcc = beyond_unsigned(m, kVccThresholds, vcc_);
    c[kMonitorFlags - kFirstModuleFlag] = static_cast<std::uint8_t>(temp | vcc << 4);
    return c;
}

// Conditions latch; the state-changed events latch once. The latched bytes
// are what the host reads.
void CmisModule::latch_flags() {
    const ModuleFlagBytes mc = module_conditions();
    for (std::size_t k = 0; k < mc.size(); ++k) {
        module_latched_[k] |= mc[k];
    }
    if (state_changed_ && !memory().flat()) {
        module_latched_[kModuleFlags - kFirstModuleFlag] |= kModuleStateChanged;
    }
    state_changed_ = false;
    if (cdb_.complete_event) {
        module_latched_[kModuleFlags - kFirstModuleFlag] |= kCdbComplete1;
    }
    cdb_.complete_event = false;
    for (std::size_t k = 0; k < mc.size(); ++k) {
        memory().set(0, static_cast<std::uint8_t>(kFirstModuleFlag + k), module_latched_[k]);
    }
    if (!paged()) {
        return;
    }
    const LaneFlagBytes lc = lane_conditions();
    for (std::size_t k = 0; k < lc.size(); ++k) {
        lane_latched_[k] |= lc[k];
    }
    lane_latched_[kDataPathStateChanged - kFirstLaneFlag] |= dp_changed_;
    dp_changed_ = 0;
    for (std::size_t k = 0; k < lc.size(); ++k) {
        memory().set(kPage11, static_cast<std::uint8_t>(kFirstLaneFlag + k), lane_latched_[k]);
    }
}

void CmisModule::clear_read_flags() {
    for (std::size_t k = 0; k < module_latched_.size(); ++k) {
        if (module_flags_read_.test(k)) {
            module_latched_[k] = 0;
        }
    }
    for (std::size_t k = 0; k < lane_latched_.size(); ++k) {
        if (lane_flags_read_.test(k)) {
            lane_latched_[k] = 0;
        }
    }
    module_flags_read_.reset();
    lane_flags_read_.reset();
}

bool CmisModule::intl_locked() const {
    for (std::size_t k = 0; k < module_latched_.size(); ++k) {
        if (module_latched_[k] & ~memory().get(0, static_cast<std::uint8_t>(kFirstModuleFlag + k + kModuleMaskOffset))) {
            return true;
        }
    }
    if (!paged()) {
        return false;
    }
    for (std::size_t k = 0; k < lane_latched_.size(); ++k) {
        const auto mask = memory().get(kPage10, static_cast<std::uint8_t>(kFirstLaneFlag + k + kLaneMaskOffset));
        if (lane_latched_[k] & ~mask) {
            return true;
        }
    }
    return false;
}

}  // namespace qsfp::sim
