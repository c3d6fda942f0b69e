// SPDX-License-Identifier: Apache-2.0
/// Breast and muscle of one image as annotations of a COCO data set.
#pragma once

#include "findings/findings.h"
#include "findings/region.h"

#include <cstddef>
#include <string>
#include <vector>

namespace Norvane::Host {

inline constexpr const char* kCocoKind = "coco";
inline constexpr const char* kCocoEnding = "coco.json";

struct CocoCategory {
    int id;  ///< the label in the other label images
    const char* name;
};
inline constexpr CocoCategory kCocoCategories[] = {{1, "breast"}, {2, "pectoral muscle"}};

/// The image's size and an annotation for each category that it shows, without the numbers that they get in a data set.
[[nodiscard]] std::string coco_annotations(const Findings& findings);

/// Run lengths as the text of COCO's tools: each as the difference from the last but one, in digits of 5 bits.
[[nodiscard]] std::string coco_text(const std::vector<std::size_t>& counts);

}  // namespace Norvane::Host
