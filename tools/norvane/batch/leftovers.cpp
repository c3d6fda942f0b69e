// SPDX-License-Identifier: Apache-2.0
#include "batch/leftovers.h"

#include "results/output_set.h"

#include <system_error>

namespace Norvane::Host {

namespace fs = std::filesystem;

Leftovers::Leftovers(const fs::path& folder) {
    std::error_code error;
    const auto options = fs::directory_options::skip_permission_denied;
    for (fs::recursive_directory_iterator at(folder, options, error), end; !error && at != end; at.increment(error)) {
        note(at->path());
    }
}

void Leftovers::look_beside(const fs::path& file) {
    std::error_code error;
    const fs::path folder = file.has_parent_path() ? file.parent_path() : fs::path(".");
    for (fs::directory_iterator at(folder, error), end; !error && at != end; at.increment(error)) note(at->path());
}

void Leftovers::note(const fs::path& file) {
    const fs::path result = result_of_temporary(file);
    if (!result.empty()) files[result.lexically_normal().string()].push_back(file);
}

void Leftovers::remove_those_of(const fs::path& file) const {
    const auto found = files.find(file.lexically_normal().string());
    if (found == files.end()) return;
    std::error_code ignored;
    for (const fs::path& temporary : found->second) fs::remove(temporary, ignored);
}

}  // namespace Norvane::Host
