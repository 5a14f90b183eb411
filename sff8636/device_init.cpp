// SFF-8636 bring-up: read the module's memory, cache its capabilities,
// classify it, and (when asked to touch the hardware) put it into a known
// state. The final settle wait is not slept: it is handed to the port's cool
// timer, whose expiry enables the lanes requested meanwhile.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "framework/timer_leaves.h"
#include "framework/trace.h"
#include "sff8636/driver.h"
#include "sff8636/sff8636_regs.h"
#include "sff8636/type_tables.h"

namespace qsfp::sff8636 {

namespace {

constexpr std::uint32_t kPsm4SquelchSettleUs = 1000000;
constexpr std::uint32_t kPowerModeSettleUs = 300000;
constexpr std::uint32_t kTecPolls = 5;
constexpr std::uint32_t kTecPollIntervalUs = 5000;
// Cooled transmitters without a usable TEC-ready flag get this long to settle.
constexpr std::uint32_t kDefaultCoolTimeUs = 10000000;
constexpr std::uint32_t kUsPerSecond = 1000000;
constexpr std::uint8_t kTxSquelchDisableAll = 0x0F;
constexpr std::uint8_t kBitRateSelect = 0xAA;     // rate select for the higher rate, all lanes
constexpr std::uint8_t kRateSelect40G = 0x00;
constexpr std::uint32_t kMultirate40G = 40000000;  // kbit/s

std::uint8_t at(const Image &image, std::uint32_t page, std::uint32_t addr) { return image[image_offset(page, addr)]; }

// Step 4: the capability bytes later steps and operations test.
void cache_capabilities(qsfp_port_ctx *port, const Image &image) {
    State &s = state(port);
    s.options[0] = at(image, kPage00, kOptions193);
    s.options[1] = at(image, kPage00, kOptions194);
    s.options[2] = at(image, kPage00, kOptions195);
    s.device_tech = at(image, kPage00, kDeviceTech);
    s.length_smf = at(image, kPage00, kLengthSmf);
    s.length_copper = at(image, kPage00, kLengthCopper);
    s.wavelength[0] = at(image, kPage00, kWavelength);
    s.wavelength[1] = at(image, kPage00, kWavelength + 1);
    s.enhanced_options = at(image, kPage00, kEnhancedOptions);
    // The platform may already have asked to skip Tx EQ or Rx emphasis.
    s.skip_tx_eq = (port->cfg_word[0] != 0 || (s.options[0] & kTxEqProgrammable) == 0) ? 1 : 0;
    s.skip_rx_eq = (port->cfg_word[1] != 0 || (s.options[0] & kRxEmphasisProgrammable) == 0) ? 1 : 0;
    s.skip_amp = (s.options[0] & kRxAmplitudeProgrammable) == 0 ? 1 : 0;
    s.tx_squelch_disable_absent = (s.options[1] & kTxSquelchDisable) == 0 ? 1 : 0;
    s.rx_squelch_disable_absent = (s.options[1] & kRxSquelchDisable) == 0 ? 1 : 0;
}

// Step 6: the platform may override the SI defaults for this module type.
void exchange_overrides(qsfp_port_ctx *port) {
    if (port->update_func == nullptr) {
        return;
    }
    qsfp_sff8636_si_query query{};
    query.controller = port->controller;
    query.port = port->port;
    query.qsfp_type = port->hw_info.qsfp_type;
    std::snprintf(query.qsfp_type_str, sizeof query.qsfp_type_str, "%.39s", port->hw_info.qsfp_type_str);
    qsfp_sff8636_si_reply reply{};
    const std::uint32_t rc = port->update_func(&query, &reply);
    if (rc != QSFP_OK) {
        trace_evt(port, "Init: update_func dont override tx/rx/actle/amp 0x%x", rc);
        return;
    }
    std::memset(port->lane_tx_eq, reply.tx_eq, QSFP_MAX_LANES);
    std::memset(port->lane_rx_emphasis, reply.rx_emphasis, QSFP_MAX_LANES);
    std::memset(port->lane_rx_amp, reply.rx_amplitude, QSFP_MAX_LANES);
    State &s = state(port);
    s.skip_tx_eq |= reply.skip_tx_eq;
    s.skip_rx_eq |= reply.skip_rx_eq;
    s.skip_amp |= reply.skip_amp;
    s.rx_squelch_disable_absent |= reply.rx_squelch_disable_absent;
    s.tx_squelch_disable_absent |= reply.tx_squelch_disable_absent;
    port->force_non_adaptive_ctle = reply.force_non_adaptive_ctle;
    trace_evt(port, "Init: update_func overrides tx/rx/actle/amp 0x%x", rc);
}

// Step 7: modules of our own make ("KORVA") carry maker data and a DOM flag;
// Mellanox cables do not implement Rx output disable reliably.
void qualify(qsfp_port_ctx *port, const Image &image) {
    State &s = state(port);
    std::memcpy(s.vendor_name, image.data() + kVendorName, kVendorNameLen);
    s.vendor_name[kVendorNameLen] = '\0';
    s.is_korva_qualified = vendor_is(port, "KORVA") ? 1 : 0;
    s.skip_rx_disable = vendor_is(port, "Mellanox") ? 1 : 0;
    trace_evt(port, "Is Korva Qualified optics is_korva_qualified_qsfp = %d skip_rx_disable = %d",
              s.is_korva_qualified, s.skip_rx_disable);
    s.dom_supported = (s.is_korva_qualified != 0 && at(image, kPage00, kDomPresent) == 0) ? 0 : 1;
    trace_evt(port, "QSFP has flat memory:%u QSFP has DOM support:%u", port->flat_mem, s.dom_supported);
}

// Step 11: PSM4 modules start with Tx squelch disabled.
void psm4_squelch(qsfp_port_ctx *port) {
    if (port->hw_info.qsfp_type != kType100GPsm4 || !both_squelch_disables(port)) {
        return;
    }
    write_page03(port, kSquelchDisable, kTxSquelchDisableAll);
    trace_evt(port, "Init : PSM4 optics Page3 WR Reg 0x%x val 0x%x ", kSquelchDisable, kTxSquelchDisableAll);
    wait_us(kPsm4SquelchSettleUs);
}

// Steps 12-13: transmitters and Rx outputs off until the port is enabled.
void outputs_off(qsfp_port_ctx *port) {
    if ((state(port).options[2] & kTxDisableImplemented) != 0) {
        qsfp_port_lane_tx_ena_dis(port, kAllLanes, 0);
        wait_us(kTxDisableSettleUs);
        trace_evt(port, "Init: Tx disable");
    }
    if (rx_output_disable_usable(port)) {
        qsfp_port_lane_rx_output_ena(port, kAllLanes, 0);
        trace_evt(port, "Init: Rx output disabled");
    }
}

// Step 14: a module that reports TEC readiness gets that interrupt masked.
void mask_tec_interrupt(qsfp_port_ctx *port, const Image &image) {
    if (port->flat_mem != 0 || (at(image, kPage03, kTecFlagImplemented) & kTecReadyBit) == 0) {
        port->tec_present = 0;
        return;
    }
    port->tec_present = 1;
    std::uint8_t mask = at(image, kPage00, kTecMask) | kTecMaskBit;
    if (qsfp_access(port, kTecMask, 1, kPage00, &mask, QSFP_ACCESS_WRITE) != QSFP_OK) {
        trace_err(port, "Unable to mask TEC ready flag intr");
    }
}

// Steps 15-16: power class and high-power mode. A flat-memory cable has no
// power control byte worth writing (SFF-8636 leaves byte 93 to paged modules),
// whatever its power class bits claim.
void power_up(qsfp_port_ctx *port, const Image &image) {
    if (port->rate != 100) {
        trace_evt(port, "Init: Non Qsfp28 Optics - High power class skipped ");
    } else if (port->flat_mem == 0 && (at(image, kPage00, kExtIdentifier) & kPowerClass5To7) != 0) {
        trace_evt(port, "Init: Enabling high power class ");
        if (qsfp_set_clear_bits(port, kPowerControl, kPage00, QSFP_SET_BITS, kHighPowerClassEnable) != QSFP_OK) {
            trace_err(port, "QSFP High Power class enable %d error", 1);
        }
    }
    if (port->flat_mem != 0) {
        trace_evt(port, "Do not access 93_0:1 bitin case of flat memory i.e. CR4 optics type");
    } else {
        if (qsfp_set_clear_bits(port, kPowerControl, kPage00, QSFP_CLEAR_BITS, kPowerOverride | kPowerSet) !=
            QSFP_OK) {
            trace_err(port, "QSFP High/Low Power mode clear %d error", 1);
        }
        if (qsfp_set_clear_bits(port, kPowerControl, kPage00, QSFP_SET_BITS, kPowerOverride) != QSFP_OK) {
            trace_err(port, "QSFP High/Low Power mode enable %d error", 1);
        }
    }
    trace_evt(port, "Init: High power mode enable");
    wait_us(kPowerModeSettleUs);
}

bool tec_settled(qsfp_port_ctx *port) {
    for (std::uint32_t poll = 0; poll < kTecPolls; ++poll) {
        std::uint8_t tec = 0;
        const std::uint32_t rc = qsfp_access(port, kTecReady, 1, kPage00, &tec, QSFP_ACCESS_READ);
        trace_evt(port, "TEC ready reg 0x%x", tec);
        if (rc == QSFP_OK && (tec & kTecReadyBit) != 0) {
            trace_evt(port, "Init: TEC ready flag set");
            return true;
        }
        wait_us(kTecPollIntervalUs);
    }
    return false;
}

// Step 17: how long a cooled transmitter needs before it may be enabled (us).
std::uint32_t cool_time(qsfp_port_ctx *port, const Image &image) {
    if ((state(port).device_tech & kCooledTx) == 0) {
        return 0;
    }
    if (port->tec_present != 0 && tec_settled(port)) {
        return 0;
    }
    // Our own modules state their TEC stabilisation time on page 03h.
    const std::uint32_t us = state(port).is_korva_qualified != 0 ? at(image, kPage03, kTecMaxSeconds) * kUsPerSecond
                                                                : kDefaultCoolTimeUs;
    trace_evt(port, "Init: TX Cool sleep time %d secs", us / kUsPerSecond);
    return us;
}

void write_fixed_tx_eq(qsfp_port_ctx *port) {
    std::uint32_t rc = QSFP_OK;
    if (state(port).skip_tx_eq == 0) {
        rc = write_si_pair(port, kTxEq, port->lane_tx_eq[0], port->lane_tx_eq[0]);
    }
    if (state(port).is_korva_qualified != 0 && port->cfg_byte_a != 0) {
        if (const std::uint32_t vrc = write_page03(port, kVendorCtle, kVendorCtleOn); vrc != QSFP_OK) {
            trace_err(port, "Init: Vendor CTLE Byte Write Error, rc: 0x%x", vrc);
        } else {
            trace_evt(port, "Init: Vendor CTLE Byte updated");
        }
    }
    if (rc != QSFP_OK) {
        trace_err(port, "Init: Failed to write QSFP EQ values, rc: 0x%x", rc);
    } else {
        trace_evt(port, "Init: skip_tx_eq %d, Non-adp CTLE peaking values 0x%x", state(port).skip_tx_eq,
                  port->lane_tx_eq[0]);
    }
    trace_evt(port, "Init: Non-adaptive CTLE sleep time 300 msecs");
}

enum class SiStep { rx_settings, skip_rx_settings };

// Step 18: the Tx equaliser of 100G modules. Answers the settle time (us)
// and whether the Rx settings of step 19 apply.
SiStep set_up_ctle(qsfp_port_ctx *port, std::uint32_t *settle) {
    *settle = 0;
    if (port->rate != 100) {
        trace_evt(port, "Init: Non Qsfp28 optics - CTLE Check Skipped");
        return SiStep::rx_settings;
    }
    if (source_photonics_lr4(port)) {
        write_page03(port, kOutputControl, 0x00);
        if (port->cfg_byte_a != 0) {
            port->lane_tx_eq[0] = kSourcePhotonicsEq;
            port->lane_tx_eq[1] = kSourcePhotonicsEq;
        }
        if (state(port).skip_tx_eq == 0) {
            write_si_pair(port, kTxEq, port->lane_tx_eq[0], port->lane_tx_eq[0]);
        }
        return SiStep::rx_settings;
    }
    if (tx_eq_adaptive(port)) {
        qsfp_port_lane_ctle_ena(port, kAllLanes, 0);
        trace_evt(port, "Init: CTLE disable");
        if (port->force_non_adaptive_ctle == 0) {
            return SiStep::rx_settings;
        }
    }
    if (port->is_copper != 0) {
        port->hw_info.si_capability = 0;
        return SiStep::skip_rx_settings;
    }
    if (port->flat_mem != 0) {
        return SiStep::rx_settings;
    }
    write_fixed_tx_eq(port);
    *settle = kNonAdaptiveCtleSettleUs;
    return SiStep::rx_settings;
}

// Step 19: what SI the module lets the host set, and the fixed Rx settings.
void set_up_rx(qsfp_port_ctx *port) {
    const std::uint8_t options = state(port).options[0];
    const bool rx_both = (options & (kRxEmphasisProgrammable | kRxAmplitudeProgrammable)) ==
                         (kRxEmphasisProgrammable | kRxAmplitudeProgrammable);
    const bool tx_any = (options & (kTxEqProgrammable | kTxEqAdaptive)) != 0;
    port->hw_info.si_capability = port->rate == 40 ? 0 : (rx_both && tx_any ? 1 : 2);
    if (port->flat_mem != 0) {
        return;
    }
    std::uint32_t rc = QSFP_OK;
    if (state(port).skip_rx_eq == 0) {
        rc |= write_si_pair(port, kRxEmphasis, port->lane_rx_emphasis[0], port->lane_rx_emphasis[0]);
    }
    if (state(port).skip_amp == 0) {
        rc |= write_si_pair(port, kRxAmplitude, port->lane_rx_amp[0], port->lane_rx_amp[0]);
    }
    if (rc != QSFP_OK) {
        trace_err(port, "Failed to write QSFP RXEQ/AMP values, rc: %x", rc);
    } else {
        trace_evt(port, "Init: skip_rx_eq %d skip_amp %d, Forcing deemp 0x%x,0x%x amp 0x%x 0x%x values",
                  state(port).skip_rx_eq, state(port).skip_amp, port->lane_rx_emphasis[0], port->lane_rx_emphasis[0],
                  port->lane_rx_amp[0], port->lane_rx_amp[0]);
    }
}

// Step 20: the wait is handed to the cool timer instead of being slept.
void start_settle_timer(qsfp_port_ctx *port, std::uint32_t settle_us) {
    if (settle_us == 0) {
        set_settle(port, Settle::ready);
        return;
    }
    set_settle(port, Settle::settling);
    const std::uint32_t seconds = settle_us / kUsPerSecond;
    const std::uint32_t nanoseconds = (settle_us % kUsPerSecond) * 1000;
    mgd_timer_leaf_start(port->cool_timer, seconds, nanoseconds);
    trace_evt(port, "Init: Final sleep time %d sec %d nsec", seconds, nanoseconds);
}

// Step 21: DWDM modules need page 20h touched every 900 s.
void start_keepalive(qsfp_port_ctx *port) {
    if (port->any_page == 0) {
        return;
    }
    if (port->keepalive_timer == nullptr) {
        port->keepalive_timer = mgd_timer_leaf_new(qsfp_get_ctx()->timer_tree, 0, kKeepaliveLeaf, port);
    }
    mgd_timer_leaf_start(port->keepalive_timer, kKeepaliveSeconds, kKeepaliveNanoseconds);
}

// Steps 2 and 23. Flat-memory cables have no rate select: their enhanced
// options byte (221) is not even read.
std::uint8_t multirate_module(qsfp_port_ctx *port) {
    std::uint8_t multirate = 0;
    if (port->flat_mem == 0 && qsfp_check_multirate(port, &multirate) != QSFP_OK) {
        trace_err(port, "QSFP multirate check failed for port: %d", port->port);
    }
    return multirate;
}

// Step 22: extended rate select version 2 sets both directions to the high rate.
std::uint32_t select_bit_rate(qsfp_port_ctx *port) {
    std::uint8_t enhanced = 0;
    std::uint8_t options = 0;
    std::uint32_t rc = qsfp_access(port, kEnhancedOptions, 1, kPage00, &enhanced, QSFP_ACCESS_READ);
    if (rc == QSFP_OK) {
        rc = qsfp_access(port, kOptions195, 1, kPage00, &options, QSFP_ACCESS_READ);
    }
    if (rc != QSFP_OK) {
        trace_err(port, "Failed to read QSFP rate selection support values, rc: %x", rc);
        return rc;
    }
    const unsigned br_type = (enhanced & kRateSelectDeclaration) >> 2;
    const unsigned rate_sel = (options & kRateSelect) != 0 ? 1 : 0;
    if ((enhanced & kExtendedRateSelect) == 0 || rate_sel == 0) {
        if ((enhanced & kAppSelectRate) != 0 && rate_sel != 0) {
            trace_evt(port,
                      "QSFP module supports only BR using Application Select.Supported BR type: 0x%x, Rate Sel is "
                      "implemnented: 0x%x,  version supported: 0x%x",
                      br_type, rate_sel, 0u);
        } else {
            trace_evt(port,
                      "QSFP module does NOT support Rate SelectionSupported BR type: 0x%x, Rate Sel implemnented: "
                      "0x%x,  version supported: 0x%x",
                      br_type, rate_sel, 0u);
        }
        return QSFP_OK;
    }
    std::uint8_t version = 0;
    rc = qsfp_access(port, kExtRateSelect, 1, kPage00, &version, QSFP_ACCESS_READ);
    if (rc != QSFP_OK) {
        trace_err(port, "Failed to read QSFP Extended rate selection compliance tag values, rc: %x", rc);
        return rc;
    }
    if ((version & 0x02) == 0) {
        if ((version & 0x01) != 0) {
            trace_evt(port,
                      "QSFP module does NOT support BR Version 2, Supported BR type: 0x%x, Rate Sel implemnented: "
                      "0x%x,  version supported: 0x%x",
                      br_type, rate_sel, version);
        } else {
            trace_evt(port,
                      "QSFP module does NOT support BR Version 1 or 2.Supported BR type: 0x%x, Rate Sel "
                      "implemnented: 0x%x,  version supported: 0x%x",
                      br_type, rate_sel, version);
        }
        return QSFP_OK;
    }
    std::uint8_t rate = kBitRateSelect;
    rc = qsfp_access(port, kTxRateSelect, 1, kPage00, &rate, QSFP_ACCESS_WRITE);
    if (rc == QSFP_OK) {
        rc = qsfp_access(port, kRxRateSelect, 1, kPage00, &rate, QSFP_ACCESS_WRITE);
    }
    if (rc != QSFP_OK) {
        trace_err(port, "Failed to set QSFP rate selection Tx/Rx register, rc:%x", rc);
        return rc;
    }
    trace_evt(port, "BR Set 0x%x , Supported BR type: 0x%x, Rate Sel implemnented: 0x%x, version supported: 0x%x",
              rate, br_type, rate_sel, version);
    return QSFP_OK;
}

// Step 23: a multirate module is told the port's speed. Its writes decide
// the result of the whole hardware initialisation.
std::uint32_t configure_multirate(qsfp_port_ctx *port) {
    const std::uint8_t multirate = multirate_module(port);
    if (multirate == 0) {
        trace_evt(port, "QSFP is not multirated, skip the config for port: %d", port->port);
        return QSFP_OK;
    }
    std::uint8_t value = port->multirate_port_speed == kMultirate40G ? kRateSelect40G : kBitRateSelect;
    trace_evt(port,
              "QSFP is multirated, write input speed into EEPROM multirate_port_speed %d port %d optics_rate_sel_val %x",
              port->multirate_port_speed, port->port, value);
    const std::uint32_t rx_rc = qsfp_access(port, kRxRateSelect, 1, kPage00, &value, QSFP_ACCESS_WRITE);
    if (rx_rc != QSFP_OK) {
        trace_err(port, "QSFP write rx_rate_sel(byte 87) 0x%x failed for port: %d", value, port->port);
    }
    const std::uint32_t tx_rc = qsfp_access(port, kTxRateSelect, 1, kPage00, &value, QSFP_ACCESS_WRITE);
    if (tx_rc != QSFP_OK) {
        trace_err(port, "QSFP write tx_rate_sel(byte 88) 0x%x failed for port: %d", value, port->port);
    }
    return rx_rc != QSFP_OK ? rx_rc : tx_rc;
}

// Steps 1-10: identification, done with or without touching the hardware.
std::uint32_t identify(qsfp_port_ctx *port, Image &image) {
    std::uint8_t status = 0;
    if (const std::uint32_t rc = qsfp_access(port, kStatus, 1, kPage00, &status, QSFP_ACCESS_READ); rc != QSFP_OK) {
        trace_err(port, "QSFP data ready : Read error");
        return rc;
    }
    port->flat_mem = (status & kFlatMemory) != 0 ? 1 : 0;

    if (multirate_module(port) != 0) {
        port->rate = port->multirate_port_speed == kMultirate40G ? 40 : 100;
    }
    if (const std::uint32_t rc = read_image(port, image.data()); rc != QSFP_OK) {
        return rc;
    }
    cache_capabilities(port, image);
    if (const std::uint32_t rc = qsfp_identify_type(port, image.data() + kHalfPage); rc != QSFP_OK) {
        trace_err(port, "Init: optics fetchtype, error 0x%x", rc);
    }
    if (const std::uint32_t rc = qsfp_port_save_hw_info(port, image.data()); rc != QSFP_OK) {
        trace_err(port, "Init: optics cache HWIFNO, error 0x%x", rc);
    }
    exchange_overrides(port);
    qualify(port, image);
    if (port->flat_mem == 0 && state(port).dom_supported != 0) {
        qsfp_port_save_threshold_data(port, image.data() + image_offset(kPage03, kHalfPage));
    }
    port->rate = qsfp_port_get_rate(at(image, kPage00, kIdentifier));
    if (port->rate == 100) {
        trace_evt(port, "Init: Qsfp28 optics ");
    } else {
        trace_evt(port, "Init: Non Qsfp28 optics ");
    }
    return QSFP_OK;
}

}  // namespace

}  // namespace qsfp::sff8636

using namespace qsfp::sff8636;

extern "C" uint32_t qsfp_port_device_init(qsfp_port_ctx *port, uint32_t hw_init) {
    if (port == nullptr) {
        return QSFP_ERR_INVALID;
    }
    // A bring-up describes the module now in the cage: nothing of an earlier
    // module's inventory or capabilities stays behind.
    port->hw_info = qsfp_hw_info{};
    state(port) = State{};
    port->hooks = &kTimerHooks;
    Image image{};
    if (const std::uint32_t rc = identify(port, image); rc != QSFP_OK) {
        return rc;
    }
    if (hw_init == 0) {
        trace_evt(port, "Init: Skipping HW Init");
        set_settle(port, Settle::ready);
        return QSFP_OK;
    }
    psm4_squelch(port);
    outputs_off(port);
    mask_tec_interrupt(port, image);
    power_up(port, image);
    const std::uint32_t cool_us = cool_time(port, image);
    std::uint32_t ctle_us = 0;
    if (set_up_ctle(port, &ctle_us) == SiStep::rx_settings) {
        set_up_rx(port);
    }
    start_settle_timer(port, std::max(ctle_us, cool_us));
    start_keepalive(port);
    if (port->flat_mem == 0) {
        if (const std::uint32_t rc = select_bit_rate(port); rc != QSFP_OK) {
            trace_err(port, "Failed to set QSFP bit rate, rc: %x", rc);
        }
    }
    return configure_multirate(port);
}
