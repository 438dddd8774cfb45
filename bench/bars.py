"""What is measured, beside what, and how good it has to be: one row for each comparison."""
from typing import NamedTuple, Optional


class Bar(NamedTuple):
    """A limit of the ratio, or of the figure itself where there is nothing beside it."""

    kind: str  # "at most" or "at least"
    limit: float

    def is_met_by(self, value):
        return value <= self.limit if self.kind == "at most" else value >= self.limit


class Row(NamedTuple):
    """Names are those of the benchmark and of its counters. The ratio is that of ours to what it is
    compared with; where the bar says "at least" it is the other way round, how many times as fast
    ours is."""

    group: str
    name: str
    benchmark: str
    ours: str
    beside: Optional[str] = None
    bar: Optional[Bar] = None
    unit: str = "s"
    tool: Optional[str] = None  # what the machine must have for this comparison
    is_ours: bool = True  # False: the figure of something else, to compare with


def at_most(limit):
    return Bar("at most", limit)


def at_least(limit):
    return Bar("at least", limit)


LAUNCHERS = (
    ("library", "kiv_system_internal", at_most(1.1)),
    ("fork", "fork + execv", None),
    ("vfork", "vfork + execv", None),
    ("system", "system", None),
)
HELD = ((10, "10 MB"), (1024, "1 GB"), (4096, "4 GB"))
LADDERS = (("", "trees"), ("/ladder", "ladders"), ("/reversed_ladder", "reversed ladders"))
CHECKED = (
    ("kiv_tree_check", "check", at_most(1.5)),
    ("ladder", "check of a ladder", None),
    ("children_first", "check, children first", None),
    ("ladder_children_first", "ladder, children first", None),
    ("ladder_mixed", "ladder, mixed", None),
)
LINES = ((10_000, at_most(2)), (100_000, at_most(2)), (1_000_000, at_most(2.5)))
MERGED = ((100, 40), (500, 40), (20, 1000))
TRANSPORTS = (
    ("cmi/blocking_server", "cmi", at_most(1.2), at_most(1.5), at_most(0.6)),
    ("ovra/blocking_server", "ovra", at_most(1.2), at_most(1.5), at_most(0.6)),
    ("cmi/polling_server", "cmi, polling server", None, None, None),
)

ROWS = (
    *(
        Row("launch", f"{name}, {size} held, over posix_spawn", f"launch/held_MB/{held}", ours,
            "posix_spawn", bar, is_ours=ours == "library")
        for held, size in HELD
        for ours, name, bar in LAUNCHERS
    ),
    *(
        Row("conversion", f"{ours}, over a linear pass", "convert/nodes/20000", ours,
            "linear_pass", at_most(1.9))
        for ours in ("ntoh_array_tree", "hton_array_tree")
    ),
    *(
        Row("check and load", f"{name}, {count:,} nodes, over reading all", f"check/nodes/{count}",
            ours, "read_all", bar if count == 20_000 else None)
        for count in (1_000, 20_000, 60_000)
        for ours, name, bar in CHECKED
    ),
    *(
        Row("check and load", f"a node of {count:,} in {name}, over 1,000",
            f"check/by_size{kind}", str(count), "1000", at_most(1.5))
        for kind, name in LADDERS
        for count in (20_000, 60_000)
    ),
    Row("check and load", "shell with 20,000 nodes, start to end", "load/nodes/20000", "shell",
        bar=at_most(0.030)),
    Row("check and load", "shell with 20,000 nodes, over reading the file", "load/nodes/20000",
        "shell", "read_once"),
    Row("check and load", "a process that does nothing, over the same", "load/nodes/20000",
        "trivial_process", "read_once", is_ours=False),
    Row("dump", "20,000 nodes to /dev/null, over printf per field", "dump/null/nodes/20000",
        "display_array_tree", "printf_per_field", at_most(0.15)),
    Row("dump", "20,000 nodes into a pipe, over printf per field", "dump/pipe/nodes/20000",
        "display_array_tree", "printf_per_field", at_most(0.25)),
    *(
        Row("merge", f"a node of {trees} trees of {nodes}, over 100 of 40", "merge/by_number",
            f"{trees}x{nodes}", "100x40", at_most(1.5))
        for trees, nodes in MERGED[1:]
    ),
    *(
        Row("merge", f"{trees} trees of {nodes} nodes, over reading all",
            f"merge/nodes/{trees}/{nodes}", "merge", "read_all", at_most(20))
        for trees, nodes in MERGED
    ),
    Row("capture", "10 MB in pieces of 40 bytes, over snprintf", "capture/10_MB", "kiv_buf_printf",
        "snprintf", at_most(1.1)),
    *(
        Row("format", f"{name} as hex, over snprintf per byte", f"format/hex/bytes/{size}",
            "print_hex_to_str", "snprintf_per_byte", at_most(0.05))
        for size, name in ((8, "world-wide names"), (500, "500 bytes"))
    ),
    *(
        Row("diff", f"{count:,} lines of configuration, over memchr",
            f"diff/configuration/lines/{count}", "kiv_diff_to_str", "memchr_pass", bar)
        for count, bar in LINES
    ),
    *(
        Row("diff", f"{count:,} flat lines, over memchr", f"diff/flat/lines/{count}",
            "kiv_diff_to_str", "memchr_pass")
        for count, bar in LINES
    ),
    *(
        Row("diff", f"{count:,} equal lines, over memcmp", f"diff/equal/lines/{count}",
            "kiv_is_diff_same", "memcmp", at_most(2))
        for count, bar in LINES
    ),
    *(
        Row("diff", f"kivctl, {count:,} lines, over diff -u", f"diff/process/lines/{count}",
            "kivctl", "diff", bar, tool="diff")
        for count, bar in ((100_000, at_most(0.6)), (1_000_000, at_most(0.4)))
    ),
    Row("diff", "kivctl, 100,000 lines shuffled, over git diff", "diff/process/shuffled/100000",
        "kivctl", "git", at_most(0.1), tool="git"),
    Row("interactive session", "5,000 exchanges of 60 bytes, over pipes",
        "session/marker/reply_bytes/60", "library", "bare pipes", at_most(1.3)),
    Row("interactive session", "a reply of 50 MB, over pipes",
        "session/marker/reply_bytes/50000000", "library", "bare pipes", at_most(2)),
    Row("interactive session", "by quiet, over its 30 ms", "session/quiet", "library", "quiet",
        at_most(1.01)),
    *(
        Row("interactive session", f"500 exchanges, expect ({terminal} terminal) over ours",
            f"session/expect/{terminal}_terminal", "library", "expect", at_least(25),
            tool="expect")
        for terminal in ("default", "raw")
    ),
    Row("interactive session", "500 exchanges, over pexpect", "session/pexpect", "library",
        "pexpect", tool="pexpect"),
    *(
        row
        for benchmark, name, over_bare, late, over_bus in TRANSPORTS
        for row in (
            Row("transport", f"200 by {name}, over a bare connection", f"transport/{benchmark}",
                "library", "bare", over_bare),
            Row("transport", f"{name}, 99th percentile, over bare", f"transport/{benchmark}",
                "library p99", "bare p99", late),
            Row("transport", f"{name}, over sd-bus", f"transport/{benchmark}", "library p50",
                "sd_bus p50", over_bus, tool="libsystemd"),
        )
    ),
    Row("daemon", "1,000 clients, 99th percentile over median", "daemon/clients/1000", "p99",
        "median", at_most(3)),
    Row("daemon", "answers that were lost", "daemon/clients/1000", "lost", bar=at_most(0),
        unit=""),
    Row("daemon", "answers that were wrong", "daemon/clients/1000", "wrong", bar=at_most(0),
        unit=""),
    Row("daemon", "memory after a million requests, over before", "daemon/memory", "after",
        "before", at_most(1.1), unit="kB"),
    Row("daemon", "a node of 500 trees merged, over 100", "daemon/merge", "500x40", "100x40",
        at_most(1.5)),
    *(
        Row("lab", f"Enter to prompt, {where}, over a bare connection", f"lab/enter/{benchmark}",
            "shell", "bare", at_most(3))
        for benchmark, where in (("terminal", "at a terminal"), ("pipes", "over pipes"))
    ),
    Row("lab", "start to prompt, 5,000 nodes", "lab/start/nodes/5000", "shell",
        bar=at_most(0.020)),
    Row("lab", "10,000 lines of configuration in a session", "lab/configure/lines/10000",
        "session", bar=at_most(1)),
    Row("lab", "100,000 lines of configuration shown, over a pipe", "lab/show/lines/100000",
        "shell", "copy", at_most(10)),
)
