import contextlib
import json
import os
import stat
import subprocess
from pathlib import Path

from daemon import CONF, Case, Client, Daemon, ask, broken, choose, configure, log

RECORD = "/etc/os-version"
URLS = ["http://127.0.0.1:1", "http://127.0.0.1:2/é"]
EMPTY = {"confDefault": 0, "confDefaultIndex": 0, "confCustomHeadindex": 0, "confCustomUrl": "",
         "defaultUrl": [], "type": "5"}


def content():
    return Path(CONF).read_text("utf-8")


class Configuration(Case):
    def test_unusable_at_start(self):
        """Rows: make the file or the version record, logged at start and at a choice, code."""
        unopened, no_json = "agent.json open failed.", "QJsonParseError :"
        missing, no_server = ("agent.json not exists.", "4"), ("not server url index.", "5")
        rows = (
            (lambda: None, rf"\[qWarning:.* zeno-version non-existent(?s:.*){unopened}", *missing),
            (lambda: os.mkfifo(CONF), unopened, unopened, "4"),
            (lambda: configure("[1," + " " * 2**20 + "1]"), unopened, *no_server),
            (lambda: configure("{}"), no_json, *no_server),
            (lambda: os.mkfifo(RECORD), unopened, *missing),
        )
        for row, (make, at_start, at_choice, code) in enumerate(rows):
            with self.subTest(row):
                self.setUp()
                os.makedirs(os.path.dirname(CONF))
                make()
                with Daemon():
                    self.assertRegex(log(), at_start)
                    self.assertEqual("osversion.cpp" in log(), not os.path.lexists(RECORD))
                    before = len(log())
                    answers = json.dumps(ask(choose(0)), sort_keys=True)  # there 0 is not false
                    expected = [{"type": "2", "activeMessageType": code, "message": ""}, EMPTY]
                    self.assertEqual(answers, json.dumps(expected, sort_keys=True))
                    self.assertIn(at_choice, log()[before:])
        os.remove(RECORD)

    def test_choice_rewrites_the_file(self):
        configure({"confDefault": "no", "confCustomHeadindex": True, "confCustomUrl": "é/",
                   "defaultUrl": URLS, "extra": 1})
        os.rename(CONF, "/etc/real.json")
        self.addCleanup(os.remove, "/etc/real.json")
        os.symlink("../real.json", CONF)
        os.chmod(CONF, 0o640)
        with contextlib.suppress(OSError):  # of an ordinary user
            os.chown(CONF, 0, 4)
        group = os.stat(CONF).st_gid
        os.mkdir("/etc/real.json.quillon-draft")  # in the way
        os.link("/etc/real.json", "/etc/before")  # shows whether it is written in place
        self.addCleanup(os.remove, "/etc/before")
        before = content()
        with Daemon():
            refused, _ = ask(choose(2))
            self.assertEqual((refused["activeMessageType"], content()), ("5", before))
            answer, = ask(choose(1))
            self.assertIn(f'confMap: "{",".join(URLS)}"\n', log())
        members = {"confCustomHeadindex": 0, "confCustomUrl": "é/", "confDefault": True,
                   "confDefaultIndex": 1, "defaultUrl": URLS, "healthPath": "/v1/harbor/health"}
        written = json.dumps(members, indent=4, ensure_ascii=False) + "\n"
        self.assertEqual(content(), written)
        self.assertEqual(Path("/etc/before").read_text("utf-8"), before)
        self.assertEqual(answer | {"healthPath": members["healthPath"]}, members | {"type": "5"})
        status = os.stat(CONF)
        self.assertTrue(os.path.islink(CONF))
        self.assertEqual((stat.S_IMODE(status.st_mode), status.st_uid, status.st_gid),
                         (0o640, 0, group))
        self.assertEqual([name for name in os.listdir("/etc") if "json" in name], ["real.json"])

    def test_failed_write_keeps_the_file(self):
        """Rows: name, break, repair, the server in use meanwhile."""
        folder = os.path.dirname(CONF)
        rows = (
            ("read-only", f"mount -r --bind {folder} {folder}", f"umount {folder}", 0),
            ("file size", "prlimit --fsize=10: -p $PID", "prlimit --fsize=unlimited: -p $PID", 1),
        )
        for name, spoil, mend, used in rows:
            with self.subTest(name):
                self.setUp()
                os.makedirs(folder)
                configure({"defaultUrl": URLS})
                with Daemon(stderr=subprocess.DEVNULL) as daemon:
                    os.environ["PID"] = str(daemon.process.pid)
                    client = Client()
                    before, probes = content(), log().count("sendHealthInfo")
                    with broken(spoil, mend):
                        refused, answer = client.ask(choose(1))
                        self.assertEqual((refused["activeMessageType"], answer["confDefaultIndex"]),
                                         ("4", used))
                        self.assertEqual(content(), before)
                        self.assertEqual(log().count("sendHealthInfo"), probes)
                    self.assertEqual(os.listdir(folder), [".agent.json"])
                    self.assertEqual(len(client.ask(choose(1))), 1)
                    self.assertEqual(json.loads(content())["confDefaultIndex"], 1)
