// A front-panel cage on the emulated bus: the caller's access functions of one
// port, with an optional module behind them, two bus modes, fault injection,
// a transaction log and bus accounting.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include <qsfp/qsfp_types.h>
#include <qsfp/sim/bounded_log.h>
#include <qsfp/sim/module.h>

namespace qsfp::sim {

// What an access to an empty cage answers: no device acknowledged (ENXIO).
inline constexpr std::uint32_t kNoModuleCode = 6;
// What a direct-page access to a page the module lacks answers (EINVAL).
inline constexpr std::uint32_t kBadPageCode = 22;

enum class Op { read, write, any };

struct Transaction {
    Op op;                  // read or write
    bool bit_bang = false;
    std::uint8_t reg = 0;
    std::uint8_t page = 0;  // the upper page the access reached
    std::uint32_t len = 0;
    std::uint32_t rc = 0;
    std::vector<std::uint8_t> data;  // bytes written (writes only)
};

// Bus cost of the traffic so far. Bits count start, address, register,
// repeated start, data (each byte with its acknowledge) and stop.
struct BusStats {
    std::uint64_t transactions = 0;
    std::uint64_t failed = 0;
    std::uint64_t bytes_read = 0;
    std::uint64_t bytes_written = 0;
    std::uint64_t page_select_writes = 0;   // host writes that reach byte 127
    std::uint64_t adapter_page_selects = 0; // page switches made by a direct-page adapter
    std::uint64_t bits = 0;
    std::uint64_t delay_ns = 0;             // waits between bit-banged bytes

    double seconds_at(std::uint32_t clock_hz) const;
};

inline constexpr std::uint32_t kBus100kHz = 100000;
inline constexpr std::uint32_t kBus400kHz = 400000;
inline constexpr std::uint32_t kBus1MHz = 1000000;

class Cage {
public:
    Cage();
    ~Cage();
    Cage(const Cage &) = delete;
    Cage &operator=(const Cage &) = delete;

    // The value the creation record carries as `opaque` for this cage.
    std::uint64_t opaque() const;
    static Cage *from_opaque(std::uint64_t opaque);

    void insert(std::unique_ptr<Module> module);
    // Takes the module out; every later access answers kNoModuleCode.
    std::unique_ptr<Module> pull();
    Module *module() const { return module_.get(); }

    // Direct-page paths select the page themselves (as sysfs EEPROM files do)
    // without changing the module's page-select byte; raw two-wire paths
    // ignore the page argument and reach the page byte 127 selects.
    void set_direct_page(bool read, bool write);

    // Faults. A range fault fails every access touching bytes first..last
    // (on `page` for upper addresses; page -1 means any), `times` times or for ever (0).
    void fail_range(Op op, int page, std::uint8_t first, std::uint8_t last, std::uint32_t code, std::uint32_t times = 0);
    // The n-th access from now (1 = the next one) fails with `code`.
    void fail_nth_access(std::uint32_t n, std::uint32_t code);
    // The module is pulled out just before the n-th access from now (1 = the
    // next one), which then finds the cage empty; pulled() hands it back.
    void pull_at_nth_access(std::uint32_t n);
    std::unique_ptr<Module> pulled();
    void clear_faults();

    BusStats stats() const;
    void reset_stats();
    // The log holds the newest transactions (kDefaultLogCapacity unless set),
    // oldest first; logged() counts every transaction since the last clear.
    std::vector<Transaction> log() const;
    // Writes only, in order (page-select writes included).
    std::vector<Transaction> writes() const;
    std::uint64_t logged() const;
    // With a clock rate set, every transaction holds the cage for the time
    // its bits take on a real bus at that rate (0: no time at all).
    void set_real_bus_clock(std::uint32_t clock_hz);
    void set_log_capacity(std::size_t capacity);
    void clear_log();

    std::uint32_t read(std::uint8_t reg, std::uint8_t page, std::uint32_t len, void *buf);
    std::uint32_t write(std::uint8_t reg, std::uint8_t page, std::uint32_t len, const void *buf);
    std::uint32_t bit_bang_read(std::uint8_t reg, std::uint8_t page, std::uint32_t len, void *buf, std::uint64_t arg);

private:
    struct RangeFault {
        Op op;
        int page;
        std::uint8_t first;
        std::uint8_t last;
        std::uint32_t code;
        std::uint32_t remaining;  // 0: for ever
    };
    struct NthFault {
        std::uint64_t at;  // transaction number that fails
        std::uint32_t code;
    };

    std::uint32_t fault_for(Op op, std::uint8_t reg, std::uint8_t page, std::uint32_t len);
    std::uint8_t effective_page(std::uint32_t addr, std::uint8_t page_arg, bool direct) const;
    void account(const Transaction &t, bool direct);
    void hold_bus(std::uint64_t bits) const;
    std::uint32_t transfer(Op op, std::uint8_t reg, std::uint8_t page, std::uint32_t len, std::uint8_t *in,
                           const std::uint8_t *out, bool direct, bool bit_bang = false);

    mutable std::mutex mu_;
    std::unique_ptr<Module> module_;
    bool direct_read_ = false;
    bool direct_write_ = false;
    std::uint8_t adapter_page_ = 0;
    std::vector<RangeFault> range_faults_;
    std::vector<NthFault> nth_faults_;
    std::uint64_t pull_at_ = 0;  // 0: no pull planned
    std::unique_ptr<Module> pulled_;
    std::uint64_t transaction_count_ = 0;
    BusStats stats_;
    BoundedLog<Transaction> log_;
    std::uint32_t real_bus_hz_ = 0;
};

}  // namespace qsfp::sim

// The caller's access functions of the creation record; `opaque` is Cage::opaque().
extern "C" {
uint32_t qsfp_sim_read(uint64_t opaque, uint8_t reg, uint8_t page, uint32_t len, void *buf);
uint32_t qsfp_sim_write(uint64_t opaque, uint8_t reg, uint8_t page, uint32_t len, const void *buf);
uint32_t qsfp_sim_bit_bang_read(uint64_t opaque, uint8_t reg, uint8_t page, uint32_t len, void *buf, uint64_t arg);
}
