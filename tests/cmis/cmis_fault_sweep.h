// A failed bus access at each step of a CMIS operation: the step's message,
// the access's code returned, and a port that works again once the bus does.
// Ports select pages themselves, so every access is one bus transaction.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "cmis/cmis_port.h"

namespace qsfp::test {

inline constexpr std::uint32_t kFault = 5;  // EIO

struct Step {
    const char *access;   // as accesses() lists it
    std::string message;  // the step's own message, after the library's access error
};

// The library's own line for a failed access (reg, length, page, read).
inline std::string access_error(const char *access) {
    char op = 0;
    unsigned reg = 0, len = 0, page = 0;
    if (std::sscanf(access, "%c lower %u x%u", &op, &reg, &len) == 3) {
        page = 0;
    } else {
        std::sscanf(access, "%c %2xh %u x%u", &op, &page, &reg, &len);
    }
    char line[128];
    std::snprintf(line, sizeof line, "Controller 0 Port 1: access error. Reg 0x%x Sz %u page %u rw %d rc: 0x%x\n", reg, len, page,
                  op == 'R' ? 1 : 0, kFault);
    return line;
}

class CmisFaultSweepTest : public CmisPortTest {
protected:
    void SetUp() override {
        CmisPortTest::SetUp();
        direct_page_ = true;  // one bus transaction per access
    }

    // The n-th access fails; `run` answers the fault's code with the step's messages.
    template <typename Prepare, typename Run, typename Recover>
    void sweep(const std::vector<Step> &steps, Prepare prepare, Run run, Recover recover) {
        // Without a fault the accesses are exactly the steps.
        {
            qsfp_port_ctx *port = prepare();
            EXPECT_EQ(run(port), QSFP_OK);
            std::vector<std::string> want;
            for (const Step &s : steps) {
                want.push_back(s.access);
            }
            EXPECT_EQ(accesses(), want);
            TearDown();
            SetUp();
        }
        for (std::size_t n = 1; n <= steps.size(); ++n) {
            const Step &step = steps[n - 1];
            qsfp_port_ctx *port = prepare();
            cage().fail_nth_access(static_cast<std::uint32_t>(n), kFault);
            EXPECT_EQ(run(port), kFault) << step.access << " (" << n << ")";
            EXPECT_EQ(err(), (std::vector<std::string>{access_error(step.access), "Controller 0 Port 1: " + step.message}))
                << step.access << " (" << n << ")";
            cage().clear_faults();
            EXPECT_EQ(recover(port), QSFP_OK) << step.access << " (" << n << ")";
            TearDown();
            SetUp();
        }
    }
};

}  // namespace qsfp::test
