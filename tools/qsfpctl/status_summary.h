// Reading the library's live status record the way an operator asks about
// it: which lanes are used, which flags are up.
#pragma once

#include <cstdint>
#include <string>

#include <qsfp/qsfp_records.h>

namespace qsfpctl {

// Lanes the record describes: the module's media lane count (low byte of
// entry 199), four when the record leaves it 0.
std::uint32_t status_lanes(const qsfp_hw_status &status);

struct FlagSummary {
    bool alarm = false;     // a threshold alarm or a Tx fault
    bool warning = false;   // a threshold warning
    bool rx_los = false;
    std::uint32_t tx_off = 0;  // lanes whose transmitter is disabled
};

FlagSummary summarize(const qsfp_hw_status &status);

// "high alarm, low warning" for the four flags high alarm, low alarm, high
// warning, low warning; "-" when none is set.
std::string flag_words(std::uint32_t high_alarm, std::uint32_t low_alarm, std::uint32_t high_warning,
                       std::uint32_t low_warning);

}  // namespace qsfpctl
