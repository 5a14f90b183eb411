// An emulated SFF-8636 (QSFP, QSFP+, QSFP28) module modelled on SFF-8636 rev
// 2.10a: data-not-ready after power-up, TEC readiness, latched flags that clear
// when read and re-latch while their condition holds, IntL, monitors with
// alarm and warning thresholds, Tx disable and low-power mode, the host
// controls and, when announced, the versatile diagnostics of pages 20h-21h
// (layout in sff8636_vdm.h).
//
// Time is the virtual clock's. Flags and monitors are brought up to date at the
// start of every bus transaction; a flag byte read in a transaction clears at
// its end and re-latches at once if its condition still holds.
#pragma once

#include <array>
#include <bitset>
#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <vector>

#include <qsfp/sim/module.h>
#include <qsfp/sim/sff8636_map.h>
#include <qsfp/sim/sff8636_vdm.h>

namespace qsfp::sim {

class Sff8636Module : public Module {
public:
    // A delay after power-up; std::nullopt means the event never comes.
    using Delay = std::optional<std::chrono::nanoseconds>;

    struct Timing {
        Delay data_not_ready{std::chrono::nanoseconds(0)};
        Delay tec_ready{std::chrono::nanoseconds(0)};
    };

    // The module powers up at once (now on the virtual clock) with the given
    // delays; monitor values start from the image's lower bytes 22-57.
    Sff8636Module(ModuleMemory memory, Timing timing);
    explicit Sff8636Module(ModuleMemory memory);

    // ---- Power and timing ----------------------------------------------------------
    // A power cycle: host controls return to the image's values, latched flags
    // clear, and the data-not-ready and TEC delays run again from now.
    void power_up();
    // New delays count from the last power-up; flags latched meanwhile stay
    // latched until read.
    void set_data_not_ready_time(Delay delay);
    void set_tec_ready_time(Delay delay);
    bool data_ready() const;
    bool tec_ready() const;
    // The LPMode contact (used while byte 93 bit 0, power override, is clear).
    void set_lpmode_pin(bool asserted);

    // ---- Monitors, engineering units; lanes 0-3 (false for any other lane) ---------
    void set_temperature(double celsius);
    void set_vcc(double volts);
    bool set_rx_power(int lane, double milliwatts);
    bool set_tx_bias(int lane, double milliamps);   // while the lane transmits
    bool set_tx_power(int lane, double milliwatts); // while the lane transmits
    // Rx LOS latches for a lane whose Rx power is below this (0: never).
    void set_rx_los_threshold(double milliwatts);

    // ---- Lane conditions ---------------------------------------------------------
    bool set_tx_fault(int lane, bool on);
    bool set_tx_adaptive_eq_fault(int lane, bool on);
    bool set_tx_los(int lane, bool on);
    bool set_rx_cdr_lol(int lane, bool on);
    bool set_tx_cdr_lol(int lane, bool on);

    // ---- What the host did ----------------------------------------------------------
    // The last value the host wrote to a byte (lower memory: any page), whether
    // the module kept it or not; byte 127 is not recorded (see selected_page()).
    std::optional<std::uint8_t> host_wrote(std::uint8_t page, std::uint8_t addr) const;
    std::uint8_t tx_disabled_lanes() const;
    bool low_power() const;
    // Whether the lane's laser is on: data ready, not in low power, the high
    // power class enabled when one is advertised, and Tx not disabled.
    bool transmitting(int lane) const;
    bool intl_asserted() const;

    // ---- Versatile diagnostics (pages 20h-21h) -------------------------------------------
    // Announced by page 00h byte 195 bit 0 on a paged module that has both pages.
    bool vdm_implemented() const;
    // Sets parameter `index` (0-23) in the engineering unit of its type; false
    // when the module has no such parameter.
    bool set_vdm_value(int index, double value);
    std::optional<double> vdm_value(int index) const;

    void begin_transaction() override;
    void end_transaction() override;

protected:
    std::uint8_t on_read(std::uint8_t page, std::uint8_t addr) override;
    void on_write(std::uint8_t page, std::uint8_t addr, std::uint8_t value) override;

private:
    struct Lane {
        std::uint16_t rx_power = 0;
        std::uint16_t tx_bias = 0;
        std::uint16_t tx_power = 0;
        bool tx_fault = false;
        bool tx_eq_fault = false;
        bool tx_los = false;
        bool rx_lol = false;
        bool tx_lol = false;
    };
    // Latched flag bytes, indexed by lower address (3-14 used).
    using FlagBytes = std::array<std::uint8_t, sff8636::kLastFlag + 1>;
    static constexpr int kVdmFlagBytes = vdm::kFlagBytes;
    using VdmFlagBytes = std::array<std::uint8_t, kVdmFlagBytes>;

    std::uint64_t now_ns() const;
    bool reached(const Delay &delay) const;
    bool lane_ok(int lane) const { return lane >= 0 && lane < sff8636::kLanes; }
    bool set_lane(int lane, bool Lane::*field, bool on);
    bool set_lane_word(int lane, std::uint16_t Lane::*field, std::uint16_t word);
    template <typename F> void update(F &&change);
    bool locked(bool (Sff8636Module::*query)() const) const;

    bool data_ready_locked() const;
    bool tec_ready_locked() const;
    bool low_power_locked() const;
    bool transmitting_locked(int lane) const;
    bool intl_locked() const;
    bool vdm_locked() const;
    std::uint8_t page03(std::uint8_t addr) const;

    void power_up_locked();
    void capture_defaults();
    void load_monitors_from_image();
    void refresh_locked();
    void write_monitors();
    void write_status();
    FlagBytes conditions() const;
    VdmFlagBytes vdm_conditions() const;
    void clear_read_flags();
    void apply_vdm_control(std::uint8_t value);

    std::uint8_t write_mask(std::uint8_t page, std::uint8_t addr, bool *write_only) const;
    void apply_control_write(std::uint8_t page, std::uint8_t addr, std::uint8_t value);

    mutable std::mutex mu_;
    std::uint64_t power_up_ns_ = 0;
    Delay data_not_ready_delay_{std::chrono::nanoseconds(0)};
    Delay tec_ready_delay_{std::chrono::nanoseconds(0)};
    bool init_reported_ = false;
    bool lpmode_pin_ = false;
    std::uint16_t temperature_ = 0;
    std::uint16_t vcc_ = 0;
    std::array<Lane, sff8636::kLanes> lanes_{};
    std::uint16_t rx_los_threshold_ = 0;

    FlagBytes latched_{};
    VdmFlagBytes vdm_latched_{};
    bool in_transaction_ = false;
    std::bitset<sff8636::kLastFlag + 1> flags_read_;
    std::bitset<kVdmFlagBytes> vdm_flags_read_;

    struct Default {
        std::uint8_t page;
        std::uint8_t addr;
        std::uint8_t value;
    };
    std::vector<Default> defaults_;
    std::map<std::uint16_t, std::uint8_t> host_writes_;
};

}  // namespace qsfp::sim
