// CMIS bring-up, mode changes and port enable and disable against an emulated
// CMIS module with random memory and a random failing access: nothing may
// crash, hang or touch memory it does not own, and the port's lock is free
// after every operation. Input: 896 bytes of memory (lower, then pages 00h,
// 01h, 02h, 03h, 10h, 11h; shorter inputs repeat), then optional bytes: flags
// (bit 0 flat memory, bit 1 full bring-up, bit 2 LPMode deasserted), the
// creator's oper mode, a failing access and its code, a requested mode, a
// lane bitmap.
#include <cstdlib>
#include <memory>

#include <qsfp/platform_ref.h>
#include <qsfp/qsfp.h>
#include <qsfp/qsfp_port_ops.h>
#include <qsfp/sim/cmis_module.h>
#include <qsfp/sim/line_card.h>
#include <qsfp/sim/virtual_clock.h>

#include "fuzz/fuzz_port.h"

namespace {

using qsfp::fuzz::evm;
using qsfp::fuzz::lock_free;

constexpr std::uint8_t kPages[] = {0x00, 0x01, 0x02, 0x03, 0x10, 0x11};
constexpr std::size_t kImage = 128 * (1 + std::size(kPages));
constexpr std::uint32_t kModes[] = {0, 7, 13, 14, 15, 3};

std::uint8_t control(const std::uint8_t *data, std::size_t size, std::size_t at) {
    return size > kImage + at ? data[kImage + at] : 0;
}

qsfp::sim::ModuleMemory memory_from(const std::uint8_t *data, std::size_t size) {
    qsfp::sim::ModuleMemory m;
    auto byte = [&](std::size_t i) { return data[i % size]; };
    const bool flat = (control(data, size, 0) & 1) != 0;
    m.set_flat(flat);
    for (std::size_t a = 0; a < 128; ++a) m.set(0, static_cast<std::uint8_t>(a), byte(a));
    std::size_t at = 128;
    for (std::uint8_t page : kPages) {
        if (flat && page != 0) break;
        m.add_page(page);
        for (std::size_t a = 128; a < 256; ++a) m.set(page, static_cast<std::uint8_t>(a), byte(at++));
    }
    m.set(0, 0, 0x18);  // QSFP-DD, so that the CMIS driver runs
    m.set(0, 2, static_cast<std::uint8_t>(flat ? (m.get(0, 2) | 0x80) : (m.get(0, 2) & 0x7F)));
    return m;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    qsfp::sim::LineCard card(1);
    auto module = std::make_unique<qsfp::sim::CmisModule>(memory_from(data, size));
    module->set_lpmode_pin((control(data, size, 0) & 4) == 0);
    card.cage(0).insert(std::move(module));
    if (size > kImage + 3) {
        card.cage(0).fail_nth_access(1 + control(data, size, 2) % 80, 1 + control(data, size, 3) % 40);
    }
    qsfp_port_create_params p = card.params(0, evm());
    p.init_arg = (control(data, size, 0) & 2) != 0 ? QSFP_DD_INIT_FULL : QSFP_DD_INIT_ADOPT;
    p.port_mode = kModes[control(data, size, 1) % std::size(kModes)];
    qsfp_port_create_result r{};
    qsfp_port_create(&p, &r);
    qsfp_port_ctx *port = r.handle;
    if (port == nullptr) {
        return 0;
    }
    if (!lock_free(port)) std::abort();
    const std::uint32_t lanes = control(data, size, 5);
    qsfp_port_admin_state(port, 0, 1, lanes);
    qsfp_port_mode_config(port, kModes[control(data, size, 4) % std::size(kModes)]);
    qsfp_port_admin_state(port, 0, 1, lanes);
    qsfp_port_admin_state(port, 1, 0, lanes);
    std::uint32_t type = 0;
    char text[QSFP_TYPE_STR_LEN + 1];
    qsfp_port_type(port, &type, text, sizeof text, nullptr);
    if (!lock_free(port)) std::abort();
    qsfp_port_delete(port);
    return 0;
}
