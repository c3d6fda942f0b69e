// SPDX-License-Identifier: Apache-2.0
/// The kinds of results: what can be written of one image.
#pragma once

#include "findings/findings.h"

#include <string>
#include <vector>

namespace Norvane::Host {

struct ResultFile {
    const char* ending;  ///< of its name, NAME.ending
    /// Its bytes. Throws Refusal if the image has no such result.
    std::string (*encode)(const Findings& findings);
};

/// A kind of result. What makes its files only reads the findings, so kinds may be made in any order, on any thread.
struct ResultKind {
    const char* name;         ///< on the command line
    const char* description;  ///< for people
    bool is_default;
    std::vector<ResultFile> files;
    /// A sentence about what a reader of these files should know; empty if there is nothing to say. Null: there never
    /// is.
    std::string (*warning)(const Findings& findings) = nullptr;
};

/// Every kind, in the order in which the files get their names: what may be refused comes first, and the JSON last.
/// Where the JSON is, the others are.
[[nodiscard]] const std::vector<ResultKind>& result_kinds();

/// Those whose names are among `names`.
[[nodiscard]] std::vector<ResultKind> kinds_named(const std::vector<std::string>& names);

/// What their readers should know, each sentence once.
[[nodiscard]] std::vector<std::string> warnings_of(const std::vector<ResultKind>& kinds, const Findings& findings);

}  // namespace Norvane::Host
