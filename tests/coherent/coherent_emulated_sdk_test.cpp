// The coherent driver on the coherent SDK emulator (libqsfp_coh_sdk_sim):
// ZR and ZR+ catalogue modules brought up by the CMIS driver and handed to
// the coherent table, which registers them with the emulated SDK. The
// emulator reaches the modules only through the driver's callbacks. Each test
// needs a process of its own (the driver sets the SDK up once per process),
// which ctest gives it.
#include <unistd.h>

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <qsfp/sim/cmis_cdb.h>
#include <qsfp/sim/coh_sdk_sim.h>
#include <qsfp/sim/virtual_clock.h>

#include "coherent/coherent_port.h"

namespace qsfp::test {
namespace {

namespace emu = sim::coh_sdk;

// A ZR module's power-up and datapath init take up to 7.5 s and 35 s.
constexpr useconds_t kSettleUs = 60000000;

float current(const qsfp_hw_status &s, coh_sdk_pm_param p) { return section_float(s, QSFP_COH_STATUS_PM_CURRENT + p); }

class CoherentEmulatedSdkTest : public CoherentPortTest {
protected:
    void SetUp() override {
        CoherentPortTest::SetUp();
        emu::set_clock([] { return sim::VirtualClock::instance().now_ns(); });
    }
    void TearDown() override {
        CoherentPortTest::TearDown();
        emu::set_clock({});
    }
    // A coherent port whose module has powered up and whose laser is on.
    qsfp_port_ctx *lit_port(std::string_view name = "400G-ZR", std::size_t index = 0) {
        qsfp_port_ctx *port = coherent_port(name, index);
        if (port == nullptr) {
            return nullptr;
        }
        EXPECT_EQ(qsfp_port_admin_state(port, 0, 1, 0xFF), QSFP_OK);
        usleep(kSettleUs);
        return port;
    }
    static void expect_fresh_process() {
        ASSERT_EQ(emu::init_calls(), 0) << "run each test in a process of its own (ctest does)";
    }
};

TEST_F(CoherentEmulatedSdkTest, TwoPortsOneSdkInitTwoDevicesAndDeletingOneLeavesTheOther) {
    expect_fresh_process();
    qsfp_port_ctx *zr = coherent_port("400G-ZR", 0);
    qsfp_port_ctx *zrp = coherent_port("400G-ZRP", 1);
    ASSERT_NE(zr, nullptr);
    ASSERT_NE(zrp, nullptr);
    EXPECT_EQ(emu::init_calls(), 1);
    EXPECT_EQ(emu::device_keys(), (std::vector<std::uint32_t>{1, 2}));
    const std::optional<emu::DeviceView> d1 = emu::device(1);
    const std::optional<emu::DeviceView> d2 = emu::device(2);
    ASSERT_TRUE(d1.has_value());
    ASSERT_TRUE(d2.has_value());
    EXPECT_EQ(d1->created.ctx, zr);
    EXPECT_EQ(d1->created.module_kind, COH_SDK_MODULE_ZR);
    EXPECT_EQ(d2->created.ctx, zrp);
    EXPECT_EQ(d2->created.module_kind, COH_SDK_MODULE_ZR_PLUS);
    EXPECT_TRUE(has_evt(zr, "coh-sdk port init SUCCESS\n"));
    EXPECT_TRUE(has_evt(zrp, "coh-sdk port init SUCCESS\n"));

    ASSERT_EQ(qsfp_port_delete(zr), QSFP_OK);
    forget(zr);
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: coherent module device delete success \n"));
    EXPECT_EQ(emu::device_keys(), std::vector<std::uint32_t>{2});

    EXPECT_EQ(qsfp_port_admin_state(zrp, 0, 1, 0xFF), QSFP_OK);
    EXPECT_TRUE(has_evt(zrp, "coherent port enable done, rc 0x0 \n"));
    EXPECT_TRUE(emu::device(2)->laser_on);
    EXPECT_EQ(qsfp_port_mode_config(zrp, QSFP_DD_OPER_MODE_4X100G), QSFP_OK);
    EXPECT_EQ(emu::device(2)->traffic_mode, COH_SDK_TRAFFIC_100G);
    qsfp_hw_status s{};
    EXPECT_EQ(qsfp_port_hw_status(zrp, &s), QSFP_OK);
    EXPECT_EQ(s.coherent[0], 1u);
}

TEST_F(CoherentEmulatedSdkTest, HardwareStatusFollowsTheModuleAndTheSdksPerformanceData) {
    qsfp_port_ctx *port = lit_port();
    ASSERT_NE(port, nullptr);
    sim::CmisModule &m = module(0);
    m.set_temperature(47.25);
    m.set_vcc(3.29);
    qsfp_coh_module_config cfg{-150, -2400, 2400, 193100000, 0, 0, 0, 0, 0x1FE};
    ASSERT_EQ(qsfp_module_config_update(port, &cfg, nullptr), QSFP_OK);
    ASSERT_EQ(qsfp_port_mode_config(port, QSFP_DD_OPER_MODE_400G), QSFP_OK);
    qsfp_coh_perf_mon_config on{{0, 1, 0, 0}};
    ASSERT_EQ(qsfp_module_config_perf_mon(port, &on), QSFP_OK);
    qsfp_hw_status s{};
    ASSERT_EQ(qsfp_port_hw_status(port, &s), QSFP_OK);
    usleep(1000000);
    ASSERT_EQ(qsfp_port_hw_status(port, &s), QSFP_OK);

    EXPECT_FLOAT_EQ(s.temperature, 47.25f);
    EXPECT_NEAR(s.vcc, 3.29f, 0.0001f);
    EXPECT_EQ(s.tx_disabled[0], 0u);
    const std::uint8_t *w = cmis::state(port).wavelength;
    EXPECT_EQ(s.wavelength_nm, static_cast<float>((w[0] << 8 | w[1]) / 20));
    EXPECT_EQ(std::memcmp(&s.thresholds, &port->thresholds, sizeof s.thresholds), 0);
    EXPECT_EQ(s.media_type, 1u);

    // Configuration and state as the SDK holds them.
    EXPECT_EQ(section_word(s, 372), COH_SDK_TRAFFIC_400ZR);
    EXPECT_EQ(section_word(s, 373), 193100000u);
    EXPECT_EQ(static_cast<std::int32_t>(section_word(s, 374)), -150);
    EXPECT_EQ(static_cast<std::int32_t>(section_word(s, 375)), -2400);
    EXPECT_EQ(static_cast<std::int32_t>(section_word(s, 376)), 2400);
    EXPECT_EQ(section_word(s, 378), 1u);
    EXPECT_EQ(section_word(s, 380), 3u);  // ModuleReady
    EXPECT_EQ(section_word(s, 381), COH_SDK_STATE_UP);
    EXPECT_EQ(section_word(s, 382), COH_SDK_STATE_UP);
    // Performance data: measured, and the optical powers are the module's monitors.
    EXPECT_EQ(section_word(s, 293), 1u);
    const std::vector<std::uint8_t> tx = m.memory().get_bytes(0x11, 154, 2);
    const float tx_mw = (tx[0] << 8 | tx[1]) * 0.0001f;
    EXPECT_NEAR(current(s, COH_SDK_PM_TX_POWER), 10.0f * std::log10(tx_mw), 0.05f);
    EXPECT_GT(current(s, COH_SDK_PM_OSNR), 10.0f);
    EXPECT_LT(current(s, COH_SDK_PM_PRE_FEC_BER), 0.01f);
    const std::uint32_t osnr_stats = QSFP_COH_STATUS_PM_STATS + 3 * COH_SDK_PM_OSNR;
    EXPECT_LE(section_float(s, osnr_stats + 1), section_float(s, osnr_stats));
    EXPECT_LE(section_float(s, osnr_stats), section_float(s, osnr_stats + 2));
    EXPECT_TRUE(err().empty());
}

TEST_F(CoherentEmulatedSdkTest, WithTheLaserOffNothingIsDemodulated) {
    qsfp_port_ctx *port = lit_port();
    ASSERT_NE(port, nullptr);
    ASSERT_EQ(qsfp_port_admin_state(port, 1, 0, 0xFF), QSFP_OK);
    EXPECT_TRUE(has_evt(port, "coherent port disable done, rc 0x0 \n"));
    EXPECT_FALSE(emu::device(1)->laser_on);
    qsfp_hw_status s{};
    ASSERT_EQ(qsfp_port_hw_status(port, &s), QSFP_OK);
    EXPECT_EQ(s.tx_disabled[0], 1u);
    EXPECT_EQ(section_word(s, 381), COH_SDK_STATE_DOWN);
    EXPECT_EQ(section_word(s, 382), COH_SDK_STATE_DOWN);
    EXPECT_EQ(section_word(s, 383), COH_SDK_STATE_DOWN);
    EXPECT_EQ(current(s, COH_SDK_PM_OSNR), 0.0f);
    EXPECT_EQ(current(s, COH_SDK_PM_PRE_FEC_BER), 0.5f);

    ASSERT_EQ(qsfp_port_admin_state(port, 0, 1, 0xFF), QSFP_OK);
    usleep(kSettleUs);
    ASSERT_EQ(qsfp_port_hw_status(port, &s), QSFP_OK);
    EXPECT_EQ(s.tx_disabled[0], 0u);
    EXPECT_EQ(section_word(s, 381), COH_SDK_STATE_UP);
    EXPECT_GT(current(s, COH_SDK_PM_OSNR), 0.0f);
}

TEST_F(CoherentEmulatedSdkTest, CdbQueryThroughTheSdkReportsTheModulesImages) {
    qsfp_port_ctx *port = lit_port();
    ASSERT_NE(port, nullptr);
    sim::CmisModule &m = module(0);
    m.set_firmware_image(sim::cdb::Bank::a, {true, {3, 1, 7}, {}});
    m.set_firmware_image(sim::cdb::Bank::b, {true, {3, 2, 9}, {}});
    m.set_running_image(sim::cdb::Bank::a);
    m.set_committed_image(sim::cdb::Bank::a);
    char response[256] = {};
    std::uint32_t length = 0;
    cdb_cmd_info request{QSFP_DD_CDB_QUERY_STATUS, nullptr, response, sizeof response, &length};
    EXPECT_EQ(qsfp_module_cdb_cmd_execute(port, &request), QSFP_OK);
    EXPECT_TRUE(has_evt(port, "cdb cmd 0, success\n"));
    const std::string text(response, length);
    EXPECT_EQ(text, "Image A: 3.1.7 running committed\nImage B: 3.2.9\n");

    cdb_cmd_info unknown{401, nullptr, response, sizeof response, &length};
    EXPECT_EQ(qsfp_module_cdb_cmd_execute(port, &unknown), QSFP_ERR_INVALID);
    EXPECT_TRUE(has_err(port, "cdb cmd 401 unknown\n"));
}

}  // namespace
}  // namespace qsfp::test
