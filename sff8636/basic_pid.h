// Catalogue-style product identifiers for modules of other makers, by type
// code. Our own modules carry their PID on page 02h.
#pragma once

#include <cstdint>
#include <iterator>
#include <string_view>

namespace qsfp::sff8636 {

struct BasicPid {
    std::uint32_t first;  // type code range, inclusive
    std::uint32_t last;
    const char *pid;
};

inline constexpr BasicPid kBasicPids[] = {
    {1, 1, "BASIC-100G-AOC"},        {24, 24, "BASIC-100G-AOC"},      {2, 2, "BASIC-100G-SR4"},
    {3, 3, "BASIC-100G-LR4"},        {4, 4, "BASIC-100G-ER4"},        {6, 6, "BASIC-100G-CWDM4"},
    {9, 9, "BASIC-100G-CWDM4"},      {7, 7, "BASIC-100G-PSM4"},       {11, 11, "BASIC-100G-CU"},
    {13, 13, "BASIC-100G-CU"},       {18, 18, "BASIC-40G-PSM4"},      {25, 25, "BASIC-100G-AEC"},
    {26, 26, "BASIC-100GE-DWDM2"},   {65, 65, "BASIC-40G-LR4"},       {377, 377, "BASIC-40G-LR4"},
    {66, 66, "BASIC-40G-SR4"},       {67, 67, "BASIC-40G-CR4"},       {98, 98, "BASIC-40G-PLR4"},
    {99, 99, "BASIC-40G-ESR4"},      {133, 133, "BASIC-100G-SM_SR"},  {134, 134, "BASIC-100G-SR_BD"},
    {238, 238, "BASIC-4x10G-LR4"},   {352, 354, "BASIC-4x10G-CU"},    {371, 371, "BASIC-4x10G-CU"},
    {355, 359, "BASIC-4x10G-ACU"},   {361, 365, "BASIC-40G-ACU"},     {369, 369, "BASIC-40G-CSR4"},
    {374, 374, "BASIC-40G-AOC"},     {375, 375, "BASIC-4x10G-AOC"},   {376, 376, "BASIC-40G-ER4"},
    {382, 382, "BASIC-40G-CSR-V"},
};
static_assert(std::size(kBasicPids) == 31);

inline constexpr const char *kBasicPidUnknown = "BASIC-UNKNOWN";

constexpr const char *basic_pid(std::uint32_t type) {
    for (const BasicPid &row : kBasicPids) {
        if (type >= row.first && type <= row.last) {
            return row.pid;
        }
    }
    return kBasicPidUnknown;
}

static_assert(std::string_view(basic_pid(382)) == "BASIC-40G-CSR-V");
static_assert(basic_pid(373) == kBasicPidUnknown);

}  // namespace qsfp::sff8636
