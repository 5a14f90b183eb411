// The coherent driver against a recording SDK (tests/coherent/fake_coh_sdk):
// this binary links the fake's coh_sdk_* ahead of the library, so the driver
// runs on the declared SDK interface alone. Ports become coherent through
// CMIS bring-up of ZR and ZR+ catalogue modules; every slot is called through
// its port operation and the records the SDK received are checked field by
// field. Tests that count the SDK's one set-up need a fresh process, which
// ctest gives each test.
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "coherent/coherent.h"
#include "coherent/coherent_port.h"
#include "coherent/fake_coh_sdk.h"
#include "support/failing_calloc.h"


namespace qsfp::test {
namespace {

using Call = FakeCohSdk::Call;

class CoherentFakeSdkTest : public CoherentPortTest {
protected:
    void SetUp() override {
        CoherentPortTest::SetUp();
        sdk().reset_calls();
    }
    static FakeCohSdk &sdk() { return FakeCohSdk::instance(); }

    // A ZR port with the SDK's calls of its bring-up and the traces forgotten.
    qsfp_port_ctx *ready_port(std::string_view name = "400G-ZR", std::size_t index = 0) {
        qsfp_port_ctx *port = coherent_port(name, index);
        sdk().reset_calls();
        forget_traffic(index);
        return port;
    }
    // The device-create record the SDK holds for `port`.
    static const coh_sdk_device_create_record &device(const qsfp_port_ctx *port) {
        return sdk().devices.at(coherent::device_key(port));
    }
    // The SDK's one set-up happens in the process's first coherent bring-up.
    static bool fresh_process() { return !sdk().initialised && sdk().count(Call::init) == 0; }
};

constexpr std::uint32_t kSdkFault = COH_SDK_ERR_NOT_READY;

// ---- Device init, keys, delete ------------------------------------------------------

TEST_F(CoherentFakeSdkTest, ZrBringUpRegistersTheModuleWithTheDeviceCreateRecord) {
    const bool fresh = fresh_process();
    qsfp_port_ctx *port = coherent_port("400G-ZR");
    ASSERT_NE(port, nullptr);
    if (fresh) {
        ASSERT_EQ(sdk().init_modes, std::vector<std::uint32_t>{1});
        EXPECT_EQ(sdk().init_print, std::vector<coh_sdk_print_fn>{coherent_module_print});
        EXPECT_TRUE(has_evt(port, "coh-sdk init SUCCESS\n"));
    }
    ASSERT_EQ(sdk().creates.size(), 1u);
    const coh_sdk_device_create_record &r = sdk().creates[0];
    EXPECT_EQ(r.version, 1u);
    EXPECT_EQ(r.instance, 1u);
    EXPECT_EQ(r.lanes, 1u);
    EXPECT_EQ(r.reserved, 0u);
    EXPECT_EQ(r.module_kind, COH_SDK_MODULE_ZR);
    EXPECT_EQ(r.init_hw, 1u);
    EXPECT_EQ(r.i2c_write, coherent_module_i2c_write);
    EXPECT_EQ(r.i2c_read, coherent_module_i2c_read);
    EXPECT_EQ(r.ctx, port);
    EXPECT_EQ(r.device_key, 1u);
    EXPECT_EQ(r.read_status_pin, coherent_module_read_status_pin);
    EXPECT_EQ(r.read_ctrl_pin, coherent_module_read_ctrl_pin);
    EXPECT_EQ(r.write_ctrl_pin, coherent_module_write_ctrl_pin);
    EXPECT_EQ(r.coherent, 1u);
    EXPECT_TRUE(has_evt(port, "coherent module init-hw:1\n"));
    EXPECT_TRUE(has_evt(port, "coh-sdk port init SUCCESS\n"));
    EXPECT_EQ(port->fvt.get_hw_status, qsfp_dd_coh_dsp_fvt.get_hw_status);
}

TEST_F(CoherentFakeSdkTest, ZrPlusIsModuleKindTwoAndTheInitFlagIsPassedOn) {
    qsfp_port_ctx *port = coherent_port("400G-ZR-ZRP", 0, QSFP_DD_INIT_ADOPT);
    ASSERT_NE(port, nullptr);
    EXPECT_EQ(port->hw_info.qsfp_type, QSFP_DD_TYPE_400G_ZRP);
    ASSERT_EQ(sdk().creates.size(), 1u);
    EXPECT_EQ(sdk().creates[0].module_kind, COH_SDK_MODULE_ZR_PLUS);
    EXPECT_EQ(sdk().creates[0].init_hw, 0u);
    EXPECT_TRUE(has_evt(port, "coherent module init-hw:0\n"));
}

TEST_F(CoherentFakeSdkTest, DeviceKeyIsControllerShiftedToSixteenBitsOrPortLowByte) {
    insert_cmis("400G-ZR");
    qsfp_port_create_params p = cmis_params(QSFP_DD_INIT_FULL);
    p.controller = 0x1AB;
    p.port = 0x2CD;
    qsfp_port_ctx *port = create(p, QSFP_OK);
    ASSERT_NE(port, nullptr);
    ASSERT_EQ(sdk().creates.size(), 1u);
    EXPECT_EQ(sdk().creates[0].device_key, 0xABCDu);
    EXPECT_EQ(coherent::device_key(port), 0xABCDu);
    EXPECT_TRUE(trace_has(kEvt, "Controller 427 Port 717: coh-sdk port init SUCCESS\n"));
}

TEST_F(CoherentFakeSdkTest, TwoCoherentPortsInitialiseTheSdkOnceWithTwoDeviceKeys) {
    if (!fresh_process()) {
        GTEST_SKIP() << "needs a process of its own (ctest runs each test alone)";
    }
    qsfp_port_ctx *first = coherent_port("400G-ZR", 0);
    qsfp_port_ctx *second = coherent_port("400G-ZRP", 1);
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(sdk().count(Call::init), 1u);
    ASSERT_EQ(sdk().creates.size(), 2u);
    EXPECT_EQ(sdk().creates[0].device_key, 1u);
    EXPECT_EQ(sdk().creates[1].device_key, 2u);
    EXPECT_EQ(sdk().creates[1].ctx, second);
    EXPECT_EQ(sdk().creates[1].module_kind, COH_SDK_MODULE_ZR_PLUS);
    EXPECT_EQ(trace_count(kEvt, line(first, "coh-sdk init SUCCESS\n")), 1u);
    EXPECT_FALSE(has_evt(second, "coh-sdk init SUCCESS\n"));
    EXPECT_TRUE(has_evt(second, "coh-sdk port init SUCCESS\n"));
}

TEST_F(CoherentFakeSdkTest, TwoPortsInitialisingAtOnceSetTheSdkUpOnce) {
    if (!fresh_process()) {
        GTEST_SKIP() << "needs a process of its own (ctest runs each test alone)";
    }
    insert_cmis("400G-ZR", 0);
    insert_cmis("400G-ZRP", 1);
    sdk().init_ms = 50;  // the first init is still running when the second port gets there
    const qsfp_port_create_params params[2] = {cmis_params(QSFP_DD_INIT_FULL, 0, 0),
                                               cmis_params(QSFP_DD_INIT_FULL, 0, 1)};
    qsfp_port_create_result results[2] = {};
    std::uint32_t rcs[2] = {1, 1};
    {
        std::vector<std::thread> threads;
        for (int i = 0; i < 2; ++i) {
            threads.emplace_back([&, i] { rcs[i] = qsfp_port_create(&params[i], &results[i]); });
        }
        for (std::thread &t : threads) {
            t.join();
        }
    }
    for (const qsfp_port_create_result &r : results) {
        ports_.push_back(r.handle);
    }
    EXPECT_EQ(rcs[0], QSFP_OK);
    EXPECT_EQ(rcs[1], QSFP_OK);
    EXPECT_EQ(sdk().init_modes.size(), 1u);
    EXPECT_EQ(trace_count(kEvt, "Controller 0 Port 1: coh-sdk init SUCCESS\n") +
                  trace_count(kEvt, "Controller 0 Port 2: coh-sdk init SUCCESS\n"),
              1u);
    ASSERT_EQ(sdk().devices.size(), 2u);
    EXPECT_EQ(sdk().devices.count(1), 1u);
    EXPECT_EQ(sdk().devices.count(2), 1u);
}

TEST_F(CoherentFakeSdkTest, FailedSdkInitCreatesNoDeviceAndTheNextPortTriesAgain) {
    if (!fresh_process()) {
        GTEST_SKIP() << "needs a process of its own (ctest runs each test alone)";
    }
    sdk().fail(Call::init, kSdkFault, 1);
    qsfp_port_ctx *first = coherent_port("400G-ZR", 0);
    ASSERT_NE(first, nullptr);  // device init answers 0
    EXPECT_TRUE(has_err(first, "coh-sdk init FAILED\n"));
    EXPECT_FALSE(has_evt(first, "coh-sdk init SUCCESS\n"));
    EXPECT_EQ(sdk().count(Call::device_create), 0u);
    EXPECT_FALSE(has_evt(first, "coh-sdk port init SUCCESS\n"));

    qsfp_port_ctx *second = coherent_port("400G-ZR", 1);
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(sdk().count(Call::init), 2u);
    EXPECT_TRUE(has_evt(second, "coh-sdk init SUCCESS\n"));
    ASSERT_EQ(sdk().creates.size(), 1u);
    EXPECT_EQ(sdk().creates[0].device_key, 2u);
}

TEST_F(CoherentFakeSdkTest, FailedDeviceCreateIsTracedAndBringUpStillAnswersZero) {
    sdk().fail(Call::device_create, COH_SDK_ERR_DUPLICATE_KEY);
    qsfp_port_ctx *port = coherent_port();
    ASSERT_NE(port, nullptr);
    EXPECT_TRUE(has_err(port, "coh-sdk port init FAILED\n"));
    EXPECT_FALSE(has_evt(port, "coh-sdk port init SUCCESS\n"));
}

TEST_F(CoherentFakeSdkTest, DeletingOnePortForgetsItsDeviceAndLeavesTheOtherWorking) {
    qsfp_port_ctx *first = ready_port("400G-ZR", 0);
    qsfp_port_ctx *second = ready_port("400G-ZR", 1);
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    ASSERT_EQ(qsfp_port_delete(first), QSFP_OK);
    forget(first);
    EXPECT_EQ(sdk().deletes, std::vector<std::uint32_t>{1});
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: coherent module device delete success \n"));
    EXPECT_EQ(sdk().devices.count(1), 0u);

    qsfp_coh_traffic_config traffic{{1, 2, 3, 4, 5, 6, 7}, 0};
    EXPECT_EQ(qsfp_module_config_traffic(second, &traffic), QSFP_OK);
    ASSERT_EQ(sdk().traffic.size(), 1u);
    EXPECT_EQ(sdk().traffic[0].device_key, 2u);
    EXPECT_EQ(qsfp_port_admin_state(second, 0, 1, 0xFF), QSFP_OK);
    EXPECT_TRUE(has_evt(second, "coherent port enable done, rc 0x0 \n"));
}

TEST_F(CoherentFakeSdkTest, FailedDeleteAnswersTheSdkCodeWithItsTrace) {
    qsfp_port_ctx *port = ready_port();
    sdk().fail(Call::device_delete, COH_SDK_ERR_UNKNOWN_KEY, 1);
    EXPECT_EQ(port->fvt.delete_device(port), COH_SDK_ERR_UNKNOWN_KEY);
    EXPECT_TRUE(has_err(port, "coherent module device delete failed \n"));
    EXPECT_EQ(coherent_module_delete_device(nullptr), QSFP_ERR_INVALID);
}

TEST_F(CoherentFakeSdkTest, CoherentModuleInitTracesItsEntry) {
    qsfp_port_ctx *port = ready_port();
    EXPECT_EQ(coherent_module_init(port), QSFP_OK);
    EXPECT_TRUE(has_evt(port, "Entry coherent_module_init\n"));
    EXPECT_EQ(coherent_module_init(nullptr), QSFP_ERR_INVALID);
}

// ---- Type, stubs -------------------------------------------------------------------------

TEST_F(CoherentFakeSdkTest, GetTypeGivesTypeNameAndTheCoherentFlag) {
    qsfp_port_ctx *port = ready_port();
    std::uint32_t type = 0;
    char name[32] = {};
    std::uint32_t flag = 0;
    EXPECT_EQ(qsfp_port_type(port, &type, name, sizeof name, &flag), QSFP_OK);
    EXPECT_EQ(type, QSFP_DD_TYPE_400G_ZR);
    EXPECT_STREQ(name, "QSFPDD 400G ZR");
    EXPECT_EQ(flag, 1u);
    char short_name[7] = {};
    EXPECT_EQ(qsfp_port_type(port, &type, short_name, sizeof short_name, nullptr), QSFP_OK);
    EXPECT_STREQ(short_name, "QSFPDD");
    EXPECT_EQ(qsfp_port_type(port, nullptr, name, sizeof name, &flag), QSFP_ERR_INVALID);
    EXPECT_TRUE(has_err(port, "QSFP Get type Null parameters\n"));
    EXPECT_TRUE(sdk().sequence.empty());
}

TEST_F(CoherentFakeSdkTest, LaneSlotsAreStubsThatAnswerZero) {
    qsfp_port_ctx *port = ready_port();
    EXPECT_EQ(qsfp_port_lane_tx_enable(port, 0xFF, 1), QSFP_OK);
    EXPECT_TRUE(has_err(port, "Unsupported\n"));
    std::uint8_t values[8] = {};
    EXPECT_EQ(qsfp_modify_eq(port, 0xFF, values), QSFP_OK);
    void *text = nullptr;
    std::uint32_t len = 0;
    EXPECT_EQ(qsfp_port_phy_reg_decode(port, &text, &len), QSFP_ERR_EMPTY_SLOT);  // slot 21 stays empty
    EXPECT_TRUE(sdk().sequence.empty());
}

// ---- Port mode and traffic -----------------------------------------------------------------

struct ModeCase {
    std::uint32_t mode;
    std::uint32_t traffic_mode;
};
constexpr ModeCase kModeCases[] = {{7, 1}, {14, 3}, {15, 5}, {16, 4}, {17, 6}};

TEST_F(CoherentFakeSdkTest, PortModeSendsTheMappedTrafficModeWithTheModeChangeFlag) {
    qsfp_port_ctx *port = ready_port();
    for (const ModeCase &c : kModeCases) {
        sdk().reset_calls();
        clear_traces();
        EXPECT_EQ(qsfp_port_mode_config(port, c.mode), QSFP_OK) << c.mode;
        ASSERT_EQ(sdk().traffic.size(), 1u) << c.mode;
        const coh_sdk_traffic_record &r = sdk().traffic[0];
        EXPECT_EQ(r.device_key, 1u);
        for (std::uint32_t i = 0; i < COH_SDK_TRAFFIC_VALUES; ++i) {
            EXPECT_EQ(r.value[i], i == 2 ? c.traffic_mode : 0u) << c.mode << " value " << i;
        }
        EXPECT_EQ(r.flags, 0x08u);
        EXPECT_TRUE(has_evt(port, "update port mode to " + std::to_string(c.mode) + " \n"));
        EXPECT_TRUE(has_evt(port, "coherent traffic cfg update SUCCESS\n"));
    }
}

TEST_F(CoherentFakeSdkTest, PortModeEightAnswers22WithoutAnSdkCall) {
    qsfp_port_ctx *port = ready_port();
    for (const std::uint32_t mode : {0u, 8u, 13u, 18u}) {
        EXPECT_EQ(qsfp_port_mode_config(port, mode), QSFP_ERR_INVALID) << mode;
        EXPECT_TRUE(has_err(port, "Unknown port mode " + std::to_string(mode) + " \n"));
    }
    EXPECT_TRUE(sdk().sequence.empty());
    EXPECT_FALSE(has_evt(port, "update port mode to 8 \n"));
}

TEST_F(CoherentFakeSdkTest, PortModeAnswersTheSdkFailure) {
    qsfp_port_ctx *port = ready_port();
    sdk().fail(Call::config_traffic, kSdkFault);
    EXPECT_EQ(qsfp_port_mode_config(port, 7), kSdkFault);
    EXPECT_TRUE(has_err(port, "coherent traffic cfg update FAILED, rc = " + dec(kSdkFault) + "\n"));
}

TEST_F(CoherentFakeSdkTest, TrafficConfigCopiesSevenValuesAndKeepsFlagBitsOneToSeven) {
    qsfp_port_ctx *port = ready_port();
    qsfp_coh_traffic_config in{{11, 22, 33, 44, 55, 66, 77}, 0xFFFFFFFF};
    EXPECT_EQ(qsfp_module_config_traffic(port, &in), QSFP_OK);
    in.flags = 0x101;
    EXPECT_EQ(qsfp_module_config_traffic(port, &in), QSFP_OK);
    ASSERT_EQ(sdk().traffic.size(), 2u);
    const coh_sdk_traffic_record &r = sdk().traffic[0];
    EXPECT_EQ(r.device_key, 1u);
    for (std::uint32_t i = 0; i < COH_SDK_TRAFFIC_VALUES; ++i) {
        EXPECT_EQ(r.value[i], in.value[i]);
    }
    EXPECT_EQ(r.flags, 0xFEu);
    EXPECT_EQ(sdk().traffic[1].flags, 0u);
    EXPECT_EQ(trace_count(kEvt, line(port, "coherent traffic config SUCCESS\n")), 2u);

    sdk().fail(Call::config_traffic, kSdkFault, 1);
    EXPECT_EQ(qsfp_module_config_traffic(port, &in), kSdkFault);
    EXPECT_TRUE(has_err(port, "coherent traffic config FAILED, rc = " + dec(kSdkFault) + "\n"));
    EXPECT_EQ(qsfp_module_config_traffic(port, nullptr), QSFP_ERR_INVALID);
    EXPECT_TRUE(has_err(port, "coherent traffic config failed, null param\n"));
    EXPECT_EQ(sdk().traffic.size(), 3u);
}

// ---- Laser -------------------------------------------------------------------------------------

TEST_F(CoherentFakeSdkTest, AdminStateTurnsTheLaserOnAndOff) {
    qsfp_port_ctx *port = ready_port();
    EXPECT_EQ(qsfp_port_admin_state(port, 0, 1, 0x0F), QSFP_OK);
    EXPECT_EQ(qsfp_port_admin_state(port, 1, 0, 0x0F), QSFP_OK);
    ASSERT_EQ(sdk().laser.size(), 2u);
    EXPECT_EQ(sdk().laser[0].device_key, 1u);
    EXPECT_EQ(sdk().laser[0].action, COH_SDK_LASER_ON);
    EXPECT_EQ(sdk().laser[0].lanes, 2u);
    EXPECT_EQ(sdk().laser[1].device_key, 1u);
    EXPECT_EQ(sdk().laser[1].action, COH_SDK_LASER_OFF);
    EXPECT_EQ(sdk().laser[1].lanes, 2u);
    EXPECT_EQ(evt(), prefixed({"QSFP admin state handler, pre 0, state 1, lane 0xf\n", "Entry coherent port enable\n",
                               "coherent port enable done, rc 0x0 \n",
                               "QSFP admin state handler, pre 1, state 0, lane 0xf\n", "Entry coherent port disable\n",
                               "coherent port disable done, rc 0x0 \n"}));
}

TEST_F(CoherentFakeSdkTest, LaserFailureIsTracedAndAnswersZero) {
    qsfp_port_ctx *port = ready_port();
    sdk().fail(Call::set_laser, kSdkFault);
    EXPECT_EQ(qsfp_port_tx_disable(port, 0, 1, 0x01), QSFP_OK);
    EXPECT_EQ(qsfp_port_tx_disable(port, 1, 0, 0x01), QSFP_OK);
    EXPECT_TRUE(has_err(port, "coherent port enable done, rc " + hex(kSdkFault) + " \n"));
    EXPECT_TRUE(has_err(port, "coherent port disable done, rc " + hex(kSdkFault) + " \n"));
}

// ---- Inventory ------------------------------------------------------------------------------------

TEST_F(CoherentFakeSdkTest, InventoryKeepsTheSdkValuesAndCopiesTheModuleRecord) {
    qsfp_port_ctx *port = ready_port();
    sdk().inventory_answer.dsp_hw_revision = 0xA1;
    sdk().inventory_answer.dsp_fw_version = 0x020304;
    sdk().inventory_answer.module_fw_version = 0x0105;
    std::memcpy(sdk().inventory_answer.dsp_part, "DSP7NM01", 8);
    qsfp_hw_info info{};
    EXPECT_EQ(qsfp_port_hw_info(port, &info), QSFP_OK);
    EXPECT_EQ(sdk().inventory_keys, std::vector<std::uint32_t>{1});
    EXPECT_EQ(std::memcmp(&info, &port->hw_info, sizeof info), 0);
    EXPECT_STREQ(info.pid, "HDX-400G-ZR-V");
    const coherent::Inventory &kept = coherent::state(port).inventory;
    EXPECT_EQ(kept.dsp_hw_revision, 0xA1u);
    EXPECT_EQ(kept.dsp_fw_version, 0x020304u);
    EXPECT_EQ(kept.module_fw_version, 0x0105u);
    EXPECT_EQ(std::string(kept.dsp_part, 8), "DSP7NM01");
}

TEST_F(CoherentFakeSdkTest, InventoryFailureIsTracedAndStillCopiesTheRecord) {
    qsfp_port_ctx *port = ready_port();
    sdk().fail(Call::inventory, kSdkFault);
    sdk().inventory_answer.dsp_hw_revision = 0xA1;
    qsfp_hw_info info{};
    EXPECT_EQ(qsfp_port_hw_info(port, &info), QSFP_OK);
    EXPECT_TRUE(has_err(port, "coherent module inventory info get failed, rc " + hex(kSdkFault) + " \n"));
    EXPECT_EQ(std::memcmp(&info, &port->hw_info, sizeof info), 0);
    EXPECT_EQ(coherent::state(port).inventory.dsp_hw_revision, 0u);
    EXPECT_EQ(qsfp_port_hw_info(port, nullptr), QSFP_ERR_INVALID);
    EXPECT_TRUE(has_err(port, "QSFP get hw info Null parameters\n"));
}

// ---- Register access ---------------------------------------------------------------------------------

TEST_F(CoherentFakeSdkTest, PortReadAndWriteGoThroughTheSdk) {
    qsfp_port_ctx *port = ready_port();
    std::uint8_t byte = 0;
    EXPECT_EQ(qsfp_port_read(port, 130, 0x10, 1, &byte), QSFP_OK);
    EXPECT_EQ(byte, module(0).memory().get(0x10, 130));
    std::uint8_t all = 0xFF;
    EXPECT_EQ(qsfp_port_write(port, 130, 0x10, 1, &all), QSFP_OK);
    EXPECT_EQ(module(0).memory().get(0x10, 130), 0xFF);
    ASSERT_EQ(sdk().reg_accesses.size(), 2u);
    const FakeCohSdk::RegAccess &r = sdk().reg_accesses[0];
    EXPECT_EQ(r.key, 1u);
    EXPECT_EQ(r.bank, 0u);
    EXPECT_EQ(r.page, 0x10u);
    EXPECT_EQ(r.reg, 130u);
    EXPECT_EQ(r.len, 1u);
    EXPECT_EQ(r.rw, 1u);
    EXPECT_EQ(sdk().reg_accesses[1].rw, 0u);
}

TEST_F(CoherentFakeSdkTest, FailedRegisterAccessIsTracedWithItsArguments) {
    qsfp_port_ctx *port = ready_port();
    cage().fail_range(sim::Op::read, 0x10, 130, 130, sim::kNoModuleCode, 1);
    std::uint8_t byte = 0;
    EXPECT_EQ(qsfp_port_read(port, 130, 0x10, 1, &byte), COH_SDK_ERR_MODULE_ACCESS);
    EXPECT_TRUE(has_err(port, "coherent module reg access failed,offset 130, size 1, page 16, rd_wr 1, rc " +
                                  dec(COH_SDK_ERR_MODULE_ACCESS) + "\n"));
    EXPECT_EQ(coherent_module_reg_read_write(port, 0, 1, 0, nullptr, 1), QSFP_ERR_INVALID);
    EXPECT_TRUE(has_err(port, "coherent module reg access failed, null param\n"));
}

// ---- CDB --------------------------------------------------------------------------------------------

struct CdbCase {
    std::uint32_t command;
    std::uint32_t operation;
};
constexpr CdbCase kCdbCases[] = {{0, 1}, {400, 2}, {402, 3}, {403, 4}};

TEST_F(CoherentFakeSdkTest, CdbCommandsBecomeSdkOperationsWithTheCallersValues) {
    qsfp_port_ctx *port = ready_port();
    sdk().cdb_text = "image B running";
    for (const CdbCase &c : kCdbCases) {
        sdk().reset_calls();
        sdk().cdb_text = "image B running";
        char response[64] = {};
        std::uint32_t length = 99;
        cdb_cmd_info request{c.command, "/tmp/zr.bin", response, sizeof response, &length};
        EXPECT_EQ(qsfp_module_cdb_cmd_execute(port, &request), QSFP_OK);
        ASSERT_EQ(sdk().cdb.size(), 1u);
        EXPECT_EQ(sdk().cdb[0].first, 1u);
        const coh_sdk_cdb_record &r = sdk().cdb[0].second;
        EXPECT_EQ(r.operation, c.operation);
        EXPECT_EQ(r.reserved, 0u);
        EXPECT_EQ(r.args[0], reinterpret_cast<std::uintptr_t>(request.file_name));
        EXPECT_EQ(r.args[1], reinterpret_cast<std::uintptr_t>(response));
        EXPECT_EQ(r.args[2], sizeof response);
        EXPECT_EQ(r.result, 0u);
        EXPECT_EQ(length, 15u);
        EXPECT_STREQ(response, "image B running");
        EXPECT_TRUE(has_evt(port, "cdb cmd " + std::to_string(c.command) + ", success\n"));
    }
}

TEST_F(CoherentFakeSdkTest, CdbCommand401AndANullRequestAnswer22) {
    qsfp_port_ctx *port = ready_port();
    std::uint32_t length = 7;
    cdb_cmd_info request{401, "/tmp/zr.bin", nullptr, 0, &length};
    EXPECT_EQ(qsfp_module_cdb_cmd_execute(port, &request), QSFP_ERR_INVALID);
    EXPECT_TRUE(has_err(port, "cdb cmd 401 unknown\n"));
    EXPECT_EQ(length, 7u);
    EXPECT_EQ(qsfp_module_cdb_cmd_execute(port, nullptr), QSFP_ERR_INVALID);
    EXPECT_TRUE(has_err(port, "cdb cmd execute failed, null param\n"));
    EXPECT_TRUE(sdk().sequence.empty());
}

TEST_F(CoherentFakeSdkTest, CdbFailureCopiesTheResultWordToo) {
    qsfp_port_ctx *port = ready_port();
    sdk().fail(Call::cdb, COH_SDK_ERR_CDB);
    sdk().cdb_text = "abort";
    char response[4] = {};
    std::uint32_t length = 0;
    cdb_cmd_info request{402, nullptr, response, sizeof response, &length};
    EXPECT_EQ(qsfp_module_cdb_cmd_execute(port, &request), COH_SDK_ERR_CDB);
    EXPECT_TRUE(has_err(port, "cdb cmd 402, failed\n"));
    EXPECT_EQ(length, 4u);
    request.response_length = nullptr;
    EXPECT_EQ(qsfp_module_cdb_cmd_execute(port, &request), COH_SDK_ERR_CDB);
}

// ---- Configuration and thresholds --------------------------------------------------------------------

TEST_F(CoherentFakeSdkTest, ConfigAndThresholdsAreCopiedFieldByFieldWithTheirFlagMasks) {
    qsfp_port_ctx *port = ready_port();
    qsfp_coh_module_config cfg{-150, -2400, 2400, 193100000, 1, 0, 1, 0, 0xFFFFFFFF};
    qsfp_coh_thresholds th{-1800, 300, -1500, 200, 900, -2000, 2000, 180, 30, 0xFFFFFFFF};
    EXPECT_EQ(qsfp_module_config_update(port, &cfg, &th), QSFP_OK);
    ASSERT_EQ(sdk().cfg_updates.size(), 1u);
    const FakeCohSdk::CfgUpdate &u = sdk().cfg_updates[0];
    EXPECT_EQ(u.key, 1u);
    ASSERT_TRUE(u.cfg.has_value());
    EXPECT_EQ(u.cfg->tx_power, -150);
    EXPECT_EQ(u.cfg->cd_min, -2400);
    EXPECT_EQ(u.cfg->cd_max, 2400);
    EXPECT_EQ(u.cfg->frequency, 193100000u);
    EXPECT_EQ(u.cfg->opt_lb_internal, 1u);
    EXPECT_EQ(u.cfg->opt_lb_line, 0u);
    EXPECT_EQ(u.cfg->dsp_lb_internal, 1u);
    EXPECT_EQ(u.cfg->dsp_lb_line, 0u);
    EXPECT_EQ(u.cfg->flags, 0x1FEu);
    ASSERT_TRUE(u.thresholds.has_value());
    EXPECT_EQ(u.thresholds->rx_power_th, -1800);
    EXPECT_EQ(u.thresholds->rx_max_power_th, 300);
    EXPECT_EQ(u.thresholds->tx_power_th, -1500);
    EXPECT_EQ(u.thresholds->tx_high_power_th, 200);
    EXPECT_EQ(u.thresholds->lbc_th, 900);
    EXPECT_EQ(u.thresholds->cd_low_th, -2000);
    EXPECT_EQ(u.thresholds->cd_high_th, 2000);
    EXPECT_EQ(u.thresholds->osnr_low_th, 180);
    EXPECT_EQ(u.thresholds->dgd_high_th, 30);
    EXPECT_EQ(u.thresholds->flags, 0x300u);
    EXPECT_EQ(evt(), prefixed({"updating module config and thresholds \n",
                               "tx power -150, cd_min -2400, cd_max 2400, frequency 193100000, opt-lb-internal 1, "
                               "opt-lb-line 0, dsp-lb-internal 1, dsp-lb-line 0, flags 0x1fe \n",
                               "rx_power_th -1800, rx_max_power_th 300, tx_power_th -1500, tx_high_power_th 200, "
                               "lbc_th 900, cd_low_th -2000, cd_high_th 2000, osnr_low_th 180, dgd_high_th 30, "
                               "flags 0x300 \n",
                               "module config and thresholds update success \n"}));
}

TEST_F(CoherentFakeSdkTest, ConfigUpdatePassesAMissingRecordAsNull) {
    qsfp_port_ctx *port = ready_port();
    qsfp_coh_module_config cfg{1, 2, 3, 4, 0, 1, 0, 1, 0x201};
    qsfp_coh_thresholds th{1, 2, 3, 4, 5, 6, 7, 8, 9, 0x1FF};
    EXPECT_EQ(qsfp_module_config_update(port, &cfg, nullptr), QSFP_OK);
    EXPECT_EQ(qsfp_module_config_update(port, nullptr, &th), QSFP_OK);
    ASSERT_EQ(sdk().cfg_updates.size(), 2u);
    ASSERT_TRUE(sdk().cfg_updates[0].cfg.has_value());
    EXPECT_EQ(sdk().cfg_updates[0].cfg->flags, 0x000u);
    EXPECT_FALSE(sdk().cfg_updates[0].thresholds.has_value());
    EXPECT_FALSE(sdk().cfg_updates[1].cfg.has_value());
    ASSERT_TRUE(sdk().cfg_updates[1].thresholds.has_value());
    EXPECT_EQ(sdk().cfg_updates[1].thresholds->flags, 0x100u);

    sdk().fail(Call::cfg_and_thresholds, kSdkFault);
    EXPECT_EQ(qsfp_module_config_update(port, nullptr, nullptr), kSdkFault);
    EXPECT_TRUE(has_err(port, "module config and thresholds update failed, rc " + hex(kSdkFault) + " \n"));
}

// ---- Performance monitoring -----------------------------------------------------------------------------

TEST_F(CoherentFakeSdkTest, PerfMonIsSwitchedByTheSecondByte) {
    qsfp_port_ctx *port = ready_port();
    qsfp_coh_perf_mon_config on{{9, 1, 7, 8}};
    qsfp_coh_perf_mon_config off{{1, 0, 1, 1}};
    EXPECT_EQ(qsfp_module_config_perf_mon(port, &on), QSFP_OK);
    EXPECT_EQ(qsfp_module_config_perf_mon(port, &off), QSFP_OK);
    ASSERT_EQ(sdk().perf_mon.size(), 2u);
    EXPECT_EQ(sdk().perf_mon[0].device_key, 1u);
    EXPECT_EQ(std::vector<std::uint8_t>(sdk().perf_mon[0].config, sdk().perf_mon[0].config + 4),
              (std::vector<std::uint8_t>{9, 1, 7, 8}));
    EXPECT_EQ(std::vector<std::uint8_t>(sdk().perf_mon[1].config, sdk().perf_mon[1].config + 4),
              (std::vector<std::uint8_t>{1, 0, 1, 1}));
    EXPECT_EQ(evt(), prefixed({"module perf-mon enabled\n", "perf-mon config SUCCESS\n", "module perf-mon disabled\n",
                               "perf-mon config SUCCESS\n"}));
    sdk().fail(Call::perf_mon, kSdkFault);
    EXPECT_EQ(qsfp_module_config_perf_mon(port, &on), kSdkFault);
    EXPECT_TRUE(has_err(port, "perf-mon config FAILED, rc = " + dec(kSdkFault) + "\n"));
    EXPECT_EQ(qsfp_module_config_perf_mon(port, nullptr), QSFP_ERR_INVALID);
    EXPECT_TRUE(has_err(port, "perf-mon config failed, null param\n"));
}

// ---- Simulated alarms ------------------------------------------------------------------------------------

// Where each caller bit lands in the SDK's alarm record: word 0 FlexO, 1
// network, 2 optical, 3 module; bits not listed are dropped.
struct AlarmBit {
    std::uint32_t bitmap;  // 0 network, 1 optical, 2 module
    std::uint32_t from;
    std::uint32_t word;
    std::uint32_t to;
};
constexpr AlarmBit kAlarmBits[] = {
    {0, 0x02, 1, 0x02},     {0, 0x04, 1, 0x04},     {0, 0x08, 1, 0x08},     {0, 0x10, 1, 0x10},
    {0, 0x400, 0, 0x20},    {0, 0x800, 0, 0x40},    {0, 0x1000, 0, 0x80},   {1, 0x02, 2, 0x02},
    {1, 0x04, 2, 0x04},     {1, 0x08, 2, 0x08},     {1, 0x10, 2, 0x10},     {1, 0x20, 2, 0x10000000},
    {1, 0x40, 2, 0x40},     {1, 0x80, 2, 0x80},     {1, 0x100, 2, 0x100},   {1, 0x200, 2, 0x200},
    {1, 0x400, 2, 0x400},   {1, 0x800, 2, 0x800},   {1, 0x1000, 2, 0x1000}, {2, 0x04, 3, 0x04},
    {2, 0x08, 3, 0x08},     {2, 0x10, 3, 0x10},     {2, 0x20, 3, 0x20},     {2, 0x40, 3, 0x40},
    {2, 0x80, 3, 0x80},     {2, 0x100, 3, 0x100},   {2, 0x200, 3, 0x200},
};

TEST_F(CoherentFakeSdkTest, EverySimulatedAlarmBitLandsWhereTheSdkHasItOrIsDropped) {
    qsfp_port_ctx *port = ready_port();
    for (std::uint32_t bitmap = 0; bitmap < 3; ++bitmap) {
        for (std::uint32_t bit = 0; bit < 32; ++bit) {
            std::uint32_t in[3] = {0, 0, 0};
            in[bitmap] = 1u << bit;
            std::uint32_t expected[4] = {0, 0, 0, 0};
            for (const AlarmBit &a : kAlarmBits) {
                if (a.bitmap == bitmap && a.from == in[bitmap]) {
                    expected[a.word] = a.to;
                }
            }
            sdk().reset_calls();
            qsfp_coh_sim_alarms alarms{in[0], in[1], in[2]};
            ASSERT_EQ(qsfp_port_set_sim_alarms(port, &alarms), QSFP_OK);
            ASSERT_EQ(sdk().sim_alarms.size(), 1u);
            EXPECT_EQ(sdk().sim_alarms[0].first, 1u);
            const coh_sdk_alarms &r = sdk().sim_alarms[0].second;
            EXPECT_EQ(r.ntwk_flexo, expected[0]) << bitmap << " bit " << bit;
            EXPECT_EQ(r.ntwk, expected[1]) << bitmap << " bit " << bit;
            EXPECT_EQ(r.optical, expected[2]) << bitmap << " bit " << bit;
            EXPECT_EQ(r.module, expected[3]) << bitmap << " bit " << bit;
            for (const std::uint32_t word : r.reserved) {
                EXPECT_EQ(word, 0u);
            }
        }
    }
}

TEST_F(CoherentFakeSdkTest, SimulatedAlarmsAreTracedPerBitmap) {
    qsfp_port_ctx *port = ready_port();
    qsfp_coh_sim_alarms alarms{0xFFFFFFFF, 0x21, 0x3FF};
    EXPECT_EQ(qsfp_port_set_sim_alarms(port, &alarms), QSFP_OK);
    EXPECT_EQ(evt(), prefixed({"Coherent module sim ntwk alarms Index[0] src-sim-ntwk-alarms-bmp[0xffffffff] "
                               "dst-sim-ntwk-alarms-bmp[0x1e] dst-sim-ntwk-flexo-alarms-bmp[0xe0] \n",
                               "Coherent module sim optical alarms Index[0] src-sim-optical-alarms-bmp[0x21] "
                               "dst-sim-optical-alarms-bmp[0x10000000] \n",
                               "Coherent module sim module alarms Index[0] src-sim-module-alarms-bmp[0x3ff] "
                               "dst-sim-module-alarms-bmp[0x3fc] \n"}));
    sdk().fail(Call::sim_alarms, kSdkFault);
    EXPECT_EQ(qsfp_port_set_sim_alarms(port, &alarms), kSdkFault);
    EXPECT_TRUE(has_err(port, "Coherent module sim alarms set failed, rc " + hex(kSdkFault) + " \n"));
    EXPECT_EQ(qsfp_port_set_sim_alarms(port, nullptr), QSFP_ERR_INVALID);
    EXPECT_TRUE(has_err(port, "Coherent module sim alarms failed, null param\n"));
}

// ---- Callbacks ----------------------------------------------------------------------------------------------

TEST_F(CoherentFakeSdkTest, PinCallbacksAnswerTheirFixedValues) {
    qsfp_port_ctx *port = ready_port();
    const coh_sdk_device_create_record &d = device(port);
    std::uint32_t value = 0;
    EXPECT_EQ(d.read_status_pin(d.ctx, &value), QSFP_OK);
    EXPECT_EQ(value, 5u);
    EXPECT_EQ(d.read_ctrl_pin(d.ctx, &value), QSFP_OK);
    EXPECT_EQ(value, 4u);
    EXPECT_EQ(d.write_ctrl_pin(d.ctx, 0x3), QSFP_OK);
    EXPECT_EQ(evt(), prefixed({"status PIN val 0x5 \n", "Control PIN read val 0x4 \n", "Control PIN write val 0x3 \n"}));
    EXPECT_EQ(d.read_status_pin(nullptr, &value), QSFP_ERR_INVALID);
    EXPECT_EQ(d.read_ctrl_pin(nullptr, &value), QSFP_ERR_INVALID);
    EXPECT_EQ(d.write_ctrl_pin(nullptr, 1), QSFP_ERR_INVALID);
    EXPECT_EQ(d.read_status_pin(d.ctx, nullptr), QSFP_ERR_INVALID);
}

TEST_F(CoherentFakeSdkTest, I2cCallbacksReachTheModuleAtPageZeroBypassingThePageCache) {
    qsfp_port_ctx *port = ready_port();
    // The library's paged access leaves page 01h selected and cached.
    std::uint8_t via_library[4] = {};
    ASSERT_EQ(qsfp_access(port, 128, sizeof via_library, 0x01, via_library, QSFP_ACCESS_READ), QSFP_OK);
    ASSERT_EQ(port->cur_page, 0x01u);
    forget_traffic();

    const coh_sdk_device_create_record &d = device(port);
    const std::uint8_t page02 = 0x02;
    ASSERT_EQ(d.i2c_write(d.ctx, 127, 1, &page02), QSFP_OK);
    std::uint8_t raw[4] = {};
    ASSERT_EQ(d.i2c_read(d.ctx, 0x180, sizeof raw, raw), QSFP_OK);  // 0x180 & 0xFF = 128
    EXPECT_EQ(std::vector<std::uint8_t>(raw, raw + 4), module(0).memory().get_bytes(0x02, 128, 4));
    EXPECT_EQ(accesses(), (std::vector<std::string>{"R 02h 128 x4"}));
    const std::vector<sim::Transaction> log = cage().log();
    ASSERT_EQ(log.size(), 2u);
    EXPECT_EQ(log[0].reg, 127);
    EXPECT_EQ(log[0].page, 0);
    EXPECT_EQ(log[1].reg, 128);
    EXPECT_EQ(port->cur_page, 0x01u);  // the cache was neither used nor changed

    cage().fail_range(sim::Op::read, -1, 0, 0, sim::kNoModuleCode, 1);
    EXPECT_EQ(d.i2c_read(d.ctx, 0, 1, raw), sim::kNoModuleCode);
    EXPECT_EQ(d.i2c_read(nullptr, 0, 1, raw), QSFP_ERR_INVALID);
    EXPECT_EQ(d.i2c_write(nullptr, 0, 1, raw), QSFP_ERR_INVALID);
    EXPECT_EQ(d.i2c_read(d.ctx, 0, 1, nullptr), QSFP_ERR_INVALID);
}

TEST_F(CoherentFakeSdkTest, SdkPrintGoesToTheBufferOfItsLevel) {
    ready_port();
    coherent_module_print(1, "dsp %s %d\n", "error", 1);
    coherent_module_print(2, "dsp %s %d\n", "periodic", 2);
    coherent_module_print(3, "dsp %s %d\n", "event", 3);
    coherent_module_print(0, "dsp %s %d\n", "event", 0);
    EXPECT_EQ(trace_texts(kErr), std::vector<std::string>{"dsp error 1\n"});
    EXPECT_EQ(trace_texts("qsfp_periodic"), std::vector<std::string>{"dsp periodic 2\n"});
    EXPECT_EQ(trace_texts(kEvt), (std::vector<std::string>{"dsp event 3\n", "dsp event 0\n"}));
    clear_traces();
    const std::string long_text(600, 'x');
    coherent_module_print(1, "%s", long_text.c_str());
    ASSERT_EQ(trace_texts(kErr).size(), 1u);
    EXPECT_EQ(trace_texts(kErr)[0], std::string(511, 'x'));
}

// ---- Debug info ----------------------------------------------------------------------------------------------

std::string page_text(std::uint32_t offset, std::uint32_t page, const std::vector<std::uint8_t> &bytes) {
    char text[4096];  // a page's text is about 1.1 kB
    std::uint32_t written = 0;
    qsfp_debug_copy_page_info(text, offset, page, bytes.data(), sizeof text, &written);
    return std::string(text, written);
}

TEST_F(CoherentFakeSdkTest, DebugInfoDumpsPagesThroughTheSdkThenAppendsItsText) {
    qsfp_port_ctx *port = ready_port();
    sdk().debug_text = "DSP state: locked\n";
    // Lower memory as the dump reads it first: byte 127 changes with the pages it selects.
    const std::vector<std::uint8_t> lower = module(0).memory().get_bytes(0, 0, 128);
    std::vector<char> text(8192, '#');
    std::uint32_t used = 0;
    EXPECT_EQ(qsfp_module_get_debug_info(port, text.data(), 8000, &used), QSFP_OK);
    std::vector<std::uint32_t> pages;
    for (const FakeCohSdk::RegAccess &r : sdk().reg_accesses) {
        EXPECT_EQ(r.key, 1u);
        EXPECT_EQ(r.len, 128u);
        EXPECT_EQ(r.rw, 1u);
        EXPECT_EQ(r.reg, pages.empty() ? 0u : 128u);
        pages.push_back(r.page);
    }
    EXPECT_EQ(pages, (std::vector<std::uint32_t>{0, 0, 1, 2, 3, 0x10, 0x11}));
    ASSERT_EQ(sdk().debug_info.size(), 1u);
    EXPECT_EQ(sdk().debug_info[0].key, 1u);
    EXPECT_EQ(sdk().debug_info[0].room, 8000u);  // the whole room, not what the dump left
    std::string expected = page_text(0, 0, lower);
    for (const std::uint8_t page : {0, 1, 2, 3, 0x10, 0x11}) {
        expected += page_text(128, page, module(0).memory().get_bytes(page, 128, 128));
    }
    expected += sdk().debug_text;
    EXPECT_EQ(used, expected.size());
    EXPECT_EQ(std::string(text.data()), expected);
}

TEST_F(CoherentFakeSdkTest, DebugInfoNeverWritesPastTheRoom) {
    qsfp_port_ctx *port = ready_port();
    sdk().debug_text = std::string(300, 's');
    for (const std::uint32_t room : {1u, 100u, 4700u, 5000u}) {
        sdk().reset_calls();
        sdk().debug_text = std::string(300, 's');
        std::vector<char> text(room + 64, '#');
        std::uint32_t used = 0;
        EXPECT_EQ(qsfp_module_get_debug_info(port, text.data(), room, &used), QSFP_OK) << room;
        EXPECT_LE(used, room);
        EXPECT_EQ(std::string(text.begin() + room, text.end()), std::string(64, '#')) << room;
        ASSERT_EQ(sdk().debug_info.size(), 1u);
        EXPECT_EQ(sdk().debug_info[0].room, room);
    }
}

TEST_F(CoherentFakeSdkTest, DebugInfoFailures) {
    qsfp_port_ctx *port = ready_port();
    std::vector<char> text(8192, 0);
    std::uint32_t used = 77;
    // Lower memory unreadable: nothing written.
    cage().fail_range(sim::Op::read, -1, 0, 0, sim::kNoModuleCode, 1);
    EXPECT_EQ(qsfp_module_get_debug_info(port, text.data(), 8000, &used), COH_SDK_ERR_MODULE_ACCESS);
    EXPECT_EQ(used, 0u);
    EXPECT_EQ(sdk().count(Call::debug_info), 0u);
    // Page 02h unreadable: the dump so far is kept and the SDK's text follows.
    sdk().reset_calls();
    sdk().debug_text = "tail";
    cage().fail_range(sim::Op::read, 0x02, 128, 128, sim::kNoModuleCode, 1);
    const std::vector<std::uint8_t> lower = module(0).memory().get_bytes(0, 0, 128);
    EXPECT_EQ(qsfp_module_get_debug_info(port, text.data(), 8000, &used), COH_SDK_ERR_MODULE_ACCESS);
    const std::string partial = page_text(0, 0, lower) +
                                page_text(128, 0, module(0).memory().get_bytes(0, 128, 128)) +
                                page_text(128, 1, module(0).memory().get_bytes(1, 128, 128)) + "tail";
    EXPECT_EQ(std::string(text.data()), partial);
    EXPECT_EQ(used, partial.size());
    // The SDK's failure.
    sdk().reset_calls();
    sdk().fail(Call::debug_info, kSdkFault);
    EXPECT_EQ(qsfp_module_get_debug_info(port, text.data(), 8000, &used), kSdkFault);
    EXPECT_TRUE(has_err(port, "coherent module debug info get failed, rc " + hex(kSdkFault) + " \n"));
    EXPECT_EQ(qsfp_module_get_debug_info(port, nullptr, 8000, &used), QSFP_ERR_INVALID);
    EXPECT_TRUE(has_err(port, "coherent module debug info failed, null param\n"));
    // The scratch area for the SDK's text cannot be had.
    sdk().reset_calls();
    fail_next_calloc();
    EXPECT_EQ(qsfp_module_get_debug_info(port, text.data(), 8000, &used), QSFP_ERR_NO_MEMORY);
    EXPECT_TRUE(has_err(port, "coherent module debug info failed, memory alloc failed\n"));
    EXPECT_EQ(sdk().count(Call::debug_info), 0u);
}

// ---- Firmware progress -------------------------------------------------------------------------------------------

TEST_F(CoherentFakeSdkTest, FirmwareProgressForwardsItsArguments) {
    qsfp_port_ctx *port = ready_port();
    std::uint32_t percent = 0, state = 0, bytes = 0;
    EXPECT_EQ(qsfp_port_get_firmware_update_progress(port, &percent, &state, &bytes), QSFP_OK);
    ASSERT_EQ(sdk().progress.size(), 1u);
    EXPECT_EQ(sdk().progress[0].key, 1u);
    EXPECT_EQ(sdk().progress[0].percent, &percent);
    EXPECT_EQ(sdk().progress[0].state, &state);
    EXPECT_EQ(sdk().progress[0].bytes, &bytes);
    sdk().fail(Call::firmware_progress, kSdkFault);
    EXPECT_EQ(qsfp_port_get_firmware_update_progress(port, nullptr, nullptr, nullptr), kSdkFault);
    EXPECT_TRUE(has_err(port, "coherent module firmware update progress get failed, rc " + hex(kSdkFault) + " \n"));
}

// ---- Hardware status -----------------------------------------------------------------------------------------------

class CoherentHwStatusTest : public CoherentFakeSdkTest {
protected:
    // Distinct values in every field the section takes.
    void fill_sdk_data() {
        FakeCohSdk &f = sdk();
        f.hw_config = {1, COH_SDK_TRAFFIC_400ZR, 193100000, -120, -2600, 2600, 0x01000100, 1};
        f.hw_state = {1, 3, COH_SDK_STATE_UP, COH_SDK_STATE_UP, COH_SDK_STATE_DOWN, {0, 0, 0}};
        f.alarms = {};
        f.alarms.ntwk_flexo = COH_SDK_FLEXO_RDI;
        f.alarms.ntwk = COH_SDK_NTWK_LOF;
        f.alarms.optical = COH_SDK_OPT_TX_POWER_HIGH | COH_SDK_OPT_RX_LOS;
        f.alarms.module = COH_SDK_MOD_DSP_FAULT;
        f.pm->device_key = 1;
        f.pm->valid = 1;
        for (int i = 0; i < COH_SDK_PM_CURRENT; ++i) {
            f.pm->current[i] = 0.5f + static_cast<float>(i);
        }
        for (int p = 0; p < COH_SDK_PM_PARAMS; ++p) {
            f.pm->stats[p] = {100.25f + static_cast<float>(p), -static_cast<float>(p), 1000.0f + static_cast<float>(p)};
        }
    }
};

TEST_F(CoherentHwStatusTest, StatusHoldsMonitorsSavedValuesAndTheCoherentSection) {
    qsfp_port_ctx *port = ready_port();
    module(0).set_temperature(41.5);
    module(0).set_vcc(3.3);
    module(0).memory().set(0x10, 130, 0x01);
    fill_sdk_data();
    qsfp_hw_status s;
    std::memset(&s, 0xA5, sizeof s);
    ASSERT_EQ(qsfp_port_hw_status(port, &s), QSFP_OK);

    const std::vector<std::uint8_t> temp = module(0).memory().get_bytes(0, 14, 2);
    const std::vector<std::uint8_t> vcc = module(0).memory().get_bytes(0, 16, 2);
    EXPECT_EQ(s.temperature, static_cast<std::int16_t>(temp[0] << 8 | temp[1]) / 256.0f);
    EXPECT_FLOAT_EQ(s.temperature, 41.5f);
    EXPECT_EQ(s.vcc, (vcc[0] << 8 | vcc[1]) * 0.0001f);
    EXPECT_NEAR(s.vcc, 3.3f, 0.0001f);
    EXPECT_EQ(s.tx_disabled[0], 1u);
    for (int lane = 1; lane < 8; ++lane) {
        EXPECT_EQ(s.tx_disabled[lane], 0u);
    }
    const std::uint8_t *w = cmis::state(port).wavelength;
    EXPECT_EQ(s.wavelength_nm, static_cast<float>((w[0] << 8 | w[1]) / 20));
    EXPECT_GT(s.wavelength_nm, 1500.0f);
    EXPECT_EQ(std::memcmp(&s.thresholds, &port->thresholds, sizeof s.thresholds), 0);
    EXPECT_EQ(s.media_type, 1u);
    EXPECT_EQ(s.vdm_present, 0u);
    EXPECT_EQ(s.rx_power_dbm[0], 0.0f);  // cleared, not measured here
    EXPECT_EQ(s.is_copper, 0u);

    // The SDK's reads, in order, under the port's key.
    ASSERT_EQ(sdk().reg_accesses.size(), 3u);
    EXPECT_EQ(sdk().reg_accesses[0].page, 0u);
    EXPECT_EQ(sdk().reg_accesses[0].reg, 14u);
    EXPECT_EQ(sdk().reg_accesses[0].len, 2u);
    EXPECT_EQ(sdk().reg_accesses[1].reg, 16u);
    EXPECT_EQ(sdk().reg_accesses[2].page, 0x10u);
    EXPECT_EQ(sdk().reg_accesses[2].reg, 0x82u);
    EXPECT_EQ(sdk().reg_accesses[2].len, 1u);
    EXPECT_EQ(sdk().hw_data_keys, std::vector<std::uint32_t>{1});

    // The coherent section.
    std::uint8_t first_byte;
    std::memcpy(&first_byte, &s.coherent[0], 1);
    EXPECT_EQ(first_byte, 1u);
    EXPECT_EQ(section_word(s, 293), 1u);
    for (std::uint32_t i = 0; i < 12; ++i) {
        EXPECT_EQ(section_float(s, 294 + i), 0.5f + static_cast<float>(i)) << i;
    }
    for (std::uint32_t p = 0; p < 22; ++p) {
        EXPECT_EQ(section_float(s, 306 + 3 * p), 100.25f + static_cast<float>(p)) << p;
        EXPECT_EQ(section_float(s, 307 + 3 * p), -static_cast<float>(p)) << p;
        EXPECT_EQ(section_float(s, 308 + 3 * p), 1000.0f + static_cast<float>(p)) << p;
    }
    EXPECT_EQ(section_word(s, 372), COH_SDK_TRAFFIC_400ZR);
    EXPECT_EQ(section_word(s, 373), 193100000u);
    EXPECT_EQ(static_cast<std::int32_t>(section_word(s, 374)), -120);
    EXPECT_EQ(static_cast<std::int32_t>(section_word(s, 375)), -2600);
    EXPECT_EQ(static_cast<std::int32_t>(section_word(s, 376)), 2600);
    EXPECT_EQ(section_word(s, 377), 0x01000100u);
    EXPECT_EQ(section_word(s, 378), 1u);
    EXPECT_EQ(section_word(s, 379), 0u);
    EXPECT_EQ(s.coherent[QSFP_COH_ENTRY(380)], 3u);
    EXPECT_EQ(reinterpret_cast<const std::uint8_t *>(&s)[1520], 3u);  // byte offset 1520
    EXPECT_EQ(section_word(s, 381), COH_SDK_STATE_UP);
    EXPECT_EQ(section_word(s, 382), COH_SDK_STATE_UP);
    EXPECT_EQ(section_word(s, 383), COH_SDK_STATE_DOWN);
    EXPECT_EQ(section_word(s, 384), COH_SDK_FLEXO_RDI);
    EXPECT_EQ(section_word(s, 385), COH_SDK_NTWK_LOF);
    EXPECT_EQ(section_word(s, 386), COH_SDK_OPT_TX_POWER_HIGH | COH_SDK_OPT_RX_LOS);
    EXPECT_EQ(section_word(s, 387), COH_SDK_MOD_DSP_FAULT);
    for (std::uint32_t e = 388; e < 400; ++e) {
        EXPECT_EQ(section_word(s, e), 0u) << e;
    }
    EXPECT_TRUE(err().empty());
}

TEST_F(CoherentHwStatusTest, NoDomMonitorsIsTracedAndTheSequenceGoesOn) {
    qsfp_port_ctx *port = ready_port();
    cmis::state(port).dom_support = 0x20;
    qsfp_hw_status s{};
    EXPECT_EQ(qsfp_port_hw_status(port, &s), QSFP_OK);
    EXPECT_TRUE(has_evt(port, "Coherent module DOM not supported, flags 0x20\n"));
    EXPECT_EQ(sdk().reg_accesses.size(), 3u);
    EXPECT_EQ(sdk().count(Call::hw_data), 1u);
}

struct ReadFault {
    int page;
    std::uint8_t reg;
    const char *trace;  // followed by the code
};
constexpr ReadFault kReadFaults[] = {
    {-1, 14, "Coherent module Temp Monitor Read error. rc "},
    {-1, 16, "Coherent module Vcc Monitor Read error. rc "},
    {0x10, 0x82, "Coherent module tx disable read error rc "},
};

TEST_F(CoherentHwStatusTest, AFailedModuleReadIsTracedAndTheOtherReadsFollow) {
    qsfp_port_ctx *port = ready_port();
    module(0).set_temperature(30.0);
    module(0).memory().set(0x10, 130, 0x01);
    for (const ReadFault &f : kReadFaults) {
        sdk().reset_calls();
        fill_sdk_data();
        clear_traces();
        cage().fail_range(sim::Op::read, f.page, f.reg, f.reg, sim::kNoModuleCode, 1);
        qsfp_hw_status s{};
        EXPECT_EQ(qsfp_port_hw_status(port, &s), QSFP_OK) << f.trace;  // the SDK's answer
        EXPECT_EQ(err(), prefixed({f.trace + hex(COH_SDK_ERR_MODULE_ACCESS) + "\n"}));
        EXPECT_EQ(sdk().reg_accesses.size(), 3u);
        EXPECT_EQ(sdk().count(Call::hw_data), 1u);
        EXPECT_EQ(s.temperature, f.reg == 14 ? 0.0f : 30.0f);
        EXPECT_EQ(s.tx_disabled[0], f.reg == 0x82 ? 0u : 1u);
        EXPECT_EQ(section_word(s, 378), 1u);
    }
}

TEST_F(CoherentHwStatusTest, SdkFailureLeavesOnlyThePresenceMarkInTheSection) {
    qsfp_port_ctx *port = ready_port();
    fill_sdk_data();
    sdk().fail(Call::hw_data, kSdkFault);
    qsfp_hw_status s{};
    EXPECT_EQ(qsfp_port_hw_status(port, &s), kSdkFault);
    EXPECT_TRUE(has_err(port, "Coherent module hw config, alarms and pm data get failed, rc " + hex(kSdkFault) + "\n"));
    EXPECT_EQ(s.coherent[0], 1u);
    for (std::uint32_t e = 293; e < 400; ++e) {
        EXPECT_EQ(section_word(s, e), 0u) << e;
    }
    EXPECT_NE(s.temperature, 0.0f);
    EXPECT_EQ(qsfp_port_hw_status(port, nullptr), QSFP_ERR_INVALID);
    EXPECT_TRUE(has_err(port, "QSFP get hw status Null parameters\n"));
}

TEST_F(CoherentHwStatusTest, FailedBlockAllocationAnswersTheLastReadsCode) {
    qsfp_port_ctx *port = ready_port();
    qsfp_hw_status s{};
    fail_next_calloc();
    EXPECT_EQ(qsfp_port_hw_status(port, &s), QSFP_OK);
    EXPECT_TRUE(has_err(port, "memory alloc failed,hw status and pm data get failed\n"));
    EXPECT_EQ(sdk().count(Call::hw_data), 0u);
    EXPECT_EQ(s.coherent[0], 1u);

    cage().fail_range(sim::Op::read, 0x10, 0x82, 0x82, sim::kNoModuleCode, 1);
    fail_next_calloc();
    EXPECT_EQ(qsfp_port_hw_status(port, &s), COH_SDK_ERR_MODULE_ACCESS);
}

TEST(CoherentStatusSection, NullRecordsAnswer22AndWriteNothing) {
    qsfp_hw_status s{};
    coh_sdk_hw_config c{};
    coh_sdk_hw_state st{};
    coh_sdk_alarms a{};
    auto pm = std::make_unique<coh_sdk_pm_data>();
    EXPECT_EQ(coherent_module_copy_hw_config_alarms_pm_data(nullptr, &c, &st, pm.get(), &a), QSFP_ERR_INVALID);
    a.module = 5;
    EXPECT_EQ(coherent_module_copy_hw_config_alarms_pm_data(&s, &c, &st, nullptr, &a), QSFP_ERR_INVALID);
    EXPECT_EQ(coherent_module_copy_hw_config_alarms_pm_data(&s, nullptr, &st, pm.get(), &a), QSFP_ERR_INVALID);
    EXPECT_EQ(coherent_module_copy_hw_config_alarms_pm_data(&s, &c, nullptr, pm.get(), &a), QSFP_ERR_INVALID);
    EXPECT_EQ(coherent_module_copy_hw_config_alarms_pm_data(&s, &c, &st, pm.get(), nullptr), QSFP_ERR_INVALID);
    EXPECT_EQ(section_word(s, 387), 0u);
    EXPECT_EQ(coherent_module_copy_hw_config_alarms_pm_data(&s, &c, &st, pm.get(), &a), QSFP_OK);
    EXPECT_EQ(section_word(s, 387), 5u);
}

}  // namespace
}  // namespace qsfp::test
