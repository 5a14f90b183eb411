// Application lookup: which advertised application (lower bytes 86-117)
// carries a speed over a number of media lanes. Each speed has its media
// interfaces as candidates; cables, whose media interface code names the
// cable rather than a speed, are matched by media type and lane count alone.
#include <iterator>
#include <span>
#include <string_view>

#include "cmis/driver.h"
#include "framework/trace.h"

namespace qsfp::cmis {

namespace {

inline constexpr std::uint8_t kAnyLaneCount = 0xFF;
inline constexpr std::uint8_t kCopperBreakoutLanes = 1;
inline constexpr std::uint32_t kCopperBreakoutSpeed = 50;
inline constexpr std::uint8_t kActiveCableLanes = 8;
inline constexpr std::uint32_t kActiveCableSpeed = 400;

struct Candidate {
    std::uint8_t media_type;
    std::uint8_t media_interface;  // 0 on a cable row: any code
    std::uint8_t lanes;            // kAnyLaneCount: any count
};

// A cable row takes any media interface code and any media lane count.
constexpr bool cable_row(const Candidate &c) { return c.media_interface == 0 || c.lanes == kAnyLaneCount; }

constexpr Candidate k40G[] = {{kMediaMultimode, 0x04, 4}};
constexpr Candidate k50G[] = {{kMediaPassiveCopper, 0xFF, kAnyLaneCount}};
constexpr Candidate k100G[] = {
    {kMediaMultimode, 0x09, 4},  {kMediaSingleMode, 0x0D, 4}, {kMediaSingleMode, 0x0E, 4}, {kMediaSingleMode, 0x0F, 4},
    {kMediaSingleMode, 0x10, 4}, {kMediaSingleMode, 0x14, 1}, {kMediaSingleMode, 0x15, 1},
};
constexpr Candidate k400G[] = {
    {kMediaMultimode, 0x11, 4},
    {kMediaMultimode, 0x0F, 16},
    {kMediaMultimode, 0x10, 8},
    {kMediaSingleMode, 0x1A, 8},
    {kMediaSingleMode, 0x1B, 8},
    {kMediaSingleMode, 0x1C, 4},
    {kMediaSingleMode, 0x1D, 4},
    {kMediaSingleMode, 0x1E, 4},
    {kMediaActiveCable, 0x00, kAnyLaneCount},
    {kMediaPassiveCopper, 0x00, kAnyLaneCount},
};
static_assert(std::size(k100G) == 7 && std::size(k400G) == 10);
static_assert(cable_row(k50G[0]) && cable_row(k400G[8]) && cable_row(k400G[9]) && !cable_row(k400G[7]));

struct SpeedCandidates {
    std::uint32_t speed_g;
    std::span<const Candidate> candidates;
};

constexpr SpeedCandidates kSpeeds[] = {{40, k40G}, {50, k50G}, {100, k100G}, {400, k400G}};

// Media interface names by media type and code (SFF-8024 media interface tables).
struct MediaName {
    std::uint8_t media_type;
    std::uint8_t code;
    const char *name;
};

constexpr MediaName kMediaNames[] = {
    {kMediaMultimode, 0x02, "MM 10G SR"},          {kMediaMultimode, 0x03, "MM 25G SR"},
    {kMediaMultimode, 0x04, "MM 40G SR4"},         {kMediaMultimode, 0x09, "MM 100G SR4"},
    {kMediaMultimode, 0x11, "MM 400G SR4"},        {kMediaMultimode, 0x10, "MM 400G SR8"},
    {kMediaMultimode, 0x0F, "MM 400G SR16"},       {kMediaMultimode, 0x12, "MM 800G SR8"},
    {kMediaSingleMode, 0x0D, "SM 100G SR4"},       {kMediaSingleMode, 0x0E, "SM 100G ER4"},
    {kMediaSingleMode, 0x0F, "SM 100G PSM4"},      {kMediaSingleMode, 0x10, "SM 100G CWDM4"},
    {kMediaSingleMode, 0x14, "SM 100G DR"},        {kMediaSingleMode, 0x15, "SM 100G FR"},
    {kMediaSingleMode, 0x1A, "SM 400G FR8"},       {kMediaSingleMode, 0x1B, "SM 400G LR8"},
    {kMediaSingleMode, 0x1C, "SM 400G DR4"},       {kMediaSingleMode, 0x1D, "SM 400G FR4"},
    {kMediaSingleMode, 0x1E, "SM 400G LR4"},       {kMediaActiveCable, 0x01, "AOC BER 10^-12"},
    {kMediaActiveCable, 0x02, "AOC BER 5^-5"},     {kMediaActiveCable, 0x03, "AOC BER 2^-4"},
    {kMediaPassiveCopper, 0x01, "Copper Cable"},   {kMediaPassiveCopper, 0x00, "Passive Copper"},
    {kMediaPassiveCopper, 0xFF, "Passive Copper"},
};
constexpr const char *kUndefinedMedia = "UNDEFINED";

constexpr const char *media_name(std::uint8_t media_type, std::uint8_t code) {
    for (const MediaName &m : kMediaNames) {
        if (m.media_type == media_type && m.code == code) {
            return m.name;
        }
    }
    return kUndefinedMedia;
}
static_assert(std::string_view(media_name(kMediaSingleMode, 0x1C)) == "SM 400G DR4");
static_assert(std::string_view(media_name(kMediaActiveCable, 0x00)) == "UNDEFINED");

constexpr const SpeedCandidates *candidates_of(std::uint32_t speed_g) {
    for (const SpeedCandidates &s : kSpeeds) {
        if (s.speed_g == speed_g) {
            return &s;
        }
    }
    return nullptr;
}

// Cables carry one layout each: a copper 8 x 50G breakout cable serves 50G on
// one media lane, an active cable 400G on eight.
bool cable_allows(qsfp_port_ctx *port, std::uint32_t speed_g, std::uint32_t media_lane_count) {
    const std::uint8_t media = state(port).media_type;
    if (media == kMediaPassiveCopper && port->hw_info.qsfp_type == QSFP_DD_TYPE_8X50G_CU_BREAKOUT &&
        (media_lane_count != kCopperBreakoutLanes || speed_g != kCopperBreakoutSpeed)) {
        trace_err(port, "8x50 Copper cable. media_lane_cnt(%d) should be 1. intf speed(%d) should be 50G\n",
                  media_lane_count, speed_g);
        return false;
    }
    if (media == kMediaActiveCable && (media_lane_count != kActiveCableLanes || speed_g != kActiveCableSpeed)) {
        trace_err(port, "AOC cable. media_lane_cnt(%d) should be 8. intf speed(%d) should be 400G\n", media_lane_count,
                  speed_g);
        return false;
    }
    return true;
}

// Whether candidate `c` is the media interface of descriptor `code` (1-based),
// whose media lane count is `n`, tracing why not.
bool matches(qsfp_port_ctx *port, std::uint32_t code, std::uint32_t speed_g, std::uint32_t n, const Candidate &c) {
    const std::uint8_t media = state(port).media_type;
    const char *want = media_name(c.media_type, c.media_interface);
    if (c.media_type != media) {
        trace_evt(port, "App Code %d: Speed %dG Mismatch module type: %s\n", code, speed_g, want);
        return false;
    }
    const std::uint8_t advertised = app_descriptor(port, code)[kAppMediaInterface];
    const char *have = media_name(media, advertised);
    if (cable_row(c)) {
        trace_evt(port, "App Code %d: Speed %dG %s SELECT\n", code, speed_g, have);
        return true;
    }
    const bool same_interface = c.media_interface == advertised;
    const bool same_lanes = c.lanes == n;
    if (same_interface && same_lanes) {
        trace_evt(port, "App Code %d: Speed %dG lane cnt %d %s SELECT\n", code, speed_g, n, want);
        return true;
    }
    if (same_interface) {
        trace_evt(port, "App Code %d: Speed %dG %s: lane cnt mismatch: %d:%d\n", code, speed_g, want, c.lanes, n);
    } else if (same_lanes) {
        trace_evt(port, "App Code %d: Speed %dG %s Media Intf Code mismatch %s:%s\n", code, speed_g, want, want, have);
    } else {
        trace_evt(port, "App Code %d: Speed %dG %s Media Intf Code/Media lane cnt mismatch %s:%s %d:%d\n", code,
                  speed_g, want, want, have, c.lanes, n);
    }
    return false;
}

}  // namespace

std::uint32_t find_application(qsfp_port_ctx *port, std::uint32_t speed_g, std::uint32_t media_lane_count,
                               std::uint32_t *app_code) {
    if (app_code == nullptr) {
        return QSFP_ERR_INVALID;
    }
    if (!cable_allows(port, speed_g, media_lane_count)) {
        return kRefused;
    }
    *app_code = kNoApplication;
    for (std::uint32_t code = 1; code <= kApplications; ++code) {
        const std::uint8_t lane_counts = app_descriptor(port, code)[kAppLaneCounts];
        if (lane_counts == 0) {
            break;  // the advertised list ends here
        }
        if (media_lanes(lane_counts) != media_lane_count) {
            trace_evt(port, "App Code %d: Speed %dG Media lane cnt advertised(%d) != Media lane cnt(%d)\n", code,
                      speed_g, media_lanes(lane_counts), media_lane_count);
            continue;
        }
        const SpeedCandidates *speed = candidates_of(speed_g);
        if (speed == nullptr) {
            trace_err(port, "App Code %d: Unsupported Intf speed(%d)\n", code, speed_g);
            return QSFP_OK;
        }
        for (const Candidate &c : speed->candidates) {
            if (matches(port, code, speed_g, media_lane_count, c)) {
                *app_code = code;
                return QSFP_OK;
            }
        }
    }
    return QSFP_OK;
}

}  // namespace qsfp::cmis
