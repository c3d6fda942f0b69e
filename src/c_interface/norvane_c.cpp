// SPDX-License-Identifier: Apache-2.0
/// The functions for C: arguments are checked and copied, the library is called, and exceptions become results.
#include <norvane/norvane.h>
#include <norvane/norvane_c.h>

#include "imaging/mask_utils.h"
#include "model/mask_reader.h"
#include "model/pixels.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <span>
#include <vector>

using namespace Norvane;

struct norvane_image {
    std::unique_ptr<Image> raster;
    BG_NOISE noise = BG_AUTO;
    unsigned short padding_low = 0;
    unsigned short padding_high = 0;

    /// The operations take an image that they might change. A copy refers to the same pixels, which they only read.
    [[nodiscard]] Image for_a_call() const { return *raster; }
};

/// On its own grid: both pixel sizes are equal.
struct norvane_mask {
    Mask mask;
};

namespace {

constexpr bool is_same(int in_c, int in_library) { return in_c == in_library; }
static_assert(is_same(NORVANE_SIDE_RIGHT, SIDE_CHEST_RIGHT));
static_assert(is_same(NORVANE_SIDE_LEFT, SIDE_CHEST_LEFT));
static_assert(is_same(NORVANE_VIEW_MUSCLE, VIEW_PECT));
static_assert(is_same(NORVANE_VIEW_NO_MUSCLE, VIEW_NO_PECT));
static_assert(is_same(NORVANE_NOISE_GIVEN_LEVEL, BG_GIVEN_LEVEL));
static_assert(is_same(NORVANE_NOISE_AUTO_MEDIUM, BG_AUTO_MEDIUM));
static_assert(is_same(NORVANE_MASK_NO_SIDE, Masking::MASK_NO_SIDE));
static_assert(is_same(NORVANE_MASK_PECT_FAILED, Masking::MASK_PECT_FAILED));
static_assert(is_same(NORVANE_MASK_BOUNDARY_TRACING, Masking::MASK_BOUNDARY_TRACING));
static_assert(is_same(NORVANE_OUTLINE_POINTS, Masking::c_num_angles));

constexpr std::uint32_t kMostOnSide = (std::uint32_t{1} << 28) - 1;  // images count their bits with 32 bits
constexpr unsigned kMostBits = 16;
constexpr unsigned kSignBit = 0x8000;

thread_local const char* last_error = "";

/// An argument is wrong; the sentence is a literal.
struct BadArgument {
    const char* sentence;
};

void expect(bool condition, const char* sentence) {
    if (!condition) throw BadArgument{sentence};
}

/// Does the work. Nothing is thrown across the border.
template <class Work>
norvane_result guarded(const Work& work) noexcept {
    try {
        work();
        last_error = "";
        return NORVANE_DONE;
    } catch (const BadArgument& wrong) {
        last_error = wrong.sentence;
        return NORVANE_BAD_ARGUMENT;
    } catch (const std::bad_alloc&) {
        last_error = "There is not enough memory.";
        return NORVANE_NO_MEMORY;
    }
}

/// The caller's struct, of whatever version: members that it does not have yet keep their defaults.
template <class Struct>
Struct current(const Struct* given, Struct defaults, const char* sentence) {
    expect(given != nullptr && given->struct_size > sizeof given->struct_size, sentence);
    std::memcpy(&defaults, given, std::min(given->struct_size, sizeof defaults));
    return defaults;
}

/// Writes what the caller's struct has of the defaults.
template <class Struct>
void initialise(Struct* given, std::size_t size, Struct defaults) {
    if (given == nullptr) return;
    defaults.struct_size = size;
    std::memcpy(given, &defaults, std::min(size, sizeof defaults));
}

norvane_picture default_picture() {
    norvane_picture picture{};
    picture.used_bits = kMostBits;
    picture.noise_class = NORVANE_NOISE_AUTO;
    picture.resample_first = 1;
    return picture;
}

norvane_params default_params() {
    norvane_params params{};
    params.side = NORVANE_SIDE_UNDEFINED;
    params.view = NORVANE_VIEW_UNDEFINED;
    params.noise_class = NORVANE_NOISE_AUTO;
    params.full_contour = params.smooth_contour = params.check_cut_tissue = 1;
    return params;
}

Masking::Params library_params(const norvane_params* given) {
    const norvane_params from = current(given, default_params(), "params: set struct_size with norvane_init_params().");
    Masking::Params params;
    params.side = static_cast<IMAGE_SIDE>(from.side);
    params.view = static_cast<IMAGE_VIEW>(from.view);
    params.bgNoise = static_cast<BG_NOISE>(from.noise_class);
    params.noiseLevel = from.noise_level;
    params.pixelPaddingValueRangeLimit = from.padding_limit;
    params.fullContour = from.full_contour != 0;
    params.singleContour = from.single_contour != 0;
    params.smoothContour = from.smooth_contour != 0;
    params.contourOffset = from.contour_offset;
    params.checkCutTissue = from.check_cut_tissue != 0;
    params.maskingSpeed = from.fast != 0;
    params.pectContour = from.muscle_outline != 0;
    return params;
}

float pixel_size_of(double micrometres) {
    const auto largest = double{std::numeric_limits<float>::max()};
    expect(micrometres > 0.0 && micrometres <= largest && static_cast<float>(micrometres) > 0.0F,
           "pixel_size: it must be above 0 and finite.");
    return static_cast<float>(micrometres);
}

void check(const norvane_picture& picture) {
    expect(picture.samples != nullptr, "picture: the samples are missing.");
    expect(picture.width > 0 && picture.height > 0, "picture: width and height must be above 0.");
    expect(picture.width <= kMostOnSide && picture.height <= kMostOnSide / (picture.width + picture.width % 2),
           "picture: it has more than 2^28 - 1 samples.");
    expect(picture.row_stride == 0 || picture.row_stride >= picture.width, "picture: row_stride is below the width.");
    expect(picture.used_bits >= 1 && picture.used_bits <= kMostBits, "picture: used_bits must be 1 to 16.");
    expect(pixel_size_of(picture.pixel_size) <= Masking::c_lowres_pixelsize,
           "picture: pixel_size must be at most 228 micrometres.");
}

/// A copy of the samples for PrepareImage(). It takes 16 used bits as signed, and padding columns as pixels; norvane.h
/// says why the top bit is flipped and the last column repeated.
std::unique_ptr<Image> acquired_image(const norvane_picture& picture) {
    auto image = std::make_unique<Image>(FORMAT_UNSIGNED, kMostBits, picture.width, picture.height, true);
    image->SetUsedBits(picture.used_bits);
    image->SetPixelSize(static_cast<float>(picture.pixel_size));
    image->SetNeedsInversion(picture.inverted != 0);
    const std::size_t stride = picture.row_stride != 0 ? picture.row_stride : picture.width;
    const unsigned flip = picture.used_bits == kMostBits ? kSignBit : 0;
    for (unsigned y = 0; y < picture.height; ++y) {
        const std::span from(picture.samples + y * stride, picture.width);
        const auto row = whole_row_of<std::uint16_t>(*image, y);
        const auto end = std::ranges::transform(from, row.begin(), [flip](unsigned v) {
                             return static_cast<std::uint16_t>(v ^ flip);
                         }).out;
        std::fill(end, row.end(), row[picture.width - 1]);
    }
    return image;
}

/// A new handle. The library may have read the mask in another grid.
std::unique_ptr<norvane_mask> handle_of(Mask mask, float pixel_size) {
    auto handle = std::make_unique<norvane_mask>();
    mask.SetPixelSize(pixel_size);
    mask.SetTargetPixelSize(pixel_size);
    handle->mask = mask;
    return handle;
}

Mask empty_mask(float pixel_size) { return handle_of(Mask(), pixel_size)->mask; }

/// One call of an operation, with objects of its own.
struct Operation {
    Operation(const norvane_image* given, const norvane_params* given_params, const int32_t* status) {
        expect(given != nullptr, "image: it is missing.");
        expect(status != nullptr, "status: it is missing.");
        params = library_params(given_params);
        image = given->for_a_call();
        frame = new_mask();
    }
    Operation(const norvane_image* given, const norvane_params* given_params, const norvane_mask* given_frame,
              const int32_t* status)
        : Operation(given, given_params, status) {
        if (given_frame != nullptr) frame = known_mask(*given_frame);
    }

    [[nodiscard]] Mask new_mask() const { return empty_mask(image.GetPixelSize()); }

    /// A mask that the caller passes, on the grid of the image: its pixel size may differ by what rounding leaves.
    [[nodiscard]] Mask known_mask(const norvane_mask& given) const {
        const float own = given.mask.GetPixelSize(), expected = image.GetPixelSize();
        const auto longest = static_cast<float>(std::max(image.GetWidth(), image.GetHeight()));
        expect(std::abs(own - expected) * longest < 0.5F * std::min(own, expected),
               "A mask that is passed in must have the pixel size of the image.");
        return handle_of(given.mask, expected)->mask;
    }

    [[nodiscard]] std::unique_ptr<norvane_mask> made(const Mask& mask) const {
        return handle_of(mask, image.GetPixelSize());
    }

    Masking::Params params;
    Image image;
    Mask frame;
};

/// Calls `visit` with each row number and its runs, in the mask's own grid.
template <class Visit>
void visit_rows(const Mask& mask, const Visit& visit) {
    MaskReader reader(mask);
    for (std::int64_t y = reader.next_row(0); y != MaskReader::kNoRow; y = reader.next_row(y + 1)) {
        visit(static_cast<std::uint32_t>(y), reader.row(y));
    }
}

/// The row or column of the mask that each row or column of a bitmap shows.
std::vector<unsigned> shown_lines(const Mask& mask, std::uint32_t count) {
    std::vector<unsigned> lines(count);
    for (std::uint32_t v = 0; v < count; ++v) lines[v] = MaskReader::stored_row(mask, v);
    return lines;
}

template <class Combine>
norvane_result combined(const norvane_mask* first, const norvane_mask* second, norvane_mask** result,
                        const Combine& combine) {
    return guarded([&] {
        expect(first != nullptr && second != nullptr && result != nullptr, "A mask or the result is missing.");
        const float pixel_size = first->mask.GetPixelSize();
        expect(pixel_size == second->mask.GetPixelSize(), "The masks have different pixel sizes.");
        Mask a = first->mask, b = second->mask, out = empty_mask(pixel_size);
        combine(a, b, out);
        *result = handle_of(out, pixel_size).release();
    });
}

}  // namespace

const char* norvane_version(void) { return Version(); }
const char* norvane_status_sentence(int32_t status) {
    return StatusSentence(static_cast<Masking::MASK_STATUS>(status));
}
const char* norvane_last_error(void) { return last_error; }

void norvane_init_picture(norvane_picture* picture, size_t struct_size) {
    initialise(picture, struct_size, default_picture());
}

void norvane_init_params(norvane_params* params, size_t struct_size, const norvane_image* image) {
    norvane_params defaults = default_params();
    if (image != nullptr) {
        defaults.noise_class = image->noise;
        defaults.noise_level = image->padding_high;
        defaults.padding_limit = image->padding_low;
    }
    initialise(params, struct_size, defaults);
}

norvane_result norvane_prepare(const norvane_picture* picture, norvane_image** image) {
    return guarded([&] {
        expect(image != nullptr, "image: the place for the answer is missing.");
        const norvane_picture given =
            current(picture, default_picture(), "picture: set struct_size with norvane_init_picture().");
        check(given);
        const auto acquired = acquired_image(given);
        auto made = std::make_unique<norvane_image>();
        made->noise = static_cast<BG_NOISE>(given.noise_class);
        const bool has_padding = given.has_padding != 0;
        unsigned short one_end = has_padding ? given.padding_low : 0, other_end = has_padding ? given.padding_high : 0;
        float scale = 0.0F;
        made->raster.reset(
            PrepareImage(acquired.get(), scale, made->noise, given.resample_first != 0, nullptr, &one_end, &other_end));
        expect(made->raster != nullptr && made->raster->GetBuffer() != nullptr, "picture: it cannot be prepared.");
        made->padding_low = std::min(one_end, other_end);  // inversion swaps the ends
        made->padding_high = std::max(one_end, other_end);
        *image = made.release();
    });
}

void norvane_free_image(norvane_image* image) { delete image; }

norvane_result norvane_image_size(const norvane_image* image, uint32_t* width, uint32_t* height, double* pixel_size) {
    return guarded([&] {
        expect(image != nullptr, "image: it is missing.");
        if (width != nullptr) *width = image->raster->GetWidth();
        if (height != nullptr) *height = image->raster->GetHeight();
        if (pixel_size != nullptr) *pixel_size = image->raster->GetPixelSize();
    });
}

norvane_result norvane_image_pixels(const norvane_image* image, uint16_t* pixels) {
    return guarded([&] {
        expect(image != nullptr && pixels != nullptr, "The image or the place for its pixels is missing.");
        for (unsigned y = 0; y < image->raster->GetHeight(); ++y) {
            pixels = std::ranges::copy(grey_row(*image->raster, y), pixels).out;
        }
    });
}

norvane_result norvane_frame_mask(const norvane_image* image, const norvane_params* params, norvane_mask** frame,
                                  int32_t* status) {
    return guarded([&] {
        expect(frame != nullptr, "frame: the place for the answer is missing.");
        Operation call(image, params, status);
        Mask* found = &call.frame;
        const auto answer = NvGenerateFrameMask(&call.image, call.params, found);
        *frame = call.made(call.frame).release();
        *status = answer;
    });
}

norvane_result norvane_breast_mask(const norvane_image* image, const norvane_params* params, const norvane_mask* frame,
                                   norvane_mask** breast, int32_t* status) {
    return guarded([&] {
        expect(breast != nullptr, "breast: the place for the answer is missing.");
        Operation call(image, params, frame, status);
        Mask found = call.new_mask();
        const auto answer = NvGenerateBreastMask(&call.image, call.params, &call.frame, &found, nullptr);
        *breast = call.made(found).release();
        *status = answer;
    });
}

norvane_result norvane_outline(const norvane_image* image, const norvane_params* params, const norvane_mask* frame,
                               int32_t* points, uint32_t* count, int32_t* status) {
    return guarded([&] {
        expect(points != nullptr && count != nullptr, "points or count: the place for the answer is missing.");
        Operation call(image, params, frame, status);
        std::vector<int> outline(2 * std::size_t{NORVANE_OUTLINE_POINTS}, -1);
        call.params.contourOutput = true;
        call.params.contour = &outline;
        Mask unused = call.new_mask();
        *status = NvGenerateBreastMask(&call.image, call.params, &call.frame, &unused, nullptr);
        const bool was_written = !outline.empty() && outline.front() >= 0;  // if one point was, all were
        *count = was_written ? NORVANE_OUTLINE_POINTS : 0;
        if (was_written) std::ranges::copy(outline, points);
    });
}

norvane_result norvane_full_mask(const norvane_image* image, const norvane_params* params, const norvane_mask* frame,
                                 norvane_mask** full, norvane_mask** muscle, norvane_mask** outer, int32_t* status) {
    return guarded([&] {
        expect(full != nullptr, "full: the place for the answer is missing.");
        Operation call(image, params, frame, status);
        Mask found = call.new_mask(), found_muscle = call.new_mask(), found_outer = call.new_mask();
        // Without the outer contour, its mask would stay empty, and the check for cut tissue would use it.
        Mask* second = call.params.fullContour ? &found_outer : nullptr;
        const auto answer = NvGenerateFullMask(&call.image, call.params, &call.frame, &found, &found_muscle, second);
        auto made = call.made(found), made_muscle = call.made(found_muscle), made_outer = call.made(found_outer);
        *full = made.release();
        if (muscle != nullptr) *muscle = made_muscle.release();
        if (outer != nullptr) *outer = made_outer.release();
        *status = answer;
    });
}

norvane_result norvane_muscle_mask(const norvane_image* image, const norvane_params* params, const norvane_mask* frame,
                                   const norvane_mask* breast, norvane_mask** muscle, int32_t* status) {
    return guarded([&] {
        expect(breast != nullptr && muscle != nullptr, "The breast or the place for the muscle is missing.");
        Operation call(image, params, frame, status);
        Mask known = call.known_mask(*breast), found = call.new_mask();
        const auto answer = NvGeneratePectMask(&call.image, call.params, &call.frame, &known, &found);
        if (answer != Masking::MASK_OK) found.Clear();  // a rejected line leaves its muscle in the mask
        *muscle = call.made(found).release();
        *status = answer;
    });
}

norvane_result norvane_mask_from_runs(const norvane_run* runs, size_t count, double pixel_size, norvane_mask** mask) {
    return guarded([&] {
        expect(mask != nullptr && (runs != nullptr || count == 0), "The runs or the place for the mask are missing.");
        const float micrometres = pixel_size_of(pixel_size);
        Mask made = empty_mask(micrometres);
        for (const norvane_run& run : std::span(runs, count)) {
            expect(run.row < kMostOnSide && run.first <= run.last && run.last < kMostOnSide,
                   "runs: first must not be above last, and no number may reach 2^28 - 1.");
            made.AddSegment(run.row, run.first, run.last - run.first);
        }
        *mask = handle_of(made, micrometres).release();
    });
}

void norvane_free_mask(norvane_mask* mask) { delete mask; }

norvane_result norvane_mask_runs(const norvane_mask* mask, norvane_run* runs, size_t capacity, size_t* count) {
    return guarded([&] {
        expect(mask != nullptr && count != nullptr, "The mask or count is missing.");
        expect(runs != nullptr || capacity == 0, "runs: the place for the answer is missing.");
        std::size_t found = 0;
        visit_rows(mask->mask, [&](std::uint32_t row, std::span<const Run> columns) {
            for (const Run& run : columns) {
                if (found < capacity) runs[found] = {row, run.first, run.last};
                ++found;
            }
        });
        *count = found;
    });
}

norvane_result norvane_mask_area(const norvane_mask* mask, double* pixel_size, uint64_t* pixels,
                                 double* square_millimetres) {
    return guarded([&] {
        expect(mask != nullptr, "mask: it is missing.");
        const double micrometres = mask->mask.GetPixelSize();
        std::uint64_t area = 0;
        visit_rows(mask->mask, [&](std::uint32_t, std::span<const Run> columns) {
            for (const Run& run : columns) area += std::uint64_t{run.last} - run.first + 1;
        });
        constexpr double kMicrometresPerMillimetre = 1000.0;
        const double side = micrometres / kMicrometresPerMillimetre;
        if (pixel_size != nullptr) *pixel_size = micrometres;
        if (pixels != nullptr) *pixels = area;
        if (square_millimetres != nullptr) *square_millimetres = static_cast<double>(area) * side * side;
    });
}

norvane_result norvane_mask_bitmap(const norvane_mask* mask, double pixel_size, uint32_t width, uint32_t height,
                                   uint8_t* bytes) {
    return guarded([&] {
        expect(mask != nullptr && bytes != nullptr, "The mask or the place for its bitmap is missing.");
        Mask on_bitmap = mask->mask;
        if (pixel_size != 0.0) on_bitmap.SetTargetPixelSize(pixel_size_of(pixel_size));
        const std::vector<unsigned> columns = shown_lines(on_bitmap, width), rows = shown_lines(on_bitmap, height);
        MaskReader reader(mask->mask);
        for (const unsigned row : rows) {
            const std::span line(bytes, width);
            std::ranges::fill(line, std::uint8_t{0});
            for (const Run& run : reader.row(row)) {
                const auto first = std::ranges::lower_bound(columns, run.first);
                const auto end = std::ranges::upper_bound(columns, run.last);
                if (first < end) std::fill_n(line.begin() + (first - columns.begin()), end - first, std::uint8_t{1});
            }
            bytes += width;
        }
    });
}

norvane_result norvane_mask_intersection(const norvane_mask* first, const norvane_mask* second, norvane_mask** result) {
    return combined(first, second, result, [](Mask& a, Mask& b, Mask& out) { Utils::MaskIntersect(&a, &b, &out); });
}

norvane_result norvane_mask_union(const norvane_mask* first, const norvane_mask* second, norvane_mask** result) {
    return combined(first, second, result, [](const Mask& a, const Mask& b, Mask& out) {
        for (const Mask* mask : {&a, &b}) {
            visit_rows(*mask, [&out](std::uint32_t row, std::span<const Run> columns) {
                for (const Run& run : columns) add_run(out, row, run);
            });
        }
    });
}

norvane_result norvane_mask_difference(const norvane_mask* first, const norvane_mask* second, norvane_mask** result) {
    return combined(first, second, result, [](Mask& a, Mask& b, Mask& out) { Utils::MaskSubtract(&a, &b, &out); });
}
