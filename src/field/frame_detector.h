// SPDX-License-Identifier: Apache-2.0
/// Finds the field of a mammogram inside its collimation frame or its pixel padding.
#pragma once

#include <norvane/image.h>
#include <norvane/mask.h>
#include <norvane/masking.h>

#include <array>
#include <vector>

namespace Norvane {

/// The borders of an image; index of windows, candidate lists and bounds.
enum FrameBorder : int { FRAME_LEFT = 0, FRAME_RIGHT = 1, FRAME_TOP = 2, FRAME_BOTTOM = 3 };

/// A possible frame edge: a column at the left and right border, a row at the top and bottom. The strips beside it are
/// called outer on the frame's side and inner on the field's.
struct FrameCandidate {
    int position = 0;  // bin of the profile, later the edge in window coordinates
    int weight = 0;    // sum of the capped edge strengths of the bin
    bool accepted = false;
    int coverage = 0;  // edge pixels of the bin, later percent of the line's length
    double outerArea = 0.0, outerMean = 0.0, outerVariance = 0.0;
    double innerArea = 0.0, innerMean = 0.0, innerVariance = 0.0;
    double frameMaxMean = 0.0;  // mean of the maxima of the lines between border and edge
};

/// One search. All images are 16-bit grey images at the working pixel size; positions are pixels. The four straight
/// edges give an inner rectangle, which a step search and a margin rule narrow and RefineFrame() follows pixel by
/// pixel. For noise classes whose frame consists of padding values, PaddingFrame() takes the rows and columns above the
/// noise level. Everything is open: the class is internal, and its steps are tested one by one.
class FrameDetector {
public:
    explicit FrameDetector(bool padding_allowed);

    /// The whole search into `frame`. Returns 0, 7 for a null or unusable image, 8 for a null mask, or RemoveFrame()'s
    /// status.
    int Detect(Image* image, Mask*& frame, IMAGE_SIDE side, IMAGE_VIEW view, BG_NOISE bgNoise, unsigned short level);

    /// Straight edges, refined. Returns 0 or MASK_BAD_PIXEL_SIZE, MASK_NO_IMAGE, MASK_NO_SIDE, which leave the mask
    /// alone.
    int RemoveFrame(Image* image, Mask*& frame, IMAGE_SIDE side, IMAGE_VIEW view);
    /// Rows and columns with values above the noise level.
    void PaddingFrame(Image* image, Mask* frame, IMAGE_SIDE side, IMAGE_VIEW view, unsigned short level);

    void init();

    // Straight edges (frame_detector.cpp, frame_candidates.cpp)
    void SetupWindows(unsigned width, unsigned height, IMAGE_SIDE side);
    void DetectBorder(Image* image, unsigned x0, unsigned y0, unsigned w, unsigned h, IMAGE_SIDE side, int border,
                      unsigned& bound);
    bool EdgeImage(Image* window, Image* edge, int border);
    void FindCandidates(Image* edge, std::vector<FrameCandidate>& list, double step, int border);
    /// Whether the line is long, bright outside, and its strips differ by Welch's test [welch1947].
    bool EvaluateCandidate(Image* window, FrameCandidate& c, IMAGE_SIDE side, int border);
    /// Columns x0 .. x1 and rows y0 .. y1, both ends in.
    void RegionMeanVariance(Image* image, int x0, int x1, int y0, int y1, double& mean, double& variance);
    /// Columns x0 .. x1 - 1 and rows y0 .. y1 - 1: row maxima at the left and right border, else column maxima.
    void MeanOfMaxima(Image* image, int x0, int x1, int y0, int y1, int border, double& result);
    bool BorderStep(Image* image, unsigned& left, unsigned& top, unsigned& right, IMAGE_SIDE side);

    // Outline refinement (frame_refinement.cpp, frame_profile.cpp)
    bool RefineFrame(Image* image, Mask* rect, IMAGE_SIDE side, Mask*& frame);
    void DepthProfile(Image* edges, Image* strip, int coarseDepth, int firstRow, int lastRow, std::vector<int>& depth);
    void SmoothProfile(std::vector<int>& depth, int firstRow, int lastRow);
    void SuppressNonMaxima(Image* edge, Image* strip, Image* out);
    void RemoveIsolatedPoints(Image* image);
    /// A new image, which the caller owns: 0 and 1 turn by a quarter, 2 by a half, 3 mirrors left to right.
    void Rotate(Image* src, Image*& dst, int mode);

    int borderDepth = 22;  // of the step search, pixels
    bool paddingAllowed;
    bool applyMargin = true;
    bool refineOutline = true;
    std::array<unsigned, 4> bounds{};  // first and last column, first and last row of the field, both ends in
    std::array<std::vector<FrameCandidate>, 4> candidates;
    std::array<unsigned, 4> windowX{}, windowY{}, windowWidth{}, windowHeight{};
    float wideWindowFraction = 0.4F;  // of the image's width
};

}  // namespace Norvane
