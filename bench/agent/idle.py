"""What the agent costs while nobody uses it, and whether anything grows by use."""
import time

import report
from desktop import Agent, Desktop, Service, until

TITLE = "Idle"
COLUMNS = {"switches": "context switches", "seconds": "in seconds", "private_dirty": "private dirty, KiB",
           "resident": "resident, KiB", "descriptors": "descriptors", "threads": "threads"}


# Threads that the libraries have kept for more work end after 30 s without any.
SETTLING = 35


def at_rest(agent, seconds):
    time.sleep(SETTLING)
    before = agent.figures()
    time.sleep(seconds)
    after = agent.figures()
    switches = sum(count - before["switches"].get(thread, 0)
                   for thread, count in after["switches"].items())
    return after | {"switches": switches, "seconds": seconds}


def capture(desktop, agent, count):
    """Captures with the screenshot on; the picture is that of the probe's window."""
    desktop.press(count, "Return", pause=300, typing=True)
    until("the screenshots", lambda: len(agent.service.screenshots) == count)


def run(programs, installed, quick):
    seconds, captures, openings = (10, 10, 50) if quick else (60, 100, 1000)
    with Desktop(programs, tray=True) as desktop:
        desktop.store_key()
        agent = Agent(desktop, Service(), screenshots=True)
        figures = {"after start": at_rest(agent, seconds)}
        capture(desktop, agent, captures)
        figures[f"after {captures} captures"] = at_rest(agent, seconds)
        seen = desktop.press(openings, pause=5)
        assert not any("failed" in press for press in seen)
        figures[f"after {openings} openings of the panel"] = at_rest(agent, seconds)
        return figures


def document(figures, images):
    lines = ["Held to 0 voluntary context switches in 60 s, 8192 KiB private dirty, 40960 KiB resident; all threads "
             "together, 35 s after the last use.", ""]
    return lines + report.table(
        ["", *COLUMNS.values()],
        [[when, *("–" if seen[name] is None else report.number(seen[name]) for name in COLUMNS)] for when, seen in figures.items()])
