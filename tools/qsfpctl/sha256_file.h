// SHA-256 of a file, for checking a firmware image before any of it is sent.
#pragma once

#include <string>

namespace qsfpctl {

// Lower-case hex digest in `digest`; answers "" or why the file could not be read.
std::string sha256_of_file(const std::string &path, std::string &digest);

}  // namespace qsfpctl
