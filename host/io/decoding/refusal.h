// SPDX-License-Identifier: Apache-2.0
/// Why an input is not processed.
#pragma once

#include <stdexcept>

namespace Norvane::Host {

/// Ends the work on one input; processing continues with the next. The text completes a sentence that begins with the
/// name of the file.
class Refusal : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace Norvane::Host
