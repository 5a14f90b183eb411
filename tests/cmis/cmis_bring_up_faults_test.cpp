// A failing bus access at every point of CMIS bring-up: the access's code
// comes back with the step's message (or the step goes on where bring-up
// tolerates the failure), and the port stays usable.
#include <cstdio>
#include <functional>
#include <string>

#include <gtest/gtest.h>

#include "cmis/cmis_regs.h"
#include "tests/cmis/cmis_port.h"

namespace qsfp::test {
namespace {

constexpr std::uint32_t kFault = 5;  // EIO from the bus
// The two accesses port creation makes before the driver runs.
constexpr std::uint32_t kFrameworkAccesses = 2;

// Failures bring-up traces and then goes on from.
const char *const kTolerated[] = {
    "QSFP-DD length read error",
    "Failed to read the Active Control Set",
    "QSFP Upper Page 3 Korva VID",
    "QSFP Upper Page 3 Korva PID",
    "coh-sdk port init FAILED",  // the coherent SDK could not register the module; device init answers 0
};

bool traced_tolerated_failure() {
    for (const std::string &t : trace_texts(kErr)) {
        for (const char *text : kTolerated) {
            if (t.find(text) != std::string::npos) return true;
        }
    }
    return false;
}

struct Case {
    const char *module;
    std::uint32_t init_flag;
    std::uint32_t mode;
    std::uint32_t clean_rc;
    bool lpmode_deasserted = false;
    bool no_application = false;
};

void PrintTo(const Case &c, std::ostream *os) { *os << c.module << " init " << c.init_flag; }

class CmisBringUpFaultTest : public CmisPortTest, public ::testing::WithParamInterface<Case> {
protected:
    void insert_case(std::size_t index) {
        const Case &c = GetParam();
        sim::CmisModule &m = insert_cmis(
            c.module,
            [&](sim::ModuleMemory &mem) {
                if (c.no_application) {
                    for (std::uint8_t lane = 0; lane < 8; ++lane) mem.set(0x11, cmis::kActiveAppSelect + lane, 0);
                }
            },
            index);
        if (c.lpmode_deasserted) m.set_lpmode_pin(false);
    }
};

TEST_P(CmisBringUpFaultTest, EveryAccessFailingOnce) {
    const Case &c = GetParam();
    insert_case(1);
    qsfp_port_ctx *dry = bring_up(c.init_flag, c.mode, c.clean_rc, 1);
    ASSERT_NE(dry, nullptr);
    const std::size_t accesses = cage(1).log().size();
    ASSERT_GT(accesses, kFrameworkAccesses);
    std::size_t tried = 0;
    std::size_t tolerated = 0;
    for (std::size_t n = kFrameworkAccesses + 1; n <= accesses; ++n) {
        SCOPED_TRACE("failing access " + std::to_string(n) + " of " + std::to_string(accesses));
        clear_traces();
        insert_case(0);
        cage().fail_nth_access(static_cast<std::uint32_t>(n), kFault);
        qsfp_port_create_result result{};
        const qsfp_port_create_params p = cmis_params(c.init_flag, c.mode, 0);
        const std::uint32_t rc = qsfp_port_create(&p, &result);
        ASSERT_NE(result.handle, nullptr);
        if (rc == kFault) {
            EXPECT_FALSE(trace_entries(kErr).empty()) << "a failure without its message";
        } else {
            EXPECT_EQ(rc, c.clean_rc);
            EXPECT_TRUE(traced_tolerated_failure()) << "rc " << rc << " after a failed access";
            ++tolerated;
        }
        // The port answers once the bus does; a coherent port only when the
        // SDK took its module (its register access goes through the SDK).
        cage().clear_faults();
        std::uint8_t id = 0;
        if (trace_has(kErr, "Controller 0 Port 1: coh-sdk port init FAILED\n")) {
            EXPECT_EQ(qsfp_port_read(result.handle, 0, 0, 1, &id), COH_SDK_ERR_UNKNOWN_KEY);
        } else {
            EXPECT_EQ(qsfp_port_read(result.handle, 0, 0, 1, &id), QSFP_OK);
            EXPECT_EQ(id, 0x18);
        }
        EXPECT_EQ(qsfp_port_delete(result.handle), QSFP_OK);
        ++tried;
    }
    std::printf("%s: %zu failing accesses tried, %zu tolerated\n", c.module, tried, tolerated);
}

INSTANTIATE_TEST_SUITE_P(
    Modules, CmisBringUpFaultTest,
    ::testing::Values(Case{"400G-FR4", QSFP_DD_INIT_FULL, 7, QSFP_OK, false, true},
                      Case{"400G-FR4", QSFP_DD_INIT_ADOPT, 7, QSFP_OK},
                      Case{"KORVA-400G-DR4", QSFP_DD_INIT_FULL, 0, QSFP_OK, false, true},
                      Case{"400G-XDR4", QSFP_DD_INIT_ADOPT, 14, QSFP_OK},
                      Case{"400G-FR4-CMIS3", QSFP_DD_INIT_FULL, 7, QSFP_OK, true, true},
                      Case{"2X100G-SR4", QSFP_DD_INIT_FULL, 15, QSFP_OK, false, true},
                      Case{"400G-ZR", QSFP_DD_INIT_FULL, 0, QSFP_OK},
                      Case{"KORVA-400G-CR8-FLAT", QSFP_DD_INIT_FULL, 0, QSFP_OK},
                      Case{"PRE04-400G-LB", QSFP_DD_INIT_FULL, 0, QSFP_OK},
                      Case{"KORVA-AVAGO-ALPHA", QSFP_DD_INIT_FULL, 0, QSFP_OK}),
    [](const auto &info) {
        std::string n = std::string(info.param.module) + "_" + std::to_string(info.param.init_flag);
        for (char &ch : n) ch = std::isalnum(static_cast<unsigned char>(ch)) ? ch : '_';
        return n;
    });

}  // namespace
}  // namespace qsfp::test
