// SFF-8636 rev 2.10a register addresses and bits used by the emulated module,
// the image builder and the catalogue. Lower memory is bytes 0-127; upper
// addresses 128-255 are on the page named next to them.
#pragma once

#include <cstdint>

namespace qsfp::sim::sff8636 {

inline constexpr int kLanes = 4;

// Upper pages.
inline constexpr std::uint8_t kPage00 = 0x00;
inline constexpr std::uint8_t kPage01 = 0x01;  // application select table
inline constexpr std::uint8_t kPage02 = 0x02;  // user EEPROM (a maker's own data)
inline constexpr std::uint8_t kPage03 = 0x03;  // thresholds and lane controls
inline constexpr std::uint8_t kPage20 = 0x20;  // versatile diagnostics: flags, masks, values, configuration
inline constexpr std::uint8_t kPage21 = 0x21;  // versatile diagnostics: threshold sets

// ---- Lower memory --------------------------------------------------------------
inline constexpr std::uint8_t kIdentifier = 0;
inline constexpr std::uint8_t kRevisionCompliance = 1;
inline constexpr std::uint8_t kStatus = 2;
inline constexpr std::uint8_t kDataNotReady = 0x01;  // byte 2 bit 0
inline constexpr std::uint8_t kIntL = 0x02;          // byte 2 bit 1: pin state, 0 = asserted
inline constexpr std::uint8_t kFlatMem = 0x04;       // byte 2 bit 2

// Latched flags, bytes 3-14.
inline constexpr std::uint8_t kFirstFlag = 3;
inline constexpr std::uint8_t kLosFlags = 3;         // Tx LOS bits 7-4, Rx LOS bits 3-0
inline constexpr std::uint8_t kFaultFlags = 4;       // Tx adaptive EQ fault 7-4, Tx fault 3-0
inline constexpr std::uint8_t kLolFlags = 5;         // Tx CDR LOL 7-4, Rx CDR LOL 3-0
inline constexpr std::uint8_t kTempFlags = 6;        // alarm/warning 7-4, TC readiness 1, init complete 0
inline constexpr std::uint8_t kVccFlags = 7;         // alarm/warning 7-4
inline constexpr std::uint8_t kVendorFlags = 8;      // the vendor's own; bit 0 the maker's TEC-ready flag
inline constexpr std::uint8_t kRxPowerFlags = 9;     // 9-10, a nibble per lane
inline constexpr std::uint8_t kTxBiasFlags = 11;     // 11-12
inline constexpr std::uint8_t kTxPowerFlags = 13;    // 13-14
inline constexpr std::uint8_t kLastFlag = 14;
inline constexpr std::uint8_t kInitComplete = 0x01;  // byte 6 bit 0
inline constexpr std::uint8_t kTcReadiness = 0x02;   // byte 6 bit 1
inline constexpr std::uint8_t kTecReadyVendor = 0x01;  // byte 8 bit 0

// A flag nibble: high alarm, low alarm, high warning, low warning from the top bit.
inline constexpr std::uint8_t kHighAlarm = 0x8;
inline constexpr std::uint8_t kLowAlarm = 0x4;
inline constexpr std::uint8_t kHighWarning = 0x2;
inline constexpr std::uint8_t kLowWarning = 0x1;

// Monitors, big-endian words.
inline constexpr std::uint8_t kTemperature = 22;  // signed, 1/256 C
inline constexpr std::uint8_t kVcc = 26;          // 100 uV
inline constexpr std::uint8_t kRxPower = 34;      // 34-41, 0.1 uW
inline constexpr std::uint8_t kTxBias = 42;       // 42-49, 2 uA
inline constexpr std::uint8_t kTxPower = 50;      // 50-57, 0.1 uW

// Controls.
inline constexpr std::uint8_t kTxDisable = 86;    // bits 3-0
inline constexpr std::uint8_t kRxRateSelect = 87;
inline constexpr std::uint8_t kTxRateSelect = 88;
inline constexpr std::uint8_t kRxAppSelect = 89;  // 89-92, lanes 4..1
inline constexpr std::uint8_t kPowerControl = 93;
inline constexpr std::uint8_t kPowerOverride = 0x01;
inline constexpr std::uint8_t kPowerSet = 0x02;
inline constexpr std::uint8_t kHighPowerClass5to7 = 0x04;
inline constexpr std::uint8_t kHighPowerClass8 = 0x08;
inline constexpr std::uint8_t kSoftwareReset = 0x80;
inline constexpr std::uint8_t kTxAppSelect = 94;  // 94-97
inline constexpr std::uint8_t kCdrControl = 98;
inline constexpr std::uint8_t kSignalControl = 99;

// Masks of the flags (1 = the flag does not assert IntL).
inline constexpr std::uint8_t kLosMask = 100;
inline constexpr std::uint8_t kFaultMask = 101;
inline constexpr std::uint8_t kLolMask = 102;
inline constexpr std::uint8_t kTempMask = 103;
inline constexpr std::uint8_t kVccMask = 104;
inline constexpr std::uint8_t kVendorMaskA = 105;
inline constexpr std::uint8_t kVendorMaskB = 106;  // a qualified maker keeps a nonzero byte here
inline constexpr std::uint8_t kVendorFlagMask = 107;  // bit 0 masks the byte 8 TEC-ready flag

inline constexpr std::uint8_t kPciExpress = 111;      // 111-112
inline constexpr std::uint8_t kPasswordChange = 119;  // 119-122, write only
inline constexpr std::uint8_t kPasswordEntry = 123;   // 123-126, write only
inline constexpr std::uint8_t kLastPassword = 126;

// Flat-memory cables keep the qualifying maker's data in lower memory.
inline constexpr std::uint8_t kFlatClei = 34;  // 10 bytes
inline constexpr std::uint8_t kFlatMakerPart = 44;  // 10 bytes
inline constexpr std::uint8_t kFlatVid = 54;   // 4 bytes
inline constexpr std::uint8_t kFlatPid = 58;   // 20 bytes

// ---- Upper page 00h ------------------------------------------------------------
inline constexpr std::uint8_t kUpperIdentifier = 128;
inline constexpr std::uint8_t kExtIdentifier = 129;  // 7-6 class 1-4, 5 class 8, 4 CLEI, 3/2 CDR, 1-0 class 5-7
inline constexpr std::uint8_t kCleiPresent = 0x10;
inline constexpr std::uint8_t kPowerClass8 = 0x20;
inline constexpr std::uint8_t kPowerClass5to7 = 0x03;
inline constexpr std::uint8_t kConnector = 130;
inline constexpr std::uint8_t kEthernetCompliance = 131;
inline constexpr std::uint8_t kExtendedComplianceUsed = 0x80;  // byte 131 bit 7: see byte 192
inline constexpr std::uint8_t kEncoding = 139;
inline constexpr std::uint8_t kNominalRate = 140;
inline constexpr std::uint8_t kExtRateSelect = 141;  // bit 0 version 1, bit 1 version 2
inline constexpr std::uint8_t kLengthSmf = 142;
inline constexpr std::uint8_t kLengthOm3 = 143;
inline constexpr std::uint8_t kLengthCopper = 146;   // copper / OM4
inline constexpr std::uint8_t kDeviceTech = 147;
inline constexpr std::uint8_t kCooledTx = 0x04;      // byte 147 bit 2
inline constexpr std::uint8_t kVendorName = 148;     // 16 bytes
inline constexpr std::uint8_t kVendorOui = 165;      // 3 bytes
inline constexpr std::uint8_t kVendorPart = 168;     // 16 bytes
inline constexpr std::uint8_t kVendorRev = 184;      // 2 bytes
inline constexpr std::uint8_t kWavelength = 186;     // 0.05 nm, or copper attenuation
inline constexpr std::uint8_t kWavelengthTol = 188;  // 0.005 nm
inline constexpr std::uint8_t kMaxCaseTemp = 190;
inline constexpr std::uint8_t kCcBase = 191;         // sum of 128-190
inline constexpr std::uint8_t kExtendedCompliance = 192;
inline constexpr std::uint8_t kOptions1 = 193;       // 3 adaptive EQ, 2 Tx EQ, 1 Rx emphasis, 0 Rx amplitude
inline constexpr std::uint8_t kOptions2 = 194;       // 3 Rx squelch dis., 2 Rx output dis., 1 Tx squelch dis.
inline constexpr std::uint8_t kOptions3 = 195;       // 7 page 02h, 6 page 01h, 5 rate select, 4 Tx disable, 0 pages 20h-21h
inline constexpr std::uint8_t kAdaptiveEq = 0x08;
inline constexpr std::uint8_t kPages20To21 = 0x01;
inline constexpr std::uint8_t kVendorSerial = 196;   // 16 bytes
inline constexpr std::uint8_t kDateCode = 212;       // 8 bytes
inline constexpr std::uint8_t kDiagType = 220;       // 5 temperature, 4 Vcc, 3 Rx average, 2 Tx power
inline constexpr std::uint8_t kDiagTxPower = 0x04;
inline constexpr std::uint8_t kDiagImplemented = 0x3C;
inline constexpr std::uint8_t kEnhancedOptions = 221;
inline constexpr std::uint8_t kSoftwareResetImplemented = 0x01;
inline constexpr std::uint8_t kTcReadinessImplemented = 0x02;
inline constexpr std::uint8_t kInitCompleteImplemented = 0x10;
// Bit 5 is reserved in rev 2.10a; our catalogue's modules with versatile
// diagnostics set it next to byte 195 bit 0 because our driver looks at it.
// The emulated module itself goes by byte 195 bit 0 (sff8636_vdm.h).
inline constexpr std::uint8_t kVdmImplemented = 0x20;
inline constexpr std::uint8_t kExtNominalRate = 222;
inline constexpr std::uint8_t kCcExt = 223;          // sum of 192-222
inline constexpr std::uint8_t kVendorCode = 224;     // 224-255 are the vendor's own
inline constexpr std::uint8_t kDwdmChannel = 255;

// ---- Upper page 02h: the qualifying maker's layout --------------------------------
inline constexpr std::uint8_t kMakerClei = 128;       // 10 bytes
inline constexpr std::uint8_t kMakerPart = 138;       // 10 bytes
inline constexpr std::uint8_t kMakerVid = 148;        // 4 bytes
inline constexpr std::uint8_t kMakerTempRange = 152;  // low nibble: 1 COM, 2 EXT, 3 IND
inline constexpr std::uint8_t kMakerBiasScale = 168;  // six words, 168-179
inline constexpr std::uint8_t kMakerTempAtMfg = 180;  // signed 8.8
inline constexpr std::uint8_t kMakerLane1Bias = 182;  // word, 2 uA
inline constexpr std::uint8_t kMakerPid = 192;        // 20 bytes
inline constexpr std::uint8_t kMakerEdcs = 224;       // 6 bytes
inline constexpr std::uint8_t kMakerRevisionLevel = 230;  // 2 bytes
inline constexpr std::uint8_t kMakerLane2Bias = 234;  // lanes 2-4, 234-239

// ---- Upper page 03h ------------------------------------------------------------
inline constexpr std::uint8_t kTempThresholds = 128;      // high alarm, low alarm, high warning, low warning
inline constexpr std::uint8_t kVccThresholds = 144;
inline constexpr std::uint8_t kRxPowerThresholds = 176;
inline constexpr std::uint8_t kTxBiasThresholds = 184;
inline constexpr std::uint8_t kTxPowerThresholds = 192;
inline constexpr std::uint8_t kVendorCtle = 223;          // vendor CTLE byte
inline constexpr std::uint8_t kMaxEqEmphasis = 224;
inline constexpr std::uint8_t kAmplitudeSupport = 225;
inline constexpr std::uint8_t kMaxTecTime = 228;          // seconds
inline constexpr std::uint8_t kMaxCtleTime = 229;         // 100 ms
inline constexpr std::uint8_t kFecControl = 230;          // 7 host FEC, 6 media FEC (written)
// Bit 0 of byte 230 is reserved in rev 2.10a; the qualifying maker sets it to
// say that lower byte 8 bit 0 carries a TEC-ready flag. The host cannot change it.
inline constexpr std::uint8_t kTecFlagImplemented = 0x01;
inline constexpr std::uint8_t kTxEqualisation = 234;      // 234-235, two lanes per byte
inline constexpr std::uint8_t kRxEmphasis = 236;          // 236-237
inline constexpr std::uint8_t kRxAmplitude = 238;         // 238-239
inline constexpr std::uint8_t kSquelchDisable = 240;
inline constexpr std::uint8_t kRxOutputDisableAdaptEq = 241;  // 7-4 Rx output disable, 3-0 adaptive EQ enable
inline constexpr std::uint8_t kRxPowerMask = 242;         // 242-243
inline constexpr std::uint8_t kTxBiasMask = 244;          // 244-245
inline constexpr std::uint8_t kTxPowerMask = 246;         // 246-247

// ---- Upper page 20h ------------------------------------------------------------
// Byte 250 is the versatile-diagnostics control byte (bit 7 error reset); DWDM
// hosts write 80h to it as a keep-alive. Layout of the rest in sff8636_vdm.h.
inline constexpr std::uint8_t kKeepAlive = 0xFA;

// Checksums.
inline constexpr std::uint8_t kCcBaseFirst = 128;
inline constexpr std::uint8_t kCcBaseLast = 190;
inline constexpr std::uint8_t kCcExtFirst = 192;
inline constexpr std::uint8_t kCcExtLast = 222;

}  // namespace qsfp::sim::sff8636
