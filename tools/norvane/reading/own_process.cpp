// SPDX-License-Identifier: Apache-2.0
#include "reading/own_process.h"

#include "reading/refusal.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <new>
#include <string>

namespace Norvane::Host {
namespace {

enum class Outcome { kUnfinished, kFilled, kRefused, kOutOfMemory };

/// What the processes share: an outcome with the refusal's text, and room for the words behind it.
class SharedAnswer {
public:
    explicit SharedAnswer(std::size_t word_count)
        : size(sizeof(Head) + word_count * sizeof(std::uint16_t)),
          memory(mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0)) {
        if (memory == MAP_FAILED) throw std::bad_alloc();
    }
    ~SharedAnswer() { munmap(memory, size); }
    SharedAnswer(const SharedAnswer&) = delete;
    SharedAnswer& operator=(const SharedAnswer&) = delete;

    [[nodiscard]] std::span<std::uint16_t> words() const {
        auto* first = static_cast<std::byte*>(memory) + sizeof(Head);
        return {reinterpret_cast<std::uint16_t*>(first), (size - sizeof(Head)) / sizeof(std::uint16_t)};
    }
    [[nodiscard]] Outcome outcome() const { return head().outcome; }
    [[nodiscard]] const char* refusal() const { return head().refusal; }

    void set(Outcome outcome) { head().outcome = outcome; }
    void refuse(const std::string& why) {
        head().refusal[why.copy(head().refusal, sizeof(Head::refusal) - 1)] = '\0';
        set(Outcome::kRefused);
    }

private:
    struct Head {
        Outcome outcome;  // all zeros at first: not finished
        char refusal[1020];
    };
    [[nodiscard]] Head& head() const { return *static_cast<Head*>(memory); }

    std::size_t size;
    void* memory;
};

/// Its end leaves no trace: no message, no core file, nothing for handlers of the program it was. Whether to stop is
/// for that program to say, which waits.
void behave_as_a_helper() {
    for (const int signal : {SIGABRT, SIGSEGV, SIGBUS, SIGFPE, SIGILL}) std::signal(signal, SIG_DFL);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) std::signal(signal, SIG_IGN);
    constexpr rlimit kNoCore{0, 0};
    setrlimit(RLIMIT_CORE, &kNoCore);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (nowhere >= 0) dup2(nowhere, STDERR_FILENO);
}

}  // namespace

void fill_in_own_process(std::span<std::uint16_t> words, const std::function<void(std::span<std::uint16_t>)>& write) {
    SharedAnswer answer(words.size());
    const pid_t child = fork();
    if (child < 0 && errno == ENOMEM) throw std::bad_alloc();
    if (child < 0) throw Refusal("needs a process of its own to be decoded, and none can be started");
    if (child == 0) {
        behave_as_a_helper();
        try {
            write(answer.words());
            answer.set(Outcome::kFilled);
        } catch (const Refusal& refusal) {
            answer.refuse(refusal.what());
        } catch (const std::bad_alloc&) {
            answer.set(Outcome::kOutOfMemory);
        } catch (...) {  // nothing may reach the caller in this process, who would go on in it
            answer.set(Outcome::kUnfinished);
        }
        _exit(0);
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    switch (answer.outcome()) {
        case Outcome::kFilled:
            std::ranges::copy(answer.words(), words.begin());
            return;
        case Outcome::kRefused:
            throw Refusal(answer.refusal());
        case Outcome::kOutOfMemory:
            throw std::bad_alloc();
        case Outcome::kUnfinished:
            // Nobody kills it but a system that runs out of memory.
            if (WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) throw std::bad_alloc();
            throw Refusal("holds data that ended its decoder");
    }
}

}  // namespace Norvane::Host
