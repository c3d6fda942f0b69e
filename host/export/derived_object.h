// SPDX-License-Identifier: Apache-2.0
/// What all DICOM objects share that are made from a mammogram: its patient and study, the reference to it, a series of
/// their own, identifiers, and the bytes of the file.
#pragma once

#include "findings/findings.h"
#include "io/source_image.h"

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcfilefo.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>

namespace Norvane::Host {

/// The name of the algorithm and of its maker in all objects.
inline constexpr const char* kAlgorithmName = "Norvane";

/// The colours of segments and outlines for viewers: L*, a* and b*, each 0 .. 65535.
using CielabColour = std::array<std::uint16_t, 3>;
inline constexpr CielabColour kBreastCielab{53083, 16962, 41891};
inline constexpr CielabColour kMuscleCielab{39321, 48830, 42662};
inline constexpr CielabColour kFullCielab{56360, 33667, 51657};

/// Whether objects say something about the pectoral muscle.
[[nodiscard]] inline bool shows_muscle(const Findings& findings) { return findings.settings.view.value == VIEW_PECT; }

/// Identifies the object that the masks belong to.
struct SourceReference {
    std::string class_uid;
    std::string instance_uid;
    std::string series_uid;
    unsigned frame = 0;  ///< from 1; 0 if the object has only one
};
/// Nothing if identifiers must not be read; then the object refers to no source. Throws Refusal if the source is not a
/// DICOM object or if its header lacks a valid identifier.
[[nodiscard]] std::optional<SourceReference> source_reference(const SourceImage& image);

/// What differs between the kinds of objects.
struct ObjectKind {
    const char* class_uid;
    const char* modality;
    const char* series_number;
    const char* series_description;
    bool is_image;             ///< whether it has pixels, and with them an orientation and a history of compression
    bool says_breast = false;  ///< whether a series must say which breast it shows, and so shows one only
};

/// Writes class, patient, study, series, equipment and date. The series is the same for all objects of the kind that
/// belong to one series of sources. Fields of the source with invalid values are left out or left empty.
void put_common_fields(DcmItem& object, const ObjectKind& kind, const Findings& findings,
                       const std::optional<SourceReference>& source);

/// A warning if the header lacks valid values for fields by which archives file an object: these objects leave them
/// empty. Empty if nothing is missing.
[[nodiscard]] std::string filing_warning(const Findings& findings);

/// Writes class and instance of the source into `item`.
void put_reference(DcmItem& item, const SourceReference& source);
/// Writes the same with the series, for the whole object.
void put_source_references(DcmItem& object, const SourceReference& source);

/// What the frame of reference and other identifiers of an image are made from: the source, or without identifiers the
/// masks alone.
[[nodiscard]] std::string identity_seed(const Findings& findings, const std::optional<SourceReference>& source);

/// The identifier of an object. It depends on nothing but its contents.
[[nodiscard]] std::string instance_uid_of(DcmDataset& object);

/// Gives the object this identifier and returns the bytes of the file.
[[nodiscard]] std::string finished_file(DcmFileFormat& file, E_TransferSyntax syntax = EXS_LittleEndianExplicit);

/// A number as a DICOM decimal string of at most 16 characters.
[[nodiscard]] std::string decimal_text(double value);

}  // namespace Norvane::Host
