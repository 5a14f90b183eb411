// Port enable and disable: the settle period's pending lanes, and the
// sequences with their waits once the module is ready.
#include <gtest/gtest.h>

#include "sff8636/sff_port.h"

namespace {

using namespace qsfp::test;
using qsfp::sim::Op;

constexpr const char *kPrefix = "Controller 0 Port 1: ";

std::vector<std::string> prefixed(std::initializer_list<const char *> texts) {
    std::vector<std::string> out;
    for (const char *t : texts) {
        out.push_back(std::string(kPrefix) + t);
    }
    return out;
}

class PortStateTest : public SffPortTest {
protected:
    qsfp_port_ctx *make_ready(std::uint32_t rate = 100) {
        qsfp_port_ctx *port = make();
        port->rate = rate;
        state(port).options[0] = 0;
        state(port).options[1] = 0;
        state(port).skip_tx_eq = 1;
        return port;
    }
};

TEST_F(PortStateTest, EnableWithoutLanesInTheLowByteAnswers22) {
    qsfp_port_ctx *port = make_ready();
    EXPECT_EQ(qsfp_fvt.port_enable(port, 0x100, 0), QSFP_ERR_INVALID);
    EXPECT_EQ(qsfp_fvt.port_enable(nullptr, 0x1, 0), QSFP_ERR_INVALID);
    EXPECT_EQ(qsfp_fvt.port_disable(nullptr, 0x1, 0), QSFP_ERR_INVALID);
    EXPECT_EQ(cage().stats().transactions, 0u);
}

TEST_F(PortStateTest, DuringTheSettlePeriodRequestsOnlyMoveThePendingLanes) {
    qsfp_port_ctx *port = make_ready();
    set_settle(port, Settle::settling);
    EXPECT_EQ(qsfp_fvt.port_enable(port, 0x01, 0), QSFP_OK);
    EXPECT_EQ(port->ready_lanes, 0x01u);
    EXPECT_EQ(qsfp_fvt.port_enable(port, 0x0C, 0), QSFP_OK);
    EXPECT_EQ(port->ready_lanes, 0x0Du);
    EXPECT_EQ(qsfp_fvt.port_disable(port, 0x05, 0), QSFP_OK);
    EXPECT_EQ(port->ready_lanes, 0x08u);
    EXPECT_EQ(qsfp_fvt.port_disable(port, 0x08, 1), QSFP_OK);
    EXPECT_EQ(port->ready_lanes, 0x00u);
    EXPECT_EQ(cage().stats().transactions, 0u);
    EXPECT_TRUE(sleeps().empty());
    EXPECT_EQ(trace_texts(kEvt), prefixed({"Optics still in cool time, updated pending enable 0x1",
                                           "Optics still in cool time, updated pending enable 0xd",
                                           "Optics still in cool time, updated pending disable 0x8",
                                           "Optics still in cool time, updated pending disable 0x0"}));
}

TEST_F(PortStateTest, EnableThenDisableOfLane0DuringSettleTouchesNothing) {
    qsfp_port_ctx *port = make_ready();
    set_settle(port, Settle::settling);
    qsfp_fvt.port_enable(port, 0x01, 0);
    qsfp_fvt.port_disable(port, 0x01, 0);
    EXPECT_EQ(port->ready_lanes, 0u);
    EXPECT_TRUE(cage().log().empty());
}

TEST_F(PortStateTest, DisableTurnsTheLasersOffThenTheEqualiserAndRxOutputs) {
    qsfp_port_ctx *port = make_ready();
    state(port).options[0] = 0x08;  // adaptive equaliser
    state(port).options[1] = 0x04;  // Rx output disable
    module().memory().set(3, 241, 0x0F);
    EXPECT_EQ(qsfp_fvt.port_disable(port, 0x03, 0), QSFP_OK);
    EXPECT_EQ(byte(0, 86), 0x03);
    EXPECT_EQ(byte(3, 241), 0x30);  // adaptive off (3-0), Rx outputs 1-2 off (5-4)
    EXPECT_EQ(sleeps(), std::vector<std::uint64_t>{100000});
    EXPECT_EQ(trace_texts(kEvt), prefixed({"qsfp_port disable, lane 0x3 ", "Tx laser disable", "CTLE disable",
                                           "Rx output disabled"}));
}

TEST_F(PortStateTest, TxOnlyDisableStopsAfterTheLasers) {
    qsfp_port_ctx *port = make_ready();
    state(port).options[1] = 0x04;
    EXPECT_EQ(qsfp_fvt.port_disable(port, 0x0F, 1), QSFP_OK);
    EXPECT_EQ(byte(0, 86), 0x0F);
    EXPECT_EQ(byte(3, 241), 0x00);
    EXPECT_EQ(trace_texts(kEvt), prefixed({"qsfp_port disable, lane 0xf ", "Tx laser disable",
                                           "Tx laser disable only,            return"}));
}

TEST_F(PortStateTest, MellanoxCablesKeepTheirRxOutputsAndFailuresDoNotStopDisable) {
    qsfp_port_ctx *port = make_ready(40);
    state(port).options[1] = 0x04;
    state(port).skip_rx_disable = 1;
    cage().fail_range(Op::write, -1, 86, 86, 5);
    EXPECT_EQ(qsfp_fvt.port_disable(port, 0x0F, 0), QSFP_OK);
    EXPECT_EQ(byte(3, 241), 0x00);
    EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 1: QSFP Tx Enable Write error"));
}

TEST_F(PortStateTest, EnableAt40GClearsTheTxFaultAndTheFlags) {
    qsfp_port_ctx *port = make_ready(40);
    state(port).options[1] = 0x04;
    module().memory().set(0, 86, 0x0F);
    module().memory().set(3, 241, 0xF0);
    EXPECT_EQ(qsfp_fvt.port_enable(port, 0x0F, 0), QSFP_OK);
    EXPECT_EQ(byte(0, 86), 0x00);
    EXPECT_EQ(byte(3, 241), 0x00);
    EXPECT_EQ(sleeps(), std::vector<std::uint64_t>{400000});
    EXPECT_EQ(trace_texts(kEvt), prefixed({"qsfp_port enable, lane 0xf", "Tx enabled", "Complete clear Tx Fault",
                                           "Rx output enabled", "Enable done, rc 0x0"}));
    // Byte 4 alone, the flags twice.
    int byte4 = 0;
    int flags = 0;
    for (const auto &t : cage().log()) {
        byte4 += t.op == Op::read && t.reg == 4 && t.len == 1;
        flags += t.op == Op::read && t.reg == 3 && t.len == 12;
    }
    EXPECT_EQ(byte4, 1);
    EXPECT_EQ(flags, 2);
}

// Port enable reads the flags through the normal path whatever the port's
// bit-bang mark says.
TEST_F(PortStateTest, EnableNeverBitBangsTheFlags) {
    qsfp_port_ctx *port = make_ready();
    state(port).bit_bang = 1;
    EXPECT_EQ(qsfp_fvt.port_enable(port, 0x0F, 0), QSFP_OK);
    int flags = 0;
    for (const auto &t : cage().log()) {
        flags += t.op == Op::read && t.reg == 3 && t.len == 12;
        EXPECT_FALSE(t.bit_bang);
    }
    EXPECT_EQ(flags, 3);  // after the equaliser, after the Tx fault clear, at the end
    EXPECT_EQ(cage().stats().delay_ns, 0u);
}

TEST_F(PortStateTest, TxOnlyEnableStopsAfterTheFaultClear) {
    qsfp_port_ctx *port = make_ready(40);
    state(port).options[1] = 0x04;
    module().memory().set(3, 241, 0xF0);
    EXPECT_EQ(qsfp_fvt.port_enable(port, 0x01, 1), QSFP_OK);
    EXPECT_EQ(byte(3, 241), 0xF0);
    EXPECT_EQ(trace_texts(kEvt).back(), std::string(kPrefix) + "Tx enabled, return");
}

TEST_F(PortStateTest, TxFaultSeenAfterEnableIsAWarningOnly) {
    qsfp_port_ctx *port = make_ready(40);
    module().memory().set(0, 4, 0x02);
    EXPECT_EQ(qsfp_fvt.port_enable(port, 0x03, 0), QSFP_OK);
    EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 1: Tx fault reg4 0x2, lane bitmap 0x3"));
}

TEST_F(PortStateTest, AdaptiveEqualiserOfAnotherMakerTrainsFiveSeconds) {
    qsfp_port_ctx *port = make_ready();
    state(port).options[0] = 0x08;
    EXPECT_EQ(qsfp_fvt.port_enable(port, 0x0F, 0), QSFP_OK);
    EXPECT_EQ(byte(3, 241), 0x0F);
    EXPECT_EQ(sleeps(), (std::vector<std::uint64_t>{5000000, 400000}));
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Adp CTLE enable"));
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: CTLE sleep time 5000000 usecs"));
}

TEST_F(PortStateTest, QualifiedAdaptiveModuleTrainsForItsOwnTime) {
    qsfp_port_ctx *port = make_ready();
    state(port).options[0] = 0x08;
    state(port).is_korva_qualified = 1;
    module().memory().set(3, 229, 3);
    EXPECT_EQ(qsfp_fvt.port_enable(port, 0x0F, 0), QSFP_OK);
    EXPECT_EQ(sleeps(), (std::vector<std::uint64_t>{300000, 400000}));
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: QSFP Korva qualified adp delay read"));
}

TEST_F(PortStateTest, QualifiedAdaptiveModuleWithZeroTimeDoesNotSleepBeforeTheFlags) {
    qsfp_port_ctx *port = make_ready();
    state(port).options[0] = 0x08;
    state(port).is_korva_qualified = 1;
    module().memory().set(3, 229, 0);
    EXPECT_EQ(qsfp_fvt.port_enable(port, 0x0F, 0), QSFP_OK);
    EXPECT_EQ(sleeps(), std::vector<std::uint64_t>{400000});
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: CTLE sleep time 0 usecs"));
}

TEST_F(PortStateTest, FailedSettleTimeReadStopsTheEnable) {
    qsfp_port_ctx *port = make_ready();
    state(port).options[0] = 0x08;
    state(port).is_korva_qualified = 1;
    cage().fail_range(Op::read, 3, 229, 229, 5);
    EXPECT_EQ(qsfp_fvt.port_enable(port, 0x0F, 0), 5u);
    EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 1: QSFP CTLE Stabilization Time Read failed in port_enable, error 0x5"));
    EXPECT_EQ(byte(0, 86), 0x00);
    EXPECT_TRUE(sleeps().empty());
}

TEST_F(PortStateTest, FixedEqualiserIsWrittenAndSettles300Ms) {
    qsfp_port_ctx *port = make_ready();
    state(port).skip_tx_eq = 0;
    state(port).is_korva_qualified = 1;
    port->cfg_byte_a = 1;
    port->lane_tx_eq[0] = 0x55;
    EXPECT_EQ(qsfp_fvt.port_enable(port, 0x0F, 0), QSFP_OK);
    EXPECT_EQ(byte(3, 234), 0x55);
    EXPECT_EQ(byte(3, 235), 0x55);
    EXPECT_EQ(byte(3, 223), 0x01);
    EXPECT_EQ(sleeps(), (std::vector<std::uint64_t>{300000, 400000}));
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Port Enable: Vendor CTLE Byte updated"));
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Non-adaptive CTLE sleep time 300 msecs"));
}

TEST_F(PortStateTest, FixedEqualiserNotProgrammableNeitherWritesNorWaits) {
    qsfp_port_ctx *port = make_ready();
    EXPECT_EQ(qsfp_fvt.port_enable(port, 0x0F, 0), QSFP_OK);
    EXPECT_EQ(sleeps(), std::vector<std::uint64_t>{400000});
    EXPECT_FALSE(trace_has(kEvt, "Controller 0 Port 1: Non-adaptive CTLE sleep time 300 msecs"));
}

TEST_F(PortStateTest, CopperOrFlatModuleSkipsTheEqualiser) {
    qsfp_port_ctx *port = make_ready();
    state(port).skip_tx_eq = 0;
    port->is_copper = 1;
    EXPECT_EQ(qsfp_fvt.port_enable(port, 0x0F, 0), QSFP_OK);
    EXPECT_EQ(byte(3, 234), 0x00);
    EXPECT_EQ(sleeps(), std::vector<std::uint64_t>{400000});
}

TEST_F(PortStateTest, SourcePhotonicsLr4TakesFixedSettingsLanePerByte) {
    qsfp_port_ctx *port = make_ready();
    port->hw_info.qsfp_type = 3;
    std::snprintf(state(port).vendor_name, sizeof state(port).vendor_name, "SOURCE PHOTONICS");
    state(port).skip_tx_eq = 0;
    port->cfg_byte_a = 1;
    module().memory().set(3, 241, 0xFF);
    EXPECT_EQ(qsfp_fvt.port_enable(port, 0x0F, 0), QSFP_OK);
    EXPECT_EQ(byte(3, 241), 0x00);
    EXPECT_EQ(byte(3, 234), 0xAA);
    EXPECT_EQ(byte(3, 235), 0xAA);
    EXPECT_EQ(port->lane_tx_eq[1], 0xAA);
    EXPECT_EQ(sleeps(), std::vector<std::uint64_t>{400000});
}

TEST_F(PortStateTest, CdrsAreEnabledAndLossOfLockReported) {
    qsfp_port_ctx *port = make_ready();
    state(port).options[1] = 0xF0;  // Tx/Rx CDR control and LOL flags
    module().memory().set(0, 5, 0x21);
    EXPECT_EQ(qsfp_fvt.port_enable(port, 0x03, 0), QSFP_OK);
    EXPECT_EQ(byte(0, 98), 0x33);
    const auto evt = trace_texts(kEvt);
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Tx CDR enable"));
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Rx CDR enable"));
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Tx CDR LOL "));
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Rx CDR LOL "));
}

TEST_F(PortStateTest, Psm4WithBothSquelchControlsGetsSquelchBackOnEnable) {
    qsfp_port_ctx *port = make_ready();
    port->hw_info.qsfp_type = 7;
    state(port).rx_squelch_disable_absent = 0;
    state(port).tx_squelch_disable_absent = 0;
    module().memory().set(3, 240, 0x0F);
    EXPECT_EQ(qsfp_fvt.port_enable(port, 0x0F, 0), QSFP_OK);
    EXPECT_EQ(byte(3, 240), 0x00);
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Port Enable : PSM4 optics Page3 WR Reg 0xf0 val 0x0 "));
    module().memory().set(3, 240, 0x0F);
    state(port).tx_squelch_disable_absent = 1;
    EXPECT_EQ(qsfp_fvt.port_enable(port, 0x0F, 0), QSFP_OK);
    EXPECT_EQ(byte(3, 240), 0x0F);
}

TEST_F(PortStateTest, DwdmModuleEnableReadsPage20h) {
    qsfp_port_ctx *port = make_ready();
    port->any_page = 1;
    EXPECT_EQ(qsfp_fvt.port_enable(port, 0x0F, 0), QSFP_OK);
    const auto log = cage().log();
    EXPECT_TRUE(std::any_of(log.begin(), log.end(), [](const qsfp::sim::Transaction &t) {
        return t.op == Op::read && t.page == 0x20 && t.reg == 128 && t.len == 128;
    }));
}

TEST_F(PortStateTest, WholeImagePlatformsReadTheLowerPageForTheFlags) {
    qsfp_port_ctx *port = make_ready();
    port->cfg_word[2] = 1;
    EXPECT_EQ(qsfp_fvt.port_enable(port, 0x0F, 0), QSFP_OK);
    int whole = 0;
    for (const auto &t : cage().log()) {
        whole += t.op == Op::read && t.reg == 0 && t.len == 128;
    }
    EXPECT_EQ(whole, 2);
}

struct ReadFailure {
    std::uint32_t rate;
    bool whole;
    int occurrence;  // which read of the flags fails (1-based)
    const char *message;
};

class FlagReadFailureTest : public PortStateTest, public ::testing::WithParamInterface<ReadFailure> {
protected:
    qsfp_port_ctx *prepare(const ReadFailure &c) {
        qsfp_port_ctx *port = make_ready(c.rate);
        port->cfg_word[2] = c.whole ? 1 : 0;
        return port;
    }
};

// Which transaction of an enable reads the flags for the n-th time (bytes 3-14
// alone, or the whole lower page).
std::size_t nth_flag_read(const std::vector<qsfp::sim::Transaction> &log, int n) {
    for (std::size_t i = 0; i < log.size(); ++i) {
        const auto &t = log[i];
        if (t.op == Op::read && ((t.reg == 3 && t.len == 12) || (t.reg == 0 && t.len == 128)) && --n == 0) {
            return i;
        }
    }
    return log.size();
}

TEST_P(FlagReadFailureTest, StopsTheEnableWithItsMessage) {
    const ReadFailure c = GetParam();
    qsfp_port_ctx *port = prepare(c);
    const std::uint32_t start_page = port->cur_page;
    ASSERT_EQ(qsfp_fvt.port_enable(port, 0x0F, 0), QSFP_OK);
    const std::size_t at = nth_flag_read(cage().log(), c.occurrence);
    ASSERT_LT(at, cage().log().size());

    // The same enable again, from the same page, failing that read.
    port->cur_page = start_page;
    forget_traffic();
    cage().fail_nth_access(static_cast<std::uint32_t>(at + 1), 5);
    EXPECT_EQ(qsfp_fvt.port_enable(port, 0x0F, 0), 5u);
    EXPECT_TRUE(trace_has(kErr, std::string(kPrefix) + c.message)) << c.message;
    EXPECT_FALSE(trace_has(kEvt, std::string(kPrefix) + "Enable done, rc 0x0"));
}

void PrintTo(const ReadFailure &c, std::ostream *os) { *os << c.rate << "G read " << c.occurrence << (c.whole ? " whole" : ""); }

INSTANTIATE_TEST_SUITE_P(
    EachRead, FlagReadFailureTest,
    ::testing::Values(ReadFailure{100, false, 1, "QSFP Read Channel Interrupt Flags failed in port_enableerror 0x5"},
                      ReadFailure{100, false, 2, "QSFP Read Channel Interrupt Flags failed in port_enableerror 0x5"},
                      ReadFailure{100, false, 3, "QSFP Read Channel Interrupt Flags failed in port_enableerror 0x5"},
                      ReadFailure{100, true, 1, "QSFP PAGE0 read failed in port_enable, error 0x5"},
                      ReadFailure{100, true, 2, "QSFP PAGE0 Read2 failed in port_enable, error 0x5"},
                      ReadFailure{100, true, 3, "QSFP Read Channel Interrupt Flags failed in port_enableerror 0x5"},
                      ReadFailure{40, true, 1, "QSFP PAGE0 Read2 failed in port_enable, error 0x5"}));

TEST_F(PortStateTest, FailedTxFaultClearReadStopsTheEnable) {
    qsfp_port_ctx *port = make_ready(40);
    cage().fail_range(Op::read, -1, 4, 4, 7);
    EXPECT_EQ(qsfp_fvt.port_enable(port, 0x0F, 0), 7u);
    EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 1: QSFP Read Page 0 Byte 0x4 for TX CLR failed in port_enableerror 0x7"));
}

}  // namespace
