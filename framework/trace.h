// Trace helpers: one per buffer, each supplying a trace-point number that is
// unique per call site across the library and an argument-type signature
// derived from the argument types at compile time. The format is checked by
// the compiler against the arguments (ztrace_internal carries the printf
// attribute and is called with the literal).
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string_view>
#include <type_traits>

#include <qsfp/platform.h>
#include <qsfp/qsfp_port.h>

namespace qsfp::trace {

// Every library source that traces is listed once. Its position gives the high
// half of the trace-point number and the call's line the low half, so numbers
// never collide (one trace call per line). A file missing from the list fails
// to compile.
inline constexpr std::string_view kTracedSources[] = {
    "framework/lock.cpp",
    "framework/port_create.cpp",
    "framework/port_delete.cpp",
    "framework/paged_access.cpp",
    "framework/bit_bang_access.cpp",
    "framework/reg_dump.cpp",
    "framework/timer_handler.cpp",
    "framework/driver_stub.h",
    "framework/admin_state.cpp",
    "framework/dom_info.cpp",
    "framework/port_queries.cpp",
    "sff8636/identify_type.cpp",
    "sff8636/get_type.cpp",
    "sff8636/register_bits.cpp",
    "sff8636/lane_control.cpp",
    "sff8636/si_settings.cpp",
    "sff8636/port_state.cpp",
    "sff8636/mode_config.cpp",
    "sff8636/device_init.cpp",
    "sff8636/image_read.cpp",
    "sff8636/hw_info.cpp",
    "sff8636/hw_status.cpp",
    "sff8636/dom_reports.cpp",
    "sff8636/phy_reg_decode.cpp",
    "framework/observation.cpp",
    "sff8636/settle.cpp",
    "cmis/device_init.cpp",
    "cmis/identify_type.cpp",
    "cmis/pre_release.cpp",
    "cmis/get_type.cpp",
    "cmis/oper_mode.cpp",
    "cmis/power_mode.cpp",
    "cmis/mode_config.cpp",
    "cmis/apply_application.cpp",
    "cmis/app_lookup.cpp",
    "cmis/port_state.cpp",
    "cmis/datapath_state.cpp",
    "cmis/si_settings.cpp",
    "cmis/hw_status.cpp",
    "cmis/hw_info.cpp",
    "cmis/phy_reg_decode.cpp",
    "cmis/cdb_command.cpp",
    "cmis/cdb_firmware.cpp",
    "cmis/cdb_execute.cpp",
    "coherent/device_init.cpp",
    "coherent/callbacks.cpp",
    "coherent/get_type.cpp",
    "coherent/port_mode.cpp",
    "coherent/traffic.cpp",
    "coherent/laser.cpp",
    "coherent/inventory.cpp",
    "coherent/register_access.cpp",
    "coherent/cdb.cpp",
    "coherent/config_update.cpp",
    "coherent/perf_mon.cpp",
    "coherent/sim_alarms.cpp",
    "coherent/debug_info.cpp",
    "coherent/firmware_progress.cpp",
    "coherent/hw_status.cpp",
    "coherent/delete_device.cpp",
};

consteval std::uint32_t source_index(std::string_view path) {
    for (std::size_t i = 0; i < std::size(kTracedSources); ++i) {
        if (path.ends_with(kTracedSources[i])) {
            return static_cast<std::uint32_t>(i + 1);
        }
    }
    throw "a traced source file is missing from kTracedSources";
}

// One letter per printf argument: i/u 32-bit signed/unsigned, l/L 64-bit,
// f floating point, s string, p other pointer, c char-sized integer.
template <typename T>
consteval char signature_letter() {
    using U = std::remove_cv_t<T>;
    if constexpr (std::is_same_v<U, char *> || std::is_same_v<U, const char *>) {
        return 's';
    } else if constexpr (std::is_pointer_v<U> || std::is_null_pointer_v<U>) {
        return 'p';
    } else if constexpr (std::is_floating_point_v<U>) {
        return 'f';
    } else if constexpr (std::is_enum_v<U>) {
        return signature_letter<std::underlying_type_t<U>>();
    } else if constexpr (std::is_integral_v<U> && sizeof(U) == 1) {
        return 'c';
    } else if constexpr (std::is_integral_v<U> && sizeof(U) <= 4) {
        return std::is_signed_v<U> ? 'i' : 'u';
    } else if constexpr (std::is_integral_v<U>) {
        return std::is_signed_v<U> ? 'l' : 'L';
    } else {
        static_assert(sizeof(U) == 0, "type cannot be traced");
    }
}

template <typename... Args>
struct Signature {
    static constexpr char text[] = {signature_letter<Args>()..., '\0'};
};

template <typename... Args>
constexpr const char *signature_of(const Args &...) {
    return Signature<std::decay_t<Args>...>::text;
}

ztrace_buffer *library_err_buffer();
ztrace_buffer *library_evt_buffer();

}  // namespace qsfp::trace

#define QSFP_TRACEPOINT \
    ((std::integral_constant<std::uint32_t, ::qsfp::trace::source_index(__FILE__)>::value << 16) | \
     static_cast<std::uint32_t>(__LINE__))

// Writes one entry to `buffer` unless the buffer was never opened.
#define QSFP_TRACE_TO(buffer, fmt, ...)                                                                   \
    do {                                                                                                  \
        ztrace_buffer *qsfp_trace_buffer_ = (buffer);                                                     \
        if (qsfp_trace_buffer_ != nullptr) {                                                              \
            ztrace_internal(qsfp_trace_buffer_, QSFP_TRACEPOINT,                                          \
                            ::qsfp::trace::signature_of(__VA_ARGS__), fmt __VA_OPT__(, ) __VA_ARGS__);    \
        }                                                                                                 \
    } while (0)

// Per-port buffers. Every per-port line begins "Controller %d Port %d: ".
#define QSFP_PORT_TRACE(port, field, fmt, ...)                                                 \
    QSFP_TRACE_TO((port)->field, "Controller %d Port %d: " fmt, (port)->controller, (port)->port \
                  __VA_OPT__(, ) __VA_ARGS__)
#define trace_err(port, fmt, ...) QSFP_PORT_TRACE(port, trace_err, fmt __VA_OPT__(, ) __VA_ARGS__)
#define trace_evt(port, fmt, ...) QSFP_PORT_TRACE(port, trace_evt, fmt __VA_OPT__(, ) __VA_ARGS__)
#define trace_periodic(port, fmt, ...) QSFP_PORT_TRACE(port, trace_periodic, fmt __VA_OPT__(, ) __VA_ARGS__)
#define trace_port_periodic(port, fmt, ...) \
    QSFP_PORT_TRACE(port, trace_port_periodic, fmt __VA_OPT__(, ) __VA_ARGS__)

// Library buffers, for lines that belong to no port.
#define trace_lib_err(fmt, ...) QSFP_TRACE_TO(::qsfp::trace::library_err_buffer(), fmt __VA_OPT__(, ) __VA_ARGS__)
#define trace_lib_evt(fmt, ...) QSFP_TRACE_TO(::qsfp::trace::library_evt_buffer(), fmt __VA_OPT__(, ) __VA_ARGS__)
