// Bring-up and the port operations against random module memory and a
// random failing access: nothing may crash, hang or touch memory it does
// not own. Input: 640 bytes of memory (lower, pages 00h-03h; shorter inputs
// repeat), then optional bytes choosing the identifier kind, a failing
// access and its code.
#include <cstdlib>
#include <memory>
#include <vector>

#include <qsfp/platform_ref.h>
#include <qsfp/qsfp.h>
#include <qsfp/qsfp_port_ops.h>
#include <qsfp/sim/line_card.h>
#include <qsfp/sim/sff8636_module.h>
#include <qsfp/sim/virtual_clock.h>

#include "fuzz/fuzz_port.h"

namespace {

using qsfp::fuzz::evm;
using qsfp::fuzz::lock_free;

constexpr std::size_t kImage = 640;

qsfp::sim::ModuleMemory memory_from(const std::uint8_t *data, std::size_t size) {
    qsfp::sim::ModuleMemory m;
    auto byte = [&](std::size_t i) { return data[i % size]; };
    const bool flat = size > kImage && (data[kImage] & 0x80) != 0;
    m.set_flat(flat);
    for (std::size_t a = 0; a < 128; ++a) m.set(0, static_cast<std::uint8_t>(a), byte(a));
    for (std::uint8_t page = 0; page < (flat ? 1 : 4); ++page) {
        m.add_page(page);
        for (std::size_t a = 128; a < 256; ++a) m.set(page, static_cast<std::uint8_t>(a), byte(a + 128 * page));
    }
    if (!flat && size > kImage && (data[kImage] & 0x40) != 0) {
        m.add_page(0x20);
        m.add_page(0x21);
        for (std::size_t a = 128; a < 256; ++a) {
            m.set(0x20, static_cast<std::uint8_t>(a), byte(a * 3));
            m.set(0x21, static_cast<std::uint8_t>(a), byte(a * 5));
        }
    }
    // A kind the library serves, so that the driver runs.
    m.set(0, 0, (size > kImage && (data[kImage] & 1) != 0) ? 0x0D : 0x11);
    m.set_writable(0, 86, 126);
    if (!flat) m.set_writable(3, 223, 255);
    return m;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    qsfp::sim::LineCard card(1);
    card.cage(0).insert(std::make_unique<qsfp::sim::Sff8636Module>(memory_from(data, size)));
    if (size > kImage + 2) {
        card.cage(0).fail_nth_access(1 + data[kImage + 1] % 96, 1 + data[kImage + 2] % 40);
    }
    qsfp_port_create_params p = card.params(0, evm());
    p.init_arg = 1;
    p.cfg_byte_a = size > kImage + 3 ? data[kImage + 3] & 1 : 0;
    qsfp_port_create_result r{};
    qsfp_port_create(&p, &r);
    qsfp_port_ctx *port = r.handle;
    if (port == nullptr) {
        return 0;
    }
    qsfp_port_admin_state(port, 0, 1, 0x0F);
    usleep(11000000);
    qsfp_hw_status status{};
    qsfp_port_hw_status(port, &status);
    qsfp_hw_info info{};
    qsfp_port_hw_info(port, &info);
    std::vector<char> reports(16384);
    qsfp_port_dom_info(port, reports.data(), 6, static_cast<std::uint32_t>(reports.size()));
    qsfp_port_dom_info(port, reports.data(), 5, 300);
    void *text = nullptr;
    std::uint32_t len = 0;
    qsfp_port_phy_reg_decode(port, &text, &len);
    std::free(text);  // handed back on every path that allocated it
    std::uint32_t used = 0;
    qsfp_module_get_debug_info(port, reports.data(), static_cast<std::uint32_t>(reports.size()), &used);
    qsfp_port_admin_state(port, 1, 0, 0x0F);
    qsfp_port_delete(port);
    return 0;
}
