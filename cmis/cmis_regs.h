// The CMIS registers the driver reads and writes (QSFP-DD, CMIS 3.0 and 4.0),
// and the pre-release maps some early modules report. Lower memory is bytes
// 0-127; upper addresses 128-255 are on the page the section names. Offsets
// into the 256-byte identification buffer (lower memory, then page 00h) are
// the register addresses themselves.
#pragma once

#include <cstdint>

namespace qsfp::cmis {

inline constexpr std::uint32_t kLanes = 8;
inline constexpr std::uint32_t kApplications = 8;
inline constexpr std::uint32_t kHalfPage = 128;
inline constexpr std::uint32_t kIdBufferBytes = 256;  // lower memory and page 00h

// Revisions (lower byte 1).
inline constexpr std::uint8_t kRevision30 = 0x30;
inline constexpr std::uint8_t kRevision40 = 0x40;
inline constexpr std::uint8_t kRevisionPre03 = 0x03;
inline constexpr std::uint8_t kRevisionPre04 = 0x04;
inline constexpr std::uint8_t kRevisionPre07 = 0x07;
inline constexpr std::uint8_t kRevision20 = 0x20;      // descriptors may have a lane byte of 0 mid-table
inline constexpr std::uint8_t kRevision28 = 0x28;      // first with the multiplier cable length
inline constexpr std::uint8_t kFinisarAlphaRevision = 0x28;

// Pages.
inline constexpr std::uint32_t kLower = 0;
inline constexpr std::uint32_t kPage00 = 0x00;
inline constexpr std::uint32_t kPage01 = 0x01;
inline constexpr std::uint32_t kPage02 = 0x02;
inline constexpr std::uint32_t kPage03 = 0x03;
inline constexpr std::uint32_t kPage10 = 0x10;
inline constexpr std::uint32_t kPage11 = 0x11;

// ---- Lower memory ----------------------------------------------------------------
inline constexpr std::uint32_t kRevision = 1;
inline constexpr std::uint32_t kMemoryModel = 2;
inline constexpr std::uint8_t kFlatMemory = 0x80;       // bit 7: no upper pages but 00h
inline constexpr std::uint32_t kModuleState = 3;        // bits 3-1
inline constexpr std::uint8_t kModuleStateMask = 0x0E;
inline constexpr std::uint32_t kModuleStateShift = 1;
inline constexpr std::uint8_t kModuleReady = 3;
inline constexpr std::uint32_t kMonitorFlags = 9;       // latched: temperature bits 0-3, Vcc bits 4-7
inline constexpr std::uint32_t kTemperatureMonitor = 14;  // 14-15, signed, 1/256 C
inline constexpr std::uint32_t kVccMonitor = 16;        // 16-17, 100 uV
inline constexpr std::uint32_t kMonitorBytes = 2;
inline constexpr std::uint32_t kPowerControl = 26;
inline constexpr std::uint8_t kLowPower = 0x40;         // bit 6 (4.0 LowPwrAllowRequestHW, 3.0 LowPwr)
inline constexpr std::uint8_t kForceLowPower = 0x10;    // bit 4 (4.0 LowPwrRequestSW, 3.0 ForceLowPwr)
inline constexpr std::uint8_t kKeepAfterForceLowPower = 0xE7;  // clears bits 4 and 3
inline constexpr std::uint32_t kMediaType = 85;
inline constexpr std::uint32_t kAppDescriptors = 86;    // 86-117, four bytes each
inline constexpr std::uint32_t kAppDescriptorBytes = 4;

// Media types (byte 85).
inline constexpr std::uint8_t kMediaMultimode = 1;
inline constexpr std::uint8_t kMediaSingleMode = 2;
inline constexpr std::uint8_t kMediaPassiveCopper = 3;
inline constexpr std::uint8_t kMediaActiveCable = 4;

// An application descriptor's bytes.
inline constexpr std::uint32_t kAppHostInterface = 0;
inline constexpr std::uint32_t kAppMediaInterface = 1;
inline constexpr std::uint32_t kAppLaneCounts = 2;      // host bits 7-4, media bits 3-0
inline constexpr std::uint32_t kAppHostAssignment = 3;

// ---- Page 00h --------------------------------------------------------------------
inline constexpr std::uint32_t kVendorName = 129;
inline constexpr std::uint32_t kVendorOui = 145;
inline constexpr std::uint32_t kVendorPart = 148;
inline constexpr std::uint32_t kVendorRev = 164;
inline constexpr std::uint32_t kVendorSerial = 166;
inline constexpr std::uint32_t kDateCode = 182;
inline constexpr std::uint32_t kCableLength = 202;      // bits 7-6 multiplier, 5-0 base
inline constexpr std::uint32_t kMakerExtendedId = 224;

// ---- Page 01h --------------------------------------------------------------------
inline constexpr std::uint32_t kSmfLength = 132;
inline constexpr std::uint8_t kDr4LongReach = 0x42;     // 2 km in 100 m units: the DR4 variant
inline constexpr std::uint32_t kNominalWavelength = 138;  // 138-139
inline constexpr std::uint32_t kDataPathDurations = 144;  // deinit bits 7-4, init bits 3-0
inline constexpr std::uint32_t kSiControls = 161;       // 161-162
// Signal-integrity controls implemented: si_controls[0] is byte 161, [1] byte 162.
inline constexpr std::uint32_t kTxSiControls = 0;
inline constexpr std::uint32_t kRxSiControls = 1;
inline constexpr std::uint8_t kTxFixedEqControl = 0x04;    // 161 bit 2
inline constexpr std::uint8_t kRxAmplitudeControl = 0x04;  // 162 bit 2
inline constexpr std::uint8_t kRxPreCursorControl = 0x08;  // 162 bit 3
inline constexpr std::uint8_t kRxPostCursorControl = 0x10; // 162 bit 4
inline constexpr std::uint32_t kModuleDurations = 167;  // 4.0: power-down bits 7-4, power-up bits 3-0

// ---- Page 02h: thresholds, each four big-endian words (high alarm, low alarm,
// high warning, low warning) -------------------------------------------------------
inline constexpr std::uint32_t kModuleThresholds = 128;  // 128-175
inline constexpr std::uint32_t kModuleThresholdBytes = 48;
inline constexpr std::uint32_t kLaneThresholds = 176;    // 176-199
inline constexpr std::uint32_t kLaneThresholdBytes = 24;
inline constexpr std::uint32_t kTempThresholds = 128;
inline constexpr std::uint32_t kVccThresholds = 136;
inline constexpr std::uint32_t kVccAlarmThresholds = 144;  // pre-release 04h: high and low alarm only
inline constexpr std::uint32_t kVccAlarmThresholdBytes = 4;
inline constexpr std::uint32_t kTxPowerThresholds = 176;
inline constexpr std::uint32_t kTxBiasThresholds = 184;
inline constexpr std::uint32_t kRxPowerThresholds = 192;
inline constexpr std::uint32_t kThresholdQuadBytes = 8;

// ---- Page 03h: a qualifying maker's data --------------------------------------------
inline constexpr std::uint32_t kMakerVid = 148;         // 4 bytes
inline constexpr std::uint32_t kMakerDomSupport = 154;
inline constexpr std::uint32_t kMakerPid = 192;         // 20 bytes
// A flat-memory qualified cable keeps them in lower memory.
inline constexpr std::uint32_t kFlatMakerVid = 54;
inline constexpr std::uint32_t kFlatMakerPid = 58;

// DOM support mask bits (page 03h byte 154, or derived).
inline constexpr std::uint8_t kDomRxPower = 0x01;
inline constexpr std::uint8_t kDomTxBias = 0x02;
inline constexpr std::uint8_t kDomTxPower = 0x04;
inline constexpr std::uint8_t kDomTemperature = 0x08;
inline constexpr std::uint8_t kDomVcc = 0x10;
inline constexpr std::uint8_t kDomAll = 0x1F;
inline constexpr std::uint8_t kDomModuleOnly = 0x18;

// ---- Page 10h --------------------------------------------------------------------
inline constexpr std::uint32_t kDataPathControl = 128;  // 4.0 DPDeinit (1 = deinit); 3.0 DataPathPwrUp
inline constexpr std::uint32_t kTxDisable = 130;
inline constexpr std::uint32_t kRxOutputDisable = 138;
inline constexpr std::uint32_t kApplyDpInit = 143;
inline constexpr std::uint32_t kStagedAppSelect = 145;  // 145-152, lane 1 first
inline constexpr std::uint8_t kExplicitControl = 0x01;  // bit 0: take the staged SI values
inline constexpr std::uint32_t kStagedTxSi = 153;       // 153-160, laid out as the active 214-221
inline constexpr std::uint32_t kStagedRxSi = 161;       // 161-173, laid out as the active 222-234
inline constexpr std::uint8_t kAllLanes = 0xFF;
inline constexpr std::uint8_t kNoLanes = 0x00;

// ---- Page 11h --------------------------------------------------------------------
inline constexpr std::uint32_t kDataPathState = 128;    // 128-131, nibble per lane, lane 1 low
inline constexpr std::uint32_t kDataPathStateBytes = 4;
inline constexpr std::uint8_t kDataPathDeactivated = 1;
inline constexpr std::uint8_t kDataPathActivated = 4;
inline constexpr std::uint32_t kConfigStatus = 202;     // 202-205, nibble per lane, lane 1 low
inline constexpr std::uint32_t kConfigStatusBytes = 4;
inline constexpr std::uint8_t kConfigInProgress = 0;
inline constexpr std::uint8_t kConfigAccepted = 1;
// Latched lane flags and lane monitors, read as one block (135-201): flag
// bytes carry one bit per lane (bit 0 = lane 1), threshold flags one byte
// each for high alarm, low alarm, high warning and low warning; monitors are
// big-endian words, lane 1 first.
inline constexpr std::uint32_t kLaneStatus = 135;
inline constexpr std::uint32_t kLaneStatusBytes = 67;
inline constexpr std::uint32_t kTxFault = 135;
inline constexpr std::uint32_t kTxLos = 136;
inline constexpr std::uint32_t kTxCdrLol = 137;
inline constexpr std::uint32_t kTxPowerFlags = 139;     // 139-142
inline constexpr std::uint32_t kTxBiasFlags = 143;      // 143-146
inline constexpr std::uint32_t kRxLos = 147;
inline constexpr std::uint32_t kRxCdrLol = 148;
inline constexpr std::uint32_t kRxPowerFlags = 149;     // 149-152
inline constexpr std::uint32_t kTxPowerMonitors = 154;  // 154-169, 0.1 uW
inline constexpr std::uint32_t kTxBiasMonitors = 170;   // 170-185, 2 uA
inline constexpr std::uint32_t kRxPowerMonitors = 186;  // 186-201, 0.1 uW
static_assert(kRxPowerMonitors + 2 * kLanes == kLaneStatus + kLaneStatusBytes);
inline constexpr std::uint32_t kActiveAppSelect = 206;  // 206-213, application code in bits 7-4
inline constexpr std::uint32_t kAppSelectShift = 4;
inline constexpr std::uint32_t kActiveTxSi = 214;       // 214-221
inline constexpr std::uint32_t kActiveRxSi = 222;       // 222-234

// A control set's SI bytes, Tx block then Rx block: offsets into the 21 bytes.
inline constexpr std::uint32_t kTxSiBytes = 8;
inline constexpr std::uint32_t kRxSiBytes = 13;
inline constexpr std::uint32_t kSiBytes = kTxSiBytes + kRxSiBytes;
inline constexpr std::uint32_t kSiTxAdaptiveEq = 0;     // bit per lane
inline constexpr std::uint32_t kSiTxEqTargets = 3;      // 3-6, nibble per lane
inline constexpr std::uint32_t kSiRxPreTargets = 9;     // 9-12
inline constexpr std::uint32_t kSiRxPostTargets = 13;   // 13-16
inline constexpr std::uint32_t kSiRxAmpTargets = 17;    // 17-20
inline constexpr std::uint32_t kSiTargetBytes = 4;      // two lanes per byte, the odd lane low
static_assert(kStagedTxSi + kTxSiBytes == kStagedRxSi && kActiveTxSi + kTxSiBytes == kActiveRxSi);
static_assert(kActiveTxSi + kSiTxEqTargets == 217 && kActiveTxSi + kSiRxPreTargets == 223 &&
              kActiveTxSi + kSiRxPostTargets == 227 && kActiveTxSi + kSiRxAmpTargets + kSiTargetBytes - 1 == 234);

// ---- CDB: lower memory flags and status, page 9Fh command area, A0h-AFh EPL -----
inline constexpr std::uint32_t kCdbCompleteFlags = 8;     // latched, cleared by reading
inline constexpr std::uint8_t kCdbComplete = 0x40;        // bit 6 (or bit 7) set: the command is done
inline constexpr std::uint32_t kCdbStatus = 37;           // 37-38, one byte per CDB instance
inline constexpr std::uint32_t kCdbStatusBytes = 2;
inline constexpr std::uint8_t kCdbStatusSuccess = 0x01;
inline constexpr std::uint8_t kCdbStatusCheckCode = 0x45;
inline constexpr std::uint32_t kPage9F = 0x9F;
inline constexpr std::uint32_t kPageA0 = 0xA0;
inline constexpr std::uint32_t kCdbCommandId = 128;       // 128-129, big-endian; the low byte starts it
inline constexpr std::uint32_t kCdbEplLength = 130;       // 130-131
inline constexpr std::uint32_t kCdbReplyLength = 136;
inline constexpr std::uint32_t kCdbReply = 137;
inline constexpr std::uint32_t kCdbUnlocked = 138;        // query reply: firmware download unlocked
inline constexpr std::uint32_t kCdbVendorHeaderLength = 138;  // features reply: start payload size
inline constexpr std::uint32_t kCdbImageAVersion = 138;   // firmware info reply: 138-141
inline constexpr std::uint32_t kCdbImageBVersion = 174;   // 174-177
inline constexpr std::uint32_t kCdbInfoStatus = 136;      // 136-137: status flags, info block

// ---- Pre-release map 03h (offsets into the identification buffer) -----------------
namespace pre03 {
inline constexpr std::uint32_t kCopperMark = 34;
inline constexpr std::uint8_t kCopper = 11;
inline constexpr std::uint32_t kCableLength = 199;
inline constexpr std::uint32_t kVendorName = 132;
inline constexpr std::uint32_t kVendorOui = 164;
inline constexpr std::uint32_t kVendorSerial = 148;
inline constexpr std::uint32_t kVendorPart = 167;
inline constexpr std::uint32_t kVendorRev = 183;
inline constexpr std::uint32_t kDateCode = 185;
}  // namespace pre03

// ---- Pre-release map 04h: lower memory ----------------------------------------------
namespace pre04 {
inline constexpr std::uint32_t kTemperatureMonitor = 12;  // 12-13, signed, 1/256 C
inline constexpr std::uint32_t kVccMonitor = 16;          // 16-17, 100 uV
}  // namespace pre04

// ---- Pre-release map 07h ------------------------------------------------------------
namespace pre07 {
inline constexpr std::uint32_t kCableLength = 146;
inline constexpr std::uint32_t kDeviceTech = 147;
inline constexpr std::uint8_t kCopper = 0xA0;
inline constexpr std::uint32_t kVendorName = 148;
inline constexpr std::uint32_t kVendorOui = 165;
inline constexpr std::uint32_t kVendorPart = 168;
inline constexpr std::uint32_t kVendorRev = 184;
inline constexpr std::uint32_t kVendorSerial = 196;
inline constexpr std::uint32_t kDateCode = 212;
}  // namespace pre07

}  // namespace qsfp::cmis
