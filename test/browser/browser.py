"""Chromium for tests: no network, no window, one for all tests."""

import base64
import functools
import http.server
import threading

from selenium import webdriver
from selenium.webdriver.chrome.service import Service

# What a build server puts in front of the files it shows: no script, and no
# style but from files.
STRICT = "sandbox; default-src 'none'; img-src 'self'; style-src 'self'"


def start():
    options = webdriver.ChromeOptions()
    options.binary_location = "/usr/bin/chromium"
    # Tests run as root, in a container, and reach no other machine.
    for argument in ("--headless=new", "--no-sandbox", "--disable-gpu",
                     "--disable-dev-shm-usage", "--hide-scrollbars",
                     "--disable-background-networking", "--no-first-run",
                     "--disable-component-update", "--disable-sync",
                     "--host-resolver-rules=MAP * ~NOTFOUND, EXCLUDE 127.0.0.1",
                     "--window-size=1280,900"):
        options.add_argument(argument)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    driver = webdriver.Chrome(options=options,
                              service=Service("/usr/bin/chromedriver"))
    driver.set_page_load_timeout(30)
    driver.set_script_timeout(30)
    return driver


class Browser:
    def __init__(self):
        self.driver = start()

    def quit(self):
        self.driver.quit()

    def command(self, name, **arguments):
        return self.driver.execute_cdp_cmd(name, arguments)

    def run(self, script, *arguments):
        return self.driver.execute_script(script, *arguments)

    def reset(self):
        """As a reader's browser is: light, wide, with scripts."""
        self.command("Emulation.setScriptExecutionDisabled", value=False)
        self.command("Emulation.setEmulatedMedia", media="", features=[])
        self.size(1280)

    def size(self, width, height=900):
        self.command("Emulation.setDeviceMetricsOverride", width=width,
                     height=height, deviceScaleFactor=1, mobile=False)

    def media(self, media="", **features):
        self.command("Emulation.setEmulatedMedia", media=media, features=[
            {"name": name.replace("_", "-"), "value": value}
            for name, value in features.items()])

    def open(self, address):
        self.driver.get("about:blank")
        self.driver.get_log("browser")
        self.driver.get(address)

    def console(self):
        return [entry["message"] for entry in self.driver.get_log("browser")]

    def screenshot(self, path, height=None):
        size = self.command("Page.getLayoutMetrics")["cssContentSize"]
        clip = {"x": 0, "y": 0, "width": size["width"], "scale": 1,
                "height": min(size["height"], height or size["height"])}
        shot = self.command("Page.captureScreenshot", format="png", clip=clip,
                            captureBeyondViewport=True)
        path.write_bytes(base64.b64decode(shot["data"]))

    def pdf(self):
        return base64.b64decode(self.command(
            "Page.printToPDF", printBackground=True,
            preferCSSPageSize=True)["data"])


class Quiet(http.server.SimpleHTTPRequestHandler):
    def end_headers(self):
        self.send_header("Content-Security-Policy", self.policy)
        super().end_headers()

    def log_message(self, *_):
        pass


class Server:
    """Shows a folder on this machine, under a policy."""

    def __init__(self, folder, policy):
        handler = type("Handler", (Quiet,), {"policy": policy})
        self.server = http.server.ThreadingHTTPServer(
            ("127.0.0.1", 0), functools.partial(handler, directory=str(folder)))
        self.address = f"http://127.0.0.1:{self.server.server_port}/"
        threading.Thread(target=self.server.serve_forever, daemon=True).start()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.server.shutdown()
        self.server.server_close()
