"""Who includes whom: no cycle, and the folders know each other in one direction only."""

import graphlib
import pathlib
import re
import unittest

TOP = pathlib.Path(__file__).parents[1]
KNOWS = {"src/public": set(), "src/agent": {"src/public"}, "src/quillonctl": {"src/public"},
         "tests": {"src/public", "src/agent", "src/quillonctl"}}
KNOWS["fuzz"] = KNOWS["bench"] = KNOWS["tests"]


class Includes(unittest.TestCase):
    def test_one_direction(self):
        files = [path for folder in KNOWS for path in (TOP / folder).glob("*.*")
                 if path.suffix in (".h", ".cpp")]
        headers = {path.name: path for path in files if path.suffix == ".h"}
        graph = {path: [headers[name] for name in
                        re.findall(r'^#include "(.+\.h)"', path.read_text("utf-8"), re.M)]
                 for path in files}
        for path, included in graph.items():
            folder, *others = (str(file.parent.relative_to(TOP)) for file in (path, *included))
            self.assertLessEqual(set(others), KNOWS[folder] | {folder}, path)
        graphlib.TopologicalSorter(graph).prepare()  # raises at a cycle
