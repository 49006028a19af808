import os
import re
import socket
from pathlib import Path

from daemon import BIN, TMP, Case, Daemon, Site, ask, choose, configure, connections, log, poll

CLOCK = f"{TMP}/clock"
# Start, answer and timeout of a check; the end of a reply after a minute.
EVENTS = {"sendHealthInfo": "s", "Attribute": "a", "checkNetworkTimeout": "t",
          "TimeoutError return": "m"}
LEVELS = {"sendHealthInfo": "Debug", "checkNetworkTimeout": "qWarning"}


def events():
    found = re.findall(rf"\[(\w+):[-\d]+ [:\d]+:.*?({'|'.join(EVENTS)})", log())
    for level, name in found:
        assert level == LEVELS.get(name, "Qinfo"), (level, name)
    return "".join(EVENTS[name] for _, name in found)


def advance(milliseconds):
    """Advances the daemon's clock, then gives it some turns of its loop."""
    os.truncate(CLOCK, os.path.getsize(CLOCK) + milliseconds)
    ask()


class Health(Case):
    def setUp(self):
        super().setUp()
        Path(CLOCK).write_bytes(b"")

    def start(self, *urls, **options):
        configure({"healthPath": "", "defaultUrl": urls})
        environment = os.environ | {"LD_PRELOAD": f"{BIN}/clock.so", "QUILLON_CLOCK": CLOCK}
        self.enterContext(Daemon(env=environment, **options))

    def test_checks(self):
        """A late reply is ignored. A new choice restarts the timer."""
        late, first, silent = Site((3600, 503)), Site((3600, 204)), Site((3600, 200))
        self.start(*(f"{site.url}/health" for site in (late, first, silent)))
        advance(7500)
        self.assertEqual(events(), "s")
        advance(1000)
        poll(lambda: events() == "st")
        late.release.set()
        poll(lambda: "Failed:  503" in log())
        ask(choose(2))
        self.assertEqual(events(), "sts")

        advance(7000)
        ask(choose(2))
        advance(7500)
        self.assertEqual(events(), "stss")
        advance(1000)
        poll(lambda: events() == "stsst")
        advance(20000)
        self.assertEqual(events(), "stsst")

        ask(choose(1), choose(2))
        first.release.set()
        poll(lambda: events() == "stsstssa")
        poll(lambda: "warning: http nStatus  204" in log())
        advance(9000)
        self.assertEqual(events(), "stsstssa")

    def test_minute(self):
        """A reply and its connection end after 60 s. Others, and the starter's own, go on."""
        silent, other = Site((3600, 200)), Site((3600, b"HTTP/1.1 200 X\r\n\r\nother"))
        starters = self.enterContext(socket.create_connection(silent.server.getsockname()))
        self.start(f"{silent.url}/health", silent.url.replace("http", "https"), other.url,
                   pass_fds=[starters.fileno()])
        ask(choose(1))
        poll(lambda: len(silent.requests) == 2)
        for _ in range(59):  # in steps, so that the daemon sees the connections early
            advance(1000)
        self.assertEqual(events(), "sst")
        self.assertEqual(connections(silent.url), 3)
        ask(choose(2))
        poll(lambda: other.requests)
        for _ in range(20):
            advance(1000)
        poll(lambda: connections(silent.url) == 1)
        poll(lambda: sorted(events()) == sorted("sstsmmt"))
        other.release.set()
        poll(lambda: 'returnByte "other"' in log())
        self.assertEqual((len(other.requests), connections(silent.url)), (1, 1))
