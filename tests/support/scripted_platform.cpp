#include "support/scripted_platform.h"

#include <cstdarg>
#include <cstdio>
#include <deque>
#include <memory>

#include <qsfp/platform.h>

struct ztrace_buffer {
    std::string name;
    std::vector<std::string> entries;
};
struct mgd_timer {
    bool tree;
    std::uint32_t type;
    void *context;
};
struct levm {
    int unused;
};

namespace qsfp::test::scripted {

namespace {
struct State {
    Script script;
    std::vector<OpenCall> opens;
    std::vector<std::string> enables;
    std::deque<ztrace_buffer> buffers;
    std::deque<mgd_timer> timers;
    levm lv{};
    int em = 0;
};
State &state() {
    static State s;
    return s;
}
}  // namespace

Script &script() { return state().script; }
const std::vector<OpenCall> &open_calls() { return state().opens; }
const std::vector<std::string> &enable_calls() { return state().enables; }
void *evm() { return &state().em; }

std::vector<std::string> entries(const std::string &buffer) {
    for (const auto &b : state().buffers) {
        if (b.name == buffer) {
            return b.entries;
        }
    }
    return {};
}

}  // namespace qsfp::test::scripted

using qsfp::test::scripted::state;

extern "C" int ztrace_open_internal(ztrace_buffer **out, const char *name, uint32_t size, uint32_t options,
                                    const char *dir, const char *catalog_id, uint32_t flags) {
    auto &s = state();
    s.opens.push_back({name, size, options, dir, catalog_id, flags});
    if (static_cast<int>(s.opens.size()) - 1 == s.script.fail_open_at) {
        return 5;
    }
    s.buffers.push_back({name, {}});
    *out = &s.buffers.back();
    return 0;
}

extern "C" int ztrace_enable_configuration(ztrace_buffer *buf, void *) {
    state().enables.push_back(buf != nullptr ? buf->name : "(null)");
    return state().script.enable_rc;
}

extern "C" void ztrace_internal(ztrace_buffer *buf, uint32_t, const char *, const char *format, ...) {
    char text[1024];
    va_list args;
    va_start(args, format);
    std::vsnprintf(text, sizeof text, format, args);
    va_end(args);
    buf->entries.emplace_back(text);
}

extern "C" mgd_timer *mgd_timer_tree_new(void) {
    if (state().script.fail_tree) {
        return nullptr;
    }
    state().timers.push_back({true, 0, nullptr});
    return &state().timers.back();
}

extern "C" mgd_timer *mgd_timer_leaf_new(mgd_timer *parent, uint32_t, uint32_t type, void *context) {
    if (parent == nullptr) {
        return nullptr;
    }
    state().timers.push_back({false, type, context});
    return &state().timers.back();
}

extern "C" void mgd_timer_leaf_start(mgd_timer *, uint32_t, uint32_t) {}
extern "C" void mgd_timer_leaf_stop(mgd_timer *) {}
extern "C" int mgd_timer_leaf_running(const mgd_timer *) { return 0; }
extern "C" void mgd_timer_leaf_free(mgd_timer *) {}
extern "C" mgd_timer *mgd_timer_tree_first_expired(mgd_timer *) { return nullptr; }
extern "C" void *mgd_timer_leaf_get_context(const mgd_timer *leaf) { return leaf->context; }
extern "C" uint32_t mgd_timer_leaf_get_type(const mgd_timer *leaf) { return leaf->type; }

extern "C" levm *event_manager_levm_get(void *event_manager) {
    return event_manager == &state().em ? &state().lv : nullptr;
}

extern "C" int levm_attach_tree_timer(levm *lv, mgd_timer *tree, void (*)(mgd_timer *), void *) {
    if (lv == nullptr || tree == nullptr) {
        return -1;
    }
    return state().script.attach_rc;
}

extern "C" void ptd_set_mutex_block(pthread_mutex_t *, const char *, uint32_t) {}
extern "C" void ptd_unset_mutex_block(void) {}
