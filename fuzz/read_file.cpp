// SPDX-License-Identifier: Apache-2.0
/// Fuzzes a reader of whole files: NORVANE_FUZZED_READER is read_png, read_pgm, read_tiff or read_dicom.
#include "input.h"

#include "io/dicom/read_dicom.h"
#include "io/read_pgm.h"
#include "io/read_png.h"
#include "io/read_tiff.h"
#include "io/refusal.h"

namespace Norvane::Fuzz {
namespace {

using Host::SourceImage;

SourceImage read(const std::string& file) {
    try {
        return Host::NORVANE_FUZZED_READER(file, {});
    } catch (const Host::Refusal&) {
        return Host::NORVANE_FUZZED_READER(file, {.frame = 2, .is_pixel_size_given = true});
    }
}

void check(const SourceImage& image) {
    require(image.samples.size() == std::size_t{image.width} * image.height, "a sample per pixel");
    require(image.width > 0 && image.height > 0, "an image has pixels");
    require(image.used_bits >= 1 && image.used_bits <= 16, "1 to 16 bits");
    for (const std::uint16_t sample : image.samples) require(sample >> image.used_bits == 0, "samples fit their bits");
    require(!image.pixel_size_um || (image.pixel_size_um->value > 0 && std::isfinite(image.pixel_size_um->value)),
            "a usable size");
}

}  // namespace
}  // namespace Norvane::Fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace Norvane;
    if (size < 8) return 0;  // formats are recognised by their first bytes before a reader is called
    try {
        Fuzz::check(Fuzz::read(Fuzz::file_of({data, size})));
    } catch (const Host::Refusal&) {
    }
    return 0;
}
