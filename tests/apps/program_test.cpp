// SPDX-License-Identifier: Apache-2.0
#include "command_line.h"
#include "export/program_version.h"
#include "host/host_support.h"
#include "run/run_options.h"

#include <iterator>

// The font library keeps its tables until the end of the process.
extern "C" const char* __lsan_default_suppressions();
const char* __lsan_default_suppressions() { return "leak:libfontconfig\n"; }

namespace Norvane::Tests {
namespace {

using ::testing::ContainsRegex;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

const Arguments kMlo{"--view", "mlo", "--pixel-size", "220"};

Arguments words_of(const std::string& line) {
    std::istringstream words(line);
    return {std::istream_iterator<std::string>(words), {}};
}

ProgramRun run_masks(const std::string& out_dir, const Arguments& files_and_options) {
    return run(joined({"masks", "--out-dir", out_dir}, files_and_options));
}

TEST(Program, PhantomToMasks) {
    const TemporaryFolder folder;
    const std::string exam = folder.path("exam.png");
    EXPECT_EQ(0, run_phantom(exam, {"--labels", folder.path("labels.png"), "--side", "right"}).code);
    EXPECT_THAT(folder.names(), ElementsAre("exam.png", "labels.png"));
    const ProgramRun nowhere = run_phantom(folder.path("none/exam.png"));
    EXPECT_EQ(1, nowhere.code);
    EXPECT_THAT(nowhere.err, HasSubstr("cannot be written"));

    const ProgramRun masks = run_masks(folder.path("results/deep"), joined(kMlo, {exam, "-v"}));
    EXPECT_EQ(0, masks.code);
    EXPECT_EQ("", masks.err);
    EXPECT_THAT(masks.out, StartsWith(exam + ": status 0 MASK_OK: The mask can be used.\n"));
    EXPECT_THAT(masks.out, HasSubstr("Chest wall right: more tissue lies at the right border"));
    EXPECT_THAT(masks.out, HasSubstr("of 3 classes tried, its breast mask agrees best with the others"));
    const Arguments info{"info", exam, "--doubt", "--default-pixel-size", "220"};
    const ProgramRun unsaid = run(info);
    EXPECT_EQ(1, unsaid.code);
    EXPECT_THAT(unsaid.err, HasSubstr("does not say its view: give --default-view"));
    EXPECT_THAT(unsaid.out, StartsWith(exam + "\n    "));
    EXPECT_THAT(run(joined(info, {"--default-view", "mlo"})).out,
                ContainsRegex("\n    status +0\n    breast doubt +0[.].*\n    muscle doubt +0[.]"));
    EXPECT_THAT(folder.names("results/deep"),
                ElementsAre("exam.done", "exam.json", "exam.labels.png", "exam.layers.js", "exam.overlay.png",
                            "exam.picture.jpg", "exam.thumb.jpg", "report.html", "summary.csv", "summary.ndjson"));
}

TEST(Program, OneLinePerRefusedFileAndTheOthersGoOn) {
    const TemporaryFolder folder;
    const std::string exam = folder.path("exam.png");
    ASSERT_EQ(0, run_phantom(exam).code);
    const std::string even = folder.write("even.pgm", "P5 200 200 255\n\xFF" + std::string(39999, 'x'));
    const std::string tiny = folder.write("tiny.pgm", "P5 20 20 255\n" + std::string(400, 'x'));
    const struct {
        std::string file, options, message;
    } table[] = {
        {folder.path("gone.png"), "--view=cc --pixel-size=220", "does not exist"},
        {exam, "--view=cc", "does not say its pixel size: give --default-pixel-size in micrometres"},
        {exam, "--pixel-size=220", "does not say its view: give --default-view mlo or --default-view cc"},
        {exam, "--view=cc --pixel-size=300",
         "has pixels of 300 micrometres (as given); 228 is the largest size that can be used"},
        {exam, "--view=cc --pixel-size=220 --noise=given-level",
         "does not say its padding values, which the class given-level needs: give --padding LO:HI"},
        {even, "--view=cc --pixel-size=220 --padding=0:300",
         "has samples of 8 bits; the padding value 300 does not fit"},
        {even, "--view=cc --pixel-size=220",
         "does not show where the chest wall is (tissue in 0.0 % of the left quarter, 0.0 % of the right one; mean "
         "grey "
         "level 30720 on the left, 30720 on the right): give --default-side"},
        {tiny, "--view=cc --pixel-size=220", "is too small for a mammogram (19 x 19 pixels of 228 micrometres)"},
    };
    for (const auto& bad : table) {
        const ProgramRun refused = run_masks(folder.path("out"), joined({bad.file}, words_of(bad.options)));
        EXPECT_EQ(1, refused.code) << bad.message;
        EXPECT_EQ("norvane: " + bad.file + " " + bad.message + "\n", refused.err);
        EXPECT_EQ("", refused.out);
        EXPECT_THAT(folder.names("out"), ElementsAre("report.html", "summary.csv", "summary.ndjson")) << bad.message;
    }
    const std::string odd = folder.path("caf\xe9.png");  // no UTF-8; it is shown in the picture
    std::filesystem::copy_file(exam, odd);
    const ProgramRun mixed =
        run_masks(folder.path("out"), joined(kMlo, {tiny, odd, "--fast", "--results", "json,overlay"}));
    EXPECT_EQ(1, mixed.code);
    EXPECT_THAT(mixed.out, StartsWith(folder.path("caf\\xe9.png") + ": status "));
    EXPECT_THAT(folder.names("out"), ElementsAre("caf\xe9.done", "caf\xe9.json", "caf\xe9.overlay.png", "report.html",
                                                 "summary.csv", "summary.ndjson"));
}

TEST(Program, StampsHoldTheOptionsThatChangeResultsAndNoOthers) {
    const std::string changing =
        "--side=left --view=cc --pixel-size=70 --frame=2 --default-side=right --default-view=mlo "
        "--default-pixel-size=80 --any-modality=true --crop=none --noise=given-level "
        "--padding=0:7 --invert=true --muscle=refined --fast=true --contour=false --patient-id=false "
        "--no-identifiers=true --seg-geometry=viewer --seg-type=labelmap --seg-compression=rle ";
    const std::string others =
        "--out-dir=o --results=json --for=archive --jobs=2 --image-memory=9 --manifest=m --root=r --resume=true "
        "--shard=1/2 "
        "--fail-list=f --null=true --decode=isolated --dry-run=true --format=json --no-page=true "
        "--verbose=true --quiet=true";
    Host::GivenOptions given;
    for (const std::string& word : words_of(others + " " + changing)) {
        const std::size_t equals = word.find('=');
        given[word.substr(2, equals - 2)] = {word.substr(equals + 1)};
    }
    EXPECT_EQ(changing, Host::run_options_of({}, given).stamp_text);
    for (const Host::OptionFacts& option : Host::facts_of(Host::run_option_table())) {
        EXPECT_TRUE(given.contains(option.name)) << option.name << " stands in neither list";
    }
    const TemporaryFolder folder;
    const std::string exam = folder.path("exam.png");
    ASSERT_EQ(0, run_phantom(exam).code);
    (void)run_masks(folder.path("out"),
                    {exam, "--no-contour", "--view", "CC", "--fast", "--pixel-size=0220", "--fast",
                     "--results=nrrd,json", "--no-page", "--results", "json", "--invert", "--side", "left"});
    EXPECT_THAT(read_bytes(folder.path("out/exam.done")),
                HasSubstr(" --side=left --view=cc --pixel-size=0220 --invert=true --fast=true=true --contour=false "
                          "results=nrrd,json,json,"));
}

TEST(Program, UsageErrorsAreTwo) {
    const std::pair<const char*, const char*> questions[] = {
        {"mask a.png", "There is no verb mask; did you mean masks?\n"},
        {"pha", "There is no verb pha; did you mean phantom?\n"},
        {"help inof", "There is no verb inof; did you mean info?\n"},
        {"paint a.png", "There is no verb paint\n"},
        {"/ --view cc", "There is no verb /; did you mean norvane masks /?\n"},
        {"masks a.png --veiw=mlo", "The following argument was not expected: --veiw=mlo; did you mean --view?\n"}};
    for (const auto& [line, question] : questions) {
        const ProgramRun wrong = run(words_of(line));
        EXPECT_EQ(2, wrong.code) << line;
        EXPECT_THAT(wrong.err, StartsWith(question));
    }
    for (const char* line :
         {"", "masks", "phantom a.png --bits 17", "masks a.png --side up", "masks a.png --side left --side right",
          "masks a.png --pixel-size nan", "masks a.png --pixel-size 0.094", "masks a.png --frame every",
          "masks a.png --noise loud", "masks a.png --padding 7", "masks a.png --padding 9:7",
          "masks a.png --padding 0:70000", "masks a.png --padding 0:7 --noise mg", "masks a.png --seg-compression rle",
          "masks a.png --for station --no-identifiers", "masks a.png --patient-id --no-identifiers"}) {
        const ProgramRun wrong = run(words_of(line));
        EXPECT_EQ(2, wrong.code) << line;
        EXPECT_NE("", wrong.err) << line;
    }
    for (const char* line : {"masks --help", "help masks"}) {
        const ProgramRun help = run(words_of(line));
        EXPECT_EQ(0, help.code);
        EXPECT_THAT(help.out, HasSubstr("--pixel-size UM"));
    }
    for (const char* word : {"--version", "version"}) {
        const ProgramRun version = run({word});
        EXPECT_EQ(0, version.code);
        EXPECT_EQ(std::string("norvane ") + Host::program_version() + "\n", version.out);
        EXPECT_EQ("", version.err);
    }
}

}  // namespace
}  // namespace Norvane::Tests
