// qsfpctl on a two-wire bus: the i2c layer is faked by an emulated module on
// the emulator's raw bus, where only byte 127 selects the upper page, so the
// page selection through byte 127 is what these tests check.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <qsfp/sim/cage.h>
#include <qsfp/sim/catalogue.h>

#include "exit_codes.h"
#include "i2c_backend.h"
#include "qsfpctl_harness.h"

namespace {

using qsfpctl::test::run;
using qsfpctl::test::schema_errors;

struct Transfer {
    bool write;
    std::uint8_t address;
    std::uint8_t reg;
    std::vector<std::uint8_t> data;  // written bytes
};

// The bus as i2c-dev would carry it, ending in an emulated module.
class FakeBus : public qsfpctl::I2cBus {
public:
    FakeBus(qsfp::sim::Cage &cage, std::vector<Transfer> &log, std::uint32_t fail_reads)
        : cage_(cage), log_(log), fail_reads_(fail_reads) {}

    std::uint32_t read(std::uint8_t address, std::uint8_t reg, std::uint8_t *buf, std::uint32_t len) override {
        log_.push_back({false, address, reg, {}});
        if (fail_reads_ != 0) return fail_reads_;
        if (address != qsfpctl::kModuleAddress) return 6;  // nobody acknowledges
        return cage_.read(reg, 0, len, buf);
    }

    std::uint32_t write(std::uint8_t address, std::uint8_t reg, const std::uint8_t *buf, std::uint32_t len) override {
        log_.push_back({true, address, reg, {buf, buf + len}});
        if (address != qsfpctl::kModuleAddress) return 6;
        return cage_.write(reg, 0, len, buf);
    }

private:
    qsfp::sim::Cage &cage_;
    std::vector<Transfer> &log_;
    std::uint32_t fail_reads_;
};

class QsfpctlI2c : public ::testing::Test {
protected:
    void SetUp() override { cage_.insert(qsfp::sim::make_module("100G-SR4")); }

    qsfpctl::RunOptions options(std::uint32_t fail_reads = 0) {
        qsfpctl::RunOptions o;
        o.virtual_time = true;
        o.open_i2c = [this, fail_reads](const std::string &device, std::string &error)
            -> std::unique_ptr<qsfpctl::I2cBus> {
            if (device != "/dev/i2c-7") {
                error = "fake: no bus " + device;
                return nullptr;
            }
            return std::make_unique<FakeBus>(cage_, log_, fail_reads);
        };
        return o;
    }

    std::vector<Transfer> page_selects() const {
        std::vector<Transfer> selects;
        for (const Transfer &t : log_) {
            if (t.write && t.reg == 127) selects.push_back(t);
        }
        return selects;
    }

    qsfp::sim::Cage cage_;
    std::vector<Transfer> log_;
};

TEST_F(QsfpctlI2c, ListIdentifiesTheModule) {
    const auto o = run({"--i2c", "/dev/i2c-7", "list", "--json"}, options());
    ASSERT_EQ(o.code, 0) << o.err;
    EXPECT_EQ(schema_errors("list", o.out), "");
    const auto j = nlohmann::json::parse(o.out);
    EXPECT_EQ(j["cages"][0]["part_number"], "OW-100G-SR4");
    for (const Transfer &t : log_) EXPECT_EQ(t.address, 0x50);
}

TEST_F(QsfpctlI2c, UpperPagesAreSelectedThroughByte127) {
    const auto o = run({"--i2c", "/dev/i2c-7", "read", "1", "3", "128", "4", "--json"}, options());
    ASSERT_EQ(o.code, 0) << o.err;
    const auto data = nlohmann::json::parse(o.out)["data"].get<std::vector<int>>();
    const auto expected = cage_.module()->memory().get_bytes(3, 128, 4);
    ASSERT_EQ(data.size(), 4u);
    for (std::size_t i = 0; i < 4; ++i) EXPECT_EQ(data[i], expected[i]) << i;
    const auto selects = page_selects();
    ASSERT_FALSE(selects.empty());
    EXPECT_EQ(selects.back().data, std::vector<std::uint8_t>{3});
    EXPECT_FALSE(log_.back().write);
    EXPECT_EQ(log_.back().reg, 128);
}

TEST_F(QsfpctlI2c, WriteReachesTheSelectedPage) {
    const auto o = run({"--i2c", "/dev/i2c-7", "write", "1", "3", "234", "1", "0x5a"}, options());
    ASSERT_EQ(o.code, 0) << o.err;
    EXPECT_EQ(cage_.module()->memory().get(3, 234), 0x5a);
    EXPECT_EQ(page_selects().back().data, std::vector<std::uint8_t>{3});
    EXPECT_TRUE(log_.back().write);
    EXPECT_EQ(log_.back().reg, 234);
}

TEST_F(QsfpctlI2c, ShowAndStatusWork) {
    const auto show = run({"--i2c", "/dev/i2c-7", "show", "1"}, options());
    ASSERT_EQ(show.code, 0) << show.err;
    EXPECT_NE(show.out.find("Vendor Name: OPTIWAVE"), std::string::npos);
    const auto status = run({"--i2c", "/dev/i2c-7", "status", "1", "--json"}, options());
    ASSERT_EQ(status.code, 0) << status.err;
    EXPECT_EQ(schema_errors("status", status.out), "");
}

TEST_F(QsfpctlI2c, ABusErrorIsReported) {
    const auto o = run({"--i2c", "/dev/i2c-7", "read", "1", "0", "0", "1"}, options(5));
    EXPECT_NE(o.code, 0);
    EXPECT_EQ(qsfpctl::test::line_count(o.err), 1);
    EXPECT_NE(o.err.find("rc 5 (EIO: the bus transfer failed)"), std::string::npos) << o.err;
}

TEST_F(QsfpctlI2c, AnEmptyCageIsReported) {
    cage_.pull();
    const auto o = run({"--i2c", "/dev/i2c-7", "show", "1"}, options());
    EXPECT_EQ(o.code, qsfpctl::kExitNoModule);
    EXPECT_EQ(o.err, "qsfpctl: cage 1 is empty: no module answers\n");
}

TEST_F(QsfpctlI2c, TheOpenersErrorIsPassedOn) {
    const auto o = run({"--i2c", "/dev/i2c-8", "list"}, options());
    EXPECT_EQ(o.code, qsfpctl::kExitBackend);
    EXPECT_EQ(o.err, "qsfpctl: fake: no bus /dev/i2c-8\n");
}

TEST(QsfpctlI2cDevice, AMissingDeviceIsRefused) {
    const auto o = run({"--i2c", "/dev/i2c-nonexistent", "list"});
    EXPECT_EQ(o.code, qsfpctl::kExitBackend);
    EXPECT_EQ(o.err, "qsfpctl: cannot open i2c bus /dev/i2c-nonexistent: No such file or directory (is the i2c-dev "
                     "module loaded?)\n");
}

TEST(QsfpctlI2cDevice, AFileThatIsNoAdapterIsRefused) {
    const auto dir = qsfpctl::test::scratch_dir("not_an_adapter");
    qsfpctl::test::write_text(dir / "i2c-0", "");
    const auto o = run({"--i2c", (dir / "i2c-0").string(), "list"});
    EXPECT_EQ(o.code, qsfpctl::kExitBackend);
    EXPECT_EQ(o.err, "qsfpctl: " + (dir / "i2c-0").string() +
                         " is not an i2c adapter that can do combined transfers (I2C_FUNC_I2C)\n");
}

}  // namespace
