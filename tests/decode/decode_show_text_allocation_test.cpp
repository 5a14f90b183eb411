// Out-of-memory paths of the show-text builders. calloc is wrapped at link
// time (-Wl,--wrap=calloc) so that a test can make the Nth allocation fail.
#include <cstdlib>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <qsfp/qsfp_decode.h>

#include "decode/image_files.h"
#include "decode/show_text_port.h"

namespace {
int g_callocs_until_failure = 0;  // 0: none fails
}

extern "C" void *__real_calloc(std::size_t n, std::size_t size);
extern "C" void *__wrap_calloc(std::size_t n, std::size_t size) {
    if (g_callocs_until_failure > 0 && --g_callocs_until_failure == 0) {
        return nullptr;
    }
    return __real_calloc(n, size);
}

namespace {

using namespace qsfp::test;

constexpr std::uint32_t kSize = 9000;

// Runs `build` with the Nth allocation failing.
template <typename Build>
BuiltText with_failing_calloc(int nth, Build build) {
    g_callocs_until_failure = nth;
    BuiltText r = build_text(kSize, build);
    g_callocs_until_failure = 0;
    return r;
}

std::vector<std::uint8_t> cmis_pages() {
    return load_module_image(QSFP_TEST_DATA_DIR "/eeprom/cmis_JUNIPER-1G1_740-174932_1.bin")
        .layout({"lower", "00h", "01h", "02h", "03h", "10h", "11h"});
}

TEST(ShowTextAllocation, Sff8636WorkBufferOrRecordMissingAnswers12) {
    const std::vector<std::uint8_t> pages(640, 0);
    qsfp_port_ctx port = show_text_port(1, false);
    // The work buffer and five records.
    for (int nth = 1; nth <= 6; ++nth) {
        const BuiltText r = with_failing_calloc(nth, [&](char *out, std::uint32_t size) {
            return qsfp_drv_qsfp8636_get_eeprom_str(&port, out, size, pages.data());
        });
        EXPECT_EQ(r.rc, 12) << "allocation " << nth;
        EXPECT_EQ(r.text, std::string(kSize, kGuard)) << "allocation " << nth;
    }
}

TEST(ShowTextAllocation, LineWithoutScratchIsLeftOut) {
    const std::vector<std::uint8_t> pages(640, 0);
    qsfp_port_ctx port = show_text_port(1, false);
    const BuiltText whole = build_text(kSize, [&](char *out, std::uint32_t size) {
        return qsfp_drv_qsfp8636_get_eeprom_str(&port, out, size, pages.data());
    });
    // The seventh allocation is the first line's scratch.
    const BuiltText r = with_failing_calloc(7, [&](char *out, std::uint32_t size) {
        return qsfp_drv_qsfp8636_get_eeprom_str(&port, out, size, pages.data());
    });
    EXPECT_EQ(r.rc, 0);
    const std::string first_line = "\nQSFP8636 EEPROM port: 1";
    ASSERT_EQ(whole.text.rfind(first_line, 0), 0u);
    EXPECT_EQ(r.text, whole.text.substr(first_line.size()));
}

TEST(ShowTextAllocation, CmisFullViewRecordMissingAnswers12) {
    const std::vector<std::uint8_t> pages = cmis_pages();
    qsfp_port_ctx port = show_text_port(1, false);
    for (int nth = 1; nth <= 6; ++nth) {
        const BuiltText r = with_failing_calloc(nth, [&](char *out, std::uint32_t size) {
            return qsfp_drv_op_qsfpdd_get_eeprom_str(&port, out, size, pages.data());
        });
        EXPECT_EQ(r.rc, 12) << "allocation " << nth;
        EXPECT_EQ(r.text, std::string(kSize, kGuard)) << "allocation " << nth;
    }
}

TEST(ShowTextAllocation, CmisIdentifierViewRecordMissingAnswers12) {
    const std::vector<std::uint8_t> pages = cmis_pages();
    qsfp_port_ctx port = show_text_port(1, false);
    for (int nth = 1; nth <= 3; ++nth) {
        const BuiltText r = with_failing_calloc(nth, [&](char *out, std::uint32_t size) {
            return qsfp_drv_qsfpdd_get_eeprom_str(&port, out, size, pages.data(), pages.data() + 128);
        });
        EXPECT_EQ(r.rc, 12) << "allocation " << nth;
        EXPECT_EQ(r.text, std::string(kSize, kGuard)) << "allocation " << nth;
    }
}

}  // namespace
