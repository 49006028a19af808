import struct
import unittest

from daemon import (ASK, HAS_USERS, Case, Client, Daemon, choose, configure, frame, log, poll,
                    quillonctl, stays)

URLS = ["http://127.0.0.1:1", "http://127.0.0.1:2", "http://127.0.0.1:3/é"]
TAKEN = "The new client is connected :"
FOREIGN = "data not sent by a quillon client"


class Socket(Case):
    def setUp(self):
        super().setUp()
        configure({"defaultUrl": URLS})
        self.enterContext(Daemon())

    def test_frames(self):
        """One write; its answers in order, whole or by their code or index; the warnings."""
        head = struct.pack("=ii", 2, 8)
        cut = frame({"type": "4", "serverIndex": "2", "x": "é"})[8:]
        error = "QJsonParseError"
        rows = (
            ("configuration", [ASK], [0], []),
            ("number as type", [frame({"type": 5}), ASK], [0], []),
            ("unknown types", [frame({"type": "99"}), frame([5]), frame({"x": 1}), ASK],
             [0], []),
            ("choice", [choose(1), ASK], [1], []),
            ("choice without index", [frame({"type": "4"}), ASK], [0], []),
            ("index of no number", [choose(1), frame({"type": "4", "serverIndex": "x"}), ASK], [0],
             []),
            ("in order", [ASK, choose(2), ASK, choose(9), ASK], [0, 2, "5", 2], []),
            ("cut inside a character", [frame(cut[:-3]), frame(cut[-3:]), ASK], [2], [error]),
            ("empty payloads", [frame(b""), frame(b""), choose(1), ASK], [1], [error, error]),
            ("empty object stays pending", [frame(b"{}"), ASK], [], [error]),
            ("twins", [ASK, frame(b'{"type":"9","a":[1],"\\u0061":1}'), ASK], [1], [FOREIGN]),
            ("no twins", [frame(b'{"a":{"a":":","b":[{"a":1},{"a":1}]},"b":1}'), ASK], [1], []),
            ("foreign sender", [ASK, frame({"type": "5"}, sender=1), ASK], [1], [FOREIGN]),
            ("short header", [ASK, head[:7]], [1], [FOREIGN]),
            ("negative length", [ASK, frame(b"", length=-8), ASK], [1], [FOREIGN]),
            ("most negative", [ASK, frame(b"", length=-2**31)], [1], [FOREIGN]),
            ("too long", [ASK, frame(b"{}", length=2**31 - 1)], [1], [FOREIGN]),
        )
        client = Client()
        for name, messages, expected, warnings in rows:
            with self.subTest(name):
                before = len(log())
                client.socket.sendall(b"".join(messages))
                answers = [client.answer() for _ in expected]
                self.assertEqual([a if isinstance(e, dict) else
                                  a.get("activeMessageType", a.get("confDefaultIndex"))
                                  for a, e in zip(answers, expected)], expected)
                poll(lambda: "recv client data" in log()[before:])
                poll(lambda: sum(log()[before:].count(w) for w in (error, FOREIGN))
                     == len(warnings))
                for warning in warnings:
                    self.assertEqual(log()[before:].count(warning), warnings.count(warning))
        client.socket.sendall(ASK)
        raw = client.read(8)
        payload = client.read(struct.unpack("=ii", raw)[1])
        self.assertTrue('/é"'.encode() in payload, payload)

    def test_waiting(self):
        first, second, gone = Client(), Client(choose(1), ASK), Client(choose(2))
        gone.socket.close()
        for _ in range(4):  # a turn of the daemon's loop each: now the others wait in its queue
            first.socket.sendall(ASK)
            first.answer()
        first.leave()
        stays(lambda: log().count(TAKEN) == 1)

        third = Client(ASK)
        self.assertEqual(second.answer()["confDefaultIndex"], 1)
        stays(lambda: log().count(TAKEN) == 2)
        second.leave()
        fourth = Client()  # the one that has gone is heard and dropped, then the third is taken
        self.assertEqual(third.answer()["confDefaultIndex"], 2)
        self.assertEqual(log().count(TAKEN), 4)
        self.assertIn('local socket error :  QLocalSocket::PeerClosedError', log())
        fourth.socket.close()

    @unittest.skipUnless(HAS_USERS, "takes root")
    def test_any_user_is_served(self):
        self.assertEqual(quillonctl("use", "1", user=65534).returncode, 0)
