// Port enable and disable (slots 18 and 17) below CMIS 4.0 and from 4.0 on:
// media lanes mapped to host lanes through the application's ratio, the
// three control registers, the wait for activation, the messages.
#include <gtest/gtest.h>

#include "cmis/cmis_port.h"

namespace {

using namespace qsfp::test;
namespace sim = qsfp::sim;
using qsfp::cmis::apply_application;
using qsfp::cmis::mode_config;
using std::chrono::milliseconds;

class CmisPortStateTest : public CmisPortTest {
protected:
    // Through the port's own table, as the port operations call it.
    static std::uint32_t enable(qsfp_port_ctx *port, std::uint32_t lanes) { return port->fvt.port_enable(port, lanes, 0); }
    static std::uint32_t disable(qsfp_port_ctx *port, std::uint32_t lanes) { return port->fvt.port_disable(port, lanes, 0); }

    // A CMIS 3.0 DR4 running 4 x 100G-DR (application 2: two host lanes per
    // media lane, datapaths at lanes 1, 3, 5, 7), outputs disabled.
    qsfp_port_ctx *dr4_breakout() {
        qsfp_port_ctx *port = make("400G-DR4-CMIS3");
        module().set_dp_init_time(milliseconds(50));
        EXPECT_EQ(mode_config(port, QSFP_DD_OPER_MODE_4X100G), QSFP_OK);
        forget_traffic();
        return port;
    }
};

TEST_F(CmisPortStateTest, Cmis4SlotsAreInstalledOnlyForRevision40) {
    qsfp_port_ctx *port4 = make("400G-DR4");
    EXPECT_EQ(port4->fvt.port_enable, qsfp::cmis::port_enable_cmis4);
    EXPECT_EQ(port4->fvt.port_disable, qsfp::cmis::port_disable_cmis4);
    EXPECT_EQ(qsfp_dd_fvt.port_enable, qsfp::cmis::port_enable);
    EXPECT_EQ(qsfp_dd_fvt.port_disable, qsfp::cmis::port_disable);
    EXPECT_EQ(qsfp_dd_fvt.mode_config, qsfp::cmis::mode_config);
}

TEST_F(CmisPortStateTest, Cmis4Dr4DisableAndEnableAllLanes) {
    qsfp_port_ctx *port = make("400G-DR4");
    ASSERT_EQ(lanes_in(DpState::activated), 0xFF);
    EXPECT_EQ(disable(port, 0x0F), QSFP_OK);
    EXPECT_EQ(writes(), (std::vector<std::string>{"10h 138: ff", "10h 130: 0f", "10h 128: ff"}));
    EXPECT_EQ(accesses().size(), 3u);  // host bitmap 0xFF: nothing read
    EXPECT_EQ(evt(), prefixed({"Host to media lane ratio 2 media_lane_cnt 4 lane_bitmap 0xf rx_lane_bitmap 0xff\n",
                               "Disable: Tx bitmap: 0xf Rx bitmap: 0xff - Wrote back (0xff : 0xf : 0xff) to (Datapath Deinit: Tx Disable: Rx Output Disable)\n"}));
    EXPECT_TRUE(sleeps_us().empty());  // no wait for the datapaths to go down
    sim::VirtualClock::instance().advance_ns(200000000);
    EXPECT_EQ(lanes_in(DpState::deactivated), 0xFF);

    forget_traffic();
    EXPECT_EQ(enable(port, 0x0F), QSFP_OK);
    EXPECT_EQ(writes(), (std::vector<std::string>{"10h 128: 00", "10h 130: f0", "10h 138: 00"}));
    const std::vector<std::string> texts = evt();
    EXPECT_EQ(texts, prefixed({"Host to media lane ratio 2 media_lane_cnt 4 lane_bitmap 0xf rx_lane_bitmap 0xff\n",
                               "Datapath power init max code 0x5. init/loop/retries(50ms/10ms/40)\n",
                               "Datapath bitmap 0xff all activated: 4,4,4,4,4,4,4,4\n",
                               "Enable: Tx bitmap: 0xf Rx bitmap: 0xff - Wrote back (0x0 : 0xf0 : 0x0) to (Datapath Deinit: Tx Disable: Rx Output Disable)\n"}));
    // DPInit takes the module 300 ms: 50 ms from the deinit code's row, then 10 ms polls.
    std::vector<std::uint64_t> expected{50000};
    expected.insert(expected.end(), 25, 10000);
    EXPECT_EQ(sleeps_us(), expected);
    EXPECT_EQ(lanes_in(DpState::activated), 0xFF);
    for (int lane = 0; lane < 4; ++lane) {
        EXPECT_TRUE(module().transmitting(lane)) << lane;
    }
}

TEST_F(CmisPortStateTest, Cmis4TwoBy100GLanesMapOneToOne) {
    qsfp_port_ctx *port = make("2X100G-CWDM4");  // 4 host lanes over 4 media lanes, two datapaths
    ASSERT_EQ(lanes_in(DpState::activated), 0xFF);
    EXPECT_EQ(disable(port, 0xF0), QSFP_OK);
    EXPECT_EQ(accesses(), (std::vector<std::string>{"R 10h 130 x1", "R 10h 138 x1", "R 10h 128 x1", "W 10h 138 x1",
                                                    "W 10h 130 x1", "W 10h 128 x1"}));
    EXPECT_EQ(writes(), (std::vector<std::string>{"10h 138: f0", "10h 130: f0", "10h 128: f0"}));
    EXPECT_EQ(evt(), prefixed({"Host to media lane ratio 1 media_lane_cnt 4 lane_bitmap 0xf0 rx_lane_bitmap 0xf0\n",
                               "Read Tx Disable Reg: 0x0\n", "Read Rx Output Disable Reg: 0x0\n", "Read Datapath Deinit Reg: 0x0\n",
                               "Disable: Tx bitmap: 0xf0 Rx bitmap: 0xf0 - Wrote back (0xf0 : 0xf0 : 0xf0) to (Datapath Deinit: Tx Disable: Rx Output Disable)\n"}));
    sim::VirtualClock::instance().advance_ns(200000000);
    EXPECT_EQ(lanes_in(DpState::activated), 0x0F);
    EXPECT_EQ(lanes_in(DpState::deactivated), 0xF0);

    forget_traffic();
    EXPECT_EQ(enable(port, 0xF0), QSFP_OK);
    EXPECT_EQ(writes(), (std::vector<std::string>{"10h 128: 00", "10h 130: 00", "10h 138: 00"}));
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Read Datapath Deinit Reg: 0xf0\n"));
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Datapath bitmap 0xf0 all activated: 4,4,4,4,4,4,4,4\n"));
    EXPECT_EQ(lanes_in(DpState::activated), 0xFF);
    EXPECT_EQ(slept_ms(), 300u);
}

TEST_F(CmisPortStateTest, Cmis3TwoToOneApplicationMapsEachMediaLaneOnTwoHostLanes) {
    qsfp_port_ctx *port = dr4_breakout();
    ASSERT_EQ(state(port).active_app_code, 2u);
    EXPECT_EQ(enable(port, 0x01), QSFP_OK);
    EXPECT_EQ(accesses(), (std::vector<std::string>{"R 10h 130 x1", "R 10h 138 x1", "R 10h 128 x1", "W 10h 128 x1",
                                                    "R 11h 128 x4", "W 10h 130 x1", "W 10h 138 x1"}));
    EXPECT_EQ(writes(), (std::vector<std::string>{"10h 128: 03", "10h 130: fe", "10h 138: fc"}));
    EXPECT_EQ(evt(), prefixed({"Host to media lane ratio 2 media_lane_cnt 1 lane_bitmap 0x1 rx_lane_bitmap 0x3\n",
                               "Read Tx Disable Reg: 0xff\n", "Read Rx Output Disable Reg: 0xff\n", "Read Datapath Pwr Ctrl Reg: 0x0\n",
                               "Datapath power init max code 0x5. init/loop/retries(50ms/10ms/40)\n",
                               "Datapath bitmap 0x3 all activated: 4,4,1,1,1,1,1,1\n",
                               "Enable: Tx bitmap: 0x1 Rx bitmap: 0x3 - Wrote back (0x3 : 0xfe : 0xfc) to (Datapth Pwr Ctrl: Tx Disable: Rx Output Disable)\n"}));
    EXPECT_EQ(sleeps_us(), (std::vector<std::uint64_t>{50000}));
    EXPECT_EQ(lanes_in(DpState::activated), 0x03);
    EXPECT_TRUE(module().transmitting(0));
    EXPECT_FALSE(module().transmitting(1));  // media lane 2 is still disabled
}

TEST_F(CmisPortStateTest, EnablingMediaLanes0x0FOfATwoToOneApplicationSkipsTheRegisterReads) {
    qsfp_port_ctx *port = dr4_breakout();
    EXPECT_EQ(enable(port, 0x0F), QSFP_OK);
    EXPECT_EQ(accesses(), (std::vector<std::string>{"W 10h 128 x1", "R 11h 128 x4", "W 10h 130 x1", "W 10h 138 x1"}));
    EXPECT_EQ(writes(), (std::vector<std::string>{"10h 128: ff", "10h 130: f0", "10h 138: 00"}));
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Host to media lane ratio 2 media_lane_cnt 1 lane_bitmap 0xf rx_lane_bitmap 0xff\n"));
    EXPECT_EQ(lanes_in(DpState::activated), 0xFF);

    // One media lane off again: its two host lanes' datapath goes down.
    forget_traffic();
    EXPECT_EQ(disable(port, 0x02), QSFP_OK);
    EXPECT_EQ(writes(), (std::vector<std::string>{"10h 138: 0c", "10h 130: f2", "10h 128: f3"}));
    EXPECT_EQ(evt(), prefixed({"Host to media lane ratio 2 media_lane_cnt 1 lane_bitmap 0x2 rx_lane_bitmap 0xc\n",
                               "Read Tx Disable Reg: 0xf0\n", "Read Rx Output Disable Reg: 0x0\n", "Read Datapath Pwr Ctrl Reg: 0xff\n",
                               "Disable: Tx bitmap: 0x2 Rx bitmap: 0xc - Wrote back (0xf3 : 0xf2 : 0xc) to (Datapth Pwr Ctrl: Tx Disable: Rx Output Disable)\n"}));
    sim::VirtualClock::instance().advance_ns(200000000);
    EXPECT_EQ(lanes_in(DpState::activated), 0xF3);
}

// An 8 x 50G layout: eight one-lane datapaths, one media lane each.
TEST_F(CmisPortStateTest, EightBy50GLanesMapOneToOne) {
    sim::ModuleMemory m = image("400G-DR4-CMIS3");
    const std::uint8_t fifty_g[] = {0x0A, 0x14, 0x11, 0xFF};  // 50GAUI-1, one host and one media lane, any start
    m.set_bytes(0, qsfp::cmis::kAppDescriptors + 4, fifty_g);
    qsfp_port_ctx *port = make(module_of(std::move(m)));
    module().set_dp_init_time(milliseconds(50));
    ASSERT_EQ(apply_application(port, 2, 0), QSFP_OK);
    state(port).active_app_code = 2;  // as the configuration records it
    forget_traffic();
    EXPECT_EQ(enable(port, 0x05), QSFP_OK);
    EXPECT_EQ(writes(), (std::vector<std::string>{"10h 128: 05", "10h 130: 00", "10h 138: 00"}));
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Host to media lane ratio 1 media_lane_cnt 1 lane_bitmap 0x5 rx_lane_bitmap 0x5\n"));
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Datapath bitmap 0x5 all activated: 4,1,4,1,1,1,1,1\n"));
    EXPECT_EQ(lanes_in(DpState::activated), 0x05);
}

TEST_F(CmisPortStateTest, LanesThatDoNotComeUpAreTracedNotRefused) {
    qsfp_port_ctx *port = dr4_breakout();
    module().stick_data_path(1, DpState::deactivated);
    EXPECT_EQ(enable(port, 0x01), QSFP_OK);
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Datapath bitmap 0x3 NOT all activated: 4,1,1,1,1,1,1,1\n"));
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Enable: Tx bitmap: 0x1 Rx bitmap: 0x3 - Wrote back (0x3 : 0xfe : 0xfc) to (Datapth Pwr Ctrl: Tx Disable: Rx Output Disable)\n"));
    EXPECT_EQ(trace_count(kErr, "Controller 0 Port 1: Datapath bitmap 0x3 NOT all activated: 4,1,1,1,1,1,1,1\n"), 0u);
    // 50 ms and 39 intervals of 10 ms between 40 polls.
    EXPECT_EQ(slept_ms(), 50u + 39u * 10u);
    EXPECT_EQ(accesses().size(), 3u + 1u + 40u + 2u);
}

TEST_F(CmisPortStateTest, InvalidApplicationRefusesBothDirections) {
    qsfp_port_ctx *port = make("400G-DR4");
    state(port).active_app_code = 0;
    EXPECT_EQ(enable(port, 0x0F), QSFP_ERR_INVALID);
    state(port).active_app_code = 9;
    EXPECT_EQ(disable(port, 0x0F), QSFP_ERR_INVALID);
    state(port).active_app_code = 3;  // not advertised: lane counts 0
    EXPECT_EQ(enable(port, 0x0F), QSFP_ERR_INVALID);
    EXPECT_EQ(err(), prefixed({"Module is programmed with invalid app_code(0).  Cannot enable/disable port\n",
                               "Module is programmed with invalid app_code(9).  Cannot enable/disable port\n",
                               "App_code 3. Module is programmed with invalid host media lane count(0x0).  Cannot enable/disable port\n"}));
    EXPECT_EQ(cage().stats().transactions, 0u);
    EXPECT_EQ(qsfp_dd_fvt.port_enable(nullptr, 0x0F, 0), QSFP_ERR_INVALID);
    EXPECT_EQ(qsfp_dd_fvt.port_disable(nullptr, 0x0F, 0), QSFP_ERR_INVALID);
}

TEST_F(CmisPortStateTest, ReservedInitCodeWaitsTheDefault) {
    qsfp_port_ctx *port = make("400G-DR4-DPINIT14");
    module().set_dp_init_time(milliseconds(50));
    ASSERT_EQ(disable(port, 0x0F), QSFP_OK);
    sim::VirtualClock::instance().advance_ns(200000000);
    forget_traffic();
    EXPECT_EQ(enable(port, 0x0F), QSFP_OK);
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Unsupported datapath power down max code 0x14. Use default init/loop/retries(1000ms/1000ms/60)\n"));
    EXPECT_EQ(sleeps_us(), (std::vector<std::uint64_t>{1000000}));
}

// The initial wait comes from the deinit code's row; a deinit code without a
// row takes the default wait, with the init code's interval and count.
TEST_F(CmisPortStateTest, ReservedDeinitCodeGivesTheDefaultInitialWait) {
    sim::ModuleMemory m = image("400G-DR4");
    m.set(0x01, qsfp::cmis::kDataPathDurations, 0xE5);
    qsfp_port_ctx *port = make(module_of(std::move(m)));
    module().set_dp_deinit_time(milliseconds(50));
    ASSERT_EQ(disable(port, 0x0F), QSFP_OK);
    sim::VirtualClock::instance().advance_ns(200000000);
    forget_traffic();
    EXPECT_EQ(enable(port, 0x0F), QSFP_OK);
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Datapath power init max code 0x5. init/loop/retries(1000ms/10ms/40)\n"));
    EXPECT_EQ(sleeps_us(), (std::vector<std::uint64_t>{1000000}));
}

}  // namespace
