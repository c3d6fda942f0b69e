// SPDX-License-Identifier: Apache-2.0
/// The raster that every operation reads and writes. One thread at a time per object.
#pragma once

#include <norvane/export.h>
#include <norvane/garbage_list.h>

#include <string>

namespace Norvane {

/// How the samples of an Image are to be read.
enum ImageFormat : int {
    FORMAT_UNSIGNED = 1,  ///< unsigned integers; with 1 bit a binary image, with 8 or 16 a grey image
    FORMAT_SIGNED = 2,    ///< signed integers of 8, 16 or 32 bits
    FORMAT_FLOAT = 3,     ///< 32-bit IEEE floats
};

/// A rectangle of samples of 1, 8, 16 or 32 bits in one buffer, with the geometry that travels with it.
///
/// Rows follow each other without gaps, `stride` pixels apart, each aligned to ALIGN bytes. The sample of pixel (x, y)
/// starts at byte (y * stride + x) * bits / 8, in the byte order of the machine. A 1-bit row takes (stride + 7) / 8
/// bytes and its leftmost pixel is the most significant bit of its first byte. The columns width .. stride - 1 are
/// padding: allocation sets them to 0, and the filters treat them as pixels. A host that minds this at an odd 16-bit
/// width copies its last column into the padding.
///
/// Ownership: while `isBufferOwner` is true the image releases its buffer (array delete); otherwise the caller keeps
/// it. A copy refers to the same buffer and does not own it. Setters store numbers; none of them moves pixels. Errors:
/// an allocation that fails, or whose size does not fit BufferSize()'s arithmetic, throws std::bad_alloc.
class NORVANE_API Image : public GarbageItem, public LeaksFinder {
public:
    static constexpr unsigned ALIGN = 4;  ///< alignment of every row, bytes

    /// No buffer, size 0 x 0, 8 bits unsigned.
    Image();

    /// With `alloc` an owned buffer of zeros; without it the stride stays 0 until a setter or AlignSize() computes it.
    Image(ImageFormat sampleFormat, unsigned sampleBits, unsigned columns, unsigned rowCount, bool alloc);

    /// Pixels from `data`, whose rows already have the aligned stride. With `wrap` the image refers to `data`, which
    /// must outlive it; otherwise it owns a copy (no buffer when `data` is null). `micrometres` is the pixel size.
    Image(unsigned char* data, ImageFormat sampleFormat, int sampleBits, unsigned columns, unsigned rowCount,
          float micrometres, bool wrap);

    /// The geometry of `model` as MatchTo() takes it, with an owned buffer of zeros if `alloc`. Pixels are not copied.
    Image(const Image* model, bool alloc);

    /// Every field of `other`, its buffer included, which stays with `other`.
    Image(const Image& other);
    /// The same, after releasing an owned buffer (an image that already owns the buffer of `other` keeps it).
    Image& operator=(const Image& other);

    ~Image() override;

    [[nodiscard]] unsigned char* GetBuffer() const { return buffer; }
    [[nodiscard]] unsigned GetWidth() const { return width; }    ///< pixels per row, padding not counted
    [[nodiscard]] unsigned GetHeight() const { return height; }  ///< rows
    [[nodiscard]] unsigned GetStride() const { return stride; }  ///< pixels (not bytes) from row to row
    [[nodiscard]] unsigned GetBits() const { return bits; }      ///< storage bits per sample
    [[nodiscard]] unsigned GetUsedBits() const { return usedBits; }
    [[nodiscard]] ImageFormat GetFormat() const { return format; }
    [[nodiscard]] float GetPixelSize() const { return pixelSize; }  ///< micrometres; 0 when unknown
    /// Column and row of pixel (0, 0) in the image that this one was cut from.
    [[nodiscard]] unsigned GetOffX() const { return offX; }
    [[nodiscard]] unsigned GetOffY() const { return offY; }
    [[nodiscard]] bool GetIsBufferOwner() const { return isBufferOwner; }
    [[nodiscard]] bool GetNeedsInversion() const { return needsInversion; }
    [[nodiscard]] float GetRescaleSlope() const { return rescaleSlope; }
    [[nodiscard]] int GetRescaleIntercept() const { return rescaleIntercept; }

    void SetOffX(unsigned value) { offX = value; }
    void SetOffY(unsigned value) { offY = value; }
    void SetUsedBits(unsigned value) { usedBits = value; }
    void SetFormat(ImageFormat value) { format = value; }
    void SetPixelSize(float micrometres) { pixelSize = micrometres; }
    void SetNeedsInversion(bool value) { needsInversion = value; }
    void SetRescale(float slope, int intercept);

    /// Store the value and recompute the stride; with `realloc` a new buffer of zeros follows.
    void SetWidth(unsigned value, bool realloc);
    void SetHeight(unsigned value, bool realloc);
    /// Sets the storage and the used bits. The stride is recomputed only with `realloc`, by the allocation.
    void SetBits(unsigned value, bool realloc);

    /// Recomputes the stride from width and bits: rows are padded to ALIGN bytes.
    void AlignSize();

    /// Bytes of the buffer, (bits * stride * height + 7) / 8 in unsigned 32-bit arithmetic.
    [[nodiscard]] unsigned BufferSize() const;

    /// Releases an owned buffer and allocates a new one of zeros, which the image owns; `realign` recomputes the
    /// stride.
    void AllocNewBuffer(bool realign);

    /// Fills the buffer with zeros; nothing without a buffer.
    void InitToZero();

    /// Refers to `data` from now on, which the caller keeps. Another buffer that the image owns is released first;
    /// passing its own buffer only hands the ownership to the caller.
    void SetBuffer(unsigned char* data);

    /// Releases an owned buffer. A buffer of somebody else's stays in place.
    void Clear() override;

    /// Takes stride, size, format, bits, pixel size, used bits, inversion and offsets of `model`; then allocates zeros,
    /// or realigns and keeps the buffer, whatever its size. Nothing for null.
    void MatchTo(const Image* model, bool alloc);
    /// Takes pixel size, used bits, inversion and offsets of `model` only. Nothing for null.
    void MatchSecondaryTo(const Image* model);

    /// Diagnostic files. Existing files are replaced; a file that cannot be opened is passed over in silence.
    void DumpToFile(std::string file);        ///< geometry and samples as text
    void DumpToPGMImage(std::string file);    ///< plain portable grey map with the geometry as comments
    void DumpToBinaryFile(std::string file);  ///< the buffer as it is, padding included

protected:
    /// Every field but `garbage` to its default.
    void init();

    unsigned char* buffer = nullptr;
    unsigned width = 0;
    unsigned height = 0;
    unsigned stride = 0;
    unsigned bits = 8;
    unsigned usedBits = 8;
    ImageFormat format = FORMAT_UNSIGNED;
    float pixelSize = 0.0F;
    unsigned offX = 0;
    unsigned offY = 0;
    bool isBufferOwner = true;
    bool needsInversion = false;
    float rescaleSlope = 1.0F;
    int rescaleIntercept = 0;
};

}  // namespace Norvane
