// One front-panel cage as the tool reaches it. Every backend ends in the
// caller's access functions of the library's creation record: the library,
// not the tool, decides what to read and write.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <qsfp/qsfp_types.h>

namespace qsfpctl {

struct CageAccess {
    qsfp_read_fn read = nullptr;
    qsfp_write_fn write = nullptr;
    qsfp_bit_bang_read_fn bit_bang_read = nullptr;
    std::uint64_t opaque = 0;
    // The access functions select the page themselves (the page argument is
    // an address in a linear file); otherwise the library writes byte 127.
    bool direct_page = false;
    // False: the tool refuses register writes before any byte moves.
    bool writable = true;
    // Bring the module up (hardware init, lanes admin-up, settle) as a port
    // manager does at insertion. Only where that disturbs nothing: the
    // emulated card. Real modules are observed as they are.
    bool bring_up = false;
    // The library's waits must take real time (a real module is behind).
    bool real_time = false;
};

class CageBackend {
public:
    virtual ~CageBackend() = default;
    virtual CageAccess access() = 0;
    // What is behind the cage, for messages: "emulated 100G-SR4", "image x.bin".
    virtual std::string describe() const = 0;
};

using CageList = std::vector<std::unique_ptr<CageBackend>>;

// A backend that failed to open says why.
struct OpenedCage {
    std::unique_ptr<CageBackend> cage;
    std::string error;
};

}  // namespace qsfpctl
