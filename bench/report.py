"""What the figures of a run come to: bounds, tables and a plot."""

import collections
import statistics

Bound = collections.namedtuple("Bound", "figure seen must aim met")
MAX_OFF_LINE = 0.15  # of the value: a step in the cost of a list would be larger


def at_most(figure, seen, must, aim=None):
    return Bound(figure, round(seen, 3), must, aim, seen <= must)


def off_line(points):
    """How far, as a part of its value, a point lies off the straight line that fits best."""
    slope, intercept = statistics.linear_regression(*zip(*points))
    return max(abs(y / (intercept + slope * x) - 1) for x, y in points)


def bounds(figures):
    trips, idle, start = figures["requests"], figures["idle"], figures["start"]
    [handler, bare] = figures["lines"]["short"]
    times = [(servers, time) for servers, (time, _) in figures["list"].items()]
    return [
        at_most("request over the floor", trips["daemon"] / trips["floor"], 1.35, 1.15),
        at_most("request over D-Bus", trips["daemon"] / trips["dbus-daemon"], 0.45, 0.35),
        at_most("log line over its system calls", handler / bare, 1.25, 1.1),
        at_most("idle RSS over a bare Qt process", idle["daemon"]["Rss"] / idle["bare"]["Rss"],
                0.95, 0.9),
        at_most("RSS growth after 2,000 of 100,000 requests, KiB", figures["growth"], 0),
        at_most("wake-ups in 25 idle seconds", idle["daemon"]["wakeups"], 0),
        at_most("exec to accepted connection over a minimal Qt server",
                start["daemon"][0] / start["minimal"][0], 1.25, 1.1),
        at_most("request with 2 to 1,000 servers, off a straight line", off_line(times),
                MAX_OFF_LINE),
    ]


def table(heads, rows):
    rows = [[str(cell) for cell in row] for row in rows]
    widths = [max(map(len, column)) for column in zip(heads, *rows)]

    def line(cells):
        return "| " + " | ".join(cell.ljust(width) for cell, width in zip(cells, widths)) + " |"
    print(line(heads), "|" + "|".join("-" * (width + 2) for width in widths) + "|",
          *map(line, rows), "", sep="\n")


def other_rows(figures):
    for name, [time] in ((name, [time]) for name, time in figures["requests"].items()):
        yield f"request, round trip: {name}", f"{time:.1f} us"
    for name, (handler, bare) in figures["lines"].items():
        yield f"{name} log line: handler, system calls", f"{handler:.2f}, {bare:.2f} us"
    for size, speed in figures["scramble"].items():
        yield f"scrambling of {size} bytes", f"{speed:.0f} MB/s"
    for depth, [rate] in figures["pipelined"].items():
        yield f"{depth} frames in one write", f"{rate:.0f} requests/s"
    for number, (trip, served) in figures["waiting"].items():
        yield (f"{number} waiting: a request, one of them served and let go",
               f"{trip:.1f}, {served:.0f} us")
    for name, seen in figures["idle"].items():
        yield (f"idle: {name}",
               f"{seen['Rss']} KiB RSS, {seen['Pss']} KiB PSS, {seen['wakeups']} wake-ups")
    for name, (accepted, answered) in figures["start"].items():
        yield (f"start of {name}: to a connection, to an answer",
               f"{accepted / 1000:.1f}, {answered / 1000:.1f} ms")
    for servers, (time, resident) in figures["list"].items():
        yield f"{servers} servers", f"{time:.1f} us, {resident} KiB RSS"


def print_tables(seen, figures):
    table(["Figure", "Seen", "Must", "Aim", ""],
          [(bound.figure, bound.seen, bound.must, "" if bound.aim is None else bound.aim,
            "met" if bound.met else "MISSED") for bound in seen])
    table(["Besides", "Seen"], other_rows(figures))


def text(x, y, content, anchor="start"):
    return f'<text x="{x:.0f}" y="{y:.0f}" text-anchor="{anchor}">{content}</text>'


def bars(trips):
    """One bar for each contender."""
    yield text(10, 25, "One configuration request, round trip in microseconds")
    for place, (name, time) in enumerate(sorted(trips.items(), key=lambda trip: trip[1])):
        y, width = 40 + 28 * place, 420 * time / max(trips.values())
        color = "#c33" if name == "daemon" else "#89a"
        yield text(105, y + 15, name, "end")
        yield f'<rect x="110" y="{y}" width="{width:.0f}" height="20" fill="{color}"/>'
        yield text(115 + width, y + 15, f"{time:.1f}")


def curve(points, top, title, unit):
    """The values over the number of servers, from zero."""
    left, width, height = 110, 420, 130
    largest = max(value for _, value in points)
    places = [(left + width * servers / points[-1][0], top + 20 + height * (1 - value / largest))
              for servers, value in points]
    yield text(10, top, title)
    yield (f'<path d="M{left} {top + 20}v{height}h{width}" fill="none" stroke="#89a"/>'
           f'<polyline points="{" ".join(f"{x:.0f},{y:.0f}" for x, y in places)}" fill="none" '
           'stroke="#c33"/>')
    for (x, y), (servers, value) in zip(places, points):
        yield f'<circle cx="{x:.0f}" cy="{y:.0f}" r="3" fill="#c33"/>'
        yield text(x, top + 36 + height, servers, "middle")
    yield text(left - 5, top + 25, f"{largest:.0f} {unit}", "end")


def plot(figures):
    times = [(servers, time) for servers, (time, _) in figures["list"].items()]
    memory = [(servers, resident) for servers, (_, resident) in figures["list"].items()]
    parts = [*bars(figures["requests"]),
             *curve(times, 230, "One request, by the number of servers", "us"),
             *curve(memory, 440, "Resident memory, by the number of servers", "KiB")]
    return ('<svg xmlns="http://www.w3.org/2000/svg" width="620" height="620" '
            'font-family="sans-serif" font-size="13">\n'
            '<rect width="100%" height="100%" fill="white"/>\n' + "\n".join(parts) + "\n</svg>\n")
