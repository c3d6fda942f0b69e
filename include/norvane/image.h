// SPDX-License-Identifier: Apache-2.0
/// The raster that every operation reads and writes. Only one thread at a time may use an object.
#pragma once

#include <norvane/export.h>
#include <norvane/garbage_list.h>

#include <string>

namespace Norvane {

/// The type of the samples of an Image.
enum ImageFormat : int {
    FORMAT_UNSIGNED = 1,  ///< unsigned integers; with 1 bit a binary image, with 8 or 16 a grey image
    FORMAT_SIGNED = 2,    ///< signed integers of 8, 16 or 32 bits
    FORMAT_FLOAT = 3,     ///< 32-bit IEEE floats
};

/// A rectangle of samples of 1, 8, 16 or 32 bits in one buffer, together with its geometry.
///
/// Rows follow each other without gaps, `stride` pixels apart, and each is aligned to ALIGN bytes. The sample of pixel
/// (x, y) starts at byte (y * stride + x) * bits / 8, in the byte order of the machine. A 1-bit row takes
/// (stride + 7) / 8 bytes, and its leftmost pixel is the most significant bit of its first byte. The columns
/// width .. stride - 1 are padding. Allocation sets them to 0, but the filters treat them as pixels. If this matters at
/// an odd 16-bit width, copy the last column into the padding.
///
/// Ownership: if `isBufferOwner` is true, the image releases its buffer (array delete). Otherwise the buffer belongs to
/// the caller. A copy refers to the same buffer and does not own it. Setters store numbers; none of them moves pixels.
/// Errors: if an allocation fails, or if its size does not fit the arithmetic of BufferSize(), std::bad_alloc is
/// thrown.
class NORVANE_API Image : public GarbageItem, public LeaksFinder {
public:
    static constexpr unsigned ALIGN = 4;  ///< alignment of every row, bytes

    /// No buffer, size 0 x 0, 8 bits unsigned.
    Image();

    /// With `alloc`, the image owns a buffer of zeros. Without it, the stride stays 0 until a setter or AlignSize()
    /// computes it.
    Image(ImageFormat sampleFormat, unsigned sampleBits, unsigned columns, unsigned rowCount, bool alloc);

    /// Takes the pixels from `data`, whose rows must already have the aligned stride. With `wrap`, the image refers to
    /// `data`, which must outlive it. Otherwise it owns a copy, or has no buffer if `data` is null. `micrometres` is
    /// the pixel size.
    Image(unsigned char* data, ImageFormat sampleFormat, int sampleBits, unsigned columns, unsigned rowCount,
          float micrometres, bool wrap);

    /// Takes the geometry of `model` like MatchTo(). With `alloc`, the image owns a buffer of zeros. Pixels are not
    /// copied.
    Image(const Image* model, bool alloc);

    /// Copies every field of `other`. The copy refers to the buffer of `other` and does not own it.
    Image(const Image& other);
    /// Does the same after releasing an owned buffer. If the image already owns the buffer of `other`, it keeps it.
    Image& operator=(const Image& other);

    ~Image() override;

    [[nodiscard]] unsigned char* GetBuffer() const { return buffer; }
    [[nodiscard]] unsigned GetWidth() const { return width; }    ///< pixels per row without padding
    [[nodiscard]] unsigned GetHeight() const { return height; }  ///< rows
    [[nodiscard]] unsigned GetStride() const { return stride; }  ///< pixels (not bytes) from row to row
    [[nodiscard]] unsigned GetBits() const { return bits; }      ///< storage bits per sample
    [[nodiscard]] unsigned GetUsedBits() const { return usedBits; }
    [[nodiscard]] ImageFormat GetFormat() const { return format; }
    [[nodiscard]] float GetPixelSize() const { return pixelSize; }  ///< micrometres; 0 if unknown
    /// Position of pixel (0, 0) in the image that this one was cut from: column and row.
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

    /// These store the value and recompute the stride. With `realloc`, they also allocate a new buffer of zeros.
    void SetWidth(unsigned value, bool realloc);
    void SetHeight(unsigned value, bool realloc);
    /// Sets the storage bits and the used bits. The stride is recomputed only with `realloc`, by the allocation.
    void SetBits(unsigned value, bool realloc);

    /// Recomputes the stride from width and bits, so that rows are padded to ALIGN bytes.
    void AlignSize();

    /// Size of the buffer in bytes: (bits * stride * height + 7) / 8 in unsigned 32-bit arithmetic.
    [[nodiscard]] unsigned BufferSize() const;

    /// Releases an owned buffer and allocates a new one of zeros, which the image owns. With `realign`, the stride is
    /// recomputed first.
    void AllocNewBuffer(bool realign);

    /// Fills the buffer with zeros. Does nothing if there is no buffer.
    void InitToZero();

    /// Makes the image refer to `data`, which stays with the caller. If the image owns another buffer, that is released
    /// first. If `data` is the image's own buffer, it only passes to the caller.
    void SetBuffer(unsigned char* data);

    /// Releases an owned buffer. If the buffer belongs to somebody else, the image keeps referring to it.
    void Clear() override;

    /// Takes stride, size, format, bits, pixel size, used bits, inversion and offsets of `model`. Then, with `alloc`,
    /// allocates a buffer of zeros; otherwise realigns and keeps the buffer, whatever its size. Does nothing for null.
    void MatchTo(const Image* model, bool alloc);
    /// Takes only pixel size, used bits, inversion and offsets of `model`. Does nothing for null.
    void MatchSecondaryTo(const Image* model);

    /// Diagnostic files. Existing files are replaced. If a file cannot be opened, nothing is written and nothing
    /// reported.
    void DumpToFile(std::string file);        ///< geometry and samples as text
    void DumpToPGMImage(std::string file);    ///< plain portable grey map with the geometry in comments
    void DumpToBinaryFile(std::string file);  ///< the unchanged buffer, including padding

protected:
    /// Sets every field except `garbage` to its default.
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
