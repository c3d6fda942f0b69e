// SPDX-License-Identifier: Apache-2.0
/// One image of a run, from its file to its results.
#pragma once

#include "run/image_record.h"
#include "run/inputs.h"
#include "run/result_folder.h"
#include "run/run_folder.h"
#include "run/run_options.h"
#include "run/stamp.h"

#include <filesystem>
#include <optional>
#include <string>

namespace Norvane::Host {

struct JobOutcome {
    ImageRecord record;
    std::vector<std::string> report;  ///< lines for people; none for images that were refused or kept
    bool is_image = true;             ///< otherwise it turned out to be none, and nobody had named it as one
};

/// Where the images of a run get their results.
struct Workplace {
    /// The folder has to exist. For the key see RunFolder. Throws Refusal.
    explicit Workplace(const std::filesystem::path& out_dir, const std::string& run_key = "")
        : results(out_dir), run(results, run_key) {}

    ResultFolder results;
    RunFolder run;
};

/// Does the images of a run. Calls for several images may run at the same time.
class ImageJobs {
public:
    explicit ImageJobs(const RunOptions& run_options);

    /// Reads, analyses, writes. Whatever goes wrong ends up as the record's refusal.
    [[nodiscard]] JobOutcome run(const Input& input, const Workplace& place) const;

    /// What run() would do, as far as that shows without reading the image; writes nothing.
    [[nodiscard]] JobOutcome foresee(const Input& input) const;

private:
    [[nodiscard]] JobOutcome make(const Input& input, const Workplace& place) const;
    [[nodiscard]] JobOutcome make_new(const Input& input, const Workplace& place, const std::string& origin,
                                      const std::optional<Stamp>& old) const;
    [[nodiscard]] std::filesystem::path stem_of(const Input& input) const;

    const RunOptions& options;
    std::string stamp_options;
};

}  // namespace Norvane::Host
