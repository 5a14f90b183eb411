// Turning a CMIS catalogue recipe into a module image: lower memory with the
// application advertisements and monitors, identity on page 00h, advertising
// on page 01h, thresholds on page 02h, the qualifying maker's data, the
// default control sets of pages 10h and 11h, and the check codes of pages
// 00h (222: sum of 128-221), 01h and 02h (255: sums of 130-254 and 128-254).
// The pre-release maps keep their identity where those maps put it.
#include "cmis_catalogue_recipe.h"

#include <algorithm>
#include <string>

#include <qsfp/sim/cmis_map.h>
#include <qsfp/sim/image_builder.h>
#include <qsfp/sim/sff8636_map.h>
#include <qsfp/sim/sff8636_units.h>

namespace qsfp::sim::cmis_catalogue_detail {

using namespace cmis;

namespace {

constexpr std::size_t kNameWidth = 16;
constexpr std::size_t kRevWidth = 2;
constexpr std::size_t kDateWidth = 8;
constexpr std::size_t kCleiWidth = 10;
constexpr std::size_t kVidWidth = 4;
constexpr std::size_t kPidWidth = 20;
constexpr std::string_view kDateText = "230415  ";
constexpr std::uint8_t kLowPwrDefault = kLowPwrAllowRequestHw;  // lower 26 after reset
// Page 01h 159-160: temperature and Vcc; Tx bias, Tx power, Rx power.
constexpr std::uint8_t kModuleMonitors = 0x03, kLaneMonitors = 0x07;
// Page 01h 140-141: wavelength tolerance in 0.005 nm (6.5 nm).
constexpr std::uint16_t kTolerance = 1300;
// Staged and active SI defaults: Tx and Rx CDR enabled on every lane.
constexpr std::uint8_t kCdrEnableTx = 7, kCdrEnableRx = 8;
constexpr std::uint8_t kNoSeparable = 0x23;  // connector
// A module with CDB: one instance, background mode (it answers while a
// command runs), extended payload pages A0h-AFh, 128-byte accesses to them;
// firmware 2.3 running, 2.2 in the other bank.
constexpr std::uint8_t kCdbAdvertised = kCdbOneInstance | kCdbBackgroundMode | kCdbAllEplPages;
constexpr std::uint8_t kCdbAccessExtension = 15;  // 8 * (1 + 15) = 128 bytes
constexpr std::uint8_t kRunningFirmware[] = {2, 3};
constexpr std::uint8_t kOtherFirmware[] = {2, 2};

struct ProfileData {
    Thresholds thresholds;
    MonitorValues nominal;  // lanes 0-3; lanes 4-7 from them (upper_lanes_spread)
};

constexpr AlarmLimits kCase = {75, -5, 70, 0};
constexpr AlarmLimits kSupply = {3.63, 2.97, 3.465, 3.135};
// Lane thresholds that never flag, for modules without lane monitors.
constexpr AlarmLimits kOpen = {6.5, 0, 6.5, 0};

// Lanes 5-8 of an eight-lane module (an 8-lane 400G, or a 2x100G's second
// port) take the profile's four readings each a little off, as a second set
// of lasers and receivers would read: lanes 1-4 read the profile as it is.
// The factors do not undo the profile's own spread, so no two lanes of a
// quantity read alike.
double upper_lanes_spread(int lane) {
    constexpr double kUpperLanes[4] = {1.02, 0.97, 1.01, 1.05};
    return lane < 4 ? 1.0 : kUpperLanes[lane % 4];
}

MonitorValues nominal(double temperature, double rx_mw, double bias_ma, double tx_mw) {
    MonitorValues m;
    m.temperature_c = temperature;
    m.vcc_v = 3.29;
    constexpr double kSpread[4] = {1.00, 0.97, 1.03, 0.95};  // lanes differ a little, as real ones do
    for (int lane = 0; lane < 4; ++lane) {
        m.rx_power_mw[lane] = rx_mw * kSpread[lane];
        m.tx_bias_ma[lane] = bias_ma * kSpread[(lane + 1) % 4];
        m.tx_power_mw[lane] = tx_mw * kSpread[(lane + 2) % 4];
    }
    return m;
}

// Powers in mW (the dBm figures they stand for in the comments).
ProfileData profile_data(Profile p) {
    switch (p) {
    case Profile::multimode:  // rx +4/-14/+3/-11 dBm, tx +4/-10/+3/-7 dBm
        return {{kCase, kSupply, {2.5119, 0.0398, 1.9953, 0.0794}, {13, 2, 11, 3}, {2.5119, 0.1, 1.9953, 0.1995}},
                nominal(38.5, 0.65, 7.5, 0.8)};
    case Profile::single_mode:  // rx +5/-12/+4/-9 dBm, tx +6/-7/+5/-4 dBm
        return {{kCase, kSupply, {3.1623, 0.0631, 2.5119, 0.1259}, {120, 15, 100, 25}, {3.9811, 0.1995, 3.1623, 0.3981}},
                nominal(42.0, 1.1, 55.0, 1.6)};
    case Profile::coherent:  // rx 0/-30/-2/-27 dBm, tx -6/-16/-7/-15 dBm
        return {{{80, -5, 75, 0}, kSupply, {1.0, 0.001, 0.6310, 0.0020}, {130, 20, 120, 30}, {0.2512, 0.0251, 0.1995, 0.0316}},
                nominal(51.0, 0.05, 95.0, 0.1)};
    case Profile::active_cable:
        return {{kCase, kSupply, kOpen, {131, 0, 131, 0}, kOpen}, nominal(40.0, 0, 0, 0)};
    case Profile::none:
        break;
    }
    return {};
}

class Image {
public:
    explicit Image(bool flat) { memory_.set_flat(flat); }
    ModuleMemory &memory() { return memory_; }

    void add(std::uint8_t page) { memory_.add_page(page); }
    void set(std::uint8_t page, std::uint8_t addr, std::uint8_t v) {
        if (addr < kHalfPage || memory_.has_page(page)) {
            memory_.set(page, addr, v);
        }
    }
    void word(std::uint8_t page, std::uint8_t addr, std::uint16_t v) {
        set(page, addr, static_cast<std::uint8_t>(v >> 8));
        set(page, static_cast<std::uint8_t>(addr + 1), static_cast<std::uint8_t>(v & 0xFF));
    }
    void text(std::uint8_t page, std::uint8_t addr, std::size_t width, std::string_view t) {
        for (std::size_t i = 0; i < width && addr + i < 2 * kHalfPage; ++i) {
            set(page, static_cast<std::uint8_t>(addr + i), i < t.size() ? static_cast<std::uint8_t>(t[i]) : ' ');
        }
    }
    // Sum modulo 256 of bytes first..last of an upper page, stored at `at`.
    void check_code(std::uint8_t page, std::uint8_t first, std::uint8_t last, std::uint8_t at) {
        if (!memory_.has_page(page)) {
            return;
        }
        unsigned sum = 0;
        for (unsigned a = first; a <= last; ++a) {
            sum += memory_.get(page, static_cast<std::uint8_t>(a));
        }
        memory_.set(page, at, static_cast<std::uint8_t>(sum & 0xFF));
    }

private:
    ModuleMemory memory_;
};

struct Identity {
    std::string part;
    std::string serial;
};

// Where a layout keeps its identity on page 00h.
struct IdentityOffsets {
    std::uint8_t vendor, oui, part, rev, serial, date;
};
constexpr IdentityOffsets kCmisIdentity = {kVendorName, kVendorOui, kVendorPart, kVendorRev, kVendorSerial, kDateCode};
constexpr IdentityOffsets kPre03Identity = {pre03::kVendorName, pre03::kVendorOui, pre03::kVendorPart,
                                            pre03::kVendorRev, pre03::kVendorSerial, pre03::kDateCode};
constexpr IdentityOffsets kPre07Identity = {sff8636::kVendorName, sff8636::kVendorOui, sff8636::kVendorPart,
                                            sff8636::kVendorRev, sff8636::kVendorSerial, sff8636::kDateCode};

void write_identity(Image &img, const Recipe &r, const Identity &id, const IdentityOffsets &at) {
    img.text(kPage00, at.vendor, kNameWidth, r.maker.vendor);
    for (std::size_t i = 0; i < r.maker.oui.size(); ++i) {
        img.set(kPage00, static_cast<std::uint8_t>(at.oui + i), r.maker.oui[i]);
    }
    img.text(kPage00, at.part, kNameWidth, id.part);
    img.text(kPage00, at.rev, kRevWidth, r.hw_rev);
    img.text(kPage00, at.serial, kNameWidth, id.serial);
    img.text(kPage00, at.date, kDateWidth, kDateText);
}

bool lane_monitors(Profile p) { return p == Profile::multimode || p == Profile::single_mode || p == Profile::coherent; }

int media_lanes(const Recipe &r) {
    int most = 0;
    for (const App &a : r.apps) {
        most = std::max(most, app_media_lanes(a.lanes, a.assignment));
    }
    return most;
}

void write_applications(Image &img, const Recipe &r) {
    img.set(0, kMediaType, r.media_type);
    bool ended = false;
    for (int i = 0; i < kApplications; ++i) {
        const App a = i < static_cast<int>(r.apps.size()) ? r.apps[i] : App{};
        ended = ended || a.host == 0;
        const auto at = static_cast<std::uint8_t>(kAppDescriptors + kAppDescriptorSize * i);
        img.set(0, at, ended ? kAppUnused : a.host);
        img.set(0, static_cast<std::uint8_t>(at + kAppMediaInterface), ended ? 0 : a.media);
        img.set(0, static_cast<std::uint8_t>(at + kAppLaneCounts), ended ? 0 : a.lanes);
        img.set(0, static_cast<std::uint8_t>(at + kAppHostLaneAssignment), ended ? 0 : a.assignment);
    }
}

void write_thresholds(Image &img, std::uint8_t at, const AlarmLimits &l, std::uint16_t (*encode)(double)) {
    img.word(kPage02, at, encode(l.high_alarm));
    img.word(kPage02, static_cast<std::uint8_t>(at + 2), encode(l.low_alarm));
    img.word(kPage02, static_cast<std::uint8_t>(at + 4), encode(l.high_warning));
    img.word(kPage02, static_cast<std::uint8_t>(at + 6), encode(l.low_warning));
}

void write_monitors(Image &img, const Recipe &r, std::uint8_t temperature_at) {
    if (r.profile == Profile::none || r.flat) {
        return;
    }
    const ProfileData d = profile_data(r.profile);
    img.word(0, temperature_at, sff8636::encode_temperature(d.nominal.temperature_c));
    img.word(0, kVcc, sff8636::encode_vcc(d.nominal.vcc_v));
    write_thresholds(img, kTempThresholds, d.thresholds.temperature_c, sff8636::encode_temperature);
    write_thresholds(img, kVccThresholds, d.thresholds.vcc_v, sff8636::encode_vcc);
    write_thresholds(img, kTxPowerThresholds, d.thresholds.tx_power_mw, sff8636::encode_power);
    write_thresholds(img, kTxBiasThresholds, d.thresholds.tx_bias_ma, sff8636::encode_bias);
    write_thresholds(img, kRxPowerThresholds, d.thresholds.rx_power_mw, sff8636::encode_power);
    if (!lane_monitors(r.profile)) {
        return;
    }
    for (int lane = 0; lane < media_lanes(r); ++lane) {
        const auto at = static_cast<std::uint8_t>(2 * lane);
        const auto reading = [lane](const std::array<double, sff8636::kLanes> &nominal) {
            return nominal[static_cast<std::size_t>(lane % 4)] * upper_lanes_spread(lane);
        };
        img.word(kPage11, static_cast<std::uint8_t>(kTxPowerMonitors + at), sff8636::encode_power(reading(d.nominal.tx_power_mw)));
        img.word(kPage11, static_cast<std::uint8_t>(kTxBiasMonitors + at), sff8636::encode_bias(reading(d.nominal.tx_bias_ma)));
        img.word(kPage11, static_cast<std::uint8_t>(kRxPowerMonitors + at), sff8636::encode_power(reading(d.nominal.rx_power_mw)));
    }
}

void write_advertising(Image &img, const Recipe &r) {
    img.set(kPage01, kHardwareRev, 1);
    img.set(kPage01, kSmfLength, r.smf_length);
    img.set(kPage01, kOm3Length, r.om3_length);
    img.word(kPage01, kNominalWavelength, static_cast<std::uint16_t>(r.wavelength_nm * 20 + 0.5));
    img.word(kPage01, kWavelengthTolerance, r.wavelength_nm > 0 ? kTolerance : std::uint16_t{0});
    img.set(kPage01, kDataPathDurations, r.dp_durations);
    img.set(kPage01, kMonitorsImplemented, r.profile == Profile::none ? 0 : kModuleMonitors);
    img.set(kPage01, kMonitorsImplemented + 1, lane_monitors(r.profile) ? kLaneMonitors : 0);
    img.set(kPage01, kTxSiImplemented, r.tx_si);
    img.set(kPage01, kRxSiImplemented, r.rx_si);
    img.set(kPage01, kModuleDurations, r.module_durations);
    for (std::size_t i = 0; i < r.apps.size() && r.apps[i].host != 0; ++i) {
        img.set(kPage01, static_cast<std::uint8_t>(kMediaLaneAssignment + i), 0x01);
    }
    if (r.cdb) {
        img.set(kPage01, kCdbSupport, kCdbAdvertised);
        img.set(kPage01, kCdbReadWriteLength, kCdbAccessExtension);
        img.set(0, kActiveFirmware, kRunningFirmware[0]);
        img.set(0, kActiveFirmware + 1, kRunningFirmware[1]);
        img.set(kPage01, kInactiveFirmware, kOtherFirmware[0]);
        img.set(kPage01, kInactiveFirmware + 1, kOtherFirmware[1]);
    }
}

// Application 1 on every lane the way its host lane assignment splits them:
// each lane names the first lane of its data path.
void write_control_sets(Image &img, const Recipe &r) {
    const App &a = r.apps[0];
    const int host_lanes = a.lanes >> 4;
    int first = 0;
    for (int lane = 0; lane < kLanes; ++lane) {
        if ((a.assignment >> lane) & 1) {
            first = lane;
        }
        const bool used = host_lanes > 0 && lane < first + host_lanes;
        const auto cfg = static_cast<std::uint8_t>(used ? (1 << kAppSelShift) | (first << kDataPathIdShift) : 0);
        img.set(kPage10, static_cast<std::uint8_t>(kStagedDpConfig + lane), cfg);
        img.set(kPage11, static_cast<std::uint8_t>(kActiveDpConfig + lane), cfg);
    }
    for (std::uint8_t at : {kCdrEnableTx, kCdrEnableRx}) {
        img.set(kPage10, static_cast<std::uint8_t>(kStagedSi + at), 0xFF);
        img.set(kPage11, static_cast<std::uint8_t>(kActiveSi + at), 0xFF);
    }
}

// The qualifying maker's data: VID, PID, part number and DOM support on page
// 03h, or in lower memory for a flat-memory cable.
void write_maker_data(Image &img, const Recipe &r, std::size_t index) {
    if (r.extended_id == 0) {
        return;
    }
    const std::string n = std::to_string(100 + index);
    img.set(kPage00, kMakerExtendedId, r.extended_id);
    img.text(kPage00, kClei, kCleiWidth, "WMOT" + n + "0AA");
    const std::string pid = "QDD-" + std::string(r.name.substr(6));  // the name after "KORVA-"
    if (r.flat) {
        img.text(0, kFlatMakerVid, kVidWidth, "V01");
        img.text(0, kFlatMakerPid, kPidWidth, pid);
        return;
    }
    constexpr std::uint8_t kMakerPart = 138;
    img.text(kPage03, kMakerPart, 10, "740-" + n + "001");
    img.text(kPage03, kMakerVid, kVidWidth, "V01");
    img.set(kPage03, kMakerDomSupport, r.media_type == kMediaActiveCable ? 0x18 : 0x1F);
    img.text(kPage03, kMakerPid, kPidWidth, pid);
}

void cmis_pages(Image &img, const Recipe &r) {
    if (r.flat) {
        return;
    }
    for (std::uint8_t p : {kPage01, kPage02}) {
        img.add(p);
    }
    if (r.profile == Profile::none) {
        // A passive plug has nothing to control; a qualifying maker's plug
        // still carries its VID and PID in the user EEPROM.
        if (r.extended_id != 0) {
            img.add(kPage03);
        }
        return;
    }
    for (std::uint8_t p : {kPage03, kPage10, kPage11}) {
        img.add(p);
    }
    if (r.cdb) {
        img.add(kPage9F);
        for (unsigned p = kPageA0; p <= kPageAF; ++p) {
            img.add(static_cast<std::uint8_t>(p));
        }
    }
}

void make_cmis(Image &img, const Recipe &r, const Identity &id, std::size_t index) {
    cmis_pages(img, r);
    img.set(0, kMemoryModel, r.flat ? kFlatMemory : 0);
    img.set(0, kGlobalControls, kLowPwrDefault);
    write_applications(img, r);
    write_identity(img, r, id, kCmisIdentity);
    img.set(kPage00, kMaxPower, r.max_power);
    img.set(kPage00, kCableLength, r.cable_length);
    img.set(kPage00, kConnector, r.connector);
    img.set(kPage00, kMediaTechnology, r.technology);
    write_advertising(img, r);
    write_monitors(img, r, kTemperature);
    write_control_sets(img, r);
    write_maker_data(img, r, index);
}

// Revision 03h: a flat copper cable marked by lower byte 34.
void make_pre03(Image &img, const Recipe &r, const Identity &id) {
    img.set(0, kMemoryModel, kFlatMemory);
    img.set(0, pre03::kCopperMark, pre03::kCopper);
    write_applications(img, r);
    write_identity(img, r, id, kPre03Identity);
    img.set(kPage00, pre03::kDeviceTech, r.technology);
    img.set(kPage00, pre03::kCableLength, r.cable_length);
}

// Revision 04h: CMIS identity offsets, its own temperature monitor and
// threshold places (temperature 128-135, Vcc high and low alarm 144-147).
void make_pre04(Image &img, const Recipe &r, const Identity &id) {
    img.add(kPage01);
    img.add(kPage02);
    write_applications(img, r);
    write_identity(img, r, id, kCmisIdentity);
    img.set(kPage00, pre04::kConnector, kNoSeparable);
    const ProfileData d = profile_data(r.profile);
    img.word(0, pre04::kTemperature, sff8636::encode_temperature(d.nominal.temperature_c));
    img.word(0, kVcc, sff8636::encode_vcc(d.nominal.vcc_v));
    write_thresholds(img, pre04::kTempThresholds, d.thresholds.temperature_c, sff8636::encode_temperature);
    img.word(kPage02, pre04::kVccAlarms, sff8636::encode_vcc(d.thresholds.vcc_v.high_alarm));
    img.word(kPage02, pre04::kVccAlarms + 2, sff8636::encode_vcc(d.thresholds.vcc_v.low_alarm));
}

// Revision 07h: the SFF-8636 page 00h layout, flat.
void make_pre07(Image &img, const Recipe &r, const Identity &id) {
    img.set(0, kMemoryModel, kFlatMemory);
    write_applications(img, r);
    write_identity(img, r, id, kPre07Identity);
    img.set(kPage00, sff8636::kConnector, kNoSeparable);
    img.set(kPage00, sff8636::kDeviceTech, r.technology);
    img.set(kPage00, sff8636::kLengthCopper, r.cable_length);
    fill_check_codes(img.memory());
}

std::string digits(std::size_t n, std::size_t width) {
    std::string s = std::to_string(n);
    return s.size() < width ? std::string(width - s.size(), '0') + s : s;
}

}  // namespace

CmisCatalogueEntry make_entry(const Recipe &r, std::size_t index) {
    Image img(r.flat);
    img.set(0, kIdentifier, kQsfpDd);
    img.set(0, kRevision, r.revision);
    img.set(kPage00, kUpperIdentifier, kQsfpDd);
    const Identity id{std::string(r.maker.part_prefix) + std::string(r.name), std::string(r.maker.serial_prefix) + "C" + digits(index + 1, 6)};
    switch (r.layout) {
    case CmisLayout::cmis: make_cmis(img, r, id, index); break;
    case CmisLayout::pre03: make_pre03(img, r, id); break;
    case CmisLayout::pre04: make_pre04(img, r, id); break;
    case CmisLayout::pre07: make_pre07(img, r, id); break;
    }
    if (r.layout != CmisLayout::pre07) {
        img.check_code(kPage00, kUpperIdentifier, kPage00Checksum - 1, kPage00Checksum);
    }
    img.check_code(kPage01, kPage01ChecksumFirst, kPage01Checksum - 1, kPage01Checksum);
    img.check_code(kPage02, kPage02ChecksumFirst, kPage02Checksum - 1, kPage02Checksum);

    CmisCatalogueEntry e;
    e.name = std::string(r.name);
    e.description = std::string(r.description);
    e.type_code = r.type_code;
    e.layout = r.layout;
    e.revision = r.revision;
    e.flat = r.flat;
    e.maker_qualified = r.extended_id != 0;
    e.vendor = std::string(r.maker.vendor);
    e.part = id.part.substr(0, kNameWidth);
    const ModuleMemory &m = img.memory();
    e.pages = m.pages();
    for (unsigned a = 0; a < kHalfPage; ++a) {
        e.image.push_back(m.get(0, static_cast<std::uint8_t>(a)));
    }
    for (std::uint8_t p : e.pages) {
        for (unsigned a = kHalfPage; a < 2 * kHalfPage; ++a) {
            e.image.push_back(m.get(p, static_cast<std::uint8_t>(a)));
        }
    }
    return e;
}

}  // namespace qsfp::sim::cmis_catalogue_detail
