// SPDX-License-Identifier: Apache-2.0
#include "verbs/phantom_command.h"

#include "export/write_png.h"
#include "findings/chest_wall_side.h"
#include "findings/image_settings.h"
#include "io/number_text.h"
#include "io/printable.h"
#include "io/refusal.h"
#include "run/exit_code.h"
#include "run/named_file.h"

#include <ostream>

namespace Norvane::Host {
namespace {

// Samples that use 8 bits make an 8-bit file, so that the reader finds the used bits again.
std::string encode_pixels(const Phantom& phantom) {
    const PhantomSettings& settings = phantom.settings;
    if (settings.used_bits > 8) return encode_png(phantom.pixels, settings.width, settings.height);
    return encode_png(std::vector<std::uint8_t>(phantom.pixels.begin(), phantom.pixels.end()), settings.width,
                      settings.height);
}

}  // namespace

int run_phantom_command(const PhantomOptions& options, std::ostream& out, std::ostream& err) {
    const Phantom phantom = draw_phantom(options.settings);
    try {
        write_named_file(options.file, encode_pixels(phantom));
        if (!options.labels_file.empty()) {
            write_named_file(options.labels_file,
                             encode_png(phantom.labels, phantom.settings.width, phantom.settings.height));
        }
    } catch (const Refusal& refusal) {
        complain(err, options.file + " " + refusal.what());
        return kExitPartly;
    }
    print_line(out, options.file + ": its masks come from");
    print_line(out, "    norvane masks " + options.file + " --side " + name_of(options.settings.side) + " --view " +
                        name_of(options.settings.view) + " --pixel-size " +
                        number_text(options.settings.pixel_size_um));
    return kExitDone;
}

}  // namespace Norvane::Host
