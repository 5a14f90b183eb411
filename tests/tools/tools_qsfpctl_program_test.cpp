// The installed program itself: main() passes arguments, output and the exit
// code through unchanged.
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <sys/wait.h>

#include "exit_codes.h"
#include "qsfpctl_harness.h"

namespace {

struct Ran {
    int code;
    std::string out;
};

Ran program(const std::string &args) {
    const std::string command = std::string(QSFPCTL_PROGRAM) + " " + args + " 2>/dev/null";
    FILE *pipe = ::popen(command.c_str(), "r");
    Ran r{-1, ""};
    if (pipe == nullptr) return r;
    std::array<char, 4096> chunk{};
    while (std::size_t n = std::fread(chunk.data(), 1, chunk.size(), pipe)) r.out.append(chunk.data(), n);
    const int status = ::pclose(pipe);
    r.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return r;
}

TEST(QsfpctlProgram, ListsTheEmulatedCard) {
    const Ran r = program("list");
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
