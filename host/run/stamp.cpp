// SPDX-License-Identifier: Apache-2.0
#include "run/stamp.h"

#include "io/refusal.h"
#include "run/name_text.h"

#include <nlohmann/json.hpp>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sstream>
#include <system_error>
#include <tuple>
#include <utility>

namespace Norvane::Host {
namespace {

namespace fs = std::filesystem;

constexpr int kStampVersion = 1;  // a stamp of another version never counts as complete
constexpr const char* kBeginning = "{\"stamp\":";
constexpr const char* kOlder = "older ";
constexpr const char* kLastLine = "whole";

std::string line_of(const std::string& name, std::uintmax_t size) {
    return std::to_string(size) + " " + text_of_name(name) + "\n";
}

// Returns false if the line was cut short.
bool take_line(const std::string& line, std::map<std::string, std::uintmax_t>& files) {
    std::istringstream words(line);
    std::uintmax_t size = 0;
    std::string name;
    if (!(words >> size) || words.get() != ' ' || !std::getline(words, name)) return false;
    files[name_of_text(name)] = size;
    return true;
}

// The stamp under its temporary name, until it is put in place.
class StampFile {
public:
    explicit StampFile(const RunFolder& run_folder) : run(run_folder), temporary(run.make_temporary()) {}
    ~StampFile() {
        if (!is_placed) run.remove_temporary(temporary.name);
    }
    StampFile(const StampFile&) = delete;
    StampFile& operator=(const StampFile&) = delete;

    [[nodiscard]] int write(const std::string& text) {
        return temporary.file.is_open() ? write_through(temporary.file.get(), text) : errno;
    }
    [[nodiscard]] int move_to(const ResultFolder& folder, const std::string& name, bool replaces) {
        const int error = run.move_to(folder, name, temporary.name, replaces);
        is_placed = error == 0;
        return error;
    }
    /// Replaces everything from the byte `at` on by the text.
    [[nodiscard]] int write_from(std::size_t at, const std::string& text) {
        const int file = temporary.file.get();
        const auto place = static_cast<off_t>(at);
        if (::ftruncate(file, place) != 0 || ::lseek(file, place, SEEK_SET) < 0) return errno;
        return write(text);
    }

private:
    const RunFolder& run;
    RunFolder::Temporary temporary;
    bool is_placed = false;
};

// The lines of older files of this program that still exist, in two parts: `beginning` with the lines of those that
// stay, and the lines of those that the files in `outputs` replace.
std::pair<std::string, std::string> with_older_files(std::string beginning, const OutputSet& outputs,
                                                     const ResultFolder& folder, const Stamp& old) {
    std::string replaced;
    std::map<std::string, std::uintmax_t> known = old.older;
    known.insert(old.results.begin(), old.results.end());
    for (const auto& [name, size] : known) {
        const auto found = folder.size_of(name);
        if (!found || !old.vouches_for(name, *found)) continue;
        const bool is_replaced =
            std::ranges::find(outputs.files(), name, &OutputSet::Waiting::name) != outputs.files().end();
        (is_replaced ? replaced : beginning) += kOlder + line_of(name, *found);
    }
    return {std::move(beginning), std::move(replaced)};
}

}  // namespace

bool Stamp::vouches_for(const std::string& name, std::uintmax_t size) const {
    const auto result = results.find(name);
    return older.contains(name) || (result != results.end() && (is_whole || result->second == size));
}

std::optional<Stamp> read_stamp(const ResultFolder& folder, const std::string& stem) {
    const auto text = folder.read(stamp_file(stem));
    if (!text) return std::nullopt;
    if (!text->starts_with(kBeginning)) refuse_foreign(folder.path_of(stamp_file(stem)));
    std::istringstream lines(*text);
    Stamp stamp;
    std::getline(lines, stamp.origin);
    std::getline(lines, stamp.record);
    for (std::string line; std::getline(lines, line) && !lines.eof();) {
        stamp.is_whole = line == kLastLine;
        const bool is_older = line.starts_with(kOlder);
        const bool is_good = is_older ? take_line(line.substr(std::strlen(kOlder)), stamp.older)
                                      : stamp.is_whole || take_line(line, stamp.results);
        if (!is_good || stamp.is_whole) break;
    }
    return stamp;
}

std::string stamp_origin(const std::string& file, const std::string& options) {
    struct stat facts {};
    if (stat(file.c_str(), &facts) != 0) {
        throw Refusal(errno == ENOENT ? std::string("does not exist")
                                      : std::string("cannot be opened: ") + std::strerror(errno));
    }
    std::error_code error;
    const fs::path place = fs::weakly_canonical(file, error);
    const nlohmann::ordered_json json = {{"stamp", kStampVersion},
                                         {"file", text_of_name((error ? fs::path(file) : place).string())},
                                         {"bytes", facts.st_size},
                                         {"changed", {facts.st_mtim.tv_sec, facts.st_mtim.tv_nsec}},
                                         {"options", options}};
    return json.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

std::optional<ImageRecord> record_if_done(const ResultFolder& folder, const Stamp& stamp, const std::string& origin) {
    if (!stamp.is_whole || stamp.origin != origin) return std::nullopt;
    // A loss of power may cut results short after their stamp was written. Their sizes show it.
    for (const auto& [name, size] : stamp.results) {
        if (folder.size_of(name) != size) return std::nullopt;
    }
    return record_of(stamp.record);
}

void commit_with_stamp(OutputSet& outputs, const RunFolder& run, const ResultFolder& folder, const std::string& stem,
                       const std::optional<Stamp>& old, const std::string& origin, const ImageRecord& record) {
    const OutputSet::IsOwn is_own = [&old](const std::string& name, std::uintmax_t size) {
        return old && old->vouches_for(name, size);
    };
    outputs.require_places(is_own);
    std::string beginning = origin + "\n" + json_line(record) + "\n";
    std::string names, replaced;
    for (const OutputSet::Waiting& file : outputs.files()) names += line_of(file.name, file.size);
    if (old) std::tie(beginning, replaced) = with_older_files(beginning, outputs, folder, *old);

    const std::string file = stamp_file(stem);
    StampFile stamp(run);
    const auto require = [&](int error) {
        if (error == EEXIST) refuse_foreign(folder.path_of(file));
        if (error != 0) refuse_result(folder.path_of(file), error);
    };
    require(stamp.write(beginning + names + replaced));
    require(stamp.move_to(folder, file, old.has_value()));
    try {
        outputs.commit(is_own);
    } catch (const Refusal&) {  // files under the other names may belong to anybody
        std::size_t left = 0;
        for (const OutputSet::Waiting& waiting : outputs.files()) left += line_of(waiting.name, waiting.size).size();
        (void)stamp.write_from(beginning.size() + names.size() - left, replaced);
        throw;
    }
    require(stamp.write_from(beginning.size() + names.size(), std::string(kLastLine) + "\n"));
}

}  // namespace Norvane::Host
