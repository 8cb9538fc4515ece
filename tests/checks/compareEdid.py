#!/usr/bin/env python3
"""compareEdid.py SYSMIRA EDID...: what `sysmira displays --edid` says of each EDID, field by field beside what
edid-decode says of it. Ends with status 1 when they differ."""
import json
import os
import re
import subprocess
import sys
import tempfile

TIMING = re.compile(r"(\d+)x(\d+)(i?)\s+([\d.]+) Hz(?:\s+\S+\s+[\d.]+ kHz\s+([\d.]+) MHz)?"
                    r"(?: \((?:(\d+) mm x (\d+) mm)?)?")


def sysmira(program, edid):
    """The command's reading of an EDID, by way of a PC whose one monitor has it in the registry."""
    monitor = {"id": "DISPLAY\\AAA0001\\1", "class": "Monitor", "driver": "0001",
               "parameters": {"EDID": {"type": "REG_BINARY", "hex": edid.hex(" ")}}}
    pc = {"devices": [{"id": "HTREE\\ROOT\\0", "children": [monitor]}],
          "displays": [{"mode": {"width": 1, "height": 1}, "monitors": [{"device": monitor["id"]}]}]}
    with tempfile.TemporaryDirectory() as folder:
        name = os.path.join(folder, "pc.json")
        with open(name, "w", encoding="utf-8") as file:
            json.dump(pc, file)
        output = subprocess.run([program, "--machine", name, "--json", "displays", "--edid"],
                                check=True, capture_output=True).stdout
    found = json.loads(output)["displays"][0]["edid"]
    assert bytes.fromhex(found["bytes"]) == edid
    return found["contents"]


def reference(edid):
    """edid-decode's output, one list of lines a block."""
    text = subprocess.run(["edid-decode", "--skip-hex-dump", "--skip-sha"], input=edid,
                          capture_output=True).stdout.decode("utf-8", "replace")
    return [part.splitlines() for part in re.split(r"^Block \d+, ", text, flags=re.M)[1:]]


def timing(line):
    """Width, height, interlaced, rate; then clock and size where they are told."""
    width, height, interlaced, rate, clock, across, down = TIMING.search(line).groups()
    return [int(width), int(height), interlaced == "i", float(rate), clock and float(clock),
            across and (int(across), int(down))]


def below(lines, heading):
    """The lines below a heading that stand further in than it."""
    found = []
    for at, line in enumerate(lines):
        if line.strip().startswith(heading):
            indent = len(line) - len(line.lstrip())
            for inner in lines[at + 1:]:
                if len(inner) - len(inner.lstrip()) <= indent:
                    break
                found.append(inner)
    return found


def value(lines, pattern, default=None):
    for line in lines:
        match = re.search(pattern, line)
        if match:
            return match.groups() if match.re.groups > 1 else match.group(1)
    return default


def close(one, other):
    """Equal, numbers with points to one in ten thousand."""
    if isinstance(one, float) or isinstance(other, float):
        return one is not None and other is not None and abs(one - other) <= 1e-4 * max(1, abs(other))
    if isinstance(one, (list, tuple)) and isinstance(other, (list, tuple)):
        return len(one) == len(other) and all(map(close, one, other))
    return one == other


class Comparison:
    def __init__(self, name):
        self.name, self.fields, self.differences = name, 0, 0

    def check(self, field, ours, theirs):
        self.fields += 1
        if not close(ours, theirs):
            self.differences += 1
            print(f"{self.name}: {field}: sysmira says {ours!r}, edid-decode {theirs!r}")

    def nominal(self, field, ours, theirs):
        """Modes whose rates are names: 60 for 59.94."""
        def key(each):
            return each[:3], each[3]
        ours = sorted(([t["width"], t["height"], t["interlaced"], t["refreshHz"]] for t in ours), key=key)
        theirs = sorted((timing(line)[:4] for line in theirs), key=key)
        self.check(field, [each[:3] for each in ours], [each[:3] for each in theirs])
        self.check(field + " rates", True, all(abs(a[3] - b[3]) < 1 for a, b in zip(ours, theirs)))

    def detailed(self, field, ours, theirs):
        self.check(field,
                   [[t["width"], t["height"], t["interlaced"], float(t["refreshHz"]), t["pixelClockHz"] / 1e6,
                     (t["widthMm"], t["heightMm"]) if "widthMm" in t else None] for t in ours],
                   [timing(line) for line in theirs])


def compare_base(comparison, ours, lines):
    check = comparison.check
    check("version", ours["version"], value(lines, r"Version & Revision: (.*)"))
    check("manufacturer", ours["manufacturer"], value(lines, r"Manufacturer: (.*)"))
    check("product", ours["product"], int(value(lines, r"Model: (\d+)")))
    check("serial number", ours["serialNumber"] or 0, int(value(lines, r"^    Serial Number: (\d+)", 0)))
    model = value(lines, r"Model year: (\d+)")
    check("model year", ours["isModelYear"], model is not None)
    check("week", ours["week"], int(value(lines, r"Made in: week (\d+)", 0)) or None)
    check("year", ours["year"], int(model or value(lines, r"Made in: .*?(\d{4})$")))
    check("digital", ours["digital"], any("Digital display" in line for line in lines))
    check("interface", ours["interface"], value(lines, r"^    (\S+) interface$"))
    check("bits per color", ours["bitsPerColor"], int(value(lines, r"primary color channel: (\d+)", 0)) or None)
    across, down = value(lines, r"Maximum image size: (\d+) cm x (\d+) cm", (0, 0))
    check("size", [ours["widthCm"], ours["heightCm"]], [int(across) or None, int(down) or None])
    check("aspect ratio", round(ours["aspectRatio"] or 0, 2), float(value(lines, r"Aspect ratio: ([\d.]+)", 0)))
    check("gamma", ours["gamma"] or 0.0, float(value(lines, r"Gamma: ([\d.]+)", 0)))
    check("name", ours["name"], value(lines, r"Display Product Name: '(.*)'", ""))
    check("serial text", ours["serialText"], value(lines, r"Display Product Serial Number: '(.*)'", ""))
    check("texts", ours["texts"], [m[1] for m in (re.search(r"Data String: '(.*)'", each) for each in lines) if m])
    limits = value(lines, r"Monitor ranges .*: (\d+)-(\d+) Hz V, (\d+)-(\d+) kHz H, max dotclock (\d+) MHz")
    check("range", ours["range"] and list(ours["range"].values())[:4], limits and [int(x) for x in limits[:4]])
    if limits:
        clock = value(lines, r"Real max dotclock: ([\d.]+) MHz", limits[4])
        check("pixel clock", float((ours["range"] or {}).get("maxPixelClockMhz") or 0), float(clock))
    comparison.nominal("established timings", ours["establishedTimings"],
                       [line for line in below(lines, "Established ") if TIMING.search(line)])
    comparison.nominal("standard timings", ours["standardTimings"],
                       [line for heading in ("Standard Timing", "CVT 3 Byte") for line in below(lines, heading)
                        if TIMING.search(line)])
    comparison.detailed("detailed timings", ours["detailedTimings"], [line for line in lines if "DTD " in line])
    check("extensions", ours["announcedExtensions"], int(value(lines, r"Extension blocks: (\d+)", 0)))


def compare_data_blocks(comparison, ours, lines):
    """Of a CTA-861 extension or a DisplayID one, which may hold blocks of CTA-861 too."""
    check = comparison.check
    blocks = ours.get("dataBlocks", [])
    heads = [line.strip().rstrip(":") for line in lines if re.match(r"  \S.*Data Block", line)]
    check("data blocks", [block["kind"] for block in blocks], [re.sub(r" \(.*|, OUI.*", "", head) for head in heads])
    for block, head in zip(blocks, heads):
        inner = below(lines, head)
        for kind in ("Video Data Block", "YCbCr 4:2:0 Video Data Block"):
            if block["kind"] == kind:
                formats = block.get("videoFormats", [])
                check("formats", [[f["number"], f["native"]] for f in formats if f["timing"]],
                      [[int(re.search(r"VIC\s+(\d+)", line)[1]), "native" in line] for line in inner])
                comparison.nominal("formats", [f["timing"] for f in formats if f["timing"]], inner)
        if block["kind"] == "Audio Data Block":
            text = "\n".join(inner)
            check("audio", [f["name"] for f in block.get("audioFormats", [])], re.findall(r"^    (\S.*):$", text, re.M))
            check("channels", [f["channels"] for f in block.get("audioFormats", [])],
                  [int(n) for n in re.findall(r"Max channels: (\d)", text)])
            check("rates", [sorted(f["ratesKhz"]) for f in block.get("audioFormats", [])],
                  [sorted(map(float, each.split())) for each in re.findall(r"rates \(kHz\): (.*)", text)])
            check("sample sizes", [sorted(f["sampleBits"]) for f in block.get("audioFormats", []) if "sampleBits" in f],
                  [sorted(map(int, each.split())) for each in re.findall(r"sizes \(bits\): (.*)", text)])
            check("bit rates", [f["maxBitRateKbps"] for f in block.get("audioFormats", []) if "maxBitRateKbps" in f],
                  [int(n) for n in re.findall(r"Maximum bit rate: (\d+)", text)])
        if "OUI" in head:
            check("vendor", (block.get("details") or [""])[0][4:12], re.search(r"OUI ([^\s:]+)", head)[1])
            check("physical address", [d.split()[-1] for d in block.get("details", [])[1:]],
                  re.findall(r"physical address: (\S+)", "\n".join(inner)))
        if block["kind"] == "Colorimetry Data Block":
            check("colorimetry", block.get("details", []), [line.strip() for line in inner])
        if block["kind"] == "HDR Static Metadata Data Block":
            check("transfer functions", block.get("details", []),
                  [line.strip() for line in below(lines, "Electro optical transfer functions")])
        if block["kind"] == "Speaker Allocation Data Block":
            check("speakers", len(block.get("details", [])), len(inner))


def compare_cta(comparison, ours, lines):
    check = comparison.check
    check("revision", ours["version"], value(lines, r"Revision: (\d+)"))
    for feature, text in (("underscan", "Underscans IT"), ("basic audio", "Basic audio"),
                          ("YCbCr 4:4:4", "Supports YCbCr 4:4:4"), ("YCbCr 4:2:2", "Supports YCbCr 4:2:2")):
        check(feature, feature in ours.get("features", []), any(text in line for line in lines))
    compare_data_blocks(comparison, ours, lines)
    comparison.detailed("timings", ours.get("timings", []), [line for line in lines if "DTD " in line])


def compare_displayid(comparison, ours, lines):
    comparison.check("version", ours["version"], value(lines, r"Version: (\S+)"))
    compare_data_blocks(comparison, ours, lines)
    timings = [t for block in ours.get("dataBlocks", []) for t in block.get("timings", [])]
    found = [line for line in lines if "DTD: " in line]
    comparison.detailed("timings", timings, found)
    comparison.check("preferred", [t.get("preferred", False) for t in timings],
                     ["preferred" in line for line in found])


def compare(program, name):
    with open(name, "rb") as file:
        edid = file.read()
    comparison = Comparison(os.path.basename(name))
    # edid-decode wants whole blocks.
    ours, blocks = sysmira(program, edid), reference(edid[:len(edid) // 128 * 128])
    whole = [block for block in ours["blocks"] if block["checksum"]]
    comparison.check("blocks", [block["kind"] for block in whole], [lines[0].rstrip(":") for lines in blocks])
    for block, lines in zip(whole, blocks):
        found, expected = value(lines, r"^Checksum: 0x(..)(?: \(should be 0x(..)\))?", None)
        comparison.check("checksum", block["checksum"]["found"], int(found, 16))
        comparison.check("right checksum", block["checksum"]["expected"], int(expected or found, 16))
        if block["kind"].startswith("Base"):
            compare_base(comparison, ours, lines)
        elif block["kind"].startswith("CTA"):
            compare_cta(comparison, block, lines)
        elif block["kind"].startswith("DisplayID"):
            compare_displayid(comparison, block, lines)
    print(f"{comparison.name}: {comparison.fields} fields, {comparison.differences} differ")
    return comparison.differences == 0 and comparison.fields > 20


if __name__ == "__main__":
    results = [compare(sys.argv[1], name) for name in sys.argv[2:]]
    sys.exit(0 if results and all(results) else 1)
