// A bus that costs nothing, so that a benchmark times the library alone: it
// records one pass of an operation's traffic on the emulated cage, then
// answers every later pass from that recording (reads get the recorded bytes,
// writes are taken), in a cycle. An access that differs from the recording
// is counted and fails, so a benchmark that does not repeat itself shows up.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include <qsfp/qsfp.h>
#include <qsfp/sim/cage.h>

namespace qsfp::bench {

class NullBus {
public:
    explicit NullBus(sim::Cage &cage) : cage_(cage) {}
    NullBus(const NullBus &) = delete;
    NullBus &operator=(const NullBus &) = delete;

    // Points the creation record's access functions at this bus.
    void attach(qsfp_port_create_params &params);

    // Passes traffic to the cage and keeps every answer (a new recording).
    void record();
    // Answers from the recording, starting at its first access.
    void replay();

    bool replaying() const { return replaying_; }
    std::size_t recorded() const { return accesses_.size(); }
    std::uint64_t mismatches() const { return mismatches_; }

private:
    struct Access {
        bool write;
        std::uint8_t reg;
        std::uint8_t page;
        std::uint32_t len;
        std::uint32_t rc;
        std::vector<std::uint8_t> bytes;  // what a read answered
    };

    static std::uint32_t read(std::uint64_t opaque, std::uint8_t reg, std::uint8_t page, std::uint32_t len, void *buf);
    static std::uint32_t write(std::uint64_t opaque, std::uint8_t reg, std::uint8_t page, std::uint32_t len,
                               const void *buf);
    static std::uint32_t bit_bang_read(std::uint64_t opaque, std::uint8_t reg, std::uint8_t page, std::uint32_t len,
                                       void *buf, std::uint64_t arg);
    std::uint32_t access(bool write, std::uint8_t reg, std::uint8_t page, std::uint32_t len, std::uint8_t *in,
                         const std::uint8_t *out);

    sim::Cage &cage_;
    bool replaying_ = false;
    std::vector<Access> accesses_;
    std::size_t next_ = 0;
    std::uint64_t mismatches_ = 0;
};

}  // namespace qsfp::bench
