# SPDX-License-Identifier: Apache-2.0
"""Small image files of every format that the program reads."""
import pydicom
from PIL import Image


def png(path, pixels):
    Image.fromarray(pixels).save(path, "PNG")


def tiff(path, pixels):
    Image.fromarray(pixels).save(path, "TIFF")


def pgm(path, pixels, used_bits):
    height, width = pixels.shape
    path.write_bytes(b"P5 %d %d %d\n" % (width, height, (1 << used_bits) - 1) + pixels.astype(">u2").tobytes())


def dicom(path, pixels, used_bits, pixel_size_mm, **fields):
    """A left breast in an oblique view, unless `fields` say otherwise, in explicit little endian."""
    image = pydicom.Dataset()
    fields = {**dict(
        SOPClassUID="1.2.840.10008.5.1.4.1.1.1.2", SOPInstanceUID="1.2.3.4", Modality="MG", ViewPosition="MLO",
        PresentationIntentType="FOR PRESENTATION", ImagerPixelSpacing=[pixel_size_mm] * 2, ImageLaterality="L",
        SamplesPerPixel=1, PhotometricInterpretation="MONOCHROME2", Rows=pixels.shape[0], Columns=pixels.shape[1],
        BitsAllocated=16, BitsStored=used_bits, HighBit=used_bits - 1, PixelRepresentation=0,
        PixelData=pixels.astype("<u2").tobytes(),
    ), **fields}
    for name, value in fields.items():
        setattr(image, name, value)
    image.file_meta = pydicom.dataset.FileMetaDataset()
    image.file_meta.TransferSyntaxUID = pydicom.uid.ExplicitVRLittleEndian
    image.is_little_endian, image.is_implicit_VR = True, False
    image.save_as(path, write_like_original=False)
