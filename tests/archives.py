#!/usr/bin/env python3
"""Writes archives below FOLDER/GROUP, each with what reading it must say: archives.py FOLDER."""

import datetime
import pathlib
import plistlib
import sys
from plistlib import UID

count = 0


def expect(group, *cases):
    global count
    folder = pathlib.Path(sys.argv[1], group)
    folder.mkdir(exist_ok=True)
    for expected, archive in cases:
        count += 1
        (folder / f"{count}").write_bytes(archive if isinstance(archive, bytes) else archive.encode())
        (folder / f"{count}.expected").write_text(expected)


TRANSCRIPT, SEGMENT, OBJECT = "VMVoicemailTranscript", "VMVoicemailTranscriptSegment", "NSObject"


def named(name, *chain):
    return {"$classname": name, "$classes": list(chain)}


def subclass(*chain):
    return named(chain[0], *chain)


def instance(class_number, **fields):
    return {"$class": UID(class_number), **fields}


def array(class_number, *elements):
    return instance(class_number, **{"NS.objects": list(elements)})


def string(class_number, text):
    return instance(class_number, **{"NS.string": text})


def archive(root, *more, **changes):
    """Entry 1 is the root, 2 the transcript's class, 3 the segments' and 4 the arrays'; more follow from 5 on."""
    classes = [subclass(name, OBJECT) for name in (TRANSCRIPT, SEGMENT, "NSArray")]
    content = {
        "$archiver": "NSKeyedArchiver",
        "$version": 100000,
        "$top": {"root": UID(1)},
        "$objects": ["$null", root, *classes, *more],
        **changes,
    }
    return plistlib.dumps(content, fmt=plistlib.FMT_BINARY, sort_keys=False)


def with_segments(elements, *more):
    return archive(instance(2, segments=UID(5)), array(4, *elements), *more)


def of_class(name, *chain):
    return archive(instance(5), named(name, *chain))


good = archive(instance(2, text=UID(5)), "x")
subclasses = archive(
    instance(5, text=UID(6), segments=UID(8)),
    subclass("Own", TRANSCRIPT, OBJECT),
    string(7, "a"),
    subclass("NSMutableString", "NSString", OBJECT),
    array(9, UID(10)),
    subclass("OwnArray", "NSMutableArray", "NSArray", OBJECT),
    instance(11, text=UID(12)),
    subclass("OwnSegment", "Other", SEGMENT, OBJECT),
    string(13, "b"),
    subclass("NSString", OBJECT),
)
no_archive = "it is not a keyed archive: "
belongs = f' where one of class "{TRANSCRIPT}" belongs'
expect(
    "transcripts",
    (f'{TRANSCRIPT}\n  text: "x"', good),
    (f'{TRANSCRIPT}\n  text: "a"\n  segment 1:\n    text: "b"', subclasses),
    # The first of equal keys counts.
    (f'{TRANSCRIPT}\n  text: "x"', archive(instance(2, text="x", tex_=True)).replace(b"tex_", b"text")),
    (no_archive + 'it has no "NS.string"', subclasses.replace(b"NS.string", b"NS_string")),
    (
        'the value of "NS.string" is a reference, not a string',
        archive(instance(2, text=UID(5)), string(6, UID(0)), subclass("NSString", OBJECT)),
    ),
    (no_archive + 'its "$archiver" is not "NSKeyedArchiver"', good.replace(b"KeyedA", b"Keyed_")),
    ("it is a keyed archive of another version than 100000", archive(instance(2), **{"$version": 100001})),
    (no_archive + 'it has no "$top"', good.replace(b"$top", b"$tip")),
    (no_archive + 'entry 0 of its "$objects" is not "$null"', good.replace(b"$null", b"$nil_")),
    ("it is damaged: it refers to entry 6 of 5", archive(instance(2), **{"$top": {"root": UID(6)}})),
    ('the value of "root" is a boolean, not a reference', archive(instance(2), **{"$top": {"root": True}})),
    (f'there is a string where an object of class "{TRANSCRIPT}" belongs', archive("x")),
    (f'there is an object of class "{SEGMENT}"' + belongs, archive(instance(3))),
    ("an object's class is nil", archive(instance(0))),
    ("it is damaged: it refers to entry 99 of 5", archive(instance(99))),
    (no_archive + 'it has no "$classname"', archive(instance(1))),
    (no_archive + 'it has no "$class"', archive({})),
    (
        "one of its dictionaries has 257 keys, more than the 256 that are looked through",
        archive({str(i): True for i in range(257)}),
    ),
    ('there is an object of class "E\\u{2028}"' + belongs, of_class("E\u2028", "E\u2028", OBJECT)),
    ('the class "X" claims to inherit through ["Evil", "NSObject"]', of_class("X", "Evil", OBJECT)),
    ('the class "X" claims to inherit through ["X"]', of_class("X", "X")),
    ('the class "X" claims to inherit through []', of_class("X")),
    ('the class "X" claims to inherit from 17 classes', of_class("X", *"X" * 17)),
    ('the class "' + "X" * 64 + '"… claims to inherit through ["Y"]', of_class("X" * 1000, "Y")),
    ('a "confidence" is 1.5, not between 0 and 1', archive(instance(2, confidence=1.5))),
    ('a "confidence" is -1, not between 0 and 1', archive(instance(2, confidence=-1))),
    ('an element of "segments" is an integer, not a reference', with_segments([1])),
    ('an element of "segments" is nil', with_segments([UID(0)])),
    ("it is damaged: it refers to entry 7 of 6", with_segments([UID(7)])),
    (
        f'there is an object of class "NSArray" where one of class "{SEGMENT}" belongs',
        with_segments([UID(5)]),
    ),
    ("entry 6 is an element of arrays twice", with_segments([UID(6), UID(6)], instance(3))),
    (
        'the value of "timestamp" is a dictionary, not a real number',
        with_segments([UID(6)], instance(3, timestamp=UID(1))),
    ),
    # Entry 5 is data, and entry 6 a reference.
    *(
        (f'the value of "{key}" is {kinds}', archive(instance(2, **{key: value}), b"", UID(5)))
        for key, value, kinds in [
            ("text", 1, "an integer, not a string"),
            ("text", datetime.datetime(2001, 1, 1), "a date, not a string"),
            ("text", UID(5), "data, not a string"),
            ("text", UID(6), "a reference, not a string"),
            ("text", UID(1), "a dictionary, not a string"),
            ("locale", True, "a boolean, not a string"),
            ("confidence", "1", "a string, not a real number"),
            ("segments", [], 'an array, not an object of class "NSArray"'),
            ("segments", UID(1), 'a dictionary, not an object of class "NSArray"'),
        ]
    ),
)


def uid(number, more=""):
    return f"<dict><key>CF$UID</key><integer>{number}</integer>{more}</dict>"


no = "it is not a property list: "
expect(
    "transcripts",
    ("it is empty", ""),
    (no + "line 1: syntax error", "hello"),
    ("it is a binary property list of another version than 00", "bplist15".ljust(48, "\0")),
    ("it is cut off", "bplist00"),
    (no + 'line 1: it begins with "html", not with "plist"', "<html/>"),
    (no + "its <plist> is empty", "<plist>\n</plist>"),
    (no + "line 2: <plist> holds more than one value", "<plist>\n<true/><true/></plist>"),
    (no + "line 1: there is a value where a key belongs", "<plist><dict><true/></dict></plist>"),
    (
        no + "line 1: there is a key where a value belongs",
        "<plist><dict><key>a</key><key>b</key></dict></plist>",
    ),
    (no + "line 1: there is a key without a value", "<plist><dict><key>a</key></dict></plist>"),
    (no + "line 1: there is an element inside a value", "<plist><string><true/></string></plist>"),
    (no + 'line 1: it has an unknown element "sting"', "<plist><sting/></plist>"),
    (no + 'line 1: "1x" is not an integer', "<plist><integer>1x</integer></plist>"),
    (no + 'line 1: "nan" is not a real number', "<plist><real>nan</real></plist>"),
    (no + "line 1: a UID is not an integer of 32 bits", f"<plist>{uid(-1)}</plist>"),
    (no + "line 1: a UID is not an integer of 32 bits", f"<plist>{uid(1 << 32)}</plist>"),
    (no + "line 1: its elements are nested more than 64 deep", "<plist>" + "<array>" * 100000),
    (
        no + "line 1: its <!DOCTYPE> has declarations of its own",
        '<!DOCTYPE plist [<!ATTLIST true a CDATA "">]><plist><true/></plist>',
    ),
    (
        no + 'line 1: it refers to an unknown entity "a"',
        "<!DOCTYPE plist SYSTEM 'x'><plist><string>&a;</string></plist>",
    ),
    (no + 'line 1: its element "true" has an attribute', "<plist a=''><true a=''/></plist>"),
    (
        no + "line 1: a tag, a comment or the like has more than 65536 bytes",
        "<plist " + "\n" * 140000 + "/>",
    ),
    (
        no + "line 1: it has more than 1000000 objects",
        "<plist><array>" + "<true/>" * 1000000 + "</array></plist>",
    ),
)


def binary(*objects, **trailer):
    """A binary property list of these objects, the first of which is the root; `trailer` changes bytes of its end."""
    end = bytearray(32)
    end[6] = end[7] = 1
    end[15] = len(objects)
    end[31] = 8 + sum(map(len, objects))
    for place, byte in trailer.items():
        end[int(place[1:])] = byte
    offsets = bytes(8 + sum(map(len, objects[:i])) for i in range(len(objects)))
    return b"bplist00" + b"".join(objects) + offsets + end


HUGE = bytes.fromhex("13 7FFFFFFFFFFFFFFF")
ZERO, ONES = bytes(8), b"\xFF" * 8
damaged = "it is damaged: "
expect(
    "transcripts",
    *(
        (damaged + "its trailer points outside of it", binary(b"\x09", **{f"_{place}": byte}))
        for place, byte in [(6, 0), (6, 9), (7, 0), (7, 9), (8, 255), (15, 0), (15, 2), (16, 128), (23, 1), (24, 255)]
        + [(31, 7), (31, 11)]
    ),
    *(
        (damaged + "object 0 " + fault, binary(each))
        for fault, objects in {
            "is cut off": [b"\x5F" + HUGE, b"\x6F" + HUGE, b"\xAF\x13\x20\0\0\0\0\0\0\x01", b"\xD1\0"],
            "has no valid count": [b"\xDF\x13" + ONES, b"\x5F\x5F\x10\x01"],
            "is an integer of more than 64 bits": [
                b"\x5F\x14" + ZERO[1:] + b"\1" + ZERO[1:] + b"\1x",
                b"\x14" + ZERO + ONES,
                b"\x14" + ONES + ZERO,
            ],
            "is an integer of more than 16 bytes": [b"\x15"],
            "refers to object 1 of 1": [b"\xA1\x01"],
            "is a real number of neither 4 nor 8 bytes": [b"\x24"],
            "is a UID of more than 32 bits": [b"\x8F"],
            "is of no known kind": [b"\x70", b"\x01"],
            "is an ASCII string with a byte that is not ASCII": [b"\x51\x80"],
            "is a string of invalid UTF-16": [
                bytes.fromhex(string)
                for string in ("61 D800", "62 D800 0078", "61 DC00", "62 D800 D800", "62 D800 E000")
            ],
        }.items()
        for each in objects
    ),
    *((damaged + "object 0 lies outside of the objects", b"bplist00\x09" + bytes([offset]) + binary(b"\x09")[10:])
      for offset in (9, 7)),
    # So many references that the number of their bytes overflows.
    (damaged + "object 0 is cut off", binary(b"\xAF\x13\x20\0\0\0\0\0\0\x01" + ZERO, _7=8)),
    # Each array holds the next one twice, and the last one the first.
    (no_archive + 'it has no "$archiver"', binary(b"\xA2\1\1", b"\xA2\2\2", b"\xA2\0\0")),
    ('the value of "$archiver" is a dictionary, not a string', binary(b"\xD1\1\0", b"\x59$archiver")),
)

letters = "x" * 14
expect(
    "limits",
    *(
        ("", archive)
        for archive in [
            binary(b"\x5E" + letters.encode()),
            binary(b"\x67" + letters.encode()),
            binary(b"\xAE" + bytes(14)),
            binary(b"\xD7" + bytes(14)),
            f"<plist><string>{letters}</string></plist>",
            "<plist><array>" + "<true/>" * 14 + "</array></plist>",
        ]
    ),
)
expect(
    "objects",
    *(
        (f"{integer} {real} {text}", archive)
        for archive, integer, real, text in [
            (binary(b"\x08"), 0, 0, ""),
            (binary(b"\x09"), 1, 0, ""),
            (binary(b"\x10\xFF"), 255, 0, ""),
            (binary(b"\x11\xFF\x01"), 0xFF01, 0, ""),
            (binary(b"\x13" + ONES), -1, 0, ""),
            (binary(b"\x14" + ONES + ONES[1:] + b"\xFE"), -2, 0, ""),
            (binary(b"\x22\xBF\xC0\0\0"), 0, -1.5, ""),
            (binary(b"\x23\x3F\xF8\0\0\0\0\0\0"), 0, 1.5, ""),
            (binary(b"\x81\x01\x02"), 0x0102, 0, ""),
            (binary(b"\x52hi"), 0, 0, "hi"),
            (binary(b"\x62\0h\0i"), 0, 0, "hi"),
            ("<plist><true/></plist>", 1, 0, ""),
            ("<plist><false/></plist>", 0, 0, ""),
            (f"<plist>{uid(5)}</plist>", 5, 0, ""),
            (f"<plist>{uid(5, '<key>a</key><true/>')}</plist>", 0, 0, ""),
            ("<plist><real>-1e3</real></plist>", 0, -1000, ""),
        ]
    ),
)
