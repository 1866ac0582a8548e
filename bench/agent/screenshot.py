"""One screenshot, from the window to the document that is sent, beside the tools for screenshots."""
import json
import subprocess
import time

import report
from desktop import Agent, Desktop, Service, until
from figures import spread

TITLE = "Screenshot"

SIZES = {"0.5": (800, 600), "2": (1920, 1080), "8": (3840, 2160), "33": (7680, 4320)}
CONTENTS = ("flat", "text", "photo", "noise")
FRAME_BYTES = 4 * 7680 * 4320


def tools(installed, window, file):
    commands = {"scrot": ["scrot", "--focused", "--overwrite", file],
                "maim": ["maim", "--window", window, file],
                "import": ["import", "-silent", "-window", window, file]}
    return {name: command for name, command in commands.items() if name in installed}


def lines_of(desktop, *command):
    return [json.loads(line) for line in desktop.run(*command).splitlines()]


class Window:
    """A window that shows one content, in front of all others."""

    def __init__(self, desktop, content, size):
        log = desktop.home / "window"
        self.process = desktop.launch(desktop.programs / "quibel-bench-window", content, *size, log=log)
        self.number = until("the window", log.read_text, 60).strip()

    def close(self):
        self.process.terminate()
        self.process.wait()


def side_by_side(desktop, installed, window, runs):
    """The agent's way and the tools', in turn; the file of a tool is a plain PNG of the full size."""
    capture = desktop.programs / "quibel-bench-capture"
    file = desktop.home / "peer.png"
    ways = {"quibel": []} | {name: [] for name in tools(installed, "", "")}
    failed = {}
    for _ in range(runs):
        ways["quibel"] += lines_of(desktop, capture, window.number, 1)
        for name, command in tools(installed, window.number, str(file)).items():
            try:
                ways[name] += [seen | {"bytes": file.stat().st_size} for seen in
                               lines_of(desktop, capture, window.number, 1, *command)]
            except (subprocess.CalledProcessError, FileNotFoundError):
                failed[name] = "failed"
    return {name: {figure: spread([run[figure] for run in seen]) for figure in seen[0]}
            for name, seen in ways.items() if seen} | ({"failed": failed} if failed else {})


def longest_gap(desktop, window, runs):
    seen = lines_of(desktop, desktop.programs / "quibel-bench-gap", window.number, runs, Service().url)
    return {figure: spread([run[figure] for run in seen]) for figure in seen[0]}


def peak_of_a_capture(desktop):
    """The agent's memory around one capture of the window in front."""
    agent = Agent(desktop, Service(), screenshots=True)
    agent.reset_peak()
    before = agent.peak()
    desktop.run("xdotool", "key", "super+shift+b")
    time.sleep(2)
    desktop.run("xdotool", "type", "x")
    desktop.run("xdotool", "key", "Return")
    until("the report", lambda: "Screenshot" in agent.log.read_text(), 60)
    time.sleep(2)
    figures = {"before_kib": before, "peak_kib": agent.peak(), "after_kib": agent.figures()["resident"],
               "copies_of_the_frame": (agent.peak() - before) * 1024 / FRAME_BYTES,
               "uploads": len(agent.service.screenshots)}
    agent.stop()
    return figures


def encodings(desktop, quick):
    """What each step takes on its own, from the micro-benchmark."""
    program = desktop.programs / "quibel-bench-encoding"
    only = "--benchmark_filter=/[0-3]/" + ("[01]/" if quick else "[13]/")
    answer = json.loads(desktop.run(program, "--benchmark_format=json", only))
    seen = {}
    for run in answer["benchmarks"]:
        step, content, size = run["name"].split("/")[:3]
        place = f"{list(SIZES)[int(size)]} {CONTENTS[int(content)]}"
        seen.setdefault(place, {})[step.removesuffix("OfTheFrame")] = {
            "ms": run["real_time"], **{name: run[name] for name in ("bytes", "width", "height") if name in run}}
    return seen


def run(programs, installed, quick):
    figures = {"captures": {}, "gap": {}, "memory": {}}
    with Desktop(programs, screen="7680x4320x24") as desktop:
        desktop.store_key()
        for name, size in SIZES.items():
            runs = {"0.5": 7, "2": 7, "8": 3, "33": 2}[name] if not quick else 1
            for content in CONTENTS:
                window = Window(desktop, content, size)
                print(f"   {name} megapixels, {content}", flush=True)
                figures["captures"][f"{name} {content}"] = side_by_side(desktop, installed, window, runs)
                if name == "33":
                    figures["gap"][content] = longest_gap(desktop, window, 1 if quick else 10)
                    desktop.run("xdotool", "windowfocus", window.number)
                    figures["memory"][content] = peak_of_a_capture(desktop)
                window.close()
        figures["steps"] = encodings(desktop, quick)
    return figures


def document(figures, images):
    lines = ["Milliseconds and bytes of one screenshot of a window. quibel: grabbed, and made a PNG of at most "
             "512 000 bytes if five reductions can; the others: their plain PNG of the full size, in a process of "
             "their own, as their users run them. Ratio: wall time beside the fastest of them.", ""]
    rows = []
    for place, ways in figures["captures"].items():
        peers = {name: seen for name, seen in ways.items() if name not in ("quibel", "failed")}
        own = ways["quibel"]
        fastest = min((seen["wall"]["median"] for seen in peers.values()), default=None)
        size = f"{own['width']['median']:.0f} × {own['height']['median']:.0f}"
        rows.append([place, report.told(own["wall"]), report.number(own["cpu"]["median"]),
                     report.number(own["bytes"]["median"]), size,
                     f"{own['wall']['median'] / fastest:.2f}" if fastest else "–",
                     *(f"{report.number(peers[name]['wall']['median'])} ms, cpu "
                       f"{report.number(peers[name]['cpu']['median'])}, "
                       f"{report.number(peers[name]['bytes']['median'])} B" if name in peers else "–"
                       for name in ("scrot", "maim", "import"))])
    lines += report.table(["megapixels, content", "quibel, ms", "cpu, ms", "bytes", "size", "ratio",
                           "scrot", "maim", "import"], rows)
    lines += ["Where the time goes, in milliseconds, medians:", ""]
    lines += report.table(["", "grab", "encode and shrink", "document", "document, bytes"],
                          [[place, *(report.number(ways["quibel"][name]["median"])
                                     for name in ("grab", "encode", "document", "document_bytes"))]
                           for place, ways in figures["captures"].items()])
    lines += ["Each step on its own beside the limits: copying the frame, one pass of zlib over its colours "
              "(level 6, no filters), one reduction to 0.72, a whole PNG of the full size, the screenshot.", ""]
    lines += report.table(
        ["", "copy", "deflate", "deflate, bytes", "reduction", "PNG", "PNG, bytes", "screenshot", "bytes", "size"],
        [[place, report.number(step["copy"]["ms"]), report.number(step["deflate"]["ms"]),
          report.number(step["deflate"]["bytes"]), report.number(step["shrink"]["ms"]),
          report.number(step["png"]["ms"]), report.number(step["png"]["bytes"]),
          report.number(step["screenshot"]["ms"]), report.number(step["screenshot"]["bytes"]),
          f"{step['screenshot']['width']:.0f} × {step['screenshot']['height']:.0f}"]
         for place, step in figures["steps"].items()])
    candidates = {"png": "PNG", "libpng": "libpng", "spng": "libspng", "libdeflate": "its rows by libdeflate"}
    measured = {content: figures["steps"].get(f"2 {content}", {}) for content in CONTENTS}
    if all(name in steps for steps in measured.values() for name in candidates):
        lines += ["The full-size PNG of 2 megapixels beside what other libraries make of it with their own settings, "
                  "milliseconds and bytes. libdeflate is given the rows as the PNG has them, filtered already; it "
                  "takes them only all at once, so it cannot be given up where an attempt is over the limit.", ""]
        lines += report.table(["content", *candidates.values()],
                              [[content, *(f"{report.number(steps[name]['ms'])} ms, "
                                           f"{report.number(steps[name]['bytes'])} B" for name in candidates)]
                               for content, steps in measured.items()])
    lines += ["The main thread while 33 megapixels are captured: the longest time that it was not in its event loop, "
              "in milliseconds (held to 5); a timer of one millisecond watches, so about one is the least. Of it: what "
              "the thread was ready to go on while others had the processors. Without that: the longest of what is "
              "left, in which it worked or waited for something.", ""]
    lines += report.table(["content", "idle", "grabbing and encoding", "of it without a processor", "without that",
                           "document and upload", "document, bytes"],
                          [[content, *(report.told(gap[name]) if name in gap else "–" for name in
                                       ("idle", "capturing", "waiting", "blocked", "document")),
                            report.number(gap["bytes"]["median"])] for content, gap in figures["gap"].items()])
    lines += ["Memory of the agent around one capture of 33 megapixels (a frame is 129 600 KiB; held to two):", ""]
    lines += report.table(["content", "resident before, KiB", "at most", "after", "frames"],
                          [[content, report.number(seen["before_kib"]), report.number(seen["peak_kib"]),
                            report.number(seen["after_kib"]), f"{seen['copies_of_the_frame']:.2f}"]
                           for content, seen in figures["memory"].items()])
    return lines
