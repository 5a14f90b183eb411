// `show`: the library's show text of the module.
#include <cstdlib>
#include <memory>

#include <qsfp/qsfp_port_ops.h>

#include "commands.h"
#include "exit_codes.h"
#include "library_answer.h"
#include "memory_family.h"
#include "module_identity.h"
#include "show_fallback.h"

namespace qsfpctl {

namespace {

struct FreeText {
    void operator()(void *p) const { std::free(p); }
};

// When the driver's show text is not there: the view the library's decoders
// can give of what the port reads, or the reason there is none.
int show_without_driver_text(Context &ctx, const OpenPort &port, std::uint32_t rc) {
    std::uint8_t identifier = 0;
    const std::uint32_t id_rc = qsfp_port_read(port.handle, 0, 0, 1, &identifier);
    const MemoryFamily family = id_rc == QSFP_OK ? memory_family(identifier) : MemoryFamily::unknown;
    if (family == MemoryFamily::cmis && port.driver != DriverKind::sff8636) {
        return show_cmis(ctx, port);
    }
    if (family == MemoryFamily::sff8636 && port.driver == DriverKind::sff8636) {
        return show_sff8636_partial(ctx, port);
    }
    const std::string cage = std::to_string(port.cage);
    if (port.driver == DriverKind::none) {
        return fail(ctx, exit_code_for(port.create_rc),
                    "cage " + cage + ": the library bound no driver to this module (identifier " +
                        (id_rc == QSFP_OK ? form_factor_name(identifier) : "not readable") +
                        "): " + rc_text(port.create_rc));
    }
    return fail(ctx, exit_code_for(rc), "cage " + cage + ": show text failed: " + rc_text(rc));
}

}  // namespace

int cmd_show(Context &ctx, const std::string &cage) {
    int exit_code = kExitOk;
    const OpenPort *port = open_port(ctx, cage, exit_code);
    if (port == nullptr) {
        return exit_code;
    }
    void *raw = nullptr;
    std::uint32_t len = 0;
    const std::uint32_t rc = qsfp_port_phy_reg_decode(port->handle, &raw, &len);
    const std::unique_ptr<void, FreeText> text(raw);
    if (rc != QSFP_OK) {
        return show_without_driver_text(ctx, *port, rc);
    }
    const std::string body(static_cast<const char *>(text.get()));
    ctx.out << body;
    if (!body.empty() && body.back() != '\n') ctx.out << '\n';
    return kExitOk;
}

}  // namespace qsfpctl
