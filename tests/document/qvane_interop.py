#!/usr/bin/env python3
"""Documents exchanged with an independent implementation of the file format.

A document is written here from the published layouts alone (keyed archives through plistlib,
AES-256-CBC and PBKDF2-HMAC-SHA1 through the cryptography package) and read with `qvane dump`;
documents that `qvane new` and `qvane convert` write are read back here the same way.

Usage: qvane_interop.py PATH_TO_QVANE
"""
import json
import os
import plistlib
import subprocess
import sys
import tempfile

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "support"))
from checks import Checks  # noqa: E402
from nskeyed import EPOCH, ns_archive, ns_unarchive  # noqa: E402
from qvane_format import read_document, write_document  # noqa: E402

QVANE = sys.argv[1]
check = Checks()


def qvane(*args, stdin=""):
    return subprocess.run([QVANE, *args], input=stdin.encode(), capture_output=True, check=False)


def category(title, uid, count=0):
    return {"cat_category": title, "cat_backColor": {"r": 0.75, "g": 0.75, "b": 0.75, "a": 1},
            "cat_textColor": {"r": 1, "g": 1, "b": 1, "a": 1}, "cat_howManyUsingThis": count, "cat_uniqueID": uid}


def record(name, cat_id, **more):
    r = {"name": name, "account": "acct", "url": "https://example.com", "userID": "me", "password": "pw\U0001F511",
         "pin": "1234", "security": "blue", "email": "me@example.com", "note": "a\nb",
         "creationDate": EPOCH.replace(year=2020), "modificationDate": EPOCH.replace(year=2021),
         "usageCount": 3, "categoryID": cat_id}
    r.update(more)
    return r


def foreign_documents(d):
    password = "pass\u00e9\u00e9"  # non-ASCII: the key-derivation rule matters
    cats = [category("Work", 5), category("Home", 9), category("Twin", 9)]
    recs = [record("Bank", 5), record("Mail", 9), record("Lost", 77)]
    path = os.path.join(d, "foreign.qvane")
    write_document(path, password, recs, cats, [{"email": "a@b.c", "creationDate": EPOCH}], EPOCH.replace(year=2019),
                   extra={"iOSPlatformDictionary": {"phone": "kept", "n": 1}})
    r = qvane("dump", path, "--password-stdin", stdin=password + "\n")
    check(r.returncode == 0, "a document written independently opens: " + r.stderr.decode())
    if r.returncode == 0:
        doc = json.loads(r.stdout)
        check(doc["appversion"] == 40100 and len(doc["records"]) == 3, "generation and record count")
        check(doc["records"][0]["categoryPtr"] == {"$category": 0}, "records relink to their category by id")
        check(doc["records"][1]["categoryPtr"] == {"$category": 1}, "a duplicated id links to the first category")
        check("categoryPtr" not in doc["records"][2], "an id that matches nothing leaves no category")
        check([c["cat_howManyUsingThis"] for c in doc["categories"]] == [1, 1, 0], "counts are rebuilt on opening")
        check(doc["records"][0]["password"] == "pw\U0001F511" and doc["records"][0]["pin"] == "1234",
              "values come through, characters beyond the BMP included")
        check(list(doc["records"][0].keys())[:3] == ["name", "account", "url"], "key order is kept")
    # ls goes through the window's own filter and sort.
    r = qvane("ls", path, "--password-stdin", "--category", "Work", "--json", stdin=password + "\n")
    check(r.returncode == 0 and [x["name"] for x in json.loads(r.stdout)] == ["Bank"], "ls filters by category")
    if r.returncode == 0:
        listed, dumped = json.loads(r.stdout)[0], doc["records"][0]
        check({k: v for k, v in listed.items() if "Date" not in k} == {k: v for k, v in dumped.items() if "Date" not in k},
              "ls --json prints records as dump does")
        check(listed["creationDate"].startswith("2020-01-01T") and listed["modificationDate"].startswith("2021-01-01T"),
              "ls --json gives dates as ISO 8601: %r" % listed["creationDate"])
    r = qvane("ls", path, "--password-stdin", "--sort", "name", "--descending", "--json", stdin=password + "\n")
    check([x["name"] for x in json.loads(r.stdout)] == ["Mail", "Lost", "Bank"], "ls sorts by a column")
    r = qvane("ls", path, "--password-stdin", "--search", "MAIL", "--columns", "name,password", stdin=password + "\n")
    lines = r.stdout.decode().splitlines()
    check(len(lines) == 2 and "Mail" in lines[1] and "pw" not in lines[1], "ls searches and masks secrets")
    check(qvane("ls", path, "--password-stdin", "--columns", "nope", stdin=password + "\n").returncode == 2,
          "an unknown column is a usage error")
    r = qvane("dump", path, "--password-stdin", stdin="pass\u00e9\u00e8\n")
    check(r.returncode == 0, "the last UTF-8 byte of the password does not count")
    r = qvane("dump", path, "--password-stdin", stdin="wrong password\n")
    check(r.returncode == 1 and b"Wrong Password" in r.stderr, "a wrong password gives status 1")

    # Generation 30000 had no PIN or security fields: they read as empty.
    old = os.path.join(d, "g30000.qvane")
    write_document(old, "secret", [record("Old", 5)], [category("Work", 5)], [], EPOCH, generation=30000)
    r = qvane("dump", old, "--password-stdin", stdin="secret\n")
    check(r.returncode == 0 and json.loads(r.stdout)["records"][0]["pin"] == "", "30000 blanks pin and security")
    info = json.loads(qvane("info", old).stdout)
    check(info["convertFormatString"].startswith("Document is in an old format"), "30000 is told it will convert")

    # Our conversion of the foreign document opens here and keeps the phone block whole.
    out = os.path.join(d, "converted.qvane")
    r = qvane("convert", path, out, "--password-stdin", stdin=password + "\n")
    check(r.returncode == 0, "convert succeeds")
    if r.returncode == 0:
        root, m = read_document(out, password)
        check(root["appversion"] == 40100 and root["latestPlatform"] == "OSX", "convert writes 40100 for OSX")
        check(len(root["salt"]) == 8 and len(root["IV"]) == 16, "salt and IV sizes")
        check(root["iOSPlatformDictionary"] == {"phone": "kept", "n": 1}, "the phone block survives")
        check([x["categoryID"] for x in m["dataArrayData"]] == [5, 9, 0], "saved records carry category ids")
        check(all("records" not in c for c in m["catArrayData"]), "categories are saved without their records")
        check(m["documentCreationDateData"] == EPOCH.replace(year=2019), "the creation date is kept")


def our_documents(d):
    path = os.path.join(d, "new.qvane")
    r = qvane("new", path, "--password-stdin", stdin="sixsix\n")
    check(r.returncode == 0, "qvane new succeeds")
    root, m = read_document(path, "sixsix")
    check(m["dataArrayData"] == [] and [c["cat_category"] for c in m["catArrayData"]] == ["Generic"],
          "a new document holds one category, Generic, and no records")
    check(m["catArrayData"][0]["cat_uniqueID"] == 1, "its id is 1")
    check(root["OSXPlatformDictionary"]["makeToolbarVisibleAtDecrypt"] in (True, 1),
          "it opens in the window with its toolbar")
    check(qvane("new", os.path.join(d, "short.qvane"), "--password-stdin", stdin="five5\n").returncode == 2,
          "five characters are refused")
    again = os.path.join(d, "again.qvane")
    qvane("convert", path, again, "--password-stdin", stdin="sixsix\n")
    root2, _ = read_document(again, "sixsix")
    check(root2["salt"] != root["salt"] and root2["IV"] != root["IV"], "each save has a new salt and IV")


def large_document(d):
    # Enough records for a save to write them on two threads; what comes back here must be
    # every record as it went in, in order, with its category id.
    cats = [category("Work", 5), category("Home", 9)]
    recs = [record("Site %d" % i, 5 if i % 3 else 9, pin="%04d" % (i % 50), usageCount=i) for i in range(24000)]
    path, out = os.path.join(d, "large.qvane"), os.path.join(d, "large-converted.qvane")
    write_document(path, "secret", recs, cats, [], EPOCH)
    r = qvane("convert", path, out, "--password-stdin", stdin="secret\n")
    check(r.returncode == 0, "a large document converts: " + r.stderr.decode())
    if r.returncode == 0:
        _, m = read_document(out, "secret")
        check(m["dataArrayData"] == recs, "its records read back here exactly as written")


def damaged(d):
    path = os.path.join(d, "damaged.qvane")
    write_document(path, "secret", [record("X", 1)], [category("C", 1)], [], EPOCH)
    root = ns_unarchive(open(path, "rb").read())
    root["dataArrayData"] = root["dataArrayData"][:-16]  # a member cut short
    open(path, "wb").write(ns_archive(root))
    r = qvane("dump", path, "--password-stdin", stdin="secret\n")
    check(r.returncode == 1 and b"Wrong Password" in r.stderr, "a truncated member ends as a wrong password")
    root["appversion"] = 40101
    open(path, "wb").write(ns_archive(root))
    r = qvane("info", path)
    check(r.returncode == 3 and b"more recent version" in r.stderr, "a file too new is refused with status 3")
    open(path, "wb").write(b"bplist00 not really")
    check(qvane("info", path).returncode == 4, "a damaged file gives status 4")


with tempfile.TemporaryDirectory() as tmp:
    foreign_documents(tmp)
    our_documents(tmp)
    large_document(tmp)
    damaged(tmp)
check.finish()
