// The installed program itself: main() passes arguments, output and the exit
// code through unchanged.
#include <gtest/gtest.h>

#include "exit_codes.h"
#include "qsfpctl_harness.h"

namespace {

qsfpctl::test::Outcome program(const std::string &args) {
    return qsfpctl::test::shell(std::string(QSFPCTL_PROGRAM) + " " + args + " 2>/dev/null");
}

TEST(QsfpctlProgram, ListsTheEmulatedCard) {
    const auto r = program("list");
    EXPECT_EQ(r.code, 0);
    EXPECT_EQ(r.out, qsfpctl::test::run({"list"}).out);
}

TEST(QsfpctlProgram, ExitCodesReachTheShell) {
    EXPECT_EQ(program("show 8").code, qsfpctl::kExitNoModule);
    EXPECT_EQ(program("--bogus list").code, qsfpctl::kExitUsage);
    EXPECT_EQ(program("--image /nonexistent.bin list").code, qsfpctl::kExitBackend);
    EXPECT_EQ(program("dom 9").code, qsfpctl::kExitNotSupported);
}

}  // namespace
