// SPDX-License-Identifier: Apache-2.0
#include "findings/status_text.h"

namespace Norvane::Host {

const StatusText& text_of(Masking::MASK_STATUS status) {
    for (const StatusText& text : kStatusTexts) {
        if (text.status == status) return text;
    }
    static constexpr StatusText kUnknown{Masking::MASK_OK, "UNKNOWN", "The library returned an unknown status."};
    return kUnknown;
}

}  // namespace Norvane::Host
