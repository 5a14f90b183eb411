// The monitoring reports: exact texts for known bytes, the quirks kept on
// purpose, failure paths and short buffers.
#include <cstring>

#include <gtest/gtest.h>

#include "sff8636/sff_port.h"

namespace {

using namespace qsfp::test;
using qsfp::sim::Op;

constexpr const char *kHeaderFormat =
    "\n\tQSFP Port = 1 & Controller = 0 \n        ________________________________\n\n"
    "---------------------------------------\n%s---------------------------------------\n";

std::string header(const char *title) {
    char out[512];
    std::snprintf(out, sizeof out, kHeaderFormat, title);
    return out;
}

class DomReportsTest : public SffPortTest {
protected:
    std::string report(std::uint32_t (*slot)(qsfp_port_ctx *, char *, std::uint32_t *, std::uint32_t),
                       qsfp_port_ctx *port, std::uint32_t *rc = nullptr) {
        std::vector<char> buf(8192, '\0');
        std::uint32_t written = 0;
        const std::uint32_t r = slot(port, buf.data(), &written, static_cast<std::uint32_t>(buf.size()));
        if (rc != nullptr) *rc = r;
        if (r == QSFP_OK) {
            EXPECT_EQ(written, std::strlen(buf.data()));
        }
        return std::string(buf.data());
    }
    void set_word(std::uint8_t page, std::uint8_t addr, std::uint16_t value) {
        module().memory().set(page, addr, static_cast<std::uint8_t>(value >> 8));
        module().memory().set(page, static_cast<std::uint8_t>(addr + 1), static_cast<std::uint8_t>(value));
    }
};

TEST_F(DomReportsTest, ModuleMonitorPrintsSignedTemperatureAndVoltage) {
    qsfp_port_ctx *port = make();
    set_word(0, 22, static_cast<std::uint16_t>(-128));  // -0.5 C
    set_word(0, 26, 32900);                              // 3.29 V
    EXPECT_EQ(report(qsfp_dom_module_monitor, port),
              header("MODULE MONITOR   \t\t VALUE \n") + "Temperature       \t\t -0.50 C  \nSupply voltage     \t\t 3.2900 V  \n");
    set_word(0, 22, 25 * 256 + 128);
    EXPECT_NE(report(qsfp_dom_module_monitor, port).find("\t\t +25.50 C  \n"), std::string::npos);
}

TEST_F(DomReportsTest, ChannelMonitorShowsDarkLanesAsMinusInfinity) {
    qsfp_port_ctx *port = make();
    set_word(0, 36, 5000);  // Rx lane 2: 0.5 mW
    set_word(0, 42, 3600);  // bias lane 1: 7.2 mA
    set_word(0, 50, 10000); // Tx lane 1: 1 mW
    const std::string text = report(qsfp_dom_channel_monitor, port);
    std::string expected = header("CHANNEL MONITOR    \t\t VALUE \n");
    expected += "RX1 power          \t\t 0.0000 mW \t [ -inf dBm ]\n";
    expected += "RX2 power          \t\t 0.5000 mW \t [ -3.0103 dBm ] \n";
    expected += "RX3 power          \t\t 0.0000 mW \t [ -inf dBm ]\n";
    expected += "RX4 power          \t\t 0.0000 mW \t [ -inf dBm ]\n";
    expected += "TX1 bias current   \t\t 7.2000 mA \n";
    expected += "TX2 bias current   \t\t 0.0000 mA \nTX3 bias current   \t\t 0.0000 mA \nTX4 bias current   \t\t 0.0000 mA \n";
    expected += "\n";
    expected += "TX1 power          \t\t 1.0000 mW \t [ 0.0000 dBm ] \n";
    expected += "TX2 power          \t\t 0.0000 mW \t [ -inf dBm ]\n";
    expected += "TX3 power          \t\t 0.0000 mW \t [ -inf dBm ]\n";
    expected += "TX4 power          \t\t 0.0000 mW \t [ -inf dBm ]\n";
    EXPECT_EQ(text, expected);
}

TEST_F(DomReportsTest, ThresholdsReportListsEachQuantitysFourKinds) {
    qsfp_port_ctx *port = make();
    set_word(3, 128, 75 * 256);
    set_word(3, 130, static_cast<std::uint16_t>(-5 * 256));
    set_word(3, 144, 36300);
    set_word(3, 176, 20000);
    set_word(3, 184, 5000);
    set_word(3, 198, 1000);
    const std::string text = report(qsfp_dom_alarm_warn_monitor, port);
    EXPECT_EQ(text.rfind(header("ALARM AND WARNING THRESHOLDS \t VALUE \n"), 0), 0u);
    EXPECT_NE(text.find("Temperature high alarm  \t +75.00 C\nTemperature low alarm   \t -5.00 C\n"), std::string::npos);
    EXPECT_NE(text.find("Voltage high alarm    \t\t 3.6300 V  \n"), std::string::npos);
    EXPECT_NE(text.find("RX power high alarm    \t\t 2.0000 mW \t [ 3.0103 dBm ]\n"), std::string::npos);
    EXPECT_NE(text.find("TX bias current high alarm   \t 10.0000 mA \n"), std::string::npos);
    EXPECT_NE(text.find("TX power low warning   \t\t 0.1000 mW \t [ -10.0000 dBm ]\n"), std::string::npos);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 7 + 20);
}

TEST_F(DomReportsTest, ControlMaskReportShowsSquelchOutputsAndMasks) {
    qsfp_port_ctx *port = make();
    module().memory().set(3, 240, 0x21);  // Tx1 squelch disabled, Rx2 squelch disabled
    module().memory().set(3, 241, 0x80);  // Rx4 output disabled
    module().memory().set(3, 242, 0x80);
    module().memory().set(3, 247, 0x01);
    const std::string text = report(qsfp_dom_channel_ctrl_monitor_mask, port);
    EXPECT_NE(text.find("TX1    SQ disable  \t\t   YES\nRX1    SQ disable  \t\t   NO\nRX1    output disable\t\t   NO\n"),
              std::string::npos);
    EXPECT_NE(text.find("RX2    SQ disable  \t\t   YES\n"), std::string::npos);
    EXPECT_NE(text.find("RX4    output disable\t\t   YES\n"), std::string::npos);
    EXPECT_NE(text.find("M-RX1 power high alarm    \t   YES\nM-RX1 power low alarm     \t   NO\n"), std::string::npos);
    EXPECT_NE(text.find("M-TX4 power low warning   \t   YES\n"), std::string::npos);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 7 + 12 + 48);
}

TEST_F(DomReportsTest, LatchedFlagsShowTxLanes3And4PowerFromTheRxByte) {
    qsfp_port_ctx *port = make();
    module().memory().set(0, 10, 0x88);
    module().memory().set(0, 14, 0x00);
    const std::string text = report(qsfp_dom_chan_intr_flags, port);
    EXPECT_NE(text.find("L-RX3 power high alarm   \t   YES\n"), std::string::npos);
    EXPECT_NE(text.find("L-RX4 power high alarm   \t   YES\n"), std::string::npos);
    EXPECT_NE(text.find("L-TX3 power high alarm   \t   YES\n"), std::string::npos);
    EXPECT_NE(text.find("L-TX4 power high alarm   \t   YES\n"), std::string::npos);
    EXPECT_NE(text.find("L-TX3 power low alarm    \t   NO\n"), std::string::npos);
    module().memory().set(0, 10, 0x00);
    module().memory().set(0, 14, 0x88);
    const std::string quiet = report(qsfp_dom_chan_intr_flags, port);
    EXPECT_NE(quiet.find("L-TX3 power high alarm   \t   NO\n"), std::string::npos);
}

TEST_F(DomReportsTest, LatchedFlagsReportLayout) {
    qsfp_port_ctx *port = make();
    module().memory().set(0, 3, 0x21);  // Rx1 LOS, Tx2 LOS
    module().memory().set(0, 4, 0x04);  // Tx3 fault
    module().memory().set(0, 6, 0x80);
    const std::string text = report(qsfp_dom_chan_intr_flags, port);
    std::string expected = header("CHANNEL STATUS INTERRUPT FLAGS \t STATUS\n");
    expected += "\tQSFP Type = QSFP28 100G SR4 \n";
    expected += "L-RX1 LOS     \t\t\t   YES\nL-RX1 CDR LOL \t\t\t   NO\n";
    EXPECT_EQ(text.rfind(expected, 0), 0u) << text;
    EXPECT_NE(text.find("L-TX2 LOS      \t\t\t   YES\n"), std::string::npos);
    EXPECT_NE(text.find("L-TX3 FAULT    \t\t\t   YES\n"), std::string::npos);
    EXPECT_NE(text.find("---------------------------------------\nMODULE MONITOR INTERRUPT FLAGS \t STATUS\n"
                        "---------------------------------------\nL-temperature high alarm    \t   YES\n"),
              std::string::npos);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 7 + 1 + 20 + 3 + 56);
    // Two reads of bytes 3-14 and a 200 ms observation between them.
    EXPECT_EQ(sleeps(), std::vector<std::uint64_t>(20, 10000));
}

std::uint32_t g_admin_calls;
std::uint32_t g_admin_answer_at;

void admin(std::uint32_t, std::uint32_t, std::uint32_t kind, std::uint32_t *answer) {
    ++g_admin_calls;
    if (kind == 0 && answer != nullptr && g_admin_calls == g_admin_answer_at) *answer = 1;
}

TEST_F(DomReportsTest, AdminNotificationDuringObservationAbandonsTheReport) {
    qsfp_port_ctx *port = make();
    port->admin_state_notify = admin;
    g_admin_calls = 0;
    g_admin_answer_at = 4;
    std::vector<char> buf(8192, 'z');
    std::uint32_t written = 77;
    EXPECT_EQ(qsfp_dom_chan_intr_flags(port, buf.data(), &written, 8192), 1u);
    EXPECT_EQ(buf[0], 'z');
    EXPECT_EQ(written, 77u);
    EXPECT_EQ(g_admin_calls, 4u);
    EXPECT_EQ(sleeps().size(), 3u);
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Admin State Notfn ProcessingReceived for port 1 ctrl 0"));
}

TEST_F(DomReportsTest, BitBangedModulesReadTheSecondFlagsByteByByte) {
    qsfp_port_ctx *port = make();
    state(port).bit_bang = 1;
    report(qsfp_dom_chan_intr_flags, port);
    const auto log = cage().log();
    ASSERT_EQ(log.size() - std::count_if(log.begin(), log.end(), [](const auto &t) { return t.reg == 127; }), 2u);
    EXPECT_FALSE(log[log.size() - 2].bit_bang);
    EXPECT_TRUE(log.back().bit_bang);
    EXPECT_EQ(cage().stats().delay_ns, 11u * 200000);
}

// The report bit-bangs only when the caller gave a bit-bang function.
TEST_F(DomReportsTest, PortMarkedForBitBangWithoutTheFunctionReadsTheFlagsNormally) {
    qsfp_port_ctx *port = make();
    state(port).bit_bang = 1;
    port->bit_bang_read = nullptr;
    module().memory().set(0, 4, 0x01);  // Tx1 fault
    std::uint32_t rc = 1;
    const std::string text = report(qsfp_dom_chan_intr_flags, port, &rc);
    EXPECT_EQ(rc, QSFP_OK);
    EXPECT_NE(text.find("L-TX1 FAULT   \t\t\t   YES\n"), std::string::npos);
    std::size_t flag_reads = 0;
    for (const auto &t : cage().log()) {
        flag_reads += t.reg == 3 && t.len == 12;
        EXPECT_FALSE(t.bit_bang);
    }
    EXPECT_EQ(flag_reads, 2u);
    EXPECT_EQ(cage().stats().delay_ns, 0u);
}

TEST_F(DomReportsTest, CurrentVersusThresholdTable) {
    qsfp_port_ctx *port = make();
    set_word(0, 22, 40 * 256);
    set_word(3, 128, 75 * 256);
    set_word(0, 34, 10000);
    set_word(0, 42, 2500);
    const std::string text = report(qsfp_dom_channel_alarm_warn, port);
    EXPECT_EQ(text.rfind(header("Type \t\t| Current \t| High Alarm \t| Low Alarm \t| High Warning \t| Low Warning\n") +
                             std::string(93, '=') + "\n",
                         0),
              0u);
    EXPECT_NE(text.find("Temperature (C)\t| +40.00\t| +75.00\t| +0.00\t| +0.00\t| +0.00\n"), std::string::npos);
    EXPECT_NE(text.find("\t| Rx1=1.0000 mW (0.0000 dBm)\t|     ---- \t|     ---- \t|     ---- \t|     ---- \n"),
              std::string::npos);
    EXPECT_NE(text.find("\t| Tx1=5.0000 \t|     ---- "), std::string::npos);
}

struct Failing {
    const char *name;
    std::uint32_t (*slot)(qsfp_port_ctx *, char *, std::uint32_t *, std::uint32_t);
    int page;
    std::uint8_t reg;
    const char *message;
};

TEST_F(DomReportsTest, ReadFailuresAreTracedAndReturned) {
    const Failing cases[] = {
        {"flags", qsfp_dom_chan_intr_flags, -1, 3, "errno: Channel Status Interrupt flag reg first read failed. rc: 0x5"},
        {"module", qsfp_dom_module_monitor, -1, 22, "errno: Module monitor reg read failed. rc: 0x5"},
        {"channel", qsfp_dom_channel_monitor, -1, 34, "errno: Channel monitor reg read failed. rc: 0x5"},
        {"thresholds", qsfp_dom_alarm_warn_monitor, 3, 128, "errno: Alarm & Warn threshold reg read failed. rc: 0x5"},
        {"squelch", qsfp_dom_channel_ctrl_monitor_mask, 3, 240, "errno: Tx & Rx SQ disable reg read failed. rc: 0x5"},
        {"outputs", qsfp_dom_channel_ctrl_monitor_mask, 3, 241, "errno: Rx Output disable reg read failed. rc: 0x5"},
        {"masks", qsfp_dom_channel_ctrl_monitor_mask, 3, 242, "errno: Alarm & Warn mask reg read failed. rc: 0x5"},
        {"table module", qsfp_dom_channel_alarm_warn, -1, 22, "errno: Module Monitor reg read failed. rc: 0x5"},
        {"table thresholds", qsfp_dom_channel_alarm_warn, 3, 128, "errno: Alarm & Warn reg read failed. rc: 0x5"},
    };
    qsfp_port_ctx *port = make();
    for (const Failing &c : cases) {
        clear_traces();
        cage().clear_faults();
        cage().fail_range(Op::read, c.page, c.reg, c.reg, 5);
        std::uint32_t rc = 0;
        report(c.slot, port, &rc);
        EXPECT_EQ(rc, 5u) << c.name;
        EXPECT_TRUE(trace_has(kErr, std::string("Controller 0 Port 1: ") + c.message)) << c.name;
    }
}

TEST_F(DomReportsTest, SecondFlagReadFailures) {
    qsfp_port_ctx *port = make();
    // Page 00h selected: the report's two accesses are the two flag reads.
    port->cur_page = 0;
    std::uint32_t rc = 0;
    cage().fail_nth_access(2, 6);
    report(qsfp_dom_chan_intr_flags, port, &rc);
    EXPECT_EQ(rc, 6u);
    EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 1: errno: Channel Status Interrupt flag reg second read failed. rc: 0x6"));
    state(port).bit_bang = 1;
    clear_traces();
    cage().fail_nth_access(2, 7);
    report(qsfp_dom_chan_intr_flags, port, &rc);
    EXPECT_EQ(rc, 7u);
    EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 1: errno: Channel Status INTR flag reg second bitbang read failed rc: 0x7"));
}

TEST_F(DomReportsTest, NullBufferOrZeroSizeAnswers22BeforeAnyAccess) {
    qsfp_port_ctx *port = make();
    const std::pair<std::uint32_t (*)(qsfp_port_ctx *, char *, std::uint32_t *, std::uint32_t), const char *> slots[] = {
        {qsfp_dom_chan_intr_flags, "QSFP Get channel intr dom : Null parameters"},
        {qsfp_dom_module_monitor, "QSFP Get module monitor dom : Null parameters"},
        {qsfp_dom_channel_monitor, "QSFP Get channel intr dom : Null parameters"},
        {qsfp_dom_alarm_warn_monitor, "QSFP Get alarm and warn dom : Null parameters"},
        {qsfp_dom_channel_ctrl_monitor_mask, "QSFP Get controlmask dom : Null parameters"},
        {qsfp_dom_channel_alarm_warn, "QSFP Get alram/warn threshold dom : Null parameters"},
    };
    char buf[4];
    for (const auto &[slot, message] : slots) {
        clear_traces();
        EXPECT_EQ(slot(port, nullptr, nullptr, 100), QSFP_ERR_INVALID);
        EXPECT_EQ(slot(port, buf, nullptr, 0), QSFP_ERR_INVALID);
        EXPECT_EQ(trace_count(kErr, std::string("Controller 0 Port 1: ") + message), 2u) << message;
    }
    EXPECT_EQ(cage().stats().transactions, 0u);
}

TEST_F(DomReportsTest, ShortBufferIsNeverOverrunAndTheLengthTellsTheWholeText) {
    qsfp_port_ctx *port = make();
    const std::string whole = report(qsfp_dom_module_monitor, port);
    std::vector<char> buf(64 + 16, '#');
    std::uint32_t written = 0;
    EXPECT_EQ(qsfp_dom_module_monitor(port, buf.data(), &written, 64), QSFP_OK);
    EXPECT_EQ(written, whole.size());
    EXPECT_EQ(std::string(buf.data()), whole.substr(0, 63));
    for (std::size_t i = 64; i < buf.size(); ++i) {
        EXPECT_EQ(buf[i], '#');
    }
}

}  // namespace
