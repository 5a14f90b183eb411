// The 22-row register dump.
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include "framework/bare_port.h"
#include "support/stderr_capture.h"
#include "support/trace_reader.h"

namespace {

using namespace qsfp::test;
using qsfp::sim::Op;

const char *const kRows[][2] = {
    {"0x0000", "QSFP_Ident"},
    {"0x0002", "Data_Ready_Status"},
    {"0x0003", "RX LOSS"},
    {"0x0004", "TX FAULT STATUS"},
    {"0x0005", "TX CDR LOL STATUS"},
    {"0x0006", "Interrupt Flag"},
    {"0x0056", "TX DISABLE"},
    {"0x0062", "TX CDR CNTL"},
    {"0x0080", "Identifier"},
    {"0x0081", "Extended Identifer"},
    {"0x0083", "Ether compliance"},
    {"0x0093", "Device Technology"},
    {"0x00C0", "Ext Ether compliance"},
    {"0x00C1", "TX CTLE"},
    {"0x00C2", "CDR Power"},
    {"0x00EA", "TX12 Input Eq control"},
    {"0x00EB", "TX34 Input Eq control"},
    {"0x00EC", "RX12 Output Emphasis control"},
    {"0x00ED", "RX34 Output Emphasis control"},
    {"0x00EE", "RX12 Output Amp control"},
    {"0x00EF", "RX34 Output Amp control"},
    {"0x00F1", "TXRX Output Disable"},
};

std::string expected_dump(qsfp::sim::Module &m) {
    std::string text = "\nOPTICS registers:\n";
    for (const auto &row : kRows) {
        const auto reg = static_cast<std::uint8_t>(std::strtoul(row[0], nullptr, 16));
        char line[80];
        std::snprintf(line, sizeof line, "%s \t  %-30s \t : 0x%08X\n", row[0], row[1], m.read_byte(0, reg));
        text += line;
    }
    return text;
}

class RegDumpTest : public BarePortTest {};

TEST_F(RegDumpTest, DumpsThe22RowsInTableOrder) {
    qsfp_port_ctx *port = make();
    char *text = nullptr;
    std::uint32_t size = 0;
    ASSERT_EQ(qsfp_port_read_reg(port, &text, &size), QSFP_OK);
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(size, 1500u);
    EXPECT_EQ(std::string(text), expected_dump(*card().cage(0).module()));
    EXPECT_EQ(card().cage(0).stats().transactions, 22u);
    std::free(text);
}

TEST_F(RegDumpTest, ReselectsPage0FirstWhenAnotherPageIsCached) {
    qsfp_port_ctx *port = make();
    std::uint8_t b = 0;
    qsfp_access(port, 0x80, 1, 3, &b, 1);
    card().cage(0).reset_stats();
    char *text = nullptr;
    std::uint32_t size = 0;
    ASSERT_EQ(qsfp_reg_access(port, &text, &size, 1), QSFP_OK);
    EXPECT_EQ(card().cage(0).stats().page_select_writes, 1u);
    EXPECT_EQ(port->cur_page, 0u);
    std::free(text);
}

TEST_F(RegDumpTest, FailedRowIsTracedAndTheDumpGoesOn) {
    qsfp_port_ctx *port = make();
    card().cage(0).fail_range(Op::read, -1, 0x56, 0x56, 5);
    char *text = nullptr;
    std::uint32_t size = 0;
    EXPECT_EQ(qsfp_reg_access(port, &text, &size, 1), QSFP_OK);  // the last row's result
    EXPECT_EQ(trace_texts(kErr),
              std::vector<std::string>{"Controller 0 Port 1: access error. Reg TX DISABLE Sz 1 page 0 rw 1 rc: 0x5\n"});
    EXPECT_NE(std::string(text).find("0x0056 \t  TX DISABLE                     \t : 0x00000000\n"), std::string::npos);
    std::free(text);
}

TEST_F(RegDumpTest, FailedLastRowDecidesTheResult) {
    qsfp_port_ctx *port = make();
    card().cage(0).fail_range(Op::read, -1, 0xF1, 0xF1, 7);
    char *text = nullptr;
    std::uint32_t size = 0;
    EXPECT_EQ(qsfp_reg_access(port, &text, &size, 1), 7u);
    EXPECT_NE(text, nullptr);
    std::free(text);
}

TEST_F(RegDumpTest, FailedPageSelectStopsTheDump) {
    qsfp_port_ctx *port = make();
    port->cur_page = 3;
    card().cage(0).fail_range(Op::write, -1, 127, 127, 5);
    char *text = nullptr;
    std::uint32_t size = 0;
    EXPECT_EQ(qsfp_reg_access(port, &text, &size, 1), 5u);
    EXPECT_EQ(text, nullptr);
    EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 1: cannot set page. rc: 0x5. page 0 last page 3\n"));
}

TEST_F(RegDumpTest, MissingPiecesAreRefused) {
    qsfp_port_ctx *port = make();
    std::uint32_t size = 0;
    EXPECT_EQ(qsfp_reg_access(port, nullptr, &size, 1), QSFP_ERR_INVALID);
    EXPECT_EQ(trace_texts(kErr),
              std::vector<std::string>{"Controller 0 Port 1: QSFP REG Access : Call with empty parameters\n"});
    StderrCapture err;
    char *text = nullptr;
    EXPECT_EQ(qsfp_port_read_reg(nullptr, &text, &size), QSFP_ERR_INVALID);
    EXPECT_EQ(err.take(), "qsfp port read check hdl failed \n");
}

}  // namespace
