// SPDX-License-Identifier: Apache-2.0
#include "io/read_image.h"

#include "io/byte_source.h"
#include "io/dicom/read_dicom.h"
#include "io/read_pgm.h"
#include "io/read_png.h"
#include "io/read_tiff.h"
#include "io/refusal.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Norvane::Host {
namespace {

using namespace std::string_view_literals;

struct Format {
    const char* name;
    std::vector<std::string_view> endings;  // of file names, in lower case
    bool (*is_start_of)(std::string_view first_bytes);
    SourceImage (*read)(const std::filesystem::path& file, const ReadOptions& options);
    unsigned (*count_frames)(const std::filesystem::path& file, const ReadOptions& options);
};

bool is_png(std::string_view head) { return head.starts_with("\x89PNG\r\n\x1a\n"sv); }

bool is_netpbm(std::string_view head) {
    if (head.size() < 3 || head[0] != 'P' || head[1] < '1' || head[1] > '6') return false;
    return "#\t\n\v\f\r "sv.find(head[2]) != std::string_view::npos;
}

// Without the preamble, a data set starts with group 0002 or 0008.
bool is_dicom(std::string_view head) {
    constexpr std::size_t kPreamble = 128;
    if (head.size() >= kPreamble + 4 && head.substr(kPreamble, 4) == "DICM") return true;
    return head.size() > 4 && (head[0] == '\x02' || head[0] == '\x08') && head.substr(1, 1) == "\0"sv &&
           head[3] == '\0';
}

// Both byte orders, of ordinary TIFF and of BigTIFF.
bool is_tiff(std::string_view head) {
    return head.starts_with("II*\0"sv) || head.starts_with("MM\0*"sv) || head.starts_with("II+\0"sv) ||
           head.starts_with("MM\0+"sv);
}

// For formats without frames: they hold one.
template <SourceImage (*read)(const std::filesystem::path&, const ReadOptions&)>
SourceImage read_single(const std::filesystem::path& file, const ReadOptions& options) {
    SourceImage image = read(file, options);
    set_frame(image, 1, options);
    return image;
}

unsigned count_single(const std::filesystem::path&, const ReadOptions&) { return 1; }

// The order matters: a file can be DICOM and TIFF at once.
const Format kFormats[] = {
    {"PNG", {".png"}, is_png, read_single<read_png>, count_single},
    {"PGM", {".pgm", ".pnm"}, is_netpbm, read_single<read_pgm>, count_single},
    {"DICOM", {".dcm", ".dicom", ".ima"}, is_dicom, read_dicom, count_dicom_frames},
    {"TIFF", {".tif", ".tiff"}, is_tiff, read_tiff, count_tiff_pages},
};

std::string names_of_formats() {
    std::string names;
    for (const Format& format : kFormats) names += (names.empty() ? "" : ", ") + std::string(format.name);
    return names;
}

// Formats that people hand in by mistake. The refusal names them.
struct ForeignFormat {
    std::string_view start;
    const char* name;
};
constexpr ForeignFormat kForeignFormats[] = {
    {"P7\n"sv, "a PAM file"}, {"\xFF\xD8\xFF"sv, "a JPEG file"},        {"GIF8"sv, "a GIF file"},
    {"BM"sv, "a BMP file"},   {"\0\0\0\x0CjP  "sv, "a JPEG 2000 file"}, {"%PDF"sv, "a PDF file"}};

std::string first_bytes_of(const std::filesystem::path& file) {
    constexpr std::size_t kEnough = 160;
    FileBytes bytes(file);
    const auto head = bytes.peek(kEnough);
    if (head.empty()) throw Refusal("is empty");
    return {head.begin(), head.end()};
}

const Format& format_of(const std::filesystem::path& file) {
    const std::string head = first_bytes_of(file);
    for (const Format& format : kFormats) {
        if (format.is_start_of(head)) return format;
    }
    for (const ForeignFormat& foreign : kForeignFormats) {
        if (head.starts_with(foreign.start)) {
            throw Refusal(std::string("is ") + foreign.name + "; these formats are read: " + names_of_formats());
        }
    }
    throw Refusal("is not an image that can be read (" + names_of_formats() + ")");
}

}  // namespace

SourceImage read_image(const std::filesystem::path& file, const ReadOptions& options) {
    const Format& format = format_of(file);
    SourceImage image = format.read(file, options);
    image.format = format.name;
    return image;
}

unsigned count_frames(const std::filesystem::path& file, const ReadOptions& options) {
    constexpr unsigned kMostFrames = 10000;
    const unsigned count = format_of(file).count_frames(file, options);
    if (count > kMostFrames) throw Refusal("holds more than 10000 frames");
    return count;
}

bool has_image_ending(const std::filesystem::path& file) {
    std::string ending = file.extension().string();
    std::ranges::transform(ending, ending.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return std::ranges::any_of(kFormats, [&ending](const Format& format) {
        return std::ranges::find(format.endings, ending) != format.endings.end();
    });
}

bool has_known_format(const std::filesystem::path& file) {
    const std::string head = first_bytes_of(file);
    return std::ranges::any_of(kFormats, [&head](const Format& format) { return format.is_start_of(head); });
}

}  // namespace Norvane::Host
