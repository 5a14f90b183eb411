#include "cmis_datapath.h"

#include <unistd.h>

#include <qsfp/qsfp_port_ops.h>

namespace qsfpctl {

namespace {

constexpr std::uint32_t kStatePage = 0x11;
constexpr std::uint32_t kStateFirst = 128;  // 128-131: lanes 1-8, low nibble first
constexpr int kLanes = 8;
constexpr std::uint8_t kDeactivated = 1;
constexpr std::uint8_t kActivated = 4;
// A deinit is advertised in at most 60 s and usually ends in milliseconds:
// poll every 10 ms. A coherent module's DataPathInit is advertised in tens
// of seconds (up to 5 minutes, code Ah): poll every second.
constexpr useconds_t kDeinitPollUs = 10000;
constexpr int kDeinitPolls = 6000;
constexpr useconds_t kInitPollUs = 1000000;
constexpr int kInitPolls = 300;

// Polls the datapath states until `done` holds, at most `polls` times.
template <typename Done>
bool wait_datapaths(const OpenPort &port, useconds_t poll_us, int polls, Done done) {
    for (int poll = 0; poll < polls; ++poll) {
        const std::optional<DatapathCount> count = datapath_count(port);
        if (!count) return false;
        if (done(*count)) return true;
        usleep(poll_us);
    }
    return false;
}

}  // namespace

std::optional<DatapathCount> datapath_count(const OpenPort &port) {
    std::uint8_t states[kLanes / 2] = {};
    if (qsfp_port_read(port.handle, kStateFirst, kStatePage, sizeof states, states) != QSFP_OK) {
        return std::nullopt;
    }
    DatapathCount count;
    for (int lane = 0; lane < kLanes; ++lane) {
        const int state = (states[lane / 2] >> (4 * (lane % 2))) & 0x0F;
        count.activated += state == kActivated ? 1 : 0;
        count.deactivated += state == kDeactivated ? 1 : 0;
    }
    return count;
}

bool wait_datapaths_deactivated(const OpenPort &port) {
    return wait_datapaths(port, kDeinitPollUs, kDeinitPolls,
                          [](const DatapathCount &c) { return c.deactivated == kLanes; });
}

bool wait_datapaths_activated(const OpenPort &port) {
    // Lanes outside the application stay deactivated; every other lane has
    // to be through its transitions.
    return wait_datapaths(port, kInitPollUs, kInitPolls, [](const DatapathCount &c) {
        return c.activated > 0 && c.activated + c.deactivated == kLanes;
    });
}

}  // namespace qsfpctl
