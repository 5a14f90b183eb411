// The inventory record: fields from the module image, the non-qualified
// product identifiers, trimming, the checksum result and the re-read path.
#include <cstring>

#include <gtest/gtest.h>

#include "sff8636/sff_port.h"

namespace {

using namespace qsfp::test;
using qsfp::sim::ModuleMemory;
using qsfp::sim::Op;

void put_text(ModuleMemory &m, std::uint8_t page, std::uint8_t addr, const char *text, int width) {
    for (int i = 0; i < width; ++i) {
        const char c = i < static_cast<int>(std::strlen(text)) ? text[i] : ' ';
        m.set(page, static_cast<std::uint8_t>(addr + i), static_cast<std::uint8_t>(c));
    }
}

ModuleMemory inventory_image(const char *vendor) {
    ModuleMemory m = qsfp28_memory();
    put_text(m, 0, 148, vendor, 16);
    m.set(0, 165, 0x00);
    m.set(0, 166, 0x90);
    m.set(0, 167, 0x65);
    put_text(m, 0, 168, "FTLC9551REPM", 16);
    put_text(m, 0, 184, "A0", 2);
    put_text(m, 0, 196, "X7AB123", 16);
    put_text(m, 0, 212, "20110315", 8);
    m.set(0, 129, 0x10);  // CLEI on page 02h
    put_text(m, 2, 128, "WMOTCY0BAA", 10);
    put_text(m, 2, 148, "V01", 4);
    put_text(m, 2, 192, "QSFP-100G-SR4-K", 20);
    fix_checksums(m);
    return m;
}

class HwInfoTest : public SffPortTest {};

TEST_F(HwInfoTest, PlainModuleGetsABasicPidAndKeepsItsOwn) {
    qsfp_port_ctx *port = make(inventory_image("FINISAR CORP"));
    const qsfp_hw_info &i = port->hw_info;
    EXPECT_STREQ(i.vendor_name, "FINISAR CORP");
    EXPECT_STREQ(i.vendor_pn, "FTLC9551REPM");
    EXPECT_STREQ(i.vendor_rev, "A0");
    EXPECT_STREQ(i.serial_number, "X7AB123");
    EXPECT_STREQ(i.date_code, "20110315");
    EXPECT_STREQ(i.clei, "WMOTCY0BAA");
    EXPECT_STREQ(i.vid, "V01");
    EXPECT_STREQ(i.pid, "BASIC-100G-SR4");
    EXPECT_STREQ(i.module_pid, "QSFP-100G-SR4-K");
    EXPECT_EQ(i.vendor_oui[1], 0x90);
    EXPECT_EQ(i.rev_present, 1u);
    EXPECT_EQ(i.compliance, 0u);
    EXPECT_EQ(i.qsfp_type, 2u);
    EXPECT_EQ(state(port).hw_info_saved, 1u);
}

TEST_F(HwInfoTest, QualifiedModuleCarriesItsOwnPid) {
    qsfp_port_ctx *port = make(inventory_image("KORVA"));
    EXPECT_STREQ(port->hw_info.pid, "QSFP-100G-SR4-K");
    EXPECT_STREQ(port->hw_info.module_pid, "");
}

TEST_F(HwInfoTest, CleiOnlyWhenByte129SaysSo) {
    ModuleMemory m = inventory_image("FINISAR CORP");
    m.set(0, 129, 0x00);
    fix_checksums(m);
    qsfp_port_ctx *port = make(std::move(m));
    EXPECT_STREQ(port->hw_info.clei, "");
}

TEST_F(HwInfoTest, AllSpaceSerialBecomesEmpty) {
    ModuleMemory m = inventory_image("FINISAR CORP");
    put_text(m, 0, 196, "", 16);
    fix_checksums(m);
    qsfp_port_ctx *port = make(std::move(m));
    EXPECT_STREQ(port->hw_info.serial_number, "");
}

TEST_F(HwInfoTest, BadChecksumIsReportedAndTheInventoryNotMarkedSaved) {
    ModuleMemory m = inventory_image("FINISAR CORP");
    m.set(0, 191, static_cast<std::uint8_t>(m.get(0, 191) + 1));
    qsfp_port_ctx *port = make(std::move(m));
    EXPECT_EQ(port->hw_info.compliance, 3u);
    EXPECT_EQ(state(port).hw_info_saved, 0u);
    ModuleMemory n = inventory_image("FINISAR CORP");
    n.set(0, 223, static_cast<std::uint8_t>(n.get(0, 223) + 1));
    TearDown();
    SetUp();
    qsfp_port_ctx *other = make(std::move(n));
    EXPECT_EQ(other->hw_info.compliance, 4u);
}

TEST_F(HwInfoTest, FlatCableTakesItsMakerDataFromLowerMemory) {
    ModuleMemory m = qsfp::sim::basic_image(0x0D, true);
    m.set(0, 131, 0x08);  // 40G CR4
    put_text(m, 0, 148, "Mellanox", 16);
    put_text(m, 0, 34, "CLEI000001", 10);
    put_text(m, 0, 54, "V02", 4);
    put_text(m, 0, 58, "MC2206130-001", 20);
    fix_checksums(m);
    qsfp_port_ctx *port = make(std::move(m));
    EXPECT_EQ(port->flat_mem, 1u);
    EXPECT_STREQ(port->hw_info.clei, "CLEI000001");
    EXPECT_STREQ(port->hw_info.vid, "V02");
    EXPECT_STREQ(port->hw_info.pid, "BASIC-40G-CR4");
    EXPECT_STREQ(port->hw_info.module_pid, "MC2206130-001");
}

TEST_F(HwInfoTest, LumentumQualifiedSr4IsReadByteByByte) {
    ModuleMemory m = inventory_image("KORVA-LUMENTUM");
    m.set(0, 131, 0x04);
    m.set(0, 192, 0);
    fix_checksums(m);
    qsfp_port_ctx *port = make(std::move(m));
    EXPECT_EQ(port->hw_info.qsfp_type, 66u);
    EXPECT_EQ(state(port).bit_bang, 1u);
    insert(1, inventory_image("KORVA-LUMENTUM"));  // an SR4 of type 2: not bit-banged
    qsfp_port_create_params p = params(1);
    clear_traces();
    EXPECT_EQ(state(create(p, QSFP_OK)).bit_bang, 0u);
}

TEST_F(HwInfoTest, GetHwInfoCopiesTheSavedRecordWithoutTouchingTheModule) {
    qsfp_port_ctx *port = make(inventory_image("FINISAR CORP"));
    qsfp_hw_info info{};
    EXPECT_EQ(qsfp_port_hw_info(port, &info), QSFP_OK);
    EXPECT_EQ(std::memcmp(&info, &port->hw_info, sizeof info), 0);
    EXPECT_EQ(cage().stats().transactions, 0u);
}

TEST_F(HwInfoTest, NeverSavedInventoryIsReadAgain) {
    qsfp_port_ctx *port = make(inventory_image("FINISAR CORP"));
    state(port).hw_info_saved = 0;
    std::memset(&port->hw_info.serial_number, 0, sizeof port->hw_info.serial_number);
    qsfp_hw_info info{};
    EXPECT_EQ(qsfp_port_hw_info(port, &info), QSFP_OK);
    EXPECT_STREQ(info.serial_number, "X7AB123");
    EXPECT_EQ(cage().stats().bytes_read, 640u);
}

TEST_F(HwInfoTest, FailedReReadIsTracedAndUnlocks) {
    pthread_mutex_t mu = PTHREAD_MUTEX_INITIALIZER;
    insert(0, inventory_image("FINISAR CORP"));
    qsfp_port_create_params p = params(0);
    p.port_lock = &mu;
    qsfp_port_ctx *port = create(p, QSFP_OK);
    state(port).hw_info_saved = 0;
    clear_traces();
    cage().fail_range(Op::read, 2, 128, 255, 5);
    qsfp_hw_info info{};
    EXPECT_EQ(qsfp_port_hw_info(port, &info), 5u);
    EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 1: QSFP Upper Page 2 Read error"));
    EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 1: Error in saving HW info. rc 0x5"));
    EXPECT_EQ(pthread_mutex_trylock(&mu), 0);
    pthread_mutex_unlock(&mu);
    qsfp_port_delete(port);  // before the mutex it names goes away
    forget(port);
}

TEST_F(HwInfoTest, WholeImagePlatformsReReadOnlyPages00And02) {
    insert(0, inventory_image("FINISAR CORP"));
    cage().set_direct_page(true, false);
    qsfp_port_create_params p = params(0);
    p.is_direct_page_rd_support = 1;
    p.cfg_word[2] = 1;
    qsfp_port_ctx *port = create(p, QSFP_OK);
    state(port).hw_info_saved = 0;
    cage().clear_log();
    qsfp_hw_info info{};
    EXPECT_EQ(qsfp_port_hw_info(port, &info), QSFP_OK);
    const auto log = cage().log();
    ASSERT_EQ(log.size(), 2u);
    EXPECT_EQ(log[0].page, 0);
    EXPECT_EQ(log[1].page, 2);
    EXPECT_STREQ(info.pid, "BASIC-100G-SR4");
}

TEST(TrimTrailingSpacesTest, RemovesTrailingWhiteSpaceOnly) {
    char a[17] = "VENDOR  NAME    ";
    trim_trailing_spaces(a, 16);
    EXPECT_STREQ(a, "VENDOR  NAME");
    char b[9] = "        ";
    trim_trailing_spaces(b, 8);
    EXPECT_STREQ(b, "");
    char c[6] = "ab\t\n ";
    trim_trailing_spaces(c, 5);
    EXPECT_STREQ(c, "ab");
    char d[4] = "abc";
    trim_trailing_spaces(d, 0);
    EXPECT_STREQ(d, "abc");
    trim_trailing_spaces(d, -3);
    EXPECT_STREQ(d, "abc");
}

struct PidCase {
    std::uint32_t type;
    const char *pid;
};

TEST_F(HwInfoTest, BasicPidTableRowByRow) {
    qsfp_port_ctx *port = make(inventory_image("FINISAR CORP"));
    const PidCase cases[] = {
        {1, "BASIC-100G-AOC"},    {24, "BASIC-100G-AOC"},   {2, "BASIC-100G-SR4"},   {3, "BASIC-100G-LR4"},
        {4, "BASIC-100G-ER4"},    {6, "BASIC-100G-CWDM4"},  {9, "BASIC-100G-CWDM4"}, {7, "BASIC-100G-PSM4"},
        {11, "BASIC-100G-CU"},    {13, "BASIC-100G-CU"},    {18, "BASIC-40G-PSM4"},  {25, "BASIC-100G-AEC"},
        {26, "BASIC-100GE-DWDM2"}, {65, "BASIC-40G-LR4"},   {377, "BASIC-40G-LR4"},  {66, "BASIC-40G-SR4"},
        {67, "BASIC-40G-CR4"},    {98, "BASIC-40G-PLR4"},   {99, "BASIC-40G-ESR4"},  {133, "BASIC-100G-SM_SR"},
        {134, "BASIC-100G-SR_BD"}, {238, "BASIC-4x10G-LR4"}, {352, "BASIC-4x10G-CU"}, {354, "BASIC-4x10G-CU"},
        {371, "BASIC-4x10G-CU"},  {355, "BASIC-4x10G-ACU"}, {359, "BASIC-4x10G-ACU"}, {361, "BASIC-40G-ACU"},
        {365, "BASIC-40G-ACU"},   {369, "BASIC-40G-CSR4"},  {374, "BASIC-40G-AOC"},  {375, "BASIC-4x10G-AOC"},
        {376, "BASIC-40G-ER4"},   {382, "BASIC-40G-CSR-V"}, {373, "BASIC-UNKNOWN"},  {360, "BASIC-UNKNOWN"},
        {128, "BASIC-UNKNOWN"},   {127, "BASIC-UNKNOWN"},
    };
    // The type code comes from classification; set it and save again.
    for (const PidCase &c : cases) {
        port->hw_info.qsfp_type = c.type;
        std::uint8_t image[640] = {};
        qsfp_port_save_hw_info(port, image);
        EXPECT_STREQ(port->hw_info.pid, c.pid) << c.type;
        char trace[96];
        std::snprintf(trace, sizeof trace, "Controller 0 Port 1: Qsfp Port Type = 0x%x, PID = %s ", c.type, c.pid);
        EXPECT_TRUE(trace_has(kEvt, trace)) << trace;
    }
}

}  // namespace
