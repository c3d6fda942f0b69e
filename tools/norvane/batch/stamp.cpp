// SPDX-License-Identifier: Apache-2.0
#include "batch/stamp.h"

#include "reading/refusal.h"

#include <nlohmann/json.hpp>

#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>
#include <system_error>

namespace Norvane::Host {
namespace {

namespace fs = std::filesystem;

constexpr int kStampVersion = 1;  // a stamp of another version is none
constexpr const char* kLastLine = "whole";

// The sizes show results that were cut short after their stamp was written, as a loss of power does.
bool are_results_there(const fs::path& folder, std::istream& lines) {
    std::uintmax_t size = 0;
    std::string name;
    for (std::string line; std::getline(lines, line);) {
        if (line == kLastLine) return true;
        std::istringstream words(line);
        std::error_code error;
        if (!(words >> size) || words.get() != ' ' || !std::getline(words, name)) return false;
        if (fs::file_size(folder / name, error) != size || error) return false;
    }
    return false;
}

}  // namespace

fs::path stamp_file(const fs::path& stem) { return stem.string() + ".done"; }

std::string stamp_origin(const std::string& file, const std::string& options) {
    struct stat facts {};
    if (stat(file.c_str(), &facts) != 0) {
        throw Refusal(errno == ENOENT ? std::string("does not exist")
                                      : std::string("cannot be opened: ") + std::strerror(errno));
    }
    std::error_code error;
    const fs::path place = fs::weakly_canonical(file, error);
    const nlohmann::ordered_json json = {{"stamp", kStampVersion},
                                         {"file", (error ? fs::path(file) : place).string()},
                                         {"bytes", facts.st_size},
                                         {"changed", {facts.st_mtim.tv_sec, facts.st_mtim.tv_nsec}},
                                         {"options", options}};
    return json.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

void add_stamp(OutputSet& outputs, const fs::path& stem, const std::string& origin, const ImageRecord& record) {
    const fs::path file = stamp_file(stem);
    std::string text = origin + "\n" + json_line(record) + "\n";
    for (const auto& [result, size] : outputs.files()) {
        text += std::to_string(size) + " " + result.filename().string() + "\n";
    }
    outputs.add(file, text + kLastLine + "\n");
    std::error_code error;
    fs::remove(file, error);
    if (error) throw Refusal("has results that cannot be written: " + file.string() + ": " + error.message());
}

std::optional<ImageRecord> record_if_done(const fs::path& stem, const std::string& origin) {
    std::ifstream stream(stamp_file(stem));
    std::string found_origin, record;
    if (!std::getline(stream, found_origin) || found_origin != origin) return std::nullopt;
    if (!std::getline(stream, record) || !are_results_there(stem.parent_path(), stream)) return std::nullopt;
    return record_of(record);
}

std::optional<ImageRecord> stamped_record(const fs::path& stem) {
    std::ifstream stream(stamp_file(stem));
    std::string origin, record;
    if (!std::getline(stream, origin) || !std::getline(stream, record)) return std::nullopt;
    return record_of(record);
}

}  // namespace Norvane::Host
