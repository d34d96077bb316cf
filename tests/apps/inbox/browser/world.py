"""A world of its own for each story: a root with the ink service and the inbox in it, and a browser.

Programs come from the environment, as ctest sets it: QUILLPOSTD, QUILLPOST, QUILLPOST_INBOX, STF2,
SAMPLES, CHROMIUM, CHROMEDRIVER.
"""

import ctypes
import os
import re
import shutil
import signal
import subprocess
import tempfile
import time
import unittest
from contextlib import contextmanager

from selenium import webdriver
from selenium.common.exceptions import StaleElementReferenceException
from selenium.webdriver.chrome.options import Options
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.remote.remote_connection import RemoteConnection

# How long anything may take before a test gives up: far longer than it takes, since the machine
# may be busy with other tests and programs may run under a sanitizer.
PATIENCE_SECONDS = 30


def wait_for(what, condition):
    """Waits until the condition holds, and returns what it is then."""
    end = time.monotonic() + PATIENCE_SECONDS
    while True:
        try:
            value = condition()
        except StaleElementReferenceException:
            value = None
        if value:
            return value
        if time.monotonic() > end:
            raise AssertionError(f"waited {PATIENCE_SECONDS} seconds in vain for {what}")
        time.sleep(0.02)


def run(program, *arguments, root=None):
    environment = dict(os.environ, QUILLPOST_ROOT=root) if root else None
    return subprocess.run([program, *arguments], env=environment, check=True, text=True,
                          stdout=subprocess.PIPE, timeout=PATIENCE_SECONDS).stdout


def end_with_parent():
    """Programs end with the test, even if it is killed."""
    pr_set_pdeathsig = 1
    ctypes.CDLL(None).prctl(pr_set_pdeathsig, signal.SIGTERM)


class World:
    """The service and the inbox in a root of their own."""

    def __init__(self):
        # Short: a socket's path has little room.
        self.root = tempfile.mkdtemp(prefix="qpweb.", dir="/tmp")
        self.daemon = None
        self.inbox = None
        self.address = None
        try:
            self._begin()
        except BaseException:
            self.close()
            raise

    def _begin(self):
        os.makedirs(self.path("var/tmp"))  # where the service's socket is
        run(os.environ["QUILLPOST"], "subscriptions", "add", "Inbox", "--path",
            "/nonexistent/inbox", "--force", "--title", "Ink inbox", "--page", "*.*.*.*", "encrypted-stf2",
            root=self.root)
        self.start_service()
        self.start_inbox()

    def path(self, name):
        return os.path.join(self.root, name)

    def _start(self, program, *arguments, **options):
        log = open(self.path(os.path.basename(program) + ".log"), "a", encoding="utf-8")
        # What a desktop sets for its own user must not lead out of this world.
        environment = {name: value for name, value in os.environ.items()
                       if not name.startswith("XDG_")}
        environment["QUILLPOST_ROOT"] = self.root
        with log:
            return subprocess.Popen([program, *arguments], env=environment, preexec_fn=end_with_parent,
                                    stdin=subprocess.DEVNULL, stderr=log, **options)

    def start_service(self):
        self.daemon = self._start(os.environ["QUILLPOSTD"])
        wait_for("the ink service", lambda: subprocess.run(
            [os.environ["QUILLPOST"], "hello"], env=dict(os.environ, QUILLPOST_ROOT=self.root),
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=False,
            timeout=PATIENCE_SECONDS).returncode == 0)

    def stop_service(self):
        self._stop(self.daemon)
        self.daemon = None

    def start_inbox(self, *arguments):
        self.inbox = self._start(os.environ["QUILLPOST_INBOX"], *arguments, stdout=subprocess.PIPE, text=True)
        self.address = self.inbox.stdout.readline().strip()
        if not self.address:
            raise AssertionError("the inbox did not start:\n" + self.logs())

    def stop_inbox(self):
        self._stop(self.inbox)
        self.inbox.stdout.close()
        self.inbox = None

    @property
    def origin(self):
        return re.match(r"http://[^/]+", self.address).group()

    def import_ink(self, name, *options):
        """Takes a sample to the service, as if a pen had sent it."""
        made = self.path(f"{name}.stf2")
        run(os.environ["STF2"], "convert", "-q", "-f", os.path.join(os.environ["SAMPLES"], name),
            "-o", made, *options)
        run(os.environ["QUILLPOST"], "import", made, root=self.root)

    def import_pages(self, first, count, title=""):
        """Makes `count` pages of a few strokes each, and imports them as one file."""
        made = self.path(f"pages{first}")
        with open(made + ".inkml", "w", encoding="utf-8") as file:
            file.write(many_pages(first, count))
        run(os.environ["STF2"], "convert", "-q", "-f", made + ".inkml", "-o", made + ".stf2")
        run(os.environ["QUILLPOST"], "import", made + ".stf2", root=self.root)

    def logs(self):
        texts = []
        for name in sorted(os.listdir(self.root)):
            if name.endswith(".log"):
                with open(self.path(name), encoding="utf-8", errors="replace") as file:
                    texts.append(f"--- {name}\n{file.read()[-4000:]}")
        return "\n".join(texts)

    @staticmethod
    def _stop(process):
        if process is None or process.poll() is not None:
            return
        process.terminate()
        try:
            process.wait(PATIENCE_SECONDS)
        except subprocess.TimeoutExpired:
            process.kill()
            process.wait()
            raise

    def close(self):
        try:
            if self.inbox:
                self.stop_inbox()
            self.stop_service()
        finally:
            shutil.rmtree(self.root, ignore_errors=True)


def many_pages(first, count):
    """InkML of pages 2.0.N.M, each with one timed stroke of its own shape."""
    head = ('<ink xmlns="http://www.w3.org/2003/InkML"><annotation type="pen">0123-4567-89AB-CDEF'
            '</annotation><definitions><context xml:id="c"><traceFormat>'
            '<channel name="X" type="decimal" units="mm"/><channel name="Y" type="decimal" units="mm"/>'
            '<channel name="T" type="integer" units="ms"/></traceFormat>'
            '<timestamp xml:id="t" time="1767261600000"/></context></definitions>')
    groups = []
    for number in range(first, first + count):
        points = ", ".join(f"{20 + 3 * k} {20 + 0.2 * k * (number % 40)} {10 * k}" for k in range(40))
        groups.append(f'<traceGroup><annotation type="page">2.0.{number // 1000}.{number % 1000}'
                      f'</annotation><trace contextRef="#c">{points}</trace></traceGroup>')
    return head + "".join(groups) + "</ink>"


def make_driver(profile):
    options = Options()
    options.binary_location = os.environ["CHROMIUM"]
    arguments = ["--headless=new", "--disable-gpu", "--hide-scrollbars", "--no-first-run",
                 "--disable-background-networking", "--disable-component-update",
                 "--disable-dev-shm-usage", "--lang=en-GB", f"--user-data-dir={profile}"]
    if os.geteuid() == 0:
        arguments.append("--no-sandbox")  # it refuses to run as root with one
    for argument in arguments:
        options.add_argument(argument)
    options.add_experimental_option("prefs", {
        "download.default_directory": os.path.join(profile, "downloads"),
        "download.prompt_for_download": False,
    })
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    # It leaves nothing in the home of the user who tests.
    service = Service(os.environ["CHROMEDRIVER"], env=dict(os.environ, HOME=profile))
    os.makedirs(profile, exist_ok=True)
    # A browser that no longer answers is an error, not a test without an end.
    RemoteConnection.set_timeout(2 * PATIENCE_SECONDS)
    driver = webdriver.Chrome(service=service, options=options)
    driver.set_script_timeout(PATIENCE_SECONDS)
    return driver


# Keeps what a screen reader was told, and which cards were shown as fresh, since both pass.
RECORDER = """
window.heard = [];
window.fresh = new Set();
new MutationObserver((changes) => {
  for (const { target } of changes) {
    const element = target.nodeType === 1 ? target : target.parentElement;
    if (element?.id === 'speech') window.heard.push(element.textContent);
    if (element?.classList.contains('is-fresh')) window.fresh.add(element.id);
  }
}).observe(document, { subtree: true, childList: true, characterData: true, attributeFilter: ['class'] });
"""


class Story(unittest.TestCase):
    """Tests in one world with one browser. Errors on the browser's console are failures."""

    world: World
    driver: webdriver.Chrome
    WIDTH, HEIGHT = 1280, 860

    @classmethod
    def setUpClass(cls):
        cls.world = World()
        cls.addClassCleanup(cls.world.close)
        cls.driver = make_driver(cls.world.path("browser"))
        cls.addClassCleanup(cls.driver.quit)
        cls.driver.execute_cdp_cmd("Page.addScriptToEvaluateOnNewDocument", {"source": RECORDER})
        cls.prepare()
        cls.driver.get(cls.world.address)

    @classmethod
    def prepare(cls):
        """What is in the inbox before the browser opens."""

    def setUp(self):
        self.may_complain = []
        self.resize(self.WIDTH, self.HEIGHT)
        self.media(**{"prefers-color-scheme": "light", "prefers-reduced-motion": "no-preference"})
        self.driver.get("about:blank")
        self.open("#/")

    def tearDown(self):
        lines = [entry["message"] for entry in self.driver.get_log("browser")
                 if entry["level"] in ("SEVERE", "WARNING")]
        bad = [line for line in lines
               if not any(re.search(allowed, line) for allowed in self.may_complain)]
        self.assertEqual(bad, [], "the browser complained")

    def downloaded(self, ending):
        """The path of a file that the browser has saved; it is whole."""
        folder = self.world.path("browser/downloads")
        return wait_for(f"a download *{ending}", lambda: next(
            (os.path.join(folder, name) for name in sorted(os.listdir(folder), reverse=True)
             if name.endswith(ending)), None) if os.path.isdir(folder) else None)

    # --- the browser

    def open(self, route):
        self.driver.get(f"{self.world.origin}/{route}")

    def resize(self, width, height, touch=False):
        self.cdp("Emulation.setDeviceMetricsOverride", width=width, height=height,
                 deviceScaleFactor=1, mobile=touch)
        self.cdp("Emulation.setTouchEmulationEnabled", enabled=touch)

    def media(self, **features):
        self.cdp("Emulation.setEmulatedMedia",
                 features=[{"name": name, "value": value} for name, value in features.items()])

    def cdp(self, command, **parameters):
        return self.driver.execute_cdp_cmd(command, parameters)

    def js(self, script, *arguments):
        return self.driver.execute_script(script, *arguments)

    def module(self, name, body, *arguments):
        """Runs the body of a function with the exports of one of the inbox's modules as `m`."""
        result = self.driver.execute_async_script(
            "const done = arguments[arguments.length - 1]; const given = [...arguments].slice(0, -1);"
            f"import('/web/{name}').then((m) => (async (...args) => {{ {body} }})(...given))"
            ".then((value) => done([value]), (error) => done(String(error.stack || error)));",
            *arguments)
        if not isinstance(result, list):
            raise AssertionError(result)
        return result[0]

    def api(self, path):
        return self.driver.execute_async_script(
            "fetch(arguments[0]).then((r) => r.json()).then(arguments[1])", path)

    def all(self, selector):
        return self.driver.find_elements(By.CSS_SELECTOR, selector)

    def one(self, selector):
        """The first such element that is shown; waits for it."""
        return wait_for(f"{selector} to be shown",
                        lambda: next((e for e in self.all(selector) if e.is_displayed()), None))

    def gone(self, selector):
        wait_for(f"{selector} to go", lambda: not any(e.is_displayed() for e in self.all(selector)))

    def named(self, name, selector="button"):
        """The button (or such) that screen readers call so."""
        return wait_for(f"{selector} “{name}”", lambda: next(
            (e for e in self.all(selector) if e.is_displayed() and e.accessible_name == name), None))

    def cards(self):
        return [card.get_attribute("aria-label") for card in self.all(".card")]

    def titles(self):
        return [title.text for title in self.all(".card-title")]

    def wait_cards(self, count):
        wait_for(f"{count} cards", lambda: len(self.all(".card")) == count)

    def keys(self, *keys):
        ActionChains(self.driver).send_keys(*keys).perform()

    def chord(self, *keys):
        *held, last = keys
        actions = ActionChains(self.driver)
        for key in held:
            actions.key_down(key)
        actions.send_keys(last)
        for key in held:
            actions.key_up(key)
        actions.perform()

    def focused(self):
        return self.driver.switch_to.active_element

    def notice(self, text):
        return wait_for(f"the notice “{text}”", lambda: next(
            (e for e in self.all(".notice") if text in e.text), None))

    def said(self, text):
        wait_for(f"a screen reader to hear “{text}”",
                 lambda: any(text in heard for heard in self.js("return window.heard || []")))

    def ink_in(self, selector):
        """How many pixels of a canvas have ink."""
        return self.js(
            "const c = document.querySelector(arguments[0]);"
            "if (!c || !c.width || c.hidden) return 0;"
            "const copy = new OffscreenCanvas(c.width, c.height).getContext('2d', { willReadFrequently: true });"
            "copy.drawImage(c, 0, 0);"
            "const d = copy.getImageData(0, 0, c.width, c.height).data;"
            "let n = 0; for (let i = 3; i < d.length; i += 4) if (d[i] > 40) n++; return n;", selector)

    def open_page(self, address):
        """Opens a page and waits for its ink."""
        page = next(p for p in self.api("/api/pages")["pages"] if p["address"] == address)
        self.open(f"#/page/{page['id']}")
        wait_for("the page's ink", lambda: self.ink_in(".stage-ink") > 0)
        return page


def box(element):
    """left, top, right, bottom in CSS pixels."""
    r = element.rect
    return r["x"], r["y"], r["x"] + r["width"], r["y"] + r["height"]


@contextmanager
def blocked(driver, pattern):
    """Requests to addresses like this fail, as if the network were gone."""
    driver.execute_cdp_cmd("Network.enable", {})
    driver.execute_cdp_cmd("Network.setBlockedURLs", {"urls": [pattern]})
    try:
        yield
    finally:
        driver.execute_cdp_cmd("Network.setBlockedURLs", {"urls": []})


__all__ = ["ActionChains", "By", "Keys", "Story", "World", "blocked", "box", "run", "unittest", "wait_for"]
