// One sample of the emulated coherent receiver. The chain is the textbook one
// for a coherent link: the line OSNR combined with the receiver's own noise
// (which grows as the input power falls), turned into an electrical SNR over
// the symbol rate, capped by the transceiver's implementation SNR and reduced
// by DGD and PDL penalties; the pre-FEC BER is the Gray-coded M-QAM error rate
// at that SNR, and the Q factor, EVM and SNR margin follow from it.
#include <algorithm>
#include <cmath>

#include "perf_model.h"

namespace qsfp::sim::coh_sdk {
namespace {

// A traffic mode: symbol rate, constellation (points per polarisation),
// payload rate and the pre-FEC BER its FEC corrects.
struct ModeProfile {
    std::uint32_t mode;
    double symbol_rate_gbd;
    int constellation;
    double payload_gbps;
    double fec_threshold;
};
constexpr ModeProfile kModes[] = {
    {COH_SDK_TRAFFIC_400ZR, 59.84, 16, 400, 1.22e-2},      // 400ZR: DP-16QAM, concatenated FEC
    {COH_SDK_TRAFFIC_400G_OFEC, 60.14, 16, 400, 2.0e-2},  // DP-16QAM, open FEC
    {COH_SDK_TRAFFIC_300G, 60.14, 8, 300, 2.0e-2},        // DP-8QAM
    {COH_SDK_TRAFFIC_200G, 60.14, 4, 200, 2.0e-2},        // DP-QPSK
    {COH_SDK_TRAFFIC_100G, 31.57, 4, 100, 2.0e-2},        // DP-QPSK at half rate
};
static_assert(kModes[0].mode == COH_SDK_TRAFFIC_400ZR, "a module with no traffic mode set runs 400ZR");

constexpr double kReferenceBandwidthGhz = 12.5;  // OSNR in 0.1 nm at 1550 nm
// OSNR the receiver's own noise allows at 0 dBm input: 58 dB for an ideal
// front end at 1550 nm, less a 5 dB noise figure; it falls 1 dB per dB of input.
constexpr double kReceiverOsnrAt0Dbm = 53.0;
constexpr double kTransceiverSnrDb = 21.0;  // what the DSP reaches back to back
constexpr double kDgdPenaltyScaleDb = 3.0;  // dB per (DGD / symbol period) squared
constexpr double kMaxDgdPenaltyDb = 10.0;
constexpr double kPdlPenaltyPerDb = 0.3;
constexpr double kCarrierCaptureMhz = 3600;  // the carrier recovery's pull-in range
constexpr double kLoopbackOsnrDb = 40.0;     // the module's own transmitter through an internal loopback
constexpr double kLaserTecC = 45.0;          // the tunable laser's TEC set point
constexpr double kFullBiasMa = 150.0;        // the laser's end-of-life bias, 100 %
constexpr double kUnlockedBer = 0.5;

const ModeProfile &profile(std::uint32_t mode) {
    for (const ModeProfile &p : kModes) {
        if (p.mode == mode) {
            return p;
        }
    }
    return kModes[0];
}

double to_dbm(double mw) { return mw > 0 ? std::max(kNoPowerDbm, 10.0 * std::log10(mw)) : kNoPowerDbm; }
double to_linear(double db) { return std::pow(10.0, db / 10.0); }
// Two noise sources in dB terms: their noise powers add.
double combined(double a_db, double b_db) { return -10.0 * std::log10(to_linear(-a_db) + to_linear(-b_db)); }

double gaussian_q(double x) { return 0.5 * std::erfc(x / std::sqrt(2.0)); }

// Bit error rate of Gray-coded M-QAM at symbol SNR `snr` (linear).
double qam_ber(double snr, int m) {
    const double bits = std::log2(static_cast<double>(m));
    const double ber = 4.0 / bits * (1.0 - 1.0 / std::sqrt(static_cast<double>(m))) *
                       gaussian_q(std::sqrt(3.0 * snr / (m - 1)));
    return std::min(ber, kUnlockedBer);
}

// The SNR (dB) at which M-QAM reaches `ber`: the BER falls monotonically with
// the SNR, so bisection finds it.
double snr_for_ber(double ber, int m) {
    double lo = -10.0;
    double hi = 40.0;
    for (int i = 0; i < 60; ++i) {
        const double mid = (lo + hi) / 2;
        (qam_ber(to_linear(mid), m) > ber ? lo : hi) = mid;
    }
    return (lo + hi) / 2;
}

// Q factor (dB) of a BER: 20 log10(sqrt(2) erfcinv(2 BER)).
double q_factor_db(double ber) {
    if (ber >= kUnlockedBer) {
        return 0;
    }
    double lo = 0.0;
    double hi = 10.0;
    for (int i = 0; i < 60; ++i) {
        const double mid = (lo + hi) / 2;
        (std::erfc(mid) > 2 * ber ? lo : hi) = mid;
    }
    return 20.0 * std::log10(std::sqrt(2.0) * (lo + hi) / 2);
}

CdRange against(double cd, const coh_sdk_module_cfg &cfg) {
    if (cd < cfg.cd_min) {
        return CdRange::below;
    }
    return cd > cfg.cd_max ? CdRange::above : CdRange::inside;
}

// The values of a locked receiver.
void measure_line(Sample &s, const Fibre &f, const ModeProfile &p) {
    auto &v = s.value;
    const double rx_dbm = v[COH_SDK_PM_RX_TOTAL_POWER];
    const double osnr = combined(f.osnr_db, rx_dbm + kReceiverOsnrAt0Dbm);
    const double bandwidth_db = 10.0 * std::log10(p.symbol_rate_gbd / kReferenceBandwidthGhz);
    const double symbol_fraction = f.dgd_ps * p.symbol_rate_gbd / 1000.0;
    const double dgd_penalty = std::min(kMaxDgdPenaltyDb, kDgdPenaltyScaleDb * symbol_fraction * symbol_fraction);
    const double esnr = combined(osnr - bandwidth_db, kTransceiverSnrDb) - dgd_penalty - kPdlPenaltyPerDb * f.pdl_db;
    const double ber = qam_ber(to_linear(esnr), p.constellation);
    v[COH_SDK_PM_RX_SIGNAL_POWER] = rx_dbm - 10.0 * std::log10(1.0 + 1.0 / to_linear(osnr - bandwidth_db));
    v[COH_SDK_PM_OSNR] = osnr;
    v[COH_SDK_PM_ESNR] = esnr;
    v[COH_SDK_PM_CD] = f.cd_ps_nm;
    v[COH_SDK_PM_DGD] = f.dgd_ps;
    v[COH_SDK_PM_PDL] = f.pdl_db;
    v[COH_SDK_PM_PRE_FEC_BER] = ber;
    v[COH_SDK_PM_UNCORRECTED_RATIO] = ber <= p.fec_threshold ? 0.0 : std::min(1.0, (ber - p.fec_threshold) / p.fec_threshold);
    v[COH_SDK_PM_CFO] = f.frequency_offset_mhz;
    v[COH_SDK_PM_Q_FACTOR] = q_factor_db(ber);
    v[COH_SDK_PM_SOPMD] = f.dgd_ps * f.dgd_ps / 2.0;
    v[COH_SDK_PM_SOP_ROC] = f.sop_roc_krad_s;
    v[COH_SDK_PM_EVM] = 100.0 / std::sqrt(to_linear(esnr));
    v[COH_SDK_PM_MER] = esnr;
    v[COH_SDK_PM_CLOCK_RECOVERY] = 100.0;
    v[COH_SDK_PM_SNR_MARGIN] = esnr - snr_for_ber(p.fec_threshold, p.constellation);
    v[COH_SDK_PM_POWER_IMBALANCE] = f.pdl_db / 2.0;
    s.traffic = ber <= p.fec_threshold;
}

// Nothing demodulated: error rate of a coin, nothing corrected.
void measure_nothing(Sample &s) {
    auto &v = s.value;
    v[COH_SDK_PM_RX_SIGNAL_POWER] = kNoPowerDbm;
    v[COH_SDK_PM_PRE_FEC_BER] = kUnlockedBer;
    v[COH_SDK_PM_UNCORRECTED_RATIO] = 1.0;
    v[COH_SDK_PM_EVM] = 100.0;
}

}  // namespace

Sample take_sample(const LinkInputs &in) {
    const ModeProfile &p = profile(in.traffic_mode);
    const bool optical_loopback = in.cfg.opt_lb_internal != 0;
    const Fibre f = optical_loopback ? Fibre{kLoopbackOsnrDb, 0, 0, 0, 0, 0} : in.fibre;
    const double tx_dbm = in.laser_on ? to_dbm(in.module.tx_power_mw) : kNoPowerDbm;
    Sample s;
    s.fec_threshold = p.fec_threshold;
    s.line_rate_bps = p.payload_gbps * 1e9;
    s.carrier_offset_mhz = f.frequency_offset_mhz;
    auto &v = s.value;
    v[COH_SDK_PM_TX_POWER] = tx_dbm;
    v[COH_SDK_PM_RX_TOTAL_POWER] = optical_loopback ? tx_dbm : to_dbm(in.module.rx_power_mw);
    v[COH_SDK_PM_LBC] = in.laser_on ? 100.0 * in.module.tx_bias_ma / kFullBiasMa : 0.0;
    v[COH_SDK_PM_LASER_TEMPERATURE] = in.laser_on ? kLaserTecC : in.module.temperature_c;
    s.los = v[COH_SDK_PM_RX_TOTAL_POWER] < kLosDbm;
    s.cd_range = against(f.cd_ps_nm, in.cfg);
    // Our laser is also the receiver's local oscillator.
    s.locked = in.laser_on && !s.los && s.cd_range == CdRange::inside &&
               std::fabs(f.frequency_offset_mhz) <= kCarrierCaptureMhz;
    if (s.locked) {
        measure_line(s, f, p);
    } else {
        measure_nothing(s);
    }
    return s;
}

}  // namespace qsfp::sim::coh_sdk
