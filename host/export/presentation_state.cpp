// SPDX-License-Identifier: Apache-2.0
#include "export/presentation_state.h"

#include "export/derived_object.h"
#include "export/dicom_items.h"
#include "export/mask_outline.h"
#include "findings/status_text.h"
#include "io/dicom/copied_fields.h"
#include "io/refusal.h"

#include <dcmtk/dcmdata/dcdeftag.h>
#include <dcmtk/dcmdata/dcuid.h>
#include <dcmtk/dcmdata/dcvrsl.h>
#include <fmt/core.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

namespace Norvane::Host {
namespace {

constexpr ObjectKind kState{
    UID_GrayscaleSoftcopyPresentationStateStorage, "PR", "903", "Outlines, Norvane", false, true};
constexpr double kTolerance = 0.3;          // pixels of the working grid
constexpr std::size_t kMostPoints = 8'000;  // the length of an element ends at 65,534 bytes

/// A kind of outline and the layer in which it lies.
struct GraphicLayer {
    const char* name;
    const char* description;
    CielabColour colour;
    Masking::MASK_STATUS status;
    const Region& region;
};

std::vector<GraphicLayer> layers_of(const Findings& findings) {
    std::vector<GraphicLayer> layers{
        {"BREAST", "Breast", kBreastCielab, findings.masks.breast.status, findings.masks.breast.region}};
    if (shows_muscle(findings)) {
        layers.push_back(
            {"PECTORAL", "Pectoral muscle", kMuscleCielab, findings.masks.pectoral.status, findings.masks.muscle()});
    }
    return layers;
}

/// Brings corners of pixels from the working grid to the source. Pixel k of the grid begins at the first pixel v of the
/// crop with k <= v * scale + 0.5, on average at (k - 0.5) / scale + 0.5.
class CornerMap {
public:
    explicit CornerMap(const Findings& findings)
        : crop(findings.crop()),
          columns(findings.working_image().GetWidth()),
          rows(findings.working_image().GetHeight()),
          scale(findings.settings.pixel_size_um.value / findings.working_image().GetPixelSize()) {}

    [[nodiscard]] OutlinePoint on_source(const OutlinePoint& corner) const {
        return {crop.x + placed(corner.x, columns, crop.width), crop.y + placed(corner.y, rows, crop.height)};
    }
    /// The outlines of a mask, in pixels of the source whose first one covers 0 .. 1.
    [[nodiscard]] std::vector<Outline> outlines(const Region& region) const {
        std::vector<Outline> lines = outlines_of(region, columns, rows);
        for (Outline& line : lines) {
            double tolerance = kTolerance;
            Outline simple = simplified(line, tolerance);
            while (simple.size() >= kMostPoints) simple = simplified(line, tolerance *= 2.0);
            std::ranges::transform(simple, simple.begin(), [this](const OutlinePoint& p) { return on_source(p); });
            line = std::move(simple);
        }
        return lines;
    }

private:
    // The first and the last pixel of the grid lie on those of the crop.
    [[nodiscard]] double placed(double corner, unsigned grid_count, unsigned count) const {
        if (corner <= 0.0) return 0.0;
        return corner >= grid_count ? count : std::clamp((corner - 0.5) / scale + 0.5, 0.0, double{1.0} * count);
    }

    SourceBox crop;
    unsigned columns, rows;
    double scale;
};

void put_image_reference(DcmItem& item, const SourceReference& source) {
    DcmItem& image = add_item(item, DCM_ReferencedImageSequence);
    put_reference(image, source);
    if (source.frame > 0) put_text(image, DCM_ReferencedFrameNumber, std::to_string(source.frame));
}

void put_identification(DcmItem& object, bool has_muscle) {
    put_text(object, DCM_PresentationCreationDate, text_in(object, DCM_ContentDate));
    put_text(object, DCM_PresentationCreationTime, text_in(object, DCM_ContentTime));
    for (const DcmTagKey& tag : {DCM_ContentDate, DCM_ContentTime}) (void)object.findAndDeleteElement(tag);
    put_text(object, DCM_ContentLabel, "OUTLINES");
    put_text(object, DCM_ContentDescription,
             has_muscle ? "Outlines of breast and pectoral muscle" : "Outline of the breast");
    put_text(object, DCM_ContentCreatorName, "");
}

// Column and row, from 1.
void put_pixel(DcmItem& item, const DcmTagKey& tag, unsigned column, unsigned row) {
    const Sint32 place[] = {static_cast<Sint32>(column), static_cast<Sint32>(row)};
    auto* element = new DcmSignedLong(tag);  // belongs to the item
    (void)element->putSint32Array(place, 2);
    (void)item.insert(element, OFTrue);
}

void put_displayed_area(DcmItem& object, const SourceReference& source, const Findings& findings) {
    const std::string pixel_size_mm = decimal_text(findings.settings.pixel_size_um.value / 1000.0);
    DcmItem& area = add_item(object, DCM_DisplayedAreaSelectionSequence);
    put_image_reference(area, source);
    put_pixel(area, DCM_DisplayedAreaTopLeftHandCorner, 1, 1);
    put_pixel(area, DCM_DisplayedAreaBottomRightHandCorner, findings.source.width, findings.source.height);
    put_text(area, DCM_PresentationSizeMode, "SCALE TO FIT");
    put_text(area, DCM_PresentationPixelSpacing,
             pixel_size_mm + "\\" + pixel_size_mm);  // here, only their ratio counts
}

void put_polyline(DcmItem& annotation, const Outline& line) {
    std::vector<Float32> data;
    for (const OutlinePoint& point : line) {
        data.push_back(static_cast<Float32>(point.x));
        data.push_back(static_cast<Float32>(point.y));
    }
    data.insert(data.end(), {data[0], data[1]});  // closed
    DcmItem& graphic = add_item(annotation, DCM_GraphicObjectSequence);
    put_text(graphic, DCM_GraphicAnnotationUnits, "PIXEL");
    put_number(graphic, DCM_GraphicDimensions, 2);
    put_number(graphic, DCM_NumberOfGraphicPoints, static_cast<unsigned>(data.size() / 2));
    graphic.putAndInsertFloat32Array(DCM_GraphicData, data.data(), data.size());
    put_text(graphic, DCM_GraphicType, "POLYLINE");
    put_text(graphic, DCM_GraphicFilled, "N");
}

void put_layers(DcmItem& object, const Findings& findings, const SourceReference& source, const CornerMap& map) {
    unsigned order = 0;
    for (const GraphicLayer& layer : layers_of(findings)) {
        const std::vector<Outline> lines = map.outlines(layer.region);
        if (lines.empty()) continue;
        DcmItem& item = add_item(object, DCM_GraphicLayerSequence);
        put_text(item, DCM_GraphicLayer, layer.name);
        put_text(item, DCM_GraphicLayerOrder, std::to_string(++order));
        item.putAndInsertUint16Array(DCM_GraphicLayerRecommendedDisplayCIELabValue, layer.colour.data(),
                                     layer.colour.size());
        put_text(item, DCM_GraphicLayerDescription, std::string(layer.description) + ", " + text_of(layer.status).name);
        DcmItem& annotation = add_item(object, DCM_GraphicAnnotationSequence);
        put_image_reference(annotation, source);
        put_text(annotation, DCM_GraphicLayer, layer.name);
        for (const Outline& line : lines) put_polyline(annotation, line);
    }
}

/// From where to where a line reaches along an axis.
struct Extent {
    double low, high;
    [[nodiscard]] double centre() const { return (low + high) / 2.0; }
};
Extent extent_of(const Outline& line, double OutlinePoint::*axis) {
    const auto [low, high] = std::ranges::minmax(line, {}, axis);
    return {low.*axis, high.*axis};
}

// The pixel, from 1, that touches a corner from inside.
long pixel_inside(double corner, const Extent& extent) {
    return std::lround(corner) + (corner < extent.centre() ? 1 : 0);
}

// The tallest outline of the exposed field. Vertices are rows and columns.
void put_shutter(DcmItem& object, const Findings& findings, const CornerMap& map) {
    const std::vector<Outline> lines = map.outlines(findings.masks.frame.region);
    if (lines.empty()) return;
    const auto height = [](const Outline& line) {
        const Extent rows = extent_of(line, &OutlinePoint::y);
        return rows.high - rows.low;
    };
    const Outline& field = *std::ranges::max_element(lines, {}, height);
    const Extent columns = extent_of(field, &OutlinePoint::x);
    const Extent rows = extent_of(field, &OutlinePoint::y);
    std::string vertices;
    for (const OutlinePoint& point : field) {
        vertices += fmt::format("{}{}\\{}", vertices.empty() ? "" : "\\", pixel_inside(point.y, rows),
                                pixel_inside(point.x, columns));
    }
    put_text(object, DCM_ShutterShape, "POLYGONAL");
    put_text(object, DCM_VerticesOfThePolygonalShutter, vertices);
    put_number(object, DCM_ShutterPresentationValue, 0);
}

std::string first_value(const DicomTexts& header, const DcmTagKey& tag) {
    const std::string text = copied_text(header, tag);
    return text.substr(0, text.find('\\'));
}

// What makes grey levels of the samples: the rescaling and the window of the file.
void put_grey_levels(DcmItem& object, const SourceReference& source, const SourceImage& image) {
    const DicomTexts& header = *image.dicom_texts;
    const std::string slope = first_value(header, DCM_RescaleSlope);
    const std::string intercept = first_value(header, DCM_RescaleIntercept);
    if (!slope.empty() && !intercept.empty()) {
        put_text(object, DCM_RescaleIntercept, intercept);
        put_text(object, DCM_RescaleSlope, slope);
        const std::string type = first_value(header, DCM_RescaleType);
        put_text(object, DCM_RescaleType, type.empty() ? "US" : type);
    }
    const std::string centre = first_value(header, DCM_WindowCenter);
    const std::string width = first_value(header, DCM_WindowWidth);
    if (!centre.empty() && !width.empty()) {
        DcmItem& window = add_item(object, DCM_SoftcopyVOILUTSequence);
        put_image_reference(window, source);
        put_text(window, DCM_WindowCenter, centre);
        put_text(window, DCM_WindowWidth, width);
        const std::string function = copied_text(header, DCM_VOILUTFunction);
        if (!function.empty()) put_text(window, DCM_VOILUTFunction, function);
    }
    put_text(object, DCM_PresentationLUTShape, image.needs_inversion ? "INVERSE" : "IDENTITY");
}

}  // namespace

std::string presentation_state(const Findings& findings) {
    const std::optional<SourceReference> source = source_reference(findings.source);
    if (!source)
        throw Refusal("has no presentation state (gsps) without identifiers, because it would refer to nothing");
    DcmFileFormat file;
    DcmItem& object = *file.getDataset();
    put_common_fields(object, kState, findings, source);
    put_identification(object, shows_muscle(findings));
    DcmItem& series = add_item(object, DCM_ReferencedSeriesSequence);
    put_text(series, DCM_SeriesInstanceUID, source->series_uid);
    put_image_reference(series, *source);
    put_displayed_area(object, *source, findings);
    const CornerMap map(findings);
    put_layers(object, findings, *source, map);
    put_shutter(object, findings, map);
    put_grey_levels(object, *source, findings.source);
    return finished_file(file);
}

}  // namespace Norvane::Host
