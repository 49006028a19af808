import os
import select
import socket
import subprocess
import time

from daemon import Case, Daemon, Site, ask, choose, configure, log, poll, stays

TIMEOUT = "warning: checkNetworkTimeout()"
CLOCK_OF_A_FILE = """
#include <sys/stat.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>
int clock_gettime(clockid_t clock, struct timespec *now)
{
    struct stat file;
    if (clock != CLOCK_REALTIME || stat("/tmp/clock", &file) != 0)
        return (int)syscall(SYS_clock_gettime, clock, now);
    *now = file.st_mtim;
    return 0;
}"""


def status_line(status):
    return f" --------Http Status Code Attribute  {status} --------"


def start(*sites, **options):
    configure({"defaultUrl": [site.url for site in sites]})
    return Daemon(**options)


class Slow(Case):
    """Each of these takes more than the 8 s of a check."""

    def test_success_ends_the_check(self):
        with start(Site((0, 200))):
            poll(lambda: status_line(200) in log())
            stays(lambda: TIMEOUT not in log(), 9)

    def test_late_reply_is_ignored(self):
        with start(Site((9, 200))):
            stays(lambda: TIMEOUT not in log(), 7)
            poll(lambda: TIMEOUT in log())
            stays(lambda: "Status Code" not in log() and log().count(TIMEOUT) == 1, 9)

    def test_choice_starts_anew(self):
        first, second = Site((5, 204)), Site((60, 200))
        with start(first, second):
            stays(lambda: TIMEOUT not in log(), 2)
            ask(choose(1))
            # The first probe's reply is judged as the second's, and ends its check.
            poll(lambda: "warning: http nStatus  204" in log())
            ask(choose(1))
            stays(lambda: TIMEOUT not in log(), 7)
            poll(lambda: TIMEOUT in log(), 3)

    def test_clock_jumps(self):
        """The log's age follows the clock, a check does not."""
        clock = os.environ["TMPDIR"] + "/clock"
        subprocess.run(["cc", "-xc", "-shared", "-fPIC", "-o", clock + ".so", "-"], check=True,
                       input=CLOCK_OF_A_FILE.replace("/tmp/clock", clock), text=True)
        begin = time.monotonic()
        with start(Site((60, 200)), env={"LD_PRELOAD": clock + ".so",
                                         "ASAN_OPTIONS": "verify_asan_link_order=0"}):
            for years in (10, -10):
                os.close(os.open(clock, os.O_CREAT))
                os.utime(clock, (0, time.time() + years * 365 * 86400))
                ask()
                self.assertEqual(log().count("\n"), 1, "each line finds a log of another time")
            poll(lambda: TIMEOUT in log())
            self.assertTrue(7.5 < time.monotonic() - begin < 9.5)

    def test_reply_of_a_minute_is_ended(self):
        """Also one that keeps the toolkit busy with what is no reply yet."""
        good = Site((0, 200))
        with socket.create_server(("127.0.0.1", 0)) as server:
            configure({"defaultUrl": [f"http://127.0.0.1:{server.getsockname()[1]}", good.url]})
            with Daemon(), server.accept()[0] as peer:
                begin = time.monotonic()
                self.assertTrue(peer.recv(65536))
                peer.setblocking(False)
                while not select.select([peer], [], [], 0)[0]:
                    if select.select([], [peer], [], 1)[1]:
                        peer.send(b"HTTP/1.1 100 C\r\n\r\n" * 1000)
                self.assertTrue(58 < time.monotonic() - begin < 63)
                poll(lambda: 'TimeoutError return "health"' in log())
                ask(choose(1))
                poll(lambda: status_line(200) in log())
