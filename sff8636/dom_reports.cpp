// The monitoring reports: live values, latched flags, thresholds and masks
// as text in the caller's buffer. Every report stays inside the buffer; its
// length counts the whole text, so a caller sees when a buffer was short.
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <span>

#include "framework/bounded_text.h"
#include "framework/trace.h"
#include "sff8636/dom_labels.h"
#include "sff8636/driver.h"
#include "sff8636/sff8636_regs.h"
#include "framework/units.h"

namespace qsfp::sff8636 {

using namespace units;

namespace {

using framework::BoundedText;

constexpr std::uint32_t kObservationPasses = 20;
constexpr std::uint32_t kObservationStepUs = 10000;
constexpr std::uint32_t kLanes = 4;
// Offsets within the work buffers.
constexpr std::size_t kTempAt = kTemperature - kModuleMonitors;
constexpr std::size_t kVccAt = kVcc - kModuleMonitors;
constexpr std::size_t kRxPowerAt = kRxPower - kLaneMonitors;
constexpr std::size_t kBiasAt = kTxBias - kLaneMonitors;
constexpr std::size_t kTxPowerAt = kTxPower - kLaneMonitors;
constexpr std::size_t kTempThresholdsAt = kTempThresholds - kThresholds;
constexpr std::size_t kVccThresholdsAt = kVccThresholds - kThresholds;
constexpr std::size_t kRxPowerThresholdsAt = kRxPowerThresholds - kThresholds;
constexpr std::size_t kBiasThresholdsAt = kTxBiasThresholds - kThresholds;
constexpr std::size_t kTxPowerThresholdsAt = kTxPowerThresholds - kThresholds;
constexpr const char *kDashes = "---------------------------------------\n";
constexpr const char *kEquals =
    "=============================================================================================";
static_assert(std::char_traits<char>::length(kDashes) == 40);
static_assert(std::char_traits<char>::length(kEquals) == 93);

const char *yes_no(bool set) { return set ? "YES" : "NO"; }

std::uint16_t word(const std::uint8_t *bytes, std::size_t at) { return word_at(bytes + at); }
char sign(float v) { return v < 0 ? '-' : '+'; }

void header(BoundedText &t, const qsfp_port_ctx *port, const char *title) {
    t.add(std::snprintf(t.cursor(), t.left(), "\n"));
    t.add(std::snprintf(t.cursor(), t.left(), "\tQSFP Port = %d & Controller = %d \n", port->port, port->controller));
    t.add(std::snprintf(t.cursor(), t.left(), "        ________________________________\n"));
    t.add(std::snprintf(t.cursor(), t.left(), "\n"));
    t.add(std::snprintf(t.cursor(), t.left(), "%s", kDashes));
    t.add(std::snprintf(t.cursor(), t.left(), "%s", title));
    t.add(std::snprintf(t.cursor(), t.left(), "%s", kDashes));
}

void flag_lines(BoundedText &t, std::span<const FlagLine> lines, const std::uint8_t *bytes, std::uint32_t first) {
    for (const FlagLine &line : lines) {
        t.add(std::snprintf(t.cursor(), t.left(), "%s%s\n", line.label, yes_no((bytes[line.reg - first] & line.mask) != 0)));
    }
}

std::uint32_t finish(const BoundedText &t, std::uint32_t *written) {
    if (written != nullptr) {
        *written = static_cast<std::uint32_t>(t.length());
    }
    return QSFP_OK;
}

void power_line(BoundedText &t, const char *label, std::uint16_t raw, const char *end) {
    const float mw = power_mw(raw);
    t.add(std::snprintf(t.cursor(), t.left(), "%s\t\t %2.4f mW \t [ %2.4f dBm ]%s", label, mw, dbm(mw), end));
}

void flags_bad_arguments(qsfp_port_ctx *port) { trace_err(port, "QSFP Get channel intr dom : Null parameters"); }

constexpr FlagsReadFailure kFirstFlagsReadFailure{
    [](qsfp_port_ctx *port, std::uint32_t rc) {
        trace_err(port, "errno: Channel Status Interrupt flag reg first read failed. rc: 0x%x", rc);
    },
    nullptr,
};

constexpr FlagsReadFailure kSecondFlagsReadFailure{
    [](qsfp_port_ctx *port, std::uint32_t rc) {
        trace_err(port, "errno: Channel Status Interrupt flag reg second read failed. rc: 0x%x", rc);
    },
    [](qsfp_port_ctx *port, std::uint32_t rc) {
        trace_err(port, "errno: Channel Status INTR flag reg second bitbang read failed rc: 0x%x", rc);
    },
};

void temperature_value(BoundedText &t, const char *format_label, float c) {
    t.add(std::snprintf(t.cursor(), t.left(), "%s\t %c%4.2f C\n", format_label, sign(c), std::fabs(c)));
}

// One block of module memory a report reads, with what the report traces
// when the block's work buffer cannot be had or its read fails. A block
// without a no-memory line is a byte or so read into the report's own
// storage, with nothing to allocate.
struct Block {
    std::uint32_t page;
    std::uint32_t reg;
    std::uint32_t len;
    void (*no_memory)(qsfp_port_ctx *port);
    void (*read_failed)(qsfp_port_ctx *port, std::uint32_t rc);
};

constexpr std::size_t kMostBlocks = 3;
constexpr std::size_t kOwnStorage = 1;

struct FreeWork {
    void operator()(std::uint8_t *bytes) const { std::free(bytes); }
};
using WorkBuffer = std::unique_ptr<std::uint8_t, FreeWork>;

// The bytes of a report's blocks, in the order of its table.
class Reads {
public:
    // Takes every work buffer first, then reads the blocks in turn; the first
    // failure is traced by its block and answered.
    std::uint32_t fill(qsfp_port_ctx *port, std::span<const Block> blocks) {
        for (std::size_t i = 0; i < blocks.size(); ++i) {
            if (blocks[i].no_memory != nullptr) {
                work_[i].reset(static_cast<std::uint8_t *>(std::calloc(blocks[i].len, 1)));
            }
        }
        for (std::size_t i = 0; i < blocks.size(); ++i) {
            if (blocks[i].no_memory != nullptr && !work_[i]) {
                blocks[i].no_memory(port);
                return QSFP_ERR_NO_MEMORY;
            }
        }
        for (std::size_t i = 0; i < blocks.size(); ++i) {
            const Block &b = blocks[i];
            if (const std::uint32_t rc = qsfp_access(port, b.reg, b.len, b.page, bytes(i), QSFP_ACCESS_READ);
                rc != QSFP_OK) {
                b.read_failed(port, rc);
                return rc;
            }
        }
        return QSFP_OK;
    }

    const std::uint8_t *operator[](std::size_t i) const { return work_[i] ? work_[i].get() : own_[i].data(); }

private:
    std::uint8_t *bytes(std::size_t i) { return work_[i] ? work_[i].get() : own_[i].data(); }

    std::array<WorkBuffer, kMostBlocks> work_;
    std::array<std::array<std::uint8_t, kOwnStorage>, kMostBlocks> own_{};
};

// A report: its title, the line it traces when the caller's buffer is missing
// (with the port there to trace to), the blocks it reads, and its own lines
// from the bytes read (which answer the code of a later read that failed).
struct Report {
    const char *title;
    void (*bad_arguments)(qsfp_port_ctx *port);
    std::span<const Block> blocks;
    std::uint32_t (*lines)(qsfp_port_ctx *port, BoundedText &t, const Reads &reads);
};

consteval bool fits(std::span<const Block> blocks) {
    if (blocks.size() > kMostBlocks) {
        return false;
    }
    for (const Block &b : blocks) {
        if (b.no_memory == nullptr && b.len > kOwnStorage) {
            return false;
        }
    }
    return true;
}

bool arguments_given(qsfp_port_ctx *port, const char *buf, std::uint32_t len, void (*bad_arguments)(qsfp_port_ctx *)) {
    if (port != nullptr && buf != nullptr && len != 0) {
        return true;
    }
    if (port != nullptr) {
        bad_arguments(port);
    }
    return false;
}

// The steps every report but the latched flags takes: the argument check,
// the reads, the header, the report's own lines, the length.
std::uint32_t run(const Report &report, qsfp_port_ctx *port, char *buf, std::uint32_t *written, std::uint32_t len) {
    if (!arguments_given(port, buf, len, report.bad_arguments)) {
        return QSFP_ERR_INVALID;
    }
    Reads reads;
    if (const std::uint32_t rc = reads.fill(port, report.blocks); rc != QSFP_OK) {
        return rc;
    }
    BoundedText t(buf, len);
    header(t, port, report.title);
    if (const std::uint32_t rc = report.lines(port, t, reads); rc != QSFP_OK) {
        return rc;
    }
    return finish(t, written);
}

}  // namespace

// The latched-flag report takes its own steps: a first read to clear the
// flags, a watch for fresh ones, the second read under its bit-bang rule.
extern "C" uint32_t qsfp_dom_chan_intr_flags(qsfp_port_ctx *port, char *buf, uint32_t *written, uint32_t len) {
    if (!arguments_given(port, buf, len, flags_bad_arguments)) {
        return QSFP_ERR_INVALID;
    }
    std::uint8_t flags[kFlagsLen] = {};
    if (const std::uint32_t rc = read_latched_flags(port, flags, BitBang::never, kFirstFlagsReadFailure);
        rc != QSFP_OK) {
        return rc;
    }
    // The first read cleared what was latched before; watch 200 ms of fresh flags.
    if (!observe(port, kObservationPasses, kObservationStepUs)) {
        return kAbandoned;
    }
    // The report bit-bangs only when the caller gave a bit-bang function.
    if (const std::uint32_t rc = read_latched_flags(port, flags, BitBang::when_callable, kSecondFlagsReadFailure);
        rc != QSFP_OK) {
        return rc;
    }
    BoundedText t(buf, len);
    header(t, port, "CHANNEL STATUS INTERRUPT FLAGS \t STATUS\n");
    t.add(std::snprintf(t.cursor(), t.left(), "\tQSFP Type = %s \n", port->hw_info.qsfp_type_str));
    flag_lines(t, kLaneStatusFlags, flags, kFlagsFirst);
    t.add(std::snprintf(t.cursor(), t.left(), "%s", kDashes));
    t.add(std::snprintf(t.cursor(), t.left(), "MODULE MONITOR INTERRUPT FLAGS \t STATUS\n"));
    t.add(std::snprintf(t.cursor(), t.left(), "%s", kDashes));
    flag_lines(t, kMonitorFlags, flags, kFlagsFirst);
    return finish(t, written);
}

namespace {

// What the reports trace when a work buffer cannot be had.
void module_monitor_no_memory(qsfp_port_ctx *port) {
    trace_err(port, "errno: module monitor memory allocation failed");
}
void channel_monitor_no_memory(qsfp_port_ctx *port) {
    trace_err(port, "errno: channel monitor memory allocation failed ");
}
void thresholds_no_memory(qsfp_port_ctx *port) {
    trace_err(port, "errno: Alarm & Warn memory allocation failed");
}

std::uint32_t module_monitor_lines(qsfp_port_ctx *, BoundedText &t, const Reads &reads) {
    const std::uint8_t *values = reads[0];
    const float c = temperature_c(word(values, kTempAt));
    t.add(std::snprintf(t.cursor(), t.left(), "Temperature       \t\t %c%4.2f C  \n", sign(c), std::fabs(c)));
    t.add(std::snprintf(t.cursor(), t.left(), "Supply voltage     \t\t %2.4f V  \n", vcc_v(word(values, kVccAt))));
    return QSFP_OK;
}

std::uint32_t channel_monitor_lines(qsfp_port_ctx *, BoundedText &t, const Reads &reads) {
    const std::uint8_t *v = reads[0];
    const char *rx_labels[kLanes] = {"RX1 power          ", "RX2 power          ", "RX3 power          ",
                                     "RX4 power          "};
    for (std::uint32_t lane = 0; lane < kLanes; ++lane) {
        power_line(t, rx_labels[lane], word(v, kRxPowerAt + 2 * lane), lane == 1 ? " \n" : "\n");
    }
    for (std::uint32_t lane = 0; lane < kLanes; ++lane) {
        t.add(std::snprintf(t.cursor(), t.left(), "TX%u bias current   \t\t %2.4f mA \n", lane + 1,
                            bias_ma(word(v, kBiasAt + 2 * lane))));
    }
    t.add(std::snprintf(t.cursor(), t.left(), "\n"));
    const char *tx_labels[kLanes] = {"TX1 power          ", "TX2 power          ", "TX3 power          ",
                                     "TX4 power          "};
    for (std::uint32_t lane = 0; lane < kLanes; ++lane) {
        power_line(t, tx_labels[lane], word(v, kTxPowerAt + 2 * lane), lane == 0 ? " \n" : "\n");
    }
    return QSFP_OK;
}

std::uint32_t thresholds_lines(qsfp_port_ctx *, BoundedText &t, const Reads &reads) {
    const std::uint8_t *th = reads[0];
    for (std::size_t k = 0; k < 4; ++k) {
        temperature_value(t, kTemperatureLabels.kind[k], temperature_c(word(th, kTempThresholdsAt + 2 * k)));
    }
    for (std::size_t k = 0; k < 4; ++k) {
        t.add(std::snprintf(t.cursor(), t.left(), "%s\t\t %2.4f V  \n", kVoltageLabels.kind[k],
                            vcc_v(word(th, kVccThresholdsAt + 2 * k))));
    }
    for (std::size_t k = 0; k < 4; ++k) {
        power_line(t, kRxPowerLabels.kind[k], word(th, kRxPowerThresholdsAt + 2 * k), "\n");
    }
    for (std::size_t k = 0; k < 4; ++k) {
        t.add(std::snprintf(t.cursor(), t.left(), "%s\t %2.4f mA \n", kBiasLabels.kind[k],
                            bias_ma(word(th, kBiasThresholdsAt + 2 * k))));
    }
    for (std::size_t k = 0; k < 4; ++k) {
        power_line(t, kTxPowerLabels.kind[k], word(th, kTxPowerThresholdsAt + 2 * k), "\n");
    }
    return QSFP_OK;
}

// The masks are read after the squelch and output lines are written.
constexpr Block kMaskBlocks[] = {
    {kPage03, kChannelMonitorMasks, kChannelMonitorMasksLen,
     [](qsfp_port_ctx *port) { trace_err(port, "errno: Alarm & Warn mask memory allocation failed"); },
     [](qsfp_port_ctx *port, std::uint32_t rc) {
         trace_err(port, "errno: Alarm & Warn mask reg read failed. rc: 0x%x", rc);
     }},
};
static_assert(fits(kMaskBlocks));

std::uint32_t control_mask_lines(qsfp_port_ctx *port, BoundedText &t, const Reads &reads) {
    const std::uint8_t squelch = *reads[0];
    const std::uint8_t outputs = *reads[1];
    for (std::uint32_t lane = 0; lane < kLanes; ++lane) {
        const std::uint8_t tx_bit = static_cast<std::uint8_t>(1u << lane);
        const std::uint8_t rx_bit = static_cast<std::uint8_t>(0x10u << lane);
        t.add(std::snprintf(t.cursor(), t.left(), "TX%u    SQ disable  \t\t   %s\n", lane + 1, yes_no(squelch & tx_bit)));
        t.add(std::snprintf(t.cursor(), t.left(), "RX%u    SQ disable  \t\t   %s\n", lane + 1, yes_no(squelch & rx_bit)));
        t.add(std::snprintf(t.cursor(), t.left(), "RX%u    output disable\t\t   %s\n", lane + 1,
                            yes_no(outputs & rx_bit)));
    }
    Reads masks;
    if (const std::uint32_t rc = masks.fill(port, kMaskBlocks); rc != QSFP_OK) {
        return rc;
    }
    flag_lines(t, kMonitorMasks, masks[0], kChannelMonitorMasks);
    return QSFP_OK;
}

// One row of the current-versus-threshold table: a label and five cells.
void table_row(BoundedText &t, const char *label, const char *const (&cells)[5]) {
    t.add(std::snprintf(t.cursor(), t.left(), "%s\t| %s\t| %s\t| %s\t| %s\t| %s\n", label, cells[0], cells[1], cells[2],
                        cells[3], cells[4]));
}

constexpr std::size_t kCell = 48;
constexpr const char *kNoThreshold = "    ---- ";

// The four thresholds of a quantity in the header's order (high alarm, low
// alarm, high warning, low warning), rendered by `render`.
template <typename Render>
void threshold_row(BoundedText &t, const char *label, const char *current, const std::uint8_t *th, std::size_t at,
                   Render render) {
    char cells[4][kCell];
    for (std::size_t k = 0; k < 4; ++k) {
        render(cells[k], word(th, at + 2 * k));
    }
    table_row(t, label, {current, cells[0], cells[1], cells[2], cells[3]});
}

void lane_row(BoundedText &t, const char *current) {
    table_row(t, "", {current, kNoThreshold, kNoThreshold, kNoThreshold, kNoThreshold});
}

void power_rows(BoundedText &t, const char *label, char prefix, const std::uint8_t *lanes, std::size_t lanes_at,
                const std::uint8_t *th, std::size_t th_at) {
    threshold_row(t, label, kNoThreshold, th, th_at,
                  [](char *cell, std::uint16_t raw) { std::snprintf(cell, kCell, "%2.4f mW", power_mw(raw)); });
    threshold_row(t, "", kNoThreshold, th, th_at,
                  [](char *cell, std::uint16_t raw) { std::snprintf(cell, kCell, "(%2.4f dBm)", dbm(power_mw(raw))); });
    for (std::uint32_t lane = 0; lane < kLanes; ++lane) {
        const float mw = power_mw(word(lanes, lanes_at + 2 * lane));
        char current[kCell];
        std::snprintf(current, sizeof current, "%cx%u=%2.4f mW (%2.4f dBm)", prefix, lane + 1, mw, dbm(mw));
        lane_row(t, current);
    }
}

std::uint32_t current_versus_threshold_lines(qsfp_port_ctx *, BoundedText &t, const Reads &reads) {
    const std::uint8_t *module = reads[0];
    const std::uint8_t *lanes = reads[1];
    const std::uint8_t *th = reads[2];
    t.add(std::snprintf(t.cursor(), t.left(), "%s\n", kEquals));

    char current[kCell];
    const float c = temperature_c(word(module, kTempAt));
    std::snprintf(current, sizeof current, "%c%4.2f", sign(c), std::fabs(c));
    threshold_row(t, "Temperature (C)", current, th, kTempThresholdsAt, [](char *cell, std::uint16_t raw) {
        const float v = temperature_c(raw);
        std::snprintf(cell, kCell, "%c%4.2f", sign(v), std::fabs(v));
    });
    std::snprintf(current, sizeof current, "%2.4f", vcc_v(word(module, kVccAt)));
    threshold_row(t, "Voltage (V) ", current, th, kVccThresholdsAt,
                  [](char *cell, std::uint16_t raw) { std::snprintf(cell, kCell, "%2.4f", vcc_v(raw)); });
    power_rows(t, "Rx power  ", 'R', lanes, kRxPowerAt, th, kRxPowerThresholdsAt);
    power_rows(t, "Tx power  ", 'T', lanes, kTxPowerAt, th, kTxPowerThresholdsAt);
    threshold_row(t, "Tx Current (mA)", kNoThreshold, th, kBiasThresholdsAt,
                  [](char *cell, std::uint16_t raw) { std::snprintf(cell, kCell, "%2.4f", bias_ma(raw)); });
    for (std::uint32_t lane = 0; lane < kLanes; ++lane) {
        std::snprintf(current, sizeof current, "Tx%u=%2.4f ", lane + 1, bias_ma(word(lanes, kBiasAt + 2 * lane)));
        lane_row(t, current);
    }
    return QSFP_OK;
}

// The blocks each report reads, in the order its lines use them.
constexpr Block kModuleMonitorBlocks[] = {
    {kPage00, kModuleMonitors, kModuleMonitorsLen, module_monitor_no_memory,
     [](qsfp_port_ctx *port, std::uint32_t rc) {
         trace_err(port, "errno: Module monitor reg read failed. rc: 0x%x", rc);
     }},
};
constexpr Block kChannelMonitorBlocks[] = {
    {kPage00, kLaneMonitors, kLaneMonitorsLen, channel_monitor_no_memory,
     [](qsfp_port_ctx *port, std::uint32_t rc) {
         trace_err(port, "errno: Channel monitor reg read failed. rc: 0x%x", rc);
     }},
};
constexpr Block kThresholdBlocks[] = {
    {kPage03, kThresholds, kThresholdsLen, thresholds_no_memory,
     [](qsfp_port_ctx *port, std::uint32_t rc) {
         trace_err(port, "errno: Alarm & Warn threshold reg read failed. rc: 0x%x", rc);
     }},
};
constexpr Block kControlBlocks[] = {
    {kPage03, kSquelchDisable, 1, nullptr,
     [](qsfp_port_ctx *port, std::uint32_t rc) {
         trace_err(port, "errno: Tx & Rx SQ disable reg read failed. rc: 0x%x", rc);
     }},
    {kPage03, kOutputControl, 1, nullptr,
     [](qsfp_port_ctx *port, std::uint32_t rc) {
         trace_err(port, "errno: Rx Output disable reg read failed. rc: 0x%x", rc);
     }},
};
// The module and lane values fail with one text.
void module_values_read_failed(qsfp_port_ctx *port, std::uint32_t rc) {
    trace_err(port, "errno: Module Monitor reg read failed. rc: 0x%x", rc);
}
constexpr Block kCurrentVersusThresholdBlocks[] = {
    {kPage00, kModuleMonitors, kModuleMonitorsLen, module_monitor_no_memory, module_values_read_failed},
    {kPage00, kLaneMonitors, kLaneMonitorsLen, channel_monitor_no_memory, module_values_read_failed},
    {kPage03, kThresholds, kThresholdsLen, thresholds_no_memory,
     [](qsfp_port_ctx *port, std::uint32_t rc) {
         trace_err(port, "errno: Alarm & Warn reg read failed. rc: 0x%x", rc);
     }},
};
static_assert(fits(kModuleMonitorBlocks) && fits(kChannelMonitorBlocks) && fits(kThresholdBlocks) &&
              fits(kControlBlocks) && fits(kCurrentVersusThresholdBlocks));

constexpr Report kModuleMonitor{
    "MODULE MONITOR   \t\t VALUE \n",
    [](qsfp_port_ctx *port) { trace_err(port, "QSFP Get module monitor dom : Null parameters"); },
    kModuleMonitorBlocks,
    module_monitor_lines,
};
constexpr Report kChannelMonitor{
    "CHANNEL MONITOR    \t\t VALUE \n",
    [](qsfp_port_ctx *port) { trace_err(port, "QSFP Get channel intr dom : Null parameters"); },
    kChannelMonitorBlocks,
    channel_monitor_lines,
};
constexpr Report kThresholdReport{
    "ALARM AND WARNING THRESHOLDS \t VALUE \n",
    [](qsfp_port_ctx *port) { trace_err(port, "QSFP Get alarm and warn dom : Null parameters"); },
    kThresholdBlocks,
    thresholds_lines,
};
constexpr Report kControlMaskReport{
    "Channel Ctrl & Monitor Masks \t STATUS \n",
    [](qsfp_port_ctx *port) { trace_err(port, "QSFP Get controlmask dom : Null parameters"); },
    kControlBlocks,
    control_mask_lines,
};
constexpr Report kCurrentVersusThreshold{
    "Type \t\t| Current \t| High Alarm \t| Low Alarm \t| High Warning \t| Low Warning\n",
    [](qsfp_port_ctx *port) { trace_err(port, "QSFP Get alram/warn threshold dom : Null parameters"); },
    kCurrentVersusThresholdBlocks,
    current_versus_threshold_lines,
};

}  // namespace

extern "C" uint32_t qsfp_dom_module_monitor(qsfp_port_ctx *port, char *buf, uint32_t *written, uint32_t len) {
    return run(kModuleMonitor, port, buf, written, len);
}

extern "C" uint32_t qsfp_dom_channel_monitor(qsfp_port_ctx *port, char *buf, uint32_t *written, uint32_t len) {
    return run(kChannelMonitor, port, buf, written, len);
}

extern "C" uint32_t qsfp_dom_alarm_warn_monitor(qsfp_port_ctx *port, char *buf, uint32_t *written, uint32_t len) {
    return run(kThresholdReport, port, buf, written, len);
}

extern "C" uint32_t qsfp_dom_channel_ctrl_monitor_mask(qsfp_port_ctx *port, char *buf, uint32_t *written, uint32_t len) {
    return run(kControlMaskReport, port, buf, written, len);
}

extern "C" uint32_t qsfp_dom_channel_alarm_warn(qsfp_port_ctx *port, char *buf, uint32_t *written, uint32_t len) {
    return run(kCurrentVersusThreshold, port, buf, written, len);
}

}  // namespace qsfp::sff8636
