// qsfpctl metrics and serve: the card's telemetry in the Prometheus text
// exposition format, read back by prometheus_client's parser, written as a
// node-exporter textfile, and scraped over loopback from the running program.
#include <gtest/gtest.h>

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cstdio>
#include <netinet/in.h>
#include <sstream>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include "exit_codes.h"
#include "qsfpctl_harness.h"

namespace {

using qsfpctl::test::line_count;
using qsfpctl::test::metric_samples;
using qsfpctl::test::run;

bool has(const std::vector<std::string> &samples, const std::string &sample) {
    return std::find(samples.begin(), samples.end(), sample) != samples.end();
}

std::vector<std::string> parsed(const std::string &exposition) {
    std::string error;
    std::vector<std::string> samples = metric_samples(exposition, error);
    EXPECT_EQ(error, "");
    return samples;
}

const std::string kLr4 = R"(part_number="KV-KORVA-100G-LR",serial="KVQ23000114",vendor="KORVA")";

TEST(QsfpctlMetrics, ParsedByPrometheusClient) {
    const auto o = run({"metrics"});
    ASSERT_EQ(o.code, qsfpctl::kExitOk) << o.err;
    EXPECT_EQ(o.err, "");
    const std::vector<std::string> samples = parsed(o.out);
    ASSERT_FALSE(samples.empty());
    // Every cage, the empty one at 0.
    EXPECT_TRUE(has(samples, R"(qsfp_module_present{cage="1"} 1.0)"));
    EXPECT_TRUE(has(samples, R"(qsfp_module_present{cage="8"} 0.0)"));
    // The parser sorts the labels: type comes before vendor.
    EXPECT_TRUE(has(samples, R"(qsfp_module_info{cage="2",driver="sff8636",part_number="KV-KORVA-100G-LR",)"
                             R"(serial="KVQ23000114",type="QSFP28 100G LR4",vendor="KORVA"} 1.0)"));
    // The card's raised conditions: the hot PSM4, the dark Rx lane 3 of the LR4.
    EXPECT_TRUE(has(samples, R"(qsfp_temperature_celsius{cage="3",part_number="OW-100G-PSM4",serial="OWQ23000014",vendor="OPTIWAVE"} 78.0)"));
    EXPECT_TRUE(has(samples, R"(qsfp_temperature_flag{cage="3",kind="alarm",level="high",part_number="OW-100G-PSM4",serial="OWQ23000014",vendor="OPTIWAVE"} 1.0)"));
    EXPECT_TRUE(has(samples, R"(qsfp_rx_power_dbm{cage="2",lane="3",)" + kLr4 + "} -40.0"));
    EXPECT_TRUE(has(samples, R"(qsfp_rx_power_flag{cage="2",kind="alarm",lane="3",level="low",)" + kLr4 + "} 1.0"));
    EXPECT_TRUE(has(samples, R"(qsfp_rx_power_flag{cage="2",kind="alarm",lane="2",level="low",)" + kLr4 + "} 0.0"));
    EXPECT_TRUE(has(samples, R"(qsfp_rx_los{cage="2",lane="3",)" + kLr4 + "} 1.0"));
    EXPECT_TRUE(has(samples, R"(qsfp_temperature_threshold_celsius{cage="2",kind="alarm",level="high",)" + kLr4 +
                                 "} 75.0"));
    EXPECT_TRUE(has(samples, R"(qsfp_tx_fault{cage="5",lane="2",part_number="LTR-40G-SR4",serial="LTQ23000055",vendor="LIGHTRAIL"} 1.0)"));
    // Thresholds once per module, not per lane.
    EXPECT_EQ(std::count_if(samples.begin(), samples.end(),
                            [](const std::string &s) {
                                return s.rfind(R"(qsfp_rx_power_threshold_dbm{cage="2",kind="alarm",level="low")", 0) == 0;
                            }),
              1);
    // A flat-memory cable has no monitors, only its presence and inventory.
    EXPECT_FALSE(std::any_of(samples.begin(), samples.end(), [](const std::string &s) {
        return s.find(R"({cage="4",)") != std::string::npos && s.rfind("qsfp_module_info", 0) != 0;
    }));
    // The QSFP-DD FR4 module's four media lanes, as its status record has them.
    const auto lane_of_cage_9 = [&samples](const std::string &lane) {
        return std::any_of(samples.begin(), samples.end(), [&lane](const std::string &s) {
            return s.rfind(R"(qsfp_tx_bias_milliamperes{cage="9",lane=")" + lane + "\",", 0) == 0;
        });
    };
    EXPECT_TRUE(lane_of_cage_9("4"));
    EXPECT_FALSE(lane_of_cage_9("5"));
}

TEST(QsfpctlMetrics, ReadingsCarryTheDigitsOfTheLibrarysFloats) {
    // The supply word 8084h (32,900 x 100 uV) is 3.29 V in the status
    // record's float; widened as it is it would print 3.289999961853027.
    const auto o = run({"metrics"});
    ASSERT_EQ(o.code, qsfpctl::kExitOk) << o.err;
    EXPECT_NE(o.out.find(R"(qsfp_supply_voltage_volts{cage="1",vendor="OPTIWAVE",part_number="OW-100G-SR4",)"
                         R"(serial="OWQ23000004"} 3.29)"
                         "\n"),
              std::string::npos)
        << o.out;
    // A bias threshold of 55,000 x 2 uA is 110.00001 in the library's float.
    EXPECT_NE(o.out.find(R"(qsfp_tx_bias_threshold_milliamperes{cage="2",vendor="KORVA",part_number="KV-KORVA-100G-LR",)"
                         R"(serial="KVQ23000114",kind="alarm",level="high"} 110.00001)"
                         "\n"),
              std::string::npos)
        << o.out;
    // Every sample is the double nearest a decimal of at most 9 significant
    // digits, as many as a float needs. prometheus-cpp writes 16 digits, so a
    // few (-9.400581 as -9.400581000000001) still show the double's last one.
    std::istringstream lines(o.out);
    for (std::string line; std::getline(lines, line);) {
        if (line.empty() || line[0] == '#') continue;
        const double value = std::stod(line.substr(line.rfind(' ') + 1));
        char nine[32];
        std::snprintf(nine, sizeof nine, "%.9g", value);
        EXPECT_EQ(std::stod(nine), value) << line;
    }
}

TEST(QsfpctlMetrics, ANonsenseExpositionIsRejectedByTheParser) {
    // The parser the other tests rely on does refuse a broken text.
    std::string error;
    EXPECT_TRUE(metric_samples("qsfp_temperature_celsius{cage=\"1\" 41\n", error).empty());
    EXPECT_NE(error, "");
}

TEST(QsfpctlMetrics, TextfileIsWrittenWhole) {
    const auto dir = qsfpctl::test::scratch_dir("metrics_textfile");
    const std::string file = (dir / "qsfp.prom").string();
    const auto o = run({"metrics", "--output", file});
    ASSERT_EQ(o.code, qsfpctl::kExitOk) << o.err;
    EXPECT_EQ(o.out, "");
    const std::vector<std::uint8_t> bytes = qsfpctl::test::file_bytes(file);
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()), run({"metrics"}).out);
    EXPECT_FALSE(std::filesystem::exists(file + ".partial"));
    const auto bad = run({"metrics", "--output", (dir / "no" / "such" / "dir.prom").string()});
    EXPECT_EQ(bad.code, qsfpctl::kExitBackend);
    EXPECT_EQ(line_count(bad.err), 1);
}

TEST(QsfpctlMetrics, ServeRefusesABadAddress) {
    const auto o = run({"serve", "--listen", "localhost"});
    EXPECT_EQ(o.code, qsfpctl::kExitUsage);
    EXPECT_EQ(o.err, "qsfpctl: --listen \"localhost\" is not ADDR:PORT\n");
}

// One HTTP GET over loopback; the whole answer, headers included.
std::string http_get(int port, const std::string &path) {
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    if (fd < 0) return "";
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    std::string answer;
    if (::connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0) {
        const std::string request = "GET " + path + " HTTP/1.0\r\nHost: 127.0.0.1\r\n\r\n";
        if (::send(fd, request.data(), request.size(), 0) == static_cast<ssize_t>(request.size())) {
            std::array<char, 65536> chunk{};
            for (ssize_t n; (n = ::recv(fd, chunk.data(), chunk.size(), 0)) > 0;) answer.append(chunk.data(), n);
        }
    }
    ::close(fd);
    return answer;
}

TEST(QsfpctlMetrics, ServeAnswersABoundedNumberOfScrapes) {
    // The program itself, on any free loopback port, for two scrapes; the
    // timeout bounds the test should the server not stop.
    const std::string command = "timeout 60 " + std::string(QSFPCTL_PROGRAM) +
                                " serve --listen 127.0.0.1:0 --max-scrapes 2";
    FILE *server = ::popen(command.c_str(), "r");
    ASSERT_NE(server, nullptr);
    std::array<char, 256> line{};
    ASSERT_NE(std::fgets(line.data(), line.size(), server), nullptr);
    const std::string first(line.data());
    const std::string prefix = "serving http://127.0.0.1:";
    ASSERT_EQ(first.rfind(prefix, 0), 0u) << first;
    const int port = std::stoi(first.substr(prefix.size()));
    ASSERT_GT(port, 0);
    EXPECT_EQ(first, prefix + std::to_string(port) + "/metrics\n");
    for (int scrape = 0; scrape < 2; ++scrape) {
        SCOPED_TRACE(scrape);
        const std::string answer = http_get(port, "/metrics");
        ASSERT_EQ(answer.rfind("HTTP/1.1 200 OK", 0), 0u) << answer.substr(0, 200);
        const std::size_t body = answer.find("\r\n\r\n");
        ASSERT_NE(body, std::string::npos);
        const std::vector<std::string> samples = parsed(answer.substr(body + 4));
        EXPECT_TRUE(has(samples, R"(qsfp_module_present{cage="8"} 0.0)"));
        EXPECT_TRUE(has(samples, R"(qsfp_temperature_celsius{cage="3",part_number="OW-100G-PSM4",serial="OWQ23000014",vendor="OPTIWAVE"} 78.0)"));
    }
    std::string rest;
    while (std::fgets(line.data(), line.size(), server) != nullptr) rest += line.data();
    const int status = ::pclose(server);
    EXPECT_EQ(rest, "served 2 scrapes\n");
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

}  // namespace
