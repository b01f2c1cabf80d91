#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Per-call cost of the xmlutil tool on a small file, against xmllint, and
the steps of a start-up: loading Xerces-C, initialising it, parsing.

Usage: scripts/tool_startup.py <build directory> <results directory> [runs]

Each command is started `runs` times (default 300) in turns, so that a change
of machine load spreads over all of them; the medians of the wall-clock time
and of the CPU time (user + system, from wait4) per call are written to
<results directory>/tool-startup.json and printed.
"""

import json
import os
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

# About 1 KB: four sections of eight keys, the shape of bench_inputs' configuration
# (startup_xerces and startup_xmlutil read section3/key7).
CONFIG = """<?xml version="1.0" encoding="UTF-8"?>
<config>
%s</config>
""" % "".join("  <section%d>\n%s  </section%d>\n" % (
    s, "".join("    <key%d>value %d.%d</key%d>\n" % (k, s, k, k) for k in range(8)), s) for s in range(4))


def run_once(argv):
    devnull = os.open(os.devnull, os.O_RDWR)
    start = time.perf_counter()
    pid = os.fork()
    if pid == 0:
        os.dup2(devnull, 0)
        os.dup2(devnull, 1)
        os.dup2(devnull, 2)
        try:
            os.execv(argv[0], argv)
        finally:
            os._exit(127)
    _, status, usage = os.wait4(pid, 0)
    wall = time.perf_counter() - start
    os.close(devnull)
    if os.waitstatus_to_exitcode(status) != 0:
        raise RuntimeError("%s exited with %d" % (" ".join(argv), os.waitstatus_to_exitcode(status)))
    return wall, usage.ru_utime + usage.ru_stime


def main(argv):
    if len(argv) not in (3, 4):
        sys.stderr.write(__doc__)
        return 2
    build, results = argv[1], argv[2]
    runs = int(argv[3]) if len(argv) == 4 else 300
    work = tempfile.mkdtemp(prefix="xmlutil-startup.")
    try:
        config = os.path.join(work, "config.xml")
        with open(config, "w") as f:
            f.write(CONFIG)
        tool = os.path.join(build, "tools", "xmlutil")
        commands = [
            ("an empty C++ program", [os.path.join(build, "bench", "startup_nothing")]),
            ("a program linked with Xerces-C, calling nothing", [os.path.join(build, "bench", "startup_empty")]),
            ("+ XMLPlatformUtils::Initialize", [os.path.join(build, "bench", "startup_init")]),
            ("+ parse and look up, raw Xerces-C (startup_xerces)", [os.path.join(build, "bench", "startup_xerces"), config]),
            ("the same on the library (startup_xmlutil)", [os.path.join(build, "bench", "startup_xmlutil"), config]),
            ("xmlutil --version (loads, never initialises Xerces-C)", [tool, "--version"]),
            ("xmlutil get FILE config/section3/key7", [tool, "get", config, "config/section3/key7"]),
            ("xmllint --xpath 'string(/config/section3/key7)' FILE",
             [shutil.which("xmllint") or "/usr/bin/xmllint", "--xpath", "string(/config/section3/key7)", config]),
        ]
        commands = [(label, cmd) for label, cmd in commands if os.access(cmd[0], os.X_OK)]
        samples = {label: ([], []) for label, _ in commands}
        for _ in range(runs):
            for label, cmd in commands:
                wall, cpu = run_once(cmd)
                samples[label][0].append(wall)
                samples[label][1].append(cpu)
        rows = []
        for label, cmd in commands:
            walls, cpus = samples[label]
            rows.append({"label": label, "command": " ".join(os.path.basename(a) if i == 0 else a
                                                            for i, a in enumerate(cmd)),
                         "wall_ms": statistics.median(walls) * 1000, "cpu_ms": statistics.median(cpus) * 1000})
        os.makedirs(results, exist_ok=True)
        with open(os.path.join(results, "tool-startup.json"), "w") as f:
            json.dump({"runs": runs, "file_bytes": len(CONFIG), "rows": rows}, f, indent=1)
        for r in rows:
            print("%-62s wall %6.2f ms  cpu %6.2f ms" % (r["label"], r["wall_ms"], r["cpu_ms"]))
    finally:
        shutil.rmtree(work)
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
