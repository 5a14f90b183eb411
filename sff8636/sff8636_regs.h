// The SFF-8636 memory map as this driver uses it: the only place register
// numbers, pages and bit masks are written down.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace qsfp::sff8636 {

// Pages.
inline constexpr std::uint32_t kPage00 = 0x00;
inline constexpr std::uint32_t kPage02 = 0x02;  // user EEPROM: the qualifying maker's data
inline constexpr std::uint32_t kPage03 = 0x03;
inline constexpr std::uint32_t kPageVdmConfig = 0x20;
inline constexpr std::uint32_t kPageVdmThresholds = 0x21;

// Lower memory.
inline constexpr std::uint32_t kStatus = 2;
inline constexpr std::uint8_t kDataNotReady = 0x01;   // byte 2 bit 0
inline constexpr std::uint8_t kFlatMemory = 0x04;     // byte 2 bit 2
inline constexpr std::uint32_t kFlagsFirst = 3;       // latched flags 3-14
inline constexpr std::uint32_t kFlagsLen = 12;
inline constexpr std::uint32_t kTxFaultFlags = 4;     // bits 3-0 Tx fault, 7-4 adaptive EQ fault
inline constexpr std::uint8_t kTxEqFaults = 0xF0;
inline constexpr std::uint32_t kCdrLolFlags = 5;      // bits 7-4 Tx CDR LOL, 3-0 Rx CDR LOL
inline constexpr std::uint32_t kTecReady = 8;         // vendor: bit 0 TEC settled
inline constexpr std::uint8_t kTecReadyBit = 0x01;
// Monitors, big-endian words.
inline constexpr std::uint32_t kModuleMonitors = 22;  // 22-33
inline constexpr std::uint32_t kModuleMonitorsLen = 12;
inline constexpr std::uint32_t kTemperature = 22;     // signed, 1/256 C
inline constexpr std::uint32_t kVcc = 26;             // 100 uV
inline constexpr std::uint32_t kLaneMonitors = 34;    // 34-81
inline constexpr std::uint32_t kLaneMonitorsLen = 48;
inline constexpr std::uint32_t kRxPower = 34;         // 34-41, lanes 1-4, 0.1 uW
inline constexpr std::uint32_t kTxBias = 42;          // 42-49, 2 uA
inline constexpr std::uint32_t kTxPower = 50;         // 50-57, 0.1 uW
// Flat-memory cables of the qualifying maker keep its page 02h fields here.
inline constexpr std::uint32_t kFlatClei = 34;        // 10 bytes
inline constexpr std::uint32_t kFlatVid = 54;         // 4 bytes
inline constexpr std::uint32_t kFlatPid = 58;         // 20 bytes
inline constexpr std::uint32_t kTxDisable = 86;
inline constexpr std::uint32_t kRxRateSelect = 87;
inline constexpr std::uint32_t kTxRateSelect = 88;
inline constexpr std::uint32_t kPowerControl = 93;
inline constexpr std::uint8_t kPowerOverride = 0x01;
inline constexpr std::uint8_t kPowerSet = 0x02;
inline constexpr std::uint8_t kHighPowerClassEnable = 0x04;
inline constexpr std::uint32_t kCdrControl = 98;
inline constexpr std::uint32_t kDomPresent = 106;     // nonzero: DOM on a maker-qualified module
inline constexpr std::uint32_t kTecMask = 107;        // vendor: bit 0 masks the TEC-ready flag
inline constexpr std::uint8_t kTecMaskBit = 0x01;

// Upper page 00h.
inline constexpr std::uint32_t kIdentifier = 128;
inline constexpr std::uint32_t kExtIdentifier = 129;
inline constexpr std::uint8_t kPowerClass5To7 = 0x03;
inline constexpr std::uint8_t kCleiPresent = 0x10;    // byte 129 bit 4: CLEI on page 02h
inline constexpr std::uint32_t kEthCompliance = 131;
inline constexpr std::uint8_t kExtendedCompliance = 0x80;  // byte 131 bit 7: see byte 192
inline constexpr std::uint32_t kExtRateSelect = 141;  // bit 0 version 1, bit 1 version 2
inline constexpr std::uint32_t kLengthSmf = 142;
inline constexpr std::uint32_t kLengthCopper = 146;
inline constexpr std::uint32_t kDeviceTech = 147;
inline constexpr std::uint8_t kCooledTx = 0x04;       // byte 147 bit 2
inline constexpr std::uint8_t kCopperOrPassive = 0x80; // byte 147 bit 7 (transmitter technology 1010b-1111b)
inline constexpr std::uint32_t kVendorName = 148;
inline constexpr std::size_t kVendorNameLen = 16;
inline constexpr std::uint32_t kVendorOui = 165;     // 3 bytes
inline constexpr std::uint32_t kVendorPart = 168;    // 16 bytes
inline constexpr std::uint32_t kVendorRev = 184;     // 2 bytes
inline constexpr std::uint32_t kWavelength = 186;
inline constexpr std::uint32_t kExtCompliance = 192;
inline constexpr std::uint32_t kOptions193 = 193;
inline constexpr std::uint8_t kTxEqAdaptive = 0x08;
inline constexpr std::uint8_t kTxEqProgrammable = 0x04;
inline constexpr std::uint8_t kRxEmphasisProgrammable = 0x02;
inline constexpr std::uint8_t kRxAmplitudeProgrammable = 0x01;
inline constexpr std::uint32_t kOptions194 = 194;
inline constexpr std::uint8_t kTxCdrControl = 0x80;
inline constexpr std::uint8_t kRxCdrControl = 0x40;
inline constexpr std::uint8_t kTxCdrLolFlag = 0x20;
inline constexpr std::uint8_t kRxCdrLolFlag = 0x10;
inline constexpr std::uint8_t kRxSquelchDisable = 0x08;
inline constexpr std::uint8_t kRxOutputDisable = 0x04;
inline constexpr std::uint8_t kTxSquelchDisable = 0x02;
inline constexpr std::uint32_t kOptions195 = 195;
inline constexpr std::uint8_t kRateSelect = 0x20;
inline constexpr std::uint8_t kTxDisableImplemented = 0x10;
inline constexpr std::uint32_t kVendorSerial = 196;  // 16 bytes
inline constexpr std::uint32_t kDateCode = 212;      // 8 bytes
inline constexpr std::uint32_t kEnhancedOptions = 221;
inline constexpr std::uint8_t kVdmImplemented = 0x20;
inline constexpr std::uint8_t kRateSelectDeclaration = 0x0C;
inline constexpr std::uint8_t kExtendedRateSelect = 0x08;
inline constexpr std::uint8_t kAppSelectRate = 0x04;
inline constexpr std::uint32_t kVendorSpecific224 = 224;

// Upper page 02h: the qualifying maker's layout.
inline constexpr std::uint32_t kMakerClei = 128;      // 10 bytes
inline constexpr std::uint32_t kMakerVid = 148;       // 4 bytes
inline constexpr std::uint32_t kMakerPid = 192;       // 20 bytes

// Upper page 03h.
// Thresholds 128-223, big-endian words, each quantity high alarm, low alarm,
// high warning, low warning.
inline constexpr std::uint32_t kThresholds = 128;
inline constexpr std::uint32_t kThresholdsLen = 96;
inline constexpr std::uint32_t kTempThresholds = 128;
inline constexpr std::uint32_t kVccThresholds = 144;
inline constexpr std::uint32_t kRxPowerThresholds = 176;
inline constexpr std::uint32_t kTxBiasThresholds = 184;
inline constexpr std::uint32_t kTxPowerThresholds = 192;
inline constexpr std::uint32_t kVendorCtle = 223;
inline constexpr std::uint32_t kTecMaxSeconds = 228;
inline constexpr std::uint32_t kCtleSettle = 229;     // units of 100 ms
inline constexpr std::uint32_t kTecFlagImplemented = 230;
inline constexpr std::uint32_t kTxEq = 234;           // 234-235, two lanes a byte
inline constexpr std::uint32_t kRxEmphasis = 236;     // 236-237
inline constexpr std::uint32_t kRxAmplitude = 238;    // 238-239
inline constexpr std::uint32_t kSquelchDisable = 240; // 7-4 Rx, 3-0 Tx
inline constexpr std::uint32_t kOutputControl = 241;  // 7-4 Rx output disable, 3-0 Tx adaptive EQ
inline constexpr std::uint32_t kChannelMonitorMasks = 242;  // 242-247: masks of the lane flags 9-14
inline constexpr std::uint32_t kChannelMonitorMasksLen = 6;
inline constexpr std::uint32_t kDwdmChannel = 255;

// Page 20h.
inline constexpr std::uint32_t kVdmControl = 250;
inline constexpr std::uint8_t kVdmErrorReset = 0x80;  // DWDM hosts write it as a keep-alive

// A module image as bring-up reads it: lower memory, then upper pages 00h-03h.
inline constexpr std::size_t kHalfPage = 128;
inline constexpr std::size_t kImagePages = 4;
inline constexpr std::size_t kImageBytes = kHalfPage * (1 + kImagePages);
inline constexpr std::size_t kFlatImageBytes = 2 * kHalfPage;

// Offset of memory byte `addr` of `page` in an image (addresses 128-255 are
// the page's upper half).
constexpr std::size_t image_offset(std::uint32_t page, std::uint32_t addr) {
    return addr < kHalfPage ? addr : addr + kHalfPage * page;
}
static_assert(image_offset(kPage03, 128) == 512);
static_assert(image_offset(kPage00, 191) == 191);

using Image = std::array<std::uint8_t, kImageBytes>;

}  // namespace qsfp::sff8636
