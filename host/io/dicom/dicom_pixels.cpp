// SPDX-License-Identifier: Apache-2.0
#include "io/dicom/dicom_pixels.h"

#include "io/decoding/codestream_header.h"
#include "io/decoding/decode_frame.h"
#include "io/dicom/dicom_fragments.h"
#include "io/dicom/run_lengths.h"
#include "io/refusal.h"

#include <fmt/format.h>
#include <malloc.h>

#include <algorithm>
#include <array>
#include <span>
#include <string>

namespace Norvane::Host {
namespace {

// In big endian files, the bytes of each word are swapped in values of the type OW, even if the samples are bytes.
bool is_turned(const DicomFile& file) { return file.syntax().elements.is_big_endian && file.pixels()->has_type("OW"); }

void refuse_truncated(std::uint64_t held, std::uint64_t needed) {
    if (held >= needed) return;
    throw Refusal(fmt::format("is truncated ({} of {} samples)", held, needed));
}

/// Reads the samples of an uncompressed frame, a few thousand at a time.
void read_plain_frame(DicomFile& file, const SampleLayout& layout, SampleDecoder& decode, SourceImage& image) {
    const std::size_t bytes_per_sample = layout.allocated / 8;
    const std::uint64_t frame_samples = std::uint64_t{image.width} * image.height;
    const std::uint64_t begin = frame_samples * bytes_per_sample * (image.frame - 1);
    refuse_truncated(file.pixels()->length / bytes_per_sample, frame_samples * image.frame);
    make_room(image);

    ByteSource& bytes = file.pixel_bytes();
    std::array<std::uint8_t, 1U << 14> chunk;
    std::size_t at = begin % 2;  // only whole words are read, even if a frame of bytes begins in the middle of one
    if (!bytes.skip(begin - at)) refuse_truncated_dicom();
    for (std::span<std::uint16_t> rest = image.samples; !rest.empty(); at = 0) {
        const std::size_t wanted = std::min(chunk.size(), at + rest.size() * bytes_per_sample);
        const std::size_t count = bytes.read(std::span(chunk).first(wanted + wanted % 2));
        if (count < wanted) refuse_truncated_dicom();
        if (is_turned(file)) {
            for (std::size_t i = 0; i + 1 < count; i += 2) std::swap(chunk[i], chunk[i + 1]);
        }
        const std::size_t samples = (wanted - at) / bytes_per_sample;
        for (std::size_t i = 0; i < samples; ++i) {
            const std::uint8_t* sample = &chunk[at + i * bytes_per_sample];
            rest[i] = decode(bytes_per_sample == 1 ? unsigned{sample[0]} : sample[0] | unsigned{sample[1]} << 8U);
        }
        rest = rest.subspan(samples);
    }
}

// `words` may be image.samples itself.
void take_words(std::span<const std::uint16_t> words, SampleDecoder& decode, SourceImage& image) {
    for (std::size_t i = 0; i < words.size(); ++i) image.samples[i] = decode(words[i]);
}

// The C library keeps the memory of earlier images for later ones. While a worker decodes JPEG 2000, it needs more
// memory than this process does, so free memory is returned to the system first.
void give_back_free_memory() {
#ifdef __GLIBC__
    (void)malloc_trim(0);
#endif
}

void decode_compressed(std::span<const std::uint8_t> bytes, const TransferSyntax& syntax, const ReadOptions& options,
                       SampleDecoder& decode, SourceImage& image) {
    const bool is_jpeg2000 = syntax.pixels == TransferSyntax::kJpeg2000;
    const CodestreamHeader header = is_jpeg2000 ? read_jpeg2000_header(bytes) : read_jpeg_header(bytes);
    refuse_unfit(header, image.width, image.height);
    if (is_jpeg2000) give_back_free_memory();
    const Codec codec = is_jpeg2000 ? Codec::kJpeg2000 : header.is_jpeg_ls ? Codec::kJpegLs : Codec::kJpeg;
    decode_frame({codec, bytes, image.width, image.height, header.bits, options.decoding,
                  static_cast<std::size_t>(options.image_memory)},
                 [&](std::span<const std::uint16_t> words) {
                     make_room(image);
                     take_words(words, decode, image);
                 });
}

void read_fragments(DicomFile& file, const SampleLayout& layout, const ReadOptions& options, SampleDecoder& decode,
                    SourceImage& image) {
    const FrameFragments fragments(file.file(), image.frame, image.frame_count);
    refuse_beyond_memory(options.image_memory,
                         memory_of_source(std::uint64_t{image.width} * image.height) + 2 * fragments.size(),
                         "its compressed pixels");
    const std::vector<std::uint8_t> bytes = fragments.joined(file.file());
    if (file.syntax().pixels == TransferSyntax::kRunLengths) {
        make_room(image);
        decode_run_lengths(bytes, layout.allocated / 8, image.samples);
        take_words(image.samples, decode, image);
    } else {
        decode_compressed(bytes, file.syntax(), options, decode, image);
    }
}

// What the decoders were measured to need besides the samples: two bytes per pixel for the words that they deliver, and
// with JPEG 2000 four more for the coefficients.
std::uint64_t memory_of_decoder(TransferSyntax::Pixels pixels, std::uint64_t count) {
    if (pixels == TransferSyntax::kJpeg2000) return 6 * count;
    return pixels == TransferSyntax::kJpeg ? 2 * count : 0;
}

// A few samples beyond BitsStored are faults of single pixels. Many mean that the number of bits is wrong and the
// picture cannot be recovered.
void judge_stray(std::size_t stray, unsigned stored, SourceImage& image) {
    constexpr std::size_t kMostStray = 1000;  // one sample in 1000
    if (stray == 0) return;
    const std::string found =
        fmt::format("{} of {} samples need more bits than its BitsStored of {}", stray, image.samples.size(), stored);
    if (stray > image.samples.size() / kMostStray) throw Refusal("has a wrong header: " + found);
    image.warnings.push_back(found + "; they count as the largest value");
}

}  // namespace

void read_dicom_pixels(DicomFile& file, const SampleLayout& layout, unsigned width, unsigned height,
                       const ReadOptions& options, SourceImage& image) {
    const bool is_plain = file.syntax().has_plain_pixels();
    if (is_plain == file.pixels()->is_endless()) {
        throw Refusal(is_plain ? "has compressed pixel data, although its transfer syntax denies it"
                               : "has no compressed pixel data, although its transfer syntax promises it");
    }
    settle_size(image, width, height, options, memory_of_decoder(file.syntax().pixels, std::uint64_t{width} * height));
    // Decoders deliver words of 16 bits, whatever BitsAllocated says.
    SampleLayout in_words = layout;
    if (!is_plain && file.syntax().pixels != TransferSyntax::kRunLengths) in_words.allocated = 16;
    SampleDecoder decode(in_words);
    if (is_plain) {
        read_plain_frame(file, layout, decode, image);
    } else {
        read_fragments(file, layout, options, decode, image);
    }
    judge_stray(decode.stray(), layout.stored, image);
}

}  // namespace Norvane::Host
