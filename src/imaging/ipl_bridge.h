// SPDX-License-Identifier: Apache-2.0
/// Describes Images to the platform image layer without copying pixels, and maps its error status to return codes.
#pragma once

#include <norvane/image.h>

#include <new>

namespace Norvane::Utils {

/// Return codes of the operations on images.
enum ReturnCode : int {
    kSuccess = 0,
    kBadArgument = 1,       ///< null, a bad parameter, a row length that is not a multiple of 4 bytes
    kUnsupported = 2,       ///< not offered for this depth
    kUnsupportedImage = 3,  ///< the operation does not take images of this type
    kOutOfMemory = 4,
};

/// The platform's depth of `image`; 0x80000000 marks signed samples. Answers for every image.
[[nodiscard]] int IplDepth(const Image* image);

/// The calling thread's status of its last platform call, as a return code.
[[nodiscard]] int IplStatus();

/// For operations that continue whatever a filter returns. If memory has run out, they have no result to continue with.
inline void expect_memory(int code) {
    if (code == kOutOfMemory) throw std::bad_alloc();
}

}  // namespace Norvane::Utils
