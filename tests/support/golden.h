// Golden texts: a text compared byte for byte with a file kept in the
// repository. QSFP_UPDATE_GOLDEN=1 in the environment rewrites the files
// instead (look at the diff before committing it).
#pragma once

#include <string>

namespace qsfp::test {

// `path` is relative to the tests folder, for example "sff8636/golden/x.txt".
void expect_golden(const std::string &path, const std::string &text);

}  // namespace qsfp::test
