// SPDX-License-Identifier: Apache-2.0
#include "masks_command.h"

#include "chest_wall_side.h"
#include "host_image.h"
#include "image_settings.h"
#include "mask_files.h"
#include "masks_run.h"
#include "noise_choice.h"
#include "number_text.h"
#include "output_set.h"
#include "overlay.h"
#include "program.h"
#include "read_image.h"
#include "refusal.h"
#include "report_json.h"
#include "result_names.h"
#include "status_text.h"

#include <exception>
#include <filesystem>
#include <new>
#include <ostream>

namespace Norvane::Host {
namespace {

namespace fs = std::filesystem;

std::vector<std::string> facts_of(const ImageSettings& settings, const SourceImage& source, const Image& prepared) {
    return {std::string("Chest wall ") + name_of(settings.side) + ": " + settings.side_reason,
            std::string("View ") + name_of(settings.view) + ": " + settings.view_reason,
            std::string("Noise class ") + name_of(settings.noise) + ": " + settings.noise_reason,
            "Pixel size " + number_text(settings.pixel_size_um) + " um: " + settings.pixel_size_reason,
            source.format + ", " + std::to_string(source.width) + " x " + std::to_string(source.height) +
                " pixels of " + std::to_string(source.used_bits) + " bits; working grid " +
                std::to_string(prepared.GetWidth()) + " x " + std::to_string(prepared.GetHeight())};
}

constexpr const char* kResultEndings[] = {"overlay.png", "frame.png", "breast.png", "pectoral.png",
                                          "full.png",    "outer.png", "json"};

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
        for (const char* ending : kResultEndings) {
            if (name == prefix + ending) throw Refusal("has a result that would overwrite the input " + input);
        }
    }
}

void report(std::ostream& out, const std::string& file, const std::string& picture, const MasksResult& masks,
            const std::vector<std::string>& facts) {
    const StatusText& verdict = text_of(masks.full.status);
    out << file << ": status " << masks.full.status << " " << verdict.name << ": " << verdict.sentence << '\n';
    if (masks.pectoral.status != masks.full.status) {
        const StatusText& muscle = text_of(masks.pectoral.status);
        out << "    Pectoral muscle: status " << masks.pectoral.status << " " << muscle.name << ": " << muscle.sentence
            << '\n';
    }
    for (const std::string& fact : facts) out << "    " << fact << '\n';
    out << "    Picture: " << picture << std::endl;
}

// Where two inputs have one name, the results of the later one are called otherwise.
void report_other_name(std::ostream& out, const std::string& file, const std::string& name) {
    const std::string own = result_names({file}).front();
    if (name != own) out << "    Results are named " << name << ": another input has the name " << own << std::endl;
}

void process(const std::string& file, const fs::path& stem, const MasksOptions& options, std::ostream& out) {
    refuse_to_overwrite_inputs(stem, options.files);
    SourceImage source = read_image(file);
    ImageSettings settings = settle_before_preparation(options, source);
    PreparedImage prepared = prepare_source(source, settings.pixel_size_um, settings.noise);
    settle_after_preparation(options, source, *prepared.image, settings);

    MasksResult masks =
        run_masks(prepared, {settings.side, settings.view, settings.noise, options.is_fast, options.wants_contour});

    const std::vector<std::string> facts = facts_of(settings, source, *prepared.image);
    const std::string picture = stem.string() + ".overlay.png";
    OutputSet outputs;
    outputs.add(picture, draw_overlay(*prepared.image, masks, fs::path(file).filename().string(), facts));
    add_mask_files(outputs, stem, *prepared.image, masks);
    outputs.add(stem.string() + ".json", report_json(file, source, settings, prepared, masks));
    outputs.commit();
    report(out, file, picture, masks, facts);
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
