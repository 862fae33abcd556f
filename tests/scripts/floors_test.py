#!/usr/bin/env python3
"""Who may include whom in the daemon's sources.

    floors_test.py SOURCE_FOLDER

A file includes files of its own floor or of a floor below it, and no two files include each other,
directly or by way of others.
"""

import re
import sys
import unittest
from pathlib import Path

FLOORS = ["frame", "intake", "objects", "engines", "bus", "store", "base"]  # from the top
INCLUDE = re.compile(r'^#include "([^"]+)"', re.MULTILINE)

SOURCES = Path(sys.argv.pop(1))


def room_of(path):
    """What a source and its header are together: the path without its ending."""
    return str(Path(path).with_suffix(""))


def rooms():
    """Room to the rooms of the daemon that it includes."""
    found = {}
    for file in sorted(SOURCES.glob("*/*.[ch]pp")):
        room = room_of(file.relative_to(SOURCES))
        includes = {room_of(name) for name in INCLUDE.findall(file.read_text(encoding="utf-8"))}
        daemon_includes = {name for name in includes if name.split("/")[0] in FLOORS}
        found.setdefault(room, set()).update(daemon_includes - {room})
    return found


def circle_from(room, includes, road):
    """The rooms of a circle that can be reached from here; empty when there is none."""
    if room in road:
        return road[road.index(room) :] + [room]
    for other in sorted(includes.get(room, ())):
        circle = circle_from(other, includes, road + [room])
        if circle:
            return circle
    return []


class Floors(unittest.TestCase):
    def test_every_source_is_on_a_floor(self):
        self.assertGreater(len(rooms()), 30)
        others = [room for room in rooms() if room.split("/")[0] not in FLOORS]
        self.assertEqual(others, [])

    def test_no_file_includes_one_of_a_floor_above(self):
        upward = [
            f"{room} includes {other}"
            for room, includes in rooms().items()
            for other in includes
            if FLOORS.index(other.split("/")[0]) < FLOORS.index(room.split("/")[0])
        ]
        self.assertEqual(upward, [])

    def test_no_files_include_each_other(self):
        includes = rooms()
        circles = [circle for circle in (circle_from(room, includes, []) for room in includes) if circle]
        self.assertEqual(circles, [])


if __name__ == "__main__":
    unittest.main()
