// CDB commands and a firmware download against a CMIS module whose CDB
// answers are random: once the port is up, every read of the CDB completion
// flags (lower byte 8), the CDB status bytes (37-38) and the reply area of
// page 9Fh answers the next input byte. Nothing may crash, hang, overrun the
// response buffer or leave the port locked. Input: a command selector, then
// the reply bytes (used in a cycle).
#include <cstdlib>
#include <cstring>
#include <memory>

#include <qsfp/platform_ref.h>
#include <qsfp/qsfp.h>
#include <qsfp/qsfp_port_ops.h>
#include <qsfp/sim/cmis_catalogue.h>
#include <qsfp/sim/cmis_module.h>
#include <qsfp/sim/line_card.h>
#include <qsfp/sim/virtual_clock.h>

#include "fuzz/fuzz_port.h"

namespace {

using qsfp::fuzz::evm;
using qsfp::fuzz::lock_free;

constexpr std::uint8_t kPage9F = 0x9F;
constexpr std::uint32_t kCommands[] = {QSFP_DD_CDB_QUERY_STATUS, QSFP_DD_CDB_DOWNLOAD, QSFP_DD_CDB_RUN,
                                       QSFP_DD_CDB_COMMIT, QSFP_DD_CDB_DOWNLOAD_RUN_COMMIT};

class RandomReplies : public qsfp::sim::CmisModule {
public:
    RandomReplies(qsfp::sim::ModuleMemory memory, const std::uint8_t *replies, std::size_t count)
        : CmisModule(std::move(memory)), replies_(replies), count_(count) {}
    void start() { random_ = count_ != 0; }

protected:
    std::uint8_t on_read(std::uint8_t page, std::uint8_t addr) override {
        const bool cdb_byte = addr == 8 || addr == 37 || addr == 38 || (page == kPage9F && addr >= 128);
        if (random_ && cdb_byte) {
            return replies_[next_++ % count_];
        }
        return CmisModule::on_read(page, addr);
    }

private:
    const std::uint8_t *replies_;
    std::size_t count_;
    std::size_t next_ = 0;
    bool random_ = false;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    if (size < 2) {
        return 0;
    }
    static const qsfp::sim::ModuleMemory memory = qsfp::sim::build_memory(*qsfp::sim::find_cmis_entry("400G-FR4"));
    qsfp::sim::LineCard card(1);
    auto owned = std::make_unique<RandomReplies>(memory, data + 1, size - 1);
    RandomReplies *module = owned.get();
    card.cage(0).insert(std::move(owned));
    qsfp_port_create_params p = card.params(0, evm());
    p.init_arg = QSFP_DD_INIT_FULL;
    qsfp_port_create_result r{};
    qsfp_port_create(&p, &r);
    if (r.handle == nullptr) std::abort();  // the module is healthy until it starts answering at random
    module->start();
    // Room for a few texts only: a full buffer drops further progress.
    char response[96];
    std::memset(response, 0x5A, sizeof response);
    std::uint32_t length = 0;
    cdb_cmd_info request{kCommands[data[0] % std::size(kCommands)],
                         qsfp::fuzz::firmware_image_file("cdb", 3000).c_str(), response, 64, &length};
    qsfp_module_cdb_cmd_execute(r.handle, &request);
    if (length > 64) std::abort();
    for (std::size_t i = 64; i < sizeof response; ++i) {
        if (response[i] != 0x5A) std::abort();  // written past the capacity given
    }
    if (!lock_free(r.handle)) std::abort();
    qsfp_port_delete(r.handle);
    return 0;
}
