// A coherent SDK test bench: emulated CMIS modules in cages, reached by the
// SDK only through device-create callbacks that do what a platform's raw
// two-wire access does (registers 0-255 of whatever page byte 127 selects),
// with the SDK's log captured and its intervals on the virtual clock.
#pragma once

#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <qsfp/coh_sdk.h>
#include <qsfp/sim/cage.h>
#include <qsfp/sim/cmis_catalogue.h>
#include <qsfp/sim/coh_sdk_sim.h>
#include <qsfp/sim/virtual_clock.h>

namespace qsfp::test {

struct SdkLog {
    std::mutex mu;
    std::vector<std::pair<std::uint32_t, std::string>> lines;

    static SdkLog &instance() {
        static SdkLog log;
        return log;
    }
    static void print(std::uint32_t level, const char *format, ...) {
        char text[1024];
        va_list args;
        va_start(args, format);
        std::vsnprintf(text, sizeof text, format, args);
        va_end(args);
        SdkLog &l = instance();
        std::lock_guard lock(l.mu);
        l.lines.emplace_back(level, text);
    }
    std::vector<std::pair<std::uint32_t, std::string>> take() {
        std::lock_guard lock(mu);
        return std::exchange(lines, {});
    }
};

inline std::uint32_t cage_read(void *ctx, std::uint32_t reg, std::uint32_t len, std::uint8_t *buf) {
    return static_cast<sim::Cage *>(ctx)->read(static_cast<std::uint8_t>(reg), 0, len, buf);
}
inline std::uint32_t cage_write(void *ctx, std::uint32_t reg, std::uint32_t len, const std::uint8_t *buf) {
    return static_cast<sim::Cage *>(ctx)->write(static_cast<std::uint8_t>(reg), 0, len, buf);
}
inline std::uint32_t status_pin(void *, std::uint32_t *value) {
    *value = 5;
    return 0;
}
inline std::uint32_t ctrl_pin(void *, std::uint32_t *value) {
    *value = 4;
    return 0;
}
inline std::uint32_t write_pin(void *, std::uint32_t) { return 0; }

// A 400G-ZR advertises PwrUp code 8 (7.5 s here) and DPInit code 9 (35 s).
inline constexpr useconds_t kZrBringUpUs = 60000000;

class CohSdkBench : public ::testing::Test {
protected:
    void SetUp() override {
        sim::coh_sdk::reset();
        sim::coh_sdk::set_clock([] { return sim::VirtualClock::instance().now_ns(); });
        SdkLog::instance().take();
    }
    void TearDown() override {
        sim::coh_sdk::reset();
        sim::coh_sdk::set_clock({});
    }

    static void init() { ASSERT_EQ(coh_sdk_init(1, &SdkLog::print), COH_SDK_OK); }

    sim::CmisModule &insert(sim::Cage &cage, std::string_view name = "400G-ZR") {
        auto module = sim::make_cmis_module(name);
        EXPECT_NE(module, nullptr) << name;
        sim::CmisModule &ref = *module;
        cage.insert(std::move(module));
        return ref;
    }

    static coh_sdk_device_create_record record(sim::Cage &cage, std::uint32_t key, std::uint8_t init_hw = 1) {
        coh_sdk_device_create_record r{};
        r.version = 1;
        r.instance = 1;
        r.lanes = 1;
        r.module_kind = COH_SDK_MODULE_ZR;
        r.init_hw = init_hw;
        r.i2c_write = &cage_write;
        r.i2c_read = &cage_read;
        r.ctx = &cage;
        r.device_key = key;
        r.read_status_pin = &status_pin;
        r.read_ctrl_pin = &ctrl_pin;
        r.write_ctrl_pin = &write_pin;
        r.coherent = 1;
        return r;
    }

    // Init, a ZR module in `cage`, registered under `key` with init-hw, brought up.
    sim::CmisModule &bring_up(sim::Cage &cage, std::uint32_t key) {
        sim::CmisModule &m = insert(cage);
        const coh_sdk_device_create_record r = record(cage, key);
        EXPECT_EQ(coh_sdk_device_create(&r), COH_SDK_OK);
        usleep(kZrBringUpUs);
        return m;
    }

    static std::uint32_t laser(std::uint32_t key, std::uint8_t action) {
        const coh_sdk_laser_record r{key, action, 2};
        return coh_sdk_module_set_laser(&r);
    }

    struct Report {
        coh_sdk_hw_config config{};
        coh_sdk_hw_state state{};
        coh_sdk_hw_counters counters{};
        std::unique_ptr<coh_sdk_pm_data> pm = std::make_unique<coh_sdk_pm_data>();
        coh_sdk_alarms alarms{};
        float current(coh_sdk_pm_param p) const { return pm->current[p]; }
    };
    static Report report(std::uint32_t key, std::uint32_t expect_rc = COH_SDK_OK) {
        Report r;
        EXPECT_EQ(coh_sdk_get_hw_cfg_alarms_pm_data(key, &r.config, &r.state, &r.counters, r.pm.get(), &r.alarms),
                  expect_rc);
        return r;
    }
};

}  // namespace qsfp::test
