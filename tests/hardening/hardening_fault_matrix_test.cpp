// The fault matrix: every exported port operation on every kind of module
// (SFF-8636 and CMIS, paged and flat, raw two-wire and direct-page buses,
// coherent ZR and ZR+ through the emulated DSP SDK) is
// run once to count its bus accesses, then once per access with that access
// failing, and once per access with the module pulled just before it. Each
// case must answer the failing access's code, the code of the path it took,
// or what the operation answers anyway; release the port's lock; and leave a
// port on which the same operation, run again on the healthy module, answers
// what it answered untouched. Sanitizer builds run the same cases for memory
// errors and leaks.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include <pthread.h>

#include <gtest/gtest.h>

#include <qsfp/qsfp.h>
#include <qsfp/sim/line_card.h>

#include "support/library_fixture.h"

namespace {

using namespace qsfp;

constexpr std::uint32_t kFaultCode = 5;  // EIO from the bus

struct Kind {
    const char *module;
    std::uint32_t init_arg;
    std::uint32_t mode;
    bool direct_page;
};

std::string kind_name(const ::testing::TestParamInfo<Kind> &info) {
    std::string name = std::string(info.param.module) + (info.param.direct_page ? "_direct" : "_raw");
    for (char &c : name) {
        if (c == '-') {
            c = '_';
        }
    }
    return name;
}

using Operation = std::function<std::uint32_t(qsfp_port_ctx *)>;

struct NamedOperation {
    const char *name;
    Operation run;
};

std::uint32_t show_text(qsfp_port_ctx *port) {
    void *text = nullptr;
    std::uint32_t len = 0;
    const std::uint32_t rc = qsfp_port_phy_reg_decode(port, &text, &len);
    std::free(text);
    return rc;
}

std::uint32_t register_dump(qsfp_port_ctx *port) {
    char *text = nullptr;
    std::uint32_t size = 0;
    const std::uint32_t rc = qsfp_reg_access(port, &text, &size, QSFP_ACCESS_READ);
    std::free(text);
    return rc;
}

template <std::uint32_t (*Fn)(qsfp_port_ctx *, char *, std::uint32_t, std::uint32_t *)>
std::uint32_t debug_text(qsfp_port_ctx *port) {
    static std::vector<char> text(65536);
    std::uint32_t used = 0;
    return Fn(port, text.data(), static_cast<std::uint32_t>(text.size()), &used);
}

std::vector<NamedOperation> operations() {
    static std::uint8_t values[8] = {2, 2, 2, 2, 2, 2, 2, 2};
    static std::uint8_t buf[256];
    static char dom[32768];
    return {
        {"lane_tx_enable", [](qsfp_port_ctx *p) { return qsfp_port_lane_tx_enable(p, 0x0F, 1); }},
        {"lane_rx_enable", [](qsfp_port_ctx *p) { return qsfp_port_lane_rx_enable(p, 0x0F, 0); }},
        {"lane_tx_cdr_enable", [](qsfp_port_ctx *p) { return qsfp_port_lane_tx_cdr_enable(p, 0x0F, 1); }},
        {"lane_rx_cdr_enable", [](qsfp_port_ctx *p) { return qsfp_port_lane_rx_cdr_enable(p, 0x0F, 1); }},
        {"type",
         [](qsfp_port_ctx *p) {
             std::uint32_t type = 0;
             std::uint32_t flag = 0;
             char name[64];
             return qsfp_port_type(p, &type, name, sizeof name, &flag);
         }},
        {"modify_eq", [](qsfp_port_ctx *p) { return qsfp_modify_eq(p, 0x0F, values); }},
        {"modify_deemphasis", [](qsfp_port_ctx *p) { return qsfp_modify_deemphasis(p, 0x0F, values); }},
        {"modify_amp", [](qsfp_port_ctx *p) { return qsfp_modify_amp(p, 0x0F, values); }},
        {"modify_si_values",
         [](qsfp_port_ctx *p) { return qsfp_modify_si_values(p, 0xFF, values, 0, nullptr, 0, nullptr, 0, nullptr); }},
        {"mode_config", [](qsfp_port_ctx *p) { return qsfp_port_mode_config(p, QSFP_DD_OPER_MODE_4X100G); }},
        {"hw_status",
         [](qsfp_port_ctx *p) {
             qsfp_hw_status status{};
             return qsfp_port_hw_status(p, &status);
         }},
        {"hw_info",
         [](qsfp_port_ctx *p) {
             qsfp_hw_info info{};
             return qsfp_port_hw_info(p, &info);
         }},
        {"hw_thresholds",
         [](qsfp_port_ctx *p) {
             qsfp_threshold_data t{};
             return qsfp_port_hw_thresholds(p, &t);
         }},
        {"dom_info", [](qsfp_port_ctx *p) { return qsfp_port_dom_info(p, dom, 6, sizeof dom); }},
        {"show_text", show_text},
        {"read", [](qsfp_port_ctx *p) { return qsfp_port_read(p, 128, 0, 32, buf); }},
        {"write",
         [](qsfp_port_ctx *p) {
             std::uint8_t zero = 0;
             return qsfp_port_write(p, 86, 0, 1, &zero);
         }},
        {"admin_up", [](qsfp_port_ctx *p) { return qsfp_port_admin_state(p, 0, 1, 0xFF); }},
        {"admin_down", [](qsfp_port_ctx *p) { return qsfp_port_admin_state(p, 1, 0, 0xFF); }},
        {"tx_disable", [](qsfp_port_ctx *p) { return qsfp_port_tx_disable(p, 0, 1, 0xFF); }},
        {"rate",
         [](qsfp_port_ctx *p) {
             std::uint32_t rate = 0;
             return qsfp_port_rate(p, &rate);
         }},
        {"module_type", [](qsfp_port_ctx *p) { return qsfp_get_module_type(p); }},
        {"active_copper", [](qsfp_port_ctx *p) { return qsfp_is_active_copper_type(p); }},
        {"default_fec",
         [](qsfp_port_ctx *p) {
             std::uint32_t fec = 0;
             return qsfp_port_get_default_fec(p, &fec);
         }},
        {"default_autoneg",
         [](qsfp_port_ctx *p) {
             std::uint32_t an = 0;
             return qsfp_port_get_default_autoneg(p, &an);
         }},
        {"qsa",
         [](qsfp_port_ctx *p) {
             std::uint32_t inserted = 0;
             return qsfp_port_qsa_sfp_inserted(p, &inserted);
         }},
        {"multirate",
         [](qsfp_port_ctx *p) {
             std::uint8_t answer = 0;
             return is_qsfp_multirate(p, &answer);
         }},
        {"page_dump", debug_text<qsfp_port_get_debug_info>},
        {"module_debug_info", debug_text<qsfp_module_get_debug_info>},
        {"register_dump", register_dump},
        {"access", [](qsfp_port_ctx *p) { return qsfp_access(p, 128, 16, 0, buf, QSFP_ACCESS_READ); }},
        {"bit_bang_read", [](qsfp_port_ctx *p) { return qsfp_special_bit_bang_read(p, 0, 16, 0, buf, 0); }},
        {"cdb_query",
         [](qsfp_port_ctx *p) {
             char response[512];
             std::uint32_t length = 0;
             cdb_cmd_info request{QSFP_DD_CDB_QUERY_STATUS, nullptr, response, sizeof response, &length};
             return qsfp_module_cdb_cmd_execute(p, &request);
         }},
        {"firmware_progress",
         [](qsfp_port_ctx *p) {
             std::uint32_t a = 0, b = 0, c = 0;
             return qsfp_port_get_firmware_update_progress(p, &a, &b, &c);
         }},
        {"event_irq", [](qsfp_port_ctx *p) { return qsfp_port_handle_event_irq(p); }},
        {"config_traffic",
         [](qsfp_port_ctx *p) {
             qsfp_coh_traffic_config traffic{};
             traffic.value[2] = 1;
             return qsfp_module_config_traffic(p, &traffic);
         }},
        {"config_perf_mon",
         [](qsfp_port_ctx *p) {
             qsfp_coh_perf_mon_config monitoring{};
             monitoring.config[1] = 1;
             return qsfp_module_config_perf_mon(p, &monitoring);
         }},
        {"config_update",
         [](qsfp_port_ctx *p) {
             qsfp_coh_module_config config{};
             config.cd_min = -2000;
             config.cd_max = 2000;
             config.flags = 0x06;
             qsfp_coh_thresholds thresholds{};
             thresholds.osnr_low_th = 180;
             thresholds.flags = 0x200;
             return qsfp_module_config_update(p, &config, &thresholds);
         }},
        {"set_sim_alarms",
         [](qsfp_port_ctx *p) {
             qsfp_coh_sim_alarms alarms{0x02, 0x04, 0x08};
             return qsfp_port_set_sim_alarms(p, &alarms);
         }},
    };
}

// The accesses a sweep fails: every one, except that an access repeating an
// earlier one (same direction, page, register and length, as the polls of a
// wait do) is tried at its first three occurrences and its last only: a CDB
// wait on a module that never completes polls 5,000 times, and failing its
// 2,000th poll takes the same path as failing its third.
std::vector<std::uint32_t> accesses_to_fail(const std::vector<sim::Transaction> &log) {
    struct Seen {
        std::uint32_t count = 0;
        std::uint32_t last = 0;
    };
    std::map<std::tuple<sim::Op, std::uint8_t, std::uint8_t, std::uint32_t>, Seen> seen;
    std::vector<std::uint32_t> chosen;
    for (std::uint32_t i = 0; i < log.size(); ++i) {
        Seen &s = seen[{log[i].op, log[i].page, log[i].reg, log[i].len}];
        s.last = i + 1;
        if (++s.count <= 3) {
            chosen.push_back(i + 1);
        }
    }
    for (const auto &[key, s] : seen) {
        if (s.count > 3) {
            chosen.push_back(s.last);
        }
    }
    std::sort(chosen.begin(), chosen.end());
    return chosen;
}

// What a case may answer besides the failing access's code and what the
// operation answers untouched: the library's own codes for a failed step,
// and on a coherent port the DSP SDK's for a module access or CDB exchange
// that failed under it (the coherent driver returns the SDK's answer).
bool path_code(std::uint32_t rc) {
    switch (rc) {
    case COH_SDK_ERR_MODULE_ACCESS:
    case COH_SDK_ERR_CDB:
    case QSFP_OK:
    case QSFP_ERR_NOT_READY:
    case QSFP_ERR_INVALID:
    case QSFP_ERR_CONFIG_TIMEOUT:
    case QSFP_ERR_NOT_SUPPORTED:
    case QSFP_ERR_EMPTY_SLOT:
        return true;
    default:
        return false;
    }
}

class FaultMatrixTest : public test::LibraryTest, public ::testing::WithParamInterface<Kind> {
protected:
    void SetUp() override {
        LibraryTest::SetUp();
        pthread_mutex_init(&lock_, nullptr);
    }
    void TearDown() override {
        pthread_mutex_destroy(&lock_);
        LibraryTest::TearDown();
    }

    sim::Cage &cage() { return card().cage(0); }

    void fresh_module() {
        ASSERT_TRUE(card().insert(0, GetParam().module));
        cage().set_direct_page(GetParam().direct_page, GetParam().direct_page);
        cage().clear_faults();
    }

    qsfp_port_create_params creation() {
        qsfp_port_create_params p = params(0);
        p.init_arg = GetParam().init_arg;
        p.port_mode = GetParam().mode;
        p.port_lock = &lock_;
        return p;
    }

    // A port on a fresh module, or null when bring-up failed.
    qsfp_port_ctx *fresh_port() {
        fresh_module();
        const qsfp_port_create_params p = creation();
        qsfp_port_create_result r{};
        qsfp_port_create(&p, &r);
        return r.handle;
    }

    bool lock_released() {
        if (pthread_mutex_trylock(&lock_) != 0) {
            return false;
        }
        pthread_mutex_unlock(&lock_);
        return true;
    }

    struct Tally {
        std::uint64_t tried = 0;
        std::uint64_t survived = 0;
    };

    // One case: a fresh port, the fault planted by `plant`, the operation;
    // then the fault cleared (the module put back) and the operation again.
    void run_case(const NamedOperation &op, std::uint32_t baseline, std::uint32_t access, bool pull, Tally &tally) {
        ++tally.tried;
        qsfp_port_ctx *port = fresh_port();
        ASSERT_NE(port, nullptr);
        if (pull) {
            cage().pull_at_nth_access(access);
        } else {
            cage().fail_nth_access(access, kFaultCode);
        }
        const std::uint32_t rc = op.run(port);
        const std::uint32_t planted = pull ? sim::kNoModuleCode : kFaultCode;
        const char *how = pull ? "pulled" : "failing";
        bool ok = true;
        if (rc != planted && rc != baseline && !path_code(rc)) {
            ADD_FAILURE() << op.name << " with access " << access << " " << how << " answered 0x" << std::hex << rc;
            ok = false;
        }
        if (!lock_released()) {
            ADD_FAILURE() << op.name << " with access " << access << " " << how << " kept the port locked";
            ok = false;
        }
        if (std::unique_ptr<sim::Module> module = cage().pulled()) {
            cage().insert(std::move(module));
        }
        cage().clear_faults();
        const std::uint32_t again = op.run(port);
        if (again != baseline) {
            ADD_FAILURE() << op.name << " after access " << access << " " << how << ": again answered 0x" << std::hex
                          << again << ", untouched 0x" << baseline;
            ok = false;
        }
        qsfp_port_delete(port);
        tally.survived += ok ? 1 : 0;
    }

    void run_bring_up_case(std::uint32_t baseline, std::uint32_t access, bool pull, Tally &tally) {
        ++tally.tried;
        fresh_module();
        if (pull) {
            cage().pull_at_nth_access(access);
        } else {
            cage().fail_nth_access(access, kFaultCode);
        }
        const qsfp_port_create_params p = creation();
        qsfp_port_create_result r{};
        const std::uint32_t rc = qsfp_port_create(&p, &r);
        const std::uint32_t planted = pull ? sim::kNoModuleCode : kFaultCode;
        bool ok = rc == planted || rc == baseline || path_code(rc);
        EXPECT_TRUE(ok) << "bring-up with access " << access << (pull ? " pulled" : " failing") << " answered 0x"
                        << std::hex << rc;
        if (!lock_released()) {
            ADD_FAILURE() << "bring-up with access " << access << " kept the port locked";
            ok = false;
        }
        if (r.handle != nullptr) {
            qsfp_port_delete(r.handle);
        }
        qsfp_port_ctx *again = fresh_port();
        if (again == nullptr) {
            ADD_FAILURE() << "bring-up after access " << access << " failed on a healthy module";
            ok = false;
        } else {
            qsfp_port_delete(again);
        }
        tally.survived += ok ? 1 : 0;
    }

    pthread_mutex_t lock_;
};

TEST_P(FaultMatrixTest, EveryOperationSurvivesAFailingOrPulledModuleAtEveryAccess) {
    Tally tally;
    std::string counts;

    fresh_module();
    const qsfp_port_create_params p = creation();
    qsfp_port_create_result r{};
    cage().reset_stats();
    cage().clear_log();
    const std::uint32_t bring_up_rc = qsfp_port_create(&p, &r);
    const std::vector<sim::Transaction> bring_up_log = cage().log();
    ASSERT_NE(r.handle, nullptr) << "bring-up answered 0x" << std::hex << bring_up_rc;
    qsfp_port_delete(r.handle);
    for (std::uint32_t a : accesses_to_fail(bring_up_log)) {
        run_bring_up_case(bring_up_rc, a, false, tally);
        run_bring_up_case(bring_up_rc, a, true, tally);
    }
    counts += "bring-up " + std::to_string(bring_up_log.size());

    for (const NamedOperation &op : operations()) {
        qsfp_port_ctx *port = fresh_port();
        ASSERT_NE(port, nullptr);
        cage().clear_log();
        const std::uint32_t baseline = op.run(port);
        const std::vector<sim::Transaction> log = cage().log();
        EXPECT_TRUE(lock_released()) << op.name << " kept the port locked untouched";
        qsfp_port_delete(port);
        for (std::uint32_t a : accesses_to_fail(log)) {
            run_case(op, baseline, a, false, tally);
            run_case(op, baseline, a, true, tally);
        }
        counts += ", " + std::string(op.name) + " " + std::to_string(log.size());
    }
    std::printf("fault matrix %s: %llu cases tried, %llu survived (accesses per operation: %s)\n", GetParam().module,
                static_cast<unsigned long long>(tally.tried), static_cast<unsigned long long>(tally.survived),
                counts.c_str());
    EXPECT_EQ(tally.tried, tally.survived);
    EXPECT_GT(tally.tried, 0u);
}

constexpr Kind kKinds[] = {
    {"100G-SR4", 0, 0, false},
    {"100G-SR4", 0, 0, true},
    {"100G-DWDM2", 0, 0, false},
    {"100G-CR4", 0, 0, false},
    {"100G-CR4", 0, 0, true},
    {"400G-FR4", QSFP_DD_INIT_FULL, QSFP_DD_OPER_MODE_400G, false},
    {"400G-FR4", QSFP_DD_INIT_FULL, QSFP_DD_OPER_MODE_400G, true},
    {"400G-LR8", QSFP_DD_INIT_FULL, 0, false},
    {"400G-DR4", QSFP_DD_INIT_FULL, 0, false},
    {"400G-CR8-FLAT", QSFP_DD_INIT_FULL, 0, false},
    {"400G-CR8-FLAT", QSFP_DD_INIT_FULL, 0, true},
    {"PRE04-400G-LB", QSFP_DD_INIT_FULL, 0, false},
    {"400G-ZR", QSFP_DD_INIT_FULL, 0, false},
    {"400G-ZR-ZRP", QSFP_DD_INIT_FULL, 0, false},
};

INSTANTIATE_TEST_SUITE_P(Modules, FaultMatrixTest, ::testing::ValuesIn(kKinds), kind_name);

}  // namespace
