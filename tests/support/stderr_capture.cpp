#include "support/stderr_capture.h"

#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <unistd.h>

namespace qsfp::test {

StderrCapture::StderrCapture() {
    std::fflush(stderr);
    char name[] = "/tmp/qsfp-stderr-XXXXXX";
    file_fd_ = mkstemp(name);
    if (file_fd_ < 0) {
        throw std::runtime_error("cannot create stderr capture file");
    }
    unlink(name);
    saved_fd_ = dup(STDERR_FILENO);
    dup2(file_fd_, STDERR_FILENO);
}

StderrCapture::~StderrCapture() {
    std::fflush(stderr);
    dup2(saved_fd_, STDERR_FILENO);
    close(saved_fd_);
    close(file_fd_);
}

std::string StderrCapture::take() {
    std::fflush(stderr);
    std::string out;
    char buf[4096];
    lseek(file_fd_, 0, SEEK_SET);
    for (ssize_t n; (n = read(file_fd_, buf, sizeof buf)) > 0;) {
        out.append(buf, static_cast<std::size_t>(n));
    }
    ftruncate(file_fd_, 0);
    lseek(file_fd_, 0, SEEK_SET);
    return out;
}

}  // namespace qsfp::test
