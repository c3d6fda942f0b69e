// SPDX-License-Identifier: Apache-2.0
/// Fills a closed polygon into a mask by scan conversion with an active edge list [foley1990]. The column of each edge
/// advances from row to row by an integer error term, as in Bresenham's line [bresenham1965].
#include <norvane/mask.h>

#include "model/mask_reader.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <list>
#include <map>
#include <span>
#include <vector>

namespace Norvane {
namespace {

struct Vertex {
    int x, y;
};

/// An edge that is not horizontal. It starts at its upper row; rows count downwards.
struct Edge {
    std::int64_t x;  // column in the current row
    int last_row;    // the edge is no longer used on this row
    std::int64_t dx, dy;
    std::int64_t error = 0;

    /// Moves to the next row. dx / dy truncates toward zero, and the remainders add up in the error term.
    void advance() {
        if (dx == 0) return;
        const std::int64_t whole = dx / dy;
        x += whole;
        error += 2 * dx - 2 * dy * whole;
        if (error <= dy && error >= -dy) return;
        const std::int64_t direction = dx > 0 ? 1 : -1;
        x += direction;
        error -= direction * 2 * dy;
    }
};

using EdgeTable = std::map<int, std::list<Edge>>;  // by first row; the edge that was added last comes first

std::vector<Vertex> vertices_of(std::span<const int> points) {
    std::vector<Vertex> vertices(points.size() / 2);
    for (std::size_t i = 0; i < vertices.size(); ++i) vertices[i] = {points[2 * i], points[2 * i + 1]};
    return vertices;
}

EdgeTable edge_table(std::span<const Vertex> vertices) {
    EdgeTable table;
    for (std::size_t i = 0; i < vertices.size(); ++i) {
        Vertex a = vertices[i], b = vertices[(i + 1) % vertices.size()];
        if (a.y == b.y) continue;
        if (b.y < a.y) std::swap(a, b);
        table[a.y].push_front({a.x, b.y, std::int64_t{b.x} - a.x, std::int64_t{b.y} - a.y});
    }
    return table;
}

/// Adds columns x0 .. x1 (x0 <= x1) of a row and returns their extent.
std::uint32_t add_columns(Mask& mask, int row, std::int64_t x0, std::int64_t x1) {
    add_run(mask, row, Interval<std::int64_t>{x0, x1});
    return static_cast<std::uint32_t>(x1 - x0);
}

/// Adds the horizontal edges to the mask, because the scan skips them.
std::uint32_t add_horizontal_edges(Mask& mask, std::span<const Vertex> vertices) {
    std::uint32_t sum = 0;
    Vertex previous = vertices.back();
    for (const Vertex& v : vertices) {
        if (v.y == previous.y) sum += add_columns(mask, v.y, std::min(v.x, previous.x), std::max(v.x, previous.x));
        previous = v;
    }
    return sum;
}

/// The columns between each pair of crossings of a row.
std::uint32_t add_spans(Mask& mask, int row, const std::list<Edge>& active, std::vector<std::int64_t>& crossings) {
    crossings.clear();
    for (const Edge& e : active) crossings.push_back(e.x);
    std::sort(crossings.begin(), crossings.end());
    std::uint32_t sum = 0;
    for (std::size_t i = 0; i + 1 < crossings.size(); i += 2)
        sum += add_columns(mask, row, crossings[i], crossings[i + 1]);
    return sum;
}

std::uint32_t scan_rows(Mask& mask, EdgeTable table, int first_row, int last_row) {
    std::uint32_t sum = 0;
    std::list<Edge> active;
    std::vector<std::int64_t> crossings;
    for (std::int64_t y = first_row; y <= last_row; ++y) {
        const int row = static_cast<int>(y);
        active.remove_if([row](const Edge& e) { return e.last_row == row; });
        for (Edge& e : active) e.advance();
        // New edges join on their first row and are not advanced yet.
        if (const auto starting = table.find(row); starting != table.end())
            active.splice(active.end(), starting->second);
        sum += add_spans(mask, row, active, crossings);
    }
    return sum;
}

}  // namespace

int Mask::GenerateFromClosedPolygon(std::vector<int> points, Mask* /*unusedMask*/, Image* /*unusedImage*/) {
    const std::vector<Vertex> vertices = vertices_of(points);
    if (vertices.empty()) return 0;
    std::uint32_t sum = add_horizontal_edges(*this, vertices);
    const auto [top, bottom] = std::minmax_element(vertices.begin(), vertices.end(),
                                                   [](const Vertex& a, const Vertex& b) { return a.y < b.y; });
    sum += scan_rows(*this, edge_table(vertices), top->y, bottom->y);
    return static_cast<int>(sum);
}

}  // namespace Norvane
