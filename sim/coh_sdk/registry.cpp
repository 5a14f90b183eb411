// The registry of the coherent SDK emulator: coh_sdk_init, device creation and
// deletion, and the test-side controls of <qsfp/sim/coh_sdk_sim.h>.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <map>
#include <string>

#include "cmis_addresses.h"
#include "sdk.h"

namespace qsfp::sim::coh_sdk {
namespace {

constexpr std::uint32_t kMaxDeviceKey = 0xFFFF;

struct Injected {
    std::uint32_t code = 0;
    int times = 0;
};

struct Registry {
    std::mutex mu;
    bool initialised = false;
    std::uint32_t mode = 0;
    coh_sdk_print_fn print = nullptr;
    int init_calls = 0;
    std::map<std::uint32_t, std::shared_ptr<Device>> devices;
    std::map<std::string, Injected, std::less<>> failures;
    std::function<std::uint64_t()> clock;
};

Registry &registry() {
    static Registry r;
    return r;
}

std::uint32_t take_injected(Registry &r, std::string_view function) {
    const auto it = r.failures.find(function);
    if (it == r.failures.end() || it->second.times <= 0) {
        return 0;
    }
    const std::uint32_t code = it->second.code;
    if (--it->second.times == 0) {
        r.failures.erase(it);
    }
    return code;
}

bool known_kind(std::uint32_t kind) { return kind == COH_SDK_MODULE_ZR || kind == COH_SDK_MODULE_ZR_PLUS; }

std::uint32_t check_record(const coh_sdk_device_create_record *record) {
    if (record == nullptr || record->device_key > kMaxDeviceKey || !known_kind(record->module_kind) ||
        record->i2c_read == nullptr || record->i2c_write == nullptr) {
        return COH_SDK_ERR_INVALID_ARG;
    }
    return 0;
}

// A module the SDK can manage answers with a CMIS-family identifier.
bool cmis_identifier(std::uint8_t id) {
    return std::ranges::find(cmis::kCmisIdentifiers, id) != std::end(cmis::kCmisIdentifiers);
}

// Reads the module before the device is registered: its identifier and its
// module state. With init_hw the SDK (re)initialises the module: high power
// (LowPwrRequestSW and LowPwrAllowRequestHW clear), every data path up, and
// the transmitter off until the laser is switched on.
std::uint32_t probe_module(Device &d) {
    std::uint8_t id_and_state[cmis::kModuleState + 1] = {};
    if (const std::uint32_t rc = module_read(d, 0, cmis::kIdentifier, id_and_state)) {
        return rc;
    }
    if (!cmis_identifier(id_and_state[cmis::kIdentifier])) {
        log(kLogError, "coh-sdk: device 0x%04x: identifier 0x%02x is not a CMIS module\n", d.created.device_key,
            id_and_state[cmis::kIdentifier]);
        return COH_SDK_ERR_NOT_READY;
    }
    if (d.created.init_hw == 0) {
        return 0;
    }
    const std::uint8_t high_power = 0x00;
    const std::uint8_t all_paths_up = 0x00;
    const std::uint8_t tx_off = 0xFF;
    if (const std::uint32_t rc = module_write(d, 0, cmis::kGlobalControls, std::span(&high_power, 1))) {
        return rc;
    }
    if (const std::uint32_t rc = module_write(d, cmis::kPage10, cmis::kDataPathDeinit, std::span(&all_paths_up, 1))) {
        return rc;
    }
    return module_write(d, cmis::kPage10, cmis::kTxDisable, std::span(&tx_off, 1));
}

}  // namespace

Device::Device(const coh_sdk_device_create_record &record)
    : created(record), cfg(default_cfg(record.module_kind)), thresholds(default_thresholds()) {}

std::uint32_t enter(const char *function) {
    Registry &r = registry();
    std::lock_guard lock(r.mu);
    if (const std::uint32_t code = take_injected(r, function)) {
        return code;
    }
    return r.initialised ? 0 : COH_SDK_ERR_NOT_INITIALISED;
}

std::shared_ptr<Device> find(std::uint32_t key) {
    Registry &r = registry();
    std::lock_guard lock(r.mu);
    const auto it = r.devices.find(key);
    return it == r.devices.end() ? nullptr : it->second;
}

void log(std::uint32_t level, const char *format, ...) {
    coh_sdk_print_fn print = nullptr;
    {
        Registry &r = registry();
        std::lock_guard lock(r.mu);
        print = r.print;
    }
    if (print == nullptr) {
        return;
    }
    char text[512];
    va_list args;
    va_start(args, format);
    std::vsnprintf(text, sizeof text, format, args);
    va_end(args);
    print(level, "%s", text);
}

std::uint64_t now_ns() {
    std::function<std::uint64_t()> clock;
    {
        Registry &r = registry();
        std::lock_guard lock(r.mu);
        clock = r.clock;
    }
    if (clock) {
        return clock();
    }
    return static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch()).count());
}

// ---- Test-side controls ------------------------------------------------------------

void reset() {
    Registry &r = registry();
    std::lock_guard lock(r.mu);
    r.initialised = false;
    r.mode = 0;
    r.print = nullptr;
    r.init_calls = 0;
    r.devices.clear();
    r.failures.clear();
}

int init_calls() {
    Registry &r = registry();
    std::lock_guard lock(r.mu);
    return r.init_calls;
}

void fail_next(std::string_view function, std::uint32_t code, int times) {
    Registry &r = registry();
    std::lock_guard lock(r.mu);
    if (times <= 0 || code == 0) {
        r.failures.erase(std::string(function));
        return;
    }
    r.failures[std::string(function)] = {code, times};
}

std::vector<std::uint32_t> device_keys() {
    Registry &r = registry();
    std::lock_guard lock(r.mu);
    std::vector<std::uint32_t> keys;
    for (const auto &[key, device] : r.devices) {
        keys.push_back(key);
    }
    return keys;
}

std::optional<DeviceView> device(std::uint32_t key) {
    const std::shared_ptr<Device> d = find(key);
    if (!d) {
        return std::nullopt;
    }
    std::lock_guard lock(d->mu);
    DeviceView v;
    v.created = d->created;
    v.laser_on = d->laser_on;
    v.laser = d->laser;
    v.traffic = d->traffic;
    v.traffic_mode = d->traffic_mode;
    v.cfg = d->cfg;
    v.thresholds = d->thresholds;
    v.perf_mon = d->perf_mon;
    std::ranges::copy(d->perf_mon_config, v.perf_mon_config);
    v.sim_alarms = d->sim_alarms;
    v.selected_page = d->page;
    v.samples = d->stats.samples;
    v.fibre = d->fibre;
    return v;
}

bool set_fibre(std::uint32_t key, const Fibre &fibre) {
    const std::shared_ptr<Device> d = find(key);
    if (!d) {
        return false;
    }
    std::lock_guard lock(d->mu);
    d->fibre = fibre;
    return true;
}

void set_clock(std::function<std::uint64_t()> clock) {
    Registry &r = registry();
    std::lock_guard lock(r.mu);
    r.clock = std::move(clock);
}

}  // namespace qsfp::sim::coh_sdk

using namespace qsfp::sim::coh_sdk;

extern "C" uint32_t coh_sdk_init(uint32_t mode, coh_sdk_print_fn print) {
    Registry &r = registry();
    std::lock_guard lock(r.mu);
    ++r.init_calls;
    if (const std::uint32_t code = take_injected(r, __func__)) {
        return code;
    }
    if (r.initialised) {
        return COH_SDK_ERR_ALREADY_INITIALISED;
    }
    r.initialised = true;
    r.mode = mode;
    r.print = print;
    return COH_SDK_OK;
}

// The module is read (and with init_hw initialised) before the key is taken,
// without the registry lock; a second creation racing for the same key loses
// when it comes to register.
extern "C" uint32_t coh_sdk_device_create(const coh_sdk_device_create_record *record) {
    if (const std::uint32_t rc = enter(__func__)) {
        return rc;
    }
    if (const std::uint32_t rc = check_record(record)) {
        log(kLogError, "coh-sdk: device create refused: invalid record\n");
        return rc;
    }
    const std::uint32_t key = record->device_key;
    if (find(key)) {
        log(kLogError, "coh-sdk: device 0x%04x exists already\n", key);
        return COH_SDK_ERR_DUPLICATE_KEY;
    }
    auto d = std::make_shared<Device>(*record);
    {
        std::lock_guard lock(d->mu);
        if (const std::uint32_t rc = probe_module(*d)) {
            log(kLogError, "coh-sdk: device 0x%04x create failed, rc 0x%x\n", key, rc);
            return rc;
        }
    }
    {
        Registry &r = registry();
        std::lock_guard lock(r.mu);
        if (!r.devices.emplace(key, d).second) {
            return COH_SDK_ERR_DUPLICATE_KEY;
        }
    }
    log(kLogEvent, "coh-sdk: device 0x%04x created, module kind %u, init-hw %u\n", key, record->module_kind,
        record->init_hw);
    return COH_SDK_OK;
}

extern "C" uint32_t coh_sdk_device_delete(uint32_t device_key) {
    if (const std::uint32_t rc = enter(__func__)) {
        return rc;
    }
    std::shared_ptr<Device> gone;
    {
        Registry &r = registry();
        std::lock_guard lock(r.mu);
        const auto it = r.devices.find(device_key);
        if (it == r.devices.end()) {
            return COH_SDK_ERR_UNKNOWN_KEY;
        }
        gone = std::move(it->second);
        r.devices.erase(it);
    }
    log(kLogEvent, "coh-sdk: device 0x%04x deleted\n", device_key);
    return COH_SDK_OK;
}
