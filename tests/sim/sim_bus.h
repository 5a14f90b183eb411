// Host-side access to an emulated module in a cage, in either bus mode: raw
// two-wire (upper pages reached by writing byte 127 first) or direct-page
// (the access names the page itself).
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include <qsfp/sim/cage.h>

namespace qsfp::test {

enum class BusMode { raw, direct };

inline const char *bus_mode_name(const ::testing::TestParamInfo<BusMode> &info) {
    return info.param == BusMode::raw ? "RawTwoWire" : "DirectPage";
}

class SimBus {
public:
    SimBus(sim::Cage &cage, BusMode mode) : cage_(cage), mode_(mode) {
        cage_.set_direct_page(mode == BusMode::direct, mode == BusMode::direct);
    }

    std::uint8_t read(std::uint8_t page, std::uint8_t reg) {
        std::uint8_t b = 0;
        EXPECT_EQ(read_block(page, reg, 1, &b), 0u) << "read of page " << int(page) << " byte " << int(reg);
        return b;
    }
    std::uint8_t read(std::uint8_t reg) { return read(0, reg); }

    std::vector<std::uint8_t> read_range(std::uint8_t page, std::uint8_t reg, std::uint32_t len) {
        std::vector<std::uint8_t> out(len);
        EXPECT_EQ(read_block(page, reg, len, out.data()), 0u);
        return out;
    }

    std::uint16_t read_word(std::uint8_t page, std::uint8_t reg) {
        const std::vector<std::uint8_t> b = read_range(page, reg, 2);
        return static_cast<std::uint16_t>(b[0] << 8 | b[1]);
    }
    std::uint16_t read_word(std::uint8_t reg) { return read_word(0, reg); }

    void write(std::uint8_t page, std::uint8_t reg, std::uint8_t value) {
        select(page, reg);
        EXPECT_EQ(cage_.write(reg, page, 1, &value), 0u);
    }
    void write(std::uint8_t reg, std::uint8_t value) { write(0, reg, value); }

    // Several bytes in one write access; answers the access's code.
    std::uint32_t write_range(std::uint8_t page, std::uint8_t reg, const std::vector<std::uint8_t> &bytes) {
        select(page, reg);
        return cage_.write(reg, page, static_cast<std::uint32_t>(bytes.size()), bytes.data());
    }
    // One read access that may fail (a module that does not answer).
    std::uint32_t try_read(std::uint8_t page, std::uint8_t reg, std::uint8_t &out) {
        if (mode_ == BusMode::raw && reg >= sim::kHalfPage) {
            const std::uint32_t rc = cage_.write(sim::kPageSelectReg, 0, 1, &page);
            if (rc != 0) {
                return rc;
            }
        }
        return cage_.read(reg, page, 1, &out);
    }

private:
    std::uint32_t read_block(std::uint8_t page, std::uint8_t reg, std::uint32_t len, std::uint8_t *out) {
        select(page, reg);
        return cage_.read(reg, page, len, out);
    }
    // Raw two-wire: an upper access first writes the page to byte 127.
    void select(std::uint8_t page, std::uint8_t reg) {
        if (mode_ == BusMode::raw && reg >= sim::kHalfPage) {
            EXPECT_EQ(cage_.write(sim::kPageSelectReg, 0, 1, &page), 0u);
        }
    }

    sim::Cage &cage_;
    BusMode mode_;
};

}  // namespace qsfp::test
