// The emulated bus of one cage: both bus modes, faults, log and accounting.
#include <array>
#include <memory>

#include <gtest/gtest.h>

#include <qsfp/sim/cage.h>

namespace {

using namespace qsfp::sim;

std::unique_ptr<Module> module_with_pages() {
    ModuleMemory m;
    m.set(0, 0, 0x11);
    m.set(0, 126, 0x7E);
    for (std::uint8_t p : {0, 1, 2, 3}) {
        m.add_page(p);
        for (unsigned a = 128; a < 256; ++a) {
            m.set(p, static_cast<std::uint8_t>(a), static_cast<std::uint8_t>(p * 0x10 + (a & 0x0F)));
        }
    }
    m.set_writable(0, 86, 126);
    return std::make_unique<Module>(std::move(m));
}

class CageTest : public ::testing::Test {
protected:
    void SetUp() override { cage_.insert(module_with_pages()); }
    Cage cage_;
};

TEST_F(CageTest, RawModeReachesThePageByte127Selects) {
    std::uint8_t page = 2;
    ASSERT_EQ(cage_.write(127, 0, 1, &page), 0u);
    std::uint8_t b = 0;
    ASSERT_EQ(cage_.read(130, 0 /* ignored */, 1, &b), 0u);
    EXPECT_EQ(b, 0x22);
}

TEST_F(CageTest, RawReadRunsOnFromLowerIntoTheSelectedPage) {
    std::array<std::uint8_t, 4> b{};
    ASSERT_EQ(cage_.read(126, 0, 4, b.data()), 0u);
    EXPECT_EQ(b, (std::array<std::uint8_t, 4>{0x7E, 0x00, 0x00, 0x01}));
}

TEST_F(CageTest, RawAddressCounterWrapsAfter255) {
    std::array<std::uint8_t, 2> b{};
    ASSERT_EQ(cage_.read(255, 0, 2, b.data()), 0u);
    EXPECT_EQ(b[0], 0x0F);
    EXPECT_EQ(b[1], 0x11);  // byte 0
}

TEST_F(CageTest, DirectModeReadsTheNamedPageWithoutTouchingByte127) {
    cage_.set_direct_page(true, true);
    std::uint8_t b = 0;
    ASSERT_EQ(cage_.read(131, 3, 1, &b), 0u);
    EXPECT_EQ(b, 0x33);
    EXPECT_EQ(cage_.module()->selected_page(), 0);
    EXPECT_EQ(cage_.stats().page_select_writes, 0u);
}

TEST_F(CageTest, DirectModeWholeImageReadIsLinear) {
    cage_.set_direct_page(true, true);
    std::vector<std::uint8_t> image(640);
    ASSERT_EQ(cage_.read(0, 0, 640, image.data()), 0u);
    EXPECT_EQ(image[0], 0x11);
    EXPECT_EQ(image[128], 0x00);
    EXPECT_EQ(image[256 + 1], 0x11);  // page 01h byte 129
    EXPECT_EQ(image[512 + 15], 0x3F); // page 03h byte 143
}

TEST_F(CageTest, DirectModeRefusesPagesTheModuleLacks) {
    cage_.set_direct_page(true, true);
    std::uint8_t b = 0;
    EXPECT_EQ(cage_.read(128, 0x11, 1, &b), kBadPageCode);
}

TEST_F(CageTest, EmptyCageAnswersNoModule) {
    auto module = cage_.pull();
    std::uint8_t b = 0;
    EXPECT_EQ(cage_.read(0, 0, 1, &b), kNoModuleCode);
    EXPECT_EQ(cage_.write(86, 0, 1, &b), kNoModuleCode);
    EXPECT_EQ(cage_.stats().failed, 2u);
}

TEST_F(CageTest, RangeFaultFailsOnlyMatchingAccesses) {
    cage_.fail_range(Op::read, -1, 2, 2, 5);
    std::uint8_t b[4] = {};
    EXPECT_EQ(cage_.read(2, 0, 1, b), 5u);
    EXPECT_EQ(cage_.read(0, 0, 4, b), 5u);  // overlaps byte 2
    EXPECT_EQ(cage_.read(3, 0, 1, b), 0u);
    EXPECT_EQ(cage_.write(2, 0, 1, b), 0u);  // writes are not affected
}

TEST_F(CageTest, UpperRangeFaultMatchesItsPageOnly) {
    cage_.set_direct_page(true, true);
    cage_.fail_range(Op::any, 3, 128, 255, 7);
    std::uint8_t b = 0;
    EXPECT_EQ(cage_.read(200, 3, 1, &b), 7u);
    EXPECT_EQ(cage_.read(200, 2, 1, &b), 0u);
}

TEST_F(CageTest, CountedFaultExpires) {
    cage_.fail_range(Op::read, -1, 0, 127, 9, 2);
    std::uint8_t b = 0;
    EXPECT_EQ(cage_.read(0, 0, 1, &b), 9u);
    EXPECT_EQ(cage_.read(0, 0, 1, &b), 9u);
    EXPECT_EQ(cage_.read(0, 0, 1, &b), 0u);
}

TEST_F(CageTest, NthAccessFails) {
    cage_.fail_nth_access(2, 11);
    std::uint8_t b = 0;
    EXPECT_EQ(cage_.read(0, 0, 1, &b), 0u);
    EXPECT_EQ(cage_.read(0, 0, 1, &b), 11u);
    EXPECT_EQ(cage_.read(0, 0, 1, &b), 0u);
}

TEST_F(CageTest, ModulePulledAtTheNthAccessLeavesTheCageEmptyFromThere) {
    std::uint8_t b = 0;
    cage_.pull_at_nth_access(2);
    EXPECT_EQ(cage_.read(0, 0, 1, &b), 0u);
    EXPECT_EQ(cage_.read(0, 0, 1, &b), kNoModuleCode);
    EXPECT_EQ(cage_.read(0, 0, 1, &b), kNoModuleCode);
    EXPECT_EQ(cage_.module(), nullptr);
    std::unique_ptr<Module> back = cage_.pulled();
    ASSERT_NE(back, nullptr);
    cage_.insert(std::move(back));
    EXPECT_EQ(cage_.read(0, 0, 1, &b), 0u);
}

TEST_F(CageTest, FailedWriteChangesNothing) {
    cage_.fail_range(Op::write, -1, 86, 86, 5);
    std::uint8_t v = 0x0F;
    EXPECT_EQ(cage_.write(86, 0, 1, &v), 5u);
    EXPECT_EQ(cage_.module()->memory().get(0, 86), 0);
}

TEST_F(CageTest, LogRecordsWritesWithTheirPageAndBytes) {
    std::uint8_t page = 3;
    cage_.write(127, 0, 1, &page);
    std::uint8_t data[2] = {0xAA, 0xBB};
    cage_.write(86, 0, 2, data);
    const auto writes = cage_.writes();
    ASSERT_EQ(writes.size(), 2u);
    EXPECT_EQ(writes[0].reg, 127);
    EXPECT_EQ(writes[0].data, std::vector<std::uint8_t>{3});
    EXPECT_EQ(writes[1].reg, 86);
    EXPECT_EQ(writes[1].data, (std::vector<std::uint8_t>{0xAA, 0xBB}));
    cage_.clear_log();
    EXPECT_TRUE(cage_.log().empty());
}

TEST_F(CageTest, FullLogDropsItsOldestTransactionsAndKeepsCounting) {
    cage_.set_log_capacity(3);
    for (std::uint8_t v = 1; v <= 5; ++v) {
        cage_.write(86, 0, 1, &v);
    }
    const auto held = cage_.log();
    ASSERT_EQ(held.size(), 3u);
    EXPECT_EQ(held.front().data, std::vector<std::uint8_t>{3});
    EXPECT_EQ(held.back().data, std::vector<std::uint8_t>{5});
    EXPECT_EQ(cage_.logged(), 5u);
    EXPECT_EQ(cage_.stats().transactions, 5u);
    cage_.set_log_capacity(0);
    std::uint8_t b = 0;
    EXPECT_EQ(cage_.read(0, 0, 1, &b), 0u);
    EXPECT_TRUE(cage_.log().empty());
    EXPECT_EQ(cage_.logged(), 6u);
    cage_.clear_log();
    EXPECT_EQ(cage_.logged(), 0u);
}

TEST_F(CageTest, AccountingCountsBitsOfEachTransaction) {
    std::uint8_t b[8] = {};
    cage_.read(0, 0, 8, b);     // 3 + 9 * (3 + 8) = 102 bits
    cage_.write(127, 0, 1, b);  // 2 + 9 * (2 + 1) = 29 bits
    const BusStats s = cage_.stats();
    EXPECT_EQ(s.transactions, 2u);
    EXPECT_EQ(s.bytes_read, 8u);
    EXPECT_EQ(s.bytes_written, 1u);
    EXPECT_EQ(s.page_select_writes, 1u);
    EXPECT_EQ(s.bits, 131u);
    EXPECT_DOUBLE_EQ(s.seconds_at(kBus100kHz), 131e-5);
    EXPECT_DOUBLE_EQ(s.seconds_at(kBus400kHz), 131 / 400000.0);
    EXPECT_DOUBLE_EQ(s.seconds_at(kBus1MHz), 131e-6);
    cage_.reset_stats();
    EXPECT_EQ(cage_.stats().transactions, 0u);
}

TEST_F(CageTest, BitBangReadMovesOneByteAtATime) {
    std::uint8_t b[12] = {};
    ASSERT_EQ(cage_.bit_bang_read(3, 0, 12, b, 1000), 0u);
    const BusStats s = cage_.stats();
    EXPECT_EQ(s.transactions, 12u);
    EXPECT_EQ(s.bits, 12u * (3 + 9 * 4));
    EXPECT_EQ(s.delay_ns, 11u * 1000);
    EXPECT_TRUE(cage_.log().back().bit_bang);
}

TEST_F(CageTest, CFunctionsReachTheCageThroughOpaque) {
    std::uint8_t b = 0;
    EXPECT_EQ(qsfp_sim_read(cage_.opaque(), 0, 0, 1, &b), 0u);
    EXPECT_EQ(b, 0x11);
    b = 0x05;
    EXPECT_EQ(qsfp_sim_write(cage_.opaque(), 86, 0, 1, &b), 0u);
    EXPECT_EQ(cage_.module()->memory().get(0, 86), 0x05);
    EXPECT_EQ(qsfp_sim_read(0, 0, 0, 1, &b), kNoModuleCode);
}

}  // namespace
