// SPDX-License-Identifier: Apache-2.0
#include "imaging/morphological.h"

#include "imaging/wrapped_image.h"

namespace Norvane::Morphological {

using namespace Utils;

namespace {

using PlatformCall = void (*)(const IplHeader*, const IplHeader*, int);

/// The sample type is checked before the count.
int repeat(const Image* src, Image* dst, int iterations, const char* too_few, PlatformCall platform_call) {
    if (!src || !dst) return kBadArgument;
    if (src->GetFormat() == FORMAT_FLOAT || src->GetFormat() == FORMAT_SIGNED) return kUnsupportedImage;
    if (iterations < 1) return bad_argument(too_few);
    return filter_into(*src, *dst,
                       [=](const IplHeader* from, const IplHeader* to) { platform_call(from, to, iterations); });
}

}  // namespace

int Dilate(const Image* src, Image* dst, int iterations) {
    return repeat(src, dst, iterations, "Morphological::Dilate() iterations < 1", iplDilate);
}

int Erode(const Image* src, Image* dst, int iterations) {
    return repeat(src, dst, iterations, "Morphological::Erode() iterations < 1", iplErode);
}

}  // namespace Norvane::Morphological
