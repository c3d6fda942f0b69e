// SPDX-License-Identifier: Apache-2.0
/// The pectoral line, found in a cut-out region, read row by row in the columns of the whole image.
#pragma once

#include <cmath>
#include <cstdint>

namespace Norvane {

/// x * cos(theta) + y * sin(theta) = rho in the region, whose column 0 is column `dx` of the image. All in single
/// precision, operation by operation: the column decides which pixels are compared and where the muscle ends.
class LineInImage {
public:
    LineInImage(float distance, float theta, float offset)
        : rho(distance),
          sine(static_cast<float>(std::sin(static_cast<double>(theta)))),
          cosine(static_cast<float>(std::cos(static_cast<double>(theta)))),
          dx(offset) {}

    /// The image column in row `region_row` of the region. Not finite for a line along the rows.
    [[nodiscard]] float column_at(std::int64_t region_row) const {
        const float shift = static_cast<float>(region_row) * sine;
        return (rho - shift) / cosine + dx;
    }

private:
    float rho;
    float sine;
    float cosine;
    float dx;
};

}  // namespace Norvane
