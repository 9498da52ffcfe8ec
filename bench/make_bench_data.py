#!/usr/bin/env python3
"""Realistic password-manager entries for the side-by-side benchmarks.

Writes the same N entries twice: as a CSV with our ten column titles (imported into a .qvane
document by `qvane import --map header`) and as a KeePass 2 XML file (imported into a .kdbx by
the peer's command line). Names, URLs, user IDs, 16 to 32 character passwords, notes of 0 to 500
characters, 20 categories, e-mail addresses; the same seed gives the same entries.

Usage: make_bench_data.py N OUT_PREFIX   (writes OUT_PREFIX.csv and OUT_PREFIX.xml)
"""
import base64
import csv
import random
import string
import sys
from xml.sax.saxutils import escape

n, prefix = int(sys.argv[1]), sys.argv[2]
rng = random.Random(20261123)
WORDS = ("alpha bravo charlie delta echo foxtrot golf hotel india juliet kilo lima mike november oscar papa "
         "quebec romeo sierra tango uniform victor whiskey xray yankee zulu bank mail shop cloud forum").split()
CATEGORIES = [f"{w.capitalize()} accounts" for w in WORDS[:20]]
PW_CHARS = string.ascii_letters + string.digits + "!#$%&*+-=?@^_"


def note():
    length = rng.randint(0, 500)
    out = []
    while sum(len(w) + 1 for w in out) < length:
        out.append(rng.choice(WORDS))
    return " ".join(out)[:length]


entries = []
for i in range(n):
    site = f"{rng.choice(WORDS)}{i}"
    entries.append({
        "Category": CATEGORIES[i % 20], "Name": f"{site.capitalize()} login",
        "Url": f"https://www.{site}.example.com/login", "Account": f"{rng.randint(10000, 99999)}",
        "User ID": f"{rng.choice(WORDS)}.{rng.choice(WORDS)}{i}",
        "Password": "".join(rng.choice(PW_CHARS) for _ in range(rng.randint(16, 32))),
        "Pin": f"{rng.randint(0, 9999):04d}", "Security": "",
        "Email": f"{rng.choice(WORDS)}{i}@mail.example.org", "Note": note()})

with open(prefix + ".csv", "w", newline="", encoding="utf-8") as f:
    w = csv.writer(f)
    titles = ["Category", "Name", "Url", "Account", "User ID", "Password", "Pin", "Security", "Email", "Note"]
    w.writerow(titles)
    for e in entries:
        w.writerow([e[t] for t in titles])


def uuid():
    return base64.b64encode(bytes(rng.getrandbits(8) for _ in range(16))).decode()


def string_field(key, value, protect=False):
    attr = ' ProtectInMemory="True"' if protect else ""
    return f"<String><Key>{key}</Key><Value{attr}>{escape(value)}</Value></String>"


with open(prefix + ".xml", "w", encoding="utf-8") as f:
    f.write('<?xml version="1.0" encoding="utf-8" standalone="yes"?>\n<KeePassFile><Meta><Generator>bench</Generator>'
            "</Meta><Root><Group><UUID>%s</UUID><Name>Root</Name>" % uuid())
    for c in CATEGORIES:
        f.write(f"<Group><UUID>{uuid()}</UUID><Name>{escape(c)}</Name>")
        for e in entries:
            if e["Category"] != c:
                continue
            f.write(f"<Entry><UUID>{uuid()}</UUID>")
            f.write(string_field("Title", e["Name"]) + string_field("UserName", e["User ID"]) +
                    string_field("Password", e["Password"], True) + string_field("URL", e["Url"]) +
                    string_field("Notes", e["Note"]) + string_field("Account", e["Account"]) +
                    string_field("Pin", e["Pin"], True) + string_field("Email", e["Email"]))
            f.write("</Entry>")
        f.write("</Group>")
    f.write("</Group></Root></KeePassFile>\n")
