#!/usr/bin/env python3
"""Writes charset_samples.txt: text in character sets, as Python's codecs have it. What Python lacks, and
what mailers write under a name that means another set, stands in conversion.case.

    tests/data/make_charset_samples.py > tests/data/charset_samples.txt

The rows have the form of those of conversion.case.
"""
import re
import sys

LATIN = "Grüße, ¿qué tal? «déjà vu» ½ ÆØÅ æøå þð"
CYRILLIC = "Съешь же ещё этих мягких французских булок"
GREEK = "Ξεσκεπάζω την ψυχοφθόρα βδελυγμία"
HEBREW = "דג סקרן שט בים"
ARABIC = "صِف خَلقَ خَودٍ"
THAI = "เป็นมนุษย์สุดประเสริฐเลิศคุณค่า"
SIMPLIFIED = "中文测试：汉字和标点。Ascii 也在其中\r\n第二行"
TRADITIONAL = "中文測試：漢字和標點。Ascii 也在其中\r\n第二行"
KOREAN = "다람쥐 헌 쳇바퀴에 타고파. Ascii 韓國\r\n둘째 줄"
JAPANESE = "いろはにほへと、漢字とカタカナ。Ascii も\r\n二行目"
EVERYTHING = "aé€日本語😀\r\n+~\\"

SINGLE_BYTE = {
    **{f"ISO-8859-{part}": f"iso8859_{part}" for part in range(1, 17) if part != 12},
    **{f"windows-{page}": f"cp{page}" for page in [874, *range(1250, 1259)]},
    **{f"IBM{page}": f"cp{page}" for page in
       [437, 737, 775, 850, 852, 855, 857, 858, 860, 861, 862, 863, 865, 866, 869]},
    "KOI8-R": "koi8_r", "KOI8-U": "koi8_u", "TIS-620": "iso8859_11",
}

# The sets of mail by name: the codec of the name, the codec that it is read with, a text.
MULTI_BYTE = {
    "GB2312": ("gb2312", "gb18030", SIMPLIFIED),
    "GBK": ("gbk", "gb18030", SIMPLIFIED + "漢龍"),
    "GB18030": ("gb18030", "gb18030", SIMPLIFIED + "漢龍é😀ༀ"),
    "Big5": ("big5", "cp950", TRADITIONAL),
    "950": ("cp950", "cp950", TRADITIONAL + "碁€"),
    "Big5-HKSCS": ("big5hkscs", "big5hkscs", TRADITIONAL + "嘅冇佢"),
    "KS_C_5601-1987": ("euc_kr", "cp949", KOREAN),
    "949": ("cp949", "cp949", KOREAN + "펲쀍"),
    "Johab": ("johab", "johab", KOREAN),
    "Shift_JIS": ("shift_jis", "cp932", JAPANESE + "ｱｲｳ"),
    "Windows-31J": ("cp932", "cp932", JAPANESE + "ｱｲｳ①㈱"),
    "EUC-JP": ("euc_jp", "euc_jp", JAPANESE + "ｱｲｳ丂"),
}

WHOLE_TEXT = {
    "HZ-GB-2312": ("hz", SIMPLIFIED + " ~ ~~"),
    "ISO-2022-KR": ("iso2022_kr", KOREAN),
    "ISO-2022-JP": ("iso2022_jp", JAPANESE),
    "ISO-2022-JP-2": ("iso2022_jp_2", JAPANESE + "丂한"),
    "UTF-7": ("utf_7", EVERYTHING),
    "UTF-8": ("utf_8", EVERYTHING),
    "UTF-16BE": ("utf_16_be", EVERYTHING),
    "UTF-16LE": ("utf_16_le", EVERYTHING),
    "UTF-32BE": ("utf_32_be", EVERYTHING),
    "UTF-32LE": ("utf_32_le", EVERYTHING),
    "Unicode-1-1": ("utf_16_be", EVERYTHING.replace("😀", "")),
}

ALIASES = {
    "csBig5 Big-5 CN-Big5 KZMCP950 x-Big5": ("big5", TRADITIONAL),
    "KSC5601 ISO-IR-149 KS_C_5601-1989 KSC_5601 Korean csKSC56011987 EUC-KR csEUCKR KZMCP949"
    " x-EUCKR x-EUC-KR x-KSC": ("euc_kr", KOREAN),
    "csGB2312 GB_2312-80 GB2312-80 Chinese ISO-IR-58 csISO58GB231280 CN-GB EUC-CN GB KZM1381"
    " KZMCP936 1381 936 x-EUC-CN x-GB x-GB2312 x-GBK": ("gb2312", SIMPLIFIED),
    "csISO2022JP csISO2022JP2": ("iso2022_jp", JAPANESE),
    "csISO2022KR": ("iso2022_kr", KOREAN),
    "Shift-JIS MS_Kanji csShiftJIS x-sjis": ("shift_jis", JAPANESE),
    "csUnicode csUnicode11 Unicode": ("utf_16_be", TRADITIONAL),
    "Unicode-1-1-UTF-7 csUnicode11UTF7": ("utf_7", EVERYTHING),
    "latin1 l1 ISO_8859-1:1987 cp819": ("latin_1", LATIN),
    "cp1252 x-cp1252": ("cp1252", LATIN + "€“”"),
    "us-ascii ANSI_X3.4-1968 ascii": ("ascii", "plain \\ text ~"),
    "cp866": ("cp866", CYRILLIC),
    "utf8 cp65001": ("utf_8", EVERYTHING),
}
# Rows 89 to 91 of JIS X 0208 are the vendors'; Python has them in the form of Shift_JIS.
VENDOR_ROWS = bytes(b for row in (89, 90, 91) for cell in range(1, 95) for b in (row + 0xA0, cell + 0xA0))
VENDOR_TEXT = "".join(bytes([lead, trail]).decode("cp932") for lead, trails in
                      ((0xED, (*range(0x40, 0x7F), *range(0x80, 0xFD))), (0xEE, (*range(0x40, 0x7F), *range(0x80, 0x9F))))
                      for trail in trails)

VENDOR_JIS = b"\x1b$B" + bytes(b & 0x7F for b in VENDOR_ROWS) + b"|b\x1b(B"
VENDOR = [
    ("EUC-JP", "<", VENDOR_ROWS, VENDOR_TEXT),
    ("CP51932", "=", VENDOR_ROWS + bytes.fromhex("ada1fce2"), VENDOR_TEXT + "①髙"),
    ("ISO-2022-JP", "<", VENDOR_JIS, VENDOR_TEXT + "髙"),
    ("ISO-2022-JP-MS", "=", VENDOR_JIS, VENDOR_TEXT + "髙"),
]


def decoded(codec, data):
    try:
        return data.decode(codec)
    except UnicodeDecodeError:
        return None


def single_byte(name, codec):
    data = bytes(b for b in range(0x20, 0x100) if decoded(codec, bytes([b]))
                 and (name not in ("ISO-8859-1", "ISO-8859-9", "TIS-620") or not 0x80 <= b <= 0xA0))
    return name, "=", data, data.decode(codec)


def repertoire(codec, reader, step):
    """Every so many a pair that both codecs read alike and the first one writes."""
    # In Big5 the pairs from C6A1 to C8FE have been many things; Python's are not those of the Web.
    # Code page 932 has some signs twice; Python writes them in rows ED and EE, Windows doesn't.
    left_out = {"cp950": (b"\xc6\xa1", b"\xc8\xfe"), "cp932": (b"\xed\x40", b"\xee\xfc")}
    first, last = left_out.get(reader, (b"", b""))
    pairs = [bytes([lead, trail]) for lead in range(0x81, 0xFF) for trail in range(0x40, 0xFF)
             if not first <= bytes([lead, trail]) <= last]
    alike = [pair for pair in pairs if (text := decoded(codec, pair)) and len(text) == 1
             and text == decoded(reader, pair) and text.encode(codec) == pair
             and not "\ue000" <= text <= "\uf8ff"]
    return b"".join(alike[::step])


def rows():
    for name, codec in SINGLE_BYTE.items():
        yield single_byte(name, codec)
    for name, (codec, reader, text) in MULTI_BYTE.items():
        yield name, "=", text.encode(codec), text
        data = repertoire(codec, reader, 97)
        yield name, "=", data, data.decode(codec)
    for name, (codec, text) in WHOLE_TEXT.items():
        yield name, "=", text.encode(codec), text
    for names, (codec, text) in ALIASES.items():
        for name in names.split():
            yield name, "=", text.encode(codec), text
    yield from VENDOR


def main():
    for name, direction, data, text in rows():
        escaped = "".join(c if c >= " " and c not in "\\|\x7f" else f"\\x{ord(c):02X}" for c in text)
        print(name, direction, "".join(f"\\x{b:02X}" for b in data), re.sub("^ | $", r"\\s", escaped), sep=" | ")


if __name__ == "__main__":
    sys.stdout.reconfigure(encoding="utf-8")
    main()
