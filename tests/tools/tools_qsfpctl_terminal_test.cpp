// qsfpctl on a terminal: the program run under script(1), which gives it a
// pseudo-terminal, so the progress bar of a firmware download is redrawn in
// place and watch clears the screen and colours the alarms.
#include <gtest/gtest.h>

#include "qsfpctl_harness.h"

namespace {

// `args` run by the program on a pseudo-terminal; the timeout bounds it.
qsfpctl::test::Outcome on_terminal(const std::string &args) {
    return qsfpctl::test::shell("timeout 60 script -qfec \"" + std::string(QSFPCTL_PROGRAM) + " " + args +
                                "\" /dev/null </dev/null");
}

TEST(QsfpctlTerminal, DownloadProgressBarIsRedrawnInPlace) {
    const auto dir = qsfpctl::test::scratch_dir("terminal_cdb");
    std::vector<std::uint8_t> image(64 + 2048 * 3, 0xA5);
    qsfpctl::test::write_file(dir / "fw.bin", image);
    const auto r = on_terminal("cdb 9 download " + (dir / "fw.bin").string() + " --run --commit");
    ASSERT_EQ(r.code, 0) << r.out;
    // The terminal turns each newline into CR LF.
    EXPECT_EQ(r.out.rfind("\rcage 9 [..............................] 0% 0/6208 bytes\x1b[K\r\n", 0), 0u) << r.out;
    // Redrawn: the cursor goes up one line (one cage) and the line is rewritten.
    EXPECT_NE(r.out.find("\x1b[1A\rcage 9 ["), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("\x1b[1A\rcage 9 [##############################] 100% 6144/6208 bytes done\x1b[K\r\n"),
              std::string::npos)
        << r.out;
    EXPECT_NE(r.out.find("cage 9: Last epl block download success. CDB command run executed. "
                         "CDB command commit executed. CDB operation SUCCESS.\r\n"),
              std::string::npos);
}

TEST(QsfpctlTerminal, WatchClearsTheScreenAndColoursAlarms) {
    const auto r = on_terminal("watch 2 --count 2 --interval 0");
    ASSERT_EQ(r.code, 0) << r.out;
    EXPECT_EQ(r.out.rfind("\x1b[H\x1b[2Jcage 2 (emulated KORVA-100G-LR4-TEC), view 1 at ", 0), 0u) << r.out;
    EXPECT_NE(r.out.find("\x1b[H\x1b[2Jcage 2 (emulated KORVA-100G-LR4-TEC), view 2 at "), std::string::npos);
    // The dark Rx lane 3 (low alarm) in red; a lane without flags uncoloured.
    EXPECT_NE(r.out.find("\x1b[1;31mlane 3  rx_power dBm   -40.00"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("\r\nlane 2  rx_power dBm   "), std::string::npos) << r.out;
}

}  // namespace
