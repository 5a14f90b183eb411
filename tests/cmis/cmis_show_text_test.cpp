// The show text of CMIS ports through the register-decode operation:
// goldens for every catalogue module that gets a CMIS port and every real
// CMIS image, the pages read, and a failure at each read.
#include <cstdlib>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include <qsfp/sim/image_file.h>

#include "support/show_text.h"
#include "support/golden.h"
#include "tests/cmis/cmis_images.h"
#include "tests/cmis/cmis_port.h"

namespace qsfp::test {
namespace {

using sim::Op;

constexpr std::uint32_t kShowTextBytes = 9000;

std::string golden_name(const std::string &name) { return "cmis/golden/show/" + name + ".txt"; }

bool coherent(std::uint32_t type) { return type == QSFP_DD_TYPE_400G_ZR || type == QSFP_DD_TYPE_400G_ZRP; }

class CmisShowTextTest : public CmisPortTest {
protected:
    std::string show(qsfp_port_ctx *port, std::uint32_t expected_rc = QSFP_OK) { return show_text(port, expected_rc); }
    // Reads of whole upper pages, as "R 01h 128 x128".
    std::vector<std::string> page_reads() {
        std::vector<std::string> out;
        for (const std::string &a : accesses()) {
            if (a.starts_with("R ")) out.push_back(a);
        }
        return out;
    }
};

// The page 11h dump of the full view, as the show text prints it, all zeros.
std::string zero_page11_dump() {
    std::string out = "\n\nMSA Data (Upper Memory Page 11h)\n";
    for (int line = 0; line < 8; ++line) {
        char head[16];
        std::snprintf(head, sizeof head, "0x%04x: ", 0x300 + 16 * line);
        out += head;
        out += "00 00 00 00 00 00 00 00 : 00 00 00 00 00 00 00 00 \n";
    }
    return out;
}

// The decoded part of a text, before its dumps (which show latched flags
// that clear as they are read).
std::string decoded_part(const std::string &text) { return text.substr(0, text.find("\nMSA Data")); }

// Every catalogue module whose port stays on the CMIS table (the ZR kinds
// go to the coherent table, which has no show text).
TEST_F(CmisShowTextTest, EveryCatalogueModule) {
    std::size_t shown = 0;
    for (const sim::CmisCatalogueEntry &e : sim::cmis_catalogue()) {
        SCOPED_TRACE(e.name);
        if (coherent(e.type_code)) continue;
        // Some emulated plugs are paged yet lack pages CMIS requires of paged
        // memory (01h, 02h, 10h, 11h) or the 03h the view shows; a raw read
        // of a missing page would show another page's bytes under its
        // heading, so they are added blank, as for the real captures.
        sim::ModuleMemory memory = image(e.name);
        add_blank_pages(memory);
        qsfp_port_ctx *port = make(module_of(std::move(memory)));
        ASSERT_NE(port, nullptr);
        ASSERT_EQ(port->fvt.phy_reg_decode, qsfp_dd_fvt.phy_reg_decode);
        const std::string text = show(port);
        EXPECT_EQ(text.rfind("\nQSFP EEPROM port: 1", 0), 0u);
        // A flat module gets the identifier view, a paged one the full view.
        EXPECT_EQ(text.find("MSA Data (Upper Memory Page 11h)") != std::string::npos, !module().memory().flat());
        expect_golden(golden_name(e.name), text);
        qsfp_port_delete(port);
        forget(port);
        cage().pull();
        ++shown;
    }
    EXPECT_GE(shown, 30u);
}

// Real images: QSFP-DD ones through port creation, the others (OSFP, QSFP+
// CMIS), which the framework binds to no table, through the slot itself.
TEST_F(CmisShowTextTest, EveryRealCmisImage) {
    std::size_t index = 0;
    for (const auto &file : cmis_image_files()) {
        SCOPED_TRACE(file.filename().string());
        auto load = sim::load_image_file(file);
        ASSERT_TRUE(load.ok()) << load.error;
        sim::ModuleMemory memory = std::move(*load.memory);
        add_blank_pages(memory);
        const std::uint8_t identifier = memory.get(0, 0);
        insert(index, std::move(memory));
        qsfp_port_create_result result{};
        const qsfp_port_create_params p = cmis_params(QSFP_DD_INIT_ADOPT, 0, index);
        qsfp_port_create(&p, &result);
        qsfp_port_ctx *port = result.handle;
        ASSERT_NE(port, nullptr);
        ports_.push_back(port);
        std::string text;
        if (identifier == 0x18) {
            if (coherent(port->hw_info.qsfp_type)) {
                ++index;
                continue;
            }
            text = show(port);
        } else {
            // The port is made to look like the CMIS port creation makes of
            // identifier 18h: rate 400, which opens pages 10h and 11h to it.
            port->rate = 400;
            qsfp_dd_fvt.device_init(port, QSFP_DD_INIT_ADOPT);
            std::string buffer(kShowTextBytes, '\0');
            EXPECT_EQ(qsfp_dd_fvt.phy_reg_decode(port, nullptr, nullptr, buffer.data()), QSFP_OK);
            text = buffer.c_str();
        }
        EXPECT_EQ(text.rfind("\nQSFP EEPROM port: ", 0), 0u);
        expect_golden(golden_name(file.stem().string()), text);
        ++index;
    }
    EXPECT_GE(index, 15u);
}

TEST_F(CmisShowTextTest, PagedModuleReadsItsPagesInOrder) {
    qsfp_port_ctx *port = make("400G-LR8");
    show(port);
    EXPECT_EQ(page_reads(), (std::vector<std::string>{"R lower 0 x128", "R 00h 128 x128", "R 01h 128 x128",
                                                      "R 02h 128 x128", "R 03h 128 x128", "R 10h 128 x128",
                                                      "R 11h 128 x128"}));
    EXPECT_TRUE(err().empty());
}

// The identifier view is the whole text of a flat module.
TEST_F(CmisShowTextTest, FlatModuleGivesTheIdentifierViewOnly) {
    qsfp_port_ctx *port = make("400G-CR8-FLAT");
    const std::string text = show(port);
    EXPECT_EQ(page_reads(), (std::vector<std::string>{"R lower 0 x128", "R 00h 128 x128"}));
    EXPECT_NE(text.find("\nMSA Data (Upper Page0 Memory)\n"), std::string::npos);
    EXPECT_EQ(text.find("Upper Memory Page 01"), std::string::npos);
    EXPECT_NE(text.find("\n\tVendor Name: CUPRALINK"), std::string::npos);
}

// A flat module bring-up could not type keeps the port's flat flag clear;
// its own mark still gives it the identifier view, not page 00h five more
// times under other pages' headings.
TEST_F(CmisShowTextTest, UntypedFlatModuleGivesTheIdentifierView) {
    qsfp_port_ctx *port = make("8X50G-CU");
    ASSERT_EQ(port->hw_info.qsfp_type, 0u);
    ASSERT_EQ(port->flat_mem, 0u);
    const std::string text = show(port);
    EXPECT_EQ(page_reads(), (std::vector<std::string>{"R lower 0 x128", "R 00h 128 x128"}));
    EXPECT_EQ(text.find("Upper Memory Page 01"), std::string::npos);
}

TEST_F(CmisShowTextTest, Page11FailureIsTracedAndShownAsZeros) {
    qsfp_port_ctx *port = make("400G-LR8");
    const std::string good = show(port);
    ASSERT_FALSE(good.ends_with(zero_page11_dump()));
    clear_traces();
    cage().fail_range(Op::read, 0x11, 128, 255, 5);
    const std::string text = show(port, QSFP_OK);
    const std::vector<std::string> errors = err();
    ASSERT_FALSE(errors.empty());
    EXPECT_EQ(errors.back(), "Controller 0 Port 1: QSFP Upper Page 11 Read error\n");
    EXPECT_TRUE(text.ends_with(zero_page11_dump())) << text.substr(text.find("Page 11h"));
    // Its lanes read dark.
    EXPECT_NE(text.find("0.000 mW (<-40.00 dBm)"), std::string::npos);
    // The identifier part is as the good text has it.
    EXPECT_EQ(text.substr(0, text.find("\n\tPart Number:")), good.substr(0, good.find("\n\tPart Number:")));
}

struct PageFault {
    int page;           // -1: lower memory
    std::uint8_t first;
    const char *message;
};

TEST_F(CmisShowTextTest, EveryOtherReadFailureReturnsItsCode) {
    const PageFault faults[] = {
        {-1, 0, "QSFP Lower Page 0 Read error\n"},      {0x00, 128, "QSFP Upper Page 0 Read error\n"},
        {0x01, 128, "QSFP Upper Page 1 Read error\n"},  {0x02, 128, "QSFP Upper Page 2 Read error\n"},
        {0x03, 128, "QSFP Upper Page 3 Read error\n"},  {0x10, 128, "QSFP Upper Page 10 Read error\n"},
    };
    qsfp_port_ctx *port = make("400G-LR8");
    const std::string good = show(port);
    for (const PageFault &f : faults) {
        SCOPED_TRACE(f.message);
        clear_traces();
        cage().fail_range(Op::read, f.page, f.first, static_cast<std::uint8_t>(f.first + 127), 7);
        show(port, 7);
        const std::vector<std::string> errors = err();
        ASSERT_FALSE(errors.empty());
        EXPECT_EQ(errors.back(), std::string("Controller 0 Port 1: ") + f.message);
        cage().clear_faults();
        EXPECT_EQ(decoded_part(show(port)), decoded_part(good));
    }
}

TEST_F(CmisShowTextTest, NullBufferIsRefused) {
    qsfp_port_ctx *port = make("400G-LR8");
    EXPECT_EQ(qsfp_dd_fvt.phy_reg_decode(port, nullptr, nullptr, nullptr), QSFP_ERR_INVALID);
    EXPECT_EQ(qsfp_dd_fvt.phy_reg_decode(nullptr, nullptr, nullptr, nullptr), QSFP_ERR_INVALID);
    EXPECT_TRUE(accesses().empty());
}

}  // namespace
}  // namespace qsfp::test
