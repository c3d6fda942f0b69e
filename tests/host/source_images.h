// SPDX-License-Identifier: Apache-2.0
/// Images as files give them.
#pragma once

#include "io/source_image.h"
#include "phantom/phantom.h"

namespace Norvane::Tests {

/// A phantom whose file says view and pixel size.
inline Host::SourceImage source_of(const Host::Phantom& phantom) {
    Host::SourceImage source;
    source.format = "PNG";
    Host::set_size(source, phantom.settings.width, phantom.settings.height);
    source.used_bits = phantom.settings.used_bits;
    source.samples.assign(phantom.pixels.begin(), phantom.pixels.end());
    source.view = Host::Sourced{phantom.settings.view, "ViewPosition"};
    source.pixel_size_um = Host::Sourced{phantom.settings.pixel_size_um};
    return source;
}

/// The same picture with tissue dark.
inline Host::SourceImage inverted(Host::SourceImage source) {
    const unsigned top = (1U << source.used_bits) - 1;
    for (std::uint16_t& sample : source.samples) sample = static_cast<std::uint16_t>(top - sample);
    source.needs_inversion = !source.needs_inversion;
    return source;
}

}  // namespace Norvane::Tests
