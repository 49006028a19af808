"""Loads a real daemon with good and hostile clients; `soak` runs it in a sandbox."""

import os
import pathlib
import random
import re
import select
import subprocess
import sys
import threading
import time

TOP = pathlib.Path(__file__).parents[1]
sys.path.insert(0, str(TOP / "tests"))
import daemon  # pylint: disable=wrong-import-position
from daemon import ASK, DEADLINE, TMP, Client, choose  # pylint: disable=wrong-import-position

TLS_SITE, SITE = TOP / "scripts/tls-site", f"{TMP}/site"
SETTLE_SECONDS = 150  # Qt closes a connection that has been idle for two minutes
# The heap moves by half of this without a leak. A leak of 200 bytes for each request exceeds it in
# 300 s.
MAX_GROWTH_KIB = 2048
MAX_WAIT_SECONDS = 30  # beside other load
HOSTILE_BYTES = [path.read_bytes() for path in (TOP / "fuzz/corpus/requests").iterdir()]
REFUSAL = {"type": "2", "activeMessageType": "5", "message": ""}


def resident_kib(process):
    pages = int(pathlib.Path(f"/proc/{process.pid}/statm").read_text("ascii").split()[1])
    return pages * os.sysconf("SC_PAGESIZE") // 1024


def served():
    """Returns the configuration. If the daemon waits for one more connection, makes one."""
    client = Client(ASK)
    daemon.poll(lambda: select.select([client.socket], [], [], 0.02)[0] or Client().socket.close())
    return client.answer()


class Soak:
    """What the threads share."""

    def __init__(self, servers):
        self.servers = servers
        self.waits = []  # of good clients, in seconds
        self.faults = []
        self.is_late = threading.Event()  # the good clients end
        self.is_over = threading.Event()  # the others end, and no good client waits for one

    def good_client(self):
        """Asks, chooses and asks, or chooses a server that does not exist and asks."""
        index = random.choice((None, *range(len(self.servers) + 1)))
        begin = time.monotonic()
        client = Client(b"" if index is None else choose(index), ASK)
        if index == len(self.servers):
            assert client.answer() == REFUSAL
        answer = client.answer()
        assert answer["defaultUrl"] == self.servers, answer
        assert index in (None, len(self.servers), answer["confDefaultIndex"]), (index, answer)
        client.socket.close()
        self.waits.append(time.monotonic() - begin)
        time.sleep(random.uniform(0, 0.02))

    def leaver(self):
        Client(ASK[:random.randrange(len(ASK) + 1)]).socket.close()
        time.sleep(random.uniform(0, 0.1))

    def hostile_client(self):
        """Sends what a fuzzer would, up to a few MiB, and reads nothing."""
        client = Client()
        client.socket.settimeout(0.3)
        try:
            client.socket.sendall(random.choice(HOSTILE_BYTES) * random.choice((1, 100, 10000)))
        except (TimeoutError, ConnectionError):
            pass  # the daemon may drop it
        time.sleep(random.uniform(0, 0.5))

    def start(self, work, end):
        def repeat():
            try:
                while not end.is_set():
                    work()
            except Exception as error:  # pylint: disable=broad-exception-caught
                self.faults.append(f"{work.__name__}: {error!r}")
        thread = threading.Thread(target=repeat, daemon=True)
        thread.start()
        return thread

    def run(self, seconds, running):
        """Returns the resident memory at each second, in KiB."""
        good = [self.start(self.good_client, self.is_late) for _ in range(4)]
        others = [self.start(work, self.is_over)
                  for work in (self.leaver, self.leaver, self.hostile_client)]
        samples = []
        while len(samples) < seconds and not self.faults:
            time.sleep(1)
            samples.append(resident_kib(running.process))
        for threads, end in ((good, self.is_late), (others, self.is_over)):
            end.set()
            for thread in threads:
                thread.join(2 * DEADLINE)
                assert not thread.is_alive(), "a client hangs"
        return samples


def main(seconds):
    site = subprocess.check_output([TLS_SITE, "start", SITE], text=True)
    soak = Soak([*re.findall("=(.*)", site), "https://127.0.0.1:1"])
    daemon.configure({"defaultUrl": soak.servers})
    with daemon.Daemon() as running:
        daemon.poll(lambda: "Http Status Code Attribute" in daemon.log())
        descriptors = pathlib.Path(f"/proc/{running.process.pid}/fd")
        before = len(os.listdir(descriptors))
        samples = soak.run(seconds, running)
        subprocess.run([TLS_SITE, "stop", SITE], check=True)
        assert not soak.faults, soak.faults
        assert served()["type"] == "5"
        daemon.poll(lambda: len(os.listdir(descriptors)) <= before, SETTLE_SECONDS)
    # The first third warms the heap up. What an attack takes goes back to the system with a delay,
    # so peaks say nothing.
    third = seconds // 3
    growth = min(samples[-third:]) - min(samples[third:-third])
    wait = max(soak.waits)
    print("| What | Seen | Bound |", "|---|---|---|", sep="\n")
    print(f"| Requests of good clients, each answer right | {len(soak.waits)} | |")
    print(f"| Slowest answer, seconds | {wait:.2f} | {MAX_WAIT_SECONDS} |")
    print(f"| Growth of the resident memory, KiB | {growth} | {MAX_GROWTH_KIB} |")
    return 0 if growth <= MAX_GROWTH_KIB and wait <= MAX_WAIT_SECONDS else 1


if __name__ == "__main__":
    sys.exit(main(int(sys.argv[1])))
