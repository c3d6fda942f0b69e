// SPDX-License-Identifier: Apache-2.0
/// Rows of grey images, for code that only includes the public headers.
#pragma once

#include <norvane/image.h>

#include <cstddef>
#include <cstdint>
#include <span>

namespace Norvane::Host {

/// Row `y` of a 16-bit grey image without its padding columns.
[[nodiscard]] inline std::span<const std::uint16_t> grey_row(const Image& image, unsigned y) {
    const auto* words = reinterpret_cast<const std::uint16_t*>(image.GetBuffer());
    return {words + std::size_t{y} * image.GetStride(), image.GetWidth()};
}

}  // namespace Norvane::Host
