// SPDX-License-Identifier: Apache-2.0
/// Gives the columns of the pectoral line row by row. The line was found in a cut-out region; the columns are those of
/// the whole image.
#pragma once

#include <cmath>
#include <cstdint>

namespace Norvane {

/// The line x * cos(theta) + y * sin(theta) = rho, in pixels and radians.
struct Line {
    float rho, theta;
};

/// A line of a region whose pixel (0, 0) is pixel (dx, dy) of the image.
struct PlacedLine {
    Line line;
    std::int64_t dx, dy;
};

/// Sine and cosine of a line's normal, each rounded once.
struct Normal {
    float sine, cosine;

    explicit Normal(float theta)
        : sine(static_cast<float>(std::sin(double{theta}))), cosine(static_cast<float>(std::cos(double{theta}))) {}
};

/// Computes in single precision, operation by operation, because the column decides which pixels are compared and where
/// the muscle ends.
class LineInImage {
public:
    explicit LineInImage(const PlacedLine& placed)
        : rho_(placed.line.rho), normal_(placed.line.theta), dx_(static_cast<float>(placed.dx)) {}

    /// The image column in row `region_row` of the region. If the line runs along the rows, it is not finite.
    [[nodiscard]] float column_at(std::int64_t region_row) const {
        const float shift = static_cast<float>(region_row) * normal_.sine;
        return (rho_ - shift) / normal_.cosine + dx_;
    }

private:
    float rho_;
    Normal normal_;
    float dx_;
};

}  // namespace Norvane
