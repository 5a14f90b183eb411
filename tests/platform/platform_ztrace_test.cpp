// Reference trace buffers: bounded rings of entries, read back and dumped.
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <qsfp/platform_ref.h>

#include "support/trace_reader.h"

namespace {

using qsfp::test::trace_entries;
using qsfp::test::trace_texts;

ztrace_buffer *open_buffer(const char *name, std::uint32_t size, std::uint32_t entry_limit = 0) {
    ztrace_buffer *buf = nullptr;
    EXPECT_EQ(ztrace_open_internal(&buf, name, size, entry_limit, "dir", "0123456789abcdef0123456789abcdef", 0), 0);
    return buf;
}

TEST(ZtraceTest, EntriesReadBackWithTracepointAndSignature) {
    ztrace_buffer *buf = open_buffer("t_basic", 4096);
    ztrace_internal(buf, 0x10002, "ui", "Controller %d Port %d: hello\n", 1u, 2);
    const auto entries = trace_entries("t_basic");
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].tracepoint, 0x10002u);
    EXPECT_EQ(entries[0].signature, "ui");
    EXPECT_EQ(entries[0].text, "Controller 1 Port 2: hello\n");
    EXPECT_EQ(ztrace_ref_find("t_basic"), buf);
    EXPECT_STREQ(ztrace_ref_name(buf), "t_basic");
}

TEST(ZtraceTest, OpeningTheSameNameAgainGivesTheSameBuffer) {
    ztrace_buffer *a = open_buffer("t_twice", 4096);
    ztrace_buffer *b = open_buffer("t_twice", 8192);
    EXPECT_EQ(a, b);
}

TEST(ZtraceTest, RingDropsTheOldestEntriesWhenFull) {
    // 16 bytes of bookkeeping per entry plus its texts: "entry N" is 7 bytes.
    ztrace_buffer *buf = open_buffer("t_ring", 3 * (16 + 7));
    for (int i = 0; i < 5; ++i) {
        ztrace_internal(buf, 1, "", "entry %d", i);
    }
    EXPECT_EQ(trace_texts("t_ring"), (std::vector<std::string>{"entry 2", "entry 3", "entry 4"}));
    EXPECT_EQ(ztrace_ref_dropped(buf), 2u);
}

TEST(ZtraceTest, EntryLongerThanTheLimitIsCut) {
    ztrace_buffer *buf = open_buffer("t_limit", 4096, 5);
    ztrace_internal(buf, 1, "s", "%s", "abcdefghij");
    EXPECT_EQ(trace_texts("t_limit"), std::vector<std::string>{"abcde"});
}

TEST(ZtraceTest, EntryLargerThanTheWholeRingIsDropped) {
    ztrace_buffer *buf = open_buffer("t_huge", 20);
    ztrace_internal(buf, 1, "", "this entry cannot fit");
    EXPECT_EQ(ztrace_ref_entry_count(buf), 0u);
    EXPECT_EQ(ztrace_ref_dropped(buf), 1u);
}

TEST(ZtraceTest, NullBufferAndBadOpenAreRefused) {
    ztrace_internal(nullptr, 1, "", "nothing");
    ztrace_buffer *buf = nullptr;
    EXPECT_NE(ztrace_open_internal(&buf, nullptr, 100, 0, "", "", 0), 0);
    EXPECT_NE(ztrace_open_internal(&buf, "t_zero", 0, 0, "", "", 0), 0);
    EXPECT_NE(ztrace_open_internal(nullptr, "t_null", 10, 0, "", "", 0), 0);
    EXPECT_EQ(ztrace_ref_find("t_zero"), nullptr);
}

TEST(ZtraceTest, ConcurrentWritersLoseNothingThatFits) {
    ztrace_buffer *buf = open_buffer("t_threads", 1 << 20);
    constexpr int kThreads = 8;
    constexpr int kEach = 500;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([buf, t] {
            for (int i = 0; i < kEach; ++i) {
                ztrace_internal(buf, 1, "ii", "%d:%d", t, i);
            }
        });
    }
    for (auto &th : threads) {
        th.join();
    }
    EXPECT_EQ(ztrace_ref_entry_count(buf), static_cast<std::uint32_t>(kThreads * kEach));
    EXPECT_EQ(ztrace_ref_dropped(buf), 0u);
}

TEST(ZtraceTest, DumpWritesOneLinePerEntry) {
    ztrace_buffer *buf = open_buffer("t_dump", 4096);
    ztrace_internal(buf, 0x20005, "u", "value %u\n", 7u);
    ztrace_internal(buf, 0x20006, "", "no newline");
    char text[512] = {};
    FILE *out = fmemopen(text, sizeof text, "w");
    EXPECT_EQ(ztrace_ref_dump(buf, out), 2u);
    std::fclose(out);
    EXPECT_STREQ(text, "[0] t_dump tp=0x00020005 sig=u: value 7\n[1] t_dump tp=0x00020006 sig=: no newline\n");
}

TEST(ZtraceTest, EnableMakesTheBufferVisibleToTheShowCommand) {
    ztrace_buffer *buf = open_buffer("t_show", 4096);
    EXPECT_EQ(ztrace_ref_is_shown(buf), 0);
    int fake_levm = 0;
    EXPECT_EQ(ztrace_enable_configuration(buf, &fake_levm), 0);
    EXPECT_EQ(ztrace_ref_is_shown(buf), 1);
    EXPECT_NE(ztrace_enable_configuration(buf, nullptr), 0);
}

TEST(ZtraceTest, ClearEmptiesTheRing) {
    ztrace_buffer *buf = open_buffer("t_clear", 4096);
    ztrace_internal(buf, 1, "", "x");
    ztrace_ref_clear(buf);
    EXPECT_EQ(ztrace_ref_entry_count(buf), 0u);
}

}  // namespace
