#!/usr/bin/env python3
"""Writes the seed corpus of the fuzzing harnesses (fuzz/corpus/<harness>/): small valid and invalid
inputs of every kind the readers take. Deterministic; run it again after changing an input format.

iqt_header: capture files.
iqt_read: 15 bytes of request (read form, small flag, first frame, frame count, start, count), then a
capture file.
vector_load: 9 bytes (load form, start, count), then a binary vector file.
text_import: 2 bytes (import form, choice of index, columns and width), then text.
sigmf_meta: a SigMF metadata file (JSON); the harness puts it beside fixed data files of 64 and 40 bytes.

Files whose names begin with "crash-" are inputs that a fuzzing run reported; they are kept by hand, not
written here, and this script leaves them alone.
"""
import math
import os
import struct

ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "corpus")
CAPTURE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "src", "infra", "testdata",
                       "cdma2kfwd5mspan.iqt")


def write(harness, name, data):
    d = os.path.join(ROOT, harness)
    os.makedirs(d, exist_ok=True)
    with open(os.path.join(d, name), "wb") as f:
        f.write(data)


def header(text):
    text = text.encode("ascii") if isinstance(text, str) else text
    length = str(len(text)).encode("ascii")
    return str(len(length)).encode("ascii") + length + text


def pairs_text(pairs, sep="=", end="\r\n"):
    return "".join("%s%s%s%s" % (k, sep, v, end) for k, v in pairs)


def record(mark, pair):
    h = bytearray(24)
    if mark in ("AP", "both"):
        h[2:6] = b"\xff" * 4
    if mark in ("IQ", "both"):
        h[6:10] = b"\xff" * 4
    body = b"".join(struct.pack("<hh", *pair(i)) for i in range(1024))
    return bytes(h) + body


def capture(points, frames, block, marks, extra=()):
    text = pairs_text([("FFTPoints", points), ("ValidFrames", frames), ("BlockSize", block)] + list(extra))
    out = header(text)
    for k, m in enumerate(marks):
        out += record(m, lambda i, k=k: ((i * 7 + k) % 3000 - 1500, (i * 13 - k * 5) % 4000 - 2000))
    out += record("none", lambda i: (i - 512, 3 * i - 1000))
    return out


def read_request(op, small, first, frames, start, count):
    return struct.pack("<BBiBii", op, small, first, frames + 1, start, count + 1)


def load_request(op, start, count):
    return struct.pack("<Bii", op, start, count)


def main():
    with open(CAPTURE, "rb") as f:
        real = f.read()
    offset = 1 + 3 + 309
    # ---- the header parser
    write("iqt_header", "capture_header", real[:offset])
    write("iqt_header", "small_iq", capture(16, 2, 2, ["IQ", "IQ"]))
    write("iqt_header", "spaced", header("FFTPoints = 8\nBlockSize\n4\tValidFrames==1 Span 5MHz Odd"))
    write("iqt_header", "levels", header(pairs_text([("BlockSize", 1), ("MaxInputLevel", "-10"),
                                                     ("GainOffset", "-80.5"), ("CenterFrequency", "2.1175G"),
                                                     ("UnitPeriod", "160u"), ("K" * 70, "v" * 80)])))
    write("iqt_header", "many_tokens", header(pairs_text([("BlockSize", 2)] + [("K%d" % i, i) for i in range(70)])))
    write("iqt_header", "no_blocksize", header("FFTPoints=16"))
    write("iqt_header", "huge_counts", header(pairs_text([("BlockSize", 99999999999), ("FFTPoints", 1024),
                                                          ("ValidFrames", 3000000)])))
    write("iqt_header", "short", b"3999BlockSize=1")
    write("iqt_header", "zero", b"0")
    # ---- the frame reads: every read form on small files, a few on the larger ones
    files = {
        "iq": capture(16, 3, 3, ["IQ", "IQ", "IQ"], [("IOffset", "1.5"), ("QOffset", "-2")]),
        "ap": capture(16, 3, 3, ["IQ", "AP", "AP"]),
        "marks": capture(8, 3, 3, ["IQ", "both", "none"]),
        "blocks": capture(16, 10, 4, ["IQ"] * 10),
        "empty": capture(16, 0, 4, []),
    }
    for name, body in files.items():
        for op in (range(11) if name != "blocks" else (0, 7, 9)):
            write("iqt_read", "%s_%02d" % (name, op), read_request(op, 1, 1, 2, 5, 40) + body)
    full = capture(1024, 1, 1, ["IQ"])
    cut = real[:offset + 2 * 4120 + 500]
    for op in (0, 1, 2, 3, 7, 9):
        write("iqt_read", "full_%02d" % op, read_request(op, 1, 0, 1, 100, 900) + full)
        write("iqt_read", "capture_cut_%02d" % op, read_request(op, 1, 0, 3, 100, 3000) + cut)
    # ---- binary vector files
    names = {100: "VecCplx64", 101: "VecReal64", 102: "VecCplx32", 103: "VecReal32"}
    sizes = {100: 16, 101: 8, 102: 8, 103: 4}
    for t in names:
        n = 5
        text = ("%s, length=%d" % (names[t], n)).encode("ascii").ljust(64, b"\0")
        head = text + b"\x1a\0\0\0" + struct.pack("<iii3f3i3sx", 1, t, n, 1.5, 2.5, 3.5, 0, 0, 0, b"\0\0\0")
        data = bytes((i * 37) % 256 for i in range(n * sizes[t]))
        for op in range(7):
            write("vector_load", "%s_%d" % (names[t], op), load_request(op, 1, 3) + head + data)
    bad = ("VecReal32, length=5").encode("ascii").ljust(64, b"\0") + b"\x1a\0\0\0" + \
        struct.pack("<iii3f3i3sx", 2, 103, 5, 0, 0, 0, 0, 0, 0, b"\0\0\0")
    write("vector_load", "version2", load_request(0, 0, 1) + bad)
    write("vector_load", "empty", load_request(2, 0, 0) + ("VecCplx32, length=0").encode("ascii").ljust(64, b"\0") +
          b"\x1a\0\0\0" + struct.pack("<iii3f3i3sx", 1, 102, 0, 0, 0, 0, 0, 0, 0, b"\0\0\0"))
    # ---- text vector files
    reals = "".join("%10d        %.20f\n" % (i, math.sin(i) * 10 ** (i % 5 - 2)) for i in range(6))
    cplx = "".join("%10d    %.16g  %.16g\n" % (i, math.cos(i), -math.sin(i)) for i in range(6))
    texts = {
        "reals": reals.encode("ascii"),
        "complex": cplx.encode("ascii"),
        "ints": b"0\n-5\n2147483647\n-2147483648\n4294967295\n",
        "table3": b"1 2 3\n4 5 6\n7.5 -8e3 9\n",
        "bits": b"  0 1 0 1 \n  1 0 0 x \n  2 1 1 1 \n",
        "bits_plain": b"1 0 0 \n0 1 1 \n",
        "words": b"0 1.0\n1 2.0\nnot a number\n3 4.0\n",
    }
    # Choice byte: bit 0 the index flag; the table form takes columns 1 + (c >> 1) % 4 and column
    # (c >> 3) % 4; the bit table takes width (c >> 1) - 1.
    choices = {"reals": [1, 0], "complex": [1, 0], "ints": [0, 1], "table3": [0x0c, 0x14, 0x05],
               "bits": [0x09, 0x0b], "bits_plain": [0x08, 0x06], "words": [1]}
    for name, text in texts.items():
        for op in range(10):
            for c in choices[name]:
                write("text_import", "%s_%d_%02x" % (name, op, c), bytes([op, c]) + text)
    # ---- SigMF metadata
    import json
    def meta(datatype="cf32_le", rate=1e6, captures=None, annotations=None, **extra):
        g = {"core:datatype": datatype, "core:sample_rate": rate, "core:version": "1.0.0"}
        g.update(extra)
        m = {"global": g}
        if captures is not None:
            m["captures"] = captures
        if annotations is not None:
            m["annotations"] = annotations
        return json.dumps(m, indent=1).encode("utf-8")
    for dt in ("cf32_le", "cf32_be", "cf64_le", "cf64_be", "ci16_le", "ci16_be", "ci8", "cu8", "rf32_le",
               "ci32_le"):
        write("sigmf_meta", "type_" + dt, meta(dt, captures=[{"core:sample_start": 0, "core:frequency": 1e8}]))
    write("sigmf_meta", "full", meta(
        "ci16_le", 2.5e6,
        captures=[{"core:sample_start": 0, "core:frequency": 915e6, "core:datetime": "2026-01-01T00:00:00Z"},
                  {"core:sample_start": 8, "core:frequency": 916e6}],
        annotations=[{"core:sample_start": 1, "core:sample_count": 4, "core:freq_lower_edge": 1e6,
                      "core:freq_upper_edge": 2e6, "core:label": "a", "core:comment": "b"},
                     {"core:sample_start": 3}],
        **{"core:recorder": "corvane", "core:description": "seed", "core:num_channels": 1}))
    write("sigmf_meta", "minimal", b'{"global":{"core:datatype":"cu8","core:sample_rate":1,"core:version":"1"}}')
    write("sigmf_meta", "out_of_order", meta(captures=[{"core:sample_start": 5}, {"core:sample_start": 2}]))
    write("sigmf_meta", "beyond", meta(annotations=[{"core:sample_start": 2, "core:sample_count": 100}]))
    write("sigmf_meta", "wrong_types", b'{"global":{"core:datatype":5,"core:sample_rate":"x","core:version":1},'
          b'"captures":{},"annotations":[null]}')
    write("sigmf_meta", "negative_rate", meta(rate=-1))
    write("sigmf_meta", "nested", b'{"global":{"x":[[[[[[{"a":[]}]]]]]]}}')
    write("sigmf_meta", "truncated", meta()[:30])


if __name__ == "__main__":
    main()
