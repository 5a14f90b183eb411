// `metrics` and `serve`: the card's telemetry in the Prometheus text
// exposition format, printed or written as a node-exporter textfile, or
// served at /metrics by prometheus-cpp's HTTP exposer.
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <thread>

#include <prometheus/exposer.h>
#include <prometheus/text_serializer.h>

#include "card_metrics.h"
#include "commands.h"
#include "exit_codes.h"

namespace qsfpctl {

namespace {

constexpr auto kServePoll = std::chrono::milliseconds(20);

// A collection that counts itself, so `serve --max-scrapes` knows when to stop.
class CountedMetrics : public CardMetrics {
public:
    using CardMetrics::CardMetrics;
    std::vector<prometheus::MetricFamily> Collect() const override {
        auto families = CardMetrics::Collect();
        ++collections_;
        return families;
    }
    std::uint32_t collections() const { return collections_.load(); }

private:
    mutable std::atomic<std::uint32_t> collections_{0};
};

std::string exposition(const CardMetrics &metrics) {
    std::ostringstream text;
    prometheus::TextSerializer().Serialize(text, metrics.Collect());
    return text.str();
}

// The textfile collector may read at any moment: write beside the file,
// then rename over it.
int write_textfile(Context &ctx, const std::string &path, const std::string &text) {
    const std::string partial = path + ".partial";
    {
        std::ofstream out(partial, std::ios::trunc);
        out << text;
        if (!out) {
            std::remove(partial.c_str());
            return fail(ctx, kExitBackend, "cannot write " + partial + ": " + std::strerror(errno));
        }
    }
    std::error_code ec;
    std::filesystem::rename(partial, path, ec);
    if (ec) {
        std::remove(partial.c_str());
        return fail(ctx, kExitBackend, "cannot replace " + path + ": " + ec.message());
    }
    return kExitOk;
}

// "ADDR:PORT" with a port 0-65535.
bool valid_listen(const std::string &listen) {
    const std::size_t colon = listen.rfind(':');
    if (colon == std::string::npos || colon == 0) return false;
    const std::optional<std::uint64_t> port = parse_number(listen.substr(colon + 1));
    return port && *port <= 65535;
}

}  // namespace

int cmd_metrics(Context &ctx, const std::string &output) {
    const CardMetrics metrics(ctx.session);
    const std::string text = exposition(metrics);
    if (output.empty()) {
        ctx.out << text;
        return kExitOk;
    }
    return write_textfile(ctx, output, text);
}

int cmd_serve(Context &ctx, const ServeArgs &args) {
    if (!valid_listen(args.listen)) {
        return fail(ctx, kExitUsage, "--listen \"" + args.listen + "\" is not ADDR:PORT");
    }
    auto metrics = std::make_shared<CountedMetrics>(ctx.session);
    std::unique_ptr<prometheus::Exposer> exposer;
    try {
        // One server thread: the modules are read by one scrape at a time anyway.
        exposer = std::make_unique<prometheus::Exposer>(args.listen, 1);
    } catch (const std::exception &e) {
        return fail(ctx, kExitBackend, "cannot listen on " + args.listen + ": " + e.what());
    }
    exposer->RegisterCollectable(metrics);
    const std::vector<int> ports = exposer->GetListeningPorts();
    const std::string host = args.listen.substr(0, args.listen.rfind(':'));
    ctx.out << "serving http://" << host << ':' << (ports.empty() ? 0 : ports.front()) << "/metrics" << std::endl;
    while (args.max_scrapes == 0 || metrics->collections() < args.max_scrapes) {
        std::this_thread::sleep_for(kServePoll);
    }
    // The exposer's destructor lets the last scrape finish its answer.
    exposer.reset();
    ctx.out << "served " << metrics->collections() << " scrapes" << std::endl;
    return kExitOk;
}

}  // namespace qsfpctl
