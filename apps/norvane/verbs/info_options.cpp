// SPDX-License-Identifier: Apache-2.0
#include "verbs/info_options.h"

#include "option_texts.h"

namespace Norvane::Host {

InfoOptionSet::InfoOptionSet(CLI::App& app)
    : verb(app.add_subcommand("info", "Say what would be used from files, and from which of their fields")) {
    verb->add_option("FILE", options.files, "Files of any format that masks reads")->required();
    add_frame_option(*verb, options.reading);
    add_memory_option(*verb, options.reading);
    add_decode_option(*verb, options.reading);
    verb->add_option("--format", format, "Report on standard output: text, or a JSON array with an object per file")
        ->check(CLI::IsMember({"text", "json"}))
        ->capture_default_str();
    verb->footer(kExitCodesHelp);
}

InfoOptions InfoOptionSet::finish() {
    options.is_json = format == "json";
    return options;
}

}  // namespace Norvane::Host
