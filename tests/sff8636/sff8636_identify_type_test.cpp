// Classification by the compliance bytes of upper page 00h, over every value
// of the byte each branch keys on.
#include <array>
#include <map>
#include <string>

#include <gtest/gtest.h>

#include <qsfp/qsfp_sff8636.h>

#include "sff8636/state.h"

#include "support/trace_reader.h"

namespace {

using qsfp::test::trace_texts;

struct Expected {
    std::uint32_t code;
    std::string text;
    bool copper = false;
    bool dwdm = false;
};

// Transcribed from the type tables of the module-type numbering.
const std::map<int, Expected> kByte192 = {
    {1, {1, "QSFP28 100G AOC"}},
    {24, {1, "QSFP28 100G AOC"}},
    {2, {2, "QSFP28 100G SR4"}},
    {3, {3, "QSFP28 100G LR4"}},
    {4, {4, "QSFP28 100G ER4"}},
    {5, {5, "QSFP28 100G SR10"}},
    {6, {6, "QSFP28 100G CWDM4 MSA WITH FEC"}},
    {7, {7, "QSFP28 100G PSM4 PARALLEL SMF"}},
    {9, {9, "QSFP28 100G CWDM4 MSA WITHOUT FEC"}},
    {11, {11, "QSFP28 100G CR4", true}},
    {13, {13, "QSFP28 100G CR4 NO FEC", true}},
    {16, {16, "QSFP+ 40G ER4"}},
    {17, {17, "4x10G SR"}},
    {18, {18, "QSFP+ 40G PSM4 PARALLEL SMF"}},
    {19, {19, "QSFP TYPE G959 1 P1I1 2D1"}},
    {20, {20, "QSFP TYPE G959 1 P1S1 2D2"}},
    {21, {21, "QSFP TYPE G959 1 P1L1 2D2"}},
    {22, {22, "QSFP TYPE 10G BASE T WITH SFI"}},
    {25, {25, "QSFP28 100G AEC"}},
    {26, {26, "QSFP28 100G DWDM2", false, true}},
    {34, {34, "QSFP28 100G 4WDM 10I"}},
    {36, {36, "QSFP28 100G 4WDM 40I"}},
    {37, {37, "QSFP28 100G DR-V"}},
    {38, {38, "QSFP28 100G FR"}},
    {39, {39, "QSFP28 100G LR"}},
};

const std::map<int, Expected> kByte131 = {
    {0x01, {374, "QSFP+ 40G AOC"}},       {0x02, {65, "QSFP+ 40G LR4"}},
    {0x04, {66, "QSFP+ 40G SR4"}},        {0x08, {67, "QSFP+ 40G CR4", true}},
    {0x10, {68, "QSFP TYPE 10G BASE SR"}}, {0x14, {66, "QSFP+ 40G SR4"}},
    {0x15, {18, "QSFP+ 40G PSM4 PARALLEL SMF"}}, {0x20, {238, "QSFP+ 40G 4x10G BASE LR"}},
    {0x22, {98, "QSFP+ 40G PARALLEL LR4"}}, {0x23, {99, "QSFP+ 40G ESR4"}},
    {0x40, {70, "QSFP TYPE 10G BASE LRM"}},
};

Expected vendor_code(int code) {
    if (code >= 352 && code <= 354) return {static_cast<std::uint32_t>(code), "4x10G COPPER", true};
    if (code >= 355 && code <= 359) return {static_cast<std::uint32_t>(code), "4x10G ACTIVE COPPER", true};
    if (code >= 361 && code <= 365) return {static_cast<std::uint32_t>(code), "QSFP+ 40G ACTIVE COPPER", true};
    const std::map<int, Expected> single = {
        {129, {129, "QSFP28 100G ER4L"}},         {130, {130, "QSFP28 100G ACTIVE LOOPBACK"}},
        {131, {131, "QSFP28 100G PASSIVE LOOPBACK DMI"}}, {132, {132, "QSFP28 100G OCTOPUS PASSIVE COPPER", true}},
        {133, {133, "QSFP28 100G SM SR"}},        {134, {134, "QSFP28 100G SR BD"}},
        {369, {369, "QSFP+ 40G CSR4"}},           {371, {371, "4x10G COPPER", true}},
        {373, {373, "QSFP+ 40G SR BD"}},          {374, {374, "QSFP+ 40G AOC"}},
        {375, {375, "4x10G AOC"}},                {376, {376, "QSFP+ 40G ER4"}},
        {377, {377, "QSFP+ 40G QLR4"}},
    };
    const auto it = single.find(code);
    return it != single.end() ? it->second : Expected{0, "QSFP TYPE UNKNOWN"};
}

class IdentifyTypeTest : public ::testing::Test {
protected:
    void SetUp() override { page_.fill(0); }
    std::uint8_t &at(int addr) { return page_[addr - 128]; }
    void classify() {
        port_ = qsfp_port_ctx{};
        port_.port = 1;
        ASSERT_EQ(qsfp_identify_type(&port_, page_.data()), QSFP_OK);
    }
    void expect(const Expected &e, const std::string &what) {
        EXPECT_EQ(port_.hw_info.qsfp_type, e.code) << what;
        EXPECT_EQ(std::string(port_.hw_info.qsfp_type_str), e.text) << what;
        EXPECT_EQ(port_.is_copper, e.copper ? 1u : 0u) << what;
        EXPECT_EQ(port_.any_page, e.dwdm ? 1u : 0u) << what;
    }
    std::array<std::uint8_t, 128> page_{};
    qsfp_port_ctx port_{};
};

TEST_F(IdentifyTypeTest, ExtendedComplianceByte192EveryValue) {
    for (int b192 = 0; b192 < 256; ++b192) {
        at(131) = 0x80;
        at(192) = static_cast<std::uint8_t>(b192);
        classify();
        const auto it = kByte192.find(b192);
        expect(it != kByte192.end() ? it->second : Expected{0, "QSFP TYPE UNKNOWN"}, "byte 192 = " + std::to_string(b192));
    }
}

TEST_F(IdentifyTypeTest, Byte192Of24GivesCode1Aoc) {
    at(131) = 0x80;
    at(192) = 24;
    classify();
    expect({1, "QSFP28 100G AOC"}, "24");
}

TEST_F(IdentifyTypeTest, UnlistedByte192FallsBackToByte224) {
    at(131) = 0x80;
    at(192) = 8;
    at(224) = 5;
    classify();
    expect({133, "QSFP28 100G SM SR"}, "sm sr");
    at(224) = 4;
    classify();
    expect({0, "QSFP TYPE UNKNOWN"}, "unknown");
}

TEST_F(IdentifyTypeTest, UnlistedByte192PassivePlugIsAPassiveLoopbackWithTheCopperFlag) {
    at(131) = 0x80;
    at(192) = 8;
    at(224) = 5;
    at(147) = 0xA0;
    at(146) = 0;
    classify();
    expect({127, "QSFP TYPE 100G PASSIVE LOOPBACK", true}, "loopback");
    EXPECT_EQ(qsfp::sff8636::state(&port_).is_passive_loopback, 0u);
    at(146) = 3;  // a real cable length: not a plug
    classify();
    expect({133, "QSFP28 100G SM SR"}, "cable");
}

TEST_F(IdentifyTypeTest, Byte192From40UpIsNeverLookedUp) {
    at(131) = 0x80;
    at(192) = 40;
    classify();
    expect({0, "QSFP TYPE UNKNOWN"}, "40");
}

TEST_F(IdentifyTypeTest, Sff8436Byte131EveryValueWithBit7Clear) {
    for (int b131 = 1; b131 < 0x80; ++b131) {
        at(131) = static_cast<std::uint8_t>(b131);
        classify();
        const auto it = kByte131.find(b131);
        expect(it != kByte131.end() ? it->second : Expected{0, "QSFP TYPE UNKNOWN"}, "byte 131 = " + std::to_string(b131));
    }
}

TEST_F(IdentifyTypeTest, Sr4CodedModuleWithByte224Of3IsALoopbackPlug) {
    at(131) = 0x04;
    at(224) = 3;
    classify();
    expect({127, "QSFP TYPE 100G PLPBKE", true}, "plpbke");
    at(131) = 0x14;  // the other SR4 coding is not such a plug
    classify();
    expect({66, "QSFP+ 40G SR4"}, "0x14");
}

TEST_F(IdentifyTypeTest, ZeroByte131TakesTheCodeFromByte224EveryValue) {
    for (int b224 = 0; b224 < 256; ++b224) {
        at(224) = static_cast<std::uint8_t>(b224);
        classify();
        expect(vendor_code(b224 + 128), "byte 224 = " + std::to_string(b224));
    }
}

TEST_F(IdentifyTypeTest, ZeroByte131PassivePlugNeedsBothLengthsZeroAndSetsTheLoopbackFlag) {
    at(224) = 0;  // code 128: unknown
    at(147) = 0x80;
    classify();
    expect({127, "QSFP 100G PASSIVE LB"}, "lb");
    EXPECT_EQ(qsfp::sff8636::state(&port_).is_passive_loopback, 1u);
    at(142) = 1;
    classify();
    expect({0, "QSFP TYPE UNKNOWN"}, "smf length");
    EXPECT_EQ(qsfp::sff8636::state(&port_).is_passive_loopback, 0u);
}

TEST_F(IdentifyTypeTest, ReclassificationClearsTheFlagsOfTheFormerModule) {
    at(131) = 0x80;
    at(192) = 26;
    classify();
    qsfp_port_ctx &port = port_;
    ASSERT_EQ(port.any_page, 1u);
    at(192) = 2;
    ASSERT_EQ(qsfp_identify_type(&port, page_.data()), QSFP_OK);
    EXPECT_EQ(port.any_page, 0u);
    EXPECT_EQ(port.hw_info.qsfp_type, 2u);
}

TEST(IdentifyTypeArgsTest, MissingArgumentsAnswer22) {
    EXPECT_EQ(qsfp_identify_type(nullptr, nullptr), QSFP_ERR_INVALID);
    qsfp_port_ctx port{};
    EXPECT_EQ(qsfp_identify_type(&port, nullptr), QSFP_ERR_INVALID);
}

}  // namespace
