#include <qsfp/sim/module.h>

#include <algorithm>
#include <random>
#include <stdexcept>

namespace qsfp::sim {

ModuleMemory::ModuleMemory() { add_page(0); }

ModuleMemory::ModuleMemory(const ModuleMemory &other) { *this = other; }

ModuleMemory &ModuleMemory::operator=(const ModuleMemory &other) {
    if (this != &other) {
        lower_ = other.lower_;
        flat_ = other.flat_;
        for (std::size_t p = 0; p < upper_.size(); ++p) {
            upper_[p] = other.upper_[p] ? std::make_unique<Page>(*other.upper_[p]) : nullptr;
        }
    }
    return *this;
}

void ModuleMemory::add_page(std::uint8_t page) {
    if (!upper_[page]) {
        upper_[page] = std::make_unique<Page>();
    }
}

bool ModuleMemory::has_page(std::uint8_t page) const { return upper_[page] != nullptr; }

std::vector<std::uint8_t> ModuleMemory::pages() const {
    std::vector<std::uint8_t> list;
    for (std::size_t p = 0; p < upper_.size(); ++p) {
        if (upper_[p]) {
            list.push_back(static_cast<std::uint8_t>(p));
        }
    }
    return list;
}

Page &ModuleMemory::half(std::uint8_t page, std::uint8_t addr) {
    if (addr < kHalfPage) {
        return lower_;
    }
    if (!upper_[page]) {
        throw std::out_of_range("module has no such upper page");
    }
    return *upper_[page];
}

const Page *ModuleMemory::half_if(std::uint8_t page, std::uint8_t addr) const {
    return addr < kHalfPage ? &lower_ : upper_[page].get();
}

std::uint8_t ModuleMemory::get(std::uint8_t page, std::uint8_t addr) const {
    const Page *p = half_if(page, addr);
    return p != nullptr ? p->bytes[addr % kHalfPage] : 0;
}

void ModuleMemory::set(std::uint8_t page, std::uint8_t addr, std::uint8_t value) {
    half(page, addr).bytes[addr % kHalfPage] = value;
}

std::vector<std::uint8_t> ModuleMemory::get_bytes(std::uint8_t page, std::uint8_t addr, std::size_t len) const {
    std::vector<std::uint8_t> out(len);
    for (std::size_t i = 0; i < len; ++i) {
        out[i] = get(page, static_cast<std::uint8_t>(addr + i));
    }
    return out;
}

void ModuleMemory::set_bytes(std::uint8_t page, std::uint8_t addr, std::span<const std::uint8_t> bytes) {
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        set(page, static_cast<std::uint8_t>(addr + i), bytes[i]);
    }
}

bool ModuleMemory::writable(std::uint8_t page, std::uint8_t addr) const {
    const Page *p = half_if(page, addr);
    return p != nullptr && p->writable.test(addr % kHalfPage);
}

void ModuleMemory::set_writable(std::uint8_t page, std::uint8_t first, std::uint8_t last, bool writable) {
    for (unsigned a = first; a <= last; ++a) {
        half(page, static_cast<std::uint8_t>(a)).writable.set(a % kHalfPage, writable);
    }
}

ModuleMemory ModuleMemory::from_image(std::span<const std::uint8_t> image, std::span<const std::uint8_t> upper_pages) {
    ModuleMemory memory;
    const std::size_t lower = std::min(image.size(), kHalfPage);
    memory.set_bytes(0, 0, image.first(lower));
    for (std::size_t i = 0; i < upper_pages.size(); ++i) {
        const std::size_t offset = kHalfPage * (i + 1);
        if (offset >= image.size()) {
            break;
        }
        const std::uint8_t page = upper_pages[i];
        memory.add_page(page);
        memory.set_bytes(page, kHalfPage, image.subspan(offset, std::min(kHalfPage, image.size() - offset)));
    }
    return memory;
}

Module::Module(ModuleMemory memory) : memory_(std::move(memory)) {}
Module::~Module() = default;

std::uint8_t Module::selected_page() const { return memory_.flat() ? 0 : memory_.get(0, kPageSelectReg); }

std::uint8_t Module::read_byte(std::uint8_t page, std::uint8_t addr) {
    if (addr >= kHalfPage && (memory_.flat() || !memory_.has_page(page))) {
        page = 0;
    }
    if (const Stuck *s = stuck_at(page, addr)) {
        return s->value;
    }
    return on_read(page, addr);
}

void Module::write_byte(std::uint8_t page, std::uint8_t addr, std::uint8_t value) {
    if (addr == kPageSelectReg) {
        // Flat memory has no page register; a page the module lacks is refused.
        if (!memory_.flat() && memory_.has_page(value)) {
            memory_.set(0, kPageSelectReg, value);
        }
        return;
    }
    if (addr >= kHalfPage && !memory_.has_page(page)) {
        return;
    }
    on_write(page, addr, value);
}

std::uint8_t Module::on_read(std::uint8_t page, std::uint8_t addr) { return memory_.get(page, addr); }

void Module::on_write(std::uint8_t page, std::uint8_t addr, std::uint8_t value) {
    if (memory_.writable(page, addr)) {
        memory_.set(page, addr, value);
    }
}

void Module::stick(std::uint8_t page, std::uint8_t addr, std::uint8_t value) {
    unstick(page, addr);
    stuck_.push_back({addr < kHalfPage ? std::uint8_t{0} : page, addr, value});
}

void Module::unstick(std::uint8_t page, std::uint8_t addr) {
    const std::uint8_t key = addr < kHalfPage ? 0 : page;
    std::erase_if(stuck_, [&](const Stuck &s) { return s.page == key && s.addr == addr; });
}

const Module::Stuck *Module::stuck_at(std::uint8_t page, std::uint8_t addr) const {
    const std::uint8_t key = addr < kHalfPage ? 0 : page;
    for (const Stuck &s : stuck_) {
        if (s.page == key && s.addr == addr) {
            return &s;
        }
    }
    return nullptr;
}

void randomize(ModuleMemory &memory, std::uint32_t seed) {
    std::mt19937 rng(seed);
    std::uniform_int_distribution<int> byte(0, 255);
    for (unsigned a = 0; a < kHalfPage; ++a) {
        memory.set(0, static_cast<std::uint8_t>(a), static_cast<std::uint8_t>(byte(rng)));
    }
    for (std::uint8_t page : memory.pages()) {
        for (unsigned a = kHalfPage; a < 2 * kHalfPage; ++a) {
            memory.set(page, static_cast<std::uint8_t>(a), static_cast<std::uint8_t>(byte(rng)));
        }
    }
}

}  // namespace qsfp::sim
