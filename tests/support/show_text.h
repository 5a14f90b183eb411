// The show text of a port through the port operation, as a string; the
// operation's answer, the text's presence and its reported length are checked.
#pragma once

#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include <qsfp/qsfp_port_ops.h>

namespace qsfp::test {

inline std::string show_text(qsfp_port_ctx *port, std::uint32_t expected_rc = QSFP_OK) {
    void *text = nullptr;
    std::uint32_t len = 0;
    EXPECT_EQ(qsfp_port_phy_reg_decode(port, &text, &len), expected_rc);
    EXPECT_NE(text, nullptr);
    std::string out = text != nullptr ? static_cast<char *>(text) : "";
    EXPECT_EQ(len, out.size() + 1);
    std::free(text);
    return out;
}

}  // namespace qsfp::test
