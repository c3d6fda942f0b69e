// SPDX-License-Identifier: Apache-2.0
#include "mask_sets.h"

#include "findings/image_rows.h"

#include <algorithm>
#include <span>
#include <vector>

namespace Norvane::Python {
namespace {

using Host::ColumnRun;
using Host::RowRuns;

bool is_kept(SetOperation operation, bool in_first, bool in_second) {
    switch (operation) {
        case SetOperation::kBoth:
            return in_first && in_second;
        case SetOperation::kEither:
            return in_first || in_second;
        case SetOperation::kFirstOnly:
            return in_first && !in_second;
    }
    return false;
}

/// Whether a column belongs to the runs, for columns that come in ascending order.
class RunCursor {
public:
    explicit RunCursor(std::span<const ColumnRun> runs) : rest(runs) {}
    [[nodiscard]] bool holds(unsigned column) {
        while (!rest.empty() && rest.front().last < column) rest = rest.subspan(1);
        return !rest.empty() && rest.front().first <= column;
    }

private:
    std::span<const ColumnRun> rest;
};

// Membership changes at the ends of runs only.
std::vector<unsigned> ends_of(std::span<const ColumnRun> first, std::span<const ColumnRun> second) {
    std::vector<unsigned> ends;
    for (const auto& runs : {first, second}) {
        for (const ColumnRun& run : runs) {
            ends.push_back(run.first);
            ends.push_back(run.last + 1);
        }
    }
    std::ranges::sort(ends);
    return ends;
}

void combine_row(SetOperation operation, unsigned row, std::span<const ColumnRun> first,
                 std::span<const ColumnRun> second, Mask& result) {
    RunCursor in_first(first), in_second(second);
    const std::vector<unsigned> ends = ends_of(first, second);
    for (std::size_t i = 0; i + 1 < ends.size(); ++i) {
        if (ends[i] == ends[i + 1]) continue;
        if (is_kept(operation, in_first.holds(ends[i]), in_second.holds(ends[i])))
            result.AddSegment(row, ends[i], ends[i + 1] - ends[i] - 1);
    }
}

}  // namespace

Mask combine(SetOperation operation, Mask& first, Mask& second) {
    const std::vector<RowRuns> first_rows = Host::rows_of(first);
    const std::vector<RowRuns> second_rows = Host::rows_of(second);
    Mask result;
    result.SetPixelSize(first.GetPixelSize());
    result.SetTargetPixelSize(first.GetPixelSize());
    auto a = first_rows.begin();
    auto b = second_rows.begin();
    while (a != first_rows.end() || b != second_rows.end()) {
        const bool takes_a = a != first_rows.end() && (b == second_rows.end() || a->row <= b->row);
        const bool takes_b = b != second_rows.end() && (a == first_rows.end() || b->row <= a->row);
        const unsigned row = takes_a ? a->row : b->row;
        combine_row(operation, row, takes_a ? std::span<const ColumnRun>(a->runs) : std::span<const ColumnRun>(),
                    takes_b ? std::span<const ColumnRun>(b->runs) : std::span<const ColumnRun>(), result);
        if (takes_a) ++a;
        if (takes_b) ++b;
    }
    return result;
}

}  // namespace Norvane::Python
