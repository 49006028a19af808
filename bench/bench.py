"""Measures the daemon beside its rivals; `bench` runs it in a sandbox."""

import argparse
import collections
import contextlib
import glob
import json
import os
import pathlib
import re
import statistics
import subprocess
import sys
import time

TOP = pathlib.Path(__file__).parents[1]
sys.path.insert(0, str(TOP / "tests"))
import daemon  # pylint: disable=wrong-import-position
import report  # pylint: disable=wrong-import-position
from daemon import BIN, LOG, SOCKET  # pylint: disable=wrong-import-position

WORK = os.environ["TMPDIR"]
os.environ["PATH"] += ":/usr/sbin"  # where an ordinary user does not look
ROUNDS, REQUESTS = 31, 500
START_ROUNDS, LINE_ROUNDS, LIST_ROUNDS = 41, 21, 5
SERVERS = 2, 125, 250, 500, 750, 1000
WARM_UP, GROWTH_REQUESTS = 2000, 100000
SETTLE_SECONDS, IDLE_SECONDS = 3, 25
SHORT_TEXT, LONG_TEXT = 20, 200  # bytes in a log line: about a request, about an answer


def numbers(program, *arguments):
    done = subprocess.run([f"{BIN}/bench-{program}", *map(str, arguments)], text=True,
                          stdout=subprocess.PIPE, check=True, timeout=120)
    return [float(line) for line in done.stdout.split()]


def configure(servers):
    daemon.configure({"defaultUrl": [f"https://127.0.0.1:1/{number:04}"
                                     for number in range(servers)]})


@contextlib.contextmanager
def running(*command, ready=None, **options):
    """The process, once it has printed a line, or made the file when one is named."""
    with subprocess.Popen([str(part) for part in command],
                          stdout=None if ready else subprocess.PIPE, **options) as process:
        try:
            if ready:
                daemon.poll(lambda: os.path.exists(ready))
            else:
                assert process.stdout.readline()
            yield process
        finally:
            process.kill()


def request_lines():
    """The lengths of the lines that one request adds to the log, and the answer."""
    [answer] = daemon.ask()
    lines = daemon.poll(lambda: re.findall(
        rb"(?:.*(?:recv client data|byteArray|send data).*\n){3}", pathlib.Path(LOG).read_bytes()))
    return [len(line) + 1 for line in lines[-1].splitlines()], answer


def bus(name, *command):
    """A bus with our service on it; nothing where it does not run."""
    address = f"unix:path={WORK}/{name}"
    stack = contextlib.ExitStack()
    try:
        stack.enter_context(running(*command, f"--address={address}", ready=f"{WORK}/{name}",
                                    stderr=subprocess.DEVNULL))
        stack.enter_context(running(f"{BIN}/bench-dbus", "service", address,
                                    stderr=subprocess.DEVNULL))
    except (AssertionError, OSError):
        stack.close()
        return None
    return stack, address


def start_broker():
    """Handed its listening socket as a service manager would."""
    return bus("broker", sys.executable, "-c", BROKER)


BROKER = """
import os, socket, sys
listener = socket.socket(socket.AF_UNIX)
listener.bind(sys.argv[1].split("path=")[1])
listener.listen()
os.dup2(listener.fileno(), 3)
os.set_inheritable(3, True)
os.environ.update(LISTEN_FDS="1", LISTEN_PID=str(os.getpid()))
os.execvp("dbus-broker-launch", ["dbus-broker-launch", "--scope", "user", "--config-file",
                                 "/usr/share/dbus-1/session.conf"])
"""


def start_nginx(answer):
    configuration = f"""
user root; daemon off; master_process off; pid {WORK}/nginx.pid; events {{}}
http {{
    access_log /var/log/nginx-access.log; keepalive_requests 100000000;
    client_body_temp_path {WORK}/body; proxy_temp_path {WORK}/proxy;
    fastcgi_temp_path {WORK}/fastcgi; uwsgi_temp_path {WORK}/uwsgi; scgi_temp_path {WORK}/scgi;
    server {{
        listen unix:{WORK}/nginx;
        default_type application/json;
        location / {{ return 200 '{json.dumps(answer, separators=(",", ":"))}'; }}
    }}
}}"""
    path = pathlib.Path(WORK, "nginx.conf")
    path.write_text(configuration, encoding="utf-8")
    return running("nginx", "-c", path, "-e", f"{WORK}/nginx-error.log", ready=f"{WORK}/nginx")


def in_turn(rounds, **measures):
    """The medians of what the measures give, one after the other in each round."""
    seen = collections.defaultdict(list)
    for _ in range(rounds):
        for name, measure in measures.items():
            seen[name].append(measure())
    return {name: [statistics.median(column) for column in zip(*rows)]
            for name, rows in seen.items()}


def measure_requests():
    with contextlib.ExitStack() as stack:
        stack.enter_context(daemon.Daemon())
        lengths, answer = request_lines()
        floor = f"{WORK}/floor"
        stack.enter_context(running(f"{BIN}/bench-floor", floor,
                                    os.path.dirname(LOG) + "/floor.log", *lengths, ready=floor))
        stack.enter_context(start_nginx(answer))
        measures = {
            "daemon": lambda: numbers("client", "frames", SOCKET, REQUESTS),
            "floor": lambda: numbers("client", "frames", floor, REQUESTS),
            "nginx": lambda: numbers("client", "http", f"{WORK}/nginx", REQUESTS),
        }
        for name, started in (("dbus-daemon", bus("bus", "dbus-daemon", "--session", "--nofork",
                                                  "--nopidfile", "--nosyslog")),
                              ("dbus-broker", start_broker())):
            if started:
                stack.enter_context(started[0])
                measures[name] = lambda address=started[1]: numbers("dbus", "call", address,
                                                                    REQUESTS)
        assert "dbus-daemon" in measures, "no private bus"
        trips = in_turn(ROUNDS, **measures)
        return {name: value for name, [value] in trips.items()}


def measure_lines():
    path = os.path.dirname(LOG) + "/line.log"
    seen = in_turn(LINE_ROUNDS, short=lambda: numbers("log", "line", path, 4000, SHORT_TEXT),
                   long=lambda: numbers("log", "line", path, 4000, LONG_TEXT))
    scrambled = numbers("log", "scramble")
    return {"lines": seen, "scramble": dict(zip(map(int, scrambled[::2]), scrambled[1::2]))}


def measure_crowds():
    with daemon.Daemon():
        pipelined = in_turn(3, **{str(depth): lambda depth=depth: numbers(
            "client", "pipelined", SOCKET, 6400, depth) for depth in (1, 8, 64)})
        waiting = in_turn(3, **{str(number): lambda number=number: numbers(
            "client", "waiting", SOCKET, 500, number) for number in (1, 10, 30)})
    return {"pipelined": pipelined, "waiting": waiting}


def measure_start():
    minimal = f"{WORK}/minimal"
    return in_turn(START_ROUNDS,
                   daemon=lambda: numbers("client", "start", SOCKET, f"{BIN}/quillon"),
                   minimal=lambda: numbers("client", "start", minimal, f"{BIN}/bench-bareqt",
                                           "server", minimal))


def memory(pid):
    text = pathlib.Path(f"/proc/{pid}/smaps_rollup").read_text(encoding="ascii")
    return {name: int(re.search(rf"^{name}:\s+(\d+) kB", text, re.M)[1]) for name in ("Rss", "Pss")}


def wakeups(pid):
    return sum(int(count) for path in glob.glob(f"/proc/{pid}/task/*/status")
               for count in re.findall(r"ctxt_switches:\s+(\d+)",
                                       pathlib.Path(path).read_text(encoding="ascii")))


def measure_idle():
    site = subprocess.run([TOP / "scripts/tls-site", "start", f"{WORK}/site"], text=True,
                          stdout=subprocess.PIPE, check=True)
    url = re.search("OK_URL=(.*)", site.stdout)[1]
    daemon.configure({"defaultUrl": [url]})
    with daemon.Daemon() as ours, running(f"{BIN}/bench-bareqt", "network",
                                          url + "/v1/harbor/health") as bare:
        daemon.poll(lambda: "Http Status Code Attribute  200" in daemon.log())
        time.sleep(SETTLE_SECONDS)
        pids = {"daemon": ours.process.pid, "bare": bare.pid}
        before = {name: wakeups(pid) for name, pid in pids.items()}
        time.sleep(IDLE_SECONDS)
        return {name: {"wakeups": wakeups(pid) - before[name], **memory(pid)}
                for name, pid in pids.items()}


def measure_growth():
    with daemon.Daemon() as ours:
        daemon.poll(lambda: "Http Status" in daemon.log())  # the first probe is no request
        for _ in range(2):  # clients, as the second is the first one after another
            numbers("client", "frames", SOCKET, WARM_UP // 2)
        before = memory(ours.process.pid)["Rss"]
        numbers("client", "frames", SOCKET, GROWTH_REQUESTS - WARM_UP)
        return memory(ours.process.pid)["Rss"] - before


def measure_list():
    """For each length of the list: microseconds and KiB."""
    def measure(servers):
        configure(servers)
        with daemon.Daemon() as ours:
            return *numbers("client", "frames", SOCKET, 500), memory(ours.process.pid)["Rss"]
    seen = in_turn(LIST_ROUNDS, **{str(servers): lambda servers=servers: measure(servers)
                                   for servers in SERVERS})
    return {int(servers): values for servers, values in seen.items()}


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--json", action="store_true")
    parser.add_argument("--plot")
    arguments = parser.parse_args()

    os.sched_setaffinity(0, {max(os.sched_getaffinity(0))})
    configure(2)
    figures = {"requests": measure_requests(), **measure_lines(), **measure_crowds(),
               "start": measure_start(), "growth": measure_growth(), "list": measure_list(),
               "idle": measure_idle()}
    bounds = report.bounds(figures)
    if arguments.json:
        json.dump({"bounds": [bound._asdict() for bound in bounds], **figures}, sys.stdout,
                  indent=1)
    else:
        report.print_tables(bounds, figures)
    if arguments.plot:
        pathlib.Path(arguments.plot).write_text(report.plot(figures), encoding="utf-8")
    return 0 if all(bound.met for bound in bounds) else 1


if __name__ == "__main__":
    sys.exit(main())
