#!/usr/bin/env python3
"""Old documents (generations before 3.0) written independently and opened with `qvane`.

Each file is built here from the published layouts alone: the container as a keyed archive
(plistlib), every field enciphered by itself with Blowfish-CBC (the cryptography package), and
category colours as old non-keyed archives written by a small writer below. The records and
categories that `qvane dump` then shows are checked against what went in, and `qvane convert`
must give a current file that opens to the same content.

Usage: legacy_interop.py PATH_TO_QVANE
"""
import json
import os
import struct
import subprocess
import sys
import tempfile
import warnings

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "support"))
from checks import Checks  # noqa: E402
from nskeyed import ns_archive  # noqa: E402

warnings.simplefilter("ignore")
try:
    from cryptography.hazmat.decrepit.ciphers.algorithms import Blowfish  # noqa: E402
except ImportError:
    from cryptography.hazmat.primitives.ciphers.algorithms import Blowfish  # noqa: E402
from cryptography.hazmat.primitives import padding  # noqa: E402
from cryptography.hazmat.primitives.ciphers import Cipher, modes  # noqa: E402

QVANE = sys.argv[1]
IV = bytes.fromhex("3C9A17E04B62D85F")
check = Checks()


def bf_key(password):
    # Mac OS Roman bytes cut at the count of UTF-16 units; the cipher uses exactly 16 bytes.
    units = len(password.encode("utf-16-le")) // 2
    raw = password.encode("mac_roman")[:units]
    return (raw + bytes(16))[:16]


def seal(plain, password):
    if not plain:
        return b""
    p = padding.PKCS7(64).padder()
    e = Cipher(Blowfish(bf_key(password)), modes.CBC(IV)).encryptor()
    return e.update(p.update(plain) + p.finalize()) + e.finalize()


def s(text, pw):
    return seal(text.encode("mac_roman"), pw)


def n64(v, pw):
    return seal(struct.pack("<q", v), pw)


def n32(v, pw):
    return seal(struct.pack("<i", v), pw)


def ts_real(x):
    # Whole values go as integers, others as 0x83 and a 32-bit float.
    if float(x).is_integer() and -100 <= x <= 100:
        return struct.pack("<b", int(x))
    return b"\x83" + struct.pack("<f", x)


def ts_color(components, space=1):
    """A colour object in the old non-keyed archive: signature, the object with its class chain,
    a "c" group with the colour space and a group of reals."""
    out = b"\x04\x0bstreamtyped\x81\xe8\x03"
    out += b"\x84\x01@"
    out += b"\x84\x84\x84\x07NSColor\x00\x84\x84\x08NSObject\x00\x85"
    out += b"\x84\x01c" + bytes([space])
    out += b"\x84" + bytes([len(components)]) + b"f" * len(components)
    out += b"".join(ts_real(x) for x in components)
    return out + b"\x86"


def write(path, generation, pw, categories, records, extra=None):
    root = {"appversion": generation}
    if categories is not None:
        root["catArray"] = categories
    root["dataArray"] = records
    root.update(extra or {})
    with open(path, "wb") as f:
        f.write(ns_archive(root))


def qvane(*args, stdin=""):
    return subprocess.run([QVANE, *args], input=stdin.encode(), capture_output=True, check=False)


def dump(path, pw):
    r = qvane("dump", path, "--password-stdin", stdin=pw + "\n")
    return r.returncode, (json.loads(r.stdout) if r.returncode == 0 else None)


def category_fields(group, title, back, text, pw, uid=7):
    c = {"cat_category": s(title, pw)}
    if group == 2:
        return c
    if group != 7:
        c["cat_uniqueID"] = n32(uid, pw)
        c["cat_mark"] = s("x", pw)
    c["cat_backColor"] = seal(back, pw)
    c["cat_textColor"] = seal(text, pw)
    return c


def record_fields(group, r, pw):
    out = {}
    if group >= 2:
        out["category"] = s(r["category"], pw)
    if 3 <= group <= 6:
        out["cat_uniqueID"] = n64(99, pw)
    for k in ("account", "name", "note", "password", "url"):
        out[k] = s(r[k], pw)
    if group >= 4:
        out["email"] = s(r["email"], pw)
    if group >= 5:
        out["userID"] = s(r["userID"], pw)
    if group >= 6:
        out["creationDate"] = s(r["created"], pw)
        out["modificationDate"] = s(r["modified"], pw)
    if group == 7:
        out["usageCount"] = n32(r["usage"], pw) if r["usage"] < 1000 else n64(r["usage"], pw)
    return out


GROUPS = {1: [1000], 2: [2000, 2010, 2020], 3: [2100], 4: [2200, 2210, 2300],
          5: [2400, 2500, 2510, 2520, 2600, 2700, 2710, 2800, 20801], 6: [20900, 20901, 21000],
          7: [21100, 21105, 21110, 21200, 21207]}

RECORDS = [
    {"category": "Banks", "account": "acc-1", "name": "Bank \u00e9t\u00e9", "note": "line one\nline two",
     "password": "p\u00e4ss", "url": "https://bank.example", "email": "me@bank.example", "userID": "me",
     "created": "2010-03-75 10:03:00 \u00b11003", "modified": "2012-03-15 10:20:30 +0100", "usage": 5},
    {"category": "Web", "account": "", "name": "Mail", "note": "", "password": "hunter2",
     "url": "", "email": "", "userID": "root", "created": "2009-01-01 00:01:00 \u00b10001",
     "modified": "2009-01-01 00:01:00 \u00b10001", "usage": 70000},
    {"category": "Nowhere", "account": "a", "name": "Lost", "note": "", "password": "x",
     "url": "", "email": "", "userID": "", "created": "bad", "modified": "bad", "usage": 0},
]
PW = "Old Password \u00e7 longer than sixteen"

with tempfile.TemporaryDirectory() as tmp:
    for group, generations in GROUPS.items():
        for gen in generations:
            path = os.path.join(tmp, f"old{gen}.qvane")
            cats = None
            if group >= 2:
                cats = [category_fields(group, "Banks", ts_color([0.25, 0.5, 0.75, 1]), ts_color([1, 1, 1, 1]), PW),
                        category_fields(group, "Web", ts_color([0.5, 1], space=3), ts_color([0, 0, 0, 1]), PW, uid=3)]
            write(path, gen, PW, cats, [record_fields(group, r, PW) for r in RECORDS])
            code, doc = dump(path, PW)
            check(code == 0, f"{gen}: opens with its password (exit {code})")
            if not doc:
                continue
            names = [r["name"] for r in doc["records"]]
            check(names == [r["name"] for r in RECORDS], f"{gen}: records in file order {names}")
            titles = [c["cat_category"] for c in doc["categories"]]
            want_titles = ["Generic"] if group == 1 else ["Banks", "Web"]
            check(titles == want_titles, f"{gen}: categories {titles}")
            check([c["cat_uniqueID"] for c in doc["categories"]] == list(range(1, len(want_titles) + 1)),
                  f"{gen}: categories numbered from 1")
            bank, mail, lost = doc["records"]
            check(bank["password"] == "p\u00e4ss" and bank["note"] == "line one\nline two",
                  f"{gen}: Mac OS Roman texts come back")
            check(bank["pin"] == "" and bank["security"] == "", f"{gen}: pin and security stay empty")
            check(bank["email"] == ("me@bank.example" if group >= 4 else ""), f"{gen}: email {bank['email']!r}")
            check(mail["userID"] == ("root" if group >= 5 else ""), f"{gen}: userID {mail['userID']!r}")
            if group == 1:
                check(all(r["categoryPtr"] == {"$category": 0} for r in doc["records"]), f"{gen}: all in Generic")
            else:
                check(bank["categoryPtr"] == {"$category": 0} and mail["categoryPtr"] == {"$category": 1},
                      f"{gen}: records find their category by title")
                # No title matches: the record takes the category a new record would get, the one
                # of the record added before it.
                check(lost["categoryPtr"] == {"$category": 1}, f"{gen}: unmatched title {lost['categoryPtr']}")
                counts = [c["cat_howManyUsingThis"] for c in doc["categories"]]
                check(counts == [1, 2], f"{gen}: counts {counts}")
            if group >= 3:
                back = doc["categories"][0]["cat_backColor"]
                check(abs(back["r"] - 0.25) < 1e-6 and abs(back["b"] - 0.75) < 1e-6 and back["a"] == 1,
                      f"{gen}: colour from the old archive {back}")
                grey = doc["categories"][1]["cat_backColor"]
                check(grey["r"] == grey["g"] == grey["b"] == 0.5, f"{gen}: grey colour {grey}")
            elif group == 2:
                back = doc["categories"][0]["cat_backColor"]
                check(back["r"] == 0.75 and doc["categories"][0]["cat_textColor"]["r"] == 1,
                      f"{gen}: default grey and white")
            if group >= 6:
                check("$date" in bank["creationDate"], f"{gen}: a date text that fits is a date")
                check("modificationDate" not in bank, f"{gen}: a date text that doesn't fit removes the key")
                check("creationDate" not in lost, f"{gen}: a bad date removes the key")
            else:
                check("$date" in bank["creationDate"], f"{gen}: dates of the moment of opening")
            check(bank["usageCount"] == (5 if group == 7 else 0), f"{gen}: usageCount {bank['usageCount']}")
            if group == 7:
                check(mail["usageCount"] == 70000, f"{gen}: an 8-byte count")

            code, _ = dump(path, "Wrong password")
            check(code == 1, f"{gen}: a wrong password gives exit 1 (got {code})")

            info = json.loads(qvane("info", path).stdout)
            check(info["convertFormatString"].startswith("Document is in an old format"), f"{gen}: info text")
            check(info["canSave"] is False, f"{gen}: not saved as read")

            # Converted, the file takes the current road and holds the same content.
            out = os.path.join(tmp, f"conv{gen}.qvane")
            r = qvane("convert", path, out, "--password-stdin", stdin=PW + "\n")
            check(r.returncode == 0, f"{gen}: convert exits 0 ({r.stderr.decode()[:200]})")
            code, again = dump(out, PW)
            check(code == 0 and again["appversion"] == 40100, f"{gen}: converted file is current")
            if again:
                strip = lambda d: [{k: v for k, v in r.items() if k not in ("creationDate", "modificationDate", "categoryID")}
                                   for r in d["records"]]
                check(strip(again) == strip(doc), f"{gen}: same records after conversion")
                check(again["categories"] == doc["categories"], f"{gen}: same categories after conversion")
                # The old file merged into its converted copy: its records match on their fields
                # (their dates were made at each conversion), so nothing comes twice.
                r = qvane("merge", out, path, "--dry-run", "--json", "--password-stdin", stdin=PW + "\n" + PW + "\n")
                report = json.loads(r.stdout) if r.returncode == 0 else {}
                check(report.get("added") == [] and report.get("onlyInA") == [],
                      f"{gen}: merged into its converted copy, nothing added ({r.stdout.decode()[:200]} {r.stderr.decode()[:200]})")

    # An unlisted old number never opens.
    path = os.path.join(tmp, "old2222.qvane")
    write(path, 2222, PW, [category_fields(2, "Banks", b"", b"", PW)], [record_fields(2, RECORDS[0], PW)])
    info = json.loads(qvane("info", path).stdout)
    check(info["convertFormatString"].startswith("Document is in an old format"), "2222: old-format text")
    for pw in (PW, "", "anything"):
        check(dump(path, pw)[0] == 1, f"2222 never opens ({pw!r})")

    # Empty old files open with any password.
    for gen in (1000, 2100, 21207):
        path = os.path.join(tmp, f"empty{gen}.qvane")
        write(path, gen, PW, [] if gen != 1000 else None, [])
        code, doc = dump(path, "whatever it is")
        check(code == 0 and doc["records"] == [], f"{gen}: an empty old file opens with any password")

    # A colour stream that is not one, and fields with impossible contents: no crash.
    path = os.path.join(tmp, "damaged.qvane")
    cats = [category_fields(3, "Banks", b"\x04\x0bstreamtyped\x81\xe8\x03\x84\x01@\x84\x84\x84\xff", b"junk", PW)]
    write(path, 2100, PW, cats, [record_fields(3, RECORDS[0], PW)])
    code, doc = dump(path, PW)
    check(code == 0 and doc["categories"][0]["cat_backColor"]["r"] == 0.75,
          "a colour that isn't one keeps the default colour")
    path = os.path.join(tmp, "garbled.qvane")
    recs = [record_fields(5, RECORDS[0], PW)]
    recs[0]["name"] = b"\x01\x02\x03"  # not a whole cipher block
    write(path, 2400, PW, [category_fields(5, "Banks", b"", b"", PW)], recs)
    check(dump(path, PW)[0] == 1, "a field that can't be deciphered ends as a wrong password")
    path = os.path.join(tmp, "wrongtype.qvane")
    write(path, 2400, PW, [{"cat_category": "not data"}], [{"name": 12}])
    check(dump(path, PW)[0] in (0, 1), "fields of the wrong type end cleanly")

check.finish()
