// Identifier record of a QSFP-DD module (20 rows, values only) from page 00h.
// The rows mean the same in every layout; where their bytes are depends on
// the memory-map revision the module reports: CMIS itself, or one of the
// three pre-release layouts that early QSFP-DD modules shipped with.
#include <iterator>

#include <qsfp/qsfp_decode.h>

#include "decode/record_fields.h"

namespace qsfp::decode {

namespace {

// Rows of the identifier record.
enum IdRow : std::uint8_t {
    kRowExtType = 1, kRowConnector, kRowEncoding, kRowBitRate, kRowLengthSmf, kRowLengthOm3, kRowLengthOm2, kRowLengthOm1, kRowLengthCopper,
    kRowDevTech, kRowVendorName, kRowVendorOui, kRowVendorPn, kRowVendorRev, kRowVendorSn, kRowDateCode, kRowClei, kRowWavelength,
    kRowWavelengthTol,
};
static_assert(kRowWavelengthTol == QSFPDD_ID_RECORD_ROWS - 1);

constexpr Field connector(std::uint8_t offset) {
    return {.row = kRowConnector, .offset = offset, .length = 1, .render = Render::code, .table = kConnectorText,
            .otherwise = kReservedConnector};
}
constexpr Field bits(std::uint8_t row, std::uint8_t offset, std::span<const BitRow> table) {
    return {.row = row, .offset = offset, .length = 1, .render = Render::bits, .table = table};
}
constexpr Field text(std::uint8_t row, std::uint8_t offset, std::uint8_t length) {
    return {.row = row, .offset = offset, .length = length, .render = Render::printable};
}
constexpr Field length(std::uint8_t row, std::uint8_t offset, std::uint16_t scale, const char *suffix) {
    return {.row = row, .offset = offset, .length = 1, .render = Render::length, .scale = scale, .suffix = suffix};
}
constexpr Field oui(std::uint8_t offset) {
    return {.row = kRowVendorOui, .offset = offset, .length = 3, .render = Render::oui};
}
constexpr Field date_code(std::uint8_t offset) {
    return {.row = kRowDateCode, .offset = offset, .length = 8, .render = Render::date_code};
}
constexpr Field bit_rate(std::uint8_t offset) {
    return {.row = kRowBitRate, .offset = offset, .length = 1, .render = Render::bit_rate};
}

// CMIS page 00h: vendor name at byte 129, OUI 145, part number 148, revision
// 164, serial 166, date 182, CLEI 190, copper length 202, connector 203,
// media technology 212.
constexpr Field kCmisLayout[] = {
    connector(75), length(kRowLengthCopper, 74, 1, "M"), bits(kRowDevTech, 84, kDevTech), text(kRowVendorName, 1, 16),
    oui(17), text(kRowVendorPn, 20, 16), text(kRowVendorRev, 36, 2), text(kRowVendorSn, 38, 16), date_code(54),
    text(kRowClei, 62, 10),
};
static_assert(std::size(kCmisLayout) == 10 && fits(kCmisLayout, QSFPDD_ID_RECORD_ROWS));

constexpr Field kV04Layout[] = {
    connector(78), bit_rate(74), text(kRowVendorName, 1, 16), oui(17), text(kRowVendorPn, 20, 16),
    text(kRowVendorRev, 36, 2), text(kRowVendorSn, 38, 16), date_code(54), text(kRowClei, 62, 10),
};
static_assert(std::size(kV04Layout) == 9 && fits(kV04Layout, QSFPDD_ID_RECORD_ROWS));

constexpr Field kV03Layout[] = {
    bits(kRowExtType, 1, kExtType), bits(kRowDevTech, 3, kDevTech), text(kRowVendorName, 4, 16),
    oui(36), text(kRowVendorPn, 39, 16), text(kRowVendorRev, 55, 2), text(kRowVendorSn, 20, 16), date_code(57),
};
static_assert(std::size(kV03Layout) == 8 && fits(kV03Layout, QSFPDD_ID_RECORD_ROWS));

// The SFF-8636 page 00h layout.
constexpr Field kV02Layout[] = {
    bits(kRowExtType, 1, kExtType),
    connector(2),
    bits(kRowEncoding, 11, kEncoding),
    bit_rate(12),
    length(kRowLengthSmf, 14, 1, "KM"),
    length(kRowLengthOm3, 15, 2, "M"),
    length(kRowLengthOm2, 16, 1, "M"),
    length(kRowLengthOm1, 17, 1, "M"),
    length(kRowLengthCopper, 18, 1, "M"),
    bits(kRowDevTech, 19, kDevTech),
    text(kRowVendorName, 20, 16),
    oui(37),
    text(kRowVendorPn, 40, 16),
    text(kRowVendorRev, 56, 2),
    text(kRowVendorSn, 68, 16),
    date_code(84),
    {.row = kRowWavelengthTol, .label = "wavelengthTol", .offset = 60, .length = 2, .render = Render::wavelength,
     .scale = 200},
};
static_assert(std::size(kV02Layout) == 17 && fits(kV02Layout, QSFPDD_ID_RECORD_ROWS));

// Lower byte 1 (the memory-map revision) that selects a pre-release layout;
// any other revision is decoded as CMIS. Revision 7 selects the SFF-8636
// layout: modules reporting it were built on that map.
struct LayoutChoice {
    std::uint8_t revision;
    uint32_t (*decode)(const uint8_t *page00, char *rec);
};
constexpr LayoutChoice kLayoutChoices[] = {
    {4, qsfpdd_xcvr_v0_4_decode_id},
    {7, qsfpdd_xcvr_v0_2_decode_id},
    {3, qsfpdd_xcvr_v0_3_decode_id},
};

constexpr std::size_t kRevisionByte = 1;

}  // namespace

}  // namespace qsfp::decode

extern "C" uint32_t qsfpdd_xcvr_v0_2_decode_id(const uint8_t *page00, char *rec) {
    using namespace qsfp::decode;
    return decode_record(page00, rec, QSFPDD_ID_RECORD_ROWS, kV02Layout, Columns::value_only);
}

extern "C" uint32_t qsfpdd_xcvr_v0_3_decode_id(const uint8_t *page00, char *rec) {
    using namespace qsfp::decode;
    return decode_record(page00, rec, QSFPDD_ID_RECORD_ROWS, kV03Layout, Columns::value_only);
}

extern "C" uint32_t qsfpdd_xcvr_v0_4_decode_id(const uint8_t *page00, char *rec) {
    using namespace qsfp::decode;
    return decode_record(page00, rec, QSFPDD_ID_RECORD_ROWS, kV04Layout, Columns::value_only);
}

extern "C" uint32_t qsfpdd_xcvr_def_decode_id(const uint8_t *page00, char *rec) {
    using namespace qsfp::decode;
    return decode_record(page00, rec, QSFPDD_ID_RECORD_ROWS, kCmisLayout, Columns::value_only);
}

extern "C" uint32_t qsfpdd_xcvr_decode_id(const uint8_t *lower, const uint8_t *page00, char *rec) {
    using namespace qsfp::decode;
    if (lower == nullptr || page00 == nullptr || rec == nullptr) {
        return QSFP_ERR_INVALID;
    }
    clear_record(rec, QSFPDD_ID_RECORD_ROWS);
    for (const LayoutChoice &choice : kLayoutChoices) {
        if (choice.revision == lower[kRevisionByte]) {
            return choice.decode(page00, rec);
        }
    }
    return qsfpdd_xcvr_def_decode_id(page00, rec);
}
