import base64
import contextlib
import json
import os
import re
import shutil
import socket
import subprocess
import threading
import time
from pathlib import Path

from daemon import (BIN, CONF, DEADLINE, KEY, LOG, SOCKET, TMP, VERSION, Case, Client,
                    Daemon, Site, ask, broken, choose, configure, frame, log, poll, quillonctl, run)

URLS = ["http://127.0.0.1:1", "http://127.0.0.1:2/\x1b[31m"]
SHOWN = r"http://127.0.0.1:2/\x1B[31m"
ANSWER = {"type": "5", "confDefault": True, "confDefaultIndex": 0, "confCustomUrl": "",
          "confCustomHeadindex": 0, "defaultUrl": URLS}
DRAFT = f"{CONF}.quillon-draft"
PATIENT = ("--timeout", "1m")  # longer than an answer takes on a slow machine
STATUS = " --------Http Status Code Attribute"


def line(text, level="qWarning", age=0):
    """Returns a line of the log that is so many hours old."""
    date = time.strftime("%Y-%m-%d %H:%M:%S", time.localtime(time.time() - 3600 * age))
    return f"[{level}:{date}:x.cpp line:1] {text}\n"


def long(text):
    """Returns a line in which something like another line follows the first MiB."""
    return line("x" * (2**20 - len(line("")) + 1) + line(text)[:-1] + " " * 2**18)


def scrambled(text):
    return "LogEncryption" + base64.b64encode(bytes(byte ^ KEY for byte in text)).decode()


@contextlib.contextmanager
def start(*arguments, program=f"{BIN}/quillonctl", **options):
    with subprocess.Popen([program, *arguments], text=True, stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE, **options) as process:
        timer = threading.Timer(DEADLINE, process.kill)  # or a line that never comes would block
        timer.start()
        yield process
        process.kill()
        timer.cancel()


class Checks(Case):
    def check(self, arguments, status, out="", err="", **options):
        done = quillonctl(*arguments, **options)
        self.assertEqual(done.returncode, status, done)
        self.assertIn(out, done.stdout)
        self.assertIn(err, done.stderr)
        self.assertEqual(done.stderr.count("\n"), 1 if err else 0, done)
        self.assertNotIn("\x1b", done.stdout + done.stderr)
        return done

    def look(self, text, status, *arguments, **options):
        """Runs status until it prints the text; then checks the exit status."""
        seen = []
        poll(lambda: text in (seen.append(quillonctl("status", *arguments, **options)) or seen[-1].stdout))
        self.assertEqual((seen[-1].returncode, seen[-1].stderr), (status, ""))


class Real(Checks):
    """The client with the real daemon."""

    def test_show_and_use(self):
        configure({"defaultUrl": URLS, "confDefault": False, "confCustomUrl": "h/p"})
        with Daemon():
            for arguments, status, out, err in (
                    (["show"], 0, "In use: https://h/p (custom address)\n", ""),
                    (["use", "--probe"], 1, "", "no default server is in use"),
                    (["use", SHOWN], 0, f"* 1  {SHOWN}\n", ""),
                    (["use", "x"], 1, "", "no default server has this address; see"),
                    (["use", "--json", "7"], 1, '"code":5', "no default server has this index"),
                    (["use", "0", "--json"], 0, '"serverInUse":"http://127.0.0.1:1"', "")):
                self.check([*arguments, *PATIENT], status, out, err)
            for spoil, err, mend in (
                    (f"mv {CONF} {CONF}.x && mkdir {CONF}", f"not made, because {CONF}, or a new",
                     f"rmdir {CONF} && mv {CONF}.x {CONF}"),
                    (f"mkdir -p {DRAFT}/x", "but the choice was not saved", f"rm -r {DRAFT}"),
                    (f"rm {CONF}", f"was not made, because {CONF} is missing", "true")):
                with broken(spoil, mend):
                    self.check(["use", "0" if "missing" in err else "1", *PATIENT], 1, "", err)

    def test_use_with_probe(self):
        site = Site((0, 200), (0, 200), (0, 503), (0, 503), (0, 200), (2, 503), (3600, 200))
        configure({"defaultUrl": [site.url, URLS[0], Site((4, 200)).url]})
        with Daemon(stderr=subprocess.DEVNULL) as daemon:
            poll(lambda: "Attribute  200" in log())
            probe = ["--probe", *PATIENT]
            self.check(["use", "0", *probe], 0, "Probe: HTTP status 200, 2")
            self.check(["use", "0", *probe], 6, "* 0", "the probe failed: HTTP status 503")
            self.check(["use", *probe], 6, "* 0", "the probe failed: HTTP status 503")
            self.check(["use", "1", "--json", *probe], 6, '"httpStatus":0', "(Connection refused)")
            other = Client()
            with start("use", "0", *probe) as ours:  # while others choose, the last one in vain
                poll(lambda: os.system(f"ls -l /proc/{ours.pid}/fd 2>/dev/null | grep -q socket:") == 0)
                other.socket.sendall(choose(0))
                poll(lambda: log().count("Attribute  200") == 3 and not os.remove(LOG))
                other.leave()
                poll(lambda: Client(choose(9)) and "not server url" in log())
                self.assertEqual(ours.wait(DEADLINE), 6, ours.communicate())
            with start("use", "0", *probe) as ours:
                poll(lambda: len(site.requests) == 7)
                self.check(["use", "2", *PATIENT], 0)
                self.assertEqual(ours.wait(DEADLINE), 5, ours.communicate())
            self.assertIn(quillonctl("use", "2", "--probe").returncode, (0, 6))  # 6 if slow
            self.check(["use", "0", *PATIENT], 0)
            with self.subTest("another user"):
                os.chmod(LOG, 0o600)
                self.check(["use", "1", *probe], 1, "", "run this as root", user=65534)
                self.assertEqual(ask()[-1]["confDefaultIndex"], 0)
            limit = f"prlimit --pid {daemon.process.pid} --fsize="
            with broken(f"{limit}$(stat -c %s {LOG}):", f"{limit}unlimited:"):
                shown = self.check(["use", "1", *probe], 5, "", "does not show it")
                self.assertNotIn("Probe", shown.stdout)

    def test_log(self):
        configure({"defaultUrl": URLS})
        with Daemon():
            poll(lambda: "http nStatus" in log())
            Client(b"\x1b]0;x\0\x07\xff").leave()
            shown = self.check(["log"], 0, 'server-url=  "http://127.0.0.1:1"').stdout
            self.assertIn(r"\x1B]0;x\x00\x07\xFF", shown)
            self.assertNotIn("LogEncryption", shown)
            with start("log", "-f", "-n1", "--level", "warning") as follower:
                self.assertIn(follower.stdout.readline(), shown.splitlines(keepends=True))
                run(f"printf '[qWarning:2026-01-01 00:00:00:x.cpp line:1] cut short' >>{LOG} && rm {LOG}")
                Client(b"rubbish")
                self.assertRegex(follower.stdout.readline(), "cut short\n")
                self.assertRegex(follower.stdout.readline(), "PeerClosedError|not sent by")
                Path(LOG).write_text(line("anew"), "utf-8")  # shorter than what has been read
                self.assertTrue(any("anew" in text for text in iter(follower.stdout.readline, "")))

    def test_status(self):
        configure({"defaultUrl": [Site((0, 200), (0, 503)).url, URLS[0]]})
        with Daemon() as daemon:
            self.look("status 200, ", 0, *PATIENT)
            self.look(f"Process:     {daemon.process.pid}, since 2", 0, *PATIENT)
            ask(choose(0))
            self.look("status 503, ", 1, *PATIENT)
            os.remove(CONF)
            self.look(f"File:        {CONF}: missing; the daemon goes on", 1, *PATIENT)
            configure('{"defaultUrl":')
            self.look("column 15: unexpected end; the daemon goes on", 1, *PATIENT)
            self.check(["check"], 1, "before a restart; the next choice overwrites this file\n")
            configure({"defaultUrl": URLS})
            self.look("after an edit; the next choice overwrites this file\n", 1, *PATIENT)
            self.check(["check", f"/{CONF}"], 1, "healthPath; restart it after an edit\nWrong:\n")
            with self.subTest("another user"):
                run(f"chmod 600 {LOG} {CONF}")
                self.look("as root\nLast probe:  unknown: cannot read", 5, user=65534, *PATIENT)
        self.look('"process":null,"reason":"no daemon listens', 3, "--json")

    def test_busy_daemon(self):
        with Daemon():
            other = Client()
            sockets = Path("/proc/net/unix")  # a line for each connection
            self.look("one program at a time", 4, "--timeout", "300ms")
            before = sockets.read_text("ascii").count("/quillon/")
            with start("show", *PATIENT) as waiting:
                poll(lambda: sockets.read_text("ascii").count("/quillon/") > before)
                other.socket.close()
                self.assertEqual(waiting.wait(DEADLINE), 0, waiting.communicate())

    def test_status_of_unknown_outcome(self):
        configure({"defaultUrl": [Site((3600, 200)).url, URLS[0]]})
        with Daemon(stderr=subprocess.DEVNULL) as daemon:
            limit = f"prlimit --pid {daemon.process.pid} --fsize="
            for spoil, text, mend in (
                    (f"mkdir -p {DRAFT}/x && ! {BIN}/quillonctl use 1 --timeout 1m 2>/dev/null",
                     f"{CONF}: the choice is not saved: make this file", f"rm -r {DRAFT}"),
                    (f"{limit}$(stat -c %s {LOG}):", "does not write", f"{limit}unlimited:"),
                    (f"rm {LOG}", "none in the log", "true"),
                    (f"rm {LOG} && mkfifo {LOG}", "not a regular file", f"rm {LOG}")):
                with broken(spoil, mend):
                    self.look(text, 5, *PATIENT)
            ask(choose(0))
            self.check(["status", "--wait", *PATIENT], 1, " ago); run 'quillonctl check'")

    def test_monitor(self):
        configure({"defaultUrl": URLS})
        with start("monitor", "--json") as monitor:
            self.assertIn("no daemon listens on", monitor.stderr.readline())
            with Daemon():
                poll(lambda: "http nStatus" in log())
                for term, plain, colour in ("dumb", "", ""), ("xterm", "1", ""), ("xterm", "", "\x1b[1m"):
                    variables = os.environ | {"TERM": term, "NO_COLOR": plain}
                    with start("-qfec", f"{BIN}/quillonctl monitor --since 1h", "/dev/null",
                               program="script", stdin=subprocess.DEVNULL, env=variables) as seen:
                        self.assertIn(f"  {colour}start ", seen.stdout.readline())
                printed = [monitor.stdout.readline() for _ in range(3)]
                os.remove(LOG)
                Client(choose(1) + choose(9)).leave()
                printed += [monitor.stdout.readline() for _ in range(5)]
                for command in ("use 1 --probe", "use 9", "status", "check -"):
                    done = quillonctl(*command.split(), "--json", input='{"confDefault": 7}')
                    printed.append(done.stdout)
        events = [json.loads(text) for text in printed[:8]]
        self.assertEqual([event["event"] + " " + event["text"] for event in events], [
            f"start version {VERSION}", f"probe {URLS[0]}/v1/harbor/health",
            "outcome no HTTP response (Connection refused)",
            "client came", "choice default server 1", f"probe {SHOWN}/v1/harbor/health",
            "choice default server 9", "fault not server url index."])
        self.assertRegex(events[0]["time"], r"^2[-0-9]*T[:0-9]*(Z|[-+]\d\d:\d\d)$")
        page = (Path(__file__).parents[1] / "doc/man/quillonctl.1").read_text("utf-8")
        section = page.split(".Ss JSON documents")[1].split(".Sh")[0]
        members = " ".join(re.findall(r"^\.(?:It )?Ic (.*?)(?: Pq.*)?$", section, re.M))
        seen = re.findall(r'"(\w+)":', "".join(printed))
        self.assertLessEqual(set(re.findall(r"\w+", members)), set(seen))


class Alone(Checks):
    """The client without a daemon, or with one that misbehaves."""

    def listen(self):
        shutil.rmtree(os.path.dirname(SOCKET), ignore_errors=True)
        os.makedirs(os.path.dirname(SOCKET))
        server = self.enterContext(socket.socket(socket.AF_UNIX))
        server.bind(SOCKET)
        server.listen()
        server.settimeout(DEADLINE)
        return server

    def test_misbehaving_daemon(self):
        """Rows: what the daemon sends before it goes silent; None closes the connection."""
        good = frame(ANSWER, 1)
        rows = (
            (frame({"type": "9"}, 1) + good, 0), (b"", 4), (None, 4), (good[:5], 4), (good[:-1], 4),
            (frame(ANSWER), 1), (frame(b"", 1, -1), 1), (frame(b"", 1, 2**31 - 1), 1),
            (frame(b"\xff" * 9, 1), 1), (frame([1], 1), 1), (frame({"type": "5"}, 1), 1),
            (frame(ANSWER | {"defaultUrl": [5]}, 1), 1),
        )
        for answer, status in rows:
            timeout = ("--timeout", "400ms") if status == 4 else PATIENT
            with (self.subTest(answer=answer), self.listen() as server,
                  start("show", "--json", *timeout) as client, server.accept()[0] as peer):
                peer.recv(4096)
                with contextlib.suppress(BrokenPipeError):  # the client may have given up
                    peer.sendall(answer or b"")
                if answer is None:
                    peer.close()
                out, err = client.communicate()
                document = json.loads(out)
                self.assertEqual((client.returncode, document["status"], err.count("\n")),
                                 (status, status, int(status != 0)))

    def test_full_backlog(self):
        """Nobody accepts a connection before the last client has tried in vain."""
        server = self.listen()
        server.listen(0)
        with start("show", *PATIENT) as first, start("show", *PATIENT) as second:
            poll(lambda: Path("/proc/net/unix").read_text("ascii").count(SOCKET) > 1)
            self.look("too many programs wait", 4, "--timeout", "300ms")
            for _ in range(2):
                with server.accept()[0] as peer:
                    peer.sendall(frame(ANSWER, 1))
                    peer.recv(4096)
            self.assertEqual((first.wait(DEADLINE), second.wait(DEADLINE)), (0, 0))

    def test_no_daemon(self):
        self.check([], 3, "Daemon:      no daemon listens")
        os.makedirs(os.path.dirname(SOCKET))
        with socket.socket(socket.AF_UNIX) as dead:
            dead.bind(SOCKET)
        self.check(["show", "--json"], 3, '"error":"no-daemon"', "refused")
        with self.subTest("another user"):
            self.listen()
            os.chmod(SOCKET, 0o600)
            self.check(["show", "--json"], 3, '"error":"no-permission"', "no permission", user=65534)
        with start("log", "--follow", "/run/later") as follower:
            self.assertIn("no log /run/later; waiting", follower.stderr.readline())
            follower.stdout.close()
            self.assertEqual(follower.wait(DEADLINE), 0)  # sees that the reader has left

    def test_wait(self):
        begun = time.monotonic()
        self.check(["show", "--wait", "--timeout", "1"], 3, "", "No such file")
        self.assertGreater(time.monotonic(), begun + 0.9)
        with start("show", "--wait", *PATIENT) as patient, Daemon():
            self.assertEqual(patient.wait(DEADLINE), 0)
            self.look("missing; see the example in 'man quillon-agent.json'", 1, *PATIENT)
            self.look("none, because the daemon has no configuration\n", 1, *PATIENT)
            configure({"defaultUrl": URLS})
            self.check(["use", "1", *PATIENT], 1, "", "no configuration; run 'quillonctl check'")
            self.check(["check"], 1, "has another configuration; restart it after an edit\n")

    def test_log_of_input(self):
        """Rows: the arguments, the log, and what is printed of it."""
        tricky = bytes(byte ^ KEY for byte in base64.b64decode("LogEncryptionAAA")) + b"\\"
        far, near, cut = line("far", age=47), line("near", age=3), long("forged")
        east = time.gmtime(time.time() + 3600 * (14 - 20))  # 20 hours ago, east of here
        rows = (
            ([], "\u202e\na\nb", "\\u{202E}\na\nb"),
            (["-n1"], "a\n\nb", "b"), (["-n2"], "a\n\n\n", "\n\n"),
            ([], scrambled(tricky), r"\x07\xA1-\xB4\xE3\xDB\x8F\xF1\x81\xB5))\\"),
            ([], "LogEncryptionabcde\n", "LogEncryptionabcde\n"),
            ([], cut, cut[:2**20] + "\n(continued) " + cut[2**20:]),
            (["--level", "WARN"], line("x", "Qinfo") + near, near), (["--level", "err"], near, ""),
            (["--since", "yesterday"], line("far", age=49) + near, near),
            (["--since", "today"], far + line("now"), line("now")),
            (["--since", "-4h"], far + near, near), (["--since", "1d"], far + near, near),
            (["--since", "2d"], far + near, far + near),
            (["--since", time.strftime("%Y-%m-%dT%H:%M:%S+14:00", east)], far + near, near),
        )
        for arguments, content, shown in rows:
            zone = os.environ | {"TZ": "XYZ-9"}
            done = quillonctl("log", "-", *arguments, input=content, env=zone)
            self.assertEqual(done.stdout, shown, arguments)

    def test_tail_of_long_log(self):
        """It takes not much longer than the whole log, and begins with a whole line."""
        Path(f"{TMP}/log").write_text(line("x" * 80) * 160000, "utf-8")
        seconds = []
        for arguments in ([], ["-n", "100000"], ["-n", "1000000"]):
            before = os.times().children_user
            seen = quillonctl("log", f"{TMP}/log", *arguments).stdout
            seconds.append(os.times().children_user - before)
            self.assertTrue(seen.startswith("[qWarning"))
        self.assertLess(max(seconds), 3 * seconds[0] + 1)

    def test_written_log(self):
        """Rows: the log, and what status shows of it."""
        probe = line('sendHealthInfo url : "LogEncryptionAAAA"', "Debug")
        tls, failed = line('TLS:  "Expired"'), line('Failed:  0 x "No"')
        none = line(f"{STATUS}  0 --------")
        rows = (
            (probe + tls + failed + none, "no HTTP response (No: Expired), 2"),
            (probe + tls + failed + none + probe + failed + none, "no HTTP response (No), 2"),
            (probe + failed.replace("x", "SslHandshakeFailedError") + none, "(No: no certificate error"),
            (probe + line(f"{STATUS}  200 --------", age=3), " (3 h ago)\n"),
            (probe + long(f"{STATUS}  200 --------"), "pending"),
            (probe + line('server-url=  "x"') + none, "none since this server was chosen\n"),
            (probe + line("local socket error : QLocalSocket::PeerClosedError"), "24 hours: none\n"),
            (line("x", age=25) + line("y 1", age=23) + line('y 2 "x"'), "24 hours:\n     2  y\n"),
        )
        os.makedirs(os.path.dirname(LOG))
        for content, shown in rows:
            Path(LOG).write_text(content, "utf-8")
            self.check(["status"], 3, shown)
        content = line("client disconnect !", age=2)
        for index in (7, 1):
            content += line("recv client data : ")
            content += line(f'byteArray:  "{scrambled(choose(index)[8:])}"')
        content += line("\n\n***Import Default ServerUrl [START]***")
        Path(LOG).write_text(content, "utf-8")
        with start("monitor", "--since", "1h") as monitor:
            self.assertRegex(monitor.stdout.readline(), "  choice   default server 1\n")
        Path(LOG).write_text("cut short", "utf-8")
        with start("monitor") as monitor, open(LOG, "a", encoding="utf-8") as writer:
            monitor.stderr.readline()  # comes after it has gone to the end of the log
            print(line(f"{STATUS}  200 --------") + line("client disconnect !"), file=writer, flush=True)
            self.assertIn("client   left", monitor.stdout.readline())

    def test_check(self):
        rows = (
            ("", "line 1, column 1: unexpected end"), ("{}", "no member"), ("[1]", "not an object"),
            ('{\n "é": [1, ]}', "line 2, column 11: unexpected ']'"),
            ('{"a": "x}', "column 10: unexpected end"),
            ({"confDefault": 1}, "confDefault: not true or false: false is used"),
            ({"confDefaultIndex": 1.5}, "confDefaultIndex: not a whole number"),
            ({"confDefaultIndex": 2}, "no address in defaultUrl has this index"),
            ({"confDefault": False, "confCustomUrl": "h", "confDefaultIndex": 2}, "has this index"),
            ({"defaultUrl": [URLS[0], 5]}, 'entry 1: not a string: "5" is used'),
            ({"defaultUrl": [URLS[0], "host"]}, "entry 1: not a valid http:// or https:// URL"),
            ({"defaultUrl": ["https://h:99999"]}, "not a valid"),
            ({"defaultUrl": ["http://h?x"]}, "entry 0: a query"),
            ({"confDefault": False, "confCustomUrl": "http://h"}, "two schemes"),
            ('{"defaultUrl": ["http://u@%s:1/"]}' % ("\u0301" * 400000), "the host has more"),
            ({"defaultUrl": ["http://h/"]}, "Wrong:\n  defaultUrl: entry 0: a slash at the end"),
            ({"healthPath": "v/health", "defaultUrl": ["http://h:1"]}, "Wrong:\n  healthPath: no"),
            ({"confCustomHeadindex": 2}, "neither 0 nor 1"), ({"x\x1b": 0}, r"x\x1B: not known"),
            ({"healthPath": "/health/"}, "times out"),
            ('{"healthPath":"","healthPath":""}', "appears twice"),
            ({"confDefault": False}, "confCustomUrl: empty, but in use\n"),
            ({"defaultUrl": URLS, "healthPath": "/v1/harbor/health?x=http://y"}, None),
        )
        for content, fault in rows:
            configure(content)
            self.check(["check"], int(fault is not None),
                       fault or "Probe URL:     http://127.0.0.1:1/v1/harbor/health")
        seen = self.check(["check", "-", "--json"], 1, input='{"\u00e9\u202e": 0}').stdout
        self.assertEqual(json.loads(seen)["faults"][0]["member"], "\u00e9\u202e")
        self.check(["check", "-"], 1, "", "not a file of at most 1 MiB", input="1" * 2**20 + "1")

    def test_usage(self):
        for arguments in (
                "x", "show x", "use", "use 1 2", "help x",
                "show --level info", "show --timeout 0", "show --timeout 9w", "log --level x",
                "show --timeout 4294968s", "log --since x", "log -n -1", "log - --follow"):
            self.check(arguments.split(), 2, "", "see 'quillonctl help")
        self.check(["show", "--json", "x"], 2, '"error":"usage"', "show")
        self.check(["version"], 0, f"quillonctl {VERSION}\n")
        self.check(["log", "--help"], 0, quillonctl("help", "log").stdout)
        with open("/dev/full", "wb") as full:
            self.assertEqual(subprocess.call([f"{BIN}/quillonctl", "help"], stdout=full), 1)
