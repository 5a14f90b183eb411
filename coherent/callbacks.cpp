// The callbacks the coherent SDK reaches the module through: raw two-wire
// access, the module's pins, and the SDK's own log lines.
#include <cstdarg>
#include <cstdio>

#include "coherent/coherent.h"
#include "framework/trace.h"

namespace {

// The SDK selects pages itself (byte 127), so its accesses go to the caller's
// functions at page 0 as they are: the library's paged access would select a
// page of its own, and its page cache would miss the SDK's selections.
constexpr std::uint8_t kRawPage = 0;

// The pins are not wired to the host on these cages; the SDK gets the levels
// of a present, powered, not-in-reset module.
constexpr std::uint32_t kStatusPinValue = 5;
constexpr std::uint32_t kCtrlPinValue = 4;

constexpr std::uint32_t kPrintLineBytes = 512;
constexpr std::uint32_t kPrintError = 1;
constexpr std::uint32_t kPrintPeriodic = 2;

qsfp_port_ctx *port_of(void *ctx) { return static_cast<qsfp_port_ctx *>(ctx); }

std::uint8_t raw_reg(std::uint32_t reg) { return static_cast<std::uint8_t>(reg & 0xFF); }

ztrace_buffer *print_buffer(std::uint32_t level) {
    if (level == kPrintError) {
        return qsfp::trace::library_err_buffer();
    }
    if (level == kPrintPeriodic) {
        qsfp_lib_ctx *ctx = qsfp_get_ctx();
        return ctx != nullptr ? ctx->trace_periodic : nullptr;
    }
    return qsfp::trace::library_evt_buffer();
}

}  // namespace

extern "C" uint32_t coherent_module_i2c_read(void *ctx, uint32_t reg, uint32_t len, uint8_t *buf) {
    qsfp_port_ctx *port = port_of(ctx);
    if (port == nullptr || port->read == nullptr || (buf == nullptr && len != 0)) {
        return QSFP_ERR_INVALID;
    }
    return port->read(port->opaque, raw_reg(reg), kRawPage, len, buf);
}

extern "C" uint32_t coherent_module_i2c_write(void *ctx, uint32_t reg, uint32_t len, const uint8_t *buf) {
    qsfp_port_ctx *port = port_of(ctx);
    if (port == nullptr || port->write == nullptr || (buf == nullptr && len != 0)) {
        return QSFP_ERR_INVALID;
    }
    return port->write(port->opaque, raw_reg(reg), kRawPage, len, buf);
}

extern "C" uint32_t coherent_module_read_status_pin(void *ctx, uint32_t *value) {
    qsfp_port_ctx *port = port_of(ctx);
    if (port == nullptr || value == nullptr) {
        return QSFP_ERR_INVALID;
    }
    *value = kStatusPinValue;
    trace_evt(port, "status PIN val 0x%x \n", *value);
    return QSFP_OK;
}

extern "C" uint32_t coherent_module_read_ctrl_pin(void *ctx, uint32_t *value) {
    qsfp_port_ctx *port = port_of(ctx);
    if (port == nullptr || value == nullptr) {
        return QSFP_ERR_INVALID;
    }
    *value = kCtrlPinValue;
    trace_evt(port, "Control PIN read val 0x%x \n", *value);
    return QSFP_OK;
}

extern "C" uint32_t coherent_module_write_ctrl_pin(void *ctx, uint32_t value) {
    qsfp_port_ctx *port = port_of(ctx);
    if (port == nullptr) {
        return QSFP_ERR_INVALID;
    }
    trace_evt(port, "Control PIN write val 0x%x \n", value);
    return QSFP_OK;
}

extern "C" void coherent_module_print(uint32_t level, const char *format, ...) {
    if (format == nullptr) {
        return;
    }
    char line[kPrintLineBytes];
    va_list args;
    va_start(args, format);
    const int n = std::vsnprintf(line, sizeof line, format, args);
    va_end(args);
    if (n < 0) {
        return;
    }
    QSFP_TRACE_TO(print_buffer(level), "%s", line);
}
