// SPDX-License-Identifier: Apache-2.0
#include "run/output_check.h"

#include "export/kinds.h"
#include "io/refusal.h"
#include "run/begun_mark.h"
#include "run/run_files.h"
#include "run/stamp.h"
#include "run/workers.h"

#include <algorithm>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <system_error>
#include <utility>

namespace Norvane::Host {
namespace {

namespace fs = std::filesystem;

using Names = std::unordered_set<std::string>;

/// The files that the user named and that lie in the folder of the results.
class GivenFiles {
public:
    explicit GivenFiles(const fs::path& out_dir) : folder(canonical_of(out_dir)) {}

    void add(const fs::path& file) {
        if (file.empty()) return;
        const fs::path absolute = fs::absolute(file);
        const std::string above = absolute.parent_path().string();
        const auto [known, is_new] = folders.try_emplace(above);  // thousands of files may share one folder
        if (is_new) {
            const fs::path relative = canonical_of(above).lexically_relative(folder);
            if (!relative.empty() && *relative.begin() != "..") known->second = relative;
        }
        if (known->second) names.insert((*known->second / absolute.filename()).lexically_normal().string());
    }
    /// `name` is the path below the folder of the results.
    [[nodiscard]] bool contain(const std::string& name) const { return !names.empty() && names.contains(name); }

private:
    static fs::path canonical_of(const fs::path& path) {
        std::error_code error;
        fs::path canonical = fs::weakly_canonical(fs::absolute(path), error);
        return error ? path : canonical;
    }

    fs::path folder;
    std::map<std::string, std::optional<fs::path>> folders;
    Names names;
};

class Check {
public:
    Check(const RunOptions& run_options, const ResultFolder& folder, const GivenFiles& given_files)
        : options(run_options), results(folder), given(given_files) {
        for (const ResultKind& kind : result_kinds()) {
            if (std::ranges::find(options.results, kind.name) == options.results.end()) continue;
            for (const ResultFile& file : kind.files) endings.emplace_back(file.ending);
        }
    }

    void look_at_run_files() {
        for (const RunFile& file : run_files_of(options)) {
            const auto is_own = [&] {
                const auto beginning = results.read(file.name, file.beginning.size());
                return !beginning || is_of_this_program(file, *beginning);
            };
            look_at(file.name, is_own);
        }
    }

    /// Checks the results that go into the same folder.
    void look_at_results(const std::vector<const Input*>& inputs) {
        std::optional<ResultFolder> folder;
        Names files;
        try {
            folder = results.parent_of(inputs.front()->name);
            if (!folder) return;
            for (FolderEntry& entry : folder->entries()) {
                if (entry.is_file) files.insert(std::move(entry.name));
            }
        } catch (const Refusal&) {
            return;  // the images themselves will be refused
        }
        if (files.empty()) return;
        run_workers(
            inputs.size(), options.jobs, [] { return false; },
            [&](std::size_t i) { look_at_results_of(inputs[i]->name, *folder, files); });
    }

    [[nodiscard]] OutputCheck found() {
        constexpr std::size_t kMostNamed = 10;
        OutputCheck check{{names.begin(), names.end()}, std::move(marked)};
        if (check.complaints.size() > kMostNamed) {
            const std::size_t more = check.complaints.size() - kMostNamed;
            check.complaints.resize(kMostNamed);
            check.complaints.push_back("and " + std::to_string(more) + " more");
        }
        return check;
    }

private:
    void look_at_results_of(const fs::path& name, const ResultFolder& folder, const Names& files) {
        const std::string stem = name.filename().string();
        const auto full = [&](const std::string& file) { return (name.parent_path() / file).string(); };
        std::optional<Stamp> stamp;
        const std::string stamp_name = stamp_file(stem);
        const bool has_stamp = files.contains(stamp_name);
        if (has_stamp) look_at(full(stamp_name), [&] { return (stamp = read_stamp(folder, stem)).has_value(); });
        const std::string mark = begun_mark_file(stem);
        if (files.contains(mark) && look_at(full(mark), [&] { return deaths_of(folder, stem) > 0; })) {
            const std::scoped_lock lock(mutex);
            marked.insert(name.string());
        }
        for (const std::string& ending : endings) {
            std::string file = stem;
            file.append(".").append(ending);
            if (!files.contains(file)) continue;
            look_at(full(file), [&] {
                if (!stamp) return false;
                if (stamp->vouches_for(file, 0)) return true;  // for any size, so the size need not be read
                const auto size = folder.size_of(file);
                return !size || stamp->vouches_for(file, *size);
            });
        }
    }

    // If the file must not be replaced, adds a complaint and returns false.
    template <class IsOwn>
    bool look_at(const std::string& name, const IsOwn& is_own) {
        std::string complaint;
        try {
            if (given.contain(name)) {
                complaint = " is an input, the manifest or the list of failures, and a result would overwrite it";
            } else if (!is_own()) {
                complaint = " was not written by this program, and a result would overwrite it";
            }
        } catch (const Refusal&) {
            complaint = " is not a file of this program, and a result would overwrite it";
        }
        if (complaint.empty()) return true;
        const std::scoped_lock lock(mutex);
        names.insert(results.path_of(name).string() + complaint);
        return false;
    }

    const RunOptions& options;
    const ResultFolder& results;
    const GivenFiles& given;
    std::vector<std::string> endings;
    std::mutex mutex;
    std::set<std::string> names;  // with their complaints; sorted, so that the order does not depend on the threads
    Names marked;
};

}  // namespace

OutputCheck check_outputs(const RunOptions& options, const std::vector<Input>& inputs) {
    std::error_code ignored;
    if (!fs::is_directory(options.out_dir, ignored)) return {};  // nothing lies there yet
    const ResultFolder results(options.out_dir);
    GivenFiles given(options.out_dir);
    for (const Input& input : inputs) given.add(input.file);
    given.add(options.manifest == "-" ? std::string() : options.manifest);
    given.add(options.fail_list);

    Check check(options, results, given);
    check.look_at_run_files();
    std::map<std::string, std::vector<const Input*>> by_folder;
    for (const Input& input : inputs) {
        if (!input.refusal.empty() || (options.shard && !is_in_shard(input, *options.shard))) continue;
        by_folder[fs::path(input.name).parent_path().string()].push_back(&input);
    }
    for (const auto& [folder, its_inputs] : by_folder) check.look_at_results(its_inputs);
    return check.found();
}

}  // namespace Norvane::Host
