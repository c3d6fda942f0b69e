// SPDX-License-Identifier: Apache-2.0
#include "findings/film_area.h"

#include <fmt/core.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

namespace Norvane::Host {
namespace {

// A line is judged by evenly spaced samples. They are divided into sections of equal length.
constexpr unsigned kSections = 16;
constexpr unsigned kSamplesPerSection = 32;
constexpr unsigned kSamples = kSections * kSamplesPerSection;

// Parts of the grey range of the image: 8 means an eighth.
constexpr unsigned kExtremeShare = 8;                           // the darkest eighth is black, the brightest is white
constexpr unsigned kWhiteSpreadShare = 16;                      // spread of the middle half of a white line
constexpr std::array<unsigned, 2> kBlackSpreadShares{64, 256};  // the finer one is needed next to a dark background

constexpr unsigned kStraySamples = kSamples / 50;               // allowed in a border line: dust, burnt-in marks
constexpr unsigned kSignalPerSection = kSamplesPerSection / 4;  // so many samples with a signal make a section film
constexpr unsigned kSectionsAtEdge = 6;                         // a skin line or the edge of a label is shorter

constexpr double kThinnestBorderUm = 1000.0;
constexpr double kEdgeBlurUm = 500.0;  // the signal begins within this distance of the border
constexpr unsigned kSharpestEdge = 2;  // pixels

constexpr unsigned kLeastShareLeft = 8;  // an eighth of the width and height must remain

enum class Border { kLeft, kRight, kTop, kBottom };
constexpr std::array kColumnsBeforeRows{Border::kLeft, Border::kRight, Border::kTop, Border::kBottom};

const char* name_of(Border border) {
    constexpr std::array kNames{"left", "right", "top", "bottom"};
    return kNames.at(static_cast<std::size_t>(border));
}

bool is_column(Border border) { return border == Border::kLeft || border == Border::kRight; }

// Grey levels with tissue bright. If tissue is dark in the file, the negative samples are used.
struct GreyRange {
    int low, high;

    [[nodiscard]] int share(unsigned parts) const { return (high - low) / static_cast<int>(parts); }
};

using Line = std::array<int, kSamples>;

// The samples of the line `depth` pixels inside a border of the box.
Line line_at(const SourceImage& source, const SourceBox& box, Border border, unsigned depth) {
    const std::size_t length = is_column(border) ? box.height : box.width;
    Line line{};
    for (std::size_t i = 0; i < kSamples; ++i) {
        const auto along = static_cast<unsigned>((2 * i + 1) * length / (std::size_t{2} * kSamples));
        unsigned x = box.x + along;
        unsigned y = box.y + along;
        if (border == Border::kLeft) x = box.x + depth;
        if (border == Border::kRight) x = box.x + box.width - 1 - depth;
        if (border == Border::kTop) y = box.y + depth;
        if (border == Border::kBottom) y = box.y + box.height - 1 - depth;
        const int sample = source.samples[std::size_t{y} * source.width + x];
        line[i] = source.needs_inversion ? -sample : sample;
    }
    return line;
}

// What the lines of a border without a signal look like: samples low .. high, their middle half within `spread`.
struct Blank {
    const char* name;
    int low, high, spread;

    [[nodiscard]] bool is_signal(int sample) const { return sample < low || sample > high; }

    [[nodiscard]] bool holds(Line line) const {
        const auto is_stray = [this](int sample) { return is_signal(sample); };
        if (std::ranges::count_if(line, is_stray) > static_cast<int>(kStraySamples)) return false;
        std::ranges::sort(line);
        return line[3 * kSamples / 4] - line[kSamples / 4] <= spread;
    }

    [[nodiscard]] bool ends_at(const Line& line) const {
        unsigned sections = 0;
        for (const auto* first = line.data(); first != line.data() + kSamples; first += kSamplesPerSection) {
            const auto count = std::count_if(first, first + kSamplesPerSection, [this](int v) { return is_signal(v); });
            if (count >= static_cast<int>(kSignalPerSection)) ++sections;
        }
        return sections >= kSectionsAtEdge;
    }
};

// The kinds of blank border that the outermost line allows.
std::vector<Blank> blanks_of(const GreyRange& range, Line outermost) {
    std::ranges::sort(outermost);
    const int level = outermost[kSamples / 2];
    std::vector<Blank> blanks;
    if (level <= range.low + range.share(kExtremeShare)) {
        for (const unsigned share : kBlackSpreadShares) {
            const int spread = range.share(share);
            blanks.push_back({"black", level - spread, level + spread, 2 * spread});
        }
    } else if (level >= range.high - range.share(kExtremeShare)) {
        blanks.push_back(
            {"white", range.high - range.share(kExtremeShare), range.high, range.share(kWhiteSpreadShare)});
    }
    return blanks;
}

GreyRange range_of(const SourceImage& source) {
    const auto [least, largest] = std::ranges::minmax(source.samples);
    return source.needs_inversion ? GreyRange{-int{largest}, -int{least}} : GreyRange{int{least}, int{largest}};
}

class BorderSearch {
public:
    BorderSearch(const SourceImage& image, double pixel_size_um)
        : source(image),
          range(range_of(image)),
          thinnest(static_cast<unsigned>(std::lround(kThinnestBorderUm / pixel_size_um))),
          blur(std::max(static_cast<unsigned>(std::lround(kEdgeBlurUm / pixel_size_um)), kSharpestEdge)) {}

    // If there is a blank border, cuts it off the box and describes it. Otherwise returns an empty text.
    std::string cut(SourceBox& box, Border border) const {
        for (const Blank& blank : blanks_of(range, line_at(source, box, border, 0))) {
            const unsigned thickness = thickness_of(box, border, blank);
            if (thickness < thinnest || thickness == 0) continue;
            remove(box, border, thickness);
            return fmt::format("{} border of {} pixels on the {}", blank.name, thickness, name_of(border));
        }
        return {};
    }

private:
    // Number of lines up to the edge of the film; 0 if no film follows.
    [[nodiscard]] unsigned thickness_of(const SourceBox& box, Border border, const Blank& blank) const {
        const unsigned across = is_column(border) ? box.width : box.height;
        const unsigned whole = is_column(border) ? source.width : source.height;
        const unsigned least_left = std::max(whole / kLeastShareLeft, 1U);
        const unsigned most = across > least_left ? across - least_left : 0;
        unsigned thickness = 0;
        while (thickness < most && blank.holds(line_at(source, box, border, thickness))) ++thickness;
        for (unsigned depth = thickness; depth < std::min(thickness + blur, most); ++depth) {
            if (blank.ends_at(line_at(source, box, border, depth))) return thickness;
        }
        return 0;
    }

    static void remove(SourceBox& box, Border border, unsigned thickness) {
        if (border == Border::kLeft) box.x += thickness;
        if (border == Border::kTop) box.y += thickness;
        (is_column(border) ? box.width : box.height) -= thickness;
    }

    const SourceImage& source;
    GreyRange range;
    unsigned thinnest, blur;  // pixels
};

}  // namespace

Sourced<SourceBox> find_film_area(const SourceImage& source, double pixel_size_um) {
    Sourced<SourceBox> area{whole_of(source), {}};
    const BorderSearch search(source, pixel_size_um);
    // Corners belong to two borders, so one cut can uncover the edge of another border. Repeat until nothing is cut.
    for (bool is_cut = true; is_cut;) {
        is_cut = false;
        for (const Border border : kColumnsBeforeRows) {
            const std::string cut = search.cut(area.value, border);
            if (cut.empty()) continue;
            is_cut = true;
            area.from += (area.from.empty() ? "" : ", ") + cut;
        }
    }
    if (area.from.empty()) area.from = "no border to cut off";
    return area;
}

}  // namespace Norvane::Host
