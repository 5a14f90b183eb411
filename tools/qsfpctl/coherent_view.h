// The coherent section of the live status record (a ZR or ZR+ port): the
// DSP's state, alarm words and performance data, as `status` shows them. A
// coherent port's record has no per-lane optical monitors; its receive and
// transmit powers are among the DSP's performance values.
#pragma once

#include <cstdint>
#include <ostream>

#include <nlohmann/json.hpp>

#include <qsfp/qsfp_records.h>

namespace qsfpctl {

// The record carries the coherent section (first byte of entry 292).
bool has_coherent_section(const qsfp_hw_status &s);

// The DSP's state words and whether any alarm word is raised.
struct DspState {
    std::uint32_t module_state;
    bool laser_on;
    bool signal_locked;
    bool frames_aligned;
    bool alarm;
};
DspState dsp_state(const qsfp_hw_status &s);

void print_coherent(std::ostream &out, const qsfp_hw_status &s);
nlohmann::json coherent_json(const qsfp_hw_status &s);

}  // namespace qsfpctl
