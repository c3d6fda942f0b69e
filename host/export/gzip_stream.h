// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <zlib.h>

#include <cstdint>
#include <new>
#include <span>
#include <string>

namespace Norvane::Host {

/// Compresses bytes step by step into a gzip stream. The stream holds no time, so the same input gives the same bytes.
class GzipStream {
public:
    explicit GzipStream(std::string& bytes) : output(bytes) {
        constexpr int kLevel = 9;
        constexpr int kWindowBits = 15 + 16;  // adding 16 selects the gzip wrapper
        constexpr int kMemoryLevel = 8;
        // Compressed as runs, because labels form areas. The general search takes five times as long.
        if (deflateInit2(&stream, kLevel, Z_DEFLATED, kWindowBits, kMemoryLevel, Z_RLE) != Z_OK) throw std::bad_alloc();
    }
    ~GzipStream() { deflateEnd(&stream); }
    GzipStream(const GzipStream&) = delete;
    GzipStream& operator=(const GzipStream&) = delete;

    void write(std::span<std::uint8_t> row) { run(row, Z_NO_FLUSH); }
    void finish() { run({}, Z_FINISH); }

private:
    void run(std::span<std::uint8_t> row, int flush) {
        stream.next_in = row.data();
        stream.avail_in = static_cast<uInt>(row.size());
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
