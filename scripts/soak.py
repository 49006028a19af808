"""Loads a real daemon with good and bad clients; `soak` runs it in a sandbox."""

import base64
import collections
import json
import os
import pathlib
import random
import re
import select
import signal
import socket
import statistics
import subprocess
import sys
import threading
import time

SCRIPTS = pathlib.Path(__file__).parent
sys.path.insert(0, str(SCRIPTS.parent / "tests"))
import daemon  # pylint: disable=wrong-import-position
from daemon import ASK, CONF, LOG, SOCKET, choose, frame  # pylint: disable=wrong-import-position

SITE = os.environ["TMPDIR"] + "/site"
os.environ["PATH"] += ":/usr/sbin"  # where an ordinary user does not look

KNOCK_SECONDS = 0.5  # a waiting client is taken only when a further one comes
UNSERVED_SECONDS = 30
DELETE_LOG_SECONDS = 15
UP_SECONDS, DOWN_SECONDS = 8, 4
SETTLE_SECONDS = 150  # the toolkit keeps a connection that nobody uses for two minutes
WARM_UP = 0.5  # of the run: until then the heap still finds its size
MAX_GROWTH_KIB = 64  # in an hour's worth of requests
FILE_MEMBERS = set(re.findall('"(.*)"', (SCRIPTS / "../src/public/confkeys.h").read_text("utf-8")))
ANSWER_MEMBERS = FILE_MEMBERS - {"healthPath"} | {"type"}
OUT_OF_RANGE = {"type": "2", "activeMessageType": "5", "message": ""}


class Load:
    """What the threads share."""

    def __init__(self, seconds):
        self.end = time.monotonic() + seconds
        self.lock = threading.Lock()
        self.counts = collections.Counter()
        self.slowest = 0.0
        self.failure = None
        self.servers = []

    def goes_on(self):
        return self.failure is None and time.monotonic() < self.end

    def count(self, what, number=1):
        with self.lock:
            self.counts[what] += number

    def pause(self, seconds):
        end = min(time.monotonic() + seconds, self.end)
        while self.failure is None and (left := end - time.monotonic()) > 0:
            time.sleep(min(left, 0.2))

    def run(self, work):
        """Until the end of the load or the first failure of any thread."""
        try:
            while self.goes_on():
                work(self)
        except Exception as error:  # pylint: disable=broad-exception-caught
            with self.lock:
                self.failure = self.failure or f"{work.__name__}: {error!r}"


def connect(timeout=KNOCK_SECONDS):
    """A connection, as soon as the system's queue has a place for it."""
    deadline = time.monotonic() + UNSERVED_SECONDS
    while True:
        peer = socket.socket(socket.AF_UNIX)
        peer.settimeout(timeout)
        try:
            peer.connect(SOCKET)
            return peer
        except BlockingIOError:
            peer.close()
            assert time.monotonic() < deadline, "no place in the queue"
            time.sleep(0.05)


# --- good clients: whatever they ask is answered, and right

def knock():
    with socket.socket(socket.AF_UNIX) as visitor:
        visitor.setblocking(False)
        try:
            visitor.connect(SOCKET)
        except BlockingIOError:
            pass


def read(peer, size, deadline):
    data = b""
    while len(data) < size:
        try:
            more = peer.recv(size - len(data))
            assert more, "the daemon closed the connection"
            data += more
        except TimeoutError:
            assert time.monotonic() < deadline, f"unserved for {UNSERVED_SECONDS} s"
            knock()
    return data


def answer(peer, deadline):
    header = read(peer, 8, deadline)
    assert header[:4] == frame(b"", sender=1)[:4], header
    return json.loads(read(peer, int.from_bytes(header[4:], sys.byteorder), deadline))


def check_configuration(load, message, index=None):
    assert set(message) == ANSWER_MEMBERS and message["type"] == "5", message
    assert message["defaultUrl"] == load.servers, message
    assert index is None or message["confDefaultIndex"] == index, (message, index)


def converse(load, *messages, answers, pause=0.0):
    """Sends the messages with a pause between them, then expects the number of answers."""
    start = time.monotonic()
    load.count("asked")
    with connect() as peer:
        for number, message in enumerate(messages):
            time.sleep(pause if number else 0)
            peer.sendall(message)
        got = [answer(peer, start + UNSERVED_SECONDS) for _ in range(answers)]
    with load.lock:
        load.counts["answered"] += 1
        load.slowest = max(load.slowest, time.monotonic() - start)
    return got


def ask(load):
    [message] = converse(load, ASK, answers=1)
    check_configuration(load, message)


def choose_and_ask(load):
    index = random.randrange(len(load.servers))
    [message] = converse(load, choose(index) + ASK, answers=1)
    check_configuration(load, message, index)


def choose_wait_and_ask(load):
    index = random.randrange(len(load.servers))
    [message] = converse(load, choose(index), ASK, answers=1, pause=0.1)
    check_configuration(load, message, index)


def choose_what_there_is_not(load):
    status, message = converse(load, choose(len(load.servers)) + ASK, answers=2)
    assert status == OUT_OF_RANGE, status
    check_configuration(load, message)


def use_the_program(load):
    index = random.randrange(len(load.servers))
    load.count("asked")
    done = daemon.quillonctl("use", str(index), "--json", "--timeout",
                             str(UNSERVED_SECONDS * 1000))
    assert done.returncode == 0, done
    assert json.loads(done.stdout)["configuration"]["confDefaultIndex"] == index, done
    load.count("answered")


def good_client(load):
    random.choices((ask, choose_and_ask, choose_wait_and_ask, choose_what_there_is_not,
                    use_the_program), weights=(20, 10, 1, 5, 1))[0](load)
    load.pause(random.uniform(0, 0.02))


# --- bad clients: they may be dropped, and must not be in the way for longer than they stay

def leave_in_a_frame():
    with connect() as peer:
        peer.sendall(ASK[:random.randrange(1, len(ASK))])


def leave_before_the_answer():
    with connect() as peer:
        peer.sendall(ASK)


def leave_at_once():
    connect().close()


def leaver(load):
    random.choice((leave_in_a_frame, leave_before_the_answer, leave_at_once))()
    load.count("left")
    load.pause(random.uniform(0, 0.1))


def write_for(seconds, data):
    """Reads nothing; until the time is up or the daemon has had enough."""
    end = time.monotonic() + seconds
    with connect(seconds) as peer:
        try:
            while time.monotonic() < end:
                peer.send(data)
        except (TimeoutError, BrokenPipeError, ConnectionResetError):
            pass


def random_bytes():
    write_for(0.1, random.randbytes(random.randrange(1, 100000)))


def endless_frame():
    write_for(0.3, frame(b"x" * 65536, length=2**31 - 1))


def tiny_frames():
    write_for(0.1, frame(b"") * 10000)


def broken_objects():
    write_for(0.1, frame(b'{"type":') * 100 + frame(b"[" * 10000) + frame(b"\xff\0{}"))


def doubled_members():
    write_for(0.1, frame(b'{"a": [' + b"1, " * 1000 + b'1], "a": 1}') * 20)


def never_reads():
    write_for(0.5, ASK * 100)


def crowd():
    peers = []
    for _ in range(60):
        peers.append(connect())
        peers[-1].sendall(ASK)
    time.sleep(0.5)
    for peer in peers:
        peer.close()


def hostile(load):
    for attack in (random_bytes, endless_frame, tiny_frames, broken_objects, doubled_members,
                   never_reads, crowd):
        attack()
        load.count("attacks")
        load.pause(random.uniform(0.2, 1))


# --- beside the clients

def come_and_go(load):
    """The server: up when it is called."""
    load.pause(UP_SECONDS)
    stop_server()
    load.count("outages")
    load.pause(DOWN_SECONDS)
    start_server()


def run(*command):
    done = subprocess.run(command, capture_output=True, text=True, check=False)
    assert done.returncode == 0, done
    return done.stdout


def start_site():
    printed = run(SCRIPTS / "tls-site", "start", SITE)
    return [line.split("=")[1] for line in printed.splitlines()]


def stop_server():
    """Returns when it has ended."""
    server = os.pidfd_open(int(pathlib.Path(SITE, "nginx.pid").read_text(encoding="ascii")))
    signal.pidfd_send_signal(server, signal.SIGTERM)
    assert select.select([server], [], [], 5)[0], "the server does not end"
    os.close(server)


def start_server():
    """With the certificates it had: the toolkit keeps those of the authorities it has met."""
    run("nginx", "-p", SITE, "-c", "nginx.conf", "-e", "error.log")


def look_at_file(load):
    with open(CONF, encoding="utf-8") as file:
        content = json.load(file)
    assert set(content) == FILE_MEMBERS and content["defaultUrl"] == load.servers, content
    files = set(os.listdir(os.path.dirname(CONF)))
    draft = os.path.basename(CONF) + ".quillon-draft"
    assert files - {draft} == {os.path.basename(CONF)}, files
    load.count("looks")
    time.sleep(0.01)


class LogReader:
    """Follows the log through its deletions and checks each line."""

    HEAD = re.compile(rb"\[(?:Debug|Qinfo|qWarning|Cirtiacl|Fatal):"
                      rb"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d:\w+\.(?:cpp|h) line:\d+\] (.*)")
    OPENING = re.compile(rb'version: "[\d.]+"|\*\*\*[ \w]+ \[START\]\*\*\*')
    SCRAMBLED = re.compile(rb"LogEncryption([A-Za-z0-9+/=]*)")
    STATUS = re.compile(rb" --------Http Status Code Attribute  (\d+) --------")
    CONTROL = re.compile(rb"[^ -~]")

    def __init__(self):
        self.file = None
        self.pending = b""
        self.feeds = 0  # of a message that begins with two of them
        self.delete_at = time.monotonic() + DELETE_LOG_SECONDS
        self.statuses = collections.Counter()

    def follow(self, load):
        if self.file is None and os.path.exists(LOG):
            self.file = open(LOG, "rb")  # pylint: disable=consider-using-with
        replaced = self.file is not None and self.is_replaced()
        if self.file is not None:
            self.read(load)
        if replaced:
            assert not self.pending and not self.feeds, f"half a line: {self.pending[:200]}"
            self.file.close()
            self.file = None
            load.count("logs")
        elif time.monotonic() > self.delete_at:
            os.unlink(LOG)
            load.count("deletions")
            self.delete_at += DELETE_LOG_SECONDS
        time.sleep(0.05)

    def is_replaced(self):
        try:
            return os.stat(LOG).st_ino != os.fstat(self.file.fileno()).st_ino
        except FileNotFoundError:
            return False

    def read(self, load):
        while data := self.file.read(1024 * 1024):
            lines = (self.pending + data).split(b"\n")
            self.pending = lines.pop()
            for line in lines:
                self.check(line)
            load.count("lines", len(lines))
            load.count("bytes", len(data))

    def check(self, line):
        shown = line[:200]
        assert not self.CONTROL.search(line), f"not printable: {shown}"
        if self.feeds:
            self.feeds -= 1
            assert self.OPENING.fullmatch(line) if not self.feeds else not line, shown
            return
        head = self.HEAD.fullmatch(line)
        assert head, f"no line of the log: {shown}"
        if not head[1]:
            self.feeds = 2
        for base64_text in self.SCRAMBLED.findall(line):
            assert base64.b64decode(base64_text, validate=True), f"nothing scrambled: {shown}"
        if status := self.STATUS.fullmatch(head[1]):
            self.statuses[int(status[1])] += 1


class Sampler:
    def __init__(self, pid):
        self.folder = f"/proc/{pid}"
        self.samples = []  # answered requests, KiB, descriptors

    def resident(self):
        with open(self.folder + "/status", encoding="ascii") as file:
            return int(re.search(r"VmRSS:\s+(\d+) kB", file.read())[1])

    def descriptors(self):
        return len(os.listdir(self.folder + "/fd"))

    def sample(self, load):
        self.samples.append((load.counts["answered"], self.resident(), self.descriptors()))
        time.sleep(1)


def slope(points):
    """Theil and Sen's line through the points: a few that lie far off do not bend it."""
    slopes = [(y2 - y1) / (x2 - x1) for i, (x1, y1) in enumerate(points)
              for x2, y2 in points[i + 1:] if x2 != x1]
    return statistics.median(slopes) if slopes else float("nan")


def row(what, seen, bound=""):
    print(f"| {what} | {seen} | {bound} |")


class Soak:
    def __init__(self, seconds, process):
        self.seconds, self.process = seconds, process
        self.load, self.log, self.sampler = Load(seconds), LogReader(), Sampler(process.pid)
        self.load.servers = daemon.ask()[0]["defaultUrl"]
        daemon.poll(lambda: "Http Status Code Attribute  200" in daemon.log())
        self.descriptors = self.sampler.descriptors()

    def run(self):
        works = [good_client] * 4 + [leaver, leaver, hostile, come_and_go, look_at_file,
                                     self.log.follow, self.sampler.sample]
        threads = [threading.Thread(target=self.load.run, args=(work,)) for work in works]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()

    def settle(self):
        """Everyone has left: the daemon still serves, and keeps nothing."""
        stop_server()
        ask(self.load)
        self.log.follow(self.load)
        look_at_file(self.load)
        end = time.monotonic() + SETTLE_SECONDS
        while self.sampler.descriptors() > self.descriptors and time.monotonic() < end:
            time.sleep(0.1)

    def faults(self, growth):
        counts = self.load.counts
        left = os.listdir(os.path.dirname(CONF))
        for fault, is_there in (
                (self.load.failure, self.load.failure),
                ("the daemon has ended", self.process.poll() is not None),
                ("a good client was not served", counts["asked"] != counts["answered"]),
                ("the memory grows", not growth <= MAX_GROWTH_KIB),
                ("descriptors stay open", self.sampler.descriptors() > self.descriptors),
                ("the log ends in the middle of a message", self.log.pending or self.log.feeds),
                (f"beside the file there is something else: {left}", len(left) != 1),
                ("no probe succeeded or none failed",
                 not {0, 200, 503} <= self.log.statuses.keys()),
                ("the log was never deleted", not counts["logs"])):
            if is_there:
                yield fault

    def warm(self):
        return self.sampler.samples[int(WARM_UP * len(self.sampler.samples)):]

    def growth(self):
        """KiB in an hour's worth of requests, of the lowest that the memory falls to: what an
        attack takes goes back to the system, but not at once."""
        samples = self.warm()
        size = max(1, len(samples) // 10)
        lowest = [min(samples[start:start + size], key=lambda sample: sample[1])[:2]
                  for start in range(0, len(samples) - size + 1, size)]
        return slope(lowest) * self.load.counts["answered"] * 3600 / self.seconds

    def print_table(self, growth):
        counts, warm = self.load.counts, self.warm()
        resident = [resident for _, resident, _ in warm]
        rate = counts["answered"] / self.seconds
        print("| What | Seen | Bound |\n|---|---|---|")
        row("Duration, seconds", self.seconds)
        row("Requests of good clients", f"{counts['asked']} ({rate:.0f} a second)")
        row("of them answered, each answer right", counts["answered"], counts["asked"])
        row("Slowest answer, seconds", f"{self.load.slowest:.2f}", UNSERVED_SECONDS)
        row("Clients that left early", counts["left"])
        row("Attacks of hostile clients", counts["attacks"])
        row("Server outages", counts["outages"])
        row("Probes by status", ", ".join(f"{status}: {number}" for status, number
                                          in sorted(self.log.statuses.items())))
        row("Log lines, all well formed",
            f"{counts['lines']} ({counts['bytes'] // 1048576} MiB, {counts['logs'] + 1} files)")
        row("Looks at the configuration file, all valid", counts["looks"])
        row("Resident memory after the warm-up, KiB",
            f"{resident[0]} at first, {resident[-1]} at last, {max(resident)} at most")
        row("Growth in an hour's worth of requests, KiB", f"{growth:.1f}", MAX_GROWTH_KIB)
        row("Open descriptors", f"{max(sample[2] for sample in warm)} at most, "
            f"{self.sampler.descriptors()} at the end", self.descriptors)


def main(seconds):
    daemon.configure({"confDefault": True, "confDefaultIndex": 0, "confCustomHeadindex": 0,
                      "confCustomUrl": "", "defaultUrl": start_site(),
                      "healthPath": "/v1/harbor/health"})
    with daemon.Daemon() as running:
        soak = Soak(seconds, running.process)
        soak.run()
        faults = []
        try:
            soak.settle()
        except Exception as error:  # pylint: disable=broad-exception-caught
            faults.append(f"after the load: {error!r}")
        growth = soak.growth()
        if not soak.load.failure:
            soak.print_table(growth)
        faults += soak.faults(growth)
    for fault in faults:
        print(f"soak: {fault}", file=sys.stderr)
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main(int(sys.argv[1])))
