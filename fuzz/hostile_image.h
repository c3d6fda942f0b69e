// SPDX-License-Identifier: Apache-2.0
/// Images as hosts can make them through the public interface, fit or unfit.
#pragma once

#include "input.h"

#include "model/wide_vectors.h"

#include <norvane/norvane.h>

#include <memory>
#include <vector>

namespace Norvane::Fuzz {

/// Micrometres: usable ones, ones just within and just beyond what is accepted, and whatever a float can hold.
[[nodiscard]] float pixel_size_of(Input& input);

/// An image and the pixels that it may borrow. Buffers are as long as the image's geometry says, to the byte.
class HostileImage {
public:
    explicit HostileImage(Input& input);
    [[nodiscard]] Image* get() const { return image.get(); }

private:
    void draw(Input& input);

    std::vector<unsigned char> pixels;  // before the image: it may refer to them
    std::unique_ptr<Image> image;
};

/// Runs a target's calls with the wide inner loops and, for one input in four, without: both answer the same.
template <class Calls>
void run_both_forms(std::span<const std::uint8_t> bytes, const Calls& calls) {
    baseline_only = false;
    const auto wide = calls(bytes);
    baseline_only = bytes.size() % 4 == 0;  // each in its turn would take twice the time
    if (baseline_only) require(wide == calls(bytes), "wide and baseline loops agree");
}

[[nodiscard]] Masking::Params params_of(Input& input, std::vector<int>& contour);

}  // namespace Norvane::Fuzz
