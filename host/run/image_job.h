// SPDX-License-Identifier: Apache-2.0
/// Processes one image of a run, from its file to its results.
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
    std::vector<std::string> report;  ///< lines for people; none if the image was refused or kept
    bool is_image = true;             ///< false if a walk found the file and it turned out not to be an image
};

/// The folders for the results and for the run itself.
struct Workplace {
    /// The folder must exist. RunFolder explains the key. Throws Refusal.
    explicit Workplace(const std::filesystem::path& out_dir, const std::string& run_key = "")
        : results(out_dir), run(results, run_key) {}

    ResultFolder results;
    RunFolder run;
};

/// Processes the images of a run. Several threads may call it at the same time.
class ImageJobs {
public:
    explicit ImageJobs(const RunOptions& run_options);

    /// Reads and analyses the image and writes its results. Every error becomes the refusal in the record.
    [[nodiscard]] JobOutcome run(const Input& input, const Workplace& place) const;

    /// What run() would do, as far as that is known without reading the image. Writes nothing.
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
