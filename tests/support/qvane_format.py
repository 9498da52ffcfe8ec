"""The document format written and read from its published layouts alone: keyed archives
through plistlib, AES-256-CBC and PBKDF2-HMAC-SHA1 through the cryptography package. The
interop scripts check what qvane writes with it, and give qvane documents made with it."""
import hashlib
import os
import random

from nskeyed import ns_archive, ns_unarchive

from cryptography.hazmat.primitives import padding
from cryptography.hazmat.primitives.ciphers import Cipher, algorithms, modes


def key_for(password, salt):
    # The UTF-8 bytes cut at the count of UTF-16 units, as the format has always done.
    units = len(password.encode("utf-16-le")) // 2
    return hashlib.pbkdf2_hmac("sha1", password.encode("utf-8")[:units], salt, 10000, 32)


def seal(data, key, iv):
    p = padding.PKCS7(128).padder()
    e = Cipher(algorithms.AES(key), modes.CBC(iv)).encryptor()
    return e.update(p.update(data) + p.finalize()) + e.finalize()


def unseal(data, key, iv):
    d = Cipher(algorithms.AES(key), modes.CBC(iv)).decryptor()
    u = padding.PKCS7(128).unpadder()
    return u.update(d.update(data) + d.finalize()) + u.finalize()


def write_document(path, password, records, categories, emails, created, generation=40100, extra=None):
    salt, iv = os.urandom(8), os.urandom(16)
    key = key_for(password, salt)
    check_text = "".join(chr(random.randint(1, 255)) for _ in range(256)).encode("utf-8")
    root = {"appversion": generation, "latestPlatform": "OSX",
            "dataArrayData": seal(ns_archive(records), key, iv),
            "catArrayData": seal(ns_archive(categories), key, iv),
            "emailArrayData": seal(ns_archive(emails), key, iv),
            "documentCreationDateData": seal(ns_archive(created), key, iv),
            "salt": salt, "IV": iv, "rc": seal(check_text, key, iv), "sha1-rc": hashlib.sha1(check_text).digest()}
    root.update(extra or {})
    with open(path, "wb") as f:
        f.write(ns_archive(root))


def read_document(path, password):
    root = ns_unarchive(open(path, "rb").read())
    key = key_for(password, root["salt"])
    rc = unseal(root["rc"], key, root["IV"])
    assert hashlib.sha1(rc).digest() == root["sha1-rc"], "check string"
    members = {k: ns_unarchive(unseal(root[k], key, root["IV"]))
               for k in ("dataArrayData", "catArrayData", "emailArrayData", "documentCreationDateData")}
    return root, members
