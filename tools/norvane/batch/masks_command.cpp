// SPDX-License-Identifier: Apache-2.0
#include "batch/masks_command.h"

#include "analysis/image_analysis.h"
#include "analysis/status_text.h"
#include "batch/exit_code.h"
#include "batch/result_names.h"
#include "reading/read_image.h"
#include "reading/refusal.h"
#include "results/output_set.h"
#include "results/result_files.h"
#include "results/settings_text.h"

#include <exception>
#include <filesystem>
#include <new>
#include <ostream>

namespace Norvane::Host {
namespace {

namespace fs = std::filesystem;

// Results that lie beside their inputs must not replace one of them.
void refuse_to_overwrite_inputs(const fs::path& stem, const std::vector<std::string>& inputs) {
    for (const std::string& input : inputs) {
        const std::string name = fs::path(input).filename().string();
        const std::string prefix = stem.filename().string() + ".";
        const fs::path input_folder = fs::absolute(input).parent_path();
        std::error_code error;
        if (!name.starts_with(prefix) || !fs::equivalent(input_folder, fs::absolute(stem).parent_path(), error)) {
            continue;
        }
        for (const ResultKind& kind : result_kinds()) {
            for (const std::string& ending : kind.endings) {
                if (name == prefix + ending) throw Refusal("has a result that would overwrite the input " + input);
            }
        }
    }
}

void report(std::ostream& out, const std::string& file, const std::string& picture, const ImageAnalysis& analysis) {
    const MasksResult& masks = analysis.masks;
    const StatusText& verdict = text_of(masks.full.status);
    out << file << ": status " << masks.full.status << " " << verdict.name << ": " << verdict.sentence << '\n';
    if (masks.pectoral.status != masks.full.status) {
        const StatusText& muscle = text_of(masks.pectoral.status);
        out << "    Pectoral muscle: status " << masks.pectoral.status << " " << muscle.name << ": " << muscle.sentence
            << '\n';
    }
    for (const std::string& fact : settings_text(analysis)) out << "    " << fact << '\n';
    out << "    Picture: " << picture << std::endl;
}

// Where two inputs have one name, the results of the later one are called otherwise.
void report_other_name(std::ostream& out, const std::string& file, const std::string& name) {
    const std::string own = result_names({file}).front();
    if (name != own) out << "    Results are named " << name << ": another input has the name " << own << std::endl;
}

void process(const std::string& file, const fs::path& stem, const MasksOptions& options, std::ostream& out) {
    refuse_to_overwrite_inputs(stem, options.files);
    ImageAnalysis analysis = analyse(read_image(file), options.analysis);
    OutputSet outputs;
    add_result_files(outputs, stem, file, options.results, analysis);
    outputs.commit();
    report(out, file, stem.string() + ".overlay.png", analysis);
    report_other_name(out, file, stem.filename().string());
}

// Whether the file was done. What goes wrong with it is one line, and the next file goes on.
bool try_to_process(const std::string& file, const fs::path& stem, const MasksOptions& options, std::ostream& out,
                    std::ostream& err) {
    try {
        process(file, stem, options, out);
        return true;
    } catch (const Refusal& refusal) {
        err << "norvane: " << file << " " << refusal.what() << std::endl;
    } catch (const std::bad_alloc&) {
        err << "norvane: " << file << " needs more memory than there is" << std::endl;
    } catch (const std::exception& e) {
        err << "norvane: " << file << " failed: " << e.what() << std::endl;
    }
    return false;
}

}  // namespace

int run_masks_command(const MasksOptions& options, std::ostream& out, std::ostream& err) {
    std::error_code error;
    fs::create_directories(options.out_dir, error);
    if (!fs::is_directory(options.out_dir)) {
        err << "norvane: the folder " << options.out_dir << " cannot be made: " << error.message() << std::endl;
        return kExitPartly;
    }
    const std::vector<std::string> names = result_names(options.files);
    bool all_done = true;
    for (std::size_t i = 0; i < options.files.size(); ++i) {
        all_done &= try_to_process(options.files[i], fs::path(options.out_dir) / names[i], options, out, err);
    }
    return all_done ? kExitDone : kExitPartly;
}

}  // namespace Norvane::Host
