#!/usr/bin/env python3
"""Soak test: editor saves and kill -9 against a headless Cascader.

    bench/soak/soak.py [--saves 200] [--kills 50] [--seed N] [--binary PATH] [--keep]

Part one starts `cascader --headless` on a folder of five LESS files and
saves each one --saves times, each file with its own editor save style: in
place, truncate then write, a temporary file renamed over it, vim's (the
original renamed away, a new file written, the backup deleted) and `sed -i`.
Saves of a file are 150-250 ms apart after its log line, so Cascader's
coalescing of bursts does not hide anything. A save with no log line within
10 s is a miss, a further line for it is a double, and a CSS that does not
hold the number written by the last save is wrong.

Part two prepares a project whose files are not all at the defaults
(unchecked, compressed, CSS elsewhere), then --kills times starts Cascader,
checks that it compiles each file as set (unless the kill comes while it
starts), hands it a new folder with a second start now and then, and kill -9s
it at a random moment while another thread keeps saving, creating and
deleting LESS files. After each kill the
data file must parse and hold every folder and every setting (and every
folder handed over more than 1.5 s before the kill), and the compiler
processes must be gone.

Prints one line per style and per kill, then a summary; exits 0 when nothing
failed, 1 otherwise. Runs on a private copy of the binary, each Cascader with
its own HOME and XDG folders in a temporary folder that is removed at the end
(unless --keep). Takes about 7 minutes on two cores.
"""

import argparse
import json
import os
import queue
import random
import re
import shutil
import signal
import statistics
import subprocess
import sys
import tempfile
import threading
import time

REPO = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))

LINE_TIMEOUT = 10.0     # a save with no log line by then is a miss
SETTLE = (0.15, 0.25)   # after a save's line, before the next save of the file
HANDED_OVER_SAFE = 1.5  # a folder handed over this long before a kill must survive it
WIDTH = re.compile(r"width:\s*(\d+)px")


def less_text(number):
    # Fixed length (six digits), so that an in-place save never leaves a tail.
    return "@w: %dpx;\n.a { width: @w; }\n" % number


# ---------------------------------------------------------------- save styles

def save_in_place(path, number):
    data = less_text(number).encode()
    fd = os.open(path, os.O_WRONLY)
    try:
        os.write(fd, data)
        os.ftruncate(fd, len(data))
    finally:
        os.close(fd)


def save_truncate_then_write(path, number):
    with open(path, "w") as f:
        f.write(less_text(number))


def save_rename_over(path, number):
    folder, name = os.path.split(path)
    fd, temp = tempfile.mkstemp(dir=folder, prefix="." + name + ".", suffix=".tmp")
    with os.fdopen(fd, "w") as f:
        f.write(less_text(number))
        f.flush()
        os.fsync(f.fileno())
    os.chmod(temp, 0o644)
    os.rename(temp, path)


def save_vim(path, number):
    folder = os.path.dirname(path)
    # vim first checks that it may create files in the folder.
    probe = os.path.join(folder, "4913")
    os.close(os.open(probe, os.O_WRONLY | os.O_CREAT | os.O_EXCL, 0o644))
    os.unlink(probe)
    backup = path + "~"
    os.rename(path, backup)
    fd = os.open(path, os.O_WRONLY | os.O_CREAT | os.O_EXCL, 0o644)
    try:
        os.write(fd, less_text(number).encode())
        os.fsync(fd)
    finally:
        os.close(fd)
    os.unlink(backup)


def save_sed(path, number):
    subprocess.run(["sed", "-i", "-E", "s/^@w: [0-9]+px;/@w: %dpx;/" % number, path], check=True)


STYLES = [
    ("in place", "inplace.less", save_in_place),
    ("truncate+write", "truncate.less", save_truncate_then_write),
    ("temp+rename", "renamed.less", save_rename_over),
    ("vim", "vim.less", save_vim),
    ("sed -i", "sed.less", save_sed),
]


# ------------------------------------------------------------------ processes

def proc_stat(pid):
    """(parent pid, state, start time) of a live process, or None."""
    try:
        with open("/proc/%d/stat" % pid) as f:
            text = f.read()
    except OSError:
        return None
    fields = text[text.rindex(")") + 2:].split()
    return int(fields[1]), fields[0], fields[19]


def descendants(root):
    """Every process below root, as (pid, start time)."""
    children = {}
    for entry in os.listdir("/proc"):
        if entry.isdigit():
            stat = proc_stat(int(entry))
            if stat:
                children.setdefault(stat[0], []).append((int(entry), stat[2]))
    found, todo = [], [root]
    while todo:
        for child in children.get(todo.pop(), []):
            found.append(child)
            todo.append(child[0])
    return found


def still_running(pid, start):
    stat = proc_stat(pid)
    return stat is not None and stat[2] == start and stat[1] != "Z"


class Sandbox:
    """A user of its own: HOME, XDG folders and a private copy of the binary."""

    def __init__(self, root, name, binary):
        self.root = os.path.join(root, name)
        self.home = os.path.join(self.root, "home")
        self.data = os.path.join(self.root, "data")
        self.run = os.path.join(self.root, "run")
        for folder in (self.home, self.data, os.path.join(self.root, "config")):
            os.makedirs(folder)
        os.makedirs(self.run, mode=0o700)
        os.chmod(self.run, 0o700)
        self.binary = binary
        self.data_file = os.path.join(self.data, "Cascader app", "lessDataFile.lessData")
        self.socket = os.path.join(self.run, "cascader.socket")
        keep = {k: v for k, v in os.environ.items()
                if k in ("PATH", "LANG", "LC_ALL", "TZ", "TMPDIR", "CASCADER_WORKERS")}
        self.env = dict(keep, HOME=self.home, XDG_CONFIG_HOME=os.path.join(self.root, "config"),
                        XDG_DATA_HOME=self.data, XDG_RUNTIME_DIR=self.run)

    def path_of(self, printed):
        return self.home + printed[1:] if printed.startswith("~/") else printed


class Instance:
    """One `cascader --headless`, its log lines read by a thread."""

    live = []

    def __init__(self, sandbox, paths=(), stderr_name="stderr.txt"):
        self.sandbox = sandbox
        self.lines = queue.Queue()
        self.stderr_path = os.path.join(sandbox.root, stderr_name)
        self.stderr = open(self.stderr_path, "ab")
        self.started = time.monotonic()
        self.proc = subprocess.Popen([sandbox.binary, "--headless", *paths], env=sandbox.env,
                                     stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=self.stderr)
        Instance.live.append(self)
        self.reader = threading.Thread(target=self._read, daemon=True)
        self.reader.start()
        self.children = []

    def _read(self):
        last = None
        for raw in self.proc.stdout:
            text = raw.decode("utf-8", "replace").rstrip("\n")
            if text.startswith("    ") and last:
                last["more"].append(text[4:])
                continue
            parts = text.split("  ", 2)
            if len(parts) < 3:
                last = {"t": time.monotonic(), "file": None, "result": text, "more": [], "raw": text}
            else:
                last = {"t": time.monotonic(), "file": self.sandbox.path_of(parts[1]),
                        "result": parts[2], "more": [], "raw": text}
            self.lines.put(last)

    def next_line(self, deadline):
        try:
            return self.lines.get(timeout=max(0.0, deadline - time.monotonic()))
        except queue.Empty:
            return None

    def remember_children(self):
        # Kept before a kill: afterwards they are no longer below it.
        seen = {pid for pid, _ in self.children}
        self.children += [c for c in descendants(self.proc.pid) if c[0] not in seen]

    def kill9(self):
        self.remember_children()
        os.kill(self.proc.pid, signal.SIGKILL)
        self.proc.wait()
        self._close()

    def terminate(self, timeout=15):
        self.remember_children()
        self.proc.send_signal(signal.SIGTERM)
        try:
            code = self.proc.wait(timeout)
        except subprocess.TimeoutExpired:
            self.proc.kill()
            self.proc.wait()
            code = None
        self._close()
        return code

    def orphans(self, wait=5.0):
        """Compiler processes still running `wait` seconds after Cascader ended."""
        deadline = time.monotonic() + wait
        while True:
            left = [c for c in self.children if still_running(*c)]
            if not left or time.monotonic() > deadline:
                return left
            time.sleep(0.05)

    def _close(self):
        self.reader.join(5)
        self.stderr.close()
        if self in Instance.live:
            Instance.live.remove(self)

    @classmethod
    def end_all(cls):
        for instance in list(cls.live):
            if instance.proc.poll() is None:
                instance.remember_children()
                instance.proc.kill()
                instance.proc.wait()
            for pid, start in instance.children:
                if still_running(pid, start):
                    os.kill(pid, signal.SIGKILL)
            instance._close()


def read(path):
    try:
        with open(path) as f:
            return f.read()
    except OSError:
        return None


def css_number(path):
    text = read(path)
    match = WIDTH.search(text or "")
    return int(match.group(1)) if match else None


def percentile(values, fraction):
    ordered = sorted(values)
    return ordered[min(len(ordered) - 1, int(fraction * len(ordered)))]


# ----------------------------------------------------------- part one: saves

def soak_saves(root, binary, saves, rng, report):
    box = Sandbox(root, "saves", binary)
    site = os.path.join(box.home, "site")
    os.makedirs(site)
    counter = [100000]

    def next_number():
        counter[0] += 1
        return counter[0]

    for _, name, _ in STYLES:
        with open(os.path.join(site, name), "w") as f:
            f.write(less_text(next_number()))

    instance = Instance(box, [site])
    results = []
    try:
        # Ready once a save is compiled: the folder is loaded and watched.
        first = os.path.join(site, STYLES[0][1])
        ready = False
        for _ in range(40):
            save_truncate_then_write(first, next_number())
            line = instance.next_line(time.monotonic() + 0.5)
            if line and line["file"] == first:
                ready = True
                break
        if not ready:
            report.fault("saves: Cascader compiled nothing within 20 s of its start")
            return results
        drain_until(instance, time.monotonic() + 1.0)

        for label, name, save in STYLES:
            path = os.path.join(site, name)
            css = path[:-5] + ".css"
            misses = doubles = wrong = errors = late = others = 0
            latencies = []
            for index in range(saves):
                number = next_number()
                saved = time.monotonic()
                save(path, number)
                line = None
                deadline = saved + LINE_TIMEOUT
                while True:
                    line = instance.next_line(deadline)
                    if line is None or line["file"] == path:
                        break
                    others += 1
                    report.note("saves: a line for another file: %s" % line["raw"])
                if line is None:
                    misses += 1
                    report.fault("saves: %s save %d (width %d) has no log line after %.0f s"
                                 % (label, index + 1, number, LINE_TIMEOUT))
                    extra = drain_until(instance, time.monotonic() + 2.0)
                    late += len(extra)
                    continue
                latencies.append(line["t"] - saved)
                if not line["result"].startswith("Success!"):
                    errors += 1
                    report.fault("saves: %s save %d: %s %s" % (label, index + 1, line["raw"],
                                                              " / ".join(line["more"])))
                settle_until = line["t"] + rng.uniform(*SETTLE)
                extra = [l for l in drain_until(instance, settle_until) if l["file"] == path]
                if extra:
                    doubles += len(extra)
                    report.fault("saves: %s save %d (width %d) logged %d times: %s"
                                 % (label, index + 1, number, 1 + len(extra),
                                    " | ".join("%+.0f ms %s" % ((l["t"] - saved) * 1000, l["result"])
                                               for l in [line] + extra)))
                found = css_number(css)
                if found != number:
                    wrong += 1
                    report.fault("saves: %s save %d: CSS has width %s, the save wrote %d (%.0f ms after "
                                 "the line)" % (label, index + 1, found, number,
                                                (time.monotonic() - line["t"]) * 1000))
            # A double that comes late still counts.
            trailing = [l for l in drain_until(instance, time.monotonic() + 2.0) if l["file"] == path]
            if trailing:
                doubles += len(trailing)
                report.fault("saves: %s: %d line(s) after the last save had been compiled: %s"
                             % (label, len(trailing), trailing[0]["raw"]))
            row = {"style": label, "saves": saves, "misses": misses, "doubles": doubles,
                   "wrong_css": wrong, "errors": errors, "late": late, "other_lines": others,
                   "median_ms": statistics.median(latencies) * 1000 if latencies else None,
                   "p95_ms": percentile(latencies, 0.95) * 1000 if latencies else None,
                   "max_ms": max(latencies) * 1000 if latencies else None}
            results.append(row)
            print("  %-15s %4d saves  misses %d  doubles %d  wrong CSS %d  errors %d  "
                  "save-to-log median %.0f ms, p95 %.0f ms, max %.0f ms"
                  % (label, saves, misses, doubles, wrong, errors,
                     row["median_ms"] or 0, row["p95_ms"] or 0, row["max_ms"] or 0), flush=True)
        code = instance.terminate()
        if code != 0:
            report.fault("saves: Cascader exited with %s on SIGTERM" % code)
        left = instance.orphans()
        if left:
            report.fault("saves: compiler processes %s still run after Cascader quit" % left)
    finally:
        report.stderr_of(instance)
    return results


def drain_until(instance, deadline):
    lines = []
    while True:
        line = instance.next_line(deadline)
        if line is None:
            return lines
        lines.append(line)


# ------------------------------------------------------------ part two: kills

class Project:
    """The prepared project and what a restart must find in it."""

    def __init__(self, box):
        self.box = box
        self.folders = [os.path.join(box.home, name) for name in ("proj-a", "proj-b", "proj-c")]
        a, b, c = self.folders
        self.files = {
            "plain": os.path.join(a, "plain.less"),
            "off": os.path.join(a, "off.less"),
            "min": os.path.join(a, "min.less"),
            "custom": os.path.join(a, "custom.less"),
            "b1": os.path.join(b, "b1.less"),
            "b2": os.path.join(b, "b2.less"),
            "c1": os.path.join(c, "styles", "c1.less"),
        }
        # name: (checked, compressed, CSS target or None for the default)
        self.wanted = {
            "plain": (True, False, None),
            "off": (False, False, None),
            "min": (True, True, None),
            "custom": (True, False, os.path.join(a, "built", "custom-out.css")),
            "b1": (True, True, os.path.join(box.home, "out-b", "b1.min.css")),
            "b2": (False, True, None),
            "c1": (True, False, None),
        }
        self.settings = {}      # LESS path: (checked, compressed, target) as stored
        self.required = set(self.folders)
        self.added = []         # folders handed over by a second start
        self.unsettled = []     # of those, the ones no data-file check has seen yet
        self.lost = []          # handed over too close to a kill, and not kept
        self.counter = 200000
        self.lock = threading.Lock()

    def number(self):
        with self.lock:
            self.counter += 1
            return self.counter

    def css_of(self, name):
        return self.settings[self.files[name]][2]

    def prepare(self, report):
        for path in self.files.values():
            os.makedirs(os.path.dirname(path), exist_ok=True)
            with open(path, "w") as f:
                f.write(less_text(self.number()))
        os.makedirs(os.path.join(self.folders[0], "built"))
        os.makedirs(os.path.join(self.box.home, "out-b"))
        # Let Cascader write the project in its own format, then change settings.
        run = subprocess.run([self.box.binary, "--compile-all", *self.folders], env=self.box.env,
                             stdin=subprocess.DEVNULL, capture_output=True, timeout=120)
        if run.returncode != 0 or not os.path.exists(self.box.data_file):
            raise RuntimeError("--compile-all to make the project failed: %s %s"
                               % (run.stdout.decode(), run.stderr.decode()))
        with open(self.box.data_file) as f:
            project = json.load(f)
        by_path = {path: name for name, path in self.files.items()}
        for folder in project["appModelPathData"]:
            for record in folder["lessFiles"]:
                name = by_path.get(record["lessFileFullPath"])
                if name is None:
                    continue
                checked, compressed, target = self.wanted[name]
                record["checkboxState"] = checked
                record["shouldCompressCSSOutput"] = compressed
                if target:
                    record["targetCSSFileFullPath"] = target
                self.settings[record["lessFileFullPath"]] = (checked, compressed,
                                                             record["targetCSSFileFullPath"])
        if set(self.settings) != set(self.files.values()):
            raise RuntimeError("the project made by --compile-all lacks files: %s" % sorted(self.settings))
        with open(self.box.data_file, "w") as f:
            json.dump(project, f, indent=2)
        # --compile-all wrote every CSS at its default place, before the targets changed.
        for name, path in self.files.items():
            for css in (self.css_of(name), path[:-5] + ".css"):
                if os.path.exists(css):
                    os.unlink(css)

    def check_data_file(self, report, when, kill_time=None):
        """Faults in the data file; records which handed-over folders it holds."""
        text = read(self.box.data_file)
        if text is None:
            report.fault("%s: the data file is missing" % when)
            return False
        try:
            project = json.loads(text)
            folders = {f["userSelectedFullPath"]: f for f in project["appModelPathData"]}
            paths = [f["userSelectedFullPath"] for f in project["appModelPathData"]]
            project["creatorVersion"], project["creatorBuildNumber"]
        except (ValueError, KeyError, TypeError) as error:
            report.fault("%s: the data file does not load (%s): %r" % (when, error, text[:300]))
            return False
        ok = True
        if len(paths) != len(folders):
            report.fault("%s: the data file lists a folder twice: %s" % (when, sorted(paths)))
            ok = False
        for folder in sorted(self.required - set(folders)):
            report.fault("%s: folder %s is gone from the data file" % (when, folder))
            ok = False
        records = {}
        for folder in folders.values():
            for record in folder.get("lessFiles", []):
                records[record.get("lessFileFullPath")] = record
        for path, (checked, compressed, target) in self.settings.items():
            record = records.get(path)
            if record is None:
                report.fault("%s: %s is gone from the data file" % (when, path))
                ok = False
                continue
            stored = (record.get("checkboxState"), record.get("shouldCompressCSSOutput"),
                      record.get("targetCSSFileFullPath"))
            if stored != (checked, compressed, target):
                report.fault("%s: %s has %s, not %s" % (when, path, stored, (checked, compressed, target)))
                ok = False
        # A folder handed over is required from the first check that finds it;
        # one handed over just before a kill may be lost.
        with self.lock:
            unsettled, self.unsettled = self.unsettled, []
        for folder, handed in unsettled:
            if folder in folders:
                self.required.add(folder)
                continue
            self.lost.append(folder)
            if kill_time is None or kill_time - handed > HANDED_OVER_SAFE:
                report.fault("%s: folder %s, handed over %.2f s before the %s, is not in the data file"
                             % (when, folder, (kill_time or time.monotonic()) - handed,
                                "kill" if kill_time else "check"))
                ok = False
        return ok


class Chaos(threading.Thread):
    """Saves, creates and deletes LESS files, 50-250 ms apart, until stopped."""

    def __init__(self, project, rng):
        super().__init__(daemon=True)
        self.project = project
        self.rng = rng
        self.stop = threading.Event()
        self.scratch = []
        self.serial = 0
        self.actions = 0
        self.failures = []

    def targets(self):
        with self.project.lock:
            added = [os.path.join(folder, "chaos.less") for folder, _ in self.project.added]
        return added + self.scratch

    def run(self):
        rng = self.rng
        while not self.stop.wait(rng.uniform(0.05, 0.25)):
            try:
                roll = rng.random()
                if roll < 0.08 or not self.targets():
                    self.serial += 1
                    folder = rng.choice(self.project.folders)
                    path = os.path.join(folder, "scratch-%03d.less" % self.serial)
                    save_truncate_then_write(path, self.project.number())
                    self.scratch.append(path)
                elif roll < 0.12 and len(self.scratch) > 2:
                    path = self.scratch.pop(rng.randrange(len(self.scratch)))
                    os.unlink(path)
                    if os.path.exists(path[:-5] + ".css"):
                        os.unlink(path[:-5] + ".css")
                else:
                    path = rng.choice(self.targets())
                    rng.choice(STYLES)[2](path, self.project.number())
                self.actions += 1
            except (OSError, subprocess.CalledProcessError) as error:
                self.failures.append(str(error))


def probe(project, instance, report, when, rng):
    """Checks that a started Cascader compiles each prepared file as set."""
    files = project.files
    checked = [n for n in files if project.wanted[n][0]]
    added = [os.path.join(f, "main.less") for f, _ in project.added if f in project.required]
    targets = {files[n]: project.css_of(n) for n in checked}
    for path in rng.sample(added, min(2, len(added))):
        targets[path] = path[:-5] + ".css"
    last = {}
    seen = set()
    started = time.monotonic()
    # Cascader loads the project after it starts listening: save until each file compiles.
    while len(seen) < len(targets) and time.monotonic() - started < 20:
        for path in targets:
            if path not in seen:
                last[path] = project.number()
                save_rename_over(path, last[path])
        for line in drain_until(instance, time.monotonic() + 0.4):
            if line["file"] in targets:
                seen.add(line["file"])
            elif line["file"] == project.box.data_file:
                report.fault("%s: Cascader could not load the project: %s %s"
                             % (when, line["result"], " / ".join(line["more"])))
    ready = time.monotonic() - started
    for path in sorted(set(targets) - seen):
        report.fault("%s: %s was not compiled within 20 s of the start" % (when, path))
    # The unchecked ones must stay quiet.
    quiet = {files[n]: project.number() for n in files if not project.wanted[n][0]}
    for path, number in quiet.items():
        save_rename_over(path, number)
    for line in drain_until(instance, time.monotonic() + 1.2):
        if line["file"] in quiet:
            report.fault("%s: unchecked %s was compiled: %s" % (when, line["file"], line["raw"]))
    ok = True
    for path, css in targets.items():
        if path not in seen:
            ok = False
            continue
        text = read(css) or ""
        if css_number(css) != last[path]:
            report.fault("%s: %s holds %s, not width %d" % (when, css, css_number(css), last[path]))
            ok = False
        compressed = project.settings.get(path, (True, False))[1]
        if compressed != ("\n" not in text.strip()):
            report.fault("%s: %s is %s, it should%s be" % (when, css, "minified" if not compressed
                                                          else "not minified", "" if compressed else " not"))
            ok = False
    custom_default = files["custom"][:-5] + ".css"
    if os.path.exists(custom_default):
        report.fault("%s: custom.less was compiled to %s, not to its own target" % (when, custom_default))
        ok = False
    for path, number in quiet.items():
        if css_number(project.settings[path][2]) == number:
            report.fault("%s: unchecked %s was compiled" % (when, path))
            ok = False
    return ok, ready


def hand_over(project, report, when, index):
    folder = os.path.join(project.box.home, "added-%02d" % index)
    os.makedirs(folder)
    for name in ("main.less", "chaos.less"):
        with open(os.path.join(folder, name), "w") as f:
            f.write(less_text(project.number()))
    env = dict(project.box.env, QT_QPA_PLATFORM="offscreen")
    begun = time.monotonic()
    try:
        run = subprocess.run([project.box.binary, folder], env=env, stdin=subprocess.DEVNULL,
                             capture_output=True, timeout=15)
    except subprocess.TimeoutExpired:
        report.fault("%s: the second start with %s did not end within 15 s" % (when, folder))
        return None
    if run.returncode != 0:
        report.fault("%s: the second start with %s exited with %d: %s"
                     % (when, folder, run.returncode, run.stderr.decode().strip()))
        return None
    handed = time.monotonic()
    with project.lock:
        project.added.append((folder, handed))
        project.unsettled.append((folder, handed))
    return handed - begun


def soak_kills(root, binary, kills, rng, report):
    box = Sandbox(root, "kills", binary)
    project = Project(box)
    project.prepare(report)
    chaos = Chaos(project, random.Random(rng.random()))
    chaos.start()
    survived = 0
    kinds = {"while starting": 0, "after a hand-over": 0, "while saving": 0}
    handed_safe = handed_close = handed_close_kept = 0
    ready_times = []
    probes = probes_ok = 0
    try:
        for cycle in range(1, kills + 1):
            when = "kill %d" % cycle
            instance = Instance(box, stderr_name="stderr-%02d.txt" % cycle)
            roll = rng.random()
            handed = None
            if roll < 0.2:
                kind = "while starting"
                time.sleep(rng.uniform(0.0, 0.6))
            else:
                ok, ready = probe(project, instance, report, when, rng)
                ready_times.append(ready)
                probes += 1
                probes_ok += ok
                if roll < 0.75:
                    kind = "after a hand-over"
                    time.sleep(rng.uniform(0.0, 1.0))
                    if hand_over(project, report, when, cycle) is not None:
                        handed = project.added[-1][1]
                        time.sleep(rng.uniform(0.0, 3.0))
                else:
                    kind = "while saving"
                    time.sleep(rng.uniform(0.1, 3.0))
            killed = time.monotonic()
            since = killed - instance.started
            instance.kill9()
            kinds[kind] += 1
            left = instance.orphans()
            if left:
                report.fault("%s: compiler processes %s still run 5 s after kill -9" % (when, left))
                for pid, start in left:
                    if still_running(pid, start):
                        os.kill(pid, signal.SIGKILL)
            good = project.check_data_file(report, when, killed)
            if handed is not None:
                if killed - handed > HANDED_OVER_SAFE:
                    handed_safe += 1
                else:
                    handed_close += 1
                    handed_close_kept += project.added[-1][0] in project.required
            report.stderr_of(instance)
            survived += good
            print("  kill %2d %-18s at %5.2f s%s  data file %s  folders %d" % (
                cycle, kind, since,
                "" if handed is None else " (%.2f s after a hand-over)" % (killed - handed),
                "ok" if good else "FAULTY", len(project.required)), flush=True)
        # The last start, with a clean quit.
        instance = Instance(box, stderr_name="stderr-last.txt")
        ok, ready = probe(project, instance, report, "last start", rng)
        ready_times.append(ready)
        probes += 1
        probes_ok += ok
        code = instance.terminate()
        if code != 0:
            report.fault("last start: Cascader exited with %s on SIGTERM" % code)
        if instance.orphans():
            report.fault("last start: compiler processes still run after Cascader quit")
        project.check_data_file(report, "last start")
        report.stderr_of(instance)
    finally:
        chaos.stop.set()
        chaos.join(5)
    strays = [n for n in os.listdir(os.path.dirname(box.data_file))
              if n not in ("lessDataFile.lessData", "lessDataFile.lessData.lock")]
    if strays:
        report.note("kills: left beside the data file: %s" % strays)
    if chaos.failures:
        report.note("kills: %d saver errors, e.g. %s" % (len(chaos.failures), chaos.failures[0]))
    return {"kills": kills, "survived": survived, "kinds": kinds, "folders": len(project.required),
            "handed_safe": handed_safe, "handed_close": handed_close, "handed_close_kept": handed_close_kept,
            "probes": probes, "probes_ok": probes_ok, "chaos_actions": chaos.actions, "strays": len(strays),
            "ready_median_s": statistics.median(ready_times) if ready_times else None,
            "ready_max_s": max(ready_times) if ready_times else None}


# ------------------------------------------------------------------- the run

class Report:
    def __init__(self):
        self.faults = []
        self.notes = []
        self.stderr = {}

    def fault(self, text):
        self.faults.append(text)
        print("FAULT " + text, flush=True)

    def note(self, text):
        self.notes.append(text)
        print("note  " + text, flush=True)

    def stderr_of(self, instance):
        # Counted by kind, paths left out; each kind is shown the first time.
        for line in (read(instance.stderr_path) or "").splitlines():
            kind = re.sub(r"/\S+", "PATH", line.strip())
            if kind and kind not in self.stderr:
                print("stderr %s: %s" % (os.path.basename(instance.stderr_path), line.strip()), flush=True)
            if kind:
                self.stderr[kind] = self.stderr.get(kind, 0) + 1


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--saves", type=int, default=200, help="saves per editor style")
    parser.add_argument("--kills", type=int, default=50, help="kill -9 cycles")
    parser.add_argument("--seed", type=int, default=None)
    parser.add_argument("--binary", default=os.path.join(REPO, "build", "bin", "cascader"))
    parser.add_argument("--keep", action="store_true", help="keep the temporary folder")
    args = parser.parse_args()

    if not os.path.exists(args.binary):
        subprocess.run([os.path.join(REPO, "scripts", "build")], check=True)
    seed = args.seed if args.seed is not None else random.randrange(1 << 30)
    rng = random.Random(seed)

    root = tempfile.mkdtemp(prefix="cascader-soak.")
    # A build during the run must not swap the binary under it.
    bin_dir = os.path.join(root, "bin")
    os.makedirs(bin_dir)
    binary = shutil.copy2(args.binary, bin_dir)
    share = os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(args.binary))), "share")
    shutil.copytree(share, os.path.join(root, "share"), symlinks=True)

    def stop(signum, _frame):
        raise KeyboardInterrupt
    signal.signal(signal.SIGTERM, stop)
    signal.signal(signal.SIGHUP, stop)

    report = Report()
    begun = time.time()
    print("Cascader soak test, seed %d, %s, %s" % (seed, time.strftime("%Y-%m-%d %H:%M"), args.binary),
          flush=True)
    try:
        print("Saves (%d per style):" % args.saves, flush=True)
        saves = soak_saves(root, binary, args.saves, rng, report)
        print("Kills (%d):" % args.kills, flush=True)
        kills = soak_kills(root, binary, args.kills, rng, report)
    except KeyboardInterrupt:
        print("interrupted", flush=True)
        return 2
    finally:
        Instance.end_all()
        if args.keep:
            print("kept " + root)
        else:
            shutil.rmtree(root, ignore_errors=True)

    print("\nSummary (seed %d, %.0f s):" % (seed, time.time() - begun))
    total = sum(r["saves"] for r in saves)
    print("  saves: %d, misses %d, doubles %d, wrong CSS %d, errors %d"
          % (total, sum(r["misses"] for r in saves), sum(r["doubles"] for r in saves),
             sum(r["wrong_css"] for r in saves), sum(r["errors"] for r in saves)))
    print("  kills: %d, data file intact after %d (%s); starts that compiled every file as set: %d of %d; "
          "%d folders at the end; "
          "hand-overs >%.1f s before a kill %d, closer %d (%d of them kept); %d chaos actions; "
          "start to compiling median %.2f s, max %.2f s"
          % (kills["kills"], kills["survived"],
             ", ".join("%d %s" % (v, k) for k, v in kills["kinds"].items()),
             kills["probes_ok"], kills["probes"], kills["folders"],
             HANDED_OVER_SAFE, kills["handed_safe"], kills["handed_close"], kills["handed_close_kept"],
             kills["chaos_actions"], kills["ready_median_s"] or 0, kills["ready_max_s"] or 0))
    for kind, count in sorted(report.stderr.items(), key=lambda item: -item[1]):
        print("  stderr %4dx %s" % (count, kind))
    print("  faults: %d, notes: %d" % (len(report.faults), len(report.notes)))
    return 1 if report.faults else 0


if __name__ == "__main__":
    sys.exit(main())
