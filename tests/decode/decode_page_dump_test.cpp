// Hex dump of a page as the show texts print it.
#include <array>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <qsfp/qsfp_decode.h>

namespace {

constexpr int kArea = 1936;

// An image whose byte at each offset holds the offset's low byte.
std::vector<std::uint8_t> counting_image(std::size_t size) {
    std::vector<std::uint8_t> mem(size);
    for (std::size_t i = 0; i < size; ++i) {
        mem[i] = static_cast<std::uint8_t>(i);
    }
    return mem;
}

// The line for 16 bytes starting at `address`, written out in the test.
std::string line_at(unsigned address) {
    char text[80];
    std::string out;
    std::snprintf(text, sizeof text, "0x%04x: ", address);
    out += text;
    for (unsigned i = 0; i < 16; ++i) {
        std::snprintf(text, sizeof text, i == 7 ? "%02x : " : "%02x ", (address + i) & 0xFF);
        out += text;
    }
    return out + "\n";
}

std::string dump(const std::vector<std::uint8_t> &mem, std::uint32_t start, std::uint32_t length) {
    std::vector<char> out(kArea, 'x');
    EXPECT_EQ(varnel_phy_qsfp_plug_eeprom_page_to_ascii(mem.data(), start, out.data(), kArea, length), 0u);
    return out.data();
}

std::size_t lines(const std::string &text) {
    std::size_t n = 0;
    for (char c : text) {
        n += c == '\n' ? 1 : 0;
    }
    return n;
}

TEST(PageDump, PageZeroStartsAt0x0080) {
    const auto mem = counting_image(256);
    const std::string text = dump(mem, 128, 128);
    std::string expected;
    for (unsigned a = 128; a < 256; a += 16) {
        expected += line_at(a);
    }
    EXPECT_EQ(text, expected);
    EXPECT_EQ(text.size(), 472u);
    EXPECT_EQ(text.substr(0, 59), "0x0080: 80 81 82 83 84 85 86 87 : 88 89 8a 8b 8c 8d 8e 8f \n");
}

TEST(PageDump, LengthAboveAPageStillWritesEightLines) {
    const auto mem = counting_image(256);
    EXPECT_EQ(lines(dump(mem, 0, 200)), 8u);
    EXPECT_EQ(lines(dump(mem, 0, 0xFFFFFFFF)), 8u);
}

TEST(PageDump, LengthZeroWritesOneLine) {
    const auto mem = counting_image(128);
    EXPECT_EQ(dump(mem, 0, 0), line_at(0));
}

TEST(PageDump, PartialLinesAreDumpedWhole) {
    const auto mem = counting_image(128);
    EXPECT_EQ(dump(mem, 0, 16), line_at(0));
    EXPECT_EQ(dump(mem, 0, 17), line_at(0) + line_at(16));
    EXPECT_EQ(lines(dump(mem, 0, 127)), 8u);
}

TEST(PageDump, StartOffset512LabelsItsFirstLine0x0200) {
    const auto mem = counting_image(640);
    const std::string text = dump(mem, 512, 128);
    EXPECT_EQ(text.substr(0, 8), "0x0200: ");
    EXPECT_EQ(text.substr(text.size() - 59), line_at(0x270));
}

TEST(PageDump, ClearsTheAreaAndStaysWithinIt) {
    const auto mem = counting_image(128);
    std::vector<char> out(kArea + 8, 'x');
    ASSERT_EQ(varnel_phy_qsfp_plug_eeprom_page_to_ascii(mem.data(), 0, out.data(), kArea, 16), 0u);
    for (int i = 59; i < kArea; ++i) {
        ASSERT_EQ(out[i], '\0') << i;
    }
    for (int i = kArea; i < kArea + 8; ++i) {
        EXPECT_EQ(out[i], 'x');
    }
}

TEST(PageDump, SmallAreaTakesTheTextCutAndTerminated) {
    const auto mem = counting_image(128);
    for (int size : {1, 2, 10, 59, 60, 100, 471, 472, 473}) {
        std::vector<char> out(static_cast<std::size_t>(size) + 4, 'x');
        ASSERT_EQ(varnel_phy_qsfp_plug_eeprom_page_to_ascii(mem.data(), 0, out.data(), size, 128), 0u);
        std::string full;
        for (unsigned a = 0; a < 128; a += 16) {
            full += line_at(a);
        }
        EXPECT_EQ(std::string(out.data()), full.substr(0, static_cast<std::size_t>(size - 1))) << size;
        for (int i = size; i < size + 4; ++i) {
            EXPECT_EQ(out[static_cast<std::size_t>(i)], 'x') << size;
        }
    }
}

TEST(PageDump, BadArgumentsAnswerInvalid) {
    const auto mem = counting_image(128);
    std::array<char, 8> out;
    out.fill('x');
    EXPECT_EQ(varnel_phy_qsfp_plug_eeprom_page_to_ascii(mem.data(), 0, nullptr, kArea, 128), QSFP_ERR_INVALID);
    EXPECT_EQ(varnel_phy_qsfp_plug_eeprom_page_to_ascii(nullptr, 0, out.data(), 8, 128), QSFP_ERR_INVALID);
    EXPECT_EQ(varnel_phy_qsfp_plug_eeprom_page_to_ascii(mem.data(), 0, out.data(), 0, 128), QSFP_ERR_INVALID);
    EXPECT_EQ(varnel_phy_qsfp_plug_eeprom_page_to_ascii(mem.data(), 0, out.data(), -5, 128), QSFP_ERR_INVALID);
    EXPECT_EQ(out[0], 'x');
}

}  // namespace
