// Lane texts of the live status record.
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <qsfp/qsfp_decode.h>

namespace {

struct Lanes {
    std::vector<char> bytes = std::vector<char>(QSFP8636_LANE_RECORD_SIZE, '\x6B');
    char *data() { return bytes.data(); }
    const qsfp8636_lane_record &record() const { return *reinterpret_cast<const qsfp8636_lane_record *>(bytes.data()); }
    bool texts_empty_from(std::size_t lane) const {
        for (std::size_t i = lane; i < QSFP8636_LANE_TEXTS; ++i) {
            if (record().rx_power[i][0] != 0 || record().tx_power[i][0] != 0 || record().bias[i][0] != 0) {
                return false;
            }
        }
        return true;
    }
};

qsfp_hw_status status_with(std::uint32_t media_type) {
    qsfp_hw_status s{};
    s.media_type = media_type;
    for (int i = 0; i < 8; ++i) {
        s.rx_power_dbm[i] = -1.5f * static_cast<float>(i);
        s.tx_power_dbm[i] = 0.5f + static_cast<float>(i);
        s.tx_bias_ma[i] = 6.5f + static_cast<float>(i);
    }
    s.rx_power_dbm[0] = 0.0f;
    return s;
}

TEST(Sff8636LaneDecoder, TextsOfEachLane) {
    const qsfp_hw_status s = status_with(4);
    Lanes lanes;
    EXPECT_EQ(qsfp8636_xcvr_decode_qsfp8636_dom_lane_info(&s, lanes.data()), 4u);
    const qsfp8636_lane_record &r = lanes.record();
    EXPECT_EQ(r.count, 4);
    EXPECT_STREQ(r.rx_power[0], " 1.00000 mW (0.00000 dBm)");
    EXPECT_STREQ(r.rx_power[1], " 0.70795 mW (-1.50000 dBm)");
    EXPECT_STREQ(r.tx_power[0], " 1.12202 mW (0.50000 dBm)");
    EXPECT_STREQ(r.tx_power[3], " 2.23872 mW (3.50000 dBm)");
    EXPECT_STREQ(r.bias[0], "6.500 mAmps");
    EXPECT_STREQ(r.bias[3], "9.500 mAmps");
    EXPECT_TRUE(lanes.texts_empty_from(4));
}

TEST(Sff8636LaneDecoder, CountIsTheLowByteOfTheMediaType) {
    const qsfp_hw_status s = status_with(0x0302);
    Lanes lanes;
    EXPECT_EQ(qsfp8636_xcvr_decode_qsfp8636_dom_lane_info(&s, lanes.data()), 2u);
    EXPECT_EQ(lanes.record().count, 2);
    EXPECT_TRUE(lanes.texts_empty_from(2));
}

TEST(Sff8636LaneDecoder, CountZeroLeavesTheTextsEmpty) {
    const qsfp_hw_status s = status_with(0x100);
    Lanes lanes;
    EXPECT_EQ(qsfp8636_xcvr_decode_qsfp8636_dom_lane_info(&s, lanes.data()), 0u);
    EXPECT_EQ(lanes.record().count, 0);
    EXPECT_TRUE(lanes.texts_empty_from(0));
}

TEST(Sff8636LaneDecoder, AtMostEightLanes) {
    const qsfp_hw_status s = status_with(0xFF);
    Lanes lanes;
    lanes.bytes.resize(QSFP8636_LANE_RECORD_SIZE + 8, '\x6B');
    EXPECT_EQ(qsfp8636_xcvr_decode_qsfp8636_dom_lane_info(&s, lanes.data()), 8u);
    EXPECT_EQ(lanes.record().count, 8);
    EXPECT_STREQ(lanes.record().bias[7], "13.500 mAmps");
    for (std::size_t i = QSFP8636_LANE_RECORD_SIZE; i < lanes.bytes.size(); ++i) {
        EXPECT_EQ(lanes.bytes[i], '\x6B');
    }
}

TEST(Sff8636LaneDecoder, RefusesNull) {
    const qsfp_hw_status s = status_with(4);
    Lanes lanes;
    EXPECT_EQ(qsfp8636_xcvr_decode_qsfp8636_dom_lane_info(nullptr, lanes.data()), QSFP_ERR_INVALID);
    EXPECT_EQ(qsfp8636_xcvr_decode_qsfp8636_dom_lane_info(&s, nullptr), QSFP_ERR_INVALID);
    EXPECT_EQ(lanes.bytes[0], '\x6B');
}

}  // namespace
