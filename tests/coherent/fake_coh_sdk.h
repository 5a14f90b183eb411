// A recording stand-in for the coherent DSP SDK: every coh_sdk_* call is kept
// with a copy of its records, answers a code the test chooses, and fills its
// outputs with data the test chose. Devices are registered as the SDK would
// (unknown and duplicate keys refused), and register accesses reach the module
// through the callbacks of its device-create record: page select (byte 127)
// first for upper pages, as the SDK does.
//
// A test binary links these definitions ahead of the library archives, so
// they are the coh_sdk_* functions the driver calls.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <qsfp/coh_sdk.h>

namespace qsfp::test {

class FakeCohSdk {
public:
    enum class Call {
        init, device_create, device_delete, read_write_reg, config_traffic, set_laser, inventory, cdb,
        cfg_and_thresholds, perf_mon, debug_info, sim_alarms, firmware_progress, hw_data
    };

    struct RegAccess {
        std::uint32_t key, bank, page, reg, len, rw;
    };
    struct CfgUpdate {
        std::uint32_t key;
        std::optional<coh_sdk_module_cfg> cfg;
        std::optional<coh_sdk_thresholds> thresholds;
    };
    struct DebugInfo {
        std::uint32_t key;
        std::uint32_t room;
    };
    struct Progress {
        std::uint32_t key;
        void *percent, *state, *bytes;
    };

    static FakeCohSdk &instance();
    // Held by every coh_sdk_* of the fake while it touches the records, so
    // that ports on several threads may call it.
    static std::recursive_mutex &lock();
    // Forgets calls, answers and data; keeps the SDK's own set-up and devices
    // (the driver sets the SDK up once per process).
    void reset_calls();

    // The answer of the next `times` calls of a kind (0: every call).
    void fail(Call call, std::uint32_t code, std::uint32_t times = 0);
    std::size_t count(Call call) const;
    std::vector<Call> sequence;

    // Records, in call order.
    std::vector<std::uint32_t> init_modes;
    std::vector<coh_sdk_print_fn> init_print;
    std::vector<coh_sdk_device_create_record> creates;
    std::vector<std::uint32_t> deletes;
    std::vector<RegAccess> reg_accesses;
    std::vector<coh_sdk_traffic_record> traffic;
    std::vector<coh_sdk_laser_record> laser;
    std::vector<std::uint32_t> inventory_keys;
    std::vector<std::pair<std::uint32_t, coh_sdk_cdb_record>> cdb;
    std::vector<CfgUpdate> cfg_updates;
    std::vector<coh_sdk_perf_mon_record> perf_mon;
    std::vector<DebugInfo> debug_info;
    std::vector<std::pair<std::uint32_t, coh_sdk_alarms>> sim_alarms;
    std::vector<Progress> progress;
    std::vector<std::uint32_t> hw_data_keys;

    // Outputs.
    coh_sdk_inventory_record inventory_answer{};
    std::string cdb_text;        // written to args[1] within args[2]; its length becomes the result
    std::string debug_text;      // written by coh_sdk_module_get_debug_info
    coh_sdk_hw_config hw_config{};
    coh_sdk_hw_state hw_state{};
    coh_sdk_hw_counters hw_counters{};
    std::unique_ptr<coh_sdk_pm_data> pm = std::make_unique<coh_sdk_pm_data>();
    coh_sdk_alarms alarms{};

    bool initialised = false;
    // coh_sdk_init takes this long (real time, outside the lock), so that a
    // second thread's device init would overlap it.
    std::uint32_t init_ms = 0;
    std::map<std::uint32_t, coh_sdk_device_create_record> devices;

    // Answer of a call: a chosen failure, else `normal`.
    std::uint32_t answer(Call call, std::uint32_t normal = COH_SDK_OK);
    // The checks every device call makes: set up, key known.
    std::uint32_t device_answer(Call call, std::uint32_t key);

private:
    struct Failure {
        std::uint32_t code;
        std::uint32_t left;  // 0: for ever
    };
    std::map<Call, Failure> failures_;
};

}  // namespace qsfp::test
