#include "i2c_backend.h"

#include "linear_map.h"

namespace qsfpctl {

namespace {

// A transfer the 8-bit register counter cannot address.
constexpr std::uint32_t kBeyondRegisters = 22;

class I2cCage : public CageBackend {
public:
    I2cCage(std::unique_ptr<I2cBus> bus, std::string device) : bus_(std::move(bus)), device_(std::move(device)) {}

    CageAccess access() override {
        CageAccess a;
        a.read = read;
        a.write = write;
        a.opaque = reinterpret_cast<std::uint64_t>(this);
        a.real_time = true;
        return a;
    }

    std::string describe() const override { return "i2c bus " + device_; }

private:
    // Raw two-wire access: the page argument is not the bus's business.
    static uint32_t read(uint64_t opaque, uint8_t reg, uint8_t, uint32_t len, void *buf) {
        if (reg + static_cast<std::uint64_t>(len) > 2 * kHalfPage) {
            return kBeyondRegisters;
        }
        auto *self = reinterpret_cast<I2cCage *>(opaque);
        return self->bus_->read(kModuleAddress, reg, static_cast<std::uint8_t *>(buf), len);
    }

    static uint32_t write(uint64_t opaque, uint8_t reg, uint8_t, uint32_t len, const void *buf) {
        if (reg + static_cast<std::uint64_t>(len) > 2 * kHalfPage) {
            return kBeyondRegisters;
        }
        auto *self = reinterpret_cast<I2cCage *>(opaque);
        return self->bus_->write(kModuleAddress, reg, static_cast<const std::uint8_t *>(buf), len);
    }

    std::unique_ptr<I2cBus> bus_;
    std::string device_;
};

}  // namespace

OpenedCage open_i2c(const std::string &device, const I2cOpener &opener) {
    std::string error;
    std::unique_ptr<I2cBus> bus = opener(device, error);
    if (bus == nullptr) {
        return {nullptr, error.empty() ? "cannot open i2c bus " + device : error};
    }
    return {std::make_unique<I2cCage>(std::move(bus), device), {}};
}

}  // namespace qsfpctl
