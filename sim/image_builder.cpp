#include <qsfp/sim/image_builder.h>

#include <utility>

#include <qsfp/sim/sff8636_units.h>

namespace qsfp::sim {

using namespace sff8636;

namespace {

constexpr std::size_t kNameWidth = 16;
constexpr std::size_t kRevisionWidth = 2;
constexpr std::size_t kDateWidth = 8;

}  // namespace

ImageBuilder::ImageBuilder(std::uint8_t identifier, bool flat) {
    memory_.set_flat(flat);
    memory_.set(0, kIdentifier, identifier);
    memory_.set(0, kUpperIdentifier, identifier);
    memory_.set(0, kStatus, flat ? kFlatMem : 0);
    if (!flat) {
        for (std::uint8_t page : {kPage01, kPage02, kPage03}) {
            memory_.add_page(page);
        }
    }
}

bool ImageBuilder::reachable(std::uint8_t page, std::uint8_t addr) const {
    return addr < kHalfPage || memory_.has_page(page);
}

ImageBuilder &ImageBuilder::add_page(std::uint8_t page) {
    if (!memory_.flat()) {
        memory_.add_page(page);
    }
    return *this;
}

ImageBuilder &ImageBuilder::set(std::uint8_t page, std::uint8_t addr, std::uint8_t value) {
    if (reachable(page, addr)) {
        memory_.set(page, addr, value);
    }
    return *this;
}

ImageBuilder &ImageBuilder::set_bits(std::uint8_t page, std::uint8_t addr, std::uint8_t bits) {
    return set(page, addr, static_cast<std::uint8_t>(memory_.get(page, addr) | bits));
}

ImageBuilder &ImageBuilder::set_word(std::uint8_t page, std::uint8_t addr, std::uint16_t value) {
    set(page, addr, static_cast<std::uint8_t>(value >> 8));
    return set(page, static_cast<std::uint8_t>(addr + 1), static_cast<std::uint8_t>(value & 0xFF));
}

ImageBuilder &ImageBuilder::set_text(std::uint8_t page, std::uint8_t addr, std::size_t width, std::string_view text) {
    for (std::size_t i = 0; i < width && addr + i < 2 * kHalfPage; ++i) {
        set(page, static_cast<std::uint8_t>(addr + i), i < text.size() ? static_cast<std::uint8_t>(text[i]) : ' ');
    }
    return *this;
}

ImageBuilder &ImageBuilder::vendor(const VendorId &id) {
    set_text(kPage00, kVendorName, kNameWidth, id.name);
    for (std::size_t i = 0; i < id.oui.size(); ++i) {
        set(kPage00, static_cast<std::uint8_t>(kVendorOui + i), id.oui[i]);
    }
    set_text(kPage00, kVendorPart, kNameWidth, id.part);
    set_text(kPage00, kVendorRev, kRevisionWidth, id.revision);
    set_text(kPage00, kVendorSerial, kNameWidth, id.serial);
    return set_text(kPage00, kDateCode, kDateWidth, id.date_code);
}

ImageBuilder &ImageBuilder::thresholds(const Thresholds &t) {
    const auto put = [&](std::uint8_t at, const AlarmLimits &l, std::uint16_t (*encode)(double)) {
        set_word(kPage03, at, encode(l.high_alarm));
        set_word(kPage03, static_cast<std::uint8_t>(at + 2), encode(l.low_alarm));
        set_word(kPage03, static_cast<std::uint8_t>(at + 4), encode(l.high_warning));
        set_word(kPage03, static_cast<std::uint8_t>(at + 6), encode(l.low_warning));
    };
    put(kTempThresholds, t.temperature_c, encode_temperature);
    put(kVccThresholds, t.vcc_v, encode_vcc);
    put(kRxPowerThresholds, t.rx_power_mw, encode_power);
    put(kTxBiasThresholds, t.tx_bias_ma, encode_bias);
    put(kTxPowerThresholds, t.tx_power_mw, encode_power);
    return *this;
}

ImageBuilder &ImageBuilder::monitors(const MonitorValues &m) {
    set_word(0, kTemperature, encode_temperature(m.temperature_c));
    set_word(0, kVcc, encode_vcc(m.vcc_v));
    for (int lane = 0; lane < kLanes; ++lane) {
        const auto offset = static_cast<std::uint8_t>(2 * lane);
        set_word(0, static_cast<std::uint8_t>(kRxPower + offset), encode_power(m.rx_power_mw[lane]));
        set_word(0, static_cast<std::uint8_t>(kTxBias + offset), encode_bias(m.tx_bias_ma[lane]));
        set_word(0, static_cast<std::uint8_t>(kTxPower + offset), encode_power(m.tx_power_mw[lane]));
    }
    return *this;
}

ModuleMemory ImageBuilder::build() {
    fill_check_codes(memory_);
    ModuleMemory out = std::move(memory_);
    memory_ = ModuleMemory();
    return out;
}

std::uint8_t check_code(const ModuleMemory &memory, std::uint8_t first, std::uint8_t last) {
    unsigned sum = 0;
    for (unsigned a = first; a <= last; ++a) {
        sum += memory.get(kPage00, static_cast<std::uint8_t>(a));
    }
    return static_cast<std::uint8_t>(sum & 0xFF);
}

void fill_check_codes(ModuleMemory &memory) {
    memory.set(kPage00, kCcBase, check_code(memory, kCcBaseFirst, kCcBaseLast));
    memory.set(kPage00, kCcExt, check_code(memory, kCcExtFirst, kCcExtLast));
}

}  // namespace qsfp::sim
