#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Turns the Google Benchmark JSON files of scripts/bench into docs/performance.md
and its two bar charts, docs/performance-time.png (times and memory, lower is
better) and docs/performance-rate.png (rates, higher is better).

Usage: scripts/bench_report.py <results directory> <build directory> <docs directory>

Benchmarks are named BM_<workload>/<size>/<subject>; xmlutil is compared with
every other subject of the same workload and size. The medians of the
repetitions are compared; the ratios come from this one run.
"""

import glob
import json
import os
import platform
import re
import subprocess
import sys
from collections import OrderedDict

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt  # noqa: E402

SUBJECT = "xmlutil"

# What a ratio means per kind of measurement. "time" and "memory" ratios are
# xmlutil / peer (lower is better); "throughput" ratios are xmlutil's rate /
# the peer's rate, that is peer time / xmlutil time (higher is better).
KINDS = {
    "time": "xmlutil time / peer time (lower is better)",
    "throughput": "xmlutil throughput / peer throughput, = peer time / xmlutil time (higher is better)",
    "memory": "xmlutil peak RSS growth / peer peak RSS growth (lower is better)",
}

# workload: (title, kind, {peer: target or None}, what is measured)
# A target ("<=", x) or (">=", x) applies to every size of the workload.
WORKLOADS = OrderedDict([
    ("ParseMemory", ("Parse from memory", "time",
                     {"xerces": ("<=", 1.05), "pugixml": None},
                     "ParseBuffer(buf, len, false) and the document's release; raw Xerces-C: a fresh "
                     "XercesDOMParser (defaults, Val_Never) with a throwing ErrorHandler, MemBufInputSource, "
                     "adoptDocument(), release(); pugixml: load_buffer (encoding_latin1 for the records, "
                     "encoding_auto otherwise).")),
    ("ParseFile", ("Parse from a file", "time",
                   {"xerces": ("<=", 1.05), "pugixml": None},
                   "ParseFile(path, false) against XercesDOMParser::parse(path) and pugixml's load_file, "
                   "the document released in each iteration.")),
    ("Lookup", ("100-key configuration lookup", "time",
                {"xerces": ("<=", 0.5), "pugixml": None},
                "All 100 (section, key) pairs per iteration, std::string in and out. xmlutil: ActivateNode + "
                "ReadNodeDataFrom + DeactivateNode; raw Xerces-C: XMLString::transcode of both names, a walk "
                "over the children with XMLString::equals, transcode of the text; pugixml: "
                "child().child().text().get().")),
    ("Walk", ("Walk over every record", "throughput",
              {"xerces": (">=", 1.5), "pugixml": None},
              "Every <record> child of the root: its text and its id attribute as std::string. xmlutil: "
              "cXMLiterator with ReadNodeData and ReadNodeAttribute; raw Xerces-C: sibling walk with "
              "XMLString::transcode; pugixml: children(\"record\"). Rate = input document bytes per second.")),
    ("HandlesWalk", ("Pre-order traversal, classic handles against DOMNode*", "time",
                     {"xerces": ("<=", 1.2)},
                     "getFirstChild / getNextSibling / getParentNode over the whole document, counting nodes "
                     "by getNodeType: DOM_Node handles against raw xercesc::DOMNode* in the same loop.")),
    ("SaveToStream", ("SaveToStream", "throughput",
                      {"xerces": (">=", 4.0), "pugixml": (">=", 1.0), "xerces-read": None},
                      "The facade's SaveToStream into a std::ostringstream; Xerces-C: DOMLSSerializer with "
                      "format-pretty-print into a MemBufFormatTarget, ISO-8859-1; pugixml: save(ostringstream, "
                      "\"    \", format_indent, encoding_latin1); xerces-read: reading every name and value the "
                      "writer needs from the same Xerces-C document, writing nothing (the floor of any writer "
                      "over that DOM). Rate = parsed input bytes per second.")),
    ("SaveToFile", ("SaveToFile", "throughput",
                    {"pugixml": (">=", 1.0)},
                    "The facade's SaveToFile against pugixml's save_file(path, \"    \", format_indent, "
                    "encoding_latin1), same directory.")),
    ("Base64Encode", ("Base64 encode", "throughput",
                      {"openssl": (">=", 1.0), "memcpy": None},
                      "Base64Encode of 16 MiB of random bytes against OpenSSL EVP_EncodeBlock and a memcpy of "
                      "the same 16 MiB.")),
    ("Base64Decode", ("Base64 decode", "throughput",
                      {"openssl": (">=", 1.0), "memcpy": None},
                      "Base64Decode back to 16 MiB against OpenSSL EVP_DecodeBlock and a memcpy of 16 MiB.")),
    ("PeakRSS", ("Peak RSS holding the 20 MB document", "memory",
                 {"xerces": ("<=", 1.05), "pugixml": None},
                 "A fresh child process reads the file, takes VmHWM as baseline (after "
                 "XMLPlatformUtils::Initialize for both Xerces-C subjects), parses from memory and holds the "
                 "document; the value is VmHWM minus the baseline.")),
    ("Startup", ("Process start to finish", "time",
                 {"xerces": ("<=", 1.1)},
                 "posix_spawn of a tiny program that parses the configuration file and prints one value "
                 "(bench/startup_xmlutil.cpp, bench/startup_xerces.cpp), output to /dev/null, then waitpid.")),
])

# Sizes in table order; others follow in the order they were run.
SIZE_ORDER = ["config", "1MB", "20MB", "chain", "16MiB"]

UNIT_SECONDS = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}


def load_results(results_dir):
    """{(workload, size, subject): entry} with median seconds, cv, counters or an error."""
    runs = OrderedDict()
    contexts = []
    for path in sorted(glob.glob(os.path.join(results_dir, "*.json"))):
        # A program whose filter matched nothing leaves an empty file.
        if os.path.getsize(path) == 0:
            continue
        with open(path, encoding="utf-8") as f:
            data = json.load(f)
        contexts.append(data.get("context", {}))
        for b in data.get("benchmarks", []):
            parts = b.get("run_name", b["name"]).split("/")
            if len(parts) < 3 or not parts[0].startswith("BM_"):
                continue
            key = (parts[0][3:], parts[1], parts[2])
            entry = runs.setdefault(key, {})
            if b.get("error_occurred"):
                entry["error"] = b.get("error_message", "error")
                continue
            if b.get("run_type") != "aggregate":
                # Without aggregates (a single repetition) the run itself is the median.
                if "seconds" not in entry:
                    entry.update(seconds=b["real_time"] * UNIT_SECONDS[b["time_unit"]], counters=b)
                continue
            name = b.get("aggregate_name")
            if name == "median":
                entry["seconds"] = b["real_time"] * UNIT_SECONDS[b["time_unit"]]
                entry["counters"] = b
            elif name == "cv":
                entry["cv"] = b["real_time"]
                if "peak_rss_MiB" in b:
                    entry["cv"] = b["peak_rss_MiB"]
    return runs, contexts


def value_of(entry, kind):
    """The number a ratio is taken of: seconds, or MiB for memory."""
    if entry is None or "error" in entry or "seconds" not in entry:
        return None
    if kind == "memory":
        return entry["counters"].get("peak_rss_MiB")
    return entry["seconds"]


def format_seconds(seconds):
    for unit, scale in (("s", 1.0), ("ms", 1e-3), ("us", 1e-6)):
        if seconds >= scale:
            return "%.3g %s" % (seconds / scale, unit)
    return "%.3g ns" % (seconds / 1e-9)


def format_rate(bytes_per_second):
    if bytes_per_second >= 1e9:
        return "%.2f GB/s" % (bytes_per_second / 1e9)
    return "%.0f MB/s" % (bytes_per_second / 1e6)


def format_median(entry, kind):
    if entry is None:
        return "not run"
    if "error" in entry:
        return "error: " + entry["error"]
    if "seconds" not in entry:
        return "no median"
    if kind == "memory":
        text = "%.1f MiB" % entry["counters"].get("peak_rss_MiB", float("nan"))
    else:
        text = format_seconds(entry["seconds"])
        rate = entry["counters"].get("bytes_per_second")
        if rate and kind == "throughput":
            # Every benchmark uses real time, so this rate is per wall-clock second too.
            text += " (%s)" % format_rate(rate)
    if "cv" in entry:
        text += " ±%.1f%%" % (100.0 * entry["cv"])
    return text


def ratio_of(kind, mine, theirs):
    if mine is None or theirs is None or mine <= 0 or theirs <= 0:
        return None
    return theirs / mine if kind == "throughput" else mine / theirs


def is_met(target, ratio):
    if target is None or ratio is None:
        return None
    op, bound = target
    return ratio <= bound if op == "<=" else ratio >= bound


def compare(runs):
    """Rows of (workload, size, peer, kind, ratio, target, met, mine, theirs)."""
    rows = []
    for workload, (_title, kind, peers, _what) in WORKLOADS.items():
        sizes = []
        for (w, size, _subject) in runs:
            if w == workload and size not in sizes:
                sizes.append(size)
        sizes.sort(key=lambda size: SIZE_ORDER.index(size) if size in SIZE_ORDER else len(SIZE_ORDER))
        for size in sizes:
            mine = runs.get((workload, size, SUBJECT))
            for peer, target in peers.items():
                theirs = runs.get((workload, size, peer))
                if theirs is None:
                    continue
                ratio = ratio_of(kind, value_of(mine, kind), value_of(theirs, kind))
                rows.append(dict(workload=workload, size=size, peer=peer, kind=kind, ratio=ratio, target=target,
                                 met=is_met(target, ratio), mine=mine, theirs=theirs))
    return rows


def target_text(target):
    if target is None:
        return "(none)"
    op, bound = target
    return "%s %s" % ("≤" if op == "<=" else "≥", ("%.2f" % bound).rstrip("0").rstrip("."))


def met_text(met):
    return {True: "met", False: "**not met**", None: "–"}[met]


def ratio_text(ratio):
    return "n/a" if ratio is None else "%.2f" % ratio


def run_quiet(args):
    try:
        return subprocess.run(args, capture_output=True, text=True, check=False).stdout.strip()
    except OSError:
        return ""


def package_version(name):
    return run_quiet(["dpkg-query", "-W", "-f=${Version}", name]) or "unknown"


def machine_facts(build_dir, results_dir, contexts):
    facts = OrderedDict()
    model = "unknown"
    with open("/proc/cpuinfo", encoding="utf-8") as f:
        for line in f:
            if line.startswith("model name"):
                model = line.split(":", 1)[1].strip()
                break
    memory = "unknown"
    with open("/proc/meminfo", encoding="utf-8") as f:
        for line in f:
            if line.startswith("MemTotal:"):
                memory = "%.1f GiB" % (int(line.split()[1]) / 1024.0 / 1024.0)
                break
    facts["CPU"] = "%s, %d logical CPUs (nproc)" % (model, os.cpu_count() or 0)
    facts["Memory"] = memory
    facts["Kernel"] = platform.release()
    run_info = os.path.join(results_dir, "run-info.txt")
    if os.path.exists(run_info):
        with open(run_info, encoding="utf-8") as f:
            for line in f:
                if ":" in line:
                    key, value = line.split(":", 1)
                    facts[key.strip()] = value.strip()
    loads = [c.get("load_avg") for c in contexts if c.get("load_avg")]
    if loads:
        facts["Load average (1 min) as each program started"] = ", ".join("%.2f" % l[0] for l in loads)
    dates = sorted(c["date"] for c in contexts if "date" in c)
    if dates:
        facts["Date"] = "%s to %s" % (dates[0], dates[-1])
    compiler = ""
    cache = os.path.join(build_dir, "CMakeCache.txt")
    if os.path.exists(cache):
        with open(cache, encoding="utf-8") as f:
            match = re.search(r"^CMAKE_CXX_COMPILER:\w+=(.*)$", f.read(), re.M)
            if match:
                compiler = run_quiet([match.group(1), "--version"]).splitlines()[0:1]
                compiler = compiler[0] if compiler else match.group(1)
    facts["Compiler"] = (compiler or "unknown") + ", CMAKE_BUILD_TYPE=Release"
    commit = run_quiet(["git", "describe", "--always", "--dirty"])
    facts["xmlutil"] = "1.0.0, commit " + (commit or "unknown")
    facts["Xerces-C"] = package_version("libxerces-c-dev")
    facts["pugixml"] = package_version("libpugixml-dev")
    facts["OpenSSL"] = package_version("libssl-dev")
    facts["Google Benchmark"] = package_version("libbenchmark-dev") + \
        (" (the Debian build reports itself as a debug build)"
         if any(c.get("library_build_type") == "debug" for c in contexts) else "")
    return facts


def chart(rows, path, title, xlabel):
    """One horizontal bar chart of ratios; no file when there are no rows."""
    rows = [r for r in rows if r["ratio"] is not None]
    if not rows:
        if os.path.exists(path):
            os.remove(path)
        return False
    labels = ["%s %s vs %s" % (r["workload"], r["size"], r["peer"]) for r in rows]
    colors = []
    for r in rows:
        colors.append({True: "#4c9a2a", False: "#c0392b", None: "#9e9e9e"}[r["met"]])
    height = max(2.5, 0.28 * len(rows) + 1.5)
    fig, ax = plt.subplots(figsize=(10, height))
    positions = list(range(len(rows)))[::-1]
    ax.barh(positions, [r["ratio"] for r in rows], color=colors, height=0.7)
    for y, r in zip(positions, rows):
        if r["target"] is not None:
            ax.plot([r["target"][1]] * 2, [y - 0.42, y + 0.42], color="black", linewidth=2)
        right = max(r["ratio"], r["target"][1] if r["target"] else 0.0)
        ax.text(right * 1.06, y, "%.2f" % r["ratio"], va="center", fontsize=7)
    ax.set_yticks(positions)
    ax.set_yticklabels(labels, fontsize=7)
    ax.set_xscale("log")
    ax.axvline(1.0, color="#555555", linewidth=0.8, linestyle=":")
    ax.set_xlabel(xlabel, fontsize=8)
    ax.set_title(title + ": green met, red not met, grey no target; black bar = target", fontsize=9)
    lo = min(r["ratio"] for r in rows)
    hi = max([r["ratio"] for r in rows] + [r["target"][1] for r in rows if r["target"]])
    ax.set_xlim(lo / 1.6, hi * 2.5)
    fig.tight_layout()
    fig.savefig(path, dpi=110)
    plt.close(fig)
    return True


# The two charts: times (and peak memory), where lower is better, and rates,
# where higher is better; one scale each, so that no bar reads the wrong way.
CHARTS = [
    ("performance-time.png", ("time", "memory"), "Times and memory of xmlutil against its peers",
     "ratio (log scale) = xmlutil / peer, time or peak RSS growth: lower is better"),
    ("performance-rate.png", ("throughput",), "Rates of xmlutil against its peers",
     "ratio (log scale) = xmlutil rate / peer rate: higher is better"),
]


def tool_startup_section(results_dir):
    """The tool's per-call cost from scripts/tool_startup.py, if it ran."""
    path = os.path.join(results_dir, "tool-startup.json")
    if not os.path.exists(path):
        return []
    with open(path, encoding="utf-8") as f:
        data = json.load(f)
    out = ["## The tool per call", ""]
    out.append("`scripts/tool_startup.py` starts each command %d times, in turns, on a configuration file of "
               "%d bytes, and takes the medians of the wall-clock time and of the CPU time (user + system, "
               "from `wait4`) per call. The first rows are the steps of a start-up; `xmlutil get` and "
               "`xmllint --xpath` answer the same question." % (data["runs"], data["file_bytes"]))
    out.append("")
    out.append("| What runs | Wall median | CPU median |")
    out.append("|---|---:|---:|")
    for r in data["rows"]:
        out.append("| %s | %.2f ms | %.2f ms |" % (r["label"], r["wall_ms"], r["cpu_ms"]))
    out.append("")
    notes = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "bench", "tool-startup.md")
    if os.path.exists(notes):
        with open(notes, encoding="utf-8") as f:
            out.append(f.read().rstrip("\n"))
        out.append("")
    return out


def write_page(runs, rows, facts, path, images, results_dir):
    out = []
    out.append("# Performance")
    out.append("")
    out.append("Generated by `scripts/bench` from one run; do not edit by hand. Each number is the median of "
               "the repetitions of one benchmark (wall-clock time), and every ratio compares two medians of "
               "the same run, measured in the same process (except where a workload starts processes).")
    out.append("")
    out.append("## How to run")
    out.append("")
    out.append("    scripts/bench                              # build in Release, run everything, rewrite this page")
    out.append("    scripts/bench --benchmark_filter=Lookup    # flags go to every benchmark program")
    out.append("    scripts/bench --benchmark_repetitions=9    # and override the defaults (5 repetitions)")
    out.append("")
    out.append("The build is `build/bench` (Release, `XMLUTIL_BUILD_BENCH=ON`), the raw results are JSON files "
               "in `build/bench/results/`. Inputs are generated by `bench/bench_inputs.cpp`: a configuration "
               "of 10 sections of 10 keys, record documents of 1 MB and 20 MB (ISO-8859-1, attributes, "
               "`&amp;` and `&lt;`), and a chain of 10,000 nested elements.")
    out.append("")
    out.append("## Machine")
    out.append("")
    for key, value in facts.items():
        out.append("- %s: %s" % (key, value))
    out.append("")
    out.append("## Targets")
    out.append("")
    out.append("| Workload | Size | Peer | Ratio | Meaning of the ratio | Target | Met? |")
    out.append("|---|---|---|---:|---|---|---|")
    targeted = [r for r in rows if r["target"] is not None]
    for r in targeted:
        out.append("| %s | %s | %s | %s | %s | %s | %s |" % (
            WORKLOADS[r["workload"]][0], r["size"], r["peer"], ratio_text(r["ratio"]),
            "time" if r["kind"] == "time" else "throughput" if r["kind"] == "throughput" else "peak RSS",
            target_text(r["target"]), met_text(r["met"])))
    met = sum(1 for r in targeted if r["met"])
    out.append("")
    out.append("%d of %d targets met." % (met, len(targeted)))
    out.append("")
    out.append("## Results per workload")
    for workload, (title, kind, _peers, what) in WORKLOADS.items():
        mine_rows = [r for r in rows if r["workload"] == workload]
        if not mine_rows and not any(k[0] == workload for k in runs):
            continue
        out.append("")
        out.append("### %s (`BM_%s`)" % (title, workload))
        out.append("")
        out.append(what)
        out.append("")
        out.append("Ratio = %s." % KINDS[kind])
        out.append("")
        out.append("| Size | xmlutil median | Peer | Peer median | Ratio | Target | Met? |")
        out.append("|---|---|---|---|---:|---|---|")
        for r in mine_rows:
            out.append("| %s | %s | %s | %s | %s | %s | %s |" % (
                r["size"], format_median(r["mine"], kind), r["peer"], format_median(r["theirs"], kind),
                ratio_text(r["ratio"]), target_text(r["target"]), met_text(r["met"])))
        errors = [(k, e["error"]) for k, e in runs.items() if k[0] == workload and "error" in e]
        for k, message in errors:
            out.append("")
            out.append("`BM_%s/%s/%s` failed: %s" % (k[0], k[1], k[2], message))
    out.append("")
    out.append("Medians are followed by the coefficient of variation over the repetitions (±%); rates count "
               "the input document's bytes per wall-clock second.")
    out.append("")
    notes = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "bench", "notes.md")
    if os.path.exists(notes):
        with open(notes, encoding="utf-8") as f:
            out.append(f.read().rstrip("\n"))
        out.append("")
    out.extend(tool_startup_section(results_dir))
    out.append("## Charts")
    out.append("")
    for name, title in images:
        out.append("![%s](%s)" % (title, name))
        out.append("")
    with open(path, "w", encoding="utf-8") as f:
        f.write("\n".join(out))


def main(argv):
    if len(argv) != 4:
        sys.stderr.write(__doc__)
        return 2
    results_dir, build_dir, docs_dir = argv[1:]
    runs, contexts = load_results(results_dir)
    if not runs:
        sys.stderr.write("no benchmark results in %s\n" % results_dir)
        return 1
    rows = compare(runs)
    facts = machine_facts(build_dir, results_dir, contexts)
    os.makedirs(docs_dir, exist_ok=True)
    images = []
    for name, kinds, title, xlabel in CHARTS:
        if chart([r for r in rows if r["kind"] in kinds], os.path.join(docs_dir, name), title, xlabel):
            images.append((name, title))
    old_chart = os.path.join(docs_dir, "performance.png")
    if os.path.exists(old_chart):
        os.remove(old_chart)
    write_page(runs, rows, facts, os.path.join(docs_dir, "performance.md"), images, results_dir)
    for r in rows:
        if r["target"] is not None:
            print("%-14s %-6s vs %-8s ratio %-6s target %-7s %s" % (
                r["workload"], r["size"], r["peer"], ratio_text(r["ratio"]), target_text(r["target"]),
                met_text(r["met"]).strip("*")))
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
