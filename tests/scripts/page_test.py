#!/usr/bin/env python3
"""The page of "hwinvctl export --format html", in a browser without a screen.

    page_test.py SOURCE HWINVCTL           runs the tests; status 77 where no browser is installed
    page_test.py --update SOURCE HWINVCTL  takes the picture in docs/INSPECTING.md anew

The browser is driven by its own driver, which speaks WebDriver: JSON over HTTP.
"""

import base64
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import time
import unittest
import urllib.error
import urllib.request

UPDATE = "--update" in sys.argv
SOURCE, HWINVCTL = [os.path.abspath(word) for word in sys.argv[1:] if word != "--update"]
INVENTORIES = pathlib.Path(SOURCE) / "share" / "inventories"
PICTURE = pathlib.Path(SOURCE) / "docs" / "inspecting.png"
DRIVER = shutil.which("chromedriver")
BROWSER = shutil.which("chromium")
LIMIT = 60  # seconds that any answer may take
PHONE = (375, 740)
DESK = (1280, 720)
DIRECT = urllib.request.build_opener(urllib.request.ProxyHandler({}))  # the driver is here
ELEMENT = "element-6066-11e4-a52e-4f735466cecf"  # WebDriver's own name for a reference to an element


class Browser:
    """One window; ends with the test."""

    def __init__(self):
        self.folder = tempfile.mkdtemp(prefix="page-test-")
        self.driver = subprocess.Popen(
            [DRIVER, "--port=0"], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True,
            env={**os.environ, "HOME": self.folder, "TMPDIR": self.folder},
        )
        self.session = None
        try:
            self.base = f"http://127.0.0.1:{self.port()}"
            self.begin()
        except BaseException:
            self.end()
            raise

    def port(self):
        for line in self.driver.stdout:
            if found := re.search(r"successfully on port (\d+)", line):
                return found[1]
        raise AssertionError("the browser's driver has ended")

    def begin(self):
        options = {
            "binary": BROWSER,
            "args": ["--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage",
                     "--hide-scrollbars", f"--user-data-dir={self.folder}/profile"],
        }
        wanted = {
            "goog:chromeOptions": options,
            "goog:loggingPrefs": {"performance": "ALL", "browser": "ALL"},
        }
        answer = self.request("POST", "/session", {"capabilities": {"alwaysMatch": wanted}})
        self.session = answer["sessionId"]

    def request(self, method, path, body=None):
        request = urllib.request.Request(
            self.base + path, method=method, data=None if body is None else json.dumps(body).encode()
        )
        try:
            with DIRECT.open(request, timeout=LIMIT) as answer:
                return json.load(answer)["value"]
        except urllib.error.HTTPError as error:
            raise AssertionError(json.load(error)["value"]["message"]) from None

    def post(self, path, body):
        return self.request("POST", f"/session/{self.session}{path}", body)

    def devtools(self, command, **parameters):
        return self.post("/goog/cdp/execute", {"cmd": command, "params": parameters})

    def run(self, script, *arguments):
        return self.post("/execute/sync", {"script": script, "args": list(arguments)})

    def logged(self, kind):
        return self.post("/se/log", {"type": kind})

    def element(self, selector):
        return self.post("/element", {"using": "css selector", "value": selector})

    def open(self, page, size=DESK, scheme="light", touch=False):
        self.devtools("Emulation.setDeviceMetricsOverride", width=size[0], height=size[1],
                      deviceScaleFactor=1, mobile=touch)
        self.devtools("Emulation.setTouchEmulationEnabled", enabled=touch)
        self.devtools("Emulation.setEmulatedMedia",
                      features=[{"name": "prefers-color-scheme", "value": scheme}])
        self.logged("performance")
        self.logged("browser")
        self.post("/url", {"url": page.as_uri()})

    def act(self, kind, *steps):
        pointer = {"type": "pointer", "id": kind, "parameters": {"pointerType": kind},
                   "actions": list(steps)}
        self.post("/actions", {"actions": [pointer]})

    def hover(self, selector):
        self.run("document.querySelector(arguments[0]).scrollIntoView({block: 'center'})", selector)
        self.act("mouse", {"type": "pointerMove", "duration": 0, "x": 0, "y": 0,
                           "origin": self.element(selector)})

    def click(self, selector, kind="mouse"):
        self.run("document.querySelector(arguments[0]).scrollIntoView({block: 'center'})", selector)
        self.act(kind, {"type": "pointerMove", "duration": 0, "x": 0, "y": 0,
                        "origin": self.element(selector)},
                 {"type": "pointerDown", "button": 0}, {"type": "pointerUp", "button": 0})

    def type(self, selector, text):
        reference = self.element(selector)[ELEMENT]
        self.post(f"/element/{reference}/value", {"text": text})

    def press(self, key):
        self.post("/actions", {"actions": [{"type": "key", "id": "keys", "actions": [
            {"type": "keyDown", "value": key}, {"type": "keyUp", "value": key}]}]})

    def picture(self):
        return base64.b64decode(self.devtools("Page.captureScreenshot", format="png")["data"])

    def end(self):
        if self.session:
            self.request("DELETE", f"/session/{self.session}")
        self.driver.terminate()
        self.driver.wait(LIMIT)
        self.driver.stdout.close()
        deadline = time.monotonic() + LIMIT
        while os.path.exists(self.folder) and time.monotonic() < deadline:
            shutil.rmtree(self.folder, ignore_errors=True)  # the browser may still be writing


def write_page(inventory, folder):
    page = pathlib.Path(folder) / f"{inventory}.html"
    with open(page, "w", encoding="utf-8") as file:
        subprocess.run([HWINVCTL, "--from", inventory, "export", "--format", "html"], check=True,
                       stdout=file, cwd=INVENTORIES, timeout=LIMIT)
    return page


def slot(leaf, board=True):
    side = "board" if board else "chassis/motherboard"
    return f'.node[data-path$="{side}/{leaf}"]'


VISIBLE = "return [...document.querySelectorAll('.node')].filter(n => n.offsetParent)"
TEXT = "return document.getElementById(arguments[0]).innerText"


class Page(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory(prefix="pages-")
        cls.addClassCleanup(cls.folder.cleanup)
        cls.healthy = write_page("two-socket-2u", cls.folder.name)
        cls.awkward = write_page("awkward", cls.folder.name)
        cls.browser = Browser()
        cls.addClassCleanup(cls.browser.end)

    def said(self):
        return self.browser.run(TEXT, "said")

    def data(self, selector, name):
        return self.browser.run("return document.querySelector(arguments[0]).dataset[arguments[1]]",
                                selector, name)

    def labels(self):
        return self.browser.run(VISIBLE + ".map(n => n.dataset.path)")

    def test_explains_what_the_pointer_is_over(self):
        self.browser.open(self.healthy)
        self.assertIn("choose it", self.said())
        self.browser.hover(slot("pcie_slot_03"))
        self.assertEqual(self.said(), "pcie_slot_03 belongs to pcieslot3: that is the first SMBIOS "
                                      "slot that fits.")
        self.assertEqual(self.browser.run(TEXT, "reason"),
                         "both name slot 3 (Accel.Slot.3-1), both have identifier 3")
        self.browser.hover("h1")
        self.assertIn("choose it", self.said())

    def test_keeps_what_was_chosen_until_escape(self):
        self.browser.open(self.awkward)
        self.browser.click(slot("pcie_slot_30_stale"))
        self.browser.hover("h1")
        self.assertTrue(self.said().startswith("pcie_slot_30_stale belongs to pcieslot30"))
        self.assertIn("The pair itself was refused", self.browser.run(TEXT, "notes"))
        self.assertEqual(self.browser.run(TEXT, "path").replace("\u200b", ""), self.data(slot("pcie_slot_30_stale"), "path"))
        self.browser.press("\ue00c")
        self.assertIn("choose it", self.said())

    def test_explains_what_the_keyboard_has_reached(self):
        self.browser.open(self.healthy)
        self.browser.run("document.querySelector('.node').previousElementSibling;"
                         "document.querySelector('.filter:last-of-type').focus()")
        self.browser.press("\ue004")
        focused = self.browser.run("return document.activeElement.dataset.sentence")
        self.assertEqual(self.said(), focused)

    def test_explains_what_a_finger_touched_on_a_phone(self):
        self.browser.open(self.healthy, PHONE, touch=True)
        self.assertFalse(self.browser.run("return !!document.getElementById('panel').offsetHeight"))
        self.browser.click(slot("pcie_slot_05"), "touch")
        self.assertTrue(self.said().startswith("pcie_slot_05 belongs to pcieslot5"))
        box = self.browser.run("const b = document.getElementById('panel').getBoundingClientRect();"
                               "return [b.left, b.right, b.bottom, b.height]")
        self.assertEqual(box[:3], [0, PHONE[0], PHONE[1]])
        self.assertLess(box[3], PHONE[1] * 0.56)
        self.browser.click("#close", "touch")
        self.assertFalse(self.browser.run("return !!document.getElementById('panel').offsetHeight"))

    def test_search_leaves_the_cards_that_have_the_text(self):
        self.browser.open(self.healthy)
        everything = len(self.labels())
        self.assertEqual(self.browser.run(TEXT, "hits"), f"{everything} objects")
        self.browser.press("/")
        self.browser.type("#search", "SLOT_03")
        left = self.labels()
        self.assertEqual({path.rsplit("motherboard/")[-1] for path in left if "pcieslot" in path},
                         {"pcieslot3"})
        self.assertTrue(any(path.endswith("board/pcie_slot_03") for path in left))
        self.assertLess(len(left), 10)
        self.assertRegex(self.browser.run(TEXT, "hits"), rf"^\d of {everything} objects$")
        self.browser.type("#search", " no such thing")
        self.assertEqual(self.labels(), [])
        self.assertEqual(self.browser.run(TEXT, "hits"), f"0 of {everything} objects")

    def test_filters_leave_one_state(self):
        self.browser.open(self.awkward)
        self.browser.click(".filter.unpaired")
        states = self.browser.run(VISIBLE + ".filter(n => n.dataset.hit === 'true')"
                                            ".map(n => n.dataset.state)")
        counted = int(self.browser.run("return document.querySelector('.filter.unpaired b').innerText"))
        self.assertEqual(states, ["unpaired"] * counted)
        self.browser.click(".filter.unpaired")
        self.assertEqual(len(self.labels()),
                         self.browser.run("return document.querySelectorAll('.node').length"))

    def test_fits_a_phone(self):
        for page in (self.healthy, self.awkward):
            self.browser.open(page, PHONE, touch=True)
            self.assertEqual(self.browser.run("return document.documentElement.scrollWidth"), PHONE[0])
            outside = self.browser.run(
                "return [...document.querySelectorAll('body *')].filter(e => {"
                "const b = e.getBoundingClientRect(); return b.width && (b.right > innerWidth + 0.5"
                " || b.left < -0.5); }).map(e => e.outerHTML.slice(0, 80))")
            self.assertEqual(outside, [])

    def test_can_be_read_in_light_and_dark(self):
        darkness = {}
        for scheme in ("light", "dark"):
            self.browser.open(self.awkward, scheme=scheme)
            page, rows = self.browser.run(
                "const style = e => getComputedStyle(e);"
                "const back = e => { while (style(e).backgroundColor === 'rgba(0, 0, 0, 0)')"
                " e = e.parentElement; return style(e).backgroundColor; };"
                "return [style(document.body).backgroundColor,"
                " ['h1', 'h2', '.label', '.detail', '.filter', '#said', '#search'].map(s => {"
                " const e = document.querySelector(s); return [s, style(e).color, back(e)]; })]")
            darkness[scheme] = luminance(page)
            for selector, ink, paper in rows:
                self.assertGreater(contrast(ink, paper), 4.5, (scheme, selector, ink, paper))
        self.assertGreater(darkness["light"], 0.8)
        self.assertLess(darkness["dark"], 0.05)

    def test_asks_for_no_other_file_and_complains_of_nothing(self):
        self.browser.open(self.awkward)
        self.browser.click(slot("pcie_slot_30_stale"))
        messages = [json.loads(entry["message"])["message"]
                    for entry in self.browser.logged("performance")]
        asked = [message["params"]["request"]["url"] for message in messages
                 if message["method"] == "Network.requestWillBeSent"]
        self.assertEqual(asked, [self.awkward.as_uri()])
        self.assertEqual(self.browser.logged("browser"), [])

    def test_the_picture_of_the_document_is_small(self):
        self.assertEqual(PICTURE.read_bytes()[:8], b"\x89PNG\r\n\x1a\n")
        self.assertLess(PICTURE.stat().st_size, 150_000)
        self.assertIn(f"({PICTURE.name})",
                      (PICTURE.parent / "INSPECTING.md").read_text(encoding="utf-8"))


def luminance(colour):
    """How light a colour is, from 0 to 1, as the eye sees it."""
    parts = [int(part) / 255 for part in re.findall(r"\d+", colour)[:3]]
    linear = [p / 12.92 if p <= 0.04045 else ((p + 0.055) / 1.055) ** 2.4 for p in parts]
    return 0.2126 * linear[0] + 0.7152 * linear[1] + 0.0722 * linear[2]


def contrast(one, other):
    light, dark = sorted((luminance(one), luminance(other)), reverse=True)
    return (light + 0.05) / (dark + 0.05)


def update():
    with tempfile.TemporaryDirectory(prefix="pages-") as folder:
        browser = Browser()
        try:
            browser.open(write_page("two-socket-2u", folder))
            browser.click(slot("pcie_slot_03"))
            browser.run("window.scrollTo(0, 0); document.activeElement.blur()")
            PICTURE.write_bytes(browser.picture())
        finally:
            browser.end()


if __name__ == "__main__":
    if not DRIVER or not BROWSER:
        print("no browser is installed; scripts/bootstrap --browser installs one")
        sys.exit(77)
    if UPDATE:
        update()
    else:
        unittest.main(argv=sys.argv[:1])
