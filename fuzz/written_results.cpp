// SPDX-License-Identifier: Apache-2.0
/// Fuzzes readers and writers together: the contents of a file go through the analysis into every kind of result, and
/// the forms of the labels are compared.
#include "input.h"

#include "export/breast_crop.h"
#include "export/dicom_seg.h"
#include "export/label_map.h"
#include "export/overlay.h"
#include "export/report_json.h"
#include "findings/findings.h"
#include "io/read_image.h"
#include "io/read_png.h"
#include "io/refusal.h"

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcistrmb.h>
#include <dcmtk/dcmdata/dctk.h>
#include <zlib.h>
#include <nlohmann/json.hpp>

#include <vector>

namespace Norvane::Fuzz {
namespace {

Host::Samples labels_of_png(const Host::Findings& findings, const std::string& bytes) {
    const Host::SourceImage labels = Host::read_png(file_of(bytes));
    require(labels.width == findings.source.width && labels.height == findings.source.height, "labels have the size");
    require(std::ranges::all_of(labels.samples, [](unsigned v) { return v <= 2; }), "labels are 0, 1 and 2");
    return labels.samples;
}

void check_nrrd(const std::string& bytes, const Host::Samples& labels) {
    const std::size_t header = bytes.find("\n\n");
    require(header != std::string::npos, "a blank line ends the header");
    std::string packed = bytes.substr(header + 2);
    std::vector<std::uint8_t> inflated_labels(labels.size() + 1);
    z_stream stream{};
    require(inflateInit2(&stream, 15 + 16) == Z_OK, "gzip can be read");
    stream.next_in = reinterpret_cast<Bytef*>(packed.data());
    stream.avail_in = static_cast<uInt>(packed.size());
    stream.next_out = inflated_labels.data();
    stream.avail_out = static_cast<uInt>(inflated_labels.size());
    require(inflate(&stream, Z_FINISH) == Z_STREAM_END && stream.avail_out == 1, "there is a label a pixel");
    (void)inflateEnd(&stream);
    inflated_labels.pop_back();
    require(std::ranges::equal(inflated_labels, labels), "both label images are one");
}

/// The frames, one per segment, are bits one after another; the lowest bit of each byte comes first.
void check_seg(const std::string& bytes, const Host::Samples& labels) {
    DcmInputBufferStream stream;
    stream.setBuffer(bytes.data(), static_cast<offile_off_t>(bytes.size()));
    stream.setEos();
    DcmFileFormat file;
    require(file.read(stream).good(), "the toolkit reads the SEG");
    const Uint8* bits = nullptr;
    unsigned long count = 0;
    require(file.getDataset()->findAndGetUint8Array(DCM_PixelData, bits, &count).good(), "the SEG has pixels");
    Sint32 frames = 0;
    require(file.getDataset()->findAndGetSint32(DCM_NumberOfFrames, frames).good() && frames >= 1, "it counts frames");
    require(count >= (static_cast<std::size_t>(frames) * labels.size() + 7) / 8, "it has the bits of its frames");
    for (std::size_t segment = 0; segment < std::min<std::size_t>(2, static_cast<std::size_t>(frames)); ++segment) {
        for (std::size_t i = 0; i < labels.size(); ++i) {
            const std::size_t bit = segment * labels.size() + i;
            require((bits[bit / 8] >> bit % 8 & 1U) == (labels[i] == segment + 1 ? 1U : 0U), "bits are the labels");
        }
    }
}

void write_all(const Host::Findings& findings) {
    const Host::Samples labels = labels_of_png(findings, Host::label_png(findings));
    check_nrrd(Host::label_nrrd(findings), labels);
    require(nlohmann::json::accept(Host::report_json(findings)), "the report is JSON");
    require(!Host::overlay_png(findings).empty(), "the overlay is drawn");
    (void)Host::read_png(file_of(Host::breast_crop_png(findings)));
    if (!findings.source.dicom_texts) return;
    try {
        (void)Host::joined_seg(findings);
        check_seg(Host::breast_and_muscle_seg(findings), labels);
    } catch (const Host::Refusal&) {  // the source has no identifiers
    }
}

}  // namespace
}  // namespace Norvane::Fuzz

// Fontconfig keeps the fonts that it read until the process ends.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() { return "leak:libfontconfig\n"; }

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace Norvane;
    constexpr std::size_t kMostPixels = 40'000;  // more take long
    Fuzz::Input input(data, size);
    const unsigned flags = input.byte();
    Host::AnalysisOptions options;
    options.view = (flags & 1U) != 0 ? VIEW_PECT : VIEW_NO_PECT;
    if ((flags & 2U) != 0) options.side = (flags & 4U) != 0 ? SIDE_CHEST_LEFT : SIDE_CHEST_RIGHT;
    options.pixel_size_um = (flags & 8U) != 0 ? 228.0 : 114.0 + input.byte() % 100;
    options.is_inverted = (flags & 16U) != 0;
    options.is_fast = (flags & 32U) != 0;
    if ((flags & 64U) != 0) options.noise = static_cast<BG_NOISE>(input.below(10));
    options.crops_film_area = (flags & 128U) == 0;
    try {
        Host::SourceImage source =
            Host::read_image(Fuzz::file_of(input.rest()), {.frame = 1U, .is_pixel_size_given = true});
        if (source.samples.size() > kMostPixels) return 0;
        const Host::Findings findings = Host::analyse(std::move(source), options, "a\xFF\n.dcm");
        Fuzz::write_all(findings);
    } catch (const Host::Refusal&) {
    }
    return 0;
}
