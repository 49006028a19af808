import json
import os
import socket
import stat
import subprocess

from daemon import (ASK, BIN, LOG, SLACK, SOCKET, VERSION, Case, Client, Daemon, Site, ask, choose,
                    configure, log, poll, quillonctl)

TLS_SITE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../scripts/tls-site")
SITE = os.environ["TMPDIR"] + "/site"
FIRST_LINE = f'\n\nversion: "{VERSION}"'


class Tls(Case):
    """A real web server with certificates, good and bad."""

    def setUp(self):
        super().setUp()
        listed = subprocess.run([TLS_SITE, "start", SITE], check=True, capture_output=True,
                                text=True).stdout
        self.addCleanup(subprocess.run, [TLS_SITE, "stop", SITE], check=True)
        self.urls = dict(line.split("=", 1) for line in listed.split())

    def test_probes(self):
        down = socket.socket()
        self.addCleanup(down.close)
        down.bind(("127.0.0.1", 0))  # not listening: refused, and nobody else gets the port
        rows = (
            ("OK_URL", 200, None),
            ("UNAVAILABLE_URL", 503, "Failed:  503 QNetworkReply::ServiceUnavailableError"),
            ("UNTRUSTED_URL", 0, "Failed:  0 QNetworkReply::SslHandshakeFailedError"),
            ("MISNAMED_URL", 0, "Failed:  0 QNetworkReply::SslHandshakeFailedError"),
            ("down", 0, "Failed:  0 QNetworkReply::ConnectionRefusedError"),
            ("unknown host", 0, "Failed:  0 QNetworkReply::HostNotFoundError"),
            ("no base URL", 0, "Failed:  0 QNetworkReply::ProtocolUnknownError"),
            ("OK_URL", 200, None),
        )
        urls = self.urls | {"down": f"https://127.0.0.1:{down.getsockname()[1]}",
                            "unknown host": "https://x.invalid", "no base URL": ""}
        configure({"defaultUrl": [urls[name] for name, *_ in rows],
                   "confDefault": False, "confCustomUrl": urls["OK_URL"].removeprefix("https://")})
        with Daemon():
            for index, (name, status, failure) in enumerate(rows):
                before = len(log()) if index else 0
                if index:
                    self.assertEqual(quillonctl("use", str(index)).returncode, 0, name)
                line = f" --------Http Status Code Attribute  {status} --------"
                poll(lambda b=before, wanted=line: wanted in log()[b:])
                self.assertEqual(f"nStatus  {status}" in log()[before:], status != 200, name)
                self.assertEqual("Failed: " in log()[before:], failure is not None, name)
                self.assertIn(failure or "", log()[before:], name)
        with open(LOG, encoding="utf-8") as file:
            self.assertNotIn(urls["OK_URL"], file.read())
        with open(f"{SITE}/access.log", encoding="utf-8") as file:
            requests = [json.loads(line) for line in file]
        for request in requests:
            self.assertEqual(
                {key: request[key] for key in request if key != "port"},
                {"method": "POST", "uri": "/v1/harbor/health", "content_type": "application/json",
                 "content_length": "0", "cookie": "", "authtoken": "", "authorization": ""})
        self.assertEqual(len(requests), 3)

    def test_failed_handshakes(self):
        """The toolkit would keep what each of them took, also beside a probe that is outstanding."""
        configure({"defaultUrl": [self.urls["UNTRUSTED_URL"], Site((600, 200)).url]})
        with Daemon() as daemon:
            client = Client()
            for choices, counts in ((choose(0), (200, 400)), (choose(1) + choose(0), (550, 850))):
                for count in counts:
                    before = daemon.resident_bytes()
                    while log().count("SslHandshakeFailedError") < count:
                        client.socket.sendall(choices + ASK)
                        client.answer()
                self.assertLess(daemon.resident_bytes() - before, SLACK * 2**19)


class Start(Case):
    def test_second_instance_leaves(self):
        with Daemon():
            for count, arguments in enumerate(([], ["--help"]), 1):
                poll(lambda: "Http Status" in log() or "open failed" in log())
                ended = subprocess.run([f"{BIN}/quillon", *arguments], capture_output=True,
                                       timeout=10, check=False)
                self.assertEqual((ended.returncode, ended.stdout, ended.stderr), (0, b"", b""))
                poll(lambda n=count: log().count("client disconnect !") == n)
            self.assertEqual(log().count(FIRST_LINE), 1)
            self.assertEqual(len(ask()), 1)

    def test_starter_changes_nothing(self):
        """Neither arguments nor the environment; a umask only makes the log stricter."""
        environment = {"QT_FATAL_WARNINGS": "1", "QT_LOGGING_RULES": "*=false",
                       "https_proxy": "http://127.0.0.1:1", "QT_MESSAGE_PATTERN": "x"}
        self.addCleanup(os.umask, 0o022)
        for umask, log_mode in ((0, 0o644), (0o077, 0o600)):
            super().setUp()
            os.umask(umask)
            with Daemon("--version", "-platform", "x", env=environment, cwd="/"):
                self.assertEqual(len(ask()), 1)
                self.assertRegex(log(), r"^\[Qinfo:[-\d]{10} [:\d]{8}:main.cpp line:\d+\] " + FIRST_LINE)
                modes = [stat.S_IMODE(os.stat(path).st_mode)
                         for path in (LOG, os.path.dirname(SOCKET))]
                self.assertEqual(modes, [log_mode, 0o755])

    def test_in_the_way_of_the_socket(self):
        """A link, the socket of a daemon that was killed, a file; a directory stays."""
        os.makedirs(os.path.dirname(SOCKET))
        for put in (lambda: os.symlink(TLS_SITE, SOCKET), lambda: None,
                    lambda: os.remove(SOCKET) or os.mknod(SOCKET)):
            put()
            with Daemon():
                self.assertEqual(len(ask()), 1)
                self.assertEqual(os.lstat(SOCKET).st_mode, stat.S_IFSOCK | 0o777)
        self.assertTrue(os.path.exists(TLS_SITE))
        os.remove(SOCKET)
        os.mkdir(SOCKET)
        self.addCleanup(os.rmdir, SOCKET)
        with Daemon():
            self.assertIn("quillon listen falie !", log())
