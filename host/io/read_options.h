// SPDX-License-Identifier: Apache-2.0
/// The user's options for reading files.
#pragma once

#include "io/decoding/decode_frame.h"
#include "io/header.h"
#include "io/image_memory.h"

#include <cstdint>
#include <optional>

namespace Norvane::Host {

struct ReadOptions {
    std::optional<unsigned> frame{};   ///< 1-based; without it, a file of several frames or pages is refused
    bool is_pixel_size_given = false;  ///< if the user gives one, a file with an invalid pixel size is read too
    bool takes_any_modality = false;   ///< if not set, a DICOM object that is not a mammogram is refused
    DecodingPlace decoding = DecodingPlace::kWorker;   ///< of compressed DICOM pixels
    std::uint64_t image_memory = kDefaultImageMemory;  ///< bytes; an image that would need more is refused unread
    Identifiers identifiers = Identifiers::kUids;      ///< that are read
};

}  // namespace Norvane::Host
