// An emulated CMIS module (QSFP-DD, OSFP) as CMIS 4.0 describes the module
// side, with the CMIS 3.0 differences when lower byte 1 says 3.x: the module
// state machine driven by lower byte 26 and the LPMode contact, a data path
// state machine per host lane driven by page 10h byte 128, staged control set
// 0 with ApplyDPInit / ApplyImmediate and the configuration status of page
// 11h, Tx disable and Rx output disable, monitors checked against the page
// 02h thresholds, latched flags that clear when read, and the fault switches
// tests need. A flat-memory module (lower byte 2 bit 7) has page 00h only and
// always reports ModuleReady.
//
// Time is the virtual clock's. Each state stays for the time its advertised
// duration code stands for (cmis::kDurationUs) unless a test sets another;
// the module catches up with the clock at the start of every bus transaction,
// at every read or write outside a transaction and in every test-side query.
//
// A module that advertises CDB (page 01h byte 163) and has page 9Fh runs the
// CDB engine of cmis_cdb.cpp: commands written to page 9Fh, extended payload
// on pages A0h-AFh, status in lower byte 37, completion in lower byte 8 bit 6,
// two firmware banks with download, run and commit.
#pragma once

#include <array>
#include <bitset>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <span>
#include <vector>

#include <qsfp/sim/cmis_cdb.h>
#include <qsfp/sim/cmis_map.h>
#include <qsfp/sim/module.h>

namespace qsfp::sim {

class CmisModule : public Module {
public:
    using Duration = std::chrono::nanoseconds;
    using ModuleState = cmis::ModuleState;
    using DataPathState = cmis::DataPathState;
    using ConfigStatus = cmis::ConfigStatus;

    // What the next configuration commands do instead of being checked.
    struct ConfigFault {
        enum class Kind { none, stay_in_progress, reject };
        Kind kind = Kind::none;
        ConfigStatus code = ConfigStatus::rejected;  // for reject
    };

    // The module is inserted (powered) now on the virtual clock.
    explicit CmisModule(ModuleMemory memory);

    // A power cycle: host controls return to the image's values, flags clear,
    // every data path is deactivated and the module starts again.
    void power_up();

    // ---- Identity ----------------------------------------------------------------------
    std::uint8_t revision() const;
    // CMIS 3.x semantics (DataPathPwrUp, no in-progress status, no module durations).
    bool cmis3() const;

    // ---- Timing: std::nullopt means the advertised code's time ------------------------
    void set_module_power_up_time(std::optional<Duration> t);
    void set_module_power_down_time(std::optional<Duration> t);
    void set_dp_init_time(std::optional<Duration> t);
    void set_dp_deinit_time(std::optional<Duration> t);
    // DPInitialized to DPActivated (CMIS 4.0), 0 unless set.
    void set_tx_turn_on_time(Duration t);
    // How long an ApplyDPInit stays in progress while the module checks and
    // commits the staged set (1 ms unless set). The lanes are deactivated
    // then, so no DPInit runs: that comes when the host clears DPDeinit.
    void set_config_time(Duration t);
    Duration module_power_up_time() const;
    Duration module_power_down_time() const;
    Duration dp_init_time() const;
    Duration dp_deinit_time() const;

    // ---- Contacts ------------------------------------------------------------------------
    // LPMode (LowPwrRequestHW); asserted unless a test deasserts it.
    void set_lpmode_pin(bool asserted);

    // ---- State, brought up to date with the clock first --------------------------------
    ModuleState module_state();
    DataPathState data_path_state(int lane);  // lanes 0-7
    ConfigStatus config_status(int lane);
    // Whether the lane's transmitter is on: module ready, data path activated, Tx enabled.
    bool transmitting(int lane);
    bool intl_asserted();

    // ---- Monitors, engineering units; lanes 0-7 (false for any other lane) ---------
    void set_temperature(double celsius);
    void set_vcc(double volts);
    bool set_rx_power(int lane, double milliwatts);   // optical input, while the lane's data path is activated
    bool set_tx_bias(int lane, double milliamps);     // while the lane transmits
    bool set_tx_power(int lane, double milliwatts);   // while the lane transmits
    // Rx LOS is raised for an activated lane whose Rx power is below this (0: never).
    void set_rx_los_threshold(double milliwatts);
    bool set_tx_fault(int lane, bool on);
    bool set_tx_los(int lane, bool on);
    bool set_tx_cdr_lol(int lane, bool on);
    bool set_rx_cdr_lol(int lane, bool on);

    // ---- Faults ------------------------------------------------------------------------
    // The module enters ModuleFault (until the next power cycle).
    void set_module_fault();
    // The module stays in ModuleLowPwr whatever the host asks.
    void set_stuck_in_low_power(bool stuck);
    // The lane's data path stays in `state` (std::nullopt releases it).
    bool stick_data_path(int lane, std::optional<DataPathState> state);
    void set_config_fault(ConfigFault fault);
    // While the hook answers true the module does not acknowledge its address.
    void set_busy_hook(std::function<bool()> hook);
    // The hook, a Run command's reset, or a CDB command while the module is
    // set to refuse the bus while busy.
    bool busy() override;

    // ---- CDB (cmis_cdb.cpp) ----------------------------------------------------------
    using Bank = cdb::Bank;
    using FirmwareVersion = cdb::FirmwareVersion;
    using FirmwareImage = cdb::FirmwareImage;
    using CdbFault = cdb::CdbFault;
    // Page 01h byte 163 advertises at least one instance and page 9Fh exists.
    bool cdb_supported() const;
    // Firmware banks. At insertion bank A runs and is committed with the
    // version of lower bytes 39-40; bank B holds the version of page 01h
    // bytes 128-129 and is valid when that is not 0.0. Banks keep their
    // contents across power cycles; a power cycle runs the committed bank.
    void set_firmware_image(Bank bank, FirmwareImage image);
    FirmwareImage firmware_image(Bank bank);
    void set_running_image(Bank bank);
    void set_committed_image(Bank bank);
    Bank running_image();
    Bank committed_image();
    // The inactive bank: while a download runs, the vendor header and the
    // blocks received so far; afterwards what the bank holds.
    std::vector<std::uint8_t> downloaded_image();
    bool download_in_progress();
    // How long a command stays busy before it completes (defaults per
    // command in cmis_cdb.cpp); 0000h adds the delay its payload asks for.
    void set_cdb_busy_time(std::uint16_t command, Duration t);
    Duration cdb_busy_time(std::uint16_t command) const;
    // After a Run command (and its delay to reset) the module resets and does
    // not acknowledge its address for this long.
    void set_cdb_reset_time(Duration t);
    // StartCmdPayloadSize of the 0041h reply: the vendor header length.
    void set_cdb_start_payload_size(std::uint8_t bytes);
    // Largest image 0101h accepts.
    void set_cdb_bank_capacity(std::uint32_t bytes);
    // A module that is not in background mode: no acknowledge while a command runs.
    void set_cdb_nack_while_busy(bool nack);
    // Run accepts a fully received image only after 0107h (Complete).
    void set_cdb_require_complete(bool require);
    void set_cdb_fault(CdbFault fault);
    std::uint8_t cdb_status();
    // Commands the module has taken (triggered), by command ID.
    int cdb_commands_taken(std::uint16_t command) const;

    // ---- What the host did -------------------------------------------------------------
    std::optional<std::uint8_t> host_wrote(std::uint8_t page, std::uint8_t addr) const;

    void begin_transaction() override;
    void end_transaction() override;

protected:
    std::uint8_t on_read(std::uint8_t page, std::uint8_t addr) override;
    void on_write(std::uint8_t page, std::uint8_t addr, std::uint8_t value) override;

private:
    struct Lane {
        DataPathState state = DataPathState::deactivated;
        std::uint64_t until_ns = 0;  // end of a timed state
        std::optional<DataPathState> stuck;
        std::uint16_t rx_power = 0;
        std::uint16_t tx_bias = 0;
        std::uint16_t tx_power = 0;
        bool tx_fault = false;
        bool tx_los = false;
        bool tx_lol = false;
        bool rx_lol = false;
    };
    // A configuration command under way on some lanes.
    struct Command {
        std::uint8_t lanes = 0;
        std::uint64_t done_ns = 0;
        bool immediate = false;
        std::array<std::uint8_t, cmis::kLanes> dp_config{};
        std::array<std::uint8_t, cmis::kSiBytes> si{};
        std::array<ConfigStatus, cmis::kLanes> verdict{};  // decided when the command was taken
    };
    using LaneFlagBytes = std::array<std::uint8_t, cmis::kLaneFlagBytes>;
    using ModuleFlagBytes = std::array<std::uint8_t, cmis::kLastModuleFlag - cmis::kFirstModuleFlag + 1>;

    std::uint64_t now_ns() const;
    bool lane_ok(int lane) const { return lane >= 0 && lane < cmis::kLanes; }
    bool paged() const;
    std::uint64_t code_time_ns(std::uint8_t page, std::uint8_t addr, bool high_nibble) const;
    std::uint64_t time_ns(const std::optional<Duration> &set, std::uint64_t advertised) const;
    template <typename F> void update(F &&change);
    bool set_lane_word(int lane, std::uint16_t Lane::*field, std::uint16_t word);
    bool set_lane_flag(int lane, bool Lane::*field, bool on);

    // cmis_module.cpp: module state machine and bus hooks.
    void power_up_locked();
    void restart_locked(std::uint64_t at_ns);
    void capture_defaults();
    void load_monitors_from_image();
    int count_media_lanes() const;
    void refresh_locked();
    void refresh_for_transaction_locked();
    bool low_power_requested() const;
    std::optional<std::uint64_t> next_deadline() const;
    void step_all();
    void step_module();
    void enter_module_state(ModuleState state, std::uint64_t until_ns);
    void write_module_state();
    std::uint8_t write_mask(std::uint8_t page, std::uint8_t addr) const;
    void apply_control_write(std::uint8_t page, std::uint8_t addr, std::uint8_t value);

    // cmis_datapath.cpp: data path state machines and configuration commands.
    bool data_path_requested(int lane) const;
    void step_lanes();
    void step_lane(int lane);
    void enter_lane_state(int lane, DataPathState state, std::uint64_t until_ns);
    void write_data_path_states();
    void take_command(std::uint8_t lanes, bool immediate);
    ConfigStatus check_lane(const Command &c, int lane) const;
    std::optional<std::array<std::uint8_t, cmis::kAppDescriptorSize>> descriptor(std::uint8_t app) const;
    void step_commands();
    void finish_command(const Command &c);
    void set_config_status(int lane, ConfigStatus status);

    // cmis_cdb.cpp: the CDB engine.
    void cdb_load_from_image();
    void cdb_power_up();
    bool cdb_supported_locked() const;
    bool cdb_refuses_bus(std::uint64_t now) const;
    std::array<std::uint64_t, 3> cdb_deadlines() const;
    void take_cdb_command();
    void step_cdb();
    void execute_cdb(const cdb::Command &c);
    void finish_cdb(std::uint8_t status, const std::vector<std::uint8_t> &reply);
    void finish_cdb_reset();
    void write_cdb_state();
    std::uint64_t cdb_busy_ns(std::uint16_t command) const;
    std::size_t cdb_epl_capacity() const;
    std::uint8_t cdb_query_status(const cdb::Command &c, std::vector<std::uint8_t> &reply);
    std::uint8_t cdb_firmware_features(const cdb::Command &c, std::vector<std::uint8_t> &reply);
    std::uint8_t cdb_firmware_info(const cdb::Command &c, std::vector<std::uint8_t> &reply);
    std::uint8_t cdb_start_download(const cdb::Command &c, std::vector<std::uint8_t> &reply);
    std::uint8_t cdb_abort_download(const cdb::Command &c, std::vector<std::uint8_t> &reply);
    std::uint8_t cdb_write_block_lpl(const cdb::Command &c, std::vector<std::uint8_t> &reply);
    std::uint8_t cdb_write_block_epl(const cdb::Command &c, std::vector<std::uint8_t> &reply);
    std::uint8_t cdb_complete_download(const cdb::Command &c, std::vector<std::uint8_t> &reply);
    std::uint8_t cdb_run_image(const cdb::Command &c, std::vector<std::uint8_t> &reply);
    std::uint8_t cdb_commit_image(const cdb::Command &c, std::vector<std::uint8_t> &reply);
    std::uint8_t cdb_write_block(std::uint32_t address, std::span<const std::uint8_t> data);
    void cdb_finish_download();

    // cmis_flags.cpp: monitors, latched flags and the interrupt.
    bool transmitting_locked(int lane) const;
    void write_monitors();
    LaneFlagBytes lane_conditions() const;
    ModuleFlagBytes module_conditions() const;
    void latch_flags();
    void clear_read_flags();
    bool intl_locked() const;

    mutable std::mutex mu_;
    std::uint64_t t_ns_ = 0;  // the time the state machines are evaluated at
    std::uint64_t refreshed_at_ns_ = 0;
    bool changed_since_refresh_ = true;
    ModuleState state_ = ModuleState::low_power;
    std::uint64_t state_until_ns_ = 0;
    bool fault_ = false;
    bool stuck_low_power_ = false;
    bool lpmode_pin_ = true;
    std::optional<Duration> power_up_time_;
    std::optional<Duration> power_down_time_;
    std::optional<Duration> dp_init_time_;
    std::optional<Duration> dp_deinit_time_;
    Duration tx_turn_on_time_{0};
    Duration config_time_{std::chrono::milliseconds(1)};
    std::array<Lane, cmis::kLanes> lanes_{};
    int media_lanes_ = cmis::kLanes;  // lanes with optical monitors and flags
    std::uint16_t temperature_ = 0;
    std::uint16_t vcc_ = 0;
    std::uint16_t rx_los_threshold_ = 0;
    std::vector<Command> commands_;
    ConfigFault config_fault_;
    std::uint8_t pending_dp_init_ = 0;    // ApplyDPInit lanes written, taken at the end of the transaction
    std::uint8_t pending_immediate_ = 0;  // ApplyImmediate likewise
    std::function<bool()> busy_hook_;

    LaneFlagBytes lane_latched_{};
    ModuleFlagBytes module_latched_{};
    bool state_changed_ = false;  // module state changed, until latched
    std::uint8_t dp_changed_ = 0;  // data path state changed per lane, until latched
    bool in_transaction_ = false;
    std::bitset<cmis::kLaneFlagBytes> lane_flags_read_;
    std::bitset<ModuleFlagBytes{}.size()> module_flags_read_;

    struct Default {
        std::uint8_t page;
        std::uint8_t addr;
        std::uint8_t value;
    };
    std::vector<Default> defaults_;
    std::array<std::uint8_t, cmis::kSiBytes> default_si_{};
    std::map<std::uint16_t, std::uint8_t> host_writes_;
    cdb::CdbState cdb_;
};

// A test-side change, made with the module caught up with the clock before and after.
template <typename F>
void CmisModule::update(F &&change) {
    std::lock_guard lock(mu_);
    refresh_locked();
    change();
    refresh_locked();
}

}  // namespace qsfp::sim
