#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Runs norvane_orthanc.py in the packaged Orthanc: test_orthanc.py NORVANE. Exits 77 if a package is missing."""
import array
import collections
import contextlib
import json
import os
import pathlib
import random
import signal
import subprocess
import sys
import tempfile
import unittest
import urllib.error
import urllib.request

import pydicom

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent.parent / "scripts"))
from trial import PATIENCE_S, SKIPPED, free_port, is_skipped, stop, wait_for  # noqa: E402

PLUGIN = "/usr/share/orthanc/plugins/libOrthancPython.so"
MARK = "metadata/5228"
ATTEMPTS = 2
NORVANE = None  # the program, from the command line

# This program stands between the script and norvane. It notes the image for which it was called and can be held up.
WRAPPER = """#!/bin/sh
for word; do case $word in *.dcm) file=$word;; esac; done
if [ -n "$file" ]; then
    image=$(grep -a -o -m 1 'CASE-[A-Z0-9]*' "$file" | head -n 1)
    echo "$image" >> FOLDER/calls
    while [ -e FOLDER/limit ] && [ "$(wc -l < FOLDER/calls)" -gt "$(cat FOLDER/limit)" ]; do sleep 0.05; done
    case $image in
    CASE-SLOW) sleep 1000 ;;
    CASE-POISON) kill -KILL "$(sed -n 's/^PPid:[[:space:]]*//p' "/proc/$PPID/status")" ;;  # the server, above timeout
    esac
fi
exec NORVANE "$@"
"""

MAMMOGRAPHY = "1.2.840.10008.5.1.4.1.1.1.2"
RADIOGRAPHY = "1.2.840.10008.5.1.4.1.1.1.1"


def uid_of(case):
    return f"2.25.{int.from_bytes(case.encode(), 'big') + 100}"


def make_image(folder, case, series="A", **changes):
    """A DICOM object with half a disc of tissue at the left border."""
    noise = random.Random(case)
    words = array.array("H", (noise.randrange(15, 25) if x * x + (y - 200) ** 2 >= 170 ** 2 else
                              noise.randrange(2100, 2300) for y in range(400) for x in range(320)))
    image = pydicom.Dataset()
    for name, value in dict(
            SOPClassUID=MAMMOGRAPHY, SOPInstanceUID=uid_of(case), StudyInstanceUID="2.25.1", Modality="MG",
            SeriesInstanceUID=uid_of("series" + series), ViewPosition="CC", StudyDate="20200101", StudyTime="120000",
            StudyID="1", InstanceNumber=1, AccessionNumber="", PatientName="Phantom", PatientID=f"CASE-{case}",
            PatientBirthDate="", PatientSex="F", ReferringPhysicianName="", PatientOrientation=["A", "F"],
            ImageLaterality="L", ImagerPixelSpacing=[0.2, 0.2], SamplesPerPixel=1,
            PhotometricInterpretation="MONOCHROME2", NumberOfFrames=1, Rows=400, Columns=320, BitsAllocated=16,
            BitsStored=12, HighBit=11, PixelRepresentation=0, PixelData=words.tobytes()).items():
        setattr(image, name, changes.get(name, value))
    image.file_meta = pydicom.dataset.FileMetaDataset()
    image.file_meta.TransferSyntaxUID = pydicom.uid.ExplicitVRLittleEndian
    image.is_little_endian, image.is_implicit_VR = True, False
    image.save_as(folder / f"{case}.dcm", write_like_original=False)
    return folder / f"{case}.dcm"


class Server:
    """Orthanc with the script, in a folder of its own."""

    def __init__(self, folder, **settings):
        self.folder = folder
        self.http, self.dicom = free_port(), free_port()
        self.process = None
        program = folder / "norvane"
        program.write_text(WRAPPER.replace("FOLDER", str(folder)).replace("NORVANE", NORVANE))
        program.chmod(0o755)
        self.configuration = {
            "StorageDirectory": str(folder / "store"), "IndexDirectory": str(folder / "store"), "HttpPort": self.http,
            "DicomPort": self.dicom, "RemoteAccessAllowed": False, "AuthenticationEnabled": False, "StableAge": 1,
            "Plugins": [PLUGIN], "PythonScript": str(HERE / "norvane_orthanc.py"),
            "Norvane": {"Program": str(program), "Attempts": 9, "Pause": 1, **settings}}
        (folder / "calls").touch()

    def start(self, is_awaited=True, **changes):
        (self.folder / "orthanc.json").write_text(json.dumps({**self.configuration, **changes}))
        with open(self.folder / "log", "w", encoding="utf-8") as log:
            self.process = subprocess.Popen(["Orthanc", self.folder / "orthanc.json"], stdout=log, stderr=log,
                                            env={**os.environ, "NORVANE_ATTEMPTS": str(ATTEMPTS)})
        if is_awaited:
            self.wait_for("the server", self.is_up)

    def is_up(self):
        if self.process.poll() is not None:
            raise RuntimeError("the server has ended")
        with contextlib.suppress(OSError):
            return self.get("/system")
        return None

    def stop(self, number=signal.SIGTERM):
        self.process.send_signal(number)
        return self.process.wait(PATIENCE_S)

    def wait_for(self, what, condition):
        try:
            wait_for(what, condition)
        except RuntimeError as error:
            raise AssertionError(f"{error}; the server's log:\n{self.log()}") from error

    def log(self):
        return (self.folder / "log").read_text(errors="replace")

    def calls(self):
        return collections.Counter((self.folder / "calls").read_text().split())

    def call(self, path, data=None, method=None):
        request = urllib.request.Request(f"http://127.0.0.1:{self.http}{path}", data, method=method)
        with urllib.request.urlopen(request, timeout=PATIENCE_S) as answer:
            return answer.read()

    def get(self, path):
        return json.loads(self.call(path))

    def send(self, *files):
        subprocess.run(["storescu", "-aec", "ORTHANC", "127.0.0.1", str(self.dicom), *files], check=True)

    def instance(self, case):
        query = {"Level": "Instance", "Query": {"SOPInstanceUID": uid_of(case)}}
        return json.loads(self.call("/tools/find", json.dumps(query).encode()))[0]

    def mark(self, case):
        with contextlib.suppress(urllib.error.HTTPError, IndexError):
            return self.get(f"/instances/{self.instance(case)}/{MARK}")
        return {}

    def wait_for_states(self, state, *cases):
        for case in cases:
            self.wait_for(f"{case} {state}", lambda case=case: self.mark(case).get("state") == state)

    def segmentations(self):
        """Orthanc's names of the DICOM SEG objects, by the case of their source."""
        found = collections.defaultdict(list)
        for series in self.get("/series?expand&since=0&limit=1000"):
            for instance in series["Instances"] if series["MainDicomTags"]["Modality"] == "SEG" else ():
                tags = self.get(f"/instances/{instance}/simplified-tags")
                found[tags["PatientID"].removeprefix("CASE-")].append(instance)
        return found


class OrthancTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def serve(self, **settings):
        self.server = server = Server(self.folder, **settings)
        self.addCleanup(lambda: stop(server.process))
        server.start()
        return self.server

    def image(self, *arguments, **options):
        return make_image(self.folder, *arguments, **options)

    def expect_one_each(self, *cases):
        found = {case: len(instances) for case, instances in self.server.segmentations().items()}
        self.assertEqual(dict.fromkeys(cases, 1), found)

    def check_segmentation(self, case):
        source, (instance,) = self.server.instance(case), self.server.segmentations()[case]
        self.assertEqual([instance], self.server.mark(case)["instances"])
        tags = self.server.get(f"/instances/{instance}/simplified-tags")
        reference = tags["ReferencedSeriesSequence"][0]["ReferencedInstanceSequence"][0]
        self.assertEqual(uid_of(case), reference["ReferencedSOPInstanceUID"])
        self.assertEqual(["1"] * 2, [tags["NumberOfFrames"], str(len(tags["SegmentSequence"]))])  # CC: no muscle
        self.assertEqual(*(self.server.get(f"/instances/{i}/study")["ID"] for i in (source, instance)))
        file = self.folder / "seg.dcm"
        file.write_bytes(self.server.call(f"/instances/{instance}/file"))
        verdict = subprocess.run(["dciodvfy", file], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                                 check=False)
        self.assertEqual([], [line for line in verdict.stdout.splitlines() if line.startswith("Error")])
        self.assertIn("Segmentation", verdict.stdout)

    def test_each_mammogram_is_served_once(self):
        server = self.serve()
        files = [self.image("1"), self.image("2"), self.image("REFUSED", "B", ImagerPixelSpacing=[0.2, 0.3]),
                 self.image("OTHER", "C", SOPClassUID=RADIOGRAPHY, Modality="DX"),
                 self.image("FRAMES", "E", NumberOfFrames=2)]
        server.send(*files)
        server.call("/instances", self.image("3", "D").read_bytes())
        server.wait_for_states("stored", "1", "2", "3")
        server.wait_for_states("failed", "REFUSED", "FRAMES")
        self.expect_one_each("1", "2", "3")
        for case in "123":
            self.check_segmentation(case)
        self.assertIn("not square", server.mark("REFUSED")["reason"])
        self.assertEqual("has 2 frames", server.mark("FRAMES")["reason"])
        self.assertEqual({}, server.mark("OTHER"))
        expected = {"CASE-1": 1, "CASE-2": 1, "CASE-3": 1, "CASE-REFUSED": ATTEMPTS}
        self.assertEqual(expected, server.calls())
        # Once more, then another image: what comes after it shows that nothing came of the others.
        server.send(*files)
        server.send(self.image("4", "A"))
        server.wait_for_states("stored", "4")
        self.assertEqual(0, server.stop())
        server.start(OverwriteInstances=True)
        server.wait_for("the backlog", lambda: "looked at all series" in server.log())
        self.assertEqual({**expected, "CASE-4": 1}, server.calls())
        # Where the server replaces images, their marks go. So they do when it is killed between object and mark.
        server.send(files[0])
        server.wait_for("the second call", lambda: server.calls()["CASE-1"] == 2)
        server.wait_for_states("stored", "1")
        self.expect_one_each("1", "2", "3", "4")
        self.assertEqual([], list((self.folder / "store" / "norvane-work").iterdir()))

    def test_what_a_stop_leaves_is_taken_up(self):
        server = self.serve()
        cases = [f"{series}{number}" for series in "ABC" for number in range(2)]
        (self.folder / "limit").write_text("3")  # the fourth call waits, and the server does not wait for it
        server.send(*(self.image(case, case[0]) for case in cases))
        server.wait_for("the fourth call", lambda: sum(server.calls().values()) == 4)
        server.send(self.image("D", "D"))
        for number in (signal.SIGTERM, signal.SIGTERM, signal.SIGKILL):
            calls = sum(server.calls().values())
            server.stop(number)
            self.assertEqual(calls, sum(server.calls().values()))
            server.start()
            server.wait_for("the next call", lambda calls=calls: sum(server.calls().values()) == calls + 1)
        self.assertEqual(3, sum(map(len, server.segmentations().values())))
        (self.folder / "limit").unlink()
        server.wait_for_states("stored", *cases, "D")
        self.expect_one_each(*cases, "D")
        for case in (*cases, "D"):
            self.check_segmentation(case)

    def test_an_image_that_takes_too_long_is_given_up(self):
        server = self.serve(TimeLimit=1)
        server.send(self.image("SLOW"))
        server.wait_for_states("failed", "SLOW")
        self.assertIn("took longer than 1 s", server.mark("SLOW")["reason"])
        self.assertEqual({"CASE-SLOW": ATTEMPTS}, server.calls())

    def test_an_image_that_kills_the_server_is_given_up(self):
        server = self.serve()
        server.send(self.image("POISON"))
        for attempt in range(1, ATTEMPTS + 1):
            self.assertEqual(-signal.SIGKILL, server.process.wait(PATIENCE_S))
            server.start(is_awaited=attempt == ATTEMPTS)
        server.wait_for_states("failed", "POISON")
        self.assertEqual({"CASE-POISON": ATTEMPTS}, server.calls())
        server.send(self.image("1", "B"))
        server.wait_for_states("stored", "1")

    def test_the_server_works_without_masks(self):
        for settings, complaint in (({"Program": "/nowhere/norvane"}, "No such file or directory"),
                                    ({"Programm": "norvane"}, "unknown settings: Programm"),
                                    ({"Workers": 0}, "Workers, TimeLimit and Attempts are at least 1"),
                                    ({"Results": "json"}, "Results are seg")):
            server = self.serve(**settings)
            server.wait_for("no masks are made", lambda s=server: "no masks are made" in s.log())
            self.assertIn(complaint, server.log())
            self.assertEqual(0, server.stop())


def main():
    global NORVANE  # pylint: disable=global-statement
    os.environ["PATH"] += ":/usr/sbin"
    if is_skipped("test_orthanc", "Orthanc", "storescu", "dciodvfy", PLUGIN):
        return SKIPPED
    NORVANE = str(pathlib.Path(sys.argv.pop(1)).resolve())
    return unittest.main()


if __name__ == "__main__":
    sys.exit(main())
