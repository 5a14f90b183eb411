// Runs qsfpctl commands in-process, through the same entry as the program,
// and checks JSON output against the committed schemas.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "app.h"

namespace qsfpctl::test {

struct Outcome {
    int code = -1;
    std::string out;
    std::string err;
};

Outcome run(const std::vector<std::string> &args, const RunOptions &options = {});

// A shell command run to its end: its exit code (-1 when it did not exit)
// and its standard output; `err` stays empty.
Outcome shell(const std::string &command);

// Validates `json` against tools/qsfpctl/schemas/<name>.schema.json with the
// jsonschema package; answers "" when valid, else the validator's reasons.
std::string schema_errors(const std::string &name, const std::string &json);

// The samples of a Prometheus text exposition as prometheus_client's parser
// reads it, one `name{sorted labels} value` line each; `error` holds the
// parser's reason when it rejects the text.
std::vector<std::string> metric_samples(const std::string &exposition, std::string &error);

// A fresh directory under the test's temporary area.
std::filesystem::path scratch_dir(const std::string &name);

std::vector<std::uint8_t> file_bytes(const std::filesystem::path &path);
void write_file(const std::filesystem::path &path, const std::vector<std::uint8_t> &bytes);
void write_text(const std::filesystem::path &path, const std::string &text);

// How many lines `text` has (a final line without newline counts).
int line_count(const std::string &text);

}  // namespace qsfpctl::test
