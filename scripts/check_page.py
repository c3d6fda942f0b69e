#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Opens a run's report.html in headless Chromium and works it as a reader would.

check_page.py TESTS            TESTS, the program with the tests of tools/norvane/batch, writes a sample of 2,000 images;
                               exits 1 on a fault and 77 if Chromium is not installed
check_page.py --look PAGE DIR  pictures of any page into DIR, for people to look at
"""
import base64
import fcntl
import itertools
import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import time

from trial import PATIENCE_S, SKIPPED, Faults, wait_for

TWO_FRAMES = "await new Promise(done => requestAnimationFrame(() => requestAnimationFrame(done)))"


def ready_with(cards):
    """When a page with so many cards is loaded: their pictures are there as far as they are in view."""
    # To ask cards beyond the view for their place would lay them out as well.
    return f"""document.querySelectorAll('.card').length === {cards} && [...document.querySelectorAll('#sheet li')]
        .filter(card => card.getBoundingClientRect().top < innerHeight)
        .every(card => card.matches(':has(.empty)') || card.querySelector('img').naturalWidth > 0)"""


class Browser:
    """Chromium, driven over a pair of pipes: no port, no driver program, no package."""

    def __init__(self, program, profile, dark=False):
        commands_out, self.commands = os.pipe()
        self.answers, answers_in = os.pipe()
        ends = [fcntl.fcntl(end, fcntl.F_DUPFD, 10) for end in (commands_out, answers_in)]

        def take_places():
            os.dup2(ends[0], 3)
            os.dup2(ends[1], 4)

        # As root Chromium cannot sandbox itself; the page is our own.
        options = ["--headless=new", "--disable-gpu", "--no-sandbox", "--no-first-run", "--remote-debugging-pipe",
                   "--disable-dev-shm-usage", "--disable-background-networking", f"--user-data-dir={profile}",
                   "--window-size=1440,900"] + ["--force-dark-mode"] * dark
        self.process = subprocess.Popen([program, *options, "about:blank"], preexec_fn=take_places, pass_fds=(3, 4),
                                        stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        for end in (commands_out, answers_in, *ends):
            os.close(end)
        self.buffer, self.number, self.session, self.problems = b"", 0, None, []
        target = self.call("Target.createTarget", url="about:blank")["targetId"]
        self.session = self.call("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
        for domain in ("Page", "Runtime", "Log", "Network"):
            self.call(domain + ".enable")
        self.requests = []

    def call(self, method, **parameters):
        self.number += 1
        message = {"id": self.number, "method": method, "params": parameters}
        if self.session:
            message["sessionId"] = self.session
        os.write(self.commands, json.dumps(message).encode() + b"\0")
        while True:
            answer = self.receive()
            if answer.get("id") != self.number:
                self.note(answer)
                continue
            if "error" in answer:
                raise RuntimeError(f"{method}: {answer['error']['message']}")
            return answer["result"]

    def receive(self):
        while b"\0" not in self.buffer:
            piece = os.read(self.answers, 1 << 20)
            if not piece:
                raise RuntimeError("Chromium ended")
            self.buffer += piece
        message, self.buffer = self.buffer.split(b"\0", 1)
        return json.loads(message)

    def note(self, event):
        kind, details = event.get("method"), event.get("params", {})
        if kind == "Runtime.exceptionThrown":
            self.problems.append(details["exceptionDetails"].get("exception", {}).get("description", "exception"))
        elif kind == "Log.entryAdded" and details["entry"]["level"] == "error":
            self.problems.append(details["entry"]["text"] + " " + details["entry"].get("url", ""))
        elif kind == "Network.requestWillBeSent":
            self.requests.append(details["request"]["url"])

    def run(self, script):
        """The value of a script, which may wait."""
        answer = self.call("Runtime.evaluate", expression=f"(async () => {{ {script} }})()", awaitPromise=True,
                           returnByValue=True)
        if "exceptionDetails" in answer:
            raise RuntimeError(script + ": " + str(answer["exceptionDetails"].get("exception", {}).get("description")))
        return answer["result"].get("value")

    def open(self, page, is_ready):
        """Seconds until the page is loaded, `is_ready` holds and a frame has been drawn."""
        begin = time.monotonic()
        self.call("Page.navigate", url=pathlib.Path(page).resolve().as_uri())
        ready = f"if (document.readyState !== 'complete' || !({is_ready})) return false; {TWO_FRAMES}; return true"
        while not self.run(ready):
            if time.monotonic() - begin > PATIENCE_S:
                raise RuntimeError("the page does not become ready")
        return time.monotonic() - begin

    def press(self, key):
        for kind in ("keyDown", "keyUp"):
            text = {"text": key} if len(key) == 1 and kind == "keyDown" else {}
            self.call("Input.dispatchKeyEvent", type=kind, key=key, code=key, **text,
                      windowsVirtualKeyCode={"Escape": 27, "ArrowLeft": 37, "ArrowRight": 39}.get(key, ord(key[0])))

    def photograph(self):
        return base64.b64decode(self.call("Page.captureScreenshot")["data"])

    def close(self):
        os.close(self.commands)
        try:
            self.process.wait(10)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()


def look(program, page, folder):
    pathlib.Path(folder).mkdir(parents=True, exist_ok=True)
    with tempfile.TemporaryDirectory() as profile:
        browser = Browser(program, profile)
        for scheme in ("light", "dark"):
            browser.call("Emulation.setEmulatedMedia", features=[{"name": "prefers-color-scheme", "value": scheme}])
            browser.open(page, "document.querySelector('.card')")
            time.sleep(1)
            pathlib.Path(f"{folder}/sheet-{scheme}.png").write_bytes(browser.photograph())
            browser.run("[...document.querySelectorAll('.card:not(.refused)')].at(0).click()")
            time.sleep(1)
            pathlib.Path(f"{folder}/viewer-{scheme}.png").write_bytes(browser.photograph())
        browser.close()
        print("\n".join(browser.problems))


class Reader:
    """What a reader does with the page, and what is wrong with the answer. The sample's rules are those of
    browser_sample() in tests/tools/batch/report_page_test.cpp."""

    def __init__(self, browser):
        self.browser, self.faults = browser, Faults()
        self.expect = self.faults.expect

    def wait_for(self, what, condition):
        wait_for(f"{what} ({condition})", lambda: self.browser.run(f"return Boolean({condition})"), 0.05, PATIENCE_S / 10)

    def choose(self, **values):
        self.browser.run("document.getElementById('filters').reset(); await new Promise(done => setTimeout(done, 5));")
        for name, value in values.items():
            self.browser.run(f"const e = document.getElementById('{name}'); e.value = {json.dumps(value)};"
                             "e.dispatchEvent(new Event('input', {bubbles: true}));")

    def shown(self):
        return self.browser.run("return [...document.querySelectorAll('#sheet li')].length")

    def title(self):
        return self.browser.run("return document.getElementById('title').textContent")

    def visible_layers(self):
        return self.browser.run("return [...document.querySelectorAll('#picture [data-layer][visibility=visible]')]"
                                ".map(path => path.dataset.layer)")

    def open_card(self, file):
        self.browser.run(f"[...document.querySelectorAll('.card')].find(c => c.title === {json.dumps(file)}).click()")

    def check_order(self):
        cards = self.browser.run("return [...document.querySelectorAll('.card')].map(c => [c.className,"
                                 "c.querySelector('.state').textContent, c.querySelector('.brief').textContent])")
        self.expect("cards", 2000, len(cards))
        self.expect("refused first", [5, 0], [sum("refused" in c[0] for c in part) for part in (cards[:5], cards[5:])])
        self.expect("then cut tissue", {"Tissue as bright as the breast lies outside the mask."}, {c[1] for c in cards[5:205]})
        self.expect("then rejected muscles", {"A line was found, but its contrast is not that of a muscle."},
                    {c[1] for c in cards[205:405]})
        contrasts = [float(c[2].rsplit(" ", 1)[1]) for c in cards[405:]]
        self.expect("then rising contrast", sorted(contrasts), contrasts)

    def check_filters(self):
        for expected, choice in ((5, {"status": "refused"}), (200, {"status": "3"}), (200, {"status": "12"}),
                                 (400, {"status": "doubted"}), (1595, {"status": "fine"}), (20, {"status": "warned"}),
                                 (1000, {"view": "cc"}), (995, {"view": "mlo"}), (500, {"view": "cc", "side": "left"}),
                                 (20, {"text": "CONTRADICTS itself"}), (1, {"text": "is number 1600"}),
                                 (100, {"status": "3", "side": "right"}), (0, {"view": "mlo", "text": "contradicts"}), (2000, {})):
            self.choose(**choice)
            self.expect(f"shown for {choice}", expected, self.shown())
            self.expect(f"count for {choice}", f"{expected} of 2000 shown",
                        self.browser.run("return document.getElementById('count').textContent"))
            self.expect(f"note for {choice}", expected == 0, self.browser.run("return !document.getElementById('none').hidden"))

    def check_viewer(self):
        self.choose(status="3", view="cc", side="left")
        self.open_card("in/folder 4/image 53.png")
        self.wait_for("the picture", "document.querySelector('[data-layer=breast]')")
        self.expect("layers at first", ["frame", "full", "breast", "pectoral"], self.visible_layers())
        place = self.browser.run("return document.getElementById('position').textContent").split(" of ")
        self.expect("images to leaf through", "100", place[1])
        self.browser.run(f"await document.querySelector('#picture image').decode(); {TWO_FRAMES}")
        before = self.browser.photograph()
        self.browser.run(f"document.getElementById('layer-breast').click(); {TWO_FRAMES}")
        self.expect("without the breast", ["frame", "full", "pectoral"], self.visible_layers())
        self.expect("the picture changes with a layer", True, before != self.browser.photograph())
        title = self.title()
        self.browser.press("ArrowRight")
        self.wait_for("the next picture", "document.querySelector('[data-layer=breast]')")
        self.expect("the next image", False, title == self.title())
        self.expect("its layers", ["frame", "full", "pectoral"], self.visible_layers())
        self.browser.press("4")
        self.expect("key 4", ["frame", "full", "breast", "pectoral"], self.visible_layers())
        self.browser.press("l")
        self.expect("key L", [], self.visible_layers())
        self.browser.press("l")
        self.browser.press("+")
        self.expect("zoomed", "60", self.browser.run("return document.getElementById('picture').getAttribute('viewBox').split(' ')[2]"))
        self.browser.press("ArrowLeft")
        self.expect("back again", title, self.title())
        self.browser.press("Escape")
        self.wait_for("closing gives the card the focus",
                      "!document.getElementById('viewer').open && document.activeElement.title === 'in/folder 4/image 53.png'")

    def check_hostile_names(self):
        self.choose()
        files = self.browser.run("return [...document.querySelectorAll('.card')].map(c => c.title)"
                                 ".filter(t => !t.startsWith('in/folder'))")
        self.expect("hostile names", 8, len(files))
        for file in files:
            self.open_card(file)
            self.wait_for(file, "document.querySelector('[data-layer=breast]')")
            self.expect(file, 90, self.browser.run(
                "const image = new Image(); image.src = document.querySelector('#picture image').getAttribute('href');"
                "try { await image.decode(); } catch {} return image.naturalWidth"))
        self.open_card("in/folder 1/image 400.png")
        self.expect("a refusal", "Refusedin/folder 1/image 400.png is number 400",
                    self.browser.run("return document.getElementById('verdict').textContent"))
        self.expect("the page's own title", "Masks of mammograms", self.browser.run("return document.title"))

    def check_missing_files(self):
        self.open_card("in/folder 2/image 9.png")
        self.wait_for("the note", "!document.getElementById('no-picture').hidden")
        self.browser.press("Escape")
        self.wait_for("the empty card", "document.querySelector('.card[title=\"in/folder 2/image 9.png\"] .thumb.empty')")

    def check_many(self, page):
        """Three times as many images: the rest comes by scrolling."""
        self.browser.open(page_of(page, 6000), ready_with(2000))
        self.choose(text="contradicts")
        self.expect("shown of many", 60, self.shown())
        self.choose()
        for listed in (2000, 4000, 6000):
            self.wait_for("more cards", f"document.querySelectorAll('.card').length === {listed}")
            self.browser.run("scrollTo(0, document.body.scrollHeight)")


def make_sample(tests, folder):
    """A page of 2,000 images, and their files."""
    folder.mkdir()
    subprocess.run([tests, "--gtest_filter=ReportPage.ManyImagesStaySmall"], check=True, stdout=subprocess.DEVNULL,
                   env={**os.environ, "NORVANE_PAGE_SAMPLE": str(folder)})
    return folder / "report.html"


def page_of(sample, count):
    """The same page with its images repeated or cut off to `count`."""
    text = sample.read_text()
    begin = text.index('id="records">') + len('id="records">')
    end = text.index("</script>", begin)
    data = json.loads(text[begin:end])
    data["records"] = list(itertools.islice(itertools.cycle(data["records"]), count))
    page = sample.with_name(f"{count}.html")
    page.write_text(text[:begin] + json.dumps(data).replace("<", "\\u003c") + text[end:])
    return page


def check(program, tests):
    with tempfile.TemporaryDirectory(ignore_cleanup_errors=True) as folder:
        page = make_sample(tests, pathlib.Path(folder) / "sample")
        browser = Browser(program, folder + "/profile")
        reader = Reader(browser)
        for step in (lambda: browser.open(page, ready_with(2000)), reader.check_order, reader.check_filters, reader.check_viewer,
                     reader.check_hostile_names, reader.check_missing_files, lambda: reader.check_many(page)):
            try:
                step()
            except RuntimeError as error:
                reader.faults.append(str(error))
        browser.close()
        reader.expect("requests beyond the folder", [], [url for url in browser.requests if not url.startswith("file://")])
        reader.expect("errors", [], [text for text in browser.problems if "image%209." not in text])
    print("\n".join(reader.faults) or "check_page: no faults")
    return 1 if reader.faults else 0


def chromium():
    names = ("chromium", "chromium-headless-shell", "chromium-browser", "google-chrome")
    return next(filter(None, map(shutil.which, names)), None)


def main():
    program = chromium()
    if not program:
        print("check_page: skipped, Chromium is not installed")
        return SKIPPED
    if sys.argv[1] == "--look":
        return look(program, *sys.argv[2:])
    return check(program, sys.argv[1])


if __name__ == "__main__":
    sys.exit(main())
