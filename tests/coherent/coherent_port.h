// Coherent ports for the coherent driver's tests: a ZR or ZR+ catalogue module
// inserted and brought up by the CMIS driver, which hands it to the coherent
// table. The CMIS port fixture supplies the cages, modules and traces.
#pragma once

#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include <qsfp/qsfp_coherent.h>

#include "cmis/cmis_port.h"

namespace qsfp::test {

// Entry `entry` (292-399) of a status record's coherent section, as a word or a float.
inline std::uint32_t section_word(const qsfp_hw_status &s, std::uint32_t entry) {
    return s.coherent[QSFP_COH_ENTRY(entry)];
}
inline float section_float(const qsfp_hw_status &s, std::uint32_t entry) {
    float f;
    std::memcpy(&f, &s.coherent[QSFP_COH_ENTRY(entry)], sizeof f);
    return f;
}

class CoherentPortTest : public CmisPortTest {
protected:
    // Inserts `name` in cage `index` and brings its port up with `init_flag`.
    qsfp_port_ctx *coherent_port(std::string_view name = "400G-ZR", std::size_t index = 0,
                                 std::uint32_t init_flag = QSFP_DD_INIT_FULL) {
        insert_cmis(name, index);
        qsfp_port_ctx *port = bring_up(init_flag, QSFP_DD_OPER_MODE_DEFAULT, QSFP_OK, index);
        if (port != nullptr) {
            EXPECT_EQ(port->fvt.device_init, qsfp_dd_coh_dsp_fvt.device_init) << "not handed to the coherent table";
        }
        return port;
    }

    // `text` as the port's trace line.
    static std::string line(const qsfp_port_ctx *port, std::string_view text) {
        char head[64];
        std::snprintf(head, sizeof head, "Controller %u Port %u: ", port->controller, port->port);
        return std::string(head) + std::string(text);
    }
    bool has_err(const qsfp_port_ctx *port, std::string_view text) { return trace_has(kErr, line(port, text)); }
    bool has_evt(const qsfp_port_ctx *port, std::string_view text) { return trace_has(kEvt, line(port, text)); }

    // SDK codes as the traces print them: "%d" and "0x%x".
    static std::string dec(std::uint32_t code) { return std::to_string(static_cast<std::int32_t>(code)); }
    static std::string hex(std::uint32_t code) {
        char text[16];
        std::snprintf(text, sizeof text, "0x%x", code);
        return text;
    }
};

}  // namespace qsfp::test
