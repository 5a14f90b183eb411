// SFF-8636 operations on a QSFP28 SR4: bring-up, the live status record, the
// DOM reports, the show text, a port enable and an equaliser change, each on
// the emulated bus and on the null bus.
#include <cstdlib>
#include <memory>

#include <qsfp/qsfp_port_ops.h>

#include "bench_port.h"
#include "sff8636/sff_port.h"

namespace {

using namespace qsfp;
using bench::BenchPort;

// The least bring-up with hardware initialisation needs: the status byte and
// the 640-byte image.
constexpr std::uint64_t kBringUpMinimum = 1 + 640;

void BM_BringUp(benchmark::State &state) {
    BenchPort p;
    bench::run_bring_up(state, p, 1, 0, kBringUpMinimum,
                        [] { return std::make_unique<sim::Module>(test::qsfp28_memory()); });
}
QSFP_BENCH_BOTH_BUSES(BM_BringUp);

// A QSFP28 SR4 whose Tx equalisers are programmable (page 00h byte 193 bit 2)
// and not adaptive.
sim::ModuleMemory programmable_sr4() {
    sim::ModuleMemory m = test::qsfp28_memory();
    m.set(0, 193, static_cast<std::uint8_t>((m.get(0, 193) | 0x04) & ~0x08));
    test::fix_checksums(m);
    return m;
}

struct ReadyPort : BenchPort {
    ReadyPort() {
        cage().insert(std::make_unique<sim::Module>(programmable_sr4()));
        create(0, 0);
    }
};

// Tx disable, status, monitors, and the flags: bytes 2, 3-14, 22-23, 26-27, 34-57, 86.
void BM_HwStatus(benchmark::State &state) {
    ReadyPort p;
    qsfp_hw_status status{};
    bench::run_op(state, p, 1 + 12 + 2 + 2 + 24 + 1, 1,
                  [&] { benchmark::DoNotOptimize(qsfp_port_hw_status(p.port, &status)); });
}
QSFP_BENCH_BOTH_BUSES(BM_HwStatus);

// The five DOM reports one after the other (kind 6).
void BM_DomReports(benchmark::State &state) {
    ReadyPort p;
    static char text[16384];
    bench::run_op(state, p, 0, 1,
                  [&] { benchmark::DoNotOptimize(qsfp_port_dom_info(p.port, text, 6, sizeof text)); });
}
QSFP_BENCH_BOTH_BUSES(BM_DomReports);

// The show text: the whole image (640) with the selects of pages 01h-03h
// (3), then the live status bytes 86, 2, 34-57, 22-23, 26-27 and 3-14 (42).
void BM_ShowText(benchmark::State &state) {
    ReadyPort p;
    bench::run_op(state, p, 640 + 3 + 42, 1, [&] {
        void *text = nullptr;
        std::uint32_t len = 0;
        benchmark::DoNotOptimize(qsfp_port_phy_reg_decode(p.port, &text, &len));
        std::free(text);
    });
}
QSFP_BENCH_BOTH_BUSES(BM_ShowText);

void BM_PortEnable(benchmark::State &state) {
    ReadyPort p;
    bench::run_op(state, p, 0, 1, [&] {
        qsfp_port_admin_state(p.port, 0, 1, 0x0F);
        qsfp_port_admin_state(p.port, 1, 0, 0x0F);
    });
}
QSFP_BENCH_BOTH_BUSES(BM_PortEnable);

// Tx equaliser of all four lanes, alternating between two settings: the
// two equaliser bytes 234-235 of page 03h are written (page 03h stays
// selected between calls).
void BM_EqualiserChange(benchmark::State &state) {
    ReadyPort p;
    std::uint8_t low[4] = {1, 1, 1, 1};
    std::uint8_t high[4] = {3, 3, 3, 3};
    bool up = false;
    bench::run_op(state, p, 2, 2, [&] {
        up = !up;
        benchmark::DoNotOptimize(qsfp_modify_eq(p.port, 0x0F, up ? high : low));
    });
}
QSFP_BENCH_BOTH_BUSES(BM_EqualiserChange);

}  // namespace
