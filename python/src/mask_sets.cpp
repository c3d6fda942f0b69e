// SPDX-License-Identifier: Apache-2.0
#include "mask_sets.h"

#include <algorithm>
#include <span>
#include <utility>
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

/// Tells whether a column belongs to the runs. Columns must be asked for in ascending order.
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

// Membership changes only at the ends of runs.
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

std::vector<ColumnRun> combine_row(SetOperation operation, std::span<const ColumnRun> first,
                                   std::span<const ColumnRun> second) {
    std::vector<ColumnRun> result;
    RunCursor in_first(first), in_second(second);
    const std::vector<unsigned> ends = ends_of(first, second);
    for (std::size_t i = 0; i + 1 < ends.size(); ++i) {
        if (ends[i] == ends[i + 1]) continue;
        if (!is_kept(operation, in_first.holds(ends[i]), in_second.holds(ends[i]))) continue;
        if (result.empty() || result.back().last + 1 < ends[i]) {
            result.push_back({ends[i], ends[i + 1] - 1});
        } else {
            result.back().last = ends[i + 1] - 1;
        }
    }
    return result;
}

}  // namespace

Host::Region combine(SetOperation operation, const Host::Region& first, const Host::Region& second) {
    std::vector<RowRuns> rows;
    auto a = first.rows().begin();
    auto b = second.rows().begin();
    const auto end_of_a = first.rows().end(), end_of_b = second.rows().end();
    while (a != end_of_a || b != end_of_b) {
        const bool takes_a = a != end_of_a && (b == end_of_b || a->row <= b->row);
        const bool takes_b = b != end_of_b && (a == end_of_a || b->row <= a->row);
        const unsigned row = takes_a ? a->row : b->row;
        std::vector<ColumnRun> runs =
            combine_row(operation, takes_a ? std::span<const ColumnRun>(a->runs) : std::span<const ColumnRun>(),
                        takes_b ? std::span<const ColumnRun>(b->runs) : std::span<const ColumnRun>());
        if (!runs.empty()) rows.push_back({row, std::move(runs)});
        if (takes_a) ++a;
        if (takes_b) ++b;
    }
    return {std::move(rows), first.pixel_size_um()};
}

}  // namespace Norvane::Python
