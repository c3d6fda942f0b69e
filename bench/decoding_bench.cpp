// SPDX-License-Identifier: Apache-2.0
/// Decodes compressed frames in a worker and compares it with the same decoder in this process. On both sides, the
/// words are used by one pass over them, as the reader does.
#include "encoders.h"
#include "io/decoding/decode_frame.h"
#include "phantom/phantom.h"
#include "yardstick.h"

#include <numeric>

namespace Norvane::Bench {
namespace {

struct Kind {
    Host::Codec codec;
    Bytes (*encode)(const Picture&);
};

std::uint64_t decode(Host::CompressedFrame frame, Host::DecodingPlace place) {
    frame.place = place;
    std::uint64_t sum = 0;
    Host::decode_frame(frame, [&](auto words) { sum = std::accumulate(words.begin(), words.end(), std::uint64_t{0}); });
    return sum;
}

void worker(benchmark::State& state, const Kind& kind) {
    Host::PhantomSettings settings;
    settings.width = 3328;
    settings.height = 4096;
    settings.pixel_size_um = 70.0;
    const Picture picture{settings.width, settings.height, 12, false, Host::draw_phantom(settings).pixels};
    const Bytes bytes = kind.encode(picture);
    const Host::CompressedFrame frame{kind.codec, bytes, settings.width, settings.height, 12};
    const auto isolated = [&] { benchmark::DoNotOptimize(decode(frame, Host::DecodingPlace::kWorker)); };
    const auto here = [&] { benchmark::DoNotOptimize(decode(frame, Host::DecodingPlace::kThisProcess)); };
    if (decode(frame, Host::DecodingPlace::kWorker) != decode(frame, Host::DecodingPlace::kThisProcess)) {
        return state.SkipWithError("the words differ");
    }
    compare(
        state, "x_in_process", {1.02, 1.0}, [] {}, isolated, here);
}

Bytes encode_jpeg(const Picture& picture) { return encode_by_toolkit(picture, EXS_JPEGProcess2_4, DJ_RPLossy(95)); }
Bytes encode_jpeg_ls(const Picture& picture) {
    return encode_by_toolkit(picture, EXS_JPEGLSLossless, DJLSRepresentationParameter(0, OFTrue));
}

BENCHMARK_CAPTURE(worker, jpeg_extended, Kind{Host::Codec::kJpeg, encode_jpeg})->Iterations(1)->UseManualTime();
BENCHMARK_CAPTURE(worker, jpeg_ls, Kind{Host::Codec::kJpegLs, encode_jpeg_ls})->Iterations(1)->UseManualTime();
BENCHMARK_CAPTURE(worker, jpeg_2000, Kind{Host::Codec::kJpeg2000, encode_jpeg2000})->Iterations(1)->UseManualTime();
BENCHMARK_CAPTURE(worker, htj2k, Kind{Host::Codec::kJpeg2000, encode_htj2k})->Iterations(1)->UseManualTime();

}  // namespace
}  // namespace Norvane::Bench
