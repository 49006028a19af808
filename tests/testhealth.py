import unittest

from daemon import Case, Daemon, Site, ask, choose, configure, log, poll, stays

TIMEOUT = "warning: checkNetworkTimeout()"


def status_line(status):
    return f" --------Http Status Code Attribute  {status} --------"


def start(*sites):
    configure({"defaultUrl": [site.url for site in sites]})
    return Daemon()


class Outcome(Case):
    def test_statuses(self):
        site = Site((0, 200), (0, 503), (0, 404))
        with start(site):
            for status in (200, 503, 404):
                poll(lambda s=status: status_line(s) in log())
                self.assertEqual(f"warning: http nStatus  {status}" in log(), status != 200)
                ask(choose(0))
            self.assertEqual(site.paths[0], "/v1/harbor/health")


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



if __name__ == "__main__":
    unittest.main()
