// SPDX-License-Identifier: Apache-2.0
#include "export/write_png.h"
#include "host/host_support.h"
#include "score/score_measures.h"

#include <random>

namespace Norvane::Tests {
namespace {

using Host::LabelPixels;
using ::testing::HasSubstr;
using ::testing::StartsWith;

struct Point {
    int x, y;
};

std::vector<Point> outline_of(const LabelPixels& region) {
    const auto is_outside = [&region](int x, int y) {
        return x >= 0 && y >= 0 && x < int(region.width) && y < int(region.height) &&
               region.pixels[std::size_t(y) * region.width + std::size_t(x)] == 0;
    };
    std::vector<Point> points;
    for (int y = 0; y < int(region.height); ++y) {
        for (int x = 0; x < int(region.width); ++x) {
            const bool is_edge =
                is_outside(x - 1, y) || is_outside(x + 1, y) || is_outside(x, y - 1) || is_outside(x, y + 1);
            if (!is_outside(x, y) && is_edge) points.push_back({x, y});
        }
    }
    return points;
}

int squared_distance(const Point& from, const std::vector<Point>& to) {
    int least = 1 << 30;
    for (const Point& p : to)
        least = std::min(least, (p.x - from.x) * (p.x - from.x) + (p.y - from.y) * (p.y - from.y));
    return least;
}

LabelPixels random_region(std::mt19937& random, unsigned width, unsigned height, unsigned one_in) {
    LabelPixels region{width, height, std::vector<std::uint8_t>(std::size_t{width} * height)};
    for (std::uint8_t& pixel : region.pixels) pixel = random() % one_in == 0 ? 255 : 0;
    return region;
}

TEST(Score, OutlinesAreComparedBothWays) {
    std::mt19937 random(6);
    for (unsigned i = 0; i < 200; ++i) {
        const unsigned width = 1 + i % 24, height = 1 + i * 7 % 23;
        const LabelPixels truth = random_region(random, width, height, 2);
        const LabelPixels mask = random_region(random, width, height, 2 + i % 61);
        const std::vector<Point> a = outline_of(truth);
        const std::vector<Point> b = outline_of(mask);
        if (a.empty() || b.empty()) continue;  // the table below
        double sum = 0.0, worst = 0.0;
        for (const auto& [from, to] : {std::pair(&a, &b), std::pair(&b, &a)}) {
            std::vector<double> found;
            for (const Point& p : *from) found.push_back(std::sqrt(squared_distance(p, *to)));
            for (const double d : found) sum += d;
            std::ranges::sort(found);
            std::size_t k = 0;  // the first value with 95 % of all up to it
            while (100 * (k + 1) < 95 * found.size()) ++k;
            worst = std::max(worst, found[k]);
        }
        const auto outline = Host::score(truth, mask).outline;
        ASSERT_TRUE(outline);
        EXPECT_NEAR(sum / double(a.size() + b.size()), outline->mean, 1e-12);
        EXPECT_EQ(worst, outline->hausdorff95);
    }
}

TEST(Score, EmptyRegionsAndShiftedOnes) {
    const auto band = [](unsigned first, unsigned last) {  // columns of a 10 x 4 image
        LabelPixels region{10, 4, std::vector<std::uint8_t>(40)};
        for (unsigned i = 0; i < 40; ++i) region.pixels[i] = i % 10 >= first && i % 10 < last ? 1 : 0;
        return region;
    };
    const struct {
        LabelPixels truth, mask;
        double dice, jaccard, distance;  // below 0: none
    } table[] = {
        {band(0, 0), band(0, 0), 1, 1, 0},           {band(0, 4), band(0, 0), 0, 0, -1},
        {band(0, 0), band(0, 4), 0, 0, -1},          {band(0, 10), band(0, 10), 1, 1, 0},
        {band(0, 10), band(0, 5), 2.0 / 3, 0.5, -1}, {band(0, 6), band(0, 4), 0.8, 4.0 / 6, 2},
        {band(0, 2), band(8, 10), 0, 0, 7},
    };
    for (const auto& row : table) {
        const Host::Score score = Host::score(row.truth, row.mask);
        EXPECT_DOUBLE_EQ(row.dice, score.dice);
        EXPECT_DOUBLE_EQ(row.jaccard, score.jaccard);
        EXPECT_EQ(row.distance, score.outline ? score.outline->mean : -1.0);
        EXPECT_EQ(row.distance, score.outline ? score.outline->hausdorff95 : -1.0);
    }
}

TEST(Score, MasksOfPhantomsAgainstTheirTruth) {
    const TemporaryFolder folder;
    const std::string results = folder.path("results");
    const std::string truth = folder.path("truth/exam.labels.png");
    std::filesystem::create_directories(folder.path("truth"));
    const std::string exam = folder.path("exam.png");
    ASSERT_EQ(0, run_phantom(exam, {"--labels", truth, "--frame", "none"}).code);
    ASSERT_EQ(
        0,
        run({"masks", exam, "--out-dir", results, "--view", "mlo", "--pixel-size", "220", "--results", "labels"}).code);
    const auto score = [&](const Arguments& arguments) {
        return run(joined({"score", "--masks", results}, arguments));
    };
    const ProgramRun good = score({folder.path("truth")});
    EXPECT_EQ(0, good.code) << good.err;
    EXPECT_THAT(good.out, StartsWith("breast: 1 images, Dice 0.99"));
    EXPECT_THAT(good.out, HasSubstr("\npectoral: 1 images, Dice 0.9"));
    EXPECT_THAT(read_bytes(results + "/score.csv"), HasSubstr("\nexam,breast,0.99"));

    // A table that has been through a spreadsheet.
    const std::string marks = folder.write("marks.csv", "\xEF\xBB\xBFnote;mark;file\r\n\"a;\n\"\"b\"\"\";bad;\"" +
                                                            folder.path("truth/../exam.png") + "\"\r\n");
    const ProgramRun marked = score({folder.path("truth"), "--marks", marks});
    EXPECT_THAT(marked.out, HasSubstr("\nmarked bad: breast: 1 images, Dice 0.99"));
    EXPECT_THAT(read_bytes(results + "/score.csv"), HasSubstr(",bad\nexam,pectoral,"));
    EXPECT_THAT(score({truth, "--marks", truth}).err, HasSubstr(" has no column file"));

    // The results as their own truth; and what cannot be compared, while the rest is.
    const std::string bytes = Host::encode_png(std::vector<std::uint8_t>(6), 3, 2);
    const std::string small = folder.write("exam.png", bytes), other = folder.write("other.png", bytes);
    const std::string deep = folder.write("deep.png", Host::encode_png(std::vector<std::uint16_t>(6), 3, 2));
    const ProgramRun mixed = score({small, deep, other, folder.path("gone"), results + "/exam.labels.png"});
    EXPECT_EQ(1, mixed.code);
    EXPECT_THAT(mixed.out,
                StartsWith("breast: 1 images, Dice 1, Jaccard 1, outline distance 0 mm, 95 % Hausdorff distance "
                           "0 mm; lowest Dice 1 of exam\npectoral: 1 images, Dice 1,"));
    EXPECT_EQ("norvane: " + small + " has 3 x 2 pixels, but its masks have 750 x 1000 pixels\nnorvane: " + deep +
                  " is not an 8-bit label image\nnorvane: " + other + " has no masks to compare with: " + results +
                  "/other.labels.png does not exist\nnorvane: " + folder.path("gone") + " does not exist\n",
              mixed.err);

    const ProgramRun other_values = score({truth, "--truth-values", "breast=128+3"});
    EXPECT_THAT(other_values.err, HasSubstr("exam.labels.png holds no pixel of the breast, of the values 128+3; its "
                                            "values are 0, 1, 2: give --truth-values"));

    std::filesystem::remove(results + "/exam.done");
    EXPECT_THAT(score({truth}).err, HasSubstr("has masks whose pixel size is not known"));
    EXPECT_EQ(0, score({truth, "--pixel-size", "220"}).code);
    for (const char* wrong : {"breast", "breast=", "breast=256", "skin=1", "breast=1+", "breast=1;2"}) {
        EXPECT_EQ(2, score({truth, "--truth-values", wrong}).code) << wrong;
    }
}

}  // namespace
}  // namespace Norvane::Tests
