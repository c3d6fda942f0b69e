// SPDX-License-Identifier: Apache-2.0
/// The COCO data set of a folder of results.
#pragma once

#include "run/image_record.h"
#include "run/result_folder.h"

#include <string>
#include <vector>

namespace Norvane::Host {

inline constexpr const char* kCocoBeginning = "{\"info\":{\"description\":\"Masks of norvane\"";

/// Joins what the kind `coco` wrote for the images. Images without it are left out. So are images whose file is
/// damaged, with a sentence in `failures`.
[[nodiscard]] std::string coco_data_set(const std::vector<ImageRecord>& records, const ResultFolder& results,
                                        std::vector<std::string>& failures);

}  // namespace Norvane::Host
