"""The private desktop that the agent is measured on, and what stands around it there."""
import http.server
import json
import os
import pathlib
import re
import signal
import subprocess
import threading
import time

KEYCODES = {"Escape": "9", "Return": "36"}


def until(what, condition, seconds=20.0):
    """Waits until the condition holds and returns what it yielded."""
    deadline = time.monotonic() + seconds
    while not (result := condition()):
        if time.monotonic() > deadline:
            raise TimeoutError(f"waited in vain for {what}")
        time.sleep(0.02)
    return result


class Desktop:
    """X server, window manager, session bus and key ring of their own, for as long as it is open."""

    def __init__(self, programs, screen="1280x800x24", tray=False):
        self.programs = programs
        self.process = subprocess.Popen(
            [programs / "quibel-bench-desktop", "--screen", screen, *(["--tray"] if tray else [])],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        self.environment = json.loads(self.process.stdout.readline())
        self.home = pathlib.Path(self.environment["HOME"])
        self.started = []

    def __enter__(self):
        return self

    def __exit__(self, *_):
        for process in reversed(self.started):
            stop(process)
        self.process.stdin.close()
        self.process.wait(30)

    def launch(self, *command, log=None, **extra):
        """Starts a program that ends with the desktop; what it writes goes to `log`."""
        output = open(log, "wb") if log else subprocess.DEVNULL
        process = subprocess.Popen([str(word) for word in command], stdout=output,
                                   stderr=subprocess.STDOUT if log else subprocess.DEVNULL,
                                   env=self.environment | extra)
        if log:
            output.close()
        self.started.append(process)
        return process

    def run(self, *command, check=True, **options):
        return subprocess.run([str(word) for word in command], check=check, capture_output=True,
                              text=True, env=self.environment, **options).stdout

    def store_key(self, key="sk_bench"):
        self.run("secret-tool", "store", "--label=QuibelDesktop", "service", "QuibelDesktop",
                 "account", "apiKey", input=key)

    def bind(self, command):
        """Has the window manager run a command on Super+Shift+B."""
        folder = self.home / "config" / "openbox"
        folder.mkdir(parents=True, exist_ok=True)
        (folder / "rc.xml").write_text(f"""<?xml version="1.0" encoding="UTF-8"?>
<openbox_config xmlns="http://openbox.org/3.4/rc"><focus><focusNew>yes</focusNew></focus>
<keyboard><keybind key="W-S-b"><action name="Execute"><command>{command}</command></action></keybind>
</keyboard></openbox_config>""")
        self.run("openbox", "--reconfigure")
        time.sleep(0.5)

    def press(self, presses, close="Escape", pause=100, typing=False, before_each=None):
        """Presses the hot key and returns what the probe saw of each press."""
        mode = ["typing"] if typing else ["announcing"] if before_each else []
        probe = subprocess.Popen(
            [self.programs / "quibel-bench-hotkey", str(presses), KEYCODES[close], str(pause), *mode],
            stdout=subprocess.PIPE, text=True, env=self.environment)
        seen = []
        for line in probe.stdout:
            if line == "pressing\n":
                before_each()
            else:
                seen.append(json.loads(line))
        if probe.wait() != 0:
            raise RuntimeError("the probe failed")
        return seen


def stop(process):
    if process.poll() is None:
        process.terminate()
        try:
            process.wait(5)
        except subprocess.TimeoutExpired:
            process.kill()
            process.wait(5)


class Service(http.server.ThreadingHTTPServer):
    """A service on loopback that takes every branch and offers so many projects."""

    daemon_threads = True

    def __init__(self, projects=3):
        super().__init__(("127.0.0.1", 0), Answers)
        names = [{"id": f"p{i}", "name": f"Project {(i * 7919) % 1000003:06d}"}
                 for i in range(projects)]
        self.projects = json.dumps(names).encode()
        self.offers_projects = projects > 0
        self.texts, self.screenshots = [], []
        self.received = []  # When each body had come, on the clock that never goes back.
        self.url = f"http://127.0.0.1:{self.server_port}"
        threading.Thread(target=self.serve_forever, daemon=True).start()


class Answers(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def do_GET(self):
        self.answer(200, self.server.projects)

    def do_POST(self):
        body = self.rfile.read(int(self.headers["Content-Length"]))
        self.server.received.append(time.monotonic())
        if self.path.endswith("/screenshots"):
            self.server.screenshots.append(len(body))
            self.answer(201, b"{}")
        else:
            self.server.texts.append(json.loads(body)["context_snapshot"]["captured_text"])
            self.answer(201, b'{"branch":{"id":"b1"}}')

    def answer(self, status, body):
        self.send_response(status)
        self.send_header("Content-Type", "application/json")
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def log_message(self, *_):
        pass


class Agent:
    """The agent on a desktop, connected to a service, its hot key grabbed and its projects loaded."""

    def __init__(self, desktop, service, screenshots=False, preferences=None, **environment):
        self.desktop, self.service = desktop, service
        folder = desktop.home / "config" / "quibel"
        folder.mkdir(parents=True, exist_ok=True)
        values = {"quibel.screenshotMode": "on" if screenshots else "off"} | (preferences or {})
        (folder / "preferences.json").write_text(json.dumps(values))
        self.log = desktop.home / "agent.log"
        self.process = desktop.launch(desktop.programs / "quibel-capture-agent", log=self.log,
                                      QUIBEL_API_BASE_URL=service.url, **environment)
        if service.offers_projects:
            until("the projects", lambda: "projects from API" in self.log.read_text(), 60)
        time.sleep(1)

    def stop(self):
        stop(self.process)

    def figures(self):
        """Memory in KiB, descriptors, threads and the context switches of each so far."""
        folder = pathlib.Path(f"/proc/{self.process.pid}")
        memory = dict(re.findall(r"^(\w+): +(\d+) kB", (folder / "smaps_rollup").read_text(), re.M))
        switches = {task.name: int(re.search(r"^voluntary_ctxt_switches:\s+(\d+)",
                                             (task / "status").read_text(), re.M).group(1))
                    for task in (folder / "task").iterdir()}
        return {"resident": int(memory["Rss"]), "private_dirty": int(memory["Private_Dirty"]),
                "descriptors": len(os.listdir(folder / "fd")), "threads": len(switches),
                "switches": switches}

    def peak(self):
        """The most memory that was resident since `reset_peak`, in KiB."""
        status = pathlib.Path(f"/proc/{self.process.pid}/status").read_text()
        return int(re.search(r"^VmHWM:\s+(\d+)", status, re.M).group(1))

    def reset_peak(self):
        pathlib.Path(f"/proc/{self.process.pid}/clear_refs").write_text("5")


class HeldKeyRing:
    """A key ring whose process can be stopped for a while, so that it answers late."""

    def __init__(self, desktop):
        answer = desktop.run("gdbus", "call", "--session", "--dest", "org.freedesktop.DBus",
                             "--object-path", "/", "--method",
                             "org.freedesktop.DBus.GetConnectionUnixProcessID",
                             "org.freedesktop.secrets")
        self.pid = int(re.search(r"uint32 (\d+)", answer).group(1))

    def hold(self, seconds):
        os.kill(self.pid, signal.SIGSTOP)
        threading.Timer(seconds, lambda: os.kill(self.pid, signal.SIGCONT)).start()
