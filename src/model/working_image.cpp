// SPDX-License-Identifier: Apache-2.0
#include "model/working_image.h"

namespace Norvane {

bool has_usable_pixels(const Image& image) {
    return image.GetBuffer() != nullptr && image.GetWidth() != 0 && image.GetHeight() != 0 &&
           image.GetStride() >= image.GetWidth() && image.GetBits() == 16 && image.GetFormat() == FORMAT_UNSIGNED;
}

}  // namespace Norvane
