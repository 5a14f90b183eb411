// Two threads each drive their own device of the coherent SDK emulator at the
// same time (as two ports under their own locks do): register access on
// alternating pages, performance data, laser switching. Run under
// ThreadSanitizer in CI.
#include <thread>

#include "coh_sdk_fixture.h"

namespace {

using namespace qsfp::sim;
using qsfp::test::CohSdkBench;

constexpr int kRounds = 200;

class CohSdkThreadsTest : public CohSdkBench {};

void drive(std::uint32_t key, CmisModule &m, int &failures) {
    for (int i = 0; i < kRounds; ++i) {
        std::uint8_t buf[4] = {};
        const std::uint32_t page = i % 2 == 0 ? 0x01 : 0x02;
        failures += coh_sdk_read_write_reg(key, 0, page, 128, 4, buf, 1) != COH_SDK_OK;
        failures += std::vector<std::uint8_t>(buf, buf + 4) != m.memory().get_bytes(static_cast<std::uint8_t>(page), 128, 4);
        const coh_sdk_laser_record laser{key, static_cast<std::uint8_t>(i % 2 == 0 ? COH_SDK_LASER_ON : COH_SDK_LASER_OFF), 2};
        failures += coh_sdk_module_set_laser(&laser) != COH_SDK_OK;
        coh_sdk_hw_state state{};
        coh_sdk_alarms alarms{};
        failures += coh_sdk_get_hw_cfg_alarms_pm_data(key, nullptr, &state, nullptr, nullptr, &alarms) != COH_SDK_OK;
        failures += state.device_key != key || state.laser != (i % 2 == 0 ? COH_SDK_STATE_UP : COH_SDK_STATE_DOWN);
    }
}

TEST_F(CohSdkThreadsTest, TwoDevicesDrivenFromTwoThreads) {
    init();
    Cage cage_a;
    Cage cage_b;
    CmisModule &a = bring_up(cage_a, 0x0101);
    CmisModule &b = bring_up(cage_b, 0x0102);
    cage_a.clear_log();
    cage_b.clear_log();
    int failures_a = 0;
    int failures_b = 0;
    std::thread ta(drive, 0x0101, std::ref(a), std::ref(failures_a));
    std::thread tb(drive, 0x0102, std::ref(b), std::ref(failures_b));
    ta.join();
    tb.join();
    EXPECT_EQ(failures_a, 0);
    EXPECT_EQ(failures_b, 0);
    EXPECT_EQ(cage_a.stats().failed, 0u);
    EXPECT_EQ(cage_b.stats().failed, 0u);
    EXPECT_FALSE(coh_sdk::device(0x0101)->laser_on) << "the last round switched it off";
    EXPECT_FALSE(coh_sdk::device(0x0102)->laser_on);
}

}  // namespace
