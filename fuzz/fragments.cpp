// SPDX-License-Identifier: Apache-2.0
/// Fuzzes fragments of compressed pixels. The input gives the fragments, their table of offsets and the number of
/// frames. The bytes of the frame are compared with those that the plain rules give.
#include "input.h"

#include "io/dicom/dicom_fragments.h"
#include "io/refusal.h"

#include <optional>
#include <vector>

namespace Norvane::Fuzz {
namespace {

using Fragment = std::vector<std::uint8_t>;

struct Recipe {
    unsigned frame, frame_count;
    std::vector<std::uint32_t> table;
    std::vector<Fragment> fragments;
};

Recipe recipe_of(Input& input) {
    Recipe recipe{};
    recipe.frame_count = 1 + input.below(5);
    recipe.frame = 1 + input.below(recipe.frame_count);
    recipe.fragments.resize(input.below(12));
    std::uint32_t position = 0;
    for (Fragment& fragment : recipe.fragments) {
        const unsigned kind = input.byte();
        if ((kind & 1U) != 0) recipe.table.push_back(position);  // a correct table, unless the next line changes it
        fragment.resize(kind / 8 % 16);
        for (std::uint8_t& byte : fragment) byte = input.byte();
        if ((kind & 2U) != 0 && fragment.size() >= 3) {
            fragment[0] = 0xFF;
            fragment[1] = (kind & 4U) != 0 ? 0x4F : 0xD8;
            fragment[2] = 0xFF;
        }
        position += 8 + static_cast<std::uint32_t>(fragment.size());
    }
    if (input.below(4) == 3) recipe.table.clear();
    if (input.below(4) == 3) recipe.table.push_back(input.below(100));
    return recipe;
}

std::string bytes_of(const Recipe& recipe, bool has_end) {
    std::string bytes;
    const auto put = [&bytes](std::uint32_t value) {
        for (const unsigned shift : {0U, 8U, 16U, 24U}) bytes += static_cast<char>(value >> shift);
    };
    const auto head = [&](std::uint32_t number, std::uint32_t length) {
        put(0xFFFEU | number << 16U);
        put(length);
    };
    head(0xE000, static_cast<std::uint32_t>(4 * recipe.table.size()));
    for (const std::uint32_t offset : recipe.table) put(offset);
    for (const Fragment& fragment : recipe.fragments) {
        head(0xE000, static_cast<std::uint32_t>(fragment.size()));
        bytes.append(fragment.begin(), fragment.end());
    }
    if (has_end) head(0xE0DD, 0);
    return bytes;
}

/// The fragments with which frames begin according to the table, if it names one for each frame.
std::optional<std::vector<std::size_t>> starts_by_table(const Recipe& recipe) {
    if (recipe.table.size() != recipe.frame_count) return std::nullopt;
    std::vector<std::size_t> starts;
    for (const std::uint32_t offset : recipe.table) {
        std::uint32_t position = 0;
        std::size_t at = 0;
        for (; at < recipe.fragments.size() && position != offset; ++at) {
            position += 8 + static_cast<std::uint32_t>(recipe.fragments[at].size());
        }
        if (at == recipe.fragments.size() || (!starts.empty() && at <= starts.back())) return std::nullopt;
        starts.push_back(at);
    }
    return starts;
}

bool begins_image(const Fragment& fragment) {
    return fragment.size() >= 3 && fragment[0] == 0xFF && fragment[2] == 0xFF &&
           (fragment[1] == 0xD8 || fragment[1] == 0x4F);
}

std::optional<Fragment> frame_of(const Recipe& recipe) {
    const std::size_t count = recipe.fragments.size();
    std::vector<std::size_t> starts;
    if (count == 0) return std::nullopt;
    if (count == recipe.frame_count) {
        for (std::size_t i = 0; i < count; ++i) starts.push_back(i);
    } else if (recipe.frame_count == 1) {
        starts = {0};
    } else if (const auto known = starts_by_table(recipe)) {
        starts = *known;
    } else {
        for (std::size_t i = 0; i < count; ++i) {
            if (begins_image(recipe.fragments[i])) starts.push_back(i);
        }
    }
    if (starts.size() != recipe.frame_count) return std::nullopt;
    starts.push_back(count);
    Fragment bytes;
    for (std::size_t i = starts[recipe.frame - 1]; i < starts[recipe.frame]; ++i) {
        bytes.insert(bytes.end(), recipe.fragments[i].begin(), recipe.fragments[i].end());
    }
    return bytes;
}

}  // namespace
}  // namespace Norvane::Fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace Norvane;
    Fuzz::Input input(data, size);
    const Fuzz::Recipe recipe = Fuzz::recipe_of(input);
    const bool has_end = input.below(8) < 7;
    std::string bytes = Fuzz::bytes_of(recipe, has_end);
    const std::size_t kept = input.below(16) == 15 ? input.below(64) : bytes.size();
    const bool is_whole = has_end && kept >= bytes.size();
    bytes.resize(std::min(bytes.size(), kept));
    Host::FileBytes file(Fuzz::file_of(bytes));
    std::optional<Fuzz::Fragment> found;
    try {
        const Host::FrameFragments fragments(file, recipe.frame, recipe.frame_count);
        found = fragments.joined(file);
        Fuzz::require(fragments.size() == found->size(), "the size is known before");
    } catch (const Host::Refusal&) {
    }
    Fuzz::require(found == (is_whole ? Fuzz::frame_of(recipe) : std::nullopt), "the frame is that of the plain rules");
    return 0;
}
