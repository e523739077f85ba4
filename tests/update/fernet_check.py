#!/usr/bin/env python3
"""Checks update tokens and keys with code that shares nothing with the program.

Usage: fernet_check.py DIR
DIR holds the key string in "key", tokens N.WRITER.token of the files N.plain, and "keys.txt"
with lines "HEXPASSWORD KEY". Prints "N.WRITER same|different" for a token that decrypts,
"N.WRITER signed|unsigned" for one that does not, and "key LINE same|different" for each key.
"""
import base64
import hashlib
import pathlib
import sys

from cryptography.fernet import Fernet, InvalidToken

directory = pathlib.Path(sys.argv[1])
fernet = Fernet((directory / "key").read_bytes())
for path in sorted(directory.glob("*.token")):
    token = path.read_bytes()
    try:
        plain = (directory / (path.name.split(".")[0] + ".plain")).read_bytes()
        result = "same" if fernet.decrypt(token) == plain else "different"
    except InvalidToken:
        try:
            fernet.extract_timestamp(token)
            result = "signed"
        except InvalidToken:
            result = "unsigned"
    print(path.stem, result)

for number, line in enumerate((directory / "keys.txt").read_text().splitlines()):
    hex_password, key = line.split(" ")
    derived = bytes.fromhex(hex_password)
    for salt in (b"qT4mzw8Lrb", b"Vn72hcePx5", b"mW9ktR3yQa"):
        derived = hashlib.pbkdf2_hmac("sha1", derived, salt, 1000, 16)
    print("key", number, "same" if base64.urlsafe_b64encode(derived * 2).decode() == key else "different")
