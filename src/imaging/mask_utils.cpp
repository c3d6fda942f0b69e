// SPDX-License-Identifier: Apache-2.0
#include "imaging/mask_utils.h"

#include "imaging/ipl_bridge.h"
#include "imaging/morphological.h"
#include "model/mask_reader.h"
#include "model/pixels.h"
#include "model/scratch.h"
#include "platform/bit_rows.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iostream>
#include <limits>
#include <new>
#include <vector>

namespace Norvane::Utils {

namespace {

constexpr int kNullMask = 2;             // of the set operations
constexpr int kWrongDepth = 2;           // of the conversions
constexpr int kNotBinary = 3;            // of CopyBinaryRegion
constexpr int kMorphologyFailed = 3;     // any failure other than a bad argument
constexpr float kUnsetPixelSize = 1.0F;  // a pixel size up to this counts as unset

/// Calls visit(y, runs) for every target row with runs between the bounds of the mask. An empty mask has none, whatever
/// its bounds become in the target grid.
template <class Visit>
void for_rows_of(const Mask& mask, Visit visit) {
    if (MaskReader::is_empty(mask)) return;
    MaskReader reader(mask);
    const std::int64_t last = mask.GetMaxY();
    for (auto y = reader.next_row(mask.GetMinY()); y <= last; y = reader.next_row(y + 1))
        visit(static_cast<unsigned>(y), reader.row(y));
}

using Columns = Interval<std::uint64_t>;  // "last + 1" must not wrap

/// Adds what `holes` leave of a run.
void add_remainder(Mask& out, unsigned y, const Run& run, std::span<const Run> holes) {
    const std::uint64_t end = std::uint64_t{run.last} + 1;
    std::uint64_t at = run.first;
    for (const Run& hole : holes) {
        if (hole.last < at) continue;
        if (hole.first > at && !(hole.first >= end && at > run.last))
            add_run(out, y, Columns{at, std::min<std::uint64_t>(end, hole.first) - 1});
        at = std::uint64_t{hole.last} + 1;
    }
    if (at <= run.last) add_run(out, y, Columns{at, run.last});
}

/// The plain definition of the intersection: a - (box - b), where `box` bounds both. Only those rows of the box are
/// built that a reads later, in the grid of the second subtraction.
int intersect_by_complement(Mask* a, Mask* b, Mask* out) {
    GarbageList garbage;
    auto* box = make_scratch<Mask>(garbage);
    auto* complement = make_scratch<Mask>(garbage);
    const float grid = b->GetPixelSize();
    const unsigned x0 = std::min(a->GetMinX(), b->GetMinX()), x1 = std::max(a->GetMaxX(), b->GetMaxX());
    const unsigned y0 = std::min(a->GetMinY(), b->GetMinY()), y1 = std::max(a->GetMaxY(), b->GetMaxY());
    for (Mask* mask : {box, complement, out}) mask->SetPixelSize(grid);
    const float last_grid = out->GetPixelSize() <= kUnsetPixelSize ? a->GetPixelSize() : out->GetPixelSize();
    a->SetTargetPixelSize(last_grid);
    complement->SetTargetPixelSize(last_grid);
    for_rows_of(*a, [&](unsigned y, std::span<const Run>) {
        const unsigned row = MaskReader::stored_row(*complement, y);
        if (row >= y0 && row <= y1) box->AddSegment(row, x0, x1 - x0);
    });
    if (const int code = MaskSubtract(box, b, complement)) return code;
    return MaskSubtract(a, complement, out);
}

/// Adds the common columns of two rows. If a run ends before it begins, because its columns wrapped, adds nothing and
/// returns false: only the plain definition handles that.
bool add_common(Mask& out, std::int64_t y, std::span<const Run> a, std::span<const Run> b) {
    const auto is_wrapped = [](const Run& run) { return run.last < run.first; };
    if (std::ranges::any_of(a, is_wrapped) || std::ranges::any_of(b, is_wrapped)) return false;
    for (const Run& run : a)
        for (const Run& other : b) {
            if (other.first > run.last) break;
            const unsigned first = std::max(run.first, other.first), last = std::min(run.last, other.last);
            if (first <= last) add_run(out, y, Columns{first, last});
        }
    return true;
}

/// Intersects row by row, without box and complement. All three masks are read and written in the grid of b, where rows
/// are independent of each other and the definition gives exactly the common columns. Returns false if that does not
/// hold; what was added so far then belongs to the result as well. It does not hold if a pixel size counts as unset,
/// because the definition then changes grids on the way, nor if the output is also an input, because it changes
/// meanwhile.
bool intersect_rows(Mask* a, Mask* b, Mask* out) {
    const float grid = b->GetPixelSize();
    const bool keeps_its_grid = grid > kUnsetPixelSize && grid <= std::numeric_limits<float>::max();
    if (!keeps_its_grid || out == a || out == b) return false;
    out->SetPixelSize(grid);
    MaskReader reader_a(*a), reader_b(*b);
    const std::int64_t last = a->GetMaxY();
    for (auto y = reader_a.next_row(a->GetMinY()); y <= last;) {
        const auto others = reader_b.row(y);
        if (!add_common(*out, y, reader_a.row(y), others)) return false;
        const bool is_shared = !others.empty();  // else the next rows are alike, as long as both read the same
        y = reader_a.next_row(is_shared ? y + 1 : std::min(reader_b.next_row(y + 1), reader_a.next_other_row(y)));
    }
    return true;
}

std::span<unsigned char> row_bytes(const Image& image, std::size_t y) {
    return {image.GetBuffer() + y * row_pitch(image), row_pitch(image)};
}

/// Sets the pixels first .. last of a 1-bit row.
void set_pixels(std::span<unsigned char> row, std::size_t first, std::size_t last) {
    const auto from_first = static_cast<unsigned char>(0xFFU >> (first % 8));
    const auto up_to_last = static_cast<unsigned char>(0xFF00U >> (last % 8 + 1));
    if (first / 8 == last / 8) {
        row[first / 8] |= from_first & up_to_last;
        return;
    }
    row[first / 8] |= from_first;
    std::ranges::fill(row.subspan(first / 8 + 1, last / 8 - first / 8 - 1), std::uint8_t{0xFF});
    row[last / 8] |= up_to_last;
}

/// Adds the runs of set pixels of a 1-bit row, including padding columns, to mask row `y`. An added run ends at the
/// first clear column, or at the width if the row ends first.
void add_set_pixels(Mask& mask, unsigned y, unsigned off_x, std::span<const BitRows::Word> words, std::size_t pixels,
                    std::size_t width) {
    std::size_t first = BitRows::find(words, 0, true);
    while (first < pixels) {
        const std::size_t clear = BitRows::find(words, first, false);
        const std::size_t end = clear < pixels ? clear : width;
        if (end < first) return;  // an open run of padding columns
        add_run(mask, y, Columns{off_x + first, off_x + end});
        if (clear >= pixels) return;
        first = BitRows::find(words, clear, true);
    }
}

/// Zeroes the columns first .. end - 1 of a row of samples.
void zero_columns(std::span<unsigned char> row, std::size_t bytes_per_sample, std::int64_t first, std::int64_t end) {
    if (first >= end) return;
    std::memset(row.data() + static_cast<std::size_t>(first) * bytes_per_sample, 0,
                static_cast<std::size_t>(end - first) * bytes_per_sample);
}

int morphology_code(int code) { return code == kSuccess || code == kBadArgument ? code : kMorphologyFailed; }

/// The margins that a dilation needs around an image: as many pixels as it grows, but not beyond coordinate 0 on the
/// left and at the top.
struct Margins {
    unsigned left, top, growth;
};

/// A copy of a 1-bit image with clear margins around it.
int add_margins(const Image& image, const Margins& margins, GarbageList& garbage, Image*& padded) {
    const std::uint64_t width = std::uint64_t{image.GetWidth()} + margins.left + margins.growth;
    const std::uint64_t height = std::uint64_t{image.GetHeight()} + margins.top + margins.growth;
    if (std::max(width, height) > std::numeric_limits<unsigned>::max()) throw std::bad_alloc();
    padded = make_scratch<Image>(garbage, image.GetFormat(), 1U, static_cast<unsigned>(width),
                                 static_cast<unsigned>(height), true);
    const int code =
        CopyBinaryRegion(&image, padded, 0, 0, margins.left, margins.top, image.GetWidth(), image.GetHeight());
    padded->SetOffX(image.GetOffX() - margins.left);
    padded->SetOffY(image.GetOffY() - margins.top);
    return code;
}

}  // namespace

int MaskCopy(Mask* src, Mask* dst) {
    if (!src || !dst) {
        std::cout << "Utils.MaskCopy(): Uninitialized mask" << std::endl;
        return kBadArgument;
    }
    dst->Clear();
    dst->SetPixelSize(src->GetPixelSize());
    src->SetTargetPixelSize(src->GetPixelSize());
    for_rows_of(*src, [&](unsigned y, std::span<const Run> runs) {
        for (const Run& run : runs) add_run(*dst, y, run);
    });
    return kSuccess;
}

int MaskSubtract(Mask* a, Mask* b, Mask* out) {
    if (!a || !b || !out) return kNullMask;
    if (out->GetPixelSize() <= kUnsetPixelSize) out->SetPixelSize(a->GetPixelSize());
    a->SetTargetPixelSize(out->GetPixelSize());
    b->SetTargetPixelSize(out->GetPixelSize());
    MaskReader reader_b(*b);
    for_rows_of(*a, [&](unsigned y, std::span<const Run> runs) {
        const auto holes = reader_b.row(y);
        for (const Run& run : runs) {
            if (holes.empty() || holes.front().first > run.last || holes.back().last < run.first)
                add_run(*out, y, run);
            else
                add_remainder(*out, y, run, holes);
        }
    });
    return kSuccess;
}

int MaskIntersect(Mask* a, Mask* b, Mask* out) {
    if (!a || !b || !out) return kNullMask;
    a->SetTargetPixelSize(b->GetPixelSize());
    b->SetTargetPixelSize(b->GetPixelSize());
    return intersect_rows(a, b, out) ? kSuccess : intersect_by_complement(a, b, out);
}

int MaskToImage(Mask* mask, Image* image) {
    if (!mask || !image) return kBadArgument;
    mask->SetTargetPixelSize(mask->GetPixelSize());
    const unsigned x0 = mask->GetMinX(), y0 = mask->GetMinY();
    image->SetBits(1, false);
    image->SetWidth(mask->GetMaxX() - x0 + 1, false);
    image->SetHeight(mask->GetMaxY() - y0 + 1, true);  // a new buffer of zeros
    image->SetPixelSize(mask->GetPixelSize());
    image->SetOffX(x0);
    image->SetOffY(y0);
    if (MaskReader::is_empty(*mask)) return kSuccess;
    MaskReader reader(*mask);
    for (unsigned r = 0; r < image->GetHeight(); ++r)
        for (const Run& run : reader.row(y0 + r)) {
            const std::int64_t first = std::max<std::int64_t>(std::int64_t{run.first} - x0, 0);
            const std::int64_t last = std::min<std::int64_t>(run.last, std::int64_t{x0} + image->GetWidth() - 1) - x0;
            if (first > last) continue;  // columns that wrapped
            set_pixels(row_bytes(*image, r), static_cast<std::size_t>(first), static_cast<std::size_t>(last));
        }
    return kSuccess;
}

int ImageToMask(const Image* image, Mask* mask) {
    if (!image || !mask) return kBadArgument;
    if (image->GetBits() != 1) return kWrongDepth;
    if (!image->GetBuffer()) return kBadArgument;
    mask->Clear();
    mask->SetPixelSize(image->GetPixelSize());
    const std::size_t pixels = 8 * row_pitch(*image);
    std::vector<BitRows::Word> words(BitRows::words_for(pixels));
    for (unsigned r = 0; r < image->GetHeight(); ++r) {
        BitRows::load(row_bytes(*image, r), words);
        add_set_pixels(*mask, image->GetOffY() + r, image->GetOffX(), words, pixels, image->GetWidth());
    }
    return kSuccess;
}

int ApplyMask(Image* image, Mask* mask) {
    if (!image || !mask) return kBadArgument;
    const unsigned bits = image->GetBits();
    if (bits != 8 && bits != 16 && bits != 32) return kWrongDepth;
    if (!image->GetBuffer()) return kBadArgument;
    mask->SetTargetPixelSize(image->GetPixelSize());
    MaskReader reader(*mask);
    const std::int64_t width = std::min(image->GetWidth(), image->GetStride());
    for (unsigned r = 0; r < image->GetHeight(); ++r) {
        const auto row = row_bytes(*image, r);
        std::int64_t outside = 0;  // the first column after the runs so far
        for (const Run& run : reader.row(image->GetOffY() + r)) {
            zero_columns(row, bits / 8, outside, std::min(std::int64_t{run.first} - image->GetOffX(), width));
            outside = std::max<std::int64_t>(std::int64_t{run.last} - image->GetOffX() + 1, 0);
        }
        zero_columns(row, bits / 8, outside, width);
    }
    return kSuccess;
}

int CopyBinaryRegion(const Image* src, Image* dst, unsigned srcX, unsigned srcY, unsigned dstX, unsigned dstY,
                     unsigned w, unsigned h) {
    if (!src || !dst) return kBadArgument;
    if (src->GetBits() != 1 || dst->GetBits() != 1) return kNotBinary;
    const auto leaves = [](unsigned start, unsigned extent, unsigned size) {
        return std::uint64_t{start} + extent > size;
    };
    if (leaves(srcX, w, src->GetWidth()) || leaves(srcY, h, src->GetHeight()) || leaves(dstX, w, dst->GetWidth()) ||
        leaves(dstY, h, dst->GetHeight()))
        return kBadArgument;
    if (!src->GetBuffer() || !dst->GetBuffer()) return kBadArgument;
    if (src->GetStride() < src->GetWidth() || dst->GetStride() < dst->GetWidth()) return kBadArgument;
    std::vector<BitRows::Word> from(BitRows::words_for(8 * row_pitch(*src)));
    std::vector<BitRows::Word> to(BitRows::words_for(8 * row_pitch(*dst)));
    for (unsigned j = 0; j < h; ++j) {
        BitRows::load(row_bytes(*src, std::size_t{srcY} + j), from);
        BitRows::load(row_bytes(*dst, std::size_t{dstY} + j), to);
        BitRows::keep_only(from, srcX, std::size_t{srcX} + w);
        BitRows::add_shifted(from, std::int64_t{dstX} - srcX, to);
        BitRows::store(to, row_bytes(*dst, std::size_t{dstY} + j));
    }
    dst->SetPixelSize(src->GetPixelSize());
    return kSuccess;
}

int MaskErode(Mask* src, Mask* dst, int iterations) {
    GarbageList garbage;
    auto* image = make_scratch<Image>(garbage);
    if (const int code = MaskToImage(src, image)) return morphology_code(code);
    auto* eroded = make_scratch<Image>(garbage, image, true);
    if (const int code = Morphological::Erode(image, eroded, iterations)) return morphology_code(code);
    return morphology_code(ImageToMask(eroded, dst));
}

int MaskDilate(Mask* src, Mask* dst, int iterations) {
    GarbageList garbage;
    auto* image = make_scratch<Image>(garbage);
    if (MaskToImage(src, image) != kSuccess) return kBadArgument;
    if (iterations < 1) {
        ImageToMask(image, dst);
        return kSuccess;
    }
    const auto growth = static_cast<unsigned>(iterations);
    const Margins margins{std::min(growth, image->GetOffX()), std::min(growth, image->GetOffY()), growth};
    Image* padded = nullptr;
    if (const int code = add_margins(*image, margins, garbage, padded)) return morphology_code(code);
    auto* dilated = make_scratch<Image>(garbage, padded, true);
    if (const int code = Morphological::Dilate(padded, dilated, iterations)) return morphology_code(code);
    return morphology_code(ImageToMask(dilated, dst));
}

}  // namespace Norvane::Utils
