// SPDX-License-Identifier: Apache-2.0
/// One image of a run, from its file to its results.
#pragma once

#include "batch/image_record.h"
#include "batch/inputs.h"
#include "batch/leftovers.h"
#include "batch/masks_command.h"

#include <string>
#include <unordered_set>
#include <vector>

namespace Norvane::Host {

struct JobOutcome {
    ImageRecord record;
    std::vector<std::string> report;  ///< lines for people; none for images that were refused or kept
    bool is_image = true;             ///< otherwise it turned out to be none, and nobody had named it as one
};

/// Does the images of a run. Calls for several images may run at the same time.
class ImageJobs {
public:
    /// `inputs` are all of the run, with their names, so that no result takes the place of one of them. `old_files` are
    /// those below the folder of the results.
    ImageJobs(const MasksOptions& run_options, const std::vector<Input>& inputs, const Leftovers& old_files);

    /// Reads, analyses, writes. Whatever goes wrong ends up as the record's refusal.
    [[nodiscard]] JobOutcome run(const Input& input) const;

    /// What run() would do, as far as that shows without reading the image; writes nothing.
    [[nodiscard]] JobOutcome foresee(const Input& input) const;

    /// Why the results of the input cannot be made, as far as the names of all inputs tell; else empty.
    [[nodiscard]] std::string refusal_of(const Input& input) const;

    /// Removes what killed runs left of the results of the input.
    void remove_leftovers_of(const Input& input) const { remove_leftovers(stem_of(input)); }

private:
    [[nodiscard]] JobOutcome make(const Input& input) const;
    void refuse_to_overwrite_inputs(const Input& input) const;
    void remove_leftovers(const std::filesystem::path& stem) const;
    [[nodiscard]] std::filesystem::path stem_of(const Input& input) const;

    const MasksOptions& options;
    std::string stamp_options;
    std::unordered_set<std::string> input_places;
    const Leftovers& leftovers;
};

}  // namespace Norvane::Host
