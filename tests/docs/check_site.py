"""Opens pages of the built documentation site in headless Chromium and checks that each
renders: a title, every image loaded, and a screenshot that is not blank.

    /usr/bin/python3 tests/docs/check_site.py build/docs/html
"""

import io
import os
import sys

from PIL import Image, ImageStat
from selenium import webdriver
from selenium.webdriver.chrome.service import Service

# (page, words its title must hold, images it must show at least, texts it must show)
PAGES = [
    ("index.html", "vlmathdsp", 0, ["User guide", "API reference"]),
    ("api/generated/vlmathdsp.conv2.html", "conv2", 0, ["Parameters", "Examples"]),
    ("auto_examples/plot_blur_and_edges.html", "Blur an image", 1, ["ndimage.sobel"]),
    ("performance.html", "Performance", 10, ["Measured on", "cv2.filter2D"]),
    ("guide/errors.html", "Errors", 0, ["VELTRA:nomem", "VELTRA:conv2:SparseInput"]),
]

IMAGES = """return Array.from(document.images).map(i => [i.currentSrc || i.src, i.complete && i.naturalWidth > 0]);"""


def browser():
    options = webdriver.ChromeOptions()
    options.binary_location = "/usr/bin/chromium"
    for argument in ("--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage",
                     "--window-size=1280,1000", "--allow-file-access-from-files"):
        options.add_argument(argument)
    return webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)


def blank(png):
    """True when the screenshot is one colour, or nearly so."""
    image = Image.open(io.BytesIO(png)).convert("L")
    return ImageStat.Stat(image).stddev[0] < 4.0 or len(image.getcolors(1 << 16) or []) < 8


def check(site, shots):
    failures = []
    driver = browser()
    try:
        for page, title_words, least_images, texts in PAGES:
            path = os.path.join(site, page)
            if not os.path.exists(path):
                failures.append(f"{page}: not built")
                continue
            driver.get("file://" + os.path.abspath(path))
            title = driver.title
            if title_words.lower() not in title.lower():
                failures.append(f"{page}: title {title!r} does not hold {title_words!r}")
            shown = driver.execute_script("return document.body.innerText;")
            failures += [f"{page}: {text!r} not shown" for text in texts if text.lower() not in shown.lower()]
            images = driver.execute_script(IMAGES)
            missing = [src for src, loaded in images if not loaded]
            if missing:
                failures.append(f"{page}: images not loaded: {missing}")
            if len(images) < least_images:
                failures.append(f"{page}: {len(images)} images, at least {least_images} expected")
            png = driver.get_screenshot_as_png()
            with open(os.path.join(shots, page.replace("/", "_") + ".png"), "wb") as f:
                f.write(png)
            if blank(png):
                failures.append(f"{page}: the screenshot is blank")
            print(f"site check: {page}: title {title!r}, {len(images)} images loaded", flush=True)
    finally:
        driver.quit()
    return failures


if __name__ == "__main__":
    site = sys.argv[1] if len(sys.argv) > 1 else "build/docs/html"
    shots = os.path.join(os.path.dirname(os.path.abspath(site)), "screenshots")
    os.makedirs(shots, exist_ok=True)
    failures = check(site, shots)
    for failure in failures:
        print("site check failed:", failure)
    sys.exit(1 if failures else 0)
