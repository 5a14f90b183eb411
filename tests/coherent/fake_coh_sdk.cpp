// The recording coherent SDK of the driver's tests (see fake_coh_sdk.h).
#include "coherent/fake_coh_sdk.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <thread>

namespace {

constexpr std::uint32_t kPageSelect = 127;
constexpr std::uint32_t kHalfPage = 128;

}  // namespace

namespace qsfp::test {

FakeCohSdk &FakeCohSdk::instance() {
    static FakeCohSdk sdk;
    return sdk;
}

std::recursive_mutex &FakeCohSdk::lock() {
    static std::recursive_mutex mu;
    return mu;
}

void FakeCohSdk::reset_calls() {
    const bool keep_initialised = initialised;
    auto keep_devices = std::move(devices);
    *this = FakeCohSdk{};
    initialised = keep_initialised;
    devices = std::move(keep_devices);
}

void FakeCohSdk::fail(Call call, std::uint32_t code, std::uint32_t times) { failures_[call] = Failure{code, times}; }

std::size_t FakeCohSdk::count(Call call) const { return static_cast<std::size_t>(std::count(sequence.begin(), sequence.end(), call)); }

std::uint32_t FakeCohSdk::answer(Call call, std::uint32_t normal) {
    sequence.push_back(call);
    const auto it = failures_.find(call);
    if (it == failures_.end()) {
        return normal;
    }
    const std::uint32_t code = it->second.code;
    if (it->second.left != 0 && --it->second.left == 0) {
        failures_.erase(it);
    }
    return code;
}

std::uint32_t FakeCohSdk::device_answer(Call call, std::uint32_t key) {
    if (!initialised) {
        return answer(call, COH_SDK_ERR_NOT_INITIALISED);
    }
    return answer(call, devices.count(key) != 0 ? COH_SDK_OK : COH_SDK_ERR_UNKNOWN_KEY);
}

}  // namespace qsfp::test

using qsfp::test::FakeCohSdk;
using Call = FakeCohSdk::Call;

namespace {

FakeCohSdk &sdk() { return FakeCohSdk::instance(); }

using Guard = std::lock_guard<std::recursive_mutex>;

// A register access as the SDK makes it: byte 127 first for an upper page.
std::uint32_t module_access(const coh_sdk_device_create_record &d, std::uint32_t page, std::uint32_t reg,
                            std::uint32_t len, std::uint8_t *buf, std::uint32_t rw) {
    if (reg >= kHalfPage) {
        const std::uint8_t select = static_cast<std::uint8_t>(page);
        if (const std::uint32_t rc = d.i2c_write(d.ctx, kPageSelect, 1, &select); rc != 0) {
            return rc;
        }
    }
    return rw == 1 ? d.i2c_read(d.ctx, reg, len, buf) : d.i2c_write(d.ctx, reg, len, buf);
}

}  // namespace

extern "C" uint32_t coh_sdk_init(uint32_t mode, coh_sdk_print_fn print) {
    {
        const Guard guard(FakeCohSdk::lock());
        sdk().init_modes.push_back(mode);
        sdk().init_print.push_back(print);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(sdk().init_ms));
    const Guard guard(FakeCohSdk::lock());
    const std::uint32_t rc = sdk().answer(Call::init, sdk().initialised ? COH_SDK_ERR_ALREADY_INITIALISED : COH_SDK_OK);
    if (rc == COH_SDK_OK) {
        sdk().initialised = true;
    }
    return rc;
}

extern "C" uint32_t coh_sdk_device_create(const coh_sdk_device_create_record *record) {
    const Guard guard(FakeCohSdk::lock());
    sdk().creates.push_back(*record);
    std::uint32_t normal = COH_SDK_OK;
    if (!sdk().initialised) {
        normal = COH_SDK_ERR_NOT_INITIALISED;
    } else if (sdk().devices.count(record->device_key) != 0) {
        normal = COH_SDK_ERR_DUPLICATE_KEY;
    }
    const std::uint32_t rc = sdk().answer(Call::device_create, normal);
    if (rc == COH_SDK_OK) {
        sdk().devices[record->device_key] = *record;
    }
    return rc;
}

extern "C" uint32_t coh_sdk_device_delete(uint32_t device_key) {
    const Guard guard(FakeCohSdk::lock());
    sdk().deletes.push_back(device_key);
    const std::uint32_t rc = sdk().device_answer(Call::device_delete, device_key);
    if (rc == COH_SDK_OK) {
        sdk().devices.erase(device_key);
    }
    return rc;
}

extern "C" uint32_t coh_sdk_read_write_reg(uint32_t device_key, uint32_t bank, uint32_t page, uint32_t reg,
                                           uint32_t len, uint8_t *buf, uint32_t rw) {
    const Guard guard(FakeCohSdk::lock());
    sdk().reg_accesses.push_back({device_key, bank, page, reg, len, rw});
    const std::uint32_t rc = sdk().device_answer(Call::read_write_reg, device_key);
    if (rc != COH_SDK_OK) {
        return rc;
    }
    return module_access(sdk().devices[device_key], page, reg, len, buf, rw) == 0 ? COH_SDK_OK
                                                                                  : COH_SDK_ERR_MODULE_ACCESS;
}

extern "C" uint32_t coh_sdk_module_config_traffic(const coh_sdk_traffic_record *record) {
    const Guard guard(FakeCohSdk::lock());
    sdk().traffic.push_back(*record);
    return sdk().device_answer(Call::config_traffic, record->device_key);
}

extern "C" uint32_t coh_sdk_module_set_laser(const coh_sdk_laser_record *record) {
    const Guard guard(FakeCohSdk::lock());
    sdk().laser.push_back(*record);
    return sdk().device_answer(Call::set_laser, record->device_key);
}

extern "C" uint32_t coh_sdk_get_inventory_info(uint32_t device_key, coh_sdk_inventory_record *record) {
    const Guard guard(FakeCohSdk::lock());
    sdk().inventory_keys.push_back(device_key);
    const std::uint32_t rc = sdk().device_answer(Call::inventory, device_key);
    if (rc == COH_SDK_OK) {
        *record = sdk().inventory_answer;
    }
    return rc;
}

extern "C" uint32_t coh_sdk_handle_cdb_cmd(uint32_t device_key, coh_sdk_cdb_record *record) {
    const Guard guard(FakeCohSdk::lock());
    sdk().cdb.emplace_back(device_key, *record);
    const std::uint32_t rc = sdk().device_answer(Call::cdb, device_key);
    auto *text = reinterpret_cast<char *>(static_cast<std::uintptr_t>(record->args[1]));
    const std::size_t n = std::min<std::size_t>(sdk().cdb_text.size(), record->args[2]);
    if (text != nullptr && n != 0) {
        std::memcpy(text, sdk().cdb_text.data(), n);
    }
    record->result = text != nullptr ? n : 0;
    return rc;
}

extern "C" uint32_t coh_sdk_module_cfg_and_thresholds_update(uint32_t device_key, const coh_sdk_module_cfg *cfg,
                                                             const coh_sdk_thresholds *thresholds) {
    const Guard guard(FakeCohSdk::lock());
    FakeCohSdk::CfgUpdate u{device_key, std::nullopt, std::nullopt};
    if (cfg != nullptr) {
        u.cfg = *cfg;
    }
    if (thresholds != nullptr) {
        u.thresholds = *thresholds;
    }
    sdk().cfg_updates.push_back(u);
    return sdk().device_answer(Call::cfg_and_thresholds, device_key);
}

extern "C" uint32_t coh_sdk_module_config_perf_mon(const coh_sdk_perf_mon_record *record) {
    const Guard guard(FakeCohSdk::lock());
    sdk().perf_mon.push_back(*record);
    return sdk().device_answer(Call::perf_mon, record->device_key);
}

extern "C" uint32_t coh_sdk_module_get_debug_info(uint32_t device_key, char *text, uint32_t room, uint32_t *used) {
    const Guard guard(FakeCohSdk::lock());
    sdk().debug_info.push_back({device_key, room});
    const std::uint32_t rc = sdk().device_answer(Call::debug_info, device_key);
    const std::size_t n = room == 0 ? 0 : std::min<std::size_t>(sdk().debug_text.size(), room - 1);
    if (n != 0) {
        std::memcpy(text, sdk().debug_text.data(), n);
    }
    if (room != 0) {
        text[n] = '\0';
    }
    *used = static_cast<std::uint32_t>(n);
    return rc;
}

extern "C" uint32_t coh_sdk_set_sim_alarms(uint32_t device_key, const coh_sdk_alarms *record) {
    const Guard guard(FakeCohSdk::lock());
    sdk().sim_alarms.emplace_back(device_key, *record);
    return sdk().device_answer(Call::sim_alarms, device_key);
}

extern "C" uint32_t coh_sdk_get_firmware_update_progress(uint32_t device_key, void *percent, void *state, void *bytes) {
    const Guard guard(FakeCohSdk::lock());
    sdk().progress.push_back({device_key, percent, state, bytes});
    return sdk().device_answer(Call::firmware_progress, device_key);
}

extern "C" uint32_t coh_sdk_get_hw_cfg_alarms_pm_data(uint32_t device_key, coh_sdk_hw_config *config,
                                                      coh_sdk_hw_state *state, coh_sdk_hw_counters *counters,
                                                      coh_sdk_pm_data *pm, coh_sdk_alarms *alarms) {
    const Guard guard(FakeCohSdk::lock());
    sdk().hw_data_keys.push_back(device_key);
    const std::uint32_t rc = sdk().device_answer(Call::hw_data, device_key);
    if (rc == COH_SDK_OK) {
        *config = sdk().hw_config;
        *state = sdk().hw_state;
        *counters = sdk().hw_counters;
        *pm = *sdk().pm;
        *alarms = sdk().alarms;
    }
    return rc;
}
