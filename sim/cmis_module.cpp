// Construction, timing, the test-side setters, the module state machine and
// the bus hooks of the emulated CMIS module. Data paths and configuration
// commands are in cmis_datapath.cpp, monitors and flags in cmis_flags.cpp.
#include <qsfp/sim/cmis_module.h>

#include <algorithm>
#include <bit>
#include <limits>
#include <utility>

#include <qsfp/sim/sff8636_units.h>
#include <qsfp/sim/virtual_clock.h>

namespace qsfp::sim {

using namespace cmis;

namespace {

// A host-writable range and the bits of it the module keeps. Everything else
// is read-only: identity and advertising pages, thresholds, status page 11h.
struct WriteRule {
    bool lower;                // lower memory (any page), or upper pages first_page..last_page
    std::uint8_t first_page;
    std::uint8_t last_page;
    std::uint8_t first;
    std::uint8_t last;
    std::uint8_t mask;
    bool write_only = false;   // accepted, never read back (passwords)
};

constexpr WriteRule kWriteRules[] = {
    {true, 0, 0, kGlobalControls, kGlobalControls, 0x7F},  // bit 7 reserved in CMIS 4.0
    {true, 0, 0, kModuleMasks, kLastModuleMask, 0xFF},
    {true, 0, 0, kPasswordChange, kLastPassword, 0xFF, true},
    {false, kPage03, kPage03, 128, 255, 0xFF},  // user EEPROM
    {false, kPage10, kPage10, 128, 255, 0xFF},  // controls, staged set 0, lane masks
    {false, kPage9F, kPage9F, 128, 255, 0xFF},  // CDB command and local payload
    {false, kPageA0, kPageAF, 128, 255, 0xFF},  // CDB extended payload
};

// Page 11h bytes that hold module-owned state a power cycle returns to the
// image's values: configuration status, active control set.
constexpr std::uint8_t kFirstStatusDefault = kConfigStatus;
constexpr std::uint8_t kLastStatusDefault = kActiveSi + kSiBytes - 1;

constexpr std::uint64_t kNever = std::numeric_limits<std::uint64_t>::max();
// Bound on the transitions one catch-up may make (each moves a state on).
constexpr int kMaxSteps = 4096;

std::uint16_t key(std::uint8_t page, std::uint8_t addr) {
    return static_cast<std::uint16_t>((addr < kHalfPage ? 0 : page) << 8 | addr);
}

const WriteRule *rule_for(std::uint8_t page, std::uint8_t addr) {
    const bool lower = addr < kHalfPage;
    for (const WriteRule &r : kWriteRules) {
        if (r.lower == lower && (lower || (page >= r.first_page && page <= r.last_page)) && addr >= r.first &&
            addr <= r.last) {
            return &r;
        }
    }
    return nullptr;
}

}  // namespace

CmisModule::CmisModule(ModuleMemory memory) : Module(std::move(memory)) {
    for (const WriteRule &r : kWriteRules) {
        for (unsigned p = r.first_page; p <= r.last_page; ++p) {
            if (r.lower || this->memory().has_page(static_cast<std::uint8_t>(p))) {
                this->memory().set_writable(r.lower ? 0 : static_cast<std::uint8_t>(p), r.first, r.last);
            }
        }
    }
    capture_defaults();
    load_monitors_from_image();
    media_lanes_ = count_media_lanes();
    std::lock_guard lock(mu_);
    cdb_load_from_image();
    power_up_locked();
}

std::uint64_t CmisModule::now_ns() const { return VirtualClock::instance().now_ns(); }

bool CmisModule::paged() const {
    const ModuleMemory &m = memory();
    return !m.flat() && m.has_page(kPage10) && m.has_page(kPage11);
}

std::uint8_t CmisModule::revision() const { return memory().get(0, kRevision); }

bool CmisModule::cmis3() const { return (revision() >> 4) == 3; }

void CmisModule::capture_defaults() {
    defaults_.clear();
    const auto keep = [&](std::uint8_t page, std::uint8_t addr) { defaults_.push_back({page, addr, memory().get(page, addr)}); };
    for (const WriteRule &r : kWriteRules) {
        for (unsigned p = r.first_page; p <= r.last_page; ++p) {
            if (!r.lower && !memory().has_page(static_cast<std::uint8_t>(p))) {
                continue;
            }
            for (unsigned a = r.first; a <= r.last; ++a) {
                keep(static_cast<std::uint8_t>(p), static_cast<std::uint8_t>(a));
            }
        }
    }
    if (memory().has_page(kPage11)) {
        for (unsigned a = kFirstStatusDefault; a <= kLastStatusDefault; ++a) {
            keep(kPage11, static_cast<std::uint8_t>(a));
        }
        for (int i = 0; i < kSiBytes; ++i) {
            default_si_[i] = memory().get(kPage11, static_cast<std::uint8_t>(kActiveSi + i));
        }
    }
}

void CmisModule::load_monitors_from_image() {
    const ModuleMemory &m = memory();
    const auto word = [&](std::uint8_t page, std::uint8_t addr) {
        return static_cast<std::uint16_t>(m.get(page, addr) << 8 | m.get(page, static_cast<std::uint8_t>(addr + 1)));
    };
    temperature_ = word(0, kTemperature);
    vcc_ = word(0, kVcc);
    if (!m.has_page(kPage11)) {
        return;
    }
    for (int lane = 0; lane < kLanes; ++lane) {
        const auto at = static_cast<std::uint8_t>(2 * lane);
        lanes_[lane].tx_power = word(kPage11, static_cast<std::uint8_t>(kTxPowerMonitors + at));
        lanes_[lane].tx_bias = word(kPage11, static_cast<std::uint8_t>(kTxBiasMonitors + at));
        lanes_[lane].rx_power = word(kPage11, static_cast<std::uint8_t>(kRxPowerMonitors + at));
    }
}

// The media lanes the module has: the most any advertised application uses,
// its media lane count times the data paths its host lane assignment allows.
// Media lane i is taken to follow the data path of host lane i.
int CmisModule::count_media_lanes() const {
    int most = 0;
    for (int app = 0; app < kApplications; ++app) {
        const auto at = static_cast<std::uint8_t>(kAppDescriptors + kAppDescriptorSize * app);
        if (memory().get(0, at) == kAppUnused) {
            break;
        }
        most = std::max(most, app_media_lanes(memory().get(0, static_cast<std::uint8_t>(at + kAppLaneCounts)),
                                              memory().get(0, static_cast<std::uint8_t>(at + kAppHostLaneAssignment))));
    }
    return most == 0 ? kLanes : most;
}

void CmisModule::power_up() {
    std::lock_guard lock(mu_);
    power_up_locked();
}

void CmisModule::power_up_locked() {
    restart_locked(now_ns());
    refresh_locked();
}

// Everything a power cycle or a reset does to the module, at `at_ns`.
void CmisModule::restart_locked(std::uint64_t at_ns) {
    for (const Default &d : defaults_) {
        memory().set(d.page, d.addr, d.value);
    }
    t_ns_ = std::max(t_ns_, at_ns);
    fault_ = false;
    commands_.clear();
    pending_dp_init_ = 0;
    pending_immediate_ = 0;
    lane_latched_ = {};
    module_latched_ = {};
    dp_changed_ = 0;
    for (Lane &l : lanes_) {
        l.state = DataPathState::deactivated;
        l.until_ns = 0;
    }
    // Management initialisation ends in ModuleLowPwr; a flat-memory module
    // has no module state machine and is always ready.
    state_ = memory().flat() ? ModuleState::ready : ModuleState::low_power;
    state_until_ns_ = 0;
    state_changed_ = true;
    cdb_power_up();
}

// ---- Timing -----------------------------------------------------------------------------

std::uint64_t CmisModule::code_time_ns(std::uint8_t page, std::uint8_t addr, bool high_nibble) const {
    if (!memory().has_page(page) || memory().flat()) {
        return 0;
    }
    const std::uint8_t byte = memory().get(page, addr);
    return kDurationUs[high_nibble ? byte >> 4 : byte & 0x0F] * 1000;
}

std::uint64_t CmisModule::time_ns(const std::optional<Duration> &set, std::uint64_t advertised) const {
    return set ? static_cast<std::uint64_t>(std::max<std::int64_t>(set->count(), 0)) : advertised;
}

// CMIS 3.0 advertises no module power-up or power-down duration: those take
// no time unless a test sets one.
CmisModule::Duration CmisModule::module_power_up_time() const {
    std::lock_guard lock(mu_);
    return Duration(time_ns(power_up_time_, cmis3() ? 0 : code_time_ns(kPage01, kModuleDurations, false)));
}

CmisModule::Duration CmisModule::module_power_down_time() const {
    std::lock_guard lock(mu_);
    return Duration(time_ns(power_down_time_, cmis3() ? 0 : code_time_ns(kPage01, kModuleDurations, true)));
}

CmisModule::Duration CmisModule::dp_init_time() const {
    std::lock_guard lock(mu_);
    return Duration(time_ns(dp_init_time_, code_time_ns(kPage01, kDataPathDurations, false)));
}

CmisModule::Duration CmisModule::dp_deinit_time() const {
    std::lock_guard lock(mu_);
    return Duration(time_ns(dp_deinit_time_, code_time_ns(kPage01, kDataPathDurations, true)));
}

void CmisModule::set_module_power_up_time(std::optional<Duration> t) {
    update([&] { power_up_time_ = t; });
}
void CmisModule::set_module_power_down_time(std::optional<Duration> t) {
    update([&] { power_down_time_ = t; });
}
void CmisModule::set_dp_init_time(std::optional<Duration> t) {
    update([&] { dp_init_time_ = t; });
}
void CmisModule::set_dp_deinit_time(std::optional<Duration> t) {
    update([&] { dp_deinit_time_ = t; });
}
void CmisModule::set_tx_turn_on_time(Duration t) {
    update([&] { tx_turn_on_time_ = t; });
}
void CmisModule::set_config_time(Duration t) {
    update([&] { config_time_ = t; });
}
void CmisModule::set_lpmode_pin(bool asserted) {
    update([&] { lpmode_pin_ = asserted; });
}

// ---- Test-side state and setters ---------------------------------------------------------

CmisModule::ModuleState CmisModule::module_state() {
    std::lock_guard lock(mu_);
    refresh_locked();
    return state_;
}

CmisModule::DataPathState CmisModule::data_path_state(int lane) {
    std::lock_guard lock(mu_);
    refresh_locked();
    return lane_ok(lane) ? lanes_[lane].state : DataPathState::deactivated;
}

CmisModule::ConfigStatus CmisModule::config_status(int lane) {
    std::lock_guard lock(mu_);
    refresh_locked();
    if (!lane_ok(lane) || !memory().has_page(kPage11)) {
        return ConfigStatus::undefined;
    }
    const std::uint8_t byte = memory().get(kPage11, static_cast<std::uint8_t>(kConfigStatus + lane / 2));
    return static_cast<ConfigStatus>(lane % 2 == 0 ? byte & 0x0F : byte >> 4);
}

bool CmisModule::transmitting(int lane) {
    std::lock_guard lock(mu_);
    refresh_locked();
    return lane_ok(lane) && transmitting_locked(lane);
}

bool CmisModule::intl_asserted() {
    std::lock_guard lock(mu_);
    refresh_locked();
    return intl_locked();
}

void CmisModule::set_temperature(double celsius) {
    update([&] { temperature_ = sff8636::encode_temperature(celsius); });
}

void CmisModule::set_vcc(double volts) {
    update([&] { vcc_ = sff8636::encode_vcc(volts); });
}

bool CmisModule::set_lane_word(int lane, std::uint16_t Lane::*field, std::uint16_t value) {
    if (!lane_ok(lane)) {
        return false;
    }
    update([&] { lanes_[lane].*field = value; });
    return true;
}

bool CmisModule::set_lane_flag(int lane, bool Lane::*field, bool on) {
    if (!lane_ok(lane)) {
        return false;
    }
    update([&] { lanes_[lane].*field = on; });
    return true;
}

// CMIS monitors use the SFF-8636 units: 0.1 uW, 2 uA, 1/256 C, 100 uV.
bool CmisModule::set_rx_power(int lane, double mw) { return set_lane_word(lane, &Lane::rx_power, sff8636::encode_power(mw)); }
bool CmisModule::set_tx_bias(int lane, double ma) { return set_lane_word(lane, &Lane::tx_bias, sff8636::encode_bias(ma)); }
bool CmisModule::set_tx_power(int lane, double mw) { return set_lane_word(lane, &Lane::tx_power, sff8636::encode_power(mw)); }
bool CmisModule::set_tx_fault(int lane, bool on) { return set_lane_flag(lane, &Lane::tx_fault, on); }
bool CmisModule::set_tx_los(int lane, bool on) { return set_lane_flag(lane, &Lane::tx_los, on); }
bool CmisModule::set_tx_cdr_lol(int lane, bool on) { return set_lane_flag(lane, &Lane::tx_lol, on); }
bool CmisModule::set_rx_cdr_lol(int lane, bool on) { return set_lane_flag(lane, &Lane::rx_lol, on); }

void CmisModule::set_rx_los_threshold(double milliwatts) {
    update([&] { rx_los_threshold_ = sff8636::encode_power(milliwatts); });
}

void CmisModule::set_module_fault() {
    update([&] { fault_ = true; });
}

void CmisModule::set_stuck_in_low_power(bool stuck) {
    update([&] { stuck_low_power_ = stuck; });
}

bool CmisModule::stick_data_path(int lane, std::optional<DataPathState> state) {
    if (!lane_ok(lane)) {
        return false;
    }
    update([&] { lanes_[lane].stuck = state; });
    return true;
}

void CmisModule::set_config_fault(ConfigFault fault) {
    update([&] { config_fault_ = fault; });
}

void CmisModule::set_busy_hook(std::function<bool()> hook) {
    std::lock_guard lock(mu_);
    busy_hook_ = std::move(hook);
}

bool CmisModule::busy() {
    std::function<bool()> hook;
    {
        std::lock_guard lock(mu_);
        refresh_locked();
        if (cdb_refuses_bus(t_ns_)) {
            return true;
        }
        hook = busy_hook_;
    }
    return hook && hook();
}

std::optional<std::uint8_t> CmisModule::host_wrote(std::uint8_t page, std::uint8_t addr) const {
    std::lock_guard lock(mu_);
    const auto it = host_writes_.find(key(page, addr));
    return it == host_writes_.end() ? std::nullopt : std::optional<std::uint8_t>(it->second);
}

// ---- Catching up with the clock -------------------------------------------------------------

// Every timed transition happens at its own deadline, in time order, so a
// data path that may start when the module becomes ready starts at that
// moment and not at the next bus access.
// A transaction brings the module up to date only when something could have
// changed since the last time: the clock moved, the host wrote a register
// that is more than memory, or it read flags that clear. A firmware block
// written to the CDB payload pages a byte at a time changes nothing else, and
// the module need not be evaluated twice for each of its bytes.
void CmisModule::refresh_for_transaction_locked() {
    if (changed_since_refresh_ || now_ns() != refreshed_at_ns_) {
        refresh_locked();
    }
}

void CmisModule::refresh_locked() {
    const std::uint64_t now = now_ns();
    changed_since_refresh_ = false;
    refreshed_at_ns_ = now;
    for (int i = 0; i < kMaxSteps; ++i) {
        const std::optional<std::uint64_t> next = next_deadline();
        if (!next || *next > now) {
            break;
        }
        t_ns_ = std::max(t_ns_, *next);
        step_all();
    }
    t_ns_ = std::max(t_ns_, now);
    step_all();
    write_data_path_states();
    write_monitors();
    write_cdb_state();
    latch_flags();
    write_module_state();  // its interrupt bit follows the flags
}

std::optional<std::uint64_t> CmisModule::next_deadline() const {
    std::optional<std::uint64_t> next;
    const auto consider = [&](std::uint64_t at) {
        if (at != kNever && at > t_ns_ && (!next || at < *next)) {
            next = at;
        }
    };
    if (state_ == ModuleState::power_up || state_ == ModuleState::power_down) {
        consider(state_until_ns_);
    }
    for (const Lane &l : lanes_) {
        const bool timed = l.state == DataPathState::init || l.state == DataPathState::initialized ||
                           l.state == DataPathState::deinit;
        if (timed && !l.stuck) {
            consider(l.until_ns);
        }
    }
    for (const Command &c : commands_) {
        consider(c.done_ns);
    }
    for (std::uint64_t at : cdb_deadlines()) {
        consider(at);
    }
    return next;
}

void CmisModule::step_all() {
    if (pending_dp_init_ != 0 || pending_immediate_ != 0) {
        take_command(std::exchange(pending_dp_init_, 0), false);
        take_command(std::exchange(pending_immediate_, 0), true);
    }
    if (std::exchange(cdb_.trigger, false)) {
        take_cdb_command();
    }
    // Transitions at one instant may enable each other (module ready, then a
    // data path starts); a few rounds settle them.
    for (int round = 0; round < 4; ++round) {
        step_module();
        step_commands();
        step_lanes();
        step_cdb();
    }
}

// ---- Module state machine ----------------------------------------------------------------

// CMIS 4.0: LowPwrS = LowPwrRequestSW || (LowPwrAllowRequestHW && LPMode).
// CMIS 3.0 names the same bits ForceLowPwr and LowPwr and combines them alike.
bool CmisModule::low_power_requested() const {
    const std::uint8_t control = memory().get(0, kGlobalControls);
    return stuck_low_power_ || (control & kLowPwrRequestSw) || ((control & kLowPwrAllowRequestHw) && lpmode_pin_);
}

void CmisModule::enter_module_state(ModuleState state, std::uint64_t until_ns) {
    state_ = state;
    state_until_ns_ = until_ns;
    // Only the steady states raise the state-changed flag; ModulePwrUp and
    // ModulePwrDn are transient.
    if (state == ModuleState::low_power || state == ModuleState::ready || state == ModuleState::fault) {
        state_changed_ = true;
    }
}

void CmisModule::step_module() {
    if (memory().flat()) {
        return;
    }
    if (fault_) {
        if (state_ != ModuleState::fault) {
            enter_module_state(ModuleState::fault, 0);
        }
        return;
    }
    const bool low = low_power_requested();
    const auto up_ns = time_ns(power_up_time_, cmis3() ? 0 : code_time_ns(kPage01, kModuleDurations, false));
    const auto down_ns = time_ns(power_down_time_, cmis3() ? 0 : code_time_ns(kPage01, kModuleDurations, true));
    switch (state_) {
    case ModuleState::low_power:
        if (!low) {
            enter_module_state(ModuleState::power_up, t_ns_ + up_ns);
        }
        break;
    case ModuleState::power_up:
        if (low) {
            enter_module_state(ModuleState::power_down, t_ns_ + down_ns);
        } else if (t_ns_ >= state_until_ns_) {
            enter_module_state(ModuleState::ready, 0);
        }
        break;
    case ModuleState::ready:
        if (low) {
            enter_module_state(ModuleState::power_down, t_ns_ + down_ns);
        }
        break;
    case ModuleState::power_down:
        if (t_ns_ >= state_until_ns_) {
            enter_module_state(ModuleState::low_power, 0);
        }
        break;
    case ModuleState::fault:
        break;
    }
}

void CmisModule::write_module_state() {
    const std::uint8_t reserved = memory().get(0, kModuleStateReg) & 0xF0;
    const auto state = static_cast<std::uint8_t>(static_cast<std::uint8_t>(state_) << kModuleStateShift);
    memory().set(0, kModuleStateReg,
                 static_cast<std::uint8_t>(reserved | state | (intl_locked() ? 0 : kInterruptDeasserted)));
}

// ---- Bus hooks ------------------------------------------------------------------------

void CmisModule::begin_transaction() {
    std::lock_guard lock(mu_);
    in_transaction_ = true;
    refresh_for_transaction_locked();
}

void CmisModule::end_transaction() {
    std::lock_guard lock(mu_);
    in_transaction_ = false;
    clear_read_flags();
    refresh_for_transaction_locked();  // writes and cleared flags take effect once per transaction
}

std::uint8_t CmisModule::on_read(std::uint8_t page, std::uint8_t addr) {
    std::lock_guard lock(mu_);
    if (!in_transaction_) {
        refresh_locked();
    }
    const WriteRule *rule = rule_for(page, addr);
    if (rule != nullptr && rule->write_only) {
        return 0;
    }
    const std::uint8_t value = memory().get(page, addr);
    if (addr >= kFirstModuleFlag && addr <= kLastModuleFlag) {
        module_flags_read_.set(addr - kFirstModuleFlag);
        changed_since_refresh_ = true;
    } else if (page == kPage11 && addr >= kFirstLaneFlag && addr <= kLastLaneFlag && paged()) {
        lane_flags_read_.set(addr - kFirstLaneFlag);
        changed_since_refresh_ = true;
    }
    if (!in_transaction_) {
        clear_read_flags();
        refresh_locked();
    }
    return value;
}

std::uint8_t CmisModule::write_mask(std::uint8_t page, std::uint8_t addr) const {
    if (addr >= kHalfPage && memory().flat()) {
        return 0;  // a flat-memory module has no writable upper byte
    }
    const WriteRule *rule = rule_for(page, addr);
    return rule != nullptr && !rule->write_only ? rule->mask : 0;
}

void CmisModule::on_write(std::uint8_t page, std::uint8_t addr, std::uint8_t value) {
    std::lock_guard lock(mu_);
    if (!in_transaction_) {
        refresh_locked();
    }
    host_writes_[key(page, addr)] = value;
    if (addr < 128 || page < kPageA0 || page > kPageAF) {
        changed_since_refresh_ = true;  // a firmware payload byte is memory only
    }
    apply_control_write(page, addr, value);
    if (!in_transaction_) {
        refresh_locked();
    }
}

void CmisModule::apply_control_write(std::uint8_t page, std::uint8_t addr, std::uint8_t value) {
    const std::uint8_t mask = write_mask(page, addr);
    if (mask == 0) {
        return;
    }
    if (addr == kGlobalControls && (value & kSoftwareReset)) {
        power_up_locked();  // the reset bit clears itself
        return;
    }
    // The apply triggers start a command for the lanes whose bits are set and
    // read back as 0; the command is taken when the transaction ends, so
    // staged bytes written in the same transaction count.
    if (page == kPage10 && addr == kApplyDpInit) {
        pending_dp_init_ |= value;
        return;
    }
    if (page == kPage10 && addr == kApplyImmediate) {
        pending_immediate_ |= value;
        return;
    }
    const std::uint8_t old = memory().get(page, addr);
    memory().set(page, addr, static_cast<std::uint8_t>((old & ~mask) | (value & mask)));
    // Writing the low byte of the command ID starts a CDB command; it is
    // taken when the transaction ends, so a block written in one go counts.
    if (page == kPage9F && addr == kCdbCommandIdLow) {
        cdb_.trigger = true;
    }
}

}  // namespace qsfp::sim
