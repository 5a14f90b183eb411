// The SFF-8636 show text. Input: flags (bit 0 flat memory, bit 1 a driver
// without status and inventory slots), the caller's size (16 bits), the live
// status record's lane count and 24 lane floats, the inventory texts (serial
// number, date code, CLEI, part number, version, product identifier, each
// the full width of its field, so possibly unterminated), then the image.
#include <vector>

#include "fuzz/fuzz_input.h"

namespace {

qsfp_hw_status g_status;
qsfp_hw_info g_info;

std::uint32_t report_status(qsfp_port_ctx *, qsfp_hw_status *status) {
    *status = g_status;
    return 0;
}

std::uint32_t report_info(qsfp_port_ctx *, qsfp_hw_info *info) {
    *info = g_info;
    return 0;
}

constexpr std::size_t kImageBytes = 640;

template <std::size_t N>
void take_text(qsfp::fuzz::FuzzInput &in, char (&text)[N]) {
    const std::vector<std::uint8_t> bytes = in.bytes(N);
    std::memcpy(text, bytes.data(), N);
}
constexpr std::size_t kLaneFloats = 24;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    qsfp::fuzz::FuzzInput in(data, size);
    const std::uint8_t flags = in.u8();
    const std::uint32_t out_size = in.u16();
    g_status = qsfp_hw_status{};
    g_status.media_type = in.u8();
    const std::vector<std::uint8_t> floats = in.bytes(kLaneFloats * sizeof(float));
    std::memcpy(&g_status, floats.data(), floats.size());  // rx, tx, bias: the record's first 24 entries
    g_info = qsfp_hw_info{};
    take_text(in, g_info.serial_number);
    take_text(in, g_info.date_code);
    take_text(in, g_info.clei);
    take_text(in, g_info.vendor_pn);
    take_text(in, g_info.vid);
    take_text(in, g_info.pid);
    const std::vector<std::uint8_t> pages = in.bytes(kImageBytes);

    qsfp_port_ctx port{};
    port.port = 5;
    port.flat_mem = flags & 1;
    if ((flags & 2) == 0) {
        port.fvt.get_hw_status = report_status;
        port.fvt.get_hw_info = report_info;
    }
    std::vector<char> out(out_size + qsfp::fuzz::kGuardBytes, qsfp::fuzz::kGuard);
    const int rc = qsfp_drv_qsfp8636_get_eeprom_str(&port, out.data(), out_size, pages.data());
    qsfp::fuzz::check_text(out, out_size, rc);
    return 0;
}
