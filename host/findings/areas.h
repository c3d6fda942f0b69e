// SPDX-License-Identifier: Apache-2.0
/// The areas of breast and muscle, and the declaration of each.
#pragma once

#include "findings/findings.h"
#include "findings/region.h"

#include <array>
#include <string>

namespace Norvane::Host {

/// Square millimetres.
struct BreastAreas {
    double breast = 0.0;
    double muscle = 0.0;
    double breast_with_muscle = 0.0;
};

/// How an area is shown everywhere.
struct AreaDeclaration {
    const char* name;   ///< its name in the JSON, the tables and Python
    const char* label;  ///< for people
    const char* meaning;
    double BreastAreas::*value;
};
inline constexpr std::array kAreas{
    AreaDeclaration{"breast_mm2", "breast without muscle",
                    "Area of the breast without the pectoral muscle in square millimetres: that of label 1",
                    &BreastAreas::breast},
    AreaDeclaration{"muscle_mm2", "pectoral muscle",
                    "Area of the pectoral muscle in square millimetres: that of label 2; 0 without a muscle",
                    &BreastAreas::muscle},
    AreaDeclaration{"breast_with_muscle_mm2", "both",
                    "Area of breast and muscle joined, as far down as the muscle reaches, in square millimetres: that "
                    "of the full mask",
                    &BreastAreas::breast_with_muscle}};

/// Measures the areas. The regions must lie on one grid. The muscle may overlap the breast.
[[nodiscard]] BreastAreas areas_of(const Region& breast, const Region& muscle, const Region& joined);
[[nodiscard]] BreastAreas areas_of(const Findings& findings);

/// All areas in one line for people.
[[nodiscard]] std::string areas_text(const BreastAreas& areas);
/// The area in square centimetres, with the unit.
[[nodiscard]] std::string area_text(double square_millimetres);

}  // namespace Norvane::Host
