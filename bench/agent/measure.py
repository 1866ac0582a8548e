#!/usr/bin/env python3
"""Measures the agent and writes the figures as JSON and, from them, docs/PERFORMANCE.md.

    bench/agent/measure.py [--quick] --programs <folder> [suite...]

A suite that is not asked for keeps its figures of an earlier run.
"""
import argparse
import datetime
import json
import os
import pathlib
import platform
import shutil
import sys

import growth
import hotkey
import idle
import report
import screenshot
import start

SUITES = {"hotkey": hotkey, "start": start, "idle": idle, "screenshot": screenshot,
          "growth": growth}
ROOT = pathlib.Path(__file__).resolve().parents[2]
RESULTS = ROOT / "bench" / "results.json"
DOCUMENT = ROOT / "docs" / "PERFORMANCE.md"
PEERS = ("rofi", "copyq", "synapse", "scrot", "maim", "import")


def machine():
    lines = pathlib.Path("/proc/cpuinfo").read_text().splitlines()
    model = next((line.split(":")[1].strip() for line in lines if line.startswith("model name")),
                 platform.machine())
    memory = int(pathlib.Path("/proc/meminfo").read_text().split()[1]) // 1024
    return {"processor": model, "processors": os.cpu_count(), "memory_mib": memory,
            "kernel": platform.release()}


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--quick", action="store_true")
    parser.add_argument("--programs", type=pathlib.Path, required=True)
    parser.add_argument("suites", nargs="*", metavar="suite")
    wanted = parser.parse_args()
    if unknown := set(wanted.suites) - set(SUITES):
        parser.error(f"no suite {', '.join(sorted(unknown))}; there are {', '.join(SUITES)}")
    results = json.loads(RESULTS.read_text()) if RESULTS.exists() else {}
    installed = [name for name in PEERS if shutil.which(name)]
    for name in wanted.suites or SUITES:
        load = os.getloadavg()
        print(f"== {name} (load {load[0]:.1f})", flush=True)
        figures = SUITES[name].run(wanted.programs.resolve(), installed, wanted.quick)
        results[name] = {
            "date": datetime.datetime.now(datetime.timezone.utc).isoformat(timespec="seconds"),
            "load_before": load[0], "load_after": os.getloadavg()[0], "quick": wanted.quick,
            "machine": machine(), "figures": figures}
        RESULTS.write_text(json.dumps(results, indent=1) + "\n")
    results = {name: results[name] for name in SUITES if name in results}
    report.write(results, SUITES, DOCUMENT)


if __name__ == "__main__":
    sys.exit(main())
