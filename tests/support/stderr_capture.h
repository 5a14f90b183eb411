// Captures what the code under test writes to standard error.
#pragma once

#include <string>

namespace qsfp::test {

class StderrCapture {
public:
    StderrCapture();
    ~StderrCapture();
    StderrCapture(const StderrCapture &) = delete;
    StderrCapture &operator=(const StderrCapture &) = delete;
    // Everything written since construction (or the last call).
    std::string take();

private:
    int saved_fd_;
    int file_fd_;
};

}  // namespace qsfp::test
