import json
import os
import socket
import subprocess
import threading
import time

from daemon import (BIN, CONF, HAS_USERS, LOG, SOCKET, VERSION, Case, Client, Daemon, Site, ask, choose, configure,
                    frame, log, poll, quillonctl)

URLS = ["http://127.0.0.1:1", "http://127.0.0.1:2/\x1b[31m"]
CONFIGURATION = {"type": "5", "confDefault": True, "confDefaultIndex": 0, "confCustomUrl": "",
                 "confCustomHeadindex": 0, "defaultUrl": URLS}


class Real(Case):
    """The client with the real daemon."""

    def test_show_and_use(self):
        configure({"defaultUrl": URLS, "confDefault": False, "confCustomUrl": "h/p"})
        with Daemon():
            rows = (
                (["show"], 0, "In use: custom address https://h/p", ""),
                (["use", "1"], 0, r"* 1  http://127.0.0.1:2/", ""),
                (["use", "7"], 1, "", "no default server with this index"),
                (["use", "--json", "7"], 1, '"code":5', "index"),
                (["use", "0", "--json"], 0, '"serverInUse":"http://127.0.0.1:1"', ""),
            )
            for arguments, status, out, err in rows:
                with self.subTest(arguments):
                    done = quillonctl(*arguments)
                    self.assertEqual(done.returncode, status, done)
                    self.assertIn(out, done.stdout)
                    self.assertIn(err, done.stderr)
                    self.assertEqual(done.stderr.count("\n"), 1 if err else 0)
                    self.assertNotIn("\x1b", done.stdout)
            os.remove("/etc/.zeno/.agent.json")
            self.assertIn("missing", quillonctl("use", "0").stderr)

    def test_waits_while_another_is_served(self):
        with Daemon():
            first = Client()
            with subprocess.Popen([f"{BIN}/quillonctl", "show"], stdout=subprocess.DEVNULL) as next_one:
                first.socket.close()
                self.assertEqual(next_one.wait(10), 0)

    def test_log(self):
        configure({"defaultUrl": URLS})
        with Daemon():
            Client(b"\x1b]0;x\x07\xff")
            poll(lambda: "recv client data" in log())
            shown = quillonctl("log").stdout
            self.assertIn('server-url=  "http://127.0.0.1:1"', shown)
            self.assertIn(r"\x1B]0;x\x07\xFF", shown)
            self.assertNotIn("LogEncryption", shown)
            warnings = quillonctl("log", "--level", "warning").stdout
            self.assertIn("qWarning", warnings)
            self.assertNotIn("[Debug", warnings)
            self.assertEqual(quillonctl("log", "--since", "2999-01-01").stdout, "")
            self.assertEqual(quillonctl("log", "/nowhere").returncode, 1)

            with subprocess.Popen([f"{BIN}/quillonctl", "log", "--follow", "--level", "warning"],
                                  stdout=subprocess.PIPE, text=True) as follower:
                self.assertIn("zeno-version", follower.stdout.readline())
                os.remove(LOG)
                Client(b"rubbish")
                seen = ""
                while "not sent by" not in seen:
                    seen = follower.stdout.readline()
                follower.kill()


    def test_status(self):
        site = Site((0, 200), (0, 503), (60, 200))
        configure({"defaultUrl": [site.url, URLS[0]]})

        def look(text, *arguments, **options):
            """Any time until the text is told; the exit status."""
            seen = []
            poll(lambda: text in (seen.append(quillonctl("status", *arguments, **options))
                                  or seen[-1].stdout))
            self.assertEqual(seen[-1].stderr, "")
            return seen[-1].returncode

        with Daemon() as daemon:
            self.assertEqual(look("status 200, "), 0)
            self.assertEqual(look(f"Process:     {daemon.process.pid}, since 2"), 0)
            for index, text in ((0, "status 503, "), (0, "pending, sent"), (1, "(Connection refused)")):
                ask(choose(index))
                self.assertEqual(look(text), 1)
            self.assertEqual(look("2  servicecore.cpp: warning: http nStatus\n"), 1)
            other = Client()
            self.assertEqual(look("one program at a time", "--timeout", "300"), 4)
            other.leave()
            if HAS_USERS:
                os.chmod(LOG, 0o600)
                self.assertEqual(look("run this as root", user=65534), 1)
        self.assertEqual(look('"httpStatus":0', "--json"), 3)
        server = socket.create_server(("127.0.0.1", 0))
        server.settimeout(10)
        configure({"defaultUrl": [f"http://127.0.0.1:{server.getsockname()[1]}"]})
        folder = os.path.dirname(LOG)
        with server, Daemon(stderr=subprocess.DEVNULL), server.accept()[0] as peer:
            self.assertEqual(look("pending, sent"), 1)
            for spoil, text, mend in (
                    (f"rm {LOG}", "none told by the log", ""),
                    (f"mount --bind {CONF} {CONF} && ! {BIN}/quillonctl use 0 2>/dev/null",
                     "none since this server was chosen", f"umount {CONF}"),
                    ("", "none since this server was chosen", ""),  # when it ended
                    (f"mount -r --bind {folder} {folder}", "is not written any more",
                     f"umount {folder}"),
                    (f"rm {LOG} && mkfifo {LOG}", "not a regular file", f"rm {LOG}")):
                self.assertEqual(os.system(spoil), 0)
                self.assertEqual(look(text), 1)
                self.assertEqual(os.system(mend), 0)
                if CONF in spoil:
                    peer.sendall(b"HTTP/1.1 200 X\r\nContent-Length: 0\r\n\r\n")
                    poll(lambda: "Attribute  200" in log())

    def test_monitor(self):
        configure({"defaultUrl": URLS})
        with Daemon():
            poll(lambda: "http nStatus" in log())
            with subprocess.Popen([f"{BIN}/quillonctl", "monitor", "--since", "1h"], text=True,
                                  stdout=subprocess.PIPE) as monitor:
                def seen(*texts):
                    for text in texts:
                        self.assertRegex(monitor.stdout.readline(), f"^2[-0-9]* [:0-9]*  {text}\n$")
                seen(f"start    version {VERSION}", "probe    http://127.0.0.1:1/v1/harbor/health",
                     r"outcome  no HTTP response \(Connection refused\)")
                os.remove(LOG)
                Client(choose(1) + choose(9)).leave()
                seen("client   came", "choice   default server 1",
                     r"probe    http://127.0.0.1:2/\\x1B\[31m/v1/harbor/health",
                     "choice   default server 9", "fault    not server url index.")
                monitor.kill()


class Alone(Case):
    """The client without a daemon, or with one that misbehaves."""

    def serve(self, answer):
        """Answers one connection and goes silent; None closes it instead."""
        os.makedirs(os.path.dirname(SOCKET), exist_ok=True)
        if os.path.exists(SOCKET):
            os.remove(SOCKET)
        server = socket.socket(socket.AF_UNIX)
        server.bind(SOCKET)
        server.listen()
        self.addCleanup(server.close)

        def run():
            with server.accept()[0] as peer:
                peer.recv(4096)
                peer.sendall(answer or b"")
                while answer is not None:
                    time.sleep(60)

        threading.Thread(target=run, daemon=True).start()

    def test_misbehaving_daemon(self):
        good = frame(CONFIGURATION, sender=1)
        rows = (
            ("good", good, 0), ("others before", frame({"type": "9"}, sender=1) + good, 0),
            ("silent", b"", 4), ("closes", None, 4), ("half a header", good[:5], 4),
            ("half a frame", good[:-1], 4), ("foreign sender", frame(CONFIGURATION), 1),
            ("negative", frame(b"", 1, -1), 1), ("over-long", frame(b"", 1, 2**31 - 1), 1),
            ("no JSON", frame(b"\xff" * 9, 1), 1), ("array", frame([1], 1), 1),
            ("empty", frame(b"", 1), 1), ("no members", frame({"type": "5"}, 1), 1),
            ("mistyped", frame(CONFIGURATION | {"defaultUrl": [5]}, 1), 1),
        )
        for name, answer, status in rows:
            with self.subTest(name):
                self.serve(answer)
                done = quillonctl("show", "--json", "--timeout", "400", timeout=10)
                document = json.loads(done.stdout)
                self.assertEqual((done.returncode, document["status"], document["ok"]),
                                 (status, status, status == 0))
                self.assertEqual(done.stderr.count("\n"), 1 if status else 0)

    def test_no_daemon(self):
        self.assertIn("no socket", quillonctl("show").stderr)
        os.makedirs(os.path.dirname(SOCKET))
        with socket.socket(socket.AF_UNIX) as dead:
            dead.bind(SOCKET)
            refused = quillonctl("show", "--json")
        self.assertEqual((refused.returncode, "refused" in refused.stderr), (3, True))
        self.assertEqual(json.loads(refused.stdout)["error"], "no-daemon")
        if HAS_USERS:
            self.serve(b"")
            os.chmod(SOCKET, 0o600)
            barred = quillonctl("show", user=65534)
            self.assertEqual((barred.returncode, "no permission" in barred.stderr), (3, True))

    def test_wait(self):
        start = time.monotonic()
        self.assertEqual(quillonctl("show", "--wait", "--timeout", "300").returncode, 3)
        self.assertGreaterEqual(time.monotonic() - start, 0.3)
        with subprocess.Popen([f"{BIN}/quillonctl", "show", "--wait", "--timeout", "20000"],
                              stdout=subprocess.DEVNULL) as patient, Daemon():
            self.assertEqual(patient.wait(10), 0)

    def test_check(self):
        rows = (
            ("", "no JSON"), ("{}", "no member"), ("[1]", "not an object"),
            ({"confDefault": 1}, "confDefault: not true or false: false is used"),
            ({"confDefaultIndex": 1.5}, "confDefaultIndex: not a whole number"),
            ({"confDefaultIndex": 2}, "no address in defaultUrl has this index"),
            ({"confDefault": False, "confCustomUrl": "h", "confDefaultIndex": 2}, "has this index"),
            ({"defaultUrl": [URLS[0], 5]}, 'entry 1: not a string: "5" is used'),
            ({"defaultUrl": [URLS[0], "host"]}, "entry 1: no valid http:// or https:// URL"),
            ({"defaultUrl": ["https://h:99999"]}, "no valid"), ({"defaultUrl": [""]}, "no valid"),
            ({"defaultUrl": ["https://http://h"]}, "two schemes"),
            ({"confDefault": False, "confCustomUrl": "http://h"}, "two schemes"),
            ({"confCustomHeadindex": 2}, "neither 0 nor 1"), ({"x\x1b": 0}, r"x\x1B: not known"),
            ({"healthPath": "/health/"}, "times out"), ('{"healthPath":"","healthPath":""}', "twice"),
            ({"confDefault": False}, "confCustomUrl: empty"), ({"defaultUrl": URLS}, None),
            ({"defaultUrl": URLS, "healthPath": "/v1/harbor/health?x=http://y"}, None),
        )
        for content, fault in rows:
            with self.subTest(content):
                configure(content)
                done, document = quillonctl("check"), json.loads(quillonctl("check", "--json").stdout)
                self.assertEqual((done.returncode, document["status"]), (int(fault is not None),) * 2)
                self.assertIn(fault or "Probe URL:     http://127.0.0.1:1/v1/harbor/health", done.stdout)
        self.assertEqual(quillonctl("check", "/run").returncode, 1)

    def test_usage(self):
        for line in ("", "x", "show x", "use", "use x", "use 1 2", "use 99999999999", "show --level info",
                     "show --timeout 0", "log --since x", "log --level x", "monitor x", "check a b", "log - --follow"):
            with self.subTest(line):
                done = quillonctl(*line.split())
                self.assertEqual((done.returncode, done.stdout), (2, ""), done)
                self.assertEqual(done.stderr.count("\n"), 1)
        self.assertIn("3  no daemon reachable", quillonctl("--help").stdout)
        self.assertEqual(quillonctl("--version").stdout, f"quillonctl {VERSION}\n")
