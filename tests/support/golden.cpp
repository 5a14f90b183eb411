#include "support/golden.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

namespace qsfp::test {

void expect_golden(const std::string &path, const std::string &text) {
    const std::filesystem::path file = std::filesystem::path(QSFP_TEST_SOURCE_DIR) / path;
    const char *update = std::getenv("QSFP_UPDATE_GOLDEN");
    if (update != nullptr && std::string(update) == "1") {
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file, std::ios::binary) << text;
        return;
    }
    std::ifstream in(file, std::ios::binary);
    ASSERT_TRUE(in.good()) << "missing golden file " << file << " (QSFP_UPDATE_GOLDEN=1 writes it)";
    std::stringstream golden;
    golden << in.rdbuf();
    EXPECT_EQ(text, golden.str()) << "differs from " << file;
}

}  // namespace qsfp::test
