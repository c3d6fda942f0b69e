// SPDX-License-Identifier: Apache-2.0
/// Random images and parameters, and one number for what the library makes of them.
#pragma once

#include "support/builders.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace Norvane::Tests {

/// FNV-1a over 64 bits, of numbers by their value: the byte order of the machine plays no part.
class Hash {
public:
    void add(std::uint64_t v) {
        for (int shift = 0; shift < 64; shift += 8) state = (state ^ (v >> shift & 0xFF)) * 0x100000001B3U;
    }
    void add(float v) { add(std::uint64_t{std::isnan(v) ? 0x7FC00000U : std::bit_cast<std::uint32_t>(v)}); }
    void add(double v) { add(std::isnan(v) ? std::uint64_t{1} : std::bit_cast<std::uint64_t>(v)); }
    void add(int v) { add(static_cast<std::uint64_t>(v)); }
    void add(const Mask* mask) {
        if (mask == nullptr) return add(-1);
        add(mask->GetPixelSize());
        add(mask->GetTargetPixelSize());
        if (mask->GetMaxY() > 0xFFFFF) return add(-2);  // rows that nobody wants to walk
        for (const RowRun& run : runs_of(*mask))
            for (const unsigned v : {run.row, run.first, run.last}) add(std::uint64_t{v});
    }
    void add(const Image& image) {
        for (const unsigned v : {image.GetWidth(), image.GetHeight(), image.GetOffX(), image.GetOffY()})
            add(std::uint64_t{v});
        for (const std::uint16_t v : pixels_of(image)) add(std::uint64_t{v});
    }
    template <class Number>
    void add(const std::vector<Number>& numbers) {
        for (const Number v : numbers) add(v);
    }
    [[nodiscard]] std::uint64_t value() const { return state; }

private:
    std::uint64_t state = 0xCBF29CE484222325U;
};

/// Mostly something like a mammogram, sometimes noise.
[[nodiscard]] std::unique_ptr<Image> random_image(Random& random, bool on_left);
/// `contour` holds the points where they are asked for.
[[nodiscard]] Masking::Params random_params(Random& random, bool on_left, std::vector<int>& contour);

using Statuses = std::map<std::string, std::map<int, int>>;  // how often each call answered what
/// Adds what the library makes of a random image with random parameters.
void add_results(Random& random, Hash& hash, Statuses& statuses);

}  // namespace Norvane::Tests
