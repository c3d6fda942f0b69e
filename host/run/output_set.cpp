// SPDX-License-Identifier: Apache-2.0
#include "run/output_set.h"

#include <cerrno>

namespace Norvane::Host {
OutputSet::~OutputSet() {
    for (const Waiting& file : waiting) run.remove_temporary(file.temporary);
}

void OutputSet::add(const std::filesystem::path& file, std::string_view bytes) {
    RunFolder::Temporary temporary = run.make_temporary();
    if (!temporary.file.is_open()) refuse_result(folder.path_of(file), errno);
    waiting.push_back({file.string(), bytes.size(), temporary.name});
    // The bytes are written to the disk before the file gets its name. Otherwise a network or a full disk could report
    // a loss too late, and after a crash of the machine an empty file could look finished.
    const int error = write_through(temporary.file.get(), bytes);
    const int close_error = temporary.file.close();
    if (error != 0 || close_error != 0) refuse_result(folder.path_of(file), error != 0 ? error : close_error);
}

bool OutputSet::has_own_in_place_of(const Waiting& file, const IsOwn& is_own) const {
    const auto size = folder.size_of(file.name);
    if (size && !is_own(file.name, *size)) refuse_foreign(folder.path_of(file.name));
    return size.has_value();
}

void OutputSet::require_places(const IsOwn& is_own) const {
    for (const Waiting& file : waiting) (void)has_own_in_place_of(file, is_own);
}

void OutputSet::commit(const IsOwn& is_own) {
    while (!waiting.empty()) {
        const Waiting& file = waiting.front();
        const int error = run.move_to(folder, file.name, file.temporary, has_own_in_place_of(file, is_own));
        if (error == EEXIST) refuse_foreign(folder.path_of(file.name));
        if (error != 0) refuse_result(folder.path_of(file.name), error);
        waiting.erase(waiting.begin());
    }
}

}  // namespace Norvane::Host
