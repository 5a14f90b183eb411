#include <qsfp/sim/cage.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <thread>

namespace qsfp::sim {

namespace {

// Two-wire bit costs: start and stop, each byte with its acknowledge. A read
// sends the register with a write, then a repeated start and the address again.
constexpr std::uint64_t kBitsPerByte = 9;
constexpr std::uint64_t write_bits(std::uint64_t len) { return 2 + kBitsPerByte * (2 + len); }
constexpr std::uint64_t read_bits(std::uint64_t len) { return 3 + kBitsPerByte * (3 + len); }
// An access that no module acknowledges ends after the address byte.
constexpr std::uint64_t kNackBits = 2 + kBitsPerByte;

bool overlaps(std::uint32_t a_first, std::uint32_t a_last, std::uint32_t b_first, std::uint32_t b_last) {
    return a_first <= b_last && b_first <= a_last;
}

}  // namespace

double BusStats::seconds_at(std::uint32_t clock_hz) const {
    return static_cast<double>(bits) / clock_hz + static_cast<double>(delay_ns) / 1e9;
}

Cage::Cage() = default;
Cage::~Cage() = default;

std::uint64_t Cage::opaque() const { return reinterpret_cast<std::uintptr_t>(this); }

Cage *Cage::from_opaque(std::uint64_t opaque) { return reinterpret_cast<Cage *>(static_cast<std::uintptr_t>(opaque)); }

void Cage::insert(std::unique_ptr<Module> module) {
    std::lock_guard lock(mu_);
    module_ = std::move(module);
}

std::unique_ptr<Module> Cage::pull() {
    std::lock_guard lock(mu_);
    return std::move(module_);
}

void Cage::set_direct_page(bool read, bool write) {
    std::lock_guard lock(mu_);
    direct_read_ = read;
    direct_write_ = write;
}

void Cage::fail_range(Op op, int page, std::uint8_t first, std::uint8_t last, std::uint32_t code, std::uint32_t times) {
    std::lock_guard lock(mu_);
    range_faults_.push_back({op, page, first, last, code, times});
}

void Cage::fail_nth_access(std::uint32_t n, std::uint32_t code) {
    std::lock_guard lock(mu_);
    nth_faults_.push_back({transaction_count_ + n, code});
}

void Cage::pull_at_nth_access(std::uint32_t n) {
    std::lock_guard lock(mu_);
    pull_at_ = transaction_count_ + n;
}

std::unique_ptr<Module> Cage::pulled() {
    std::lock_guard lock(mu_);
    pull_at_ = 0;
    return std::move(pulled_);
}

void Cage::clear_faults() {
    std::lock_guard lock(mu_);
    pull_at_ = 0;
    range_faults_.clear();
    nth_faults_.clear();
}

BusStats Cage::stats() const {
    std::lock_guard lock(mu_);
    return stats_;
}

void Cage::reset_stats() {
    std::lock_guard lock(mu_);
    stats_ = {};
}

std::vector<Transaction> Cage::log() const {
    std::lock_guard lock(mu_);
    return log_.entries();
}

std::vector<Transaction> Cage::writes() const {
    std::lock_guard lock(mu_);
    std::vector<Transaction> out;
    const std::vector<Transaction> held = log_.entries();
    std::copy_if(held.begin(), held.end(), std::back_inserter(out), [](const Transaction &t) { return t.op == Op::write; });
    return out;
}

std::uint64_t Cage::logged() const {
    std::lock_guard lock(mu_);
    return log_.recorded();
}

void Cage::set_log_capacity(std::size_t capacity) {
    std::lock_guard lock(mu_);
    log_.set_capacity(capacity);
}

void Cage::set_real_bus_clock(std::uint32_t clock_hz) {
    std::lock_guard lock(mu_);
    real_bus_hz_ = clock_hz;
}

// Keeps the cage busy for as long as the transaction's bits take on a real
// bus; other cages carry on meanwhile. Real time on purpose, not the
// library's usleep: this is the bus, not the library, waiting.
void Cage::hold_bus(std::uint64_t bits) const {
    if (real_bus_hz_ != 0 && bits != 0) {
        std::this_thread::sleep_for(std::chrono::nanoseconds(bits * 1000000000u / real_bus_hz_));
    }
}

void Cage::clear_log() {
    std::lock_guard lock(mu_);
    log_.clear();
}

std::uint32_t Cage::fault_for(Op op, std::uint8_t reg, std::uint8_t page, std::uint32_t len) {
    for (auto it = nth_faults_.begin(); it != nth_faults_.end(); ++it) {
        if (it->at == transaction_count_) {
            const std::uint32_t code = it->code;
            nth_faults_.erase(it);
            return code;
        }
    }
    const std::uint32_t last = reg + (len > 0 ? len - 1 : 0);
    for (auto it = range_faults_.begin(); it != range_faults_.end(); ++it) {
        const bool op_matches = it->op == Op::any || it->op == op;
        // The page only matters for a range in upper memory.
        const bool page_matches = it->first < kHalfPage || it->page < 0 || it->page == page;
        if (op_matches && page_matches && overlaps(reg, last, it->first, it->last)) {
            const std::uint32_t code = it->code;
            if (it->remaining != 0 && --it->remaining == 0) {
                range_faults_.erase(it);
            }
            return code;
        }
    }
    return 0;
}

std::uint8_t Cage::effective_page(std::uint32_t addr, std::uint8_t page_arg, bool direct) const {
    if (addr < kHalfPage) {
        return 0;
    }
    if (direct) {
        // A linear window as sysfs EEPROM files present it: every 128 bytes
        // past the first upper page is the next page.
        return static_cast<std::uint8_t>(page_arg + (addr - kHalfPage) / kHalfPage);
    }
    return module_->selected_page();
}

void Cage::account(const Transaction &t, bool direct) {
    ++stats_.transactions;
    if (t.rc != 0) {
        ++stats_.failed;
    }
    if (t.rc == kNoModuleCode && !module_) {
        stats_.bits += kNackBits;
        return;
    }
    if (direct && t.reg + t.len > kHalfPage && t.page != adapter_page_) {
        ++stats_.adapter_page_selects;
        stats_.bits += write_bits(1);
        adapter_page_ = t.page;
    }
    if (t.op == Op::read) {
        stats_.bits += read_bits(t.len);
        stats_.bytes_read += t.rc == 0 ? t.len : 0;
    } else {
        stats_.bits += write_bits(t.len);
        stats_.bytes_written += t.rc == 0 ? t.len : 0;
        if (t.reg <= kPageSelectReg && t.reg + t.len > kPageSelectReg) {
            ++stats_.page_select_writes;
        }
    }
}

std::uint32_t Cage::transfer(Op op, std::uint8_t reg, std::uint8_t page, std::uint32_t len, std::uint8_t *in,
                             const std::uint8_t *out, bool direct, bool bit_bang) {
    Transaction t{op, bit_bang, reg, 0, len, 0, {}};
    if (++transaction_count_ == pull_at_ && module_) {
        pulled_ = std::move(module_);
    }
    if (!module_) {
        t.rc = kNoModuleCode;
    } else {
        t.page = effective_page(std::max<std::uint32_t>(reg, kHalfPage), page, direct);
        if (reg + len <= kHalfPage) {
            t.page = 0;
        }
        if (direct && reg + len > kHalfPage) {
            const std::uint8_t last_page = effective_page(reg + len - 1, page, true);
            for (unsigned p = t.page; p <= last_page; ++p) {
                if (!module_->memory().has_page(static_cast<std::uint8_t>(p))) {
                    t.rc = kBadPageCode;
                }
            }
        }
        if (t.rc == 0) {
            t.rc = fault_for(op, reg, t.page, len);
        }
        if (t.rc == 0 && module_->busy()) {
            t.rc = kNoModuleCode;
        }
    }
    if (t.rc == 0) {
        module_->begin_transaction();
        for (std::uint32_t i = 0; i < len; ++i) {
            // Raw two-wire: the module's 8-bit address counter wraps after 255.
            const std::uint32_t linear = reg + i;
            const auto addr = static_cast<std::uint8_t>(direct ? (linear < 2 * kHalfPage ? linear : kHalfPage + linear % kHalfPage)
                                                               : linear & 0xFF);
            const std::uint8_t byte_page = effective_page(direct ? linear : addr, page, direct);
            if (op == Op::read) {
                in[i] = module_->read_byte(byte_page, addr);
            } else {
                module_->write_byte(byte_page, addr, out[i]);
            }
        }
        module_->end_transaction();
    }
    if (op == Op::write && out != nullptr) {
        t.data.assign(out, out + len);
    }
    const std::uint64_t bits_before = stats_.bits;
    account(t, direct);
    hold_bus(stats_.bits - bits_before);
    const std::uint32_t rc = t.rc;
    log_.push(std::move(t));
    return rc;
}

std::uint32_t Cage::read(std::uint8_t reg, std::uint8_t page, std::uint32_t len, void *buf) {
    if (buf == nullptr && len > 0) {
        return kBadPageCode;
    }
    std::lock_guard lock(mu_);
    return transfer(Op::read, reg, page, len, static_cast<std::uint8_t *>(buf), nullptr, direct_read_);
}

std::uint32_t Cage::write(std::uint8_t reg, std::uint8_t page, std::uint32_t len, const void *buf) {
    if (buf == nullptr && len > 0) {
        return kBadPageCode;
    }
    std::lock_guard lock(mu_);
    return transfer(Op::write, reg, page, len, nullptr, static_cast<const std::uint8_t *>(buf), direct_write_);
}

std::uint32_t Cage::bit_bang_read(std::uint8_t reg, std::uint8_t page, std::uint32_t len, void *buf, std::uint64_t arg) {
    if (buf == nullptr && len > 0) {
        return kBadPageCode;
    }
    std::lock_guard lock(mu_);
    // Byte by byte on the raw bus, `arg` nanoseconds apart.
    const BusStats before = stats_;
    const std::uint32_t rc = transfer(Op::read, reg, page, len, static_cast<std::uint8_t *>(buf), nullptr, false, true);
    if (rc == 0 && len > 1) {
        stats_.transactions = before.transactions + len;
        stats_.bits = before.bits + len * read_bits(1);
        stats_.delay_ns += (len - 1) * arg;
    }
    return rc;
}

}  // namespace qsfp::sim

using qsfp::sim::Cage;

extern "C" uint32_t qsfp_sim_read(uint64_t opaque, uint8_t reg, uint8_t page, uint32_t len, void *buf) {
    Cage *cage = Cage::from_opaque(opaque);
    return cage != nullptr ? cage->read(reg, page, len, buf) : qsfp::sim::kNoModuleCode;
}

extern "C" uint32_t qsfp_sim_write(uint64_t opaque, uint8_t reg, uint8_t page, uint32_t len, const void *buf) {
    Cage *cage = Cage::from_opaque(opaque);
    return cage != nullptr ? cage->write(reg, page, len, buf) : qsfp::sim::kNoModuleCode;
}

extern "C" uint32_t qsfp_sim_bit_bang_read(uint64_t opaque, uint8_t reg, uint8_t page, uint32_t len, void *buf,
                                           uint64_t arg) {
    Cage *cage = Cage::from_opaque(opaque);
    return cage != nullptr ? cage->bit_bang_read(reg, page, len, buf, arg) : qsfp::sim::kNoModuleCode;
}
