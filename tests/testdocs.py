"""Compares the docs and the completions with the programs."""

import glob
import json
import os
import re
import socket
import subprocess
from pathlib import Path

from daemon import CONF, TMP, Case, Client, Daemon, ask, choose, configure, quillonctl

os.chdir(os.path.join(os.path.dirname(os.path.abspath(__file__)), ".."))
URLS = ["https://one.example.org", "https://two.example.org"]
HELP = quillonctl("--help").stdout
COMMANDS = re.findall(r"^  ([a-z]+) ", HELP.split("Options:")[0], re.M)


def text(pattern):
    return "".join(Path(path).read_text("utf-8") for path in glob.glob(pattern))


def found(pattern, where):
    return set(re.findall(pattern, where, re.M))


def run(*command, status=0, **options):
    done = subprocess.run(command, capture_output=True, text=True, check=False, **options)
    assert (done.returncode, done.stderr) == (status, ""), done
    return done.stdout


class Docs(Case):
    def test_pages(self):
        """Of the completions only the words are compared."""
        client, file = text("doc/man/*.1"), text("doc/man/*.5")
        configure({"defaultUrl": URLS})
        with Daemon():
            ask(choose(0))  # which writes every member
        members = set(json.loads(text(CONF)))
        for there, described in (
                (members, found(r"^\.It Ic (\w+)", file)),
                (members, found(r"^\| `(\w+)` \|", text("doc/protocol.md")) | {"healthPath"})):
            self.assertEqual(there, described)
        tests = found(r"`((?:test_|deletes)\w+)`", text("doc/robustness.md"))
        self.assertLessEqual(tests, found(r"\w+(?=\()", text("tests/test*")))
        for command in COMMANDS:
            shown = quillonctl("help", command).stdout
            options = found(r"^  -(-?\w+)", shown)
            self.assertLessEqual(options, found(r"^\.It Fl \\?(-?\w+)", client))
            synopsis = re.search(rf"^\.Cm {command}\n((?:\.(?!Nm).*\n)*)", client, re.M)[1]
            described = found(r"^\.Op Fl \\?(-?\w+)", synopsis)
            self.assertEqual(options - {"h", "v", "-version"}, described)
            words = {command, *found(r"--(\w+)", shown)}
            for path in glob.glob("completion/*"):
                self.assertLessEqual(words, found(r"\w+", text(path)), path)
        self.assertEqual(run("mandoc", "-T", "lint", *os.listdir("doc/man"), cwd="doc/man"), "")

    def test_protocol(self):
        configure({"defaultUrl": URLS, "confDefaultIndex": 1})
        run("cc", "-Wall", "-Wextra", "-Werror", "-o", f"{TMP}/client", "doc/examples/client.c")
        page = text("doc/protocol.md")
        with Daemon():
            sent, answer = (bytes.fromhex("".join(re.findall(f"^    {way} (.{{47}})", page, re.M)))
                            for way in "><")
            client = Client(sent)
            client.socket.shutdown(socket.SHUT_WR)  # so that the daemon leaves
            seen = client.socket.recv(65536, socket.MSG_WAITALL)
            self.assertEqual(seen, answer, seen.hex(" "))
            for command in ["doc/examples/client.py"], [f"{TMP}/client"]:
                for index, status in ((0, 0), (1, 0), (7, 1)):
                    answers = run(*command, str(index), status=status).splitlines()
                    self.assertEqual(json.loads(answers[-1])["confDefaultIndex"], min(index, 1))
                    self.assertEqual(len(answers), 1 + status)
