// SPDX-License-Identifier: Apache-2.0
/// Sample by sample: arithmetic, lookup, norm; and the headers and statuses of all calls.
#include "support/picture.h"

namespace Norvane::Tests {
namespace {

constexpr int kMost = std::numeric_limits<int>::max();

TEST(Arithmetic, ThresholdsAndSaturatesExactly) {
    Random random(4);
    for (const Depth& depth : {k8U, k16U, k8S, k16S, k32S})
        for (const int k :
             {0, 1, 2, 127, 128, 255, 256, 32767, 65535, 65536, kMost, -1, -128, -32768, -65536, -kMost - 1}) {
            Picture src = random_picture(random, depth, 21, 4);
            src.put(0, 0, 1);
            src.put(1, 0, depth.lowest < 0 ? -1 : 2);
            const auto product = [&](const Picture& p, auto x, auto y) {
                const long double exact = static_cast<long double>(p.at(x, y)) * k;  // holds that of 32-bit numbers
                return static_cast<double>(std::clamp<long double>(exact, depth.lowest, depth.largest));
            };
            expect_call(
                src, [k](auto* s, auto* d) { iplMultiplyS(s, d, k); }, product, "times " + std::to_string(k));
            if (depth.depth == kIplDepth32S) continue;
            const auto above = [&](const Picture& p, auto x, auto y) { return p.at(x, y) >= k ? depth.largest : 0.0; };
            expect_call(
                src, [k](auto* s, auto* d) { iplThreshold(s, d, k); }, above, "threshold " + std::to_string(k));
        }
}

TEST(MultiplySFP, IsOneFloatProduct) {
    const float third = 16777217.0F / 3.0F;
    Picture src(k32F, 2, 1, [&](auto x, auto) { return x == 0 ? static_cast<double>(third) : -3e38; });
    iplMultiplySFP(src.get(), src.get(), 1.3F);
    EXPECT_EQ(static_cast<double>(third * 1.3F), src.at(0, 0));
    EXPECT_EQ(-std::numeric_limits<double>::infinity(), src.at(1, 0));  // not clamped
}

TEST(Norm, IsTheLargestMagnitude) {
    struct Case {
        Depth depth;
        double sample, norm;
    };
    const Case cases[] = {{k8S, -128, 128},     {k16S, -32768, 32768}, {k32S, -2147483648.0, 2147483648.0},
                          {k16U, 65535, 65535}, {k32F, -0.5, 0.5},     {k32F, std::nan(""), 0},
                          {k1U, 1, 1},          {k1U, 0, 0},           {k8U, 0, 0}};
    for (const Case& c : cases)
        for (const unsigned place : {0U, 38U}) {  // behind the last lie bits that are no pixels
            SCOPED_TRACE(testing::Message() << "depth " << c.depth.depth << ", " << c.sample << " at " << place);
            Picture p(c.depth, 13, 3, [&](auto x, auto y) { return 13 * y + x == place ? c.sample : 0.0; });
            const double norm = iplNorm(p.get(), nullptr, 1);
            EXPECT_EQ(kIplOk, iplGetErrStatus());
            EXPECT_EQ(c.norm, norm);
            EXPECT_FALSE(std::signbit(norm));
        }
}

/// The table of a call: values[i] belongs to keys[i] <= v < keys[i + 1].
struct Table {
    std::vector<int> keys, values;
    IplLookupTable record{static_cast<int>(keys.size()), keys.data(), values.data(), nullptr, 0}, *pointer = &record;

    [[nodiscard]] bool holds(std::size_t i, double v) const { return keys[i] <= v && v < keys[i + 1]; }
};

Table random_table(Random& random, const Depth& depth, bool ascending) {
    std::vector<int> keys(2 + random.below(30)), values(keys.size() - 1);
    for (int& k : keys) k = random.between(-50, static_cast<int>(depth.largest) + 60);
    if (ascending) std::sort(keys.begin(), keys.end());
    if (random.chance(4))
        for (std::size_t i = 1; i < keys.size(); ++i) keys[i] &= ~15;  // the first may lie beside the others' raster
    for (int& v : values) v = random.between(-100000, 100000);
    return {keys, values};
}

TEST(Lookup, EqualsTheSearchOfTheIntervals) {
    Random random(6);
    for (const Depth& depth : {k8U, k16U})
        for (int round = 0; round < 40; ++round) {
            Picture src = random_picture(random, depth, 23, 7);
            Table table = random_table(random, depth, round % 4 != 0);
            const auto stretched = [&](const Picture& p, auto x, auto y) {
                const double v = p.at(x, y);
                for (std::size_t i = 0; i < table.values.size(); ++i)
                    if (table.holds(i, v))
                        return static_cast<double>(table.values[i] & static_cast<int>(depth.largest));
                return v;
            };
            const auto stretch = [&](auto* s, auto* d) { iplContrastStretch(s, d, &table.pointer); };
            expect_call(src, stretch, stretched, "round " + std::to_string(round));

            iplComputeHisto(src.get(), &table.pointer);
            ASSERT_EQ(kIplOk, iplGetErrStatus());
            for (std::size_t i = 0; i < table.values.size(); ++i) {
                int count = 0;  // overwrites: the values above are gone
                for (unsigned pixel = 0; pixel < 7 * 23; ++pixel)
                    count += table.holds(i, src.at(pixel % 23, pixel / 23));
                EXPECT_EQ(count, table.values[i]) << "round " << round << ", interval " << i;
            }
        }
}

Table small_table{{0, 5}, {1}};
constexpr struct {
    const char* name;
    int status_without_pixels;
    void (*run)(const IplHeader*, const IplHeader*);
} kCalls[] = {
    {"filter", kIplOk, [](auto* s, auto* d) { iplFixedFilter(s, d, 7); }},
    {"blur", kIplOk, [](auto* s, auto* d) { iplBlur(s, d, 3, 3, 1, 1); }},
    {"erode", kIplOk, [](auto* s, auto* d) { iplErode(s, d, 3); }},
    {"multiply", kIplOk, [](auto* s, auto* d) { iplMultiplyS(s, d, 2); }},
    {"stretch", kIplOk, [](auto* s, auto* d) { iplContrastStretch(s, d, &small_table.pointer); }},
    {"zoom", kIplBadArgument, [](auto* s, auto* d) { iplZoom(s, d, 2, 1, 2, 1, 1); }},
};

TEST(Statuses, HeadersThatDoNotFitAreRefused) {
    for (const auto& call : kCalls) {
        Picture src(k16U, 8, 4), other_depth(k16S, 8, 4), same(k16U, 8, 4), before = same;
        IplHeader no_data = *same.get(), too_small = *same.get();
        no_data.data = nullptr;
        too_small.image_size -= 1;
        const std::pair<const IplHeader*, const IplHeader*> bad[] = {
            {nullptr, same.get()},   {src.get(), nullptr},     {&no_data, same.get()},        {src.get(), &no_data},
            {src.get(), &too_small}, {&too_small, same.get()}, {src.get(), other_depth.get()}};
        for (const auto& [from, to] : bad) {
            call.run(from, to);
            EXPECT_EQ(kIplBadArgument, iplGetErrStatus()) << call.name;
        }
        EXPECT_EQ(before, same);
    }
}

TEST(Statuses, AnImageWithoutPixelsIsNothingToDoExceptToScaleIt) {
    for (const auto& [width, height] : {std::pair{0U, 4U}, {4U, 0U}})
        for (const auto& call : kCalls) {
            Picture p(k16U, width, height);
            call.run(p.get(), p.get());
            EXPECT_EQ(call.status_without_pixels, iplGetErrStatus()) << call.name;
        }
}

}  // namespace
}  // namespace Norvane::Tests
