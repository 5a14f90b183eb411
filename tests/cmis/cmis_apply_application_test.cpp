// Applying an application: staged control set 0, ApplyDPInit and the wait
// for the per-lane configuration status, with its texts and its deliberate
// rule that a lane once seen in process lets the wait run out.
#include <gtest/gtest.h>

#include "cmis/cmis_port.h"

namespace {

using namespace qsfp::test;
namespace sim = qsfp::sim;
using qsfp::cmis::apply_application;
using qsfp::cmis::mode_config;
using std::chrono::milliseconds;
using Fault = sim::CmisModule::ConfigFault;

std::string eight(const char *text) {
    std::string out;
    for (int lane = 1; lane <= 8; ++lane) {
        out += "Ln " + std::to_string(lane) + ": " + text + (lane == 8 ? "" : lane == 4 ? "" : ". ");
    }
    return out;
}

class CmisApplyApplicationTest : public CmisPortTest {};

TEST_F(CmisApplyApplicationTest, ApplicationWithoutHostLanesIsRefusedBeforeAnyWrite) {
    sim::ModuleMemory m = image("400G-DR4");
    m.set(0, qsfp::cmis::kAppDescriptors + 4 + qsfp::cmis::kAppLaneCounts, 0x08);  // application 2: no host lanes
    qsfp_port_ctx *port = make(module_of(std::move(m)));
    EXPECT_EQ(apply_application(port, 2, 0), QSFP_ERR_INVALID);
    EXPECT_EQ(err(), prefixed({"host_media_intf[1].host_media_lane_count = 0x8\n"}));
    EXPECT_EQ(cage().stats().transactions, 0u);
    EXPECT_TRUE(sleeps_us().empty());
}

TEST_F(CmisApplyApplicationTest, CodeOutsideTheEightIsRefusedWithoutReadingPastTheCopy) {
    qsfp_port_ctx *port = make("400G-DR4");
    EXPECT_EQ(apply_application(port, 0, 0), QSFP_ERR_INVALID);
    EXPECT_EQ(apply_application(port, 9, 0), QSFP_ERR_INVALID);
    EXPECT_EQ(cage().stats().transactions, 0u);
}

// A CMIS 3.0 module reports 0 until its configuration is done: the first poll
// sees it in process, and from then on the wait runs out whatever follows.
TEST_F(CmisApplyApplicationTest, StatusZeroOnTheFirstPollThenAcceptedEndsInTimeout) {
    qsfp_port_ctx *port = make("400G-DR4-CMIS3");
    module().set_config_time(milliseconds(105));  // checked between the first and the second poll
    EXPECT_EQ(mode_config(port, QSFP_DD_OPER_MODE_4X100G), QSFP_ERR_CONFIG_TIMEOUT);
    EXPECT_EQ(err(), prefixed({"Config Timeout! " + eight("ACCEPTED") + "\n"}));
    EXPECT_EQ(trace_count(kEvt, "Controller 0 Port 1: Lane 1 Config in process.  Wait\n"), 1u);
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Checking configuration progress 1\n"));
    EXPECT_FALSE(trace_has(kEvt, "Controller 0 Port 1: Config accepted by all lanes. retries left 38\n"));
    // 100 ms, then 39 intervals of 10 ms between the 40 polls.
    std::vector<std::uint64_t> expected{100000};
    expected.insert(expected.end(), 39, 10000);
    EXPECT_EQ(sleeps_us(), expected);
    // The module took the application all the same; the outputs stay as they were.
    EXPECT_EQ(module().config_status(0), sim::CmisModule::ConfigStatus::success);
    EXPECT_FALSE(module().host_wrote(0x10, qsfp::cmis::kTxDisable).has_value());
}

TEST_F(CmisApplyApplicationTest, ModuleThatStaysInProgressTimesOut) {
    qsfp_port_ctx *port = make("400G-DR4-CMIS3");
    module().set_config_fault({Fault::Kind::stay_in_progress});
    EXPECT_EQ(mode_config(port, QSFP_DD_OPER_MODE_4X100G), QSFP_ERR_CONFIG_TIMEOUT);
    EXPECT_EQ(err(), prefixed({"Config Timeout! " + eight("NO STATUS") + "\n"}));
    EXPECT_EQ(trace_count(kEvt, "Controller 0 Port 1: Lane 1 Config in process.  Wait\n"), 40u);
    EXPECT_EQ(slept_ms(), 100u + 39u * 10u);
}

TEST_F(CmisApplyApplicationTest, RejectionNamesEveryLanesStatus) {
    qsfp_port_ctx *port = make("400G-DR4");
    module().set_dp_init_time(milliseconds(50));
    module().set_config_fault({Fault::Kind::reject, sim::CmisModule::ConfigStatus::rejected_invalid_app_sel});
    forget_traffic();
    EXPECT_EQ(mode_config(port, QSFP_DD_OPER_MODE_4X100G), QSFP_ERR_INVALID);
    EXPECT_EQ(err(), prefixed({"Config Error! " + eight("REJECTED INVALID CODE") + "\n"}));
    EXPECT_EQ(trace_count(kEvt, "Controller 0 Port 1: Checking configuration progress 40\n"), 1u);
    EXPECT_FALSE(trace_has(kEvt, "Controller 0 Port 1: Checking configuration progress 39\n"));
    // Nothing after the failed apply: outputs untouched, the old application kept.
    EXPECT_EQ(writes().back(), "10h 143: ff");
    EXPECT_EQ(state(port).active_app_code, 1u);
}

TEST_F(CmisApplyApplicationTest, EachRejectionCodeHasItsText) {
    const std::pair<sim::CmisModule::ConfigStatus, const char *> cases[] = {
        {sim::CmisModule::ConfigStatus::rejected, "REJECTED UNKNOWN"},
        {sim::CmisModule::ConfigStatus::rejected_invalid_data_path, "REJECTED INVALID COMBO"},
        {sim::CmisModule::ConfigStatus::rejected_invalid_si, "REJECTED INVALID SI"},
        {sim::CmisModule::ConfigStatus::rejected_partial_data_path, "UNDEFINED"},
    };
    for (const auto &[code, text] : cases) {
        qsfp_port_ctx *port = make("400G-DR4-CMIS3");
        module().set_dp_init_time(milliseconds(50));
        module().set_config_fault({Fault::Kind::reject, code});
        EXPECT_EQ(apply_application(port, 2, 0), QSFP_ERR_INVALID) << text;
        EXPECT_EQ(err(), prefixed({"Config Error! " + eight(text) + "\n"})) << text;
        TearDown();
        SetUp();
    }
}

// CMIS 4.0 reports a configuration under way as ConfigInProgress (Ch), which
// the status table counts among the undefined codes: a module still busy at
// the first poll ends the wait as an error.
TEST_F(CmisApplyApplicationTest, Cmis4InProgressCodeAtTheFirstPollIsAnError) {
    qsfp_port_ctx *port = make("400G-DR4");  // DPInit code 5: the first poll comes at 100 ms
    module().set_config_time(milliseconds(300));
    module().set_dp_deinit_time(milliseconds(50));
    forget_traffic();
    EXPECT_EQ(mode_config(port, QSFP_DD_OPER_MODE_4X100G), QSFP_ERR_INVALID);
    EXPECT_EQ(err(), prefixed({"Config Error! " + eight("UNDEFINED") + "\n"}));
}

TEST_F(CmisApplyApplicationTest, ExplicitControlAndDatapathStartsFollowTheHostLaneAssignment) {
    qsfp_port_ctx *port = make("2X100G-SR4");  // 4 host lanes per datapath, starting at lanes 1 and 5
    module().set_dp_init_time(milliseconds(50));
    ASSERT_EQ(port->fvt.port_disable(port, 0xFF, 0), QSFP_OK);
    sim::VirtualClock::instance().advance_ns(500000000);
    forget_traffic();
    EXPECT_EQ(apply_application(port, 1, 1), QSFP_OK);
    EXPECT_EQ(writes(), (std::vector<std::string>{"10h 145: 11", "10h 146: 11", "10h 147: 11", "10h 148: 11", "10h 149: 19",
                                                  "10h 150: 19", "10h 151: 19", "10h 152: 19", "10h 143: ff"}));
    EXPECT_EQ(module().memory().get(0x11, qsfp::cmis::kActiveAppSelect + 4), 0x19);
}

TEST_F(CmisApplyApplicationTest, ReservedInitCodeUsesTheDefaultWait) {
    qsfp_port_ctx *port = make("400G-DR4-DPINIT14");
    module().set_dp_init_time(milliseconds(50));
    module().set_dp_deinit_time(milliseconds(50));
    forget_traffic();
    EXPECT_EQ(mode_config(port, QSFP_DD_OPER_MODE_4X100G), QSFP_OK);
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Unsupported datapath power init max code 0x14. Use default init/loop/retries (1000/1000/60)\n"));
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Config accepted by all lanes. retries left 59\n"));
    EXPECT_EQ(sleeps_us(), (std::vector<std::uint64_t>{50000, 1000000}));
}

}  // namespace
