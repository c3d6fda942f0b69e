// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <zlib.h>

#include <cstdint>
#include <new>
#include <span>
#include <string>

namespace Norvane::Host {

/// What is compressed. This decides how.
enum class DeflatedContent {
    kNoise,    ///< grey levels: compressed fast, because more effort saves little
    kRegions,  ///< areas with few values, such as masks: compressed as runs, which is five times as fast as to search
};

/// The bytes around a compressed stream.
enum class DeflateWrapper {
    kNone,
    kGzip,  ///< without a time, so that the same input gives the same bytes
};

/// Compresses bytes step by step and appends the result to a string.
class DeflateStream {
public:
    DeflateStream(std::string& bytes, DeflateWrapper wrapper, DeflatedContent content) : output(bytes) {
        constexpr int kWindowBits = 15;
        constexpr int kGzipWindowBits = kWindowBits + 16;
        constexpr int kMemoryLevel = 8;
        constexpr int kFast = 1;
        constexpr int kThorough = 9;  // for runs, the highest level is as fast as the others
        const bool is_regions = content == DeflatedContent::kRegions;
        const int failed = deflateInit2(&stream, is_regions ? kThorough : kFast, Z_DEFLATED,
                                        wrapper == DeflateWrapper::kGzip ? kGzipWindowBits : -kWindowBits, kMemoryLevel,
                                        is_regions ? Z_RLE : Z_DEFAULT_STRATEGY);
        if (failed != Z_OK) throw std::bad_alloc();
    }
    ~DeflateStream() { deflateEnd(&stream); }
    DeflateStream(const DeflateStream&) = delete;
    DeflateStream& operator=(const DeflateStream&) = delete;

    void write(std::span<std::uint8_t> bytes) { run(bytes, Z_NO_FLUSH); }
    void finish() { run({}, Z_FINISH); }

private:
    void run(std::span<std::uint8_t> bytes, int flush) {
        stream.next_in = bytes.data();
        stream.avail_in = static_cast<uInt>(bytes.size());
        do {
            char buffer[16384];
            stream.next_out = reinterpret_cast<Bytef*>(buffer);
            stream.avail_out = sizeof buffer;
            (void)deflate(&stream, flush);  // it only fails if it is used wrongly
            output.append(buffer, sizeof buffer - stream.avail_out);
        } while (stream.avail_out == 0);
    }

    std::string& output;
    z_stream stream{};
};

}  // namespace Norvane::Host
