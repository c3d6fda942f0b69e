// SPDX-License-Identifier: Apache-2.0
/// norvane-decoder: the worker that norvane and its Python module start.
#include "io/decoding/decoder_protocol.h"
#include "io/decoding/frame_codecs.h"
#include "io/decoding/serve_frames.h"

#include <cstdio>
#include <cstdlib>

// A name that the sanitizer asks for.
extern "C" const char* __asan_default_options() {  // NOLINT(bugprone-reserved-identifier)
    static_assert(Norvane::Host::kSanitizerExitCode == 99);
    return "exitcode=99:allocator_may_return_null=1:max_allocation_size_mb=2048";
}

int main(int argc, char** argv) {
    if (argc != 2) {
        (void)std::fputs("norvane-decoder: started by norvane and its Python module, not by hand\n", stderr);
        return 2;
    }
    Norvane::Host::serve_frames(Norvane::Host::decode_by_library, std::strtoull(argv[1], nullptr, 10));
}
