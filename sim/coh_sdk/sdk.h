// The coherent SDK emulator's own state: the registry of devices and what it
// keeps per device, with the helpers every coh_sdk_* function enters through.
//
// Locking: the registry mutex guards the device map, the init and the
// injected failures, and is never held while a callback runs. Each device has
// a mutex held for a whole operation on it (its module accesses included, so
// the page the SDK believes byte 127 holds stays true); the firmware progress
// is atomic so another thread can watch a download under way.
#pragma once

#include <array>
#include <atomic>
#include <cstdarg>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <utility>

#include <qsfp/coh_sdk.h>
#include <qsfp/sim/coh_sdk_sim.h>

namespace qsfp::sim::coh_sdk {

// Print levels of the SDK's log callback.
inline constexpr std::uint32_t kLogError = 1;
inline constexpr std::uint32_t kLogEvent = 3;

// Firmware download progress states (coh_sdk_get_firmware_update_progress).
enum class FirmwareState : std::uint32_t { idle = 0, downloading = 1, done = 2, failed = 3 };

// Running statistics of the performance parameters since monitoring started.
struct PmStatistics {
    std::uint32_t samples = 0;
    std::uint64_t since_ns = 0;
    std::uint64_t last_ns = 0;
    std::array<double, COH_SDK_PM_PARAMS> sum{};
    std::array<double, COH_SDK_PM_PARAMS> min{};
    std::array<double, COH_SDK_PM_PARAMS> max{};
    double corrected_bits = 0;
    double uncorrected_blocks = 0;
    double total_blocks = 0;
};

struct Device {
    explicit Device(const coh_sdk_device_create_record &record);

    const coh_sdk_device_create_record created;
    std::mutex mu;  // held for a whole operation on the device
    // Guarded by mu.
    std::optional<std::uint8_t> page;  // what byte 127 holds, as far as the SDK knows
    bool laser_on = false;
    std::optional<coh_sdk_laser_record> laser;
    std::optional<coh_sdk_traffic_record> traffic;
    std::uint32_t traffic_mode = 0;
    coh_sdk_module_cfg cfg{};
    coh_sdk_thresholds thresholds{};
    bool perf_mon = false;
    std::array<std::uint8_t, 4> perf_mon_config{};
    coh_sdk_alarms sim_alarms{};
    Fibre fibre;
    PmStatistics stats;
    // Firmware download progress, readable without mu.
    std::atomic<std::uint32_t> fw_percent{0};
    std::atomic<std::uint32_t> fw_state{0};
    std::atomic<std::uint32_t> fw_bytes{0};
};

// Answers an injected failure of `function`, else COH_SDK_ERR_NOT_INITIALISED
// before coh_sdk_init, else 0.
std::uint32_t enter(const char *function);
// The device registered under the key, or nullptr.
std::shared_ptr<Device> find(std::uint32_t key);

// Runs `op(device)` under the device's mutex, or answers COH_SDK_ERR_UNKNOWN_KEY.
template <typename Op>
std::uint32_t with_registered(std::uint32_t key, Op &&op) {
    const std::shared_ptr<Device> d = find(key);
    if (!d) {
        return COH_SDK_ERR_UNKNOWN_KEY;
    }
    std::lock_guard lock(d->mu);
    return op(*d);
}

// The same after the common checks: an injected failure and the init.
template <typename Op>
std::uint32_t with_device(const char *function, std::uint32_t key, Op &&op) {
    if (const std::uint32_t rc = enter(function)) {
        return rc;
    }
    return with_registered(key, std::forward<Op>(op));
}

// The same for a request with a record: a null record is an invalid argument.
template <typename Record, typename Op>
std::uint32_t with_record(const char *function, std::uint32_t key, Record *record, Op &&op) {
    return with_device(function, key, [&](Device &d) -> std::uint32_t {
        return record == nullptr ? COH_SDK_ERR_INVALID_ARG : op(d, *record);
    });
}

// The SDK's log through the print callback of coh_sdk_init, when one was given.
void log(std::uint32_t level, const char *format, ...) __attribute__((format(printf, 2, 3)));

// Now on the clock performance intervals are measured with.
std::uint64_t now_ns();

// ---- Module access (module_access.cpp) ----------------------------------------
// `len` bytes at `reg` of `page` (reg < 128: lower memory, no page select);
// the range may cross from lower into upper memory. A failing callback answers
// COH_SDK_ERR_MODULE_ACCESS and is logged.
std::uint32_t module_read(Device &d, std::uint8_t page, std::uint32_t reg, std::span<std::uint8_t> buf);
std::uint32_t module_write(Device &d, std::uint8_t page, std::uint32_t reg, std::span<const std::uint8_t> buf);
// The module reset or someone else wrote byte 127: select again before the next upper access.
inline void forget_page(Device &d) { d.page.reset(); }

// ---- Defaults (traffic.cpp) ----------------------------------------------------------
coh_sdk_module_cfg default_cfg(std::uint32_t module_kind);
coh_sdk_thresholds default_thresholds();

}  // namespace qsfp::sim::coh_sdk
