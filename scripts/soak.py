"""Loads a real daemon with good and hostile clients; `soak` runs it in a sandbox."""

import collections
import contextlib
import json
import os
import pathlib
import random
import re
import signal
import subprocess
import sys
import threading
import time

TOP = pathlib.Path(__file__).parents[1]
sys.path.insert(0, str(TOP / "tests"))
import daemon  # pylint: disable=wrong-import-position
from daemon import (  # pylint: disable=wrong-import-position
    ASK, CONF, DEADLINE, LOG, TMP, Client, choose, poll)

SITE = f"{TMP}/site"
os.environ["PATH"] += ":/usr/sbin"  # nginx is there

UP_SECONDS, DOWN_SECONDS, LOG_SECONDS = 8, 4, 5
SETTLE_SECONDS = 150  # Qt closes a connection that has been idle for two minutes
# The heap moves by half of this without a leak. A leak of 200 bytes for each request exceeds it in
# 300 s.
MAX_GROWTH_KIB = 2048

OUT_OF_RANGE = {"type": "2", "activeMessageType": "5", "message": ""}
HOSTILE_BYTES = [path.read_bytes() for path in (TOP / "fuzz/corpus/requests").iterdir()]
# One head at the start and none behind it, or what follows the line feeds in a message.
WHOLE_LINE = re.compile(
    rb"(?:\[\w+:\d{4}-[^]]* line:\d+\] (?:(?!\[\w+:\d{4}-).)*|\*{3}.*\*{3}|version: .*|)\n")
PROBE_STATUS = re.compile(rb"Http Status Code Attribute  (\d+)")


class Soak:
    """What the threads share. Each calls one of the works again and again."""

    def __init__(self, seconds, servers, process):
        self.end = time.monotonic() + seconds
        self.is_over = threading.Event()
        self.lock = threading.Lock()
        self.counts = collections.Counter()
        self.slowest = 0.0
        self.faults = []
        self.process = process
        self.configuration = configuration(servers)
        self.samples = []  # of the resident memory, in KiB

    def count(self, what, number=1):
        with self.lock:
            self.counts[what] += number

    def check(self, holds, fault):
        if not holds:
            self.faults.append(fault)

    @contextlib.contextmanager
    def faults_of(self, work):
        try:
            yield
        except Exception as error:  # pylint: disable=broad-exception-caught
            self.faults.append(f"{work.__name__}: {error!r}")

    def repeat(self, work, is_over):
        with self.faults_of(work):
            while not is_over():
                work(self)

    def start(self, work, is_over):
        thread = threading.Thread(target=self.repeat, args=(work, is_over), daemon=True)
        thread.start()
        return thread

    def run(self):
        """The other threads go on until the good clients are done, because the daemon takes a
        waiting client only when another one connects."""
        good = [self.start(good_client, lambda: self.faults or time.monotonic() > self.end)
                for _ in range(4)]
        others = [self.start(work, self.is_over.is_set) for work in (
            leaver, leaver, hostile_client, outage, look_at_file, read_log, sample)]
        for thread in good:
            thread.join(max(0.0, self.end - time.monotonic()) + 2 * DEADLINE)
            self.check(not thread.is_alive(), "a good client hangs")
        self.is_over.set()
        for thread in others:
            thread.join(DEADLINE)
            self.check(not thread.is_alive(), "another thread hangs")

    def descriptors(self):
        return len(os.listdir(f"/proc/{self.process.pid}/fd"))

    def growth(self):
        """How much the lowest resident memory of the last third of the run is above that of the
        second third. The first third warms the heap up. What an attack takes goes back to the
        system with a delay, so peaks say nothing."""
        third = len(self.samples) // 3
        return min(self.samples[-third:]) - min(self.samples[third:-third])


def configuration(servers):
    return {"confDefault": True, "confDefaultIndex": 0, "confCustomHeadindex": 0,
            "confCustomUrl": "", "healthPath": "/v1/harbor/health", "defaultUrl": servers}


def check_answer(soak, answer, index=None):
    expected = {**soak.configuration, "type": "5"}
    del expected["healthPath"]
    expected["confDefaultIndex"] = answer.get("confDefaultIndex") if index is None else index
    assert answer == expected, answer


def good_client(soak):
    """Asks, chooses and asks, or chooses a server that does not exist and asks."""
    count = len(soak.configuration["defaultUrl"])
    index = random.choice((None, None, random.randrange(count), count))
    soak.count("asked")
    start = time.monotonic()
    client = Client(*[] if index is None else [choose(index)], ASK)
    with client.socket:
        if index == count:
            answer = client.answer()
            assert answer == OUT_OF_RANGE, answer
        check_answer(soak, client.answer(), None if index == count else index)
    with soak.lock:
        soak.counts["answered"] += 1
        soak.slowest = max(soak.slowest, time.monotonic() - start)
    time.sleep(random.uniform(0, 0.02))


def leaver(soak):
    Client(ASK[:random.randrange(len(ASK) + 1)]).socket.close()
    soak.count("left")
    time.sleep(random.uniform(0, 0.1))


def hostile_client(soak):
    """Sends what a fuzzer would, up to a few MiB, and reads nothing."""
    data = random.choice(HOSTILE_BYTES) * random.choice((1, 100, 10000)) + os.urandom(100)
    client = Client()
    with client.socket:
        client.socket.settimeout(0.3)
        try:
            client.socket.sendall(data)
            time.sleep(random.uniform(0, 0.3))
        except (TimeoutError, ConnectionError):
            pass  # the daemon may drop it
    soak.count("hostile")
    time.sleep(random.uniform(0, 0.5))


def start_server():
    subprocess.run(["nginx", "-p", SITE, "-c", "nginx.conf", "-e", "error.log"], check=True)


def stop_server():
    pid = pathlib.Path(SITE, "nginx.pid")
    os.kill(int(pid.read_text(encoding="ascii")), signal.SIGTERM)
    poll(lambda: not pid.exists())


def outage(soak):
    soak.is_over.wait(UP_SECONDS)
    stop_server()
    soak.is_over.wait(DOWN_SECONDS)
    # With the certificates that it had, because Qt keeps the authorities that it has met.
    start_server()


def look_at_file(soak):
    with open(CONF, encoding="utf-8") as file:
        content = json.load(file)
    assert {**content, "confDefaultIndex": 0} == soak.configuration, content
    soak.count("looks")
    time.sleep(0.01)


def check_lines(soak, path):
    with open(path, "rb") as file:
        for line in file:
            assert WHOLE_LINE.fullmatch(line) and line.count(b'"') % 2 == 0, line[:300]
            soak.count("lines")
            if status := PROBE_STATUS.search(line):
                soak.count(int(status[1]))


def read_log(soak):
    """The daemon opens the log for each line, so an old log is complete once there is a new one."""
    if soak.is_over.wait(LOG_SECONDS):
        return
    os.rename(LOG, LOG + ".old")
    poll(lambda: os.path.exists(LOG))
    check_lines(soak, LOG + ".old")


def sample(soak):
    with open(f"/proc/{soak.process.pid}/status", encoding="ascii") as file:
        soak.samples.append(int(re.search(r"VmRSS:\s+(\d+) kB", file.read())[1]))
    soak.is_over.wait(1)


def settle(soak):
    """Everyone has left: the daemon still serves, and keeps nothing open."""
    stop_server()
    check_answer(soak, daemon.served())
    check_lines(soak, LOG)
    poll(lambda: os.listdir(os.path.dirname(CONF)) == [os.path.basename(CONF)])
    poll(lambda: soak.descriptors() <= soak.counts["descriptors"], SETTLE_SECONDS)


def report(soak, seconds):
    counts = soak.counts
    print("| What | Seen | Bound |", "|---|---|---|", sep="\n")
    for row in (
            ("Duration, seconds", seconds, ""),
            ("Requests of good clients, each answer right", counts["answered"], counts["asked"]),
            ("Slowest answer, seconds", f"{soak.slowest:.2f}", DEADLINE),
            ("Other clients: left early, hostile", f"{counts['left']}, {counts['hostile']}", ""),
            ("Probes: 200, 503, no answer", f"{counts[200]}, {counts[503]}, {counts[0]}",
             "some of each"),
            ("Log lines, each whole", counts["lines"], ""),
            ("Looks at the configuration file, each valid", counts["looks"], ""),
            ("Growth of the resident memory, KiB", soak.growth(), MAX_GROWTH_KIB),
            ("Open descriptors at the end", soak.descriptors(), counts["descriptors"])):
        print("| " + " | ".join(map(str, row)) + " |")


def main(seconds):
    site = subprocess.run([TOP / "scripts/tls-site", "start", SITE], check=True,
                          stdout=subprocess.PIPE, text=True)
    servers = re.findall("=(.*)", site.stdout)
    daemon.configure(configuration(servers))
    with daemon.Daemon() as running:
        poll(lambda: "Http Status Code Attribute  200" in daemon.log())
        soak = Soak(seconds, servers, running.process)
        soak.count("descriptors", soak.descriptors())
        soak.run()
        if not soak.faults:
            with soak.faults_of(settle):
                settle(soak)
            report(soak, seconds)
            soak.check(soak.growth() <= MAX_GROWTH_KIB, "the memory grows")
            soak.check(all(soak.counts[status] for status in (200, 503, 0)),
                       "no probe had one of the three outcomes")
    for fault in soak.faults:
        print(f"soak: {fault}", file=sys.stderr)
    return 1 if soak.faults else 0


if __name__ == "__main__":
    sys.exit(main(int(sys.argv[1])))
