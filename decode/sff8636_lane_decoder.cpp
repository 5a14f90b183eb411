// Lane texts of an SFF-8636 port: received and transmitted power and laser
// bias of each media lane, from the driver's live status record.
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include <qsfp/qsfp_decode.h>

namespace {

// The low byte of the status record's media type is the media lane count.
constexpr std::uint32_t kLaneCountMask = 0xFF;

void print_power(char *text, float dbm) {
    // The exponent is computed in single precision like the status record's
    // own dBm values, the power in double.
    const float tenths = dbm / 10.0f;
    std::snprintf(text, QSFP_DECODE_VALUE_SIZE, " %0.5f mW (%2.5f dBm)", std::pow(10.0, static_cast<double>(tenths)),
                  static_cast<double>(dbm));
}

}  // namespace

extern "C" uint32_t qsfp8636_xcvr_decode_qsfp8636_dom_lane_info(const qsfp_hw_status *status, char *lanes) {
    if (status == nullptr || lanes == nullptr) {
        return QSFP_ERR_INVALID;
    }
    auto *record = reinterpret_cast<qsfp8636_lane_record *>(lanes);
    std::memset(record, 0, sizeof *record);
    std::uint32_t count = status->media_type & kLaneCountMask;
    if (count > QSFP8636_LANE_TEXTS) {
        count = QSFP8636_LANE_TEXTS;
    }
    record->count = static_cast<std::uint8_t>(count);
    for (std::uint32_t lane = 0; lane < count; ++lane) {
        print_power(record->rx_power[lane], status->rx_power_dbm[lane]);
        print_power(record->tx_power[lane], status->tx_power_dbm[lane]);
        std::snprintf(record->bias[lane], sizeof record->bias[lane], "%3.3f mAmps",
                      static_cast<double>(status->tx_bias_ma[lane]));
    }
    return count;
}
