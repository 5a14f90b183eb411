// Show texts of a QSFP-DD module: the identifier view (lower memory and page
// 00h, decoded by the module's memory-map revision) and the full view of
// lower memory and pages 00h-03h, 10h and 11h with thresholds and lanes.
#include <qsfp/qsfp_decode.h>

#include "decode/show_text.h"

namespace qsfp::decode {

namespace {

// The full view's image holds pages 10h and 11h after page 03h.
constexpr std::uint32_t kPage10At = 640;
constexpr std::uint32_t kPage11At = 768;
// The address the identifier view's page 00h dump starts from.
constexpr std::uint32_t kUpperFirstAddress = 128;

// Rows of the identifier record.
enum IdRow : std::size_t {
    kIdExtType = 1, kIdConnector, kIdEncoding, kIdBitRate, kIdLengthSmf, kIdLengthOm3, kIdLengthOm2, kIdLengthOm1,
    kIdLengthCopper, kIdDevTech, kIdVendorName, kIdOui, kIdPn, kIdRev, kIdSerial, kIdDateCode, kIdClei,
    kIdWavelength, kIdWavelengthTol,
};
// Rows of the status record.
constexpr std::size_t kStatusType = 0;
constexpr std::size_t kStatusTemp = 4;
constexpr std::size_t kStatusVoltage = 5;
// The lane monitor record: Rx power rows 0-7, Tx power 8-15, bias 16-23.
constexpr int kShownLanes = 8;
constexpr std::size_t kTxPowerRows = 8;
constexpr std::size_t kBiasRows = 16;

const Row *rows(const Zeroed &record) {
    return reinterpret_cast<const Row *>(record.get());
}

void identifier_lines(ShowText &t, int port, const Row *status, const Row *id) {
    t.line("\nQSFP EEPROM port: %d", port);
    t.line("\n\tXcvr Type: %s", status[kStatusType].value);
    t.line("\n\tExt Type: %s", id[kIdExtType].value);
    t.line("\n\tConnector Type: %s", id[kIdConnector].value);
    t.line_if(shown(id[kIdEncoding].value), "\n\tEncoding: %s", id[kIdEncoding].value);
    t.line("\n\tBR, nominal: %s", id[kIdBitRate].value);
    t.line("\n\tLength SMF: %s, OM3: %s, OM2: %s, OM1: %s, Cable: %s", id[kIdLengthSmf].value, id[kIdLengthOm3].value,
           id[kIdLengthOm2].value, id[kIdLengthOm1].value, id[kIdLengthCopper].value);
    t.line("\n\tDevice Tech: %s", id[kIdDevTech].value);
    t.line("\n\tVendor Name: %s", id[kIdVendorName].value);
    t.line("\n\tVendor OUI: %s", id[kIdOui].value);
    t.line("\n\tVendor Part Number: %s  (rev.: %s)", id[kIdPn].value, id[kIdRev].value);
    t.line("\n\tVendor Serial Number: %s", id[kIdSerial].value);
    t.line("\n\tWavelength: %s", id[kIdWavelength].value);
    t.line("\n\tWavelength Tolerance: %s", id[kIdWavelengthTol].value);
    t.line("\n\tDate Code (yy/mm/dd): %s", id[kIdDateCode].value);
    t.line("\n\tCLEI Code: %s", id[kIdClei].value);
}

// Eight lane lines whatever the module's lane count.
void lane_lines(ShowText &t, const Row *lanes) {
    static constexpr const char *kLaneNames[kShownLanes] = {"0", "1", "2", "3", "4", "5", "6", "7"};
    t.line("\n\n\t\t%5s %15s %15s  %25s  %30s", "Lane", "Temp", "Bias", "Tx Power", "Rx Power");
    for (int lane = 0; lane < kShownLanes; ++lane) {
        t.line("\n\t\t%5s %15s %23s  %33s  %25s", kLaneNames[lane], "N/A", lanes[kBiasRows + lane].value,
               lanes[kTxPowerRows + lane].value, lanes[lane].value);
    }
}

// The full view's dumps. The lower-memory heading and dump appear twice; the
// show output has always carried both.
struct DumpSection {
    const char *heading;
    std::uint32_t offset;
};
constexpr DumpSection kFullViewDumps[] = {
    {"\nMSA Data (Lower Memory)\n", kLowerAt},
    {"\nMSA Data (Lower Memory)\n", kLowerAt},
    {"\n\nMSA Data (Upper Memory Page 00)\n", kPage00At},
    {"\n\nMSA Data (Upper Memory Page 01)\n", kPage01At},
    {"\n\nMSA Data (Upper Memory Page 02)\n", kPage02At},
    {"\n\nMSA Data (Upper Memory Page 03)\n", kPage03At},
    {"\n\nMSA Data (Upper Memory Page 10h)\n", kPage10At},
    {"\n\nMSA Data (Upper Memory Page 11h)\n", kPage11At},
};

struct FullViewRecords {
    Zeroed work = zeroed(kWorkBufferSize);
    Zeroed status = zeroed(QSFPDD_STATUS_RECORD_SIZE);
    Zeroed id = zeroed(QSFPDD_ID_RECORD_SIZE);
    Zeroed info = zeroed(QSFPDD_INFO_RECORD_SIZE);
    Zeroed thresholds = zeroed(QSFPDD_THRESHOLD_RECORD_SIZE);
    Zeroed lanes = zeroed(QSFPDD_LANE_RECORD_SIZE);

    bool complete() const { return work && status && id && info && thresholds && lanes; }
};

std::uint32_t decode_full_view(const qsfp_port_ctx *port, const std::uint8_t *pages, FullViewRecords &r) {
    std::uint32_t rc = qsfpdd_xcvr_decode_status(pages + kLowerAt, r.status.get(), port);
    if (rc == QSFP_OK) {
        rc = qsfpdd_xcvr_def_decode_id(pages + kPage00At, r.id.get());
    }
    if (rc == QSFP_OK) {
        rc = qsfpdd_xcvr_decode_korva_info(pages + kPage03At, r.info.get());
    }
    if (rc == QSFP_OK) {
        rc = qsfpdd_xcvr_decode_threshold(pages + kPage02At, r.thresholds.get());
    }
    if (rc == QSFP_OK) {
        rc = qsfpdd_xcvr_decode_chnl_interrupt(pages + kPage11At, r.lanes.get());
    }
    return rc;
}

}  // namespace

}  // namespace qsfp::decode

extern "C" int qsfp_drv_op_qsfpdd_get_eeprom_str(qsfp_port_ctx *port, char *out, uint32_t size, const uint8_t *pages) {
    using namespace qsfp::decode;
    if (port == nullptr || out == nullptr || pages == nullptr || size == 0) {
        return static_cast<int>(QSFP_ERR_INVALID);
    }
    FullViewRecords r;
    if (!r.complete()) {
        return static_cast<int>(QSFP_ERR_NO_MEMORY);
    }
    const std::uint32_t rc = decode_full_view(port, pages, r);
    if (rc != QSFP_OK) {
        return static_cast<int>(rc);
    }
    const Row *status = rows(r.status);
    const Row *info = rows(r.info);

    ShowText t(r.work.get(), size, "qsfpdd_op_drv_print_eeprom_str");
    identifier_lines(t, static_cast<int>(port->port), status, rows(r.id));
    t.line("\n\tPart Number: %s (ver.: %s)", info[0].value, info[1].value);
    t.line("\n\tProduct Id: %s", info[2].value);
    monitoring_thresholds(t, rows(r.thresholds), status[kStatusTemp].value, status[kStatusVoltage].value);
    lane_lines(t, rows(r.lanes));
    for (const DumpSection &section : kFullViewDumps) {
        t.dump_section(section.heading, pages, section.offset);
    }
    // Only a complete text replaces what the caller's area holds.
    if (t.status() == 0) {
        t.copy_to(out, size);
    }
    return t.status();
}

extern "C" int qsfp_drv_qsfpdd_get_eeprom_str(qsfp_port_ctx *port, char *out, uint32_t size, const uint8_t *lower,
                                              const uint8_t *page00) {
    using namespace qsfp::decode;
    if (port == nullptr || out == nullptr || lower == nullptr || page00 == nullptr || size == 0) {
        return static_cast<int>(QSFP_ERR_INVALID);
    }
    Zeroed work = zeroed(kWorkBufferSize);
    Zeroed status = zeroed(QSFPDD_STATUS_RECORD_SIZE);
    Zeroed id = zeroed(QSFPDD_ID_RECORD_SIZE);
    if (!work || !status || !id) {
        return static_cast<int>(QSFP_ERR_NO_MEMORY);
    }
    std::uint32_t rc = qsfpdd_xcvr_decode_status(lower, status.get(), port);
    if (rc == QSFP_OK) {
        rc = qsfpdd_xcvr_decode_id(lower, page00, id.get());
    }
    if (rc != QSFP_OK) {
        return static_cast<int>(rc);
    }
    ShowText t(work.get(), size, "qsfpdd_drv_print_eeprom_str");
    identifier_lines(t, static_cast<int>(port->port), rows(status), rows(id));
    t.dump_section("\nMSA Data (Lower Memory)\n", lower, kLowerAt);
    t.line("\nMSA Data (Upper Page0 Memory)\n");
    // The page's own 128 bytes, labelled with their addresses 0x0080-0x00ff.
    t.dump(page00, kUpperFirstAddress);
    t.copy_to(out, size);
    return t.status();
}
