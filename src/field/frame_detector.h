// SPDX-License-Identifier: Apache-2.0
/// Finds the field of a mammogram inside its collimation frame or its pixel padding.
#pragma once

#include <norvane/image.h>
#include <norvane/mask.h>
#include <norvane/masking.h>

#include <array>
#include <vector>

namespace Norvane {

/// The borders of an image. They are the index of windows, candidate lists and bounds.
enum FrameBorder : unsigned { FRAME_LEFT = 0, FRAME_RIGHT = 1, FRAME_TOP = 2, FRAME_BOTTOM = 3 };

/// A possible frame edge: a column at the left and right border, a row at the top and bottom. Of the strips beside it,
/// the outer one lies on the side of the frame and the inner one on that of the field.
struct FrameCandidate {
    int position = 0;  // bin of the profile; later the position of the edge in the window
    int weight = 0;    // sum of the capped edge strengths of the bin
    bool accepted = false;
    int coverage = 0;  // edge pixels of the bin; later percent of the line's length
    double outerArea = 0.0, outerMean = 0.0, outerVariance = 0.0;
    double innerArea = 0.0, innerMean = 0.0, innerVariance = 0.0;
    double frameMaxMean = 0.0;  // mean of the maxima of the lines between border and edge
};

/// One search. All images are 16-bit grey images at the working pixel size; positions are in pixels. The four straight
/// edges give an inner rectangle. A step search and a margin rule narrow it, and RefineFrame() follows its outline
/// pixel by pixel. For noise classes whose frame consists of padding values, PaddingFrame() takes the rows and columns
/// above the noise level. All members are public, because the class is internal and its steps are tested one by one.
class FrameDetector {
public:
    explicit FrameDetector(bool padding_allowed);

    /// Does the whole search and writes the field into `frame`. Returns 0; 7 if the image is null or cannot be used; 8
    /// if the mask is null; or the status of RemoveFrame().
    int Detect(Image* image, Mask*& frame, IMAGE_SIDE side, IMAGE_VIEW view, BG_NOISE bgNoise, unsigned short level);

    /// Finds straight edges and refines them. Returns 0, or MASK_BAD_PIXEL_SIZE, MASK_NO_IMAGE or MASK_NO_SIDE; then
    /// the mask is not changed.
    int RemoveFrame(Image* image, Mask*& frame, IMAGE_SIDE side, IMAGE_VIEW view);
    /// Finds the rows and columns with values above the noise level.
    void PaddingFrame(Image* image, Mask* frame, IMAGE_SIDE side, IMAGE_VIEW view, unsigned short level);

    void init();

    // Straight edges (frame_detector.cpp, frame_candidates.cpp)
    void SetupWindows(unsigned width, unsigned height, IMAGE_SIDE side);
    void DetectBorder(Image* image, unsigned x0, unsigned y0, unsigned w, unsigned h, IMAGE_SIDE side,
                      FrameBorder border, unsigned& bound);
    bool EdgeImage(Image* window, Image* edge, FrameBorder border);
    void FindCandidates(Image* edge, std::vector<FrameCandidate>& list, double step, FrameBorder border);
    /// Whether the line is long, is bright outside, and has strips that differ by Welch's test [welch1947].
    bool EvaluateCandidate(Image* window, FrameCandidate& c, IMAGE_SIDE side, FrameBorder border);
    /// Of the columns x0 .. x1 and rows y0 .. y1, all included.
    void RegionMeanVariance(Image* image, int x0, int x1, int y0, int y1, double& mean, double& variance);
    /// Of the columns x0 .. x1 - 1 and rows y0 .. y1 - 1: row maxima at the left and right border, otherwise column
    /// maxima.
    void MeanOfMaxima(Image* image, int x0, int x1, int y0, int y1, FrameBorder border, double& result);
    bool BorderStep(Image* image, unsigned& left, unsigned& top, unsigned& right, IMAGE_SIDE side);

    // Outline refinement (frame_refinement.cpp, frame_profile.cpp)
    bool RefineFrame(Image* image, Mask* rect, IMAGE_SIDE side, Mask*& frame);
    void DepthProfile(Image* edges, Image* strip, int coarseDepth, int firstRow, int lastRow, std::vector<int>& depth);
    void SmoothProfile(std::vector<int>& depth, int firstRow, int lastRow);
    void SuppressNonMaxima(Image* edge, Image* strip, Image* out);
    void RemoveIsolatedPoints(Image* image);
    /// Makes a new image, which the caller owns. Modes 0 and 1 turn it by a quarter, 2 by a half; 3 mirrors it left to
    /// right.
    void Rotate(Image* src, Image*& dst, int mode);

    int borderDepth = 22;  // depth of the step search, in pixels
    bool paddingAllowed;
    bool applyMargin = true;
    bool refineOutline = true;
    std::array<unsigned, 4> bounds{};  // first and last column, first and last row of the field
    std::array<std::vector<FrameCandidate>, 4> candidates;
    std::array<unsigned, 4> windowX{}, windowY{}, windowWidth{}, windowHeight{};
    float wideWindowFraction = 0.4F;  // as a share of the image's width
};

}  // namespace Norvane
