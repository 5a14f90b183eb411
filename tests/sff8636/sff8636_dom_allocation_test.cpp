// The monitoring reports without their work buffers: calloc is wrapped at
// link time (-Wl,--wrap=calloc) so that a test can make the n-th allocation
// from now fail. Each report takes all its buffers before it reads.
#include <cstdlib>
#include <cstring>

#include <gtest/gtest.h>

#include "sff8636/sff_port.h"

namespace {
std::uint32_t g_fail_at = 0;  // 0: no failure armed
}

extern "C" void *__real_calloc(std::size_t n, std::size_t size);
extern "C" void *__wrap_calloc(std::size_t n, std::size_t size) {
    if (g_fail_at != 0 && --g_fail_at == 0) {
        return nullptr;
    }
    return __real_calloc(n, size);
}

namespace {

using namespace qsfp::test;

using Slot = std::uint32_t (*)(qsfp_port_ctx *, char *, std::uint32_t *, std::uint32_t);

struct Case {
    const char *name;
    Slot slot;
    std::uint32_t fail_at;
    const char *message;
};

class DomAllocationTest : public SffPortTest {
protected:
    void TearDown() override {
        g_fail_at = 0;
        SffPortTest::TearDown();
    }
};

TEST_F(DomAllocationTest, MissingWorkBufferAnswers12BeforeAnyRead) {
    const Case cases[] = {
        {"module", qsfp_dom_module_monitor, 1, "errno: module monitor memory allocation failed"},
        {"channel", qsfp_dom_channel_monitor, 1, "errno: channel monitor memory allocation failed "},
        {"thresholds", qsfp_dom_alarm_warn_monitor, 1, "errno: Alarm & Warn memory allocation failed"},
        {"table module", qsfp_dom_channel_alarm_warn, 1, "errno: module monitor memory allocation failed"},
        {"table lanes", qsfp_dom_channel_alarm_warn, 2, "errno: channel monitor memory allocation failed "},
        {"table thresholds", qsfp_dom_channel_alarm_warn, 3, "errno: Alarm & Warn memory allocation failed"},
    };
    qsfp_port_ctx *port = make();
    for (const Case &c : cases) {
        forget_traffic();
        std::vector<char> buf(8192, 'z');
        std::uint32_t written = 77;
        g_fail_at = c.fail_at;
        EXPECT_EQ(c.slot(port, buf.data(), &written, 8192), QSFP_ERR_NO_MEMORY) << c.name;
        EXPECT_EQ(g_fail_at, 0u) << c.name;
        EXPECT_EQ(trace_texts(kErr), std::vector<std::string>{std::string("Controller 0 Port 1: ") + c.message})
            << c.name;
        EXPECT_EQ(cage().stats().transactions, 0u) << c.name;
        EXPECT_EQ(buf[0], 'z') << c.name;
        EXPECT_EQ(written, 77u) << c.name;
    }
}

// The mask report writes its squelch and output lines before it takes the
// masks' buffer.
TEST_F(DomAllocationTest, MaskBufferIsTakenAfterTheControlLines) {
    qsfp_port_ctx *port = make();
    std::vector<char> buf(8192, '\0');
    std::uint32_t written = 77;
    g_fail_at = 1;
    EXPECT_EQ(qsfp_dom_channel_ctrl_monitor_mask(port, buf.data(), &written, 8192), QSFP_ERR_NO_MEMORY);
    EXPECT_EQ(trace_texts(kErr),
              std::vector<std::string>{"Controller 0 Port 1: errno: Alarm & Warn mask memory allocation failed"});
    std::size_t reads = 0;
    for (const auto &t : cage().log()) {
        reads += t.op == qsfp::sim::Op::read && t.reg != 127;
    }
    EXPECT_EQ(reads, 2u);  // bytes 240 and 241
    EXPECT_NE(std::strstr(buf.data(), "RX4    output disable\t\t   NO\n"), nullptr);
    EXPECT_EQ(std::strstr(buf.data(), "M-RX1"), nullptr);
    EXPECT_EQ(written, 77u);
}

}  // namespace
