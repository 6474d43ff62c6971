#!/usr/bin/env python3
"""Opens stemstrip's HTML reports in headless Chromium, offline, keeping a
screenshot of each; fails on any console message, any address outside the
file, a page that does not finish, or a plot without its canvas and series.
Usage: report_in_browser.py STEMSTRIP_BINARY ARTEFACT_DIR (77: no Chromium)."""
import pathlib
import re
import shutil
import subprocess
import sys

PLOTS = {"plot-levels": 5, "plot-eq": 4, "plot-transfer": 5}  # element id: series, x included


def chromium(executable, page, *flags):
    """Runs headless Chromium on `page` with no network; returns (stdout, console lines)."""
    run = subprocess.run(
        [executable, "--headless", "--no-sandbox", "--disable-gpu", "--hide-scrollbars", "--window-size=1100,2400",
         "--enable-logging=stderr", "--log-level=0", "--host-resolver-rules=MAP * ~NOTFOUND",
         "--virtual-time-budget=10000", *flags, page.as_uri()],
        capture_output=True, text=True, timeout=60)
    return run.stdout, [line for line in run.stderr.splitlines() if ":CONSOLE" in line]


def check_report(executable, page, screenshot):
    """A list of problems with the report at `page`; keeps a screenshot of it too."""
    html = page.read_text()
    problems = ["refers to " + url for url in re.findall(r"""(?:src|href)\s*=\s*["']?(https?:[^"' >]+)""", html)]
    dom, console = chromium(executable, page, "--dump-dom")
    problems += ["console: " + line.split("]", 1)[-1].strip() for line in console]
    if 'data-status="ok"' not in dom:
        problems.append("the page did not finish: " + (re.findall(r'data-error="([^"]*)"', dom) or ["no status"])[0])
    for plot, series in PLOTS.items():
        match = re.search(r'id="%s".*?(?=id="plot-|</body>)' % plot, dom, re.S)
        body = match.group(0) if match else ""
        if not re.search(r'<canvas width="[1-9]\d*" height="[1-9]\d*"', body):
            problems.append(plot + ": no plot drawn")
        if body.count('class="u-series') < series:
            problems.append(f"{plot}: fewer than {series} series in the legend")
    chromium(executable, page, "--screenshot=" + str(screenshot))
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
    failures = 0
    for report in sorted(demo.glob("*-report.html")) + [artefacts / "plain-report.html"]:
        screenshot = artefacts / (report.stem + ".png")
        problems = check_report(executable, report, screenshot)
        for p in problems:
            print(f"FAIL {report.name}: {p}")
        print(f"{'ok' if not problems else 'FAILED'}: {report.name}, screenshot {screenshot}")
        failures += bool(problems)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
