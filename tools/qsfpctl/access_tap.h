// The access functions the library is given for a cage: the backend's own,
// seen through a tap that writes each transfer to the record log (when one
// is asked for) and counts the bytes written to the CDB extended payload
// pages, which is how a firmware download's progress shows while the
// library's download call is still running.
#pragma once

#include <atomic>
#include <cstdint>

#include "access_log.h"
#include "cage_backend.h"

namespace qsfpctl {

class CageTap {
public:
    // `log` may be null (nothing recorded); it outlives the tap.
    CageTap(std::size_t cage, const CageAccess &inner, AccessLog *log);
    CageTap(const CageTap &) = delete;
    CageTap &operator=(const CageTap &) = delete;

    // The backend's access with the tap's functions in place of its own.
    CageAccess tapped();
    // Firmware bytes written to pages A0h-AFh (CMIS extended payload) so far.
    std::uint64_t payload_bytes() const { return payload_bytes_.load(); }

private:
    static uint32_t read(uint64_t opaque, uint8_t reg, uint8_t page, uint32_t len, void *buf);
    static uint32_t write(uint64_t opaque, uint8_t reg, uint8_t page, uint32_t len, const void *buf);
    static uint32_t bit_bang_read(uint64_t opaque, uint8_t reg, uint8_t page, uint32_t len, void *buf,
                                  uint64_t arg);
    void note(AccessDirection direction, uint8_t reg, uint8_t page, uint32_t len, const void *buf, uint32_t rc,
              uint64_t arg = 0);

    std::size_t cage_;
    CageAccess inner_;
    AccessLog *log_;
    std::atomic<std::uint64_t> payload_bytes_{0};
};

}  // namespace qsfpctl
