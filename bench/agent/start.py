"""From executing the agent to its hot key being grabbed, what is loaded on the way, and what a start
costs that only hands its command to the agent that runs."""
import re
import subprocess
import time

import report
from desktop import Agent, Desktop, Service
from figures import spread

TITLE = "Start"


def starts(desktop, program, count):
    return [float(line) for line in
            desktop.run(desktop.programs / "quibel-bench-start", count, program).splitlines()]


def hand_over(desktop, program):
    begin = time.perf_counter()
    subprocess.run([program, "--connect-account"], check=True, env=desktop.environment)
    return (time.perf_counter() - begin) * 1000


def empty_file_cache():
    """Errors: false where this is not allowed."""
    try:
        subprocess.run(["sync"], check=True)
        with open("/proc/sys/vm/drop_caches", "w") as file:
            file.write("3\n")
        return True
    except OSError:
        return False


def loaded(desktop, program):
    libraries = desktop.run("ldd", program).splitlines()
    sections = desktop.run("readelf", "--sections", "--wide", program)
    initialisers = re.search(r"\.init_array\s+\w+\s+\w+\s+\w+\s+(\w+)", sections)
    linker = subprocess.run([program, "--version"], capture_output=True, text=True, check=True,
                            env=desktop.environment | {"LD_DEBUG": "statistics"}).stderr
    relocations = [int(count) for count in re.findall(r"number of relocations: (\d+)", linker)]
    cached = [int(count) for count in
              re.findall(r"number of relocations from cache: (\d+)", linker)]
    own = desktop.run("readelf", "--relocs", "--wide", program)
    return {"libraries": len(libraries),
            "direct_libraries": desktop.run("readelf", "--dynamic", program).count("(NEEDED)"),
            "relocations_by_name": max(relocations, default=None),
            "relocations_from_cache": max(cached, default=None),
            "own_relocations": len(re.findall(r"R_\w+", own)),
            "own_initialisers": int(initialisers.group(1), 16) // 8 if initialisers else 0}


def run(programs, installed, quick):
    program = programs / "quibel-capture-agent"
    with Desktop(programs, tray=True) as desktop:
        desktop.store_key()
        service = Service()
        Agent(desktop, service).stop()
        desktop.environment["QUIBEL_API_BASE_URL"] = service.url
        warm = starts(desktop, program, 5 if quick else 20)
        cold = []
        while len(cold) < (1 if quick else 5) and empty_file_cache():
            cold += starts(desktop, program, 1)
        agent = Agent(desktop, service)
        handed_over = [hand_over(desktop, program) for _ in range(5 if quick else 50)]
        agent.stop()
        return {"warm": spread(warm), "warm_series": warm, "cold": spread(cold) if cold else None,
                "handed_over": spread(handed_over), "loaded": loaded(desktop, program)}


def document(figures, images):
    lines = ["Milliseconds from just before the program is executed to the X server's taking its first grab of a "
             "key; held to 100.", ""]
    lines += report.table(["file cache", "starts", "hot key grabbed"],
                          [["warm", figures["warm"]["runs"], report.told(figures["warm"])],
                           ["empty", figures["cold"]["runs"] if figures["cold"] else "not allowed here",
                            report.told(figures["cold"])]])
    lines += ["Milliseconds of a start that hands its command to the agent that runs, to its end; held to 50.", ""]
    lines += report.table(["starts", "ended"],
                          [[figures["handed_over"]["runs"], report.told(figures["handed_over"])]])
    loaded_now = figures["loaded"]
    lines += report.table(
        ["shared libraries", "of them linked directly", "relocations by name", "from the linker's cache",
         "the program's own relocations", "its static initialisers"],
        [[loaded_now[name] for name in
          ("libraries", "direct_libraries", "relocations_by_name", "relocations_from_cache",
           "own_relocations", "own_initialisers")]])
    return lines
