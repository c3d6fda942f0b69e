// SPDX-License-Identifier: Apache-2.0
/// Why an input is not processed.
#pragma once

#include "io/decoding/refusal.h"

namespace Norvane::Host {

/// The file is well formed but is not an image, like the reports and indexes that lie among the images of an archive.
class NotAnImage : public Refusal {
public:
    using Refusal::Refusal;
};

}  // namespace Norvane::Host
