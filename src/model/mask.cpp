// SPDX-License-Identifier: Apache-2.0
#include <norvane/mask.h>

#include "model/numbers.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <iterator>

namespace Norvane {
namespace {

/// Converts a coordinate from one grid to another, rounded half up. Between equal grids, this is the identity, because
/// product and quotient err by far less than a half.
unsigned rescaled(unsigned v, float from, float to) {
    if (from == to && std::isfinite(from)) return v;
    return truncate_to<unsigned>(v * double{from} / double{to} + 0.5);
}

/// A weight for each index. Only its changes are stored.
using WeightSteps = std::map<std::uint64_t, std::int64_t>;

/// The first index, from `origin` on, at which the weights so far add up to at least `half`.
unsigned median_index(const WeightSteps& steps, unsigned origin, std::uint64_t half) {
    if (half == 0) return origin;
    std::uint64_t sum = 0;
    std::int64_t weight = 0;
    for (auto at = steps.begin(); at != steps.end(); ++at) {
        weight += at->second;
        if (weight <= 0) continue;  // a positive weight always ends at a later step
        const auto per_index = static_cast<std::uint64_t>(weight);
        const std::uint64_t length = std::next(at)->first - at->first;
        const std::uint64_t needed = (half - sum + per_index - 1) / per_index;
        if (needed <= length) return static_cast<unsigned>(at->first + needed - 1);
        sum += per_index * length;
    }
    return origin;
}

}  // namespace

// An end that wrapped below its start is kept unchanged, and it touches nothing after its start.
void Mask::Runs::add(Columns run) {
    if (several.empty()) several.push_back(only);
    auto base = several.back().first < run.first ? several.end()
                                                 : std::ranges::lower_bound(several, run.first, {}, &Columns::first);
    if (base != several.end() && base->first == run.first) {
        base->last = std::max(base->last, run.last);
    } else {
        base = several.insert(base, run);
        if (base != several.begin() && run.first <= std::uint64_t{std::prev(base)->last} + 1) --base;
    }
    const std::uint64_t touches_up_to = std::uint64_t{run.last} + 1;
    auto joined = base;
    for (; joined != several.end() && joined->first <= touches_up_to; ++joined)
        base->last = std::max(base->last, joined->last);
    if (joined > base + 1) several.erase(base + 1, joined);
    if (several.size() > 1) return;
    only = several.front();
    several.clear();
}

Mask::Mask() = default;
Mask::Mask(const Mask& other) = default;
Mask::~Mask() = default;

Mask& Mask::operator=(const Mask& other) {
    if (this == &other) return *this;
    auto copied_rows = other.rows;  // may throw, while the target still holds its own
    rows.swap(copied_rows);
    GarbageItem::operator=(other);
    pixelSize = other.pixelSize;
    targetPixelSize = other.targetPixelSize;
    minX = other.minX;
    maxX = other.maxX;
    minY = other.minY;
    maxY = other.maxY;
    return *this;
}

void Mask::init() {
    pixelSize = targetPixelSize = 0.0F;
    minX = minY = 0xFFFFFFFFU;
    maxX = maxY = 0;
}

void Mask::Clear() {
    rows.clear();
    init();
}

unsigned Mask::mask_to_target(unsigned v) const {
    return targetPixelSize > 0.0F ? rescaled(v, pixelSize, targetPixelSize) : v;
}

unsigned Mask::target_to_mask(unsigned v) const {
    return targetPixelSize > 0.0F ? rescaled(v, targetPixelSize, pixelSize) : v;
}

unsigned Mask::GetMinX() const { return mask_to_target(minX); }
unsigned Mask::GetMaxX() const { return mask_to_target(maxX); }
unsigned Mask::GetMinY() const { return mask_to_target(minY); }
unsigned Mask::GetMaxY() const { return mask_to_target(maxY); }

void Mask::AddSegment(unsigned row, unsigned start, unsigned extent) {
    const unsigned end = start + extent;
    // Rows mostly come in ascending order: look at the end before searching.
    if (rows.empty() || rows.rbegin()->first < row) {
        rows.emplace_hint(rows.end(), row, Runs({start, end}));
    } else if (const auto [at, is_new] = rows.try_emplace(row, Columns{start, end}); !is_new) {
        at->second.add({start, end});
    }
    minX = std::min(minX, start);
    maxX = std::max(maxX, end);
    minY = std::min(minY, row);
    maxY = std::max(maxY, row);
}

void Mask::GetSegments(unsigned row, unsigned& count, unsigned*& pairs) const {
    count = 0;
    pairs = nullptr;
    const auto at = rows.find(target_to_mask(row));
    if (at == rows.end()) return;
    pairs = new unsigned[2 * at->second.size()];
    count = static_cast<unsigned>(at->second.size());
    unsigned* next = pairs;
    for (const auto& [first, last] : at->second) {
        *next++ = mask_to_target(first);
        *next++ = mask_to_target(last);
    }
}

void Mask::ClearSegments(unsigned*& pairs) const {
    delete[] pairs;
    pairs = nullptr;
}

bool Mask::HitTest(unsigned x, unsigned y) const {
    const unsigned column = target_to_mask(x), row = target_to_mask(y);
    if (column < minX || column > maxX || row < minY || row > maxY) return false;
    const auto at = rows.find(row);
    if (at == rows.end()) return false;
    for (const auto& [first, last] : at->second) {
        if (column < first) return false;
        if (column <= last) return true;
    }
    return false;
}

bool Mask::ComputeCentroid(unsigned& x, unsigned& y) const {
    x = y = 0;
    if (maxX < minX || maxY < minY) return false;
    // The weights of columns and rows are stored as changes, so that the cost depends on the runs and not on their
    // coordinates.
    WeightSteps columns, row_weights;
    std::uint64_t total = 0;
    for (const auto& [row, runs] : rows) {
        std::int64_t pixels = 0;
        for (const auto& [first, last] : runs) {
            if (last <= first) continue;  // the last column of a run does not count
            pixels += last - first;
            ++columns[first];
            --columns[last];
        }
        row_weights[row] += pixels;
        row_weights[std::uint64_t{row} + 1] -= pixels;
        total += static_cast<std::uint64_t>(pixels);
    }
    y = mask_to_target(median_index(row_weights, minY, total / 2));
    x = mask_to_target(median_index(columns, minX, total / 2));
    return true;
}

}  // namespace Norvane
