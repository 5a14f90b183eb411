// The library's ports for the cages a command needs, created as a port
// manager creates them and deleted when the command is done.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <qsfp/qsfp_port.h>

#include "access_tap.h"
#include "cage_backend.h"

namespace qsfpctl {

// The driver table the library bound to a port.
enum class DriverKind { none, sff8636, cmis, coherent };
const char *driver_name(DriverKind kind);

struct OpenPort {
    std::size_t cage = 0;            // 1-based
    qsfp_port_ctx *handle = nullptr; // null: no port (see create_rc)
    std::uint32_t create_rc = 0;
    DriverKind driver = DriverKind::none;
    // No module answers in the cage (the library then binds no driver).
    bool empty = false;
    CageAccess access;
};

class PortSession {
public:
    // `virtual_time`: the library's waits run on the virtual clock even for a
    // real backend (tests of the backends themselves). `log`, when not
    // null, receives every bus transfer of every cage.
    PortSession(CageList &cages, bool virtual_time, AccessLog *log = nullptr);
    ~PortSession();
    PortSession(const PortSession &) = delete;
    PortSession &operator=(const PortSession &) = delete;

    std::size_t cage_count() const { return cages_.size(); }
    // Of a cage in range (1-based): whether its backend takes writes, and what it is.
    bool writable(std::size_t cage) const { return cages_.at(cage - 1)->access().writable; }
    std::string describe(std::size_t cage) const { return cages_.at(cage - 1)->describe(); }
    // Creates the ports of the given cages (1-based, each within range) and
    // brings up those whose backend asks for it, settling them together.
    void open(const std::vector<std::size_t> &cages);
    void open_all();
    const OpenPort &port(std::size_t cage) const;
    // Firmware bytes the library has written to the cage's CDB payload pages.
    std::uint64_t payload_bytes(std::size_t cage) const { return taps_.at(cage - 1)->payload_bytes(); }

private:
    OpenPort create(std::size_t cage);

    CageList &cages_;
    std::vector<std::unique_ptr<CageTap>> taps_;
    std::vector<std::optional<OpenPort>> ports_;
};

}  // namespace qsfpctl
