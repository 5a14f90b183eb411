// Port creation: lazy library set-up on the first call, the port list, and the
// binding of a driver table by the module's identifier byte.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <qsfp/qsfp_port.h>

#include "framework/lock.h"
#include "framework/paging_rules.h"
#include "framework/timer_leaves.h"
#include "framework/trace.h"

namespace {

using qsfp::framework::kPageSelectReg;
using qsfp::framework::lock_library;
using qsfp::framework::unlock_library;

// Trace buffers of the library: name, size and the text printed when one
// cannot be opened.
struct TraceBufferSpec {
    const char *name;
    ztrace_buffer *qsfp_lib_ctx::*field;
    const char *open_failure;
};

constexpr TraceBufferSpec kTraceBuffers[] = {
    {"qsfp_err", &qsfp_lib_ctx::trace_err, "qsfp: ztrace creation failed for error.\n"},
    {"qsfp_evt", &qsfp_lib_ctx::trace_evt, "qsfp: ztrace creation failed for event.\n"},
    {"qsfp_periodic", &qsfp_lib_ctx::trace_periodic, "qsfp: ztrace creation failed for periodic.\n"},
    {"qsfp_port_periodic", &qsfp_lib_ctx::trace_port_periodic, "qsfp: ztrace creation failed for port periodic.\n"},
};

constexpr std::uint32_t kTraceBufferBytes = 131072;
// Longest formatted entry the trace service keeps; longer entries are cut.
constexpr std::uint32_t kTraceEntryLimit = 567;
constexpr const char *kTraceDirectory = "qsfp_ztrace_dir";
// Identifies this library's trace-point catalogue to the trace service.
constexpr const char *kTraceCatalogId = "6c1f0a9e4b7d2358a0e9c4f1b6d3a872";
static_assert(std::char_traits<char>::length(kTraceCatalogId) == 32);

constexpr std::uint8_t kIdentifierReg = 0;

void *as_pointer(std::uint64_t opaque) { return reinterpret_cast<void *>(static_cast<std::uintptr_t>(opaque)); }

std::uint32_t open_trace_buffers(qsfp_lib_ctx *ctx) {
    for (const TraceBufferSpec &buffer : kTraceBuffers) {
        if (ztrace_open_internal(&(ctx->*buffer.field), buffer.name, kTraceBufferBytes, kTraceEntryLimit, kTraceDirectory,
                                 kTraceCatalogId, 0) != 0) {
            std::fputs(buffer.open_failure, stderr);
            return QSFP_ERR_NO_CONTEXT;
        }
    }
    return QSFP_OK;
}

// Makes the buffers visible to the show command, in the order evt, err,
// periodic, port periodic; the four answers are OR-ed.
std::uint32_t enable_trace_show(qsfp_lib_ctx *ctx) {
    if (ctx->evm == nullptr) {
        std::fputs("qsfp: NULL evm. Not enable to ztrace show command\n", stderr);
        return QSFP_OK;
    }
    levm *lv = event_manager_levm_get(ctx->evm);
    const int rc = ztrace_enable_configuration(ctx->trace_evt, lv) | ztrace_enable_configuration(ctx->trace_err, lv) |
                   ztrace_enable_configuration(ctx->trace_periodic, lv) |
                   ztrace_enable_configuration(ctx->trace_port_periodic, lv);
    if (rc != 0) {
        std::fprintf(stderr, "qsfp: ztrace enable failed for evt, rc 0x%x\n", rc);
    }
    return static_cast<std::uint32_t>(rc);
}

// The timer stages do not stop the set-up: a failure is remembered, the
// library is marked initialised anyway and only this creation fails.
std::uint32_t start_timer_tree(qsfp_lib_ctx *ctx) {
    std::uint32_t rc = QSFP_OK;
    ctx->timer_tree = mgd_timer_tree_new();
    if (ctx->timer_tree == nullptr) {
        trace_lib_err("QSFP root timer init failed\n");
        rc = QSFP_ERR_INVALID;
    }
    if (levm_attach_tree_timer(event_manager_levm_get(ctx->evm), ctx->timer_tree, qsfp_timer_tree_handler, ctx) < 0) {
        trace_lib_err("levm attach tree timer failed");
        rc = QSFP_ERR_INVALID;
    }
    return rc;
}

std::uint32_t set_up_library(qsfp_lib_ctx *ctx, void *evm) {
    if (ctx->initialized != 0) {
        trace_lib_evt("QSFP DLL already initialized\n");
        return QSFP_OK;
    }
    ctx->evm = evm;
    if (const std::uint32_t rc = open_trace_buffers(ctx); rc != QSFP_OK) {
        return rc;
    }
    if (const std::uint32_t rc = enable_trace_show(ctx); rc != QSFP_OK) {
        return rc;
    }
    const std::uint32_t rc = start_timer_tree(ctx);
    trace_lib_evt("QSFP DLL init done. rc 0x%x\n", rc);
    ctx->initialized = 1;
    return rc;
}

// Finds the context of `opaque` in the list or pushes a new one at its head.
std::uint32_t find_or_add_port(qsfp_lib_ctx *ctx, std::uint64_t opaque, qsfp_port_ctx **found) {
    for (qsfp_port_ctx *p = ctx->ports; p != nullptr; p = p->next) {
        trace_lib_evt("opaque = 0x%p  lpc->opaque = 0x%p\n", as_pointer(opaque), as_pointer(p->opaque));
        if (p->opaque == opaque) {
            *found = p;
            break;
        }
    }
    if (*found == nullptr) {
        trace_lib_evt("Opaque 0x%p\nCan't find our port ctx.  Create one!\n", as_pointer(opaque));
        auto *port = static_cast<qsfp_port_ctx *>(std::calloc(1, sizeof(qsfp_port_ctx)));
        if (port == nullptr) {
            trace_lib_err("QSFP : unable to allocate memory for QSFP Port context.  opaque 0x%p\n", as_pointer(opaque));
            return QSFP_ERR_NO_MEMORY;
        }
        port->opaque = opaque;
        port->next = ctx->ports;
        ctx->ports = port;
        *found = port;
    }
    trace_lib_evt("opaque 0x%p  END\n", as_pointer(opaque));
    return QSFP_OK;
}

void copy_parameters(qsfp_port_ctx *port, const qsfp_port_create_params *params) {
    port->is_direct_page_wr_support = params->is_direct_page_wr_support;
    port->is_direct_page_rd_support = params->is_direct_page_rd_support;
    trace_lib_evt("Controller %d Port %d: is_direct_page_wr_support %d, is_direct_page_rd_support %d\n",
                  params->controller, params->port, params->is_direct_page_wr_support,
                  params->is_direct_page_rd_support);
    port->controller = params->controller;
    port->port = params->port;
    port->port_mode = params->port_mode;
    port->read = params->read;
    port->bit_bang_read = params->bit_bang_read;
    port->write = params->write;
    port->init_done_notify = params->init_done_notify;
    port->update_func = params->update_func;
    port->cfg_byte_a = params->cfg_byte_a;
    port->cfg_byte_b = params->cfg_byte_b;
    std::memcpy(port->cfg_word, params->cfg_word, sizeof(port->cfg_word));
    port->force_non_adaptive_ctle = params->force_non_adaptive_ctle;
    port->admin_state_notify = params->admin_state_notify;
    port->multirate_port_speed = params->multirate_port_speed;
    port->ready_lanes = 0;
    port->cool_expired = 0;
}

void copy_lane_settings(qsfp_port_ctx *port, const std::uint8_t (&setting)[5]) {
    std::uint8_t *const arrays[] = {port->lane_tx_eq, port->lane_rx_emphasis, port->lane_rx_pre, port->lane_rx_post,
                                    port->lane_rx_amp};
    for (std::size_t i = 0; i < std::size(arrays); ++i) {
        std::memset(arrays[i], setting[i], QSFP_MAX_LANES);
    }
}

void attach_to_library(qsfp_port_ctx *port, const qsfp_lib_ctx *ctx, const qsfp_port_create_params *params) {
    port->trace_err = ctx->trace_err;
    port->trace_evt = ctx->trace_evt;
    port->trace_periodic = ctx->trace_periodic;
    port->trace_port_periodic = ctx->trace_port_periodic;
    port->cur_page = 0;
    port->retimer_port = params->retimer_port;
    port->port_lock = params->port_lock;
    copy_lane_settings(port, params->lane_setting);
    trace_evt(port, "Init Retimer Port = %d\n", port->retimer_port);
}

// Reads the page-select byte straight through the caller's function: the
// page cache is not valid until this read succeeded.
std::uint32_t read_page_select(qsfp_port_ctx *port) {
    std::uint8_t page = 0;
    const std::uint32_t rc =
        port->read != nullptr ? port->read(port->opaque, kPageSelectReg, 0, 1, &page) : QSFP_ERR_INVALID;
    if (rc != QSFP_OK) {
        trace_err(port, "Init: Can't read page select. rc 0x%x\n", rc);
        return rc;
    }
    port->cur_page = page;
    trace_evt(port, "Last page for Port = %d, page 0x%x \n", port->port, page);
    return QSFP_OK;
}

bool bind_driver_table(qsfp_port_ctx *port) {
    switch (port->rate) {
    case 100:
        port->fvt = qsfp_fvt;
        trace_evt(port, "Init: Qsfp28 optics \n");
        return true;
    case 40:
        port->fvt = qsfp_fvt;
        trace_evt(port, "Init: Non Qsfp optics \n");
        return true;
    case 400:
        port->fvt = qsfp_dd_fvt;
        trace_evt(port, "Init: Qsfp-dd optics \n");
        return true;
    default:
        port->fvt = qsfp_drv_fvt{};
        return false;
    }
}

std::uint32_t finish(qsfp_port_create_result *result, std::uint32_t rc) {
    result->rc = rc;
    return rc;
}

// Reads the module's identity and runs the bound driver's device init; the
// port is marked initialised on every path that reaches the module.
std::uint32_t initialise_port(qsfp_port_ctx *port, const qsfp_port_create_params *params,
                              qsfp_port_create_result *result) {
    if (read_page_select(port) != QSFP_OK) {
        port->initialized = 1;
        result->handle = port;
        return QSFP_ERR_NOT_READY;
    }
    std::uint8_t identifier = 0;
    qsfp_access(port, kIdentifierReg, 1, 0, &identifier, QSFP_ACCESS_READ);
    port->rate = qsfp_port_get_rate(identifier);
    if (!bind_driver_table(port)) {
        port->initialized = 1;
        result->handle = port;
        return QSFP_ERR_NOT_READY;
    }
    const std::uint32_t rc =
        port->fvt.device_init != nullptr ? port->fvt.device_init(port, params->init_arg) : QSFP_ERR_EMPTY_SLOT;
    port->initialized = 1;
    result->not_ready = rc == QSFP_ERR_NOT_READY ? 1 : 0;
    result->handle = port;
    trace_evt(port, "Init done\n");
    return rc;
}

}  // namespace

extern "C" uint32_t qsfp_port_get_rate(uint8_t identifier) {
    switch (identifier) {
    case 0x0D: return 40;   // QSFP+
    case 0x11: return 100;  // QSFP28
    case 0x18: return 400;  // QSFP-DD
    default: return 0;
    }
}

extern "C" uint32_t qsfp_port_create(const qsfp_port_create_params *params, qsfp_port_create_result *result) {
    qsfp_lib_ctx *ctx = qsfp_get_ctx();
    if (ctx == nullptr || params == nullptr || result == nullptr) {
        std::fputs("QSFP: context is invalid/null", stderr);
        return QSFP_ERR_INVALID;
    }
    if (const std::uint32_t rc = lock_library(); rc != QSFP_OK) {
        return rc;
    }
    *result = qsfp_port_create_result{};
    if (const std::uint32_t rc = set_up_library(ctx, params->evm); rc != QSFP_OK) {
        result->rc = rc;
        std::fputs("qsfp port create failed \n", stderr);
        unlock_library();
        return rc;
    }
    qsfp_port_ctx *port = nullptr;
    const std::uint32_t found = find_or_add_port(ctx, params->opaque, &port);
    if (const std::uint32_t rc = unlock_library(); rc != QSFP_OK) {
        return finish(result, rc);
    }
    result->init_arg = params->init_arg;
    if (found != QSFP_OK) {
        std::fprintf(stderr, "Unable to create a new QSFP port ctx. rc 0x%x\n", found);
        return finish(result, found);
    }
    if (port->initialized == 1) {
        result->handle = port;
        trace_evt(port, "Port %d already initialized\n", port->port);
        return finish(result, QSFP_OK);
    }
    copy_parameters(port, params);
    port->cool_timer = mgd_timer_leaf_new(ctx->timer_tree, 0, qsfp::kCoolTimerLeaf, port);
    if (port->cool_timer == nullptr) {
        trace_lib_err("Controller %d Port %d: Unable to allocate leaf timer\n", port->controller, port->port);
        return finish(result, QSFP_ERR_INVALID);
    }
    attach_to_library(port, ctx, params);
    return finish(result, initialise_port(port, params, result));
}
