// SPDX-License-Identifier: Apache-2.0
#include "export/kinds.h"

#include "export/breast_crop.h"
#include "export/coco_annotations.h"
#include "export/derived_object.h"
#include "export/dicom_seg.h"
#include "export/label_map.h"
#include "export/mask_png.h"
#include "export/measurement_report.h"
#include "export/nifti.h"
#include "export/overlay.h"
#include "export/page_files.h"
#include "export/presentation_state.h"
#include "export/report_json.h"
#include "export/secondary_capture.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace Norvane::Host {

const std::vector<ResultKind>& result_kinds() {
    static const std::vector<ResultKind> kinds = {
        {"seg", "DICOM SEG of breast and muscle", false, {{"seg.dcm", breast_and_muscle_seg}}, filing_warning},
        {"seg-joined",
         "DICOM SEG of the mask full: breast and upper pectoral muscle",
         false,
         {{"seg-joined.dcm", joined_seg}},
         filing_warning},
        {"sr",
         "DICOM structured report of areas and statuses",
         false,
         {{"sr.dcm", measurement_report}},
         filing_warning},
        {"gsps",
         "DICOM presentation state with the outlines",
         false,
         {{"gsps.dcm", presentation_state}},
         filing_warning},
        {"sc", "DICOM secondary capture of the overlay", false, {{"sc.dcm", secondary_capture}}, filing_warning},
        {"overlay", "picture with the outlines", true, {{"overlay.png", overlay_png}}},
        {"labels", "PNG of the size of the source: 1 breast, 2 pectoral muscle", true, {{"labels.png", label_png}}},
        {"masks",
         "one PNG per mask on the working grid",
         false,
         {{"frame.png", mask_png<kFrameLayer>},
          {"breast.png", mask_png<kBreastLayer>},
          {"pectoral.png", mask_png<kPectoralLayer>},
          {"full.png", mask_png<kFullLayer>},
          {"outer.png", mask_png<kOuterLayer>}}},
        {"nrrd", "NRRD label map in millimetres", false, {{"labels.nrrd", label_nrrd}}},
        {"nifti", "NIfTI label map in millimetres", false, {{"labels.nii.gz", label_nifti}}},
        {"crop", "16-bit PNG of the breast on black", false, {{"crop.png", breast_crop_png}}},
        {"page",
         "pictures for report.html",
         true,
         {{"thumb.jpg", page_thumbnail}, {"picture.jpg", page_picture}, {"layers.js", page_layers}}},
        {kCocoKind, "COCO annotations, which coco.json joins", false, {{kCocoEnding, coco_annotations}}},
        {"json", "statuses, settings and masks in numbers", true, {{"json", report_json}}},
    };
    return kinds;
}

std::vector<ResultKind> kinds_named(const std::vector<std::string>& names) {
    std::vector<ResultKind> named;
    std::ranges::copy_if(result_kinds(), std::back_inserter(named), [&names](const ResultKind& kind) {
        return std::ranges::find(names, kind.name) != names.end();
    });
    return named;
}

std::vector<std::string> warnings_of(const std::vector<ResultKind>& kinds, const Findings& findings) {
    std::vector<std::string> warnings;
    for (const ResultKind& kind : kinds) {
        std::string warning = kind.warning == nullptr ? std::string() : kind.warning(findings);
        const bool is_said = std::ranges::find(warnings, warning) != warnings.end();
        if (!warning.empty() && !is_said) warnings.push_back(std::move(warning));
    }
    return warnings;
}

}  // namespace Norvane::Host
