// SPDX-License-Identifier: Apache-2.0
#include "export/secondary_capture.h"

#include "export/derived_object.h"
#include "export/dicom_items.h"
#include "export/overlay.h"

#include <dcmtk/dcmdata/dcdeftag.h>
#include <dcmtk/dcmdata/dcuid.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace Norvane::Host {
namespace {

constexpr ObjectKind kCapture{UID_SecondaryCaptureImageStorage, "OT", "904",
                              "Picture with outlines, Norvane", true, true};
constexpr unsigned kChannels = 3;

/// A picture as DICOM holds it: red, green and blue of each pixel. The number of bytes is even.
struct ColourPixels {
    unsigned width;
    unsigned height;
    std::vector<std::uint8_t> bytes;
};

ColourPixels pixels_of(cairo_surface_t* surface) {
    cairo_surface_flush(surface);
    const int width = cairo_image_surface_get_width(surface);
    const int height = cairo_image_surface_get_height(surface);
    const std::ptrdiff_t stride = cairo_image_surface_get_stride(surface);
    const std::uint8_t* data = cairo_image_surface_get_data(surface);
    ColourPixels pixels{static_cast<unsigned>(width), static_cast<unsigned>(height), {}};
    pixels.bytes.reserve(std::size_t{pixels.width} * pixels.height * kChannels + 1);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            std::uint32_t pixel = 0;  // 0x00RRGGBB
            std::memcpy(&pixel, data + y * stride + x * std::ptrdiff_t{sizeof pixel}, sizeof pixel);
            for (const unsigned shift : {16U, 8U, 0U})
                pixels.bytes.push_back(static_cast<std::uint8_t>(pixel >> shift));
        }
    }
    if (pixels.bytes.size() % 2 != 0) pixels.bytes.push_back(0);
    return pixels;
}

void put_picture(DcmItem& object, const ColourPixels& pixels) {
    put_number(object, DCM_SamplesPerPixel, kChannels);
    put_text(object, DCM_PhotometricInterpretation, "RGB");
    put_number(object, DCM_PlanarConfiguration, 0);
    put_number(object, DCM_Rows, pixels.height);
    put_number(object, DCM_Columns, pixels.width);
    put_number(object, DCM_BitsAllocated, 8);
    put_number(object, DCM_BitsStored, 8);
    put_number(object, DCM_HighBit, 7);
    put_number(object, DCM_PixelRepresentation, 0);
    object.putAndInsertUint8Array(DCM_PixelData, pixels.bytes.data(), pixels.bytes.size());
}

}  // namespace

std::string secondary_capture(const Findings& findings) {
    const std::optional<SourceReference> source = source_reference(findings.source);
    DcmFileFormat file;
    DcmItem& object = *file.getDataset();
    put_common_fields(object, kCapture, findings, source);
    put_text(object, DCM_ConversionType, "WSD");
    put_text(object, DCM_ImageType, "DERIVED\\SECONDARY");
    put_text(object, DCM_DerivationDescription, "Mammogram with the outlines of its masks");
    put_text(object, DCM_BurnedInAnnotation, "YES");  // the name of the file, which may say anything
    if (source) {
        DcmItem& image = add_item(object, DCM_SourceImageSequence);
        put_reference(image, *source);
        if (source->frame > 0) put_text(image, DCM_ReferencedFrameNumber, std::to_string(source->frame));
    }
    put_picture(object, pixels_of(overlay_surface(findings).get()));
    return finished_file(file);
}

}  // namespace Norvane::Host
