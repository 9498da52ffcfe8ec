#!/usr/bin/env python3
"""Property lists and keyed archives exchanged with an independent implementation.

Python's plistlib lays out binary property lists the way the published writer does (same object
order, uniquing and size choices), so a list it writes must come back from our reader and writer
byte for byte. Keyed archives are built and taken apart here by hand from the published layout.

Usage: plist_interop.py PATH_TO_PLISTTOOL
"""
import base64
import datetime
import json
import math
import plistlib
import subprocess
import sys
import tempfile
import os

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "support"))
from checks import Checks  # noqa: E402
from nskeyed import Rect, ns_archive, ns_unarchive, EPOCH  # noqa: E402

TOOL = sys.argv[1]
check = Checks()


def tool(*args):
    return subprocess.run([TOOL, *args], capture_output=True, check=False)


def canonical(v):
    """A plistlib value in the JSON shape our tool prints."""
    if isinstance(v, dict):
        return {k: canonical(x) for k, x in v.items()}
    if isinstance(v, list):
        return [canonical(x) for x in v]
    if isinstance(v, bytes):
        return {"$data": base64.b64encode(v).decode()}
    if isinstance(v, datetime.datetime):
        return {"$date": (v.replace(tzinfo=None) - EPOCH).total_seconds()}
    if isinstance(v, plistlib.UID):
        return {"CF$UID": v.data}
    return v


def same(a, b, approx_dates=False):
    """Equal with kinds and key order kept: True is not 1, 1.0 is not 1."""
    if isinstance(a, dict) and isinstance(b, dict):
        if list(a.keys()) != list(b.keys()):
            return False
        if approx_dates and list(a.keys()) == ["$date"]:
            return abs(a["$date"] - b["$date"]) < 1e-6
        return all(same(a[k], b[k], approx_dates) for k in a)
    if isinstance(a, list) and isinstance(b, list):
        return len(a) == len(b) and all(same(x, y, approx_dates) for x, y in zip(a, b))
    if type(a) is not type(b):
        return False
    if isinstance(a, float) and math.isnan(a):
        return math.isnan(b)
    return a == b


def sample():
    many = [f"item {i}" for i in range(400)]  # more than 255 objects: two-byte references
    return {
        "ascii": "plain",
        "unicode": "caf\u00e9 \u20ac \U0001F511 \U0001D11E",
        "empty": "",
        "ints": [0, 1, 15, 16, 255, 256, 65535, 65536, 2**32 - 1, 2**32, 2**63 - 1, -1, -2**63, 2**63, 2**64 - 1],
        "bools": [True, False, 1, 0],
        "reals": [0.1, 2.0, -1.5e300, 5e-324, 1.0],
        "data": b"\x00\x01\xffsecret" * 3,
        "bigdata": bytes(range(256)) * 300,  # offsets beyond 65535: larger offset size
        "nested": {"a": [{"b": {}}, []], "long key " * 5: "x" * 20},
        "many": many,
        "uid": plistlib.UID(7),
    }


def binary_round_trip():
    v = sample()
    a = plistlib.dumps(v, fmt=plistlib.FMT_BINARY, sort_keys=False)
    with tempfile.TemporaryDirectory() as d:
        src, out = os.path.join(d, "in.plist"), os.path.join(d, "out.plist")
        open(src, "wb").write(a)
        r = tool("rewrite", src, out)
        check(r.returncode == 0, "rewrite of a plistlib list succeeds: " + r.stderr.decode())
        if r.returncode == 0:
            b = open(out, "rb").read()
            check(a == b, f"rewritten list is byte-identical to plistlib's ({len(a)} vs {len(b)} bytes)")
            back = plistlib.loads(b)
            check(same(canonical(back), canonical(v)), "plistlib reads our list back unchanged")
        r = tool("dump", src)
        check(r.returncode == 0, "dump of a plistlib list succeeds")
        if r.returncode == 0:
            check(same(json.loads(r.stdout), canonical(v)), "our reader sees what plistlib wrote")


def xml_and_dates():
    v = {"LRA": 40300, "GFU": "http://127.0.0.1/x", "when": datetime.datetime(2026, 11, 23, 4, 5, 6, 250000),
         "old": datetime.datetime(1999, 12, 31, 23, 59, 59), "list": [1.5, True, b"\x01"]}
    for fmt, name in ((plistlib.FMT_XML, "XML"), (plistlib.FMT_BINARY, "binary")):
        data = plistlib.dumps(v, fmt=fmt, sort_keys=False)
        with tempfile.NamedTemporaryFile(suffix=".plist", delete=False) as f:
            f.write(data)
        r = tool("dump", f.name)
        os.unlink(f.name)
        check(r.returncode == 0, f"{name} list with dates reads: {r.stderr.decode()}")
        if r.returncode == 0:
            # The XML form keeps whole seconds only: compare with what plistlib itself reads back.
            check(same(json.loads(r.stdout), canonical(plistlib.loads(data)), approx_dates=True),
                  f"{name} list with dates matches")


# --- keyed archives, built and read from the published layout ---------------------------------

def archives():
    records = [{"name": f"Bank {i}", "password": "p\u00e4ss\U0001F511", "usageCount": i, "categoryID": 2,
                "creationDate": datetime.datetime(2020, 1, 1, 12, 0, 0), "note": "line1\nline2"} for i in range(300)]
    root = {"appversion": 40100, "latestPlatform": "OSX", "salt": b"12345678", "records": records,
            "OSXPlatformDictionary": {"windowRecX": 10.5, "splitLeftFrame": Rect(0, 0, 250, 600),
                                      "makeToolbarVisibleAtDecrypt": True}}
    expected = canonical(root)
    expected["OSXPlatformDictionary"]["splitLeftFrame"] = {"$rect": [0.0, 0.0, 250.0, 600.0]}
    with tempfile.TemporaryDirectory() as d:
        src, out = os.path.join(d, "a.archive"), os.path.join(d, "b.archive")
        open(src, "wb").write(ns_archive(root))
        r = tool("unarchive", src)
        check(r.returncode == 0, "a hand-built keyed archive reads: " + r.stderr.decode())
        if r.returncode == 0:
            check(same(json.loads(r.stdout), expected, approx_dates=True), "its content is exact")
        r = tool("rearchive", src, out)
        check(r.returncode == 0, "rearchive succeeds: " + r.stderr.decode())
        if r.returncode == 0:
            back = ns_unarchive(open(out, "rb").read())
            want = dict(root)
            want["OSXPlatformDictionary"] = dict(root["OSXPlatformDictionary"])
            want["OSXPlatformDictionary"]["splitLeftFrame"] = ("rect", "{{0, 0}, {250, 600}}")
            check(back == want, "our archive decodes, by the published layout, to the same tree")


binary_round_trip()
xml_and_dates()
archives()
check.finish()
