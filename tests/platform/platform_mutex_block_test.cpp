// Mutex-block aid: which thread waits on which mutex, with label and number.
#include <atomic>
#include <thread>

#include <gtest/gtest.h>

#include <qsfp/platform_ref.h>

namespace {

TEST(MutexBlockTest, AnnouncedWaitIsListedUntilUnset) {
    pthread_mutex_t mu = PTHREAD_MUTEX_INITIALIZER;
    const std::uint64_t before = ptd_ref_announcements();
    ptd_set_mutex_block(&mu, "some_place", 42);
    ptd_ref_block blocks[4];
    ASSERT_EQ(ptd_ref_blocked(blocks, 4), 1u);
    EXPECT_EQ(blocks[0].mutex, &mu);
    EXPECT_STREQ(blocks[0].label, "some_place");
    EXPECT_EQ(blocks[0].number, 42u);
    EXPECT_NE(pthread_equal(blocks[0].thread, pthread_self()), 0);
    EXPECT_EQ(ptd_ref_announcements(), before + 1);
    ptd_unset_mutex_block();
    EXPECT_EQ(ptd_ref_blocked(blocks, 4), 0u);
}

TEST(MutexBlockTest, EachThreadHasItsOwnRecord) {
    pthread_mutex_t a = PTHREAD_MUTEX_INITIALIZER;
    pthread_mutex_t b = PTHREAD_MUTEX_INITIALIZER;
    std::atomic<bool> announced{false};
    std::atomic<bool> release{false};
    ptd_set_mutex_block(&a, "main", 1);
    std::thread other([&] {
        ptd_set_mutex_block(&b, "other", 2);
        announced = true;
        while (!release) {
            std::this_thread::yield();
        }
        ptd_unset_mutex_block();
    });
    while (!announced) {
        std::this_thread::yield();
    }
    ptd_ref_block blocks[4];
    EXPECT_EQ(ptd_ref_blocked(blocks, 4), 2u);
    ptd_unset_mutex_block();
    ASSERT_EQ(ptd_ref_blocked(blocks, 4), 1u);
    EXPECT_STREQ(blocks[0].label, "other");
    EXPECT_EQ(blocks[0].mutex, &b);
    release = true;
    other.join();
    EXPECT_EQ(ptd_ref_blocked(blocks, 4), 0u);
}

TEST(MutexBlockTest, SnapshotCopiesAtMostMax) {
    pthread_mutex_t mu = PTHREAD_MUTEX_INITIALIZER;
    ptd_set_mutex_block(&mu, "x", 1);
    EXPECT_EQ(ptd_ref_blocked(nullptr, 0), 1u);
    ptd_unset_mutex_block();
}

}  // namespace
