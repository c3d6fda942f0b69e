// SPDX-License-Identifier: Apache-2.0
#include "findings/film_area.h"

#include <fmt/core.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
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

/// The lines along one border of a box.
class BorderLines {
public:
    BorderLines(const SourceImage& image, const SourceBox& box, Border border)
        : source(image),
          is_from_end(border == Border::kRight || border == Border::kBottom),
          lines(is_column(border) ? box.width : box.height),
          across(is_column(border) ? 1 : image.width) {
        const std::size_t along = is_column(border) ? image.width : 1;
        const std::size_t length = is_column(border) ? box.height : box.width;
        const std::size_t outermost =
            std::size_t{box.y} * image.width + box.x + (is_from_end ? (lines - 1) * across : 0);
        for (std::size_t i = 0; i < kSamples; ++i) {
            places[i] = outermost + (2 * i + 1) * length / (std::size_t{2} * kSamples) * along;
        }
    }

    /// The samples of the line `depth` pixels inside the border. Valid until the next call.
    [[nodiscard]] const Line& at(unsigned depth) {
        const unsigned first = depth - depth % kBlock;
        if (first != first_in_block) read_block(first);
        return block[depth % kBlock];
    }

private:
    // The samples of a column lie far apart, so neighbouring columns are read together.
    static constexpr unsigned kBlock = 16;

    void read_block(unsigned first) {
        const unsigned count = std::min(kBlock, lines - first);
        for (std::size_t i = 0; i < kSamples; ++i) {
            for (unsigned line = 0; line < count; ++line) {
                const std::size_t inwards = (first + line) * across;
                const int sample = source.samples[is_from_end ? places[i] - inwards : places[i] + inwards];
                block[line][i] = source.needs_inversion ? -sample : sample;
            }
        }
        first_in_block = first;
    }

    const SourceImage& source;
    bool is_from_end;
    unsigned lines;
    std::size_t across;  // samples from one line to the next
    std::array<std::size_t, kSamples> places;
    std::array<Line, kBlock> block;
    unsigned first_in_block = kNoBlock;
    static constexpr unsigned kNoBlock = std::numeric_limits<unsigned>::max();
};

// The middle half of the samples reaches from the one with so many smaller ones to the one with so many.
constexpr std::ptrdiff_t kLowerQuartile = kSamples / 4, kUpperQuartile = 3 * kSamples / 4;

// How far the middle half of the samples is spread.
int middle_half(Line line) {
    const auto lower = line.begin() + kLowerQuartile, upper = line.begin() + kUpperQuartile;
    std::nth_element(line.begin(), upper, line.end());
    std::nth_element(line.begin(), lower, upper);
    return *upper - *lower;
}

int median_of_sections(const Line& line) {
    std::array<int, kSections> samples;
    for (std::size_t i = 0; i < kSections; ++i) samples[i] = line[i * kSamplesPerSection + kSamplesPerSection / 2];
    std::nth_element(samples.begin(), samples.begin() + kSections / 2, samples.end());
    return samples[kSections / 2];
}

// Whether middle_half() is at most `spread`. Most lines without a signal show it by counts around their median level,
// which cost much less than the quartiles.
bool is_middle_within(const Line& line, int spread) {
    const int low = median_of_sections(line) - spread / 2, high = low + spread;
    std::ptrdiff_t below = 0, above = 0;
    for (const int sample : line) {
        below += sample < low ? 1 : 0;
        above += sample > high ? 1 : 0;
    }
    return (below <= kLowerQuartile && above < std::ssize(line) - kUpperQuartile) || middle_half(line) <= spread;
}

// What the lines of a border without a signal look like: samples low .. high, their middle half within `spread`.
struct Blank {
    const char* name;
    int low, high, spread;

    [[nodiscard]] bool is_signal(int sample) const { return (sample < low) | (sample > high); }

    [[nodiscard]] bool holds(const Line& line) const {
        unsigned stray = 0;
        for (const int sample : line) stray += is_signal(sample) ? 1 : 0;
        if (stray > kStraySamples) return false;
        // The few stray samples do not reach the middle half, so it is not wider than the others are.
        return high - low <= spread || range_without_signal(line) <= spread || is_middle_within(line, spread);
    }

    [[nodiscard]] bool ends_at(const Line& line) const {
        unsigned sections = 0;
        for (const auto* first = line.data(); first != line.data() + kSamples; first += kSamplesPerSection) {
            const auto count = std::count_if(first, first + kSamplesPerSection, [this](int v) { return is_signal(v); });
            if (count >= static_cast<int>(kSignalPerSection)) ++sections;
        }
        return sections >= kSectionsAtEdge;
    }

private:
    [[nodiscard]] int range_without_signal(const Line& line) const {
        int least = high, largest = low;
        for (const int sample : line) {
            if (is_signal(sample)) continue;
            least = std::min(least, sample);
            largest = std::max(largest, sample);
        }
        return largest - least;
    }
};

// The kinds of blank border that the outermost line allows.
std::vector<Blank> blanks_of(const GreyRange& range, Line outermost) {
    std::ranges::nth_element(outermost, outermost.begin() + kSamples / 2);
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
    std::uint16_t least = source.samples.front(), largest = least;
    for (const std::uint16_t sample : source.samples) {  // compilers make vector code of this, but not of minmax()
        least = std::min(least, sample);
        largest = std::max(largest, sample);
    }
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
        BorderLines lines(source, box, border);
        for (const Blank& blank : blanks_of(range, lines.at(0))) {
            const unsigned thickness = thickness_of(box, border, lines, blank);
            if (thickness < thinnest || thickness == 0) continue;
            remove(box, border, thickness);
            return fmt::format("{} border of {} pixels on the {}", blank.name, thickness, name_of(border));
        }
        return {};
    }

private:
    // Number of lines up to the edge of the film; 0 if no film follows.
    [[nodiscard]] unsigned thickness_of(const SourceBox& box, Border border, BorderLines& lines,
                                        const Blank& blank) const {
        const unsigned across = is_column(border) ? box.width : box.height;
        const unsigned whole = is_column(border) ? source.width : source.height;
        const unsigned least_left = std::max(whole / kLeastShareLeft, 1U);
        const unsigned most = across > least_left ? across - least_left : 0;
        unsigned thickness = 0;
        while (thickness < most && blank.holds(lines.at(thickness))) ++thickness;
        for (unsigned depth = thickness; depth < std::min(thickness + blur, most); ++depth) {
            if (blank.ends_at(lines.at(depth))) return thickness;
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
