// SPDX-License-Identifier: Apache-2.0
#include "io/dicom/read_dicom.h"

#include "io/colour_channels.h"
#include "io/dicom/dicom_data_set.h"
#include "io/dicom/dicom_fields.h"
#include "io/dicom/dicom_header.h"
#include "io/dicom/dicom_pixels.h"
#include "io/refusal.h"

#include <dcmtk/dcmdata/dctk.h>
#include <fmt/format.h>

#include <charconv>
#include <string>
#include <utility>

namespace Norvane::Host {
namespace {

unsigned required(DcmItem& object, const DcmTagKey& tag, const char* name) {
    if (const auto number = number_of(object, tag)) return *number;
    throw Refusal(std::string("has no ") + name);
}

// Old objects keep overlays in the bits that the samples do not use.
bool has_overlay_in_pixels(DcmItem& object) {
    constexpr Uint16 kFirstGroup = 0x6000;
    constexpr Uint16 kLastGroup = 0x601E;
    for (Uint16 group = kFirstGroup; group <= kLastGroup; group = static_cast<Uint16>(group + 2)) {
        const bool has_position = object.tagExists(DcmTagKey(group, DCM_OverlayBitPosition.getElement()));
        if (has_position && !object.tagExists(DcmTagKey(group, DCM_OverlayData.getElement()))) return true;
    }
    return false;
}

SampleLayout layout_of(DcmItem& object) {
    const unsigned allocated = required(object, DCM_BitsAllocated, "BitsAllocated");
    const unsigned stored = required(object, DCM_BitsStored, "BitsStored");
    const unsigned high_bit = number_of(object, DCM_HighBit).value_or(stored - 1);
    const bool is_signed = number_of(object, DCM_PixelRepresentation).value_or(0) == 1;
    if (allocated != 8 && allocated != 16) {
        throw Refusal(fmt::format("has {} bits allocated; 8 and 16 are read", allocated));
    }
    if (stored == 0 || stored > allocated || high_bit + 1 < stored || high_bit >= allocated) {
        throw Refusal(fmt::format("has inconsistent bit depths ({} bits allocated, {} stored, high bit {})", allocated,
                                  stored, high_bit));
    }
    return {allocated,
            stored,
            high_bit + 1 - stored,
            is_signed,
            has_overlay_in_pixels(object),
            number_of(object, DCM_SamplesPerPixel).value_or(1),
            number_of(object, DCM_PlanarConfiguration).value_or(0) == 1};
}

unsigned frame_count_of(DcmItem& object) {
    const std::string text = text_of(object, DCM_NumberOfFrames);
    if (text.empty()) return 1;
    unsigned count = 0;
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), count);
    if (parsed.ptr != text.data() + text.size() || parsed.ec != std::errc() || count == 0) {
        throw Refusal(fmt::format("has the NumberOfFrames '{}', which is not a count", text));
    }
    return count;
}

}  // namespace

void load_dicom_dictionary() {
    silence_dicom_toolkit();
    (void)dcmDataDict.rdlock();
    dcmDataDict.rdunlock();
}

unsigned count_dicom_frames(const std::filesystem::path& path, const ReadOptions& options) {
    silence_dicom_toolkit();
    DicomFile file(path, options);
    return file.pixels() ? frame_count_of(*file.header()) : 1;
}

SourceImage read_dicom(const std::filesystem::path& path, const ReadOptions& options) {
    silence_dicom_toolkit();
    DicomFile file(path, options);
    if (!file.pixels()) throw NotAnImage("holds no image (no PixelData)");

    DcmDataset& object = *file.header();
    SourceImage image;
    image.format = "DICOM";
    image.encoding = fmt::format("{} ({})", file.syntax().name, file.syntax().uid);
    set_frame(image, frame_count_of(object), options);
    const SampleLayout layout = layout_of(object);
    image.used_bits = layout.stored;
    if (layout.channels != 1) image.encoding += std::string("; ") + kEqualChannels;
    read_dicom_fields(object, layout, options, image);
    const unsigned width = required(object, DCM_Columns, "Columns");
    read_dicom_pixels(file, layout, width, required(object, DCM_Rows, "Rows"), options, image);
    return image;
}

}  // namespace Norvane::Host
