// Identifier record of an SFF-8636 module: upper page 00h (bytes 128-255) as
// 38 labelled rows.
#include <iterator>

#include <qsfp/qsfp_decode.h>

#include "decode/record_fields.h"

namespace qsfp::decode {

namespace {

// Buffer indexes of the bytes that the Ethernet compliance rows combine.
constexpr std::uint8_t kEtherCompliance = 131 - 128;
constexpr std::uint8_t kExtCompliance = 192 - 128;
constexpr std::uint8_t kVendorCompliance = 224 - 128;
constexpr std::uint8_t kExtIdBit = 0x80;
constexpr std::size_t kEtherRow = 3;
constexpr std::size_t kLinkCodesRow = 29;

// Modules that leave bytes 131 and 192 empty name their link in vendor byte
// 224; these are the codes it maps to in the link-codes table.
struct VendorLinkCode {
    std::uint8_t vendor;
    std::uint8_t link_code;
};
constexpr VendorLinkCode kVendorLinkCodes[] = {{1, 0x1F}, {5, 0x06}};

constexpr Field kIdFields[] = {
    {.row = 0, .label = "xcvrType", .offset = 0, .length = 1, .render = Render::identifier},
    {.row = 1, .label = "extType", .offset = 1, .length = 1, .render = Render::bits, .table = kExtType},
    {.row = 2, .label = "connectorType", .offset = 2, .length = 1, .render = Render::code, .table = kConnectorText,
     .otherwise = kReservedConnector},
    {.row = 4, .label = "sonetCompCode", .offset = 4, .length = 1, .render = Render::bits, .table = kSonet},
    {.row = 5, .label = "sasCompCode", .offset = 5, .length = 1, .render = Render::bits, .table = kSas},
    {.row = 6, .label = "gigEthCompCode", .offset = 6, .length = 1, .render = Render::bits, .table = kGigEth},
    {.row = 7, .label = "fibreChLinkLength", .offset = 7, .length = 1, .render = Render::bits, .table = kFcLinkLength},
    {.row = 8, .label = "fibreChTranTech", .offset = 8, .length = 1, .render = Render::bits, .table = kFcTranTech},
    {.row = 9, .label = "fibreChTranMedia", .offset = 9, .length = 1, .render = Render::bits, .table = kFcMedia},
    {.row = 10, .label = "fibreChSpeed", .offset = 10, .length = 1, .render = Render::bits, .table = kFcSpeed},
    {.row = 11, .label = "encoding", .offset = 11, .length = 1, .render = Render::bits, .table = kEncoding},
    {.row = 12, .label = "bitRate", .offset = 12, .length = 1, .render = Render::bit_rate},
    {.row = 13, .label = "rateSelect", .offset = 13, .length = 1},
    {.row = 14, .label = "length1", .offset = 14, .length = 1, .render = Render::length, .scale = 1, .suffix = "KM"},
    {.row = 15, .label = "length2", .offset = 15, .length = 1, .render = Render::length, .scale = 2, .suffix = "M"},
    {.row = 16, .label = "length3", .offset = 16, .length = 1, .render = Render::length, .scale = 1, .suffix = "M"},
    {.row = 17, .label = "length4", .offset = 17, .length = 1, .render = Render::length, .scale = 1, .suffix = "M"},
    {.row = 18, .label = "length5", .offset = 18, .length = 1, .render = Render::length, .scale = 1, .suffix = "M"},
    {.row = 19, .label = "devTech", .offset = 19, .length = 1, .render = Render::bits, .table = kDevTech},
    {.row = 20, .label = "vendor_name", .offset = 20, .length = 16, .render = Render::printable},
    {.row = 21, .label = "extModule", .offset = 36, .length = 1, .render = Render::bits, .table = kExtModule},
    {.row = 22, .label = "vendorOUI", .offset = 37, .length = 3, .render = Render::oui},
    {.row = 23, .label = "vendor_pn", .offset = 40, .length = 16, .render = Render::printable},
    {.row = 24, .label = "vendor_rev", .offset = 56, .length = 2, .render = Render::printable},
    {.row = 25, .label = "wavelength", .offset = 58, .length = 2, .render = Render::wavelength, .scale = 20},
    {.row = 26, .label = "wavelengthTol", .offset = 60, .length = 2, .render = Render::wavelength, .scale = 200},
    {.row = 27, .label = "maxCaseTemp", .offset = 62, .length = 1, .render = Render::case_temp},
    {.row = 28, .label = "baseIdChecksum", .offset = 63, .length = 1},
    {.row = 31, .label = "vendor_sn", .offset = 68, .length = 16, .render = Render::printable},
    {.row = 32, .label = "dateCode", .offset = 84, .length = 8, .render = Render::date_code},
    {.row = 33, .label = "diagMonType", .offset = 92, .length = 1, .render = Render::bits, .table = kDiagMon},
    {.row = 34, .label = "enhancedOptions", .offset = 93, .length = 1, .render = Render::bits, .table = kEnhOptions},
    {.row = 35, .label = "nbitRate", .offset = 94, .length = 1},
    {.row = 36, .label = "extIdChecksum", .offset = 95, .length = 1},
};
static_assert(std::size(kIdFields) == 34);
static_assert(fits(kIdFields, QSFP8636_ID_RECORD_ROWS));

void append_link_code(Row &row, std::uint8_t code) {
    xcvr_decode_uint8_to_string(code, row.value, kValueLimit, static_cast<int>(std::size(kLinkCodes)), kLinkCodes);
}

// The link named by vendor byte 224, for modules without compliance bytes.
void append_vendor_link_code(Row &row, std::uint8_t vendor) {
    for (const VendorLinkCode &v : kVendorLinkCodes) {
        if (v.vendor == vendor) {
            append_link_code(row, v.link_code);
        }
    }
}

// Rows 3 and 29. A module without compliance bytes gets the vendor code's
// text in row 3 twice: the show output has always read so and is kept.
void fill_ether_compliance(Row *rows, const std::uint8_t *page00) {
    Row &ether = rows[kEtherRow];
    Row &link = rows[kLinkCodesRow];
    const std::uint8_t ether_byte = page00[kEtherCompliance];
    const std::uint8_t ext_byte = page00[kExtCompliance];
    const bool no_compliance = ether_byte == 0 && ext_byte == 0;

    set_label(ether, "etherCompCode");
    if ((ether_byte & kExtIdBit) != 0) {
        set_label(link, "linkcodes");
        append_link_code(ether, ext_byte);
    } else if (no_compliance) {
        append_vendor_link_code(ether, page00[kVendorCompliance]);
    } else {
        xcvr_decode_uint8_to_string(ether_byte, ether.value, kValueLimit, static_cast<int>(std::size(kEtherCompCode)),
                                    kEtherCompCode);
    }
    append_hex(ether, page00 + kEtherCompliance, 1);

    set_label(link, "linkcodes");
    if (no_compliance) {
        append_vendor_link_code(ether, page00[kVendorCompliance]);
    } else {
        append_link_code(link, ext_byte);
    }
    append_hex(link, page00 + kVendorCompliance, 1);
}

}  // namespace

}  // namespace qsfp::decode

extern "C" uint32_t qsfp8636_xcvr_decode_qsfp8636_id(const uint8_t *page00, char *rec) {
    using namespace qsfp::decode;
    if (page00 == nullptr || rec == nullptr) {
        return QSFP_ERR_INVALID;
    }
    decode_record(page00, rec, QSFP8636_ID_RECORD_ROWS, kIdFields, Columns::all);
    fill_ether_compliance(reinterpret_cast<Row *>(rec), page00);
    return QSFP_OK;
}
