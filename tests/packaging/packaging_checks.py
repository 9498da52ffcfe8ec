#!/usr/bin/env python3
"""Checks of what a package of Quorvane carries besides the programs.

  validate DESKTOP METAINFO       desktop-file-validate and appstreamcli validate --pedantic
  commandline QVANE SOURCE_DIR    the manual page and the three completions know every command,
                                  option and exit status that qvane itself names, and complete them
  install BUILD_DIR               cmake --install puts every file where the desktop looks for it

Exits 77 (skipped) with a message when a tool the check needs is missing; scripts/setup installs
them all, so CI runs every check.
"""
import os
import re
import shutil
import subprocess
import sys
import tempfile

SKIP = 77
failures = []


def check(ok, what):
    if not ok:
        failures.append(what)
        print("FAIL:", what)


def need(*tools):
    missing = [t for t in tools if not (shutil.which(t) or os.path.exists(t))]
    if missing:
        print("skipped: %s not installed (scripts/setup installs it)" % ", ".join(missing))
        sys.exit(SKIP)


def run(cmd, **kw):
    return subprocess.run(cmd, capture_output=True, text=True, **kw)


def validate(desktop, metainfo):
    need("desktop-file-validate", "appstreamcli")
    r = run(["desktop-file-validate", desktop])
    print(r.stdout + r.stderr)
    check(r.returncode == 0 and not (r.stdout + r.stderr).strip(), "desktop-file-validate reports something")
    # --no-net: the screenshot and home page addresses are not fetched (there may be no network).
    r = run(["appstreamcli", "validate", "--pedantic", "--no-net", metainfo])
    print(r.stdout + r.stderr)
    check(r.returncode == 0, "appstreamcli validate fails")
    for line in r.stdout.splitlines():
        tag = line.strip()
        # Reverse-domain ids keep the capital of their last part, as the desktop file's name does.
        if re.match(r"[EWI]:", tag) or (tag.startswith("P:") and "cid-contains-uppercase-letter" not in tag):
            check(False, "appstreamcli: " + tag)
    # The component and the desktop file are one program: same id, and the launchable names it.
    text = open(metainfo, encoding="utf-8").read()
    cid = re.search(r"<id>([^<]+)</id>", text).group(1)
    check(os.path.basename(desktop) == cid + ".desktop", "the desktop file is not named after the component id")
    check("<launchable type=\"desktop-id\">%s.desktop</launchable>" % cid in text, "the launchable is not the desktop file")
    check("<project_license>GPL-3.0-or-later</project_license>" in text, "the metadata's licence differs from LICENSE")


def help_model(qvane):
    """Commands, their options and the exit statuses, as qvane prints them."""
    text = run([qvane, "--help"]).stdout
    commands = re.findall(r"^  ([a-z]+)\b", text.split("Commands:")[1].split("\n\n")[0], re.M)
    check(len(commands) >= 8, "qvane --help lists %d commands" % len(commands))
    options = {}
    for c in commands:
        # Too many arguments for every command: it answers with its usage line.
        r = run([qvane, c, "a", "b", "c", "d"], stdin=subprocess.DEVNULL)
        usage = r.stderr
        check("usage: qvane " + c in usage, "qvane %s gives no usage line" % c)
        options[c] = set(re.findall(r"(?<![\w-])(--[a-z][a-z-]*|-o)\b", usage)) | {"--password-stdin"}
    options["generate"].discard("--password-stdin")
    options["info"].discard("--password-stdin")
    options["convert"].add("--new-password-stdin")
    statuses = re.findall(r"\b(\d) [a-z]", text.split("Exit status:")[1])
    return commands, options, statuses


def commandline(qvane, source):
    need("bash", "/usr/share/bash-completion/bash_completion", "fish", "zsh")
    commands, options, statuses = help_model(qvane)
    comp = os.path.join(source, "packaging", "completions")
    manual = open(os.path.join(source, "packaging", "man", "qvane.1.scd"), encoding="utf-8").read()

    for c in commands:
        check(re.search(r"^\*%s\*" % c, manual, re.M), "the manual page has no entry for " + c)
        for o in options[c]:
            check("*%s*" % o in manual, "the manual page does not name %s of %s" % (o, c))
    for s in statuses:
        check(re.search(r"^\*%s\*\n\t" % s, manual, re.M), "the manual page does not explain exit status " + s)
    check(len(statuses) >= 6, "qvane --help names %d exit statuses" % len(statuses))

    # bash: ask the completion function itself, as the shell does on Tab.
    bash = """
source /usr/share/bash-completion/bash_completion
source %s
compopt() { :; }
words() {
  COMP_WORDS=("$@"); COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
  COMP_LINE="$*"; COMP_POINT=${#COMP_LINE}; COMPREPLY=()
  _qvane; printf '%%s\\n' "${COMPREPLY[@]}"; echo "=="
}
""" % os.path.join(comp, "qvane.bash")
    queries = [["qvane", ""]] + [["qvane", c, "-"] for c in commands] + [
        ["qvane", "ls", "x.qvane", "--sort", "c"], ["qvane", "ls", "--columns", "name,u"],
        ["qvane", "generate", "--type", "6"], ["qvane", "import", "--format", ""]]
    script = bash + "".join("words %s\n" % " ".join("'%s'" % w for w in q) for q in queries)
    r = run(["bash", "-c", script])
    check(r.returncode == 0 and not r.stderr, "bash completion: " + r.stderr)
    answers = [set(a.split()) for a in r.stdout.split("==\n")][:-1]
    if len(answers) != len(queries):
        check(False, "bash completion answered %d of %d questions" % (len(answers), len(queries)))
        return
    check(set(commands) <= answers[0], "bash does not complete the commands: %s" % answers[0])
    for i, c in enumerate(commands, 1):
        check(options[c] <= answers[i], "bash misses %s for %s" % (options[c] - answers[i], c))
    check(answers[-4] == {"category", "createdDate"}, "bash --sort c: %s" % answers[-4])
    check(answers[-3] == {"name,url", "name,userID", "name,usageCount"}, "bash --columns name,u: %s" % answers[-3])
    check(answers[-2] == {"60", "61"}, "bash --type 6: %s" % answers[-2])
    check(answers[-1] == {"0", "1", "2", "3"}, "bash import --format: %s" % answers[-1])

    # fish: its own completion query, with only this file loaded.
    fish_file = os.path.join(comp, "qvane.fish")
    for c in commands:
        r = run(["fish", "--no-config", "-c", "source %s; complete -C 'qvane %s -'" % (fish_file, c)])
        got = {line.split("\t")[0] for line in r.stdout.splitlines()}
        check(options[c] <= got, "fish misses %s for %s" % (options[c] - got, c))
    r = run(["fish", "--no-config", "-c", "source %s; complete -C 'qvane '" % fish_file])
    check(set(commands) <= {line.split("\t")[0] for line in r.stdout.splitlines()}, "fish does not complete the commands")

    # zsh: the file parses, and an interactive zsh offers what bash and fish offer.
    r = run(["zsh", "-n", os.path.join(comp, "_qvane")])
    check(r.returncode == 0, "zsh cannot parse _qvane: " + r.stderr)
    harness = os.path.join(os.path.dirname(os.path.abspath(__file__)), "zsh_complete.zsh")

    def zsh_offers(line):
        r = run(["zsh", "-f", harness, os.path.abspath(comp), line], timeout=60)
        check(r.returncode == 0, r.stderr.strip())
        return set(r.stdout.split())

    check(set(commands) <= zsh_offers("qvane "), "zsh does not complete the commands")
    for c in commands:
        # After the document, where there is one: the options come with it or after it.
        got = zsh_offers("qvane %s %s-" % (c, "" if c == "generate" else "x "))
        check(options[c] <= got, "zsh misses %s for %s" % (options[c] - got, c))
    check(zsh_offers("qvane ls x.qvane --sort c") == {"category", "createdDate"}, "zsh --sort c")
    check(zsh_offers("qvane generate --type 6") == {"60", "61"}, "zsh --type 6")


def install(build):
    need("cmake")
    with tempfile.TemporaryDirectory() as root:
        r = run(["cmake", "--install", build, "--prefix", os.path.join(root, "usr")])
        check(r.returncode == 0, "cmake --install fails: " + r.stderr)
        share = os.path.join(root, "usr", "share")
        expected = [
            "applications/io.quorvane.Quorvane.desktop",
            "metainfo/io.quorvane.Quorvane.metainfo.xml",
            "mime/packages/quorvane.xml",
            "icons/hicolor/scalable/apps/quorvane.svg",
            "icons/hicolor/scalable/mimetypes/application-x-quorvane.svg",
            "icons/hicolor/symbolic/apps/quorvane-symbolic.svg",
            "bash-completion/completions/qvane",
            "zsh/vendor-completions/_qvane",
            "fish/vendor_completions.d/qvane.fish",
            "doc/quorvane/Quorvane 4 User Guide.pdf",
        ]
        if shutil.which("rsvg-convert"):
            for size in (16, 22, 24, 32, 48, 64, 128, 256, 512):
                for icon in ("apps/quorvane", "mimetypes/application-x-quorvane"):
                    path = "icons/hicolor/%dx%d/%s.png" % (size, size, icon)
                    expected.append(path)
                    full = os.path.join(share, path)
                    if os.path.exists(full):
                        # A PNG's width and height are bytes 16 to 24 of its header.
                        head = open(full, "rb").read(24)
                        dims = (int.from_bytes(head[16:20], "big"), int.from_bytes(head[20:24], "big"))
                        check(dims == (size, size), "%s is %dx%d" % (path, *dims))
        else:
            print("note: rsvg-convert not installed, PNG icons not checked")
        if shutil.which("scdoc"):
            expected += ["man/man1/qvane.1.gz", "man/man1/quorvane.1.gz"]
        else:
            print("note: scdoc not installed, manual pages not checked")
        for path in expected:
            check(os.path.isfile(os.path.join(share, path)), "not installed: share/" + path)
        for exe in ("quorvane", "qvane"):
            check(os.access(os.path.join(root, "usr", "bin", exe), os.X_OK), "not installed: bin/" + exe)
        if shutil.which("appstreamcli"):
            # The installed tree as a software centre reads it: component, desktop file and icon together.
            r = run(["appstreamcli", "validate-tree", "--pedantic", "--no-net", root])
            print(r.stdout)
            check(r.returncode == 0, "appstreamcli validate-tree fails on the installed files")


def main():
    mode, args = sys.argv[1], sys.argv[2:]
    {"validate": validate, "commandline": commandline, "install": install}[mode](*args)
    if failures:
        print("%d check(s) failed" % len(failures))
        sys.exit(1)
    print("all checks passed")


if __name__ == "__main__":
    main()
