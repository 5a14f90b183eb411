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
// CMIS durations are advertised up to 60 s; poll every 10 ms.
constexpr useconds_t kPollUs = 10000;
constexpr int kPolls = 6000;

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
    for (int poll = 0; poll < kPolls; ++poll) {
        const std::optional<DatapathCount> count = datapath_count(port);
        if (!count) return false;
        if (count->deactivated == kLanes) return true;
        usleep(kPollUs);
    }
    return false;
}

}  // namespace qsfpctl
