// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace Norvane::Python {

/// A sentence of the program in which options are called by the arguments of Python: "give --default-view cc" becomes
/// "give default_view='cc'".
[[nodiscard]] std::string in_python_words(std::string sentence);

}  // namespace Norvane::Python
