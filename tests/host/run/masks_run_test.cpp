// SPDX-License-Identifier: Apache-2.0
#include "run/masks_run.h"
#include "host/host_support.h"
#include "phantom/phantom.h"
#include "run/begun_mark.h"
#include "run/image_job.h"
#include "run/image_record.h"
#include "run/memory_reserve.h"
#include "run/result_names.h"
#include "run/stop_signals.h"

#include <sys/stat.h>
#include <sys/wait.h>
#include <tiffio.h>
#include <unistd.h>

#include <csignal>
#include <list>
#include <new>

namespace Norvane::Tests {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

std::string draw(const TemporaryFolder& folder, const std::string& name, const std::string& seed = "1") {
    fs::create_directories(fs::path(folder.path(name)).parent_path());
    const std::string picture = folder.path(name) + ".png";
    const Arguments size{"--width", "375", "--height", "500", "--pixel-size", "220"};
    EXPECT_EQ(0, run(joined({"phantom", picture, "--seed", seed}, size)).code);
    fs::rename(picture, folder.path(name));
    return folder.path(name);
}

Arguments masks_of(const Arguments& inputs, const std::string& out_dir, const Arguments& options = {}) {
    Arguments all{"masks", "--out-dir", out_dir, "--view", "mlo", "--pixel-size", "220", "--noise", "auto-coarse"};
    const bool are_results_given = std::ranges::find(options, "--results") != options.end();
    if (!are_results_given) all.insert(all.end(), {"--results", "json"});
    return joined(joined(all, options), inputs);
}

std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

// What became of each input, by the name of its results: "done", "kept" or the refusal.
using Outcomes = std::vector<std::pair<std::string, std::string>>;
Outcomes outcomes_of(const std::string& ndjson) {
    Outcomes outcomes;
    for (const std::string& line : lines_of(ndjson)) {
        const auto record = Host::record_of(line);
        EXPECT_TRUE(record) << line;
        const std::string done = record->is_kept ? "kept" : "done";
        outcomes.emplace_back(record->name, record->refusal.empty() ? done : record->refusal);
        EXPECT_EQ(line, Host::json_line(*record));
    }
    return outcomes;
}

TEST(Batch, ATreeWithBadFilesIsDoneAndTheBadOnesAreNamed) {
    const TemporaryFolder folder;
    draw(folder, "in/a/no_ending");
    draw(folder, "in/b/one.png");
    fs::copy_file(folder.path("in/b/one.png"), folder.path("in/b/one.dcm"));
    fs::copy_file(folder.path("in/b/one.png"), folder.path("in/b/.hidden.png"));
    draw(folder, "in/c, \"d\".png");
    folder.write("in/b/short.pgm", "P5 200 200 255\nxxx");
    folder.write("in/notes.txt", "no image");
    folder.write("in/zero", "");
    folder.write("in/DICOMDIR", std::string(128, '\0') + "DICM" + std::string("\x08\0\x05\0CS\x0a\0ISO_IR 100", 18));
    folder.write("in/zero.dcm", "");
    fs::create_directories(folder.path("in/folder.dcm"));
    fs::create_directories(folder.path("empty.dcm"));
    fs::create_directory_symlink("..", folder.path("in/b/loop"));
    fs::create_symlink("nowhere", folder.path("in/lost.png"));
    const std::string gone = folder.path("gone.png");
    const std::string manifest = folder.write("manifest", gone + "\r\n\n" + folder.path("empty.dcm") + "\n");
    const std::string fails = folder.path("fails");
    const Arguments command = masks_of({folder.path("in/")}, folder.path("in/out"),
                                       {"--jobs", "2", "--manifest", manifest, "--fail-list", fails});

    for (unsigned repetition = 0; repetition < 2; ++repetition) {  // the results of the first run are no inputs
        const ProgramRun batch = run(joined(command, repetition == 0 ? Arguments{} : Arguments{"--quiet"}));
        EXPECT_EQ(1, batch.code);
        const std::size_t verdicts = repetition == 0 ? 4 : 0;
        EXPECT_THAT(lines_of(batch.out).at(verdicts), StartsWith("9 images: ")) << "one line an image, or none";
        EXPECT_THAT(batch.out, HasSubstr("9 images: 4 done, 0 kept from an earlier run, 5 refused; 3 other files"
                                         " passed over\nMasks:\n        4  MASK_OK: The mask can be used.\nRefused:\n"
                                         "        2  does not exist\n"));
        EXPECT_THAT(batch.out, EndsWith("\nPage: " + folder.path("in/out/report.html") + "\n"));
        const Outcomes expected{{"a/no_ending", "done"},
                                {"b/one", "done"},
                                {"b/one-2", "done"},
                                {"b/short", "is truncated (3 of 40000 bytes of samples)"},
                                {"c, \"d\"", "done"},
                                {"lost", "does not exist"},
                                {"zero", "is empty"},
                                {"gone", "does not exist"},
                                {"", "is a folder in which no image was found"}};
        EXPECT_EQ(expected, outcomes_of(read_bytes(folder.path("in/out/summary.ndjson"))));
        EXPECT_EQ(folder.path("in/./b/short.pgm") + "\n" + folder.path("in/./lost.png") + "\n" +
                      folder.path("in/./zero.dcm") + "\n" + gone + "\n" + folder.path("empty.dcm") + "\n",
                  read_bytes(fails));
        std::vector<std::string> complaints = lines_of(batch.err);
        std::ranges::sort(complaints);
        EXPECT_EQ(5U, complaints.size());
        EXPECT_EQ("norvane: " + gone + " does not exist", complaints[1]);
        EXPECT_THAT(folder.names("in/out/b"), ElementsAre("one-2.done", "one-2.json", "one.done", "one.json"));
    }
    const std::vector<std::string> table = lines_of(read_bytes(folder.path("in/out/summary.csv")));
    ASSERT_EQ(10U, table.size());
    EXPECT_THAT(table[0], StartsWith("file,name,refusal,kept,status,breast_status,pectoral_status,format,width,"));
    EXPECT_THAT(table[5], StartsWith(std::string("\"") + folder.path("in/c, \"\"d\"\".png") +
                                     "\",\"c, \"\"d\"\"\",,0,0,0,0,PNG,375,500,"));
    EXPECT_EQ(std::ranges::count(table[0], ','), std::ranges::count(table[6], ','));
}

// The list of failures leads a second run to the places of the first; its tables speak of the results of both, and of
// those of a third run, with the identifiers that this one reads.
TEST(Batch, ALaterRunJoinsWhatLiesInTheFolder) {
    const TemporaryFolder folder;
    draw(folder, "in/a/one.png");
    draw(folder, "in/b/c/two.png");
    const std::string good = read_bytes(folder.path("in/b/c/two.png"));
    folder.write("in/b/c/two.png", good.substr(0, 700));
    folder.write("in/b/bad.png", "");
    const std::string out = folder.path("out"), fails = folder.path("fails"), listed = folder.path("list/./");
    draw(folder, "list/d/row.png");
    fs::create_directory(folder.path("list/void"));
    const std::string rows = folder.write(
        "rows", "file,side\n" + listed + "d/row.png,left,1\n" + listed + "void\n" + listed + "d/side.png,up\n");
    EXPECT_EQ(1, run(masks_of({folder.path("in")}, out, {"--manifest", rows, "--fail-list", fails})).code);
    const std::string in = folder.path("in/./");
    EXPECT_THAT(lines_of(read_bytes(fails)), ElementsAre(in + "b/bad.png", in + "b/c/two.png", listed + "d/row.png",
                                                         listed + "void", listed + "d/side.png"));
    folder.write("in/b/c/two.png", good);
    fs::rename(folder.path("list/d/row.png"), folder.path("list/void/late.png"));
    EXPECT_EQ(1, run(masks_of({}, out, {"--manifest", fails})).code);
    const Outcomes expected{{"b/bad", "is empty"}, {"b/c/two", "done"},          {"d/row", "does not exist"},
                            {"void/late", "done"}, {"d/side", "does not exist"}, {"a/one", "kept"}};
    EXPECT_EQ(expected, outcomes_of(read_bytes(out + "/summary.ndjson")));
    EXPECT_THAT(read_bytes(out + "/report.html"), HasSubstr("6 images: 3 refused"));
    EXPECT_THAT(folder.names("out/b/c"), ElementsAre("two.done", "two.json"));

    fs::remove(out + "/a/one.done");
    fs::remove(folder.path("in/b/bad.png"));
    draw(folder, "new.png");
    const std::string twin = folder.path("new.png");  // as frames of one file have, both results have the same file
    EXPECT_THAT(run(masks_of({twin, twin}, out)).out, HasSubstr(" Results are named new-2.\n"));
    std::string table = read_bytes(out + "/summary.ndjson");
    Host::ImageRecord forged = *Host::record_of(lines_of(table).front());
    forged.file = folder.path("rows");
    for (const char* refusal : {"", "is forged"}) {
        forged.refusal = refusal;
        for (const char* name : {"./new", "new/", "b/../new", "../out/new", ".", "..", "/new"}) {
            forged.name = name;
            table += Host::json_line(forged) + "\n";
        }
    }
    folder.write("out/summary.ndjson", table);
    EXPECT_EQ(0, run(masks_of({folder.path("in/a/one.png")}, out)).code);
    EXPECT_EQ(
        (Outcomes{{"one", "done"}, {"b/c/two", "kept"}, {"new", "kept"}, {"new-2", "kept"}, {"void/late", "kept"}}),
        outcomes_of(read_bytes(out + "/summary.ndjson")));
}

TEST(Batch, ResumingDoesWhatIsMissingAndNothingElse) {
    const TemporaryFolder folder;
    for (const char* name : {"in/a.png", "in/b.png", "in/\n\xFC%41.png"}) draw(folder, name);  // one is no UTF-8
    const std::string out = folder.path("out");
    ASSERT_EQ(0, run(masks_of({folder.path("in")}, out)).code);
    const std::string stamp = out + "/b.done";
    const auto cut_stamp = [&] {
        const std::string text = read_bytes(stamp);
        folder.write("out/b.done", text.substr(0, text.size() - 3));
    };
    const auto put_folder_in_its_place = [&] {
        fs::remove(out + "/b.json");
        fs::create_directory(out + "/b.json");
    };
    const struct {
        const char* what;
        std::function<void()> edit;
        Arguments options;
        std::size_t done, refused;
    } table[] = {
        {"nothing", [] {}, {}, 0, 0},
        {"touched", [&] { fs::last_write_time(folder.path("in/b.png"), fs::file_time_type::clock::now()); }, {}, 1, 0},
        {"other image", [&] { draw(folder, "in/b.png", "7"); }, {}, 1, 0},
        {"other option", [] {}, {"--fast"}, 3, 0},
        {"other results", [] {}, {"--results", "masks"}, 3, 0},
        {"the first results again", [] {}, {}, 3, 0},
        {"options of the run", [] {}, {"--jobs", "1", "--no-page", "-0"}, 0, 0},
        {"stamp cut short", cut_stamp, {}, 1, 0},
        {"no result", [&] { fs::remove(out + "/b.json"); }, {}, 1, 0},
        {"result cut short", [&] { fs::resize_file(out + "/b.json", 100); }, {}, 1, 0},
        {"result that cannot get its name", put_folder_in_its_place, {}, 0, 1},
        {"and is not vouched for", [&] { fs::remove(out + "/b.json"); }, {}, 1, 0},
    };
    for (const auto& row : table) {
        row.edit();
        const ProgramRun again = run(masks_of({folder.path("in")}, out, joined({"--resume"}, row.options)));
        EXPECT_EQ(row.refused == 0 ? 0 : 1, again.code) << row.what;
        EXPECT_THAT(again.out, HasSubstr("3 images: " + std::to_string(row.done) + " done, " +
                                         std::to_string(3 - row.done - row.refused) + " kept from an earlier run, " +
                                         std::to_string(row.refused) + " refused\n"))
            << row.what << again.err;
        EXPECT_EQ(3U, outcomes_of(read_bytes(out + "/summary.ndjson")).size());
    }
    EXPECT_THAT(read_bytes(out + "/report.html"), HasSubstr("./%0A%FC%2541\""));  // kept, but found where it lies
}

// Reproduces what a run leaves that is killed while it makes images.
void die_during(const std::string& out_dir, const std::vector<std::string>& names, const std::string& key = "",
                bool is_stopped = false) {
    const pid_t child = fork();
    if (child == 0) {
        const Host::Workplace place(out_dir, key);
        std::list<Host::RunFolder::UnderWay> under_way;
        for (const std::string& name : names) under_way.emplace_back(place.run, Host::under_way_line(name, ""));
        (void)place.run.make_temporary();
        const Host::StopSignals signals(place.run.descriptor(), Host::RunFolder::kAlive);
        if (is_stopped) (void)std::raise(SIGTERM);
        (void)std::raise(SIGKILL);
    }
    int status = 0;
    ASSERT_EQ(child, ::waitpid(child, &status, 0));
    ASSERT_EQ(SIGKILL, WTERMSIG(status));
}

TEST(Batch, AnImageAtWhichTwoRunsDiedIsPassedOverUntilItIsAskedFor) {
    const TemporaryFolder folder;
    for (const char* name : {"in/s/a\n.png", "in/s/b.png", "in/s/c.png"}) draw(folder, name);
    fs::create_directory(folder.path("out"));
    const Host::Workplace living(folder.path("out"));
    const auto entries = folder.names("out");
    const Arguments command = masks_of({folder.path("in")}, folder.path("out"));
    die_during(folder.path("out"), {"s/a\n"});
    die_during(folder.path("out"), {"s/b"}, "", true);
    die_during(folder.path("out"), {"s/b"}, "ended on purpose");
    Host::pardon_runs(living.results, "ended on purpose");
    die_during(folder.path("out"), {"s/a\n", "s/b"});
    const ProgramRun resumed = run(joined(command, {"--resume"}));
    const std::string a = folder.path("in/s/a\n.png");
    EXPECT_THAT(resumed.err,
                HasSubstr("is skipped, because two runs died while they processed it; without --resume it is"));
    EXPECT_THAT(resumed.out, HasSubstr("2 done, 0 kept from an earlier run, 1 refused\n"));
    EXPECT_LT(resumed.out.find("c.png"), resumed.out.find("b.png")) << "what a run died at comes last";
    EXPECT_THAT(folder.names("out/s"), ElementsAre("a\n.begun", "b.done", "b.json", "c.done", "c.json"));
    die_during(folder.path("out"), {"s/c"});  // which another run has made since it began
    EXPECT_THAT(run(joined(command, {"--resume"})).out, HasSubstr("0 done, 2 kept from an earlier run, 1 refused\n"));
    EXPECT_FALSE(fs::exists(folder.path("out/s/c.begun")));
    EXPECT_THAT(run(command).out, HasSubstr("3 images: 3 done"));
    EXPECT_THAT(folder.names("out/s"), ElementsAre("a\n.done", "a\n.json", "b.done", "b.json", "c.done", "c.json"));
    EXPECT_EQ(entries.size() + 4, folder.names("out").size()) << "the folder of the run that lives, and nothing else";
}

constexpr int kOneRefused = 1, kNotBegun = 2;
constexpr struct {
    const char* what;
    const char* place;  // in the folder of the results
    int code;
    const char* complaint;
} kHostilePlaces[] = {
    {"link", "a.json", kOneRefused, "a.json: Is a link"},
    {"FIFO", "a.json", kOneRefused, "a.json: Is not a regular file"},
    {"folder", "a.json", kOneRefused, "a.json: Is a directory"},
    {"link", "a.done", kOneRefused, "a.done: Is a link"},
    {"FIFO", "a.done", kOneRefused, "a.done: Is not a regular file"},
    {"FIFO", "a.begun", 0, ""},  // has no part in a run that does not resume
    {"linked folder", "s", kOneRefused, "s: Is a link"},
    {"file", "s", kOneRefused, "s: Not a directory"},
    {"file", "a.json", kNotBegun, "a.json was not written by this program"},
    {"input", "a.json", kNotBegun, "a.json is an input"},
    {"file", "a.done", kNotBegun, "a.done is not a file of this program"},
    {"input", "a.done", kNotBegun, "a.done is an input"},
    {"file", "a.begun", kNotBegun, "a.begun is not a file of this program"},
    {"file", "summary.csv", kNotBegun, "summary.csv was not written by this program"},
    {"input", "summary.ndjson", kNotBegun, "summary.ndjson is an input"},
    {"link", "summary.ndjson", kNotBegun, "summary.ndjson is not a file of this program"},
    {"FIFO", "report.html", kNotBegun, "report.html is not a file of this program"},
    {"file", ".norvane-run-00000000000000000000000000000000", 0, ""},
    {"folder", ".norvane-run-0000000000000000000000000000000g", 0, ""},
    {"input", ".a.json.7.tmp", 0, ""},
};

TEST(Batch, NothingThatThisProgramDidNotWriteIsReplaced) {
    const TemporaryFolder folder;
    draw(folder, "image");
    const std::string elsewhere = folder.write("elsewhere", "of somebody");
    const std::map<std::string, std::function<void(const std::string&)>> ways = {
        {"link", [&](const std::string& place) { fs::create_symlink(elsewhere, place); }},
        {"FIFO", [](const std::string& place) { ASSERT_EQ(0, ::mkfifo(place.c_str(), 0600)); }},
        {"folder", [](const std::string& place) { fs::create_directory(place); }},
        {"linked folder", [&](const std::string& place) { fs::create_directory_symlink(folder.path(""), place); }},
        {"file", [](const std::string& place) { std::ofstream(place) << "of somebody"; }},
        {"input", [&](const std::string& place) { fs::copy_file(folder.path("image"), place); }}};
    unsigned number = 0;
    for (const auto& row : kHostilePlaces) {
        const std::string base = folder.path(std::to_string(++number));
        draw(folder, std::to_string(number) + (std::string(row.place) == "s" ? "/in/s/a.png" : "/in/a.png"));
        fs::create_directory(base + "/out");
        const std::string place = base + "/out/" + row.place;
        ways.at(row.what)(place);
        const fs::file_type type = fs::symlink_status(place).type();
        const std::string bytes = type == fs::file_type::regular ? read_bytes(place) : "";
        const Arguments inputs =
            row.what == std::string("input") ? Arguments{base + "/in", place} : Arguments{base + "/in"};
        for (const Arguments& options : {Arguments{"--dry-run"}, Arguments{}}) {
            const ProgramRun batch = run(masks_of(inputs, base + "/out", options));
            const bool is_foreseen = options.empty() || row.code != kOneRefused;
            EXPECT_EQ(is_foreseen ? row.code : batch.code, batch.code) << row.what << " " << row.place << batch.err;
            EXPECT_THAT(batch.err, HasSubstr(is_foreseen ? row.complaint : ""));
            EXPECT_EQ(type, fs::symlink_status(place).type());
            EXPECT_EQ(bytes, bytes.empty() ? "" : read_bytes(place)) << row.place;
            const std::size_t files = folder.names(std::to_string(number) + "/out").size();
            EXPECT_TRUE(row.code != kNotBegun || files == 1) << row.place;
        }
        EXPECT_EQ("of somebody", read_bytes(elsewhere));
        EXPECT_FALSE(fs::exists(folder.path("a.json"))) << "by way of the linked folder";
    }
}

TEST(Batch, TheListOfFailuresIsNotWrittenOverAnInput) {
    const TemporaryFolder folder;
    draw(folder, "in/caf\xe9.png");  // names are bytes
    const std::string image = folder.path("in/caf\xe9.png"), bytes = read_bytes(image);
    fs::create_symlink(image, folder.path("link.png"));
    EXPECT_THAT(run(masks_of({}, folder.path("out"), {"--manifest", folder.path("none")})).err,
                HasSubstr("the manifest " + folder.path("none") + " cannot be opened"));
    const ProgramRun wrong = run(masks_of({folder.path("link.png")}, folder.path("out"), {"--fail-list", image}));
    EXPECT_EQ(2, wrong.code);
    EXPECT_THAT(wrong.err, HasSubstr("--fail-list names an input"));
    EXPECT_EQ(bytes, read_bytes(image));
}

// Whatever a file is called: a line is one line, a name in a list comes back whole, and no cell is a formula.
TEST(Batch, NamesOfFilesDoNothing) {
    const TemporaryFolder folder;
    const std::string names[] = {"\tb", "+1", "-x", "=1;2", "@a", "esc\x1b[2K", "even\r", "line\nnorvane: forged"};
    Arguments files;
    for (const std::string& name : names) files.push_back(folder.write(name, "P5 0 0 255\n"));
    const std::string list = folder.path("list"), failed = folder.path("failed");
    const auto complaints = [&](const Arguments& inputs, const Arguments& options) {
        const Arguments in_order{"--jobs", "1", "--fail-list", failed};
        return run(masks_of(inputs, folder.path("out"), joined(in_order, options))).err;
    };
    const std::string all = complaints(files, {"-0"});
    EXPECT_THAT(lines_of(all), ElementsAre(HasSubstr("/\\tb has"), HasSubstr("/+1 has"), HasSubstr("/-x has"),
                                           HasSubstr("/=1;2 has"), HasSubstr("/@a has"), HasSubstr("/esc\\x1b[2K has"),
                                           HasSubstr("/even\\r has"), HasSubstr("/line\\nnorvane: forged has")));
    fs::rename(failed, list);
    EXPECT_EQ(all, complaints({}, {"--manifest", list, "--null"}));
    EXPECT_EQ(read_bytes(list), read_bytes(failed));
    EXPECT_THAT(
        lines_of(complaints({}, {"--manifest", list})),
        ElementsAre(HasSubstr("/\\tb\\x00 holds a NUL byte"), HasSubstr("norvane: norvane: forged\\x00 holds a NUL"),
                    HasSubstr("/\\tb\\x00 is left out"), HasSubstr("forged\\x00 is left out")));
    const std::string by_lines = complaints(files, {});
    EXPECT_EQ(all, by_lines.substr(0, all.size()));
    EXPECT_THAT(lines_of(by_lines.substr(all.size())),
                ElementsAre(HasSubstr("/even\\r is left out"), HasSubstr("/line\\nnorvane: forged is left out")));
    EXPECT_THAT(lines_of(read_bytes(failed)), ElementsAreArray(files.begin(), files.begin() + 6));

    EXPECT_THAT(run(masks_of(files, folder.path("new"))).out, EndsWith("\nPage: " + folder.path("new/report.html\n")));
    EXPECT_THAT(read_bytes(folder.path("new/report.html")), HasSubstr("\"8 images: 8 refused\""));
    const std::string table = read_bytes(folder.path("out/summary.csv"));
    for (const char* cell : {",\"'\tb\",", ",'+1,", ",'-x,", ",\"'=1;2\",", ",'@a,"})
        EXPECT_THAT(table, HasSubstr(cell));
    EXPECT_EQ("=1;2", outcomes_of(read_bytes(folder.path("out/summary.ndjson")))[3].first);
}

TEST(Batch, PartsTogetherAreTheWhole) {
    const TemporaryFolder folder;
    fs::create_directories(folder.path("in"));
    for (int i = 0; i < 40; ++i) folder.write(std::string("in/") + std::to_string(i) + ".pgm", "P5 1 1 255\nx");
    Outcomes all;
    for (const char* part : {"1/3", "2/3", "3/3"}) {
        const ProgramRun dry =
            run(masks_of({folder.path("in")}, folder.path("dry"), {"--dry-run", "--format", "json", "--shard", part}));
        EXPECT_EQ(0, dry.code) << dry.err;
        const Outcomes outcomes = outcomes_of(dry.out);
        EXPECT_LT(outcomes.size(), 24U) << part << " has nearly everything";
        all.insert(all.end(), outcomes.begin(), outcomes.end());
    }
    EXPECT_EQ(40U, all.size());
    EXPECT_EQ(40U, std::set(all.begin(), all.end()).size());
    EXPECT_FALSE(fs::exists(folder.path("dry")));
    fs::create_directory(folder.path("full"));
    for (int i = 0; i < 12; ++i) folder.write("full/" + std::to_string(i) + ".json", "of somebody");
    EXPECT_THAT(run(masks_of({folder.path("in")}, folder.path("full"))).err, HasSubstr("and 2 more"));

    const ProgramRun part = run(masks_of({folder.path("in/1.pgm")}, folder.path("out"), {"--shard", "1/1"}));
    EXPECT_EQ(
        "norvane: " + folder.path("in/1.pgm") + " is too small for a mammogram (1 x 1 pixels of 228 micrometres)\n",
        part.err);
    EXPECT_THAT(folder.names("out"), ElementsAre("summary.1-of-1.csv", "summary.1-of-1.ndjson"));
}

Host::RunOptions options_for(const TemporaryFolder& folder) {
    Host::RunOptions options;
    options.inputs = {folder.path("in")};
    options.out_dir = folder.path("out");
    options.results = {"json"};
    options.analysis.view = VIEW_PECT;
    options.analysis.pixel_size_um = 220.0;
    return options;
}

// Passes its text on and asks the run to stop with the first of it.
class InterruptingBuffer : public std::stringbuf {
    std::streamsize xsputn(const char* text, std::streamsize count) override {
        if (str().empty() && count > 0) std::raise(SIGINT);
        return std::stringbuf::xsputn(text, count);
    }
};

TEST(Batch, AnInterruptedRunFinishesItsImageAndCanBeResumed) {
    const TemporaryFolder folder;
    for (const char* name : {"in/a.png", "in/b.png", "in/c.png"}) draw(folder, name);
    Host::RunOptions options = options_for(folder);
    InterruptingBuffer buffer;
    std::ostream out(&buffer);
    std::ostringstream err;
    EXPECT_EQ(130, Host::run_masks(options, out, err));
    EXPECT_THAT(buffer.str(), HasSubstr("3 images: 1 done, 0 kept from an earlier run, 0 refused, 2 not begun\n"));
    EXPECT_THAT(buffer.str(),
                EndsWith("\nThe run was stopped before its end. To make the other 2 images, give the same "
                         "command with --resume.\n"));
    EXPECT_EQ(1U, outcomes_of(read_bytes(folder.path("out/summary.ndjson"))).size());
    options.is_resumed = true;
    std::ostringstream rest;
    EXPECT_EQ(0, Host::run_masks(options, rest, err));
    EXPECT_THAT(rest.str(), HasSubstr("3 images: 2 done, 1 kept from an earlier run, 0 refused\n"));
}

// Asks the run to stop with its first text and takes no more of it: the thread of an image that never ends.
class StuckBuffer : public std::stringbuf {
    std::streamsize xsputn(const char*, std::streamsize count) override {
        std::raise(SIGTERM);
        while (count > 0) ::pause();
        return count;
    }
};

TEST(Batch, AStuckImageDoesNotKeepARunFromItsEnd) {
    const TemporaryFolder folder;
    for (const char* name : {"in/a.png", "in/b.png"}) draw(folder, name);
    EXPECT_EXIT(
        {
            StuckBuffer buffer;
            std::ostream out(&buffer);
            std::ostringstream err;
            (void)Host::run_masks(options_for(folder), out, err);
        },
        ::testing::ExitedWithCode(130), "");
    EXPECT_EQ(1U, outcomes_of(read_bytes(folder.path("out/summary.ndjson"))).size());
    std::ostringstream rest, err;
    Host::RunOptions options = options_for(folder);
    options.is_resumed = true;
    EXPECT_EQ(0, Host::run_masks(options, rest, err)) << err.str();
    EXPECT_THAT(folder.names("out"),
                ElementsAre("a.done", "a.json", "b.done", "b.json", "report.html", "summary.csv", "summary.ndjson"));
}

TEST(MemoryReserve, ComesBackWithTheFirstAllocationThatFails) {
    const auto address_space = [] {
        std::size_t pages = 0;
        std::ifstream("/proc/self/statm") >> pages;
        return pages * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    };
    constexpr std::size_t kMost = std::size_t{3} << 20;  // of what is kept back, however the tests' own memory grows
    const Host::MemoryReserve memory;
    const std::size_t held = address_space();
    EXPECT_THROW(std::get_new_handler()(), std::bad_alloc);
    EXPECT_LT(address_space() + kMost, held);
    EXPECT_THROW(std::get_new_handler()(), std::bad_alloc);
    const std::size_t given = address_space();
    for (int twice = 0; twice < 2; ++twice) memory.refill();
    EXPECT_LT(given + kMost, address_space());
    EXPECT_GT(given + 2 * kMost, address_space());
}

TEST(ResultNames, DependOnOtherInputsOnlyWhereTheyClash) {
    const struct {
        const char* file;
        const char* base;
        const char* name;
    } table[] = {{"x/exam.png", "", "exam"},          {"y/exam.PNG", "", "exam-3"},
                 {"exam-2.dcm", "", "exam-2"},        {"1.2.840", "", "1.2.840"},
                 {"in/s/exam.dcm", "in", "s/exam"},   {"./in/s/exam.tif", "in/", "s/exam-2"},
                 {"other/./s/exam.pgm", "", "exam-4"}};
    std::vector<Host::Input> inputs;
    for (const auto& row : table) inputs.push_back({row.file, row.base, {}, {}});
    Host::give_result_names(inputs);
    for (std::size_t i = 0; i < inputs.size(); ++i) EXPECT_EQ(table[i].name, inputs[i].name);
}

}  // namespace
}  // namespace Norvane::Tests
