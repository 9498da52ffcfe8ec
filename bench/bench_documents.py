"""The same generated entries as our document and as the peer's database, made once per size in
a work folder and reused by later runs (both side-by-side scripts use them)."""
import os
import subprocess
import sys

here = os.path.dirname(os.path.abspath(__file__))
PW = "bench password"


def run(cmd, stdin):
    r = subprocess.run(cmd, input=stdin.encode(), stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
    if r.returncode != 0:
        sys.exit(f"failed: {' '.join(cmd)}: {r.stderr.decode()[:300]}")


def prepare(qvane, workdir, n):
    """Paths of the .qvane document and the .kdbx database of n entries, made when missing."""
    os.makedirs(workdir, exist_ok=True)
    prefix = os.path.join(workdir, f"e{n}")
    doc, kdbx = prefix + ".qvane", prefix + ".kdbx"
    if not (os.path.exists(doc) and os.path.exists(kdbx)):
        for p in (doc, kdbx):
            if os.path.exists(p):
                os.remove(p)
        subprocess.run([sys.executable, os.path.join(here, "make_bench_data.py"), str(n), prefix], check=True)
        run([qvane, "new", doc, "--password-stdin"], PW + "\n")
        run([qvane, "import", doc, prefix + ".csv", "--map", "header", "--password-stdin"], PW + "\n")
        # The peer's key derivation can't be set below 100 ms.
        run(["keepassxc-cli", "import", "-q", "-p", "-t", "100", prefix + ".xml", kdbx], f"{PW}\n{PW}\n")
    return doc, kdbx
