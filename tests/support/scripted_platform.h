// A platform whose services fail on request and record how they were called,
// linked instead of the reference platform to test the library's set-up.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace qsfp::test::scripted {

struct OpenCall {
    std::string name;
    std::uint32_t size;
    std::uint32_t options;
    std::string dir;
    std::string catalog_id;
    std::uint32_t flags;
};

struct Script {
    int fail_open_at = -1;       // index of the open call that fails
    int enable_rc = 0;           // answer of every enable call
    bool fail_tree = false;      // mgd_timer_tree_new answers null
    int attach_rc = 0;           // answer of levm_attach_tree_timer (null levm or tree: -1)
};

Script &script();
const std::vector<OpenCall> &open_calls();
// Buffer names in the order ztrace_enable_configuration was called.
const std::vector<std::string> &enable_calls();
// Entries written to the named buffer.
std::vector<std::string> entries(const std::string &buffer);
// An event manager handle whose levm the scripted platform hands back.
void *evm();

}  // namespace qsfp::test::scripted
