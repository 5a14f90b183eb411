// CMIS 4.0 register addresses and codes used by the emulated CMIS module, its
// image builder and the CMIS catalogue, with the CMIS 3.0 differences named
// where they matter. Lower memory is bytes 0-127; upper addresses 128-255 are
// on the page named in the section heading.
#pragma once

#include <array>
#include <bit>
#include <cstdint>

namespace qsfp::sim::cmis {

inline constexpr int kLanes = 8;
inline constexpr int kApplications = 8;  // descriptors in lower memory

// Revisions (lower byte 1: major nibble, minor nibble).
inline constexpr std::uint8_t kRevision30 = 0x30;
inline constexpr std::uint8_t kRevision40 = 0x40;
// Pre-release memory maps some early modules report.
inline constexpr std::uint8_t kRevisionPre03 = 0x03;
inline constexpr std::uint8_t kRevisionPre04 = 0x04;
inline constexpr std::uint8_t kRevisionPre07 = 0x07;

// Identifiers (SFF-8024).
inline constexpr std::uint8_t kQsfpDd = 0x18;
inline constexpr std::uint8_t kOsfp = 0x19;
inline constexpr std::uint8_t kQsfpPlusCmis = 0x1E;

// Upper pages.
inline constexpr std::uint8_t kPage00 = 0x00;  // administrative information
inline constexpr std::uint8_t kPage01 = 0x01;  // advertising
inline constexpr std::uint8_t kPage02 = 0x02;  // thresholds
inline constexpr std::uint8_t kPage03 = 0x03;  // user EEPROM
inline constexpr std::uint8_t kPage10 = 0x10;  // lane and data path controls
inline constexpr std::uint8_t kPage11 = 0x11;  // lane and data path status
inline constexpr std::uint8_t kPage9F = 0x9F;  // CDB command and local payload
inline constexpr std::uint8_t kPageA0 = 0xA0;  // CDB extended payload, A0h-AFh
inline constexpr std::uint8_t kPageAF = 0xAF;

// ---- Lower memory ---------------------------------------------------------------
inline constexpr std::uint8_t kIdentifier = 0;
inline constexpr std::uint8_t kRevision = 1;
inline constexpr std::uint8_t kMemoryModel = 2;
inline constexpr std::uint8_t kFlatMemory = 0x80;      // byte 2 bit 7
inline constexpr std::uint8_t kModuleStateReg = 3;     // bits 3-1 module state, bit 0 interrupt deasserted
inline constexpr std::uint8_t kModuleStateShift = 1;
inline constexpr std::uint8_t kModuleStateMask = 0x0E;
inline constexpr std::uint8_t kInterruptDeasserted = 0x01;
inline constexpr std::uint8_t kModuleFlags = 8;        // bit 0 module state changed (latched)
inline constexpr std::uint8_t kModuleStateChanged = 0x01;
inline constexpr std::uint8_t kCdbComplete1 = 0x40;    // bit 6 L-CDB block 1 complete (CdbCmdCompleteFlag1)
inline constexpr std::uint8_t kCdbComplete2 = 0x80;    // bit 7, the second CDB instance
inline constexpr std::uint8_t kMonitorFlags = 9;       // temperature bits 3-0, Vcc bits 7-4 (latched)
inline constexpr std::uint8_t kFirstModuleFlag = 8;
inline constexpr std::uint8_t kLastModuleFlag = 11;
inline constexpr std::uint8_t kTemperature = 14;       // signed, 1/256 C
inline constexpr std::uint8_t kVcc = 16;               // 100 uV
inline constexpr std::uint8_t kGlobalControls = 26;
inline constexpr std::uint8_t kLowPwrAllowRequestHw = 0x40;  // bit 6 (CMIS 3.0: LowPwr)
inline constexpr std::uint8_t kLowPwrRequestSw = 0x10;       // bit 4 (CMIS 3.0: ForceLowPwr)
inline constexpr std::uint8_t kSoftwareReset = 0x08;         // bit 3, self-clearing
inline constexpr std::uint8_t kModuleMasks = 31;       // 31-34 mask flag bytes 8-11
inline constexpr std::uint8_t kLastModuleMask = 36;
inline constexpr std::uint8_t kCdbStatus1 = 37;        // CDB status of instance 1 (CdbStatus1)
inline constexpr std::uint8_t kCdbStatus2 = 38;        // of instance 2
inline constexpr std::uint8_t kActiveFirmware = 39;    // 39-40: running image major, minor
inline constexpr std::uint8_t kMediaType = 85;
inline constexpr std::uint8_t kAppDescriptors = 86;    // 86-117, four bytes each
inline constexpr std::uint8_t kAppDescriptorSize = 4;
inline constexpr std::uint8_t kPasswordChange = 118;   // 118-121, write-only
inline constexpr std::uint8_t kPasswordEntry = 122;    // 122-125, write-only
inline constexpr std::uint8_t kLastPassword = 125;
inline constexpr std::uint8_t kBankSelect = 126;

// An application descriptor: host interface code, media interface code, lane
// counts (host bits 7-4, media bits 3-0), host lane assignment (bit i: a data
// path of this application may start at lane i + 1).
inline constexpr std::uint8_t kAppHostInterface = 0;
inline constexpr std::uint8_t kAppMediaInterface = 1;
inline constexpr std::uint8_t kAppLaneCounts = 2;
inline constexpr std::uint8_t kAppHostLaneAssignment = 3;
inline constexpr std::uint8_t kAppUnused = 0xFF;       // host interface code of an unused descriptor

// The media lanes an application occupies on the module: its media lane
// count for each data path its host lane assignment allows (at most eight).
constexpr int app_media_lanes(std::uint8_t lane_counts, std::uint8_t host_lane_assignment) {
    const int paths = std::popcount(host_lane_assignment);
    const int lanes = (lane_counts & 0x0F) * (paths > 0 ? paths : 1);
    return lanes < kLanes ? lanes : kLanes;
}
static_assert(app_media_lanes(0x44, 0x11) == 8 && app_media_lanes(0x84, 0x01) == 4 && app_media_lanes(0x21, 0x55) == 4);

// Media types (lower byte 85).
inline constexpr std::uint8_t kMediaMmf = 0x01;
inline constexpr std::uint8_t kMediaSmf = 0x02;
inline constexpr std::uint8_t kMediaPassiveCopper = 0x03;
inline constexpr std::uint8_t kMediaActiveCable = 0x04;

// ---- Page 00h ---------------------------------------------------------------------
inline constexpr std::uint8_t kUpperIdentifier = 128;
inline constexpr std::uint8_t kVendorName = 129;       // 16
inline constexpr std::uint8_t kVendorOui = 145;        // 3
inline constexpr std::uint8_t kVendorPart = 148;       // 16
inline constexpr std::uint8_t kVendorRev = 164;        // 2
inline constexpr std::uint8_t kVendorSerial = 166;     // 16
inline constexpr std::uint8_t kDateCode = 182;         // 8
inline constexpr std::uint8_t kClei = 190;             // 10
inline constexpr std::uint8_t kPowerClass = 200;       // bits 7-5
inline constexpr std::uint8_t kMaxPower = 201;         // 0.25 W
inline constexpr std::uint8_t kCableLength = 202;      // bits 7-6 multiplier, 5-0 base
inline constexpr std::uint8_t kConnector = 203;
inline constexpr std::uint8_t kMediaTechnology = 212;
inline constexpr std::uint8_t kPage00Checksum = 222;   // sum of 128-221
inline constexpr std::uint8_t kMakerExtendedId = 224;  // custom area: a qualifying maker's extended identifier

// ---- Page 01h ---------------------------------------------------------------------
inline constexpr std::uint8_t kInactiveFirmware = 128; // 128-129: the other image's major, minor
inline constexpr std::uint8_t kHardwareRev = 130;      // 130-131
inline constexpr std::uint8_t kSmfLength = 132;        // bits 7-6 multiplier, 5-0 base
inline constexpr std::uint8_t kOm3Length = 135;        // 2 m
inline constexpr std::uint8_t kNominalWavelength = 138;  // 0.05 nm, 138-139
inline constexpr std::uint8_t kWavelengthTolerance = 140;  // 0.005 nm, 140-141
inline constexpr std::uint8_t kDataPathDurations = 144;  // DPDeinit bits 7-4, DPInit bits 3-0
inline constexpr std::uint8_t kMonitorsImplemented = 159;  // 159-160
inline constexpr std::uint8_t kTxSiImplemented = 161;
inline constexpr std::uint8_t kRxSiImplemented = 162;
inline constexpr std::uint8_t kCdbSupport = 163;       // CDB advertisement, see below
inline constexpr std::uint8_t kCdbReadWriteLength = 164;  // accesses of 8 * (1 + n) bytes to the payload pages
inline constexpr std::uint8_t kCdbTrigger = 165;       // bit 7: any write that reaches 9Fh byte 129 triggers
inline constexpr std::uint8_t kCdbMaxBusy = 166;       // bits 6-0: longest busy time 80 - n ms
inline constexpr std::uint8_t kModuleDurations = 167;  // CMIS 4.0: PwrDn bits 7-4, PwrUp bits 3-0
inline constexpr std::uint8_t kMediaLaneAssignment = 176;  // 176-183, one per application
inline constexpr std::uint8_t kPage01ChecksumFirst = 130;
inline constexpr std::uint8_t kPage01Checksum = 255;   // sum of 130-254

// Signal-integrity controls implemented (page 01h 161-162).
inline constexpr std::uint8_t kTxFixedEqImplemented = 0x04;     // 161 bit 2
inline constexpr std::uint8_t kTxAdaptiveEqImplemented = 0x08;  // 161 bit 3
inline constexpr std::uint8_t kRxAmplitudeImplemented = 0x04;   // 162 bit 2
inline constexpr std::uint8_t kRxPreCursorImplemented = 0x08;   // 162 bit 3
inline constexpr std::uint8_t kRxPostCursorImplemented = 0x10;  // 162 bit 4

// CDB advertisement (page 01h 163): bits 7-6 instances, bit 5 background
// mode (the module answers while a command runs), bit 4 auto paging, bits 3-0
// the extended payload pages.
inline constexpr std::uint8_t kCdbInstancesShift = 6;
inline constexpr std::uint8_t kCdbOneInstance = 0x40;
inline constexpr std::uint8_t kCdbBackgroundMode = 0x20;
inline constexpr std::uint8_t kCdbEplPagesMask = 0x0F;
// Extended payload pages per code of bits 3-0: 0 none, 1 A0h, 2 A0h-A1h,
// 3 A0h-A2h, 4 A0h-A3h, 5 A0h-A7h, 6 A0h-ABh, 7 A0h-AFh; 8-15 reserved.
inline constexpr std::array<std::uint8_t, 8> kCdbEplPages = {0, 1, 2, 3, 4, 8, 12, 16};
inline constexpr std::uint8_t kCdbAllEplPages = 7;

// ---- Page 02h (thresholds: high alarm, low alarm, high warning, low warning) -----------
inline constexpr std::uint8_t kTempThresholds = 128;
inline constexpr std::uint8_t kVccThresholds = 136;
inline constexpr std::uint8_t kTxPowerThresholds = 176;
inline constexpr std::uint8_t kTxBiasThresholds = 184;
inline constexpr std::uint8_t kRxPowerThresholds = 192;
inline constexpr std::uint8_t kPage02ChecksumFirst = 128;
inline constexpr std::uint8_t kPage02Checksum = 255;   // sum of 128-254

// A flag nibble or flag byte order: high alarm, low alarm, high warning, low warning.
inline constexpr int kHighAlarm = 0;
inline constexpr int kLowAlarm = 1;
inline constexpr int kHighWarning = 2;
inline constexpr int kLowWarning = 3;

// ---- Page 03h (the qualifying maker's data in this user EEPROM) ----------------------
inline constexpr std::uint8_t kMakerVid = 148;         // 4
inline constexpr std::uint8_t kMakerDomSupport = 154;
inline constexpr std::uint8_t kMakerPid = 192;         // 20
// A flat-memory qualified cable keeps them in lower memory instead.
inline constexpr std::uint8_t kFlatMakerVid = 54;      // 4
inline constexpr std::uint8_t kFlatMakerPid = 58;      // 20

// ---- Page 10h ------------------------------------------------------------------------
inline constexpr std::uint8_t kDataPathControl = 128;  // 4.0 DPDeinit (1 = deinit); 3.0 DataPathPwrUp (1 = up)
inline constexpr std::uint8_t kTxDisable = 130;
inline constexpr std::uint8_t kRxOutputDisable = 138;
inline constexpr std::uint8_t kApplyDpInit = 143;      // staged set 0, a trigger per lane
inline constexpr std::uint8_t kApplyImmediate = 144;
inline constexpr std::uint8_t kStagedDpConfig = 145;   // 145-152: AppSel 7-4, DataPathID 3-1, ExplicitControl 0
inline constexpr std::uint8_t kStagedSi = 153;         // 153-173
inline constexpr std::uint8_t kSiBytes = 21;
inline constexpr std::uint8_t kLaneMasks = 213;        // 213-231 mask the flags of page 11h 134-152

// Offsets within a 21-byte SI block (staged 153-173, active 214-234).
inline constexpr std::uint8_t kSiTxAdaptiveEnable = 0;  // bit per lane
inline constexpr std::uint8_t kSiTxFixedEq = 3;         // 3-6, nibble per lane
inline constexpr std::uint8_t kSiRxPreCursor = 9;       // 9-12
inline constexpr std::uint8_t kSiRxPostCursor = 13;     // 13-16
inline constexpr std::uint8_t kSiRxAmplitude = 17;      // 17-20

// DPConfig byte fields.
inline constexpr std::uint8_t kAppSelShift = 4;
inline constexpr std::uint8_t kDataPathIdShift = 1;
inline constexpr std::uint8_t kDataPathIdMask = 0x07;
inline constexpr std::uint8_t kExplicitControl = 0x01;

// ---- Page 11h ------------------------------------------------------------------------
inline constexpr std::uint8_t kDataPathState = 128;    // 128-131, nibble per lane (lane 1 bits 3-0)
inline constexpr std::uint8_t kRxOutputStatus = 132;   // bit per lane, 1 = output valid
inline constexpr std::uint8_t kTxOutputStatus = 133;
inline constexpr std::uint8_t kFirstLaneFlag = 134;
inline constexpr std::uint8_t kDataPathStateChanged = 134;
inline constexpr std::uint8_t kTxFault = 135;
inline constexpr std::uint8_t kTxLos = 136;
inline constexpr std::uint8_t kTxCdrLol = 137;
inline constexpr std::uint8_t kTxAdaptiveEqFail = 138;
inline constexpr std::uint8_t kTxPowerFlags = 139;     // 139-142
inline constexpr std::uint8_t kTxBiasFlags = 143;      // 143-146
inline constexpr std::uint8_t kRxLos = 147;
inline constexpr std::uint8_t kRxCdrLol = 148;
inline constexpr std::uint8_t kRxPowerFlags = 149;     // 149-152
inline constexpr std::uint8_t kLastLaneFlag = 152;
inline constexpr int kLaneFlagBytes = kLastLaneFlag - kFirstLaneFlag + 1;
inline constexpr std::uint8_t kTxPowerMonitors = 154;  // 154-169, 0.1 uW
inline constexpr std::uint8_t kTxBiasMonitors = 170;   // 170-185, 2 uA
inline constexpr std::uint8_t kRxPowerMonitors = 186;  // 186-201, 0.1 uW
inline constexpr std::uint8_t kConfigStatus = 202;     // 202-205, nibble per lane (lane 1 bits 3-0)
inline constexpr std::uint8_t kActiveDpConfig = 206;   // 206-213
inline constexpr std::uint8_t kActiveSi = 214;         // 214-234

// ---- Page 9Fh: CDB command, reply and local payload (LPL) ------------------------
inline constexpr std::uint8_t kCdbCommandId = 128;     // 128-129, big-endian; writing 129 starts the command
inline constexpr std::uint8_t kCdbCommandIdLow = 129;
inline constexpr std::uint8_t kCdbEplLength = 130;     // 130-131, big-endian
inline constexpr std::uint8_t kCdbLplLength = 132;
inline constexpr std::uint8_t kCdbCheckCode = 133;     // CdbChkCode
inline constexpr std::uint8_t kCdbReplyLength = 134;   // RPLLength
inline constexpr std::uint8_t kCdbReplyCheckCode = 135;  // RPLChkCode
inline constexpr std::uint8_t kCdbLpl = 136;           // 136-255, command payload and then the reply
inline constexpr std::uint8_t kCdbMaxLpl = 120;
inline constexpr std::size_t kCdbEplPageSize = 128;    // bytes 128-255 of each of A0h-AFh
inline constexpr std::size_t kCdbMaxEpl = 16 * kCdbEplPageSize;

// CDB command IDs.
inline constexpr std::uint16_t kCdbQueryStatus = 0x0000;
inline constexpr std::uint16_t kCdbFirmwareFeatures = 0x0041;
inline constexpr std::uint16_t kCdbGetFirmwareInfo = 0x0100;
inline constexpr std::uint16_t kCdbStartDownload = 0x0101;
inline constexpr std::uint16_t kCdbAbortDownload = 0x0102;
inline constexpr std::uint16_t kCdbWriteBlockLpl = 0x0103;
inline constexpr std::uint16_t kCdbWriteBlockEpl = 0x0104;
inline constexpr std::uint16_t kCdbCompleteDownload = 0x0107;
inline constexpr std::uint16_t kCdbRunImage = 0x0109;
inline constexpr std::uint16_t kCdbCommitImage = 0x010A;

// CDB status (lower 37-38): bit 7 busy, bit 6 failed, bits 5-0 the result.
inline constexpr std::uint8_t kCdbBusy = 0x80;
inline constexpr std::uint8_t kCdbFailed = 0x40;
inline constexpr std::uint8_t kCdbBusyCapturing = 0x81;
inline constexpr std::uint8_t kCdbBusyChecking = 0x82;
inline constexpr std::uint8_t kCdbBusyExecuting = 0x83;
inline constexpr std::uint8_t kCdbSuccess = 0x01;
inline constexpr std::uint8_t kCdbUnknownCommand = 0x41;
inline constexpr std::uint8_t kCdbParameterError = 0x42;
inline constexpr std::uint8_t kCdbNotAborted = 0x43;   // a previous command was not properly aborted
inline constexpr std::uint8_t kCdbCheckTimeout = 0x44;
inline constexpr std::uint8_t kCdbCheckCodeError = 0x45;
inline constexpr std::uint8_t kCdbPasswordError = 0x46;

// Reply of 0000h (Query Status): length of the status field, then the status.
inline constexpr std::uint8_t kQueryStatusLength = 136;
inline constexpr std::uint8_t kQueryStatusByte = 137;  // bit 0: host password accepted
// Reply of 0041h (Firmware Management Features).
inline constexpr std::uint8_t kFwFeatures = 137;
inline constexpr std::uint8_t kFwStartPayloadSize = 138;  // vendor header bytes the host sends with 0101h
inline constexpr std::uint8_t kFwErasedByte = 139;
inline constexpr std::uint8_t kFwReadWriteLength = 140;
inline constexpr std::uint8_t kFwWriteMechanism = 141;  // 01h LPL, 10h EPL, 11h both
inline constexpr std::uint8_t kFwReadMechanism = 142;
inline constexpr std::uint8_t kFwHitlessRestart = 143;
inline constexpr std::uint8_t kFwMaxDurationStart = 144;  // 144-153: start, abort, write, complete, copy (ms)
inline constexpr std::uint8_t kFwMaxDurationAbort = 146;
inline constexpr std::uint8_t kFwMaxDurationWrite = 148;
inline constexpr std::uint8_t kFwMaxDurationComplete = 150;
inline constexpr std::uint8_t kFwMaxDurationCopy = 152;
inline constexpr std::uint8_t kFwFeaturesReplyLength = 18;
inline constexpr std::uint8_t kFwWriteLplAndEpl = 0x11;
// Reply of 0100h (Get Firmware Info).
inline constexpr std::uint8_t kFwStatus = 136;         // A: bit 0 running, 1 committed, 2 empty/invalid; B: bits 4-6
inline constexpr std::uint8_t kFwImageInfo = 137;      // bit 0 image A info, bit 1 image B info, bit 2 factory image
inline constexpr std::uint8_t kFwImageA = 138;         // major, minor, build (2), extra string (32)
inline constexpr std::uint8_t kFwImageB = 174;
inline constexpr std::uint8_t kFwExtraString = 4;
inline constexpr std::uint8_t kFwExtraStringLength = 32;
inline constexpr std::uint8_t kFwInfoReplyLength = 74;  // 136-209: status, info, images A and B
inline constexpr std::uint8_t kFwRunning = 0x01;
inline constexpr std::uint8_t kFwCommitted = 0x02;
inline constexpr std::uint8_t kFwInvalid = 0x04;
inline constexpr std::uint8_t kFwImageBShift = 4;
// LPL of 0101h (Start Firmware Download): image size (4), reserved (4), vendor header.
inline constexpr std::uint8_t kStartImageSize = 136;
inline constexpr std::uint8_t kStartVendorData = 144;
inline constexpr std::uint8_t kStartFixedLength = 8;
// LPL of 0103h / 0104h (Write Firmware Block): block address (4), then for 0103h the data.
inline constexpr std::uint8_t kBlockAddress = 136;
inline constexpr std::uint8_t kBlockAddressLength = 4;
// LPL of 0109h (Run Firmware Image): reserved, mode, delay to reset in ms (2).
inline constexpr std::uint8_t kRunMode = 137;
inline constexpr std::uint8_t kRunDelay = 138;
inline constexpr std::uint8_t kRunLplLength = 4;
inline constexpr std::uint8_t kRunInactiveImage = 0x00;      // traffic-affecting reset to the inactive image
inline constexpr std::uint8_t kRunInactiveHitless = 0x01;
inline constexpr std::uint8_t kRunRunningImage = 0x02;       // reset to the running image
inline constexpr std::uint8_t kRunRunningHitless = 0x03;

// ---- Pre-release maps -------------------------------------------------------------------
// Revision 03h: page 00h identity at its own offsets; lower byte 34 = 11 marks copper.
namespace pre03 {
inline constexpr std::uint8_t kCopperMark = 34;
inline constexpr std::uint8_t kCopper = 11;
inline constexpr std::uint8_t kExtIdentifier = 129;
inline constexpr std::uint8_t kDeviceTech = 131;
inline constexpr std::uint8_t kVendorName = 132;
inline constexpr std::uint8_t kVendorSerial = 148;
inline constexpr std::uint8_t kVendorOui = 164;
inline constexpr std::uint8_t kVendorPart = 167;
inline constexpr std::uint8_t kVendorRev = 183;
inline constexpr std::uint8_t kDateCode = 185;
inline constexpr std::uint8_t kCableLength = 199;  // metres
}  // namespace pre03
// Revision 04h: CMIS identity offsets; its own temperature monitor and thresholds.
namespace pre04 {
inline constexpr std::uint8_t kTemperature = 12;       // lower 12-13
inline constexpr std::uint8_t kBitRate = 202;
inline constexpr std::uint8_t kConnector = 206;
inline constexpr std::uint8_t kTempThresholds = 128;   // page 02h 128-135
inline constexpr std::uint8_t kVccAlarms = 144;        // page 02h 144-147: high and low alarm
}  // namespace pre04
// Revision 07h: the SFF-8636 page 00h layout (vendor name at 148, device
// technology at 147, cable length at 146, check codes at 191 and 223).

// Module states (lower byte 3 bits 3-1).
enum class ModuleState : std::uint8_t { low_power = 1, power_up = 2, ready = 3, power_down = 4, fault = 5 };

// Data path states (page 11h nibbles).
enum class DataPathState : std::uint8_t {
    deactivated = 1, init = 2, deinit = 3, activated = 4, tx_turn_on = 5, tx_turn_off = 6, initialized = 7,
};

// Configuration status codes (page 11h 202-205). CMIS 3.0 names codes 1-7
// ConfigAccepted, ConfigRejectedUnknown, ...InvalidCode, ...InvalidCombo,
// ...InvalidSI, ...InUse, ...IncompleteLaneInfo, and has no in-progress code:
// a lane reads 0 until its command completes.
enum class ConfigStatus : std::uint8_t {
    undefined = 0x0,
    success = 0x1,
    rejected = 0x2,
    rejected_invalid_app_sel = 0x3,
    rejected_invalid_data_path = 0x4,
    rejected_invalid_si = 0x5,
    rejected_lanes_in_use = 0x6,
    rejected_partial_data_path = 0x7,
    in_progress = 0xC,  // CMIS 4.0 only
};

struct ConfigStatusName {
    ConfigStatus code;
    const char *name;
};
inline constexpr ConfigStatusName kConfigStatusNames[] = {
    {ConfigStatus::undefined, "ConfigUndefined"},
    {ConfigStatus::success, "ConfigSuccess"},
    {ConfigStatus::rejected, "ConfigRejected"},
    {ConfigStatus::rejected_invalid_app_sel, "ConfigRejectedInvalidAppSel"},
    {ConfigStatus::rejected_invalid_data_path, "ConfigRejectedInvalidDataPath"},
    {ConfigStatus::rejected_invalid_si, "ConfigRejectedInvalidSI"},
    {ConfigStatus::rejected_lanes_in_use, "ConfigRejectedLanesInUse"},
    {ConfigStatus::rejected_partial_data_path, "ConfigRejectedPartialDataPath"},
    {ConfigStatus::in_progress, "ConfigInProgress"},
};

// The time a module takes in a state whose maximum duration it advertises
// with a CMIS duration code (page 01h 144 and 167), in microseconds: the middle
// of the code's range, so the module always keeps its promise and a host that
// waits the advertised maximum always sees it finish. Code 13 (50 min or more)
// takes one hour; the reserved codes 14 and 15 promise nothing and take 3 s.
inline constexpr std::array<std::uint64_t, 16> kDurationUs = {
    500,             // 0: under 1 ms
    3000,            // 1: 1-5 ms
    7500,            // 2: 5-10 ms
    30000,           // 3: 10-50 ms
    75000,           // 4: 50-100 ms
    300000,          // 5: 100-500 ms
    750000,          // 6: 500 ms-1 s
    3000000,         // 7: 1-5 s
    7500000,         // 8: 5-10 s
    35000000,        // 9: 10 s-1 min
    180000000,       // 10: 1-5 min
    450000000,       // 11: 5-10 min
    1800000000,      // 12: 10-50 min
    3600000000,      // 13: 50 min or more
    3000000,         // 14: reserved
    3000000,         // 15: reserved
};

}  // namespace qsfp::sim::cmis
