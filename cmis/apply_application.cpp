// Apply an application: staged control set 0 names it on every lane, ApplyDPInit
// starts the module's configuration, and the per-lane configuration status of
// page 11h bytes 202-205 tells how it went.
#include <array>
#include <iterator>
#include <string_view>

#include "cmis/datapath.h"
#include "framework/trace.h"

namespace qsfp::cmis {

namespace {

// Configuration status texts by code (CMIS 3.0 names; 7-15 have none).
constexpr const char *kConfigStatusTexts[] = {
    "NO STATUS",
    "ACCEPTED",
    "REJECTED UNKNOWN",
    "REJECTED INVALID CODE",
    "REJECTED INVALID COMBO",
    "REJECTED INVALID SI",
    "REJECTED INVALID IN USE",
};
constexpr const char *kUndefinedStatus = "UNDEFINED";

constexpr const char *status_text(std::uint8_t code) {
    return code < std::size(kConfigStatusTexts) ? kConfigStatusTexts[code] : kUndefinedStatus;
}
static_assert(std::string_view(status_text(6)) == "REJECTED INVALID IN USE");
static_assert(std::string_view(status_text(7)) == "UNDEFINED" && std::string_view(status_text(15)) == "UNDEFINED");

using StatusBytes = std::array<std::uint8_t, kConfigStatusBytes>;

enum class Poll { in_process, accepted, rejected };

// Lanes in order 1-8: the first lane still at 0 ends the poll, a lane with a
// rejection code ends the whole wait.
Poll examine(qsfp_port_ctx *port, const StatusBytes &status) {
    for (std::uint32_t lane = 0; lane < kLanes; ++lane) {
        const std::uint8_t code = lane_nibble(status.data(), lane);
        if (code == kConfigInProgress) {
            trace_evt(port, "Lane %d Config in process.  Wait\n", lane + 1);
            return Poll::in_process;
        }
        if (code != kConfigAccepted) {
            return Poll::rejected;
        }
    }
    return Poll::accepted;
}

const char *lane_text(const StatusBytes &status, std::uint32_t lane) {
    return status_text(lane_nibble(status.data(), lane));
}

std::uint32_t write_staged_set(qsfp_port_ctx *port, std::uint32_t app_code, std::uint8_t explicit_control) {
    const std::uint8_t assignment = app_descriptor(port, app_code)[kAppHostAssignment];
    std::uint32_t first_lane = 0;
    for (std::uint32_t i = 0; i < kLanes; ++i) {
        // A datapath starts at each lane the host lane assignment allows.
        if (((assignment >> i) & 1U) != 0) {
            first_lane = i;
        }
        std::uint8_t value =
            static_cast<std::uint8_t>(app_code << kAppSelectShift | (first_lane & 7U) << 1 | explicit_control);
        trace_evt(port, "Writing 0x%x to staged ctrl set 0, app select ctrl lane %d reg\n", value, i + 1);
        const std::uint32_t rc = qsfp_access(port, kStagedAppSelect + i, 1, kPage10, &value, QSFP_ACCESS_WRITE);
        if (rc != QSFP_OK) {
            trace_err(port, "Failed to write to stage ctrl set %d reg (0x%lx) rc 0x%x\n", 0,
                      static_cast<unsigned long>(kStagedAppSelect), rc);
            return rc;
        }
    }
    return QSFP_OK;
}

std::uint32_t start_datapath_init(qsfp_port_ctx *port) {
    trace_evt(port, "Set Staged Control Set 0 Apply Datapath Init for all 8 lanes\n");
    std::uint8_t all = kAllLanes;
    const std::uint32_t rc = qsfp_access(port, kApplyDpInit, 1, kPage10, &all, QSFP_ACCESS_WRITE);
    if (rc != QSFP_OK) {
        trace_err(port, "Failed to write to apply datapath init reg (0x%lx) rc 0x%x\n",
                  static_cast<unsigned long>(kApplyDpInit), rc);
    }
    return rc;
}

Duration init_wait(qsfp_port_ctx *port) {
    const std::uint32_t code = state(port).dp_init_code;
    const Duration d = duration_or_default(code);
    if (code > kLastDurationCode) {
        trace_evt(port, "Unsupported datapath power init max code 0x%d. Use default init/loop/retries (%d/%d/%d)\n",
                  code, d.wait_ms, d.interval_ms, d.count);
    } else {
        trace_evt(port, "Datapath power init max code 0x%d. init/loop/retries (%d/%d/%d)\n", code, d.wait_ms,
                  d.interval_ms, d.count);
    }
    return d;
}

}  // namespace

std::uint32_t apply_application(qsfp_port_ctx *port, std::uint32_t app_code, std::uint8_t explicit_control) {
    if (app_code < 1 || app_code > kApplications) {
        return kConfigRejected;  // callers check the code; this keeps the descriptor lookup in bounds
    }
    const std::uint8_t lane_counts = app_descriptor(port, app_code)[kAppLaneCounts];
    if (host_lanes(lane_counts) == 0) {
        trace_err(port, "host_media_intf[%d].host_media_lane_count = 0x%x\n", app_code - 1, lane_counts);
        return kConfigRejected;
    }
    if (const std::uint32_t rc = write_staged_set(port, app_code, explicit_control & 1U); rc != QSFP_OK) {
        return rc;
    }
    if (const std::uint32_t rc = start_datapath_init(port); rc != QSFP_OK) {
        return rc;
    }
    const Duration d = init_wait(port);
    wait_ms(d.wait_ms);
    // Once any lane has reported 0 the wait is not finished by later
    // acceptance: the mark stays for the whole call and the polls run out.
    bool in_process_seen = false;
    StatusBytes status{};
    for (std::uint32_t left = d.count; left > 0; --left) {
        trace_evt(port, "Checking configuration progress %d\n", left);
        const std::uint32_t rc =
            qsfp_access(port, kConfigStatus, kConfigStatusBytes, kPage11, status.data(), QSFP_ACCESS_READ);
        if (rc != QSFP_OK) {
            trace_err(port, "Failed to read the Config Error Code Reg. rc %d\n", rc);
            return rc;
        }
        const Poll poll = examine(port, status);
        if (poll == Poll::rejected) {
            trace_err(port,
                      "Config Error! Ln 1: %s. Ln 2: %s. Ln 3: %s. Ln 4: %sLn 5: %s. Ln 6: %s. Ln 7: %s. Ln 8: %s\n",
                      lane_text(status, 0), lane_text(status, 1), lane_text(status, 2), lane_text(status, 3),
                      lane_text(status, 4), lane_text(status, 5), lane_text(status, 6), lane_text(status, 7));
            return kConfigRejected;
        }
        in_process_seen = in_process_seen || poll == Poll::in_process;
        if (poll == Poll::accepted && !in_process_seen) {
            trace_evt(port, "Config accepted by all lanes. retries left %d\n", left - 1);
            return QSFP_OK;
        }
        if (left > 1) {
            wait_ms(d.interval_ms);
        }
    }
    trace_err(port, "Config Timeout! Ln 1: %s. Ln 2: %s. Ln 3: %s. Ln 4: %sLn 5: %s. Ln 6: %s. Ln 7: %s. Ln 8: %s\n",
              lane_text(status, 0), lane_text(status, 1), lane_text(status, 2), lane_text(status, 3),
              lane_text(status, 4), lane_text(status, 5), lane_text(status, 6), lane_text(status, 7));
    return kConfigTimeout;
}

}  // namespace qsfp::cmis
