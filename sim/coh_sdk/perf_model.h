// The performance model of the emulated coherent DSP: one sample of the
// performance parameters from what the module reports and the fibre the
// device sees, and the alarms a sample raises against the thresholds. Pure
// functions, no module access.
#pragma once

#include <array>
#include <cstdint>

#include <qsfp/coh_sdk.h>
#include <qsfp/sim/coh_sdk_sim.h>

namespace qsfp::sim::coh_sdk {

// The module's monitors, engineering units.
struct ModuleReadings {
    std::uint8_t module_state = 0;  // CMIS lower byte 3 bits 3-1
    double temperature_c = 0;
    double vcc_v = 0;
    double tx_power_mw = 0;         // media lane 1
    double tx_bias_ma = 0;
    double rx_power_mw = 0;
};

struct LinkInputs {
    ModuleReadings module;
    bool laser_on = false;
    std::uint32_t traffic_mode = 0;
    coh_sdk_module_cfg cfg{};
    Fibre fibre;
};

enum class CdRange { inside, below, above };

struct Sample {
    std::array<double, COH_SDK_PM_PARAMS> value{};
    bool locked = false;     // a signal is locked on (rx signal up)
    bool traffic = false;    // frames are aligned: locked and the FEC corrects everything
    bool los = false;        // the optical input is below the loss-of-signal level
    CdRange cd_range = CdRange::inside;  // the link's dispersion against the search range
    double carrier_offset_mhz = 0;  // what the far-end carrier is off ours, locked or not
    double fec_threshold = 0;  // pre-FEC BER the FEC of the traffic mode corrects
    double line_rate_bps = 0;
};

// Rx power below this is loss of signal.
inline constexpr double kLosDbm = -30.0;
// The floor a power reading of nothing reports.
inline constexpr double kNoPowerDbm = -40.0;

Sample take_sample(const LinkInputs &in);

// The alarms of a sample against the thresholds (each group applies only when
// its flag is set: 0x100 the Rx power limits, 0x200 the others) and the
// module's own limits.
coh_sdk_alarms evaluate_alarms(const Sample &s, const ModuleReadings &m, const coh_sdk_thresholds &t);

}  // namespace qsfp::sim::coh_sdk
