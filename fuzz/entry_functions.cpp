// SPDX-License-Identifier: Apache-2.0
/// Fuzzes the four mask operations: up to four calls in a row on one image with the same masks. The masks may be null,
/// may have been used before, or may be one object in several roles. The loops with and without wide registers must
/// give the same results.
#include "hostile_image.h"

#include "support/builders.h"

namespace Norvane::Fuzz {
namespace {

Mask mask_of_bytes(Input& input) {
    static constexpr std::array<float, 8> kSizes = {228.0F, 228.0F, 228.0F, 114.0F, 456.0F, 0.0F, -1.0F, HUGE_VALF};
    const unsigned kind = input.below(8);
    if (kind < 4) return {};
    const float size = input.one_of(kSizes);
    if (kind == 4) return Tests::mask_of({}, size);
    const unsigned x = input.below(200), y = input.below(200), width = input.below(200), height = input.below(200);
    if (kind < 7) return Tests::rectangle(x, x + width, y, y + height, size);
    Mask mask = Tests::mask_of({}, size);
    for (unsigned i = 0; i < 40; ++i) {
        const unsigned row = input.below(300), first = input.byte();
        mask.AddSegment(row, first, input.byte());
    }
    if (!input.flag()) return mask;
    const unsigned row = input.number(), first = input.number();  // anywhere
    mask.AddSegment(row, first, input.number());
    return mask;
}

/// The place of a mask in its own grid. If it has billions of rows, only its bounds.
std::vector<Tests::RowRun> content(const Mask& mask) {
    Mask own = mask;
    own.SetTargetPixelSize(0.0F);
    const bool is_empty = own.GetMinY() > own.GetMaxY();
    if (is_empty || own.GetMaxY() - own.GetMinY() < 100000U) return Tests::runs_of(mask);
    return {{own.GetMinY(), own.GetMinX(), own.GetMaxX()}, {own.GetMaxY(), 0, 0}};
}

struct Answers {
    std::vector<int> statuses;
    std::vector<std::vector<Tests::RowRun>> masks;
    std::vector<std::vector<int>> contours;
    bool operator==(const Answers&) const = default;
};

Answers call(std::span<const std::uint8_t> bytes) {
    Input input(bytes.data(), bytes.size());
    std::array<Mask, 4> masks;
    for (Mask& mask : masks) mask = mask_of_bytes(input);
    const auto any_mask = [&](unsigned usual) {
        const unsigned pick = input.byte();
        return pick < 200 ? &masks[usual] : pick < 220 ? nullptr : &masks[pick % 4];
    };
    struct Call {
        unsigned entry;
        Mask *frame, *breast, *pect, *second;
        bool has_box;
    };
    std::vector<Call> calls(1 + input.below(4));
    for (Call& c : calls) {
        c.entry = input.below(4);
        c.frame = any_mask(0), c.breast = any_mask(1), c.pect = any_mask(2), c.second = any_mask(3);
        c.has_box = input.flag();
    }
    Answers answers;
    std::vector<int> contour;
    Masking::Params p = params_of(input, contour);
    const std::size_t contour_size = contour.size();
    const bool has_image = input.byte() != 255;
    const HostileImage hostile(input);
    Image* image = has_image ? hostile.get() : nullptr;
    for (Call& c : calls) {
        int box[4] = {};
        int* bounds = c.has_box ? box : nullptr;
        contour.resize(contour_size);
        const int status = c.entry == 0   ? NvGenerateFrameMask(image, p, c.frame)
                           : c.entry == 1 ? NvGenerateBreastMask(image, p, c.frame, c.breast, bounds)
                           : c.entry == 2 ? NvGenerateFullMask(image, p, c.frame, c.breast, c.pect, c.second)
                                          : NvGeneratePectMask(image, p, c.frame, c.breast, c.pect);
        require(status >= 0 && status <= 14 && status != 10, "the status is one that is documented");
        require(contour.empty() || contour.size() == contour_size, "the contour is filled or emptied");
        answers.statuses.push_back(status);
        answers.contours.push_back(contour);
        for (const Mask& mask : masks) answers.masks.push_back(content(mask));
    }
    return answers;
}

}  // namespace
}  // namespace Norvane::Fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Norvane::Fuzz::run_both_forms({data, size}, Norvane::Fuzz::call);
    return 0;
}
