// Internal operations of the SFF-8636 driver table and the helpers its
// steps share.
#pragma once

#include <atomic>
#include <cstdint>
#include <span>

#include <qsfp/qsfp_sff8636.h>

#include "framework/observation.h"
#include "framework/wait.h"
#include "sff8636/sff8636_regs.h"
#include "sff8636/state.h"

struct qsfp_drv_hooks;

namespace qsfp::sff8636 {

// Driver-table slots without an exported name.
std::uint32_t modify_eq(qsfp_port_ctx *port, std::uint32_t lanes, std::uint8_t *value);
std::uint32_t modify_deemphasis(qsfp_port_ctx *port, std::uint32_t lanes, std::uint8_t *value);
std::uint32_t modify_amp(qsfp_port_ctx *port, std::uint32_t lanes, std::uint8_t *value);
std::uint32_t modify_si_values(qsfp_port_ctx *port, std::uint8_t, std::uint8_t *, std::uint8_t, std::uint8_t *,
                               std::uint8_t, std::uint8_t *, std::uint8_t, std::uint8_t *);
std::uint32_t port_disable(qsfp_port_ctx *port, std::uint32_t lanes, std::uint32_t tx_only);
std::uint32_t port_enable(qsfp_port_ctx *port, std::uint32_t lanes, std::uint32_t tx_only);
std::uint32_t mode_config(qsfp_port_ctx *port, std::uint32_t mode);

// What the timer handler calls when the cool or keep-alive timer fires.
extern const qsfp_drv_hooks kTimerHooks;

// Lanes requested while the module settles; the timer handler reads it on its
// own thread, so every access is atomic.
inline std::atomic_ref<std::uint32_t> pending_lanes(qsfp_port_ctx *port) {
    return std::atomic_ref<std::uint32_t>(port->ready_lanes);
}

// Spacing of the bytes of a bit-banged flag read (ns); the module that needs
// it is marked when its inventory is saved.
inline constexpr std::uint32_t kBitBangDelay = 200000;

// When a read of the latched flags takes the bit-bang path. Port enable never
// does; the status record does whenever the port is marked for it; the
// latched-flag report also needs the caller's bit-bang function to be there.
enum class BitBang { never, when_marked, when_callable };

// What a caller traces when its latched-flag read fails, in its own words for
// each path (`bit_bang` may be null where the rule never bit-bangs).
struct FlagsReadFailure {
    void (*read)(qsfp_port_ctx *port, std::uint32_t rc);
    void (*bit_bang)(qsfp_port_ctx *port, std::uint32_t rc);
};

// Reads the latched flags, lower bytes 3-14, which clears them in the module;
// a failure is traced through `failure` and answered.
std::uint32_t read_latched_flags(qsfp_port_ctx *port, std::span<std::uint8_t, kFlagsLen> flags, BitBang rule,
                                 const FlagsReadFailure &failure);

// Settings and waits that bring-up and port enable share.
inline constexpr std::uint8_t kAllLanes = 0x0F;
inline constexpr std::uint32_t kTxDisableSettleUs = 100000;
inline constexpr std::uint32_t kNonAdaptiveCtleSettleUs = 300000;
inline constexpr std::uint8_t kVendorCtleOn = 0x01;
// SOURCE PHOTONICS 100G LR4 modules take this fixed Tx equalisation.
inline constexpr std::uint8_t kSourcePhotonicsEq = 0xAA;

// Writes one byte of page 03h.
std::uint32_t write_page03(qsfp_port_ctx *port, std::uint32_t reg, std::uint8_t value);

// Writes two bytes of an SI register pair on page 03h (lanes 1-2 at `reg`,
// lanes 3-4 at `reg` + 1) in one transaction.
std::uint32_t write_si_pair(qsfp_port_ctx *port, std::uint32_t reg, std::uint8_t first, std::uint8_t second);

// Capabilities and flags the steps test.
bool tx_eq_adaptive(const qsfp_port_ctx *port);
bool vendor_is(const qsfp_port_ctx *port, const char *prefix);
bool source_photonics_lr4(const qsfp_port_ctx *port);
bool both_squelch_disables(const qsfp_port_ctx *port);
bool rx_output_disable_usable(const qsfp_port_ctx *port);

// The platform reads the whole 640-byte image in one transaction.
bool whole_image_read(const qsfp_port_ctx *port);
// Lower memory and upper pages 00h-03h (00h only on flat memory) into a
// 640-byte image; failures are traced and answered.
std::uint32_t read_image(qsfp_port_ctx *port, std::uint8_t *image);

using framework::kAbandoned;
using framework::observe;

using framework::wait_us;

}  // namespace qsfp::sff8636
