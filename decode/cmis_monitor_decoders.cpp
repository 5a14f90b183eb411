// Value-only records of a QSFP-DD module: module status from lower memory,
// the maker's information on page 03h, thresholds on page 02h and the lane
// monitors on page 11h.
#include <array>
#include <iterator>

#include <qsfp/qsfp_decode.h>

#include "decode/record_fields.h"
#include "decode/text_field.h"

namespace qsfp::decode {

namespace {

constexpr const char *kModuleType = "QSFP-DD";

// Module temperature (bytes 14-15) and supply voltage (16-17).
constexpr Field kStatusMonitors[] = {
    {.row = 4, .offset = 14, .length = 2, .render = Render::temperature},
    {.row = 5, .offset = 16, .length = 2, .render = Render::voltage},
};
static_assert(fits(kStatusMonitors, QSFPDD_STATUS_RECORD_ROWS));

// Part number (byte 138), version (148) and product identifier (192).
constexpr Field kInfoFields[] = {
    {.row = 0, .offset = 10, .length = 10, .render = Render::printable},
    {.row = 1, .offset = 20, .length = 4, .render = Render::printable},
    {.row = 2, .offset = 64, .length = 16, .render = Render::printable},
};
static_assert(fits(kInfoFields, QSFPDD_INFO_RECORD_ROWS));

constexpr Field word_field(std::uint8_t row, std::uint8_t byte, Render render) {
    return {.row = row, .offset = static_cast<std::uint8_t>(byte - 128), .length = 2, .render = render};
}

// In the row order of the SFF-8636 threshold record: temperature, Vcc, Rx
// power, Tx bias, Tx power, each high alarm, low alarm, high warning, low
// warning. CMIS page 02h keeps Tx power before bias and Rx power last.
constexpr Field kThresholdFields[] = {
    word_field(0, 128, Render::temperature), word_field(1, 130, Render::temperature),
    word_field(2, 132, Render::temperature), word_field(3, 134, Render::temperature),
    word_field(4, 136, Render::voltage),     word_field(5, 138, Render::voltage),
    word_field(6, 140, Render::voltage),     word_field(7, 142, Render::voltage),
    word_field(8, 192, Render::dbm),         word_field(9, 194, Render::dbm),
    word_field(10, 196, Render::dbm),        word_field(11, 198, Render::dbm),
    word_field(12, 184, Render::bias),       word_field(13, 186, Render::bias),
    word_field(14, 188, Render::bias),       word_field(15, 190, Render::bias),
    word_field(16, 176, Render::dbm),        word_field(17, 178, Render::dbm),
    word_field(18, 180, Render::dbm),        word_field(19, 182, Render::dbm),
};
static_assert(std::size(kThresholdFields) == QSFPDD_THRESHOLD_RECORD_ROWS);
static_assert(fits(kThresholdFields, QSFPDD_THRESHOLD_RECORD_ROWS));

// Page 11h: Rx power of lanes 1-8 at bytes 186-201 (rows 0-7), Tx power at
// 154-169 (rows 8-15), Tx bias at 170-185 (rows 16-23).
constexpr std::uint8_t kLanes = 8;

constexpr std::array<Field, QSFPDD_LANE_RECORD_ROWS> lane_fields() {
    std::array<Field, QSFPDD_LANE_RECORD_ROWS> fields{};
    for (std::uint8_t lane = 0; lane < kLanes; ++lane) {
        const auto step = static_cast<std::uint8_t>(2 * lane);
        fields[lane] = word_field(lane, static_cast<std::uint8_t>(186 + step), Render::dbm);
        fields[kLanes + lane] =
            word_field(static_cast<std::uint8_t>(kLanes + lane), static_cast<std::uint8_t>(154 + step), Render::dbm);
        fields[2 * kLanes + lane] =
            word_field(static_cast<std::uint8_t>(2 * kLanes + lane), static_cast<std::uint8_t>(170 + step), Render::bias);
    }
    return fields;
}
constexpr auto kLaneFields = lane_fields();
static_assert(fits(kLaneFields, QSFPDD_LANE_RECORD_ROWS));

}  // namespace

}  // namespace qsfp::decode

extern "C" uint32_t qsfpdd_xcvr_decode_status(const uint8_t *lower, char *rec, const qsfp_port_ctx *port) {
    using namespace qsfp::decode;
    if (lower == nullptr || rec == nullptr || port == nullptr) {
        return QSFP_ERR_INVALID;
    }
    Row *rows = clear_record(rec, QSFPDD_STATUS_RECORD_ROWS);
    append_bounded(rows[0].value, kValueLimit, kModuleType);
    // A flat-memory module (a passive cable) has no monitors.
    if (port->flat_mem == 0) {
        fill_rows(rows, lower, kStatusMonitors, Columns::value_only);
    }
    return QSFP_OK;
}

extern "C" uint32_t qsfpdd_xcvr_decode_korva_info(const uint8_t *page03, char *rec) {
    using namespace qsfp::decode;
    if (page03 == nullptr || rec == nullptr) {
        return QSFP_ERR_INVALID;
    }
    // Not cleared: the caller's record is appended to as it stands.
    fill_rows(reinterpret_cast<Row *>(rec), page03, kInfoFields, Columns::value_only);
    return QSFP_OK;
}

extern "C" uint32_t qsfpdd_xcvr_decode_threshold(const uint8_t *page02, char *rec) {
    using namespace qsfp::decode;
    return decode_record(page02, rec, QSFPDD_THRESHOLD_RECORD_ROWS, kThresholdFields, Columns::value_only);
}

extern "C" uint32_t qsfpdd_xcvr_decode_chnl_interrupt(const uint8_t *page11, char *rec) {
    using namespace qsfp::decode;
    return decode_record(page11, rec, QSFPDD_LANE_RECORD_ROWS, kLaneFields, Columns::value_only);
}
