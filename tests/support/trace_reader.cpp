#include "support/trace_reader.h"

#include <algorithm>

#include <qsfp/platform_ref.h>

namespace qsfp::test {

std::vector<TraceEntry> trace_entries(const char *buffer) {
    std::vector<TraceEntry> out;
    ztrace_ref_for_each(
        ztrace_ref_find(buffer),
        [](void *cookie, std::uint64_t, std::uint32_t tp, const char *sig, const char *text) {
            static_cast<std::vector<TraceEntry> *>(cookie)->push_back({tp, sig, text});
        },
        &out);
    return out;
}

std::vector<std::string> trace_texts(const char *buffer) {
    std::vector<std::string> out;
    for (auto &e : trace_entries(buffer)) {
        out.push_back(std::move(e.text));
    }
    return out;
}

std::size_t trace_count(const char *buffer, const std::string &text) {
    const auto texts = trace_texts(buffer);
    return static_cast<std::size_t>(std::count(texts.begin(), texts.end(), text));
}

bool trace_has(const char *buffer, const std::string &text) { return trace_count(buffer, text) > 0; }

void clear_traces() {
    ztrace_ref_for_each_buffer([](void *, ztrace_buffer *buf) { ztrace_ref_clear(buf); }, nullptr);
}

}  // namespace qsfp::test
