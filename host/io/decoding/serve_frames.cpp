// SPDX-License-Identifier: Apache-2.0
#include "io/decoding/serve_frames.h"

#include "io/decoding/decoder_protocol.h"
#include "io/decoding/refusal.h"
#include "io/decoding/shared_memory.h"

#include <fcntl.h>
#include <malloc.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <ctime>
#include <fstream>
#include <new>
#include <string>

namespace Norvane::Host {
namespace {

void set_limit(__rlimit_resource resource, rlim_t value) {
    const rlimit limit{value, value};
    (void)setrlimit(resource, &limit);
}

std::size_t mapped_bytes() {
    std::size_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    return pages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

void limit_itself(std::size_t memory) {
    constexpr rlim_t kMostDescriptors = 8;
    // Only the program decides when a worker stops. It does so by closing the socket.
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) (void)std::signal(signal, SIG_IGN);
    (void)prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    set_limit(RLIMIT_CORE, 0);
    if (kIsSanitized) return;  // sanitizers map terabytes and start a process to look for leaks
    set_limit(RLIMIT_AS, mapped_bytes() + memory);
    set_limit(RLIMIT_FSIZE, 0);
    set_limit(RLIMIT_NPROC, 0);
    set_limit(RLIMIT_NOFILE, kMostDescriptors);
}

// The limit counts from the start of the process. The hard limit stays as it is, because it could not be raised again.
void allow_processor_time(std::uint32_t seconds) {
    timespec used{};
    rlimit limit{};
    (void)clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
    (void)getrlimit(RLIMIT_CPU, &limit);
    limit.rlim_cur = static_cast<rlim_t>(used.tv_sec) + 1 + seconds;
    (void)setrlimit(RLIMIT_CPU, &limit);
}

// The signal comes with every event on the socket, such as when the program reads an answer. So the handler checks
// whether the program has closed its end.
void end_if_program_is_gone(int /*signal*/) {
    const int error = errno;
    pollfd socket{kSocketOfWorker, POLLRDHUP, 0};
    if (poll(&socket, 1, 0) == 1 && (socket.revents & (POLLRDHUP | POLLHUP | POLLERR)) != 0) _exit(0);
    errno = error;
}

/// If the program ends while an image is decoded, SIGIO ends this process too. The signal for the death of a parent
/// cannot be used: it already comes when the thread that started this process ends.
class EndWithProgram {
public:
    EndWithProgram() {
        struct sigaction action {};
        action.sa_handler = end_if_program_is_gone;
        action.sa_flags = SA_RESTART;
        (void)sigaction(SIGIO, &action, nullptr);
        (void)fcntl(kSocketOfWorker, F_SETFL, O_ASYNC);
    }
    ~EndWithProgram() { (void)fcntl(kSocketOfWorker, F_SETFL, 0); }
    EndWithProgram(const EndWithProgram&) = delete;
    EndWithProgram& operator=(const EndWithProgram&) = delete;
};

bool send(const DecodeAnswer& answer) {
    ssize_t sent = 0;
    do {
        sent = ::send(kSocketOfWorker, &answer, sizeof answer, MSG_NOSIGNAL);
    } while (sent < 0 && errno == EINTR);
    return sent == sizeof answer;
}

bool receive(DecodeRequest& request) {
    ssize_t size = 0;
    do {
        size = recv(kSocketOfWorker, &request, sizeof request, 0);
    } while (size < 0 && errno == EINTR);
    return size == sizeof request;
}

void refuse(DecodeAnswer& answer, const std::string& why) {
    answer.outcome = Outcome::kRefused;
    answer.text_length = static_cast<std::uint32_t>(why.copy(answer.text, sizeof answer.text));
}

}  // namespace

void serve_frames(const std::function<void(const CompressedFrame&, std::span<std::uint16_t>)>& decode,
                  std::size_t memory) {
    limit_itself(memory);
    SharedMemory shared(kMemoryOfWorker);
    (void)fcntl(kSocketOfWorker, F_SETOWN, getpid());
    DecodeAnswer answer{};
    answer.image = kProtocolVersion;
    answer.outcome = Outcome::kReady;
    DecodeRequest request{};
    while (send(answer) && (malloc_trim(0), receive(request))) {
        const EndWithProgram guard;
        answer = {};
        answer.image = request.image;
        try {
            allow_processor_time(request.processor_seconds);
            shared.map(static_cast<std::size_t>(request.memory_bytes));
            const SharedLayout layout(request.width, request.height, request.byte_count);
            const std::span<std::byte> all = shared.bytes();
            const auto* bytes = reinterpret_cast<const std::uint8_t*>(all.subspan(layout.first_byte).data());
            decode({Codec{static_cast<int>(request.codec)},
                    {bytes, static_cast<std::size_t>(request.byte_count)},
                    request.width,
                    request.height,
                    request.bits},
                   {reinterpret_cast<std::uint16_t*>(all.data()), layout.words});
            answer.outcome = Outcome::kFilled;
        } catch (const Refusal& refusal) {
            refuse(answer, refusal.what());
        } catch (const std::bad_alloc&) {
            answer.outcome = Outcome::kOutOfMemory;
        }
        const struct mallinfo2 heap = mallinfo2();
        answer.bytes_in_use = heap.uordblks + heap.hblkhd;
    }
}

}  // namespace Norvane::Host
