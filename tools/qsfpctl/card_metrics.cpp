#include "card_metrics.h"

#include <array>
#include <cmath>
#include <map>
#include <string_view>

#include <qsfp/qsfp_port_ops.h>

#include "float_reading.h"
#include "module_identity.h"
#include "status_summary.h"
#include "status_view.h"

namespace qsfpctl {

namespace {

using prometheus::ClientMetric;
using prometheus::MetricFamily;
using Labels = std::vector<ClientMetric::Label>;

// A monitored quantity of the status record as a metric: base units in the
// name, as Prometheus names them.
struct MetricName {
    std::string_view monitor;  // Monitor::name
    const char *metric;
    const char *help;
};

constexpr std::array kMetricNames = {
    MetricName{"temperature", "qsfp_temperature_celsius", "module case temperature"},
    MetricName{"vcc", "qsfp_supply_voltage_volts", "module supply voltage"},
    MetricName{"rx_power", "qsfp_rx_power_dbm", "received optical power of a lane"},
    MetricName{"tx_power", "qsfp_tx_power_dbm", "transmitted optical power of a lane"},
    MetricName{"tx_bias", "qsfp_tx_bias_milliamperes", "laser bias current of a lane"},
};

const MetricName *metric_name(const std::string &monitor) {
    for (const MetricName &m : kMetricNames) {
        if (m.monitor == monitor) return &m;
    }
    return nullptr;
}

// A flag or threshold of a monitor: its kind and level labels.
struct Limit {
    const char *kind;
    const char *level;
    float Monitor::*threshold;
    std::size_t flag;  // index in Monitor::flags
};

constexpr std::array kLimits = {
    Limit{"alarm", "high", &Monitor::high_alarm, 0},
    Limit{"alarm", "low", &Monitor::low_alarm, 1},
    Limit{"warning", "high", &Monitor::high_warning, 2},
    Limit{"warning", "low", &Monitor::low_warning, 3},
};

struct LaneState {
    const char *metric;
    const char *help;
    const std::uint32_t (qsfp_hw_status::*values)[QSFP_STATUS_LANES];
};

constexpr std::array kLaneStates = {
    LaneState{"qsfp_rx_los", "receiver loss of signal on a lane (1 = lost)", &qsfp_hw_status::rx_los},
    LaneState{"qsfp_tx_fault", "transmitter fault on a lane (1 = fault)", &qsfp_hw_status::tx_fault},
    LaneState{"qsfp_tx_disabled", "transmitter of a lane disabled (1 = disabled)", &qsfp_hw_status::tx_disabled},
};

// The families by name, in the order first added, so the exposition is stable.
class Families {
public:
    void add(const std::string &name, const std::string &help, Labels labels, double value) {
        auto [it, added] = index_.try_emplace(name, families_.size());
        if (added) {
            MetricFamily family;
            family.name = name;
            family.help = help;
            family.type = prometheus::MetricType::Gauge;
            families_.push_back(std::move(family));
        }
        ClientMetric metric;
        metric.label = std::move(labels);
        metric.gauge.value = value;
        families_[it->second].metric.push_back(std::move(metric));
    }
    std::vector<MetricFamily> take() { return std::move(families_); }

private:
    std::vector<MetricFamily> families_;
    std::map<std::string, std::size_t> index_;
};

Labels with(Labels labels, std::initializer_list<ClientMetric::Label> more) {
    labels.insert(labels.end(), more);
    return labels;
}

void add_monitor(Families &f, const Labels &module, const MonitorRow &row) {
    const MetricName *name = metric_name(row.monitor.name);
    if (name == nullptr || !std::isfinite(row.monitor.value)) return;
    const Labels labels = row.lane == 0 ? module : with(module, {{"lane", std::to_string(row.lane)}});
    f.add(name->metric, name->help, labels, reading(row.monitor.value));
    const std::string base(name->metric);
    const std::size_t unit_at = base.rfind('_');
    const std::string quantity = base.substr(0, unit_at);
    const std::string unit = base.substr(unit_at);
    for (const Limit &limit : kLimits) {
        const Labels limit_labels = with(labels, {{"kind", limit.kind}, {"level", limit.level}});
        // Thresholds are the module's, one per module: not repeated per lane.
        if (row.lane <= 1) {
            f.add(quantity + "_threshold" + unit, std::string("threshold of the ") + name->help,
                  with(module, {{"kind", limit.kind}, {"level", limit.level}}), reading(row.monitor.*limit.threshold));
        }
        f.add(quantity + "_flag", std::string("latched flag of the ") + name->help + " (1 = raised)", limit_labels,
              row.monitor.flags[limit.flag] != 0 ? 1 : 0);
    }
}

void add_cage(Families &f, const OpenPort &port) {
    const Labels cage = {{"cage", std::to_string(port.cage)}};
    const bool present = port.handle != nullptr && !port.empty;
    f.add("qsfp_module_present", "a module answers in the cage", cage, present ? 1 : 0);
    if (!present) return;
    const ModuleIdentity id = identify(port);
    const Labels module = with(cage, {{"vendor", id.vendor}, {"part_number", id.part_number}, {"serial", id.serial}});
    f.add("qsfp_module_info", "the module in the cage (always 1)",
          with(module, {{"type", id.type}, {"driver", driver_name(port.driver)}}), 1);
    qsfp_hw_status status{};
    if (!no_monitors_reason(port).empty() || qsfp_port_hw_status(port.handle, &status) != QSFP_OK) return;
    for (const MonitorRow &row : all_monitors(status)) add_monitor(f, module, row);
    for (const LaneState &state : kLaneStates) {
        for (std::uint32_t lane = 0; lane < status_lanes(status); ++lane) {
            f.add(state.metric, state.help, with(module, {{"lane", std::to_string(lane + 1)}}),
                  (status.*state.values)[lane] != 0 ? 1 : 0);
        }
    }
}

}  // namespace

CardMetrics::CardMetrics(PortSession &session) : session_(session) { session_.open_all(); }

std::vector<MetricFamily> CardMetrics::Collect() const {
    const std::lock_guard lock(mu_);
    Families families;
    for (std::size_t cage = 1; cage <= session_.cage_count(); ++cage) {
        add_cage(families, session_.port(cage));
    }
    return families.take();
}

}  // namespace qsfpctl
