// SPDX-License-Identifier: Apache-2.0
/// Common parts of the calls of the platform layer: the error status, checks of headers, and rows by sample type.
#pragma once

#include "model/pixels.h"
#include "platform/ipl.h"

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>
#include <span>
#include <vector>

namespace Norvane::Platform {

void set_status(int status);

/// Runs the body of a call and stores the status that it returns. A failed allocation becomes a status.
template <class Body>
void run_call(Body body) {
    try {
        set_status(body());
    } catch (const std::bad_alloc&) {
        set_status(kIplOutOfMemory);
    }
}

[[nodiscard]] std::size_t row_bytes(const IplHeader& header);
[[nodiscard]] bool is_described(const IplHeader* header);                  ///< header, data, and enough of it
[[nodiscard]] bool are_alike(const IplHeader* src, const IplHeader* dst);  ///< both described, one size and depth
[[nodiscard]] inline bool is_void(const IplHeader& header) { return header.width == 0 || header.height == 0; }

template <class Sample>
[[nodiscard]] consteval int depth_of() {
    using Limits = std::numeric_limits<Sample>;
    const int sign = Limits::is_integer && Limits::is_signed ? kIplSign : 0;
    return sign | int{8 * sizeof(Sample)};
}

/// Runs body(Sample{}) for the type in `Samples` that has this depth. If none has, the depth is unsupported.
template <class... Samples, class Body>
[[nodiscard]] int for_depth(int depth, Body body) {
    int status = kIplUnsupported;
    const auto try_depth = [&](auto sample) {
        if (depth != depth_of<decltype(sample)>()) return false;
        status = body(sample);
        return true;
    };
    (void)(try_depth(Samples{}) || ...);
    return status;
}

/// Row `y` of a header whose samples are of type Sample (1-bit rows: unsigned char, eight pixels each).
template <class Sample>
[[nodiscard]] Row<const Sample> row_of(const IplHeader& header, std::integral auto y) {
    const std::size_t bytes = row_bytes(header);
    return {reinterpret_cast<const Sample*>(header.data + static_cast<std::size_t>(y) * bytes), bytes / sizeof(Sample)};
}
template <class Sample>
[[nodiscard]] Row<Sample> row_to_write(const IplHeader& header, std::integral auto y) {
    const std::size_t bytes = row_bytes(header);
    return {reinterpret_cast<Sample*>(header.data + static_cast<std::size_t>(y) * bytes), bytes / sizeof(Sample)};
}

/// The source as it was before the call, even if the destination writes over the same pixels.
class StableSource {
public:
    StableSource(const IplHeader& src, const IplHeader& dst);
    [[nodiscard]] const IplHeader& header() const { return described_; }

private:
    std::vector<unsigned char> pixels_;
    IplHeader described_;
};

/// `v` clamped to the range of Sample.
template <class Sample, class Wide>
[[nodiscard]] constexpr Sample saturate(Wide v) {
    // NOLINTNEXTLINE(bugprone-signed-char-misuse): 8-bit samples are numbers here, not characters
    constexpr Wide kLowest = std::numeric_limits<Sample>::min();
    constexpr Wide kLargest = std::numeric_limits<Sample>::max();
    return static_cast<Sample>(v < kLowest ? kLowest : v > kLargest ? kLargest : v);
}

/// floor(sum / divisor + 1/2), exact for every sum and every divisor above 0.
[[nodiscard]] constexpr std::int64_t divide_half_up(std::int64_t sum, std::int64_t divisor) {
    std::int64_t quotient = sum / divisor, rest = sum % divisor;
    if (rest < 0) {
        rest += divisor;
        --quotient;
    }
    return quotient + (rest >= divisor - rest ? 1 : 0);
}

}  // namespace Norvane::Platform
