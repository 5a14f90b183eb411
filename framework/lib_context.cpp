// The one library-wide context. Its global lock is an error-checking mutex so
// that a thread taking it twice gets EDEADLK instead of hanging.
#include <qsfp/qsfp_port.h>

#include "framework/trace.h"

namespace {

qsfp_lib_ctx g_library = {
    .initialized = 0,
    .ports = nullptr,
    .lock = PTHREAD_ERRORCHECK_MUTEX_INITIALIZER_NP,
    .evm = nullptr,
    .trace_err = nullptr,
    .trace_evt = nullptr,
    .trace_periodic = nullptr,
    .trace_port_periodic = nullptr,
    .timer_tree = nullptr,
};

}  // namespace

extern "C" qsfp_lib_ctx *qsfp_get_ctx(void) { return &g_library; }

namespace qsfp::trace {

ztrace_buffer *library_err_buffer() { return g_library.trace_err; }
ztrace_buffer *library_evt_buffer() { return g_library.trace_evt; }

}  // namespace qsfp::trace
