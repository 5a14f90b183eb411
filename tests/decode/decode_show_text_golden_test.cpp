// Golden show texts of the real module images. Each text is compared byte
// for byte with its file under tests/decode/golden; QSFP_UPDATE_GOLDEN=1 in
// the environment rewrites the files instead (review them before committing).
#include <cctype>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <qsfp/qsfp_decode.h>

#include "decode/image_files.h"
#include "decode/show_text_port.h"

namespace {

using namespace qsfp::test;

constexpr std::uint32_t kDriverSize = 9000;
constexpr std::uint32_t kPortNumber = 1;
// CMIS lower byte 2 bit 7: the module has flat memory.
constexpr std::uint8_t kCmisFlatMemory = 0x80;

bool updating() {
    const char *flag = std::getenv("QSFP_UPDATE_GOLDEN");
    return flag != nullptr && std::string(flag) == "1";
}

void expect_golden(const std::string &file, const std::string &text) {
    const std::string path = std::string(QSFP_DECODE_GOLDEN_DIR) + "/" + file;
    if (updating()) {
        std::ofstream out(path, std::ios::binary);
        out << text;
        ASSERT_TRUE(out.good()) << "cannot write " << path;
        return;
    }
    std::ifstream in(path, std::ios::binary);
    ASSERT_TRUE(in.good()) << "no golden text " << path << " (QSFP_UPDATE_GOLDEN=1 writes it)";
    const std::string golden{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    EXPECT_EQ(text, golden) << "differs from " << path;
}

std::string test_name(const testing::TestParamInfo<ModuleImage> &info) {
    std::string name = info.param.name;
    for (char &c : name) {
        if (!std::isalnum(static_cast<unsigned char>(c))) {
            c = '_';
        }
    }
    return name;
}

std::string built(int rc, const BuiltText &r) {
    EXPECT_EQ(rc, 0);
    EXPECT_TRUE(r.guard_intact);
    return r.text;
}

class Sff8636GoldenShowText : public testing::TestWithParam<ModuleImage> {};

TEST_P(Sff8636GoldenShowText, MatchesTheGoldenText) {
    const ModuleImage &image = GetParam();
    const bool flat = flat_memory(image.page("lower"));
    const std::vector<std::uint8_t> pages =
        flat ? image.layout({"lower", "00h"}) : image.layout({"lower", "00h", "01h", "02h", "03h"});
    qsfp_port_ctx port = show_text_port(kPortNumber, flat);
    const BuiltText r = build_text(kDriverSize, [&](char *out, std::uint32_t size) {
        return qsfp_drv_qsfp8636_get_eeprom_str(&port, out, size, pages.data());
    });
    expect_golden(image.name + ".sff8636.txt", built(r.rc, r));
}

INSTANTIATE_TEST_SUITE_P(RealModules, Sff8636GoldenShowText, testing::ValuesIn(module_images("sff8636_")), test_name);

class CmisGoldenShowText : public testing::TestWithParam<ModuleImage> {
protected:
    qsfp_port_ctx port() const {
        return show_text_port(kPortNumber, (GetParam().page("lower").at(2) & kCmisFlatMemory) != 0);
    }
};

TEST_P(CmisGoldenShowText, IdentifierViewMatchesTheGoldenText) {
    const ModuleImage &image = GetParam();
    const std::vector<std::uint8_t> lower = image.page("lower");
    const std::vector<std::uint8_t> page00 = image.page("00h");
    qsfp_port_ctx p = port();
    const BuiltText r = build_text(kDriverSize, [&](char *out, std::uint32_t size) {
        return qsfp_drv_qsfpdd_get_eeprom_str(&p, out, size, lower.data(), page00.data());
    });
    expect_golden(image.name + ".cmis_id.txt", built(r.rc, r));
}

TEST_P(CmisGoldenShowText, FullViewMatchesTheGoldenText) {
    const ModuleImage &image = GetParam();
    const std::vector<std::uint8_t> pages = image.layout({"lower", "00h", "01h", "02h", "03h", "10h", "11h"});
    ASSERT_EQ(pages.size(), static_cast<std::size_t>(QSFPDD_SHOW_IMAGE_SIZE));
    qsfp_port_ctx p = port();
    const BuiltText r = build_text(kDriverSize, [&](char *out, std::uint32_t size) {
        return qsfp_drv_op_qsfpdd_get_eeprom_str(&p, out, size, pages.data());
    });
    expect_golden(image.name + ".cmis_full.txt", built(r.rc, r));
}

INSTANTIATE_TEST_SUITE_P(RealModules, CmisGoldenShowText, testing::ValuesIn(module_images("cmis_")), test_name);

}  // namespace
