#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Opens the page of web/ in headless Chromium and uses it as a person would.

check_web_page.py NORVANE PAGE [FILE...]   compares the page with the program on phantoms, and on the FILEs that the
                                           page reads; exits 1 on a fault and 77 without Chromium or Selenium
check_web_page.py --look NORVANE PAGE DIR  takes pictures of the page into DIR, for people to look at
"""
import json
import pathlib
import re
import subprocess
import sys
import tempfile
import time

import numpy
import pydicom
from PIL import Image
from pydicom.dataset import FileDataset, FileMetaDataset

from check_page import CHROMIUM, DRIVER, Browser, Keys, webdriver
from trial import PATIENCE_S, SKIPPED, Faults, is_skipped, wait_for

SHOWN = "[...document.querySelectorAll('#picture [data-layer][visibility=visible]')].map(path => path.dataset.layer)"
SAVED = """const made = URL.createObjectURL; let blob = null; URL.createObjectURL = what => made.call(URL, blob = what);
    document.getElementById(%s).click(); while (!blob) await new Promise(done => setTimeout(done, 5));
    URL.createObjectURL = made; return [...new Uint8Array(await blob.arrayBuffer())]"""


def phantom(norvane, path, *options):
    subprocess.run([norvane, "phantom", *options, path], check=True)
    return path


def as_dicom(png, path, view, **fields):
    """A DICOM mammogram of the samples of a PNG file."""
    samples = numpy.array(Image.open(png)).astype(numpy.uint16)
    meta = FileMetaDataset()
    meta.TransferSyntaxUID = fields.pop("syntax", pydicom.uid.ExplicitVRLittleEndian)
    meta.MediaStorageSOPClassUID = "1.2.840.10008.5.1.4.1.1.1.2"
    meta.MediaStorageSOPInstanceUID = "2.25.1"
    file = FileDataset(str(path), {}, file_meta=meta, preamble=bytes(128))
    file.is_little_endian, file.is_implicit_VR = True, meta.TransferSyntaxUID.is_implicit_VR
    file.SOPClassUID, file.SOPInstanceUID = meta.MediaStorageSOPClassUID, meta.MediaStorageSOPInstanceUID
    file.Modality, file.PresentationIntentType, file.ImageLaterality = "MG", "FOR PRESENTATION", "L"
    file.PhotometricInterpretation, file.SamplesPerPixel, file.PixelRepresentation = "MONOCHROME2", 1, 0
    file.BitsAllocated, file.BitsStored, file.HighBit = 16, 12, 11
    file.ViewPosition, file.ImagerPixelSpacing, file.PatientOrientation = view, [0.1, 0.1], ["A", "R"]
    file.Rows, file.Columns = samples.shape
    code = pydicom.Dataset()
    code.CodeValue, code.CodingSchemeDesignator = {"MLO": "399368009", "CC": "399162004"}[view], "SCT"
    file.ViewCodeSequence = [code]
    for name, value in fields.items():
        setattr(file, name, value)
    if file.PhotometricInterpretation == "MONOCHROME1":
        samples = (1 << file.BitsStored) - 1 - samples
    if file.PixelRepresentation:
        samples = (samples.astype(int) - (1 << file.BitsStored - 1)).astype(numpy.int16).view(numpy.uint16)
    file.PixelData = samples.tobytes()
    file.save_as(path, write_like_original=False)
    return path


class Person:
    def __init__(self, norvane, page):
        self.norvane, self.faults, self.browser = norvane, Faults(), Browser(is_watched=True)
        self.browser.open(page, "document.getElementById('state')")

    def state(self):
        return self.browser.find("state").text

    def wait(self):
        wait_for("an answer", lambda: "being searched" not in self.state(), 0.02, PATIENCE_S / 10)

    def open(self, path, **settings):
        """Opens a file with settings, and returns the sentence that the page announces."""
        self.browser.run("document.getElementById('settings').reset(); document.getElementById('file').value = '';")
        for name, value in settings.items():
            self.browser.run(f"document.getElementById('{name.replace('_', '-')}').value = {json.dumps(value)};")
        self.browser.find("file").send_keys(str(pathlib.Path(path).resolve()))
        self.wait()
        return self.state()

    def saved(self, button):
        return bytes(self.browser.run(SAVED % json.dumps(button)))

    def compare(self, path, **settings):
        """Whether statuses, settings, doubt, masks and labels are those of the program."""
        self.open(path, **settings)
        options = [part for name, value in settings.items() for part in ("--" + name.replace("_", "-"), value)]
        with tempfile.TemporaryDirectory() as folder:
            subprocess.run([self.norvane, "masks", "--results", "json,labels", "--out-dir", folder, *options, path],
                           capture_output=True, check=True)
            stem = pathlib.Path(folder) / pathlib.Path(path).stem
            expected = json.loads(stem.with_name(stem.name + ".json").read_text())
            labels = numpy.array(Image.open(stem.with_name(stem.name + ".labels.png")))
        if not self.browser.find("downloads").is_displayed():
            return self.faults.append(f"{path}: {self.state()}")
        found = json.loads(self.saved("save-json"))
        for part in ("status", "settings", "noise_trials", "doubt", "geometry", "masks", "contour", "warnings"):
            self.faults.expect(f"{path}: {part}", expected.get(part), found.get(part))
        with tempfile.NamedTemporaryFile(suffix=".png") as file:
            file.write(self.saved("save-labels"))
            file.flush()
            self.faults.expect(f"{path}: labels", True, numpy.array_equal(labels, numpy.array(Image.open(file.name))))
        return None

    def check_phantoms(self, folder):
        film = phantom(self.norvane, folder / "film.png")
        digital = phantom(self.norvane, folder / "digital.png", "--look", "digital", "--frame", "none", "--bits", "12")
        self.compare(film, view="mlo", pixel_size="100")
        self.compare(film, view="cc", pixel_size="70", side="right")
        for name, view, fields in (
                ("plain", "MLO", {}), ("implicit", "CC", {"syntax": pydicom.uid.ImplicitVRLittleEndian}),
                ("dark", "MLO", {"PhotometricInterpretation": "MONOCHROME1"}),
                ("signed", "MLO", {"PixelRepresentation": 1, "PresentationIntentType": "FOR PROCESSING"}),
                ("enlarged", "MLO", {"EstimatedRadiographicMagnificationFactor": 1.07, "PixelPaddingValue": 0}),
                ("posterior", "MLO", {"PatientOrientation": ["P", "L"], "ConversionType": "DF"})):
            self.compare(as_dicom(digital, folder / f"{name}.dcm", view, **fields))

    def check_words(self, folder):
        film = folder / "film.png"
        self.faults.expect("what is missing", "The file does not say enough: choose the view and give the pixel size.",
                           self.open(film))
        text = folder / "text.png"
        text.write_text("no picture")
        self.faults.expect("a file of another kind", "The file is neither a PNG nor a DICOM file.", self.open(text))
        text.write_bytes(film.read_bytes()[:5000])
        self.faults.expect("a part of a file", "The file is a damaged or truncated PNG file.", self.open(text))
        self.faults.expect("nothing to save", False, self.browser.find("downloads").is_displayed())
        self.open(film, view="mlo", pixel_size="100")
        self.faults.expect("masks again", True, self.state().startswith("The masks were found."))

    def check_keys(self):
        before = self.browser.run(f"return {SHOWN}")
        self.faults.expect("layers at first", ["frame", "full", "outer", "breast", "pectoral"], before)
        self.browser.find("title").click()
        every = before + ["refined_pectoral"]
        for key, layers in (("4", [layer for layer in before if layer != "breast"]), ("l", every), ("l", []),
                            ("1", ["frame"]), ("l", every)):
            self.browser.press(key)
            self.faults.expect(f"layers after {key}", layers, self.browser.run(f"return {SHOWN}"))
        picture = self.browser.photograph()
        self.browser.find("centre").send_keys(30 * Keys.RIGHT)
        self.faults.expect("the window changes the picture", True, picture != self.browser.photograph())
        self.browser.resize(400, 800)
        self.faults.expect("nothing is wider than a telephone", 0, self.browser.run(
            "return document.documentElement.scrollWidth - document.documentElement.clientWidth"))
        self.browser.call("Emulation.clearDeviceMetricsOverride")

    def check_silence(self):
        """The page cannot connect, and it did not try."""
        policy = self.browser.run("""const told = new Promise(done => document.addEventListener(
            'securitypolicyviolation', event => done(event.effectiveDirective)));
            fetch('https://example.org/').catch(() => {}); return await told""")
        self.faults.expect("what forbids a connection", "connect-src", policy)
        self.faults.expect("requests", [],
                           [url for url in self.browser.requests() if not re.match("file:|blob:|data:", url)])
        self.faults.expect("errors", [], [text for text in self.browser.errors() if "example.org" not in text])

    def check_time(self, folder):
        large = phantom(self.norvane, folder / "large.png", "--width", "3328", "--height", "4096", "--look", "digital")
        options = ["--view", "mlo", "--pixel-size", "70"]
        command = [self.norvane, "masks", "--results", "json", "--jobs", "1", *options]
        begin = time.monotonic()
        subprocess.run([*command, "--out-dir", folder / "out", large], capture_output=True, check=True)
        native = time.monotonic() - begin
        begin = time.monotonic()
        self.open(large, view="mlo", pixel_size="70")
        whole = time.monotonic() - begin
        analysis = self.browser.run("return document.querySelector('#figures dd:last-child').innerText")
        print(f"3328 x 4096: the page {whole:.2f} s, of which its analysis {analysis}; the program {native:.2f} s; "
              f"ratio {whole / native:.1f}")


def check(norvane, page, *files):
    person = Person(norvane, page)
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        for path, *settings in (word.split(",") for word in files):
            person.compare(pathlib.Path(path), **dict(setting.split("=") for setting in settings))
        person.check_phantoms(folder)
        person.check_words(folder)
        person.check_keys()
        person.check_time(folder)
    person.check_silence()
    person.browser.close()
    print("\n".join(person.faults) or "check_web_page: no faults")
    return 1 if person.faults else 0


def look(norvane, page, folder):
    folder = pathlib.Path(folder)
    folder.mkdir(parents=True, exist_ok=True)
    film = phantom(norvane, folder / "film.png")
    for scheme in ("light", "dark"):
        for width in (1440, 400):
            person = Person(norvane, page)
            person.browser.resize(width, 900)
            person.browser.call("Emulation.setEmulatedMedia",
                                features=[{"name": "prefers-color-scheme", "value": scheme}])
            (folder / f"empty-{scheme}-{width}.png").write_bytes(person.browser.photograph())
            person.open(film, view="mlo", pixel_size="100")
            (folder / f"found-{scheme}-{width}.png").write_bytes(person.browser.photograph())
            person.browser.run("document.getElementById('verdict').scrollIntoView()")
            (folder / f"panel-{scheme}-{width}.png").write_bytes(person.browser.photograph())
            print("\n".join(person.browser.errors()))
            person.browser.close()


def main():
    if is_skipped("check_web_page", CHROMIUM, DRIVER, *([] if webdriver else ["selenium"])):
        return SKIPPED
    return look(*sys.argv[2:]) if sys.argv[1] == "--look" else check(*sys.argv[1:])


if __name__ == "__main__":
    sys.exit(main())
