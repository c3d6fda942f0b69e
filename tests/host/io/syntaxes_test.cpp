// SPDX-License-Identifier: Apache-2.0
#include "host/io/encodings.h"

namespace Norvane::Tests {
namespace {

// What is read back, and the largest difference to what was written as a share of the full range.
double loss(const Host::SourceImage& image, const Picture& picture) {
    EXPECT_EQ((std::vector{picture.width, picture.height, picture.stored}),
              (std::vector{image.width, image.height, image.used_bits}));
    EXPECT_EQ(picture.words.size(), image.samples.size());
    const int lowest = picture.is_signed ? -(1 << (picture.stored - 1)) : 0;
    int largest = 0;
    for (std::size_t i = 0; i < image.samples.size(); ++i) {
        largest = std::max(largest, std::abs(static_cast<int>(image.samples[i]) + lowest - picture.value(i)));
    }
    return largest / static_cast<double>((1U << picture.stored) - 1);
}

TEST(TransferSyntaxes, GiveTheSamplesBack) {
    const TemporaryFolder folder;
    const Picture pictures[] = {picture_of(8, false), picture_of(12, false), picture_of(16, false),
                                picture_of(12, true), picture_of(16, true)};
    for (const Encoding& encoding : kEncodings) {
        for (const Picture& picture : pictures) {
            if (picture.stored > encoding.most_bits || (picture.is_signed && encoding.loss > 0.0)) continue;
            SCOPED_TRACE(std::string(encoding.uid) + ", " + std::to_string(picture.stored) + " bits, signed " +
                         std::to_string(picture.is_signed));
            const std::string file = write_encoded(folder, encoding, picture);
            const Host::SourceImage image = Host::read_image(file);
            EXPECT_LE(loss(image, picture), encoding.loss);
            EXPECT_TRUE(image.encoding.ends_with(std::string("(") + encoding.uid + ")")) << image.encoding;
            EXPECT_EQ(image.samples, Host::read_image(file, {.decoding = Host::DecodingPlace::kThisProcess}).samples);
        }
    }
}

// Two frames, cut into fragments at places that mean nothing, with and without a table of where they begin.
TEST(TransferSyntaxes, FramesAreFoundAmongTheirFragments) {
    const TemporaryFolder folder;
    const Picture pictures[] = {picture_of(8, false, 1), picture_of(8, false, 2)};
    for (const Encoding& encoding : kEncodings) {
        for (const bool has_offset_table : {true, false}) {
            SCOPED_TRACE(std::string(encoding.uid) + ", table " + std::to_string(has_offset_table));
            const std::string file = write_encoded(folder, encoding, pictures[0], [&](DcmDataset& header) {
                change(header, "NumberOfFrames=2");
                std::vector<Bytes> frames;
                Bytes plain;
                for (const Picture& picture : pictures) {
                    plain.insert(plain.end(), picture.words.begin(), picture.words.end());
                    if (encoding.is_compressed) frames.push_back(encoding.frame_of(picture));
                }
                if (!encoding.is_compressed) {
                    header.putAndInsertUint8Array(DCM_PixelData, plain.data(), plain.size());
                } else {  // fragments of run lengths do not show whether a frame begins: without a table one a frame
                    const unsigned kilobytes = encoding.data_set == EXS_RLELossless && !has_offset_table ? 0 : 1;
                    put_frames(header, encoding.data_set, frames, kilobytes, has_offset_table);
                }
            });
            EXPECT_EQ("holds 2 frames; choose one of them with --frame N, or all with --frame all", refusal_of(file));
            for (const unsigned frame : {2U, 1U}) {
                const Host::SourceImage image = Host::read_image(file, {.frame = frame});
                EXPECT_LE(loss(image, pictures[frame - 1]), encoding.loss) << frame;
                EXPECT_EQ(frame, image.frame);
            }
            EXPECT_THROW((void)Host::read_image(file, {.frame = 3U}), Host::Refusal);
        }
    }
}

// What the compressed data says about itself is compared with the header, and half of it is not taken for the whole.
TEST(TransferSyntaxes, CompressedDataThatDoesNotFitIsRefused) {
    const TemporaryFolder folder;
    const Picture picture = picture_of(8, false);
    for (const Encoding& encoding : kEncodings) {
        if (!encoding.is_compressed) continue;
        SCOPED_TRACE(encoding.uid);
        const auto with = [&](Bytes bytes, const std::string& changes) {
            return refusal_of(write_encoded(folder, encoding, picture, [&](DcmDataset& header) {
                put_frames(header, encoding.data_set, {std::move(bytes)});
                change(header, changes);
            }));
        };
        const Bytes whole = encoding.frame_of(picture);
        EXPECT_EQ("", with(whole, "-SamplesPerPixel"));
        EXPECT_EQ("is a colour image; grey images are read",
                  with(whole, "PhotometricInterpretation=RGB; SamplesPerPixel=3"));
        EXPECT_NE("", with({whole.begin(), whole.begin() + static_cast<long>(whole.size() / 2)}, ""));
        EXPECT_NE("", with({0, 1, 2, 3}, ""));
        const std::string other_size = with(whole, "Columns=59");
        if (!encoding.shows_size()) continue;
        EXPECT_EQ("holds a compressed image of 61 x 47 pixels; its header says 59 x 47", other_size);
    }
}

}  // namespace
}  // namespace Norvane::Tests
