// Monitors, latched flags and IntL of the emulated SFF-8636 module.
#include <qsfp/sim/sff8636_module.h>

#include <qsfp/sim/sff8636_units.h>
#include <qsfp/sim/sff8636_vdm.h>

namespace qsfp::sim {

using namespace sff8636;

namespace {

// Where a flag byte's mask lives and which of its bits can assert IntL. The
// initialisation-complete flag (byte 6 bit 0) has no mask and does not assert
// IntL; the maker's TEC-ready flag (byte 8 bit 0) is masked by byte 107 bit 0.
struct IntLSource {
    std::uint8_t flag;
    bool mask_on_page03;
    std::uint8_t mask;
    std::uint8_t bits;
};

constexpr IntLSource kIntLSources[] = {
    {kLosFlags, false, kLosMask, 0xFF},
    {kFaultFlags, false, kFaultMask, 0xFF},
    {kLolFlags, false, kLolMask, 0xFF},
    {kTempFlags, false, kTempMask, 0xF2},
    {kVccFlags, false, kVccMask, 0xF0},
    {kVendorFlags, false, kVendorFlagMask, kTecReadyVendor},
    {kRxPowerFlags, true, kRxPowerMask, 0xFF},
    {kRxPowerFlags + 1, true, kRxPowerMask + 1, 0xFF},
    {kTxBiasFlags, true, kTxBiasMask, 0xFF},
    {kTxBiasFlags + 1, true, kTxBiasMask + 1, 0xFF},
    {kTxPowerFlags, true, kTxPowerMask, 0xFF},
    {kTxPowerFlags + 1, true, kTxPowerMask + 1, 0xFF},
};

std::uint16_t page_word(const ModuleMemory &m, std::uint8_t page, std::uint8_t addr) {
    return static_cast<std::uint16_t>(m.get(page, addr) << 8 | m.get(page, static_cast<std::uint8_t>(addr + 1)));
}

void put_word(ModuleMemory &m, std::uint8_t addr, std::uint16_t w) {
    m.set(0, addr, static_cast<std::uint8_t>(w >> 8));
    m.set(0, static_cast<std::uint8_t>(addr + 1), static_cast<std::uint8_t>(w & 0xFF));
}

// A value against the four thresholds at `at` on page 03h (high alarm, low
// alarm, high warning, low warning): a flag is raised when the value is
// strictly beyond its threshold.
template <typename Read>
std::uint8_t limit_nibble(int value, Read threshold) {
    std::uint8_t n = 0;
    n |= value > threshold(0) ? kHighAlarm : 0;
    n |= value < threshold(1) ? kLowAlarm : 0;
    n |= value > threshold(2) ? kHighWarning : 0;
    n |= value < threshold(3) ? kLowWarning : 0;
    return n;
}

std::uint8_t unsigned_nibble(const ModuleMemory &m, std::uint8_t at, std::uint16_t value) {
    return limit_nibble(value, [&](int i) { return static_cast<int>(page_word(m, kPage03, static_cast<std::uint8_t>(at + 2 * i))); });
}

std::uint8_t signed_nibble(const ModuleMemory &m, std::uint8_t at, std::uint16_t value) {
    return limit_nibble(as_signed(value),
                        [&](int i) { return static_cast<int>(as_signed(page_word(m, kPage03, static_cast<std::uint8_t>(at + 2 * i)))); });
}

// Lane n's nibble in a pair of flag bytes: lane 0 bits 7-4 of the first, lane 1
// bits 3-0, lanes 2 and 3 likewise in the second.
void put_lane_nibble(std::uint8_t *pair, int lane, std::uint8_t nibble) {
    pair[lane / 2] |= static_cast<std::uint8_t>(lane % 2 == 0 ? nibble << 4 : nibble);
}

}  // namespace

std::uint8_t Sff8636Module::page03(std::uint8_t addr) const {
    return memory().has_page(kPage03) ? memory().get(kPage03, addr) : 0;
}

bool Sff8636Module::low_power_locked() const {
    const std::uint8_t control = memory().get(0, kPowerControl);
    return (control & kPowerOverride) ? (control & kPowerSet) != 0 : lpmode_pin_;
}

bool Sff8636Module::transmitting_locked(int lane) const {
    const ModuleMemory &m = memory();
    const std::uint8_t ext = m.get(0, kExtIdentifier);
    const std::uint8_t control = m.get(0, kPowerControl);
    // A module advertising power class 5-7 or 8 stays within class 4 until the
    // host enables the higher class, and cannot light its lasers until then.
    const bool class_5_to_7_ok = (ext & kPowerClass5to7) == 0 || (control & kHighPowerClass5to7);
    const bool class_8_ok = (ext & kPowerClass8) == 0 || (control & kHighPowerClass8);
    const bool disabled = (m.get(0, kTxDisable) >> lane) & 1;
    return data_ready_locked() && !low_power_locked() && class_5_to_7_ok && class_8_ok && !disabled;
}

bool Sff8636Module::vdm_locked() const {
    const ModuleMemory &m = memory();
    return !m.flat() && m.has_page(kPage20) && m.has_page(kPage21) && (m.get(kPage00, kOptions3) & kPages20To21);
}

bool Sff8636Module::intl_locked() const {
    for (const IntLSource &s : kIntLSources) {
        const std::uint8_t mask = s.mask_on_page03 ? page03(s.mask) : memory().get(0, s.mask);
        if (latched_[s.flag] & s.bits & ~mask) {
            return true;
        }
    }
    if (vdm_locked()) {
        for (int k = 0; k < kVdmFlagBytes; ++k) {
            if (vdm_latched_[k] & ~memory().get(kPage20, static_cast<std::uint8_t>(vdm::kMasks + k))) {
                return true;
            }
        }
    }
    return false;
}

Sff8636Module::FlagBytes Sff8636Module::conditions() const {
    FlagBytes c{};
    if (!data_ready_locked()) {
        return c;  // no valid data yet: nothing latches
    }
    const ModuleMemory &m = memory();
    for (int lane = 0; lane < kLanes; ++lane) {
        const Lane &l = lanes_[lane];
        const auto bit = static_cast<std::uint8_t>(1u << lane);
        const auto high = static_cast<std::uint8_t>(bit << 4);
        c[kLosFlags] |= (l.tx_los ? high : 0) | (l.rx_power < rx_los_threshold_ ? bit : 0);
        c[kFaultFlags] |= (l.tx_eq_fault ? high : 0) | (l.tx_fault ? bit : 0);
        c[kLolFlags] |= (l.tx_lol ? high : 0) | (l.rx_lol ? bit : 0);
    }
    const std::uint8_t diag = m.get(0, kDiagType);
    if (!m.flat() && m.has_page(kPage03) && (diag & kDiagImplemented)) {
        c[kTempFlags] |= static_cast<std::uint8_t>(signed_nibble(m, kTempThresholds, temperature_) << 4);
        c[kVccFlags] |= static_cast<std::uint8_t>(unsigned_nibble(m, kVccThresholds, vcc_) << 4);
        for (int lane = 0; lane < kLanes; ++lane) {
            const bool on = transmitting_locked(lane);
            put_lane_nibble(&c[kRxPowerFlags], lane, unsigned_nibble(m, kRxPowerThresholds, lanes_[lane].rx_power));
            put_lane_nibble(&c[kTxBiasFlags], lane, unsigned_nibble(m, kTxBiasThresholds, on ? lanes_[lane].tx_bias : 0));
            if (diag & kDiagTxPower) {
                put_lane_nibble(&c[kTxPowerFlags], lane, unsigned_nibble(m, kTxPowerThresholds, on ? lanes_[lane].tx_power : 0));
            }
        }
    }
    if (tec_ready_locked()) {
        c[kTempFlags] |= (m.get(0, kEnhancedOptions) & kTcReadinessImplemented) ? kTcReadiness : 0;
        c[kVendorFlags] |= (page03(kFecControl) & kTecFlagImplemented) ? kTecReadyVendor : 0;
    }
    return c;
}

Sff8636Module::VdmFlagBytes Sff8636Module::vdm_conditions() const {
    VdmFlagBytes c{};
    if (!vdm_locked() || !data_ready_locked()) {
        return c;
    }
    for (int i = 0; i < vdm::kParameters; ++i) {
        const std::uint8_t nibble = vdm::flag_nibble(memory(), i);
        c[i / 2] |= static_cast<std::uint8_t>(i % 2 == 0 ? nibble << 4 : nibble);
    }
    return c;
}

void Sff8636Module::write_monitors() {
    ModuleMemory &m = memory();
    if (m.flat()) {
        return;  // lower bytes 34-77 of a flat-memory cable hold the maker's data
    }
    const bool ready = data_ready_locked();
    put_word(m, kTemperature, ready ? temperature_ : 0);
    put_word(m, kVcc, ready ? vcc_ : 0);
    for (int lane = 0; lane < kLanes; ++lane) {
        const bool on = transmitting_locked(lane);
        const auto offset = static_cast<std::uint8_t>(2 * lane);
        put_word(m, static_cast<std::uint8_t>(kRxPower + offset), ready ? lanes_[lane].rx_power : 0);
        put_word(m, static_cast<std::uint8_t>(kTxBias + offset), on ? lanes_[lane].tx_bias : 0);
        put_word(m, static_cast<std::uint8_t>(kTxPower + offset), on ? lanes_[lane].tx_power : 0);
    }
}

void Sff8636Module::write_status() {
    ModuleMemory &m = memory();
    for (std::uint8_t b = kFirstFlag; b <= kLastFlag; ++b) {
        m.set(0, b, latched_[b]);
    }
    if (vdm_locked()) {
        for (int k = 0; k < kVdmFlagBytes; ++k) {
            m.set(kPage20, static_cast<std::uint8_t>(vdm::kFlags + k), vdm_latched_[k]);
        }
    }
    auto status = static_cast<std::uint8_t>(m.get(0, kStatus) & ~(kDataNotReady | kIntL));
    status |= data_ready_locked() ? 0 : kDataNotReady;
    status |= intl_locked() ? 0 : kIntL;  // the pin is active low
    m.set(0, kStatus, status);
}

void Sff8636Module::refresh_locked() {
    if (!init_reported_ && data_ready_locked()) {
        init_reported_ = true;
        if (memory().get(0, kEnhancedOptions) & kInitCompleteImplemented) {
            latched_[kTempFlags] |= kInitComplete;
        }
    }
    const FlagBytes now = conditions();
    for (std::size_t b = kFirstFlag; b <= kLastFlag; ++b) {
        latched_[b] |= now[b];
    }
    const VdmFlagBytes vdm_now = vdm_conditions();
    for (int k = 0; k < kVdmFlagBytes; ++k) {
        vdm_latched_[k] |= vdm_now[k];
    }
    write_monitors();
    write_status();
}

void Sff8636Module::clear_read_flags() {
    for (std::size_t b = kFirstFlag; b <= kLastFlag; ++b) {
        if (flags_read_.test(b)) {
            latched_[b] = 0;
        }
    }
    for (int k = 0; k < kVdmFlagBytes; ++k) {
        if (vdm_flags_read_.test(k)) {
            vdm_latched_[k] = 0;
        }
    }
    flags_read_.reset();
    vdm_flags_read_.reset();
    // The caller refreshes next: a condition that still holds latches again at once.
}

}  // namespace qsfp::sim
