// SPDX-License-Identifier: Apache-2.0
#include "io/dicom/dicom_pixels.h"

#include "io/colour_channels.h"
#include "io/decoding/codestream_header.h"
#include "io/decoding/decode_frame.h"
#include "io/dicom/dicom_fragments.h"
#include "io/dicom/run_lengths.h"
#include "io/inflated_bytes.h"
#include "io/refusal.h"

#include <fmt/format.h>
#include <malloc.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace Norvane::Host {
namespace {

// In big endian files, the bytes of each word are swapped in values of the type OW, even if the samples are bytes.
bool is_turned(const DicomFile& file) { return file.syntax().elements.is_big_endian && file.pixels()->has_type("OW"); }

void refuse_truncated(std::uint64_t held, std::uint64_t needed) {
    if (held >= needed) return;
    throw Refusal(fmt::format("is truncated ({} of {} samples)", held, needed));
}

void swap_bytes(std::span<std::uint8_t> words) {
    for (std::size_t i = 0; i + 1 < words.size(); i += 2) std::swap(words[i], words[i + 1]);
}

void require_bytes(ByteSource& source, std::span<std::uint8_t> to) {
    if (source.read(to) < to.size()) refuse_truncated_dicom();
}

// So many bytes are read at a time that they are still in the processor's cache when they are decoded.
constexpr std::size_t kPiece = std::size_t{1} << 17;

/// Reads samples of 16 bits into their final place.
void read_words(ByteSource& source, bool is_turned, SampleDecoder& decode, std::span<std::uint16_t> samples) {
    constexpr bool kReadsLowByteFirst = std::endian::native == std::endian::little;
    while (!samples.empty()) {
        const std::span words = samples.first(std::min(samples.size(), kPiece / 2));
        const std::span bytes(reinterpret_cast<std::uint8_t*>(words.data()), words.size_bytes());
        require_bytes(source, bytes);
        if (is_turned == kReadsLowByteFirst) swap_bytes(bytes);
        decode(words);
        samples = samples.subspan(words.size());
    }
}

/// Reads samples of 8 bits. Only whole words of 16 bits are read: the first `skipped` bytes (0 or 1) are left out.
void read_bytes(ByteSource& source, bool is_turned, std::size_t skipped, SampleDecoder& decode,
                std::span<std::uint16_t> samples) {
    std::vector<std::uint8_t> piece(kPiece);
    for (; !samples.empty(); skipped = 0) {
        const std::size_t wanted = std::min(piece.size(), skipped + samples.size());
        const std::size_t count = source.read(std::span(piece).first(wanted + wanted % 2));
        if (count < wanted) refuse_truncated_dicom();
        if (is_turned) swap_bytes(std::span(piece).first(count));
        const std::span words = samples.first(wanted - skipped);
        std::copy_n(piece.begin() + static_cast<std::ptrdiff_t>(skipped), words.size(), words.begin());
        decode(words);
        samples = samples.subspan(words.size());
    }
}

/// Takes the samples of three channels as grey ones. Throws Refusal if the channels of a pixel differ.
void take_grey(const Samples& channels, bool is_planar, Samples& grey) {
    const std::span<const std::uint16_t> all(channels);
    if (!is_planar) {
        if (!take_equal_channels(all, std::span(grey))) refuse_colour();
        return;
    }
    const std::span<const std::uint16_t> red = all.first(grey.size());
    for (std::size_t plane = 1; plane < kColourChannels; ++plane) {
        if (!std::ranges::equal(all.subspan(plane * grey.size(), grey.size()), red)) refuse_colour();
    }
    std::ranges::copy(red, grey.begin());
}

/// Reads the samples of an uncompressed frame.
void read_plain_frame(DicomFile& file, const SampleLayout& layout, SampleDecoder& decode, SourceImage& image) {
    const std::size_t bytes_per_sample = layout.allocated / 8;
    const std::uint64_t frame_samples = std::uint64_t{image.width} * image.height * layout.channels;
    const std::uint64_t begin = frame_samples * bytes_per_sample * (image.frame - 1);
    refuse_truncated(file.pixels()->length / bytes_per_sample, frame_samples * image.frame);
    make_room(image);

    ByteSource& source = file.pixel_bytes();
    const std::size_t skipped = begin % 2;  // a frame of bytes may begin in the middle of a word
    if (!source.skip(begin - skipped)) refuse_truncated_dicom();
    Samples channels(layout.channels == 1 ? 0 : frame_samples);
    Samples& samples = layout.channels == 1 ? image.samples : channels;
    if (bytes_per_sample == 2) {
        read_words(source, is_turned(file), decode, samples);
    } else {
        read_bytes(source, is_turned(file), skipped, decode, samples);
    }
    if (layout.channels != 1) take_grey(channels, layout.is_planar, image.samples);
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
    CompressedFrame frame{Codec::kJpegXl,
                          bytes,
                          image.width,
                          image.height,
                          0,
                          options.decoding,
                          static_cast<std::size_t>(options.image_memory)};
    if (syntax.pixels != TransferSyntax::kJpegXl) {  // its header is packed in bits, which the decoder reads itself
        const bool is_jpeg2000 = syntax.pixels == TransferSyntax::kJpeg2000;
        const CodestreamHeader header = is_jpeg2000 ? read_jpeg2000_header(bytes) : read_jpeg_header(bytes);
        refuse_unfit(header, image.width, image.height);
        frame.codec = is_jpeg2000 ? Codec::kJpeg2000 : header.is_jpeg_ls ? Codec::kJpegLs : Codec::kJpeg;
        frame.bits = header.bits;
    }
    if (syntax.pixels != TransferSyntax::kJpeg) give_back_free_memory();
    decode_frame(frame, [&](std::span<const std::uint16_t> words) {
        make_room(image);
        std::ranges::copy(words, image.samples.begin());
        decode(image.samples);
    });
}

void inflate_frame(std::span<const std::uint8_t> bytes, const SampleLayout& layout, SampleDecoder& decode,
                   SourceImage& image) {
    constexpr std::size_t kPadding = 2;
    make_room(image);
    MemoryBytes deflated(bytes);
    InflatedBytes frame(deflated, image.samples.size() * (layout.allocated / 8) + kPadding);
    if (layout.allocated == 16) {
        read_words(frame, false, decode, image.samples);
    } else {
        read_bytes(frame, false, 0, decode, image.samples);
    }
    std::array<std::uint8_t, 1> more{};
    if (frame.read(more) > 0) throw Refusal("inflates to more bytes than its frame has");
}

void read_fragments(DicomFile& file, const SampleLayout& layout, const ReadOptions& options, SampleDecoder& decode,
                    SourceImage& image) {
    const FrameFragments fragments(file.file(), image.frame, image.frame_count);
    refuse_beyond_memory(options.image_memory,
                         memory_of_source(std::uint64_t{image.width} * image.height) + 2 * fragments.size(),
                         "its compressed pixels");
    const std::vector<std::uint8_t> bytes = fragments.joined(file.file());
    switch (file.syntax().pixels) {
        case TransferSyntax::kRunLengths:
            make_room(image);
            decode_run_lengths(bytes, layout.allocated / 8, image.samples);
            decode(image.samples);
            break;
        case TransferSyntax::kDeflatedFrames:
            inflate_frame(bytes, layout, decode, image);
            break;
        default:
            decode_compressed(bytes, file.syntax(), options, decode, image);
    }
}

// What the decoders were measured to need besides the samples: two bytes per pixel for the words that they deliver, and
// with JPEG 2000 four more for the coefficients. JPEG XL works with several floats for each pixel.
std::uint64_t memory_of_decoder(TransferSyntax::Pixels pixels, const SampleLayout& layout, std::uint64_t count) {
    if (layout.channels != 1) return layout.channels * sizeof(std::uint16_t) * count;
    if (pixels == TransferSyntax::kJpeg2000) return 6 * count;
    if (pixels == TransferSyntax::kJpegXl) return 20 * count;
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
    if (layout.channels != 1 && !is_plain) refuse_colour();
    settle_size(image, width, height, options,
                memory_of_decoder(file.syntax().pixels, layout, std::uint64_t{width} * height));
    // Decoders deliver words of 16 bits, whatever BitsAllocated says.
    SampleLayout in_words = layout;
    if (file.syntax().has_decoder()) in_words.allocated = 16;
    SampleDecoder decode(in_words);
    if (is_plain) {
        read_plain_frame(file, layout, decode, image);
    } else {
        read_fragments(file, layout, options, decode, image);
    }
    judge_stray(decode.stray(), layout.stored, image);
}

}  // namespace Norvane::Host
