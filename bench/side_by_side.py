#!/usr/bin/env python3
"""Our `qvane` and the peer's command line on the same entries, interleaved in one run.

For each size: open and export everything to CSV, open and search one word, list every entry,
and show one entry. Prints the
median of each, the ratio ours/peer, and the same with each side's fixed cost (the median on a
document of three entries, measured in the same run) taken off.

Usage: side_by_side.py QVANE WORKDIR [--runs R] [--sizes 1000,10000,100000]
"""
import argparse
import os
import statistics
import subprocess
import sys
import time

here = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, here)
from bench_documents import PW, prepare  # noqa: E402

ap = argparse.ArgumentParser()
ap.add_argument("qvane")
ap.add_argument("workdir")
ap.add_argument("--runs", type=int, default=5)
ap.add_argument("--sizes", default="1000,10000,100000")
args = ap.parse_args()


def run(cmd, stdin):
    t = time.perf_counter()
    r = subprocess.run(cmd, input=stdin.encode(), stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
    elapsed = time.perf_counter() - t
    if r.returncode != 0:
        sys.exit(f"failed: {' '.join(cmd)}: {r.stderr.decode()[:300]}")
    return elapsed


out_csv = os.path.join(args.workdir, "out.csv")
tasks = lambda: {
    "export csv": (lambda d: [args.qvane, "export", d, "--format", "2", "-o", out_csv, "--password-stdin"],
                   lambda k: ["keepassxc-cli", "export", "-q", "--format", "csv", k]),
    "search word": (lambda d: [args.qvane, "ls", d, "--search", WORD, "--password-stdin"],
                    lambda k: ["keepassxc-cli", "search", "-q", k, WORD]),
    "ls": (lambda d: [args.qvane, "ls", d, "--tsv", "--password-stdin"],
           lambda k: ["keepassxc-cli", "ls", "-q", "-R", "-f", k]),
    "show": (lambda d: [args.qvane, "show", d, FIRST[1], "--password-stdin"],
             lambda k: ["keepassxc-cli", "show", "-q", k, FIRST[0] + "/" + FIRST[1]]),
}
sizes = [3] + [int(s) for s in args.sizes.split(",")]
files = {n: prepare(args.qvane, args.workdir, n) for n in sizes}
# The same seed makes the same first entries at every size: search the site word of the second,
# which a few entries share at the larger sizes (oscar1, oscar10, oscar100...).
with open(os.path.join(args.workdir, "e3.csv"), encoding="utf-8") as f:
    lines = f.read().splitlines()
    WORD = lines[2].split(",")[1].split()[0].lower()
    # The first entry's group and title, which every size has: the peer shows an entry by its path.
    FIRST = lines[1].split(",")[:2]
tasks = tasks()
times = {(task, n, side): [] for task in tasks for n in sizes for side in ("ours", "peer")}
for r in range(args.runs):
    # Each round starts right after the largest documents of the round before: one untimed run
    # of each side first, so that the 3-entry figures (the fixed costs) are not taken on a
    # machine still recovering from a large process. It inflated ours by about half.
    for task, (ours, peer) in tasks.items():
        run(ours(files[sizes[0]][0]), PW + "\n")
        run(peer(files[sizes[0]][1]), PW + "\n")
    for n in sizes:
        doc, kdbx = files[n]
        # Likewise at each larger size: the first large process after small ones waits for the
        # system to clear fresh memory (measured: up to half a second more system time for our
        # 100 000-entry export), which would always fall on the same task.
        if n != sizes[0]:
            for task, (ours, peer) in tasks.items():
                run(ours(doc), PW + "\n")
                run(peer(kdbx), PW + "\n")
        for task, (ours, peer) in tasks.items():
            times[(task, n, "ours")].append(run(ours(doc), PW + "\n"))
            times[(task, n, "peer")].append(run(peer(kdbx), PW + "\n"))

med = {k: statistics.median(v) for k, v in times.items()}
print(f"{'task':12} {'entries':>8} {'ours ms':>9} {'peer ms':>9} {'ratio':>6} {'ours-fixed':>11} "
      f"{'peer-fixed':>11} {'ratio':>6}")
for task in tasks:
    fixed_ours, fixed_peer = med[(task, 3, "ours")], med[(task, 3, "peer")]
    for n in sizes:
        o, p = med[(task, n, "ours")], med[(task, n, "peer")]
        oo, pp = max(o - fixed_ours, 0.0), max(p - fixed_peer, 0.0)
        net = f"{oo / pp:6.2f}" if pp > 0.0005 else "     -"
        print(f"{task:12} {n:8d} {o * 1000:9.1f} {p * 1000:9.1f} {o / p:6.2f} {oo * 1000:11.1f} {pp * 1000:11.1f} {net}")

# The spread: each round's figures on their own (the rounds are interleaved, so a round's fixed
# costs and sizes were measured together), as min and max over the rounds.
print()
print(f"{'task':12} {'entries':>8} {'ours min-max ms':>17} {'peer min-max ms':>17} {'net ratio min-max':>18}"
      f" {'growth ours min-max':>20}")
for task in tasks:
    for i, n in enumerate(sizes[1:], start=1):
        ours = times[(task, n, "ours")]
        peer = times[(task, n, "peer")]
        ratios, growths = [], []
        for r in range(args.runs):
            oo = max(ours[r] - times[(task, 3, "ours")][r], 0.0)
            pp = max(peer[r] - times[(task, 3, "peer")][r], 0.0)
            if pp > 0.0005:
                ratios.append(oo / pp)
            if i > 1:
                smaller = max(times[(task, sizes[i - 1], "ours")][r] - times[(task, 3, "ours")][r], 0.0)
                if smaller > 0.0005:
                    growths.append(oo / smaller)
        spread = lambda v, f: f"{min(v) * f:.1f}-{max(v) * f:.1f}" if v else "-"
        ratio = f"{min(ratios):.3f}-{max(ratios):.3f}" if ratios else "-"
        growth = f"{min(growths):.1f}-{max(growths):.1f}" if growths else "-"
        print(f"{task:12} {n:8d} {spread(ours, 1000):>17} {spread(peer, 1000):>17} {ratio:>18} {growth:>20}")
