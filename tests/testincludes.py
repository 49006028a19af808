"""Who includes whom: no cycle, and the folders know each other in one direction only."""

import graphlib
import os
import pathlib
import re
import unittest

TOP = pathlib.Path(__file__).parents[1]
KNOWS = {"src/public": set(), "src/agent": {"src/public"}, "src/quillonctl": {"src/public"},
         "tests": {"src/public", "src/agent", "src/quillonctl"}}
KNOWS["fuzz"] = KNOWS["bench"] = KNOWS["tests"]


class Includes(unittest.TestCase):
    def setUp(self):
        files = [path for folder in KNOWS for path in (TOP / folder).glob("*.*")
                 if path.suffix in (".h", ".cpp")]
        headers = {path.name: path for path in files if path.suffix == ".h"}
        self.graph = {path: [headers[name] for name in
                             re.findall(r'^#include "(.+\.h)"', path.read_text("utf-8"), re.M)]
                      for path in files}

    def test_one_direction(self):
        for path, included in self.graph.items():
            folder, others = (os.path.relpath(path.parent, TOP), {
                os.path.relpath(header.parent, TOP) for header in included})
            self.assertLessEqual(others, KNOWS[folder] | {folder}, path)

    def test_no_cycle(self):
        order = graphlib.TopologicalSorter(self.graph)
        self.assertEqual(len(list(order.static_order())), len(self.graph))


if __name__ == "__main__":
    unittest.main()
