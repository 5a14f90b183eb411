// Signal-integrity overrides of a CMIS module: per-lane Tx input equaliser,
// Rx output pre-cursor, post-cursor and amplitude targets that the platform
// records in the port. They are merged into the module's active control set;
// the merged set goes to staged control set 0 and the application is applied
// again with ExplicitControl, so the module takes the staged SI values
// instead of the application's defaults.
#include <array>
#include <iterator>

#include "cmis/driver.h"
#include "framework/trace.h"

namespace qsfp::cmis {

namespace {

static_assert(QSFP_MAX_LANES >= kLanes);

using LaneValues = std::uint8_t[QSFP_MAX_LANES];
// The Tx and the Rx SI bytes of a control set, in the module's order.
using SiSet = std::array<std::uint8_t, kSiBytes>;

using RecordedTrace = void (*)(qsfp_port_ctx *port, std::uint8_t bitmap, std::uint32_t lane, std::uint8_t value);
using TargetsTrace = void (*)(qsfp_port_ctx *port, const std::uint8_t *targets);

// One group of per-lane targets: where the port keeps it, where the module
// does, and the advertisement bit that says the module implements it.
struct Group {
    LaneValues qsfp_port_ctx::*lanes;
    std::uint32_t State::*override_flag;
    std::uint32_t targets;         // offset of its four bytes in an SiSet
    std::uint32_t controls;        // kTxSiControls or kRxSiControls
    std::uint8_t control;
    bool yields_to_adaptive;       // left alone while every lane adapts by itself
    RecordedTrace trace_recorded;
    TargetsTrace trace_default;
    TargetsTrace trace_new;
};

// The amplitude values are announced with the post-cursor words: a platform
// reading these lines has always seen them that way.
void trace_post_or_amp_recorded(qsfp_port_ctx *port, std::uint8_t bitmap, std::uint32_t lane, std::uint8_t value) {
    trace_evt(port, "BM: 0x%x RxOutputPost[%d]: 0x%x\n", bitmap, lane, value);
}

constexpr Group kTxEq = {
    &qsfp_port_ctx::lane_tx_eq, &State::tx_eq_override, kSiTxEqTargets, kTxSiControls, kTxFixedEqControl, true,
    [](qsfp_port_ctx *port, std::uint8_t bitmap, std::uint32_t lane, std::uint8_t value) {
        trace_evt(port, "BM: 0x%x TxEq[%d]: 0x%x\n", bitmap, lane, value);
    },
    [](qsfp_port_ctx *port, const std::uint8_t *t) {
        trace_evt(port, "Default Tx EQ: 0x%x 0x%x 0x%x 0x%x\n", t[0], t[1], t[2], t[3]);
    },
    [](qsfp_port_ctx *port, const std::uint8_t *t) {
        trace_evt(port, "New Tx EQ: 0x%x 0x%x 0x%x 0x%x\n", t[0], t[1], t[2], t[3]);
    },
};

constexpr Group kRxPre = {
    &qsfp_port_ctx::lane_rx_pre, &State::rx_pre_override, kSiRxPreTargets, kRxSiControls, kRxPreCursorControl, false,
    [](qsfp_port_ctx *port, std::uint8_t bitmap, std::uint32_t lane, std::uint8_t value) {
        trace_evt(port, "BM: 0x%x RxOutputPre[%d]: 0x%x\n", bitmap, lane, value);
    },
    [](qsfp_port_ctx *port, const std::uint8_t *t) {
        trace_evt(port, "Default Rx Output EQ Pre Tap: 0x%x 0x%x 0x%x 0x%x\n", t[0], t[1], t[2], t[3]);
    },
    [](qsfp_port_ctx *port, const std::uint8_t *t) {
        trace_evt(port, "New Rx Output EQ Pre Tap: 0x%x 0x%x 0x%x 0x%x\n", t[0], t[1], t[2], t[3]);
    },
};

constexpr Group kRxPost = {
    &qsfp_port_ctx::lane_rx_post, &State::rx_post_override, kSiRxPostTargets, kRxSiControls, kRxPostCursorControl,
    false, trace_post_or_amp_recorded,
    [](qsfp_port_ctx *port, const std::uint8_t *t) {
        trace_evt(port, "Default Rx Output EQ Post Tap: 0x%x 0x%x 0x%x 0x%x\n", t[0], t[1], t[2], t[3]);
    },
    [](qsfp_port_ctx *port, const std::uint8_t *t) {
        trace_evt(port, "New Rx Output EQ Post Tap: 0x%x 0x%x 0x%x 0x%x\n", t[0], t[1], t[2], t[3]);
    },
};

constexpr Group kRxAmp = {
    &qsfp_port_ctx::lane_rx_amp, &State::rx_amp_override, kSiRxAmpTargets, kRxSiControls, kRxAmplitudeControl,
    false, trace_post_or_amp_recorded,
    [](qsfp_port_ctx *port, const std::uint8_t *t) {
        trace_evt(port, "Default Rx Output Amplitude: 0x%x 0x%x 0x%x 0x%x\n", t[0], t[1], t[2], t[3]);
    },
    [](qsfp_port_ctx *port, const std::uint8_t *t) {
        trace_evt(port, "New Rx Output Amplitude: 0x%x 0x%x 0x%x 0x%x\n", t[0], t[1], t[2], t[3]);
    },
};

// The order in which groups are recorded, merged and traced.
constexpr const Group *kGroups[] = {&kTxEq, &kRxPre, &kRxPost, &kRxAmp};

// Byte k of a target block holds lane 2k+1 in bits 3-0 and lane 2k+2 in
// bits 7-4. The values are not masked to four bits first: a value above 15
// spills into the neighbour's nibble, which platforms have relied on.
constexpr std::uint8_t packed_targets(const LaneValues &values, std::uint32_t k) {
    return static_cast<std::uint8_t>(values[2 * k + 1] << 4 | values[2 * k]);
}
static_assert(packed_targets({0x1F, 0x02}, 0) == 0x3F);
static_assert(packed_targets({0, 0, 0x05, 0x0A}, 1) == 0xA5);

void record(qsfp_port_ctx *port, const Group &g, std::uint8_t bitmap, const std::uint8_t *values) {
    if (bitmap == 0) {
        return;
    }
    for (std::uint32_t i = 0; i < kLanes; ++i) {
        if (((bitmap >> i) & 1U) != 0) {
            (port->*g.lanes)[i] = values[i];
            g.trace_recorded(port, bitmap, i, values[i]);
        }
    }
    state(port).*g.override_flag = 1;
}

bool group_applies(const qsfp_port_ctx *port, const Group &g, const SiSet &active) {
    if (g.yields_to_adaptive && active[kSiTxAdaptiveEq] == kAllLanes) {
        return false;
    }
    return state(port).*g.override_flag != 0 && (state(port).si_controls[g.controls] & g.control) != 0;
}

// Replaces the group's target bytes that differ from the recorded values;
// true when one did.
bool merge(const qsfp_port_ctx *port, const Group &g, SiSet &si) {
    bool changed = false;
    for (std::uint32_t k = 0; k < kSiTargetBytes; ++k) {
        const std::uint8_t wanted = packed_targets(port->*g.lanes, k);
        if (si[g.targets + k] != wanted) {
            si[g.targets + k] = wanted;
            changed = true;
        }
    }
    return changed;
}

std::uint32_t read_active_set(qsfp_port_ctx *port, SiSet &si) {
    std::uint32_t rc = qsfp_access(port, kActiveTxSi, kTxSiBytes, kPage11, si.data(), QSFP_ACCESS_READ);
    if (rc != QSFP_OK) {
        trace_err(port, "Failed to read the Active Set TX SI settings. reg %d. rc 0x%x\n", kActiveTxSi, rc);
        return rc;
    }
    rc = qsfp_access(port, kActiveRxSi, kRxSiBytes, kPage11, si.data() + kTxSiBytes, QSFP_ACCESS_READ);
    if (rc != QSFP_OK) {
        trace_err(port, "Failed to read the Active Set RX SI settings. reg %d. rc 0x%x\n", kActiveRxSi, rc);
    }
    return rc;
}

// Whole blocks, so the adaptive, recall and CDR bytes go to the staged set
// as the module has them active.
std::uint32_t write_staged_set(qsfp_port_ctx *port, SiSet &si) {
    std::uint32_t rc = qsfp_access(port, kStagedTxSi, kTxSiBytes, kPage10, si.data(), QSFP_ACCESS_WRITE);
    if (rc != QSFP_OK) {
        trace_err(port, "Failed to write TX SI settings to stage ctrl set %d reg (0x%lx) rc 0x%x\n", 0,
                  static_cast<unsigned long>(kStagedTxSi), rc);
        return rc;
    }
    rc = qsfp_access(port, kStagedRxSi, kRxSiBytes, kPage10, si.data() + kTxSiBytes, QSFP_ACCESS_WRITE);
    if (rc != QSFP_OK) {
        trace_err(port, "Failed to write RX SI settings to stage ctrl set %d reg (0x%lx) rc 0x%x\n", 0,
                  static_cast<unsigned long>(kStagedRxSi), rc);
    }
    return rc;
}

}  // namespace

std::uint32_t apply_si_overrides(qsfp_port_ctx *port, std::uint32_t app_code) {
    const std::uint32_t passive = state(port).passive;
    if (port->is_copper != 0 || passive != 0 || port->flat_mem != 0) {
        trace_err(port, "No support for SI settings on copper(%d), passive(%d), or flat mem(%d) modules\n",
                  port->is_copper, passive, port->flat_mem);
        return QSFP_ERR_NOT_SUPPORTED;
    }
    SiSet si{};
    if (const std::uint32_t rc = read_active_set(port, si); rc != QSFP_OK) {
        return rc;
    }
    // A group's "New" line follows whenever anything changed so far, also
    // when only an earlier group changed it.
    bool changed = false;
    for (const Group *g : kGroups) {
        if (!group_applies(port, *g, si)) {
            continue;
        }
        g->trace_default(port, si.data() + g->targets);
        changed = merge(port, *g, si) || changed;
        if (changed) {
            g->trace_new(port, si.data() + g->targets);
        }
    }
    if (!changed) {
        return QSFP_OK;
    }
    if (const std::uint32_t rc = write_staged_set(port, si); rc != QSFP_OK) {
        return rc;
    }
    return apply_application(port, app_code, kExplicitControl);
}

std::uint32_t modify_si_values(qsfp_port_ctx *port, std::uint8_t tx_eq_bitmap, std::uint8_t *tx_eq,
                               std::uint8_t rx_pre_bitmap, std::uint8_t *rx_pre, std::uint8_t rx_post_bitmap,
                               std::uint8_t *rx_post, std::uint8_t rx_amp_bitmap, std::uint8_t *rx_amp) {
    if (port == nullptr) {
        return QSFP_ERR_INVALID;
    }
    // The post-cursor bitmap alone does not make a request.
    if (tx_eq_bitmap == 0 && rx_pre_bitmap == 0 && rx_amp_bitmap == 0) {
        trace_err(port, "No valid bitmaps\n");
        return kRefused;
    }
    const std::uint8_t bitmaps[] = {tx_eq_bitmap, rx_pre_bitmap, rx_post_bitmap, rx_amp_bitmap};
    const std::uint8_t *const values[] = {tx_eq, rx_pre, rx_post, rx_amp};
    static_assert(std::size(bitmaps) == std::size(kGroups) && std::size(values) == std::size(kGroups));
    // Nothing is recorded from a call that names lanes without their values.
    for (std::size_t i = 0; i < std::size(kGroups); ++i) {
        if (bitmaps[i] != 0 && values[i] == nullptr) {
            return QSFP_ERR_INVALID;
        }
    }
    for (std::size_t i = 0; i < std::size(kGroups); ++i) {
        record(port, *kGroups[i], bitmaps[i], values[i]);
    }
    return apply_si_overrides(port, state(port).active_app_code);
}

}  // namespace qsfp::cmis
