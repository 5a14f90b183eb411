// Device init of a coherent port: the SDK is set up once per process, then
// the module is registered with it under the port's device key, with the
// port's own access functions and pins as the SDK's callbacks.
#include <algorithm>
#include <atomic>
#include <cctype>
#include <cstring>
#include <mutex>
#include <string_view>

#include "coherent/coherent.h"
#include "framework/trace.h"

namespace qsfp::coherent {

namespace {

constexpr std::uint32_t kSdkMode = 1;
// Modules of this maker are coherent-managed even when bring-up did not say so.
constexpr std::string_view kCoherentVendor = "zendra";

// Remembered success of coh_sdk_init. A failed init is not remembered, so the
// next port's device init tries again; the mutex keeps two ports initialising
// at once from both calling it.
std::atomic<bool> g_sdk_ready{false};
std::mutex g_sdk_init_lock;

std::uint32_t init_sdk_once(qsfp_port_ctx *port) {
    if (g_sdk_ready.load(std::memory_order_acquire)) {
        return QSFP_OK;
    }
    const std::lock_guard<std::mutex> guard(g_sdk_init_lock);
    if (g_sdk_ready.load(std::memory_order_relaxed)) {
        return QSFP_OK;
    }
    const std::uint32_t rc = coh_sdk_init(kSdkMode, coherent_module_print);
    if (rc != COH_SDK_OK) {
        trace_err(port, "coh-sdk init FAILED\n");
        return rc;
    }
    trace_evt(port, "coh-sdk init SUCCESS\n");
    g_sdk_ready.store(true, std::memory_order_release);
    return QSFP_OK;
}

bool vendor_is_coherent_maker(const qsfp_port_ctx *port) {
    const std::string_view name(port->hw_info.vendor_name, strnlen(port->hw_info.vendor_name, QSFP_VENDOR_NAME_LEN));
    const auto same = [](char a, char b) { return std::tolower(static_cast<unsigned char>(a)) == b; };
    return std::search(name.begin(), name.end(), kCoherentVendor.begin(), kCoherentVendor.end(), same) != name.end();
}

coh_sdk_device_create_record create_record(qsfp_port_ctx *port, std::uint32_t init_hw) {
    coh_sdk_device_create_record r;
    std::memset(&r, 0, sizeof r);
    r.version = 1;
    r.instance = 1;
    r.lanes = 1;
    r.module_kind = port->hw_info.qsfp_type == QSFP_DD_TYPE_400G_ZRP ? COH_SDK_MODULE_ZR_PLUS : COH_SDK_MODULE_ZR;
    r.init_hw = static_cast<std::uint8_t>(init_hw);
    r.i2c_write = coherent_module_i2c_write;
    r.i2c_read = coherent_module_i2c_read;
    r.ctx = port;
    r.device_key = device_key(port);
    r.read_status_pin = coherent_module_read_status_pin;
    r.read_ctrl_pin = coherent_module_read_ctrl_pin;
    r.write_ctrl_pin = coherent_module_write_ctrl_pin;
    r.coherent = state(port).cmis.coherent != 0 || vendor_is_coherent_maker(port) ? 1 : 0;
    return r;
}

}  // namespace

// Answers 0 whatever happens: the port stays a coherent port and its traces
// say whether the SDK took the module.
std::uint32_t device_init(qsfp_port_ctx *port, std::uint32_t init_hw) {
    if (port == nullptr) {
        return QSFP_ERR_INVALID;
    }
    trace_evt(port, "coherent module init-hw:%d\n", init_hw);
    if (init_sdk_once(port) != QSFP_OK) {
        return QSFP_OK;
    }
    const coh_sdk_device_create_record record = create_record(port, init_hw);
    if (coh_sdk_device_create(&record) != COH_SDK_OK) {
        trace_err(port, "coh-sdk port init FAILED\n");
    } else {
        trace_evt(port, "coh-sdk port init SUCCESS\n");
    }
    return QSFP_OK;
}

}  // namespace qsfp::coherent

extern "C" uint32_t coherent_module_init(qsfp_port_ctx *port) {
    if (port == nullptr) {
        return QSFP_ERR_INVALID;
    }
    trace_evt(port, "Entry coherent_module_init\n");
    return QSFP_OK;
}
