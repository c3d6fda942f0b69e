// SPDX-License-Identifier: Apache-2.0
/// Images that hosts can make through the public interface, valid or not.
#pragma once

#include "input.h"

#include "model/wide_vectors.h"

#include <norvane/norvane.h>

#include <memory>
#include <vector>

namespace Norvane::Fuzz {

/// Pixel sizes in micrometres: usable ones, ones just inside and just outside the accepted range, and any float.
[[nodiscard]] float pixel_size_of(Input& input);

/// An image and the pixels that it may borrow. Buffers have exactly the length that the geometry of the image requires.
class HostileImage {
public:
    explicit HostileImage(Input& input);
    [[nodiscard]] Image* get() const { return image.get(); }

private:
    void draw(Input& input);

    std::vector<unsigned char> pixels;  // before the image: it may refer to them
    std::unique_ptr<Image> image;
};

/// Runs the calls of a target with the wide inner loops and, for one input in four, without. Both must give the same.
template <class Calls>
void run_both_forms(std::span<const std::uint8_t> bytes, const Calls& calls) {
    baseline_only = false;
    const auto wide = calls(bytes);
    baseline_only = bytes.size() % 4 == 0;  // running both for every input would take twice the time
    if (baseline_only) require(wide == calls(bytes), "wide and baseline loops agree");
}

[[nodiscard]] Masking::Params params_of(Input& input, std::vector<int>& contour);

}  // namespace Norvane::Fuzz
