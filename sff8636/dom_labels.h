// Labels of the monitoring reports, padded so that the values line up, and
// the flag bit each line shows.
#pragma once

#include <cstdint>
#include <iterator>

namespace qsfp::sff8636 {

struct FlagLine {
    const char *label;
    std::uint8_t reg;   // lower memory (or page 03h for the masks) byte
    std::uint8_t mask;
};

// Latched lane status: per receive lane LOS and CDR loss of lock, then per
// transmit lane LOS, fault and CDR loss of lock.
inline constexpr FlagLine kLaneStatusFlags[] = {
    {"L-RX1 LOS     \t\t\t   ", 3, 0x01},     {"L-RX1 CDR LOL \t\t\t   ", 5, 0x01},
    {"L-RX2 LOS     \t\t\t   ", 3, 0x02},     {"L-RX2 CDR LOL \t\t\t   ", 5, 0x02},
    {"L-RX3 LOS     \t\t\t   ", 3, 0x04},     {"L-RX3 CDR LOL \t\t\t   ", 5, 0x04},
    {"L-RX4 LOS     \t\t\t   ", 3, 0x08},     {"L-RX4 CDR LOL \t\t\t   ", 5, 0x08},
    {"L-TX1 LOS     \t\t\t   ", 3, 0x10},     {"L-TX1 FAULT   \t\t\t   ", 4, 0x01},
    {"L-TX1 CDR LOL \t\t\t   ", 5, 0x10},     {"L-TX2 LOS      \t\t\t   ", 3, 0x20},
    {"L-TX2 FAULT    \t\t\t   ", 4, 0x02},    {"L-TX2 CDR LOL  \t\t\t   ", 5, 0x20},
    {"L-TX3 LOS      \t\t\t   ", 3, 0x40},    {"L-TX3 FAULT    \t\t\t   ", 4, 0x04},
    {"L-TX3 CDR LOL  \t\t\t   ", 5, 0x40},    {"L-TX4 LOS      \t\t\t   ", 3, 0x80},
    {"L-TX4 FAULT    \t\t\t   ", 4, 0x08},    {"L-TX4 CDR LOL  \t\t\t   ", 5, 0x80},
};
static_assert(std::size(kLaneStatusFlags) == 20);

// Latched module and lane threshold flags. Transmit lanes 3 and 4 show the
// receive-power byte 10 rather than byte 14: kept, as port managers parsing
// this report expect it.
inline constexpr FlagLine kMonitorFlags[] = {
    {"L-temperature high alarm    \t   ", 6, 0x80},  {"L-temperature low alarm     \t   ", 6, 0x40},
    {"L-temperature high warning  \t   ", 6, 0x20},  {"L-temperature low warning   \t   ", 6, 0x10},
    {"L-Vcc high alarm    \t\t   ", 7, 0x80},        {"L-Vcc low alarm     \t\t   ", 7, 0x40},
    {"L-Vcc high warning  \t\t   ", 7, 0x20},        {"L-Vcc low warning   \t\t   ", 7, 0x10},
    {"L-RX1 power high alarm   \t   ", 9, 0x80},     {"L-RX1 power low alarm    \t   ", 9, 0x40},
    {"L-RX1 power high warning \t   ", 9, 0x20},     {"L-RX1 power low warning  \t   ", 9, 0x10},
    {"L-RX2 power high alarm   \t   ", 9, 0x08},     {"L-RX2 power low alarm    \t   ", 9, 0x04},
    {"L-RX2 power high warning \t   ", 9, 0x02},     {"L-RX2 power low warning  \t   ", 9, 0x01},
    {"L-RX3 power high alarm   \t   ", 10, 0x80},    {"L-RX3 power low alarm    \t   ", 10, 0x40},
    {"L-RX3 power high warning \t   ", 10, 0x20},    {"L-RX3 power low warning  \t   ", 10, 0x10},
    {"L-RX4 power high alarm   \t   ", 10, 0x08},    {"L-RX4 power low alarm    \t   ", 10, 0x04},
    {"L-RX4 power high warning \t   ", 10, 0x02},    {"L-RX4 power low warning  \t   ", 10, 0x01},
    {"L-TX1 bias high alarm    \t   ", 11, 0x80},    {"L-TX1 bias low alarm     \t   ", 11, 0x40},
    {"L-TX1 bias high warning  \t   ", 11, 0x20},    {"L-TX1 bias low warning   \t   ", 11, 0x10},
    {"L-TX2 bias high alarm    \t   ", 11, 0x08},    {"L-TX2 bias low alarm     \t   ", 11, 0x04},
    {"L-TX2 bias high warning  \t   ", 11, 0x02},    {"L-TX2 bias low warning   \t   ", 11, 0x01},
    {"L-TX3 bias high alarm    \t   ", 12, 0x80},    {"L-TX3 bias low alarm     \t   ", 12, 0x40},
    {"L-TX3 bias high warning  \t   ", 12, 0x20},    {"L-TX3 bias low warning   \t   ", 12, 0x10},
    {"L-TX4 bias high alarm    \t   ", 12, 0x08},    {"L-TX4 bias low alarm     \t   ", 12, 0x04},
    {"L-TX4 bias high warning  \t   ", 12, 0x02},    {"L-TX4 bias low warning   \t   ", 12, 0x01},
    {"L-TX1 power high alarm   \t   ", 13, 0x80},    {"L-TX1 power low alarm    \t   ", 13, 0x40},
    {"L-TX1 power high warning \t   ", 13, 0x20},    {"L-TX1 power low warning  \t   ", 13, 0x10},
    {"L-TX2 power high alarm   \t   ", 13, 0x08},    {"L-TX2 power low alarm    \t   ", 13, 0x04},
    {"L-TX2 power high warning \t   ", 13, 0x02},    {"L-TX2 power low warning  \t   ", 13, 0x01},
    {"L-TX3 power high alarm   \t   ", 10, 0x80},    {"L-TX3 power low alarm    \t   ", 10, 0x40},
    {"L-TX3 power high warning \t   ", 10, 0x20},    {"L-TX3 power low warning  \t   ", 10, 0x10},
    {"L-TX4 power high alarm   \t   ", 10, 0x08},    {"L-TX4 power low alarm    \t   ", 10, 0x04},
    {"L-TX4 power high warning \t   ", 10, 0x02},    {"L-TX4 power low warning  \t   ", 10, 0x01},
};
static_assert(std::size(kMonitorFlags) == 56);

// Page 03h bytes 242-247: masks of the lane threshold flags.
inline constexpr FlagLine kMonitorMasks[] = {
    {"M-RX1 power high alarm    \t   ", 242, 0x80}, {"M-RX1 power low alarm     \t   ", 242, 0x40},
    {"M-RX1 power high warning  \t   ", 242, 0x20}, {"M-RX1 power low warning   \t   ", 242, 0x10},
    {"M-RX2 power high alarm    \t   ", 242, 0x08}, {"M-RX2 power low alarm     \t   ", 242, 0x04},
    {"M-RX2 power high warning  \t   ", 242, 0x02}, {"M-RX2 power low warning   \t   ", 242, 0x01},
    {"M-RX3 power high alarm    \t   ", 243, 0x80}, {"M-RX3 power low alarm     \t   ", 243, 0x40},
    {"M-RX3 power high warning  \t   ", 243, 0x20}, {"M-RX3 power low warning   \t   ", 243, 0x10},
    {"M-RX4 power high alarm    \t   ", 243, 0x08}, {"M-RX4 power low alarm     \t   ", 243, 0x04},
    {"M-RX4 power high warning  \t   ", 243, 0x02}, {"M-RX4 power low warning   \t   ", 243, 0x01},
    {"M-TX1 bias high alarm     \t   ", 244, 0x80}, {"M-TX1 bias low alarm      \t   ", 244, 0x40},
    {"M-TX1 bias high warning   \t   ", 244, 0x20}, {"M-TX1 bias low warning    \t   ", 244, 0x10},
    {"M-TX2 bias high alarm     \t   ", 244, 0x08}, {"M-TX2 bias low alarm      \t   ", 244, 0x04},
    {"M-TX2 bias high warning   \t   ", 244, 0x02}, {"M-TX2 bias low warning    \t   ", 244, 0x01},
    {"M-TX3 bias high alarm     \t   ", 245, 0x80}, {"M-TX3 bias low alarm      \t   ", 245, 0x40},
    {"M-TX3 bias high warning   \t   ", 245, 0x20}, {"M-TX3 bias low warning    \t   ", 245, 0x10},
    {"M-TX4 bias high alarm     \t   ", 245, 0x08}, {"M-TX4 bias low alarm      \t   ", 245, 0x04},
    {"M-TX4 bias high warning   \t   ", 245, 0x02}, {"M-TX4 bias low warning    \t   ", 245, 0x01},
    {"M-TX1 power high alarm    \t   ", 246, 0x80}, {"M-TX1 power low alarm     \t   ", 246, 0x40},
    {"M-TX1 power high warning  \t   ", 246, 0x20}, {"M-TX1 power low warning   \t   ", 246, 0x10},
    {"M-TX2 power high alarm    \t   ", 246, 0x08}, {"M-TX2 power low alarm     \t   ", 246, 0x04},
    {"M-TX2 power high warning  \t   ", 246, 0x02}, {"M-TX2 power low warning   \t   ", 246, 0x01},
    {"M-TX3 power high alarm    \t   ", 247, 0x80}, {"M-TX3 power low alarm     \t   ", 247, 0x40},
    {"M-TX3 power high warning  \t   ", 247, 0x20}, {"M-TX3 power low warning   \t   ", 247, 0x10},
    {"M-TX4 power high alarm    \t   ", 247, 0x08}, {"M-TX4 power low alarm     \t   ", 247, 0x04},
    {"M-TX4 power high warning  \t   ", 247, 0x02}, {"M-TX4 power low warning   \t   ", 247, 0x01},
};
static_assert(std::size(kMonitorMasks) == 48);

// Threshold report lines: quantity labels of the four kinds.
struct ThresholdLabels {
    const char *kind[4];  // high alarm, low alarm, high warning, low warning
};
inline constexpr ThresholdLabels kTemperatureLabels = {
    {"Temperature high alarm  ", "Temperature low alarm   ", "Temperature high warning", "Temperature low warning "}};
inline constexpr ThresholdLabels kVoltageLabels = {
    {"Voltage high alarm    ", "Voltage low alarm     ", "Voltage high warning  ", "Voltage low warning   "}};
inline constexpr ThresholdLabels kRxPowerLabels = {
    {"RX power high alarm    ", "RX power low alarm     ", "RX power high warning  ", "RX power low warning   "}};
inline constexpr ThresholdLabels kBiasLabels = {{"TX bias current high alarm   ", "TX bias current low alarm    ",
                                                 "TX bias current high warning ", "TX bias current low warning  "}};
inline constexpr ThresholdLabels kTxPowerLabels = {
    {"TX power high alarm    ", "TX power low alarm     ", "TX power high warning  ", "TX power low warning   "}};

}  // namespace qsfp::sff8636
