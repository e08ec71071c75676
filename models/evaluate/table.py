#!/usr/bin/python3
"""Prints what the networks' effects reach on photographs that no training saw, beside peers without networks.

  models/evaluate/table.py PROGRAM          runs the effects by the program kalvatri
  models/evaluate/table.py --networks       runs the networks of models/ by OpenCV, without the program
"""

import argparse
import importlib
import sys
from pathlib import Path

from common import ROOT, Networks, Program, print_table

PARTS = ("restoration", "enhancement")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("program", nargs="?", default=str(ROOT / "build/release/bin/kalvatri"))
    parser.add_argument("--networks", nargs="?", type=Path, const=ROOT / "models", metavar="FOLDER")
    parser.add_argument("--part", choices=PARTS, action="append", help="only these rows")
    arguments = parser.parse_args()
    if arguments.networks is None and not Path(arguments.program).is_file():
        sys.exit(f"{arguments.program} is missing; build it, or name the program kalvatri.")
    runner = Program(arguments.program) if arguments.networks is None else Networks(arguments.networks)
    parts = [importlib.import_module(part) for part in arguments.part or PARTS]
    print_table(row for part in parts for row in part.rows(runner))


if __name__ == "__main__":
    main()
