// SPDX-License-Identifier: Apache-2.0
#include "results/result_files.h"

#include "results/mask_files.h"
#include "results/overlay.h"
#include "results/report_json.h"
#include "results/settings_text.h"

#include <algorithm>

namespace Norvane::Host {
namespace {

namespace fs = std::filesystem;

void add_json(OutputSet& outputs, const fs::path& stem, const std::string& file, ImageAnalysis& analysis) {
    outputs.add(stem.string() + ".json", report_json(file, analysis));
}

void add_overlay(OutputSet& outputs, const fs::path& stem, const std::string& file, ImageAnalysis& analysis) {
    outputs.add(stem.string() + ".overlay.png",
                draw_overlay(*analysis.prepared.image, analysis.masks, fs::path(file).filename().string(),
                             settings_text(analysis)));
}

void add_masks(OutputSet& outputs, const fs::path& stem, const std::string& /*file*/, ImageAnalysis& analysis) {
    add_mask_files(outputs, stem, *analysis.prepared.image, analysis.masks);
}

}  // namespace

const std::vector<ResultKind>& result_kinds() {
    static const std::vector<ResultKind> kinds = {
        {"overlay", "picture with the outlines", true, {"overlay.png"}, add_overlay},
        {"masks",
         "a PNG per mask at the working grid",
         true,
         {"frame.png", "breast.png", "pectoral.png", "full.png", "outer.png"},
         add_masks},
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
