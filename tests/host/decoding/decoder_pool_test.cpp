// SPDX-License-Identifier: Apache-2.0
// The program's side of the workers, against a worker that misbehaves on demand.
#include "io/decoding/decoder_pool.h"
#include "io/decoding/refusal.h"
#include "support/test.h"

#include <sys/wait.h>

#include <csignal>
#include <filesystem>
#include <thread>

namespace Norvane::Tests {
namespace {

using namespace Host;

constexpr DecoderLimits kLimits{.memory = std::size_t{256} << 20, .processor_seconds = 0};

/// It stands beside the tests.
std::string misbehaving_decoder() {
    namespace fs = std::filesystem;
    return fs::read_symlink("/proc/self/exe").replace_filename(fs::path(NORVANE_MISBEHAVING_DECODER).filename());
}

/// What became of an order: the process that carried it out, or why it was refused.
struct Deed {
    std::string refusal;
    unsigned process = 0;
    const std::uint16_t* words = nullptr;
};
Deed order(DecoderPool& pool, const std::string& words, unsigned width = 7, unsigned factor = 3,
           std::size_t memory = 0) {
    Deed deed;
    try {
        const auto* bytes = reinterpret_cast<const std::uint8_t*>(words.data());
        const CompressedFrame frame{Codec::kJpeg, {bytes, words.size()}, width, 5, factor, {}, memory};
        pool.decode(frame, [&](std::span<const std::uint16_t> made) {
            ASSERT_EQ(std::size_t{width} * 5, made.size());
            for (std::size_t i = 2; i < made.size(); ++i) ASSERT_EQ(static_cast<std::uint16_t>(i * factor), made[i]);
            deed.process = made[0] | unsigned{made[1]} << 16U;
            deed.words = made.data();
        });
    } catch (const Refusal& refusal) {
        deed.refusal = refusal.what();
    } catch (const std::bad_alloc&) {
        deed.refusal = "bad_alloc";
    }
    return deed;
}

TEST(DecoderPool, WhateverAWorkerDoesCostsOneImage) {
    enum class After { kSame, kFresh };
    const auto ended = [](const std::string& how) { return "holds data that ended its decoder (" + how + ")"; };
    const struct {
        const char* order;
        std::string refusal;
        After after;
    } table[] = {
        {"refuse", "is odd??[31m", After::kSame},
        {"refuse at length", std::string(sizeof(DecodeAnswer::text), 'x'), After::kSame},
        {"have no memory", "bad_alloc", After::kFresh},
        {"abort", ended("Aborted"), After::kFresh},
        {"segfault", ended("Segmentation fault"), After::kFresh},
        {"be killed", "bad_alloc", After::kFresh},
        {"throw", ended("Aborted"), After::kFresh},
        {"exit", ended("exit code 3"), After::kFresh},
        {"compute on", "took too long to decode", After::kFresh},
        {"ignore requests to stop", "", After::kSame},
        {"take the memory away", "", After::kSame},
        {"look around", "", After::kSame},
        {"answer for another", ended("invalid answer"), After::kFresh},
        {"answer in short", ended("invalid answer"), After::kFresh},
        {"answer strangely", ended("invalid answer"), After::kFresh},
        {"say that it is ready", ended("invalid answer"), After::kFresh},
        {"answer beyond the end", ended("invalid answer"), After::kFresh},
        {"close the socket", "bad_alloc", After::kFresh},
    };
    DecoderPool pool(misbehaving_decoder(), kLimits);
    const Descriptor inheritable(dup(STDERR_FILENO));
    testing::internal::CaptureStderr();
    for (const auto& row : table) {
        const Deed before = order(pool, "");
        EXPECT_EQ(row.refusal, order(pool, row.order).refusal) << row.order;
        const Deed after = order(pool, "");
        EXPECT_EQ("", after.refusal) << row.order;
        EXPECT_EQ(row.after == After::kSame, before.process == after.process) << row.order;
        EXPECT_TRUE(row.after != After::kSame || before.words == after.words) << "the memory is used again";
    }
    const std::string printed = testing::internal::GetCapturedStderr();
    if (kIsSanitized) {
        // With workers of its own: the death happens in a fork, which is no parent of those that there are.
        const auto report = [] {
            DecoderPool own(misbehaving_decoder(), kLimits);
            (void)order(own, "report");
        };
        EXPECT_DEATH(report(), "a sanitizer has ended the decoder");
        return;
    }
    EXPECT_EQ("", printed);
    EXPECT_EQ("bad_alloc", order(pool, "want memory").refusal);
    EXPECT_EQ(ended("exit code 99"), order(pool, "report").refusal);
    const Deed leak = order(pool, "leak");
    EXPECT_NE(leak.process, order(pool, "").process) << "a worker that has grown is replaced";
}

TEST(DecoderPool, WorkersThatDoNotAnswerOrDoNotStartAreRefused) {
    DecoderPool impatient(misbehaving_decoder(), {.waiting_seconds = 0});
    EXPECT_EQ("took too long to decode", order(impatient, "sleep").refusal);
    for (const auto& [program, why] : {std::pair{"", "norvane-decoder is missing"},
                                       {"/dev/null", "/dev/null: Permission denied"},
                                       {"/bin/true", "/bin/true: it ended at once"}}) {
        DecoderPool pool(program);
        EXPECT_EQ(std::string("cannot be decoded, because the decoder process cannot be started (") + why +
                      "); --decode in-process does not need it",
                  order(pool, "").refusal);
    }
}

TEST(DecoderPool, OneThatEndedIdleIsReplacedAndFramesBeyondTheLimitAreNoReasonToEnd) {
    DecoderPool pool(misbehaving_decoder(), kLimits);
    std::set<unsigned> processes;
    for (int i = 0; i < 3; ++i) {
        const Deed deed = order(pool, "", 1000 * (i + 1));  // the memory grows
        EXPECT_EQ("", deed.refusal);
        processes.insert(deed.process);
    }
    EXPECT_EQ(1U, processes.size());
    siginfo_t ended{};
    ASSERT_EQ(0, kill(static_cast<pid_t>(*processes.begin()), SIGKILL));
    ASSERT_EQ(0, waitid(P_PID, *processes.begin(), &ended, WEXITED | WNOWAIT));
    EXPECT_EQ("", order(pool, "").refusal);
    constexpr std::size_t kLittle = std::size_t{1} << 20;
    EXPECT_EQ("", order(pool, "", 7, 3, kLittle).refusal);
    EXPECT_EQ("", order(pool, "", 200'000).refusal) << "a limit holds for its own frame";
    EXPECT_EQ("bad_alloc", order(pool, "", 200'000, 3, kLittle).refusal);
    pool.end_idle();
}

TEST(DecoderPool, FramesAreDecodedAtTheSameTimeByWorkersThatAreUsedAgain) {
    DecoderPool pool(misbehaving_decoder(), kLimits);
    std::set<unsigned> processes;
    for (int twice = 0; twice < 2; ++twice) {
        pool.decode({Codec::kJpeg, {}, 7, 5, 3, {}, 0}, [&](std::span<const std::uint16_t> made) {
            processes.insert({made[0] | unsigned{made[1]} << 16U, order(pool, "").process});
        });
    }
    EXPECT_EQ(2U, processes.size());
    std::vector<std::jthread> threads;
    for (unsigned t = 1; t <= 4; ++t) {
        threads.emplace_back([&pool, t] {
            for (unsigned i = 0; i < 25; ++i) {
                const bool ends = i % 8 == 7;
                EXPECT_EQ(ends ? "holds data that ended its decoder (Aborted)" : "",
                          order(pool, ends ? "abort" : "", 100 * t + i, t).refusal);
            }
        });
    }
}

}  // namespace
}  // namespace Norvane::Tests
