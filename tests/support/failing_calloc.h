// Out-of-memory paths: a test binary linked with -Wl,--wrap=calloc and
// support/failing_calloc.cpp can make the library's next calloc fail.
#pragma once

namespace qsfp::test {

void fail_next_calloc();

}  // namespace qsfp::test
