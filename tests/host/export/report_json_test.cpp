// SPDX-License-Identifier: Apache-2.0
#include "export/report_json.h"
#include "export/kinds.h"
#include "export/program_version.h"
#include "export/sha256.h"
#include "host/host_support.h"
#include "phantom_analysis.h"
#include "support/builders.h"

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dctk.h>

#include <nlohmann/json.hpp>

namespace Norvane::Tests {
namespace {

using nlohmann::json;

// What a reader makes of the three forms of a mask, each on its own.
Bitmap from_rows(const json& mask, unsigned width, unsigned height) {
    Bitmap bitmap(width, height);
    for (const json& row : mask.at("rows")) {
        for (std::size_t i = 1; i < row.size(); i += 2) {
            for (unsigned x = row[i]; x <= row[i + 1]; ++x) bitmap.put(x, row[0]);
        }
    }
    return bitmap;
}

Bitmap from_coco(const json& mask) {
    Bitmap bitmap(mask.at("coco").at("size").at(1), mask.at("coco").at("size").at(0));
    unsigned at = 0;
    bool is_inside = false;
    for (const unsigned count : mask.at("coco").at("counts")) {
        for (const unsigned end = at + count; at < end; ++at) {
            if (is_inside) bitmap.put(at / bitmap.height, at % bitmap.height);
        }
        is_inside = !is_inside;
    }
    EXPECT_EQ(bitmap.width * bitmap.height, at);
    return bitmap;
}

std::string digest_of(const Bitmap& bitmap) {
    const std::vector<std::uint8_t> bytes(bitmap.set.begin(), bitmap.set.end());
    return Host::hexadecimal(Host::sha256(bytes));
}

TEST(ReportJson, EveryFormOfAMaskIsTheMask) {
    Host::Findings findings = analysed_phantom();
    const Image& image = findings.working_image();
    const double millimetres = static_cast<double>(image.GetPixelSize()) / 1000.0;
    const json report = json::parse(Host::report_json(findings));
    const Host::FoundMasks& masks = findings.masks;
    const TemporaryFolder folder;
    const auto kinds = Host::kinds_named({"masks"});
    for (const Host::ResultFile& file : kinds.front().files) (void)folder.write(file.ending, file.encode(findings));
    const std::pair<const char*, const Host::Region*> named[] = {{"frame", &masks.frame.region},
                                                                 {"breast", &masks.breast.region},
                                                                 {"pectoral", &masks.pectoral.region},
                                                                 {"full", &masks.full.region},
                                                                 {"outer", &masks.outer}};
    for (const auto& [name, region] : named) {
        const json& written = report.at("masks").at(name);
        const Bitmap truth = bitmap_of(region->mask(), image.GetWidth(), image.GetHeight());
        Host::Samples painted;
        for (const bool bit : truth.set) painted.push_back(bit ? 255 : 0);
        EXPECT_EQ(painted, Host::read_image(folder.path(std::string(name) + ".png")).samples) << name;
        EXPECT_EQ(truth, from_rows(written, truth.width, truth.height)) << name;
        EXPECT_EQ(truth, from_coco(written)) << name;
        EXPECT_EQ(digest_of(truth), written.at("sha256")) << name;
        const auto area = static_cast<double>(std::ranges::count(truth.set, true));
        EXPECT_EQ(area, written.at("area_pixels")) << name;
        EXPECT_NEAR(area * millimetres * millimetres, written.at("area_mm2").get<double>(), 0.001) << name;
    }
    const auto bits_of = [&](const Host::FoundMask& mask) {
        return bitmap_of(mask.region.mask(), image.GetWidth(), image.GetHeight()).set;
    };
    const auto breast = bits_of(masks.breast), muscle = bits_of(masks.pectoral), joined = bits_of(masks.full);
    std::map<std::string, double> areas;
    for (std::size_t i = 0; i < breast.size(); ++i) {
        areas["breast_mm2"] += breast[i] && !muscle[i] ? millimetres * millimetres : 0.0;
        areas["muscle_mm2"] += muscle[i] ? millimetres * millimetres : 0.0;
        areas["breast_with_muscle_mm2"] += joined[i] ? millimetres * millimetres : 0.0;
    }
    ASSERT_EQ(areas.size(), report.at("areas").size());
    for (const auto& [name, area] : areas) EXPECT_NEAR(area, report.at("areas").at(name).get<double>(), 1e-6) << name;
    EXPECT_EQ(720U, report.at("contour").at("points").size());
    EXPECT_EQ("ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad",
              Host::hexadecimal(Host::sha256("abc")));
}

// The sentence of the report, done by hand on its own numbers, gives the labels of the source.
TEST(ReportJson, TheMappingLeadsFromTheSourceToTheMask) {
    Host::Findings findings = analysed_phantom();
    findings.settings.crop.value = {11, 5, 900, 1200};
    const json report = json::parse(Host::report_json(findings));
    const json& geometry = report.at("geometry");
    const Bitmap breast = from_rows(report.at("masks").at("breast"), 2000, 2000);
    const HitTester truth(findings.masks.breast.region, Host::placement_of(findings));
    const double step = geometry.at("source").at("pixel_size_um").get<double>() /
                        geometry.at("working").at("pixel_size_um").get<double>();
    const auto working = [&](unsigned source, const char* axis, const char* size) {
        const unsigned last = geometry.at("working").at(size).get<unsigned>() - 1;
        const unsigned from_corner = source - geometry.at("crop").at(axis).get<unsigned>();
        if (from_corner + 1 == geometry.at("crop").at(size)) return last;
        return std::min(last, static_cast<unsigned>(std::floor(from_corner * step + 0.5)));
    };
    for (unsigned y = 5; y < 1205; y += 3) {
        for (unsigned x = 11; x < 911; ++x)
            ASSERT_EQ(truth.at(x, y), breast.at(working(x, "x", "width"), working(y, "y", "height"))) << x << ", " << y;
    }
    EXPECT_EQ(json::parse(R"({"x": 11, "y": 5, "width": 900, "height": 1200})"), geometry.at("crop"));
}

TEST(ReportJson, SaysWhereEverythingCameFrom) {
    Host::Findings findings = analysed_phantom();
    findings.file = "a\xFF.png";
    findings.source.horizontal_flip = "YES";
    findings.source.laterality = Host::Sourced{Host::Laterality::kRight, "ImageLaterality"};
    findings.source.flags = {"implant"};
    findings.warnings = {"a \"quoted\" warning"};
    findings.settings.view.from = "broken \xFF text";
    findings.masks.full.status = Masking::MASK_CUT_TISSUE;
    Host::NoiseTrial trial;
    trial.noise = BG_MG;
    trial.area = 77;
    trial.measures = {{"dice", 0.5}, {"nothing", std::nan("")}};
    findings.noise_trials = {trial};
    const json report = json::parse(Host::report_json(findings));
    const std::pair<const char*, json> expected[] = {
        {"/status/number", 3},
        {"/status/name", "MASK_CUT_TISSUE"},
        {"/status/sentence", "Tissue as bright as the breast lies outside the mask."},
        {"/masks/pectoral/status/number", 0},
        {"/program/version", Host::program_version()},
        {"/flags", {"implant"}},
        {"/warnings", {"a \"quoted\" warning"}},
        {"/settings/view/reason", "broken \uFFFD text"},
        {"/settings/side/value", "left"},
        {"/settings/laterality/value", "right"},
        {"/settings/laterality/reason", "ImageLaterality"},
        {"/settings/pixel_size_um/reason", "as given"},
        {"/noise_trials/0/noise", "mg"},
        {"/noise_trials/0/area_pixels", 77},
        {"/noise_trials/0/measures", {{"dice", 0.5}, {"nothing", nullptr}}},
        {"/geometry/flip", "none"},
        {"/geometry/field_of_view_horizontal_flip", "YES"},
        {"/geometry/source/width", 1001},
    };
    for (const auto& [path, value] : expected) EXPECT_EQ(value, report.at(json::json_pointer(path))) << path;
}

}  // namespace
}  // namespace Norvane::Tests
