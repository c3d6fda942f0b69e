// SPDX-License-Identifier: Apache-2.0
/// The kinds of results that can be written for one image.
#pragma once

#include "findings/findings.h"

#include <string>
#include <vector>

namespace Norvane::Host {

struct ResultFile {
    const char* ending;  ///< the file is called NAME.ending
    /// Makes the bytes of the file. Throws Refusal if the image has no such result.
    std::string (*encode)(const Findings& findings);
};

/// A kind of result. Its functions only read the findings, so kinds may be made in any order and on any thread.
struct ResultKind {
    const char* name;         ///< the word for it on the command line
    const char* description;  ///< for the help text
    bool is_default;
    std::vector<ResultFile> files;
    /// Returns a sentence that a reader of these files should know, or an empty text. Null if there never is one.
    std::string (*warning)(const Findings& findings) = nullptr;
};

/// All kinds, in the order in which their files are put in place. Kinds that may be refused come first, and the JSON
/// comes last: if the JSON exists, all other files do.
[[nodiscard]] const std::vector<ResultKind>& result_kinds();

/// The kinds whose names are among `names`.
[[nodiscard]] std::vector<ResultKind> kinds_named(const std::vector<std::string>& names);

/// The warnings of all these kinds, each sentence once.
[[nodiscard]] std::vector<std::string> warnings_of(const std::vector<ResultKind>& kinds, const Findings& findings);

}  // namespace Norvane::Host
