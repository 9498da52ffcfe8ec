#!/usr/bin/env python3
"""Other password managers' files import into a document.

Mode "peer": the peer desktop manager's command line (Debian package keepassxc, installed here
when missing) makes a KDBX 3.1 database with nested groups and, through its XML import, a KDBX 4
one, plus its XML and CSV exports; each is imported with `qvane import --from` and read back with
`qvane dump`. Exits 77 (skipped) when keepassxc cannot be installed.

Mode "written": KDBX files written here from the format's public description (KDBX 4 with Argon2d
or Argon2id, ChaCha20 or AES-256, ChaCha20 inner stream; KDBX 3.1 with AES-KDF and the Salsa20
inner stream), with the cryptography package and Debian's libargon2 through ctypes.

Usage: foreign_interop.py peer|written PATH_TO_QVANE
"""
import base64
import ctypes
import ctypes.util
import datetime
import gzip
import hashlib
import hmac
import json
import os
import shutil
import struct
import subprocess
import sys
import tempfile
from xml.sax.saxutils import escape

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "support"))
from checks import Checks  # noqa: E402

MODE, QVANE = sys.argv[1], sys.argv[2]
DOC_PW = "document-pw"
DB_PW = "kpx-pässword"
check = Checks()

NOTE = 'Branch said: "keep the card"\nSecond line, with a comma'
# (group path below the root, title, user, password, url, notes)
ENTRIES = [
    (["Bank", "Savings"], "Main account", "alice", 's"ecret,1', "https://bank.example", NOTE),
    (["日本語"], "メール", "ユーザー", "パスワード🔑", "https://mail.example.jp", ""),
    (["Work"], "VPN", "bob", "tab\tinside", "", "Ελληνικά σημειώσεις"),
    ([], "Router", "admin", "r0uter&<pw>", "http://192.168.1.1", ""),
    (["Bank"], "Card", "", "1234", "", "PIN below\n\"quoted\" line"),
]


def qvane(*args, stdin=""):
    return subprocess.run([QVANE, *args], input=stdin.encode(), capture_output=True, check=False)


def new_doc(path):
    r = qvane("new", path, "--password-stdin", stdin=DOC_PW + "\n")
    check(r.returncode == 0, "a new document " + os.path.basename(path) + ": " + r.stderr.decode())


def dump(path):
    r = qvane("dump", path, "--password-stdin", stdin=DOC_PW + "\n")
    return json.loads(r.stdout) if r.returncode == 0 else {"records": [], "categories": []}


def records_of(doc):
    cats = doc["categories"]
    out = []
    for r in doc["records"]:
        cat = cats[r["categoryPtr"]["$category"]]["cat_category"] if "categoryPtr" in r else None
        out.append((cat, r["name"], r["userID"], r["password"], r["url"], r["note"]))
    return sorted(out)


def expected(root_category="Generic"):
    return sorted((" / ".join(g) if g else root_category, t, u, p, url, n) for g, t, u, p, url, n in ENTRIES)


def import_and_check(d, source, label, *extra_stdin, fmt=None):
    doc = os.path.join(d, label + ".qvane")
    new_doc(doc)
    args = ["import", doc, source, "--password-stdin", "--from"] + ([fmt] if fmt else [])
    r = qvane(*args, stdin="\n".join([DOC_PW, *extra_stdin]) + "\n")
    check(r.returncode == 0, label + ": import exits 0: " + r.stderr.decode())
    got = records_of(dump(doc))
    check(got == expected(), label + ": every entry with its fields and category\n  got " + repr(got))
    cats = [c["cat_category"] for c in dump(doc)["categories"]]
    check(sorted(cats) == sorted(["Generic", "Bank", "Bank / Savings", "日本語", "Work"]),
          label + ": one category per group path, made once: " + repr(cats))
    return doc


def failures_leave_the_document_alone(d, good_db, label):
    doc = os.path.join(d, label + "-failures.qvane")
    new_doc(doc)
    before = open(doc, "rb").read()
    r = qvane("import", doc, good_db, "--from", "kdbx", "--password-stdin", stdin=DOC_PW + "\nnot it\n")
    check(r.returncode == 1, label + ": a wrong database password exits 1: " + r.stderr.decode())
    check(open(doc, "rb").read() == before, label + ": after a wrong password the document is not written")
    cut = os.path.join(d, label + "-cut.kdbx")
    with open(cut, "wb") as f:
        f.write(open(good_db, "rb").read()[:-40])
    r = qvane("import", doc, cut, "--from", "kdbx", "--password-stdin", stdin=DOC_PW + "\n" + DB_PW + "\n")
    check(r.returncode == 6, label + ": a cut-short database exits 6: " + r.stderr.decode())
    check(open(doc, "rb").read() == before, label + ": after a damaged file the document is not written")


# ---- The peer desktop manager ----

def have_keepassxc():
    if shutil.which("keepassxc-cli"):
        return True
    cmd = ["apt-get", "install", "-y", "-qq", "--no-install-recommends", "keepassxc"]
    if os.geteuid() != 0:
        if not shutil.which("sudo"):
            return False
        cmd = ["sudo", "-n"] + cmd
    env = dict(os.environ, DEBIAN_FRONTEND="noninteractive")
    subprocess.run(cmd, env=env, capture_output=True, check=False)
    return shutil.which("keepassxc-cli") is not None


def kpx(*args, stdin):
    r = subprocess.run(["keepassxc-cli", *args], input=stdin.encode(), capture_output=True, check=False)
    check(r.returncode == 0, "keepassxc-cli " + " ".join(args[:2]) + ": " + r.stderr.decode())
    return r.stdout


def peer(d):
    db = os.path.join(d, "peer3.kdbx")
    kpx("db-create", "-q", "-p", db, stdin=f"{DB_PW}\n{DB_PW}\n")
    for g in ["Bank", "Bank/Savings", "日本語", "Work"]:
        kpx("mkdir", "-q", db, g, stdin=DB_PW + "\n")
    for group, title, user, pw, url, notes in ENTRIES:
        args = ["add", "-q", "-p", db, "/".join(group + [title])]
        if user:
            args += ["-u", user]
        if url:
            args += ["--url", url]
        if notes:
            args += ["--notes", notes]
        kpx(*args, stdin=f"{DB_PW}\n{pw}\n")
    xml = kpx("export", "-q", "-f", "xml", db, stdin=DB_PW + "\n")
    csv_bytes = kpx("export", "-q", "-f", "csv", db, stdin=DB_PW + "\n")
    paths = {}
    for name, data in (("peer.xml", xml), ("peer.csv", csv_bytes)):
        paths[name] = os.path.join(d, name)
        with open(paths[name], "wb") as f:
            f.write(data)
    # Entry custom data needs KDBX 4: the peer's XML import then writes that version.
    xml4 = xml.replace(b"<Entry>", b"<Entry><CustomData><Item><Key>k</Key><Value>v</Value></Item></CustomData>", 1)
    with open(os.path.join(d, "peer4.xml"), "wb") as f:
        f.write(xml4)
    db4 = os.path.join(d, "peer4.kdbx")
    kpx("import", "-q", "-p", os.path.join(d, "peer4.xml"), db4, stdin=f"{DB_PW}\n{DB_PW}\n")
    versions = {p: struct.unpack("<I", open(p, "rb").read()[8:12])[0] >> 16 for p in (db, db4)}
    check(versions == {db: 3, db4: 4}, "the peer made one KDBX 3.1 and one KDBX 4 database: " + repr(versions))

    import_and_check(d, db, "peer-kdbx3", DB_PW)
    import_and_check(d, db4, "peer-kdbx4", DB_PW, fmt="kdbx")
    import_and_check(d, paths["peer.xml"], "peer-xml", fmt="keepass-xml")
    import_and_check(d, paths["peer.csv"], "peer-csv")
    failures_leave_the_document_alone(d, db4, "peer")

    # Our KeePass CSV export is the peer's own column layout.
    doc = os.path.join(d, "peer-kdbx3.qvane")
    out = os.path.join(d, "back.csv")
    r = qvane("export", doc, "--format", "keepass-csv", "-o", out, "--password-stdin", stdin=DOC_PW + "\n")
    check(r.returncode == 0 and "in clear" in r.stderr.decode(), "export to keepass-csv: " + r.stderr.decode())
    check(os.stat(out).st_mode & 0o777 == 0o600, "the export is readable by its owner only")
    peer_header = csv_bytes.split(b"\n")[0]
    check(open(out, "rb").read().startswith(peer_header.rstrip(b"\r")), "the export begins with the peer's header")


# ---- Written here from the format's description ----

SALSA_NONCE = bytes.fromhex("e830094b97205d2a")
KDF_AES = bytes.fromhex("7c02bb8279a74ac0927d114a00648238")
KDF_ARGON2D = bytes.fromhex("ef636ddf8c29444b91f7a9a403e30a0c")
KDF_ARGON2ID = bytes.fromhex("9e298b1956db4773b23dfc3ec6f0a1e6")
CIPHER_AES = bytes.fromhex("31c1f2e6bf714350be5805216afc5aff")
CIPHER_CHACHA = bytes.fromhex("d6038a2b8b6f4cb5a524339a31dbb59a")


def salsa20_stream(key, nonce):
    def rotl(v, c):
        return ((v << c) & 0xFFFFFFFF) | (v >> (32 - c))
    k = struct.unpack("<8I", key)
    n = struct.unpack("<2I", nonce)
    c = struct.unpack("<4I", b"expand 32-byte k")
    counter = 0
    while True:
        s = [c[0], k[0], k[1], k[2], k[3], c[1], n[0], n[1], counter & 0xFFFFFFFF, counter >> 32,
             c[2], k[4], k[5], k[6], k[7], c[3]]
        x = list(s)
        for _ in range(10):
            for a, b, cc, dd in ((0, 4, 8, 12), (5, 9, 13, 1), (10, 14, 2, 6), (15, 3, 7, 11),
                                 (0, 1, 2, 3), (5, 6, 7, 4), (10, 11, 8, 9), (15, 12, 13, 14)):
                x[b] ^= rotl((x[a] + x[dd]) & 0xFFFFFFFF, 7)
                x[cc] ^= rotl((x[b] + x[a]) & 0xFFFFFFFF, 9)
                x[dd] ^= rotl((x[cc] + x[b]) & 0xFFFFFFFF, 13)
                x[a] ^= rotl((x[dd] + x[cc]) & 0xFFFFFFFF, 18)
        yield from struct.pack("<16I", *((x[i] + s[i]) & 0xFFFFFFFF for i in range(16)))
        counter += 1


class Chacha:
    def __init__(self, key, nonce12):
        from cryptography.hazmat.primitives.ciphers import Cipher, algorithms
        self.enc = Cipher(algorithms.ChaCha20(key, b"\0\0\0\0" + nonce12), mode=None).encryptor()

    def apply(self, data):
        return self.enc.update(data)


class Salsa:
    def __init__(self, key):
        self.gen = salsa20_stream(hashlib.sha256(key).digest(), SALSA_NONCE)

    def apply(self, data):
        return bytes(b ^ next(self.gen) for b in data)


def entries_xml(stream, kdbx4):
    def when(seconds_since_2001):
        if kdbx4:
            return base64.b64encode(struct.pack("<q", int(seconds_since_2001) + 63113904000)).decode()
        t = datetime.datetime(2001, 1, 1) + datetime.timedelta(seconds=seconds_since_2001)
        return t.strftime("%Y-%m-%dT%H:%M:%SZ")

    def value(text, protect):
        if protect:
            return '<Value Protected="True">%s</Value>' % base64.b64encode(stream.apply(text.encode())).decode()
        return "<Value>%s</Value>" % escape(text)

    def entry(title, user, pw, url, notes, history=True):
        # The stream runs in document order: this entry's protected value, then its history's.
        protected = value(pw, True)
        hist = ""
        if history:
            hist = "<History>" + entry(title + " (old)", user, "old " + pw, url, "", history=False) + "</History>"
        return ("<Entry><Times><CreationTime>%s</CreationTime><LastModificationTime>%s</LastModificationTime></Times>"
                "<String><Key>Title</Key>%s</String><String><Key>UserName</Key>%s</String>"
                "<String><Key>Password</Key>%s</String><String><Key>URL</Key>%s</String>"
                "<String><Key>Notes</Key>%s</String>%s</Entry>") % (
            when(599616245), when(599616245), value(title, False), value(user, False), protected,
            value(url, False), value(notes, False), hist)

    def group(name, path):
        inner = "".join(entry(t, u, p, url, n) for g, t, u, p, url, n in ENTRIES if g == path)
        children = sorted({tuple(g[:len(path) + 1]) for g, *_ in ENTRIES if len(g) > len(path) and g[:len(path)] == path})
        inner += "".join(group(c[-1], list(c)) for c in children)
        return "<Group><UUID>%s</UUID><Name>%s</Name>%s</Group>" % (
            base64.b64encode(os.urandom(16)).decode(), escape(name), inner)

    return ('<?xml version="1.0" encoding="utf-8"?><KeePassFile><Meta><Generator>test</Generator></Meta>'
            "<Root>%s</Root></KeePassFile>" % group("Root", [])).encode()


def argon2(kind, password_key, salt, memory_kib, iterations, lanes, version=0x13):
    lib = ctypes.CDLL(ctypes.util.find_library("argon2") or "libargon2.so.1")
    out = ctypes.create_string_buffer(32)
    rc = lib.argon2_hash(ctypes.c_uint32(iterations), ctypes.c_uint32(memory_kib), ctypes.c_uint32(lanes),
                         password_key, ctypes.c_size_t(len(password_key)), salt, ctypes.c_size_t(len(salt)),
                         out, ctypes.c_size_t(32), None, ctypes.c_size_t(0), ctypes.c_int(kind),
                         ctypes.c_uint32(version))
    assert rc == 0, rc
    return out.raw


def aes_kdf(composite, seed, rounds):
    from cryptography.hazmat.primitives.ciphers import Cipher, algorithms, modes
    enc = Cipher(algorithms.AES(seed), modes.ECB()).encryptor()
    block = composite
    for _ in range(rounds):
        block = enc.update(block)
    return hashlib.sha256(block).digest()


def encrypt(cipher, key, iv, data):
    from cryptography.hazmat.primitives import padding
    from cryptography.hazmat.primitives.ciphers import Cipher, algorithms, modes
    if cipher == CIPHER_CHACHA:
        return Cipher(algorithms.ChaCha20(key, b"\0\0\0\0" + iv), mode=None).encryptor().update(data)
    padder = padding.PKCS7(128).padder()
    padded = padder.update(data) + padder.finalize()
    enc = Cipher(algorithms.AES(key), modes.CBC(iv)).encryptor()
    return enc.update(padded) + enc.finalize()


def variant_dictionary(items):
    out = struct.pack("<H", 0x0100)
    for key, (kind, value) in items.items():
        raw = {0x04: lambda v: struct.pack("<I", v), 0x05: lambda v: struct.pack("<Q", v), 0x42: lambda v: v}[kind](value)
        out += struct.pack("<B", kind) + struct.pack("<i", len(key)) + key.encode() + struct.pack("<i", len(raw)) + raw
    return out + b"\0"


def kdbx4(path, kdf, cipher, inner_id):
    composite = hashlib.sha256(hashlib.sha256(DB_PW.encode()).digest()).digest()
    seed, salt = os.urandom(32), os.urandom(32)
    iv = os.urandom(12 if cipher == CIPHER_CHACHA else 16)
    if kdf == KDF_AES:
        params = {"$UUID": (0x42, kdf), "R": (0x05, 1000), "S": (0x42, salt)}
        transformed = aes_kdf(composite, salt, 1000)
    else:
        params = {"$UUID": (0x42, kdf), "S": (0x42, salt), "P": (0x04, 2), "M": (0x05, 1 << 20), "I": (0x05, 2),
                  "V": (0x04, 0x13)}
        transformed = argon2(0 if kdf == KDF_ARGON2D else 2, composite, salt, 1024, 2, 2)

    def field(i, data):
        return struct.pack("<BI", i, len(data)) + data
    header = struct.pack("<III", 0x9AA2D903, 0xB54BFB67, 0x00040000)
    header += field(2, cipher) + field(3, struct.pack("<I", 1)) + field(4, seed) + field(7, iv)
    header += field(11, variant_dictionary(params)) + field(0, b"\r\n\r\n")
    key = hashlib.sha256(seed + transformed).digest()
    hmac_key = hashlib.sha512(seed + transformed + b"\x01").digest()

    def block_key(i):
        return hashlib.sha512(struct.pack("<Q", i) + hmac_key).digest()
    stream_key = os.urandom(64)
    stream = Chacha(*(lambda h: (h[:32], h[32:44]))(hashlib.sha512(stream_key).digest())) if inner_id == 3 else Salsa(stream_key)
    inner = field(1, struct.pack("<I", inner_id)) + field(2, stream_key) + field(0, b"")
    payload = encrypt(cipher, key, iv, gzip.compress(inner + entries_xml(stream, True)))
    out = header + hashlib.sha256(header).digest() + hmac.new(block_key(2**64 - 1), header, hashlib.sha256).digest()
    # Two data blocks and the empty one that ends the stream.
    blocks = [payload[:100], payload[100:], b""]
    for i, b in enumerate(blocks):
        out += hmac.new(block_key(i), struct.pack("<QI", i, len(b)) + b, hashlib.sha256).digest()
        out += struct.pack("<I", len(b)) + b
    with open(path, "wb") as f:
        f.write(out)


def kdbx3(path):
    composite = hashlib.sha256(hashlib.sha256(DB_PW.encode()).digest()).digest()
    seed, tseed, iv, skey, start = (os.urandom(n) for n in (32, 32, 16, 32, 32))
    transformed = aes_kdf(composite, tseed, 600)

    def field(i, data):
        return struct.pack("<BH", i, len(data)) + data
    header = struct.pack("<III", 0x9AA2D903, 0xB54BFB67, 0x00030001)
    header += field(2, CIPHER_AES) + field(3, struct.pack("<I", 1)) + field(4, seed) + field(5, tseed)
    header += field(6, struct.pack("<Q", 600)) + field(7, iv) + field(8, skey) + field(9, start)
    header += field(10, struct.pack("<I", 2)) + field(0, b"\r\n\r\n")
    content = gzip.compress(entries_xml(Salsa(skey), False))
    blocks = b""
    for i, chunk in enumerate([content[:70], content[70:]]):
        blocks += struct.pack("<I", i) + hashlib.sha256(chunk).digest() + struct.pack("<I", len(chunk)) + chunk
    blocks += struct.pack("<I", 2) + b"\0" * 32 + struct.pack("<I", 0)
    key = hashlib.sha256(seed + transformed).digest()
    with open(path, "wb") as f:
        f.write(header + encrypt(CIPHER_AES, key, iv, start + blocks))


def written(d):
    for label, make in (
            ("argon2d-chacha20", lambda p: kdbx4(p, KDF_ARGON2D, CIPHER_CHACHA, 3)),
            ("argon2id-aes", lambda p: kdbx4(p, KDF_ARGON2ID, CIPHER_AES, 3)),
            ("aeskdf-chacha20-salsa", lambda p: kdbx4(p, KDF_AES, CIPHER_CHACHA, 2)),
            ("kdbx31-salsa", kdbx3)):
        path = os.path.join(d, label + ".kdbx")
        make(path)
        doc = import_and_check(d, path, label, DB_PW)
        dates = {r["creationDate"]["$date"] for r in dump(doc)["records"]}
        check(dates == {599616245.0}, label + ": creation times kept: " + repr(dates))
    failures_leave_the_document_alone(d, os.path.join(d, "argon2id-aes.kdbx"), "written")

    # The command line's other answers: a malformed file names its line and changes nothing.
    doc = os.path.join(d, "kdbx31-salsa.qvane")
    before = open(doc, "rb").read()
    bad = os.path.join(d, "bad.csv")
    with open(bad, "w", encoding="utf-8") as f:
        f.write('name,url,username,password\nok,https://a,b,c\n"never closed,x,y,z\n')
    r = qvane("import", doc, bad, "--from", "chrome-csv", "--password-stdin", stdin=DOC_PW + "\n")
    check(r.returncode == 6 and "line 3" in r.stderr.decode(), "a malformed CSV exits 6 naming line 3: " + r.stderr.decode())
    r = qvane("import", doc, bad, "--from", "--password-stdin", stdin=DOC_PW + "\n")
    check(r.returncode == 6, "the same, its format decided by content: " + r.stderr.decode())
    r = qvane("import", doc, path, "--from", "kdbx", "--key-file", "k.key", "--password-stdin", stdin=DOC_PW + "\n")
    check(r.returncode == 2 and "key file" in r.stderr.decode(), "a key file is refused clearly: " + r.stderr.decode())
    check(open(doc, "rb").read() == before, "none of these wrote the document")

    # Each export, imported into a new document, gives the same records.
    for fmt in ("keepass-csv", "bitwarden-json", "csv"):
        out = os.path.join(d, "out-" + fmt)
        r = qvane("export", doc, "--format", fmt, "-o", out, "--password-stdin", stdin=DOC_PW + "\n")
        check(r.returncode == 0 and os.stat(out).st_mode & 0o777 == 0o600, fmt + ": exported, mode 0600")
        import_and_check(d, out, "back-from-" + fmt)


with tempfile.TemporaryDirectory() as tmp:
    if MODE == "peer":
        if not have_keepassxc():
            print("SKIP: keepassxc-cli is not installed and could not be installed (apt-get install keepassxc)")
            sys.exit(77)
        peer(tmp)
    else:
        written(tmp)
check.finish()
