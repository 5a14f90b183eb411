// CMIS operations: bring-up from power-on, a mode change and the live status
// record, with the bus traffic they cost against the least their register
// sequence needs.
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include <unistd.h>

#include <qsfp/qsfp_port_ops.h>
#include <qsfp/sim/cmis_catalogue.h>
#include <qsfp/sim/line_card.h>

#include "bench_port.h"

namespace {

using namespace qsfp;
using bench::BenchPort;

// A 400G FR4 (CMIS 4.0) fresh from power-on, no application active yet.
std::unique_ptr<sim::CmisModule> fr4_from_power_on() {
    sim::ModuleMemory m = sim::build_memory(*sim::find_cmis_entry("400G-FR4"));
    for (std::uint8_t lane = 0; lane < 8; ++lane) m.set(0x11, 206 + lane, 0);
    return std::make_unique<sim::CmisModule>(std::move(m));
}

// The least bring-up needs: lower memory and page 00h (256), thresholds (72),
// wavelength (2), duration codes (2), SI controls (2); power-up: datapath
// deinit, byte 26 read and write, one module-state read (4); configuration:
// active set (8), datapath states (4), staged set (8), ApplyDPInit (1),
// configuration status (4), Tx and Rx disable (2), byte 26 (1).
constexpr std::uint64_t kBringUpMinimum = 256 + 72 + 2 + 2 + 2 + 4 + 8 + 4 + 8 + 1 + 4 + 2 + 1;

void BM_CmisBringUp(benchmark::State &state) {
    BenchPort p;
    bench::run_bring_up(state, p, QSFP_DD_INIT_FULL, QSFP_DD_OPER_MODE_400G, kBringUpMinimum, fr4_from_power_on);
}
QSFP_BENCH_BOTH_BUSES(BM_CmisBringUp);

// A catalogue module in the cage, brought up with hardware initialisation.
struct ReadyPort : BenchPort {
    explicit ReadyPort(const char *name) {
        card.insert(0, name);
        create(QSFP_DD_INIT_FULL, 0);
    }
};

// A DR4 switched between 4 x 100G (application 2) and its default 400G
// (application 1): each change reads the active set (8) and datapath states
// (4), writes the staged set (8) and ApplyDPInit (1), reads the status (4),
// writes Tx and Rx disable (2) and reads byte 26 (1).
constexpr std::uint64_t kModeChangeMinimum = 8 + 4 + 8 + 1 + 4 + 2 + 1;

void BM_CmisModeChange(benchmark::State &state) {
    ReadyPort p("400G-DR4");
    std::uint32_t mode = QSFP_DD_OPER_MODE_4X100G;
    bench::run_op(state, p, kModeChangeMinimum, 2, [&] {
        benchmark::DoNotOptimize(qsfp_port_mode_config(p.port, mode));
        mode = mode == QSFP_DD_OPER_MODE_4X100G ? QSFP_DD_OPER_MODE_DEFAULT : QSFP_DD_OPER_MODE_4X100G;
    });
}
QSFP_BENCH_BOTH_BUSES(BM_CmisModeChange);

// The live status record of a 400G LR8: the page 11h flag and monitor block
// (67) read twice around the flag observation, temperature (2), supply (2),
// Tx disable (1) and the module flags byte (1), plus the two page selects the
// upper reads need (11h, then 10h); lower memory needs none of its own.
constexpr std::uint64_t kHwStatusMinimum = 2 * 67 + 2 + 2 + 1 + 1 + 2;

void BM_CmisHwStatus(benchmark::State &state) {
    ReadyPort p("400G-LR8");
    qsfp_hw_status status{};
    bench::run_op(state, p, kHwStatusMinimum, 1,
                  [&] { benchmark::DoNotOptimize(qsfp_port_hw_status(p.port, &status)); });
}
QSFP_BENCH_BOTH_BUSES(BM_CmisHwStatus);

// The show text of a 400G LR8: lower memory and pages 00h-03h, 10h and 11h
// (7 x 128), and the six page selects that walk from 11h back to 00h and on.
void BM_CmisShowText(benchmark::State &state) {
    ReadyPort p("400G-LR8");
    bench::run_op(state, p, 7 * 128 + 6, 1, [&] {
        void *text = nullptr;
        std::uint32_t len = 0;
        benchmark::DoNotOptimize(qsfp_port_phy_reg_decode(p.port, &text, &len));
        std::free(text);
    });
}
QSFP_BENCH_BOTH_BUSES(BM_CmisShowText);

// Tx equaliser of all eight lanes of a DR4 with its outputs disabled,
// alternating between two settings: the active set is read (4 + the explicit
// control bytes), the staged values (4) and the eight explicit-control bytes
// are written, then ApplyDPInit (1) and the configuration status (4).
void BM_CmisSiChange(benchmark::State &state) {
    ReadyPort p("400G-DR4");
    p.port->fvt.port_disable(p.port, 0xFF, 0);
    std::uint8_t low[8] = {1, 1, 1, 1, 1, 1, 1, 1};
    std::uint8_t high[8] = {3, 3, 3, 3, 3, 3, 3, 3};
    bool up = false;
    bench::run_op(state, p, 0, 2, [&] {
        up = !up;
        benchmark::DoNotOptimize(qsfp_modify_si_values(p.port, 0xFF, up ? high : low, 0, nullptr, 0, nullptr, 0, nullptr));
    });
}
QSFP_BENCH_BOTH_BUSES(BM_CmisSiChange);

// A firmware download of a 16 KiB image into the inactive bank of a 400G
// FR4 (command 400: download only, so every pass does the same). The least
// it moves is the image itself; the CDB command blocks, the completion and
// status polls and the page selects of each block come on top.
constexpr std::uint32_t kImageBytes = 16384;

// The image in a scratch file for the benchmark's run, removed afterwards.
struct ImageFile {
    std::string path = "/tmp/qsfp_bench_image_" + std::to_string(getpid()) + ".bin";
    ImageFile() {
        std::vector<unsigned char> bytes(kImageBytes);
        for (std::uint32_t i = 0; i < kImageBytes; ++i) bytes[i] = static_cast<unsigned char>(i * 7 + i / 251);
        bytes[0] = 2;  // vendor header: version 2.0
        if (std::FILE *f = std::fopen(path.c_str(), "wb")) {
            std::fwrite(bytes.data(), 1, bytes.size(), f);
            std::fclose(f);
        }
    }
    ~ImageFile() { std::remove(path.c_str()); }
};

void BM_CmisCdbDownload(benchmark::State &state) {
    ReadyPort p("400G-FR4");
    const ImageFile image;
    char response[2048];
    bench::run_op(state, p, kImageBytes, 1, [&] {
        std::uint32_t length = 0;
        cdb_cmd_info request{QSFP_DD_CDB_DOWNLOAD, image.path.c_str(), response, sizeof response, &length};
        if (qsfp_module_cdb_cmd_execute(p.port, &request) != QSFP_OK) {
            state.SkipWithError("the download failed");
        }
    });
}
QSFP_BENCH_BOTH_BUSES(BM_CmisCdbDownload)->Unit(benchmark::kMillisecond);

// The live status record of a ZR through the coherent DSP SDK. The
// adapter's own reads are temperature (2), supply (2) and Tx disable (1);
// the rest of the traffic is the emulated SDK's (its page selects and the
// module readings behind its performance data), so no ratio is given.
void BM_CoherentHwStatus(benchmark::State &state) {
    ReadyPort p("400G-ZR");
    qsfp_hw_status status{};
    bench::run_op(state, p, 0, 1, [&] { benchmark::DoNotOptimize(qsfp_port_hw_status(p.port, &status)); });
}
QSFP_BENCH_BOTH_BUSES(BM_CoherentHwStatus);

}  // namespace
