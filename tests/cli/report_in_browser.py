#!/usr/bin/env python3
"""Opens stemstrip's HTML reports in headless Chromium and fails on any console
error or warning, uncaught exception, network request (the page must work
offline) or missing plot; keeps a full-page screenshot of each report.

Usage: report_in_browser.py STEMSTRIP_BINARY ARTEFACT_DIR
Exit status 77 (skipped) when Chromium is not installed.
"""
import base64
import json
import os
import pathlib
import shutil
import subprocess
import sys
import time

PLOTS = {  # element id: series the plot must have (x included)
    "plot-levels": 5,
    "plot-eq": 4,
    "plot-transfer": 5,
}


class Browser:
    """Chrome DevTools Protocol over --remote-debugging-pipe (fd 3 in, fd 4 out)."""

    def __init__(self, executable, profile):
        to_browser_r, self.to_browser = os.pipe()
        self.from_browser, from_browser_w = os.pipe()
        # The child sees the pipe ends as fds 3 and 4 whatever their numbers
        # here; moved out of the way first so neither dup2 overwrites the other.
        def wire():
            inbound, outbound = os.dup(to_browser_r), os.dup(from_browser_w)
            os.dup2(inbound, 3)
            os.dup2(outbound, 4)
        self.process = subprocess.Popen(
            [executable, "--headless", "--no-sandbox", "--disable-gpu", "--hide-scrollbars",
             "--remote-debugging-pipe", "--user-data-dir=" + str(profile), "--no-first-run",
             "--disable-extensions", "--disable-background-networking", "about:blank"],
            close_fds=False, preexec_fn=wire,
            stdout=subprocess.DEVNULL, stderr=open(profile.parent / "chromium.log", "wb"))
        os.close(to_browser_r)
        os.close(from_browser_w)
        self.buffer = b""
        self.next_id = 0
        self.events = []

    def send(self, method, params=None, session=None, timeout=30):
        self.next_id += 1
        message = {"id": self.next_id, "method": method, "params": params or {}}
        if session:
            message["sessionId"] = session
        os.write(self.to_browser, json.dumps(message).encode() + b"\0")
        deadline = time.time() + timeout
        while time.time() < deadline:
            reply = self.receive()
            if reply.get("id") == self.next_id:
                if "error" in reply:
                    raise RuntimeError(f"{method}: {reply['error']}")
                return reply["result"]
            self.events.append(reply)
        raise TimeoutError(method)

    def receive(self):
        while b"\0" not in self.buffer:
            chunk = os.read(self.from_browser, 1 << 16)
            if not chunk:
                raise RuntimeError("the browser closed the pipe")
            self.buffer += chunk
        message, self.buffer = self.buffer.split(b"\0", 1)
        return json.loads(message)

    def close(self):
        try:
            self.send("Browser.close", timeout=5)
        except Exception:
            pass
        try:
            self.process.wait(timeout=10)
        except subprocess.TimeoutExpired:
            self.process.kill()


def evaluate(browser, session, expression):
    result = browser.send("Runtime.evaluate", {"expression": expression, "returnByValue": True}, session)
    return result["result"].get("value")


PLOT_CHECK = """(() => {
  const plots = {};
  for (const id of %s) {
    const el = document.getElementById(id);
    const canvas = el && el.querySelector(".uplot canvas");
    let inked = 0;
    if (canvas && canvas.width > 0 && canvas.height > 0) {
      const pixels = canvas.getContext("2d").getImageData(0, 0, canvas.width, canvas.height).data;
      for (let i = 3; i < pixels.length; i += 4) if (pixels[i] > 0) inked++;
    }
    plots[id] = { canvas: !!canvas, inked: inked,
                  series: el ? el.querySelectorAll(".u-legend .u-series").length : 0 };
  }
  return { status: document.body.dataset.status, error: document.body.dataset.error || "",
           subtitle: document.getElementById("subtitle").textContent,
           summary: document.getElementById("summary").textContent, plots: plots };
})()"""


def check_report(browser, page, screenshot):
    """Returns a list of problems with the report at `page`."""
    target = browser.send("Target.createTarget", {"url": "about:blank"})["targetId"]
    session = browser.send("Target.attachToTarget", {"targetId": target, "flatten": True})["sessionId"]
    for domain in ("Runtime", "Log", "Page", "Network"):
        browser.send(domain + ".enable", session=session)
    browser.send("Emulation.setDeviceMetricsOverride",
                 {"width": 1100, "height": 900, "deviceScaleFactor": 1, "mobile": False}, session)
    browser.events.clear()
    browser.send("Page.navigate", {"url": page.as_uri()}, session)
    state = None
    deadline = time.time() + 20
    while time.time() < deadline:
        state = evaluate(browser, session, PLOT_CHECK % json.dumps(list(PLOTS)))
        if state and state["status"] != "loading":
            break
        time.sleep(0.2)

    problems = []
    for event in browser.events:
        method, params = event.get("method"), event.get("params", {})
        if event.get("sessionId") != session:
            continue
        if method == "Runtime.consoleAPICalled" and params["type"] in ("error", "warning", "assert"):
            text = " ".join(str(a.get("value", a.get("description", ""))) for a in params["args"])
            problems.append(f"console.{params['type']}: {text}")
        elif method == "Runtime.exceptionThrown":
            problems.append("uncaught exception: " + params["exceptionDetails"].get("exception", {}).get(
                "description", params["exceptionDetails"]["text"]))
        elif method == "Log.entryAdded" and params["entry"]["level"] in ("error", "warning"):
            problems.append(f"browser log {params['entry']['level']}: {params['entry']['text']}")
        elif method == "Network.requestWillBeSent":
            url = params["request"]["url"]
            if not url.startswith(("file:", "data:")) and url != "about:blank":
                problems.append("the page fetched " + url + " (it must work offline)")

    if state is None or state["status"] != "ok":
        problems.append(f"page status {state and state['status']!r} {state and state['error']}")
    else:
        if "peak out" not in state["summary"] or "real time" not in state["summary"] or "->" not in state["subtitle"]:
            problems.append("title or summary missing")
        for plot, series in PLOTS.items():
            found = state["plots"][plot]
            if not found["canvas"]:
                problems.append(f"{plot}: no plot drawn")
            elif found["inked"] < 2000:
                problems.append(f"{plot}: the canvas is (nearly) blank ({found['inked']} pixels drawn)")
            if found["series"] < series:
                problems.append(f"{plot}: {found['series']} series in the legend, expected at least {series}")

    size = browser.send("Page.getLayoutMetrics", session=session)["cssContentSize"]
    browser.send("Emulation.setDeviceMetricsOverride",
                 {"width": 1100, "height": int(size["height"]), "deviceScaleFactor": 1, "mobile": False}, session)
    shot = browser.send("Page.captureScreenshot", {"format": "png"}, session)
    screenshot.write_bytes(base64.b64decode(shot["data"]))
    browser.send("Target.closeTarget", {"targetId": target})
    return problems


def main():
    stemstrip, artefacts = sys.argv[1], pathlib.Path(sys.argv[2]).resolve()
    executable = shutil.which("chromium") or shutil.which("chromium-browser")
    if executable is None:
        print("SKIP: chromium is not installed (apt-get install chromium)")
        return 77
    shutil.rmtree(artefacts, ignore_errors=True)
    artefacts.mkdir(parents=True)
    demo = artefacts / "demo"
    subprocess.run([stemstrip, "demo", str(demo)], check=True, stdout=subprocess.DEVNULL)
    # A transparent strip too: no EQ band, no threshold to mark.
    subprocess.run([stemstrip, "render", str(demo / "dialogue-in.wav"), str(artefacts / "plain-out.wav"),
                    "--report", str(artefacts / "plain-report.html")], check=True, stdout=subprocess.DEVNULL)
    reports = sorted(demo.glob("*-report.html")) + [artefacts / "plain-report.html"]

    browser = Browser(executable, artefacts / "profile")
    failures = 0
    try:
        for report in reports:
            screenshot = artefacts / (report.stem + ".png")
            problems = check_report(browser, report, screenshot)
            for p in problems:
                print(f"FAIL {report.name}: {p}")
            print(f"{'ok' if not problems else 'FAILED'}: {report.name}, screenshot {screenshot}")
            failures += bool(problems)
    finally:
        browser.close()
        shutil.rmtree(artefacts / "profile", ignore_errors=True)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
