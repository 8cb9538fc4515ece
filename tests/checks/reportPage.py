#!/usr/bin/python3
"""Opens the report's page in headless Chromium and holds it against the report's document.

reportPage.py PAGE DOCUMENT TEXT [FOLDER]: the page, JSON and text of one PC, page and JSON of one run. With a
folder, screenshots go there.
"""

import base64
import json
import pathlib
import re
import sys

from selenium import webdriver
from selenium.webdriver.chrome.options import Options
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

WIDTHS = (360, 1400)
SCHEMES = ("light", "dark")
UNITS = {"bytes": 1, "byte": 1, "KB": 2**10, "MB": 2**20, "GB": 2**30, "TB": 2**40}

BROKEN_NUMBERS = """
return [...document.querySelectorAll('td.number')].filter(cell => {
  const walker = document.createTreeWalker(cell, NodeFilter.SHOW_TEXT), range = document.createRange();
  while (walker.nextNode()) {
    for (const word of walker.currentNode.data.matchAll(/\\S+/g)) {
      range.setStart(walker.currentNode, word.index);
      range.setEnd(walker.currentNode, word.index + word[0].length);
      if (range.getClientRects().length > 1) return true;
    }
  }
  return false;
}).map(cell => cell.textContent).slice(0, 5)"""

failures = []


def expect(holds, sentence):
    if not holds:
        failures.append(sentence)


def start_browser():
    options = Options()
    options.binary_location = "/usr/bin/chromium"
    for argument in ("--headless=new", "--no-sandbox", "--disable-gpu", "--hide-scrollbars", "--disable-dev-shm-usage"):
        options.add_argument(argument)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    return webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)


def show(browser, page, width, scheme):
    browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                            {"width": width, "height": 1000, "deviceScaleFactor": 1, "mobile": False})
    browser.execute_cdp_cmd("Emulation.setEmulatedMedia",
                            {"features": [{"name": "prefers-color-scheme", "value": scheme}]})
    browser.get(page.as_uri())


def photograph(browser, file, width, top, height):
    picture = browser.execute_cdp_cmd("Page.captureScreenshot", {
        "captureBeyondViewport": True, "clip": {"x": 0, "y": top, "width": width, "height": height, "scale": 1}})
    file.write_bytes(base64.b64decode(picture["data"]))


def unfold(browser, button="unfold"):
    browser.find_element(By.ID, button).click()


def check_looks(browser, page, folder):
    """No message in the console, nothing wider than the window, folded or not; dark is dark."""
    brightness = {}
    for width in WIDTHS:
        for scheme in SCHEMES:
            show(browser, page, width, scheme)
            where = f"at {width} pixels, {scheme}"
            if folder and (width, scheme) in ((1400, "light"), (360, "dark")):
                for name in ("attention", "drives", "events"):
                    top = browser.execute_script(
                        "const e = document.getElementById(arguments[0]) || document.querySelector('h1');"
                        "return Math.max(0, e.getBoundingClientRect().top + scrollY - 16)", name)
                    photograph(browser, folder / f"report-{name}-{width}-{scheme}.png", width, top, 1000)
            for button in ("unfold", "fold"):
                unfold(browser, button)
                widest = browser.execute_script("return document.documentElement.scrollWidth")
                expect(widest <= width, f"{where} the page is {widest} pixels wide after \"{button}\"")
            unfold(browser)
            broken = browser.execute_script(BROKEN_NUMBERS)
            expect(not broken, f"{where} these numbers are broken in two: {broken}")
            messages = browser.get_log("browser")
            expect(not messages, f"{where} the console says {messages}")
            color = browser.execute_script("return getComputedStyle(document.body).backgroundColor")
            brightness[scheme] = sum(int(part) for part in re.findall(r"\d+", color)[:3])
    expect(brightness["dark"] < 200 < 500 < brightness["light"], f"light and dark are {brightness}")


def check_keyboard(browser, page):
    """Tab reaches the folded, Enter and the space bar turn them."""
    show(browser, page, 1400, "light")
    browser.find_element(By.TAG_NAME, "body").send_keys(Keys.TAB)
    expect(browser.switch_to.active_element.text == "To the content", "the first Tab leads to the skip link")
    for _ in range(60):
        active = browser.switch_to.active_element
        if active.tag_name == "summary":
            break
        active.send_keys(Keys.TAB)
    expect(active.tag_name == "summary", "Tab leads to something that folds")
    for key in (Keys.ENTER, Keys.SPACE):
        before = active.find_element(By.XPATH, "..").get_attribute("open")
        active.send_keys(key)
        expect(active.find_element(By.XPATH, "..").get_attribute("open") != before, f"{key!r} folds and unfolds")
    nested = "return document.querySelectorAll('ul.tree details details').length"
    expect(browser.execute_script(nested) > 5, "the device tree folds at its branches")
    hidden = "return [...document.querySelectorAll('ul.tree .bad')].filter(e => e.closest('ul').closest('details:not([open])')).length"
    show(browser, page, 1400, "light")
    expect(browser.execute_script(hidden) == 0, "a device with a problem is to be seen in the tree from the beginning")
    unnamed = "return [...document.querySelectorAll('svg[role=img]')].filter(e => !e.getAttribute('aria-label')).length"
    expect(browser.execute_script(unnamed) == 0, "every picture has a text for those who do not see it")


def at(document, pointer):
    for key in pointer.split("/")[1:]:
        key = key.replace("~1", "/").replace("~0", "~")
        document = document[int(key)] if isinstance(document, list) else document[key]
    return document


def shows_number(text, value):
    """Whether the text, as a reader sees it, gives this number, to the digits that it shows."""
    if isinstance(value, bool):
        return text == ("yes" if value else "no")
    match = re.fullmatch(r"(-?[\d,.]+)(?: (bytes?|[KMGT]B|%))?(?: \(([\d,]+) bytes?\))?", text)
    if match is None:
        return False
    if match[3] is not None and int(match[3].replace(",", "")) != value:
        return False
    shown = float(match[1].replace(",", ""))
    digits = len(match[1].partition(".")[2])
    scale = 0.01 if match[2] == "%" else UNITS.get(match[2], 1)
    return abs(shown - value / scale) <= 0.5000001 * 10**-digits


def check_facts(browser, page, document, text):
    """What the page shows is what the document says; the text says it too."""
    show(browser, page, 1400, "light")
    places = browser.execute_script(
        "return [...document.querySelectorAll('[data-json]')].map(e => [e.dataset.json, e.textContent, e.value ?? null])")
    # Of the making, not of the PC.
    lines = " ".join(text.split())
    shown = set()
    for pointer, content, value in places:
        shown.add(pointer)
        place = f"the page's {pointer}"
        try:
            fact = at(document, pointer)
        except (KeyError, IndexError, TypeError):
            expect(False, f"{place} is not in the document")
            continue
        if isinstance(fact, str):
            expect(content == fact or value == fact or "\\" in content, f"{place} shows {content!r}, not {fact!r}")
        else:
            expect(shows_number(content, fact), f"{place} shows {content!r}, not {fact!r}")
        if not pointer.startswith("/time"):
            expect(" ".join(content.split()) in lines, f"{place}: the text lacks {content!r}")
    return shown


def required(document):
    """Facts that must be on the page."""
    for s, section in enumerate(document["sections"]):
        data, place = section["data"], f"/sections/{s}/data"
        for i in range(len(data.get("tree", {}).get("devices", []))):
            yield f"{place}/tree/devices/{i}/id"
        for i, drive in enumerate(data.get("drives", {}).get("drives", [])):
            if drive["capacity"] is not None:
                yield f"{place}/drives/drives/{i}/capacity"
            for v, volume in enumerate(drive["volumes"]):
                if volume["totalBytes"] is not None:
                    yield f"{place}/drives/drives/{i}/volumes/{v}/freeBytes"
        for i, display in enumerate(data.get("displays", {}).get("displays", [])):
            if display["edid"] is not None:
                yield f"{place}/displays/displays/{i}/edid/contents/detailedTimings/0/width"
        for log in ("System", "Application"):
            for i in range(len(data.get(log, {}).get("days", []))):
                for count in ("errors", "warnings", "others"):
                    yield f"{place}/{log}/days/{i}/{count}"
        for sample in data.get("samples", [])[-1:]:
            for i in range(len(sample["counters"])):
                yield f"{place}/samples/{len(data['samples']) - 1}/counters/{i}/value"
        for i in range(len(data.get("results", {}).get("memoryTests", []))):
            yield f"{place}/results/memoryTests/{i}/badPages"
    for i in range(len(document["attention"])):
        yield f"/attention/{i}/sentence"


def main():
    page, document, text = (pathlib.Path(argument).resolve() for argument in sys.argv[1:4])
    folder = pathlib.Path(sys.argv[4]) if len(sys.argv) > 4 else None
    document = json.loads(document.read_text(encoding="utf-8"))
    browser = start_browser()
    try:
        check_looks(browser, page, folder)
        check_keyboard(browser, page)
        shown = check_facts(browser, page, document, text.read_text(encoding="utf-8"))
    finally:
        browser.quit()
    wanted = list(required(document))
    expect(len(wanted) > 300, f"only {len(wanted)} facts are looked for")
    for pointer in wanted:
        expect(pointer in shown, f"the page does not show {pointer}")
    for sentence in failures[:30]:
        print(sentence)
    print(f"{len(shown)} facts of the page held against the document, {len(failures)} failures")
    sys.exit(1 if failures else 0)


main()
