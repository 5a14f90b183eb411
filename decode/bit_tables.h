// Bit-decode and code-to-text tables of the SFF-8636 and CMIS decoders. A row
// matches a byte when byte AND mask equals value; the order of the rows is the
// order of the texts in the output. The texts are what operators and their
// scripts have always read, misspellings and repetitions included, so they are
// kept exactly as they are.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <span>

#include <qsfp/qsfp_decode.h>

namespace qsfp::decode {

using BitRow = xcvr_bit_decode_row;

// ---- Code-to-text tables (first matching row wins) --------------------------

// Module identifier, lower byte 0 (SFF-8024 identifier list up to microQSFP).
inline constexpr BitRow kIdentifierText[] = {
    {0, 0xFF, "UNSPECIFIED"}, {1, 0xFF, "GBIC"},      {2, 0xFF, "Soldered"}, {3, 0xFF, "SFP"},
    {4, 0xFF, "300 Pin XBI"}, {5, 0xFF, "XENPAK"},    {6, 0xFF, "XFP"},      {7, 0xFF, "XFF"},
    {8, 0xFF, "XFP-E"},       {9, 0xFF, "XPAK"},      {10, 0xFF, "X2"},      {11, 0xFF, "DWDM-SFP"},
    {12, 0xFF, "QSFP"},       {13, 0xFF, "QSFP+"},    {14, 0xFF, "CXP"},     {15, 0xFF, "4X"},
    {16, 0xFF, "8X"},         {17, 0xFF, "QSFP28"},   {18, 0xFF, "CXP2"},    {19, 0xFF, "CDFP"},
    {20, 0xFF, "4X-FNOUT"},   {21, 0xFF, "8X-FNOUT"}, {22, 0xFF, "CDFP 3"},  {23, 0xFF, "microQSFP"},
};
static_assert(std::size(kIdentifierText) == 24);
inline constexpr const char *kUnknownIdentifier = "Unknown";

// Connector type, SFF-8636 byte 130 and CMIS byte 203.
inline constexpr BitRow kConnectorText[] = {
    {0x00, 0xFF, "unspecified"},     {0x01, 0xFF, "SC"},       {0x02, 0xFF, "FC Style 1"},
    {0x03, 0xFF, "FC Style 2"},      {0x04, 0xFF, "BNC/TNC"},  {0x05, 0xFF, "FC Coax Headers"},
    {0x06, 0xFF, "Fiberjack"},       {0x07, 0xFF, "LC"},       {0x08, 0xFF, "MT-RJ"},
    {0x09, 0xFF, "MU"},              {0x0A, 0xFF, "SG"},       {0x0B, 0xFF, "Optical Pigtail"},
    {0x0C, 0xFF, "MPO"},             {0x0D, 0xFF, "MPO2"},     {0x20, 0xFF, "HSSDC II"},
    {0x21, 0xFF, "Copper Pigtail"},  {0x22, 0xFF, "RJ45"},     {0x23, 0xFF, "No Separable"},
};
static_assert(std::size(kConnectorText) == 18);
inline constexpr const char *kReservedConnector = "Reserved";

// Temperature range of the maker's page 02h, low nibble of byte 152.
inline constexpr BitRow kTempRangeText[] = {
    {1, 0x0F, "COM, commercial -5C to 70C, "},
    {2, 0x0F, "EXT, extended -5C to 85, "},
    {3, 0x0F, "IND, industrial -40C to 70C, "},
};
static_assert(std::size(kTempRangeText) == 3);
inline constexpr const char *kUnknownTempRange = "Unknown temp range, ";

// ---- Identifier record, upper page 00h ------------------------------------------

inline constexpr BitRow kExtType[] = {
    {0x00, 0xC0, "1.5W"}, {0x40, 0xC0, "2.0W"},   {0x80, 0xC0, "2.5W"},   {0xC0, 0xC0, "3.5W"},
    {0x10, 0x10, "CLEI"}, {0x08, 0x08, "TX CDR"}, {0x04, 0x04, "RX CDR"}, {0x01, 0x03, "4.0W"},
    {0x02, 0x03, "4.5W"}, {0x03, 0x03, "5.0W"},
};
static_assert(std::size(kExtType) == 10);

// Extended compliance code (byte 192); 0x1F and 0x06 also stand for
// the vendor codes of byte 224.
inline constexpr BitRow kLinkCodes[] = {
    {0x00, 0xFF, "Unspecified"},       {0x01, 0xFF, "100G AOC"},
    {0x02, 0xFF, "100G BASE-SR4"},     {0x03, 0xFF, "100G BASE-LR4"},
    {0x04, 0xFF, "100G BASE-ER4"},     {0x05, 0xFF, "100G BASE-SR10"},
    {0x06, 0xFF, "100G CWDM4-FEC"},    {0x07, 0xFF, "100G PSM4-V"},
    {0x1F, 0xFF, "100G ER4L-V"},       {0x08, 0xFF, "100G ACC"},
    {0x09, 0xFF, "100G CWDM4"},        {0x0B, 0xFF, "100G BASE-CR4"},
    {0x0D, 0xFF, "100G BASE-CR4 NO FEC"}, {0x26, 0xFF, "100G FR-V"},
    {0x27, 0xFF, "100G LR-V"},         {0x10, 0xFF, "40G BASE-ER4"},
    {0x11, 0xFF, "4x10G BASE-SR"},     {0x12, 0xFF, "40G PSM4"},
    {0x13, 0xFF, "G959 P1I1-2D1"},     {0x14, 0xFF, "G959 P1S1-2D2"},
    {0x15, 0xFF, "G959 P1L1-2D2"},     {0x16, 0xFF, "10G BASE-SFI"},
};
static_assert(std::size(kLinkCodes) == 22);

// Byte 131 matched as a whole: a module that sets two bits shows nothing.
inline constexpr BitRow kEtherCompCode[] = {
    {0x40, 0xFF, "10G BASE-LRM"},          {0x20, 0xFF, "10G BASE-LR"},
    {0x10, 0xFF, "10G BASE-SR"},           {0x08, 0xFF, "40G BASE-CR4(Passive)"},
    {0x04, 0xFF, "40G BASE-SR4"},          {0x02, 0xFF, "40G BASE-LR4"},
    {0x01, 0xFF, "40G Active Cable"},      {0x00, 0xFF, "40G BASE-CR4(Active)"},
    {0x80, 0xFF, "ExtId Compliance"},
};
static_assert(std::size(kEtherCompCode) == 9);

inline constexpr BitRow kSonet[] = {
    {0x04, 0x07, "OC48 Long"}, {0x02, 0x07, "OC48 Intermedite"}, {0x01, 0x07, "OC48 Short"},
};
static_assert(std::size(kSonet) == 3);

inline constexpr BitRow kSas[] = {
    {0x80, 0xF0, "Reserved"}, {0x40, 0xF0, "SAS 12.0G"}, {0x20, 0xF0, "SAS 6.0G"}, {0x10, 0xF0, "SAS 3.0G"},
};
static_assert(std::size(kSas) == 4);

inline constexpr BitRow kGigEth[] = {
    {0x08, 0x0F, "1000BASE-T"}, {0x04, 0x0F, "1000BASE-CX"}, {0x02, 0x0F, "1000BASE-LX"}, {0x01, 0x0F, "1000BASE-SX"},
};
static_assert(std::size(kGigEth) == 4);

inline constexpr BitRow kFcLinkLength[] = {
    {0x00, 0xF8, "Undefined"}, {0x80, 0xF8, "Very Long"}, {0x40, 0xF8, "Short"},
    {0x20, 0xF8, "Intermediate"}, {0x10, 0xF8, "Long"}, {0x08, 0xF8, "Medium"},
    {0x02, 0x03, "Longwave Laser"}, {0x01, 0x03, "Electrical Inter-enclosure"},
};
static_assert(std::size(kFcLinkLength) == 8);

inline constexpr BitRow kFcTranTech[] = {
    {0x00, 0xF0, "Undefined"},
    {0x80, 0xF0, "Electrical Intra-enclosure"},
    {0x40, 0xF0, "Shortwave Laser w/o OFC"},
    {0x20, 0xF0, "Shortwave Laser w OFC"},
    {0x10, 0xF0, "Longwave Laser"},
};
static_assert(std::size(kFcTranTech) == 5);

inline constexpr BitRow kFcMedia[] = {
    {0x00, 0xFF, "Undefined"},     {0x80, 0xFF, "Twin Axial Pair"}, {0x40, 0xFF, "Shielded Twisted Pair"},
    {0x20, 0xFF, "Miniature Coax"}, {0x10, 0xFF, "Video Coax"},     {0x08, 0xFF, "MM 62.5m"},
    {0x04, 0xFF, "MM 50m"},        {0x02, 0xFF, "MM 50um"},         {0x01, 0xFF, "SM"},
};
static_assert(std::size(kFcMedia) == 9);

inline constexpr BitRow kFcSpeed[] = {
    {0x00, 0xFF, "Undefined"}, {0x80, 0xFF, "1200MB"}, {0x40, 0xFF, "800MB"}, {0x20, 0xFF, "1600MB"},
    {0x10, 0xFF, "400MB"},     {0x08, 0xFF, "3200MB"}, {0x04, 0xFF, "200MB"}, {0x01, 0xFF, "100MB"},
};
static_assert(std::size(kFcSpeed) == 8);

inline constexpr BitRow kEncoding[] = {
    {0, 0xFF, "Undefined"}, {1, 0xFF, "8B10B"},           {2, 0xFF, "4B5B"},   {3, 0xFF, "NRZ"},
    {4, 0xFF, "SONET Scrambled"}, {5, 0xFF, "64B66B"}, {6, 0xFF, "MANCHESTER"}, {7, 0xFF, "256B257B"},
};
static_assert(std::size(kEncoding) == 8);

inline constexpr BitRow kDevTech[] = {
    {0xF0, 0xF0, "Copper cable, linear active equalizers"},
    {0xE0, 0xF0, "Copper cable, near end limiting active equalizers"},
    {0xD0, 0xF0, "Copper cable, far end limiting active equalizers"},
    {0xC0, 0xF0, "Copper cable, near and far end limiting active equalizers"},
    {0xB0, 0xF0, "Copper cable passive equalized"},
    {0xA0, 0xF0, "Copper cable unequalized"},
    {0x90, 0xF0, "1490nm DFB"},
    {0x80, 0xF0, "Others"},
    {0x70, 0xF0, "1550nm EML"},
    {0x60, 0xF0, "1310nm EML"},
    {0x50, 0xF0, "1550nm DFB"},
    {0x40, 0xF0, "1310nm DFB"},
    {0x30, 0xF0, "1310nm FP"},
    {0x20, 0xF0, "1550nm VCSEL"},
    {0x10, 0xF0, "1310nm VCSEL"},
    {0x00, 0xF0, "850nm VCSEL"},
    {0x08, 0x08, "Active WL Control"},
    {0x04, 0x04, "Cooled Transmitter"},
    {0x02, 0x02, "APD Detector"},
    {0x01, 0x01, "Tunable Transmitter"},
};
static_assert(std::size(kDevTech) == 20);

inline constexpr BitRow kExtModule[] = {
    {0x10, 0xFF, "EDR"}, {0x08, 0xFF, "FDR"}, {0x04, 0xFF, "QDR"}, {0x02, 0xFF, "DDR"}, {0x01, 0xFF, "SDR"},
};
static_assert(std::size(kExtModule) == 5);

inline constexpr BitRow kDiagMon[] = {
    {0x08, 0x08, "RX Avg"}, {0x04, 0x04, "TX"},
};
static_assert(std::size(kDiagMon) == 2);

inline constexpr BitRow kEnhOptions[] = {
    {0x10, 0x10, "Init Complete Flag Impl"},
    {0x08, 0x08, "Extended Rate Selection"},
    {0x04, 0x04, "Application Select Table"},
};
static_assert(std::size(kEnhOptions) == 3);

// ---- Status record, lower memory -------------------------------------------------

inline constexpr BitRow kRevision[] = {
    {0, 0xFF, "Rev Not Specified"}, {1, 0xFF, "SFF8436 Pre 4.8"}, {2, 0xFF, "SFF8436 Pre 4.8 with 186-189"},
    {3, 0xFF, "SFF8636 Pre 1.3"},   {4, 0xFF, "SFF8636 1.4"},     {5, 0xFF, "SFF8636 1.5"},
    {6, 0xFF, "SFF8636 2.0"},       {7, 0xFF, "SFF8636 2.5"},
};
static_assert(std::size(kRevision) == 8);

inline constexpr BitRow kStatus[] = {
    {0x04, 0x04, "Page 0 Only"}, {0x02, 0x02, "IntL"}, {0x01, 0x01, "Not Ready"},
};
static_assert(std::size(kStatus) == 3);

inline constexpr BitRow kLos[] = {
    {0x10, 0x10, "TX1"}, {0x20, 0x20, "TX2"}, {0x40, 0x40, "TX3"}, {0x80, 0x80, "TX4"},
    {0x01, 0x01, "RX1"}, {0x02, 0x02, "RX2"}, {0x04, 0x04, "RX3"}, {0x08, 0x08, "RX4"},
};
static_assert(std::size(kLos) == 8);

// Loss of lock uses the loss-of-signal bit layout.
inline constexpr const BitRow (&kLol)[8] = kLos;

inline constexpr BitRow kFault[] = {
    {0x10, 0x10, "TX1 EQ"}, {0x20, 0x20, "TX2 EQ"}, {0x40, 0x40, "TX3 EQ"}, {0x80, 0x80, "TX4 EQ"},
    {0x01, 0x01, "TX1"},    {0x02, 0x02, "TX2"},    {0x04, 0x04, "TX3"},    {0x08, 0x08, "TX4"},
};
static_assert(std::size(kFault) == 8);

inline constexpr BitRow kTempFlags[] = {
    {0x80, 0x80, "Temp HiAlarm"}, {0x40, 0x40, "Temp LoAlarm"}, {0x20, 0x20, "Temp HiWarn"},
    {0x10, 0x10, "Temp LoWarn"},  {0x01, 0x01, "Init Done"},
};
static_assert(std::size(kTempFlags) == 5);

inline constexpr BitRow kVccFlags[] = {
    {0x80, 0x80, "VCC HiAlarm"}, {0x40, 0x40, "VCC LoAlarm"}, {0x20, 0x20, "VCC HiWarn"}, {0x10, 0x10, "VCC LoWarn"},
};
static_assert(std::size(kVccFlags) == 4);

inline constexpr BitRow kRxPower1[] = {
    {0x80, 0x80, "RX1 Pwr HiAlarm"}, {0x40, 0x40, "RX1 Pwr LoAlarm"},
    {0x20, 0x20, "RX1 Pwr HiWarn"},  {0x10, 0x10, "RX1 Pwr LoWarn"},
    {0x08, 0x08, "RX2 Pwr HiAlarm"}, {0x04, 0x04, "RX2 Pwr LoAlarm"},
    {0x02, 0x02, "RX2 Pwr HiWarn"},  {0x01, 0x01, "RX2 Pwr LoWarn"},
};
static_assert(std::size(kRxPower1) == 8);

// The lane 3 and 4 texts repeat "LoAlarm" for most bits; the show output has
// always read so and is kept.
inline constexpr BitRow kRxPower2[] = {
    {0x80, 0x80, "RX3 Pwr HiAlarm"}, {0x40, 0x40, "RX3 Pwr LoAlarm"},
    {0x20, 0x20, "RX3 Pwr LoAlarm"}, {0x10, 0x10, "RX3 Pwr LoAlarm"},
    {0x08, 0x08, "RX4 Pwr LoAlarm"}, {0x04, 0x04, "RX4 Pwr LoAlarm"},
    {0x02, 0x02, "RX4 Pwr LoAlarm"}, {0x01, 0x01, "RX4 Pwr LoAlarm"},
};
static_assert(std::size(kRxPower2) == 8);

inline constexpr BitRow kTxBias1[] = {
    {0x80, 0x80, "TX1 Bias HiAlarm"}, {0x40, 0x40, "TX1 Bias LoAlarm"},
    {0x20, 0x20, "TX1 Bias HiWarn"},  {0x10, 0x10, "TX1 Bias LoWarn"},
    {0x08, 0x08, "TX2 Bias HiAlarm"}, {0x04, 0x04, "TX2 Bias LoAlarm"},
    {0x02, 0x02, "TX2 Bias HiWarn"},  {0x01, 0x01, "TX2 Bias LoWarn"},
};
static_assert(std::size(kTxBias1) == 8);

inline constexpr BitRow kTxBias2[] = {
    {0x80, 0x80, "TX3 Bias HiAlarm"}, {0x40, 0x40, "TX3 Bias LoAlarm"},
    {0x20, 0x20, "TX3 Bias HiWarn"},  {0x10, 0x10, "TX3 Bias LoWarn"},
    {0x08, 0x08, "TX4 Bias HiAlarm"}, {0x04, 0x04, "TX4 Bias LoAlarm"},
    {0x02, 0x02, "TX4 Bias HiWarn"},  {0x01, 0x01, "TX4 Bias LoWarn"},
};
static_assert(std::size(kTxBias2) == 8);

inline constexpr BitRow kTxPower1[] = {
    {0x80, 0x80, "TX1 PWR HiAlarm"}, {0x40, 0x40, "TX1 PWR LoAlarm"},
    {0x20, 0x20, "TX1 PWR HiWarn"},  {0x10, 0x10, "TX1 PWR LoWarn"},
    {0x08, 0x08, "TX2 PWR HiAlarm"}, {0x04, 0x04, "TX2 PWR LoAlarm"},
    {0x02, 0x02, "TX2 PWR HiWarn"},  {0x01, 0x01, "TX2 PWR LoWarn"},
};
static_assert(std::size(kTxPower1) == 8);

inline constexpr BitRow kTxPower2[] = {
    {0x80, 0x80, "TX3 PWR HiAlarm"}, {0x40, 0x40, "TX3 PWR LoAlarm"},
    {0x20, 0x20, "TX3 PWR HiWarn"},  {0x10, 0x10, "TX3 PWR LoWarn"},
    {0x08, 0x08, "TX4 PWR HiAlarm"}, {0x04, 0x04, "TX4 PWR LoAlarm"},
    {0x02, 0x02, "TX4 PWR HiWarn"},  {0x01, 0x01, "TX4 PWR LoWarn"},
};
static_assert(std::size(kTxPower2) == 8);

inline constexpr BitRow kTxDisable[] = {
    {0x01, 0x01, "TX1 Disable"}, {0x02, 0x02, "TX2 Disable"}, {0x04, 0x04, "TX3 Disable"}, {0x08, 0x08, "TX4 Disable"},
};
static_assert(std::size(kTxDisable) == 4);

// Two rate-select bits a lane; a lane shows only with both bits set.
inline constexpr BitRow kRxRate[] = {
    {0x03, 0x03, "rate select. Rx Channel 1"}, {0x0C, 0x0C, "rate select. Rx Channel 2"},
    {0x30, 0x30, "rate select. Rx Channel 3"}, {0xC0, 0xC0, "rate select. Rx Channel 4"},
};
static_assert(std::size(kRxRate) == 4);

inline constexpr BitRow kTxRate[] = {
    {0x03, 0x03, "rate select. TX1"}, {0x0C, 0x0C, "rate select. TX2"},
    {0x30, 0x30, "rate select. TX3"}, {0xC0, 0xC0, "rate select. TX4"},
};
static_assert(std::size(kTxRate) == 4);

inline constexpr BitRow kPower[] = {
    {0x08, 0x08, "High Power Class"}, {0x02, 0x02, "Low Power Mode"}, {0x01, 0x01, "Override LP mode"},
};
static_assert(std::size(kPower) == 3);

inline constexpr BitRow kCdr[] = {
    {0x10, 0x10, "TX1 CDR"}, {0x20, 0x20, "TX2 CDR"}, {0x40, 0x40, "TX3 CDR"}, {0x80, 0x80, "TX4 CDR"},
    {0x01, 0x01, "RX1 CDR"}, {0x02, 0x02, "RX2 CDR"}, {0x04, 0x04, "RX3 CDR"}, {0x08, 0x08, "RX4 CDR"},
};
static_assert(std::size(kCdr) == 8);

inline constexpr BitRow kLosMask[] = {
    {0x10, 0x10, "TX1 LOS Mask"}, {0x20, 0x20, "TX2 LOS Mask"}, {0x40, 0x40, "TX3 LOS Mask"},
    {0x80, 0x80, "TX4 LOS Mask"}, {0x01, 0x01, "RX1 LOS Mask"}, {0x02, 0x02, "RX2 LOS Mask"},
    {0x04, 0x04, "RX3 LOS Mask"}, {0x08, 0x08, "RX4 LOS Mask"},
};
static_assert(std::size(kLosMask) == 8);

inline constexpr BitRow kFaultMask[] = {
    {0x10, 0x10, "TX1 EQ Fault Mask"}, {0x20, 0x20, "TX2 EQ Fault Mask"}, {0x40, 0x40, "TX3 EQ Fault Mask"},
    {0x80, 0x80, "TX4 EQ Fault Mask"}, {0x01, 0x01, "TX1 Fault Mask"},    {0x02, 0x02, "TX2 Fault Mask"},
    {0x04, 0x04, "TX3 Fault Mask"},    {0x08, 0x08, "TX4 Fault Mask"},
};
static_assert(std::size(kFaultMask) == 8);

inline constexpr BitRow kLolMask[] = {
    {0x10, 0x10, "TX1 LOL Mask"}, {0x20, 0x20, "TX2 LOL Mask"}, {0x40, 0x40, "TX3 LOL Mask"},
    {0x80, 0x80, "TX4 LOL Mask"}, {0x01, 0x01, "RX1 LOL Mask"}, {0x02, 0x02, "RX2 LOL Mask"},
    {0x04, 0x04, "RX3 LOL Mask"}, {0x08, 0x08, "RX4 LOL Mask"},
};
static_assert(std::size(kLolMask) == 8);

// "HiWarm" is the text the show output has always carried.
inline constexpr BitRow kTempMask[] = {
    {0x80, 0x80, "Temp HiAlarm Mask"}, {0x40, 0x40, "Temp LoAlarm Mask"},
    {0x20, 0x20, "Temp HiWarm Mask"},  {0x10, 0x10, "Temp LoWarn Mask"},
};
static_assert(std::size(kTempMask) == 4);

inline constexpr BitRow kVccMask[] = {
    {0x80, 0x80, "VCC HiAlarm Mask"}, {0x40, 0x40, "VCC LoAlarm Mask"},
    {0x20, 0x20, "VCC HiWarn Mask"},  {0x10, 0x10, "VCC LoWarn Mask"},
};
static_assert(std::size(kVccMask) == 4);

inline constexpr BitRow kDdmCap[] = {
    {0x10, 0x10, "Volt"}, {0x08, 0x08, "Temp"}, {0x04, 0x04, "TX Power"}, {0x02, 0x02, "TX Bias"}, {0x01, 0x01, "RX Power"},
};
static_assert(std::size(kDdmCap) == 5);

inline constexpr BitRow kOprMode[] = {
    {0x10, 0xF0, "<1.00W"}, {0x20, 0xF0, "<0.75W"}, {0x30, 0xF0, "<0.50W"},
    {0x08, 0x08, "8636 Complied"}, {0x01, 0x07, "1.8V"}, {0x00, 0x07, "2.5V"},
};
static_assert(std::size(kOprMode) == 6);

// ---- Walking the tables ------------------------------------------------------------

// Text of the first row that matches `code`, or `otherwise`.
constexpr const char *code_text(std::span<const BitRow> table, std::uint32_t code, const char *otherwise) {
    for (const BitRow &row : table) {
        if ((code & row.mask) == row.value) {
            return row.text;
        }
    }
    return otherwise;
}

static_assert(code_text(kConnectorText, 0x0E, kReservedConnector) == kReservedConnector);

}  // namespace qsfp::decode
