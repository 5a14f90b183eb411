// `cdb`: the CMIS CDB operations of the library (qsfp_module_cdb_cmd_execute)
// on one cage or several at once, one thread per cage: each port has its own
// lock, so downloads to different cages run side by side.
//
// Progress: the library's download call returns only when it is done, and
// its progress texts arrive in the request's response buffer, which its
// thread writes. So the tool does not read that buffer until the thread has
// finished; live progress comes from the bus instead: the cage's tap counts
// the image bytes the library writes to the CDB extended payload pages
// (A0h-AFh), against the image's size.
#include <algorithm>
#include <array>
#include <atomic>
#include <cctype>
#include <chrono>
#include <filesystem>
#include <sstream>
#include <thread>

#include <nlohmann/json.hpp>
#include <qsfp/qsfp_cmis.h>
#include <qsfp/qsfp_port_ops.h>

#include "commands.h"
#include "exit_codes.h"
#include "json_value.h"
#include "library_answer.h"
#include "sha256_file.h"

namespace qsfpctl {

namespace {

// Room for every progress text of a download-run-commit (a few hundred bytes).
constexpr std::size_t kResponseBytes = 4096;
constexpr auto kRedrawPeriod = std::chrono::milliseconds(100);
constexpr int kBarWidth = 30;
// Plain output: a line each time a cage passes another quarter of its image.
constexpr int kPlainSteps = 4;

struct CdbJob {
    std::size_t cage = 0;
    const OpenPort *port = nullptr;
    std::array<char, kResponseBytes> response{};
    std::uint32_t response_length = 0;
    std::uint32_t rc = 0;
    std::atomic<bool> done{false};
    int plain_step = -1;
};

std::uint32_t cdb_command(const CdbArgs &args) {
    if (args.action == "query") return QSFP_DD_CDB_QUERY_STATUS;
    if (args.commit) return QSFP_DD_CDB_DOWNLOAD_RUN_COMMIT;
    return args.run ? QSFP_DD_CDB_DOWNLOAD_RUN : QSFP_DD_CDB_DOWNLOAD;
}

bool is_sha256(const std::string &hex) {
    return hex.size() == 64 &&
           std::all_of(hex.begin(), hex.end(), [](char c) { return std::isxdigit(static_cast<unsigned char>(c)); });
}

std::string lower(std::string text) {
    for (char &c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

// The image exists, is not empty and, when asked, has the expected digest.
// Answers its size, or 0 having said why and set `exit_code`.
std::uintmax_t check_image(Context &ctx, const CdbArgs &args, int &exit_code) {
    std::error_code ec;
    if (args.file.empty()) {
        exit_code = fail(ctx, kExitUsage, "cdb download needs the firmware image FILE");
        return 0;
    }
    if (!std::filesystem::is_regular_file(args.file, ec)) {
        exit_code = fail(ctx, kExitBackend, "firmware image " + args.file + " does not exist");
        return 0;
    }
    const std::uintmax_t size = std::filesystem::file_size(args.file, ec);
    if (ec || size == 0) {
        exit_code = fail(ctx, kExitBackend, "firmware image " + args.file + " is empty");
        return 0;
    }
    if (args.sha256.empty()) {
        return size;
    }
    std::string digest;
    if (const std::string why = sha256_of_file(args.file, digest); !why.empty()) {
        exit_code = fail(ctx, kExitBackend, why);
        return 0;
    }
    if (digest != lower(args.sha256)) {
        exit_code = fail(ctx, kExitBackend, "firmware image " + args.file + " has SHA-256 " + digest + ", not " +
                                                lower(args.sha256) + ": nothing sent");
        return 0;
    }
    return size;
}

// Every cage has a CMIS module with a port: checked for all before any thread starts.
bool ports_ready(Context &ctx, std::vector<std::unique_ptr<CdbJob>> &jobs, int &exit_code) {
    for (auto &job : jobs) {
        job->port = opened_port(ctx, job->cage, exit_code);
        if (job->port == nullptr) return false;
        if (job->port->driver != DriverKind::cmis && job->port->driver != DriverKind::coherent) {
            exit_code = fail(ctx, kExitNotSupported,
                             "cage " + std::to_string(job->cage) + ": CDB is a CMIS feature; this module's driver is " +
                                 driver_name(job->port->driver));
            return false;
        }
    }
    return true;
}

int percent(std::uint64_t sent, std::uintmax_t size, bool done) {
    if (done || size == 0) return 100;
    return static_cast<int>(std::min<std::uint64_t>(99, sent * 100 / size));
}

std::string bar_line(const CdbJob &job, std::uint64_t sent, std::uintmax_t size, bool done) {
    const int p = percent(sent, size, done);
    const int filled = p * kBarWidth / 100;
    return "cage " + std::to_string(job.cage) + " [" + std::string(static_cast<std::size_t>(filled), '#') +
           std::string(static_cast<std::size_t>(kBarWidth - filled), '.') + "] " + std::to_string(p) + "% " +
           std::to_string(std::min<std::uint64_t>(sent, size)) + "/" + std::to_string(size) + " bytes" +
           (done ? (job.rc == QSFP_OK ? " done" : " FAILED") : "");
}

// One pass of the progress display: on a terminal every cage's bar redrawn
// in place, otherwise a line per cage and quarter passed.
void show_progress(Context &ctx, std::vector<std::unique_ptr<CdbJob>> &jobs, std::uintmax_t size, bool first) {
    if (ctx.terminal) {
        if (!first) ctx.out << "\x1b[" << jobs.size() << 'A';
        for (const auto &job : jobs) {
            const bool done = job->done.load();
            ctx.out << '\r' << bar_line(*job, ctx.session.payload_bytes(job->cage), size, done) << "\x1b[K\n";
        }
        ctx.out.flush();
        return;
    }
    for (auto &job : jobs) {
        const bool done = job->done.load();
        const int step = percent(ctx.session.payload_bytes(job->cage), size, done) * kPlainSteps / 100;
        if (step > job->plain_step) {
            job->plain_step = step;
            ctx.out << bar_line(*job, ctx.session.payload_bytes(job->cage), size, done) << '\n';
        }
    }
    ctx.out.flush();
}

void run_jobs(Context &ctx, std::vector<std::unique_ptr<CdbJob>> &jobs, const CdbArgs &args, std::uintmax_t size) {
    const std::uint32_t command = cdb_command(args);
    // JSON output is one document at the end, so there is no progress display.
    const bool download = args.action == "download" && !args.json;
    // Every cage's line at 0% before anything is sent, then redrawn.
    if (download) show_progress(ctx, jobs, size, true);
    std::vector<std::thread> threads;
    for (auto &job : jobs) {
        threads.emplace_back([&args, command, raw = job.get()] {
            cdb_cmd_info request{command, args.file.empty() ? nullptr : args.file.c_str(), raw->response.data(),
                                 static_cast<std::uint32_t>(raw->response.size()), &raw->response_length};
            raw->rc = qsfp_module_cdb_cmd_execute(raw->port->handle, &request);
            raw->done = true;
        });
    }
    for (;;) {
        const bool all_done = std::all_of(jobs.begin(), jobs.end(), [](const auto &j) { return j->done.load(); });
        if (download) show_progress(ctx, jobs, size, false);
        if (all_done) break;
        std::this_thread::sleep_for(kRedrawPeriod);
    }
    for (std::thread &t : threads) t.join();
}

// The library's progress texts of a cage. The CMIS driver runs its sentences
// together ("...locked.Success, ..."), so a full stop followed by a letter
// gets a space; version numbers ("2.3.0") keep theirs. Trailing line ends go.
std::string response_text(const CdbJob &job) {
    const std::string text(job.response.data(), std::min<std::size_t>(job.response_length, job.response.size()));
    std::string spaced;
    for (std::size_t i = 0; i < text.size(); ++i) {
        spaced += text[i];
        if (text[i] == '.' && i + 1 < text.size() && std::isalpha(static_cast<unsigned char>(text[i + 1])) != 0) {
            spaced += ' ';
        }
    }
    while (!spaced.empty() && (spaced.back() == '\n' || spaced.back() == ' ')) spaced.pop_back();
    return spaced;
}

// One line per line of the cage's text, each naming the cage, so the lines of
// cages run together stay apart.
void print_text(Context &ctx, std::size_t cage, const std::string &text) {
    std::istringstream lines(text);
    std::string line;
    while (std::getline(lines, line)) ctx.out << "cage " << cage << ": " << line << '\n';
}

void print_json(Context &ctx, const std::vector<std::unique_ptr<CdbJob>> &jobs, const CdbArgs &args) {
    nlohmann::json cages = nlohmann::json::array();
    for (const auto &job : jobs) {
        cages.push_back({{"cage", job->cage},
                         {"ok", job->rc == QSFP_OK},
                         {"rc", job->rc},
                         {"text", response_text(*job)}});
    }
    ctx.out << json_text({{"action", args.action},
                          {"run", args.run},
                          {"commit", args.commit},
                          {"cages", cages}})
            << '\n';
}

}  // namespace

int cmd_cdb(Context &ctx, const CdbArgs &args) {
    int exit_code = kExitOk;
    if (args.commit && !args.run) {
        return fail(ctx, kExitUsage, "--commit needs --run: only the running image can be committed");
    }
    if (args.action == "query" && (!args.file.empty() || args.run || !args.sha256.empty())) {
        return fail(ctx, kExitUsage, "cdb query takes no FILE, --run, --commit or --sha256");
    }
    if (!args.sha256.empty() && !is_sha256(args.sha256)) {
        return fail(ctx, kExitUsage, "--sha256 \"" + args.sha256 + "\" is not 64 hex digits");
    }
    const std::vector<std::size_t> cages = cage_list(ctx, args.cages, exit_code);
    if (cages.empty()) return exit_code;
    std::uintmax_t size = 0;
    if (args.action == "download" && (size = check_image(ctx, args, exit_code)) == 0) {
        return exit_code;
    }
    ctx.session.open(cages);
    std::vector<std::unique_ptr<CdbJob>> jobs;
    for (const std::size_t cage : cages) {
        jobs.push_back(std::make_unique<CdbJob>());
        jobs.back()->cage = cage;
    }
    if (!ports_ready(ctx, jobs, exit_code)) return exit_code;
    run_jobs(ctx, jobs, args, size);
    if (args.json) print_json(ctx, jobs, args);
    for (const auto &job : jobs) {
        const std::string text = response_text(*job);
        if (job->rc == QSFP_OK) {
            if (!args.json) print_text(ctx, job->cage, text);
        } else {
            const int code = fail(ctx, exit_code_for(job->rc), "cage " + std::to_string(job->cage) + ": cdb " +
                                                                   args.action + " failed: " + rc_text(job->rc) + ": " + text);
            // The first failing cage's code, as the cages are listed.
            if (exit_code == kExitOk) exit_code = code;
        }
    }
    return exit_code;
}

}  // namespace qsfpctl
