// Internal operations of the CMIS driver table and the steps that bring-up,
// mode configuration and port enable share.
#pragma once

#include <cstdint>
#include <span>

#include <qsfp/qsfp_cmis.h>

#include "cmis/cmis_regs.h"
#include "cmis/state.h"
#include "framework/wait.h"

namespace qsfp::cmis {

// Driver-table slots.
std::uint32_t device_init(qsfp_port_ctx *port, std::uint32_t init_flag);
std::uint32_t get_type(qsfp_port_ctx *port, std::uint32_t *type, char *description, std::uint32_t length,
                       std::uint32_t *qualified);
std::uint32_t mode_config(qsfp_port_ctx *port, std::uint32_t mode);
// Slot 25: a cdb_cmd_info request.
std::uint32_t cdb_cmd_execute(qsfp_port_ctx *port, void *request);
// Fills the live status record; 1 when the admin-state callback cut the
// flag observation short.
std::uint32_t get_hw_status(qsfp_port_ctx *port, qsfp_hw_status *status);
std::uint32_t get_hw_info(qsfp_port_ctx *port, qsfp_hw_info *info);
// Renders the module's pages into `buffer` (9000 bytes); the text and length
// arguments are the wrapper's and unused here.
std::uint32_t phy_reg_decode(qsfp_port_ctx *port, void **text, std::uint32_t *len, char *buffer);
// Below CMIS 4.0 page 10h byte 128 powers datapaths up; from 4.0 on it
// deinitialises them, and bring-up installs the second pair. `lanes` is a
// bitmap of media lanes; the third argument is unused.
std::uint32_t port_enable(qsfp_port_ctx *port, std::uint32_t lanes, std::uint32_t unused);
std::uint32_t port_disable(qsfp_port_ctx *port, std::uint32_t lanes, std::uint32_t unused);
std::uint32_t port_enable_cmis4(qsfp_port_ctx *port, std::uint32_t lanes, std::uint32_t unused);
std::uint32_t port_disable_cmis4(qsfp_port_ctx *port, std::uint32_t lanes, std::uint32_t unused);
// Records per-lane signal-integrity overrides (bit i of a bitmap: lane i + 1
// takes values[i]) and applies them for the active application.
std::uint32_t modify_si_values(qsfp_port_ctx *port, std::uint8_t tx_eq_bitmap, std::uint8_t *tx_eq,
                               std::uint8_t rx_pre_bitmap, std::uint8_t *rx_pre, std::uint8_t rx_post_bitmap,
                               std::uint8_t *rx_post, std::uint8_t rx_amp_bitmap, std::uint8_t *rx_amp);

// Sets (true) or clears the low-power bit of lower byte 26.
std::uint32_t set_low_power(qsfp_port_ctx *port, bool low_power);
// Programs the application of `oper_mode` through staged control set 0 and
// leaves Tx and Rx outputs disabled.
std::uint32_t configure_without_enable(qsfp_port_ctx *port, std::uint32_t oper_mode);
// Writes staged control set 0 for application `app_code` (1-8), applies it
// with datapath init and waits for the configuration status.
std::uint32_t apply_application(qsfp_port_ctx *port, std::uint32_t app_code, std::uint8_t explicit_control);
// Merges the recorded signal-integrity overrides into the module's active
// control set and, when that changes a target, re-applies `app_code` with
// them through staged control set 0 under explicit control.
std::uint32_t apply_si_overrides(qsfp_port_ctx *port, std::uint32_t app_code);
// The application select code (1-8, 255 none) for `speed_g` Gbit/s over
// `media_lane_count` media lanes; 0, or kRefused for a request the cable cannot take.
std::uint32_t find_application(qsfp_port_ctx *port, std::uint32_t speed_g, std::uint32_t media_lane_count,
                               std::uint32_t *app_code);
inline constexpr std::uint32_t kNoApplication = 255;
// Page 11h bytes 128-131 spread into one state per lane.
std::uint32_t read_datapath_states(qsfp_port_ctx *port, std::span<std::uint8_t, kLanes> states);

inline constexpr std::uint32_t kRefused = QSFP_ERR_REFUSED;
inline constexpr std::uint32_t kModuleNotReady = 14;
inline constexpr std::uint32_t kConfigRejected = QSFP_ERR_INVALID;

bool vendor_begins(const qsfp_port_ctx *port, const char *prefix);
bool vendor_contains(const qsfp_port_ctx *port, const char *part);

using framework::wait_ms;

}  // namespace qsfp::cmis
