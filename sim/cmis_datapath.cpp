// Data path state machines and configuration commands of the emulated CMIS
// module: page 10h byte 128 asks for data paths, staged control set 0 (page
// 10h 145-173) is applied by ApplyDPInit (143) or ApplyImmediate (144), and
// page 11h reports the states (128-131), the configuration status (202-205)
// and the active control set (206-234).
#include <qsfp/sim/cmis_module.h>

#include <algorithm>
#include <limits>

namespace qsfp::sim {

using namespace cmis;

namespace {

constexpr std::uint64_t kNever = std::numeric_limits<std::uint64_t>::max();

// A per-lane field of an SI block: where it starts and how many bits each lane
// has (lane 1 in the lowest bits of the first byte).
struct SiField {
    std::uint8_t offset;
    std::uint8_t bits;
};

constexpr SiField kSiFields[] = {
    {kSiTxAdaptiveEnable, 1}, {1, 2},  // adaptive EQ enable, recalled buffer
    {kSiTxFixedEq, 4},                  // fixed input EQ target
    {7, 1}, {8, 1},                     // Tx CDR enable, Rx CDR enable
    {kSiRxPreCursor, 4}, {kSiRxPostCursor, 4}, {kSiRxAmplitude, 4},
};

// A control the host may set only when the module implements it (page 01h
// 161-162): a nonzero lane value of the field needs the bit.
struct SiControl {
    SiField field;
    std::uint8_t advert;  // page 01h byte
    std::uint8_t bit;
};

constexpr SiControl kSiControls[] = {
    {{kSiTxAdaptiveEnable, 1}, kTxSiImplemented, kTxAdaptiveEqImplemented},
    {{kSiTxFixedEq, 4}, kTxSiImplemented, kTxFixedEqImplemented},
    {{kSiRxPreCursor, 4}, kRxSiImplemented, kRxPreCursorImplemented},
    {{kSiRxPostCursor, 4}, kRxSiImplemented, kRxPostCursorImplemented},
    {{kSiRxAmplitude, 4}, kRxSiImplemented, kRxAmplitudeImplemented},
};

using SiBlock = std::array<std::uint8_t, kSiBytes>;

std::uint8_t lane_bits(const SiBlock &block, SiField f, int lane) {
    const int per_byte = 8 / f.bits;
    const int shift = f.bits * (lane % per_byte);
    const auto mask = static_cast<std::uint8_t>((1u << f.bits) - 1);
    return static_cast<std::uint8_t>((block[f.offset + lane / per_byte] >> shift) & mask);
}

void set_lane_bits(SiBlock &block, SiField f, int lane, std::uint8_t value) {
    const int per_byte = 8 / f.bits;
    const int shift = f.bits * (lane % per_byte);
    const auto mask = static_cast<std::uint8_t>(((1u << f.bits) - 1) << shift);
    std::uint8_t &b = block[f.offset + lane / per_byte];
    b = static_cast<std::uint8_t>((b & ~mask) | ((value << shift) & mask));
}

std::uint8_t app_of(std::uint8_t dp_config) { return dp_config >> kAppSelShift; }
int data_path_id(std::uint8_t dp_config) { return (dp_config >> kDataPathIdShift) & kDataPathIdMask; }
// The application and the first lane: what makes lanes one data path.
std::uint8_t dp_key(std::uint8_t dp_config) { return dp_config & static_cast<std::uint8_t>(~kExplicitControl); }

}  // namespace

// ---- Data path state machines ---------------------------------------------------------------

// A lane's data path may run when the module is ready, the lane belongs to an
// application in the active control set, and the host asks for every lane of
// that data path (CMIS 4.0: DPDeinit clear; CMIS 3.0: DataPathPwrUp set).
bool CmisModule::data_path_requested(int lane) const {
    if (state_ != ModuleState::ready || !paged()) {
        return false;
    }
    const std::uint8_t cfg = memory().get(kPage11, static_cast<std::uint8_t>(kActiveDpConfig + lane));
    if (app_of(cfg) == 0) {
        return false;
    }
    const std::uint8_t control = memory().get(kPage10, kDataPathControl);
    for (int j = 0; j < kLanes; ++j) {
        if (dp_key(memory().get(kPage11, static_cast<std::uint8_t>(kActiveDpConfig + j))) != dp_key(cfg)) {
            continue;
        }
        const bool bit = (control >> j) & 1;
        if (cmis3() ? !bit : bit) {
            return false;
        }
    }
    return true;
}

void CmisModule::enter_lane_state(int lane, DataPathState state, std::uint64_t until_ns) {
    Lane &l = lanes_[lane];
    l.state = state;
    l.until_ns = until_ns;
    if (state == DataPathState::deactivated || state == DataPathState::initialized || state == DataPathState::activated) {
        dp_changed_ |= static_cast<std::uint8_t>(1u << lane);
    }
}

void CmisModule::step_lanes() {
    if (!paged()) {
        return;
    }
    for (int lane = 0; lane < kLanes; ++lane) {
        step_lane(lane);
    }
}

void CmisModule::step_lane(int lane) {
    Lane &l = lanes_[lane];
    if (l.stuck) {
        l.state = *l.stuck;
        return;
    }
    const bool requested = data_path_requested(lane);
    const auto init_ns = time_ns(dp_init_time_, code_time_ns(kPage01, kDataPathDurations, false));
    const auto deinit_ns = time_ns(dp_deinit_time_, code_time_ns(kPage01, kDataPathDurations, true));
    const bool due = t_ns_ >= l.until_ns;
    switch (l.state) {
    case DataPathState::deactivated:
        if (requested) {
            enter_lane_state(lane, DataPathState::init, t_ns_ + init_ns);
        }
        break;
    case DataPathState::init:
        // DPInit runs to its end; a request withdrawn meanwhile is met afterwards.
        if (due && !requested) {
            enter_lane_state(lane, DataPathState::deinit, t_ns_ + deinit_ns);
        } else if (due) {
            const auto turn_on = static_cast<std::uint64_t>(std::max<std::int64_t>(tx_turn_on_time_.count(), 0));
            enter_lane_state(lane, cmis3() ? DataPathState::activated : DataPathState::initialized, t_ns_ + turn_on);
        }
        break;
    case DataPathState::initialized:
        if (!requested) {
            enter_lane_state(lane, DataPathState::deinit, t_ns_ + deinit_ns);
        } else if (due) {
            enter_lane_state(lane, DataPathState::activated, 0);
        }
        break;
    case DataPathState::activated:
    case DataPathState::tx_turn_on:
    case DataPathState::tx_turn_off:
        if (!requested) {
            enter_lane_state(lane, DataPathState::deinit, t_ns_ + deinit_ns);
        }
        break;
    case DataPathState::deinit:
        if (due) {
            enter_lane_state(lane, DataPathState::deactivated, 0);
        }
        break;
    }
}

void CmisModule::write_data_path_states() {
    if (!paged()) {
        return;
    }
    for (int pair = 0; pair < kLanes / 2; ++pair) {
        const auto low = static_cast<std::uint8_t>(lanes_[2 * pair].state);
        const auto high = static_cast<std::uint8_t>(lanes_[2 * pair + 1].state);
        memory().set(kPage11, static_cast<std::uint8_t>(kDataPathState + pair), static_cast<std::uint8_t>(high << 4 | low));
    }
}

// ---- Configuration commands ------------------------------------------------------------------

// Application descriptor `app` (1-8 in lower memory, 9-15 on page 01h), or
// nothing when the module does not advertise it. The list ends at the first
// descriptor whose host interface code is FFh.
std::optional<std::array<std::uint8_t, kAppDescriptorSize>> CmisModule::descriptor(std::uint8_t app) const {
    constexpr std::uint8_t kPage01Descriptors = 223;
    std::optional<std::array<std::uint8_t, kAppDescriptorSize>> found;
    for (std::uint8_t a = 1; a <= app; ++a) {
        const bool lower = a <= kApplications;
        if (!lower && !memory().has_page(kPage01)) {
            return std::nullopt;
        }
        const auto at = static_cast<std::uint8_t>(lower ? kAppDescriptors + kAppDescriptorSize * (a - 1)
                                                        : kPage01Descriptors + kAppDescriptorSize * (a - 1 - kApplications));
        std::array<std::uint8_t, kAppDescriptorSize> d{};
        for (std::uint8_t i = 0; i < kAppDescriptorSize; ++i) {
            d[i] = memory().get(lower ? 0 : kPage01, static_cast<std::uint8_t>(at + i));
        }
        if (d[kAppHostInterface] == kAppUnused) {
            return std::nullopt;
        }
        found = d;
    }
    if (!found || (*found)[kAppHostInterface] == 0 || (*found)[kAppLaneCounts] == 0) {
        return std::nullopt;
    }
    return found;
}

void CmisModule::take_command(std::uint8_t lanes, bool immediate) {
    if (!paged()) {
        return;
    }
    // A lane with a command in progress ignores a new one.
    for (const Command &c : commands_) {
        lanes = static_cast<std::uint8_t>(lanes & ~c.lanes);
    }
    if (lanes == 0) {
        return;
    }
    Command c;
    c.lanes = lanes;
    c.immediate = immediate;
    for (int i = 0; i < kLanes; ++i) {
        c.dp_config[i] = memory().get(kPage10, static_cast<std::uint8_t>(kStagedDpConfig + i));
    }
    for (int i = 0; i < kSiBytes; ++i) {
        c.si[i] = memory().get(kPage10, static_cast<std::uint8_t>(kStagedSi + i));
    }
    const auto check_ns = static_cast<std::uint64_t>(std::max<std::int64_t>(config_time_.count(), 0));
    c.done_ns = config_fault_.kind == ConfigFault::Kind::stay_in_progress ? kNever : t_ns_ + (immediate ? 0 : check_ns);
    for (int i = 0; i < kLanes; ++i) {
        if ((lanes >> i) & 1) {
            c.verdict[i] = config_fault_.kind == ConfigFault::Kind::reject ? config_fault_.code : check_lane(c, i);
            // CMIS 3.0 has no in-progress code: the lane reads "no status" until done.
            set_config_status(i, cmis3() ? ConfigStatus::undefined : ConfigStatus::in_progress);
        }
    }
    commands_.push_back(c);
}

// The checks a module makes of one lane of a staged configuration, in order.
CmisModule::ConfigStatus CmisModule::check_lane(const Command &c, int lane) const {
    if (!c.immediate && lanes_[lane].state != DataPathState::deactivated) {
        return ConfigStatus::rejected_lanes_in_use;
    }
    const std::uint8_t cfg = c.dp_config[lane];
    if (app_of(cfg) == 0) {
        return ConfigStatus::success;  // the lane leaves every data path
    }
    const auto d = descriptor(app_of(cfg));
    if (!d) {
        return ConfigStatus::rejected_invalid_app_sel;
    }
    const int host_lanes = (*d)[kAppLaneCounts] >> 4;
    const int first = data_path_id(cfg);
    const bool may_start = ((*d)[kAppHostLaneAssignment] >> first) & 1;
    if (host_lanes == 0 || !may_start || lane < first || lane >= first + host_lanes || first + host_lanes > kLanes) {
        return ConfigStatus::rejected_invalid_data_path;
    }
    for (int j = first; j < first + host_lanes; ++j) {
        if (dp_key(c.dp_config[j]) != dp_key(cfg)) {
            return ConfigStatus::rejected_invalid_data_path;
        }
        if (((c.lanes >> j) & 1) == 0) {
            return ConfigStatus::rejected_partial_data_path;
        }
    }
    if (cfg & kExplicitControl) {
        for (const SiControl &r : kSiControls) {
            const bool implemented = memory().has_page(kPage01) && (memory().get(kPage01, r.advert) & r.bit);
            if (!implemented && lane_bits(c.si, r.field, lane) != 0) {
                return ConfigStatus::rejected_invalid_si;
            }
        }
    }
    return ConfigStatus::success;
}

void CmisModule::step_commands() {
    const auto done = [&](const Command &c) { return c.done_ns != kNever && c.done_ns <= t_ns_; };
    for (const Command &c : commands_) {
        if (done(c)) {
            finish_command(c);
        }
    }
    std::erase_if(commands_, done);
}

// An accepted lane takes the staged application into the active control set,
// with the staged SI values under explicit control and the application's
// defaults (the image's active values) otherwise.
void CmisModule::finish_command(const Command &c) {
    SiBlock active{};
    for (int i = 0; i < kSiBytes; ++i) {
        active[i] = memory().get(kPage11, static_cast<std::uint8_t>(kActiveSi + i));
    }
    for (int lane = 0; lane < kLanes; ++lane) {
        if (((c.lanes >> lane) & 1) == 0) {
            continue;
        }
        set_config_status(lane, c.verdict[lane]);
        if (c.verdict[lane] != ConfigStatus::success) {
            continue;
        }
        memory().set(kPage11, static_cast<std::uint8_t>(kActiveDpConfig + lane), c.dp_config[lane]);
        const SiBlock &source = (c.dp_config[lane] & kExplicitControl) ? c.si : default_si_;
        for (const SiField &f : kSiFields) {
            set_lane_bits(active, f, lane, lane_bits(source, f, lane));
        }
    }
    for (int i = 0; i < kSiBytes; ++i) {
        memory().set(kPage11, static_cast<std::uint8_t>(kActiveSi + i), active[i]);
    }
}

void CmisModule::set_config_status(int lane, ConfigStatus status) {
    const auto at = static_cast<std::uint8_t>(kConfigStatus + lane / 2);
    const std::uint8_t old = memory().get(kPage11, at);
    const auto code = static_cast<std::uint8_t>(status);
    memory().set(kPage11, at,
                 static_cast<std::uint8_t>(lane % 2 == 0 ? (old & 0xF0) | code : (old & 0x0F) | (code << 4)));
}

}  // namespace qsfp::sim
