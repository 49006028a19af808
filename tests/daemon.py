"""Runs the real programs at their real paths. Needs a sandbox for each test class."""

import base64
import contextlib
import functools
import json
import operator
import os
import re
import shutil
import signal
import socket
import struct
import subprocess
import threading
import time
import unittest
import weakref
from pathlib import Path

TMP = os.environ["TMPDIR"]
BIN = os.environ["QUILLON_BIN"]
CHANGELOG = Path(__file__).parents[1] / "debian/changelog"
VERSION = re.search(r"\((.*)\)", CHANGELOG.read_text("utf-8"))[1]
SOCKET = "/var/run/quillon/quillon"
LOG = "/var/log/zeno/quillon/quillon.log"
CONF = "/etc/.zeno/.agent.json"
TIMEOUT = "warning: checkNetworkTimeout()"
DEADLINE = 120  # seconds; longer than anything takes on a slow machine
os.umask(0o022)
# A large quarantine counts as memory. The clock library precedes the sanitizer's.
os.environ["ASAN_OPTIONS"] = "quarantine_size_mb=1:verify_asan_link_order=0"
SLACK = 4 if b"__asan_init" in Path(f"{BIN}/quillon").read_bytes() else 1
KEY = functools.reduce(operator.xor, b"kvx-journal")


def poll(condition, seconds=DEADLINE):
    """Returns the first true result of the condition."""
    start = time.monotonic()
    while not (result := condition()):
        waited = time.monotonic() - start
        assert waited < seconds, f"waited in vain; the log ends with {log()[-2000:]}"
        time.sleep(min(max(waited / 10, 0.005), 0.2))
    return result


def run(command):
    subprocess.run(command, shell=True, check=True)


@contextlib.contextmanager
def broken(spoil, mend):
    """Runs the commands before and after the block. Skips it if it cannot mount."""
    if spoil.startswith("mount") and os.environ["QUILLON_SANDBOX"] != "private":
        raise unittest.SkipTest("the sandbox runs in place, where mount may be refused")
    run(spoil)
    try:
        yield
    finally:
        run(mend)


def configure(content):
    os.makedirs(os.path.dirname(CONF), exist_ok=True)
    Path(CONF).write_text(content if isinstance(content, str) else json.dumps(content), "utf-8")


def log():
    """Returns the complete lines of the log, with scrambled texts in clear."""
    try:
        content = Path(LOG).read_bytes()
    except OSError:
        return ""
    return re.sub(rb"LogEncryption((?:[\w+/]{4})*(?:[\w+/]{2}==|[\w+/]{3}=)?)",
                  lambda match: bytes(byte ^ KEY for byte in base64.b64decode(match[1])),
                  content[:content.rfind(b"\n") + 1]).decode(errors="replace")


class Case(unittest.TestCase):
    def setUp(self):
        for path in (os.path.dirname(CONF), os.path.dirname(LOG), os.path.dirname(SOCKET)):
            shutil.rmtree(path, ignore_errors=True)


class Daemon:
    """A running daemon. The constructor waits until the first probe is sent."""

    def __init__(self, *arguments, **options):
        sent = log().count("http sendPost")
        self.process = subprocess.Popen([f"{BIN}/quillon", *arguments], **options)
        poll(lambda: log().count("http sendPost") > sent or self.process.poll() is not None)

    def __enter__(self):
        return self

    def __exit__(self, *error):
        alive = self.process.poll() is None
        self.process.kill()
        self.process.wait()
        assert alive or error[0], f"the daemon ended with {self.process.returncode}"

    @contextlib.contextmanager
    def stopped(self):
        """Lets clients write or connect before the daemon notices anything of it."""
        self.process.send_signal(signal.SIGSTOP)
        os.waitid(os.P_PID, self.process.pid, os.WSTOPPED)
        yield
        self.process.send_signal(signal.SIGCONT)

    def is_idle(self):
        """Whether Qt has ended its threads, with what they keep of connections."""
        names = os.popen(f"cat /proc/{self.process.pid}/task/*/comm 2>/dev/null").read()
        return names == "quillon\nQt bearer threa\n"

    def peak_bytes(self):
        status = Path(f"/proc/{self.process.pid}/status").read_text("ascii")
        return int(re.search(r"VmHWM:\s+(\d+)", status)[1]) * 1024


def frame(message, sender=2, length=None):
    payload = message if isinstance(message, bytes) else json.dumps(message).encode()
    return struct.pack("=ii", sender, len(payload) if length is None else length) + payload


ASK = frame({"type": "5"})


def choose(index):
    return frame({"type": "4", "serverIndex": str(index)})


class Client:
    def __init__(self, *messages):
        self.socket = socket.socket(socket.AF_UNIX)
        weakref.finalize(self, self.socket.close)
        # With settimeout() it would not wait for a place in the backlog.
        for option in socket.SO_SNDTIMEO, socket.SO_RCVTIMEO:
            self.socket.setsockopt(socket.SOL_SOCKET, option, struct.pack("ll", DEADLINE, 0))
        self.socket.connect(SOCKET)
        if messages:  # even nothing cannot be sent to a daemon that has closed already
            self.socket.sendall(b"".join(messages))

    def answer(self):
        header = self.socket.recv(8, socket.MSG_WAITALL)
        assert header, "the daemon has left"
        sender, length = struct.unpack("=ii", header)
        assert sender == 1
        return json.loads(self.socket.recv(length, socket.MSG_WAITALL))

    def ask(self, *messages):
        """Returns the answers; the last is the configuration."""
        self.socket.sendall(b"".join(messages) + ASK)
        answers = [self.answer()]
        while answers[-1]["type"] != "5":
            answers.append(self.answer())
        return answers

    def leave(self):
        """Disconnects and waits until the daemon has noticed."""
        gone = log().count("client disconnect !")
        self.socket.close()
        poll(lambda: log().count("client disconnect !") > gone)


def ask(*messages):
    """Returns the answers to a client that need not wait for another."""
    client = Client()
    answers = client.ask(*messages)
    client.leave()
    return answers


def probe(index, text):
    """Chooses the server until the log shows the text; a late reply is ignored."""
    start = len(log())
    for _ in range(DEADLINE // 8):
        timeouts = log().count(TIMEOUT)
        ask(choose(index))
        poll(lambda: text in log()[start:] or log().count(TIMEOUT) > timeouts)
        if text in log()[start:]:
            return log()[start:]
    raise AssertionError(f"{text} is not in {log()[start:]}")


def quillonctl(*arguments, **options):
    return subprocess.run([f"{BIN}/quillonctl", *arguments], capture_output=True, text=True,
                          check=False, **options)


def connections(url):
    """Returns how many connections the daemon has to the URL's port."""
    port = int(url.rpartition(":")[2])
    return len(re.findall(rf" \w+:{port:04X} 01 ", Path("/proc/net/tcp").read_text("ascii")))


class Site:
    """An HTTP server. Each answer is (seconds to wait for the release, status or bytes, bytes to
    repeat, if any; not encrypted). The last answer serves all further requests."""

    def __init__(self, *answers, tls=None, host="127.0.0.1"):
        self.answers, self.tls = list(answers), tls
        self.requests, self.release = [], threading.Event()
        self.server = socket.create_server((host, 0))
        self.url = f"http{'s' if tls else ''}://{host}:{self.server.getsockname()[1]}"
        threading.Thread(target=self.accept, daemon=True).start()

    def accept(self):
        while True:
            peer = self.server.accept()[0]
            threading.Thread(target=self.answer, args=(peer,), daemon=True).start()

    def answer(self, peer):
        wrap = self.tls.wrap_socket if self.tls else lambda plain, **_: plain
        with contextlib.suppress(OSError), peer.dup() as raw, wrap(peer, server_side=True) as peer:
            self.requests.append(peer.recv(65536))
            answers = self.answers
            wait, what, *endless = answers.pop(0) if len(answers) > 1 else answers[0]
            self.release.wait(wait)
            peer.sendall(what if isinstance(what, bytes)
                         else b"HTTP/1.1 %d X\r\nContent-Length: 0\r\n\r\n" % what)
            while endless:
                raw.sendall(endless[0])
