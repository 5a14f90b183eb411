// Information record of an SFF-8636 module: the maker's own layout of upper
// page 02h (CLEI, part number, version, product identifier, laser bias
// calibration) as 26 labelled rows.
#include <iterator>

#include <qsfp/qsfp_decode.h>

#include "decode/record_fields.h"

namespace qsfp::decode {

namespace {

// Buffer indexes are memory bytes less 128. The *_tx_op and *_rx_power rows
// are labels the maker's layout reserves without data.
constexpr Field kInfoFields[] = {
    {.row = 0, .label = "clei", .offset = 0, .length = 10, .render = Render::printable},
    {.row = 1, .label = "korva_partnum", .offset = 10, .length = 10, .render = Render::printable},
    {.row = 2, .label = "vid", .offset = 20, .length = 4, .render = Render::printable},
    {.row = 3, .label = "temp_range", .offset = 24, .length = 1, .render = Render::code, .table = kTempRangeText,
     .otherwise = kUnknownTempRange},
    {.row = 4, .label = "lbcScaleMinus40", .offset = 40, .length = 2, .render = Render::ufixed},
    {.row = 5, .label = "lbcScaleMinus5", .offset = 42, .length = 2, .render = Render::ufixed},
    {.row = 6, .label = "lbcScale20", .offset = 44, .length = 2, .render = Render::ufixed},
    {.row = 7, .label = "lbcScale45", .offset = 46, .length = 2, .render = Render::ufixed},
    {.row = 8, .label = "lbcScale70", .offset = 48, .length = 2, .render = Render::ufixed},
    {.row = 9, .label = "lbcScale85", .offset = 50, .length = 2, .render = Render::ufixed},
    {.row = 10, .label = "tempAtMfg", .offset = 52, .length = 2, .render = Render::sfixed},
    {.row = 11, .label = "ch1_bias_current", .offset = 54, .length = 2, .render = Render::bias},
    {.row = 12, .label = "ch1_tx_op"},
    {.row = 13, .label = "pid", .offset = 64, .length = 20, .render = Render::printable},
    {.row = 14, .label = "qsfp_spec_edcs", .offset = 96, .length = 6, .render = Render::printable},
    {.row = 15, .label = "qsfp_spec_rev", .offset = 102, .length = 2, .render = Render::printable},
    {.row = 16, .label = "ch2_bias_current", .offset = 106, .length = 2, .render = Render::bias},
    {.row = 17, .label = "ch3_bias_current", .offset = 108, .length = 2, .render = Render::bias},
    {.row = 18, .label = "ch4_bias_current", .offset = 110, .length = 2, .render = Render::bias},
    {.row = 19, .label = "ch2_tx_op"},
    {.row = 20, .label = "ch3_tx_op"},
    {.row = 21, .label = "ch4_tx_op"},
    {.row = 22, .label = "ch1_rx_power"},
    {.row = 23, .label = "ch2_rx_power"},
    {.row = 24, .label = "ch3_rx_power"},
    {.row = 25, .label = "ch4_rx_power"},
};
static_assert(std::size(kInfoFields) == QSFP8636_INFO_RECORD_ROWS);
static_assert(fits(kInfoFields, QSFP8636_INFO_RECORD_ROWS));

}  // namespace

}  // namespace qsfp::decode

extern "C" uint32_t qsfp8636_xcvr_decode_qsfp8636_korva_info(const uint8_t *page02, char *rec) {
    using namespace qsfp::decode;
    return decode_record(page02, rec, QSFP8636_INFO_RECORD_ROWS, kInfoFields, Columns::all);
}
