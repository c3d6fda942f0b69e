// SPDX-License-Identifier: Apache-2.0
/// Writes what was measured as a DICOM structured report.
#pragma once

#include "findings/findings.h"

#include <string>

namespace Norvane::Host {

/// The bytes of a Comprehensive SR with a measurement report (TID 1500): the areas with their doubts, statuses, the
/// side, the view, the warnings and the algorithm. It refers to the source and, if the run writes one, to the DICOM SEG
/// of breast and muscle. The same findings give the same bytes. Throws Refusal if the source is not a DICOM object or
/// if its header lacks a valid identifier.
[[nodiscard]] std::string measurement_report(const Findings& findings);

}  // namespace Norvane::Host
