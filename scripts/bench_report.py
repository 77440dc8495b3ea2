#!/usr/bin/env python3
"""Runs Google Benchmark programs and prints ours beside each peer, with the ratio and the aim.

benchmarks/README.md describes the names of rows and the table of aims. Exit status 1: an aim was missed.
"""

import argparse
import csv
import json
import re
import statistics
import subprocess
import sys
from dataclasses import dataclass, field
from pathlib import Path

OURS = "ours"
TO_NANOSECONDS = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}
DROPPED = re.compile(r"(real_time|manual_time|process_time)$|(iterations|repeats|min_time|min_warmup_time):")
PART_OF_ROW = re.compile(r"\w+:|-?\d+$")  # "threads:4", "lines:100", and plain arguments such as "64"
COUNTER_KEYS_OF_GOOGLE_BENCHMARK = {
    "family_index", "per_family_instance_index", "repetitions", "repetition_index", "threads", "iterations",
    "real_time", "cpu_time",
}


@dataclass
class Measurement:
    """All repetitions of one side of one row."""

    times: list[float] = field(default_factory=list)
    counters: dict[str, list[float]] = field(default_factory=dict)

    @property
    def median(self) -> float:
        return statistics.median(self.times)

    @property
    def spread(self) -> float:
        return (max(self.times) - min(self.times)) / self.median if self.median else 0.0


@dataclass
class Aim:
    """An upper bound for a ratio to a peer, a time beyond a peer's, a time of ours, or a counter."""

    row: str
    peer: str
    text: str
    missing: str

    def __post_init__(self) -> None:
        match = re.fullmatch(r"(\+?)([0-9.]+)\s*(x|ns|us|ms|s|[A-Za-z_]\w*)", self.text)
        if not match or (match[1] and match[3] not in TO_NANOSECONDS):
            sys.exit(f"aim '{self.text}' of row {self.row} is no ratio (1.0x), time (5ns), difference (+2ns) or counter")
        self.is_difference, self.bound, self.unit = bool(match[1]), float(match[2]), match[3]
        if (self.unit == "x" or self.is_difference) != (self.peer != "-"):
            sys.exit(f"row {self.row}: ratios and differences need a peer, and nothing else has one")

    def value_against(self, ours: float, theirs: float) -> float:
        return (ours - theirs) / TO_NANOSECONDS[self.unit] if self.is_difference else ours / theirs


Rows = dict[str, dict[str, Measurement]]


def split_name(name: str) -> tuple[str, str]:
    """Tells row and side: "logging/write/ours/64/real_time/threads:4" is ("logging/write/64/threads:4", "ours")."""
    parts = [part for part in name.split("/") if not DROPPED.match(part)]
    plain = [index for index, part in enumerate(parts) if not PART_OF_ROW.match(part)]
    if len(plain) < 2:
        sys.exit(f"benchmark '{name}' has no side: call it row/ours or row/peer")
    side = parts.pop(plain[-1])
    return "/".join(dict.fromkeys(parts)), side


def uses_wall_time(name: str) -> bool:
    return name.endswith(("/real_time", "/manual_time")) or "/real_time/" in name or "/manual_time/" in name


def collect(report: dict, program: str, rows: Rows) -> None:
    for run in report["benchmarks"]:
        if run.get("run_type") != "iteration":
            continue
        name = run["run_name"]
        if run.get("error_occurred"):
            sys.exit(f"{name} failed: {run.get('error_message', 'no reason given')}")
        row, side = split_name(name)
        if not row.startswith(program + "/"):
            sys.exit(f"benchmark '{name}' must be called {program}/…, after its program")
        measurement = rows.setdefault(row, {}).setdefault(side, Measurement())
        time = run["real_time"] if uses_wall_time(name) else run["cpu_time"]
        measurement.times.append(time * TO_NANOSECONDS[run["time_unit"]])
        for key, value in run.items():
            if isinstance(value, (int, float)) and key not in COUNTER_KEYS_OF_GOOGLE_BENCHMARK:
                measurement.counters.setdefault(key, []).append(value)


def run_program(path: Path, options: argparse.Namespace) -> dict:
    command = [
        str(path),
        "--benchmark_format=json",
        f"--benchmark_repetitions={options.repetitions}",
        f"--benchmark_min_time={options.min_time}",
        "--benchmark_enable_random_interleaving=true",
    ]
    if options.filter:
        command.append(f"--benchmark_filter={options.filter}")
    print(f"running {path.name}, {options.repetitions} repetitions …", file=sys.stderr)
    finished = subprocess.run(command, stdout=subprocess.PIPE, check=False)
    if finished.returncode != 0:
        sys.exit(f"{path} ended with status {finished.returncode}")
    return json.loads(finished.stdout)


def read_aims(path: Path) -> list[Aim]:
    with path.open(newline="", encoding="utf-8") as file:
        lines = (line for line in file if line.strip() and not line.startswith("#"))
        return [
            Aim(line["row"], line["peer"], line["aim"], line.get("missing") or "")
            for line in csv.DictReader(lines, delimiter="\t")
        ]


def time_text(nanoseconds: float) -> str:
    for unit in ("s", "ms", "us"):
        if nanoseconds >= TO_NANOSECONDS[unit]:
            return f"{nanoseconds / TO_NANOSECONDS[unit]:.3g} {unit}"
    return f"{nanoseconds:.3g} ns"


def measured_text(measurement: Measurement) -> str:
    return f"{time_text(measurement.median)} ±{measurement.spread * 50:.0f}%"


def verdict(value: float, aim: Aim | None) -> tuple[str, str]:
    if aim is None:
        return "", ""
    return aim.text, "yes" if value <= aim.bound else "NO"


def table_lines(rows: Rows, aims: list[Aim]) -> list[list[str]]:
    """One line for each pair, for each row without peers, and for each aim on our own time or counters."""
    lines = []
    reached: set[int] = set()

    def find(row: str, peer: str, unit: str | None = None) -> Aim | None:
        for aim in aims:
            if aim.row == row and aim.peer == peer and (unit is None or aim.unit == unit):
                reached.add(id(aim))
                return aim
        return None

    for row, sides in rows.items():
        ours = sides.get(OURS)
        if ours is None:
            lines.append([row, "not measured", ", ".join(sides), "", "", "NO"])
            continue
        for peer, theirs in sides.items():
            if peer != OURS:
                ratio = ours.median / theirs.median
                aim = find(row, peer)
                note = f" (without {aim.missing})" if aim and aim.missing else ""
                value = aim.value_against(ours.median, theirs.median) if aim else ratio
                lines.append([row, measured_text(ours), f"{peer} {measured_text(theirs)}{note}", f"{ratio:.2f}",
                              *verdict(value, aim)])
        time_aim = next((aim for unit in TO_NANOSECONDS if (aim := find(row, "-", unit))), None)
        if time_aim or len(sides) == 1:
            scale = TO_NANOSECONDS[time_aim.unit] if time_aim else 1.0
            lines.append([row, measured_text(ours), "", "", *verdict(ours.median / scale, time_aim)])
        for counter, values in ours.counters.items():
            value = statistics.median(values)
            lines.append([row, f"{value:g} {counter}", peer_counters(sides, counter), "",
                          *verdict(value, find(row, "-", counter))])

    for aim in aims:
        if id(aim) not in reached:
            lines.append([aim.row, "not measured", aim.peer, "", aim.text, "NO"])
    return lines


def peer_counters(sides: dict[str, Measurement], counter: str) -> str:
    return ", ".join(
        f"{peer} {statistics.median(measurement.counters[counter]):g}"
        for peer, measurement in sides.items()
        if peer != OURS and counter in measurement.counters
    )


def print_table(lines: list[list[str]]) -> None:
    lines = [["what", "ours", "peer", "ours/peer", "aim", "met?"], *lines]
    widths = [max(len(line[column]) for line in lines) for column in range(len(lines[0]))]
    for line in lines:
        print("  ".join(cell.ljust(width) for cell, width in zip(line, widths)).rstrip())


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("programs", nargs="+", type=Path)
    parser.add_argument("--aims", type=Path, required=True)
    parser.add_argument("--repetitions", type=int, default=9, help="of each benchmark, at least 7")
    parser.add_argument("--min-time", type=float, default=0.2, help="seconds for each repetition")
    parser.add_argument("--filter", help="regular expression over benchmark names; aims of other rows are not judged")
    options = parser.parse_args()
    if options.repetitions < 7:
        parser.error("fewer than 7 repetitions tell nothing")

    rows: Rows = {}
    for program in options.programs:
        collect(run_program(program, options), program.name, rows)
    names = {program.name for program in options.programs}
    aims = [aim for aim in read_aims(options.aims) if aim.row.split("/")[0] in names]
    if options.filter:
        aims = [aim for aim in aims if aim.row in rows]

    lines = table_lines(rows, aims)
    print_table(lines)
    missed = sum(line[-1] == "NO" for line in lines)
    print(f"\nnot met: {missed}" if missed else f"\nall {len(aims)} aims met")
    return 1 if missed else 0


if __name__ == "__main__":
    sys.exit(main())
