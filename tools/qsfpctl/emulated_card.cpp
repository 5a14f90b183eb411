#include "emulated_card.h"

#include <chrono>
#include <memory>
#include <string>

#include <qsfp/sim/cage.h>
#include <qsfp/sim/cmis_module.h>
#include <qsfp/sim/line_card.h>
#include <qsfp/sim/virtual_clock.h>
#include <qsfp/sim/sff8636_module.h>

namespace qsfpctl {

namespace {

using qsfp::sim::Sff8636Module;

// A condition an operator should see on the card: set through the module's
// own monitors, so the library finds it as it would on a real module.
using Condition = void (*)(Sff8636Module &module);

void hot_module(Sff8636Module &module) { module.set_temperature(78.0); }
void dark_rx_lane_3(Sff8636Module &module) { module.set_rx_power(2, 0.0); }
void faulty_tx_lane_2(Sff8636Module &module) { module.set_tx_fault(1, true); }
void low_supply(Sff8636Module &module) { module.set_vcc(2.95); }

struct CardSlot {
    const char *module;  // catalogue name; nullptr: the cage is empty
    Condition condition;
};

constexpr CardSlot kCard[] = {
    {"100G-SR4", nullptr},
    {"KORVA-100G-LR4-TEC", dark_rx_lane_3},
    {"100G-PSM4", hot_module},
    {"100G-CR4-FLAT", nullptr},
    {"40G-SR4", faulty_tx_lane_2},
    {"KORVA-40G-LR4", low_supply},
    {"100G-AOC", nullptr},
    {nullptr, nullptr},
    // QSFP-DD cages: CMIS modules.
    {"400G-FR4", nullptr},
    {"KORVA-400G-DR4", nullptr},
    {"400G-CR8-FLAT", nullptr},
    {"400G-ZR", nullptr},
};

class EmulatedCage : public CageBackend {
public:
    EmulatedCage(std::shared_ptr<qsfp::sim::LineCard> card, std::size_t index, const char *module)
        : card_(std::move(card)), index_(index), module_(module != nullptr ? module : "") {}

    CageAccess access() override {
        CageAccess a;
        a.read = qsfp_sim_read;
        a.write = qsfp_sim_write;
        a.bit_bang_read = qsfp_sim_bit_bang_read;
        a.opaque = card_->cage(index_).opaque();
        a.bring_up = true;
        return a;
    }

    std::string describe() const override {
        return module_.empty() ? "empty emulated cage" : "emulated " + module_;
    }

private:
    std::shared_ptr<qsfp::sim::LineCard> card_;
    std::size_t index_;
    std::string module_;
};

}  // namespace

std::shared_ptr<qsfp::sim::LineCard> make_emulated_card() {
    auto card = std::make_shared<qsfp::sim::LineCard>(std::size(kCard));
    // The tool keeps no transaction log of its own cages (--record has its
    // own): a long `serve` would otherwise fill every cage's ring.
    for (std::size_t i = 0; i < card->size(); ++i) {
        card->cage(i).set_log_capacity(0);
    }
    qsfp::sim::VirtualClock::instance().set_sleep_log_capacity(0);
    for (std::size_t i = 0; i < std::size(kCard); ++i) {
        const CardSlot &slot = kCard[i];
        // Every name is a catalogue entry (a test checks the card's list).
        const bool inserted = slot.module != nullptr && card->insert(i, slot.module);
        if (inserted && slot.condition != nullptr) {
            if (auto *module = dynamic_cast<Sff8636Module *>(card->cage(i).module())) {
                slot.condition(*module);
            }
        }
        // The library polls the CDB completion flag straight after a Run and
        // takes a module still in its reset as a failure: the card's CMIS
        // modules come back from that reset at once, so `cdb download --run`
        // completes on them.
        if (auto *module = dynamic_cast<qsfp::sim::CmisModule *>(card->cage(i).module())) {
            module->set_cdb_reset_time(std::chrono::nanoseconds(0));
        }
    }
    return card;
}

CageList emulated_cages(const std::shared_ptr<qsfp::sim::LineCard> &card) {
    CageList cages;
    for (std::size_t i = 0; i < card->size(); ++i) {
        const char *module = i < std::size(kCard) && card->cage(i).module() != nullptr ? kCard[i].module : nullptr;
        cages.push_back(std::make_unique<EmulatedCage>(card, i, module));
    }
    return cages;
}

}  // namespace qsfpctl
