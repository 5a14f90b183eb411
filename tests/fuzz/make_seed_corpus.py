#!/usr/bin/env python3
"""Writes the seed inputs of the decoder fuzz targets from the real module
images in tests/data/eeprom (each input laid out as its target reads it).
Run from the repository root; existing seeds are overwritten, inputs found
by fuzzing are left alone."""
import json
import math
import pathlib
import struct

ROOT = pathlib.Path(__file__).resolve().parents[2]
IMAGES = ROOT / "tests" / "data" / "eeprom"
CORPUS = ROOT / "tests" / "fuzz" / "corpus"
ZERO = bytes(128)


def load(prefix):
    images = []
    for path in sorted(IMAGES.glob(prefix + "*.bin")):
        data = path.read_bytes()
        layout = json.loads(path.with_name(path.stem + ".pages.json").read_text())["layout"]
        pages = {e["page"]: data[e["offset"]:e["offset"] + e["length"]] for e in layout}
        images.append((path.stem, pages))
    return images


def page(pages, name):
    return pages.get(name, ZERO)


def seed(target, name, data):
    folder = CORPUS / target
    folder.mkdir(parents=True, exist_ok=True)
    (folder / ("seed_" + name)).write_bytes(data)


def dbm(raw):
    mw = raw * 0.0001
    return 10 * math.log10(mw) if mw > 0 else -40.0


def lane_floats(lower):
    words = lambda first: [int.from_bytes(lower[first + 2 * i:first + 2 * i + 2], "big") for i in range(4)]
    rx = [dbm(w) for w in words(34)] + [0.0] * 4
    tx = [dbm(w) for w in words(50)] + [0.0] * 4
    bias = [w * 0.002 for w in words(42)] + [0.0] * 4
    return struct.pack("<24f", *(rx + tx + bias))


def inventory(name):
    fields = [(name[-16:], 17), ("24031501", 9), ("CLEI000001", 11), ("TEST-PN-0001", 17), ("V01", 5),
              ("QSFP-100G-TEST", 21)]
    return b"".join(text.encode()[:width - 1].ljust(width, b"\0") for text, width in fields)


def main():
    sff = load("sff8636_")
    cmis = load("cmis_")
    for name, p in sff:
        lower, p00 = page(p, "lower"), page(p, "00h")
        flat = lower[2] & 0x04 != 0
        seed("fuzz_sff8636_id", name, p00)
        seed("fuzz_sff8636_status", name, lower)
        seed("fuzz_qsfp28_flat_status", name, lower)
        seed("fuzz_sff8636_info", name, page(p, "02h") if "02h" in p else p00)
        seed("fuzz_cmis_v0_2_id", name, p00)
        seed("fuzz_compliance", name, lower + p00)
        status = lane_floats(lower) + bytes(4 * 175) + struct.pack("<I", 4) + bytes(4 * 200)
        seed("fuzz_sff8636_lane_info", name, status)
        image = lower + p00 + page(p, "01h") + page(p, "02h") + page(p, "03h")
        for size in (9000, 1200) if name == sff[0][0] or flat and name == "sff8636_Amphenol_603020003_1" else (9000,):
            header = bytes([1 if flat else 0]) + struct.pack("<H", size) + bytes([4])
            seed("fuzz_sff8636_show_text", f"{name}_{size}", header + lane_floats(lower) + inventory(name) + image)
        seed("fuzz_page_dump", name, struct.pack("<HhI", 128, 1936, 128) + lower + p00)
    for rev in (3, 4, 7):
        name, p = sff[0]
        lower = bytearray(page(p, "lower"))
        lower[1] = rev
        seed("fuzz_cmis_id", f"{name}_rev{rev}", bytes(lower) + page(p, "00h"))
    for name, p in cmis:
        lower, p00 = page(p, "lower"), page(p, "00h")
        flat = 1 if lower[2] & 0x80 else 0
        for target in ("fuzz_cmis_v0_3_id", "fuzz_cmis_v0_4_id", "fuzz_cmis_def_id"):
            seed(target, name, p00)
        seed("fuzz_cmis_id", name, lower + p00)
        seed("fuzz_cmis_status", name, bytes([flat]) + lower)
        seed("fuzz_cmis_info", name, page(p, "03h") if "03h" in p else p00)
        seed("fuzz_cmis_threshold", name, page(p, "02h"))
        seed("fuzz_sff8636_threshold", name, page(p, "02h"))
        seed("fuzz_cmis_lane_monitor", name, page(p, "11h"))
        # Bring-up: memory, then flags (flat, full bring-up, LPMode off),
        # creator's mode, failing access (0: none reached) and code,
        # requested mode, lanes.
        memory = b"".join(page(p, n) for n in ("lower", "00h", "01h", "02h", "03h", "10h", "11h"))
        seed("fuzz_cmis_bring_up", f"{name}_adopt", memory + bytes([flat, 0, 79, 5, 3, 0x0F]))
        seed("fuzz_cmis_bring_up", f"{name}_full", memory + bytes([flat | 6, 1, 79, 5, 3, 0xFF]))
        for rev in (0x03, 0x04, 0x07, 0x30, 0x40):
            changed = bytearray(memory)
            changed[1] = rev
            changed[128 * 6 + 78:128 * 6 + 86] = bytes(8)  # page 11h 206-213: no application active
            seed("fuzz_cmis_bring_up", f"{name}_rev{rev:02x}", bytes(changed) + bytes([flat | 6, 3, 12, 11, 4, 0x0F]))
        full = b"".join(page(p, n) for n in ("lower", "00h", "01h", "02h", "03h", "10h", "11h"))
        for size in (9000, 3000) if name == cmis[0][0] else (9000,):
            seed("fuzz_cmis_id_view", f"{name}_{size}", bytes([flat]) + struct.pack("<H", size) + lower + p00)
            seed("fuzz_cmis_full_view", f"{name}_{size}", bytes([flat]) + struct.pack("<H", size) + full)
        seed("fuzz_page_dump", name, struct.pack("<HhI", 768, 1936, 128) + full)
        seed("fuzz_compliance", name, lower + p00)
    for name, p in sff:
        if "03h" in p:
            seed("fuzz_sff8636_threshold", name, p["03h"])
    # Formatters: which, raw word, size (+8), bytes already held, 8 bytes.
    for which, raw in enumerate((0, 0x0102, 0xFF80, 0x0180, 0xFFFF, 33000, 12349, 2, 103, 10, 17000, 0, 0xFA80)):
        seed("fuzz_value_format", f"formatter_{which}", bytes([which]) + struct.pack("<H", raw) +
             bytes([168, 0]) + b"24031501")


if __name__ == "__main__":
    main()
