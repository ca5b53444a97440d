#!/usr/bin/env python3
"""Runs the benchmarks and prints medians and ratios against the limit programs. Nothing here passes or fails.

usage: bench/run.py [--build FOLDER] [NAME...]      NAME: a module of bench/suite, all by default
"""
import argparse
import importlib
import sys
from pathlib import Path

HERE = Path(__file__).resolve().parent
sys.path.insert(0, str(HERE))


def main():
    names = sorted(path.stem for path in (HERE / "suite").glob("*.py"))
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--build", type=Path, default=HERE.parent / "build" / "release")
    parser.add_argument("name", nargs="*", choices=[[], *names], default=[])
    options = parser.parse_args()
    for name in options.name or names:
        importlib.import_module(f"suite.{name}").run(options.build.resolve())


if __name__ == "__main__":
    main()
