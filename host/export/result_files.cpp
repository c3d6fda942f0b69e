// SPDX-License-Identifier: Apache-2.0
#include "export/result_files.h"

#include "export/breast_crop.h"
#include "export/dicom_seg.h"
#include "export/dicom_seg_source.h"
#include "export/label_map.h"
#include "export/mask_files.h"
#include "export/overlay.h"
#include "export/page_files.h"
#include "export/report_json.h"

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcdatset.h>

#include <algorithm>

namespace Norvane::Host {
namespace {

namespace fs = std::filesystem;

void add_json(OutputSet& outputs, const fs::path& stem, const std::string& file, ImageAnalysis& analysis) {
    outputs.add(stem.string() + ".json", report_json(file, analysis));
}

void add_overlay(OutputSet& outputs, const fs::path& stem, const std::string& file, ImageAnalysis& analysis) {
    outputs.add(stem.string() + ".overlay.png", draw_overlay(analysis, fs::path(file).filename().string()));
}

void add_masks(OutputSet& outputs, const fs::path& stem, const std::string& /*file*/, ImageAnalysis& analysis) {
    add_mask_files(outputs, stem, *analysis.prepared.image, analysis.masks);
}

void add_labels(OutputSet& outputs, const fs::path& stem, const std::string& /*file*/, ImageAnalysis& analysis) {
    outputs.add(stem.string() + ".labels.png", label_png(analysis));
}

void add_nrrd(OutputSet& outputs, const fs::path& stem, const std::string& /*file*/, ImageAnalysis& analysis) {
    outputs.add(stem.string() + ".labels.nrrd", label_nrrd(analysis));
}

void add_crop(OutputSet& outputs, const fs::path& stem, const std::string& /*file*/, ImageAnalysis& analysis) {
    outputs.add(stem.string() + ".crop.png", breast_crop_png(analysis));
}

void add_dicom_seg(OutputSet& outputs, const fs::path& file, ImageAnalysis& analysis, SegContent content) {
    outputs.add(file, dicom_seg(analysis, content));
    const std::string warning = filing_warning(*analysis.source.dicom_header);
    std::vector<std::string>& warnings = analysis.warnings;
    const bool is_said = std::ranges::find(warnings, warning) != warnings.end();  // by the other kind
    if (!warning.empty() && !is_said) warnings.push_back(warning);
}

void add_seg(OutputSet& outputs, const fs::path& stem, const std::string& /*file*/, ImageAnalysis& analysis) {
    add_dicom_seg(outputs, stem.string() + ".seg.dcm", analysis, SegContent::kBreastAndMuscle);
}

void add_seg_joined(OutputSet& outputs, const fs::path& stem, const std::string& /*file*/, ImageAnalysis& analysis) {
    add_dicom_seg(outputs, stem.string() + ".seg-joined.dcm", analysis, SegContent::kJoined);
}

void add_page(OutputSet& outputs, const fs::path& stem, const std::string& /*file*/, ImageAnalysis& analysis) {
    add_page_files(outputs, stem, analysis);
}

}  // namespace

const std::vector<ResultKind>& result_kinds() {
    static const std::vector<ResultKind> kinds = {
        // What may be refused comes first, and the JSON last: where it is, the others are.
        {"seg", "DICOM SEG of breast and muscle", false, {"seg.dcm"}, add_seg},
        {"seg-joined", "DICOM SEG of both in one segment", false, {"seg-joined.dcm"}, add_seg_joined},
        {"overlay", "picture with the outlines", true, {"overlay.png"}, add_overlay},
        {"labels", "PNG of the source's size: 1 breast, 2 pectoral muscle", true, {"labels.png"}, add_labels},
        {"masks",
         "a PNG per mask at the working grid",
         false,
         {"frame.png", "breast.png", "pectoral.png", "full.png", "outer.png"},
         add_masks},
        {"nrrd", "NRRD label map in millimetres", false, {"labels.nrrd"}, add_nrrd},
        {"crop", "16-bit PNG of the breast on black", false, {"crop.png"}, add_crop},
        {"page", "pictures for report.html", true, {"thumb.jpg", "picture.jpg", "layers.js"}, add_page},
        {"json", "statuses, settings and masks in numbers", true, {"json"}, add_json},
    };
    return kinds;
}

void add_result_files(OutputSet& outputs, const fs::path& stem, const std::string& file,
                      const std::vector<std::string>& kinds, ImageAnalysis& analysis) {
    for (const ResultKind& kind : result_kinds()) {
        if (std::ranges::find(kinds, kind.name) != kinds.end()) kind.add(outputs, stem, file, analysis);
    }
}

}  // namespace Norvane::Host
