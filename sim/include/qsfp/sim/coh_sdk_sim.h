// Test-side controls of the coherent SDK emulator (libqsfp_coh_sdk_sim): the
// emulator implements every coh_sdk_* function of <qsfp/coh_sdk.h> against
// the devices registered with it; these calls let a test reset it, make a
// function fail, look at a device's state and set the fibre a device sees.
//
// The emulator's model of a link: the device's own laser is both the
// transmitter and the coherent receiver's local oscillator. With the laser off
// the module still measures the optical input (Rx total power follows the
// module), but nothing can be demodulated: no signal lock, no traffic, the
// line-side measurements (OSNR, eSNR, CD, DGD ...) read 0, pre-FEC BER 0.5.
// With the laser on the values follow the module's monitors (page 11h media
// lane 1, lower-page temperature and Vcc) and the fibre below. A line or
// internal loopback (module configuration) feeds the device's own transmitter
// back to its receiver instead of the fibre.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>
#include <vector>

#include <qsfp/coh_sdk.h>

namespace qsfp::sim::coh_sdk {

// What the line delivers to a device's receiver.
struct Fibre {
    double osnr_db = 32.0;             // optical SNR of the line, 0.1 nm reference
    double cd_ps_nm = 800.0;           // chromatic dispersion of the link
    double dgd_ps = 3.0;               // differential group delay
    double pdl_db = 0.6;               // polarisation-dependent loss
    double frequency_offset_mhz = 0;   // far-end carrier against our laser
    double sop_roc_krad_s = 1.0;       // state-of-polarisation rate of change
};

// A device as the emulator holds it.
struct DeviceView {
    coh_sdk_device_create_record created{};  // as received
    bool laser_on = false;
    std::optional<coh_sdk_laser_record> laser;      // the last laser record
    std::optional<coh_sdk_traffic_record> traffic;  // the last traffic record
    std::uint32_t traffic_mode = 0;                 // COH_SDK_TRAFFIC_*, 0 before any
    coh_sdk_module_cfg cfg{};
    coh_sdk_thresholds thresholds{};
    bool perf_mon = false;
    std::uint8_t perf_mon_config[4] = {};
    coh_sdk_alarms sim_alarms{};
    std::optional<std::uint8_t> selected_page;  // the page the SDK believes byte 127 holds
    std::uint32_t samples = 0;                  // in the statistics
    Fibre fibre;
};

// Forgets every device, the init and every injected failure (tests only; no
// other thread may be inside the SDK).
void reset();
// coh_sdk_init calls since the last reset, successful or not.
int init_calls();
// The next `times` calls of `function` (its C name, e.g.
// "coh_sdk_module_set_laser") answer `code` without doing anything.
void fail_next(std::string_view function, std::uint32_t code, int times = 1);
// Registered device keys, ascending.
std::vector<std::uint32_t> device_keys();
std::optional<DeviceView> device(std::uint32_t key);
// False when no device is registered under the key.
bool set_fibre(std::uint32_t key, const Fibre &fibre);
// The clock performance intervals are measured with, in nanoseconds
// (monotonic time unless set; an empty function restores it).
void set_clock(std::function<std::uint64_t()> now_ns);

}  // namespace qsfp::sim::coh_sdk
