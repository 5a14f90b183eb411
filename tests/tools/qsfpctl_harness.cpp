#include "qsfpctl_harness.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

namespace qsfpctl::test {

Outcome run(const std::vector<std::string> &args, const RunOptions &options) {
    std::ostringstream out;
    std::ostringstream err;
    Outcome o;
    o.code = qsfpctl::run(args, out, err, options);
    o.out = out.str();
    o.err = err.str();
    return o;
}

Outcome shell(const std::string &command) {
    Outcome o;
    FILE *pipe = ::popen(command.c_str(), "r");
    if (pipe == nullptr) return o;
    std::array<char, 4096> chunk{};
    while (std::size_t n = std::fread(chunk.data(), 1, chunk.size(), pipe)) o.out.append(chunk.data(), n);
    const int status = ::pclose(pipe);
    o.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return o;
}

std::filesystem::path scratch_dir(const std::string &name) {
    const std::filesystem::path dir = std::filesystem::temp_directory_path() /
                                      ("qsfpctl_test_" + std::to_string(::getpid())) / name;
    std::filesystem::remove_all(dir);
    std::filesystem::create_directories(dir);
    return dir;
}

std::vector<std::uint8_t> file_bytes(const std::filesystem::path &path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void write_file(const std::filesystem::path &path, const std::vector<std::uint8_t> &bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char *>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

void write_text(const std::filesystem::path &path, const std::string &text) {
    std::ofstream out(path, std::ios::trunc);
    out << text;
}

int line_count(const std::string &text) {
    int lines = 0;
    for (const char c : text) lines += c == '\n' ? 1 : 0;
    return lines + (!text.empty() && text.back() != '\n' ? 1 : 0);
}

namespace {

std::string file_text(const std::filesystem::path &path) {
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

}  // namespace

std::vector<std::string> metric_samples(const std::string &exposition, std::string &error) {
    const std::filesystem::path dir = scratch_dir("metrics_parse");
    write_text(dir / "metrics.prom", exposition);
    const std::string command = std::string(QSFPCTL_PYTHON) + " " + QSFPCTL_METRICS_PARSER + " " +
                                (dir / "metrics.prom").string() + " >" + (dir / "samples.txt").string() + " 2>" +
                                (dir / "errors.txt").string();
    const int status = std::system(command.c_str());
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        error = "status " + std::to_string(status) + ": " + file_text(dir / "errors.txt");
        return {};
    }
    std::vector<std::string> samples;
    std::istringstream lines(file_text(dir / "samples.txt"));
    for (std::string line; std::getline(lines, line);) samples.push_back(line);
    return samples;
}

std::string schema_errors(const std::string &name, const std::string &json) {
    const std::filesystem::path dir = scratch_dir("schema_" + name);
    const std::filesystem::path doc = dir / "output.json";
    const std::filesystem::path report = dir / "errors.txt";
    write_text(doc, json);
    const std::string schema = std::string(QSFPCTL_SCHEMA_DIR) + "/" + name + ".schema.json";
    const std::string command = std::string(QSFPCTL_PYTHON) + " " + QSFPCTL_VALIDATOR + " " + schema + " " +
                                doc.string() + " 2>" + report.string();
    const int status = std::system(command.c_str());
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0) {
        return "";
    }
    std::ifstream in(report);
    std::stringstream reasons;
    reasons << in.rdbuf();
    return "schema " + name + " rejects the output (status " + std::to_string(status) + "): " + reasons.str();
}

}  // namespace qsfpctl::test
