// SPDX-License-Identifier: Apache-2.0
/// Why an input is not processed.
#pragma once

#include "io/decoding/refusal.h"

namespace Norvane::Host {

/// The file is well formed and never was an image, as the reports and indexes that lie among images in archives.
class NotAnImage : public Refusal {
public:
    using Refusal::Refusal;
};

}  // namespace Norvane::Host
