import datetime
import itertools
import re
import select
import time

from daemon import TIMEOUT, Case, Client, Daemon, Site, ask, choose, configure, log, poll, probe

# Start, answer and timeout of a check; the end of a reply after a minute.
EVENTS = {"sendHealthInfo": "s", "Attribute": "a", "checkNetworkTimeout": "t", "TimeoutError return": "m"}


def moments():
    lines = re.findall(rf"\[\w+:([-\d]+ [:\d]+):.*?({'|'.join(EVENTS)})", log())
    return [(EVENTS[name], datetime.datetime.fromisoformat(moment)) for moment, name in lines]


def events():
    return "".join(event for event, _ in moments())


def let_pass(seconds):
    end = time.monotonic() + seconds
    poll(lambda: time.monotonic() > end)


class Slow(Case):
    def test_checks(self):
        """A late reply is ignored. A new choice restarts the timer, and accepts an earlier choice's reply."""
        late, first, silent = Site((3600, 503)), Site((3600, 204)), Site((3600, 200))
        configure({"defaultUrl": [late.url, first.url, silent.url]})
        with Daemon():
            poll(lambda: TIMEOUT in log())
            late.release.set()
            poll(lambda: "Failed:  503" in log())
            ask(choose(2))
            self.assertEqual(events(), "sts")

            let_pass(3)
            ask(choose(2))
            poll(lambda: events().endswith("st"))
            for (_, begin), (event, end) in itertools.pairwise(moments()):
                self.assertTrue(event != "t" or 7 <= (end - begin).seconds < 20, moments())

            def is_answered():
                first.release.clear()
                ask(choose(1), choose(2))
                first.release.set()
                poll(lambda: not events().endswith("s"))
                return events().endswith("a")
            poll(is_answered)
            self.assertIn("warning: http nStatus  204", log())

    def test_reply_of_a_minute_is_ended(self):
        """Its server sends interim responses without end; other replies go on."""
        good, bad = Site((0, 200)), Site((0, 503))
        other = Site((3600, b"HTTP/1.1 200 X\r\n\r\nother"))
        server, slow = self.silent_server()
        configure({"healthPath": "", "defaultUrl": [
            f"{slow}/health", f"{good.url}/health", f"{bad.url}/health", other.url]})
        with Daemon(), server.accept()[0] as peer:
            begin = time.monotonic()
            self.assertTrue(peer.recv(65536))
            client = Client()
            for index, text in ((1, "Attribute  200"), (2, "nStatus  503")):
                probe(index, text, client.ask)
                let_pass(10)  # longer than a check
            client.ask(choose(3))
            poll(lambda: events().endswith("t"))

            poll(lambda: time.monotonic() > begin + 57)
            peer.setblocking(False)
            while not select.select([peer], [], [], 0)[0]:
                if select.select([], [peer], [], 1)[1]:
                    peer.send(b"HTTP/1.1 100 C\r\n\r\n" * 1000)
            poll(lambda: 'TimeoutError return "health"' in log())
            self.assertIn((moments()[-1][1] - moments()[0][1]).seconds, range(59, 85))
            other.release.set()
            poll(lambda: 'returnByte "other"' in log())
            self.assertEqual((len(other.requests), len(client.ask())), (1, 1))
            self.assertRegex(events(), "^(s+[at]?)+m$")
