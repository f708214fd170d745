// The child process runner of the robustness tests: each way a feed can end is seen by
// the parent and charged to the file that was being fed.
#include "support/child_feed.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <new>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

extern "C" int __lsan_do_recoverable_leak_check() __attribute__((weak));

namespace velko_test {
namespace {

// Stands in for the library: what it does depends on the path's name.
Outcome FakeFeed(const std::string &path) {
    Outcome out;
    if (path == "crash")
        std::abort();
    if (path == "hang")
        sleep(30);
    if (path == "exit")
        _exit(7);
    if (path == "no memory")
        throw std::bad_alloc();
    if (path == "long trouble")
        out.trouble = std::string(1000, 'x');
    out.opened = true;
    out.records = 7;
    out.walked = 11;
    return out;
}

char *volatile g_leak_sink = nullptr;

__attribute__((noinline)) void Leak() {
    for (int i = 0; i < 4; ++i)
        g_leak_sink = static_cast<char *>(std::malloc(100));
    g_leak_sink = nullptr;
}

// The leak checker's report of the leak made on purpose goes nowhere: only the child that
// feeds "leak" is silenced.
Outcome LeakingFeed(const std::string &path) {
    if (path == "leak") {
        const int nowhere = open("/dev/null", O_WRONLY);
        if (nowhere >= 0)
            dup2(nowhere, STDERR_FILENO);
        Leak();
    }
    return FakeFeed("clean");
}

std::vector<ChildFeedOutcome> Feed(const std::vector<std::string> &paths, double time_limit = 0.0,
                                   const ChildFeeder &feed = FakeFeed) {
    ChildFeedBounds bounds;
    bounds.time_limit = time_limit;
    return FeedFilesInChild(paths, bounds, feed);
}

TEST(ChildFeed, ACleanFeedReportsWhatItRead) {
    const std::vector<ChildFeedOutcome> out = Feed({"clean"});
    ASSERT_EQ(out.size(), 1u);
    EXPECT_TRUE(out[0].reported);
    EXPECT_EQ(out[0].Failure(), "");
    EXPECT_EQ(out[0].report.opened, 1);
    EXPECT_EQ(out[0].report.records, 7);
    EXPECT_EQ(out[0].report.walked, 11);
}

TEST(ChildFeed, ACrashIsChargedToItsFileAndTheBatchGoesOn) {
    const std::vector<ChildFeedOutcome> out = Feed({"clean", "crash", "clean", "exit", "clean"});
    ASSERT_EQ(out.size(), 5u);
    for (size_t i : {0u, 2u, 4u}) {
        EXPECT_TRUE(out[i].reported) << i;
        EXPECT_EQ(out[i].Failure(), "") << i;
    }
    EXPECT_FALSE(out[1].reported);
    EXPECT_NE(out[1].Failure().find("signal"), std::string::npos) << out[1].Failure();
    EXPECT_NE(out[3].Failure().find("exit status 7"), std::string::npos) << out[3].Failure();
}

TEST(ChildFeed, AFeedPastTheTimeLimitIsKilled) {
    // Long enough for a new child of a large process to start and report, under a
    // sanitizer too.
    const double limit = VELKO_TEST_SANITIZED ? 5.0 : 1.0;
    const std::vector<ChildFeedOutcome> out = Feed({"clean", "hang", "clean"}, limit);
    ASSERT_EQ(out.size(), 3u);
    EXPECT_EQ(out[0].Failure(), "");
    EXPECT_TRUE(out[1].timed_out);
    EXPECT_NE(out[1].Failure(), "");
    EXPECT_EQ(out[2].Failure(), "");
}

TEST(ChildFeed, AnAllocationFailureOutOfTheFeedIsAFailure) {
    const std::vector<ChildFeedOutcome> out = Feed({"no memory"});
    EXPECT_EQ(out[0].report.out_of_memory, 1);
    EXPECT_NE(out[0].Failure().find("memory bound"), std::string::npos);
}

TEST(ChildFeed, ALongTroubleTextIsCutToTheReport) {
    const std::vector<ChildFeedOutcome> out = Feed({"long trouble"});
    EXPECT_EQ(out[0].Failure(), std::string(sizeof out[0].report.trouble - 1, 'x'));
}

TEST(ChildFeed, ALeakIsChargedToTheFileThatLeaked) {
    if (!__lsan_do_recoverable_leak_check)
        GTEST_SKIP() << "no leak checker in this build";
    const std::vector<ChildFeedOutcome> out = Feed({"clean", "leak", "clean"}, 0.0, LeakingFeed);
    ASSERT_EQ(out.size(), 3u);
    EXPECT_EQ(out[0].Failure(), "");
    EXPECT_TRUE(out[1].leaked);
    EXPECT_NE(out[1].Failure().find("leak"), std::string::npos);
    EXPECT_EQ(out[2].Failure(), "");
}

} // namespace
} // namespace velko_test
