import json
import os
import re
import resource
import ssl
import stat
import subprocess
from pathlib import Path

from daemon import (BIN, DEADLINE, LOG, SLACK, SOCKET, TIMEOUT, TMP, VERSION, Case, Client, Daemon,
                    Site, ask, choose, configure, connections, log, poll, probe, run)

TLS_SITE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../scripts/tls-site")
SITE = f"{TMP}/site"
QT_RULES = "/etc/xdg/QtProject/qtlogging.ini"


class Tls(Case):
    def setUp(self):
        super().setUp()
        listed = subprocess.check_output([TLS_SITE, "start", SITE], text=True)
        self.addCleanup(subprocess.run, [TLS_SITE, "stop", SITE], check=True)
        self.urls = dict(line.split("=", 1) for line in listed.split())

    def test_probes(self):
        rows = (
            (self.urls["OK_URL"], 200, ""),
            (self.urls["UNTRUSTED_URL"], 0, "0 QNetworkReply::SslHandshakeFailedError"),
            (self.urls["MISNAMED_URL"], 0, "0 QNetworkReply::SslHandshakeFailedError"),
        )
        configure({"defaultUrl": [url for url, *_ in rows],
                   "confDefault": False, "confCustomUrl": rows[0][0].removeprefix("https://")})
        with Daemon():
            poll(lambda: "Status Code" in log())
            for index, (_, status, failure) in enumerate(rows):
                seen = probe(index, f"nStatus  {status}\n" if failure else "Attribute  200")
                self.assertIn(f" --------Http Status Code Attribute  {status} --------\n", seen)
                self.assertEqual(set(re.findall("Failed:  (.*?Error)", seen)), {failure} - {""})
            self.assertNotRegex(log(), "NotAccessible|nStatus  200")
            for fault in "issuer certificate", "host name did not match":
                self.assertRegex(log(), rf'\[Qinfo:.*\] TLS:  \("The {fault} .*"\)\n.*Failed:')
        self.assertNotIn(self.urls["OK_URL"], Path(LOG).read_text("utf-8"))
        requests = Path(f"{SITE}/access.log").read_text("utf-8").splitlines()
        self.assertGreaterEqual(len(requests), 2)
        for request in requests:
            self.assertEqual(json.loads(request) | {"port": 0}, {
                "port": 0, "method": "POST", "uri": "/v1/harbor/health", "content_length": "0",
                "content_type": "application/json", "cookie": "", "authtoken": "",
                "authorization": ""})

    def test_repeated_probes(self):
        """Qt keeps memory of each handshake until its connections are closed."""
        def outcomes():
            return Path(LOG).read_bytes().count(b"Status Code Attribute")

        silent, good = Site((3600, 200)).url, self.urls["OK_URL"]
        configure({"confDefaultIndex": 2,
                   "defaultUrl": [self.urls["UNTRUSTED_URL"], good, silent]})
        with Daemon() as daemon:
            poll(lambda: connections(silent) == 1)
            client = Client()
            for repetitions in 100, 400:
                before = daemon.peak_bytes()
                for index in range(repetitions):
                    count = outcomes()
                    client.socket.sendall(choose(index % 2))
                    poll(lambda known=count: outcomes() > known)
            self.assertLess(daemon.peak_bytes() - before, 2 * SLACK * 2**20)
            self.assertEqual(connections(silent), 0)
            poll(daemon.is_idle)
            # Nothing wakes the daemon: its ppoll() has no timeout.
            state = Path(f"/proc/{daemon.process.pid}/syscall")
            poll(lambda: state.read_text("ascii").split()[3:4] == ["0x0"])

    def test_floods(self):
        """A server, or somebody on the path to it, sends without end."""
        tls = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        tls.load_cert_chain(f"{SITE}/good.pem", f"{SITE}/good.key")
        ok, junk = b"HTTP/1.1 200 OK\r\n", bytes(65536)
        chunks = ok + b"Transfer-Encoding: chunked\r\n\r\n", b"1\r\nx\r\n" * 8192
        dates = b"Set-Cookie: a=;expires=" + b"1:x" * 5000 + b"\r\nSet-Cookie:" * 600 + b"\r\n\r\n"
        # Rows: name, end of the URL, outcome of the first reply, TLS, session tickets, answer.
        rows = (
            ("body of a 401", "", "Attribute  401", None, 0, b"HTTP/1.1 401 No\r\n\r\n", junk),
            ("header", "", "Attribute  0", None, 0, ok + b"Set-Cookie: a=b\r\n" * 6000 + b"\r\n"),
            ("dates", "", "Attribute  200", None, 0, ok + dates),
            ("interim replies", "", "Attribute  0", None, 0, b"", b"HTTP/1.1 100 C\r\n\r\n" * 3000),
            ("chunks of one byte", "", "Attribute  200", None, 0, *chunks),
            ("chunks that are read", "/?", 'returnByte "x', None, 0, *chunks),
            ("no TLS record before a reply", "", "Attribute  0", tls, 0, b"", junk),
            ("no TLS record after a reply", "", "Attribute  200", tls, 0, 200, junk),
            ("session tickets", "", "Attribute  0", tls, 10**9, 200),
        )
        for name, path, outcome, context, tickets, *answer in rows:
            with self.subTest(name):
                super().setUp()
                tls.num_tickets = tickets
                site = Site((0, *answer), tls=context)
                configure({"defaultUrl": [site.url + path, self.urls["OK_URL"]]})
                with Daemon() as daemon:
                    # A fault takes a minute of processor time.
                    resource.prlimit(daemon.process.pid, resource.RLIMIT_CPU, (20, 20))
                    before = daemon.peak_bytes()
                    poll(lambda text=outcome: text in log() or TIMEOUT in log())
                    probe(1, "Attribute  200")
                    poll(lambda known=site: not connections(known.url), 50)  # a minute ends it
                    self.assertLess(daemon.peak_bytes() - before, 16 * 2**20 * SLACK)


class Start(Case):
    def test_starter_changes_nothing(self):
        environment = {"QT_FATAL_WARNINGS": "1", "QT_LOGGING_RULES": "*=false",
                       "https_proxy": "http://127.0.0.1:1", "QT_MESSAGE_PATTERN": "x"}
        os.makedirs(os.path.dirname(QT_RULES), exist_ok=True)
        Path(QT_RULES).write_text("[Rules]\n*=false\n", "ascii")
        self.addCleanup(os.remove, QT_RULES)
        self.addCleanup(os.umask, 0o022)
        for umask, log_mode in ((0, 0o644), (0o077, 0o600)):
            super().setUp()
            os.umask(umask)
            with Daemon("--version", "-platform", "x", env=environment, cwd="/",
                        preexec_fn=lambda: os.closerange(0, 3)) as daemon:
                self.assertEqual({os.readlink(f"/proc/{daemon.process.pid}/fd/{number}")
                                  for number in range(3)}, {"/dev/null"})
                ask(choose(0))
                for banner in (f'version: "{VERSION}"', "***Start Service [START]***",
                               "***Import Default ServerUrl [START]***"):
                    self.assertIn(f"] \n\n{banner}\n", log())
                modes = [os.stat(path).st_mode & 0o777 for path in (LOG, os.path.dirname(SOCKET))]
                self.assertEqual(modes, [log_mode, 0o755])

    def test_in_the_way_of_the_socket(self):
        os.makedirs(os.path.dirname(SOCKET))
        stale = "true"  # the socket that the daemon of the row before has left
        for put in f"ln -s {TLS_SITE} {SOCKET}", stale, f"rm {SOCKET} && touch {SOCKET}":
            run(put)
            with Daemon():
                client = Client()
                second = subprocess.run([f"{BIN}/quillon", "--help"], stdout=subprocess.PIPE,
                                        stderr=subprocess.STDOUT, timeout=DEADLINE, check=True)
                self.assertEqual((second.stdout, len(client.ask())), (b"", 1))
                self.assertEqual(os.lstat(SOCKET).st_mode, stat.S_IFSOCK | 0o777)
        self.assertEqual((os.path.exists(TLS_SITE), log().count("\n\nversion:")), (True, 3))
        run(f"rm {SOCKET} && mkdir {SOCKET}")
        with Daemon():
            poll(lambda: "quillon listen falie !" in log())
