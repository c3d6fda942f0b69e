#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Opens the report.html of a run in headless Chromium and uses it as a reader would.

check_page.py TESTS            TESTS, the program with the tests of host/run, writes a sample of 2,000
                               images; exits 1 on a fault and 77 if Chromium, its driver or Selenium is not installed
check_page.py --look PAGE DIR  takes pictures of any page into DIR, for people to look at
"""
import csv
import itertools
import json
import os
import pathlib
import subprocess
import sys
import tempfile
import time

from trial import PATIENCE_S, SKIPPED, Faults, is_skipped, wait_for

try:
    from selenium import webdriver
    from selenium.common.exceptions import WebDriverException
    from selenium.webdriver.chrome.service import Service
    from selenium.webdriver.common.keys import Keys
except ImportError:
    webdriver = None

CHROMIUM, DRIVER = "/usr/bin/chromium", "/usr/bin/chromedriver"
TWO_FRAMES = "await new Promise(done => requestAnimationFrame(() => requestAnimationFrame(done)))"


def ready_with(cards):
    """Whether a page with so many cards is loaded: the pictures of all cards in view are there."""
    # Asking for the position of cards outside the view would cause their layout.
    return f"""document.querySelectorAll('.card').length === {cards} && [...document.querySelectorAll('#sheet li')]
        .filter(card => card.getBoundingClientRect().top < innerHeight)
        .every(card => card.matches(':has(.empty)') || card.querySelector('img').naturalWidth > 0)"""


class Browser:
    """Chromium, until it is closed. If it is watched, it records its errors and requests."""

    def __init__(self, is_watched=False):
        options = webdriver.ChromeOptions()
        options.binary_location = CHROMIUM
        # As root Chromium cannot sandbox itself; the page is our own.
        for option in ("headless=new", "disable-gpu", "no-sandbox", "disable-dev-shm-usage", "window-size=1440,900"):
            options.add_argument("--" + option)
        if is_watched:
            options.set_capability("goog:loggingPrefs", {"browser": "SEVERE", "performance": "ALL"})
        self.driver = webdriver.Chrome(service=Service(DRIVER), options=options)
        self.close, self.photograph = self.driver.quit, self.driver.get_screenshot_as_png

    def call(self, method, **parameters):
        return self.driver.execute_cdp_cmd(method, parameters)

    def run(self, script):
        """The value of a script, which may wait."""
        return self.driver.execute_script(f"return (async () => {{ {script} }})()")

    def open(self, page, is_ready):
        """Seconds until the page is loaded, `is_ready` holds and a frame has been drawn."""
        begin = time.monotonic()
        self.driver.get(pathlib.Path(page).resolve().as_uri())
        wait_for("the page", lambda: self.run(f"if (!({is_ready})) return false; {TWO_FRAMES}; return true"), 0)
        return time.monotonic() - begin

    def find(self, name):
        return self.driver.find_element("id", name)

    def press(self, *keys):
        """Types the keys, together with Shift if that is the first."""
        chain = webdriver.ActionChains(self.driver)
        if keys[0] == Keys.SHIFT:
            chain.key_down(Keys.SHIFT).send_keys(*keys[1:]).key_up(Keys.SHIFT).perform()
        else:
            chain.send_keys(*keys).perform()

    def resize(self, width, height):
        """Changes the size of the view, which may be narrower than any window."""
        self.call("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=1, mobile=False)

    def pinch(self, element, distances):
        """Takes two fingers through these distances from the middle of an element, one on each side of it."""
        x, y = (element.rect[start] + element.rect[length] / 2 for start, length in (("x", "width"), ("y", "height")))
        for distance in distances:
            points = [{"id": finger, "x": x + side * distance, "y": y} for finger, side in enumerate((-1, 1))]
            self.call("Input.dispatchTouchEvent", type="touchStart" if distance is distances[0] else "touchMove",
                      touchPoints=points)
        self.call("Input.dispatchTouchEvent", type="touchEnd", touchPoints=[])

    def errors(self):
        return [entry["message"] for entry in self.driver.get_log("browser")]

    def requests(self):
        events = [json.loads(entry["message"])["message"] for entry in self.driver.get_log("performance")]
        return [event["params"]["request"]["url"] for event in events
                if event["method"] == "Network.requestWillBeSent"]


def look(page, folder):
    pathlib.Path(folder).mkdir(parents=True, exist_ok=True)
    browser = Browser(is_watched=True)
    for scheme, width in itertools.product(("light", "dark"), (1440, 400)):
        browser.resize(width, 900)
        browser.call("Emulation.setEmulatedMedia", features=[{"name": "prefers-color-scheme", "value": scheme}])
        browser.open(page, "document.querySelector('.card')")
        for view in ("sheet", "viewer"):
            if view == "viewer":
                browser.run("document.querySelector('.card').click()")
            time.sleep(1)
            pathlib.Path(f"{folder}/{view}-{scheme}-{width}.png").write_bytes(browser.photograph())
    print("\n".join(browser.errors()))
    browser.close()


class Reader:
    """What a reader does with the page, and which reactions are wrong. The sample follows the rules of browser_sample()
    in tests/host/run/report_page_test.cpp."""

    def __init__(self, browser):
        self.browser, self.faults = browser, Faults()
        self.expect = self.faults.expect

    def wait_for(self, what, condition):
        wait_for(f"{what} ({condition})", lambda: self.browser.run(f"return Boolean({condition})"), 0.05,
                 PATIENCE_S / 10)

    def choose(self, **values):
        self.browser.run("document.getElementById('filters').reset(); await new Promise(done => setTimeout(done, 5));")
        for name, value in values.items():
            self.browser.run(f"const e = document.getElementById('{name}'); e.value = {json.dumps(value)};"
                             "e.dispatchEvent(new Event('input', {bubbles: true}));")

    def shown(self):
        return self.browser.run("return document.querySelectorAll('#sheet li').length")

    def text(self, name):
        return self.browser.find(name).text

    def view_box(self):
        words = self.browser.run("return document.getElementById('picture').getAttribute('viewBox').split(' ')")
        return [round(float(word), 1) for word in words]

    def visible_layers(self):
        return self.browser.run("return [...document.querySelectorAll('#picture [data-layer][visibility=visible]')]"
                                ".map(path => path.dataset.layer)")

    def open_card(self, file):
        self.browser.run(f"[...document.querySelectorAll('.card')].find(c => c.title === {json.dumps(file)}).click()")

    def check_order(self):
        cards = self.browser.run("return [...document.querySelectorAll('.card')].map(c => [c.className,"
                                 "c.querySelector('.state').textContent, c.querySelector('.brief').textContent])")
        self.expect("cards", 1995, len(cards))
        self.expect("first cut tissue", {"Tissue as bright as the breast lies outside the mask."},
                    {c[1] for c in cards[:200]})
        self.expect("then rejected muscles", {"A line was found, but its contrast is not that of a muscle."},
                    {c[1] for c in cards[200:400]})
        self.expect("then doubt", {("The doubt of the muscle is 0.75.", "0.75")},
                    {(c[1], c[2].rsplit(" ", 1)[1]) for c in cards[400:420]})
        contrasts = [float(c[2].rsplit(" ", 1)[1]) for c in cards[420:]]
        self.expect("then rising contrast", sorted(contrasts), contrasts)
        for order, first in (("doubt", "in/folder 4/image 109.png"), ("area", "in/folder 6/image 1000.png"),
                             ("name", "in/folder 0/image 14.png")):
            self.choose(order=order)
            self.expect(f"first by {order}", first, self.browser.run(
                "return [...document.querySelectorAll('.card')].map(c => c.title)"
                ".find(file => file.startsWith('in/folder'))"))
        self.expect("names that do not fit", [], self.browser.run(
            "return [...document.querySelectorAll('.name')].slice(0, 40)"
            ".filter(name => name.scrollHeight > name.clientHeight).map(name => name.textContent)"))

    def refused(self):
        """The heading of the refused files, and those that are listed below it."""
        return self.browser.run("const list = document.getElementById('refused');"
                                "return [list.querySelector('summary').textContent,"
                                "[...list.querySelectorAll('li')].map(entry => entry.innerText)]")

    def check_refused(self):
        self.choose()
        self.expect("refused files, folded", ["5 refused files", []], self.refused())
        self.browser.driver.find_element("css selector", "#refused summary").click()
        self.choose(text="is number 1600")
        self.wait_for("the refused file", "document.querySelector('#refused li')")
        self.expect("a refused file", ["1 of 5 refused files", ["in/folder 4/image 1600.png is number 1600"]],
                    self.refused())

    def check_filters(self):
        for expected, choice in (
                (200, {"status": "3"}), (200, {"status": "12"}),
                (420, {"status": "doubted"}), (1575, {"status": "fine"}), (20, {"status": "warned"}),
                (1000, {"view": "cc"}), (0, {"mark": "bad"}), (1995, {"mark": "none"}), (995, {"view": "mlo"}),
                (500, {"view": "cc", "side": "left"}), (20, {"text": "CONTRADICTS itself"}),
                (100, {"status": "3", "side": "right"}),
                (0, {"view": "mlo", "text": "contradicts"}), (1995, {})):
            self.choose(**choice)
            self.expect(f"shown for {choice}", expected, self.shown())
            self.expect(f"count for {choice}", f"{expected} of 1995 shown", self.text("count"))
            self.expect(f"note for {choice}", expected == 0, self.browser.find("none").is_displayed())

    def check_viewer(self):
        self.choose(status="3", view="cc", side="left")
        self.open_card("in/folder 4/image 53.png")
        self.wait_for("the picture", "document.querySelector('[data-layer=breast]')")
        self.expect("layers at first", ["frame", "full", "breast", "pectoral", "refined_pectoral"],
                    self.visible_layers())
        place, count = map(int, self.text("position").split(" of "))
        self.expect("images to leaf through", 100, count)
        self.browser.run(f"await document.querySelector('#picture image').decode(); {TWO_FRAMES}")
        before = self.browser.photograph()
        self.browser.find("layer-breast").click()
        self.browser.run(TWO_FRAMES)
        self.expect("without the breast", ["frame", "full", "pectoral", "refined_pectoral"], self.visible_layers())
        self.expect("the picture changes with a layer", True, before != self.browser.photograph())
        title = self.text("title")
        self.browser.press(Keys.RIGHT)
        self.wait_for("the next picture", "document.querySelector('[data-layer=breast]')")
        self.expect("the next image", False, title == self.text("title"))
        self.expect("its layers", ["frame", "full", "pectoral", "refined_pectoral"], self.visible_layers())
        self.expect("what a screen reader says", ["polite", f"{place + 1} of 100"], self.announcement())
        for key, layers in (("4", ["frame", "full", "breast", "pectoral", "refined_pectoral"]), ("l", [])):
            self.browser.press(key)
            self.expect(f"key {key}", layers, self.visible_layers())
        self.browser.press("l")
        self.browser.press(Keys.LEFT)
        self.wait_for("the picture again", "document.querySelector('[data-layer=breast]')")
        self.expect("back again", title, self.text("title"))

    def announcement(self):
        """How a change of the position is announced, and its text, as Chromium tells screen readers."""
        position = self.browser.call("Runtime.evaluate", expression="document.getElementById('position')")["result"]
        node = self.browser.call("Accessibility.getPartialAXTree", objectId=position["objectId"], fetchRelatives=False)
        live = [entry["value"]["value"] for entry in node["nodes"][0]["properties"] if entry["name"] == "live"]
        return [*live, self.text("position")]

    def check_moves(self):
        """The picture of the open viewer, 90 by 160 pixels, is enlarged and moved; the panel scrolls."""
        self.browser.press("+")
        box = [15.0, 26.7, 60.0, 106.7]
        self.expect("enlarged", box, self.view_box())
        for key, right, down in ((Keys.RIGHT, 1, 0), (Keys.DOWN, 0, 1), (Keys.LEFT, -1, 0), (Keys.UP, 0, -1)):
            self.browser.press(Keys.SHIFT, key)
            box = [box[0] + right * 7.5, round(box[1] + down * 13.3, 1), 60.0, 106.7]
            self.expect(f"moved by {right}, {down}", box, self.view_box())
        self.browser.press(Keys.SHIFT, 10 * Keys.RIGHT)
        self.expect("the picture stays in view", 60.0, self.view_box()[0])
        self.browser.press("0")
        self.expect("fitted", [0, 0, 90, 160], self.view_box())
        self.browser.pinch(self.browser.find("picture"), (100, 150, 200))
        self.expect("pinched", [22.5, 40, 45, 80], self.view_box())
        self.browser.resize(400, 500)
        self.expect("nothing is wider than a telephone", 400,
                    self.browser.run("return document.documentElement.scrollWidth"))
        title = self.text("title")
        self.browser.press(Keys.DOWN, Keys.DOWN, Keys.UP)
        self.expect("the panel scrolls", [60, title],
                    [self.browser.find("panel").get_property("scrollTop"), self.text("title")])
        self.browser.call("Emulation.clearDeviceMetricsOverride")
        self.browser.press(Keys.ESCAPE)
        self.wait_for("closing gives the card the focus", "!document.getElementById('viewer').open &&"
                      "document.activeElement.title === 'in/folder 4/image 53.png'")

    def check_hostile_names(self):
        self.choose()
        files = self.browser.run("return [...document.querySelectorAll('.card')].map(c => c.title)"
                                 ".filter(t => !t.startsWith('in/folder'))")
        self.expect("hostile names", 9, len(files))
        for file in files:
            self.open_card(file)
            self.wait_for(file, "document.querySelector('[data-layer=breast]')")
            self.expect(file, 90, self.browser.run(
                "const image = new Image(); image.src = document.querySelector('#picture image').getAttribute('href');"
                "try { await image.decode(); } catch {} return image.naturalWidth"))
        self.expect("the page's own title", "Masks of mammograms", self.browser.driver.title)

    def check_missing_files(self):
        self.open_card("in/folder 3/image 10.png")
        self.wait_for("the note", "!document.getElementById('no-picture').hidden")
        self.browser.press(Keys.ESCAPE)
        self.wait_for("the empty card",
                      "document.querySelector('.card[title=\"in/folder 3/image 10.png\"] .thumb.empty')")

    def check_marks(self, page):
        """Marks by keys and buttons, with notes, stay in the browser and are exported."""
        self.choose(order="name", text="image 1")
        files = self.browser.run("return [...document.querySelectorAll('.card')].map(c => c.title)")
        self.open_card(files[0])
        self.browser.press("g")
        self.browser.press(Keys.RIGHT)
        self.browser.press("b")
        self.browser.press("n")
        self.browser.press("1 \"b\", not good")
        self.browser.press(Keys.ENTER)
        self.browser.press(Keys.RIGHT)
        self.browser.driver.find_element("css selector", "[data-mark=unsure]").click()
        self.browser.press("u")  # takes it back
        self.browser.press(Keys.LEFT)
        self.browser.press(Keys.ESCAPE)
        self.browser.open(page, ready_with(1995))
        self.choose(mark="bad")
        self.expect("what was marked as bad", files[1:2],
                    self.browser.run("return [...document.querySelectorAll('.card')].map(c => c.title)"))
        self.expect("the badge", ["Bad"], self.browser.run(
            "return [...document.querySelectorAll('.mark')].map(mark => mark.textContent)"))
        self.expect("the export", "Export 2 marks", self.text("export"))
        table = self.browser.run(
            "const made = URL.createObjectURL; let blob;"
            "URL.createObjectURL = what => made.call(URL, blob = what); document.getElementById('export').click();"
            "URL.createObjectURL = made; return await blob.text()")
        rows = sorted(csv.reader(table.splitlines()))
        self.expect("the table", sorted([["file", "mark", "note"], [files[0], "good", ""],
                                         [files[1], "bad", '1 "b", not good']]), rows)
        self.choose()
        exported = page.with_name("marks.csv")
        exported.write_text(table + "\r\nno such image,good,\r\n", encoding="utf-8", newline="")
        self.browser.run("localStorage.clear()")
        self.browser.open(page, ready_with(1995))
        self.expect("no marks are left", "Export marks", self.text("export"))
        self.browser.driver.find_element("id", "table").send_keys(str(exported))
        self.wait_for("the import", "!document.getElementById('imported').hidden")
        self.expect("the import", "Rows that were taken: 2. Rows that name no image of this page or no mark: 1.",
                    self.text("imported"))
        self.choose(mark="bad")
        self.expect("what is marked again", [files[1:2], ["1 \"b\", not good"]], self.browser.run(
            "return [[...document.querySelectorAll('.card')].map(c => c.title),"
            " [...document.querySelectorAll('.mark')].map(mark => mark.title)]"))
        self.choose()

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


def check(tests):
    with tempfile.TemporaryDirectory() as folder:
        page = make_sample(tests, pathlib.Path(folder) / "sample")
        browser = Browser(is_watched=True)
        reader = Reader(browser)
        for step in (lambda: browser.open(page, ready_with(1995)), reader.check_order, reader.check_refused,
                     reader.check_filters, reader.check_viewer, reader.check_moves, reader.check_hostile_names,
                     reader.check_missing_files, lambda: reader.check_marks(page), lambda: reader.check_many(page)):
            try:
                step()
            except (RuntimeError, WebDriverException) as error:
                reader.faults.append(str(error))
        reader.expect("requests beyond the folder", [],
                      [url for url in browser.requests() if not url.startswith("file://")])
        reader.expect("errors", [], [text for text in browser.errors() if "image%2010." not in text])
        browser.close()
    print("\n".join(reader.faults) or "check_page: no faults")
    return 1 if reader.faults else 0


def main():
    if is_skipped("check_page", CHROMIUM, DRIVER, *([] if webdriver else ["selenium"])):
        return SKIPPED
    return look(*sys.argv[2:]) if sys.argv[1] == "--look" else check(sys.argv[1])


if __name__ == "__main__":
    sys.exit(main())
