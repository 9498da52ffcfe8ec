#!/usr/bin/env python3
"""How long each desktop program takes from launch to the records shown: ours (`quorvane`) and
the peer's (`keepassxc`) on the same entries, in turn, under a virtual X server with a window
manager. The password is typed the moment the window appears.

"Shown" is read off the screen, the same way for both programs: after the password is typed the
screen is captured again and again until it has not changed for a while; the time is that of the
first capture that already looks like the final one (differences in under 0.5 % of the sampled
pixels, so a blinking text cursor doesn't count). A program busy deciphering can leave the screen
still for seconds, so the final picture must also differ from the locked page as first drawn in a
tenth of the samples, and the peer's window title must have lost its "[Locked]". A progress bar
or an empty table that is later filled counts as not shown yet.

Usage: window_open.py QUORVANE QVANE WORKDIR [--runs R] [--size N]
"""
import argparse
import os
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

here = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, here)
from bench_documents import PW, prepare  # noqa: E402

ap = argparse.ArgumentParser()
ap.add_argument("quorvane")
ap.add_argument("qvane")
ap.add_argument("workdir")
ap.add_argument("--runs", type=int, default=5)
ap.add_argument("--size", type=int, default=100000)
ap.add_argument("--settle", type=float, default=2.0, help="seconds without change that end a run")
ap.add_argument("--shots", help="folder for a picture of each side's final screen, to check what was timed")
args = ap.parse_args()
if args.shots:
    os.makedirs(args.shots, exist_ok=True)
for tool in ("Xvfb", "openbox", "xdotool", "import", "keepassxc"):
    if not shutil.which(tool):
        sys.exit(f"{tool} is needed")

doc, kdbx = prepare(os.path.abspath(args.qvane), args.workdir, args.size)
W, H = 1280, 800
SAMPLE = 61  # every 61st byte of the RGB frame: about 50 000 samples


def grab(env):
    r = subprocess.run(["import", "-window", "root", "-depth", "8", "rgb:-"], env=env, capture_output=True)
    return r.stdout[::SAMPLE]


def differs(a, b):
    if len(a) != len(b):
        return 1.0
    return sum(1 for x, y in zip(a, b) if abs(x - y) > 24) / max(len(a), 1)


def find_window(env, name, deadline):
    while time.time() < deadline:
        r = subprocess.run(["xdotool", "search", "--onlyvisible", "--name", name], env=env, capture_output=True, text=True)
        if r.stdout.split():
            return r.stdout.split()[0]
        time.sleep(0.01)
    return None


def title_of(env, win):
    r = subprocess.run(["xdotool", "getwindowname", win], env=env, capture_output=True, text=True)
    return r.stdout.strip()


def one_run(env, command, title, extra_env, still_locked, shot=None):
    """Seconds from launch to the final picture, or None when the window never came."""
    home = tempfile.mkdtemp()
    runtime = os.path.join(home, "run")
    os.mkdir(runtime, 0o700)
    # Fresh settings for both; ours asks a closed local port for updates instead of the mirrors.
    os.makedirs(os.path.join(home, "config", "Quorvane"))
    with open(os.path.join(home, "config", "Quorvane", "Quorvane.ini"), "w") as f:
        f.write("[General]\n" + "".join(f"updateFeedMirror{n}=http://127.0.0.1:9/x.plist\n" for n in range(1, 5)))
    e = dict(env, HOME=home, XDG_CONFIG_HOME=os.path.join(home, "config"), XDG_CACHE_HOME=os.path.join(home, "cache"),
             XDG_DATA_HOME=os.path.join(home, "data"), XDG_RUNTIME_DIR=runtime, **extra_env)
    desktop = grab(e)
    start = time.perf_counter()
    p = subprocess.Popen(command, env=e, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    try:
        win = find_window(e, title, time.time() + 60)
        if not win:
            return None
        # The locked page as drawn, before anything is typed: what "still locked" looks like.
        locked = grab(e)
        while differs(locked, desktop) < 0.05 and time.perf_counter() - start < 60:
            locked = grab(e)
        subprocess.run(["xdotool", "windowactivate", "--sync", win], env=e, capture_output=True)
        subprocess.run(["xdotool", "type", "--delay", "0", PW], env=e)
        subprocess.run(["xdotool", "key", "Return"], env=e)
        frames, last_change = [], time.perf_counter()
        # Still while it works is not done: the picture must also have left the locked page,
        # and the window must not say that it is locked.
        while time.perf_counter() - start < 120 and (not frames or time.perf_counter() - last_change < args.settle or
                                                      differs(frames[-1][1], locked) < 0.10 or
                                                      still_locked(title_of(e, win))):
            f = grab(e)
            now = time.perf_counter()
            if not frames or differs(frames[-1][1], f) > 0.005:
                last_change = now
            frames.append((now, f))
        final = frames[-1][1]
        if shot:
            subprocess.run(["import", "-window", "root", shot], env=e)
        shown = next(t for t, f in frames if differs(f, final) <= 0.005)
        return shown - start
    finally:
        p.terminate()
        try:
            p.wait(10)
        except subprocess.TimeoutExpired:
            p.kill()
        shutil.rmtree(home, ignore_errors=True)


xvfb = subprocess.Popen(["Xvfb", "-displayfd", "1", "-screen", "0", f"{W}x{H}x24", "-nolisten", "tcp"],
                        stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
env = dict(os.environ, DISPLAY=":" + xvfb.stdout.readline().decode().strip())
for k in ("WAYLAND_DISPLAY", "QT_QPA_PLATFORM"):
    env.pop(k, None)
wm = subprocess.Popen(["openbox"], env=env, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
time.sleep(1)
sides = {
    "ours": ([os.path.abspath(args.quorvane), os.path.abspath(doc)], os.path.basename(doc), {}, lambda t: False),
    "peer": (["keepassxc", os.path.abspath(kdbx)], "KeePassXC", {}, lambda t: "[Locked]" in t),
}
times = {side: [] for side in sides}
try:
    for r in range(args.runs + 1):
        for side, (command, title, extra, still_locked) in sides.items():
            shot = os.path.join(args.shots, f"{side}.png") if args.shots and r == args.runs else None
            t = one_run(env, command, title, extra, still_locked, shot)
            if t is None:
                sys.exit(f"{side}: no window")
            if r > 0:  # the first round warms the file cache for both
                times[side].append(t)
            print(f"run {r} {side}: {t * 1000:.0f} ms", flush=True)
finally:
    wm.terminate()
    xvfb.terminate()

load = os.getloadavg()
print(f"\nlaunch to records shown, {args.size} entries, {args.runs} runs (load average {load[0]:.2f} {load[1]:.2f})")
for side, ts in times.items():
    print(f"{side}: median {statistics.median(ts) * 1000:.0f} ms (min {min(ts) * 1000:.0f}, max {max(ts) * 1000:.0f})")
print(f"ratio ours/peer: {statistics.median(times['ours']) / statistics.median(times['peer']):.2f}")
