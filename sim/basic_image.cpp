#include <qsfp/sim/basic_image.h>

namespace qsfp::sim {

namespace {

// SFF-8636 lower memory: status byte 2 bit 2 says "flat memory".
constexpr std::uint8_t kStatusReg = 2;
constexpr std::uint8_t kFlatMemory = 0x04;
// Control and mask bytes the host may write (SFF-8636 lower memory 86-126).
constexpr std::uint8_t kFirstControlReg = 86;
constexpr std::uint8_t kLastControlReg = 126;

}  // namespace

ModuleMemory basic_image(std::uint8_t identifier, bool flat) {
    ModuleMemory m;
    m.set_flat(flat);
    m.set(0, 0, identifier);
    m.set(0, 128, identifier);
    m.set(0, kStatusReg, flat ? kFlatMemory : 0);
    m.set_writable(0, kFirstControlReg, kLastControlReg);
    if (!flat) {
        for (std::uint8_t page = 1; page <= 3; ++page) {
            m.add_page(page);
        }
    }
    return m;
}

}  // namespace qsfp::sim
