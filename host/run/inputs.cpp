// SPDX-License-Identifier: Apache-2.0
#include "run/inputs.h"

#include "export/kinds.h"
#include "io/read_image.h"
#include "io/refusal.h"
#include "run/manifest.h"
#include "run/reading_options.h"
#include "run/result_names.h"
#include "run/stamp.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <optional>
#include <set>
#include <system_error>
#include <utility>

namespace Norvane::Host {
namespace {

namespace fs = std::filesystem;

// Distinguishes results of earlier runs from images that happen to have the name of a result.
class StampedFiles {
public:
    /// Whether a stamp beside the file vouches for it.
    [[nodiscard]] bool contain(const fs::path& file, std::uintmax_t size) {
        const std::string name = file.filename().string();
        for (const ResultKind& kind : result_kinds()) {
            for (const ResultFile& result : kind.files) {
                const std::string ending = std::string(".") + result.ending;
                if (!name.ends_with(ending)) continue;
                const std::string stem = name.substr(0, name.size() - ending.size());
                const Stamp* stamp = stamp_of(file.parent_path() / stem);
                if (stamp != nullptr && stamp->vouches_for(name, size)) return true;
            }
        }
        return false;
    }

private:
    // The results of an image follow each other, so the last stamp is kept.
    const Stamp* stamp_of(const fs::path& stem) {
        if (stem != last_stem) {
            last_stem = stem;
            last.reset();
            try {
                last = read_stamp(ResultFolder(stem.parent_path()), stem.filename().string());
            } catch (const Refusal&) {
                // A file of another program vouches for nothing.
            }
        }
        return last ? &*last : nullptr;
    }

    fs::path last_stem;
    std::optional<Stamp> last;
};

bool is_image(const fs::path& file) {
    std::error_code error;
    if (fs::file_size(file, error) == 0 && !error) return false;
    try {
        return has_known_format(file);
    } catch (const Refusal&) {
        return true;  // it cannot be opened, and the user should read why
    }
}

fs::path canonical_or_same(const fs::path& path) {
    std::error_code error;
    fs::path canonical = fs::weakly_canonical(path, error);
    return error ? path : canonical;
}

class Walk {
public:
    Walk(const fs::path& out_dir, FoundInputs& to) : results(canonical_or_same(out_dir)), found(to) {}

    /// Returns false if the folder was walked before.
    bool enter(const fs::path& folder, const fs::path& base) {
        if (!walked.insert(canonical_or_same(folder)).second) return false;
        std::error_code error;
        std::vector<fs::directory_entry> entries;
        for (fs::directory_iterator i(folder, error), end; !error && i != end; i.increment(error)) {
            entries.push_back(*i);
        }
        if (error) found.inputs.push_back({folder.string(), base, "cannot be read: " + error.message(), {}});
        std::ranges::sort(entries);
        for (const fs::directory_entry& entry : entries) {
            if (!entry.path().filename().string().starts_with('.')) look_at(entry, base);
        }
        return true;
    }

private:
    void look_at(const fs::directory_entry& entry, const fs::path& base) {
        std::error_code error;
        const fs::file_type type = entry.status(error).type();
        const fs::path& path = entry.path();
        if (type == fs::file_type::directory) {
            if (canonical_or_same(path) != results) (void)enter(path, base);
            return;
        }
        const bool is_file = type == fs::file_type::regular;
        const bool claims_to_be_one = has_image_ending(path) || (is_file && is_image(path));
        if (claims_to_be_one && !(is_file && stamped.contain(path, entry.file_size(error)))) {
            found.inputs.push_back({path.string(), base, {}, {}, false});
        } else {
            ++found.passed_over;
        }
    }

    fs::path results;
    FoundInputs& found;
    std::set<fs::path> walked;
    StampedFiles stamped;
};

bool is_below(const fs::path& path, const fs::path& folder) {
    const fs::path relative = path.lexically_relative(folder);
    return !relative.empty() && *relative.begin() != "..";
}

unsigned frames_or_one(const std::string& file, const ReadOptions& options) {
    try {
        return count_frames(file, options);
    } catch (const Refusal&) {
        return 1;  // it is refused when it is read
    }
}

}  // namespace

bool is_in_shard(const Input& input, const Shard& shard) {
    constexpr std::uint64_t kOffset = 14695981039346656037U;  // 64-bit FNV-1a
    constexpr std::uint64_t kPrime = 1099511628211U;
    std::uint64_t hash = kOffset;
    for (const char c : input.name.empty() ? input.file : input.name) {
        hash = (hash ^ static_cast<unsigned char>(c)) * kPrime;
    }
    return hash % shard.count == shard.number - 1;
}

FoundInputs find_inputs(const InputQuery& query) {
    FoundInputs found;
    std::vector<ManifestEntry> named;
    for (const std::string& name : query.inputs) named.push_back({.file = name});
    if (!query.manifest.empty()) {
        Manifest listed = read_manifest(query.manifest, query.list_end, query.columns);
        std::ranges::move(listed.entries, std::back_inserter(named));
        found.note = std::move(listed.note);
    }
    const fs::path root = fs::path(query.root).lexically_normal();
    Walk walk(query.out_dir, found);
    for (const auto& [name, listed_base, own, refusal] : named) {
        if (const std::size_t nul = name.find('\0'); nul != std::string::npos) {  // no file name holds a NUL byte
            found.inputs.push_back({name.substr(0, nul + 1), {}, "holds a NUL byte: this list needs --null", {}});
            continue;
        }
        const fs::path path = fs::path(name).lexically_normal();
        fs::path base = listed_base.empty() ? root : listed_base;
        if (!base.empty() && !is_below(path, base)) base.clear();
        if (!refusal.empty()) {
            found.inputs.push_back({name, base, refusal, {}});
            continue;
        }
        std::error_code ignored;
        if (!fs::is_directory(path, ignored)) {
            found.inputs.push_back({name, base, {}, {}, true, own});
            continue;
        }
        const std::size_t before = found.inputs.size();
        if (walk.enter(path, base.empty() ? path : base) && found.inputs.size() == before) {
            found.inputs.push_back({name, base, "is a folder in which no image was found", {}});
        }
        for (std::size_t i = before; i < found.inputs.size(); ++i) found.inputs[i].own = own;
    }
    return found;
}

std::string own_frame(const Input& input) {
    const auto found = input.own.find(kFrameOption);
    return found == input.own.end() || found->second.empty() ? std::string() : found->second.back();
}

void expand_frames(std::vector<Input>& inputs, bool are_all_wanted, const ReadOptions& options) {
    std::vector<Input> expanded;
    for (Input& input : inputs) {
        const std::string own = own_frame(input);
        unsigned count = 1;
        if (own.empty() ? are_all_wanted : is_all_frames(own)) {
            input.own.erase(kFrameOption);
            if (input.refusal.empty()) count = frames_or_one(input.file, options);
        }
        for (unsigned frame = 1; count > 1 && frame < count; ++frame) {
            expanded.push_back(input);
            expanded.back().own[kFrameOption] = {std::to_string(frame)};
        }
        if (count > 1) input.own[kFrameOption] = {std::to_string(count)};
        expanded.push_back(std::move(input));
    }
    inputs = std::move(expanded);
}

}  // namespace Norvane::Host
