#include "library_answer.h"

#include <array>
#include <cstdio>
#include <string_view>

#include <qsfp/qsfp_types.h>

#include "exit_codes.h"

namespace qsfpctl {

namespace {

// Codes not in the library's list come from the backends' access functions.
constexpr std::uint32_t kIoError = 5;
constexpr std::uint32_t kNoDevice = 6;
constexpr std::uint32_t kReadOnly = 30;

struct CodeText {
    std::uint32_t rc;
    std::string_view name;
    std::string_view meaning;
};

constexpr std::array kCodeTexts = {
    CodeText{QSFP_ERR_NOT_FOUND, "ENOENT", "port not known to the library"},
    CodeText{kIoError, "EIO", "the bus transfer failed"},
    CodeText{kNoDevice, "ENXIO", "no module answers"},
    CodeText{QSFP_ERR_NOT_READY, "EAGAIN", "module not ready, or of a kind the library does not know"},
    CodeText{QSFP_ERR_NO_MEMORY, "ENOMEM", "out of memory"},
    CodeText{QSFP_ERR_NO_CONTEXT, "EFAULT", "library not set up"},
    CodeText{QSFP_ERR_BUSY, "EBUSY", "port busy"},
    CodeText{QSFP_ERR_INVALID, "EINVAL", "invalid argument, or a step of the operation failed"},
    CodeText{kReadOnly, "EROFS", "the backend is read-only"},
    CodeText{QSFP_ERR_DEADLOCK, "EDEADLK", "port lock already held"},
    CodeText{QSFP_ERR_CONFIG_TIMEOUT, "ETIME", "configuration timed out"},
    CodeText{QSFP_ERR_NOT_SUPPORTED, "EOPNOTSUPP", "not supported by this module's driver"},
    CodeText{QSFP_ERR_EMPTY_SLOT, "empty slot", "not supported by this module's driver yet"},
};

}  // namespace

std::string rc_text(std::uint32_t rc) {
    char number[24];
    if (rc == QSFP_ERR_EMPTY_SLOT) {
        std::snprintf(number, sizeof number, "rc 0x%x", rc);
    } else {
        std::snprintf(number, sizeof number, "rc %u", rc);
    }
    for (const CodeText &c : kCodeTexts) {
        if (c.rc == rc) {
            return std::string(number) + " (" + std::string(c.name) + ": " + std::string(c.meaning) + ")";
        }
    }
    return number;
}

bool not_supported(std::uint32_t rc) { return rc == QSFP_ERR_NOT_SUPPORTED || rc == QSFP_ERR_EMPTY_SLOT; }

int exit_code_for(std::uint32_t rc) {
    if (not_supported(rc)) return kExitNotSupported;
    if (rc == kNoDevice) return kExitNoModule;
    if (rc == kReadOnly) return kExitReadOnly;
    return kExitLibraryError;
}

}  // namespace qsfpctl
