// SPDX-License-Identifier: Apache-2.0
#include "run/page/report_page.h"
#include "export/kinds.h"
#include "export/mask_drawing.h"
#include "host/host_support.h"
#include "run/doubt_order.h"
#include "support/builders.h"

#include <turbojpeg.h>
#include <nlohmann/json.hpp>

#include <cstdlib>

namespace Norvane::Tests {
namespace {

using Host::ImageRecord;
using nlohmann::json;
using ::testing::StartsWith;
namespace fs = std::filesystem;

constexpr unsigned kWidth = 90;
constexpr unsigned kHeight = 160;

/// Half a disc at the left border, with a hole and an island.
Bitmap breast() {
    Bitmap bitmap(kWidth, kHeight);
    for (unsigned y = 0; y < kHeight; ++y) {
        for (unsigned x = 0; x < kWidth; ++x) {
            const double dy = y - 80.0;
            const bool is_hole = x >= 20 && x < 30 && y >= 70 && y < 95;
            const bool is_island = x >= 70 && y < 12;
            if ((x * x + dy * dy < 60.0 * 60.0 && !is_hole) || is_island) bitmap.put(x, y);
        }
    }
    return bitmap;
}

void write_sample(const fs::path& folder, const std::string& name) {
    Host::Findings findings;
    findings.source.format = "PNG";
    findings.settings.side.from = "said </script>";
    findings.prepared.image = grey_image(kWidth, kHeight, [](unsigned x, unsigned y) { return 400 * x + 100 * y; });
    findings.masks.breast.region = findings.masks.full.region = Host::Region(mask_of(breast()));
    findings.masks.frame.region = Host::Region(rectangle(2, kWidth - 3, 2, kHeight - 3));
    findings.masks.pectoral.region = Host::Region(rectangle(0, 15, 0, 30));
    Outputs outputs(folder);
    const auto kinds = Host::kinds_named({"page"});
    for (const Host::ResultFile& file : kinds.front().files)
        outputs.set.add(name + "." + file.ending, file.encode(findings));
    outputs.commit();
}

ImageRecord record(const std::string& name, Masking::MASK_STATUS status = Masking::MASK_OK, double contrast = 1.0) {
    ImageRecord made;
    made.file = "in/" + name + ".png";
    made.name = name;
    made.status = made.breast_status = status;
    made.pectoral_status = Masking::MASK_PECT_NOT_APPLICABLE;
    made.outline_contrast = contrast;
    return made;
}

/// Beside what the browser sees: the greater doubt counts, unknown contrasts come before known ones, and equal records
/// keep their order.
TEST(ReportPage, DoubtComesFirst) {
    std::vector<ImageRecord> records = {record("faint ", Masking::MASK_OK, 0.2),
                                        record("unknown ", Masking::MASK_OK, std::nan("")),
                                        record("cut ", Masking::MASK_CUT_TISSUE, 3.0),
                                        record("tiny ", Masking::MASK_TOO_SMALL, 4.0),
                                        record("breast "),
                                        record("muscle ")};
    records[4].breast_doubt = 0.6;
    records[4].muscle_doubt = 0.1;
    records[5].muscle_doubt = 0.7;
    for (char name = 'a'; name <= 'z'; ++name) records.push_back(record({name}));
    std::string names;
    for (const ImageRecord* r : Host::in_order_of_doubt(records)) names += r->name;
    EXPECT_EQ("tiny cut muscle breast unknown faint abcdefghijklmnopqrstuvwxyz", names);
}

TEST(PageFiles, OutlinesFilledAgainGiveTheMask) {
    const TemporaryFolder folder;
    write_sample(folder.path(""), "a");
    const std::string script = read_bytes(folder.path("a.layers.js"));
    const std::size_t open = script.find('(');
    ASSERT_EQ("norvaneLayers", script.substr(0, open));
    const json data = json::parse(script.substr(open + 1, script.rfind(')') - open - 1));
    EXPECT_EQ(kWidth, data.at("width"));
    EXPECT_EQ("", data.at("outlines").at("outer"));
    const auto path = data.at("outlines").at("breast").get<std::string>();
    EXPECT_LT(path.size(), 1200U);
    const Host::Surface surface = Host::make_surface(1, 1);
    const Host::Context context(cairo_create(surface.get()));
    cairo_set_fill_rule(context.get(), CAIRO_FILL_RULE_EVEN_ODD);
    std::istringstream words(path);
    for (char command = 0; words >> command;) {  // "M1 2L3 4Z"
        double x = 0, y = 0;
        if (command == 'Z') continue;
        words >> x >> y;
        (command == 'M' ? cairo_move_to : cairo_line_to)(context.get(), x, y);
    }
    const Bitmap truth = breast();
    for (unsigned y = 1; y < kHeight; ++y) {
        for (unsigned x = 1; x < kWidth; ++x) {
            const bool is_at_border = truth.at(x, y) != truth.at(x - 1, y) || truth.at(x, y) != truth.at(x + 1, y) ||
                                      truth.at(x, y) != truth.at(x, y - 1) || truth.at(x, y) != truth.at(x, y + 1);
            if (is_at_border) continue;
            ASSERT_EQ(truth.at(x, y), cairo_in_fill(context.get(), 10.0 * x + 5.0, 10.0 * y + 5.0) != 0)
                << x << " " << y;
        }
    }
}

TEST(PageFiles, PictureShowsThePreparedImage) {
    const TemporaryFolder folder;
    write_sample(folder.path(""), "a");
    const std::string jpeg = read_bytes(folder.path("a.picture.jpg"));
    std::vector<unsigned char> pixels(std::size_t{kWidth} * kHeight);
    void* decoder = tjInitDecompress();
    EXPECT_EQ(0, tjDecompress2(decoder, reinterpret_cast<const unsigned char*>(jpeg.data()), jpeg.size(), pixels.data(),
                               kWidth, 0, kHeight, TJPF_GRAY, 0));
    const std::string thumbnail = read_bytes(folder.path("a.thumb.jpg"));
    int width = 0, height = 0, colours = 0;
    EXPECT_EQ(0, tjDecompressHeader2(decoder, reinterpret_cast<unsigned char*>(const_cast<char*>(thumbnail.data())),
                                     thumbnail.size(), &width, &height, &colours));
    EXPECT_EQ(std::pair(225, 400), std::pair(width, height));  // in the frame of 300 x 400
    (void)tjDestroy(decoder);
    for (unsigned y = 0; y < kHeight; ++y) {
        for (unsigned x = 0; x < kWidth; ++x) {
            ASSERT_NEAR((400 * x + 100 * y) / 256.0, pixels[std::size_t{y} * kWidth + x], 4.0) << x << " " << y;
        }
    }
}

// What scripts/check_page.py opens; it knows these rules as well. Image 10 has no files.
std::vector<ImageRecord> browser_sample() {
    const std::vector<std::string> hostile = {"h/</script><img src=x onerror=\"document.title='broken'\">",
                                              "h/a#b?c%41 d",
                                              "h/<!--<script>quotes\"'&amp;`${1}\\",
                                              "h/new\nline",
                                              "h/bytes\xFF\xFE",
                                              "h/\xC3\xBC \xE2\x80\xAE sdrawkcab",
                                              "javascript:document.title='broken'",
                                              "h/.. /~",
                                              "h/" + std::string(200, 'W') + " end"};
    std::vector<ImageRecord> records;
    for (unsigned i = 0; i < 2000; ++i) {
        std::string name = "folder " + std::to_string(i % 7) + "/image " + std::to_string(i);
        if (i >= 1 && i <= hostile.size()) name = hostile[i - 1];
        ImageRecord& r = records.emplace_back(record(name, Masking::MASK_OK, (i * 37 % 1000) / 1000.0));
        if (i % 400 == 0) r.refusal = "is number " + std::to_string(i);
        if (i % 10 == 3) r.status = Masking::MASK_CUT_TISSUE;
        if (i % 10 == 4) r.pectoral_status = Masking::MASK_PECT_REJECTED;
        if (i % 100 == 9) r.muscle_doubt = 0.75;
        if (i % 100 == 7) r.warnings = {"</script>The header contradicts itself."};
        r.view = i % 2 == 0 ? "mlo" : "cc";
        r.side = i % 4 < 2 ? "left" : "right";
        r.areas.breast = i * 7 % 1000;
    }
    return records;
}

TEST(ReportPage, ManyImagesStaySmall) {
    const TemporaryFolder temporary;
    const char* wanted = std::getenv("NORVANE_PAGE_SAMPLE");  // a folder that outlives the test
    const fs::path folder = wanted != nullptr ? wanted : temporary.path("");
    const std::vector<ImageRecord> records = browser_sample();
    const std::string page = Host::report_page(records);
    std::ofstream(folder / "report.html") << page;
    EXPECT_LT(page.size(), 3U << 20U);
    EXPECT_THAT(page, StartsWith(Host::kPageBeginning));  // by which the next run knows it
    if (wanted == nullptr) return;
    write_sample(folder, "sample");
    for (std::size_t i = 0; i < records.size(); ++i) {
        if (!records[i].refusal.empty() || i == 10) continue;
        const std::string stem = (folder / records[i].name).string();
        fs::create_directories(fs::path(stem).parent_path());
        for (const char* ending : {".thumb.jpg", ".picture.jpg", ".layers.js"}) {
            fs::create_hard_link((folder / "sample").string() + ending, stem + ending);
        }
    }
}

}  // namespace
}  // namespace Norvane::Tests
