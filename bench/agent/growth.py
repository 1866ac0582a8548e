"""What grows with the number of projects, with a kept branch, with a full key ring."""
import base64
import json
import math
import re
import time

import report
import start
from desktop import Agent, Desktop, Service, until
from figures import spread

TITLE = "Growth"

LENGTHS = (10, 1_000, 100_000)
KEPT_BYTES = 1_048_576


def steps(desktop):
    answer = json.loads(desktop.run(desktop.programs / "quibel-bench-projects", "--benchmark_format=json"))
    seen = {}
    for run in answer["benchmarks"]:
        if run["run_type"] == "iteration":
            step, length = run["name"].split("/")[:2]
            seen.setdefault(step, {})[length] = run["real_time"]
    for times in seen.values():
        longest, shortest = (str(length) for length in (LENGTHS[-1], LENGTHS[1]))
        times["exponent"] = math.log(times[longest] / times[shortest]) / math.log(LENGTHS[-1] / LENGTHS[1])
    return seen


def agent_with(desktop, presses, projects=3, preferences=None):
    """The panel of an agent that has so many projects, and what the agent holds."""
    agent = Agent(desktop, Service(projects), preferences=preferences)
    seen = desktop.press(presses)
    figures = agent.figures()
    agent.stop()
    return {"painted": spread([press["painted"] for press in seen if "failed" not in press]),
            "resident": figures["resident"], "private_dirty": figures["private_dirty"]}


def kept_branch(desktop, count):
    """Starts with a branch that was kept, which an agent without a service leaves as it is."""
    kept = {"base64": base64.b64encode(b"x" * KEPT_BYTES).decode()}
    path = desktop.home / "config" / "quibel" / "preferences.json"
    program = desktop.programs / "quibel-capture-agent"
    desktop.environment["QUIBEL_API_BASE_URL"] = "http://127.0.0.1:9"
    figures = {}
    for name, values in (("none", {}), ("1 MiB", {"quibel.lastFailedCapture": kept})):
        path.write_text(json.dumps(values))
        figures[name] = spread(start.starts(desktop, program, count))
    return figures


def resends(desktop, count):
    """From the hot key to the service's having the kept branch, which it is pressed to send again."""
    figures = {}
    for name, length in (("1 KiB", 1_024), ("1 MiB", KEPT_BYTES)):
        document = json.dumps({"context_snapshot": {"captured_text": "x" * length}})
        kept = {"quibel.lastFailedCapture": {"base64": base64.b64encode(document.encode()).decode()}}
        times = []
        for _ in range(count):
            # An answer without projects leaves the kept branch alone.
            service = Service(projects=0)
            agent = Agent(desktop, service, preferences=kept, QT_LOGGING_RULES="quibel.trace.debug=true")
            desktop.run("xdotool", "key", "super+shift+b")
            until("the branch", lambda: service.received)
            pressed = int(re.search(r"^quibel\.trace: (\d+) hot key$", agent.log.read_text(), re.M).group(1))
            times.append(service.received[0] * 1000 - pressed / 1000)
            agent.stop()
        figures[name] = spread(times)
    return figures


def memory_growth(agents):
    """What a project costs in resident memory, and the exponent over what the agent has with the fewest."""
    fewest, some, most = (agents[f"{length} projects"]["resident"] for length in LENGTHS)
    growth = {"bytes_per_project": (most - fewest) * 1024 / (LENGTHS[-1] - LENGTHS[0])}
    if some > fewest:
        growth["exponent"] = math.log((most - fewest) / (some - fewest)) / math.log(LENGTHS[-1] / LENGTHS[1])
    return growth


def fill_key_ring(desktop, count):
    for number in range(count):
        desktop.run("secret-tool", "store", "--label=Other", "service", f"other{number}", "account",
                    "someone", input="secret")


def run(programs, installed, quick):
    presses = 5 if quick else 20
    with Desktop(programs, tray=True) as desktop:
        desktop.store_key()
        figures = {"steps": steps(desktop),
                   "agent": {f"{length} projects": agent_with(desktop, presses, length)
                             for length in LENGTHS}}
        figures["memory_growth"] = memory_growth(figures["agent"])
        figures["resend"] = resends(desktop, 3 if quick else 10)
        figures["start_with_kept_branch"] = kept_branch(desktop, 3 if quick else 10)
        others = 1_000
        begin = time.monotonic()
        fill_key_ring(desktop, others)
        figures["filling_the_key_ring_s"] = time.monotonic() - begin
        figures["agent"][f"3 projects, {others} other items in the key ring"] = agent_with(desktop, presses)
        return figures


def document(figures, images):
    names = {"readAnswer": "reading the answer", "sortProjects": "sorting", "openPanel": "opening the panel",
             "pressArrowKey": "an arrow key"}
    lines = ["Milliseconds for so many projects, and the exponent from 1 000 to 100 000 (n log n is 1.13). Opening "
             "the panel is without the window system, and with the last project as the one used last.", ""]
    lines += report.table(["", *(f"{length:,}".replace(",", " ") for length in LENGTHS), "exponent"],
                          [[names[step], *(report.number(times[str(length)]) for length in LENGTHS),
                            f"{times['exponent']:.2f}"] for step, times in figures["steps"].items()])
    lines += ["The agent as a whole: hot key to first complete paint in milliseconds, and its memory.", ""]
    lines += report.table(["", "all painted", "resident, KiB", "private dirty, KiB"],
                          [[name, report.told(seen["painted"]), report.number(seen["resident"]),
                            report.number(seen["private_dirty"])] for name, seen in figures["agent"].items()])
    if growth := figures.get("memory_growth"):
        exponent = f"{growth['exponent']:.2f}" if "exponent" in growth else "not to be told from 1 000 projects"
        lines += [f"A project costs {growth['bytes_per_project']:.0f} bytes of resident memory; exponent {exponent}.", ""]
    if resent := figures.get("resend"):
        lines += ["Hot key to the service's having a kept branch that is sent again, in milliseconds:", ""]
        lines += report.table(["kept branch", "received"],
                              [[name, report.told(seen)] for name, seen in resent.items()])
    lines += ["Start to hot key grabbed, in milliseconds, with a kept branch:", ""]
    return lines + report.table(["kept branch", "hot key grabbed"],
                                [[name, report.told(seen)]
                                 for name, seen in figures["start_with_kept_branch"].items()])
