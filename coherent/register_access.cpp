// Register access of a coherent port goes through the SDK, which owns the
// module's page selection.
#include "coherent/coherent.h"
#include "framework/trace.h"

namespace {

constexpr std::uint32_t kBank = 0;
constexpr std::uint32_t kSdkRead = 1;
constexpr std::uint32_t kSdkWrite = 0;

}  // namespace

extern "C" uint32_t coherent_module_reg_read_write(qsfp_port_ctx *port, uint32_t reg, uint32_t len, uint32_t page,
                                                   void *buf, uint32_t rw) {
    if (port == nullptr) {
        return QSFP_ERR_INVALID;
    }
    if (buf == nullptr) {
        trace_err(port, "coherent module reg access failed, null param\n");
        return QSFP_ERR_INVALID;
    }
    const std::uint32_t sdk_rw = rw == QSFP_ACCESS_READ ? kSdkRead : kSdkWrite;
    const std::uint32_t rc = coh_sdk_read_write_reg(qsfp::coherent::device_key(port), kBank, page, reg, len,
                                                    static_cast<std::uint8_t *>(buf), sdk_rw);
    if (rc != COH_SDK_OK) {
        trace_err(port, "coherent module reg access failed,offset %d, size %d, page %d, rd_wr %d, rc %d\n", reg, len,
                  page, sdk_rw, rc);
    }
    return rc;
}
