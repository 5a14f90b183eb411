// Versatile diagnostics of a DWDM2 module in the live status record.
#include <cmath>
#include <unistd.h>

#include <gtest/gtest.h>

#include <qsfp/sim/catalogue.h>
#include <qsfp/sim/sff8636_module.h>

#include "sff8636/sff_port.h"

namespace {

using namespace qsfp::test;
using qsfp::sim::Op;

class VdmTest : public SffPortTest {
protected:
    qsfp_port_ctx *dwdm() {
        auto module = qsfp::sim::make_module("100G-DWDM2");
        module_ = module.get();
        insert(0, std::move(module));
        qsfp_port_ctx *port = create(0, QSFP_OK);
        forget_traffic();
        return port;
    }
    qsfp::sim::Sff8636Module *module_ = nullptr;
    qsfp_hw_status status_{};
};

bool map_bit(const qsfp_hw_status &s, unsigned bit) {
    const std::uint64_t map = s.vdm_status_map[0] | static_cast<std::uint64_t>(s.vdm_status_map[1]) << 32;
    return ((map >> bit) & 1u) != 0;
}

TEST_F(VdmTest, ValuesOfPages20hAnd21hFillTheDiagnosticsBlock) {
    qsfp_port_ctx *port = dwdm();
    ASSERT_EQ(qsfp_port_hw_status(port, &status_), QSFP_OK);
    EXPECT_EQ(status_.vdm_present, 1u);
    EXPECT_FLOAT_EQ(status_.vdm_laser_temperature, 45.0f);
    EXPECT_NEAR(status_.vdm_tec_current, 35.5f, 1e-4);
    EXPECT_NEAR(status_.vdm_snr_db[0], 24.0f, 1e-4);
    EXPECT_NEAR(status_.vdm_snr_db[1], 23.5f, 1e-4);
    EXPECT_EQ(status_.vdm_snr_db[2], 0.0f);
    // The current pre-FEC BER wins over the average.
    EXPECT_NEAR(status_.vdm_pre_fec_ber[0], 2.0e-5f, 1e-9);
    EXPECT_NEAR(status_.vdm_pre_fec_ber[1], 2.6e-5f, 1e-9);
    EXPECT_EQ(status_.vdm_status_map[0], 0u);
    EXPECT_EQ(status_.vdm_status_map[1], 0u);
    // Both pages were read, 20h first.
    std::vector<int> pages;
    for (const auto &t : cage().log()) {
        if (t.op == Op::read && t.reg == 128 && t.len == 128) pages.push_back(t.page);
    }
    EXPECT_EQ(pages, (std::vector<int>{0x20, 0x21}));
    // One trace line per parameter in use (14 of 24).
    int lines = 0;
    for (const auto &e : trace_texts("qsfp_periodic")) lines += e.find("Param type ") != std::string::npos;
    EXPECT_EQ(lines, 14);
    EXPECT_TRUE(trace_has("qsfp_periodic",
                          "Controller 0 Port 1: Param type 8 Channel 0 Value=0x2d00 alarm high threshold=0x4600 alarm "
                          "low threshold=0x1400 warn high threshold=0x4100 warn low threshold=0x1900 alarm high status=0 "
                          "alarm low status=0warn high status=0 warn low status=0rc=0"));
}

TEST_F(VdmTest, ValuesBeyondTheirThresholdsSetTheirBitsInTheStatusMap) {
    qsfp_port_ctx *port = dwdm();
    ASSERT_TRUE(module_->set_vdm_value(4, 10.0));  // SNR lane 1 below its low alarm (15 dB)
    ASSERT_TRUE(module_->set_vdm_value(0, 67.0));  // laser temperature above its high warning (65 C)
    ASSERT_TRUE(module_->set_vdm_value(9, 5e-4));  // BER lane 2 above its high alarm
    ASSERT_EQ(qsfp_port_hw_status(port, &status_), QSFP_OK);
    // Laser temperature: group 0, slot 0, high warning.
    EXPECT_TRUE(map_bit(status_, 2));
    EXPECT_FALSE(map_bit(status_, 0));
    // SNR lane 1: group 1, slot 0, low alarm and low warning.
    EXPECT_TRUE(map_bit(status_, 16 + 1));
    EXPECT_TRUE(map_bit(status_, 16 + 3));
    EXPECT_FALSE(map_bit(status_, 16 + 4 + 1));
    // BER lane 2: group 2, slot 1, high alarm and high warning.
    EXPECT_TRUE(map_bit(status_, 32 + 4 + 0));
    EXPECT_TRUE(map_bit(status_, 32 + 4 + 2));
    EXPECT_NEAR(status_.vdm_snr_db[0], 10.0f, 1e-4);
}

TEST_F(VdmTest, ModulesWithoutDiagnosticsLeaveTheBlockEmpty) {
    insert(0, qsfp::sim::make_module("100G-LR4"));
    qsfp_port_ctx *port = create(0, QSFP_OK);
    forget_traffic();
    ASSERT_EQ(qsfp_port_hw_status(port, &status_), QSFP_OK);
    EXPECT_EQ(status_.vdm_present, 0u);
    for (const auto &t : cage().log()) EXPECT_TRUE(t.reg < 128 || t.page == 0);
}

TEST_F(VdmTest, FailedDiagnosticsReadIsTracedWithoutFailingTheStatus) {
    qsfp_port_ctx *port = dwdm();
    cage().fail_range(Op::read, 0x21, 128, 255, 5);
    ASSERT_EQ(qsfp_port_hw_status(port, &status_), QSFP_OK);
    EXPECT_EQ(status_.vdm_present, 1u);
    EXPECT_EQ(status_.vdm_laser_temperature, 0.0f);
    EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 1: qsfp_port_get_ext_hw_status failed with  rc: 5 "));
}

}  // namespace
