#!/usr/bin/env python3
"""Goes through the contact sheet of a large run in headless Chromium, as a reviewer does: order, keys, links, colours.

    check_review.py WRITER CHROMIUM CHROMEDRIVER FOLDER

WRITER is write_sheets; FOLDER is emptied, and holds the sheets, the browser's profile and the screenshots afterwards.
"""
import collections
import json
import os
import socket
import pathlib
import re
import shutil
import subprocess
import sys

try:
    from selenium import webdriver
    from selenium.webdriver.chrome.service import Service
    from selenium.webdriver.common.action_chains import ActionChains
    from selenium.webdriver.common.by import By
    from selenium.webdriver.common.keys import Keys
    from selenium.webdriver.support.ui import WebDriverWait
except ImportError:
    sys.exit("needs python3-selenium: apt-get install python3-selenium")

SHEETS = ["index.html", "index-2.html", "index-3.html"]
COUNTS = {"error": 3, "no_frame": 9, "copied": 8, "refused": 20, "ok": 1143, "left": 20}

# The least contrast of text with what is behind it.
CONTRAST = """
const channels = colour => colour.match(/[0-9.]+/g).map(Number);
const luminance = colour => {
  const [r, g, b] = channels(colour).slice(0, 3).map(c => c / 255)
      .map(c => c <= 0.04045 ? c / 12.92 : ((c + 0.055) / 1.055) ** 2.4);
  return 0.2126 * r + 0.7152 * g + 0.0722 * b;
};
const behind = element => {
  const colour = getComputedStyle(element).backgroundColor;
  return channels(colour)[3] === 0 ? behind(element.parentElement) : colour;
};
return arguments[0].map(selector => {
  const ratios = [...document.querySelectorAll(selector)].map(element => {
    const [a, b] = [luminance(getComputedStyle(element).color), luminance(behind(element))];
    return (Math.max(a, b) + 0.05) / (Math.min(a, b) + 0.05);
  });
  return Math.min(...ratios);
});
"""


class Driver(Service):
    """The driver, found by its number: a bare system may not know the name of the local host."""

    @property
    def service_url(self):
        return f"http://127.0.0.1:{self.port}"

    def is_connectable(self):
        try:
            socket.create_connection(("127.0.0.1", self.port), 1).close()
            return True
        except OSError:
            return False


class Reviewer:
    """The browser, with the folder of sheets."""

    def __init__(self, chromium, driver, folder):
        self.folder = folder
        options = webdriver.ChromeOptions()
        options.binary_location = chromium
        options.set_capability("goog:loggingPrefs", {"performance": "ALL"})
        arguments = ["--headless=new", "--window-size=1280,900", f"--user-data-dir={folder / 'profile'}",
                     "--disable-dev-shm-usage", "--disable-background-networking", "--disable-component-update",
                     "--no-first-run", "--remote-debugging-pipe", "--host-resolver-rules=MAP * ~NOTFOUND"]
        if os.geteuid() == 0:
            arguments.append("--no-sandbox")
        for argument in arguments:
            options.add_argument(argument)
        self.driver = webdriver.Chrome(service=Driver(driver), options=options)
        self.driver.get("about:blank")
        self.requests()  # of the page that the browser began with

    def run(self, script, *arguments):
        return self.driver.execute_script(script, *arguments)

    def wait(self, condition, what):
        WebDriverWait(self.driver, 60, poll_frequency=0.02).until(lambda _: condition(), what)

    def address(self, name):
        return (self.folder / name).as_uri()

    def at(self, name):
        """Waits for the file to be what is shown."""
        self.wait(lambda: self.driver.current_url == self.address(name) and
                  self.run("return document.readyState") == "complete", f"{name} is not shown")

    def open(self, name):
        self.driver.get(self.address(name))
        self.at(name)

    def press(self, *keys):
        for key in keys:
            ActionChains(self.driver).send_keys(key).perform()

    def focused(self):
        """The number of the card that has the focus; -1: none."""
        return self.run("return [...document.querySelectorAll('.card')].indexOf(document.activeElement)")

    def expect_focus(self, card):
        assert self.focused() == card, f"card {self.focused()} has the focus, not {card}"
        if card >= 0:
            top, bottom, height, outline = self.run("""const box = document.activeElement.getBoundingClientRect();
                return [box.top, box.bottom, innerHeight, getComputedStyle(document.activeElement).outlineStyle]""")
            assert 0 <= top and bottom <= height, f"card {card} is out of view"
            assert outline == "solid", "the focus is not visible"

    def cards(self):
        return self.run("""return [...document.querySelectorAll('.card')].map(card => [
            card.querySelector('.title').textContent, card.querySelector('.badge').classList[1],
            card.getAttribute('href')])""")

    def columns(self):
        return self.run("""const tops = [...document.querySelectorAll('.card')].map(card => card.offsetTop);
            return tops.filter(top => top === tops[0]).length""")

    def requests(self):
        """What was asked for since the last call."""
        messages = [json.loads(entry["message"])["message"] for entry in self.driver.get_log("performance")]
        return [message["params"]["request"]["url"] for message in messages
                if message["method"] == "Network.requestWillBeSent"]


def place_of(title, kind):
    group = {"ok": 1, "left": 2}.get(kind, 0)
    score = re.search(r"_(.*)\.tif", title)[1]
    if score == "none":
        return group, -1 if kind == "left" else 0
    return group, int(score)


def check_order(reviewer):
    reviewer.open(SHEETS[0])
    sheets = [reviewer.cards()]
    for name in SHEETS[1:]:
        reviewer.press("n")
        reviewer.at(name)
        sheets.append(reviewer.cards())
    assert [len(cards) for cards in sheets] == [500, 500, 203]
    cards = sum(sheets, [])
    assert len({title for title, _, _ in cards}) == 1203
    assert collections.Counter(kind for _, kind, _ in cards) == COUNTS
    places = [place_of(title, kind) for title, kind, _ in cards]
    assert places == sorted(places), "not worst first"
    counts = reviewer.run("return [...document.querySelectorAll('.counts .badge')].map(badge => badge.textContent)")
    assert counts == ["3 error", "9 no page found", "20 refused", "8 copied as it was", "1143 cut out",
                      "20 left from an earlier run"]


def check_keys(reviewer):
    reviewer.open(SHEETS[0])
    columns = reviewer.columns()
    assert columns > 2
    assert reviewer.driver.find_element(By.CLASS_NAME, "keys").is_displayed(), "the keys are not told"
    reviewer.expect_focus(-1)
    moves = [("j", 0), (Keys.ARROW_RIGHT, 1), ("j", 2), (Keys.ARROW_LEFT, 1), ("k", 0), ("k", 0), (Keys.ARROW_UP, 0),
             (Keys.ARROW_DOWN, columns), (Keys.ARROW_DOWN, 2 * columns), (Keys.ARROW_UP, columns), (Keys.END, 499),
             (Keys.ARROW_RIGHT, 499), (Keys.ARROW_DOWN, 499), (Keys.HOME, 0)]
    for key, card in moves:
        reviewer.press(key)
        reviewer.expect_focus(card)


def check_last_row(reviewer):
    """Below the last whole row lies a shorter one."""
    reviewer.open(SHEETS[2])
    columns = reviewer.columns()
    last = 202
    row = last - last % columns
    assert 0 < last - row < columns - 1, "choose a window whose last row is neither whole nor of one card"
    reviewer.press(Keys.END)
    reviewer.press(Keys.ARROW_UP)
    reviewer.expect_focus(last - columns)
    reviewer.press(*[Keys.ARROW_RIGHT] * (row - 1 - (last - columns)), Keys.ARROW_DOWN)
    reviewer.expect_focus(last)
    reviewer.press("k", Keys.ARROW_DOWN)
    reviewer.expect_focus(last - 1)


def check_view(reviewer):
    """Where nothing has the focus, keys begin at what is in view; with Ctrl they are the browser's."""
    reviewer.open(SHEETS[1])
    columns = reviewer.columns()
    reviewer.run("scrollTo(0, document.querySelectorAll('.card')[arguments[0]].getBoundingClientRect().top)",
                 4 * columns)
    ActionChains(reviewer.driver).key_down(Keys.CONTROL).send_keys("j").key_up(Keys.CONTROL).perform()
    reviewer.expect_focus(-1)
    reviewer.press("j")
    reviewer.expect_focus(4 * columns)


def check_drawing(reviewer):
    """Enter opens the drawing, and going back leads to its card."""
    reviewer.open(SHEETS[1])
    reviewer.press("j", Keys.ARROW_DOWN, Keys.ARROW_DOWN, "j")
    card = reviewer.focused()
    assert card == 2 * reviewer.columns() + 1
    drawing = reviewer.cards()[card][2]
    reviewer.press(Keys.ENTER)
    reviewer.wait(lambda: reviewer.driver.current_url == reviewer.address(".") + "/" + drawing, "no drawing is shown")
    assert reviewer.run("return document.documentElement.tagName") == "svg"
    reviewer.driver.back()
    reviewer.at(SHEETS[1])
    reviewer.wait(lambda: reviewer.focused() == card, "the card has lost the focus")


def check_missing_drawing(reviewer):
    """A card without a drawing is reached by the arrows, not by Tab, and opens nothing."""
    reviewer.open(SHEETS[0])
    kinds = [kind for _, kind, _ in reviewer.cards()]
    without = [i for i, (_, _, drawing) in enumerate(reviewer.cards()) if drawing is None]
    assert without and [kinds[i] for i in without] == ["error"] * 3
    reviewer.press("j", *["j"] * without[0])
    reviewer.expect_focus(without[0])
    reviewer.press(Keys.ENTER)
    assert reviewer.driver.current_url == reviewer.address(SHEETS[0])
    tabs = reviewer.run("return [...document.querySelectorAll('div.card')].every(card => card.tabIndex === -1)")
    assert tabs, "Tab stops where there is nothing to open"


def check_sheets(reviewer):
    reviewer.open(SHEETS[0])
    for key, sheet in [("p", 0), ("n", 1), ("]", 2), ("n", 2), ("[", 1), ("p", 0)]:
        reviewer.press(key)
        reviewer.at(SHEETS[sheet])
    for words, sheet in [("next", 1), ("next", 2), ("first", 0), ("last", 2), ("previous", 1), ("1", 0), ("3", 2)]:
        reviewer.driver.find_element(By.LINK_TEXT, words).click()
        reviewer.at(SHEETS[sheet])
        assert reviewer.run("return document.querySelectorAll('[aria-current=page]')[1].textContent") == str(sheet + 1)


def check_without_script(reviewer):
    """Tab and Enter do without the script, which alone tells of more keys."""
    reviewer.driver.execute_cdp_cmd("Emulation.setScriptExecutionDisabled", {"value": True})
    reviewer.open(SHEETS[0])
    assert not reviewer.driver.find_element(By.CLASS_NAME, "keys").is_displayed()
    reviewer.press(Keys.TAB)
    text, outline = reviewer.run("""return [document.activeElement.textContent,
        getComputedStyle(document.activeElement).outlineStyle]""")
    assert (text, outline) == ("next", "solid")
    links = len(reviewer.driver.find_elements(By.CSS_SELECTOR, "nav:first-of-type a[href]"))
    reviewer.press(*[Keys.TAB] * links)
    card = next(i for i, (_, _, drawing) in enumerate(reviewer.cards()) if drawing)
    reviewer.expect_focus(card)
    drawing = reviewer.cards()[card][2]
    reviewer.press(Keys.ENTER)
    reviewer.wait(lambda: reviewer.driver.current_url == reviewer.address(".") + "/" + drawing, "no drawing is shown")
    reviewer.driver.execute_cdp_cmd("Emulation.setScriptExecutionDisabled", {"value": False})


def check_pictures(reviewer):
    """Those in view are shown; those far below are not even asked for. How far ahead the browser looks is its own
    affair: 1250 pixels on what it takes for a fast connection, 8000 on what it takes for none."""
    reviewer.requests()
    reviewer.open(SHEETS[1])
    reviewer.wait(lambda: reviewer.run("""return [...document.images].filter(
        image => image.getBoundingClientRect().top < innerHeight).every(image => image.naturalWidth > 0)"""),
                  "pictures are missing")
    assert any("/thumbnails/" in url for url in reviewer.requests())
    far, loaded = reviewer.run("""const far = [...document.images].filter(
        image => image.getBoundingClientRect().top > innerHeight + 10000);
        return [far.length, far.filter(image => image.complete).length]""")
    assert far >= 100, f"only {far} of 500 pictures are far below"
    assert loaded == 0, f"{loaded} of {far} pictures far below are loaded"


def check_looks(reviewer, scheme, width):
    """Colours that can be read, and nothing beyond the window's edge. The screenshot is for people."""
    driver = reviewer.driver
    driver.execute_cdp_cmd("Emulation.setEmulatedMedia",
                           {"features": [{"name": "prefers-color-scheme", "value": scheme}]})
    driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                           {"width": width, "height": 900, "deviceScaleFactor": 1, "mobile": False})
    texts = ["h1", ".sheets p", ".sheets a", ".sheets b", ".keys", "kbd", ".title", ".facts", ".badge"]
    for name in SHEETS:
        reviewer.open(name)
        here = texts + ([".none", ".note"] if name == SHEETS[0] else [])
        low = [(text, ratio) for text, ratio in zip(here, reviewer.run(CONTRAST, here)) if not ratio >= 4.5]
        assert not low, f"{scheme}: too little contrast: {low}"
        scrolled, shown = reviewer.run("const root = document.documentElement; return [root.scrollWidth, innerWidth]")
        assert shown == width and scrolled <= width, f"{name} is {scrolled} wide in {shown}"
        cut = reviewer.run("""return [...document.querySelectorAll('.card')].filter(
            card => card.scrollWidth > card.clientWidth).map(card => card.textContent)""")
        assert not cut, f"words are cut off: {cut}"
    dark = reviewer.run("return getComputedStyle(document.body).backgroundColor") == "rgb(18, 21, 26)"
    assert dark == (scheme == "dark")
    reviewer.open(SHEETS[0])
    reviewer.press("j", Keys.ARROW_RIGHT)
    reviewer.run("scrollTo(0, 0)")
    reviewer.wait(lambda: reviewer.run("""return [...document.images].filter(
        image => image.getBoundingClientRect().top < innerHeight).every(image => image.complete)"""), "pictures")
    driver.save_screenshot(str(reviewer.folder / f"{scheme}-{width}.png"))


def check_requests(reviewer, urls):
    root = reviewer.address(".") + "/"
    assert len(urls) > 20, "requests are not seen"
    strange = [url for url in urls if not url.startswith((root, "data:"))]
    assert not strange, f"asked for {strange}"


def main():
    writer, chromium, driver, folder = sys.argv[1:]
    os.environ["NO_PROXY"] = os.environ["no_proxy"] = "localhost,127.0.0.1"
    folder = pathlib.Path(folder).resolve()
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    subprocess.run([writer, str(folder)], check=True)
    reviewer = Reviewer(chromium, driver, folder)
    try:
        urls = []
        for check in [check_order, check_keys, check_last_row, check_view, check_drawing, check_missing_drawing,
                      check_sheets, check_without_script]:
            check(reviewer)
            urls += reviewer.requests()
        check_pictures(reviewer)
        for scheme, width in [("light", 1280), ("dark", 1280), ("dark", 400), ("light", 400)]:
            check_looks(reviewer, scheme, width)
        check_requests(reviewer, urls + reviewer.requests())
    finally:
        reviewer.driver.quit()


main()
