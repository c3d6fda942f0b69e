// SPDX-License-Identifier: Apache-2.0
/// Images as the platform layer sees them, for the length of one call.
#pragma once

#include <norvane/image.h>

#include "imaging/ipl_bridge.h"
#include "platform/ipl.h"

namespace Norvane::Utils {

/// Prints the message on a line of its own and returns kBadArgument.
int bad_argument(const char* message);

/// If rows do not begin at multiples of Image::ALIGN bytes, prints a message and returns kBadArgument; else kSuccess.
[[nodiscard]] int refuse_unaligned_rows(const Image& image);

/// A platform header over the pixels of an Image, including padding columns. It never owns the pixels.
class WrappedImage {
public:
    WrappedImage() = default;
    ~WrappedImage();
    WrappedImage(const WrappedImage&) = delete;
    WrappedImage& operator=(const WrappedImage&) = delete;

    /// Each returns a code and prints the message that belongs to it. For a source, the row length is checked first. If
    /// an image has no buffer, or samples that the platform does not know, it is a bad argument.
    [[nodiscard]] int wrap_source(const Image& image);
    [[nodiscard]] int wrap_destination(const Image& image);

    [[nodiscard]] const IplHeader* get() const { return header_; }

private:
    [[nodiscard]] int wrap(const Image& image, const char* allocation_failure);

    IplHeader* header_ = nullptr;
};

/// One platform call, call(header), on one image.
template <class Call>
[[nodiscard]] int call_on(const Image& image, Call call) {
    WrappedImage source;
    if (const int code = source.wrap_source(image)) return code;
    call(source.get());
    return IplStatus();
}

/// One platform call, call(source header, destination header), on two images.
template <class Call>
[[nodiscard]] int call_on(const Image& src, const Image& dst, Call call) {
    WrappedImage destination, source;  // in this order: the source's header is released first
    if (const int code = source.wrap_source(src)) return code;
    if (const int code = destination.wrap_destination(dst)) return code;
    call(source.get(), destination.get());
    return IplStatus();
}

/// Whether the buffer of `dst` is large enough for an image of the size and depth of `src` with aligned rows.
[[nodiscard]] bool can_hold(const Image& dst, const Image& src);

/// The common steps of the filters that write an image with the geometry of the source into the caller's buffer.
template <class Call>
[[nodiscard]] int filter_into(const Image& src, Image& dst, Call call) {
    if (!can_hold(dst, src)) {
        // Into itself an image would have been given aligned rows first.
        const int code = &src != &dst ? refuse_unaligned_rows(src) : kSuccess;
        return code != kSuccess ? code : kBadArgument;
    }
    dst.MatchTo(&src, false);
    return call_on(src, dst, call);
}

}  // namespace Norvane::Utils
