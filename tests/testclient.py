import base64
import contextlib
import json
import os
import re
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
PROBE = "Probe URL:     "
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
def start(*arguments, stdout=subprocess.PIPE, **options):
    with subprocess.Popen([f"{BIN}/quillonctl", *arguments], text=True, stdout=stdout,
                          stderr=subprocess.PIPE, **options) as process:
        timer = threading.Timer(DEADLINE, process.kill)  # or readline() could block
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
        def shown():
            done = quillonctl("status", *arguments, **options)
            return done if text in done.stdout else None
        done = poll(shown)
        self.assertEqual((done.returncode, done.stderr), (status, ""))


class Real(Checks):
    """The client with the real daemon."""

    def test_show_and_use(self):
        configure({"defaultUrl": URLS, "confDefault": False, "confCustomUrl": "h/p",
                   "confCustomHeadindex": 2})
        with Daemon():
            for arguments, status, out, err in (
                    (["show"], 0, "In use: https://h/p (custom address)\nDefault servers:\n  ", ""),
                    (["use", "--probe"], 1, "", "no default server is in use"),
                    (["use", SHOWN], 0, f"* 1  {SHOWN}\n", ""),
                    (["use", "x"], 1, "", "no default server has this address; see"),
                    (["use", "--json", "7"], 1, '"code":5', "no default server has this index"),
                    (["use", "0", "--json"], 0, '"serverInUse":"http://127.0.0.1:1"', "")):
                self.check([*arguments, *PATIENT], status, out, err)
            for spoil, err, mend in (
                    (f"mv {CONF} {CONF}.x", f"was not made, because {CONF} is missing",
                     f"mv {CONF}.x {CONF}"),
                    (f"mkdir -p {DRAFT}/x", "but the choice was not saved", f"rm -r {DRAFT}")):
                with broken(spoil, mend):
                    self.check(["use", "1", *PATIENT], 1, "", err)
                    if DRAFT in spoil:
                        self.look(f"{CONF}: the choice is not saved", 5, *PATIENT)

    def test_use_with_probe(self):
        site = Site((0, 200), (0, 200), (0, 204), (3600, 200))
        configure({"defaultUrl": [site.url, URLS[0], URLS[1]]})
        with Daemon(stderr=subprocess.DEVNULL) as daemon:
            poll(lambda: "Attribute  200" in log())
            probe = ["--probe", *PATIENT]
            os.remove(LOG)
            self.check(["use", "0", *probe], 0, "Probe: HTTP status 200, 2")
            self.check(["use", *probe], 6, "* 0", "the probe failed: HTTP status 204")
            with start("use", "0", *probe) as ours:
                poll(lambda: len(site.requests) == 4)
                self.check(["status", "--wait", "--timeout", "3s"], 5, "pending, sent")
                self.check(["use", "2", *PATIENT], 0)
                self.assertEqual(ours.wait(DEADLINE), 5, ours.communicate())
            limit = f"prlimit --pid {daemon.process.pid} --fsize="
            with broken(f"{limit}$(stat -c %s {LOG}):", f"{limit}unlimited:"):
                self.look("does not write", 5, *PATIENT)
                self.check(["use", "1", "--json", *probe], 5, '"probe":{', "does not show it")

    def test_log(self):
        configure({"defaultUrl": URLS})
        with Daemon():
            poll(lambda: "http nStatus" in log())
            with start("log", "-f", "-n1", "--level", "warning") as follower:
                self.assertIn("[qWarning:", follower.stdout.readline())
                run(f"printf 'cut short' >>{LOG} && rm {LOG}")
                Client(b"rubbish")
                self.assertEqual(follower.stdout.readline(), "cut short\n")
                self.assertRegex(follower.stdout.readline(), "PeerClosedError|not sent by")
                Path(LOG).write_text(line("anew"), "utf-8")  # shorter
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
            self.check(["check"], 1, "restart; until then, any choice overwrites the file\n")
            configure({"defaultUrl": URLS})
            self.look("this file; until then, any choice overwrites the file\n", 1, *PATIENT)
            self.check(["check", f"/{CONF}"], 1, "restart it after you edit that\nWrong:\n")

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

    def test_monitor(self):
        configure({"defaultUrl": URLS})
        with start("monitor", "--json") as monitor:
            self.assertIn("no daemon listens on", monitor.stderr.readline())
            with Daemon():
                poll(lambda: "http nStatus" in log())
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
        self.assertEqual(events[2]["httpStatus"], 0)
        page = (Path(__file__).parents[1] / "doc/man/quillonctl.1").read_text("utf-8")
        section = page.split(".Ss JSON documents")[1].split(".Sh")[0]
        members = " ".join(re.findall(r"^\.(?:It )?Ic (.*?)(?: Pq.*)?$", section, re.M))
        seen = re.findall(r'"(\w+)":', "".join(printed))
        self.assertLessEqual(set(re.findall(r"\w+", members)), set(seen))


class Alone(Checks):
    """The client without a daemon."""

    def listen(self):
        Case.setUp(self)
        os.makedirs(os.path.dirname(SOCKET))
        server = self.enterContext(socket.socket(socket.AF_UNIX))
        server.bind(SOCKET)
        server.listen(0)
        server.settimeout(DEADLINE)
        return server

    def test_misbehaving_daemon(self):
        """Rows: what the daemon sends before it closes the connection."""
        good = frame(ANSWER, 1)
        rows = (
            (frame({"type": "9"}, 1) + good, 0), (good[:-1], 4), (frame(ANSWER), 1),
            (frame(b"", 1, -1), 1), (frame(b"", 1, 2**31 - 1), 1), (frame([1], 1), 1),
            (frame(ANSWER | {"defaultUrl": [5]}, 1), 1),
            (frame(ANSWER | {"defaultUrl": URLS * 10000}, 1), 0),
        )
        for answer, status in rows:
            with (self.subTest(answer=answer[:100]), self.listen() as server,
                  start("show", "--json", *PATIENT) as client):
                with server.accept()[0] as peer:
                    peer.recv(4096)
                    peer.sendall(answer)
                document = json.loads(client.communicate()[0])
                self.assertEqual((client.returncode, document["status"]), (status, status))

    def test_full_backlog(self):
        """Nobody accepts a connection before a client has tried in vain."""
        server = self.listen()
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
        self.check(["--json"], 3, '"process":null,"reason":"no daemon listens')
        run(f"! {BIN}/quillonctl help >/dev/full 2>&1")
        with start("log", "--follow", "/run/later") as follower:
            self.assertIn("no log /run/later; waiting", follower.stderr.readline())
            follower.stdout.close()
            self.assertEqual(follower.wait(DEADLINE), 0)  # sees that the reader has left
        run("mkdir -m 0 /run/quillon && setpriv --bounding-set=-dac_override,-dac_read_search "
            f"{BIN}/quillonctl show --json 2>&1 | grep -q no-permission")

    def test_wait(self):
        patience = ["--wait", "--timeout", "1"]
        self.check(["show", "--json", *patience], 3, '"error":"no-daemon"', "No such file")
        with start("show", "--wait") as usual, start("show", "--wait", "--timeout", "10") as late:
            usual.communicate()
            self.assertIsNone(late.poll())
        with start("show", "--wait", *PATIENT) as patient, Daemon():
            self.assertEqual(patient.wait(DEADLINE), 0)
            self.look("missing; create or repair it ('man quillon-agent.json' has", 1, *PATIENT)
            self.look("none, because the daemon has no configuration\n", 1, *PATIENT)
            self.look('"state":null', 1, "--json", *PATIENT)
            self.check(["show", "--json", *PATIENT], 0, '"serverInUse":null')
            configure({"defaultUrl": URLS})
            self.check(["use", "1", *PATIENT], 1, "", "no configuration; run 'quillonctl check'")

    def test_log_of_input(self):
        """Rows: the arguments, the log, and what is printed of it."""
        tricky = bytes(byte ^ KEY for byte in base64.b64decode("LogEncryptionAAA")) + b"\\"
        far, near, cut = line("far", age=47), line("near", age=3), long("forged")
        early = re.sub(r"\d\d:\d\d:\d\d", "00:00:00", line("early"))  # today
        east = time.gmtime(time.time() + 3600 * (14 - 4))  # 4 hours ago
        rows = (
            ([], "\u202e\na\nb", "\\u{202E}\na\nb"),
            ([], scrambled(tricky), r"\x07\xA1-\xB4\xE3\xDB\x8F\xF1\x81\xB5))\\"),
            ([], "LogEncryptionabcde\n", "LogEncryptionabcde\n"),
            ([], scrambled(b"a") + "=", "a="),
            ([], cut, cut[:2**20] + "\n(continued) " + cut[2**20:]),
            (["--level", "WARN"], line("x", "Qinfo") + near, near),
            (["--level", "err"], near, ""),
            (["--since", "yesterday"], line("far", age=49) + near, near),
            (["--since", "today"], far + early, early),
            (["--since", "-4h"], far + near, near),
            (["--since", "1d"], far + near, near),
            (["--since", time.strftime("%Y-%m-%dT%H:%M:%S+14:00", east)], far + near, near),
        )
        for arguments, content, shown in rows:
            zone = os.environ | {"TZ": "XYZ-9"}
            done = quillonctl("log", "-", *arguments, input=content, env=zone)
            self.assertEqual(done.stdout, shown, arguments)

    def test_written_log(self):
        """Rows: the log, and what status shows of it."""
        probe = line('sendHealthInfo url : "LogEncryptionAAAA"', "Debug")
        tls, failed = line('TLS:  ("Old", "No CA")'), line('Failed:  0 x "No"')
        none = line(f"{STATUS}  0 --------")
        rows = (
            (probe + tls + failed + none, "no HTTP response (No: Old; No CA), 2"),
            (probe + tls + failed + none + probe + failed + none, "no HTTP response (No), 2"),
            (probe + failed.replace("x", "SslHandshakeFailedError") + none, "(No: no certificate"),
            (probe + line(f"{STATUS}  200 --------", age=1.5), " (90 min ago)\n"),
            (probe + long(f"{STATUS}  200 --------"), "pending"),
            (probe + line('server-url=  "x"') + none, "none since this server was chosen\n"),
            (probe + line("local socket error : QLocalSocket::PeerClosedError"), "hours: none\n"),
            (line("x", age=25) + line("y 1", age=23) + line('y 2 "x"'), "24 hours:\n     2  y\n"),
        )
        os.makedirs(os.path.dirname(LOG))
        for content, shown in rows:
            Path(LOG).write_text(content, "utf-8")
            self.check(["status", "--wait", "--timeout", "100ms"], 3, shown, timeout=DEADLINE)
        content = line("client disconnect !", age=2)
        for index in (7, 1):
            content += line("recv client data : ")
            content += line(f'byteArray:  "{scrambled(choose(index)[8:])}"')
        content += line("\n\n***Import Default ServerUrl [START]***")
        Path(LOG).write_text(content, "utf-8")
        with start("monitor", "--since", "1h") as monitor:
            self.assertRegex(monitor.stdout.readline(), "  choice   default server 1\n")
        for term, unwanted in ("xterm", ""), ("xterm", "1"), ("dumb", ""):
            ours, theirs = os.openpty()
            wish = os.environ | {"TERM": term, "NO_COLOR": unwanted}
            with start("monitor", "--since", "1h", stdout=theirs, env=wish):
                os.close(theirs)
                is_coloured = b"\x1b" in os.read(ours, 999)
                self.assertEqual(is_coloured, term == "xterm" and not unwanted)
            os.close(ours)
        Path(LOG).write_text("cut short", "utf-8")
        with start("monitor") as monitor, open(LOG, "a", encoding="utf-8") as writer:
            monitor.stderr.readline()  # comes after it has gone to the end of the log
            piece = line(f"{STATUS}  200 --------")
            print(piece + line("client disconnect !"), file=writer, flush=True)
            self.assertIn("client   left", monitor.stdout.readline())

    def test_check(self):
        custom = {"confDefault": False, "confCustomUrl": "h"}
        rows = (
            ("", "line 1, column 1: unexpected end"),
            ("{}", "no member"), ("[1]", "not an object"),
            ('{\n "é": [1, ]}', "line 2, column 11: unexpected ']'"),
            ('{"a": ["b"\n }  ', "line 2, column 2: unexpected '}'"),
            ('{"a": 1}\n}', "line 2, column 1: unexpected '}'"),
            ({"confDefault": 1}, "confDefault: not true or false: false is used"),
            ({"confDefaultIndex": 0.7}, "confDefaultIndex: not a whole number"),
            ({"confDefaultIndex": 2}, "no address in defaultUrl has this index"),
            ({"defaultUrl": [URLS[0], 5]}, 'entry 1: not a string: "5" is used'),
            ({"defaultUrl": [URLS[0], "host"]}, "entry 1: not a valid http:// or https:// URL"),
            ({"confDefault": False, "confCustomUrl": "http://h"}, "two schemes"),
            ('{"defaultUrl": ["http://u@%s:1/"]}' % ("\u0301" * 400000), "the host has more"),
            ({"defaultUrl": ["http://h/"]}, "Wrong:\n  defaultUrl: entry 0: a slash at the end"),
            ({"defaultUrl": [URLS[0], "http://h/#x"]}, "entry 1: a query or a fragment"),
            ({"healthPath": "v/health", "defaultUrl": ["http://h:1"]}, "Wrong:\n  healthPath: no"),
            ({"confCustomHeadindex": 2}, "neither 0 nor 1"),
            ({"x\x1b": 0}, r"x\x1B: not known"),
            ({"healthPath": "/health/"}, "times out"),
            ('{"healthPath":"","healthPath":""}', "appears twice"),
            ({"confDefault": False}, "confCustomUrl: empty, but in use\n"),
            ({"confDefaultIndex": 1}, f"{PROBE}https://main1.quillon.invalid/v1/"),
            (custom, f"{PROBE}https://h/v1/"),
            (custom | {"confCustomHeadindex": 1}, f"{PROBE}http://h/v1/"),
        )
        for content, shown in rows:
            configure(content)
            self.check(["check"], 0 if PROBE in shown else 1, shown)
        seen = self.check(["check", "-", "--json"], 1, input='{"\u00e9\u202e": 0}').stdout
        self.assertEqual(json.loads(seen)["faults"][0]["member"], "\u00e9\u202e")
        self.check(["check", "-"], 1, "", "not a file of at most 1 MiB", input="1" * 2**20 + "1")

    def test_usage(self):
        self.check(["help"], 1, "", "cannot write the output", preexec_fn=lambda: os.close(1))
        for arguments in (
                "x", "x\x1b", "show x", "use", "use 1 2", "help x",
                "show --level info", "show --timeout 0", "show --timeout 9w", "log --level x",
                "show --timeout 4294968s", "log --since x", "log -n -1", "log - --follow"):
            self.check(arguments.split(), 2, "", "see 'quillonctl help", timeout=DEADLINE)
