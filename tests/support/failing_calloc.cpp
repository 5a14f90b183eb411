#include "support/failing_calloc.h"

#include <atomic>
#include <cstdlib>

namespace {
std::atomic<bool> g_fail_next_calloc{false};
}

namespace qsfp::test {

void fail_next_calloc() { g_fail_next_calloc = true; }

}  // namespace qsfp::test

extern "C" void *__real_calloc(std::size_t n, std::size_t size);
extern "C" void *__wrap_calloc(std::size_t n, std::size_t size) {
    if (g_fail_next_calloc.exchange(false)) {
        return nullptr;
    }
    return __real_calloc(n, size);
}
