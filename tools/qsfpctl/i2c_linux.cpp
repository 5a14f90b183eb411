// /dev/i2c-N through the kernel's i2c-dev interface. Combined transfers
// (I2C_RDWR) give the repeated start a module's random read needs.
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <vector>

#include "i2c_bus.h"

namespace qsfpctl {

namespace {

// Bytes moved per transfer: small enough for the usual adapters' buffers,
// and a divisor of the 128-byte half page, so no transfer straddles a page.
constexpr std::uint32_t kMaxChunk = 32;

class LinuxI2cBus : public I2cBus {
public:
    explicit LinuxI2cBus(int fd) : fd_(fd) {}
    ~LinuxI2cBus() override { ::close(fd_); }
    LinuxI2cBus(const LinuxI2cBus &) = delete;
    LinuxI2cBus &operator=(const LinuxI2cBus &) = delete;

    std::uint32_t read(std::uint8_t address, std::uint8_t reg, std::uint8_t *buf, std::uint32_t len) override {
        for (std::uint32_t done = 0; done < len;) {
            const std::uint32_t n = std::min(kMaxChunk, len - done);
            std::uint8_t start = static_cast<std::uint8_t>(reg + done);
            i2c_msg msgs[2] = {
                {address, 0, 1, &start},
                {address, I2C_M_RD, static_cast<std::uint16_t>(n), buf + done},
            };
            if (const std::uint32_t rc = transfer(msgs, 2); rc != 0) {
                return rc;
            }
            done += n;
        }
        return 0;
    }

    std::uint32_t write(std::uint8_t address, std::uint8_t reg, const std::uint8_t *buf, std::uint32_t len) override {
        std::vector<std::uint8_t> bytes;
        bytes.reserve(len + 1);
        bytes.push_back(reg);
        bytes.insert(bytes.end(), buf, buf + len);
        i2c_msg msg{address, 0, static_cast<std::uint16_t>(bytes.size()), bytes.data()};
        return transfer(&msg, 1);
    }

private:
    std::uint32_t transfer(i2c_msg *msgs, std::uint32_t count) {
        i2c_rdwr_ioctl_data data{msgs, count};
        if (::ioctl(fd_, I2C_RDWR, &data) < 0) {
            return static_cast<std::uint32_t>(errno);
        }
        return 0;
    }

    int fd_;
};

}  // namespace

std::unique_ptr<I2cBus> open_linux_i2c(const std::string &device, std::string &error) {
    const int fd = ::open(device.c_str(), O_RDWR | O_CLOEXEC);
    if (fd < 0) {
        error = "cannot open i2c bus " + device + ": " + std::strerror(errno) +
                (errno == ENOENT ? " (is the i2c-dev module loaded?)" : "");
        return nullptr;
    }
    unsigned long functions = 0;
    if (::ioctl(fd, I2C_FUNCS, &functions) < 0 || (functions & I2C_FUNC_I2C) == 0) {
        error = device + " is not an i2c adapter that can do combined transfers (I2C_FUNC_I2C)";
        ::close(fd);
        return nullptr;
    }
    return std::make_unique<LinuxI2cBus>(fd);
}

}  // namespace qsfpctl
