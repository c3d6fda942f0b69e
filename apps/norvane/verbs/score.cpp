// SPDX-License-Identifier: Apache-2.0
#include "io/number_text.h"
#include "io/printable.h"
#include "io/read_png.h"
#include "io/refusal.h"
#include "run/csv_text.h"
#include "run/exit_code.h"
#include "run/named_file.h"
#include "run/result_folder.h"
#include "run/result_names.h"
#include "run/run_options.h"
#include "run/stamp.h"
#include "score/score_measures.h"
#include "verbs/verb.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <ostream>
#include <set>
#include <sstream>
#include <string_view>

namespace Norvane::Host {
namespace {

namespace fs = std::filesystem;

// The grey values of a truth that mean breast without muscle, and muscle.
struct TruthValues {
    std::vector<std::uint8_t> breast{1};
    std::vector<std::uint8_t> pectoral{2};
};

struct ScoreOptions {
    std::vector<std::string> truths;           // PNG files of labels, and folders of them
    std::string masks = RunOptions().out_dir;  // folder of the results of norvane masks
    TruthValues values;
    double pixel_size_um = 0.0;  // 0: what the results say
    std::string csv;             // table to write; empty: score.csv in the folder of the results
};

// Numbers from 0 to 255 with "+" between, such as 128+192.
std::optional<std::vector<std::uint8_t>> levels_of(std::string_view text) {
    std::vector<std::uint8_t> levels;
    const char* end = text.data() + text.size();
    for (const char* at = text.data();; ++at) {
        std::uint8_t level = 0;
        const auto found = std::from_chars(at, end, level);
        if (found.ec != std::errc()) return std::nullopt;
        levels.push_back(level);
        at = found.ptr;
        if (at == end) return levels;
        if (*at != '+') return std::nullopt;
    }
}

// breast=LEVELS,pectoral=LEVELS; a region that is not named has no pixels in the truth.
std::optional<TruthValues> values_of(const std::string& text) {
    TruthValues values{{}, {}};
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, ',');) {
        const std::size_t equals = part.find('=');
        const std::string region = part.substr(0, equals);
        if (equals == std::string::npos || (region != "breast" && region != "pectoral")) return std::nullopt;
        const auto levels = levels_of(std::string_view(part).substr(equals + 1));
        if (!levels) return std::nullopt;
        (region == "breast" ? values.breast : values.pectoral) = *levels;
    }
    return values;
}

OptionTable<ScoreOptions> score_options() {
    return {
        {{.name = "masks",
          .value = "FOLDER",
          .help = "Folder of the results of norvane masks, with their label PNGs",
          .otherwise = ScoreOptions().masks},
         [](ScoreOptions& options, const std::string& text) { options.masks = text; }},
        {{.name = "truth-values",
          .value = "LEVELS",
          .help = "Grey levels of the truth, such as breast=128+192,pectoral=255",
          .otherwise = "breast=1,pectoral=2"},
         [](ScoreOptions& options, const std::string& text) {
             const auto values = values_of(text);
             if (!values) {
                 throw std::invalid_argument("'" + text + "' is not breast=LEVEL+...,pectoral=LEVEL+... of 0 to 255");
             }
             options.values = *values;
         }},
        {{.name = "pixel-size",
          .value = "UM",
          .help = "Pixel size in micrometres",
          .otherwise = "what was used for the masks"},
         [](ScoreOptions& options, const std::string& text) { options.pixel_size_um = positive_number_of(text); }},
        {{.name = "csv",
          .value = "FILE",
          .help = "Table to write",
          .otherwise = "score.csv in the folder of the results"},
         [](ScoreOptions& options, const std::string& text) { options.csv = text; }}};
}

constexpr const char* kLabelsEnding = ".labels.png";  // of results, and of truths that lie beside their images

/// A truth and the name of the results that it belongs to.
struct Truth {
    std::string file;
    std::string name;
};

// What is compared. The breast counts with the muscle in front of it: its outline is the skin line in every view.
struct ScoredRegion {
    const char* name;
    bool takes_breast;
};
constexpr ScoredRegion kScoredRegions[] = {{"breast", true}, {"pectoral", false}};

struct ScoreRow {
    std::string name;
    const char* region;
    Score score;
    double pixel_size_um;
};

Truth truth_of(const std::string& file, const fs::path& base) {
    std::string name = own_result_name({file, base, {}, {}});
    constexpr std::string_view kLabels = ".labels";
    if (name.ends_with(kLabels)) name.resize(name.size() - kLabels.size());
    return {file, name};
}

// Where a folder holds NAME.labels.png, its other files are the images; else every PNG in it is a truth.
std::vector<Truth> truths_in(const std::string& folder) {
    std::vector<std::string> files;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        if (entry.path().extension() == ".png" && entry.is_regular_file()) files.push_back(entry.path().string());
    }
    std::ranges::sort(files);
    const auto is_labels = [](const std::string& file) { return file.ends_with(kLabelsEnding); };
    const bool are_marked = std::ranges::any_of(files, is_labels);
    std::vector<Truth> truths;
    for (const std::string& file : files) {
        if (!are_marked || is_labels(file)) truths.push_back(truth_of(file, fs::path(folder).lexically_normal()));
    }
    return truths;
}

std::vector<Truth> find_truths(const std::vector<std::string>& named) {
    std::vector<Truth> truths;
    for (const std::string& name : named) {
        std::error_code ignored;
        const std::vector<Truth> found =
            fs::is_directory(name, ignored) ? truths_in(name) : std::vector<Truth>{truth_of(name, {})};
        truths.insert(truths.end(), found.begin(), found.end());
    }
    return truths;
}

// Labels are few values with a meaning each: 8 bits, whatever could be made of 16.
SourceImage read_labels(const std::string& file) {
    std::error_code error;
    if (!fs::exists(file, error)) throw Refusal("does not exist");
    SourceImage labels = read_png(file);
    if (labels.used_bits != 8) throw Refusal("is no label image of 8 bits");
    if (std::max(labels.width, labels.height) > kMostScoredSide) throw Refusal("is too large to be scored");
    return labels;
}

// A truth in which nothing is breast was drawn with other values.
void require_breast(const SourceImage& labels, const TruthValues& values) {
    std::set<std::uint16_t> found(labels.samples.begin(), labels.samples.end());
    const auto is_found = [&found](std::uint8_t value) { return found.contains(value); };
    if (values.breast.empty() || std::ranges::any_of(values.breast, is_found)) return;
    throw Refusal(fmt::format("holds no pixel of the breast, of the values {}; its values are {}: give --truth-values",
                              fmt::join(values.breast, "+"), fmt::join(found, ", ")));
}

LabelPixels region_of(const SourceImage& labels, const TruthValues& values, bool takes_breast) {
    std::uint8_t is_inside[256] = {};
    for (const std::uint8_t value : values.pectoral) is_inside[value] = 1;
    if (takes_breast) {
        for (const std::uint8_t value : values.breast) is_inside[value] = 1;
    }
    LabelPixels region{labels.width, labels.height, std::vector<std::uint8_t>(labels.samples.size())};
    std::ranges::transform(labels.samples, region.pixels.begin(),
                           [&is_inside](std::uint16_t label) { return is_inside[label]; });
    return region;
}

std::string size_text(const SourceImage& image) { return fmt::format("{} x {} pixels", image.width, image.height); }

SourceImage read_mask_labels(const fs::path& stem) {
    const std::string file = stem.string() + kLabelsEnding;
    try {
        return read_labels(file);
    } catch (const Refusal& refusal) {
        throw Refusal("has no masks to be compared with: " + file + " " + refusal.what());
    }
}

double pixel_size_for(const fs::path& stem, const ScoreOptions& options) {
    if (options.pixel_size_um > 0.0) return options.pixel_size_um;
    const auto stamp = read_stamp(ResultFolder(stem.parent_path()), stem.filename().string());
    const auto record = stamp ? record_of(stamp->record) : std::nullopt;
    if (record && record->pixel_size_um > 0.0) return record->pixel_size_um;
    throw Refusal("has masks whose pixel size is not known (no " + stamp_file(stem.string()) + "): give --pixel-size");
}

void score_truth(const Truth& truth, const ScoreOptions& options, std::vector<ScoreRow>& rows) {
    const fs::path stem = fs::path(options.masks) / truth.name;
    const SourceImage drawn = read_labels(truth.file);
    const SourceImage made = read_mask_labels(stem);
    if (drawn.width != made.width || drawn.height != made.height) {
        throw Refusal("has " + size_text(drawn) + ", its masks have " + size_text(made));
    }
    require_breast(drawn, options.values);
    const double pixel_size_um = pixel_size_for(stem, options);
    for (const ScoredRegion& region : kScoredRegions) {
        const LabelPixels drawn_region = region_of(drawn, options.values, region.takes_breast);
        const LabelPixels made_region = region_of(made, TruthValues{}, region.takes_breast);
        rows.push_back({truth.name, region.name, score(drawn_region, made_region), pixel_size_um});
    }
}

double millimetres(double pixels, const ScoreRow& row) {
    constexpr double kMicrometresPerMillimetre = 1000.0;
    return pixels * row.pixel_size_um / kMicrometresPerMillimetre;
}

constexpr std::string_view kHeader =
    "name,region,dice,jaccard,mean_distance_mm,hausdorff95_mm,truth_pixels,mask_pixels";
constexpr const char* kTable = "score.csv";

// Nobody named the table: a file of somebody else stays what it is.
void require_own_table(const std::string& folder) {
    const ResultFolder results(folder);
    const auto beginning = results.read(kTable, kHeader.size());
    if (beginning && *beginning != kHeader) refuse_foreign(results.path_of(kTable));
}

std::string csv_of(const std::vector<ScoreRow>& rows) {
    std::string text = std::string(kHeader) + "\n";
    for (const ScoreRow& row : rows) {
        const auto& outline = row.score.outline;
        text += csv_field(row.name) + "," + row.region + "," + number_text(row.score.dice) + "," +
                number_text(row.score.jaccard) + ",";
        text += (outline ? number_text(millimetres(outline->mean, row)) : "") + ",";
        text += (outline ? number_text(millimetres(outline->hausdorff95, row)) : "") + ",";
        text += std::to_string(row.score.truth_pixels) + "," + std::to_string(row.score.mask_pixels) + "\n";
    }
    return text;
}

// Means over the images; of the distances over those that have one.
std::string means_text(const std::vector<ScoreRow>& rows, const char* region) {
    double dice = 0.0, jaccard = 0.0, mean_mm = 0.0, hausdorff_mm = 0.0;
    std::size_t count = 0, with_distance = 0;
    const ScoreRow* worst = nullptr;
    for (const ScoreRow& row : rows) {
        if (std::string_view(row.region) != region) continue;
        ++count;
        dice += row.score.dice;
        jaccard += row.score.jaccard;
        if (worst == nullptr || row.score.dice < worst->score.dice) worst = &row;
        if (!row.score.outline) continue;
        ++with_distance;
        mean_mm += millimetres(row.score.outline->mean, row);
        hausdorff_mm += millimetres(row.score.outline->hausdorff95, row);
    }
    if (worst == nullptr) return {};
    const auto mean = [](double sum, std::size_t n) { return number_text(sum / static_cast<double>(n)); };
    std::string text =
        fmt::format("{}: {} images, Dice {}, Jaccard {}", region, count, mean(dice, count), mean(jaccard, count));
    if (with_distance > 0) {
        text += fmt::format(", outline distance {} mm, 95 % Hausdorff distance {} mm", mean(mean_mm, with_distance),
                            mean(hausdorff_mm, with_distance));
    }
    if (with_distance < count) text += fmt::format(" ({} without a distance)", count - with_distance);
    return text + fmt::format("; lowest Dice {} of {}", number_text(worst->score.dice), worst->name);
}

int score(const ScoreOptions& options, std::ostream& out, std::ostream& err) {
    bool is_all_done = true;
    const auto attempt = [&](const std::string& what, const auto& work) {
        try {
            work();
        } catch (const std::exception& e) {
            const bool is_refusal = dynamic_cast<const Refusal*>(&e) != nullptr;
            complain(err, what + (is_refusal ? " " : " failed: ") + e.what());
            is_all_done = false;
        }
    };
    std::vector<ScoreRow> rows;
    std::vector<Truth> truths;
    attempt("the search for truths", [&] { truths = find_truths(options.truths); });
    for (const Truth& truth : truths) {
        attempt(truth.file, [&] { score_truth(truth, options, rows); });
    }
    const std::string csv = options.csv.empty() ? (fs::path(options.masks) / kTable).string() : options.csv;
    attempt("the table", [&] {
        if (options.csv.empty()) require_own_table(options.masks);
        write_named_file(csv, csv_of(rows));
    });
    for (const ScoredRegion& region : kScoredRegions) {
        const std::string means = means_text(rows, region.name);
        if (!means.empty()) print_line(out, means);
    }
    print_line(out, "Table: " + csv);
    return is_all_done && !rows.empty() ? kExitDone : kExitPartly;
}

}  // namespace

Verb score_verb() {
    return {"score",
            "Compare masks with label images that somebody drew",
            {"TRUTH",
             "Label PNG of the source's size, NAME.png or NAME.labels.png for the results NAME; or a folder of them",
             true, true},
            facts_of(score_options()),
            [](const std::vector<std::string>& truths, const GivenOptions& given) -> Task {
                ScoreOptions options;
                options.truths = truths;
                set_options(options, score_options(), given);
                return [options](std::ostream& out, std::ostream& err) { return score(options, out, err); };
            }};
}

}  // namespace Norvane::Host
