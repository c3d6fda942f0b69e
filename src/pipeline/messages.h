// SPDX-License-Identifier: Apache-2.0
/// The messages that the pipeline prints to standard output.
#pragma once

#include <iostream>

namespace Norvane {

inline void say_no_image(const char* operation) {
    std::cout << "(from " << operation << ") Load an image to generate mask!" << std::endl;
}

}  // namespace Norvane
