// Construction, timing, the test-side setters and the bus hooks of the emulated
// SFF-8636 module. Flag and monitor evaluation is in sff8636_flags.cpp.
#include <qsfp/sim/sff8636_module.h>

#include <algorithm>
#include <utility>

#include <qsfp/sim/sff8636_units.h>
#include <qsfp/sim/sff8636_vdm.h>
#include <qsfp/sim/virtual_clock.h>

namespace qsfp::sim {

using namespace sff8636;

namespace {

// A host-writable range and the bits of it the module keeps; other bits keep
// their value (reserved bits, advertisements sharing a control byte).
struct WriteRule {
    bool lower;          // lower memory (any page) or upper page `page`
    std::uint8_t page;
    std::uint8_t first;
    std::uint8_t last;
    std::uint8_t mask;
    bool write_only = false;  // accepted, never read back (password areas)
    bool vdm_only = false;    // writable only when the versatile diagnostics are announced
};

constexpr std::uint8_t kAnyPage = 0;

constexpr WriteRule kWriteRules[] = {
    {true, kAnyPage, kTxDisable, kTxDisable, 0x0F},
    {true, kAnyPage, kRxRateSelect, 92, 0xFF},  // rate select, Rx application select
    {true, kAnyPage, kPowerControl, kPowerControl, 0x0F},  // bit 7 added when software reset is implemented
    {true, kAnyPage, kTxAppSelect, kCdrControl, 0xFF},
    {true, kAnyPage, kSignalControl, kSignalControl, 0x03},
    {true, kAnyPage, kLosMask, kLolMask, 0xFF},
    {true, kAnyPage, kTempMask, kTempMask, 0xF2},  // alarms/warnings and TC readiness
    {true, kAnyPage, kVccMask, kVccMask, 0xF0},
    {true, kAnyPage, kVendorMaskA, kVendorFlagMask, 0xFF},
    {true, kAnyPage, kPciExpress, 112, 0xFF},
    {true, kAnyPage, kPasswordChange, kLastPassword, 0xFF, true},
    {false, kPage03, kVendorCtle, kVendorCtle, 0xFF},
    {false, kPage03, kFecControl, kFecControl, 0xC0},  // bit 0 is the maker's TEC-flag advertisement
    {false, kPage03, 231, 255, 0xFF},
    // DWDM hosts write their keep-alive to byte 250 whether or not the module
    // has versatile diagnostics, so the byte takes writes either way.
    {false, kPage20, vdm::kControl, vdm::kControl, 0xFF},
    {false, kPage20, vdm::kMasks, vdm::kMasks + vdm::kFlagBytes - 1, 0xFF, false, true},
};

std::uint16_t key(std::uint8_t page, std::uint8_t addr) {
    return static_cast<std::uint16_t>((addr < kHalfPage ? 0 : page) << 8 | addr);
}

std::uint16_t word(const ModuleMemory &m, std::uint8_t addr) {
    return static_cast<std::uint16_t>(m.get(0, addr) << 8 | m.get(0, static_cast<std::uint8_t>(addr + 1)));
}

}  // namespace

Sff8636Module::Sff8636Module(ModuleMemory memory, Timing timing)
    : Module(std::move(memory)), data_not_ready_delay_(timing.data_not_ready), tec_ready_delay_(timing.tec_ready) {
    for (const WriteRule &rule : kWriteRules) {
        if (rule.lower || this->memory().has_page(rule.page)) {
            this->memory().set_writable(rule.lower ? 0 : rule.page, rule.first, rule.last);
        }
    }
    capture_defaults();
    load_monitors_from_image();
    std::lock_guard lock(mu_);
    power_up_locked();
}

Sff8636Module::Sff8636Module(ModuleMemory memory) : Sff8636Module(std::move(memory), Timing{}) {}

std::uint64_t Sff8636Module::now_ns() const { return VirtualClock::instance().now_ns(); }

bool Sff8636Module::reached(const Delay &delay) const {
    return delay && now_ns() >= power_up_ns_ + static_cast<std::uint64_t>(std::max<std::int64_t>(delay->count(), 0));
}

void Sff8636Module::capture_defaults() {
    defaults_.clear();
    for (const WriteRule &rule : kWriteRules) {
        if (!rule.lower && !memory().has_page(rule.page)) {
            continue;
        }
        for (unsigned a = rule.first; a <= rule.last; ++a) {
            const auto addr = static_cast<std::uint8_t>(a);
            defaults_.push_back({rule.page, addr, memory().get(rule.page, addr)});
        }
    }
}

void Sff8636Module::load_monitors_from_image() {
    const ModuleMemory &m = memory();
    temperature_ = word(m, kTemperature);
    vcc_ = word(m, kVcc);
    for (int lane = 0; lane < kLanes; ++lane) {
        lanes_[lane].rx_power = word(m, static_cast<std::uint8_t>(kRxPower + 2 * lane));
        lanes_[lane].tx_bias = word(m, static_cast<std::uint8_t>(kTxBias + 2 * lane));
        lanes_[lane].tx_power = word(m, static_cast<std::uint8_t>(kTxPower + 2 * lane));
    }
}

void Sff8636Module::power_up() {
    std::lock_guard lock(mu_);
    power_up_locked();
}

void Sff8636Module::power_up_locked() {
    for (const Default &d : defaults_) {
        memory().set(d.page, d.addr, d.value);
    }
    power_up_ns_ = now_ns();
    latched_ = {};
    vdm_latched_ = {};
    init_reported_ = false;
    refresh_locked();
}

template <typename F>
void Sff8636Module::update(F &&change) {
    std::lock_guard lock(mu_);
    change();
    refresh_locked();
}

void Sff8636Module::set_data_not_ready_time(Delay delay) {
    update([&] { data_not_ready_delay_ = delay; });
}

void Sff8636Module::set_tec_ready_time(Delay delay) {
    update([&] { tec_ready_delay_ = delay; });
}

bool Sff8636Module::data_ready() const { return locked(&Sff8636Module::data_ready_locked); }

bool Sff8636Module::tec_ready() const { return locked(&Sff8636Module::tec_ready_locked); }

bool Sff8636Module::locked(bool (Sff8636Module::*query)() const) const {
    std::lock_guard lock(mu_);
    return (this->*query)();
}

bool Sff8636Module::data_ready_locked() const { return reached(data_not_ready_delay_); }

bool Sff8636Module::tec_ready_locked() const { return data_ready_locked() && reached(tec_ready_delay_); }

void Sff8636Module::set_lpmode_pin(bool asserted) {
    update([&] { lpmode_pin_ = asserted; });
}

void Sff8636Module::set_temperature(double celsius) {
    update([&] { temperature_ = encode_temperature(celsius); });
}

void Sff8636Module::set_vcc(double volts) {
    update([&] { vcc_ = encode_vcc(volts); });
}

bool Sff8636Module::set_lane_word(int lane, std::uint16_t Lane::*field, std::uint16_t value) {
    if (!lane_ok(lane)) {
        return false;
    }
    update([&] { lanes_[lane].*field = value; });
    return true;
}

bool Sff8636Module::set_lane(int lane, bool Lane::*field, bool on) {
    if (!lane_ok(lane)) {
        return false;
    }
    update([&] { lanes_[lane].*field = on; });
    return true;
}

bool Sff8636Module::set_rx_power(int lane, double mw) { return set_lane_word(lane, &Lane::rx_power, encode_power(mw)); }
bool Sff8636Module::set_tx_bias(int lane, double ma) { return set_lane_word(lane, &Lane::tx_bias, encode_bias(ma)); }
bool Sff8636Module::set_tx_power(int lane, double mw) { return set_lane_word(lane, &Lane::tx_power, encode_power(mw)); }

void Sff8636Module::set_rx_los_threshold(double milliwatts) {
    update([&] { rx_los_threshold_ = encode_power(milliwatts); });
}

bool Sff8636Module::set_tx_fault(int lane, bool on) { return set_lane(lane, &Lane::tx_fault, on); }
bool Sff8636Module::set_tx_adaptive_eq_fault(int lane, bool on) { return set_lane(lane, &Lane::tx_eq_fault, on); }
bool Sff8636Module::set_tx_los(int lane, bool on) { return set_lane(lane, &Lane::tx_los, on); }
bool Sff8636Module::set_rx_cdr_lol(int lane, bool on) { return set_lane(lane, &Lane::rx_lol, on); }
bool Sff8636Module::set_tx_cdr_lol(int lane, bool on) { return set_lane(lane, &Lane::tx_lol, on); }

std::optional<std::uint8_t> Sff8636Module::host_wrote(std::uint8_t page, std::uint8_t addr) const {
    std::lock_guard lock(mu_);
    const auto it = host_writes_.find(key(page, addr));
    return it == host_writes_.end() ? std::nullopt : std::optional<std::uint8_t>(it->second);
}

std::uint8_t Sff8636Module::tx_disabled_lanes() const {
    std::lock_guard lock(mu_);
    return memory().get(0, kTxDisable) & 0x0F;
}

bool Sff8636Module::low_power() const { return locked(&Sff8636Module::low_power_locked); }

bool Sff8636Module::transmitting(int lane) const {
    std::lock_guard lock(mu_);
    return lane_ok(lane) && transmitting_locked(lane);
}

bool Sff8636Module::intl_asserted() const { return locked(&Sff8636Module::intl_locked); }

bool Sff8636Module::vdm_implemented() const { return locked(&Sff8636Module::vdm_locked); }

bool Sff8636Module::set_vdm_value(int index, double value) {
    std::lock_guard lock(mu_);
    if (!vdm_locked() || index < 0 || index >= vdm::kParameters) {
        return false;
    }
    const vdm::Parameter p = vdm::parameter(memory(), index);
    if (vdm::type_info(p.type) == nullptr) {
        return false;
    }
    vdm::set_value(memory(), index, p.type, value);
    refresh_locked();
    return true;
}

std::optional<double> Sff8636Module::vdm_value(int index) const {
    std::lock_guard lock(mu_);
    if (!vdm_locked() || index < 0 || index >= vdm::kParameters) {
        return std::nullopt;
    }
    return vdm::value(memory(), index);
}

// ---- Bus hooks ------------------------------------------------------------------------

void Sff8636Module::begin_transaction() {
    std::lock_guard lock(mu_);
    in_transaction_ = true;
    refresh_locked();
}

void Sff8636Module::end_transaction() {
    std::lock_guard lock(mu_);
    in_transaction_ = false;
    clear_read_flags();
    refresh_locked();  // writes and cleared flags take effect once per transaction
}

std::uint8_t Sff8636Module::on_read(std::uint8_t page, std::uint8_t addr) {
    std::lock_guard lock(mu_);
    if (!in_transaction_) {
        refresh_locked();
    }
    if (addr >= kPasswordChange && addr <= kLastPassword) {
        return 0;  // write-only
    }
    const std::uint8_t value = memory().get(page, addr);
    if (addr >= kFirstFlag && addr <= kLastFlag) {
        flags_read_.set(addr);
    } else if (page == kPage20 && addr >= vdm::kFlags && addr < vdm::kFlags + kVdmFlagBytes && vdm_locked()) {
        vdm_flags_read_.set(addr - vdm::kFlags);
    }
    if (!in_transaction_) {
        clear_read_flags();
        refresh_locked();
    }
    return value;
}

std::uint8_t Sff8636Module::write_mask(std::uint8_t page, std::uint8_t addr, bool *write_only) const {
    const bool lower = addr < kHalfPage;
    for (const WriteRule &rule : kWriteRules) {
        if (rule.lower != lower || (!lower && rule.page != page) || addr < rule.first || addr > rule.last) {
            continue;
        }
        if (rule.vdm_only && !vdm_locked()) {
            return 0;
        }
        *write_only = rule.write_only;
        const bool reset = addr == kPowerControl && (memory().get(0, kEnhancedOptions) & kSoftwareResetImplemented);
        return static_cast<std::uint8_t>(rule.mask | (reset ? kSoftwareReset : 0));
    }
    return 0;
}

void Sff8636Module::on_write(std::uint8_t page, std::uint8_t addr, std::uint8_t value) {
    std::lock_guard lock(mu_);
    host_writes_[key(page, addr)] = value;
    apply_control_write(page, addr, value);
    if (!in_transaction_) {
        refresh_locked();
    }
}

void Sff8636Module::apply_control_write(std::uint8_t page, std::uint8_t addr, std::uint8_t value) {
    if (addr >= kHalfPage && memory().flat()) {
        return;  // a flat-memory module has no host-writable upper bytes
    }
    bool write_only = false;
    const std::uint8_t mask = write_mask(page, addr, &write_only);
    if (mask == 0 || write_only) {
        return;
    }
    const std::uint8_t old = memory().get(page, addr);
    const auto kept = static_cast<std::uint8_t>((old & ~mask) | (value & mask));
    if (addr == kPowerControl && (kept & kSoftwareReset)) {
        power_up_locked();  // software reset; the bit clears itself
        return;
    }
    memory().set(page, addr, kept);
    if (page == kPage20 && addr == vdm::kControl) {
        apply_vdm_control(kept);
    }
}

void Sff8636Module::apply_vdm_control(std::uint8_t value) {
    // Error reset: every write with bit 7 set clears the latched diagnostics
    // flags; the next refresh latches again whatever still holds. The bit is
    // left as written.
    if ((value & vdm::kErrorReset) && vdm_locked()) {
        vdm_latched_ = {};
    }
}

}  // namespace qsfp::sim
