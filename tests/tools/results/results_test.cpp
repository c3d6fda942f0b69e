// SPDX-License-Identifier: Apache-2.0
#include "analysis/image_rows.h"
#include "batch/result_names.h"
#include "results/mask_outline.h"
#include "results/output_set.h"
#include "results/report_json.h"
#include "support/builders.h"
#include "tools/host_support.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <cmath>

namespace Norvane::Tests {
namespace {

using nlohmann::json;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(ResultNames, NoInputOverwritesAnother) {
    using Names = std::vector<std::string>;
    EXPECT_EQ((Names{"exam", "exam-2", "exam-3"}), Host::result_names({"a/exam.png", "b/exam.PGM", "c/exam.dcm"}));
    EXPECT_EQ((Names{"exam", "exam-3", "exam-2"}), Host::result_names({"a/exam.png", "b/exam.png", "exam-2.png"}));
    EXPECT_EQ((Names{"1.2.840.1", "1.2.840.2"}), Host::result_names({"1.2.840.1", "1.2.840.2"}));
}

TEST(OutputSet, AppearsWholeOrNotAtAll) {
    const TemporaryFolder folder;
    folder.write("old", "before");
    {
        Host::OutputSet outputs;
        outputs.add(folder.path("old"), "after");
        EXPECT_THROW(outputs.add(folder.path("no such folder/new"), "new"), Host::Refusal);
        outputs.add(folder.path("new"), "new");
    }
    EXPECT_THAT(folder.names(), ElementsAre("old"));
    EXPECT_EQ("before", Host::read_bytes(folder.path("old")));
    Host::OutputSet outputs;
    outputs.add(folder.path("old"), std::string("after\0!", 7));
    outputs.add(folder.path("new"), "");
    outputs.commit();
    EXPECT_THAT(folder.names(), ElementsAre("new", "old"));
    EXPECT_EQ(std::string("after\0!", 7), Host::read_bytes(folder.path("old")));
}

// Edges between inside and outside, counted pixel by pixel.
std::size_t boundary_edges(const Bitmap& b) {
    std::size_t edges = 0;
    for (unsigned y = 0; y < b.height; ++y) {
        for (unsigned x = 0; x < b.width; ++x) {
            if (!b.at(x, y)) continue;
            edges += !b.at(x + 1, y) + !b.at(x, y + 1) + (x == 0 || !b.at(x - 1, y)) + (y == 0 || !b.at(x, y - 1));
        }
    }
    return edges;
}

TEST(MaskOutline, EveryEdgeOnceInClosedLines) {
    Random random(7);
    for (int round = 0; round < 60; ++round) {
        Mask mask = random_mask(random, 23, 17);
        const Host::MaskBitmap bitmap = Host::bitmap_of(mask, 23, 17);
        const auto lines = Host::outlines_of(bitmap);
        std::size_t points = 0;
        for (const Host::Outline& line : lines) {
            points += line.size();
            for (std::size_t i = 0; i < line.size(); ++i) {  // no jumps, the closing step included
                const auto& a = line[i];
                const auto& b = line[(i + 1) % line.size()];
                EXPECT_LE(std::hypot(a.x - b.x, a.y - b.y), 1.0001);
            }
        }
        EXPECT_EQ(boundary_edges(bitmap_of(mask, 23, 17)), points);
        EXPECT_EQ(runs_of(mask).empty(), lines.empty());
    }
}

TEST(MaskOutline, OneLinePerIslandAndHole) {
    Mask corner_neighbours = mask_of(std::vector<RowRun>{{0, 0, 1}, {1, 2, 3}});
    EXPECT_EQ(2U, Host::outlines_of(Host::bitmap_of(corner_neighbours, 5, 5)).size());
    Mask ring = mask_of(std::vector<RowRun>{{0, 0, 2}, {1, 0, 0}, {1, 2, 2}, {2, 0, 2}});
    EXPECT_EQ(2U, Host::outlines_of(Host::bitmap_of(ring, 3, 3)).size());
    Mask beyond = mask_of(std::vector<RowRun>{{1, 1, 90}, {80, 0, 2}});  // cut at the grid
    EXPECT_EQ(1U, Host::outlines_of(Host::bitmap_of(beyond, 5, 5)).size());
    EXPECT_EQ(93U, Host::area_of(beyond));
}

TEST(ReportJson, HoldsStatusesGeometryAndRuns) {
    Host::ImageAnalysis analysis;
    analysis.source.format = "PNG";
    Host::set_size(analysis.source, 100, 200);
    Host::ImageSettings& settings = analysis.settings;
    settings.side = SIDE_CHEST_RIGHT;
    settings.view = VIEW_NO_PECT;
    settings.noise = BG_MG;
    settings.noise_reason = "said \"so\"";
    settings.pixel_size_um = 70.0;
    analysis.prepared = {grey_image(31, 61), 0.307F, 0, 0};
    Host::MasksResult& masks = analysis.masks;
    masks.full.mask = mask_of(std::vector<RowRun>{{3, 1, 4}, {3, 8, 9}, {5, 0, 0}});
    masks.full.status = Masking::MASK_CUT_TISSUE;
    masks.pectoral.status = Masking::MASK_PECT_REJECTED;
    masks.contour = Host::ContourResult{{1, 2, 3, 4}, Masking::MASK_OK, "somewhere"};

    const json report = json::parse(Host::report_json("a\xFF.png", analysis));
    const json cut{{"number", 3},
                   {"name", "MASK_CUT_TISSUE"},
                   {"sentence", "Tissue as bright as the breast lies outside the mask."}};
    EXPECT_EQ(cut, report.at("status"));
    EXPECT_EQ(12, report.at("masks").at("pectoral").at("status").at("number"));
    EXPECT_EQ(json::parse("[[3,1,4,8,9],[5,0,0]]"), report.at("masks").at("full").at("rows"));
    EXPECT_EQ(7, report.at("masks").at("full").at("area_pixels"));
    EXPECT_THAT(report.at("masks").at("outer").at("rows"), IsEmpty());
    EXPECT_EQ(json::parse("[[1,2],[3,4]]"), report.at("contour").at("points"));
    EXPECT_EQ("right", report.at("settings").at("side").at("value"));
    EXPECT_EQ("said \"so\"", report.at("settings").at("noise").at("reason"));
    EXPECT_EQ(31, report.at("geometry").at("working").at("width"));
    EXPECT_EQ(200, report.at("geometry").at("source").at("height"));
    EXPECT_FLOAT_EQ(0.307F, report.at("geometry").at("scale").get<float>());
}

}  // namespace
}  // namespace Norvane::Tests
