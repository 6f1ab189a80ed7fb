"""A real browser without a window, for the page in the tests' namespace."""

import contextlib
import shutil
import tempfile

from harness import CannotTest, deadline_seconds
from selenium import webdriver
from selenium.webdriver.chrome.options import Options
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.support.ui import WebDriverWait

ARGUMENTS = [
    "--headless",
    "--no-sandbox",
    "--disable-gpu",
    "--disable-quic",
    "--no-first-run",
    "--disable-background-networking",
    "--disable-component-update",
    "--disable-sync",
    "--disable-dev-shm-usage",
    "--force-color-profile=srgb",
    "--hide-scrollbars",
]


class Browser:
    """The driver, with the few things that the tests do."""

    def __init__(self, driver):
        self.driver = driver

    def open(self, address):
        self.driver.get(address)
        self.wait(lambda: self.text("#state-words") != "Connecting", "the first event")

    def wait(self, condition, what):
        WebDriverWait(self.driver, deadline_seconds() + 10, poll_frequency=0.02).until(
            lambda _: condition(), f"waited in vain for: {what}"
        )

    def all(self, selector):
        return self.driver.find_elements(By.CSS_SELECTOR, selector)

    def one(self, selector):
        return self.driver.find_element(By.CSS_SELECTOR, selector)

    def text(self, selector):
        return self.script("return document.querySelector(arguments[0]).textContent", selector)

    def texts(self, selector):
        return self.script("return [...document.querySelectorAll(arguments[0])].map(e => e.textContent)", selector)

    def script(self, text, *arguments):
        return self.driver.execute_script(text, *arguments)

    def complaints(self):
        """What the browser has to say about the page, refused loads among it."""
        return [entry for entry in self.driver.get_log("browser") if entry["level"] in ("WARNING", "SEVERE")]


@contextlib.contextmanager
def browser(width=1360, height=1000, theme="light", scale=1):
    """A browser with a profile of its own; it prefers this theme."""
    driver_path, browser_path = shutil.which("chromedriver"), shutil.which("chromium")
    if not driver_path or not browser_path:
        raise CannotTest("There is no chromium with its driver: install chromium and chromium-driver.")
    with tempfile.TemporaryDirectory() as profile:
        options = Options()
        options.binary_location = browser_path
        for argument in ARGUMENTS:
            options.add_argument(argument)
        options.add_argument(f"--user-data-dir={profile}")
        options.add_argument(f"--window-size={width},{height}")
        options.add_argument(f"--force-device-scale-factor={scale}")
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        driver = webdriver.Chrome(service=Service(driver_path), options=options)
        driver.set_script_timeout(10 * deadline_seconds())  # the accessibility checker takes its time
        try:
            driver.execute_cdp_cmd(
                "Emulation.setEmulatedMedia", {"features": [{"name": "prefers-color-scheme", "value": theme}]}
            )
            yield Browser(driver)
        finally:
            driver.quit()
