// The coherent SDK emulator driven directly, as a coherent module driver
// would: init and registration with every refusal, page selection through
// byte 127 as the module sees it, register access, laser and traffic,
// configuration and thresholds, inventory, debug text, simulated alarms and
// injected failures.
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "coh_sdk_fixture.h"

namespace {

using namespace qsfp::sim;
using qsfp::test::CohSdkBench;
using qsfp::test::SdkLog;

constexpr std::uint32_t kKey = 0x0102;  // controller 1, port 2

class CohSdkTest : public CohSdkBench {
protected:
    // Init and a ZR module adopted (init-hw 0) under kKey.
    CmisModule &adopt() {
        init();
        CmisModule &m = insert(cage_);
        const coh_sdk_device_create_record r = record(cage_, kKey, 0);
        EXPECT_EQ(coh_sdk_device_create(&r), COH_SDK_OK);
        return m;
    }

    Cage cage_;
};

// Every function that names a device, called for `key` with good arguments
// (a query operation, a one-byte read), by name with its answer.
std::vector<std::pair<std::string, std::uint32_t>> call_every_device_function(std::uint32_t key) {
    const coh_sdk_traffic_record traffic{key, {}, 0};
    const coh_sdk_laser_record laser_on{key, COH_SDK_LASER_ON, 2};
    const coh_sdk_perf_mon_record pm{key, {0, 1, 0, 0}};
    coh_sdk_inventory_record inventory{};
    coh_sdk_cdb_record cdb{COH_SDK_CDB_QUERY, 0, {}, 0};
    coh_sdk_alarms alarms{};
    std::uint8_t b = 0;
    char text[8];
    std::uint32_t used = 0;
    return {
        {"read_write_reg", coh_sdk_read_write_reg(key, 0, 0, 0, 1, &b, 1)},
        {"config_traffic", coh_sdk_module_config_traffic(&traffic)},
        {"set_laser", coh_sdk_module_set_laser(&laser_on)},
        {"inventory", coh_sdk_get_inventory_info(key, &inventory)},
        {"cdb", coh_sdk_handle_cdb_cmd(key, &cdb)},
        {"cfg_and_thresholds", coh_sdk_module_cfg_and_thresholds_update(key, nullptr, nullptr)},
        {"perf_mon", coh_sdk_module_config_perf_mon(&pm)},
        {"debug_info", coh_sdk_module_get_debug_info(key, text, sizeof text, &used)},
        {"sim_alarms", coh_sdk_set_sim_alarms(key, &alarms)},
        {"firmware_progress", coh_sdk_get_firmware_update_progress(key, nullptr, nullptr, nullptr)},
        {"pm_data", coh_sdk_get_hw_cfg_alarms_pm_data(key, nullptr, nullptr, nullptr, nullptr, &alarms)},
    };
}

// ---- Init ----------------------------------------------------------------------------------

TEST_F(CohSdkTest, EveryFunctionAnswersNotInitialisedBeforeInit) {
    insert(cage_);
    const coh_sdk_device_create_record r = record(cage_, kKey);
    EXPECT_EQ(coh_sdk_device_create(&r), COH_SDK_ERR_NOT_INITIALISED);
    EXPECT_EQ(coh_sdk_device_delete(kKey), COH_SDK_ERR_NOT_INITIALISED);
    const auto answers = call_every_device_function(kKey);
    EXPECT_EQ(answers.size(), 11u);
    for (const auto &[name, rc] : answers) {
        EXPECT_EQ(rc, COH_SDK_ERR_NOT_INITIALISED) << name;
    }
    EXPECT_TRUE(cage_.log().empty()) << "nothing reached the module";
}

TEST_F(CohSdkTest, InitRunsOnceAndASecondInitIsRefused) {
    EXPECT_EQ(coh_sdk_init(1, &SdkLog::print), COH_SDK_OK);
    EXPECT_EQ(coh_sdk_init(1, &SdkLog::print), COH_SDK_ERR_ALREADY_INITIALISED);
    EXPECT_EQ(coh_sdk::init_calls(), 2);
}

TEST_F(CohSdkTest, ResetForgetsTheInitAndTheDevices) {
    adopt();
    coh_sdk::reset();
    EXPECT_EQ(coh_sdk::init_calls(), 0);
    EXPECT_TRUE(coh_sdk::device_keys().empty());
    EXPECT_EQ(coh_sdk_device_delete(kKey), COH_SDK_ERR_NOT_INITIALISED);
}

// ---- Registration -----------------------------------------------------------------------------

TEST_F(CohSdkTest, DeviceCreateRefusesBadRecords) {
    init();
    insert(cage_);
    EXPECT_EQ(coh_sdk_device_create(nullptr), COH_SDK_ERR_INVALID_ARG);
    coh_sdk_device_create_record r = record(cage_, 0x10000);
    EXPECT_EQ(coh_sdk_device_create(&r), COH_SDK_ERR_INVALID_ARG);
    for (std::uint32_t kind : {0u, 3u, 0xFFFFFFFFu}) {
        r = record(cage_, kKey);
        r.module_kind = kind;
        EXPECT_EQ(coh_sdk_device_create(&r), COH_SDK_ERR_INVALID_ARG) << kind;
    }
    r = record(cage_, kKey);
    r.i2c_read = nullptr;
    EXPECT_EQ(coh_sdk_device_create(&r), COH_SDK_ERR_INVALID_ARG);
    r = record(cage_, kKey);
    r.i2c_write = nullptr;
    EXPECT_EQ(coh_sdk_device_create(&r), COH_SDK_ERR_INVALID_ARG);
    EXPECT_TRUE(coh_sdk::device_keys().empty());
    EXPECT_TRUE(cage_.log().empty());
}

TEST_F(CohSdkTest, ASecondDeviceUnderTheSameKeyIsRefused) {
    init();
    insert(cage_);
    const coh_sdk_device_create_record r = record(cage_, 0xFFFF, 0);
    ASSERT_EQ(coh_sdk_device_create(&r), COH_SDK_OK);
    EXPECT_EQ(coh_sdk_device_create(&r), COH_SDK_ERR_DUPLICATE_KEY);
    EXPECT_EQ(coh_sdk::device_keys(), std::vector<std::uint32_t>{0xFFFF});
}

TEST_F(CohSdkTest, CreationKeepsTheRecordAsReceivedAndLogsIt) {
    init();
    insert(cage_);
    coh_sdk_device_create_record r = record(cage_, kKey, 0);
    r.module_kind = COH_SDK_MODULE_ZR_PLUS;
    ASSERT_EQ(coh_sdk_device_create(&r), COH_SDK_OK);
    const auto view = coh_sdk::device(kKey);
    ASSERT_TRUE(view);
    EXPECT_EQ(std::memcmp(&view->created, &r, sizeof r), 0);
    EXPECT_FALSE(view->laser_on);
    EXPECT_FALSE(view->selected_page) << "the page byte 127 holds is not known yet";
    EXPECT_EQ(view->cfg.cd_min, -50000) << "a ZR+ searches long-haul dispersion";
    EXPECT_EQ(view->cfg.cd_max, 50000);
    const auto lines = SdkLog::instance().take();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].first, 3u);
    EXPECT_EQ(lines[0].second, "coh-sdk: device 0x0102 created, module kind 2, init-hw 0\n");
}

TEST_F(CohSdkTest, CreationReadsTheIdentifierAndModuleStateThroughTheCallbacks) {
    adopt();
    const std::vector<Transaction> log = cage_.log();
    ASSERT_EQ(log.size(), 1u);
    EXPECT_EQ(log[0].op, Op::read);
    EXPECT_EQ(log[0].reg, 0);
    EXPECT_EQ(log[0].len, 4u);
    EXPECT_TRUE(cage_.writes().empty()) << "adopting a module writes nothing";
}

TEST_F(CohSdkTest, InitHwPowersTheModuleUpWithTheTransmitterOff) {
    init();
    CmisModule &m = insert(cage_);
    const coh_sdk_device_create_record r = record(cage_, kKey, 1);
    ASSERT_EQ(coh_sdk_device_create(&r), COH_SDK_OK);
    const std::vector<Transaction> w = cage_.writes();
    ASSERT_EQ(w.size(), 4u);
    EXPECT_EQ(w[0].reg, 26);
    EXPECT_EQ(w[0].data, std::vector<std::uint8_t>{0x00});
    EXPECT_EQ(w[1].reg, 127);
    EXPECT_EQ(w[1].data, std::vector<std::uint8_t>{0x10});
    EXPECT_EQ(w[2].reg, 128);
    EXPECT_EQ(w[2].data, std::vector<std::uint8_t>{0x00});
    EXPECT_EQ(w[3].reg, 130) << "page 10h is still selected: no second select";
    EXPECT_EQ(w[3].data, std::vector<std::uint8_t>{0xFF});
    usleep(qsfp::test::kZrBringUpUs);
    EXPECT_EQ(m.module_state(), CmisModule::ModuleState::ready);
    EXPECT_EQ(m.data_path_state(0), CmisModule::DataPathState::activated);
    EXPECT_FALSE(m.transmitting(0));
    EXPECT_EQ(coh_sdk::device(kKey)->selected_page, 0x10);
}

TEST_F(CohSdkTest, AFailingCallbackRegistersNothing) {
    init();
    insert(cage_);
    cage_.fail_nth_access(1, 5);
    const coh_sdk_device_create_record r = record(cage_, kKey);
    EXPECT_EQ(coh_sdk_device_create(&r), COH_SDK_ERR_MODULE_ACCESS);
    EXPECT_TRUE(coh_sdk::device_keys().empty());
    const auto lines = SdkLog::instance().take();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].first, 1u);
    EXPECT_EQ(lines[0].second, "coh-sdk: device 0x0102 read of page 00h byte 0 (4 bytes) failed, rc 5\n");
    EXPECT_EQ(lines[1].second, "coh-sdk: device 0x0102 create failed, rc 0xc0500006\n");
    EXPECT_EQ(coh_sdk_device_create(&r), COH_SDK_OK) << "the key is still free";
}

// A callback that calls back into the SDK (as a slow platform access might,
// through another port) finds the registry free: no callback runs under it.
TEST_F(CohSdkTest, CallbacksRunWithoutTheRegistryLock) {
    init();
    insert(cage_);
    static int reentered = 0;
    reentered = 0;
    coh_sdk_device_create_record r = record(cage_, kKey);
    r.i2c_read = [](void *ctx, std::uint32_t reg, std::uint32_t len, std::uint8_t *buf) -> std::uint32_t {
        reentered += coh_sdk_get_firmware_update_progress(0x0999, nullptr, nullptr, nullptr) == COH_SDK_ERR_UNKNOWN_KEY;
        reentered += coh_sdk::device_keys().empty();
        return qsfp::test::cage_read(ctx, reg, len, buf);
    };
    ASSERT_EQ(coh_sdk_device_create(&r), COH_SDK_OK);
    EXPECT_EQ(reentered, 2);
}

TEST_F(CohSdkTest, AnEmptyCageIsAModuleAccessFailure) {
    init();
    const coh_sdk_device_create_record r = record(cage_, kKey);
    EXPECT_EQ(coh_sdk_device_create(&r), COH_SDK_ERR_MODULE_ACCESS);
    EXPECT_TRUE(coh_sdk::device_keys().empty());
}

TEST_F(CohSdkTest, AModuleOutsideTheCmisFamilyIsNotReady) {
    init();
    CmisModule &m = insert(cage_);
    m.stick(0, 0, 0x11);  // a QSFP28 identifier
    const coh_sdk_device_create_record r = record(cage_, kKey);
    EXPECT_EQ(coh_sdk_device_create(&r), COH_SDK_ERR_NOT_READY);
    EXPECT_TRUE(coh_sdk::device_keys().empty());
    EXPECT_TRUE(cage_.writes().empty());
}

TEST_F(CohSdkTest, DeleteForgetsTheDeviceAndRefusesUnknownKeys) {
    adopt();
    EXPECT_EQ(coh_sdk_device_delete(0x0103), COH_SDK_ERR_UNKNOWN_KEY);
    SdkLog::instance().take();
    EXPECT_EQ(coh_sdk_device_delete(kKey), COH_SDK_OK);
    const auto lines = SdkLog::instance().take();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0], std::make_pair(3u, std::string("coh-sdk: device 0x0102 deleted\n")));
    EXPECT_EQ(coh_sdk_device_delete(kKey), COH_SDK_ERR_UNKNOWN_KEY);
    EXPECT_FALSE(coh_sdk::device(kKey));
    const coh_sdk_device_create_record r = record(cage_, kKey, 0);
    EXPECT_EQ(coh_sdk_device_create(&r), COH_SDK_OK) << "the key can be registered again";
}

TEST_F(CohSdkTest, EveryDeviceFunctionRefusesAnUnknownKey) {
    init();
    for (const auto &[name, rc] : call_every_device_function(kKey)) {
        EXPECT_EQ(rc, COH_SDK_ERR_UNKNOWN_KEY) << name;
    }
}

TEST_F(CohSdkTest, NullRecordsAreInvalidArguments) {
    adopt();
    constexpr std::uint32_t kInvalid = COH_SDK_ERR_INVALID_ARG;
    std::uint32_t used = 0;
    EXPECT_EQ(coh_sdk_module_config_traffic(nullptr), kInvalid);
    EXPECT_EQ(coh_sdk_module_set_laser(nullptr), kInvalid);
    EXPECT_EQ(coh_sdk_module_config_perf_mon(nullptr), kInvalid);
    EXPECT_EQ(coh_sdk_get_inventory_info(kKey, nullptr), kInvalid);
    EXPECT_EQ(coh_sdk_handle_cdb_cmd(kKey, nullptr), kInvalid);
    EXPECT_EQ(coh_sdk_set_sim_alarms(kKey, nullptr), kInvalid);
    EXPECT_EQ(coh_sdk_module_get_debug_info(kKey, nullptr, 16, &used), kInvalid);
    EXPECT_EQ(coh_sdk_module_get_debug_info(kKey, nullptr, 0, nullptr), kInvalid);
    EXPECT_EQ(coh_sdk_get_hw_cfg_alarms_pm_data(kKey, nullptr, nullptr, nullptr, nullptr, nullptr), kInvalid);
    EXPECT_TRUE(cage_.writes().empty());
}

// ---- Register access and page selection -----------------------------------------------------------

TEST_F(CohSdkTest, UpperPagesAreSelectedThroughByte127OnlyWhenThePageChanges) {
    CmisModule &m = adopt();
    cage_.clear_log();
    std::uint8_t buf[16] = {};
    ASSERT_EQ(coh_sdk_read_write_reg(kKey, 0, 0x01, 128, 16, buf, 1), COH_SDK_OK);
    EXPECT_EQ(std::vector<std::uint8_t>(buf, buf + 16), m.memory().get_bytes(0x01, 128, 16));
    ASSERT_EQ(coh_sdk_read_write_reg(kKey, 0, 0x01, 200, 2, buf, 1), COH_SDK_OK);
    ASSERT_EQ(coh_sdk_read_write_reg(kKey, 0, 0x00, 0, 4, buf, 1), COH_SDK_OK) << "lower memory needs no select";
    ASSERT_EQ(coh_sdk_read_write_reg(kKey, 0, 0x02, 128, 8, buf, 1), COH_SDK_OK);
    EXPECT_EQ(std::vector<std::uint8_t>(buf, buf + 8), m.memory().get_bytes(0x02, 128, 8));
    const std::vector<Transaction> w = cage_.writes();
    ASSERT_EQ(w.size(), 2u);
    EXPECT_EQ(w[0].reg, 127);
    EXPECT_EQ(w[0].data, std::vector<std::uint8_t>{0x01});
    EXPECT_EQ(w[1].reg, 127);
    EXPECT_EQ(w[1].data, std::vector<std::uint8_t>{0x02});
    EXPECT_EQ(cage_.stats().page_select_writes, 2u);
    EXPECT_EQ(coh_sdk::device(kKey)->selected_page, 0x02);
}

TEST_F(CohSdkTest, AFailedAccessMakesTheNextUpperAccessSelectAgain) {
    adopt();
    std::uint8_t b = 0;
    ASSERT_EQ(coh_sdk_read_write_reg(kKey, 0, 0x11, 186, 1, &b, 1), COH_SDK_OK);
    cage_.clear_log();
    SdkLog::instance().take();
    cage_.fail_nth_access(1, 7);
    EXPECT_EQ(coh_sdk_read_write_reg(kKey, 0, 0x11, 186, 1, &b, 1), COH_SDK_ERR_MODULE_ACCESS);
    const auto lines = SdkLog::instance().take();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0], std::make_pair(1u, std::string("coh-sdk: device 0x0102 read of page 11h byte 186 (1 bytes) failed, rc 7\n")));
    EXPECT_FALSE(coh_sdk::device(kKey)->selected_page);
    EXPECT_TRUE(cage_.writes().empty());
    ASSERT_EQ(coh_sdk_read_write_reg(kKey, 0, 0x11, 186, 1, &b, 1), COH_SDK_OK);
    const std::vector<Transaction> w = cage_.writes();
    ASSERT_EQ(w.size(), 1u);
    EXPECT_EQ(w[0].reg, 127);
    EXPECT_EQ(w[0].data, std::vector<std::uint8_t>{0x11});
}

TEST_F(CohSdkTest, RegisterWritesReachTheSelectedPage) {
    CmisModule &m = adopt();
    std::uint8_t data[3] = {0x12, 0x34, 0x56};
    ASSERT_EQ(coh_sdk_read_write_reg(kKey, 0, 0x03, 240, 3, data, 0), COH_SDK_OK);
    EXPECT_EQ(m.memory().get_bytes(0x03, 240, 3), (std::vector<std::uint8_t>{0x12, 0x34, 0x56}));
    std::uint8_t back[3] = {};
    ASSERT_EQ(coh_sdk_read_write_reg(kKey, 0, 0x03, 240, 3, back, 1), COH_SDK_OK);
    EXPECT_EQ(std::memcmp(back, data, 3), 0);
}

TEST_F(CohSdkTest, ARangeAcrossByte128ReadsLowerMemoryThenThePage) {
    CmisModule &m = adopt();
    std::uint8_t buf[16] = {};
    std::vector<std::uint8_t> expected = m.memory().get_bytes(0, 120, 8);  // byte 127 before the select
    ASSERT_EQ(coh_sdk_read_write_reg(kKey, 0, 0x01, 120, 16, buf, 1), COH_SDK_OK);
    const std::vector<std::uint8_t> upper = m.memory().get_bytes(0x01, 128, 8);
    expected.insert(expected.end(), upper.begin(), upper.end());
    EXPECT_EQ(std::vector<std::uint8_t>(buf, buf + 16), expected);
}

TEST_F(CohSdkTest, RegisterAccessRefusesBadArguments) {
    adopt();
    cage_.clear_log();
    std::uint8_t buf[16] = {};
    constexpr std::uint32_t kInvalid = COH_SDK_ERR_INVALID_ARG;
    EXPECT_EQ(coh_sdk_read_write_reg(kKey, 1, 0, 0, 1, buf, 1), kInvalid) << "bank 1";
    EXPECT_EQ(coh_sdk_read_write_reg(kKey, 0, 0x100, 128, 1, buf, 1), kInvalid) << "page 100h";
    EXPECT_EQ(coh_sdk_read_write_reg(kKey, 0, 0, 250, 7, buf, 1), kInvalid) << "past byte 255";
    EXPECT_EQ(coh_sdk_read_write_reg(kKey, 0, 0, 256, 1, buf, 1), kInvalid);
    EXPECT_EQ(coh_sdk_read_write_reg(kKey, 0, 0, 0xFFFFFFFFu, 2, buf, 1), kInvalid) << "no wrap-around";
    EXPECT_EQ(coh_sdk_read_write_reg(kKey, 0, 0, 0, 0, buf, 1), kInvalid) << "nothing to move";
    EXPECT_EQ(coh_sdk_read_write_reg(kKey, 0, 0, 0, 1, nullptr, 1), kInvalid);
    EXPECT_EQ(coh_sdk_read_write_reg(kKey, 0, 0, 0, 1, buf, 2), kInvalid) << "rw 2";
    EXPECT_EQ(coh_sdk_read_write_reg(kKey, 0, 0, 250, 6, buf, 1), COH_SDK_OK) << "up to byte 255";
    EXPECT_EQ(cage_.log().size(), 2u) << "only the good access reached the module (page select and read)";
}

TEST_F(CohSdkTest, AWriteOfByte127ByTheCallerIsNotTrusted) {
    adopt();
    std::uint8_t b = 0;
    ASSERT_EQ(coh_sdk_read_write_reg(kKey, 0, 0x01, 128, 1, &b, 1), COH_SDK_OK);
    std::uint8_t page = 0x02;
    ASSERT_EQ(coh_sdk_read_write_reg(kKey, 0, 0, 127, 1, &page, 0), COH_SDK_OK);
    cage_.clear_log();
    ASSERT_EQ(coh_sdk_read_write_reg(kKey, 0, 0x01, 128, 1, &b, 1), COH_SDK_OK);
    ASSERT_EQ(cage_.writes().size(), 1u) << "page 01h selected again";
    EXPECT_EQ(cage_.writes()[0].data, std::vector<std::uint8_t>{0x01});
}

// ---- Laser, traffic, configuration ------------------------------------------------------------------

TEST_F(CohSdkTest, TheLaserSwitchesTheTransmitterOfMediaLaneOne) {
    init();
    CmisModule &m = bring_up(cage_, kKey);
    ASSERT_EQ(laser(kKey, COH_SDK_LASER_ON), COH_SDK_OK);
    EXPECT_EQ(m.memory().get(0x10, 130), 0xFE);
    EXPECT_TRUE(m.transmitting(0));
    auto view = coh_sdk::device(kKey);
    EXPECT_TRUE(view->laser_on);
    ASSERT_TRUE(view->laser);
    EXPECT_EQ(view->laser->action, COH_SDK_LASER_ON);
    EXPECT_EQ(view->laser->lanes, 2);
    ASSERT_EQ(laser(kKey, COH_SDK_LASER_OFF), COH_SDK_OK);
    EXPECT_EQ(m.memory().get(0x10, 130), 0xFF);
    EXPECT_FALSE(m.transmitting(0));
    EXPECT_FALSE(coh_sdk::device(kKey)->laser_on);
    EXPECT_EQ(laser(kKey, 3), COH_SDK_ERR_INVALID_ARG);
    EXPECT_EQ(laser(kKey, 0), COH_SDK_ERR_INVALID_ARG);
}

TEST_F(CohSdkTest, AFailedLaserWriteLeavesTheLaserAsItWas) {
    init();
    bring_up(cage_, kKey);
    cage_.fail_range(Op::write, 0x10, 130, 130, 9, 1);
    EXPECT_EQ(laser(kKey, COH_SDK_LASER_ON), COH_SDK_ERR_MODULE_ACCESS);
    EXPECT_FALSE(coh_sdk::device(kKey)->laser_on);
    EXPECT_FALSE(coh_sdk::device(kKey)->laser);
}

TEST_F(CohSdkTest, TrafficRecordsAreKeptAndTheModeChangesOnlyWithFlag08) {
    adopt();
    coh_sdk_traffic_record t{kKey, {1, 2, COH_SDK_TRAFFIC_200G, 4, 5, 6, 7}, 0x02};
    ASSERT_EQ(coh_sdk_module_config_traffic(&t), COH_SDK_OK);
    auto view = coh_sdk::device(kKey);
    ASSERT_TRUE(view->traffic);
    EXPECT_EQ(std::memcmp(&*view->traffic, &t, sizeof t), 0);
    EXPECT_EQ(view->traffic_mode, 0u) << "flags without 08h leave the mode";
    t.flags = 0x08;
    ASSERT_EQ(coh_sdk_module_config_traffic(&t), COH_SDK_OK);
    EXPECT_EQ(coh_sdk::device(kKey)->traffic_mode, COH_SDK_TRAFFIC_200G);
    EXPECT_EQ(report(kKey).config.traffic_mode, COH_SDK_TRAFFIC_200G);
    t.value[2] = 2;  // no such mode
    EXPECT_EQ(coh_sdk_module_config_traffic(&t), COH_SDK_ERR_INVALID_ARG);
    EXPECT_EQ(coh_sdk::device(kKey)->traffic_mode, COH_SDK_TRAFFIC_200G);
    EXPECT_EQ(coh_sdk::device(kKey)->traffic->value[2], COH_SDK_TRAFFIC_200G) << "a refused record is not kept";
}

TEST_F(CohSdkTest, ConfigurationFieldsApplyByFlagAndNullPartsStayAsTheyWere) {
    adopt();
    const coh_sdk_thresholds defaults = coh_sdk::device(kKey)->thresholds;
    EXPECT_EQ(defaults.flags, 0x300u);
    EXPECT_EQ(defaults.rx_power_th, -2000);
    coh_sdk_module_cfg cfg{};
    cfg.tx_power = 100;
    cfg.cd_min = -1000;
    cfg.cd_max = 1200;
    cfg.frequency = 194000000;
    cfg.opt_lb_line = 1;
    cfg.dsp_lb_line = 1;
    cfg.flags = 0x04 | 0x08 | 0x100;  // cd_min, cd_max, dsp-lb-line
    ASSERT_EQ(coh_sdk_module_cfg_and_thresholds_update(kKey, &cfg, nullptr), COH_SDK_OK);
    auto view = coh_sdk::device(kKey);
    EXPECT_EQ(view->cfg.tx_power, -1000) << "not flagged: the default stays";
    EXPECT_EQ(view->cfg.cd_min, -1000);
    EXPECT_EQ(view->cfg.cd_max, 1200);
    EXPECT_EQ(view->cfg.frequency, 193100000u);
    EXPECT_EQ(view->cfg.opt_lb_line, 0);
    EXPECT_EQ(view->cfg.dsp_lb_line, 1);
    EXPECT_EQ(std::memcmp(&view->thresholds, &defaults, sizeof defaults), 0);
    coh_sdk_thresholds t = defaults;
    t.osnr_low_th = 180;
    t.flags = 0x100 | 0x01;
    ASSERT_EQ(coh_sdk_module_cfg_and_thresholds_update(kKey, nullptr, &t), COH_SDK_OK);
    view = coh_sdk::device(kKey);
    EXPECT_EQ(view->thresholds.osnr_low_th, 180);
    EXPECT_EQ(view->thresholds.flags, 0x100u) << "only the group flags are kept";
    EXPECT_EQ(view->cfg.cd_max, 1200);
    const Report rep = report(kKey);
    EXPECT_EQ(rep.config.device_key, kKey);
    EXPECT_EQ(rep.config.cd_min, -1000);
    EXPECT_EQ(rep.config.cd_max, 1200);
    EXPECT_EQ(rep.config.tx_power, -1000);
    EXPECT_EQ(rep.config.frequency, 193100000u);
    EXPECT_EQ(rep.config.loopbacks, 0x01000000u);
}

TEST_F(CohSdkTest, AnInvertedRangeIsRefusedAndChangesNothing) {
    adopt();
    coh_sdk_module_cfg cfg{};
    cfg.cd_min = 500;
    cfg.flags = 0x04 | 0x02;
    cfg.tx_power = 50;
    cfg.cd_max = 3000;  // not flagged: the range becomes 500..2400, which is fine
    ASSERT_EQ(coh_sdk_module_cfg_and_thresholds_update(kKey, &cfg, nullptr), COH_SDK_OK);
    cfg.cd_min = 2500;
    EXPECT_EQ(coh_sdk_module_cfg_and_thresholds_update(kKey, &cfg, nullptr), COH_SDK_ERR_INVALID_ARG);
    EXPECT_EQ(coh_sdk::device(kKey)->cfg.cd_min, 500);
    coh_sdk_thresholds t = coh_sdk::device(kKey)->thresholds;
    t.cd_low_th = 100;
    t.cd_high_th = -100;
    EXPECT_EQ(coh_sdk_module_cfg_and_thresholds_update(kKey, nullptr, &t), COH_SDK_ERR_INVALID_ARG);
    EXPECT_EQ(coh_sdk::device(kKey)->thresholds.cd_low_th, -2400);
}

TEST_F(CohSdkTest, PerfMonitoringFollowsTheSecondConfigByte) {
    adopt();
    coh_sdk_perf_mon_record pm{kKey, {7, 1, 9, 4}};
    ASSERT_EQ(coh_sdk_module_config_perf_mon(&pm), COH_SDK_OK);
    auto view = coh_sdk::device(kKey);
    EXPECT_TRUE(view->perf_mon);
    EXPECT_EQ(std::vector<std::uint8_t>(view->perf_mon_config, view->perf_mon_config + 4),
              (std::vector<std::uint8_t>{7, 1, 9, 4}));
    EXPECT_EQ(report(kKey).config.perf_mon, 1u);
    pm.config[1] = 0;
    ASSERT_EQ(coh_sdk_module_config_perf_mon(&pm), COH_SDK_OK);
    EXPECT_FALSE(coh_sdk::device(kKey)->perf_mon);
    EXPECT_EQ(report(kKey).config.perf_mon, 0u);
    pm.config[1] = 2;
    EXPECT_EQ(coh_sdk_module_config_perf_mon(&pm), COH_SDK_ERR_INVALID_ARG);
}

// ---- Inventory, debug text, simulated alarms, injected failures -------------------------------------

TEST_F(CohSdkTest, InventoryNamesTheDspAndTheModulesRunningFirmware) {
    CmisModule &m = adopt();
    m.set_firmware_image(CmisModule::Bank::a, {true, {4, 17, 0}, {}});  // the running bank
    coh_sdk_inventory_record inv;
    std::memset(&inv, 0xAA, sizeof inv);
    ASSERT_EQ(coh_sdk_get_inventory_info(kKey, &inv), COH_SDK_OK);
    EXPECT_EQ(inv.module_fw_version, 0x0411u);
    EXPECT_EQ(inv.dsp_hw_revision, 2u);
    EXPECT_EQ(inv.dsp_fw_version, 0x030107u);
    EXPECT_EQ(std::string(inv.dsp_part, 8), "EMUCDSP4");
    EXPECT_EQ(inv.reserved[0], 0);
    EXPECT_EQ(inv.reserved[255], 0);
    cage_.fail_nth_access(1, 5);
    EXPECT_EQ(coh_sdk_get_inventory_info(kKey, &inv), COH_SDK_ERR_MODULE_ACCESS);
}

TEST_F(CohSdkTest, DebugTextDescribesTheDeviceAndIsTruncatedToTheRoom) {
    adopt();
    char text[512];
    std::uint32_t used = 0;
    ASSERT_EQ(coh_sdk_module_get_debug_info(kKey, text, sizeof text, &used), COH_SDK_OK);
    const std::string full = "coh-sdk device 0x0102: kind 1, init-hw 0, coherent 1\n"
                             "laser off, traffic mode 0, perf-mon off, samples 0\n"
                             "tx power -1000, cd -2400..2400 ps/nm, frequency 193100000 MHz, loopbacks 0/0/0/0\n"
                             "selected page -1, firmware download state 0, 0%, 0 bytes\n";
    EXPECT_EQ(std::string(text), full);
    EXPECT_EQ(used, full.size());
    char small[21];
    std::memset(small, '#', sizeof small);
    ASSERT_EQ(coh_sdk_module_get_debug_info(kKey, small, 20, &used), COH_SDK_OK);
    EXPECT_EQ(used, 19u);
    EXPECT_EQ(std::string(small), full.substr(0, 19));
    EXPECT_EQ(small[20], '#') << "nothing beyond the room";
    ASSERT_EQ(coh_sdk_module_get_debug_info(kKey, small, 0, &used), COH_SDK_OK);
    EXPECT_EQ(used, 0u);
    EXPECT_EQ(small[0], 'c') << "no room: nothing written";
}

TEST_F(CohSdkTest, SimulatedAlarmsAreKept) {
    adopt();
    coh_sdk_alarms a{};
    a.ntwk_flexo = COH_SDK_FLEXO_RDI;
    a.optical = COH_SDK_OPT_DGD_HIGH;
    a.module = COH_SDK_MOD_LASER_FAULT;
    ASSERT_EQ(coh_sdk_set_sim_alarms(kKey, &a), COH_SDK_OK);
    EXPECT_EQ(std::memcmp(&coh_sdk::device(kKey)->sim_alarms, &a, sizeof a), 0);
}

TEST_F(CohSdkTest, AnInjectedFailureAnswersTheNextCallsOfThatFunctionOnly) {
    init();
    bring_up(cage_, kKey);
    coh_sdk::fail_next("coh_sdk_module_set_laser", 0xC0DE, 2);
    EXPECT_EQ(laser(kKey, COH_SDK_LASER_ON), 0xC0DEu);
    std::uint8_t b = 0;
    EXPECT_EQ(coh_sdk_read_write_reg(kKey, 0, 0, 0, 1, &b, 1), COH_SDK_OK) << "other functions run";
    EXPECT_EQ(laser(kKey, COH_SDK_LASER_ON), 0xC0DEu);
    EXPECT_FALSE(coh_sdk::device(kKey)->laser_on);
    EXPECT_EQ(laser(kKey, COH_SDK_LASER_ON), COH_SDK_OK);
    EXPECT_TRUE(coh_sdk::device(kKey)->laser_on);
}

TEST_F(CohSdkTest, AnInjectedInitFailureLeavesTheSdkUninitialised) {
    coh_sdk::fail_next("coh_sdk_init", 0xC0500009u);
    EXPECT_EQ(coh_sdk_init(1, nullptr), 0xC0500009u);
    EXPECT_EQ(coh_sdk_device_delete(kKey), COH_SDK_ERR_NOT_INITIALISED);
    EXPECT_EQ(coh_sdk_init(1, nullptr), COH_SDK_OK);
    EXPECT_EQ(coh_sdk::init_calls(), 2);
}

TEST_F(CohSdkTest, WithoutAPrintCallbackNothingIsLogged) {
    ASSERT_EQ(coh_sdk_init(1, nullptr), COH_SDK_OK);
    insert(cage_);
    const coh_sdk_device_create_record r = record(cage_, kKey, 0);
    ASSERT_EQ(coh_sdk_device_create(&r), COH_SDK_OK);
    EXPECT_TRUE(SdkLog::instance().take().empty());
}

}  // namespace
