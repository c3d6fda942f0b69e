// SPDX-License-Identifier: Apache-2.0
/// A mammogram as its file holds it: what the readers deliver.
#pragma once

#include "io/read_options.h"

#include <norvane/masking.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

class DcmDataset;

namespace Norvane::Host {

/// Grey values of the file that mean "no image here", both ends in.
struct PaddingRange {
    std::uint16_t low;
    std::uint16_t high;
};

/// Which breast it is; not where the chest wall lies, since archives store images flipped.
enum class Laterality { kLeft, kRight };

/// The grey values that the file wants to be shown from black to white.
struct DisplayWindow {
    double centre;
    double width;
};

struct SourceImage {
    std::string format;    ///< for reports, such as "PNG"
    std::string encoding;  ///< how a DICOM object holds its pixels, for reports; empty for other formats
    unsigned frame = 1;    ///< which of `frame_count` frames or pages this is
    unsigned frame_count = 1;
    unsigned width = 0;
    unsigned height = 0;
    unsigned used_bits = 16;             ///< samples lie in 0 .. 2^used_bits - 1
    std::vector<std::uint16_t> samples;  ///< row by row; samples that the file stores signed are moved up to start at 0
    bool needs_inversion = false;        ///< tissue is dark

    // What the file says about the exposure, if it does, and the field that says it.
    std::optional<PaddingRange> padding;  ///< on the scale of `samples`
    std::optional<IMAGE_VIEW> view;
    std::string view_from;
    std::optional<Laterality> laterality;
    std::string laterality_from;
    std::optional<IMAGE_SIDE> chest_wall;  ///< the image border at which the chest wall lies
    std::string chest_wall_from;
    std::optional<double> pixel_size_um;
    std::string pixel_size_from;
    std::optional<BG_NOISE> noise;  ///< the class of background that the kind of acquisition has
    std::string noise_from;
    std::optional<DisplayWindow> window;  ///< for pictures only, on the scale of `samples`
    std::vector<std::string> flags;       ///< a word each, such as "spot", "magnification", "implant"
    std::vector<std::string> warnings;    ///< contradictions in the header, a sentence each

    /// The header of a DICOM object, without its pixels; null for other formats.
    std::shared_ptr<DcmDataset> dicom_header;
};

/// Sets the size. Refuses sizes of 0, sizes beyond what the library can hold, and an image that would need more memory
/// than the options allow: its samples, the work on them, and `reader_bytes`, which the reader needs besides.
void settle_size(SourceImage& image, unsigned width, unsigned height, const ReadOptions& options,
                 std::uint64_t reader_bytes);

/// Makes room for the samples, all 0. A reader that needs much memory before it delivers them does it late.
void make_room(SourceImage& image);

/// Both.
void set_size(SourceImage& image, unsigned width, unsigned height, const ReadOptions& options = {},
              std::uint64_t reader_bytes = 0);

/// Makes words of samples that lie as bytes, without gaps, at the beginning of `words`.
void widen_bytes(std::span<std::uint16_t> words);

/// Notes which frame is read: the one that the user asks for, or the only one. Refuses to choose among several.
void set_frame(SourceImage& image, unsigned frame_count, const ReadOptions& options);

}  // namespace Norvane::Host
