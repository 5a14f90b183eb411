// Status records of an SFF-8636 module from lower memory (bytes 0-127): the
// full record of a paged module and the short one of a flat-memory module.
#include <iterator>

#include <qsfp/qsfp_decode.h>

#include "decode/record_fields.h"

namespace qsfp::decode {

namespace {

// Row 15 shows the supply voltage from byte 26 alone (as both bytes of the
// word) while its hex column shows bytes 26 and 27; and the hex of bytes 91
// and 96 lands in rows 31 and 36. The show output has always read so, and
// scripts that parse it rely on it, so both are kept.
constexpr Field kStatusFields[] = {
    {.row = 0, .label = "xcvrType", .offset = 0, .length = 1, .render = Render::identifier},
    {.row = 1, .label = "revision", .offset = 1, .length = 1, .render = Render::bits, .table = kRevision},
    {.row = 2, .label = "status", .offset = 2, .length = 1, .render = Render::bits, .table = kStatus},
    {.row = 3, .label = "tx_rx_los", .offset = 3, .length = 1, .render = Render::bits, .table = kLos},
    {.row = 4, .label = "tx_fault", .offset = 4, .length = 1, .render = Render::bits, .table = kFault},
    {.row = 5, .label = "tx_rx_lol", .offset = 5, .length = 1, .render = Render::bits, .table = kLol},
    {.row = 6, .label = "tempAlarm_Warning", .offset = 6, .length = 1, .render = Render::bits, .table = kTempFlags},
    {.row = 7, .label = "vccAlarm_Warning", .offset = 7, .length = 1, .render = Render::bits, .table = kVccFlags},
    {.row = 8, .label = "rxPower1", .offset = 9, .length = 1, .render = Render::bits, .table = kRxPower1},
    {.row = 9, .label = "rxPower2", .offset = 10, .length = 1, .render = Render::bits, .table = kRxPower2},
    {.row = 10, .label = "txBias1", .offset = 11, .length = 1, .render = Render::bits, .table = kTxBias1},
    {.row = 11, .label = "txBias2", .offset = 12, .length = 1, .render = Render::bits, .table = kTxBias2},
    {.row = 12, .label = "txPower1", .offset = 13, .length = 1, .render = Render::bits, .table = kTxPower1},
    {.row = 13, .label = "txPower2", .offset = 14, .length = 1, .render = Render::bits, .table = kTxPower2},
    {.row = 14, .label = "temp", .offset = 22, .length = 2, .render = Render::temperature},
    {.row = 15, .label = "voltage", .offset = 26, .length = 2, .render = Render::voltage_high},
    {.row = 16, .label = "rx1Power", .offset = 34, .length = 2},
    {.row = 17, .label = "rx2Power", .offset = 36, .length = 2},
    {.row = 18, .label = "rx3Power", .offset = 38, .length = 2},
    {.row = 19, .label = "rx4Power", .offset = 40, .length = 2},
    {.row = 20, .label = "tx1Power", .offset = 50, .length = 2},
    {.row = 21, .label = "tx2Power", .offset = 52, .length = 2},
    {.row = 22, .label = "tx3Power", .offset = 54, .length = 2},
    {.row = 23, .label = "tx4Power", .offset = 56, .length = 2},
    {.row = 24, .label = "tx1Bias", .offset = 42, .length = 2, .render = Render::bias},
    {.row = 25, .label = "tx2Bias", .offset = 44, .length = 2, .render = Render::bias},
    {.row = 26, .label = "tx3Bias", .offset = 46, .length = 2, .render = Render::bias},
    {.row = 27, .label = "tx4Bias", .offset = 48, .length = 2, .render = Render::bias},
    {.row = 28, .label = "txDisable", .offset = 86, .length = 1, .render = Render::bits, .table = kTxDisable},
    {.row = 29, .label = "rxRateSelect", .offset = 87, .length = 1, .render = Render::bits, .table = kRxRate},
    {.row = 30, .label = "txRateSelect", .offset = 88, .length = 1, .render = Render::bits, .table = kTxRate},
    {.row = 31, .label = "rx4AppSelect", .offset = 89, .length = 1},
    {.row = 32, .label = "rx3AppSelect", .offset = 90, .length = 1},
    {.row = 33, .label = "rx2AppSelect", .offset = 91, .length = 1, .hex_row = 31},
    {.row = 34, .label = "rx1AppSelect", .offset = 92, .length = 1},
    {.row = 35, .label = "power", .offset = 93, .length = 1, .render = Render::bits, .table = kPower},
    {.row = 36, .label = "tx4AppSelect", .offset = 94, .length = 1},
    {.row = 37, .label = "tx3AppSelect", .offset = 95, .length = 1},
    {.row = 38, .label = "tx2AppSelect", .offset = 96, .length = 1, .hex_row = 36},
    {.row = 39, .label = "tx1AppSelect", .offset = 97, .length = 1},
    {.row = 40, .label = "tx_rx_cdrSelect", .offset = 98, .length = 1, .render = Render::bits, .table = kCdr},
    {.row = 41, .label = "tx_rx_los_mask", .offset = 100, .length = 1, .render = Render::bits, .table = kLosMask},
    {.row = 42, .label = "tx_fault_mask", .offset = 101, .length = 1, .render = Render::bits, .table = kFaultMask},
    {.row = 43, .label = "tx_rx_cdr_lol_mask", .offset = 102, .length = 1, .render = Render::bits, .table = kLolMask},
    {.row = 44, .label = "tempAlarm_Warning_mask", .offset = 103, .length = 1, .render = Render::bits,
     .table = kTempMask},
    {.row = 45, .label = "vccAlarm_Warning_mask", .offset = 104, .length = 1, .render = Render::bits,
     .table = kVccMask},
    {.row = 46, .label = "DDMCap", .offset = 106, .length = 1, .render = Render::bits, .table = kDdmCap},
    {.row = 47, .label = "propdelay", .offset = 108, .length = 2},
    {.row = 48, .label = "oprmode", .offset = 110, .length = 1, .render = Render::bits, .table = kOprMode},
};
static_assert(std::size(kStatusFields) == 49);
static_assert(fits(kStatusFields, QSFP8636_STATUS_RECORD_ROWS));

// A flat-memory module keeps its maker's identification in lower memory.
constexpr Field kFlatStatusFields[] = {
    {.row = 0, .label = "xcvrType", .offset = 0, .length = 1, .render = Render::identifier},
    {.row = 1, .label = "revision", .offset = 1, .length = 1, .render = Render::bits, .table = kRevision},
    {.row = 2, .label = "status", .offset = 2, .length = 1, .render = Render::bits, .table = kStatus},
    {.row = 3, .label = "clei", .offset = 34, .length = 10, .render = Render::printable},
    {.row = 4, .label = "vid", .offset = 54, .length = 4, .render = Render::printable},
    {.row = 5, .label = "korva_pn", .offset = 44, .length = 10, .render = Render::printable},
    {.row = 6, .label = "pid", .offset = 58, .length = 20, .render = Render::printable},
    {.row = 8, .label = "oprmode", .offset = 110, .length = 1, .render = Render::bits, .table = kOprMode},
    {.row = 9, .label = "pageSelect", .offset = 127, .length = 1},
};
static_assert(std::size(kFlatStatusFields) == 9);
static_assert(fits(kFlatStatusFields, QSFP28_FLAT_STATUS_RECORD_ROWS));

}  // namespace

}  // namespace qsfp::decode

extern "C" uint32_t qsfp8636_xcvr_decode_qsfp8636_status(const uint8_t *lower, char *rec) {
    using namespace qsfp::decode;
    return decode_record(lower, rec, QSFP8636_STATUS_RECORD_ROWS, kStatusFields, Columns::all);
}

extern "C" uint32_t qsfp28_xcvr_decode_qsfp28_status(const uint8_t *lower, char *rec) {
    using namespace qsfp::decode;
    return decode_record(lower, rec, QSFP28_FLAT_STATUS_RECORD_ROWS, kFlatStatusFields, Columns::all);
}
