#!/usr/bin/env python3
"""A whole session at a terminal, as a user without a window would have it: new, add with the
password typed at a prompt, show, edit, clip, categories, rm, passwd and export to standard
output. The prompts are answered through a pseudo-terminal; every document written is read back
with the independent reader of the format. Prints the session as it went.

Usage: terminal_session.py PATH_TO_QVANE PATH_TO_QUORVANE
"""
import datetime
import json
import os
import pty
import select
import shutil
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "support"))
from checks import Checks  # noqa: E402
from nskeyed import EPOCH  # noqa: E402
from qvane_format import read_document, write_document  # noqa: E402

QVANE, QUORVANE = sys.argv[1], sys.argv[2]
check = Checks()
MASTER, NEW_MASTER = "correct horse", "battery staple"

work = tempfile.mkdtemp()
ENV = {k: v for k, v in os.environ.items() if k not in ("DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM")}
ENV.update(XDG_CONFIG_HOME=os.path.join(work, "config"), XDG_RUNTIME_DIR=work,
           PATH=os.path.dirname(QUORVANE) + os.pathsep + ENV.get("PATH", ""))
DISPLAYED = dict(ENV, QT_QPA_PLATFORM="offscreen")
DOC = os.path.join(work, "vault.qvane")


def say(line):
    print(line.replace(work + "/", ""))


def at_terminal(args, answers):
    """Runs qvane on a pseudo-terminal, typing each answer after its prompt appears."""
    say("$ qvane " + " ".join(args))
    pid, fd = pty.fork()
    if pid == 0:
        os.execve(QVANE, [QVANE, *args], ENV)
    seen, pending = b"", list(answers)
    deadline = time.time() + 60
    while time.time() < deadline:
        ready, _, _ = select.select([fd], [], [], 1)
        if not ready:
            continue
        try:
            chunk = os.read(fd, 1024)
        except OSError:
            break
        if not chunk:
            break
        seen += chunk
        while pending and pending[0][0].encode() in seen.rsplit(b"\n", 1)[-1]:
            prompt, answer = pending.pop(0)
            os.write(fd, (answer + "\n").encode())
            seen += b"\n"  # the next prompt comes on a line of its own
    _, status = os.waitpid(pid, 0)
    os.close(fd)
    text = seen.decode(errors="replace").replace("\r", "")
    for line in text.splitlines():
        if line:
            say("  " + line)
    check(not pending, "qvane %s asked for everything it was given: %r left" % (args[0], pending))
    return os.waitstatus_to_exitcode(status), text


def piped(args, stdin="", env=ENV):
    say("$ qvane " + " ".join(args))
    r = subprocess.run([QVANE, *args], input=stdin.encode(), capture_output=True, env=env, timeout=60)
    for line in (r.stdout + r.stderr).decode().splitlines():
        say("  " + line)
    say("  (exit %d)" % r.returncode)
    return r


def records(password=MASTER, path=DOC):
    """The document as the independent reader sees it: records by name, categories by id."""
    root, members = read_document(path, password)
    check(root["appversion"] == 40100, "written as generation 40100")
    cats = {c["cat_uniqueID"]: c for c in members["catArrayData"]}
    return members["dataArrayData"], cats


def by_name(recs, name):
    found = [r for r in recs if r["name"] == name]
    check(len(found) == 1, "one record named %s: %d" % (name, len(found)))
    return found[0] if found else {}


# new, asking twice on the terminal; a slip in the second typing makes nothing.
status, _ = at_terminal(["new", DOC], [("New master password:", MASTER), ("again:", MASTER + "x")])
check(status == 2 and not os.path.exists(DOC), "new refuses two different passwords and makes nothing")
status, _ = at_terminal(["new", DOC], [("New master password:", MASTER), ("again:", MASTER)])
check(status == 0, "new makes the document")
recs, cats = records()
check(recs == [] and [c["cat_category"] for c in cats.values()] == ["Generic"], "a new document: no record, Generic")

# add with the record's password typed twice at a prompt.
status, _ = at_terminal(["add", DOC, "Bank", "--user", "me", "--url", "https://bank.example", "--category", "Money",
                         "--password-prompt"],
                        [("Master password:", MASTER), ("Password of the record:", "tr0ub4dor&3"),
                         ("again:", "tr0ub4dor&3")])
check(status == 0, "add with a prompted password")
recs, cats = records()
bank = by_name(recs, "Bank")
check(bank.get("password") == "tr0ub4dor&3" and bank.get("userID") == "me", "the prompted password is the record's")
check(cats[bank["categoryID"]]["cat_category"] == "Money", "a category title that does not exist is made")
check(sorted(c["cat_category"] for c in cats.values()) == ["Generic", "Money"], "no other category comes into being")
check(bank["creationDate"] == bank["modificationDate"] and bank["usageCount"] == 0,
      "a new record: both dates now, no use yet")
status, _ = at_terminal(["add", DOC, "Mistyped", "--password-prompt"],
                        [("Master password:", MASTER), ("Password of the record:", "one"), ("again:", "two")])
check(status == 2 and len(records()[0]) == 1, "two different record passwords add nothing")

# A second record, its password from standard input; with no category named it takes the last one.
r = piped(["add", DOC, "Mail", "--password-stdin", "--email", "me@example.com", "--account", "line one\nline\ttwo"],
          MASTER + "\nm41l-pass\n")
recs, cats = records()
mail = by_name(recs, "Mail")
check(r.returncode == 0 and mail.get("password") == "m41l-pass" and cats[mail["categoryID"]]["cat_category"] == "Money",
      "the second line of standard input is the record's password; the last category is taken")
r = piped(["add", DOC, "Shop", "--password-stdin", "--generate", "--type", "hex", "--length", "20", "--print"],
          MASTER + "\n")
printed = r.stdout.decode().strip()
check(r.returncode == 0 and len(printed) == 20 and by_name(records()[0], "Shop").get("password") == printed,
      "--generate --print prints the password it stored")

# show: masked, then in clear as JSON with ISO 8601 dates.
r = piped(["show", DOC, "Bank", "--password-stdin"], MASTER + "\n")
out = r.stdout.decode()
check(r.returncode == 0 and "tr0ub4dor" not in out and "\u2022" * 8 + "\n" in out and "Money" in out,
      "show masks the password with eight dots and names the category")
r = piped(["show", DOC, "Mail", "--password-stdin", "--json", "--show-secrets"], MASTER + "\n")
shown = json.loads(r.stdout) if r.returncode == 0 else {}
check(shown.get("password") == "m41l-pass" and shown.get("account") == "line one\nline\ttwo", "show --show-secrets --json")
created = datetime.datetime.fromisoformat(shown.get("creationDate", "1970-01-01T00:00:00+00:00"))
check(created.tzinfo is not None and abs((created - mail["creationDate"].replace(tzinfo=datetime.timezone.utc))
                                         .total_seconds()) < 1, "show --json gives the creation date in ISO 8601")

# ls through a pipe: tab-separated, values escaped, the fixed mask.
r = piped(["ls", DOC, "--password-stdin", "--columns", "name,password,account"], MASTER + "\n")
rows = [line.split("\t") for line in r.stdout.decode().splitlines()]
check(["Mail", "\u2022" * 8, "line one\\nline\\ttwo"] in rows and rows[0] == ["name", "password", "account"],
      "ls into a pipe writes TSV with \\n and \\t escaped: %r" % rows)

# edit: only the given fields, a new modification date, another category.
time.sleep(1.1)
r = piped(["edit", DOC, "Bank", "--password-stdin", "--rename", "Bank (old)", "--category", "Generic",
           "--pin", "4321"], MASTER + "\n")
recs, cats = records()
edited = by_name(recs, "Bank (old)")
check(r.returncode == 0 and edited.get("pin") == "4321" and edited.get("password") == "tr0ub4dor&3"
      and edited.get("userID") == "me", "edit changes only the given fields")
check(cats[edited["categoryID"]]["cat_category"] == "Generic", "edit --category moves the record")
check(edited["modificationDate"] > edited["creationDate"] and edited["creationDate"] == bank["creationDate"],
      "edit stamps the modification date and keeps the creation date")

# Names that repeat: a usage error that lists them, then --index.
piped(["add", DOC, "Mail", "--password-stdin", "--user", "other"], MASTER + "\nx\n")
r = piped(["show", DOC, "Mail", "--password-stdin"], MASTER + "\n")
check(r.returncode == 2 and r.stderr.decode().count("  --index ") == 2, "an ambiguous name lists the candidates")
r = piped(["show", DOC, "Mail", "--index", "3", "--password-stdin", "--json"], MASTER + "\n")
check(r.returncode == 0 and json.loads(r.stdout)["userID"] == "other", "--index picks one of them")

# clip: without a display a clear error and no use counted; with one (offscreen) a use counted.
r = piped(["clip", DOC, "Shop", "--password-stdin"], MASTER + "\n")
check(r.returncode == 8 and b"display" in r.stderr, "clip without a display exits 8")
check(by_name(records()[0], "Shop").get("usageCount") == 0, "no use is counted when nothing was copied")
started = time.time()
r = piped(["clip", DOC, "Shop", "--password-stdin", "--seconds", "1"], MASTER + "\n", env=DISPLAYED)
check(r.returncode == 0 and time.time() - started < 10, "clip hands the value over and returns at once")
check(by_name(records()[0], "Shop").get("usageCount") == 1, "clip counts one use, as a copy in the window does")

# categories: add with a colour, rename, list, remove.
piped(["categories", DOC, "--password-stdin", "--add", "Travel", "--color", "#3366CC"], MASTER + "\n")
piped(["categories", DOC, "--password-stdin", "--rename", "Travel", "Trips"], MASTER + "\n")
r = piped(["categories", DOC, "--password-stdin", "--json"], MASTER + "\n")
listed = {c["title"]: c for c in json.loads(r.stdout)} if r.returncode == 0 else {}
check(listed.get("Trips", {}).get("backColor") == "#3366CC" and listed["Money"]["records"] == 3
      and listed["Generic"]["records"] == 1, "categories lists titles, colours and counts: %r" % listed)
cats = records()[1]
trips = [c for c in cats.values() if c["cat_category"] == "Trips"]
check(trips and abs(trips[0]["cat_backColor"]["b"] - 0.8) < 0.01, "the colour is stored as the window stores one")
money = [uid for uid, c in cats.items() if c["cat_category"] == "Money"][0]
r = piped(["categories", DOC, "--password-stdin", "--remove", "Money"], MASTER + "\n")
recs, cats = records()
check(r.returncode == 0 and "Money" not in [c["cat_category"] for c in cats.values()], "--remove removes it")
check([x["categoryID"] for x in recs if x["name"] in ("Mail", "Shop")] == [money] * 3,
      "its records are not touched and keep its number, as in the window")

# rm: without a terminal --yes is needed; on one it asks.
r = piped(["rm", DOC, "Shop", "--password-stdin"], MASTER + "\n")
check(r.returncode == 2 and len(records()[0]) == 4, "rm without a terminal needs --yes")
status, _ = at_terminal(["rm", DOC, "Shop"], [("Master password:", MASTER), ("[y/N]", "n")])
check(status == 0 and len(records()[0]) == 4, "answering no deletes nothing")
status, _ = at_terminal(["rm", DOC, "Shop"], [("Master password:", MASTER), ("[y/N]", "y")])
check(status == 0 and "Shop" not in [x["name"] for x in records()[0]], "answering yes deletes the record")
r = piped(["rm", DOC, "Mail", "--index", "2", "--yes", "--password-stdin"], MASTER + "\n")
check(r.returncode == 0 and [x["name"] for x in records()[0]] == ["Bank (old)", "Mail"], "rm --yes --index")

# passwd: asked twice on the terminal; the old password no longer opens the document.
status, _ = at_terminal(["passwd", DOC], [("Master password:", MASTER), ("New master password:", NEW_MASTER),
                                          ("again:", NEW_MASTER)])
check(status == 0 and len(records(NEW_MASTER)[0]) == 2, "passwd changes the master password in place")
check(piped(["dump", DOC, "--password-stdin"], MASTER + "\n").returncode == 1, "the old password no longer opens it")
r = piped(["passwd", DOC, "--password-stdin"], NEW_MASTER + "\n" + MASTER + "\n")
check(r.returncode == 0 and len(records(MASTER)[0]) == 2, "passwd --password-stdin: old and new on two lines")

# export to standard output.
r = piped(["export", DOC, "--format", "tsv", "--fields", "Name,User ID,Password", "-o", "-", "--password-stdin"],
          MASTER + "\n")
check(r.returncode == 0 and "Bank (old)\tme\ttr0ub4dor&3" in r.stdout.decode(), "export -o - writes to standard output")
check(not os.path.exists(os.path.join(work, "-")), "no file named - is made")
# The comma format goes by number or by name; "csv" is the quoted export other managers read.
plain = [piped(["export", DOC, "--format", f, "--fields", "Name,Password", "-o", "-", "--password-stdin"],
               MASTER + "\n").stdout.decode() for f in ("5", "plain-csv")]
check(plain[0] == plain[1] and "Bank (old),tr0ub4dor&3" in plain[0], "plain-csv is format 5")
r = piped(["export", DOC, "--format", "csv", "-o", "-", "--password-stdin"], MASTER + "\n")
check(r.returncode == 0 and r.stdout.decode().startswith("Category,Name,Url,") and "tr0ub4dor&3" in r.stdout.decode(),
      "csv is the export for other managers, to standard output too")
check(not os.path.exists(os.path.join(work, "-")), "still no file named -")

# A document of a newer release is refused; one of an older generation only with --convert.
newer = os.path.join(work, "newer.qvane")
write_document(newer, MASTER, [], [], [], EPOCH, generation=40101)
r = piped(["add", newer, "X", "--password-stdin"], MASTER + "\n")
check(r.returncode == 3, "a document of a newer release is refused with 3")
older = os.path.join(work, "older.qvane")
write_document(older, MASTER, [], [{"cat_category": "Old", "cat_uniqueID": 1, "cat_howManyUsingThis": 0,
                                    "cat_backColor": {"r": 1, "g": 0, "b": 0, "a": 1},
                                    "cat_textColor": {"r": 1, "g": 1, "b": 1, "a": 1}}], [], EPOCH, generation=30000)
before = open(older, "rb").read()
r = piped(["add", older, "X", "--password-stdin"], MASTER + "\n\n")
check(r.returncode == 2 and open(older, "rb").read() == before, "an older generation is left alone without --convert")
r = piped(["add", older, "X", "--password-stdin", "--convert"], MASTER + "\n\n")
check(r.returncode == 0 and [x["name"] for x in records(path=older)[0]] == ["X"], "--convert saves it as 40100")
r = piped(["add", older, "--password-stdin", "--", "--odd"], MASTER + "\n\n")
check(r.returncode == 0 and [x["name"] for x in records(path=older)[0]] == ["X", "--odd"], "after -- a name like an option")

# The layout blocks of the desktop and the phone go through a change as they were read.
laid_out = os.path.join(work, "layout.qvane")
desk = {"windowRecX": 10.0, "windowRecY": 20.0, "windowRecWidth": 900.0, "windowRecHeight": 600.0,
        "makeToolbarVisibleAtDecrypt": True, "latestOrderedColumn": "name", "latestOrderedColumnAscending": True}
write_document(laid_out, MASTER, [], [{"cat_category": "Generic", "cat_uniqueID": 1, "cat_howManyUsingThis": 0,
                                       "cat_backColor": {"r": 1, "g": 0, "b": 0, "a": 1},
                                       "cat_textColor": {"r": 1, "g": 1, "b": 1, "a": 1}}], [], EPOCH,
               extra={"OSXPlatformDictionary": desk, "iOSPlatformDictionary": {"phone": "kept", "n": 1}})
r = piped(["add", laid_out, "Y", "--password-stdin"], MASTER + "\nypass\n")
root = read_document(laid_out, MASTER)[0]
check(r.returncode == 0 and root.get("iOSPlatformDictionary") == {"phone": "kept", "n": 1}, "the phone's block is kept")
kept = root.get("OSXPlatformDictionary", {})
check(all(kept.get(k) == v for k, v in desk.items()), "the desktop's layout is kept: %r" % kept)

# Help for one command.
r = piped(["clip", "--help"])
check(r.returncode == 0 and b"--seconds" in r.stdout and b"Exit status" in r.stdout, "qvane clip --help")
check(piped(["help", "passwd"]).stdout.startswith(b"Usage: qvane passwd FILE"), "qvane help passwd")

shutil.rmtree(work, ignore_errors=True)
check.finish()
