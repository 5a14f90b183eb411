// The two-wire bus under an i2c backend, narrowed to the two transfers a
// module needs, so a test can stand in for /dev/i2c-N.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace qsfpctl {

// The module's management interface on the bus (8-bit address A0h).
inline constexpr std::uint8_t kModuleAddress = 0x50;

class I2cBus {
public:
    virtual ~I2cBus() = default;
    // Writes the register number, then reads `len` bytes after a repeated
    // start. 0, or an errno value.
    virtual std::uint32_t read(std::uint8_t address, std::uint8_t reg, std::uint8_t *buf, std::uint32_t len) = 0;
    // Writes the register number followed by the bytes, in one transfer.
    virtual std::uint32_t write(std::uint8_t address, std::uint8_t reg, const std::uint8_t *buf,
                                std::uint32_t len) = 0;
};

// Opens a bus by device name; on failure answers null and says why in `error`.
using I2cOpener = std::function<std::unique_ptr<I2cBus>(const std::string &device, std::string &error)>;

// The Linux i2c-dev character device (/dev/i2c-N), through I2C_RDWR.
std::unique_ptr<I2cBus> open_linux_i2c(const std::string &device, std::string &error);

}  // namespace qsfpctl
