// SPDX-License-Identifier: Apache-2.0
/// Why an input is not processed.
#pragma once

#include <stdexcept>

namespace Norvane::Host {

/// Ends the work on one input; the next one goes on. The text completes a sentence that begins with the file's name.
class Refusal : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The file is well formed and never was an image, as the reports and indexes that lie among images in archives.
class NotAnImage : public Refusal {
public:
    using Refusal::Refusal;
};

}  // namespace Norvane::Host
