// The coherent driver and the DSP SDK behind it against a ZR or ZR+ module
// whose memory is random apart from the bytes that make it coherent: the
// CMIS bring-up hands the port over, then every coherent operation runs with
// arguments from the input, while a chosen module access fails (or the module
// is pulled there) and a chosen SDK function fails. Nothing may crash, hang,
// write past a caller's buffer, leave the port locked or leave its device
// registered once the port is gone.
//
// Input: kControl bytes of control (zero when short), then (page, register,
// value) triples written into the module's memory before it is inserted.
#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <qsfp/qsfp.h>
#include <qsfp/qsfp_coherent.h>
#include <qsfp/qsfp_port_ops.h>
#include <qsfp/sim/cmis_catalogue.h>
#include <qsfp/sim/cmis_module.h>
#include <qsfp/sim/coh_sdk_sim.h>
#include <qsfp/sim/line_card.h>

#include "fuzz/fuzz_port.h"

namespace {

using qsfp::fuzz::evm;
using qsfp::fuzz::lock_free;

// Control bytes.
enum Control : std::size_t {
    kFlags,         // bit 0 ZR+, bit 1 full init, bit 2 pull instead of fail
    kFaultAt,       // two bytes: the access to fail (0: none)
    kFaultCode = 3,
    kSdkFault,      // SDK function to fail (index into kSdkFunctions, past it: none)
    kSdkCode,
    kTraffic,       // 8 bytes: seven traffic values and the flags
    kPerfMon = kTraffic + 8,   // 4 bytes
    kConfig = kPerfMon + 4,    // 8 bytes of module configuration and thresholds
    kAlarms = kConfig + 8,     // 3 bytes
    kRead = kAlarms + 3,       // register, page, length
    kRoom = kRead + 3,         // debug text room
    kCdb = kRoom + 1,          // CDB command selector and response room
    kMode = kCdb + 2,
    kControl = kMode + 1,
};

// Every SDK function but device delete: a failed delete would leave a device
// registered under the next input's key.
constexpr const char *kSdkFunctions[] = {
    "coh_sdk_init", "coh_sdk_device_create", "coh_sdk_read_write_reg", "coh_sdk_module_config_traffic",
    "coh_sdk_module_set_laser", "coh_sdk_get_inventory_info", "coh_sdk_handle_cdb_cmd",
    "coh_sdk_module_cfg_and_thresholds_update", "coh_sdk_module_config_perf_mon", "coh_sdk_module_get_debug_info",
    "coh_sdk_set_sim_alarms", "coh_sdk_get_firmware_update_progress", "coh_sdk_get_hw_cfg_alarms_pm_data",
};
constexpr std::uint8_t kPages[] = {0x00, 0x00, 0x01, 0x02, 0x10, 0x11, 0x12};  // index 0: lower memory
constexpr std::uint32_t kCdbCommands[] = {QSFP_DD_CDB_QUERY_STATUS, QSFP_DD_CDB_DOWNLOAD, QSFP_DD_CDB_RUN,
                                          QSFP_DD_CDB_COMMIT, 401, QSFP_DD_CDB_DOWNLOAD_RUN_COMMIT};
constexpr std::uint32_t kModes[] = {0, 7, 8, 13, 14, 15};
constexpr std::uint8_t kSentinel = 0x5A;

struct Input {
    std::array<std::uint8_t, kControl> control{};
    const std::uint8_t *triples = nullptr;
    std::size_t triple_count = 0;

    std::uint8_t at(std::size_t i) const { return control[i]; }
    std::int32_t signed_at(std::size_t i) const { return static_cast<std::int8_t>(control[i]) * 100; }
};

Input parse(const std::uint8_t *data, std::size_t size) {
    Input in;
    std::memcpy(in.control.data(), data, std::min(size, in.control.size()));
    if (size > kControl) {
        in.triples = data + kControl;
        in.triple_count = (size - kControl) / 3;
    }
    return in;
}

// The identifier and the application advertisement (lower bytes 85-117)
// stay, so that the CMIS driver classifies the module as coherent.
bool keeps_coherent(std::uint8_t page_index, std::uint8_t reg) {
    return page_index == 0 && (reg == 0 || (reg >= 85 && reg <= 117));
}

qsfp::sim::ModuleMemory memory_for(const Input &in) {
    const char *name = (in.at(kFlags) & 1) != 0 ? "400G-ZR-ZRP" : "400G-ZR";
    qsfp::sim::ModuleMemory memory = qsfp::sim::build_memory(*qsfp::sim::find_cmis_entry(name));
    for (std::size_t t = 0; t < in.triple_count; ++t) {
        const std::uint8_t *triple = in.triples + 3 * t;
        const std::uint8_t page_index = triple[0] % std::size(kPages);
        const std::uint8_t page = kPages[page_index];
        const auto reg = static_cast<std::uint8_t>(page_index == 0 ? triple[1] & 0x7F : triple[1] | 0x80);
        if (keeps_coherent(page_index, reg) || (page_index != 0 && !memory.has_page(page))) continue;
        memory.set(page, reg, triple[2]);
    }
    return memory;
}

template <std::size_t N>
void expect_untouched_past(const std::array<char, N> &buffer, std::size_t room) {
    for (std::size_t i = room; i < N; ++i) {
        if (static_cast<std::uint8_t>(buffer[i]) != kSentinel) std::abort();  // written past the room given
    }
}

void configure(qsfp_port_ctx *port, const Input &in) {
    qsfp_coh_traffic_config traffic{};
    static_assert(kPerfMon - kTraffic == COH_SDK_TRAFFIC_VALUES + 1, "a control byte per traffic value, then the flags");
    for (std::size_t i = 0; i < COH_SDK_TRAFFIC_VALUES; ++i) traffic.value[i] = in.at(kTraffic + i) % 8;
    traffic.flags = in.at(kTraffic + COH_SDK_TRAFFIC_VALUES);
    qsfp_module_config_traffic(port, &traffic);
    qsfp_coh_perf_mon_config monitoring{};
    std::memcpy(monitoring.config, &in.control[kPerfMon], sizeof monitoring.config);
    qsfp_module_config_perf_mon(port, &monitoring);
    qsfp_coh_module_config config{};
    config.tx_power = in.signed_at(kConfig);
    config.cd_min = in.signed_at(kConfig + 1) * 10;
    config.cd_max = in.signed_at(kConfig + 2) * 10;
    config.frequency = 191300000u + in.at(kConfig + 3) * 50000u;
    config.opt_lb_line = in.at(kConfig + 4) & 1;
    config.dsp_lb_internal = (in.at(kConfig + 4) >> 1) & 1;
    config.flags = static_cast<std::uint32_t>(in.at(kConfig + 5)) << 1;
    qsfp_coh_thresholds thresholds{};
    thresholds.osnr_low_th = in.signed_at(kConfig + 6);
    thresholds.rx_power_th = in.signed_at(kConfig + 7);
    thresholds.flags = (in.at(kConfig + 4) & 0x0C) << 6;
    const bool no_config = (in.at(kConfig + 4) & 0x10) != 0;
    qsfp_module_config_update(port, no_config ? nullptr : &config, &thresholds);
    qsfp_coh_sim_alarms alarms{in.at(kAlarms) * 0x21u, in.at(kAlarms + 1) * 0x31u, in.at(kAlarms + 2) * 0x11u};
    qsfp_port_set_sim_alarms(port, &alarms);
}

void query(qsfp_port_ctx *port, const Input &in) {
    qsfp_hw_status status{};
    qsfp_port_hw_status(port, &status);
    qsfp_hw_info info{};
    qsfp_port_hw_info(port, &info);
    qsfp_threshold_data thresholds{};
    qsfp_port_hw_thresholds(port, &thresholds);
    std::uint32_t type = 0, flag = 0, rate = 0;
    char name[64];
    qsfp_port_type(port, &type, name, sizeof name, &flag);
    qsfp_port_rate(port, &rate);
    std::array<std::uint8_t, 512> buf{};
    qsfp_port_read(port, in.at(kRead), in.at(kRead + 1), in.at(kRead + 2) % 300, buf.data());
    std::array<char, 4096> text;
    text.fill(static_cast<char>(kSentinel));
    const std::uint32_t room = 1 + in.at(kRoom) * 16;
    std::uint32_t used = 0;
    qsfp_module_get_debug_info(port, text.data(), room, &used);
    if (used > room) std::abort();
    expect_untouched_past(text, room);
    std::uint32_t a = 0, b = 0, c = 0;
    qsfp_port_get_firmware_update_progress(port, &a, &b, &c);
}

void cdb(qsfp_port_ctx *port, const Input &in) {
    std::array<char, 512> response;
    response.fill(static_cast<char>(kSentinel));
    const std::uint32_t room = in.at(kCdb + 1) % 256;
    std::uint32_t length = 0;
    cdb_cmd_info request{kCdbCommands[in.at(kCdb) % std::size(kCdbCommands)],
                         qsfp::fuzz::firmware_image_file("coherent", 2200).c_str(), response.data(), room, &length};
    qsfp_module_cdb_cmd_execute(port, &request);
    if (length > room) std::abort();
    expect_untouched_past(response, room);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const Input in = parse(data, size);
    qsfp::sim::LineCard card(1);
    card.cage(0).insert(std::make_unique<qsfp::sim::CmisModule>(memory_for(in)));
    const std::uint32_t fault_at = in.at(kFaultAt) | ((in.at(kFaultAt + 1) & 3u) << 8);  // 0-1023
    if (fault_at != 0) {
        if ((in.at(kFlags) & 4) != 0) {
            card.cage(0).pull_at_nth_access(fault_at);
        } else {
            card.cage(0).fail_nth_access(fault_at, 1 + in.at(kFaultCode) % 40);
        }
    }
    const bool sdk_fault = in.at(kSdkFault) < std::size(kSdkFunctions);
    if (sdk_fault) {
        qsfp::sim::coh_sdk::fail_next(kSdkFunctions[in.at(kSdkFault)], 0xC0500000u | in.at(kSdkCode));
    }
    qsfp_port_create_params p = card.params(0, evm());
    p.init_arg = (in.at(kFlags) & 2) != 0 ? QSFP_DD_INIT_FULL : QSFP_DD_INIT_ADOPT;
    qsfp_port_create_result r{};
    qsfp_port_create(&p, &r);
    if (qsfp_port_ctx *port = r.handle) {
        if (!lock_free(port)) std::abort();
        configure(port, in);
        if (!lock_free(port)) std::abort();
        query(port, in);
        if (!lock_free(port)) std::abort();
        cdb(port, in);
        qsfp_port_mode_config(port, kModes[in.at(kMode) % std::size(kModes)]);
        qsfp_port_admin_state(port, 1, 0, 0xFF);
        qsfp_port_admin_state(port, 0, 1, 0xFF);
        if (!lock_free(port)) std::abort();
        qsfp_port_delete(port);
    }
    if (sdk_fault) qsfp::sim::coh_sdk::fail_next(kSdkFunctions[in.at(kSdkFault)], 0, 0);
    if (!qsfp::sim::coh_sdk::device_keys().empty()) std::abort();  // the port's device outlived it
    return 0;
}
