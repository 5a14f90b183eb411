// What the fuzz targets that bring ports up share: the process's event
// manager on virtual time, the check that an operation left the port's lock
// free, and a small firmware image file for downloads.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include <unistd.h>

#include <qsfp/platform_ref.h>
#include <qsfp/qsfp.h>
#include <qsfp/sim/virtual_clock.h>

namespace qsfp::fuzz {

inline void *evm() {
    static void *em = [] {
        void *e = qsfp_ref_event_manager_new(QSFP_REF_VIRTUAL_TIME);
        qsfp::sim::VirtualClock::instance().drive(event_manager_levm_get(e));
        return e;
    }();
    return em;
}

inline bool lock_free(qsfp_port_ctx *port) {
    if (qsfp_check_and_lock_hdl(port, __LINE__) != QSFP_OK) return false;
    qsfp_port_unlock(port);
    return true;
}

// A firmware image of `size` bytes in a scratch file of this process, made
// at the first call (later calls answer that file: a target uses one);
// `tag` keeps the files of different targets apart.
inline const std::string &firmware_image_file(const char *tag, std::size_t size) {
    static const std::string path = [tag, size] {
        std::string p = std::string("/tmp/qsfp_fuzz_") + tag + "_image_" + std::to_string(getpid()) + ".bin";
        if (std::FILE *f = std::fopen(p.c_str(), "wb")) {
            std::vector<unsigned char> bytes(size);
            for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<unsigned char>(i * 7);
            std::fwrite(bytes.data(), 1, bytes.size(), f);
            std::fclose(f);
        }
        return p;
    }();
    return path;
}

}  // namespace qsfp::fuzz
