// Trace buffers: named, bounded rings of formatted entries. The ring holds at
// most the size given at open (text, signature and a fixed per-entry cost);
// the oldest entries are dropped to make room. Writers may be concurrent.
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <qsfp/platform_ref.h>

struct ztrace_buffer {
    std::string name;
    std::uint32_t capacity = 0;
    std::uint32_t entry_limit = 0;
    std::mutex mu;
    struct Entry {
        std::uint64_t sequence;
        std::uint32_t tracepoint;
        std::string signature;
        std::string text;
    };
    std::deque<Entry> entries;
    std::size_t bytes = 0;
    std::uint64_t dropped = 0;
    std::uint64_t next_sequence = 0;
    bool shown = false;
};

namespace {

// Bookkeeping cost of one entry on top of its texts.
constexpr std::size_t kEntryOverhead = 16;
// Entries are cut here when the opener gave no limit.
constexpr std::uint32_t kDefaultEntryLimit = 1024;

std::size_t entry_cost(const ztrace_buffer::Entry &e) { return kEntryOverhead + e.signature.size() + e.text.size(); }

struct Registry {
    std::mutex mu;
    std::vector<std::unique_ptr<ztrace_buffer>> buffers;
};

Registry &registry() {
    static Registry r;
    return r;
}

ztrace_buffer *find_locked(Registry &r, const char *name) {
    for (auto &b : r.buffers) {
        if (b->name == name) {
            return b.get();
        }
    }
    return nullptr;
}

}  // namespace

extern "C" int ztrace_open_internal(ztrace_buffer **out, const char *name, uint32_t size, uint32_t options,
                                    const char * /*dir*/, const char * /*catalog_id*/, uint32_t /*flags*/) {
    if (out == nullptr || name == nullptr || size == 0) {
        return EINVAL;
    }
    Registry &r = registry();
    std::lock_guard lock(r.mu);
    // Opening a name twice hands back the buffer already open.
    if (ztrace_buffer *existing = find_locked(r, name)) {
        *out = existing;
        return 0;
    }
    auto buf = std::make_unique<ztrace_buffer>();
    buf->name = name;
    buf->capacity = size;
    buf->entry_limit = options != 0 ? options : kDefaultEntryLimit;
    *out = buf.get();
    r.buffers.push_back(std::move(buf));
    return 0;
}

extern "C" int ztrace_enable_configuration(ztrace_buffer *buf, void *lv) {
    if (buf == nullptr || lv == nullptr) {
        return EINVAL;
    }
    std::lock_guard lock(buf->mu);
    buf->shown = true;
    return 0;
}

extern "C" void ztrace_internal(ztrace_buffer *buf, uint32_t tracepoint, const char *signature, const char *format,
                                ...) {
    if (buf == nullptr || format == nullptr) {
        return;
    }
    ztrace_buffer::Entry entry{0, tracepoint, signature != nullptr ? signature : "", {}};
    entry.text.resize(buf->entry_limit + 1);
    va_list args;
    va_start(args, format);
    const int n = std::vsnprintf(entry.text.data(), entry.text.size(), format, args);
    va_end(args);
    entry.text.resize(n < 0 ? 0 : std::min<std::size_t>(static_cast<std::size_t>(n), buf->entry_limit));

    const std::size_t cost = entry_cost(entry);
    std::lock_guard lock(buf->mu);
    entry.sequence = buf->next_sequence++;
    if (cost > buf->capacity) {
        ++buf->dropped;
        return;
    }
    while (buf->bytes + cost > buf->capacity) {
        buf->bytes -= entry_cost(buf->entries.front());
        buf->entries.pop_front();
        ++buf->dropped;
    }
    buf->bytes += cost;
    buf->entries.push_back(std::move(entry));
}

extern "C" ztrace_buffer *ztrace_ref_find(const char *name) {
    if (name == nullptr) {
        return nullptr;
    }
    Registry &r = registry();
    std::lock_guard lock(r.mu);
    return find_locked(r, name);
}

extern "C" const char *ztrace_ref_name(const ztrace_buffer *buf) { return buf != nullptr ? buf->name.c_str() : ""; }

extern "C" uint32_t ztrace_ref_entry_count(ztrace_buffer *buf) {
    if (buf == nullptr) {
        return 0;
    }
    std::lock_guard lock(buf->mu);
    return static_cast<std::uint32_t>(buf->entries.size());
}

extern "C" uint64_t ztrace_ref_dropped(ztrace_buffer *buf) {
    if (buf == nullptr) {
        return 0;
    }
    std::lock_guard lock(buf->mu);
    return buf->dropped;
}

extern "C" int ztrace_ref_is_shown(ztrace_buffer *buf) {
    if (buf == nullptr) {
        return 0;
    }
    std::lock_guard lock(buf->mu);
    return buf->shown ? 1 : 0;
}

extern "C" void ztrace_ref_for_each(ztrace_buffer *buf, ztrace_ref_visit_fn visit, void *cookie) {
    if (buf == nullptr || visit == nullptr) {
        return;
    }
    std::lock_guard lock(buf->mu);
    for (const auto &e : buf->entries) {
        visit(cookie, e.sequence, e.tracepoint, e.signature.c_str(), e.text.c_str());
    }
}

extern "C" void ztrace_ref_clear(ztrace_buffer *buf) {
    if (buf == nullptr) {
        return;
    }
    std::lock_guard lock(buf->mu);
    buf->entries.clear();
    buf->bytes = 0;
}

extern "C" uint32_t ztrace_ref_dump(ztrace_buffer *buf, FILE *out) {
    if (buf == nullptr || out == nullptr) {
        return 0;
    }
    std::lock_guard lock(buf->mu);
    for (const auto &e : buf->entries) {
        const bool ends_line = !e.text.empty() && e.text.back() == '\n';
        std::fprintf(out, "[%llu] %s tp=0x%08x sig=%s: %s%s", static_cast<unsigned long long>(e.sequence),
                     buf->name.c_str(), e.tracepoint, e.signature.c_str(), e.text.c_str(), ends_line ? "" : "\n");
    }
    return static_cast<std::uint32_t>(buf->entries.size());
}

extern "C" void ztrace_ref_for_each_buffer(void (*visit)(void *cookie, ztrace_buffer *buf), void *cookie) {
    if (visit == nullptr) {
        return;
    }
    std::vector<ztrace_buffer *> snapshot;
    {
        Registry &r = registry();
        std::lock_guard lock(r.mu);
        for (auto &b : r.buffers) {
            snapshot.push_back(b.get());
        }
    }
    for (ztrace_buffer *b : snapshot) {
        visit(cookie, b);
    }
}
