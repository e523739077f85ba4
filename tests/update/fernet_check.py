#!/usr/bin/env python3
"""Checks update tokens and keys with an implementation that shares no code with the program.

Usage: fernet_check.py DIR

For every NAME.token in DIR (with NAME.key and NAME.plain beside it) prints one line
"NAME SIGNATURE DECRYPTION": SIGNATURE is "signed" when the HMAC verifies with the key and
"unsigned" when it does not; DECRYPTION is "same" when the token decrypts to NAME.plain,
"different" when it decrypts to something else and "undecryptable" when it does not decrypt.
For every line "HEXPASSWORD KEY" of DIR/keys.txt prints "key N same" or "key N different",
after deriving the key independently from the password.
"""
import base64
import hashlib
import pathlib
import sys

from cryptography.fernet import Fernet, InvalidToken

SALTS = [b"qT4mzw8Lrb", b"Vn72hcePx5", b"mW9ktR3yQa"]


def derive(password: bytes) -> str:
    key = password
    for salt in SALTS:
        key = hashlib.pbkdf2_hmac("sha1", key, salt, 1000, 16)
    return base64.urlsafe_b64encode(key + key).decode("ascii")


def check_token(directory: pathlib.Path, name: str) -> str:
    fernet = Fernet((directory / f"{name}.key").read_bytes().strip())
    token = (directory / f"{name}.token").read_bytes()
    expected = (directory / f"{name}.plain").read_bytes()
    try:
        fernet.extract_timestamp(token)
        signature = "signed"
    except InvalidToken:
        signature = "unsigned"
    try:
        decryption = "same" if fernet.decrypt(token) == expected else "different"
    except InvalidToken:
        decryption = "undecryptable"
    return f"{name} {signature} {decryption}"


def main() -> int:
    directory = pathlib.Path(sys.argv[1])
    for token in sorted(directory.glob("*.token")):
        print(check_token(directory, token.stem))
    keys = directory / "keys.txt"
    if keys.exists():
        for number, line in enumerate(keys.read_text().splitlines()):
            hex_password, key = (line.split(" ") + [""])[:2]
            result = "same" if derive(bytes.fromhex(hex_password)) == key else "different"
            print(f"key {number} {result}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
