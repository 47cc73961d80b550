"""Keys and signatures of release manifests, by way of the openssl program.

A public key is 96 base64 characters of 72 bytes: "ECS1", the coordinates' size (32) as four bytes, least
significant first, then X and Y of a P-256 point. A signature is base64 of r and s, 32 bytes each. All
numbers of the curve have their most significant byte first.
"""

import base64
import subprocess
import sys
import tempfile

MARK = b"ECS1" + (32).to_bytes(4, "little")
# What stands before the point, 0x04 X Y, in the DER form of a P-256 public key.
SPKI_HEAD = bytes.fromhex("3059301306072a8648ce3d020106082a8648ce3d03010703420004")


def openssl(*words, data=b""):
    """Its output; ends the script with its words when it fails."""
    done = subprocess.run(["openssl", *words], input=data, capture_output=True)
    if done.returncode != 0:
        sys.exit(f"openssl {words[0]}: {done.stderr.decode(errors='replace').strip()}")
    return done.stdout


def public_key(pem):
    """The public key of a private key file, as text."""
    der = openssl("pkey", "-in", str(pem), "-pubout", "-outform", "DER")
    if len(der) != len(SPKI_HEAD) + 64 or not der.startswith(SPKI_HEAD):
        sys.exit(f"{pem} is not a P-256 key")
    return base64.b64encode(MARK + der[len(SPKI_HEAD) :]).decode()


def sign(pem, message):
    """The signature of the message, as text with a newline."""
    public_key(pem)  # no other curve
    der = openssl("dgst", "-sha256", "-sign", str(pem), data=message)
    return base64.b64encode(numbers_of(der)).decode() + "\n"


def verify(key, message, signature):
    """Whether the signature text is the key's for exactly these bytes."""
    try:
        blob = base64.b64decode(key, validate=True)
        raw = base64.b64decode(signature.strip(" \t\r\n"), validate=True)
    except ValueError:
        return False
    if len(blob) != 72 or not blob.startswith(MARK) or len(raw) != 64:
        return False
    with tempfile.TemporaryDirectory() as folder:
        public, proof = f"{folder}/public.der", f"{folder}/signature.der"
        with open(public, "wb") as out:
            out.write(SPKI_HEAD + blob[8:])
        with open(proof, "wb") as out:
            out.write(sequence_of(raw))
        command = ["openssl", "dgst", "-sha256", "-keyform", "DER", "-verify", public, "-signature", proof]
        return subprocess.run(command, input=message, capture_output=True).returncode == 0


def numbers_of(der):
    """r and s, 32 bytes each, of an ECDSA signature: a DER sequence of two integers, short forms only."""
    if der[:1] != b"\x30" or der[1] != len(der) - 2:
        sys.exit("openssl made a signature of an unknown form")
    numbers, rest = [], der[2:]
    while rest:
        if rest[0] != 2 or rest[1] > 33:
            sys.exit("openssl made a signature of an unknown form")
        numbers.append(int.from_bytes(rest[2 : 2 + rest[1]], "big"))
        rest = rest[2 + rest[1] :]
    r, s = numbers
    return r.to_bytes(32, "big") + s.to_bytes(32, "big")


def sequence_of(raw):
    """The DER form of r and s."""
    body = b""
    for half in (raw[:32], raw[32:]):
        number = half.lstrip(b"\x00") or b"\x00"
        if number[0] & 0x80:
            number = b"\x00" + number
        body += bytes([2, len(number)]) + number
    return bytes([0x30, len(body)]) + body
