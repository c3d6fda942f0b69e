// SPDX-License-Identifier: Apache-2.0
/// A worker that does what the frame's bytes say in words.
#include "io/decoding/decoder_protocol.h"
#include "io/decoding/refusal.h"
#include "io/decoding/serve_frames.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <functional>
#include <map>
#include <new>
#include <string>
#include <vector>

extern "C" const char* __asan_default_options() { return "exitcode=99:allocator_may_return_null=1"; }

namespace {

using namespace Norvane::Host;

std::uint64_t images = 0;

void end_by(int signal) {
    (void)std::signal(signal, SIG_DFL);
    (void)std::raise(signal);
}

void leak() {
    static std::vector<std::vector<char>> kept;
    kept.emplace_back(std::size_t{40} << 20, 'x');
}

void answer(std::uint64_t image, Outcome outcome, std::uint32_t length = 0, std::size_t size = sizeof(DecodeAnswer)) {
    const DecodeAnswer falsehood{image, 0, outcome, length, {}};
    (void)send(kSocketOfWorker, &falsehood, size, MSG_NOSIGNAL);
}

const std::map<std::string, std::function<void()>> kDeeds{
    {"", [] {}},
    {"refuse", [] { throw Refusal("is odd\n\x1b[31m"); }},
    {"refuse at length", [] { throw Refusal(std::string(5000, 'x')); }},
    {"have no memory", [] { throw std::bad_alloc(); }},
    {"want memory", [] { ::operator delete(::operator new (std::size_t{1} << 30)); }},
    {"abort", [] { end_by(SIGABRT); }},
    {"segfault", [] { end_by(SIGSEGV); }},
    {"be killed", [] { end_by(SIGKILL); }},
    {"throw", [] { throw 1; }},
    {"exit", [] { std::exit(3); }},
    {"report", [] { std::exit(kSanitizerExitCode); }},
    {"compute on",
     [] {
         while (images > 0) (void)getppid();
     }},
    {"sleep", [] { (void)pause(); }},
    {"leak", leak},
    {"ignore requests to stop", [] { (void)std::raise(SIGTERM); }},
    {"take the memory away",
     [] {
         if (ftruncate(kMemoryOfWorker, 0) == 0) throw Refusal("could shrink it");
     }},
    {"look around",
     [] {
         constexpr int kMost = 1024;
         bool has_more = getenv("PATH") != nullptr || getpgrp() != getpid();
         for (int i = kMemoryOfWorker + 1; i < kMost; ++i) has_more |= fcntl(i, F_GETFD) != -1;
         if (has_more) throw Refusal("has more than it needs");
     }},
    {"answer for another", [] { answer(images + 1, Outcome::kFilled); }},
    {"answer in short", [] { answer(images, Outcome::kFilled, 0, 20); }},
    {"answer strangely", [] { answer(images, Outcome{77}); }},
    {"say that it is ready", [] { answer(images, Outcome::kReady); }},
    {"answer beyond the end", [] { answer(images, Outcome::kRefused, 1U << 30U); }},
    {"close the socket",
     [] {
         (void)close(kSocketOfWorker);
         (void)pause();
     }},
};

void decode(const CompressedFrame& frame, std::span<std::uint16_t> words) {
    ++images;
    kDeeds.at({frame.bytes.begin(), frame.bytes.end()})();
    for (std::size_t i = 0; i < words.size(); ++i) words[i] = static_cast<std::uint16_t>(i * frame.bits);
    words[0] = static_cast<std::uint16_t>(getpid());
    words[1] = static_cast<std::uint16_t>(getpid() >> 16);
}

}  // namespace

int main(int, char** argv) { serve_frames(decode, std::strtoull(argv[1], nullptr, 10)); }
