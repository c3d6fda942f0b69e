// SPDX-License-Identifier: Apache-2.0
// One library decodes both kinds of codestream. Another library for the high-throughput kind needs half the time, but
// it crashes on about one in a hundred damaged streams, and archives hold damaged streams.
#include "io/decoding/jpeg2000.h"

#include "io/decoding/codestream_header.h"
#include "io/decoding/refusal.h"

#include <openjpeg.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <new>
#include <string>

namespace Norvane::Host {
namespace {

// opj_codec_t and opj_stream_t are the same type, so std::default_delete cannot tell them apart.
struct DestroyStream {
    void operator()(opj_stream_t* stream) const { opj_stream_destroy(stream); }
};
struct DestroyCodec {
    void operator()(opj_codec_t* codec) const { opj_destroy_codec(codec); }
};
struct DestroyImage {
    void operator()(opj_image_t* image) const { opj_image_destroy(image); }
};

/// The compressed bytes, and how far the library has read them.
struct Source {
    std::span<const std::uint8_t> bytes;
    std::size_t at = 0;
};

OPJ_SIZE_T read_bytes_of(void* buffer, OPJ_SIZE_T wanted, void* user) {
    Source& source = *static_cast<Source*>(user);
    const OPJ_SIZE_T count = std::min(wanted, source.bytes.size() - source.at);
    if (count == 0) return static_cast<OPJ_SIZE_T>(-1);  // the library's sign for the end
    std::memcpy(buffer, &source.bytes[source.at], count);
    source.at += count;
    return count;
}

OPJ_BOOL seek_to(OPJ_OFF_T position, void* user) {
    Source& source = *static_cast<Source*>(user);
    if (position < 0 || static_cast<std::size_t>(position) > source.bytes.size()) return OPJ_FALSE;
    source.at = static_cast<std::size_t>(position);
    return OPJ_TRUE;
}

OPJ_OFF_T skip_over(OPJ_OFF_T count, void* user) {
    Source& source = *static_cast<Source*>(user);
    const OPJ_OFF_T left = static_cast<OPJ_OFF_T>(source.bytes.size() - source.at);
    if (count < 0 || left == 0) return -1;
    source.at += static_cast<std::size_t>(std::min(count, left));
    return std::min(count, left);
}

/// A decoder and its first error message, which goes into the refusal. Nothing is printed.
class Decoder {
public:
    explicit Decoder(std::span<const std::uint8_t> bytes) : source{bytes} {
        constexpr std::array<std::uint8_t, 3> kCodestreamStart{0xFF, 0x4F, 0xFF};
        const bool is_bare = bytes.size() > 3 && std::ranges::equal(bytes.first(3), kCodestreamStart);
        codec.reset(opj_create_decompress(is_bare ? OPJ_CODEC_J2K : OPJ_CODEC_JP2));
        stream.reset(opj_stream_default_create(OPJ_TRUE));
        if (!codec || !stream) throw std::bad_alloc();
        opj_stream_set_read_function(stream.get(), read_bytes_of);
        opj_stream_set_skip_function(stream.get(), skip_over);
        opj_stream_set_seek_function(stream.get(), seek_to);
        opj_stream_set_user_data(stream.get(), &source, nullptr);
        opj_stream_set_user_data_length(stream.get(), bytes.size());
        opj_set_error_handler(codec.get(), keep_message, &message);
        opj_dparameters_t parameters;
        opj_set_default_decoder_parameters(&parameters);
        if (opj_setup_decoder(codec.get(), &parameters) == OPJ_FALSE) refuse();
    }

    [[nodiscard]] CodestreamHeader read_header() {
        opj_image_t* made = nullptr;
        const OPJ_BOOL is_read = opj_read_header(stream.get(), codec.get(), &made);
        image.reset(made);
        if (is_read == OPJ_FALSE || !image || image->numcomps == 0) refuse();
        const opj_image_comp_t& first = image->comps[0];
        return {first.w, first.h, first.prec, image->numcomps};
    }

    [[nodiscard]] std::span<const OPJ_INT32> decode(std::size_t count) {
        if (opj_decode(codec.get(), stream.get(), image.get()) == OPJ_FALSE) refuse();
        const opj_image_comp_t& samples = image->comps[0];
        if (samples.data == nullptr || std::size_t{samples.w} * samples.h != count) refuse();
        return {samples.data, count};
    }

private:
    static void keep_message(const char* text, void* user) {
        std::string& kept = *static_cast<std::string*>(user);
        if (kept.empty()) kept.assign(text, std::strcspn(text, "\r\n"));
    }

    [[noreturn]] void refuse() const {
        if (message.find("memory") != std::string::npos) throw std::bad_alloc();
        throw Refusal("has JPEG 2000 data that cannot be decoded" + (message.empty() ? message : ": " + message));
    }

    Source source;
    std::string message;
    std::unique_ptr<opj_codec_t, DestroyCodec> codec;
    std::unique_ptr<opj_stream_t, DestroyStream> stream;
    std::unique_ptr<opj_image_t, DestroyImage> image;
};

}  // namespace

void decode_jpeg2000(const CompressedFrame& frame, std::span<std::uint16_t> words) {
    Decoder decoder(frame.bytes);
    refuse_unfit(decoder.read_header(), frame.width, frame.height);
    std::ranges::transform(decoder.decode(words.size()), words.begin(),
                           [](OPJ_INT32 value) { return static_cast<std::uint16_t>(value); });
}

}  // namespace Norvane::Host
