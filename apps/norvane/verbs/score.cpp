// SPDX-License-Identifier: Apache-2.0
#include "io/number_text.h"
#include "io/printable.h"
#include "io/read_png.h"
#include "io/refusal.h"
#include "run/csv_text.h"
#include "run/exit_code.h"
#include "run/marks.h"
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
#include <map>
#include <optional>
#include <ostream>
#include <set>
#include <sstream>
#include <string_view>

namespace Norvane::Host {
namespace {

namespace fs = std::filesystem;

// The grey values that stand for breast without muscle and for muscle in a truth.
struct TruthValues {
    std::vector<std::uint8_t> breast{1};
    std::vector<std::uint8_t> pectoral{2};
};

struct ScoreOptions {
    std::vector<std::string> truths;           // label images (PNG files), and folders of them
    std::string masks = RunOptions().out_dir;  // folder of the results of norvane masks
    TruthValues values;
    double pixel_size_um = 0.0;  // 0: use the one that the results name
    std::string csv;             // path of the table; empty: score.csv in the folder of the results
    std::string marks;           // path of a table of marks; empty: none
};

// Numbers from 0 to 255 separated by "+", such as 128+192.
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

// Parses breast=LEVELS,pectoral=LEVELS. A region that is not named has no pixels in the truth.
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
         [](ScoreOptions& options, const std::string& text) { options.pixel_size_um = micrometres_of(text); }},
        {{.name = "csv",
          .value = "FILE",
          .help = "File for the table",
          .otherwise = "score.csv in the folder of the results"},
         [](ScoreOptions& options, const std::string& text) { options.csv = text; }},
        {{.name = "marks",
          .value = "FILE",
          .help = "Marks exported by report.html; adds a column with the marks, and means for each mark"},
         [](ScoreOptions& options, const std::string& text) { options.marks = text; }}};
}

constexpr const char* kLabelsEnding = ".labels.png";  // of results, and of truths that lie next to their images

/// A truth and the name of the results that it is compared with.
struct Truth {
    std::string file;
    std::string name;
};

// The regions that are compared. The breast includes the muscle, so that its outline is the skin line in every view.
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
    std::string mark;  // given by a person; empty: none
};

Truth truth_of(const std::string& file, const fs::path& base) {
    std::string name = own_result_name({file, base, {}, {}});
    constexpr std::string_view kLabels = ".labels";
    if (name.ends_with(kLabels)) name.resize(name.size() - kLabels.size());
    return {file, name};
}

// If a folder holds a NAME.labels.png, only such files are truths, and its other files are images. Otherwise every PNG
// in it is a truth.
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

// Labels are a few values with a meaning each, so only 8-bit images are accepted.
SourceImage read_labels(const std::string& file) {
    std::error_code error;
    if (!fs::exists(file, error)) throw Refusal("does not exist");
    SourceImage labels = read_png(file);
    if (labels.used_bits != 8) throw Refusal("is not an 8-bit label image");
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
        throw Refusal("has no masks to compare with: " + file + " " + refusal.what());
    }
}

// What the run kept of the image whose results these are.
std::optional<ImageRecord> kept_record_of(const fs::path& stem) {
    const auto stamp = read_stamp(ResultFolder(stem.parent_path()), stem.filename().string());
    return stamp ? record_of(stamp->record) : std::nullopt;
}

double pixel_size_for(const fs::path& stem, const ScoreOptions& options) {
    if (options.pixel_size_um > 0.0) return options.pixel_size_um;
    const auto record = kept_record_of(stem);
    if (record && record->pixel_size_um > 0.0) return record->pixel_size_um;
    throw Refusal("has masks whose pixel size is not known (no " + stamp_file(stem.string()) + "): give --pixel-size");
}

using MarksByFile = std::map<fs::path, std::string>;

MarksByFile marks_by_file(const std::string& table) {
    MarksByFile marks;
    for (const Mark& mark : read_marks(table)) marks[fs::path(mark.file).lexically_normal()] = mark.mark;
    return marks;
}

std::string mark_of(const fs::path& stem, const MarksByFile& marks) {
    const auto record = marks.empty() ? std::nullopt : kept_record_of(stem);
    if (!record) return {};
    const auto found = marks.find(fs::path(record->file).lexically_normal());
    return found == marks.end() ? std::string() : found->second;
}

void score_truth(const Truth& truth, const ScoreOptions& options, const MarksByFile& marks,
                 std::vector<ScoreRow>& rows) {
    const fs::path stem = fs::path(options.masks) / truth.name;
    const SourceImage drawn = read_labels(truth.file);
    const SourceImage made = read_mask_labels(stem);
    if (drawn.width != made.width || drawn.height != made.height) {
        throw Refusal("has " + size_text(drawn) + ", but its masks have " + size_text(made));
    }
    require_breast(drawn, options.values);
    const double pixel_size_um = pixel_size_for(stem, options);
    const std::string mark = mark_of(stem, marks);
    for (const ScoredRegion& region : kScoredRegions) {
        const LabelPixels drawn_region = region_of(drawn, options.values, region.takes_breast);
        const LabelPixels made_region = region_of(made, TruthValues{}, region.takes_breast);
        rows.push_back({truth.name, region.name, score(drawn_region, made_region), pixel_size_um, mark});
    }
}

double millimetres(double pixels, const ScoreRow& row) {
    constexpr double kMicrometresPerMillimetre = 1000.0;
    return pixels * row.pixel_size_um / kMicrometresPerMillimetre;
}

constexpr std::string_view kHeader =
    "name,region,dice,jaccard,mean_distance_mm,hausdorff95_mm,truth_pixels,mask_pixels";
constexpr const char* kTable = "score.csv";

// The user did not name the table, so a file of another program must not be replaced.
void require_own_table(const std::string& folder) {
    const ResultFolder results(folder);
    const auto beginning = results.read(kTable, kHeader.size());
    if (beginning && *beginning != kHeader) refuse_foreign(results.path_of(kTable));
}

std::string csv_of(const std::vector<ScoreRow>& rows, bool has_marks) {
    std::string text = std::string(kHeader) + (has_marks ? ",mark\n" : "\n");
    for (const ScoreRow& row : rows) {
        const auto& outline = row.score.outline;
        text += csv_field(row.name) + "," + row.region + "," + number_text(row.score.dice) + "," +
                number_text(row.score.jaccard) + ",";
        text += (outline ? number_text(millimetres(outline->mean, row)) : "") + ",";
        text += (outline ? number_text(millimetres(outline->hausdorff95, row)) : "") + ",";
        text += std::to_string(row.score.truth_pixels) + "," + std::to_string(row.score.mask_pixels);
        if (has_marks) text.append(1, ',').append(csv_field(row.mark));
        text += '\n';
    }
    return text;
}

// Means over the images. The means of distances are over the images that have one.
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

void print_means(const std::vector<ScoreRow>& rows, const std::string& heading, std::ostream& out) {
    for (const ScoredRegion& region : kScoredRegions) {
        const std::string means = means_text(rows, region.name);
        if (!means.empty()) print_line(out, heading + means);
    }
}

// For each mark, the means of the images that have it.
void print_means_by_mark(const std::vector<ScoreRow>& rows, std::ostream& out) {
    std::map<std::string, std::vector<ScoreRow>> by_mark;
    for (const ScoreRow& row : rows) {
        if (!row.mark.empty()) by_mark[row.mark].push_back(row);
    }
    for (const auto& [mark, marked] : by_mark) print_means(marked, "marked " + mark + ": ", out);
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
    MarksByFile marks;
    if (!options.marks.empty()) attempt(options.marks, [&] { marks = marks_by_file(options.marks); });
    attempt("the search for truths", [&] { truths = find_truths(options.truths); });
    for (const Truth& truth : truths) {
        attempt(truth.file, [&] { score_truth(truth, options, marks, rows); });
    }
    const std::string csv = options.csv.empty() ? (fs::path(options.masks) / kTable).string() : options.csv;
    attempt("the table", [&] {
        if (options.csv.empty()) require_own_table(options.masks);
        write_named_file(csv, csv_of(rows, !options.marks.empty()));
    });
    print_means(rows, "", out);
    print_means_by_mark(rows, out);
    print_line(out, "Table: " + csv);
    return is_all_done && !rows.empty() ? kExitDone : kExitPartly;
}

}  // namespace

Verb score_verb() {
    return {
        "score",
        "Compare masks with label images that somebody drew",
        {"TRUTH",
         "Label PNG of the size of the source, NAME.png or NAME.labels.png for the results NAME, or a folder of them",
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
