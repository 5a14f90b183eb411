// Paged register access: bounds, supported pages, write permission, when the
// page-select byte is written, and the cached current page on every path.
#include <array>

#include <gtest/gtest.h>

#include "framework/bare_port.h"
#include "support/stderr_capture.h"
#include "support/trace_reader.h"

namespace {

using namespace qsfp::test;
using qsfp::sim::Op;

class PagedAccessTest : public BarePortTest {};

TEST_F(PagedAccessTest, ReadAcrossTheLowerBoundaryIsRefusedWithoutDirectPaging) {
    qsfp_port_ctx *port = make();
    std::array<std::uint8_t, 4> b{};
    EXPECT_EQ(qsfp_access(port, 126, 4, 0, b.data(), 1), QSFP_ERR_INVALID);
    EXPECT_EQ(trace_texts(kErr),
              std::vector<std::string>{"Controller 0 Port 1: QSFP Access : register address cross lower page boundary\n"});
    EXPECT_EQ(cage().stats().transactions, 0u);
}

TEST_F(PagedAccessTest, ReadAcrossTheLowerBoundaryGoesThroughWithDirectPaging) {
    qsfp_port_ctx *port = make(false, true, false);
    std::array<std::uint8_t, 4> b{};
    EXPECT_EQ(qsfp_access(port, 126, 4, 0, b.data(), 1), QSFP_OK);
    EXPECT_EQ(b[3], pattern(0, 129));
}

TEST_F(PagedAccessTest, ReadPastTheUpperPageIsRefused) {
    qsfp_port_ctx *port = make();
    std::array<std::uint8_t, 4> b{};
    EXPECT_EQ(qsfp_access(port, 254, 4, 3, b.data(), 1), QSFP_ERR_INVALID);
    EXPECT_EQ(trace_texts(kErr),
              std::vector<std::string>{"Controller 0 Port 1: QSFP Access : register address cross upper page boundary\n"});
    EXPECT_EQ(port->cur_page, 0u);  // unchanged on a refused access
}

TEST_F(PagedAccessTest, WritesAreNotBoundsChecked) {
    qsfp_port_ctx *port = make();
    std::array<std::uint8_t, 2> b{0x01, 0x02};
    EXPECT_EQ(qsfp_access(port, 254, 2, 3, b.data(), 0), QSFP_OK);
}

TEST_F(PagedAccessTest, DiagnosticsPage20hIsReachableOnAQsfp28) {
    qsfp_port_ctx *port = make();
    std::uint8_t b = 0;
    EXPECT_EQ(qsfp_access(port, 0xFA, 1, 0x20, &b, 1), QSFP_OK);
    EXPECT_EQ(b, pattern(0x20, 0xFA));
}

TEST_F(PagedAccessTest, PageBeyond03hIsRefusedUnlessRate400Or200OrAnyPage) {
    qsfp_port_ctx *port = make();
    std::uint8_t b = 0;
    EXPECT_EQ(qsfp_access(port, 0x80, 1, 0x11, &b, 1), QSFP_ERR_INVALID);
    EXPECT_EQ(trace_texts(kErr),
              std::vector<std::string>{"Controller 0 Port 1: QSFP Access : requested PAGE 17 is not a supported page\n"});
    port->rate = 400;
    EXPECT_EQ(qsfp_access(port, 0x81, 1, 0x11, &b, 1), QSFP_OK);
    EXPECT_EQ(b, pattern(0x11, 0x81));
    port->rate = 200;
    EXPECT_EQ(qsfp_access(port, 0x81, 1, 0x11, &b, 1), QSFP_OK);
    port->rate = 100;
    port->any_page = 1;
    EXPECT_EQ(qsfp_access(port, 0x81, 1, 0x11, &b, 1), QSFP_OK);
    EXPECT_EQ(qsfp_access(port, 0x81, 1, 0x04, &b, 1), QSFP_OK);
}

TEST_F(PagedAccessTest, WriteToPage1Or2IsRefusedAndReadIsAllowed) {
    qsfp_port_ctx *port = make();
    std::uint8_t b = 0x5A;
    EXPECT_EQ(qsfp_access(port, 0x90, 1, 2, &b, 0), QSFP_ERR_INVALID);
    EXPECT_EQ(qsfp_access(port, 0x90, 1, 1, &b, 0), QSFP_ERR_INVALID);
    EXPECT_EQ(trace_texts(kErr), (std::vector<std::string>{"Controller 0 Port 1: QSFP Access : Invalid access permission\n",
                                                           "Controller 0 Port 1: QSFP Access : Invalid access permission\n"}));
    EXPECT_EQ(cage().stats().transactions, 0u);
    EXPECT_EQ(qsfp_access(port, 0x90, 1, 2, &b, 1), QSFP_OK);
    EXPECT_EQ(b, pattern(2, 0x90));
    b = 0x5A;
    EXPECT_EQ(qsfp_access(port, 0xF0, 1, 3, &b, 0), QSFP_OK);
    EXPECT_EQ(cage().module()->memory().get(3, 0xF0), 0x5A);
}

TEST_F(PagedAccessTest, TwoReadsOfTheSameUpperPageWriteThePageRegisterOnce) {
    qsfp_port_ctx *port = make();
    std::array<std::uint8_t, 16> b{};
    EXPECT_EQ(qsfp_access(port, 128, 16, 3, b.data(), 1), QSFP_OK);
    EXPECT_EQ(qsfp_access(port, 200, 16, 3, b.data(), 1), QSFP_OK);
    const auto stats = cage().stats();
    EXPECT_EQ(stats.page_select_writes, 1u);
    EXPECT_EQ(stats.transactions, 3u);
    EXPECT_EQ(port->cur_page, 3u);
    const auto writes = cage().writes();
    ASSERT_EQ(writes.size(), 1u);
    EXPECT_EQ(writes[0].reg, 127);
    EXPECT_EQ(writes[0].data, std::vector<std::uint8_t>{3});
}

TEST_F(PagedAccessTest, LowerPageAccessAlsoReselectsThePage) {
    qsfp_port_ctx *port = make();
    std::uint8_t b = 0;
    ASSERT_EQ(qsfp_access(port, 200, 1, 3, &b, 1), QSFP_OK);
    ASSERT_EQ(qsfp_access(port, 2, 1, 0, &b, 1), QSFP_OK);
    EXPECT_EQ(cage().stats().page_select_writes, 2u);
    EXPECT_EQ(port->cur_page, 0u);
}

TEST_F(PagedAccessTest, FlatMemoryModuleNeverGetsItsPageRegisterWritten) {
    qsfp_port_ctx *port = make(true);
    std::array<std::uint8_t, 16> b{};
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(qsfp_access(port, 128 + 16 * i, 16, 0, b.data(), 1), QSFP_OK);
        EXPECT_EQ(qsfp_access(port, 16 * i, 16, 0, b.data(), 1), QSFP_OK);
    }
    port->cur_page = 5;  // even a stale cache does not make it write
    EXPECT_EQ(qsfp_access(port, 2, 1, 0, b.data(), 1), QSFP_OK);
    EXPECT_EQ(cage().stats().page_select_writes, 0u);
    EXPECT_EQ(qsfp_access(port, 128, 1, 3, b.data(), 1), QSFP_ERR_INVALID);
    EXPECT_EQ(trace_texts(kErr), std::vector<std::string>{"Controller 0 Port 1: QSFP Access : requested PAGE 3 is beyond "
                                                          "page 0 for this flat memory module\n"});
    EXPECT_EQ(qsfp_set_page(0, port), QSFP_ERR_INVALID);
    EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 1: Flat memory.  Skip setting the page register.\n"));
    EXPECT_EQ(cage().stats().page_select_writes, 0u);
}

TEST_F(PagedAccessTest, DirectReadPathNeverWritesThePageButUpdatesTheCache) {
    qsfp_port_ctx *port = make(false, true, false);
    std::uint8_t b = 0;
    EXPECT_EQ(qsfp_access(port, 0x83, 1, 3, &b, 1), QSFP_OK);
    EXPECT_EQ(b, pattern(3, 0x83));
    EXPECT_EQ(port->cur_page, 3u);
    EXPECT_EQ(cage().stats().page_select_writes, 0u);
    // A raw write to a page other than the cached one selects it first.
    b = 0x11;
    EXPECT_EQ(qsfp_access(port, 0xF0, 1, 0, &b, 0), QSFP_OK);
    EXPECT_EQ(cage().stats().page_select_writes, 1u);
}

TEST_F(PagedAccessTest, DirectWritePathNeverWritesThePage) {
    qsfp_port_ctx *port = make(false, false, true);
    std::uint8_t b = 0x42;
    EXPECT_EQ(qsfp_access(port, 0xF1, 1, 3, &b, 0), QSFP_OK);
    EXPECT_EQ(cage().stats().page_select_writes, 0u);
    EXPECT_EQ(port->cur_page, 3u);
    EXPECT_EQ(cage().module()->memory().get(3, 0xF1), 0x42);
}

TEST_F(PagedAccessTest, FailedPageSelectIsReturnedAndTheCacheKept) {
    qsfp_port_ctx *port = make();
    cage().fail_range(Op::write, -1, 127, 127, 5);
    std::uint8_t b = 0;
    EXPECT_EQ(qsfp_access(port, 0x80, 1, 3, &b, 1), 5u);
    EXPECT_EQ(port->cur_page, 0u);
    EXPECT_EQ(trace_texts(kErr), (std::vector<std::string>{"Controller 0 Port 1: Page update error. rc: 0x5\n",
                                                           "Controller 0 Port 1: cannot set page. rc: 0x5. page 3 last page 0\n"}));
}

TEST_F(PagedAccessTest, TransferErrorIsReturnedUnchangedAndTheBufferIsZeroed) {
    qsfp_port_ctx *port = make();
    cage().fail_range(Op::read, -1, 2, 2, 0x1234);
    std::uint8_t b = 0xEE;
    EXPECT_EQ(qsfp_access(port, 2, 1, 0, &b, 1), 0x1234u);
    EXPECT_EQ(b, 0);
    EXPECT_EQ(trace_texts(kErr),
              std::vector<std::string>{"Controller 0 Port 1: access error. Reg 0x2 Sz 1 page 0 rw 1 rc: 0x1234\n"});
    cage().fail_range(Op::write, -1, 86, 86, 7);
    b = 1;
    EXPECT_EQ(qsfp_access(port, 86, 1, 0, &b, 0), 7u);
    EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 1: access error. Reg 0x56 Sz 1 page 0 rw 0 rc: 0x7\n"));
}

TEST_F(PagedAccessTest, MissingPiecesAreRefused) {
    qsfp_port_ctx *port = make();
    EXPECT_EQ(qsfp_access(port, 0, 1, 0, nullptr, 1), QSFP_ERR_INVALID);
    EXPECT_EQ(qsfp_access(nullptr, 0, 1, 0, port, 1), QSFP_ERR_INVALID);
    const auto read = port->read;
    port->read = nullptr;
    std::uint8_t b = 0;
    EXPECT_EQ(qsfp_access(port, 0, 1, 0, &b, 1), QSFP_ERR_INVALID);
    port->read = read;
    EXPECT_EQ(trace_texts(kErr), (std::vector<std::string>{"Controller 0 Port 1: QSFP Access : Call with empty parameters\n",
                                                           "NULL Qsfp Port\n",
                                                           "Controller 0 Port 1: QSFP Access : Call with empty parameters\n"}));
    EXPECT_EQ(qsfp_set_page(0, nullptr), QSFP_ERR_INVALID);
}

TEST_F(PagedAccessTest, SetPageWritesByte127WithoutTouchingTheCache) {
    qsfp_port_ctx *port = make();
    EXPECT_EQ(qsfp_set_page(2, port), QSFP_OK);
    EXPECT_EQ(port->cur_page, 0u);
    EXPECT_EQ(cage().module()->selected_page(), 2);
}

}  // namespace

namespace {

// Lengths and addresses the module map cannot hold are refused before any
// byte moves, whatever the path: no length wraps the bounds arithmetic.
TEST_F(PagedAccessTest, HugeLengthOfAPagedReadIsACrossingNotAWrap) {
    qsfp_port_ctx *port = make();
    std::array<std::uint8_t, 4> b{};
    EXPECT_EQ(qsfp_access(port, 200, 0xFFFFFFF0u, 3, b.data(), 1), QSFP_ERR_INVALID);
    EXPECT_EQ(trace_texts(kErr),
              std::vector<std::string>{"Controller 0 Port 1: QSFP Access : register address cross upper page boundary\n"});
    EXPECT_EQ(cage().stats().transactions, 0u);
}

TEST_F(PagedAccessTest, DirectPageReadBeyondTheModuleMapIsRefused) {
    qsfp_port_ctx *port = make(false, true, true);
    std::array<std::uint8_t, 4> b{};
    EXPECT_EQ(qsfp_access(port, 128, 0xFFFFFF80u, 3, b.data(), 1), QSFP_ERR_INVALID);
    EXPECT_EQ(trace_texts(kErr), std::vector<std::string>{
                                     "Controller 0 Port 1: QSFP Access : Reg 0x80 Sz 4294967168 page 3 beyond the module map\n"});
    clear_traces();
    EXPECT_EQ(qsfp_access(port, 300, 1, 0, b.data(), 1), QSFP_ERR_INVALID);
    EXPECT_EQ(qsfp_access(port, 130, 1, 0x103, b.data(), 1), QSFP_ERR_INVALID);
    EXPECT_EQ(trace_texts(kErr).size(), 2u);
    EXPECT_EQ(cage().stats().transactions, 0u);
    // The whole SFF-8636 image in one read is within the map.
    std::array<std::uint8_t, 640> image{};
    EXPECT_EQ(qsfp_access(port, 0, 640, 0, image.data(), 1), QSFP_OK);
}

TEST_F(PagedAccessTest, WriteBeyondTheModuleMapIsRefused) {
    qsfp_port_ctx *port = make();
    std::array<std::uint8_t, 2> b{0x01, 0x02};
    EXPECT_EQ(qsfp_access(port, 254, 0xFFFFFFFFu, 3, b.data(), 0), QSFP_ERR_INVALID);
    EXPECT_EQ(trace_texts(kErr), std::vector<std::string>{
                                     "Controller 0 Port 1: QSFP Access : Reg 0xfe Sz 4294967295 page 3 beyond the module map\n"});
    EXPECT_EQ(cage().stats().transactions, 0u);
    EXPECT_EQ(port->cur_page, 0u);
}

}  // namespace
