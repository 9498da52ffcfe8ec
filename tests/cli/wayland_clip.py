#!/usr/bin/env python3
"""qvane clip in a Wayland session: a real compositor (weston, drawn into a virtual X server so
that it has a seat), the value read back with wl-paste, the holder leaving when its time is up and
when another program takes the clipboard. Skips (77) when weston, wl-clipboard or Xvfb is missing.

Usage: wayland_clip.py PATH_TO_QVANE PATH_TO_QUORVANE
"""
import os
import shutil
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "support"))
from checks import Checks  # noqa: E402

QVANE, QUORVANE = os.path.abspath(sys.argv[1]), os.path.abspath(sys.argv[2])
for tool in ("weston", "wl-copy", "wl-paste", "Xvfb"):
    if not shutil.which(tool):
        print("skipped: %s is not installed" % tool)
        sys.exit(77)

check = Checks()
MASTER = "correct horse"
work = tempfile.mkdtemp()
runtime = os.path.join(work, "run")
os.mkdir(runtime, 0o700)
ENV = {k: v for k, v in os.environ.items() if k not in ("DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM")}
ENV.update(XDG_CONFIG_HOME=os.path.join(work, "config"), XDG_RUNTIME_DIR=runtime,
           PATH=os.path.dirname(QUORVANE) + os.pathsep + ENV.get("PATH", ""))
DOC = os.path.join(work, "vault.qvane")
started = []


def start(args, env):
    p = subprocess.Popen(args, env=env, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
    started.append(p)
    return p


def wait_until(cond, seconds):
    deadline = time.time() + seconds
    while time.time() < deadline:
        if cond():
            return True
        time.sleep(0.1)
    return cond()


def qvane(args, stdin, env):
    return subprocess.run([QVANE, *args], input=stdin.encode(), capture_output=True, env=env, timeout=60)


def paste(env):
    r = subprocess.run(["wl-paste", "--no-newline"], capture_output=True, env=env, timeout=10)
    return r.stdout.decode(errors="replace")


def holders(seconds):
    """Pids of clipboard holders started for this many seconds (other tests hold for others)."""
    r = subprocess.run(["pgrep", "-f", "quorvane --clip --seconds %d$" % seconds], capture_output=True, text=True)
    return r.stdout.split()


try:
    xvfb = subprocess.Popen(["Xvfb", "-displayfd", "1", "-screen", "0", "1024x768x24", "-nolisten", "tcp"],
                            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
    started.append(xvfb)
    display = ":" + xvfb.stdout.readline().decode().strip()
    weston = start(["weston", "--backend=x11-backend.so", "--socket=qv-wayland", "--idle-time=0"],
                   dict(ENV, DISPLAY=display))
    socket = os.path.join(runtime, "qv-wayland")
    if not wait_until(lambda: os.path.exists(socket), 20):
        print("skipped: weston did not start here")
        sys.exit(77)
    WAYLAND = dict(ENV, WAYLAND_DISPLAY="qv-wayland")

    check(qvane(["new", DOC, "--password-stdin"], MASTER + "\n", ENV).returncode == 0, "a new document")
    check(qvane(["add", DOC, "Bank", "--password-stdin"], MASTER + "\nw4yland-s3cret\n", ENV).returncode == 0,
          "a record with a password")
    subprocess.run(["wl-copy", "something before"], env=WAYLAND, timeout=10)
    check(wait_until(lambda: paste(WAYLAND) == "something before", 5), "the compositor's clipboard works")

    # The time runs out: the value was there, and the holder is gone afterwards.
    r = qvane(["clip", DOC, "Bank", "--password-stdin", "--seconds", "2"], MASTER + "\n", WAYLAND)
    check(r.returncode == 0, "clip under Wayland: exit 0 (%d: %s)" % (r.returncode, r.stderr.decode().strip()))
    check(paste(WAYLAND) == "w4yland-s3cret", "the record's password is on the Wayland clipboard")
    check(wait_until(lambda: not holders(2), 12), "the holder ends when its time is up")

    # Another program copies first: the holder has nothing left to clear and leaves at once.
    r = qvane(["clip", DOC, "Bank", "--password-stdin", "--seconds", "120"], MASTER + "\n", WAYLAND)
    check(r.returncode == 0 and paste(WAYLAND) == "w4yland-s3cret", "a second clip")
    check(wait_until(lambda: bool(holders(120)), 5), "the holder stays while the time runs")
    subprocess.run(["wl-copy", "copied elsewhere"], env=WAYLAND, timeout=10)
    check(wait_until(lambda: not holders(120), 10), "the holder leaves when another program takes the clipboard")
    check(paste(WAYLAND) == "copied elsewhere", "and the other program's text stays")
finally:
    for pid in holders(2) + holders(120):
        subprocess.run(["kill", pid])
    for p in reversed(started):
        p.terminate()
        try:
            p.wait(5)
        except subprocess.TimeoutExpired:
            p.kill()
    shutil.rmtree(work, ignore_errors=True)

check.finish()
