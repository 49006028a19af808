import re

from daemon import ASK, Case, Client, Daemon, Site, choose, configure, frame, log, poll

TAKEN = "The new client is connected :"
ERROR = "QJsonParseError"
DROPPED = "data not sent by a quillon client, the rest of it is dropped: "
TWINS = "two members of the same name"


class Socket(Case):
    def setUp(self):
        super().setUp()
        self.site = Site((3600, 503))
        servers = [self.site.url, "http://127.0.0.1:2", "http://127.0.0.1:3/é"]
        configuration = {"type": "5", "confDefault": True, "confCustomHeadindex": 0,
                         "confCustomUrl": "", "defaultUrl": servers}
        self.answers = {index: configuration | {"confDefaultIndex": index} for index in range(3)}
        self.answers["refused"] = {"type": "2", "activeMessageType": "5", "message": ""}
        configure(configuration)
        self.daemon = self.enterContext(Daemon())

    def test_frames(self):
        """Rows: frames of one write, names of the answers, warnings."""
        cut = frame({"type": "4", "serverIndex": "2", "x": "é"})[8:]
        long = b'{"":"' + b"x" * (2**16 - 7)
        rows = (
            ("no types", [*map(frame, ({"type": 5}, {"type": "99"}, [5], {"x": 1})), ASK], [0], []),
            ("in order", [choose(1), ASK, choose(9), choose(0), ASK], [1, "refused", 0], []),
            ("cut inside a character", [frame(cut[:-3]), frame(cut[-3:]), ASK], [2], [ERROR]),
            ("900 frames", [*(frame(bytes([byte])) for byte in b'{"type":"5"' + b" " * 888 + b"}")],
             [2], [ERROR] * 899),
            ("empty payloads", [frame(b""), frame(b""), choose(1), ASK], [1], [ERROR] * 2),
            ("empty object stays pending", [frame(b"{}"), ASK], [], [ERROR]),
            *(("twins", [ASK, frame(b'{"%s":[1],"%s":1}' % names), ASK], [1], [TWINS])
              for names in ((b"a", b"\\u0061"), (b"\\ud800", "\ufffd".encode()), (b"\0a", b"\0b"),
                            (b"\\ufeff", "\ufeff".encode()))),
            ("no twins", [frame(b'{"a":{"a":":","b":[{"a":1},{"a":1}]},"b":1}'), ASK], [1], []),
            ("foreign sender", [ASK, frame({"type": "5"}, sender=1), ASK], [1], ["foreign sender"]),
            ("short header", [ASK, ASK[:7]], [1], ["broken frame"]),
            ("a byte short", [ASK, frame(ASK[8:], length=len(ASK) - 7)], [1], ["broken frame"]),
            ("negative length", [ASK, frame(b"", length=-8), ASK], [1], ["broken frame"]),
            ("too long", [ASK, frame(b"{}", length=2**31 - 1)], [1], ["broken frame"]),
            ("64 KiB in two frames", [frame(long), frame(b'"}'), choose(2), ASK], [2], [ERROR]),
            ("180 KB in one write", [frame({"type": "5", "x": "x" * 60000})] * 3, [2] * 3, []),
            ("17000 objects", [frame(b'{"":[' + b"{}," * 17000 + b"1]}"), ASK], [], ["too large"]),
            ("64 KiB and a byte", [frame(long), frame(b' "}'), ASK], [], [ERROR, "too large"]),
        )
        client = Client()
        for name, messages, expected, warnings in rows:
            with self.subTest(name):
                before = len(log())
                with self.daemon.stopped():  # or it reads a part of it
                    client.socket.sendall(b"".join(messages))
                for answer in expected:
                    self.assertEqual(client.answer(), self.answers[answer])
                poll(lambda start=before: "recv client data" in log()[start:])
                client.ask()
                self.assertEqual(re.findall(f"{ERROR}|(?<={DROPPED}).*", log()[before:]), warnings)

    def test_indices(self):
        client = Client()
        beyond = "9" * 20
        for names, texts in (
                ([2], ("2", "+2", "02", " 2", "2\n")),
                ([0], ("", "x", "1.5", "0x1", "1e0", "- 1", "1 1")),
                (["refused", 1], ("-1", "3", str(2**31), str(2**32), beyond, f" {beyond} ",
                                  f"\t-{beyond}\n", f" +{beyond}", f"\u2212{beyond}"))):
            answers = [self.answers[name] for name in names]
            for text in texts:
                choice = frame({"type": "4", "serverIndex": text})
                self.assertEqual(client.ask(choose(1), choice), answers, text)

    def test_waiting(self):
        first, second, gone = Client(), Client(choose(1), ASK), Client(choose(2))
        gone.socket.close()
        for _ in range(4):  # a turn of the event loop each; then the others wait in Qt's queue
            first.ask()
        first.leave()
        self.site.release.set()
        poll(lambda: "Failed:  503" in log())  # one more turn
        self.assertEqual(log().count(TAKEN), 1)

        third = Client(ASK)
        self.assertEqual(second.answer()["confDefaultIndex"], 1)
        second.leave()
        fourth = Client()  # first the daemon takes and drops the peer that has left, then the third
        self.assertEqual(third.answer()["confDefaultIndex"], 2)
        self.assertEqual(log().count(TAKEN), 4)
        self.assertIn('local socket error :  QLocalSocket::PeerClosedError', log())
