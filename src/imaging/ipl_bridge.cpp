// SPDX-License-Identifier: Apache-2.0
#include "imaging/ipl_bridge.h"

#include "imaging/wrapped_image.h"
#include "model/pixels.h"

#include <cstddef>
#include <iostream>

namespace Norvane::Utils {

namespace {

/// Whether the platform's depth describes the samples correctly. IplDepth() returns a depth for every image, even if
/// the platform would misread its rows.
bool has_platform_samples(const Image& image) {
    const unsigned bits = image.GetBits();
    switch (image.GetFormat()) {
        case FORMAT_UNSIGNED:
            return bits == 1 || bits == 8 || bits == 16;
        case FORMAT_SIGNED:
            return bits == 8 || bits == 16 || bits == 32;
        case FORMAT_FLOAT:
            return bits == 32;
    }
    return bits == 8;
}

constexpr int kHeaderOnly = 1;

}  // namespace

int IplDepth(const Image* image) {
    const unsigned bits = image->GetBits();
    switch (image->GetFormat()) {
        case FORMAT_UNSIGNED:
            return bits == 16 ? kIplDepth16U : bits == 1 ? kIplDepth1U : kIplDepth8U;
        case FORMAT_SIGNED:
            return bits == 16 ? kIplDepth16S : bits == 32 ? kIplDepth32S : kIplDepth8S;
        case FORMAT_FLOAT:
            return kIplDepth32F;
    }
    return kIplDepth8U;
}

int IplStatus() {
    switch (iplGetErrStatus()) {
        case 0:
            return kSuccess;
        case -4:
            return kOutOfMemory;
        case -6:
            return kUnsupported;
        case -1:
        case -2:
        case -3:
        case -7:
            return kUnsupportedImage;
        default:
            return kBadArgument;
    }
}

int bad_argument(const char* message) {
    std::cout << message << std::endl;
    return kBadArgument;
}

int refuse_unaligned_rows(const Image& image) {
    return row_pitch(image) % Image::ALIGN != 0 ? bad_argument("Input stride wrong") : kSuccess;
}

WrappedImage::~WrappedImage() {
    if (header_) iplDeallocate(header_, kHeaderOnly);
}

int WrappedImage::wrap_source(const Image& image) {
    if (const int code = refuse_unaligned_rows(image)) return code;
    return wrap(image, "Source image allocation failed");
}

int WrappedImage::wrap_destination(const Image& image) { return wrap(image, "Destination image allocation failed"); }

int WrappedImage::wrap(const Image& image, const char* allocation_failure) {
    if (image.GetBuffer() == nullptr || !has_platform_samples(image)) return kBadArgument;
    // The stride is passed as the width, because padding columns are part of the platform's image.
    header_ = iplCreateImageHeader(1, 0, IplDepth(&image), "GRAY", "GRAY", 0, 0, Image::ALIGN, image.GetStride(),
                                   image.GetHeight(), nullptr, nullptr, nullptr, nullptr);
    if (!header_) {
        std::cout << allocation_failure << std::endl;
        return kOutOfMemory;
    }
    header_->image_size = image.GetHeight() * row_pitch(image);
    header_->data = image.GetBuffer();
    return kSuccess;
}

bool can_hold(const Image& dst, const Image& src) {
    const Image result(&src, false);
    if (result.GetStride() < result.GetWidth()) return false;  // the aligned stride does not fit its 32 bits
    return result.GetHeight() == 0 || row_pitch(result) <= dst.BufferSize() / result.GetHeight();
}

}  // namespace Norvane::Utils
