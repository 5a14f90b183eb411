// `dom`: the driver's monitoring reports, one after the other.
#include <array>
#include <string_view>

#include <nlohmann/json.hpp>

#include <qsfp/qsfp_port_ops.h>

#include "commands.h"
#include "exit_codes.h"
#include "json_value.h"
#include "library_answer.h"

namespace qsfpctl {

namespace {

// Room for the longest report (eight lanes of every flag).
constexpr std::uint32_t kReportRoom = 32 * 1024;

struct Report {
    std::uint32_t kind;  // the report argument of qsfp_port_dom_info
    std::string_view name;
};

constexpr std::array kReports = {
    Report{0, "channel interrupt flags"},      Report{1, "module monitors"},
    Report{2, "channel monitors"},             Report{3, "alarm and warning monitors"},
    Report{4, "channel controls and masks"},   Report{5, "channel values against thresholds"},
};

struct ReportText {
    std::uint32_t rc;
    std::string text;
};

ReportText run_report(qsfp_port_ctx *port, std::uint32_t kind) {
    std::string buf(kReportRoom, '\0');
    const std::uint32_t rc = qsfp_port_dom_info(port, buf.data(), kind, kReportRoom);
    buf[kReportRoom - 1] = '\0';
    buf.resize(buf.find('\0'));
    return {rc, buf};
}

}  // namespace

int cmd_dom(Context &ctx, const std::string &cage, bool json) {
    int exit_code = kExitOk;
    const OpenPort *port = open_port(ctx, cage, exit_code);
    if (port == nullptr) {
        return exit_code;
    }
    nlohmann::json reports = nlohmann::json::array();
    std::string failure;
    for (const Report &report : kReports) {
        const ReportText r = run_report(port->handle, report.kind);
        reports.push_back({{"kind", report.kind}, {"name", report.name}, {"rc", r.rc}, {"text", r.text}});
        if (r.rc != QSFP_OK && failure.empty()) {
            exit_code = exit_code_for(r.rc);
            failure = "report \"" + std::string(report.name) + "\" failed: " + rc_text(r.rc);
        } else if (r.rc == QSFP_OK && r.text.empty() && failure.empty()) {
            // A driver slot that is only a placeholder answers 0 and writes nothing.
            exit_code = kExitNotSupported;
            failure = "report \"" + std::string(report.name) +
                      "\" came back empty: not supported by this module's driver yet";
        }
        if (exit_code == kExitNotSupported) {
            break;  // the driver has no reports; the others answer alike
        }
        if (!json) {
            ctx.out << "=== " << report.name << " ===\n" << r.text;
            if (!r.text.empty() && r.text.back() != '\n') ctx.out << '\n';
        }
    }
    if (json) {
        ctx.out << json_text({{"cage", port->cage}, {"reports", reports}}) << '\n';
    }
    return failure.empty() ? kExitOk : fail(ctx, exit_code, "cage " + cage + ": " + failure);
}

}  // namespace qsfpctl
