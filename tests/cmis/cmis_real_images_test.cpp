// Bring-up of the real CMIS module images of the test data: every image is
// identified without a crash, and each gets the type its advertisement
// implies. QSFP-DD images (identifier 18h) go through port creation; OSFP
// (19h) and QSFP+ CMIS (1Eh) images, which the framework does not bind to
// the CMIS table, are handed to its bring-up directly.
#include <algorithm>
#include <filesystem>
#include <map>
#include <string>

#include <gtest/gtest.h>

#include <qsfp/sim/image_file.h>

#include "tests/cmis/cmis_images.h"
#include "tests/cmis/cmis_port.h"

namespace qsfp::test {
namespace {

struct Expected {
    std::uint32_t type;
    const char *pid;
    std::uint32_t rc = QSFP_OK;
};

// Which row of the application table each image's first recognised
// descriptor matches, worked out from its bytes:
const std::map<std::string, Expected> kExpected = {
    // media 3, descriptor 1 = 1D 01 88: row 0; byte 202 = 0Ah at revision 3.0 is 10 x 0.1 m
    {"cmis_Amphenol_NDYYYF-0001_1.bin", {0xC1, "HDX-400-CU1.0M"}},
    // 800G OSFP, host codes 50h/52h/4Eh/4Ch: no row
    {"cmis_Arista-Networks_FB-P800G-2XDR4-1_1.bin", {0, "HDX-400G-UNKNOWN"}},
    // media 2, 11 1C 84: row 2 (DR4); page 01h byte 132 = 42h: the 2 km variant
    {"cmis_Arista-Networks_QDD-400G-XDR4_1.bin", {QSFP_DD_TYPE_400G_DR4_2KM, "HDX-400G-UNKNOWN"}},
    // active electrical cables with host codes 4Bh-50h: no row
    {"cmis_Credo_CAC845301A2NC2XA_1.bin", {0, "HDX-400G-UNKNOWN"}},
    {"cmis_Credo_CAC845301A2NC2XA_2.bin", {0, "HDX-400G-UNKNOWN"}},
    // media 4, 0B 02 44: the AOC and AEC rows want lane byte 88h: no row
    {"cmis_Hisense_DEF8504-2C02-MB3_1.bin", {0, "HDX-400G-UNKNOWN"}},
    // media 2, 11 1C 84: row 2 (page 01h was not captured: reach byte 0)
    {"cmis_INNOLIGHT_T-DP4CNH-N00_1.bin", {0xC3, "HDX-400G-DR4-V"}},
    {"cmis_JUNIPER-1G1_740-174932_1.bin", {0, "HDX-400G-UNKNOWN"}},
    // descriptor 7 = 11 3E 81 (400ZR): row 23; handed to the coherent table
    {"cmis_LUMENTUM_LDO-080-DZ-GO1_1.bin", {0xCF, "HDX-400G-ZR-V", QSFP_OK}},
    // media 3, 1D 01 88: row 0; byte 202 = 05h: 0.5 m
    {"cmis_Mellanox_MCP1660-W00AE30_1.bin", {0xC1, "HDX-400-CU0.5M"}},
    // media 2, descriptor 2 = 0B 10 44: row 11 (2x100G CWDM4). Its active set
    // (10h x4, 08h x4) is not one application, so bring-up configures it; a
    // captured image does not act on ApplyDPInit and its configuration status
    // stays 0 (in process): the wait runs out.
    {"cmis_FACETEST_200G-FR4-fixture_1.bin", {0xCA, "HDX-2x100G-CWDM4-V", QSFP_ERR_CONFIG_TIMEOUT}},
    {"cmis_FACETEST_2x400G-FR4-fixture_1.bin", {0, "HDX-400G-UNKNOWN"}},
    // revision 05h (below 2.8): byte 202 = 1 is 1 m
    {"cmis_FACETEST_400G-CR8-fixture_1.bin", {0xC1, "HDX-400-CU1M"}},
    // 11 1E 84, 0F 18 44, 11 C0 84, 11 C1 84: no row (the ZR+ rows want lane byte 81h)
    {"cmis_FACETEST_400G-LR4-fixture_1.bin", {0, "HDX-400G-UNKNOWN"}},
    {"cmis_FACETEST_CAC815321A1AC1HW_1.bin", {0, "HDX-400G-UNKNOWN"}},
};

class CmisRealImageTest : public CmisPortTest {};

TEST_F(CmisRealImageTest, EveryImageIsIdentified) {
    const auto files = cmis_image_files();
    ASSERT_EQ(files.size(), kExpected.size());
    std::size_t index = 0;
    for (const auto &file : files) {
        SCOPED_TRACE(file.filename().string());
        auto load = sim::load_image_file(file);
        ASSERT_TRUE(load.ok()) << load.error;
        sim::ModuleMemory memory = std::move(*load.memory);
        add_blank_pages(memory);
        const std::uint8_t identifier = memory.get(0, 0);
        insert(index, std::move(memory));
        const auto it = kExpected.find(file.filename().string());
        ASSERT_NE(it, kExpected.end());
        const Expected &e = it->second;
        qsfp_port_ctx *port = nullptr;
        if (identifier == 0x18) {
            port = bring_up(QSFP_DD_INIT_ADOPT, 0, e.rc, index);
        } else {
            port = bring_up(QSFP_DD_INIT_ADOPT, 0, QSFP_ERR_NOT_READY, index);
            ASSERT_NE(port, nullptr);
            EXPECT_EQ(qsfp_dd_fvt.device_init(port, QSFP_DD_INIT_ADOPT), e.rc);
        }
        ASSERT_NE(port, nullptr);
        EXPECT_EQ(port->hw_info.qsfp_type, e.type);
        EXPECT_STREQ(port->hw_info.pid, e.pid);
        EXPECT_NE(port->hw_info.vendor_name[0], '\0');
        ++index;
    }
}

}  // namespace
}  // namespace qsfp::test
