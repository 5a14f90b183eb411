// Two threads each drive their own device of the coherent SDK emulator at the
// same time (as two ports under their own locks do): register access on
// alternating pages, performance data, laser switching; and a firmware
// download followed from another thread. Run under ThreadSanitizer in CI.
#include <atomic>
#include <cstdio>
#include <fstream>
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

TEST_F(CohSdkThreadsTest, AnotherThreadFollowsADownloadUnderWay) {
    init();
    Cage cage;
    CmisModule &m = bring_up(cage, 0x0201);
    // Each access takes its real time on a 1 MHz bus, so the download lasts
    // about half a second and the other thread sees it under way however
    // fast the machine is.
    cage.set_real_bus_clock(qsfp::sim::kBus1MHz);
    const std::string path = ::testing::TempDir() + "coh_sdk_threads_image_" + std::to_string(getpid()) + ".bin";
    std::vector<std::uint8_t> file(16384, 0x5A);
    file[0] = 3;
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char *>(file.data()), static_cast<std::streamsize>(file.size()));
    std::atomic<bool> done{false};
    std::uint32_t rc = 0xFFFFFFFF;
    std::thread downloader([&] {
        coh_sdk_cdb_record r{COH_SDK_CDB_DOWNLOAD, 0, {reinterpret_cast<std::uintptr_t>(path.c_str()), 0, 0}, 0};
        rc = coh_sdk_handle_cdb_cmd(0x0201, &r);
        done = true;
    });
    std::uint32_t last = 0;
    bool monotonic = true;
    bool seen_between = false;
    while (!done) {
        std::uint32_t percent = 0;
        std::uint32_t state = 0;
        std::uint32_t bytes = 0;
        ASSERT_EQ(coh_sdk_get_firmware_update_progress(0x0201, &percent, &state, &bytes), COH_SDK_OK);
        monotonic = monotonic && percent >= last && percent <= 100;
        seen_between = seen_between || (state == 1 && percent > 0 && percent < 100);
        last = percent;
        std::this_thread::yield();
    }
    downloader.join();
    std::remove(path.c_str());
    EXPECT_EQ(rc, COH_SDK_OK);
    EXPECT_TRUE(monotonic);
    EXPECT_TRUE(seen_between) << "the figures move while the download runs";
    EXPECT_EQ(m.firmware_image(CmisModule::Bank::b).contents, file);
}

}  // namespace
