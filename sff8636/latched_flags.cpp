// The latched flags, lower bytes 3-14: one read returns what latched since
// the last read and clears it in the module. Some modules need this read byte
// by byte with a pause between bytes (the bit-bang path); each caller says
// when it takes that path.
#include "sff8636/driver.h"
#include "sff8636/sff8636_regs.h"

namespace qsfp::sff8636 {

namespace {

bool takes_bit_bang(const qsfp_port_ctx *port, BitBang rule) {
    switch (rule) {
    case BitBang::never:
        return false;
    case BitBang::when_marked:
        return state(port).bit_bang != 0;
    case BitBang::when_callable:
        return state(port).bit_bang != 0 && port->bit_bang_read != nullptr;
    }
    return false;
}

}  // namespace

std::uint32_t read_latched_flags(qsfp_port_ctx *port, std::span<std::uint8_t, kFlagsLen> flags, BitBang rule,
                                 const FlagsReadFailure &failure) {
    if (takes_bit_bang(port, rule)) {
        const std::uint32_t rc =
            qsfp_special_bit_bang_read(port, kFlagsFirst, kFlagsLen, kPage00, flags.data(), kBitBangDelay);
        if (rc != QSFP_OK) {
            failure.bit_bang(port, rc);
        }
        return rc;
    }
    const std::uint32_t rc = qsfp_access(port, kFlagsFirst, kFlagsLen, kPage00, flags.data(), QSFP_ACCESS_READ);
    if (rc != QSFP_OK) {
        failure.read(port, rc);
    }
    return rc;
}

}  // namespace qsfp::sff8636
