// The CMIS and C-CMIS addresses the coherent SDK emulator reads and writes
// through the device's callbacks. The SDK is a separate product from the
// driver library and from the module emulator, so it carries its own map of
// the module: lower memory is bytes 0-127, upper addresses are on the page
// named in each section.
#pragma once

#include <cstdint>

namespace qsfp::sim::coh_sdk::cmis {

inline constexpr std::uint32_t kPageSelect = 127;
inline constexpr std::uint32_t kLowerEnd = 128;  // first upper address
inline constexpr std::uint32_t kPageEnd = 256;

// ---- Lower memory ----------------------------------------------------------
inline constexpr std::uint32_t kIdentifier = 0;
inline constexpr std::uint32_t kModuleState = 3;         // bits 3-1
inline constexpr std::uint8_t kModuleStateMask = 0x0E;
inline constexpr std::uint8_t kModuleStateShift = 1;
inline constexpr std::uint32_t kModuleFlags = 8;         // bit 6: CDB block 1 complete (latched)
inline constexpr std::uint32_t kTemperature = 14;        // 14-15, signed, 1/256 C
inline constexpr std::uint32_t kVcc = 16;                // 16-17, 100 uV
inline constexpr std::uint32_t kGlobalControls = 26;     // bit 4 LowPwrRequestSW, bit 6 LowPwrAllowRequestHW
inline constexpr std::uint32_t kCdbStatus = 37;          // CdbStatus1
inline constexpr std::uint32_t kActiveFirmware = 39;     // 39-40: running image major, minor

inline constexpr std::uint8_t kModuleFaultState = 5;     // ModuleFault

// SFF-8024 identifiers of the CMIS family the SDK manages.
inline constexpr std::uint8_t kCmisIdentifiers[] = {0x18, 0x19, 0x1E};

// ---- Page 01h ----------------------------------------------------------------
inline constexpr std::uint8_t kPage01 = 0x01;
inline constexpr std::uint32_t kCdbSupport = 163;        // bits 7-6: CDB instances

// ---- Page 10h ----------------------------------------------------------------
inline constexpr std::uint8_t kPage10 = 0x10;
inline constexpr std::uint32_t kDataPathDeinit = 128;    // a bit per host lane, 1 = deinitialise
inline constexpr std::uint32_t kTxDisable = 130;         // a bit per media lane, 1 = disabled
inline constexpr std::uint8_t kMediaLane1 = 0x01;

// ---- Page 11h: media lane 1 monitors ----------------------------------------
inline constexpr std::uint8_t kPage11 = 0x11;
inline constexpr std::uint32_t kTxPower1 = 154;          // 0.1 uW
inline constexpr std::uint32_t kTxBias1 = 170;           // 2 uA
inline constexpr std::uint32_t kRxPower1 = 186;          // 0.1 uW
// One read covers the three monitors of lane 1 (and nothing that clears on read).
inline constexpr std::uint32_t kMonitorsFirst = kTxPower1;
inline constexpr std::uint32_t kMonitorsLength = kRxPower1 + 2 - kTxPower1;

// ---- Page 9Fh: CDB command block and local payload ---------------------------
inline constexpr std::uint8_t kPage9F = 0x9F;
inline constexpr std::uint32_t kCdbCommandId = 128;      // 128-129; writing 129 starts the command
inline constexpr std::uint32_t kCdbEplLength = 130;      // 130-131
inline constexpr std::uint32_t kCdbLplLength = 132;
inline constexpr std::uint32_t kCdbCheckCode = 133;
inline constexpr std::uint32_t kCdbReplyLength = 134;
inline constexpr std::uint32_t kCdbLpl = 136;            // 136-255
inline constexpr std::uint32_t kCdbMaxLpl = 120;
static_assert(kCdbLpl + kCdbMaxLpl == kPageEnd);

// CDB status (lower byte 37): bit 7 busy, bit 6 failed, bits 5-0 the result.
inline constexpr std::uint8_t kCdbBusy = 0x80;
inline constexpr std::uint8_t kCdbFailed = 0x40;

// Firmware management commands (CMIS 4.0 chapter 9).
inline constexpr std::uint16_t kCmdFirmwareFeatures = 0x0041;
inline constexpr std::uint16_t kCmdGetFirmwareInfo = 0x0100;
inline constexpr std::uint16_t kCmdStartDownload = 0x0101;
inline constexpr std::uint16_t kCmdWriteBlockLpl = 0x0103;
inline constexpr std::uint16_t kCmdCompleteDownload = 0x0107;
inline constexpr std::uint16_t kCmdRunImage = 0x0109;
inline constexpr std::uint16_t kCmdCommitImage = 0x010A;

// Reply of 0041h: StartCmdPayloadSize (the vendor header sent with 0101h) and
// the write mechanisms (bit 0 LPL, bit 4 EPL).
inline constexpr std::uint32_t kFwStartPayloadSize = 138;
inline constexpr std::uint32_t kFwWriteMechanism = 141;
inline constexpr std::uint8_t kFwWriteLpl = 0x01;
// Reply of 0100h: status bits (image A bits 2-0, image B bits 6-4: running,
// committed, empty or invalid), then images A and B (major, minor, build).
inline constexpr std::uint32_t kFwStatus = 136;
inline constexpr std::uint32_t kFwImageA = 138;
inline constexpr std::uint32_t kFwImageB = 174;
inline constexpr std::uint32_t kFwInfoLength = 74;
inline constexpr std::uint8_t kFwRunning = 0x01;
inline constexpr std::uint8_t kFwCommitted = 0x02;
inline constexpr std::uint8_t kFwInvalid = 0x04;
inline constexpr std::uint8_t kFwImageBShift = 4;
// LPL of 0101h: image size (4), reserved (4), the vendor header.
inline constexpr std::uint32_t kStartFixedLength = 8;
// LPL of 0103h: block address (4), then the data.
inline constexpr std::uint32_t kBlockAddressLength = 4;
inline constexpr std::uint32_t kMaxBlockData = kCdbMaxLpl - kBlockAddressLength;
// LPL of 0109h: reserved, mode (0: reset to the inactive image), delay to reset in ms (2).
inline constexpr std::uint32_t kRunLplLength = 4;

}  // namespace qsfp::sim::coh_sdk::cmis
