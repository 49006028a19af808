"""Attacks by local programs and hostile servers, and faults of the machine."""

import contextlib
import gzip
import json
import os
import re
import resource
import select
import signal
import socket
import subprocess
import threading
from pathlib import Path

from daemon import (ASK, BIN, CONF, DEADLINE, LOG, SLACK, SOCKET, Case, Client, Daemon, Site, ask,
                    choose, configure, connections, frame, log, poll, probe, run, served)

MIB = 2**20


class Attack(Case):
    def setUp(self):
        super().setUp()
        self.site = Site((0, 200))
        configure({"defaultUrl": [self.site.url, "http://127.0.0.1:1"]})

    def start(self, **options):
        daemon = self.enterContext(Daemon(**options))
        self.pid, self.rss = daemon.process.pid, daemon.resident_bytes
        return daemon

    @contextlib.contextmanager
    def stopped(self):
        os.kill(self.pid, signal.SIGSTOP)
        os.waitid(os.P_PID, self.pid, os.WSTOPPED)
        yield
        os.kill(self.pid, signal.SIGCONT)

    def assert_small(self, before, bound):
        self.assertLess(self.rss() - before, bound * SLACK)

    def costs(self):
        stat, status = (Path(f"/proc/{self.pid}/{name}").read_text("ascii") for name in ("stat", "status"))
        ticks = sum(map(int, stat.rpartition(")")[2].split()[11:13]))
        peak = int(re.search(r"VmHWM:\s+(\d+)", status)[1])
        return ticks / os.sysconf("SC_CLK_TCK"), peak * 1024, os.path.getsize(LOG)

    @contextlib.contextmanager
    def assert_cheap(self, mebibytes=8):
        with Daemon() as daemon:
            self.pid = daemon.process.pid
            resource.prlimit(self.pid, resource.RLIMIT_CPU, (3 * SLACK, 3 * SLACK))  # a fault takes minutes
            before = self.costs()
            yield
            served()
            costs = [now - then for now, then in zip(self.costs(), before)]
        for cost, most in zip(costs, (SLACK, mebibytes * MIB * SLACK, 8 * MIB)):
            self.assertLess(cost, most, costs)


class Clients(Attack):
    def write_endlessly(self, client, data, enough, patience=DEADLINE):
        """Returns the bytes written when they are enough, the daemon reads no more or drops the client."""
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
        before = self.rss()
        writers = [Client() for _ in range(10)]
        for writer in writers:
            self.assertLess(self.write_endlessly(writer, bytes(65536), MIB, 0.3), MIB)
        self.assert_small(before, 4 * MIB)
        before = self.rss()
        self.assertGreaterEqual(self.write_endlessly(first, bytes(65536), 4 * MIB), 4 * MIB)
        self.assert_small(before, 6 * MIB)

    def test_reader_of_nothing_is_dropped(self):
        configure({"confCustomUrl": "x" * 4000})
        self.start()
        before = self.rss()
        deaf = Client()
        self.write_endlessly(deaf, ASK * 100, 4 * MIB)
        poll(lambda: "client does not read its answers" in log())
        self.assert_small(before, 8 * MIB)
        self.assertEqual((log().count("client does not read its answers"), len(ask())), (1, 1))

    def test_crowd_is_served_in_turn(self):
        self.start()
        crowd = [Client(choose(i % 2), ASK) for i in range(40)]
        for _ in crowd * 2:  # each takes one turn of the event loop: then Qt announces no more peers
            crowd[0].ask()
        for index in range(8):
            self.assertEqual(crowd[index].answer()["confDefaultIndex"], index % 2)
            crowd[index].socket.close()

    def test_full_backlog_is_an_instance(self):
        self.start()
        with self.stopped():
            with self.assertRaises(BlockingIOError):
                while True:
                    holder = self.enterContext(socket.socket(socket.AF_UNIX))
                    holder.setblocking(False)
                    holder.connect(SOCKET)
            inode = os.stat(SOCKET).st_ino
            second = subprocess.run([f"{BIN}/quillon"], timeout=DEADLINE, check=False)
        self.assertEqual((second.returncode, os.stat(SOCKET).st_ino), (0, inode))

    def test_no_descriptors(self):
        """The daemon listens again, warns once and drops the waiting peers."""
        configure({})  # no probe takes a descriptor
        self.start()
        first = Client()
        first.ask()
        old = resource.prlimit(self.pid, resource.RLIMIT_NOFILE)

        def leave_free(count):
            folder = f"/proc/{self.pid}/fd"
            with self.stopped():  # perhaps while it writes a log line
                used = {int(name) for name in os.listdir(folder) if os.readlink(f"{folder}/{name}") != LOG}
            free = sorted(set(range(len(used) + 2)) - used)
            resource.prlimit(self.pid, resource.RLIMIT_NOFILE, (free[count], old[1]))

        leave_free(1)
        with self.stopped():  # or the socket may be closed before the last one connects
            others = [Client() for _ in range(3)]
        poll(lambda: "local socket lost" in log())
        self.assertEqual((len(first.ask()), others[0].socket.recv(1)), (1, b""))
        poll(lambda: os.path.exists(SOCKET))
        leave_free(0)
        lost = Client()
        with self.assertRaises(ConnectionResetError):
            lost.socket.recv(1)
        for _ in range(4):  # each takes one turn of the event loop: then the loss has been handled
            first.ask()
        self.assertEqual(log().count("local socket lost"), 1)

        resource.prlimit(self.pid, resource.RLIMIT_NOFILE, old)
        poll(lambda: os.path.exists(SOCKET))
        first.leave()
        self.assertEqual(len(ask()), 1)

    def test_passed_descriptor(self):
        """Closing the last reference to a lingering socket would block the daemon."""
        self.start()
        client = Client()
        with contextlib.suppress(OSError):  # of a kernel before 6.16
            client.socket.getsockopt(socket.SOL_SOCKET, 83)  # SO_PASSRIGHTS
            with self.assertRaises(PermissionError):
                socket.send_fds(client.socket, [ASK], [client.socket.fileno()])
        self.assertEqual(len(client.ask()), 1)


class Machine(Attack):
    def test_killed_choices(self):
        """At any instant the file holds the complete old or new configuration."""
        for delay in range(8):
            daemon = Daemon()
            client = Client(choose(0) * 50 + choose(1) * 50)
            threading.Event().wait(delay / 1000)
            daemon.__exit__(None)
            client.socket.close()
            self.assertIn("defaultUrl", json.loads(Path(CONF).read_text("utf-8")))
        self.start()
        self.assertEqual(os.listdir(os.path.dirname(CONF)), [".agent.json"])

    def test_log_in_trouble(self):
        """The daemon serves on, and logs again when the cause is gone."""
        folder = os.path.dirname(LOG)
        stderr = self.enterContext(self.start(stderr=subprocess.PIPE).process.stderr)
        os.set_blocking(stderr.fileno(), False)
        limit = f"prlimit --pid {self.pid} --fsize"
        for spoil, mend in (
                (f"mkdir {LOG}", f"rmdir {LOG}"),
                (f"mkfifo {LOG}", f"rm {LOG}"),
                (f"ln -s /dev/null {LOG}", f"rm {LOG}"),
                (f"rmdir {folder}", f"mkdir {folder}"),
                (f"{limit}=8192:", f"{limit}=unlimited:")):
            with self.stopped():
                stderr.read()  # the rest of the previous row
                os.remove(LOG)
                run(spoil)
            self.assertIn(b"logFile closed failed\n", poll(lambda: served() and stderr.read()))
            if "fsize" in spoil:  # full; the partial line is removed
                poll(lambda: Path(LOG).read_bytes().endswith(b"\n"))
                self.assertGreater(os.path.getsize(LOG), 8192 - 800)
            run(mend)
            served()
            self.assertIn("send data", poll(log))

    def test_standard_error_that_nobody_reads(self):
        os.makedirs(LOG)
        for is_open in (True, False):
            reader, writer = socket.socketpair()
            if not is_open:
                reader.close()
            with reader, writer, Daemon(stderr=writer, is_ready=lambda: os.path.exists(SOCKET)):
                for _ in range(150):
                    served()
            os.remove(SOCKET)

    def test_file_that_grows_too_large(self):
        """Indentation would make the file larger than 1 MiB."""
        content = json.dumps({"defaultUrl": ["http://x"] * 80000}, separators=(",", ":"))
        configure(content)
        self.start()
        self.assertEqual(ask(choose(1))[0]["activeMessageType"], "4")
        self.assertEqual(Path(CONF).read_text("utf-8"), content)


class Server(Attack):
    def test_floods(self):
        """The first server sends without end. The daemon ends that, and probes the second."""
        ok, no = b"HTTP/1.1 200 OK\r\n", b"HTTP/1.1 401 No\r\n\r\n"
        chunked = ok + b"Transfer-Encoding: chunked\r\n\r\n"
        rows = (
            ("body", ok + b"\r\n", bytes(65536)),
            ("body of a 401", no, bytes(65536)),
            ("interim responses", b"", b"HTTP/1.1 100 C\r\n\r\n" * 3000),
            ("status line", ok[:12], b"x" * 65536),
            ("blank lines", b"", b"\r\n" * 32768),
            ("headers", ok, b"X: y\r\n" * 8192),
            ("chunks of one byte", chunked, b"1\r\nx\r\n" * 8192),
            ("size of a chunk", chunked + b"1;", b"x" * 65536),
        )
        for name, start, endless in rows:
            with self.subTest(name):
                Case.setUp(self)
                bad, good = Site((0, start, endless)), Site((0, 200))
                configure({"healthPath": "", "defaultUrl": [f"{bad.url}/health", f"{good.url}/health"]})
                with Daemon() as daemon:
                    self.rss = daemon.resident_bytes
                    before = self.rss()
                    poll(lambda site=bad: site.requests)
                    ask(*[choose(1)] * 5)
                    poll(lambda site=good: site.requests)
                    poll(lambda site=bad: not connections(site.url))
                    self.assert_small(before, 64 * MIB)

    def test_long_bodies(self):
        """A long body that nobody reads is an ordinary reply. One that somebody would read is dropped."""
        head, chunk = b"HTTP/1.1 %d X\r\n", b"1\r\nx\r\n"
        packed = gzip.compress(bytes(128 * MIB), 1)
        encoding = b"Content-Encoding: gzip\r\nContent-Length: %d\r\n\r\n" % len(packed)
        chunked = b"Transfer-Encoding: chunked\r\n\r\n" + chunk * 150000 + b"0\r\n\r\n"
        dropped = 'reply body of more than 64 KiB(?s:.*)returnByte ""'
        rows = (
            ("/health", head % 503 + b"\r\n" + bytes(500000), "Failed:  503(?s:.*)Attribute  503"),
            ("/health", head % 200 + encoding + packed, "Attribute  200"),
            ("/health", head % 200 + chunked, "Attribute  200"),
            ("/other", head % 200 + chunked, dropped),
            ("/other", head % 200 + b"\r\n" + b"x" * 65537, dropped),
            ("/other", head % 200 + b"\r\n" + b"x" * 65536, 'returnByte "x{65536}"'),
        )
        for path, answer, text in rows:
            Case.setUp(self)
            configure({"healthPath": path, "defaultUrl": [Site((0, answer)).url]})
            with self.assert_cheap(mebibytes=32):
                poll(lambda expected=text: re.search(expected, log()))

    def test_kerberos_is_off(self):
        """Qt's network thread would read the file, and block."""
        conf = "/etc/krb5.conf"
        if os.path.exists(conf):
            os.rename(conf, f"{conf}.saved")
            self.addCleanup(os.rename, f"{conf}.saved", conf)
        os.mkfifo(conf)
        self.addCleanup(os.remove, conf)
        answer = b"HTTP/1.1 401 No\r\nWWW-Authenticate: Negotiate\r\nContent-Length: 0\r\n\r\n"
        configure({"defaultUrl": [Site((0, answer)).url]})
        self.start()
        poll(lambda: "Failed:  401" in log())

    def test_fifth_silent_reply(self):
        server, url = self.silent_server()
        configure({"healthPath": "", "defaultUrl": [f"{url}/{index}" for index in range(5)]})
        self.start()
        peers = []
        for index in range(5):
            ask(*[choose(index)] if index else [])
            peers.append(self.enterContext(server.accept()[0]))
            self.assertIn(b"/%d " % index, peers[index].recv(65536))
        self.assertEqual(select.select(peers, [], [], DEADLINE)[0], peers[:1])

    def test_replies(self):
        ok, missing = b"HTTP/1.1 200 OK\r\n", b"HTTP/1.1 404 No\r\n"
        failed = "Failed:  404 QNetworkReply::ContentNotFoundError"
        no_json = 'QJsonParseError  "illegal value"'
        nothing = ['returnByte ""', "getServerData is empty.", no_json]
        rows = (
            ("/v1/health", ok + b"\r\n{}", ["Attribute  200 -"]),
            ("/health?x=1", ok + b"\r\n", ["Attribute  200 -"]),
            ("/%68ealth#f", b"HTTP/1.1 204 OK\r\n\r\n", ["Attribute  204 -"]),
            ("/health", b"HTTP/1.1 302 OK\r\nLocation: /other\r\n\r\n", ["Attribute  302 -"]),
            ("/health", missing + b"\r\n", [failed, "Attribute  404 -"]),
            ("/health/", ok + b'\r\n{"a":1}', ['returnByte "{"a":1}"']),
            ("/Health", ok + b"\r\n[1]", ['returnByte "[1]"']),
            ("/unhealth", ok + b"\r\n[2]", ['returnByte "[2]"']),
            ("/healthz", missing + b"\r\n<html>", [failed, 'returnByte "<html>"', no_json]),
            ("/", ok + b"\r\n", nothing),
            ("/", ok + b'\r\n{"a":[],"a":1}',
             ["returnByte", 'QJsonParseError  "two members of the same name"']),
            ("/", ok + b'\r\n["a":1,"a":1]', ["returnByte", 'QJsonParseError  "missing value']),
            ("/", b"rubbish\r\n\r\n", ["Failed:  0", *nothing]),
            ("/", b"HTTP/1.1 99999 X\r\n\r\n", ["Failed:  99999", *nothing]),
            ("/", ok + b"Content-Encoding: gzip\r\n\r\nnot gzip!", ["returnByte", no_json]),
            ("/", ok + b"X: " + b"y" * 200000 + b"\r\n\r\n", nothing),
            # Qt takes this reply for endless, or for complete when the connection closes.
            ("/", ok + b"Transfer-Encoding: chunked\r\n\r\nzz\r\n", []),
        )
        configure({"healthPath": "",
                   "defaultUrl": [Site((0, answer)).url + path for path, answer, _ in rows]})
        self.start()
        for index, (path, answer, texts) in enumerate(rows):
            with self.subTest(path=path, answer=answer[:50]):
                seen = probe(index, texts[-1] if texts else "sendHealthInfo")
                self.assertRegex(seen, "(?s)" + ".*".join(map(re.escape, texts)))
                ask()
                others = {"Failed:", "returnByte", "Attribute", "getServerData", "QJsonParseError"} - {
                    text.split()[0] for text in texts}
                self.assertEqual([text for text in others if texts and text in seen], [])


def colliding(unit):
    """Returns a member. Qt's hash of its name, a CRC32C, is the same for all units."""
    crc = unit
    for _ in range(16):
        crc = crc >> 1 ^ (0x82F63B78 if crc & 1 else 0)
    return b'"\\u%04x\\u%04x\\u%04x":0' % (unit, crc & 0xFFFF, crc >> 16)


class Parser(Attack):
    def test_one_write(self):
        long = b"n" * 100000
        names = b",".join(map(colliding, range(9000)))
        escapes = b",".join(b'"\\u%04x":0' % unit for unit in range(256, 18256))
        nested = b'{"":' + b"[" * 999 + b"1" + b"]" * 999 + b"}"
        rows = (
            ("a long name for many objects", frame(b'{"' + long + b'":' + b"{:" * 45000)),
            ("as long as an object may be", frame(b'{"' + long[:60000] + b'":' + b"{:" * 1000)),
            ("the same with an escape", frame(b'{"\\"' + long + b'":' + b"{:}" * 25000)),
            ("names of one hash", frame(b"{" + names) + frame(b" ") * 254),
            ("names in escapes", frame(b"{" + escapes) + frame(b" ") * 250),
            ("objects logged with each byte",
             (frame(b'{"":"' + b"x" * 62000) + frame(b"x") * 254 + frame(b'"}')) * 4),
            ("lists in lists", frame(nested) * 120),
            ("choices", frame(b'{"type":"4"}') * 12800),
        )
        for name, data in rows:
            with self.subTest(name):
                Case.setUp(self)
                configure({"defaultUrl": [self.site.url]})
                # A sanitizer takes eight times the memory for choices.
                with self.assert_cheap(mebibytes=16 if name == "choices" else 8):
                    client = Client()
                    client.socket.setsockopt(socket.SOL_SOCKET, socket.SO_SNDBUF, 4 * len(data))
                    with self.stopped():  # or it reads a part of it
                        client.socket.sendall(data)
                    client.socket.close()
