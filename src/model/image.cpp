// SPDX-License-Identifier: Apache-2.0
#include <norvane/image.h>

#include "model/pixels.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <new>

namespace Norvane {
namespace {

/// The number of pixels from row to row with which rows begin at multiples of Image::ALIGN bytes; 0 for 0 bits. Uses
/// unsigned 32-bit arithmetic.
unsigned aligned_stride(unsigned width, unsigned bits) {
    constexpr unsigned kMask = Image::ALIGN - 1;
    if (bits == 1) return (((width + 7) / 8 + kMask) & ~kMask) * 8;
    const unsigned bytes_per_pixel = (bits + 7) / 8;
    if (bytes_per_pixel == 0) return 0;
    return ((width * bytes_per_pixel + kMask) & ~kMask) / bytes_per_pixel;
}

}  // namespace

Image::Image() = default;

Image::Image(ImageFormat sampleFormat, unsigned sampleBits, unsigned columns, unsigned rowCount, bool alloc)
    : width(columns), height(rowCount), bits(sampleBits), usedBits(sampleBits), format(sampleFormat) {
    if (alloc) AllocNewBuffer(true);
}

Image::Image(unsigned char* data, ImageFormat sampleFormat, int sampleBits, unsigned columns, unsigned rowCount,
             float micrometres, bool wrap)
    : width(columns),
      height(rowCount),
      bits(static_cast<unsigned>(sampleBits)),
      usedBits(static_cast<unsigned>(sampleBits)),
      format(sampleFormat),
      pixelSize(micrometres) {
    AlignSize();
    if (wrap) {
        buffer = data;
        isBufferOwner = false;
    } else if (data != nullptr) {
        AllocNewBuffer(true);
        std::memcpy(buffer, data, BufferSize());
    }
}

Image::Image(const Image* model, bool alloc) { MatchTo(model, alloc); }

Image::Image(const Image& other)
    : GarbageItem(other),
      LeaksFinder(other),
      buffer(other.buffer),
      width(other.width),
      height(other.height),
      stride(other.stride),
      bits(other.bits),
      usedBits(other.usedBits),
      format(other.format),
      pixelSize(other.pixelSize),
      offX(other.offX),
      offY(other.offY),
      isBufferOwner(false),
      needsInversion(other.needsInversion),
      rescaleSlope(other.rescaleSlope),
      rescaleIntercept(other.rescaleIntercept) {}

Image& Image::operator=(const Image& other) {
    if (this == &other) return *this;
    // If the image already owns this buffer, it stays the owner. Releasing it would leave both images dangling.
    const bool shares_own_buffer = isBufferOwner && buffer != nullptr && buffer == other.buffer;
    if (isBufferOwner && !shares_own_buffer) delete[] buffer;
    GarbageItem::operator=(other);
    buffer = other.buffer;
    width = other.width;
    height = other.height;
    stride = other.stride;
    bits = other.bits;
    usedBits = other.usedBits;
    format = other.format;
    pixelSize = other.pixelSize;
    offX = other.offX;
    offY = other.offY;
    isBufferOwner = shares_own_buffer;
    needsInversion = other.needsInversion;
    rescaleSlope = other.rescaleSlope;
    rescaleIntercept = other.rescaleIntercept;
    return *this;
}

Image::~Image() {
    if (isBufferOwner) delete[] buffer;
}

void Image::init() {
    buffer = nullptr;
    width = height = stride = 0;
    bits = usedBits = 8;
    format = FORMAT_UNSIGNED;
    pixelSize = 0.0F;
    offX = offY = 0;
    isBufferOwner = true;
    needsInversion = false;
    rescaleSlope = 1.0F;
    rescaleIntercept = 0;
}

void Image::SetRescale(float slope, int intercept) {
    rescaleSlope = slope;
    rescaleIntercept = intercept;
}

void Image::SetWidth(unsigned value, bool realloc) {
    width = value;
    AlignSize();
    if (realloc) AllocNewBuffer(true);
}

void Image::SetHeight(unsigned value, bool realloc) {
    height = value;
    AlignSize();
    if (realloc) AllocNewBuffer(true);
}

void Image::SetBits(unsigned value, bool realloc) {
    bits = usedBits = value;
    if (realloc) AllocNewBuffer(true);
}

void Image::AlignSize() { stride = aligned_stride(width, bits); }

unsigned Image::BufferSize() const { return (bits * stride * height + 7) / 8; }

void Image::AllocNewBuffer(bool realign) {
    // A constructor calls this too; it has no buffer of a derived class to release.
    Clear();  // NOLINT(clang-analyzer-optin.cplusplus.VirtualCall)
    if (realign) AlignSize();
    // Bits are counted in full width, because a size or a stride that wraps would promise pixels that do not exist.
    __extension__ using Wide = unsigned __int128;
    const Wide true_bits = Wide{bits} * stride * height;
    const bool stride_wrapped = realign && bits != 0 && stride < width;
    if (true_bits + 7 > 0xFFFFFFFFU || (stride_wrapped && height != 0)) throw std::bad_alloc();
    // Rows of whole bytes may need more, such as rows of 12-bit samples, or rows of 1-bit pixels that do not fill a
    // byte.
    buffer = new unsigned char[std::max<std::size_t>(BufferSize(), height * row_pitch(*this))]();
    isBufferOwner = true;
}

void Image::InitToZero() {
    if (buffer != nullptr) std::memset(buffer, 0, BufferSize());
}

void Image::SetBuffer(unsigned char* data) {
    if (data != buffer) Clear();
    buffer = data;
    isBufferOwner = false;
}

void Image::Clear() {
    if (!isBufferOwner) return;
    delete[] buffer;
    buffer = nullptr;
}

void Image::MatchTo(const Image* model, bool alloc) {
    if (model == nullptr) return;
    stride = model->stride;
    width = model->width;
    height = model->height;
    format = model->format;
    bits = model->bits;
    MatchSecondaryTo(model);
    if (alloc)
        AllocNewBuffer(true);
    else
        AlignSize();
}

void Image::MatchSecondaryTo(const Image* model) {
    if (model == nullptr) return;
    pixelSize = model->pixelSize;
    usedBits = model->usedBits;
    needsInversion = model->needsInversion;
    offX = model->offX;
    offY = model->offY;
}

}  // namespace Norvane
