// SPDX-License-Identifier: Apache-2.0
#include "export/coco_annotations.h"

#include "export/mask_encoding.h"
#include "export/source_masks.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdint>
#include <utility>

namespace Norvane::Host {
namespace {

using Json = nlohmann::ordered_json;

// Null if the image does not show the category.
Json annotation_of(const MaskBitmap& labels, const CocoCategory& category) {
    MaskBitmap mask{labels.width, labels.height, std::vector<std::uint8_t>(labels.pixels.size())};
    unsigned left = labels.width, right = 0, top = labels.height, bottom = 0;
    std::size_t area = 0;
    for (unsigned y = 0; y < labels.height; ++y) {
        for (unsigned x = 0; x < labels.width; ++x) {
            const std::size_t at = std::size_t{y} * labels.width + x;
            if (labels.pixels[at] != category.id) continue;
            mask.pixels[at] = 255;
            ++area;
            left = std::min(left, x), right = std::max(right, x + 1);
            top = std::min(top, y), bottom = y + 1;
        }
    }
    if (area == 0) return nullptr;
    return {{"category_id", category.id},
            {"iscrowd", 0},
            {"area", area},
            {"bbox", {left, top, right - left, bottom - top}},
            {"segmentation", {{"size", {mask.height, mask.width}}, {"counts", coco_text(coco_counts(mask))}}}};
}

}  // namespace

std::string coco_annotations(const Findings& findings) {
    const LabelImage labels(findings);
    MaskBitmap pixels{labels.width(), labels.height(), {}};
    pixels.pixels.resize(std::size_t{labels.width()} * labels.height());
    for (unsigned y = 0; y < pixels.height; ++y) {
        labels.fill_row(y, std::span(pixels.pixels).subspan(std::size_t{y} * pixels.width, pixels.width));
    }
    Json annotations = Json::array();
    for (const CocoCategory& category : kCocoCategories) {
        Json annotation = annotation_of(pixels, category);
        if (!annotation.is_null()) annotations.push_back(std::move(annotation));
    }
    const Json json = {{"width", pixels.width}, {"height", pixels.height}, {"annotations", std::move(annotations)}};
    return json.dump() + "\n";
}

std::string coco_text(const std::vector<std::size_t>& counts) {
    constexpr unsigned kDigitBits = 5;
    constexpr std::int64_t kDigit = (1 << kDigitBits) - 1, kSign = 1 << (kDigitBits - 1), kMore = 1 << kDigitBits;
    constexpr char kZero = '0';
    std::string text;
    for (std::size_t i = 0; i < counts.size(); ++i) {
        auto rest = static_cast<std::int64_t>(counts[i]);
        if (i > 2) rest -= static_cast<std::int64_t>(counts[i - 2]);
        for (bool has_more = true; has_more;) {
            const std::int64_t digit = rest & kDigit;
            rest >>= kDigitBits;
            has_more = rest != ((digit & kSign) != 0 ? -1 : 0);
            text += static_cast<char>(kZero + digit + (has_more ? kMore : 0));
        }
    }
    return text;
}

}  // namespace Norvane::Host
