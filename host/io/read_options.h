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
    std::optional<unsigned> frame{};   ///< 1-based; nothing: a file of several frames or pages is refused
    bool is_pixel_size_given = false;  ///< by the user, so that a file with a useless one is read all the same
    DecodingPlace decoding = DecodingPlace::kWorker;   ///< of compressed DICOM pixels
    std::uint64_t image_memory = kDefaultImageMemory;  ///< bytes; an image that would need more is refused unread
    Identifiers identifiers = Identifiers::kUids;      ///< that are read
};

}  // namespace Norvane::Host
