// Turning a catalogue recipe into a module image: identity, compliance and
// options on page 00h, thresholds and lane-control advertisements on page 03h,
// monitor values in lower memory, the qualifying maker's data (page 02h, or
// lower bytes 34-77 of a flat-memory cable) and the DWDM / versatile
// diagnostics pages 20h-21h.
#include "catalogue_recipe.h"

#include <cmath>
#include <string>

#include <qsfp/sim/image_builder.h>
#include <qsfp/sim/sff8636_units.h>
#include <qsfp/sim/sff8636_vdm.h>

namespace qsfp::sim::catalogue_detail {

using namespace sff8636;

namespace {

struct ProfileData {
    Thresholds thresholds;
    MonitorValues nominal;
    double rx_los_mw;
};

constexpr AlarmLimits kCaseTemperature = {75, -5, 70, 0};
constexpr AlarmLimits kSupply = {3.63, 2.97, 3.465, 3.135};

MonitorValues nominal(double temperature, double rx_mw, double bias_ma, double tx_mw) {
    MonitorValues m;
    m.temperature_c = temperature;
    m.vcc_v = 3.29;
    // Lanes differ a little, as real ones do.
    constexpr double kSpread[kLanes] = {1.00, 0.97, 1.03, 0.95};
    for (int lane = 0; lane < kLanes; ++lane) {
        m.rx_power_mw[lane] = rx_mw * kSpread[lane];
        m.tx_bias_ma[lane] = bias_ma * kSpread[(lane + 1) % kLanes];
        m.tx_power_mw[lane] = tx_mw * kSpread[(lane + 2) % kLanes];
    }
    return m;
}

// Powers in mW (the dBm figures they stand for in the comments).
ProfileData profile_data(Profile p) {
    switch (p) {
    case Profile::short_reach:  // rx +3.4/-14.1/+2.4/-11.1 dBm, tx +3.4/-9.4/+2.4/-6.4 dBm
        return {{kCaseTemperature, kSupply, {2.1878, 0.0389, 1.7378, 0.0776}, {13, 3, 11, 4}, {2.1878, 0.1148, 1.7378, 0.2291}},
                nominal(36.5, 0.62, 7.2, 0.71), 0.0316};
    case Profile::long_reach:  // rx +5.5/-13.6/+4.5/-10.6 dBm, tx +6.5/-7.3/+4.5/-4.3 dBm
        return {{kCaseTemperature, kSupply, {3.5481, 0.0437, 2.8184, 0.0871}, {110, 15, 100, 25}, {4.4668, 0.1862, 2.8184, 0.3715}},
                nominal(41.0, 0.91, 48.0, 1.12), 0.0200};
    case Profile::extended_reach:  // rx -1/-24/-3/-21 dBm, tx +7/-5/+6/-3 dBm
        return {{{80, -5, 75, 0}, kSupply, {0.7943, 0.0040, 0.5012, 0.0079}, {120, 20, 110, 30}, {5.0119, 0.3162, 3.9811, 0.5012}},
                nominal(44.0, 0.05, 62.0, 1.60), 0.0020};
    case Profile::dwdm:  // rx +3/-26/+2/-23 dBm, tx +6/-3/+5/-2 dBm
        return {{{80, -5, 75, 0}, kSupply, {1.9953, 0.0025, 1.5849, 0.0050}, {150, 20, 140, 30}, {3.9811, 0.5012, 3.1623, 0.6310}},
                nominal(47.0, 0.20, 80.0, 1.20), 0.0016};
    case Profile::none:
        break;
    }
    return {};
}

std::uint16_t round_word(double value) { return static_cast<std::uint16_t>(std::lround(value)); }

// `n` in decimal, zero-padded to `width` digits.
std::string digits(std::size_t n, std::size_t width) {
    std::string s = std::to_string(n);
    return s.size() < width ? std::string(width - s.size(), '0') + s : s;
}

bool hundred_gig(const Kind &k) { return k.identifier == 0x11; }

// Power class: byte 129 bits 7-6 (classes 1-4) and 1-0 (classes 5-7).
std::uint8_t ext_identifier(const Recipe &r) {
    const Kind &k = *r.kind;
    constexpr std::uint8_t kClass1 = 0x00, kClass2 = 0x40, kClass3 = 0x80, kClass4 = 0xC0, kCdrs = 0x0C;
    std::uint8_t ext = kClass1;
    switch (k.family) {
    case Family::optics:
    case Family::pam4:
        ext = kClass4 | kCdrs;
        ext |= k.profile == Profile::extended_reach ? 0x01 : 0;  // class 5
        ext |= k.profile == Profile::dwdm ? 0x02 : 0;            // class 6
        break;
    case Family::optics_40g:
        ext = k.profile == Profile::short_reach ? kClass1 : k.profile == Profile::long_reach ? kClass3 : kClass4;
        break;
    case Family::active_copper:
        ext = kClass2;
        break;
    case Family::copper:
    case Family::loopback:
    case Family::adapter:
        break;
    }
    return static_cast<std::uint8_t>(ext | (r.maker_qualified ? kCleiPresent : 0));
}

void fill_identity(ImageBuilder &b, const Recipe &r, std::size_t index) {
    const std::string part = r.part.empty() ? std::string(r.maker.part_prefix) + r.name : std::string(r.part);
    const std::string serial = std::string(r.maker.serial_prefix) + "23" + digits(index, 6);
    b.vendor({r.maker.vendor, r.maker.oui, part, "A0", serial, "230415  "});
    b.set(0, kRevisionCompliance, hundred_gig(*r.kind) ? 0x08 : 0x05);
}

void fill_compliance(ImageBuilder &b, const Recipe &r) {
    const Kind &k = *r.kind;
    const bool optical = k.wavelength_nm > 0;
    b.set(kPage00, kExtIdentifier, ext_identifier(r))
        .set(kPage00, kConnector, k.connector)
        .set(kPage00, kEthernetCompliance, k.ethernet)
        .set(kPage00, kExtendedCompliance, k.extended)
        .set(kPage00, kVendorCode, k.vendor_code)
        .set(kPage00, kDeviceTech, static_cast<std::uint8_t>(k.device_tech | (r.cooled ? kCooledTx : 0)))
        .set(kPage00, kLengthSmf, k.smf_km)
        .set(kPage00, kLengthOm3, k.om3_2m)
        .set(kPage00, kLengthCopper, k.om4_or_copper)
        .set(kPage00, kExtRateSelect, r.ext_rate)
        .set(kPage00, kMaxCaseTemp, 70);
    // Encoding and signalling rate: 40G lanes at 10.3 Gb/s in byte 140; 100G
    // lanes beyond 25.4 Gb/s say 0xFF there and give byte 222 in 250 Mb/s.
    if (hundred_gig(k)) {
        const bool pam4 = k.family == Family::pam4;
        b.set(kPage00, kEncoding, pam4 ? 0x08 : 0x07).set(kPage00, kNominalRate, 0xFF).set(kPage00, kExtNominalRate, pam4 ? 212 : 103);
    } else {
        b.set(kPage00, kEncoding, 0x05).set(kPage00, kNominalRate, 103);
    }
    if (optical) {
        b.set_word(kPage00, kWavelength, round_word(k.wavelength_nm * 20)).set_word(kPage00, kWavelengthTol, round_word(6.5 * 200));
    } else if (k.om4_or_copper > 0) {
        // Copper attenuation at 2.5, 5.0, 7.0 and 12.9 GHz, dB.
        b.set(kPage00, kWavelength, 2).set(kPage00, kWavelength + 1, 3).set(kPage00, kWavelengthTol, 4).set(kPage00, kWavelengthTol + 1, 6);
    }
    std::uint8_t options3 = r.options3;
    if (r.flat) {
        options3 &= 0x3F;  // no page 01h or 02h
    }
    if (r.vdm || k.code == 26) {
        options3 |= kPages20To21;
    }
    b.set(kPage00, kOptions1, r.options1).set(kPage00, kOptions2, r.options2).set(kPage00, kOptions3, options3);
    std::uint8_t enhanced = r.enhanced;
    enhanced |= r.tec_flag ? kTcReadinessImplemented : 0;
    enhanced |= r.vdm ? kVdmImplemented : 0;
    b.set(kPage00, kEnhancedOptions, enhanced);
}

void fill_diagnostics(ImageBuilder &b, const Recipe &r) {
    const Kind &k = *r.kind;
    if (k.profile == Profile::none || r.flat) {
        return;
    }
    const ProfileData p = profile_data(k.profile);
    constexpr std::uint8_t kRxAverage = 0x08;
    const bool tx_power = k.family != Family::optics_40g;
    b.set(kPage00, kDiagType, static_cast<std::uint8_t>(kRxAverage | (tx_power ? kDiagTxPower : 0)));
    b.thresholds(p.thresholds).monitors(p.nominal);
}

void fill_lane_controls(ImageBuilder &b, const Recipe &r) {
    if (r.flat) {
        return;
    }
    constexpr std::uint8_t kTxEqRxEmphasis = 0x06, kRxAmplitudeOption = 0x01;
    if (r.options1 & kTxEqRxEmphasis) {
        b.set(kPage03, kMaxEqEmphasis, 0x73);  // Tx EQ codes up to 7, Rx emphasis up to 3
    }
    if (r.options1 & kRxAmplitudeOption) {
        b.set(kPage03, kAmplitudeSupport, 0x0F);
    }
    if (r.options1 & kAdaptiveEq) {
        b.set(kPage03, kRxOutputDisableAdaptEq, 0x0F);  // adaptive equalisation on by default
    }
    b.set(kPage03, kMaxTecTime, r.tec_seconds).set(kPage03, kMaxCtleTime, r.ctle_settle);
    b.set(kPage03, kFecControl, r.tec_flag ? kTecFlagImplemented : 0);
}

struct MakerFields {
    std::string clei;
    std::string part;
    std::string pid;
};

MakerFields maker_fields(const Recipe &r, std::size_t index) {
    return {"WMOT" + digits(index, 4) + "AA", "740-" + digits(61000 + index, 6), "QSFP-" + std::string(r.kind->stem)};
}

void fill_maker_data(ImageBuilder &b, const Recipe &r, std::size_t index) {
    if (!r.maker_qualified) {
        return;
    }
    const MakerFields f = maker_fields(r, index);
    constexpr std::string_view kVid = "V01";
    b.set(0, kVendorMaskB, 0x01);  // nonzero: the maker's sign that diagnostics are present
    if (r.flat) {
        b.set_text(0, kFlatClei, 10, f.clei).set_text(0, kFlatMakerPart, 10, f.part).set_text(0, kFlatVid, 4, kVid);
        b.set_text(0, kFlatPid, 20, f.pid);
        return;
    }
    b.set_text(kPage02, kMakerClei, 10, f.clei).set_text(kPage02, kMakerPart, 10, f.part).set_text(kPage02, kMakerVid, 4, kVid);
    b.set(kPage02, kMakerTempRange, 0x01);  // commercial
    // Laser-bias scale at -40, -5, 20, 45, 70 and 85 C, unsigned 8.8.
    constexpr double kScale[6] = {0.92, 0.96, 1.00, 1.04, 1.08, 1.12};
    for (int i = 0; i < 6; ++i) {
        b.set_word(kPage02, static_cast<std::uint8_t>(kMakerBiasScale + 2 * i), round_word(kScale[i] * 256));
    }
    b.set_word(kPage02, kMakerTempAtMfg, encode_temperature(25.0));
    const ProfileData p = profile_data(r.kind->profile);
    b.set_word(kPage02, kMakerLane1Bias, encode_bias(p.nominal.tx_bias_ma[0]));
    for (int lane = 1; lane < kLanes; ++lane) {
        b.set_word(kPage02, static_cast<std::uint8_t>(kMakerLane2Bias + 2 * (lane - 1)), encode_bias(p.nominal.tx_bias_ma[lane]));
    }
    b.set_text(kPage02, kMakerPid, 20, f.pid).set_text(kPage02, kMakerEdcs, 6, "EDC" + digits(index % 1000, 3));
    b.set_text(kPage02, kMakerRevisionLevel, 2, "A1");
}

// The versatile diagnostics of a DWDM PAM4 module (layout in sff8636_vdm.h):
// one threshold set per type, module-level laser temperature and TEC current
// (one cooled laser assembly), the rest once per wavelength on lanes 1-2.
namespace vdm_type {
constexpr std::uint8_t kSnr = 1;
constexpr std::uint8_t kLevelTransition = 3;
constexpr std::uint8_t kBerAverage = 4;
constexpr std::uint8_t kTecCurrent = 6;
constexpr std::uint8_t kFrequencyOffset = 7;
constexpr std::uint8_t kLaserTemperature = 8;
constexpr std::uint8_t kBerCurrent = 12;
constexpr std::uint8_t kFerCurrent = 16;
}  // namespace vdm_type

struct VdmSet {
    std::uint8_t type;
    vdm::Limits limits;
};

constexpr VdmSet kVdmSets[] = {
    {vdm_type::kLaserTemperature, {70, 20, 65, 25}},    // C, held near 45 by the TEC
    {vdm_type::kTecCurrent, {90, -90, 80, -80}},        // % of maximum, negative when heating
    {vdm_type::kFrequencyOffset, {2.5, -2.5, 2.0, -2.0}},  // GHz from the ITU grid
    {vdm_type::kSnr, {40, 15, 35, 18}},                 // dB
    {vdm_type::kLevelTransition, {40, 15, 35, 17}},     // dB
    {vdm_type::kBerCurrent, {2.4e-4, 0, 1.0e-4, 0}},    // alarm at the KP4 FEC limit, warning below it
    {vdm_type::kBerAverage, {2.4e-4, 0, 1.0e-4, 0}},
    {vdm_type::kFerCurrent, {1.0e-4, 0, 1.0e-5, 0}},
};
static_assert(std::size(kVdmSets) <= vdm::kThresholdSets);

constexpr int set_of(std::uint8_t type) {
    for (std::size_t s = 0; s < std::size(kVdmSets); ++s) {
        if (kVdmSets[s].type == type) {
            return static_cast<int>(s);
        }
    }
    return -1;
}

struct VdmSlot {
    std::uint8_t type;
    int lane;  // 0 module-level, 1-2 the wavelength's lane
    double value;
};

constexpr VdmSlot kVdmSlots[] = {
    {vdm_type::kLaserTemperature, 0, 45.0}, {vdm_type::kTecCurrent, 0, 35.5},
    {vdm_type::kFrequencyOffset, 1, 0.3},   {vdm_type::kFrequencyOffset, 2, -0.2},
    {vdm_type::kSnr, 1, 24.0},              {vdm_type::kSnr, 2, 23.5},
    {vdm_type::kLevelTransition, 1, 22.0},  {vdm_type::kLevelTransition, 2, 21.5},
    {vdm_type::kBerCurrent, 1, 2.0e-5},     {vdm_type::kBerCurrent, 2, 2.6e-5},
    {vdm_type::kBerAverage, 1, 1.8e-5},     {vdm_type::kBerAverage, 2, 2.4e-5},
    {vdm_type::kFerCurrent, 1, 0},          {vdm_type::kFerCurrent, 2, 0},
};
static_assert(std::size(kVdmSlots) <= vdm::kParameters);
static_assert([] {
    for (const VdmSlot &slot : kVdmSlots) {
        if (set_of(slot.type) < 0 || slot.lane < 0 || slot.lane > 2) {
            return false;
        }
    }
    return true;
}());

void fill_vdm(ModuleMemory &m) {
    for (std::size_t s = 0; s < std::size(kVdmSets); ++s) {
        vdm::set_threshold_set(m, static_cast<int>(s), kVdmSets[s].type, kVdmSets[s].limits);
    }
    for (std::size_t i = 0; i < std::size(kVdmSlots); ++i) {
        const VdmSlot &slot = kVdmSlots[i];
        const int index = static_cast<int>(i);
        const bool per_lane = slot.lane > 0;
        const auto set = static_cast<std::uint8_t>(set_of(slot.type));
        const auto lane = static_cast<std::uint8_t>(per_lane ? slot.lane - 1 : 0);
        vdm::set_parameter(m, index, {slot.type, set, per_lane, lane});
        vdm::set_value(m, index, slot.type, slot.value);
    }
}

void fill_dwdm(ImageBuilder &b, const Recipe &r) {
    const bool dwdm = r.kind->code == 26;
    if (!dwdm && !r.vdm) {
        return;
    }
    b.add_page(kPage20).add_page(kPage21);
    if (dwdm) {
        b.set(kPage00, kDwdmChannel, 0x23);  // ITU channel 35
    }
    if (!r.vdm) {
        return;
    }
    fill_vdm(b.edit());
}

std::vector<std::uint8_t> serialise(const ModuleMemory &m, std::vector<std::uint8_t> &pages) {
    pages = m.pages();
    std::vector<std::uint8_t> image = m.get_bytes(0, 0, kHalfPage);
    for (std::uint8_t page : pages) {
        const std::vector<std::uint8_t> upper = m.get_bytes(page, kHalfPage, kHalfPage);
        image.insert(image.end(), upper.begin(), upper.end());
    }
    return image;
}

}  // namespace

CatalogueEntry make_entry(const Recipe &r, std::size_t index) {
    const Kind &k = *r.kind;
    ImageBuilder b(k.identifier, r.flat);
    fill_identity(b, r, index);
    fill_compliance(b, r);
    fill_diagnostics(b, r);
    fill_lane_controls(b, r);
    fill_maker_data(b, r, index);
    fill_dwdm(b, r);
    const ModuleMemory memory = b.build();

    CatalogueEntry e;
    e.name = r.name;
    e.description = r.description;
    e.type_code = k.code;
    e.type_string = std::string(k.type_string);
    e.flat = r.flat;
    e.dwdm = k.code == 26;
    e.vdm = r.vdm;
    e.maker_qualified = r.maker_qualified;
    e.tec = r.tec_flag;
    e.rx_los_threshold_mw = r.flat ? 0 : profile_data(k.profile).rx_los_mw;
    e.image = serialise(memory, e.pages);
    return e;
}

}  // namespace qsfp::sim::catalogue_detail
