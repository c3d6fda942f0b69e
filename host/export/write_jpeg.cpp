// SPDX-License-Identifier: Apache-2.0
#include "export/write_jpeg.h"

#include <turbojpeg.h>

#include <bit>
#include <memory>
#include <new>
#include <stdexcept>

namespace Norvane::Host {
namespace {

struct ReleaseTurboJpeg {
    void operator()(void* compressor) const { (void)tjDestroy(compressor); }
    void operator()(unsigned char* bytes) const { tjFree(bytes); }
};

}  // namespace

std::string encode_jpeg(const std::uint8_t* pixels, JpegPixels kind, unsigned width, unsigned height,
                        std::size_t row_bytes, int quality) {
    const std::unique_ptr<void, ReleaseTurboJpeg> compressor(tjInitCompress());
    if (!compressor) throw std::bad_alloc();
    const int colour_format = std::endian::native == std::endian::little ? TJPF_BGRX : TJPF_XRGB;
    const bool is_grey = kind == JpegPixels::kGrey;
    unsigned char* bytes = nullptr;
    unsigned long size = 0;
    const int failed = tjCompress2(compressor.get(), pixels, static_cast<int>(width), static_cast<int>(row_bytes),
                                   static_cast<int>(height), is_grey ? TJPF_GRAY : colour_format, &bytes, &size,
                                   is_grey ? TJSAMP_GRAY : TJSAMP_444, quality, 0);
    const std::unique_ptr<unsigned char, ReleaseTurboJpeg> owner(bytes);
    if (failed != 0) throw std::runtime_error(tjGetErrorStr2(compressor.get()));
    return {reinterpret_cast<const char*>(bytes), size};
}

}  // namespace Norvane::Host
