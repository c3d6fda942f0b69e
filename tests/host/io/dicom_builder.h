// SPDX-License-Identifier: Apache-2.0
/// DICOM files for the tests: a mammogram that is read without complaint, then edited.
#pragma once

#include "host/host_support.h"

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcpath.h>
#include <dcmtk/dcmdata/dctk.h>

#include <functional>

namespace Norvane::Tests {

using Host::Samples;
using Edit = std::function<void(DcmDataset&)>;

/// Sets and removes fields as a text says: "Rows=4; ViewCodeSequence[0].CodeValue=R-10242; -Columns".
inline void change(DcmDataset& header, const std::string& text) {
    std::istringstream words(text);
    for (std::string path; std::getline(words >> std::ws, path, ';');) {
        DcmPathProcessor fields;
        Uint32 count = 0;
        const bool is_removal = path.starts_with('-');
        const OFCondition done = is_removal ? fields.findOrDeletePath(&header, path.substr(1), count)
                                            : fields.applyPathWithValue(&header, path);
        EXPECT_TRUE(done.good()) << path;
    }
}

inline const Samples kWords{0, 1, 17, 300, 2047, 2048, 2049, 3000, 4000, 4093, 4094, 4095};

/// 4 x 3 pixels of 12 bits.
inline void make_object(DcmDataset& header) {
    change(header,
           "SOPClassUID=" UID_DigitalMammographyXRayImageStorageForPresentation
           "; SOPInstanceUID=1.2.3.4; PhotometricInterpretation=MONOCHROME2; SamplesPerPixel=1; Columns=4; Rows=3; "
           "BitsAllocated=16; BitsStored=12; HighBit=11; PixelRepresentation=0; ImagerPixelSpacing=0.07\\0.07");
    header.putAndInsertUint16Array(DCM_PixelData, kWords.data(), kWords.size());
}

inline std::string save(const TemporaryFolder& folder, DcmFileFormat& object,
                        E_TransferSyntax syntax = EXS_LittleEndianExplicit) {
    const std::string file = folder.path("image.dcm");
    EXPECT_TRUE(object.saveFile(file.c_str(), syntax).good());
    return file;
}

inline std::string write_object(const TemporaryFolder& folder, const std::string& changes, const Samples& words = {}) {
    DcmFileFormat object;
    DcmDataset& header = *object.getDataset();
    make_object(header);
    if (!words.empty()) header.putAndInsertUint16Array(DCM_PixelData, words.data(), words.size());
    change(header, changes);
    return save(folder, object);
}

/// The file with another syntax in its file header, for syntaxes that the toolkit does not know.
inline std::string with_syntax(std::string bytes, const std::string& old_uid, const std::string& new_uid) {
    const auto element = [](std::string uid) {
        using namespace std::string_literals;
        uid.resize(uid.size() + uid.size() % 2);
        return "\x02\0\x10\0UI"s + static_cast<char>(uid.size()) + '\0' + uid;
    };
    constexpr std::size_t kHeaderLength = 140;
    const std::string old_element = element(old_uid);
    const std::string new_element = element(new_uid);
    bytes.replace(bytes.find(old_element), old_element.size(), new_element);
    bytes[kHeaderLength] =
        static_cast<char>(static_cast<std::size_t>(bytes[kHeaderLength]) + new_element.size() - old_element.size());
    return bytes;
}

}  // namespace Norvane::Tests
