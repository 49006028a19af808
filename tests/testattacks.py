"""Attacks by local programs and hostile servers, and faults of the machine."""

import contextlib
import fcntl
import gzip
import os
import re
import resource
import select
import shutil
import socket
import subprocess
import time
from pathlib import Path

from daemon import (ASK, BIN, DEADLINE, LOG, SLACK, SOCKET, TMP, Case, Client, Daemon, Site,
                    ask, broken, choose, configure, connections, frame, log, poll, probe, run)

MIB = 2**20
EVENTS = {"Failed:", "returnByte", "Attribute", "getServerData", "QJsonParseError"}


class Attack(Case):
    def start(self, **options):
        self.daemon = self.enterContext(Daemon(**options))
        self.pid, self.peak = self.daemon.process.pid, self.daemon.peak_bytes

    def assert_small(self, before, bound):
        self.assertLess(self.peak() - before, bound * SLACK)


class Local(Attack):
    def write_endlessly(self, client, data, enough, patience=DEADLINE):
        """Returns the bytes written when they are enough or the daemon reads no more."""
        taken = 0
        with contextlib.suppress(ConnectionError):
            while taken < enough and select.select([], [client.socket], [], patience)[1]:
                taken += client.socket.send(data, socket.MSG_DONTWAIT)
        return taken

    def test_writers_are_bounded(self):
        """Ten waiting peers, then the client. A message of ordinary size is not cut."""
        self.start()
        first = Client(frame({"type": "5", "x": "x" * 30000}))
        self.assertEqual(first.answer()["type"], "5")
        before = self.peak()
        writers = [Client() for _ in range(10)]
        for writer in writers:
            self.assertLess(self.write_endlessly(writer, bytes(65536), MIB, 0.3), MIB)
        self.assert_small(before, 4 * MIB)
        before = self.peak()
        self.assertGreaterEqual(self.write_endlessly(first, bytes(65536), 4 * MIB), 4 * MIB)
        self.assert_small(before, 6 * MIB)

    def test_reader_of_nothing_is_dropped(self):
        """One that reads is not, even if its requests arrive at once."""
        configure({"confCustomUrl": "x" * 4000})
        self.start()
        with self.daemon.stopped():
            reader = Client(ASK * 262)  # answers of slightly more than 1 MiB
        for _ in range(262):
            reader.answer()
        reader.leave()
        before = self.peak()
        self.write_endlessly(Client(), ASK * 100, 4 * MIB)
        poll(lambda: "client does not read its answers" in log())
        self.assert_small(before, 8 * MIB)
        self.assertEqual((log().count("client does not read its answers"), len(ask())), (1, 1))

    def test_crowd_is_served_in_turn(self):
        configure({"defaultUrl": ["http://127.0.0.1:1"] * 2})
        self.start()
        crowd = [Client(choose(i % 2), ASK) for i in range(40)]
        for _ in crowd * 2:  # one turn of the event loop each
            crowd[0].ask()
        for index in range(8):
            self.assertEqual(crowd[index].answer()["confDefaultIndex"], index % 2)
            crowd[index].socket.close()

    def test_full_backlog_is_an_instance(self):
        self.start()
        with self.daemon.stopped():
            with self.assertRaises(BlockingIOError):
                while True:
                    holder = self.enterContext(socket.socket(socket.AF_UNIX))
                    holder.setblocking(False)
                    holder.connect(SOCKET)
            subprocess.run([f"{BIN}/quillon"], timeout=DEADLINE, check=True)

    def test_no_descriptors(self):
        """The daemon listens again, and warns once per shortage."""
        self.start()
        first = Client()
        first.ask()
        # Qt ends a process in which a new thread gets no descriptor.
        poll(self.daemon.is_idle)
        old = resource.prlimit(self.pid, resource.RLIMIT_NOFILE)

        def lose(*, folder_too=False):
            with self.daemon.stopped():  # perhaps while it writes a log line
                used = {int(path.name) for path in Path(f"/proc/{self.pid}/fd").iterdir()
                        if os.readlink(path) != LOG}
                free = min(set(range(len(used) + 1)) - used)
                resource.prlimit(self.pid, resource.RLIMIT_NOFILE, (free, old[1]))
                lost = Client()
                if folder_too:  # so that it cannot listen yet
                    shutil.rmtree(os.path.dirname(SOCKET))
            with self.assertRaises(ConnectionResetError):
                lost.socket.recv(1)

        lose()
        poll(lambda: "local socket lost" in log() and os.path.exists(SOCKET))
        begun = time.monotonic()
        lose(folder_too=True)
        poll(lambda: first.ask() and time.monotonic() > begun + 1.5)
        self.assertEqual(log().count("local socket lost"), 1)

        resource.prlimit(self.pid, resource.RLIMIT_NOFILE, old)
        os.mkdir(os.path.dirname(SOCKET))
        poll(lambda: os.path.exists(SOCKET))
        first.leave()
        self.assertEqual(len(ask()), 1)
        lose()
        poll(lambda: log().count("local socket lost") == 2)

    def test_passed_descriptor(self):
        """Closing a lingering socket would block the daemon."""
        self.start()
        client = Client()
        with contextlib.suppress(OSError):  # of a kernel before 6.16
            client.socket.getsockopt(socket.SOL_SOCKET, 83)  # SO_PASSRIGHTS
            with self.assertRaises(PermissionError):
                socket.send_fds(client.socket, [ASK], [client.socket.fileno()])

    def test_log_in_trouble(self):
        """The daemon serves on, and logs again when the cause is gone."""
        self.start(stderr=subprocess.PIPE)
        client = Client()
        stderr = self.enterContext(self.daemon.process.stderr)
        os.set_blocking(stderr.fileno(), False)
        fcntl.fcntl(stderr, fcntl.F_SETPIPE_SZ, 4096)
        limit = f"prlimit --pid {self.pid} --fsize"
        for spoil, mend in (
                (f"mkfifo {LOG}", f"rm {LOG}"),
                (f"{limit}=8192:", f"{limit}=unlimited:")):
            with self.daemon.stopped():
                stderr.read()  # the rest of the previous row
                os.remove(LOG)
                run(spoil)
            self.assertIn(b"logFile closed failed\n", poll(lambda: client.ask() and stderr.read()))
            if "fsize" in spoil:  # full; the partial line is removed
                poll(lambda: Path(LOG).read_bytes().endswith(b"\n"))
                self.assertGreater(os.path.getsize(LOG), 8192 - 800)
            for _ in range(80):  # nobody reads what they write to standard error
                client.ask()
            run(mend)
            client.ask()
            self.assertIn("send data", poll(log))

    def test_one_write(self):
        nested = b'{"":' + b"[" * 999 + b"1" + b"]" * 999 + b"}"
        seconds = (SLACK, SLACK)  # of processor time; a fault takes minutes
        rows = (
            ("a long name for many objects", frame(b'{"' + b"n" * 50000 + b'":' + b"{:" * 7000)),
            ("objects logged with each byte",
             (frame(b'{"":"' + b"x" * 62000) + frame(b"x") * 254 + frame(b'"}')) * 4),
            ("lists in lists", frame(nested) * 120),
        )
        for name, data in rows:
            with self.subTest(name):
                self.setUp()
                with Daemon() as daemon:
                    resource.prlimit(daemon.process.pid, resource.RLIMIT_CPU, seconds)
                    before = daemon.peak_bytes()
                    client = Client()
                    client.socket.setsockopt(socket.SOL_SOCKET, socket.SO_SNDBUF, 4 * len(data))
                    with daemon.stopped():  # or it reads a part of it
                        client.socket.sendall(data)
                    client.leave()
                    self.assertLess(daemon.peak_bytes() - before, 4 * MIB * SLACK)
                    self.assertLess(os.path.getsize(LOG), 8 * MIB)


class Server(Attack):
    def test_kerberos_is_off(self):
        """Qt's network thread would read the file, and block."""
        conf = "/etc/krb5.conf"
        answer = b"HTTP/1.1 401 No\r\nWWW-Authenticate: Negotiate\r\nContent-Length: 0\r\n\r\n"
        configure({"defaultUrl": [Site((0, answer)).url]})
        with broken(f"[ ! -e {conf} ] || mv {conf} {conf}.x; mkfifo {conf}",
                    f"rm {conf}; [ ! -e {conf}.x ] || mv {conf}.x {conf}"), Daemon():
            poll(lambda: "Failed:  401" in log())

    def test_names(self):
        """The longest possible name floods and then moves. Of a name, 32 addresses are used."""
        longest, hosts = ".".join(["n" * 62] * 4 + ["n"]), Path(f"{TMP}/hosts")
        names, far = "many a b c few", "127.9.9.9"
        others = "".join(f"127.0.0.{2 + part} many{' few' * (part < 20)}\n" for part in range(40))
        lines = f"127.0.0.1 {longest}\n{others}{far} {names}\n"
        hosts.write_text(lines, "ascii")
        flood = Site((0, b"", b"HTTP/1.1 100 C\r\n\r\n" * 3000))
        good = Site((0, 200), host=far).url
        configure({"defaultUrl": [flood.url.replace("127.0.0.1", longest),
                                  *(good.replace(far, name) for name in names.split())]})
        with broken(f"mount --bind {hosts} /etc/hosts", "umount /etc/hosts"), Daemon() as daemon:
            resource.prlimit(daemon.process.pid, resource.RLIMIT_CPU, (20, 20))
            poll(lambda: flood.requests)
            hosts.write_text(lines.replace("127.0.0.1", "127.0.0.2", 1), "ascii")
            probe(1, "Attribute  0")
            for index in range(2, 6):
                probe(index, "Attribute  200")

    def test_fifth_silent_reply(self):
        sites = [Site((0, 200)), *(Site((3600, 200)) for _ in range(4))]
        configure({"defaultUrl": [site.url for site in sites]})
        self.start()
        poll(lambda: "Attribute  200" in log() and self.daemon.is_idle())
        for index in 1, 2, 3, 4:
            ask(choose(index))
            poll(lambda known=sites[index]: known.requests)
        self.assertEqual([connections(site.url) for site in sites], [0, 1, 1, 1, 1])
        ask(choose(1))
        poll(lambda: [connections(site.url) for site in sites] == [0, 1, 0, 0, 0])

    def test_replies(self):
        ok, missing = b"HTTP/1.1 200 OK\r\n", b"HTTP/1.1 404 No\r\n"
        failed = "Failed:  404 QNetworkReply::ContentNotFoundError"
        no_json = 'QJsonParseError  "illegal value"'
        body = b"x" * 16384
        packed = b"Content-Encoding: gzip\r\n\r\n" + gzip.compress(bytes(16 * MIB))
        rows = (
            (f"/{'x' * 3000}/health", ok + packed, ["Attribute  200 -"]),
            ("/health", b"HTTP/1.1 503 No\r\n\r\n" + body * 3,
             ["Failed:  503 QNetworkReply::ServiceUnavailableError", "Attribute  503 -"]),
            ("/%68ealth#f", b"HTTP/1.1 204 OK\r\n\r\n", ["Attribute  204 -"]),
            ("/body", ok + b"\r\n" + body, [f'returnByte "{body.decode()}"', no_json]),
            ("/unhealth", ok + b"\r\n[2]", ['returnByte "[2]"']),
            ("/healthz", missing + b"\r\n<html>", [failed, 'returnByte "<html>"', no_json]),
            ("/", ok + b"\r\n", ['returnByte ""', "getServerData is empty.", no_json]),
            ("/", ok + b'\r\n{"a":[],"a":1}',
             ["returnByte", 'QJsonParseError  "two members of the same name"']),
        )
        configure({"healthPath": "",
                   "defaultUrl": [Site((0, answer)).url + path for path, answer, _ in rows]})
        self.start()
        before = self.peak()
        for index, (path, answer, texts) in enumerate(rows):
            with self.subTest(path=path, answer=answer[:100]):
                seen = probe(index, texts[-1])
                self.assertRegex(seen, "(?s)" + ".*".join(map(re.escape, texts)))
                ask()
                others = EVENTS - {text.split()[0] for text in texts}
                self.assertEqual([text for text in others if text in seen], [])
        self.assert_small(before, 4 * MIB)
