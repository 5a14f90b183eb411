// Show text of an SFF-8636 module: the decoded identifier, status, thresholds
// and lane monitors, with hex dumps of the pages. A paged module gets the
// whole text; a flat-memory module (a passive cable, no upper pages) a
// shorter one whose inventory comes from its lower memory.
#include <cstring>

#include <qsfp/qsfp_decode.h>

#include "decode/show_text.h"

namespace qsfp::decode {

namespace {

// Rows of the identifier record.
enum IdRow : std::size_t {
    kIdExtType = 1, kIdConnector = 2, kIdEther = 3, kIdSonet = 4, kIdSas = 5, kIdGigEth = 6, kIdFcLength = 7,
    kIdFcTech = 8, kIdFcMedia = 9, kIdFcSpeed = 10, kIdEncoding = 11, kIdBitRate = 12, kIdLengthSmf = 14,
    kIdDevTech = 19, kIdVendorName = 20, kIdExtModule = 21, kIdOui = 22, kIdPn = 23, kIdRev = 24,
    kIdWavelength = 25, kIdWavelengthTol = 26, kIdOptions = 30, kIdSerial = 31, kIdDateCode = 32,
    kIdDiagMon = 33, kIdEnhOptions = 34,
};
// Rows of the status records.
constexpr std::size_t kStatusType = 0;
constexpr std::size_t kStatusLos = 3;
constexpr std::size_t kStatusFault = 4;
constexpr std::size_t kStatusLol = 5;
constexpr std::size_t kStatusTemp = 14;
constexpr std::size_t kStatusVoltage = 15;
constexpr std::size_t kStatusDdm = 46;
constexpr std::size_t kFlatClei = 3;
constexpr std::size_t kFlatVid = 4;
constexpr std::size_t kFlatPn = 5;
constexpr std::size_t kFlatPid = 6;
// Row of the information record, and of the threshold record's two spare rows.
constexpr std::size_t kInfoPid = 13;
constexpr std::size_t kThresholdSpare = 20;

// That cable has no monitors: its thresholds and lanes are not shown.
constexpr const char *kUnmonitoredCable = "QSFP-T40G-CAB10M";
constexpr std::size_t kPidCompared = 16;

// The records of one build, zero-filled.
struct Records {
    Zeroed work = zeroed(kWorkBufferSize);
    Zeroed id = zeroed(QSFP8636_ID_RECORD_SIZE);
    Zeroed status = zeroed(QSFP8636_STATUS_RECORD_SIZE);
    Zeroed info = zeroed(QSFP8636_INFO_RECORD_SIZE);
    Zeroed thresholds = zeroed(QSFP8636_THRESHOLD_RECORD_SIZE);
    Zeroed flat_status = zeroed(QSFP28_FLAT_STATUS_RECORD_SIZE);

    bool complete() const { return work && id && status && info && thresholds && flat_status; }
    static const Row *rows(const Zeroed &record) { return reinterpret_cast<const Row *>(record.get()); }
};

// Identifier lines common to both kinds of module, up to the wavelength
// tolerance. Only the device-technology label differs: the paged text has
// always read "Deice Tech".
void identifier_lines(ShowText &t, const Row *type_row, const Row *id, bool flat) {
    t.line("\n\tXcvr Type: %s", type_row->value);
    t.line("\n\tExt Type: %s", id[kIdExtType].value);
    t.line("\n\tConnector Type: %s", id[kIdConnector].value);
    t.line("\n\tEthernet Compliance Codes: %s", id[kIdEther].value);
    t.line_if(shown(id[kIdSonet].value), "\n\tSONET Compliance codes: %s", id[kIdSonet].value);
    t.line_if(shown(id[kIdSas].value), "\n\tSAS/SATA compliance codes: %s", id[kIdSas].value);
    t.line_if(shown(id[kIdGigEth].value), "\n\tGigabit Ethernet Compliant codes: %s", id[kIdGigEth].value);
    t.line_if(shown(id[kIdEncoding].value), "\n\tEncoding: %s", id[kIdEncoding].value);
    t.line("\n\tBR, nominal: %s", id[kIdBitRate].value);
    const Row *len = id + kIdLengthSmf;
    t.line("\n\tLength SMF: %s, OM3: %s, OM2: %s, OM1: %s, Cable: %s", len[0].value, len[1].value, len[2].value,
           len[3].value, len[4].value);
    if (flat) {
        t.line("\n\tDevice Tech: %s", id[kIdDevTech].value);
    } else {
        t.line("\n\tDeice Tech: %s", id[kIdDevTech].value);
    }
    t.line("\n\tVendor Name: %s", id[kIdVendorName].value);
    t.line("\n\tVendor OUI: %s", id[kIdOui].value);
    t.line("\n\tVendor Part Number: %s  (rev.: %s)", id[kIdPn].value, id[kIdRev].value);
    t.line("\n\tWavelength: %s", id[kIdWavelength].value);
    t.line("\n\tWavelength Tolerance: %s", id[kIdWavelengthTol].value);
}

void option_lines(ShowText &t, const Row *id) {
    t.line("\n\tDiagnostic Monitoring Type: %s", id[kIdDiagMon].value);
    t.line("\n\tEnhanced Options: %s", id[kIdEnhOptions].value);
    t.line("\n\tExtended Module Codes: %s", id[kIdExtModule].value);
    t.line("\n\tOptions: %s", id[kIdOptions].value);
    t.line_if(shown(id[kIdFcLength].value), "\n\tFibre Channel link length: %s", id[kIdFcLength].value);
    t.line_if(shown(id[kIdFcTech].value), "\n\tTransmitter Technology: %s", id[kIdFcTech].value);
    t.line_if(shown(id[kIdFcMedia].value), "\n\tFibre Channel transmission media: %s", id[kIdFcMedia].value);
    t.line_if(shown(id[kIdFcSpeed].value), "\n\tFibre Channel Speed: %s", id[kIdFcSpeed].value);
}

void lower_and_page00_dumps(ShowText &t, const std::uint8_t *pages) {
    t.dump_section("\nMSA Data (Lower Memory)\n", pages, kLowerAt);
    t.dump_section("\n\nMSA Data (Upper Memory Page 00)\n", pages, kPage00At);
}

void lane_lines(ShowText &t, const qsfp8636_lane_record &lanes) {
    t.line("\n\n\t\t%5s %15s %15s  %25s  %25s", "Lane", "Temp", "Bias", "Tx Power", "Rx Power");
    for (int lane = 0; lane < lanes.count; ++lane) {
        t.line("\n\t\t%5d %15s %15s  %25s  %25s", lane, "N/A", lanes.bias[lane], lanes.tx_power[lane],
               lanes.rx_power[lane]);
    }
}

void monitoring_section(ShowText &t, const Row *status, const Row *thresholds, const qsfp8636_lane_record &lanes) {
    monitoring_thresholds(t, thresholds, status[kStatusTemp].value, status[kStatusVoltage].value);
    t.line("\n\n\tTxRxIOMagId: %s", thresholds[kThresholdSpare].value);
    t.line("\n\n\tRxOpAmpSupprt: %s", thresholds[kThresholdSpare + 1].value);
    lane_lines(t, lanes);
}

// What the driver reports of the port: live status (as lane texts) and
// inventory. A driver without the operation leaves its record zeroed.
struct DriverRecords {
    qsfp8636_lane_record lanes{};
    qsfp_hw_info info{};
};

// The inventory texts are printed whole; a driver that filled one to the brim
// still gets it cut at its own field.
template <std::size_t N>
void terminate(char (&text)[N]) {
    text[N - 1] = '\0';
}

void read_driver_records(qsfp_port_ctx *port, DriverRecords &d) {
    qsfp_hw_status status{};
    if (port->fvt.get_hw_status != nullptr) {
        port->fvt.get_hw_status(port, &status);
    }
    qsfp8636_xcvr_decode_qsfp8636_dom_lane_info(&status, reinterpret_cast<char *>(&d.lanes));
    if (port->fvt.get_hw_info != nullptr) {
        port->fvt.get_hw_info(port, &d.info);
    }
    terminate(d.info.serial_number);
    terminate(d.info.clei);
    terminate(d.info.vendor_pn);
    terminate(d.info.vid);
    terminate(d.info.pid);
}

std::uint32_t decode_paged(const std::uint8_t *pages, Records &r) {
    std::uint32_t rc = qsfp8636_xcvr_decode_qsfp8636_status(pages + kLowerAt, r.status.get());
    if (rc == QSFP_OK) {
        rc = qsfp8636_xcvr_decode_qsfp8636_id(pages + kPage00At, r.id.get());
    }
    if (rc == QSFP_OK) {
        rc = qsfp8636_xcvr_decode_qsfp8636_korva_info(pages + kPage02At, r.info.get());
    }
    if (rc == QSFP_OK) {
        rc = qsfp8636_xcvr_decode_qsfp8636_threshold(pages + kPage03At, r.thresholds.get());
    }
    return rc;
}

int build_paged(qsfp_port_ctx *port, char *out, std::uint32_t size, const std::uint8_t *pages, Records &r) {
    const std::uint32_t rc = decode_paged(pages, r);
    if (rc != QSFP_OK) {
        return static_cast<int>(rc);
    }
    DriverRecords d;
    read_driver_records(port, d);
    const Row *id = Records::rows(r.id);
    const Row *status = Records::rows(r.status);
    const Row *thresholds = Records::rows(r.thresholds);
    const char *date = d.info.date_code;

    ShowText t(r.work.get(), size, "qsfp_drv_qsfp8636_print_eeprom_str");
    t.line("\nQSFP8636 EEPROM port: %d", static_cast<int>(port->port));
    identifier_lines(t, status + kStatusType, id, false);
    t.line("\n\tVendor Serial Number: %s", d.info.serial_number);
    t.line("\n\tDate Code (yy/mm/dd): %c%c/%c%c/%c%c  lot code: %c%c", date[0], date[1], date[2], date[3], date[4],
           date[5], date[6], date[7]);
    option_lines(t, id);
    t.line("\n\tL-Tx/Rx LOS: %s", status[kStatusLos].value);
    t.line("\n\tL-Tx Fault: %s", status[kStatusFault].value);
    t.line("\n\tL-Tx/Rx LOL: %s", status[kStatusLol].value);
    t.line("\n\tModule DDM: %s", status[kStatusDdm].value);
    lower_and_page00_dumps(t, pages);
    t.line("\n\tCLEI Code: %s", d.info.clei);
    t.line("\n\tPart Number: %s (ver.: %s)", d.info.vendor_pn, d.info.vid);
    t.line("\n\tProduct Id: %s", d.info.pid);
    t.dump_section("\nMSA Data (Upper Memory Page 02)\n", pages, kPage02At);
    if (std::strncmp(Records::rows(r.info)[kInfoPid].value, kUnmonitoredCable, kPidCompared) != 0) {
        monitoring_section(t, status, thresholds, d.lanes);
    }
    t.dump_section("\nMSA Data (Upper Memory Page 03)\n", pages, kPage03At);
    t.copy_to(out, size);
    return t.status();
}

int build_flat(qsfp_port_ctx *port, char *out, std::uint32_t size, const std::uint8_t *pages, Records &r) {
    std::uint32_t rc = qsfp28_xcvr_decode_qsfp28_status(pages + kLowerAt, r.flat_status.get());
    if (rc == QSFP_OK) {
        rc = qsfp8636_xcvr_decode_qsfp8636_id(pages + kPage00At, r.id.get());
    }
    if (rc != QSFP_OK) {
        return static_cast<int>(rc);
    }
    const Row *id = Records::rows(r.id);
    const Row *flat = Records::rows(r.flat_status);

    ShowText t(r.work.get(), size, "qsfp_drv_qsfp28_print_eeprom_str");
    t.line("\nQSFP8636 EEPROM port: %d", static_cast<int>(port->port));
    identifier_lines(t, flat + kStatusType, id, true);
    t.line("\n\tVendor Serial Number: %s", id[kIdSerial].value);
    t.line("\n\tDate Code (yy/mm/dd): %s", id[kIdDateCode].value);
    option_lines(t, id);
    lower_and_page00_dumps(t, pages);
    t.line("\n\tCLEI Code: %s", flat[kFlatClei].value);
    t.line("\n\tPart Number: %s (ver.: %s)", flat[kFlatPn].value, flat[kFlatVid].value);
    t.line("\n\tProduct Id: %s", flat[kFlatPid].value);
    t.copy_to(out, size);
    return t.status();
}

}  // namespace

}  // namespace qsfp::decode

extern "C" int qsfp_drv_qsfp8636_get_eeprom_str(qsfp_port_ctx *port, char *out, uint32_t size, const uint8_t *pages) {
    using namespace qsfp::decode;
    if (port == nullptr || out == nullptr || pages == nullptr || size == 0) {
        return static_cast<int>(QSFP_ERR_INVALID);
    }
    Records records;
    if (!records.complete()) {
        return static_cast<int>(QSFP_ERR_NO_MEMORY);
    }
    if (port->flat_mem != 0) {
        return build_flat(port, out, size, pages, records);
    }
    return build_paged(port, out, size, pages, records);
}
