// Identifier checksums of upper page 00h.
#include <array>
#include <cstdint>

#include <gtest/gtest.h>

#include <qsfp/qsfp_compliance.h>
#include <qsfp/qsfp_types.h>

#include "decode/image_files.h"

namespace {

using Image = std::array<std::uint8_t, 256>;

TEST(Compliance, AllZeroPagePassesBothChecksums) {
    const Image mem{};
    std::uint8_t stored = 0xAA;
    std::uint8_t computed = 0xAA;
    EXPECT_EQ(qsfp_xcvr_check_compliance_base_chksum(mem.data(), &stored, &computed), 0u);
    EXPECT_EQ(stored, 0);
    EXPECT_EQ(computed, 0);
    std::uint32_t result = 0xFF;
    EXPECT_EQ(qsfp_xcvr_check_compliance(mem.data(), &result), 0u);
    EXPECT_EQ(result, QSFP_COMPLIANCE_OK);
}

TEST(Compliance, BaseChecksumSumsBytes128To190) {
    Image mem{};
    for (std::size_t i = 128; i <= 190; ++i) {
        mem[i] = 0x01;
    }
    mem[191] = 0x3F;
    std::uint8_t stored = 0;
    std::uint8_t computed = 0;
    EXPECT_EQ(qsfp_xcvr_check_compliance_base_chksum(mem.data(), &stored, &computed), 0u);
    EXPECT_EQ(stored, 0x3F);
    EXPECT_EQ(computed, 0x3F);
    std::uint32_t result = 0xFF;
    EXPECT_EQ(qsfp_xcvr_check_compliance(mem.data(), &result), 0u);
    EXPECT_EQ(result, QSFP_COMPLIANCE_OK);
}

TEST(Compliance, BaseMismatchAnswers3AndSkipsTheExtendedCheck) {
    Image mem{};
    for (std::size_t i = 128; i <= 190; ++i) {
        mem[i] = 0x01;
    }
    mem[191] = 0x40;
    mem[223] = 0x99;  // wrong as well: the result still names the base checksum
    std::uint8_t stored = 0;
    std::uint8_t computed = 0;
    EXPECT_EQ(qsfp_xcvr_check_compliance_base_chksum(mem.data(), &stored, &computed), QSFP_COMPLIANCE_BASE_CHECKSUM);
    EXPECT_EQ(stored, 0x40);
    EXPECT_EQ(computed, 0x3F);
    std::uint32_t result = 0;
    EXPECT_EQ(qsfp_xcvr_check_compliance(mem.data(), &result), 0u);
    EXPECT_EQ(result, QSFP_COMPLIANCE_BASE_CHECKSUM);
}

TEST(Compliance, ExtendedChecksumSumsBytes192To222AndWraps) {
    Image mem{};
    for (std::size_t i = 192; i <= 222; ++i) {
        mem[i] = 0x10;  // 31 x 16 = 496, 0xF0 in eight bits
    }
    mem[223] = 0xF0;
    std::uint8_t stored = 0;
    std::uint8_t computed = 0;
    EXPECT_EQ(qsfp_xcvr_check_compliance_ext_chksum(mem.data(), &stored, &computed), 0u);
    EXPECT_EQ(computed, 0xF0);
    mem[223] = 0xF1;
    EXPECT_EQ(qsfp_xcvr_check_compliance_ext_chksum(mem.data(), &stored, &computed), QSFP_COMPLIANCE_EXT_CHECKSUM);
    EXPECT_EQ(stored, 0xF1);
    std::uint32_t result = 0;
    EXPECT_EQ(qsfp_xcvr_check_compliance(mem.data(), &result), 0u);
    EXPECT_EQ(result, QSFP_COMPLIANCE_EXT_CHECKSUM);
}

TEST(Compliance, NoImage) {
    std::uint32_t result = 0;
    EXPECT_EQ(qsfp_xcvr_check_compliance(nullptr, &result), 0u);
    EXPECT_EQ(result, QSFP_COMPLIANCE_NO_IMAGE);
    std::uint8_t stored = 0x5A;
    std::uint8_t computed = 0x5A;
    EXPECT_EQ(qsfp_xcvr_check_compliance_base_chksum(nullptr, &stored, &computed), QSFP_ERR_INVALID);
    EXPECT_EQ(qsfp_xcvr_check_compliance_ext_chksum(nullptr, &stored, &computed), QSFP_ERR_INVALID);
    EXPECT_EQ(stored, 0x5A);
    EXPECT_EQ(computed, 0x5A);
}

TEST(Compliance, NullResultIsRefused) {
    const Image mem{};
    EXPECT_EQ(qsfp_xcvr_check_compliance(mem.data(), nullptr), QSFP_ERR_INVALID);
}

TEST(Compliance, RealSff8636ImagesPass) {
    const auto images = qsfp::test::module_images("sff8636_");
    ASSERT_FALSE(images.empty());
    for (const auto &image : images) {
        const std::vector<std::uint8_t> mem = image.layout({"lower", "00h"});
        std::uint32_t result = 0xFF;
        EXPECT_EQ(qsfp_xcvr_check_compliance(mem.data(), &result), 0u);
        EXPECT_EQ(result, QSFP_COMPLIANCE_OK) << image.name;
    }
}

TEST(Compliance, CorruptedImageFails) {
    auto image = qsfp::test::module_images("sff8636_").front();
    std::vector<std::uint8_t> mem = image.layout({"lower", "00h"});
    mem[150] ^= 0x01;
    std::uint32_t result = 0;
    qsfp_xcvr_check_compliance(mem.data(), &result);
    EXPECT_EQ(result, QSFP_COMPLIANCE_BASE_CHECKSUM);
    mem[150] ^= 0x01;
    mem[200] ^= 0x80;
    qsfp_xcvr_check_compliance(mem.data(), &result);
    EXPECT_EQ(result, QSFP_COMPLIANCE_EXT_CHECKSUM);
}

}  // namespace
