"""What the benchmarks share: the lab around them, the table that they print, processes seen from outside."""

import contextlib
import json
import os
import re
import signal
import statistics
import subprocess
import sys
import tempfile
import threading
import time
import urllib.request

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
IDENTIFIER = "com.velmora.Client"
TIMEOUT_SECONDS = 30


# --- The lab ----------------------------------------------------------------------------------------------------------

def in_lab(build, targets=(), endpoints=None, arguments=()):
    """Builds what is needed and runs the calling script again inside a lab with a virtual display; returns there.

    `endpoints` is how many the service has; by default those of the lab's seed."""
    if "VELMORA_LAB" in os.environ:
        return
    build = os.path.abspath(build)
    subprocess.run(["cmake", "--build", build, "--target", "velmora", *targets], stdout=subprocess.DEVNULL, check=True)
    lab = os.path.join(ROOT, "lab", "lab")
    subprocess.run([lab, "check"], stdout=sys.stderr, check=True)
    with tempfile.TemporaryDirectory(prefix="velmora-bench-") as folder:
        seed = write_seed(os.path.join(folder, "seed.txt"), endpoints)
        done = subprocess.run([lab, "run", "--display", "virtual", "--seed", seed, "--", os.path.abspath(sys.argv[0]), build,
                               *arguments], check=False)
    sys.exit(done.returncode)


def write_seed(path, endpoints):
    """The lab's own seed with as many endpoints, the nearest ones first; more are made up, near and in turn from each
    country."""
    with open(os.path.join(ROOT, "lab", "seed.txt"), encoding="utf-8") as file:
        lines = file.read().splitlines()
    known = [line.split(maxsplit=6) for line in lines if line.startswith("endpoint ")]
    known = [words for words in known if words[4] == "accepts"]
    if endpoints is not None:
        known.sort(key=lambda words: int(words[5].removesuffix("ms")))
        for number in range(len(known), endpoints):
            known.append(["endpoint", str(1000 + number), known[number % 50][2], f"198.19.0.{number % 250 + 1}",
                          "accepts", "5ms", f"Location {number}"])
        ids = {words[1] for words in known[:endpoints]}
        lines = [line for line in lines if line.startswith("account ")]
        lines += [" ".join(words) for words in known[:endpoints]]
        lines.append(" ".join(["favorite", "demo", *sorted(ids)[:2]]))
    with open(path, "w", encoding="utf-8") as file:
        file.write("\n".join(lines) + "\n")
    return path


def labctl(*words):
    return subprocess.run(["labctl", *words], capture_output=True, text=True, check=True).stdout


def until(what, look, seconds=TIMEOUT_SECONDS):
    end = time.monotonic() + seconds
    while not (seen := look()):
        if time.monotonic() > end:
            sys.exit(f"{what}: not within {seconds} s")
        time.sleep(0.02)
    return seen


def sign_in():
    """Puts into the keyring what the client keeps after a sign-in."""
    account = {"username": os.environ["VELMORA_LAB_USER"], "password": os.environ["VELMORA_LAB_PASSWORD"]}
    request = urllib.request.Request(os.environ["VELMORA_LAB_API"] + "token", json.dumps(account).encode(),
                                     {"Content-Type": "application/json"})
    with urllib.request.urlopen(request) as reply:
        token = json.load(reply)["token"]
    for key, text in (("token", token), ("username", account["username"])):
        subprocess.run(["labctl", "as-user", "secret-tool", "store", "--label", key, "service", IDENTIFIER, "key", key,
                        "xdg:schema", f"{IDENTIFIER}.Item"], input=text, text=True, check=True)


def sign_out():
    subprocess.run(["labctl", "as-user", "secret-tool", "clear", "service", IDENTIFIER], check=False)


# --- Processes --------------------------------------------------------------------------------------------------------

class Program:
    """A program on the lab's desktop. What it prints is kept with the time of each line."""

    def __init__(self, *command, accessible=False):
        environment = dict(os.environ, QT_FORCE_STDERR_LOGGING="1")
        if not accessible:
            # The lab wants each program accessible from its start; a desktop does so on demand.
            environment.pop("QT_LINUX_ACCESSIBILITY_ALWAYS_ON", None)
        self.process = subprocess.Popen(["labctl", "as-user", *command], env=environment, text=True,
                                        stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.lines = []
        self.news = threading.Condition()
        for channel in (self.process.stdout, self.process.stderr):
            threading.Thread(target=self._read, args=(channel,), daemon=True).start()

    def _read(self, channel):
        for line in channel:
            with self.news:
                self.lines.append((time.monotonic(), line.strip().removeprefix("velmora: ")))
                self.news.notify_all()

    @property
    def pid(self):
        return self.process.pid

    def mark(self):
        with self.news:
            return len(self.lines)

    def wait_for_line(self, wanted, mark=0, seconds=TIMEOUT_SECONDS):
        """When the first such line since `mark` arrived."""
        def found():
            return next((when for when, line in self.lines[mark:] if line == wanted), None)
        with self.news:
            if not self.news.wait_for(found, seconds):
                sys.exit(f"“{wanted}” is not printed within {seconds} s; the last lines: {self.lines[-5:]}")
            return found()

    def end(self):
        self.process.send_signal(signal.SIGKILL)
        self.process.wait()


def keys(*names):
    """Types into the window with the focus."""
    subprocess.run(["xdotool", "key", "--delay", "30", *names], check=True)


def open_home(client):
    """Waits for the home screen's rows, chooses the first favourite and leaves the focus where it began, at the connect button, which
    the space bar presses."""
    until("the rows", lambda: "favorite" in labctl("http"))
    windows = subprocess.run(["xdotool", "search", "--sync", "--onlyvisible", "--pid", str(client.pid)],
                             capture_output=True, text=True, check=True).stdout.split()
    subprocess.run(["xdotool", "windowactivate", "--sync", windows[-1]], check=True)
    keys("Tab", "Down", "shift+Tab")
    return windows[-1]


@contextlib.contextmanager
def running(*command, accessible=False):
    program = Program(*command, accessible=accessible)
    try:
        yield program
    finally:
        program.end()


def memory(pid):
    """Proportional, anonymous and resident KiB. Who else uses the same libraries changes the first, not the second."""
    with open(f"/proc/{pid}/smaps_rollup", encoding="ascii") as file:
        sizes = {name: int(size) for name, size in re.findall(r"^(\w+): +(\d+) kB", file.read(), re.MULTILINE)}
    return sizes["Pss"], sizes["Anonymous"], sizes["Rss"]


def descriptors(pid):
    return len(os.listdir(f"/proc/{pid}/fd"))


def wake_ups(pid):
    """For each thread, by name and number: how often it has gone to sleep of its own will, and the nanoseconds that it
    has run."""
    threads = {}
    for thread in os.listdir(f"/proc/{pid}/task"):
        folder = f"/proc/{pid}/task/{thread}"
        with contextlib.suppress(FileNotFoundError, ProcessLookupError):
            with open(f"{folder}/status", encoding="ascii") as file:
                status = file.read()
            with open(f"{folder}/schedstat", encoding="ascii") as file:
                ran = int(file.read().split()[0])
            name = re.search(r"^Name:\t(.*)", status).group(1)
            slept = int(re.search(r"^voluntary_ctxt_switches:\t(\d+)", status, re.MULTILINE).group(1))
            threads[f"{name}/{thread}"] = (slept, ran)
    return threads


# --- Figures ----------------------------------------------------------------------------------------------------------

median = statistics.median


class Table:
    WIDTHS = (54, 32, 20, 6, 9, 6)

    def __init__(self, bench):
        self.bench = bench
        self.met = True
        self._line("figure", "measured", "baseline", "ratio", "limit", "", "command")

    def _line(self, *cells):
        padded = [f"{cell:<{width}}" for cell, width in zip(cells, self.WIDTHS)]
        print("  ".join([*padded, cells[-1]]), flush=True)

    def add(self, figure, measured, baseline="", ratio=None, limit=None, unit="×", figure_name=""):
        """`ratio` is what the limit bounds: a quotient, or the figure itself in the unit given."""
        met = limit is None or ratio <= limit
        self.met = self.met and met
        self._line(figure, measured, baseline, "" if ratio is None else f"{ratio:.2f}",
                   "" if limit is None else f"{limit:g} {unit}", "" if limit is None else "ok" if met else "MISSED",
                   f"./dev bench {self.bench} {figure_name}".rstrip())

    def note(self, text):
        print(f"    {text}", flush=True)

    def exit(self):
        sys.exit(0 if self.met else 1)
