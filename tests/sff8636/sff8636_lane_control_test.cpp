// Lane-level slots: Tx disable, CDR control, adaptive equaliser and Rx output
// disable bits, the SI writers and the mode check.
#include <gtest/gtest.h>

#include "sff8636/sff_port.h"

namespace {

using namespace qsfp::test;
using qsfp::sim::Op;

class LaneControlTest : public SffPortTest {};

TEST_F(LaneControlTest, TxDisableSetsAndEnableClearsTheLaneBitsOfByte86) {
    qsfp_port_ctx *port = make();
    EXPECT_EQ(qsfp_port_lane_tx_ena_dis(port, 0x05, 0), QSFP_OK);
    EXPECT_EQ(byte(0, 86), 0x05);
    EXPECT_EQ(qsfp_port_lane_tx_ena_dis(port, 0x01, 1), QSFP_OK);
    EXPECT_EQ(byte(0, 86), 0x04);
    // Only lanes 0-3 exist in byte 86.
    EXPECT_EQ(qsfp_port_lane_tx_ena_dis(port, 0xF0, 0), QSFP_OK);
    EXPECT_EQ(byte(0, 86), 0x04);
}

TEST_F(LaneControlTest, UnchangedControlByteIsNotWrittenAgain) {
    qsfp_port_ctx *port = make();
    qsfp_port_lane_tx_ena_dis(port, 0x0F, 0);
    forget_traffic();
    EXPECT_EQ(qsfp_port_lane_tx_ena_dis(port, 0x03, 0), QSFP_OK);
    EXPECT_TRUE(cage().writes().empty());
    EXPECT_EQ(cage().stats().transactions, 1u);  // the read of byte 86 alone
}

TEST_F(LaneControlTest, FlatCopperCableSkipsTxDisable) {
    qsfp_port_ctx *port = make();
    port->flat_mem = 1;
    port->is_copper = 1;
    EXPECT_EQ(qsfp_port_lane_tx_ena_dis(port, 0x0F, 0), QSFP_OK);
    EXPECT_EQ(cage().stats().transactions, 0u);
    EXPECT_EQ(trace_texts(kEvt),
              std::vector<std::string>{"Controller 0 Port 1: QSFP has flat memory and is copper, skip TX enable/disable"});
}

TEST_F(LaneControlTest, QsfpToSfpAdapterWritesTheWholeByteWhateverTheMask) {
    qsfp_port_ctx *port = make();
    port->hw_info.qsfp_type = 370;
    EXPECT_EQ(qsfp_port_lane_tx_ena_dis(port, 0x08, 0), QSFP_OK);
    EXPECT_EQ(byte(0, 86), 0x01);
    EXPECT_EQ(qsfp_port_lane_tx_ena_dis(port, 0x08, 1), QSFP_OK);
    EXPECT_EQ(byte(0, 86), 0x00);
    const auto writes = data_writes();
    ASSERT_EQ(writes.size(), 2u);
    EXPECT_EQ(writes[0].data, std::vector<std::uint8_t>{0x01});
    EXPECT_EQ(trace_texts(kEvt), (std::vector<std::string>{"Controller 0 Port 1: QSA port:1 set:0 reg_addr:86 ",
                                                           "Controller 0 Port 1: QSA port:1 set:1 reg_addr:86 "}));
}

TEST_F(LaneControlTest, FailedTxDisableWriteIsTracedAndReturned) {
    qsfp_port_ctx *port = make();
    cage().fail_range(Op::write, -1, 86, 86, 5);
    EXPECT_EQ(qsfp_port_lane_tx_ena_dis(port, 0x01, 0), 5u);
    EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 1: QSFP Set/Clear : Write register error"));
    EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 1: QSFP Tx Enable Write error"));
    port->hw_info.qsfp_type = 370;
    clear_traces();
    EXPECT_EQ(qsfp_port_lane_tx_ena_dis(port, 0x01, 0), 5u);
    EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 1: QSA Set/Clear : Write register error"));
    EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 1: QSFP Tx Enable Write error"));
}

TEST_F(LaneControlTest, FailedReadOfTheControlByteStopsTheWrite) {
    qsfp_port_ctx *port = make();
    cage().fail_range(Op::read, -1, 86, 86, 9);
    EXPECT_EQ(qsfp_port_lane_tx_ena_dis(port, 0x01, 0), 9u);
    EXPECT_TRUE(data_writes().empty());
    EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 1: QSFP Set/Clear : Read register error"));
}

TEST_F(LaneControlTest, RxLaneEnableIsNotSupported) {
    qsfp_port_ctx *port = make();
    EXPECT_EQ(qsfp_port_lane_rx_ena_dis(port, 0x0F, 1), QSFP_ERR_NOT_SUPPORTED);
    EXPECT_EQ(cage().stats().transactions, 0u);
}

TEST_F(LaneControlTest, CdrControlsUseTheHighAndLowNibblesOfByte98) {
    qsfp_port_ctx *port = make();
    EXPECT_EQ(qsfp_port_lane_tx_cdr_ena(port, 0x03, 1), QSFP_OK);
    EXPECT_EQ(byte(0, 98), 0x30);
    EXPECT_EQ(qsfp_port_lane_rx_cdr_ena(port, 0x0C, 1), QSFP_OK);
    EXPECT_EQ(byte(0, 98), 0x3C);
    EXPECT_EQ(qsfp_port_lane_tx_cdr_ena(port, 0x01, 0), QSFP_OK);
    EXPECT_EQ(qsfp_port_lane_rx_cdr_ena(port, 0x04, 0), QSFP_OK);
    EXPECT_EQ(byte(0, 98), 0x28);
    cage().fail_range(Op::write, -1, 98, 98, 5);
    EXPECT_EQ(qsfp_port_lane_tx_cdr_ena(port, 0x0F, 1), 5u);
    EXPECT_EQ(qsfp_port_lane_rx_cdr_ena(port, 0x0F, 1), 5u);
    EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 1: QSFP Tx CDR Enable Write error "));
    EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 1: QSFP Rx CDR Enable Write error"));
}

TEST_F(LaneControlTest, AdaptiveEqualiserBitsOnlyWhenTheModuleHasOne) {
    qsfp_port_ctx *port = make();
    EXPECT_EQ(qsfp_port_lane_ctle_ena(port, 0x0F, 1), QSFP_OK);
    EXPECT_TRUE(cage().writes().empty());
    EXPECT_EQ(trace_texts(kEvt),
              std::vector<std::string>{"Controller 0 Port 1: QSFP CTLE enable 1 is not supported for this module"});
    state(port).options[0] = 0x08;
    EXPECT_EQ(qsfp_port_lane_ctle_ena(port, 0x0F, 1), QSFP_OK);
    EXPECT_EQ(byte(3, 241), 0x0F);
    EXPECT_EQ(qsfp_port_lane_ctle_ena(port, 0x0F, 0), QSFP_OK);
    EXPECT_EQ(byte(3, 241), 0x00);
    cage().fail_range(Op::write, 3, 241, 241, 5);
    EXPECT_EQ(qsfp_port_lane_ctle_ena(port, 0x0F, 1), 5u);
    EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 1: QSFP CTLE enable 1 error"));
}

TEST_F(LaneControlTest, RxOutputDisableUsesTheHighNibbleOfPage03Byte241) {
    qsfp_port_ctx *port = make();
    EXPECT_EQ(qsfp_port_lane_rx_output_ena(port, 0x06, 0), QSFP_OK);
    EXPECT_EQ(byte(3, 241), 0x60);
    EXPECT_EQ(qsfp_port_lane_rx_output_ena(port, 0x02, 1), QSFP_OK);
    EXPECT_EQ(byte(3, 241), 0x40);
    cage().fail_range(Op::write, 3, 241, 241, 5);
    EXPECT_EQ(qsfp_port_lane_rx_output_ena(port, 0x02, 0), 5u);
    EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 1: QSFP Rx output enable 0 error"));
}

TEST_F(LaneControlTest, EqualiserWriterSettlesAfterEachByte) {
    qsfp_port_ctx *port = make();
    state(port).skip_tx_eq = 0;
    std::uint8_t value = 0x44;
    EXPECT_EQ(qsfp_modify_eq(port, 0x0F, &value), QSFP_OK);
    EXPECT_EQ(byte(3, 234), 0x44);
    EXPECT_EQ(byte(3, 235), 0x44);
    EXPECT_EQ(sleeps(), (std::vector<std::uint64_t>{10000, 10000}));
    const auto writes = data_writes();
    ASSERT_EQ(writes.size(), 2u);
    EXPECT_EQ(writes[0].reg, 234);
    EXPECT_EQ(writes[1].reg, 235);
}

TEST_F(LaneControlTest, EqualiserWriterLeavesAnAdaptiveOrFixedEqualiserAlone) {
    qsfp_port_ctx *port = make();
    std::uint8_t value = 0x44;
    state(port).options[0] = 0x08;  // adaptive in charge
    state(port).skip_tx_eq = 0;
    EXPECT_EQ(qsfp_modify_eq(port, 0x0F, &value), QSFP_OK);
    EXPECT_TRUE(cage().writes().empty());
    port->force_non_adaptive_ctle = 1;
    state(port).skip_tx_eq = 1;  // not programmable
    EXPECT_EQ(qsfp_modify_eq(port, 0x0F, &value), QSFP_OK);
    EXPECT_TRUE(cage().writes().empty());
    state(port).skip_tx_eq = 0;
    EXPECT_EQ(qsfp_modify_eq(port, 0x0F, &value), QSFP_OK);
    EXPECT_EQ(byte(3, 235), 0x44);
}

TEST_F(LaneControlTest, EmphasisAndAmplitudeWritersHonourTheirSkipFlags) {
    qsfp_port_ctx *port = make();
    std::uint8_t value = 0x21;
    state(port).skip_rx_eq = 1;
    state(port).skip_amp = 1;
    EXPECT_EQ(qsfp_modify_deemphasis(port, 0, &value), QSFP_OK);
    EXPECT_EQ(qsfp_modify_amp(port, 0, &value), QSFP_OK);
    EXPECT_TRUE(cage().writes().empty());
    state(port).skip_rx_eq = 0;
    state(port).skip_amp = 0;
    EXPECT_EQ(qsfp_modify_deemphasis(port, 0, &value), QSFP_OK);
    EXPECT_EQ(qsfp_modify_amp(port, 0, &value), QSFP_OK);
    EXPECT_EQ(byte(3, 236), 0x21);
    EXPECT_EQ(byte(3, 237), 0x21);
    EXPECT_EQ(byte(3, 238), 0x21);
    EXPECT_EQ(byte(3, 239), 0x21);
}

TEST_F(LaneControlTest, SiWritersAnswerTheOrOfBothWrites) {
    qsfp_port_ctx *port = make();
    state(port).skip_tx_eq = 0;
    state(port).skip_rx_eq = 0;
    state(port).skip_amp = 0;
    std::uint8_t value = 1;
    cage().fail_range(Op::write, 3, 235, 235, 0x4);
    cage().fail_range(Op::write, 3, 236, 236, 0x2);
    cage().fail_range(Op::write, 3, 239, 239, 0x8);
    EXPECT_EQ(qsfp_modify_eq(port, 0, &value), 0x4u);
    EXPECT_EQ(qsfp_modify_deemphasis(port, 0, &value), 0x2u);
    EXPECT_EQ(qsfp_modify_amp(port, 0, &value), 0x8u);
    EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 1: Failed to write QSFP EQ values, rc: 0x4"));
    EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 1: Failed to write QSFP DEEMPH values, rc: 0x2"));
    EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 1: Failed to write QSFP AMP values, rc: 0x8"));
}

TEST_F(LaneControlTest, SiValuesAreNotSupported) {
    qsfp_port_ctx *port = make();
    std::uint8_t v[8] = {};
    EXPECT_EQ(qsfp_modify_si_values(port, 0xFF, v, 0xFF, v, 0xFF, v, 0xFF, v), QSFP_ERR_EMPTY_SLOT);
    EXPECT_EQ(cage().stats().transactions, 0u);
}

struct ModeCase {
    std::uint32_t rate;
    std::uint32_t mode;
    std::uint32_t rc;
    const char *trace;
};

TEST_F(LaneControlTest, ModeCheckByRate) {
    qsfp_port_ctx *port = make();
    const ModeCase cases[] = {
        {40, 0, QSFP_OK, "40G with mode 0"},
        {40, 8, QSFP_OK, "40G with mode 8"},
        {40, 10, QSFP_ERR_EMPTY_SLOT, "40G with unsupported mode 10"},
        {100, 0, QSFP_OK, "100G with mode 0"},
        {100, 10, QSFP_OK, "100G with mode 10"},
        {100, 11, QSFP_OK, "100G with mode 11"},
        {100, 8, QSFP_ERR_EMPTY_SLOT, "100G with unsupported mode 8"},
        {400, 7, QSFP_ERR_EMPTY_SLOT, "Unsupported port rate 400, mode 7"},
    };
    for (const ModeCase &c : cases) {
        clear_traces();
        port->rate = c.rate;
        EXPECT_EQ(qsfp_port_mode_config(port, c.mode), c.rc) << c.trace;
        const auto texts = c.rc == QSFP_OK ? trace_texts(kEvt) : trace_texts(kErr);
        EXPECT_EQ(texts, std::vector<std::string>{std::string("Controller 0 Port 1: ") + c.trace});
    }
    EXPECT_TRUE(cage().writes().empty());
}

}  // namespace

namespace {

using namespace qsfp::test;

class GetTypeTest : public SffPortTest {};

TEST_F(GetTypeTest, AnswersTheCachedClassificationWithoutTouchingTheModule) {
    qsfp_port_ctx *port = make();
    std::uint32_t type = 0;
    std::uint32_t korva = 9;
    char name[8];
    EXPECT_EQ(qsfp_port_type(port, &type, name, sizeof name, &korva), QSFP_OK);
    EXPECT_EQ(type, 2u);
    EXPECT_STREQ(name, "QSFP28 ");  // cut to the caller's buffer
    EXPECT_EQ(korva, 0u);
    EXPECT_EQ(cage().stats().transactions, 0u);
    EXPECT_EQ(qsfp_port_type(port, &type, nullptr, 0, &korva), QSFP_OK);
}

TEST_F(GetTypeTest, UnknownTypeIsClassifiedAgainFromPage00) {
    qsfp_port_ctx *port = make();
    port->hw_info.qsfp_type = 0;
    std::uint32_t type = 0;
    std::uint32_t korva = 0;
    EXPECT_EQ(qsfp_port_type(port, &type, nullptr, 0, &korva), QSFP_OK);
    EXPECT_EQ(type, 2u);
    EXPECT_EQ(cage().stats().bytes_read, 128u);
    port->hw_info.qsfp_type = 0;
    cage().fail_range(qsfp::sim::Op::read, 0, 128, 255, 5);
    EXPECT_EQ(qsfp_port_type(port, &type, nullptr, 0, &korva), 5u);
    EXPECT_TRUE(trace_has(kErr, "Controller 0 Port 1: QSFP get type upper page0 data : Read error"));
}

TEST_F(GetTypeTest, MissingOutputsAnswer22) {
    qsfp_port_ctx *port = make();
    std::uint32_t type = 0;
    EXPECT_EQ(qsfp_port_get_type(port, &type, nullptr, 0, nullptr), QSFP_ERR_INVALID);
    EXPECT_EQ(qsfp_port_get_type(port, nullptr, nullptr, 0, &type), QSFP_ERR_INVALID);
    EXPECT_EQ(trace_count(kErr, "Controller 0 Port 1: QSFP Get type Null parameters"), 2u);
    EXPECT_EQ(qsfp_port_get_type(nullptr, &type, nullptr, 0, &type), QSFP_ERR_INVALID);
    EXPECT_EQ(qsfp_identify_type(nullptr, nullptr), QSFP_ERR_INVALID);
    EXPECT_EQ(trace_count(kErr, "QSFP Get Type : NULL Qsfp Port"), 2u);
    std::uint8_t page[128] = {};
    EXPECT_EQ(qsfp_identify_type(port, nullptr), QSFP_ERR_INVALID);
    EXPECT_EQ(trace_count(kErr, "Controller 0 Port 1: QSFP Get type Null parameters"), 3u);
    EXPECT_EQ(qsfp_identify_type(port, page), QSFP_OK);
    EXPECT_TRUE(trace_has(kEvt, "Controller 0 Port 1: QSFP qsfp_type = 0x0, qsfp_type_str = QSFP TYPE UNKNOWN"));
}

}  // namespace
