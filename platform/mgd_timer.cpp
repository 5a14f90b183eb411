// Managed timer tree: leaves with a type and a context under a tree that an
// event manager watches. Deadlines are absolute nanoseconds on the tree's clock.
#include <algorithm>
#include <ctime>

#include <qsfp/platform_ref.h>

#include "platform/timer_state.h"

namespace qsfp::platform {

std::mutex &timer_mutex() {
    static std::mutex mu;
    return mu;
}

std::uint64_t monotonic_ns() {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<std::uint64_t>(ts.tv_sec) * 1000000000ull + static_cast<std::uint64_t>(ts.tv_nsec);
}

std::uint64_t tree_now_ns(const mgd_timer *tree) {
    if (tree != nullptr && tree->attached != nullptr && tree->attached->virtual_time) {
        return tree->attached->virtual_now_ns;
    }
    return monotonic_ns();
}

mgd_timer *first_expired_locked(mgd_timer *tree, std::uint64_t now) {
    mgd_timer *first = nullptr;
    for (mgd_timer *leaf : tree->leaves) {
        if (leaf->running && leaf->deadline_ns <= now && (first == nullptr || leaf->deadline_ns < first->deadline_ns)) {
            first = leaf;
        }
    }
    return first;
}

}  // namespace qsfp::platform

using qsfp::platform::timer_mutex;
using qsfp::platform::tree_now_ns;

extern "C" mgd_timer *mgd_timer_tree_new(void) {
    auto *tree = new (std::nothrow) mgd_timer;
    if (tree != nullptr) {
        tree->is_tree = true;
    }
    return tree;
}

extern "C" mgd_timer *mgd_timer_leaf_new(mgd_timer *parent, uint32_t flags, uint32_t type, void *context) {
    if (parent == nullptr || !parent->is_tree) {
        return nullptr;
    }
    auto *leaf = new (std::nothrow) mgd_timer;
    if (leaf == nullptr) {
        return nullptr;
    }
    leaf->tree = parent;
    leaf->flags = flags;
    leaf->type = type;
    leaf->context = context;
    std::lock_guard lock(timer_mutex());
    parent->leaves.push_back(leaf);
    return leaf;
}

extern "C" void mgd_timer_leaf_start(mgd_timer *leaf, uint32_t seconds, uint32_t nanoseconds) {
    if (leaf == nullptr || leaf->is_tree) {
        return;
    }
    std::lock_guard lock(timer_mutex());
    leaf->deadline_ns = tree_now_ns(leaf->tree) + static_cast<std::uint64_t>(seconds) * 1000000000ull + nanoseconds;
    leaf->running = true;
    if (leaf->tree->attached != nullptr) {
        leaf->tree->attached->wake.notify_all();
    }
}

extern "C" void mgd_timer_leaf_stop(mgd_timer *leaf) {
    if (leaf == nullptr || leaf->is_tree) {
        return;
    }
    std::lock_guard lock(timer_mutex());
    leaf->running = false;
}

extern "C" int mgd_timer_leaf_running(const mgd_timer *leaf) {
    if (leaf == nullptr || leaf->is_tree) {
        return 0;
    }
    std::lock_guard lock(timer_mutex());
    return leaf->running ? 1 : 0;
}

extern "C" void mgd_timer_leaf_free(mgd_timer *leaf) {
    if (leaf == nullptr || leaf->is_tree) {
        return;
    }
    {
        std::lock_guard lock(timer_mutex());
        auto &leaves = leaf->tree->leaves;
        leaves.erase(std::remove(leaves.begin(), leaves.end(), leaf), leaves.end());
    }
    delete leaf;
}

extern "C" void mgd_timer_ref_tree_free(mgd_timer *tree) {
    if (tree == nullptr || !tree->is_tree) {
        return;
    }
    {
        std::lock_guard lock(timer_mutex());
        if (levm *lv = tree->attached) {
            std::erase_if(lv->trees, [&](const levm::Attachment &a) { return a.tree == tree; });
        }
        for (mgd_timer *leaf : tree->leaves) {
            delete leaf;
        }
    }
    delete tree;
}

extern "C" mgd_timer *mgd_timer_tree_first_expired(mgd_timer *tree) {
    if (tree == nullptr || !tree->is_tree) {
        return nullptr;
    }
    std::lock_guard lock(timer_mutex());
    return qsfp::platform::first_expired_locked(tree, tree_now_ns(tree));
}

extern "C" void *mgd_timer_leaf_get_context(const mgd_timer *leaf) { return leaf != nullptr ? leaf->context : nullptr; }

extern "C" uint32_t mgd_timer_leaf_get_type(const mgd_timer *leaf) { return leaf != nullptr ? leaf->type : 0; }

extern "C" uint64_t mgd_timer_ref_deadline_ns(const mgd_timer *leaf) {
    if (leaf == nullptr || leaf->is_tree) {
        return 0;
    }
    std::lock_guard lock(timer_mutex());
    return leaf->running ? leaf->deadline_ns : 0;
}

extern "C" uint64_t mgd_timer_ref_now_ns(const mgd_timer *timer) {
    if (timer == nullptr) {
        return qsfp::platform::monotonic_ns();
    }
    std::lock_guard lock(timer_mutex());
    return tree_now_ns(timer->is_tree ? timer : timer->tree);
}
