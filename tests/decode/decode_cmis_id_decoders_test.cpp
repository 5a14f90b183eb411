// The QSFP-DD identifier record: the four memory-map layouts and the
// dispatch on lower byte 1.
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <qsfp/qsfp_decode.h>

#include "decode/image_files.h"
#include "decode/record_view.h"

namespace {

using namespace qsfp::test;

constexpr std::size_t kRows = QSFPDD_ID_RECORD_ROWS;
using LayoutDecoder = std::uint32_t (*)(const std::uint8_t *, char *);

void put_text(Page &page, std::size_t index, const char *text) {
    std::memcpy(&page[index], text, std::strlen(text));
}

// Row values expected of a layout; every other row stays empty, and no row
// has a label or a hex column unless `labels` says so.
void expect_rows(const RecordBuffer &rec, const std::map<std::size_t, std::string> &values,
                 const std::map<std::size_t, std::string> &labels = {}) {
    for (std::size_t row = 0; row < kRows; ++row) {
        const auto v = values.find(row);
        EXPECT_EQ(std::string(rec[row].value), v == values.end() ? "" : v->second) << "row " << row;
        const auto l = labels.find(row);
        EXPECT_EQ(std::string(rec[row].label), l == labels.end() ? "" : l->second) << "row " << row;
        EXPECT_STREQ(rec[row].hex, "") << "row " << row;
    }
}

RecordBuffer run(LayoutDecoder decode, const Page &page) {
    RecordBuffer rec(kRows);
    EXPECT_EQ(decode(page.data(), rec.data()), QSFP_OK);
    return rec;
}

TEST(CmisIdDecoders, CmisLayout) {
    Page page{};
    put_text(page, 1, "VENDOR-NAME-0001");
    page[17] = 0x00;
    page[18] = 0x1B;
    page[19] = 0x21;
    put_text(page, 20, "PART-NUMBER-0001");
    put_text(page, 36, "0A");
    put_text(page, 38, "SERIAL-NUM-00001");
    put_text(page, 54, "24031501");
    put_text(page, 62, "CLEICODE01");
    page[74] = 3;
    page[75] = 0x0C;
    page[84] = 0x05;
    expect_rows(run(qsfpdd_xcvr_def_decode_id, page),
                {{2, "MPO"},
                 {9, "3M"},
                 {10, "850nm VCSEL, Cooled Transmitter, Tunable Transmitter, "},
                 {11, "VENDOR-NAME-0001"},
                 {12, "00.1b.21"},
                 {13, "PART-NUMBER-0001"},
                 {14, "0A"},
                 {15, "SERIAL-NUM-00001"},
                 {16, "24/03/15  lot code: 01"},
                 {17, "CLEICODE01"}});
}

TEST(CmisIdDecoders, V04Layout) {
    Page page{};
    put_text(page, 1, "VENDOR-NAME-0004");
    page[17] = 0xAB;
    page[18] = 0xCD;
    page[19] = 0xEF;
    put_text(page, 20, "PART-NUMBER-0004");
    put_text(page, 36, "B1");
    put_text(page, 38, "SERIAL-NUM-00004");
    put_text(page, 54, "19123100");
    put_text(page, 62, "CLEICODE04");
    page[74] = 255;
    page[78] = 0x07;
    expect_rows(run(qsfpdd_xcvr_v0_4_decode_id, page), {{2, "LC"},
                                                       {4, "25500 Mbps"},
                                                       {11, "VENDOR-NAME-0004"},
                                                       {12, "ab.cd.ef"},
                                                       {13, "PART-NUMBER-0004"},
                                                       {14, "B1"},
                                                       {15, "SERIAL-NUM-00004"},
                                                       {16, "19/12/31  lot code: 00"},
                                                       {17, "CLEICODE04"}});
}

TEST(CmisIdDecoders, V03Layout) {
    Page page{};
    page[1] = 0xD4;
    page[3] = 0xF8;
    put_text(page, 4, "VENDOR-NAME-0003");
    put_text(page, 20, "SERIAL-NUM-00003");
    page[36] = 0x01;
    page[37] = 0x02;
    page[38] = 0x03;
    put_text(page, 39, "PART-NUMBER-0003");
    put_text(page, 55, "C3");
    put_text(page, 57, "20020229");
    expect_rows(run(qsfpdd_xcvr_v0_3_decode_id, page),
                {{1, "3.5W, CLEI, RX CDR, "},
                 {10, "Copper cable, linear active equalizers, Active WL Control, "},
                 {11, "VENDOR-NAME-0003"},
                 {12, "01.02.03"},
                 {13, "PART-NUMBER-0003"},
                 {14, "C3"},
                 {15, "SERIAL-NUM-00003"},
                 {16, "20/02/02  lot code: 29"}});
}

// The v0_2 layout is SFF-8636 page 00h: its rows must say what the SFF-8636
// identifier decoder says of the same bytes.
TEST(CmisIdDecoders, V02LayoutAgreesWithTheSff8636Decoder) {
    const std::map<std::size_t, std::size_t> sff_row = {{1, 1},   {2, 2},   {3, 11},  {4, 12},  {5, 14},
                                                         {6, 15},  {7, 16},  {8, 17},  {9, 18},  {10, 19},
                                                         {11, 20}, {12, 22}, {13, 23}, {14, 24}, {15, 31},
                                                         {16, 32}, {19, 26}};
    const auto images = module_images("sff8636_");
    ASSERT_FALSE(images.empty());
    for (const ModuleImage &image : images) {
        Page page;
        const std::vector<std::uint8_t> bytes = image.page("00h");
        std::memcpy(page.data(), bytes.data(), page.size());
        RecordBuffer sff(QSFP8636_ID_RECORD_ROWS);
        ASSERT_EQ(qsfp8636_xcvr_decode_qsfp8636_id(page.data(), sff.data()), QSFP_OK);
        std::map<std::size_t, std::string> values;
        for (const auto &[row, from] : sff_row) {
            if (sff[from].value[0] != '\0') {
                values[row] = sff[from].value;
            }
        }
        SCOPED_TRACE(image.name);
        expect_rows(run(qsfpdd_xcvr_v0_2_decode_id, page), values, {{19, "wavelengthTol"}});
    }
}

TEST(CmisIdDecoders, DispatchOnLowerByte1) {
    Page page;
    for (std::size_t i = 0; i < page.size(); ++i) {
        page[i] = static_cast<std::uint8_t>(0x21 + (i * 7) % 90);  // printable, different in every layout
    }
    Page lower{};
    for (unsigned revision = 0; revision < 256; ++revision) {
        lower[1] = static_cast<std::uint8_t>(revision);
        const LayoutDecoder expected = revision == 4   ? qsfpdd_xcvr_v0_4_decode_id
                                       : revision == 7 ? qsfpdd_xcvr_v0_2_decode_id
                                       : revision == 3 ? qsfpdd_xcvr_v0_3_decode_id
                                                       : qsfpdd_xcvr_def_decode_id;
        RecordBuffer dispatched(kRows, '\x01');
        ASSERT_EQ(qsfpdd_xcvr_decode_id(lower.data(), page.data(), dispatched.data()), QSFP_OK);
        const RecordBuffer direct = run(expected, page);
        EXPECT_EQ(std::memcmp(&dispatched[0], &direct[0], QSFPDD_ID_RECORD_SIZE), 0) << "revision " << revision;
    }
}

TEST(CmisIdDecoders, Revision7DecodesTheSff8636Layout) {
    Page lower{};
    lower[1] = 7;
    Page page{};
    put_text(page, 20, "SFF-LAYOUT-NAME ");
    put_text(page, 1, "CMIS-LAYOUT-NAME");
    RecordBuffer rec(kRows);
    ASSERT_EQ(qsfpdd_xcvr_decode_id(lower.data(), page.data(), rec.data()), QSFP_OK);
    EXPECT_STREQ(rec[11].value, "SFF-LAYOUT-NAME ");
    EXPECT_STREQ(rec[19].label, "wavelengthTol");
}

TEST(CmisIdDecoders, DecodersClearTheRecordFirst) {
    for (LayoutDecoder decode : {qsfpdd_xcvr_def_decode_id, qsfpdd_xcvr_v0_2_decode_id, qsfpdd_xcvr_v0_3_decode_id,
                                 qsfpdd_xcvr_v0_4_decode_id}) {
        RecordBuffer rec(kRows, '\x7E');
        Page page{};
        ASSERT_EQ(decode(page.data(), rec.data()), QSFP_OK);
        EXPECT_TRUE(rec.row_is_zero(0));
        EXPECT_TRUE(rec.row_is_zero(18));
    }
}

TEST(CmisIdDecoders, NullPointersAnswerInvalid) {
    Page page{};
    RecordBuffer rec(kRows, '\x7E');
    for (LayoutDecoder decode : {qsfpdd_xcvr_def_decode_id, qsfpdd_xcvr_v0_2_decode_id, qsfpdd_xcvr_v0_3_decode_id,
                                 qsfpdd_xcvr_v0_4_decode_id}) {
        EXPECT_EQ(decode(nullptr, rec.data()), QSFP_ERR_INVALID);
        EXPECT_EQ(decode(page.data(), nullptr), QSFP_ERR_INVALID);
    }
    EXPECT_EQ(qsfpdd_xcvr_decode_id(nullptr, page.data(), rec.data()), QSFP_ERR_INVALID);
    EXPECT_EQ(qsfpdd_xcvr_decode_id(page.data(), nullptr, rec.data()), QSFP_ERR_INVALID);
    EXPECT_EQ(qsfpdd_xcvr_decode_id(page.data(), page.data(), nullptr), QSFP_ERR_INVALID);
    EXPECT_EQ(rec[0].label[0], '\x7E');
}

}  // namespace
