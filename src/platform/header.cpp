// SPDX-License-Identifier: Apache-2.0
/// Headers, their checks, and the error status.
#include "platform/raster.h"

namespace Norvane {

namespace {

thread_local int last_status = kIplOk;

bool is_depth(int depth) {
    return depth == kIplDepth1U || depth == kIplDepth8U || depth == kIplDepth16U || depth == kIplDepth8S ||
           depth == kIplDepth16S || depth == kIplDepth32S || depth == kIplDepth32F;
}

}  // namespace

IplHeader* iplCreateImageHeader(int channels, int alpha_channel, int depth, const char*, const char*, int data_order,
                                int origin, int align, unsigned width, unsigned height, const void* roi,
                                const void* mask, const void* image_id, const void* tile_info) {
    const bool is_plain = channels == 1 && alpha_channel == 0 && data_order == 0 && origin == 0 && align == 4;
    const bool is_whole = !roi && !mask && !image_id && !tile_info;
    if (!is_plain || !is_whole || !is_depth(depth)) {
        Platform::set_status(kIplBadArgument);
        return nullptr;
    }
    auto* header = new (std::nothrow) IplHeader{depth, width, height};
    Platform::set_status(header ? kIplOk : kIplOutOfMemory);
    return header;
}

void iplDeallocate(IplHeader* header, int) { delete header; }

int iplGetErrStatus() { return last_status; }

namespace Platform {

void set_status(int status) { last_status = status; }

std::size_t row_bytes(const IplHeader& header) {
    const auto bits = static_cast<unsigned>(header.depth & ~kIplSign);
    if (bits == 1) return (std::size_t{header.width} + 7) / 8;
    return std::size_t{header.width} * (bits / 8);
}

bool is_described(const IplHeader* header) {
    if (!header || !header->data) return false;
    return header->height == 0 || row_bytes(*header) <= header->image_size / header->height;
}

bool are_alike(const IplHeader* src, const IplHeader* dst) {
    return is_described(src) && is_described(dst) && src->depth == dst->depth && src->width == dst->width &&
           src->height == dst->height;
}

StableSource::StableSource(const IplHeader& src, const IplHeader& dst) : described_(src) {
    if (src.data != dst.data) return;
    pixels_.assign(src.data, src.data + row_bytes(src) * src.height);
    described_.data = pixels_.data();
}

}  // namespace Platform

}  // namespace Norvane
