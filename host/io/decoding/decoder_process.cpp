// SPDX-License-Identifier: Apache-2.0
#include "io/decoding/decoder_process.h"

#include "io/decoding/refusal.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <system_error>
#include <vector>

namespace Norvane::Host {
namespace {

constexpr unsigned kPixelsPerSecond = 300'000;  // of processor time; valid images are ten times as fast
constexpr unsigned kStartSeconds = 120;         // the program may have to come from a file server
constexpr std::size_t kMostBytesWhenIdle = std::size_t{32} << 20;
constexpr std::size_t kMostSharedWhenIdle = std::size_t{64} << 20;  // an image of 14 million pixels needs 30 to 45

[[noreturn]] void refuse_start(const std::string& why) {
    throw Refusal("cannot be decoded, because the decoder process cannot be started (" + why +
                  "); --decode in-process does not need it");
}

/// The variables of this process's environment that decide how libraries are found and how sanitizers behave.
std::vector<char*> environment_of_worker() {
    constexpr std::array kPassedOn{"LD_LIBRARY_PATH=", "ASAN_OPTIONS=", "UBSAN_OPTIONS=", "LSAN_OPTIONS="};
    std::vector<char*> passed;
    for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
        const auto starts_entry = [entry](const char* name) {
            return std::strncmp(*entry, name, std::strlen(name)) == 0;
        };
        const std::span wanted(kPassedOn.data(), kIsSanitized ? kPassedOn.size() : 1);
        if (std::ranges::any_of(wanted, starts_entry)) passed.push_back(*entry);
    }
    passed.push_back(nullptr);
    return passed;
}

/// What a worker starts with: its two descriptors and no other, default signals, and its own process group, so that
/// Ctrl-C at the terminal does not reach the worker.
class SpawnSettings {
public:
    SpawnSettings(int socket, int memory) {
        posix_spawn_file_actions_init(&actions);
        posix_spawnattr_init(&attributes);
        add(posix_spawn_file_actions_adddup2(&actions, socket, kSocketOfWorker));
        add(posix_spawn_file_actions_adddup2(&actions, memory, kMemoryOfWorker));
        add(posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0));
        add(posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0));
        if (!kIsSanitized) add(posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0));
        add(posix_spawn_file_actions_addclosefrom_np(&actions, kMemoryOfWorker + 1));
        sigset_t signals;
        sigemptyset(&signals);
        add(posix_spawnattr_setsigmask(&attributes, &signals));
        sigfillset(&signals);
        add(posix_spawnattr_setsigdefault(&attributes, &signals));
        add(posix_spawnattr_setflags(&attributes,
                                     POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP));
    }
    ~SpawnSettings() {
        posix_spawnattr_destroy(&attributes);
        posix_spawn_file_actions_destroy(&actions);
    }
    SpawnSettings(const SpawnSettings&) = delete;
    SpawnSettings& operator=(const SpawnSettings&) = delete;

    [[nodiscard]] pid_t start(const std::string& program, std::size_t memory_limit) const {
        if (program.empty()) refuse_start("norvane-decoder is missing");
        std::string name = "norvane-decoder";
        std::string limit = std::to_string(memory_limit);
        std::array<char*, 3> arguments{name.data(), limit.data(), nullptr};
        pid_t process = -1;
        const int error = posix_spawn(&process, program.c_str(), &actions, &attributes, arguments.data(),
                                      environment_of_worker().data());
        if (error == ENOMEM) throw std::bad_alloc();
        if (error != 0) refuse_start(program + ": " + std::strerror(error));
        return process;
    }

private:
    static void add(int error) {
        if (error != 0) throw std::bad_alloc();  // these calls fail for no other reason
    }

    posix_spawn_file_actions_t actions{};
    posix_spawnattr_t attributes{};
};

/// A copy with a number above those that the worker uses, so that no descriptor overwrites another one there.
Descriptor out_of_the_way(int descriptor) {
    Descriptor copy(fcntl(descriptor, F_DUPFD_CLOEXEC, kMemoryOfWorker + 1));
    if (!copy.is_open()) throw std::system_error(errno, std::generic_category());
    return copy;
}

std::string printable(std::string text) {
    std::ranges::replace_if(
        text, [](char c) { return c < ' ' || c > '~'; }, '?');
    return text;
}

}  // namespace

DecoderProcess::DecoderProcess(const std::string& program, const DecoderLimits& its_limits) try : limits(its_limits) {
    std::array<int, 2> ends{};
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        throw std::system_error(errno, std::generic_category());
    }
    socket = Descriptor(ends[0]);
    {
        const Descriptor other_end(ends[1]);
        const Descriptor high_end = out_of_the_way(other_end.number());
        const Descriptor high_memory = out_of_the_way(memory.number());
        process = SpawnSettings(high_end.number(), high_memory.number()).start(program, limits.memory);
    }
    DecodeAnswer ready{};
    const Arrival arrival = receive(ready, kStartSeconds);
    const bool is_ready = arrival == Arrival::kAnswer && ready.outcome == Outcome::kReady;
    if (is_ready && ready.image == kProtocolVersion) return;
    (void)end(false);
    refuse_start(program + (is_ready ? ": it is of another version" : ": it ended at once"));
} catch (const std::system_error& error) {
    refuse_start(error.what());
}

DecoderProcess::~DecoderProcess() { (void)end(kIsSanitized); }

void DecoderProcess::abandon() {
    process = -1;
    socket.close();
    memory.close();
}

bool DecoderProcess::send(const CompressedFrame& frame) {
    const SharedLayout layout(frame.width, frame.height, frame.bytes.size());
    if (layout.size > limits.memory) throw std::bad_alloc();
    memory.grow(layout.size);
    std::ranges::copy(std::as_bytes(frame.bytes), memory.bytes().subspan(layout.first_byte).begin());
    word_count = layout.words;
    DecodeRequest request{};
    request.image = ++image;
    request.byte_count = frame.bytes.size();
    request.memory_bytes = memory.bytes().size();
    request.codec = static_cast<std::uint32_t>(frame.codec);
    request.width = frame.width;
    request.height = frame.height;
    request.bits = frame.bits;
    request.processor_seconds = limits.processor_seconds + static_cast<std::uint32_t>(layout.words / kPixelsPerSecond);
    ssize_t sent = 0;
    do {
        sent = ::send(socket.number(), &request, sizeof request, MSG_NOSIGNAL);
    } while (sent < 0 && errno == EINTR);
    return sent == sizeof request;
}

std::span<const std::uint16_t> DecoderProcess::words() {
    is_fit_now = false;
    DecodeAnswer answer{};
    const Arrival arrival = receive(answer, limits.waiting_seconds);
    if (arrival != Arrival::kAnswer || !is_answer_to_request(answer)) throw_for_end(arrival);
    is_fit_now = answer.bytes_in_use <= kMostBytesWhenIdle && memory.bytes().size() <= kMostSharedWhenIdle &&
                 answer.outcome != Outcome::kOutOfMemory;
    if (answer.outcome == Outcome::kOutOfMemory) throw std::bad_alloc();
    if (answer.outcome == Outcome::kRefused) throw Refusal(printable({answer.text, answer.text_length}));
    return {reinterpret_cast<const std::uint16_t*>(memory.bytes().data()), word_count};
}

DecoderProcess::Arrival DecoderProcess::receive(DecodeAnswer& answer, unsigned seconds) const {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point latest = Clock::now() + std::chrono::seconds(seconds);
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(latest - Clock::now()).count();
        pollfd wait{socket.number(), POLLIN, 0};
        const int events = poll(&wait, 1, static_cast<int>(std::max<std::int64_t>(left, 0)));
        if (events < 0 && errno == EINTR) continue;
        if (events == 0) return Arrival::kNothing;
        const ssize_t size = recv(socket.number(), &answer, sizeof answer, MSG_TRUNC | MSG_DONTWAIT);
        if (size < 0 && (errno == EINTR || errno == EAGAIN)) continue;
        if (size <= 0) return Arrival::kEnd;
        if (size != sizeof answer) answer.outcome = Outcome{};  // an invalid outcome
        return Arrival::kAnswer;
    }
}

bool DecoderProcess::is_answer_to_request(const DecodeAnswer& answer) const {
    const bool is_known = answer.outcome == Outcome::kFilled || answer.outcome == Outcome::kRefused ||
                          answer.outcome == Outcome::kOutOfMemory;
    return is_known && answer.image == image && answer.text_length <= sizeof answer.text;
}

void DecoderProcess::throw_for_end(Arrival arrival) {
    constexpr const char* kTooLong = "took too long to decode";
    const int status = end(false);
    if (arrival == Arrival::kNothing) throw Refusal(kTooLong);
    std::string how;
    if (arrival == Arrival::kAnswer) {
        how = "invalid answer";
    } else if (WIFSIGNALED(status)) {
        const int signal = WTERMSIG(status);
        if (signal == SIGXCPU) throw Refusal(kTooLong);
        if (signal == SIGKILL) throw std::bad_alloc();  // only a system that runs out of memory sends it
        const char* name = sigdescr_np(signal);
        how = name != nullptr ? name : "signal " + std::to_string(signal);
    } else {
        how = "exit code " + std::to_string(WEXITSTATUS(status));
    }
    throw Refusal("holds data that ended its decoder (" + how + ")");
}

// Returns the exit status of the worker; 0 if other code in this process has already fetched it.
int DecoderProcess::end(bool is_given_time) {
    socket.close();
    if (process < 0) return 0;
    if (!is_given_time) (void)kill(process, SIGKILL);  // has no effect if the worker has already ended
    int status = 0;
    while (waitpid(process, &status, 0) < 0) {
        if (errno != EINTR) {
            status = 0;
            break;
        }
    }
    process = -1;
    if (kIsSanitized && WIFEXITED(status) && WEXITSTATUS(status) == kSanitizerExitCode) {
        (void)std::fputs("norvane: a sanitizer has ended the decoder; see its report above\n", stderr);
        std::abort();
    }
    return status;
}

}  // namespace Norvane::Host
