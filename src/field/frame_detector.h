// SPDX-License-Identifier: Apache-2.0
/// Finds the field of a mammogram inside its collimation frame or its pixel padding.
#pragma once

#include <norvane/image.h>
#include <norvane/mask.h>
#include <norvane/masking.h>

#include "model/geometry.h"

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
    int coverage = 0;  // edge pixels of the bin, later percent of the line's length
};

/// Where the frame is looked for at each border: columns and rows of the image. The window on the side away from the
/// chest wall is wide, because a frame reaches deeper there.
using FrameWindows = std::array<Rectangle<int>, 4>;
[[nodiscard]] FrameWindows frame_windows(unsigned width, unsigned height, IMAGE_SIDE side);

/// One search. All images are 16-bit grey images at the working pixel size; positions are pixels. The four straight
/// edges give an inner rectangle, which a step search and a margin rule narrow and RefineFrame() follows pixel by
/// pixel. For noise classes whose frame consists of padding values, PaddingFrame() takes the rows and columns above the
/// noise level. Everything is open: the class is internal, and its steps are tested one by one.
class FrameDetector {
public:
    explicit FrameDetector(bool padding_allowed) : paddingAllowed(padding_allowed) {}

    /// The whole search into `frame`. Returns 0, 7 for a null or unusable image, 8 for a null mask, or RemoveFrame()'s
    /// status.
    int Detect(Image* image, Mask*& frame, IMAGE_SIDE side, IMAGE_VIEW view, BG_NOISE bgNoise, unsigned short level);

    /// Straight edges, refined. Returns 0 or MASK_BAD_PIXEL_SIZE, MASK_NO_IMAGE, MASK_NO_SIDE, which leave the mask
    /// alone.
    int RemoveFrame(Image* image, Mask*& frame, IMAGE_SIDE side);
    /// Rows and columns with values above the noise level.
    void PaddingFrame(Image* image, Mask* frame, IMAGE_SIDE side, IMAGE_VIEW view, unsigned short level);

    // Straight edges (frame_detector.cpp, frame_candidates.cpp)
    /// The first column or row of the field at a border, or the last one.
    unsigned DetectBorder(Image* image, const Rectangle<int>& window, IMAGE_SIDE side, int border);
    bool EdgeImage(Image* window, Image* edge, int border);
    [[nodiscard]] static std::vector<FrameCandidate> FindCandidates(const Image& edge, int lines_per_bin, int border);
    /// Whether the line is long, bright outside, and its strips differ by Welch's test [welch1947].
    [[nodiscard]] static bool EvaluateCandidate(const Image& window, const FrameCandidate& c, IMAGE_SIDE side,
                                                int border);
    /// Moves bounds inwards to a sharp rise of the mean close to the border: at the wall and at the top.
    void NarrowByStep(const Image& image, IMAGE_SIDE side, Rectangle<unsigned>& field) const;

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
};

}  // namespace Norvane
