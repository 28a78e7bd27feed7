#!/usr/bin/env python3
"""Writes fingerprint-vectors.json: host values (in the JSON value format of
tools/value_json/README.md) with the exact consumer calls their fingerprint
stream makes, as hex chunks.

The chunks are derived here from the stream format alone, independently of
the C++ code they check:
  header      class ID (4 bytes), sparse flag (1), complex flag (1): 3 calls
  dimensions  one 8-byte call per entry of the dimension list
  elements    1/2/4/8 bytes per integer, logical or char element; floating
              values canonical (one zero, one NaN, signed infinities) as the
              high and low halves of their bit pattern (4+4 or 2+2 bytes);
              complex: real part, then imaginary part
  cell        dimensions, then each element's stream (no header)
  struct      dimensions, then per element the field values in bytewise
              order of the field names (names not fed)
  sparse      header, column count, column starts, row indices, values
  function    the struct stream of the saved form's "function_handle" field
  handle      without its "file" field; nothing when there is no such field
              or its value is unset
  object,     with no service registered: the class name, one byte per call;
  opaque      with the "name-and-count" test service: the name in one call,
              then the element count as 8 bytes
  null        the stream of a 0x0 real double

Run: python3 make_fingerprint_vectors.py > fingerprint-vectors.json
"""
import json
import math
import struct
import sys

CLASS_IDS = {
    "cell": 1, "struct": 2, "logical": 3, "char": 4, "double": 6, "single": 7,
    "int8": 8, "uint8": 9, "int16": 10, "uint16": 11, "int32": 12, "uint32": 13,
    "int64": 14, "uint64": 15, "function_handle": 16, "opaque": 17, "object": 18,
}
INT_WIDTH = {"int8": 1, "uint8": 1, "int16": 2, "uint16": 2, "int32": 4, "uint32": 4,
             "int64": 8, "uint64": 8}
NULL = {"class": "double", "dims": [0, 0], "values": []}


def u(n, width):
    return (n % (1 << (8 * width))).to_bytes(width, "big").hex()


def float_bits(x, single):
    """Bit pattern of a value of the JSON format, before canonicalisation."""
    if isinstance(x, str):
        if x.startswith("bits:0x"):
            return int(x[7:], 16)
        x = {"NaN": math.nan, "Inf": math.inf, "-Inf": -math.inf, "-0": -0.0}[x]
    fmt = ">f" if single else ">d"
    return int.from_bytes(struct.pack(fmt, float(x)), "big")


def canonical(bits, single):
    width = 32 if single else 64
    exp_bits, mant_bits = (8, 23) if single else (11, 52)
    exp_mask = ((1 << exp_bits) - 1) << mant_bits
    mant_mask = (1 << mant_bits) - 1
    sign = bits >> (width - 1)
    if bits & ~(1 << (width - 1)) == 0:
        return 0                                   # +0 and -0
    if bits & exp_mask == exp_mask:
        if bits & mant_mask:
            return exp_mask | (1 << (mant_bits - 1))  # the quiet NaN
        return exp_mask | (sign << (width - 1))    # +-infinity
    return bits


def element(cls, x):
    if cls in ("double", "single"):
        single = cls == "single"
        bits = canonical(float_bits(x, single), single)
        half = 2 if single else 4
        return [u(bits >> (8 * half), half), u(bits, half)]
    if cls == "logical":
        return [u(1 if x else 0, 1)]
    return [u(x, INT_WIDTH[cls])]


def count(dims):
    n = 1
    for d in dims:
        n *= d
    return n


def text_units(s):
    data = s.encode("utf-16-be")
    return [int.from_bytes(data[i:i + 2], "big") for i in range(0, len(data), 2)]


def stream(v, service=None):
    out = []
    encode(v, out, service)
    return out


def encode(v, out, service):
    if v is None:
        v = NULL
    cls = v["class"]
    if cls in ("object", "opaque"):
        name = v["class_name"].encode()
        if service == "name-and-count":
            out += [name.hex(), u(count(v["dims"]), 8)]
        else:
            out += [bytes([b]).hex() for b in name]
        return
    if cls == "function_handle":
        saved = v["saved"]
        if "function_handle" not in saved["fields"] or count(saved["dims"]) == 0:
            return
        f = saved["elements"][0][saved["fields"].index("function_handle")]
        if f is None:
            return
        if f["class"] == "struct" and "file" in f["fields"]:
            k = f["fields"].index("file")
            f = dict(f, fields=f["fields"][:k] + f["fields"][k + 1:],
                     elements=[e[:k] + e[k + 1:] for e in f["elements"]])
        encode(f, out, service)
        return
    dims = v.get("dims")
    if cls == "char" and dims is None:
        n = len(text_units(v["text"]))
        dims = [1, n] if n else [0, 0]
    if v.get("sparse"):
        cplx = v.get("complex", False)
        out += [u(CLASS_IDS[cls], 4), u(1, 1), u(1 if cplx else 0, 1)]
        entries = sorted(v["entries"], key=lambda e: (e[1], e[0]))
        ncols = dims[1]
        out.append(u(ncols, 8))
        starts = [0] * (ncols + 1)
        for e in entries:
            starts[e[1] + 1] += 1
        for j in range(ncols):
            starts[j + 1] += starts[j]
        out += [u(s, 8) for s in starts]
        out += [u(e[0], 8) for e in entries]
        for e in entries:
            out += element(cls, e[2])
            if cplx:
                out += element(cls, e[3])
        return
    if cls == "cell":
        out += [u(d, 8) for d in dims]
        for e in v["elements"]:
            encode(e, out, service)
        return
    if cls == "struct":
        out += [u(d, 8) for d in dims]
        order = sorted(range(len(v["fields"])), key=lambda k: v["fields"][k].encode())
        for e in v["elements"]:
            for k in order:
                encode(e[k], out, service)
        return
    cplx = v.get("complex", False)
    out += [u(CLASS_IDS[cls], 4), u(0, 1), u(1 if cplx else 0, 1)]
    out += [u(d, 8) for d in dims]
    if cls == "char":
        out += [u(c, 2) for c in text_units(v["text"])]
        return
    for i, x in enumerate(v["values"]):
        out += element(cls, x)
        if cplx:
            out += element(cls, v["imag"][i])


# --- the values ----------------------------------------------------------------

def num(cls, dims, values, imag=None):
    v = {"class": cls, "dims": dims, "values": values}
    if imag is not None:
        v.update(complex=True, imag=imag)
    return v


def text(s, dims=None):
    v = {"class": "char", "text": s}
    if dims is not None:
        v["dims"] = dims
    return v


def struct_(dims, fields, elements):
    return {"class": "struct", "dims": dims, "fields": fields, "elements": elements}


def cell(dims, elements):
    return {"class": "cell", "dims": dims, "elements": elements}


def sparse(cls, dims, entries, cplx=False):
    v = {"class": cls, "sparse": True, "dims": dims, "entries": entries}
    if cplx:
        v["complex"] = True
    return v


def handle(function, file, extra=None):
    fields = ["function", "type", "file"]
    values = [text(function), text("simple"), text(file)]
    if extra:
        fields.append(extra[0])
        values.append(extra[1])
    saved = struct_([1, 1], ["function_handle"], [[struct_([1, 1], fields, [values])]])
    return {"class": "function_handle", "saved": saved}


def obj(kind, name, dims):
    return {"class": kind, "class_name": name, "dims": dims}


d = lambda x: num("double", [1, 1], [x])
VECTORS = [
    ("double scalar 2.5", d(2.5)),
    ("double 2x3 column-major", num("double", [2, 3], [1, 2, 3, 4, 5, 6])),
    ("double +0", d(0)),
    ("double -0", d("-0")),
    ("double quiet NaN", d("NaN")),
    ("double NaN with payload", d("bits:0x7ff8000000000123")),
    ("double negative NaN", d("bits:0xfff8000000000001")),
    ("double signalling NaN", d("bits:0x7ff0000000000001")),
    ("double +Inf", d("Inf")),
    ("double -Inf", d("-Inf")),
    ("double subnormal and extremes", num("double", [1, 3], ["bits:0x0000000000000001", 1.7976931348623157e308, -2.2250738585072014e-308])),
    ("double 0x0", num("double", [0, 0], [])),
    ("double 1x0", num("double", [1, 0], [])),
    ("double 0x3", num("double", [0, 3], [])),
    ("double without dimensions", num("double", [], [7])),
    ("double 2x1x2", num("double", [2, 1, 2], [1, -1, 0.5, -0.25])),
    ("null", None),
    ("single 1.5", num("single", [1, 1], [1.5])),
    ("single 0.1 rounded", num("single", [1, 1], [0.1])),
    ("single NaN with payload", num("single", [1, 1], ["bits:0xffc00001"])),
    ("single -0 and -Inf", num("single", [1, 2], ["-0", "-Inf"])),
    ("single +Inf and NaN", num("single", [2, 1], ["Inf", "NaN"])),
    ("int8 extremes", num("int8", [2, 2], [-128, 127, -1, 0])),
    ("uint8", num("uint8", [1, 3], [0, 255, 17])),
    ("int16 2x3", num("int16", [2, 3], [1, -2, 3, -4, 32767, -32768])),
    ("uint16", num("uint16", [1, 2], [65535, 258])),
    ("int32", num("int32", [1, 2], [-2147483648, 2147483647])),
    ("uint32", num("uint32", [2, 1], [4294967295, 16909060])),
    ("int64", num("int64", [1, 2], [-9223372036854775808, 9223372036854775807])),
    ("uint64", num("uint64", [1, 2], [18446744073709551615, 72623859790382856])),
    ("logical 1x3", num("logical", [1, 3], [True, False, True])),
    ("logical 0x0", num("logical", [0, 0], [])),
    ("char A", text("A")),
    ("char with non-ASCII units", text("h\u00e9\u20ac\U0001F600")),
    ("char 2x2", text("abcd", [2, 2])),
    ("char empty", text("")),
    ("complex double with NaN and -0", num("double", [1, 2], [1.5, "-0"], ["bits:0x7ff8000000000042", -2])),
    ("complex single", num("single", [1, 1], [0.5], [-0.5])),
    ("complex int8 3-2i", num("int8", [1, 1], [3], [-2])),
    ("complex uint16", num("uint16", [1, 2], [1, 65535], [2, 0])),
    ("complex int64", num("int64", [1, 1], [-1], [9223372036854775807])),
    ("complex int32", num("int32", [2, 1], [-1, 7], [2147483647, -2147483648])),
    ("complex double 0x0", num("double", [0, 0], [], [])),
    ("sparse logical 3x2", sparse("logical", [3, 2], [[1, 0, True]])),
    ("sparse logical 5x2 same nonzero", sparse("logical", [5, 2], [[1, 0, True]])),
    ("sparse double 4x3", sparse("double", [4, 3], [[3, 2, -1.25], [0, 0, 2], [2, 0, "-0"], [1, 2, "NaN"]])),
    ("sparse double without nonzeros", sparse("double", [2, 2], [])),
    ("sparse logical 0x0", sparse("logical", [0, 0], [])),
    ("sparse single", sparse("single", [2, 2], [[1, 1, 3.0]])),
    ("sparse complex double", sparse("double", [2, 3], [[0, 1, 1, -1], [1, 2, "Inf", 0]], cplx=True)),
    ("sparse complex single", sparse("single", [1, 2], [[0, 0, 2, 4]], cplx=True)),
    ("cell 0x0", cell([0, 0], [])),
    ("cell 2x2 with a null element", cell([2, 2], [d(1), None, text("x"), num("int8", [1, 1], [5])])),
    ("nested cells", cell([1, 2], [cell([1, 1], [cell([0, 1], [])]), cell([1, 1], [None])])),
    ("struct 0x0", struct_([0, 0], ["a", "b"], [])),
    ("struct b then a", struct_([1, 1], ["b", "a"], [[d(1), d(2)]])),
    ("struct a then b", struct_([1, 1], ["a", "b"], [[d(2), d(1)]])),
    ("struct names in byte order", struct_([1, 1], ["a", "_x", "B", "ab"], [[d(1), d(2), d(3), d(4)]])),
    ("struct 1x2 with an empty slot", struct_([1, 2], ["v", "w"], [[d(1), None], [text("q"), num("uint8", [1, 1], [9])]])),
    ("struct without fields 2x1", struct_([2, 1], [], [[], []])),
    ("struct in cell in struct", struct_([1, 1], ["c"], [[cell([2, 1], [struct_([1, 1], ["z", "y"], [[d(26), d(25)]]), None])]])),
    ("function handle", handle("sin", "/toolbox/sin.m")),
    ("function handle defined elsewhere", handle("sin", "/home/user/sin.m")),
    ("function handle with workspace", handle("f", "", ("workspace", cell([1, 1], [d(3)])))),
    ("function handle, file first", {"class": "function_handle", "saved": struct_([1, 1], ["function_handle"], [[struct_([1, 1], ["file", "type", "function"], [[text("/x/g.m"), text("simple"), text("g")]])]])}),
    ("function handle with an unset saved function", {"class": "function_handle", "saved": struct_([1, 1], ["function_handle"], [[None]])}),
    ("function handle without saved function", {"class": "function_handle", "saved": struct_([1, 1], ["other"], [[d(1)]])}),
    ("object, default service", obj("object", "pkg.Model", [1, 1])),
    ("object array 1x0, default service", obj("object", "pkg.Model", [1, 0])),
    ("opaque, default service", obj("opaque", "java.lang.String", [1, 1])),
    ("object in a cell, default service", cell([1, 1], [obj("object", "Gain", [2, 2])])),
]
SERVICE_VECTORS = [
    ("object, name-and-count service", obj("object", "pkg.Model", [2, 3])),
    ("opaque in a struct, name-and-count service", struct_([1, 1], ["h"], [[obj("opaque", "Handle", [1, 1])]])),
]


def main():
    vectors = []
    for name, value in VECTORS:
        vectors.append({"name": name, "value": value, "chunks": stream(value)})
    for name, value in SERVICE_VECTORS:
        vectors.append({"name": name, "service": "name-and-count", "value": value,
                        "chunks": stream(value, "name-and-count")})
    json.dump({"format": "kelvor-fingerprint-vectors/1", "vectors": vectors}, sys.stdout,
              indent=1)
    sys.stdout.write("\n")


if __name__ == "__main__":
    main()
