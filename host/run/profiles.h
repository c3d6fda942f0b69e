// SPDX-License-Identifier: Apache-2.0
/// What runs for a purpose write: the profiles of --for.
#pragma once

#include <vector>

namespace Norvane::Host {

struct Profile {
    const char* name;
    const char* description;  ///< for the help text
    std::vector<const char*> kinds;
};

[[nodiscard]] inline const std::vector<Profile>& profiles() {
    static const std::vector<Profile> table = {
        {"archive", "masks and measurements as DICOM objects (seg, sr)", {"seg", "sr"}},
        {"station", "outlines and measurements for reading stations (gsps, sr)", {"gsps", "sr"}},
        {"training", "labels, cut-out breasts and a COCO data set (labels, crop, coco)", {"labels", "crop", "coco"}},
    };
    return table;
}

}  // namespace Norvane::Host
