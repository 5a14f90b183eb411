// An emulated module's management memory and its behaviour as the two-wire
// bus sees it: lower memory (bytes 0-127), the upper pages the module has,
// byte 127 as page select, read-only and writable bytes.
#pragma once

#include <array>
#include <bitset>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace qsfp::sim {

inline constexpr std::uint8_t kPageSelectReg = 127;
inline constexpr std::size_t kHalfPage = 128;

struct Page {
    std::array<std::uint8_t, kHalfPage> bytes{};
    std::bitset<kHalfPage> writable;
};

// The bytes of a module, without behaviour. Address 0-127 is lower memory
// whatever the page; 128-255 is the upper page named by `page`.
class ModuleMemory {
public:
    ModuleMemory();
    ModuleMemory(const ModuleMemory &other);
    ModuleMemory &operator=(const ModuleMemory &other);
    ModuleMemory(ModuleMemory &&) noexcept = default;
    ModuleMemory &operator=(ModuleMemory &&) noexcept = default;

    bool flat() const { return flat_; }
    // A flat-memory module has upper page 00h only.
    void set_flat(bool flat) { flat_ = flat; }

    void add_page(std::uint8_t page);
    bool has_page(std::uint8_t page) const;
    std::vector<std::uint8_t> pages() const;

    std::uint8_t get(std::uint8_t page, std::uint8_t addr) const;
    void set(std::uint8_t page, std::uint8_t addr, std::uint8_t value);
    std::vector<std::uint8_t> get_bytes(std::uint8_t page, std::uint8_t addr, std::size_t len) const;
    void set_bytes(std::uint8_t page, std::uint8_t addr, std::span<const std::uint8_t> bytes);

    bool writable(std::uint8_t page, std::uint8_t addr) const;
    void set_writable(std::uint8_t page, std::uint8_t first, std::uint8_t last, bool writable = true);

    // Lower memory, then each listed upper page in turn, 128 bytes each. The
    // page list names the upper pages the image holds, in file order.
    static ModuleMemory from_image(std::span<const std::uint8_t> image, std::span<const std::uint8_t> upper_pages);

private:
    Page &half(std::uint8_t page, std::uint8_t addr);
    const Page *half_if(std::uint8_t page, std::uint8_t addr) const;

    Page lower_;
    std::array<std::unique_ptr<Page>, 256> upper_;
    bool flat_ = false;
};

// A module on the bus. Subclasses add behaviour (latched flags, monitors,
// state machines) by overriding the byte hooks.
class Module {
public:
    explicit Module(ModuleMemory memory);
    virtual ~Module();
    Module(const Module &) = delete;
    Module &operator=(const Module &) = delete;

    ModuleMemory &memory() { return memory_; }
    const ModuleMemory &memory() const { return memory_; }

    // The page byte 127 selects (always 00h on a flat-memory module).
    std::uint8_t selected_page() const;

    // One byte as the host reads it; `page` is the upper page the access
    // reaches (ignored for addresses 0-127).
    std::uint8_t read_byte(std::uint8_t page, std::uint8_t addr);
    // One byte as the host writes it: byte 127 selects a page the module
    // has (other values are ignored), read-only bytes ignore the write.
    void write_byte(std::uint8_t page, std::uint8_t addr, std::uint8_t value);

    // Called once per bus transaction before and after its bytes move.
    virtual void begin_transaction() {}
    virtual void end_transaction() {}
    // A busy module does not acknowledge its address; the cage answers as for
    // an empty cage until it is free again. Asked before each transaction, so
    // a module may catch up with the clock here.
    virtual bool busy() { return false; }

    // A byte that reads as `value` whatever the memory holds (a stuck flag).
    void stick(std::uint8_t page, std::uint8_t addr, std::uint8_t value);
    void unstick(std::uint8_t page, std::uint8_t addr);

protected:
    // Behaviour hooks: the default reads and writes the memory.
    virtual std::uint8_t on_read(std::uint8_t page, std::uint8_t addr);
    virtual void on_write(std::uint8_t page, std::uint8_t addr, std::uint8_t value);

private:
    struct Stuck {
        std::uint8_t page;
        std::uint8_t addr;
        std::uint8_t value;
    };
    const Stuck *stuck_at(std::uint8_t page, std::uint8_t addr) const;

    ModuleMemory memory_;
    std::vector<Stuck> stuck_;
};

// Random bytes in every byte of every page the memory has (fuzzing, robustness).
void randomize(ModuleMemory &memory, std::uint32_t seed);

}  // namespace qsfp::sim
