// Runs a piece of a test in a forked child, for the library-wide state that a
// process sets up once (the library context is never torn down).
#pragma once

#include <functional>
#include <string>

namespace qsfp::test {

struct ChildResult {
    int exit_code;      // the child's exit status, or -1 if it did not exit normally
    std::string err;    // what it wrote to standard error
};

ChildResult run_in_child(const std::function<int()> &body);

}  // namespace qsfp::test
