// Bring-up of named catalogue modules against the exact ordered list of
// module writes, the exact waits in virtual time, the ready flag and the
// cool-timer duration; and classification of every catalogue module.
#include <chrono>

#include <gtest/gtest.h>

#include <qsfp/platform_ref.h>
#include <qsfp/sim/catalogue.h>

#include "sff8636/sff_port.h"

namespace {

using namespace qsfp::test;
using qsfp::sim::Sff8636Module;

struct Write {
    std::uint8_t page;
    std::uint8_t reg;
    std::vector<std::uint8_t> data;
    bool operator==(const Write &) const = default;
};

void PrintTo(const Write &w, std::ostream *os) {
    *os << "p" << int(w.page) << " r" << int(w.reg) << " [";
    for (auto b : w.data) *os << ' ' << int(b);
    *os << " ]";
}

struct BringUp {
    const char *name;
    Sff8636Module::Timing timing;
    std::vector<Write> writes;
    std::vector<std::uint64_t> sleeps_us;
    bool ready;
    std::uint64_t cool_timer_ns;  // 0: not running
    bool keepalive;
};

void PrintTo(const BringUp &b, std::ostream *os) { *os << b.name; }

const Sff8636Module::Timing kTecAfter2s{std::chrono::nanoseconds(0), std::chrono::seconds(2)};

// Lane settings and every creation option are zero, so the SI writes carry 0.
const std::vector<Write> kTxOff = {{0, 86, {0x0F}}};
const std::vector<Write> kSi = {{3, 234, {0, 0}}, {3, 236, {0, 0}}, {3, 238, {0, 0}}};

std::vector<Write> concat(std::initializer_list<std::vector<Write>> parts) {
    std::vector<Write> out;
    for (const auto &p : parts) out.insert(out.end(), p.begin(), p.end());
    return out;
}

const BringUp kBringUps[] = {
    // Cooled maker-qualified LR4 whose TEC settles after 2 s: five 5 ms polls,
    // then the module's own 4 s (page 03h byte 228) on the cool timer.
    {"KORVA-100G-LR4-TEC", kTecAfter2s,
     concat({kTxOff, {{0, 107, {0x01}}, {0, 93, {0x01}}}, kSi}),
     {100000, 300000, 5000, 5000, 5000, 5000, 5000}, false, 4000000000ull, false},
    // Plain SR4: a fixed equaliser, so 300 ms on the cool timer.
    {"100G-SR4", {}, concat({kTxOff, {{0, 93, {0x01}}}, kSi}), {100000, 300000}, false, 300000000ull, false},
    // PSM4 with both squelch-disable controls: Tx squelch off first, 1 s.
    {"100G-PSM4", {}, concat({{{3, 240, {0x0F}}}, kTxOff, {{0, 93, {0x01}}}, kSi}), {1000000, 100000, 300000}, false,
     300000000ull, false},
    // Flat copper: nothing written, ready at once.
    {"100G-CR4-FLAT", {}, {}, {300000}, true, 0, false},
    // SOURCE PHOTONICS LR4: adaptive equaliser byte cleared, fixed EQ, no wait.
    {"100G-LR4-SOURCE-PHOTONICS", {}, concat({kTxOff, {{0, 93, {0x01}}, {3, 241, {0x00}}}, kSi}), {100000, 300000},
     true, 0, false},
    // DWDM2: power class 6 enabled, TEC masked and settled, keep-alive armed.
    {"100G-DWDM2", {}, concat({kTxOff, {{0, 107, {0x01}}, {0, 93, {0x04}}, {0, 93, {0x05}}}, kSi}), {100000, 300000},
     false, 300000000ull, true},
};

class BringUpTest : public SffPortTest, public ::testing::WithParamInterface<BringUp> {};

TEST_P(BringUpTest, WritesWaitsReadyFlagAndTimers) {
    const BringUp &b = GetParam();
    insert(0, qsfp::sim::make_module(b.name, b.timing));
    qsfp_port_create_params p = params(0);
    p.init_arg = 1;
    qsfp::sim::VirtualClock::instance().clear_sleeps();
    qsfp_port_ctx *port = create(p, QSFP_OK);
    ASSERT_NE(port, nullptr);

    std::vector<Write> writes;
    for (const auto &t : data_writes()) writes.push_back({t.page, t.reg, t.data});
    EXPECT_EQ(writes, b.writes);
    EXPECT_EQ(sleeps(), b.sleeps_us);
    EXPECT_EQ(is_ready(port), b.ready);
    if (b.cool_timer_ns != 0) {
        EXPECT_EQ(mgd_timer_ref_deadline_ns(port->cool_timer) - mgd_timer_ref_now_ns(port->cool_timer), b.cool_timer_ns);
    } else {
        EXPECT_EQ(mgd_timer_leaf_running(port->cool_timer), 0);
    }
    EXPECT_EQ(port->keepalive_timer != nullptr && mgd_timer_leaf_running(port->keepalive_timer) != 0, b.keepalive);
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: Init done\n"));

    // The settle period ends with the lanes asked for meanwhile.
    if (!b.ready) {
        qsfp_port_admin_state(port, 0, 1, 0x0F);
        EXPECT_EQ(port->ready_lanes, 0x0Fu);
        usleep(static_cast<useconds_t>(b.cool_timer_ns / 1000));
        EXPECT_EQ(port->cool_expired, 1u);
        EXPECT_EQ(settle_of(port), Settle::ready);
        EXPECT_EQ(byte(0, 86), 0x00);
    }
}

INSTANTIATE_TEST_SUITE_P(NamedModules, BringUpTest, ::testing::ValuesIn(kBringUps));

TEST_F(SffPortTest, EveryCatalogueModuleClassifiesAsItsTablesSay) {
    const auto &entries = qsfp::sim::catalogue();
    ASSERT_GE(entries.size(), 100u);
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const auto &e = entries[i];
        insert(i % 60, qsfp::sim::make_module(e));
        qsfp_port_create_params p = params(i % 60);
        qsfp_port_create_result result{};
        const std::uint32_t rc = qsfp_port_create(&p, &result);
        ASSERT_NE(result.handle, nullptr) << e.name;
        const bool bound = rc != QSFP_ERR_NOT_READY;  // an identifier the library does not serve
        if (bound) {
            EXPECT_EQ(result.handle->hw_info.qsfp_type, e.type_code) << e.name;
            EXPECT_EQ(std::string(result.handle->hw_info.qsfp_type_str), e.type_string) << e.name;
            EXPECT_EQ(result.handle->flat_mem, e.flat ? 1u : 0u) << e.name;
            EXPECT_EQ(result.handle->any_page, e.dwdm ? 1u : 0u) << e.name;
            EXPECT_EQ(state(result.handle).is_korva_qualified, e.maker_qualified ? 1u : 0u) << e.name;
            EXPECT_EQ(result.handle->hw_info.compliance, 0u) << e.name;
        } else {
            EXPECT_EQ(e.type_code, 0u) << e.name;
        }
        qsfp_port_delete(result.handle);
    }
}

}  // namespace
