// What the library's return codes mean to an operator, and which exit code
// each leads to.
#pragma once

#include <cstdint>
#include <string>

namespace qsfpctl {

// "rc 22 (EINVAL: invalid argument, or a step of the operation failed)".
std::string rc_text(std::uint32_t rc);
// The exit code for a failed operation that answered `rc`.
int exit_code_for(std::uint32_t rc);
// Whether `rc` says the bound driver lacks the operation.
bool not_supported(std::uint32_t rc);

}  // namespace qsfpctl
