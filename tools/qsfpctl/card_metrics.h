// Every cage's monitors, thresholds and flags as Prometheus metric families:
// the collectable behind `metrics` (the text exposition format) and `serve`
// (scraped over HTTP). Each collection reads the modules again.
#pragma once

#include <mutex>
#include <vector>

#include <prometheus/collectable.h>
#include <prometheus/metric_family.h>

#include "port_session.h"

namespace qsfpctl {

class CardMetrics : public prometheus::Collectable {
public:
    // Opens every cage of `session` (bring-up included) before the first collection.
    explicit CardMetrics(PortSession &session);
    std::vector<prometheus::MetricFamily> Collect() const override;

private:
    PortSession &session_;
    // Scrapes come from the HTTP server's threads; one collection at a time.
    mutable std::mutex mu_;
};

}  // namespace qsfpctl
