#!/usr/bin/env python3
"""Measures quibel-inbox on SQLite and writes the figures as Markdown and JSON.

    bench/inbox/measure.py <quibel-inbox> <directory on the disk to measure> <Markdown> <JSON>

Starts one service on loopback with fresh data below the directory, and removes both at the end.
"""
import base64
import concurrent.futures
import http.client
import json
import os
import pathlib
import platform
import random
import statistics
import struct
import subprocess
import sys
import tempfile
import time
import urllib.parse
import zlib

HERE = pathlib.Path(__file__).resolve().parent
CONNECTIONS = 32
BRANCHES = 100_000
SCREENSHOTS = 10_000
SEARCHES = {
    "every word of one line": lambda words: " ".join(words),
    "a rare word": lambda words: words[-1],
    "two letters": lambda words: words[0][:2],
    "a word of every branch": lambda words: "editor",
    "a word that nothing has": lambda words: "zzzzqqqq",
}


def fsyncs_per_second(directory, seconds=3.0):
    """How often the disk takes one appended block of 4 KiB, by one writer."""
    path = directory / "fsync"
    count = 0
    with open(path, "wb", buffering=0) as file:
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            file.write(bytes(4096))
            os.fdatasync(file.fileno())
            count += 1
    path.unlink()
    return count / seconds


class Inbox:
    """One running service, its key, and somebody signed in to its page."""

    def __init__(self, program, data):
        self.program, self.data = program, data
        self.process = subprocess.Popen(
            [program, "serve", "--listen", "127.0.0.1:0", "--data", data],
            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        self.url = self.process.stdout.readline().split()[-1]
        self.key = self.command("keys", "create")
        link = self.connect()
        link.request("GET", urllib.parse.urlsplit(self.command("open", "--print")).path)
        answer = link.getresponse()
        self.cookie = answer.getheader("Set-Cookie").split(";")[0]

    def command(self, *words):
        return subprocess.run([self.program, *words, "--data", self.data], check=True,
                              capture_output=True, text=True).stdout.strip()

    def connect(self):
        return http.client.HTTPConnection(urllib.parse.urlsplit(self.url).netloc, timeout=60)

    def get(self, connection, path):
        connection.request("GET", path, headers={"Cookie": self.cookie})
        answer = connection.getresponse()
        body = answer.read()
        assert answer.status == 200, (path, answer.status, body[:200])
        return body

    def post(self, connection, path, document):
        connection.request("POST", path, json.dumps(document),
                           {"Authorization": f"Bearer {self.key}", "Content-Type": "application/json"})
        answer = connection.getresponse()
        body = answer.read()
        assert answer.status == 201, (path, answer.status, body[:200])
        return json.loads(body)

    def memory(self, name):
        """A figure of the process's status, in MiB."""
        lines = pathlib.Path(f"/proc/{self.process.pid}/status").read_text().splitlines()
        return next(int(line.split()[1]) for line in lines if line.startswith(name + ":")) / 1024

    def stop(self):
        self.process.terminate()
        self.process.wait(30)


def post_branches(inbox, seconds, seed):
    """Posts as fast as the service answers; the figures that wrk saw."""
    output = subprocess.run(
        ["wrk", "-t2", f"-c{CONNECTIONS}", f"-d{seconds}s", "-s", HERE / "post.lua",
         inbox.url + "/api/branches/from-agent", "--", inbox.key, str(seed)],
        check=True, capture_output=True, text=True).stdout
    figures = json.loads(output.split("done ", 1)[1])
    assert figures["errors"] == 0, output
    return figures


def milliseconds(action, repeats):
    """Minimum, median and maximum of one action."""
    times = []
    for _ in range(repeats):
        begin = time.perf_counter()
        action()
        times.append((time.perf_counter() - begin) * 1000)
    return {"min": min(times), "median": statistics.median(times), "max": max(times)}


def picture(number, noise):
    """A valid PNG of 224 by 224 pixels and about 150 kB, different for every number."""
    rows = bytearray(noise)
    struct.pack_into(">I", rows, 1, number)

    def chunk(kind, content):
        return struct.pack(">I", len(content)) + kind + content + struct.pack(
            ">I", zlib.crc32(kind + content))

    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", 224, 224, 8, 2, 0, 0, 0))
            + chunk(b"IDAT", zlib.compress(bytes(rows), 0)) + chunk(b"IEND", b""))


def post_screenshots(inbox):
    generator = random.Random(1)
    noise = b"".join(b"\0" + generator.randbytes(224 * 3) for _ in range(224))
    newest = json.loads(inbox.get(inbox.connect(), "/web/branches"))["branches"]

    def send(numbers):
        connection = inbox.connect()
        for number in numbers:
            branch = newest[number % len(newest)]["id"]
            png = picture(number, noise)
            inbox.post(connection, f"/api/branches/{branch}/screenshots", {
                "image_base64": base64.b64encode(png).decode(),
                "metadata": {
                    "source": "desktop", "capture_type": "active_window",
                    "captured_at": "2026-11-15T22:24:38Z", "app_name": None, "bundle_id": None,
                    "window_title": None,
                    "image": {"format": "png", "width": 224, "height": 224, "byte_size": len(png)},
                    "branch": {"branch_id": branch, "project": None}}})

    with concurrent.futures.ThreadPoolExecutor(4) as pool:
        list(pool.map(send, [range(start, SCREENSHOTS, 4) for start in range(4)]))


def measure(program, directory):
    results = {"fsync_before": fsyncs_per_second(directory)}
    inbox = Inbox(program, directory / "data")
    try:
        results["memory_at_start"] = inbox.memory("VmRSS")
        runs = [post_branches(inbox, 5, seed) for seed in range(3)]
        results["posts"] = runs
        results["fsync_after"] = fsyncs_per_second(directory)
        stored = sum(run["requests"] for run in runs)
        while stored < BRANCHES:
            stored += post_branches(inbox, 5, stored)["requests"]
        results["branches"] = stored

        connection = inbox.connect()
        page = json.loads(inbox.get(connection, "/web/branches?state=any"))
        assert len(page["branches"]) == 50
        deep = page["branches"][0]["number"] // 2
        results["page"] = {
            "newest": milliseconds(lambda: inbox.get(connection, "/web/branches?state=any"), 200),
            "from the middle": milliseconds(
                lambda: inbox.get(connection, f"/web/branches?state=any&before={deep}"), 200)}
        words = max(page["branches"], key=lambda branch: len(branch["text"]))["text"].split()
        results["search"] = {}
        for name, choose in SEARCHES.items():
            path = "/web/branches?" + urllib.parse.urlencode({"search": choose(words), "state": "any"})
            results["search"][name] = milliseconds(lambda: inbox.get(connection, path), 50)

        post_screenshots(inbox)
        results["memory_after_screenshots"] = inbox.memory("VmRSS")
        results["memory_peak"] = inbox.memory("VmHWM")
    finally:
        inbox.stop()
    return results


def processor():
    for line in pathlib.Path("/proc/cpuinfo").read_text().splitlines():
        if line.startswith("model name"):
            return line.split(":", 1)[1].strip()
    return platform.machine()


def to_markdown(results):
    def row(what, times, limit):
        return f"| {what} | {times['min']:.1f} | {times['median']:.1f} | {times['max']:.1f} | {limit} |"

    posts = sorted(run["requests"] / run["seconds"] for run in results["posts"])
    tails = sorted(run["p99_ms"] for run in results["posts"])
    fsync = statistics.mean([results["fsync_before"], results["fsync_after"]])
    return "\n".join([
        "# Figures of quibel-inbox",
        "",
        "Written by `scripts/bench-inbox`, on SQLite with durable writes: an answer of 201 means that the",
        "branch is on the disk.",
        "",
        f"{results['date']}, {results['processor']}, {os.cpu_count()} cores, Linux {platform.release()}.",
        "The service, the load and whatever else ran shared these cores.",
        "",
        "## Storing branches",
        "",
        f"`wrk` with {CONNECTIONS} connections, three runs of 5 s, beside what the same disk takes of single",
        "4 KiB appends with `fdatasync`, measured before and after. Requests that wait together share",
        "one wait for the disk.",
        "",
        "| | min | median | max |",
        "|---|---|---|---|",
        f"| branches per second | {posts[0]:.0f} | {posts[1]:.0f} | {posts[2]:.0f} |",
        f"| 99th percentile of an answer, ms | {tails[0]:.1f} | {tails[1]:.1f} | {tails[2]:.1f} |",
        f"| branches for each fdatasync of the disk ({fsync:.0f}/s) | {posts[0] / fsync:.1f} "
        f"| {posts[1] / fsync:.1f} | {posts[2] / fsync:.1f} |",
        "",
        f"## Reading, among {results['branches']} branches",
        "",
        "Time of a whole request as its client sees it, in ms.",
        "",
        "| | min | median | max | held to |",
        "|---|---|---|---|---|",
        *[row(f"page of 50, {name}", times, 20) for name, times in results["page"].items()],
        *[row(f"search: {name}", times, 50) for name, times in results["search"].items()],
        "",
        "## Memory",
        "",
        f"Resident, in MiB: {results['memory_at_start']:.1f} at the start, "
        f"{results['memory_after_screenshots']:.1f} after all of the above and {SCREENSHOTS} screenshots of",
        f"150 kB from four connections (held to 40), {results['memory_peak']:.1f} at most in between.",
        "",
    ])


def main():
    program, directory, markdown, data = sys.argv[1:]
    with tempfile.TemporaryDirectory(dir=directory) as scratch:
        results = measure(program, pathlib.Path(scratch))
    results |= {"date": time.strftime("%Y-%m-%d"), "processor": processor()}
    pathlib.Path(data).write_text(json.dumps(results, indent=2) + "\n", encoding="utf-8")
    pathlib.Path(markdown).write_text(to_markdown(results), encoding="utf-8")


main()
