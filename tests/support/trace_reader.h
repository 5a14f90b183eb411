// Reading the library's trace buffers back in tests.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace qsfp::test {

struct TraceEntry {
    std::uint32_t tracepoint;
    std::string signature;
    std::string text;
};

inline constexpr const char *kErr = "qsfp_err";
inline constexpr const char *kEvt = "qsfp_evt";

std::vector<TraceEntry> trace_entries(const char *buffer);
std::vector<std::string> trace_texts(const char *buffer);
bool trace_has(const char *buffer, const std::string &text);
std::size_t trace_count(const char *buffer, const std::string &text);
// Empties every buffer the library opened.
void clear_traces();

}  // namespace qsfp::test
