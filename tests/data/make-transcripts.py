#!/usr/bin/env python3
"""Writes the transcripts beside this script, by a property-list writer that is not ours."""

import pathlib
import plistlib
import re
from plistlib import UID

FOLDER = pathlib.Path(__file__).parent


def named_class(*chain):
    return {"$classname": chain[0], "$classes": list(chain)}


def archive(objects, root=UID(1)):
    return {"$version": 100000, "$archiver": "NSKeyedArchiver", "$top": {"root": root}, "$objects": objects}


full = archive([
    "$null",
    {"$class": UID(9), "text": UID(2), "locale": UID(3), "confidence": 0.75, "segments": UID(4), "later": b"\x00\x01"},
    "Grüße, 😀 \"ok\"",
    "de_DE",
    {"$class": UID(10), "NS.objects": [UID(5), UID(6), UID(7)]},
    {"$class": UID(11), "text": UID(8), "timestamp": 0.0, "duration": 1.25, "confidence": 1},
    {"$class": UID(11), "text": UID(8), "timestamp": UID(12)},
    {"$class": UID(11), "text": UID(0)},
    "Grüße",
    named_class("VMVoicemailTranscript", "NSObject"),
    named_class("NSMutableArray", "NSArray", "NSObject"),
    named_class("VMVoicemailTranscriptSegment", "NSObject"),
    1.5,
])
bare = archive(["$null", {"$class": UID(2)}, named_class("VMVoicemailTranscript", "NSObject")])

def with_own_doctype(xml):
    doctype = b'<!DOCTYPE plist PUBLIC "-//Example//DTD Property List 1.0//EN" "http://www.example.com/plist.dtd">'
    return re.sub(rb"<!DOCTYPE[^>]*>", doctype, xml)


def with_uids_as_in_xml(value):
    """This writer knows UIDs in the binary form alone."""
    if isinstance(value, UID):
        return {"CF$UID": value.data}
    if isinstance(value, dict):
        return {key: with_uids_as_in_xml(inner) for key, inner in value.items()}
    if isinstance(value, list):
        return [with_uids_as_in_xml(inner) for inner in value]
    return value


for name, content in {"full": full, "bare": bare, "nil": archive(["$null"], UID(0))}.items():
    (FOLDER / f"{name}-binary.plist").write_bytes(plistlib.dumps(content, fmt=plistlib.FMT_BINARY))
    (FOLDER / f"{name}-xml.plist").write_bytes(with_own_doctype(plistlib.dumps(with_uids_as_in_xml(content))))
