#!/usr/bin/env python3
"""Writes nearest_forms.inc: the forms of characters that a character set may lack.

    conversion/make_nearest_forms.py > conversion/nearest_forms.inc

One row for each form, sorted by character; of several forms of one character the better ones first.
A form may consist of characters that a set lacks in turn, so only one step is listed.
"""
import unicodedata

# What Unicode doesn't decompose, and what it decomposes to something far off.
OWN = {
    "\u00a1": ["!"], "\u00a2": ["\uffe0", "c"], "\u00a3": ["\uffe1", "GBP"],
    "\u00a5": ["\uffe5", "JPY"], "\u00a6": ["|"], "\u00a9": ["(C)"], "\u00ab": ["<<"],
    "\u00ac": ["\uffe2"], "\u00ad": [""], "\u00ae": ["(R)"], "\u00b0": ["\u00ba"],
    "\u00b4": ["'"], "\u00b7": ["\u30fb", "\u2022", "."], "\u00b8": [","], "\u00bb": [">>"],
    "\u00bf": ["?"], "\u00c6": ["AE"], "\u00d0": ["\u0110"], "\u00d7": ["x"], "\u00d8": ["O"],
    "\u00de": ["TH"], "\u00df": ["ss"], "\u00e6": ["ae"], "\u00f0": ["\u0111"], "\u00f7": [":"],
    "\u00f8": ["o"], "\u00fe": ["th"], "\u0110": ["\u00d0", "D"], "\u0111": ["d"],
    "\u0126": ["H"], "\u0127": ["h"], "\u0131": ["i"], "\u0138": ["q"], "\u0141": ["L"],
    "\u0142": ["l"], "\u014a": ["NG"], "\u014b": ["ng"], "\u0152": ["OE"], "\u0153": ["oe"],
    "\u0166": ["T"], "\u0167": ["t"], "\u018f": ["E"], "\u0192": ["f"], "\u0259": ["e"],
    "\u02bb": ["'"], "\u02bc": ["'"], "\u02c6": ["^"], "\u02c8": ["'"], "\u02d0": [":"],
    "\u02dc": ["~"], "\u0490": ["\u0413"], "\u0491": ["\u0433"],
    "\u1e9e": ["SS"],
    # Vietnamese: the sets that build these letters have the first accent with the letter.
    "\u1eac": ["\u00c2\u0323"], "\u1ead": ["\u00e2\u0323"], "\u1eb6": ["\u0102\u0323"],
    "\u1eb7": ["\u0103\u0323"], "\u1ec6": ["\u00ca\u0323"], "\u1ec7": ["\u00ea\u0323"],
    "\u1ed8": ["\u00d4\u0323"], "\u1ed9": ["\u00f4\u0323"],
    "\u200b": [""], "\u200c": [""], "\u200d": [""], "\u200e": [""], "\u200f": [""],
    "\u202a": [""], "\u202b": [""], "\u202c": [""], "\u202d": [""], "\u202e": [""],
    "\u2060": [""], "\u2066": [""], "\u2067": [""], "\u2068": [""], "\u2069": [""],
    "\ufe0e": [""], "\ufe0f": [""], "\ufeff": [""],
    "\u2010": ["-"], "\u2011": ["-"], "\u2012": ["-"], "\u2013": ["-"],
    "\u2014": ["\u2015", "-"], "\u2015": ["\u2014", "-"], "\u2016": ["\u2225", "||"],
    "\u2018": ["'"], "\u2019": ["'"], "\u201a": [","], "\u201b": ["'"],
    "\u201c": ['"'], "\u201d": ['"'], "\u201e": ['"'], "\u201f": ['"'],
    "\u2020": ["+"], "\u2022": ["\u2027", "\u00b7", "*"], "\u2023": [">"],
    "\u2027": ["\u2022", "\u00b7"], "\u2028": ["\n"], "\u2029": ["\n"],
    "\u2032": ["'"], "\u2033": ['"'], "\u2039": ["<"], "\u203a": [">"], "\u203e": ["\uffe3"],
    "\u2043": ["-"], "\u2044": ["/"], "\u20ac": ["EUR"], "\u2190": ["<-"], "\u2192": ["->"],
    "\u2194": ["<->"], "\u21d0": ["<="], "\u21d2": ["=>"], "\u21d4": ["<=>"],
    "\u2212": ["\uff0d", "-"], "\u2215": ["/"], "\u2216": ["\\"], "\u2217": ["*"],
    "\u2219": ["\u00b7"], "\u2223": ["|"], "\u2225": ["\u2016"],
    "\u2236": [":"], "\u223c": ["\uff5e", "~"], "\u2248": ["~"], "\u2260": ["!="],
    "\u2264": ["<="], "\u2265": [">="], "\u22c5": ["\u00b7"],
    "\u2550": ["="], "\u2571": ["/"], "\u2572": ["\\"], "\u2573": ["x"],
    "\u25cf": ["\u2022", "*"], "\u25cb": ["o"], "\u2605": ["*"], "\u2713": ["v"],
    "\u301c": ["\uff5e", "~"], "\u309b": ["\uff9e"], "\u309c": ["\uff9f"],
    "\u30fb": ["\u00b7", "\u2022"],
    "\uff0d": ["\u2212", "-"], "\uff5e": ["\u301c", "\u223c", "~"], "\uff9e": ["\u309b"],
    "\uff9f": ["\u309c"], "\uffe0": ["\u00a2"], "\uffe1": ["\u00a3"], "\uffe2": ["\u00ac"],
    "\uffe3": ["\u203e", "\u00af"], "\uffe4": ["\u00a6"], "\uffe5": ["\u00a5"],
    "\uff02": ["\u2033"], "\uff07": ["\u2032"],
}
# Box drawing.
for code in range(0x2500, 0x2580):
    words = set(unicodedata.name(chr(code)).split())
    has_horizontal = bool(words & {"HORIZONTAL", "LEFT", "RIGHT"})
    has_vertical = bool(words & {"VERTICAL", "UP", "DOWN"})
    OWN.setdefault(chr(code), ["+" if has_horizontal == has_vertical else "-" if has_horizontal else "|"])

RANGES = [
    (0x00A0, 0x052F), (0x05D0, 0x06FF), (0x1E00, 0x2BFF), (0x3000, 0x33FF), (0xF900, 0xFFEF),
    (0x1F100, 0x1F1FF), (0x2F800, 0x2FA1D),
]
STRUCK_OUT = "\u0338"  # without the stroke the meaning is the opposite


def forms(character):
    yield from OWN.get(character, [])
    decomposition = unicodedata.decomposition(character).split()
    if decomposition and decomposition[0].startswith("<"):
        decomposition = decomposition[1:]
    form = "".join(chr(int(code, 16)) for code in decomposition)
    # A sign of its own that Unicode builds of a space and an accent.
    if form and STRUCK_OUT not in form and not (form[0] == " " and len(form) > 1):
        yield form


def literal(text):
    return '"' + "".join(
        "\\" + c if c in '"\\' else c if " " <= c <= "~" else "\\n" if c == "\n"
        else f"\\u{ord(c):04X}" if ord(c) < 0x10000 else f"\\U{ord(c):08X}" for c in text) + '"'


def main():
    print("// conversion/nearest_forms.inc - made by make_nearest_forms.py from Unicode"
          f" {unicodedata.unidata_version}")
    print("// clang-format off")
    line = ""
    for begin, end in RANGES:
        for code in range(begin, end + 1):
            for form in forms(chr(code)):
                row = f"{{0x{code:X}, U{literal(form)}}},"
                if len(line) + 1 + len(row) > 100:
                    print(line)
                    line = row
                else:
                    line = f"{line} {row}".strip()
    print(line)


if __name__ == "__main__":
    main()
