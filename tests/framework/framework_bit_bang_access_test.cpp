// The bit-banged read path: the read half of the paged access with its own
// messages, page set and page-select rule.
#include <array>

#include <gtest/gtest.h>

#include "framework/bare_port.h"
#include "support/trace_reader.h"

namespace {

using namespace qsfp::test;
using qsfp::sim::Op;

class BitBangAccessTest : public BarePortTest {};

TEST_F(BitBangAccessTest, ReadsThroughTheBitBangFunctionWithItsArgument) {
    qsfp_port_ctx *port = make();
    std::array<std::uint8_t, 12> flags{};
    EXPECT_EQ(qsfp_special_bit_bang_read(port, 3, 12, 0, flags.data(), 200000), QSFP_OK);
    const auto log = cage().log();
    ASSERT_EQ(log.size(), 1u);
    EXPECT_TRUE(log[0].bit_bang);
    EXPECT_EQ(log[0].reg, 3);
    EXPECT_EQ(log[0].len, 12u);
    EXPECT_EQ(cage().stats().delay_ns, 11u * 200000);
}

TEST_F(BitBangAccessTest, BoundsAreTestedWithoutDirectPaging) {
    qsfp_port_ctx *port = make();
    std::array<std::uint8_t, 4> b{};
    EXPECT_EQ(qsfp_special_bit_bang_read(port, 126, 4, 0, b.data(), 0), QSFP_ERR_INVALID);
    EXPECT_EQ(qsfp_special_bit_bang_read(port, 254, 4, 0, b.data(), 0), QSFP_ERR_INVALID);
    EXPECT_EQ(trace_texts(kErr),
              (std::vector<std::string>{"Controller 0 Port 1: bb QSFP Access : register address cross lower page boundary\n",
                                        "Controller 0 Port 1: bb QSFP Access : register address cross upper page boundary\n"}));
}

TEST_F(BitBangAccessTest, DirectPagingSkipsBoundsAndPageSelect) {
    qsfp_port_ctx *port = make(false, true);
    std::array<std::uint8_t, 4> b{};
    EXPECT_EQ(qsfp_special_bit_bang_read(port, 126, 4, 0, b.data(), 0), QSFP_OK);
    EXPECT_EQ(qsfp_special_bit_bang_read(port, 130, 1, 3, b.data(), 0), QSFP_OK);
    EXPECT_EQ(port->cur_page, 3u);
    EXPECT_EQ(cage().stats().page_select_writes, 0u);
}

TEST_F(BitBangAccessTest, OnlyPages0To3And20hAnd21hWhateverTheRate) {
    qsfp_port_ctx *port = make();
    port->rate = 400;  // no exception for CMIS rates on this path
    std::uint8_t b = 0;
    EXPECT_EQ(qsfp_special_bit_bang_read(port, 0x80, 1, 0x11, &b, 0), QSFP_ERR_INVALID);
    EXPECT_EQ(trace_texts(kErr),
              std::vector<std::string>{"Controller 0 Port 1: bb QSFP Access : requested PAGE 17 is not a supported page\n"});
    EXPECT_EQ(qsfp_special_bit_bang_read(port, 0x80, 1, 0x21, &b, 0), QSFP_OK);
    port->any_page = 1;
    EXPECT_EQ(qsfp_special_bit_bang_read(port, 0x80, 1, 0x11, &b, 0), QSFP_OK);
}

TEST_F(BitBangAccessTest, FlatMemoryRefusesUpperPagesOtherThan0) {
    qsfp_port_ctx *port = make();
    port->flat_mem = 1;
    std::uint8_t b = 0;
    EXPECT_EQ(qsfp_special_bit_bang_read(port, 0x80, 1, 2, &b, 0), QSFP_ERR_INVALID);
    EXPECT_EQ(trace_texts(kErr), std::vector<std::string>{"Controller 0 Port 1: bb QSFP Access : requested PAGE 2 is beyond "
                                                          "page 0 for this flat memory module\n"});
}

TEST_F(BitBangAccessTest, NoPermissionCheckAndPageWrittenWhenTheCacheDiffers) {
    qsfp_port_ctx *port = make();
    std::uint8_t b = 0;
    EXPECT_EQ(qsfp_special_bit_bang_read(port, 0x90, 1, 2, &b, 0), QSFP_OK);
    EXPECT_EQ(b, pattern(2, 0x90));
    EXPECT_EQ(qsfp_special_bit_bang_read(port, 0x91, 1, 2, &b, 0), QSFP_OK);
    EXPECT_EQ(cage().stats().page_select_writes, 1u);
}

TEST_F(BitBangAccessTest, FailuresCarryTheirOwnMessages) {
    qsfp_port_ctx *port = make();
    cage().fail_range(Op::write, -1, 127, 127, 5, 1);
    std::uint8_t b = 0;
    EXPECT_EQ(qsfp_special_bit_bang_read(port, 0x80, 1, 3, &b, 0), 5u);
    EXPECT_EQ(port->cur_page, 0u);
    cage().fail_range(Op::read, -1, 3, 14, 9);
    std::array<std::uint8_t, 12> flags{};
    flags.fill(0xEE);
    EXPECT_EQ(qsfp_special_bit_bang_read(port, 3, 12, 0, flags.data(), 0), 9u);
    EXPECT_EQ(flags, (std::array<std::uint8_t, 12>{}));
    EXPECT_EQ(trace_texts(kErr), (std::vector<std::string>{
                                     "Controller 0 Port 1: Page update error. rc: 0x5\n",
                                     "Controller 0 Port 1: bb cannot set page. rc: 0x5\n",
                                     "Controller 0 Port 1: bb access error. Reg 0x3 Sz 12 page 0 read rc: 0x9\n",
                                 }));
}

TEST_F(BitBangAccessTest, MissingPiecesAreRefused) {
    qsfp_port_ctx *port = make();
    std::uint8_t b = 0;
    EXPECT_EQ(qsfp_special_bit_bang_read(nullptr, 3, 1, 0, &b, 0), QSFP_ERR_INVALID);
    EXPECT_EQ(qsfp_special_bit_bang_read(port, 3, 1, 0, nullptr, 0), QSFP_ERR_INVALID);
    port->bit_bang_read = nullptr;
    EXPECT_EQ(qsfp_special_bit_bang_read(port, 3, 1, 0, &b, 0), QSFP_ERR_INVALID);
    EXPECT_EQ(trace_texts(kErr), (std::vector<std::string>{
                                     "bb NULL Qsfp Port\n",
                                     "Controller 0 Port 1: bb QSFP Access : Call with empty parameters\n",
                                     "Controller 0 Port 1: bb QSFP Access : Call with empty parameters\n",
                                 }));
}

}  // namespace

namespace {

TEST_F(BitBangAccessTest, HugeLengthIsACrossingNotAWrap) {
    qsfp_port_ctx *port = make();
    std::array<std::uint8_t, 4> b{};
    EXPECT_EQ(qsfp_special_bit_bang_read(port, 3, 0xFFFFFFFEu, 0, b.data(), 0), QSFP_ERR_INVALID);
    EXPECT_EQ(trace_texts(kErr),
              std::vector<std::string>{"Controller 0 Port 1: bb QSFP Access : register address cross lower page boundary\n"});
    EXPECT_EQ(cage().stats().transactions, 0u);
}

TEST_F(BitBangAccessTest, DirectPagingRefusesLengthsBeyondTheModuleMap) {
    qsfp_port_ctx *port = make(false, true);
    std::array<std::uint8_t, 4> b{};
    EXPECT_EQ(qsfp_special_bit_bang_read(port, 3, 0xFFFFFFFEu, 0, b.data(), 0), QSFP_ERR_INVALID);
    EXPECT_EQ(trace_texts(kErr), std::vector<std::string>{
                                     "Controller 0 Port 1: bb QSFP Access : Reg 0x3 Sz 4294967294 page 0 beyond the module map\n"});
    EXPECT_EQ(cage().stats().transactions, 0u);
}

}  // namespace
