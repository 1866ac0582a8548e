"""From the hot key to the panel: the keyboard, the first complete paint, what is typed ahead."""
import math
import re
import time

import report
from desktop import Agent, Desktop, HeldKeyRing, Service
from figures import spread

TITLE = "Hot key"

PEERS = {
    "rofi": {"command": "rofi -show run", "resident": None, "ready": 0},
    "copyq": {"command": "copyq toggle", "resident": ["copyq"], "ready": 4},
    "synapse": {"command": "synapse", "resident": ["synapse", "--startup"], "ready": 4},
}
ROUNDS = 10
# The trace points of the agent in their order, and what has been done when it comes to each.
STEPS = {"hot key": "the X server tells the agent of the key", "context": "front application and its window",
         "projects": "list of projects", "key store": "key store read", "view": "building the panel's content",
         "map": "placing and mapping", "focus": "keyboard", "paint": "up to the first paint"}
PAINTING = "painting, up to all of it being on the screen"


def open_contenders(programs, installed):
    """One desktop for each contender, so that they can be measured in turn."""
    contenders = {"quibel": Desktop(programs, tray=True)}
    contenders["quibel"].store_key()
    contenders["quibel"].agent = Agent(contenders["quibel"], Service())
    for name in installed:
        peer = PEERS[name]
        contenders[name] = desktop = Desktop(programs, tray=True)
        if peer["resident"]:
            desktop.launch(*peer["resident"])
        time.sleep(peer["ready"])
        desktop.bind(peer["command"])
    return contenders


def summary(presses):
    good = [press for press in presses if "failed" not in press]
    result = {"presses": len(presses), "failed": len(presses) - len(good)}
    for what in ("mapped", "keyboard", "painted", "still"):
        times = [press[what] for press in good if press[what] is not None]
        if times:
            result[what] = spread(times)
    if good:
        result["first"] = good[0]
        result["painted_series"] = [press["painted"] for press in good]
    return result


def typed_ahead(desktop, presses, is_agent):
    """How many of ten characters went elsewhere; for the agent also how many arrived."""
    seen = desktop.press(presses, "Return" if is_agent else "Escape", typing=True)
    good = [press for press in seen if "failed" not in press]
    result = {"presses": len(seen), "failed": len(seen) - len(good),
              "to_the_window_in_front": spread([press["misled"] for press in good] or [10])}
    if is_agent:
        time.sleep(1)
        # A press whose text was sent was closed by Return; one whose text was lost was not.
        texts = [len(text) for text in desktop.agent.service.texts]
        lost = [0] * sum(not press["closed"] for press in good)
        result["arrived"] = spread(texts + lost or [0])
        result["all_arrived"] = texts.count(10)
    return result


def steps_of(press, lines):
    """Milliseconds of each step of one press, from the lines that the agent wrote meanwhile."""
    came = {}
    for line in lines:
        moment, name = line.split(" ", 1)
        came.setdefault(name, int(moment))
    seen, before = {}, press["injected"]
    for name in STEPS:
        seen[name] = (came[name] - before) / 1000
        before = came[name]
    seen[PAINTING] = (press["injected"] - before) / 1000 + press["painted"]
    return seen


def traced(programs, presses):
    """Where each millisecond goes, told by an agent of its own that writes its trace points."""
    with Desktop(programs, tray=True) as desktop:
        desktop.store_key()
        agent = Agent(desktop, Service(), QT_LOGGING_RULES="quibel.trace.debug=true")
        seen = [press for press in desktop.press(presses) if "failed" not in press]
        lines = re.findall(r"^quibel\.trace: (\d+ .+)$", agent.log.read_text(), re.M)
        ends = [press["injected"] for press in seen[1:]] + [math.inf]
        steps = [steps_of(press, [line for line in lines
                                  if press["injected"] <= int(line.split()[0]) < end])
                 for press, end in zip(seen, ends)]
        return {"first": steps[0], "later": {name: spread([each[name] for each in steps[1:]]) for name in steps[0]}}


def slow_key_store(desktop, presses):
    """Presses while the key ring does not answer for about 200 ms."""
    ring = HeldKeyRing(desktop)
    # The probe holds the modifiers for 20 ms before the key.
    return summary(desktop.press(presses, pause=400, before_each=lambda: ring.hold(0.22)))


def run(programs, installed, quick):
    contenders = open_contenders(programs, [name for name in PEERS if name in installed])
    try:
        rounds = 2 if quick else ROUNDS
        seen = {name: [] for name in contenders}
        for _ in range(rounds):
            for name, desktop in contenders.items():
                seen[name] += desktop.press(10)
        return {
            "presses": {name: summary(presses) for name, presses in seen.items()},
            "typed_ahead": {name: typed_ahead(desktop, 5 if quick else 50, name == "quibel")
                            for name, desktop in contenders.items()},
            "slow_key_store": slow_key_store(contenders["quibel"], 10),
            "steps": traced(programs, 10 if quick else 50),
        }
    finally:
        for desktop in contenders.values():
            desktop.__exit__()


def document(figures, images):
    presses = figures["presses"]
    lines = ["Milliseconds from the injected key event. A peer that fills its window with a plain colour first "
             "counts as painted by that; still is the last paint before 120 ms of rest.", ""]
    lines += report.table(
        ["", "presses", "shown", "has the keyboard", "all painted", "still", "first press: painted"],
        [[name, f"{seen['presses'] - seen['failed']} of {seen['presses']}",
          *(report.told(seen.get(what)) for what in ("mapped", "keyboard", "painted", "still")),
          report.number(seen["first"]["painted"]) if "first" in seen else "–"]
         for name, seen in presses.items()])
    series = {name: seen["painted_series"] for name, seen in presses.items() if "painted_series" in seen}
    report.dots(images / "hotkey.svg", "Hot key to first complete paint; dashed: one frame at 60 Hz", "ms",
                series, held_to=1000 / 60)
    lines += ["![Hot key to first complete paint](images/hotkey.svg)", ""]
    lines += ["Ten characters typed 5 ms after the key:", ""]
    lines += report.table(
        ["", "presses", "all ten arrived in the panel", "arrived", "went to the window in front"],
        [[name, seen["presses"] - seen["failed"], seen.get("all_arrived", "–"),
          report.told(seen.get("arrived")),
          report.told(seen["to_the_window_in_front"])]
         for name, seen in figures["typed_ahead"].items()])
    if steps := figures.get("steps"):
        lines += ["Where each millisecond goes, told by the agent's own trace points in a series of its own:", ""]
        lines += report.table(["", "later presses", "first press"],
                              [[STEPS.get(name, name), report.told(seen), report.number(steps["first"][name])]
                               for name, seen in steps["later"].items()])
    slow = figures["slow_key_store"]
    lines += ["A key store that does not answer for 200 ms after the key (held to 50 ms more than usual):", ""]
    lines += report.table(["presses", "has the keyboard", "all painted"],
                          [[slow["presses"], report.told(slow.get("keyboard")),
                            report.told(slow.get("painted"))]])
    return lines
