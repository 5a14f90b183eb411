// Threshold record of an SFF-8636 module: the alarm and warning thresholds of
// upper page 03h as 22 labelled rows (the last two stay empty).
#include <iterator>

#include <qsfp/qsfp_decode.h>

#include "decode/record_fields.h"

namespace qsfp::decode {

namespace {

// Buffer indexes are memory bytes less 128 (temperature 128-135, Vcc
// 144-151, Rx power 176-183, Tx bias 184-191, Tx power 192-199).
constexpr Field kThresholdFields[] = {
    {.row = 0, .label = "TempHighAlarm", .offset = 0, .length = 2, .render = Render::temperature},
    {.row = 1, .label = "TempLowAlarm", .offset = 2, .length = 2, .render = Render::temperature},
    {.row = 2, .label = "TempHighWarn", .offset = 4, .length = 2, .render = Render::temperature},
    {.row = 3, .label = "TempLowWarn", .offset = 6, .length = 2, .render = Render::temperature},
    {.row = 4, .label = "VCCHighAlarm", .offset = 16, .length = 2, .render = Render::voltage},
    {.row = 5, .label = "VCCLowAlarm", .offset = 18, .length = 2, .render = Render::voltage},
    {.row = 6, .label = "VCCHighWarn", .offset = 20, .length = 2, .render = Render::voltage},
    {.row = 7, .label = "VCCLowWarn", .offset = 22, .length = 2, .render = Render::voltage},
    {.row = 8, .label = "RxPwrHighAlarm", .offset = 48, .length = 2, .render = Render::dbm},
    {.row = 9, .label = "RxPwrLowAlarm", .offset = 50, .length = 2, .render = Render::dbm},
    {.row = 10, .label = "RxPwrHighWarn", .offset = 52, .length = 2, .render = Render::dbm},
    {.row = 11, .label = "RxPwrLowWarn", .offset = 54, .length = 2, .render = Render::dbm},
    {.row = 12, .label = "TxBiasHighAlarm", .offset = 56, .length = 2, .render = Render::bias},
    {.row = 13, .label = "TxBiasLowAlarm", .offset = 58, .length = 2, .render = Render::bias},
    {.row = 14, .label = "TxBiasHighWarn", .offset = 60, .length = 2, .render = Render::bias},
    {.row = 15, .label = "TxBiasLowWarn", .offset = 62, .length = 2, .render = Render::bias},
    {.row = 16, .label = "TxPwrHighAlarm", .offset = 64, .length = 2, .render = Render::dbm},
    {.row = 17, .label = "TxPwrLowAlarm", .offset = 66, .length = 2, .render = Render::dbm},
    {.row = 18, .label = "TxPwrHighWarn", .offset = 68, .length = 2, .render = Render::dbm},
    {.row = 19, .label = "TxPwrLowWarn", .offset = 70, .length = 2, .render = Render::dbm},
};
static_assert(std::size(kThresholdFields) == 20);
static_assert(fits(kThresholdFields, QSFP8636_THRESHOLD_RECORD_ROWS));

}  // namespace

}  // namespace qsfp::decode

extern "C" uint32_t qsfp8636_xcvr_decode_qsfp8636_threshold(const uint8_t *page03, char *rec) {
    using namespace qsfp::decode;
    return decode_record(page03, rec, QSFP8636_THRESHOLD_RECORD_ROWS, kThresholdFields, Columns::all);
}
